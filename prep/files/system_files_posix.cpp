#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "prep/files/system_files.h"

namespace trqprep {

int WriteBytes(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(file, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    bytes.remove_prefix(size_t(n));
  }
  return 0;
}

namespace system_files {
namespace {

unsigned process_umask = 022;

int ErrorOf(int result) { return result == 0 ? 0 : errno; }

Status StatusOf(const struct stat& held) {
  Status status;
  status.kind = S_ISREG(held.st_mode)   ? Kind::kFile
                : S_ISDIR(held.st_mode) ? Kind::kFolder
                : S_ISLNK(held.st_mode) ? Kind::kLink
                                        : Kind::kOther;
  status.size = uint64_t(held.st_size);
  status.mode = held.st_mode & 07777;
  status.device = held.st_dev;
  status.number = held.st_ino;
  status.user = held.st_uid;
  status.group = held.st_gid;
  return status;
}

// A pipe or a device is opened at once, to be told by what it is.
constexpr int kAtOnce = O_NONBLOCK | O_NOCTTY;

int FlagsOf(Use use) {
  switch (use) {
    case Use::kRead:
      return O_RDONLY | kAtOnce | O_CLOEXEC;
    case Use::kWrite:
      return O_WRONLY | O_NOCTTY | O_CLOEXEC;
    case Use::kNew:
    case Use::kPrivate:
      return O_RDWR | O_CREAT | O_EXCL | kAtOnce | O_CLOEXEC;
    case Use::kFolder:
      return O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    case Use::kReach:
      return O_PATH | O_DIRECTORY | O_CLOEXEC;
  }
  return O_RDONLY;
}

mode_t ModeOf(Use use) { return use == Use::kPrivate ? 0600 : 0666; }

}  // namespace

int Ask(int file, Status& status) {
  struct stat held {};
  const int error = ErrorOf(fstat(file, &held));
  if (error == 0) status = StatusOf(held);
  return error;
}

int Ask(const std::string& path, Status& status, bool follow_links) {
  struct stat held {};
  const int error = ErrorOf((follow_links ? stat : lstat)(path.c_str(), &held));
  if (error == 0) status = StatusOf(held);
  return error;
}

int AskIn(int folder, const char* name, Status& status) {
  struct stat held {};
  const int error = ErrorOf(fstatat(folder, name, &held, AT_SYMLINK_NOFOLLOW));
  if (error == 0) status = StatusOf(held);
  return error;
}

std::string LinkTarget(const std::string& path) {
  std::error_code error;
  return std::filesystem::read_symlink(path, error).string();
}

Descriptor Open(const std::string& path, Use use, bool follow_links) {
  return Descriptor(open(path.c_str(), FlagsOf(use) | (follow_links ? 0 : O_NOFOLLOW), ModeOf(use)));
}

Descriptor OpenIn(int folder, const char* name, Use use) {
  return Descriptor(openat(folder, name, FlagsOf(use) | O_NOFOLLOW, ModeOf(use)));
}

Descriptor Duplicate(int file) { return Descriptor(fcntl(file, F_DUPFD_CLOEXEC, 0)); }

std::FILE* StreamOf(int file, const char* mode) { return fdopen(file, mode); }

std::string PathOfOpen(int file) { return "/proc/self/fd/" + std::to_string(file); }

int Close(int file) { return ErrorOf(close(file)); }

int ReadAt(int file, uint64_t at, char* to, size_t size, size_t& got) {
  const ssize_t n = pread(file, to, size, off_t(at));
  got = n < 0 ? 0 : size_t(n);
  return n < 0 ? errno : 0;
}

int ReadNext(int file, char* to, size_t size, size_t& got) {
  ssize_t n = -1;
  do {
    n = read(file, to, size);
  } while (n < 0 && errno == EINTR);
  got = n < 0 ? 0 : size_t(n);
  return n < 0 ? errno : 0;
}

int Flush(int file) { return fsync(file) != 0 && errno != EINVAL && errno != EROFS ? errno : 0; }

int SetMode(int file, unsigned mode) { return ErrorOf(fchmod(file, mode)); }

void SetOwner(int file, unsigned user, unsigned group) {
  if (geteuid() == 0) static_cast<void>(fchown(file, user, group) == 0);
}

// std::filesystem and readdir take memory, which may be what there is none of.
int ForEachName(int folder, const std::function<void(const char*)>& take) {
  alignas(dirent64) char block[4096];
  lseek(folder, 0, SEEK_SET);
  while (true) {
    const ssize_t size = getdents64(folder, block, sizeof block);
    if (size <= 0) return size < 0 ? errno : 0;
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(block + at);
      at += entry->d_reclen;
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") take(entry->d_name);
    }
  }
}

int MakeFolder(int folder, const char* name, bool private_to_user) {
  return ErrorOf(mkdirat(folder, name, private_to_user ? 0700 : 0777));
}

int RemoveFile(int folder, const char* name) { return ErrorOf(unlinkat(folder, name, 0)); }

int RemoveFolder(int folder, const char* name) { return ErrorOf(unlinkat(folder, name, AT_REMOVEDIR)); }

int Rename(int folder, const char* from, const char* to, bool replace) {
  if (!replace) {
    if (renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // This file system has no such rename.
    struct stat status {};
    if (fstatat(folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  }
  return ErrorOf(renameat(folder, from, folder, to));
}

int Exchange(int folder, const char* one, const char* other) {
  return ErrorOf(renameat2(folder, one, folder, other, RENAME_EXCHANGE));
}

int Lock(const std::string& folder, Descriptor& lock) {
  if (!lock.open()) lock = Open(folder, Use::kFolder);
  if (!lock.open()) return errno;
  int error = EINTR;
  while (error == EINTR) error = ErrorOf(flock(lock.number(), LOCK_EX | LOCK_NB));
  return error;
}

std::string TemporaryFolder() {
  const char* chosen = std::getenv("TMPDIR");
  return chosen && *chosen ? chosen : P_tmpdir;
}

bool FillRandom(unsigned char* bytes, size_t size) { return getentropy(bytes, size) == 0; }

unsigned Mask() { return process_umask; }

void RememberMask() {
  process_umask = umask(0);
  umask(process_umask);
}

const char* NameRefusal(const std::string&) { return nullptr; }

}  // namespace system_files
}  // namespace trqprep
