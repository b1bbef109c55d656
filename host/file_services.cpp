#include "host/file_services.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "trq/host.h"

namespace trq::host {
namespace {

bool Exists(const std::string& path) {
  struct stat information;
  return ::stat(path.c_str(), &information) == 0;
}

/// The directory part without its trailing slash; "." for a bare name, "/" for the root.
std::string ParentOf(const std::string& path) {
  const std::string::size_type slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string SystemPath(const std::string& path) {
  if (path.find('\\') == std::string::npos || Exists(path)) return path;
  std::string with_slashes = path;
  std::replace(with_slashes.begin(), with_slashes.end(), '\\', '/');
  return Exists(with_slashes) || Exists(ParentOf(with_slashes)) ? with_slashes : path;
}

std::FILE* OpenFile(const std::string& path, const char* mode) {
  std::FILE* f = std::fopen(SystemPath(path).c_str(), mode);
  struct stat information;
  if (f && ::fstat(fileno(f), &information) == 0 && S_ISDIR(information.st_mode)) {
    std::fclose(f);
    errno = EISDIR;
    return nullptr;
  }
  return f;
}

bool FileExists(const std::string& path) { return Exists(SystemPath(path)); }

bool IsReadOnly(const std::string& path) {
  struct stat information;
  if (::stat(SystemPath(path).c_str(), &information) != 0) return false;
  return (information.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

bool MakeWritable(const std::string& path) {
  const std::string system_path = SystemPath(path);
  struct stat information;
  if (::stat(system_path.c_str(), &information) != 0) return false;
  return ::chmod(system_path.c_str(), (information.st_mode & 07777) | S_IWUSR) == 0;
}

int64_t FileSize(const std::string& path) {
  struct stat information;
  return ::stat(SystemPath(path).c_str(), &information) == 0 ? static_cast<int64_t>(information.st_size) : -1;
}

int64_t FreeBytes(const std::string& directory) {
  struct statvfs information;
  if (::statvfs(directory.empty() ? "." : SystemPath(directory).c_str(), &information) != 0) return -1;
  const uint64_t block = information.f_frsize ? information.f_frsize : information.f_bsize;
  const uint64_t most = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (block != 0 && information.f_bavail > most / block) return std::numeric_limits<int64_t>::max();
  return static_cast<int64_t>(block * information.f_bavail);
}

int DriveKind(const std::string& path) {
  std::string existing = SystemPath(path);
  struct statfs information;
  while (::statfs(existing.c_str(), &information) != 0) {
    const std::string parent = ParentOf(existing);
    if (parent == existing) return trq::drive::kNoSuchRoot;
    existing = parent;
  }
  // File-system magic numbers as statfs(2) lists them.
  switch (static_cast<uint32_t>(information.f_type)) {
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

bool DeleteFileNamed(const std::string& path) { return ::unlink(SystemPath(path).c_str()) == 0; }

bool RenameFile(const std::string& from, const std::string& to) {
  return std::rename(SystemPath(from).c_str(), SystemPath(to).c_str()) == 0;
}

}  // namespace trq::host
