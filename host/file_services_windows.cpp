#include "host/file_services.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <system_error>

namespace trq::core {

int ErrnoOf(unsigned long system_code) {
  const std::error_condition meaning =
      std::error_code(int(system_code), std::system_category()).default_error_condition();
  return meaning.category() == std::generic_category() ? meaning.value() : EIO;
}

namespace {

/// Length from which names need the long form: folders must leave room for a short file name.
constexpr size_t kLongName = MAX_PATH - 12;

bool StartsWith(const std::wstring& text, const wchar_t* start) { return text.rfind(start, 0) == 0; }

/// The name from its root on, with '\' alone and without "." and ".."; the name itself where that fails.
std::wstring FullName(const std::wstring& name) {
  std::wstring full(kLongName, L'\0');
  for (;;) {
    const DWORD length = GetFullPathNameW(name.c_str(), DWORD(full.size()), full.data(), nullptr);
    const bool fits = length < full.size();
    full.resize(length);
    if (length == 0) return name;
    if (fits) return full;
  }
}

/// Whether a file that cannot be opened is a directory, which the system reports as one that may not be.
bool IsDirectory(const std::wstring& name) {
  const DWORD attributes = GetFileAttributesW(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

std::wstring WideName(const std::string& name) {
  if (name.empty()) {
    errno = ENOENT;
    return {};
  }
  constexpr size_t kLongest = 1 << 15;  // of any name of the system
  const int size = int(std::min(name.size(), kLongest * 3));
  std::wstring wide(size_t(size), L'\0');
  const int length =
      name.find('\0') != std::string::npos
          ? 0
          : MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name.data(), size, wide.data(), size);
  wide.resize(size_t(length));
  if (length == 0) errno = EILSEQ;
  if (length == 0 || StartsWith(wide, L"\\\\?\\") || StartsWith(wide, L"\\\\.\\")) return wide;
  const std::wstring full = FullName(wide);
  if (full.size() < kLongName || StartsWith(full, L"\\\\.\\")) return wide;
  return StartsWith(full, L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

std::string Utf8(const std::wstring& text) {
  const auto converted = [&](char* to, int size) {
    return WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), to, size, nullptr, nullptr);
  };
  std::string bytes(text.empty() ? 0 : size_t(converted(nullptr, 0)), '\0');
  if (!bytes.empty()) converted(bytes.data(), int(bytes.size()));
  return bytes;
}

FileHandle OpenFile(const std::string& name, const char* mode) {
  const std::wstring wide = WideName(name);
  if (wide.empty()) return nullptr;
  const bool both = std::strchr(mode, '+') != nullptr;
  int flags = _O_BINARY | _O_NOINHERIT | (both ? _O_RDWR : mode[0] == 'r' ? _O_RDONLY : _O_WRONLY);
  if (mode[0] != 'r') flags |= _O_CREAT | (mode[0] == 'a' ? _O_APPEND : _O_TRUNC);
  if (std::strchr(mode, 'x')) flags |= _O_EXCL;
  const int descriptor = _wsopen(wide.c_str(), flags, _SH_DENYNO, _S_IREAD | _S_IWRITE);
  if (descriptor < 0) {
    const bool in_use = _doserrno == ERROR_SHARING_VIOLATION || _doserrno == ERROR_LOCK_VIOLATION;
    const bool refused = errno == EACCES;
    if (refused && IsDirectory(wide)) {
      errno = EISDIR;
    } else if (refused) {
      errno = in_use ? EBUSY : EACCES;
    }
    return nullptr;
  }
  const char stream_mode[] = {mode[0], 'b', both ? '+' : '\0', '\0'};
  FileHandle file(_fdopen(descriptor, stream_mode));
  if (!file) {
    const int error = errno;
    _close(descriptor);
    errno = error;
  }
  return file;
}

int64_t Position(std::FILE* stream) { return _ftelli64(stream); }

bool Seek(std::FILE* stream, int64_t offset, int origin) { return _fseeki64(stream, offset, origin) == 0; }

}  // namespace trq::core

namespace trq::host {
namespace {

using core::WideName;

bool Failed() {
  errno = core::ErrnoOf(GetLastError());
  return false;
}

/// What the system knows of a file; nothing when that cannot be told.
std::optional<WIN32_FILE_ATTRIBUTE_DATA> StatusOf(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA information;
  const std::wstring name = WideName(path);
  if (name.empty() || !GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &information))
    return std::nullopt;
  return information;
}

}  // namespace

SystemPath::SystemPath(const std::string& given) : name_(given) {}

FileHandle OpenFileOrFolder(const SystemPath& path, const char* mode) { return OpenFile(path, mode); }

bool FileExists(const SystemPath& path) { return StatusOf(path.str()).has_value(); }

bool IsReadOnly(const SystemPath& path) {
  // Of a folder the attribute says something else.
  const auto status = StatusOf(path.str());
  constexpr DWORD kBoth = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY;
  return status && (status->dwFileAttributes & kBoth) == FILE_ATTRIBUTE_READONLY;
}

bool MakeWritable(const SystemPath& path) {
  const auto status = StatusOf(path.str());
  return status && SetFileAttributesW(WideName(path.str()).c_str(),
                                      status->dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

int64_t FileSize(const SystemPath& path) {
  const auto status = StatusOf(path.str());
  return status ? int64_t(uint64_t{status->nFileSizeHigh} << 32 | status->nFileSizeLow) : -1;
}

int64_t FreeBytes(const SystemPath& directory) {
  const std::string existing = directory.str().empty() ? "." : directory.str();
  const std::wstring name = WideName(existing);
  ULARGE_INTEGER available;
  if (!StatusOf(existing) || !GetDiskFreeSpaceExW(name.c_str(), &available, nullptr, nullptr)) return -1;
  return int64_t(std::min<uint64_t>(available.QuadPart, std::numeric_limits<int64_t>::max()));
}

int DriveKind(const SystemPath& path) {
  const std::wstring name = WideName(path.str());
  wchar_t root[MAX_PATH + 1];
  if (name.empty() || !GetVolumePathNameW(name.c_str(), root, MAX_PATH + 1)) return trq::drive::kNoSuchRoot;
  return int(GetDriveTypeW(root));  // the kinds are numbered as the system's
}

bool DeleteFileNamed(const SystemPath& path) {
  const std::wstring name = WideName(path.str());
  return !name.empty() && (DeleteFileW(name.c_str()) || Failed());
}

bool RenameFile(const SystemPath& from, const SystemPath& to) {
  const std::wstring before = WideName(from.str()), after = WideName(to.str());
  if (before.empty() || after.empty()) return false;
  return MoveFileExW(before.c_str(), after.c_str(), MOVEFILE_REPLACE_EXISTING) || Failed();
}

}  // namespace trq::host
