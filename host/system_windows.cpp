#include "host/system.h"

#include <io.h>
#include <lmcons.h>
#include <sys/stat.h>
#include <windows.h>

#include <cerrno>

#include "trq/core/file.h"

namespace trq::host {

int LastError() { return errno; }

std::string ExecutablePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), DWORD(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return core::Utf8(path);
    }
    path.resize(path.size() * 2);
  }
}

size_t DirectoryLength(const std::string& path) { return path.find_last_of("\\/") + 1; }

std::string HostName() {
  wchar_t name[256];
  DWORD size = 256;
  return GetComputerNameExW(ComputerNameDnsHostname, name, &size) ? core::Utf8(std::wstring(name, size)) : "";
}

std::string LoginName() {
  wchar_t name[UNLEN + 1];
  DWORD size = UNLEN + 1;
  return GetUserNameW(name, &size) && size > 0 ? core::Utf8(std::wstring(name, size - 1)) : "";
}

std::optional<uint64_t> RemainingBytes(std::FILE* f) {
  const int saved_errno = errno;
  struct _stat64 status {};
  const int descriptor = f ? _fileno(f) : -1;
  std::optional<uint64_t> remaining;
  if (descriptor >= 0 && _fstat64(descriptor, &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG &&
      status.st_size > 0) {
    const int64_t position = core::Position(f);
    if (position >= 0) remaining = position < status.st_size ? uint64_t(status.st_size - position) : 0;
  }
  errno = saved_errno;
  return remaining;
}

void ExpectFilling(void*, size_t) {}

}  // namespace trq::host
