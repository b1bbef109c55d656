#include "host/file_services.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <optional>

namespace trq::core {

FileHandle OpenFile(const std::string& name, const char* mode) {
  FileHandle file(std::fopen(name.c_str(), mode));
  struct stat information;
  if (file && ::fstat(fileno(file.get()), &information) == 0 && S_ISDIR(information.st_mode)) {
    file.reset();
    errno = EISDIR;
  }
  return file;
}

int64_t Position(std::FILE* stream) { return ::ftello(stream); }

bool Seek(std::FILE* stream, int64_t offset, int origin) {
  return off_t(offset) == offset && ::fseeko(stream, off_t(offset), origin) == 0;
}

}  // namespace trq::core

namespace trq::host {
namespace {

/// What the system knows of a file; nothing when that cannot be told.
std::optional<struct stat> StatusOf(const std::string& path) {
  struct stat information;
  if (::stat(path.c_str(), &information) != 0) return std::nullopt;
  return information;
}

bool Exists(const std::string& path) { return StatusOf(path).has_value(); }

/// The directory part without its trailing slash; "." for a bare name, "/" for the root.
std::string ParentOf(const std::string& path) {
  const std::string::size_type slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

SystemPath::SystemPath(const std::string& given) : name_(given) {
  if (given.find('\\') == std::string::npos || Exists(given)) return;
  std::replace(name_.begin(), name_.end(), '\\', '/');
  if (!Exists(name_) && !Exists(ParentOf(name_))) name_ = given;
}

FileHandle OpenFileOrFolder(const SystemPath& path, const char* mode) {
  return FileHandle(std::fopen(path.str().c_str(), mode));
}

bool FileExists(const SystemPath& path) { return Exists(path.str()); }

bool IsReadOnly(const SystemPath& path) {
  const auto status = StatusOf(path.str());
  return status && (status->st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

bool MakeWritable(const SystemPath& path) {
  const auto status = StatusOf(path.str());
  return status && ::chmod(path.str().c_str(), (status->st_mode & 07777) | S_IWUSR) == 0;
}

int64_t FileSize(const SystemPath& path) {
  const auto status = StatusOf(path.str());
  return status ? int64_t{status->st_size} : -1;
}

int64_t FreeBytes(const SystemPath& directory) {
  struct statvfs information;
  if (::statvfs(directory.str().empty() ? "." : directory.str().c_str(), &information) != 0) return -1;
  const uint64_t block = information.f_frsize ? information.f_frsize : information.f_bsize;
  constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
  if (block != 0 && information.f_bavail > kMost / block) return kMost;
  return int64_t(block * information.f_bavail);
}

int DriveKind(const SystemPath& path) {
  std::string existing = path.str();
  const bool drive_letter =
      existing.size() > 1 && existing[1] == ':' && std::isalpha(static_cast<unsigned char>(existing[0]));
  if (existing.empty() || drive_letter) return trq::drive::kNoSuchRoot;
  struct statfs information;
  while (::statfs(existing.c_str(), &information) != 0) {
    const std::string parent = ParentOf(existing);
    if (parent == existing) return trq::drive::kNoSuchRoot;
    existing = parent;
  }
  // File-system magic numbers as statfs(2) lists them.
  switch (uint32_t(information.f_type)) {
    case 0x4d44:      // msdos, vfat
    case 0x2011bab0:  // exfat
      return trq::drive::kRemovable;
    case 0xef53:      // ext2, ext3, ext4
    case 0x58465342:  // xfs
    case 0x9123683e:  // btrfs
    case 0x2fc12fc1:  // zfs
    case 0xf2f52010:  // f2fs
    case 0x794c7630:  // overlay
    case 0x5346544e:  // ntfs
    case 0x3153464a:  // jfs
    case 0x52654973:  // reiserfs
      return trq::drive::kFixed;
    case 0x6969:      // nfs
    case 0x517b:      // smb
    case 0xff534d42:  // cifs
    case 0xfe534d42:  // smb2
    case 0x01021997:  // 9p
    case 0x65735546:  // fuse
    case 0x5346414f:  // afs
      return trq::drive::kRemote;
    case 0x9660:      // iso9660
    case 0x15013346:  // udf
      return trq::drive::kCd;
    case 0x01021994:  // tmpfs
    case 0x858458f6:  // ramfs
      return trq::drive::kRam;
    default:
      return trq::drive::kUnknown;
  }
}

bool DeleteFileNamed(const SystemPath& path) { return ::unlink(path.str().c_str()) == 0; }

bool RenameFile(const SystemPath& from, const SystemPath& to) {
  return std::rename(from.str().c_str(), to.str().c_str()) == 0;
}

}  // namespace trq::host
