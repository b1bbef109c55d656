#include "host/system.h"

#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <new>
#include <vector>

namespace trq::host {

int LastError() { return errno; }

std::string ExecutablePath() {
  std::error_code none;
  return std::filesystem::read_symlink("/proc/self/exe", none).string();
}

size_t DirectoryLength(const std::string& path) { return path.rfind('/') + 1; }

std::string HostName() {
  char name[256] = {};
  return gethostname(name, sizeof(name) - 1) == 0 ? name : "";
}

namespace {

/// The user's name in the system's own table; empty when it is not there. Throws std::bad_alloc.
std::string NameInLocalTable(uid_t user) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> table(std::fopen("/etc/passwd", "rbe"), std::fclose);
  if (!table) {
    if (errno == ENOMEM) throw std::bad_alloc();
    return std::string();
  }
  std::vector<char> buffer(1024);
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    const int failure = fgetpwent_r(table.get(), &entry, buffer.data(), buffer.size(), &found);
    if (failure == ERANGE) {
      buffer.resize(buffer.size() * 2);
      std::rewind(table.get());
    } else if (failure != 0 || !found) {
      return std::string();
    } else if (entry.pw_uid == user && entry.pw_name && entry.pw_name[0] != '+' && entry.pw_name[0] != '-') {
      return entry.pw_name;  // not a line that only refers to another table
    }
  }
}

}  // namespace

std::string NameOfUser(unsigned user) {
  // Nearly every user stands in the local table. The general lookup loads modules to ask elsewhere, takes
  // longer, and the C library ends the process where there is no memory for them.
  if (std::string name = NameInLocalTable(user); !name.empty()) return name;
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  int failure = 0;
  errno = 0;
  while ((failure = getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found)) == ERANGE)
    buffer.resize(buffer.size() * 2);
  // A user without a name is one thing, no memory to look it up another, which may show in either code.
  if (!found && (failure == ENOMEM || errno == ENOMEM)) throw std::bad_alloc();
  return failure == 0 && found && found->pw_name ? found->pw_name : "";
}

std::string LoginName() { return NameOfUser(getuid()); }

std::optional<uint64_t> RemainingBytes(std::FILE* f) {
  const int saved_errno = errno;
  struct stat status {};
  const int descriptor = f ? fileno(f) : -1;
  std::optional<uint64_t> remaining;
  // A size of 0 says nothing: the kernel's own files report it and still have content.
  if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
    const off_t position = ftello(f);
    if (position >= 0) remaining = position < status.st_size ? uint64_t(status.st_size - position) : 0;
  }
  errno = saved_errno;
  return remaining;
}

void ExpectFilling(void* array, size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr size_t kWorthACall = size_t{4} << 20;
  if (!array || bytes < kWorthACall) return;
  const size_t page = size_t(sysconf(_SC_PAGESIZE));
  const size_t skipped = (page - reinterpret_cast<uintptr_t>(array) % page) % page;
  const int error = errno;
  madvise(static_cast<char*>(array) + skipped, (bytes - skipped) / page * page, MADV_HUGEPAGE);
  errno = error;
#else
  (void)array;
  (void)bytes;
#endif
}

}  // namespace trq::host
