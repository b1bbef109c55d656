// Windows headers want this one first.
#include <windows.h>
// clang-format off
#include <bcrypt.h>
#include <fcntl.h>
#include <io.h>
#include <winternl.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

#include "prep/files/system_files.h"
#include "trq/core/file.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

int ErrnoOf(DWORD error) {
  switch (error) {
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
      return EBUSY;
    case ERROR_DIRECTORY:
      return ENOTDIR;
    case ERROR_DELETE_PENDING:
      return EACCES;
    case ERROR_NO_DATA:
      return EPIPE;
    case 1295:  // ERROR_DISK_QUOTA_EXCEEDED
      return ENOSPC;
    default:
      return error == ERROR_SUCCESS ? 0 : trq::core::ErrnoOf(error);
  }
}

int LastErrno() { return ErrnoOf(GetLastError()); }

HANDLE HandleOf(int file) { return reinterpret_cast<HANDLE>(_get_osfhandle(file)); }

}  // namespace

int WriteBytes(int file, std::string_view bytes) {
  const HANDLE handle = HandleOf(file);
  DWORD mode = 0;
  if (GetConsoleMode(handle, &mode)) {
    // A console takes texts; one call takes no more than some 32 kB.
    std::wstring text(bytes.size(), L'\0');
    text.resize(size_t(
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), int(bytes.size()), text.data(), int(text.size()))));
    for (size_t at = 0; at < text.size();) {
      size_t size = std::min<size_t>(text.size() - at, 8000);
      if (at + size < text.size() && text[at + size - 1] >= 0xD800 && text[at + size - 1] < 0xDC00) --size;
      DWORD written = 0;
      if (!WriteConsoleW(handle, text.data() + at, DWORD(size), &written, nullptr)) return LastErrno();
      at += written;
    }
    return 0;
  }
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = DWORD(std::min<size_t>(bytes.size(), 1 << 20));
    if (!WriteFile(handle, bytes.data(), size, &written, nullptr)) return LastErrno();
    // A pipe whose reader does not wait takes what it has room for.
    if (written == 0) return ENOSPC;
    bytes.remove_prefix(written);
  }
  return 0;
}

namespace system_files {
namespace {

// In every way: others may read, write and rename what this tool holds open.
constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Some of what the headers for applications leave out.
constexpr auto kFileRenameInformation = FILE_INFORMATION_CLASS(10);
constexpr auto kFileRenameInformationEx = FILE_INFORMATION_CLASS(65);
constexpr auto kFileDispositionInfoEx = FILE_INFO_BY_HANDLE_CLASS(21);
constexpr ULONG kReplaceIfExists = 1, kPosixSemantics = 2, kIgnoreReadOnly = 0x40;

struct RenameInformation {
  ULONG flags;  // or, in its first byte, whether to replace
  HANDLE folder;
  ULONG name_bytes;
  wchar_t name[256];
};

// A handle that closes itself.
class Handle {
 public:
  explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : handle_(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { Reset(); }
  bool open() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }
  void Reset(HANDLE handle = INVALID_HANDLE_VALUE) {
    const DWORD before = GetLastError();
    if (open()) CloseHandle(handle_);
    handle_ = handle;
    SetLastError(before);
  }
  // Hands it over to the C runtime.
  Descriptor Number() {
    if (!open()) {
      errno = LastErrno();
      return Descriptor();
    }
    const int number = _open_osfhandle(reinterpret_cast<intptr_t>(handle_), _O_BINARY | _O_NOINHERIT);
    if (number >= 0) handle_ = INVALID_HANDLE_VALUE;
    return Descriptor(number);
  }

 private:
  HANDLE handle_;
};

// A name in a folder, at most 255 long, without memory of the heap.
struct ShortName {
  explicit ShortName(const char* name) {
    const bool itself = name[0] == '.' && name[1] == '\0';
    size = itself
               ? 0
               : MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, text, int(std::size(text))) - 1;
  }
  bool valid() const { return size >= 0; }
  int size;
  wchar_t text[256];
};

// What stands for another file or folder, as symbolic links and junctions do. Other reparse points are files.
bool IsLink(HANDLE handle) {
  FILE_ATTRIBUTE_TAG_INFO held{};
  return GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &held, sizeof held) &&
         (held.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsReparseTagNameSurrogate(held.ReparseTag);
}

bool IsReparsePoint(HANDLE handle) {
  FILE_ATTRIBUTE_TAG_INFO held{};
  return GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &held, sizeof held) &&
         (held.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

bool IsFolder(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION held{};
  return GetFileInformationByHandle(handle, &held) && (held.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

int StatusOf(HANDLE handle, Status& status) {
  status = Status();
  const DWORD type = GetFileType(handle);
  if (type == FILE_TYPE_UNKNOWN && GetLastError() != NO_ERROR) return LastErrno();
  if (type != FILE_TYPE_DISK) return 0;
  BY_HANDLE_FILE_INFORMATION held{};
  if (!GetFileInformationByHandle(handle, &held)) return LastErrno();
  status.kind = IsLink(handle)                                       ? Kind::kLink
                : (held.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? Kind::kFolder
                                                                     : Kind::kFile;
  status.size = uint64_t(held.nFileSizeHigh) << 32 | held.nFileSizeLow;
  const bool writable = !(held.dwFileAttributes & FILE_ATTRIBUTE_READONLY) || status.kind == Kind::kFolder;
  status.mode = (writable ? 0666 : 0444) | (status.kind == Kind::kFolder ? 0111 : 0);
  status.device = held.dwVolumeSerialNumber;
  status.number = uint64_t(held.nFileIndexHigh) << 32 | held.nFileIndexLow;
  return 0;
}

// Opens what has a name in a folder, a link itself; the last error says why not.
HANDLE OpenNamed(int folder, const ShortName& name, ACCESS_MASK access, ULONG disposition, ULONG options) {
  UNICODE_STRING text{};
  OBJECT_ATTRIBUTES attributes{};
  IO_STATUS_BLOCK block{};
  text.Buffer = const_cast<wchar_t*>(name.text);
  text.Length = text.MaximumLength = USHORT(name.size * int(sizeof(wchar_t)));
  InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, HandleOf(folder), nullptr);
  HANDLE handle = INVALID_HANDLE_VALUE;
  const NTSTATUS status =
      NtCreateFile(&handle, access | SYNCHRONIZE | FILE_READ_ATTRIBUTES, &attributes, &block, nullptr,
                   FILE_ATTRIBUTE_NORMAL, kShared, disposition,
                   options | FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_FOR_BACKUP_INTENT, nullptr, 0);
  if (status >= 0) return handle;
  constexpr auto kIsAFolder = NTSTATUS(0xC00000BA), kNotAFolder = NTSTATUS(0xC0000103);
  SetLastError(status == kNotAFolder  ? ERROR_DIRECTORY
               : status == kIsAFolder ? ERROR_ACCESS_DENIED
                                      : RtlNtStatusToDosError(status));
  return INVALID_HANDLE_VALUE;
}

HANDLE OpenItself(int folder, const char* name, ACCESS_MASK access) {
  const ShortName text(name);
  if (!text.valid()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  return OpenNamed(folder, text, access, FILE_OPEN, FILE_OPEN_REPARSE_POINT);
}

int SetAttributes(HANDLE handle, bool read_only) {
  FILE_BASIC_INFO held{};
  if (!GetFileInformationByHandleEx(handle, FileBasicInfo, &held, sizeof held)) return LastErrno();
  const DWORD others = held.FileAttributes & ~DWORD(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_NORMAL);
  const DWORD wanted = others | (read_only ? FILE_ATTRIBUTE_READONLY : 0);
  held = {};  // times that are 0 stay
  held.FileAttributes = wanted != 0 ? wanted : FILE_ATTRIBUTE_NORMAL;
  return SetFileInformationByHandle(handle, FileBasicInfo, &held, sizeof held) ? 0 : LastErrno();
}

// Removes what is open for that, at the latest when the last who has it open closes it.
int Remove(HANDLE handle) {
  // In the manner of other systems: the name goes at once, and of files that may only be read too.
  ULONG now = 1 | 2 | 0x10;
  if (SetFileInformationByHandle(handle, kFileDispositionInfoEx, &now, sizeof now)) return 0;
  if (GetLastError() == ERROR_DIR_NOT_EMPTY) return ENOTEMPTY;
  FILE_DISPOSITION_INFO plain{};
  plain.DeleteFile = TRUE;
  if (SetFileInformationByHandle(handle, FileDispositionInfo, &plain, sizeof plain)) return 0;
  const int error = LastErrno();
  if (error != EACCES || SetAttributes(handle, false) != 0) return error;
  return SetFileInformationByHandle(handle, FileDispositionInfo, &plain, sizeof plain) ? 0 : LastErrno();
}

// One attempt; the last error says why not.
bool RenameOpen(HANDLE from, int folder, const ShortName& to, bool replace) {
  RenameInformation wanted{};
  wanted.folder = HandleOf(folder);
  wanted.name_bytes = ULONG(to.size) * sizeof(wchar_t);
  std::copy(to.text, to.text + to.size, wanted.name);
  IO_STATUS_BLOCK block{};
  NTSTATUS status = -1;
  if (replace) {
    // In the manner of other systems: whoever has the old file open keeps it.
    wanted.flags = kReplaceIfExists | kPosixSemantics | kIgnoreReadOnly;
    status = NtSetInformationFile(from, &block, &wanted, sizeof wanted, kFileRenameInformationEx);
  }
  if (status < 0) {
    wanted.flags = replace ? 1 : 0;
    status = NtSetInformationFile(from, &block, &wanted, sizeof wanted, kFileRenameInformation);
  }
  SetLastError(status < 0 ? RtlNtStatusToDosError(status) : ERROR_SUCCESS);
  return status >= 0;
}

}  // namespace

int Ask(int file, Status& status) { return StatusOf(HandleOf(file), status); }

int Ask(const std::string& path, Status& status, bool follow_links) {
  const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (follow_links ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
  const Handle handle(CreateFileW(trq::core::WideName(path).c_str(), FILE_READ_ATTRIBUTES, kShared, nullptr,
                                  OPEN_EXISTING, flags, nullptr));
  return handle.open() ? StatusOf(handle.get(), status) : LastErrno();
}

int AskIn(int folder, const char* name, Status& status) {
  const Handle handle(OpenItself(folder, name, FILE_READ_ATTRIBUTES));
  return handle.open() ? StatusOf(handle.get(), status) : LastErrno();
}

std::string LinkTarget(const std::string& path) {
  const std::wstring wide = trq::core::WideName(path);
  const Handle itself(CreateFileW(wide.c_str(), FILE_READ_ATTRIBUTES, kShared, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!itself.open() || !IsLink(itself.get())) return {};
  const Handle target(CreateFileW(wide.c_str(), FILE_READ_ATTRIBUTES, kShared, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  std::array<wchar_t, 32768> name;
  const DWORD size =
      target.open() ? GetFinalPathNameByHandleW(target.get(), name.data(), DWORD(name.size()), 0) : 0;
  if (size == 0 || size >= name.size()) return {};
  std::wstring found(name.data(), size);
  if (found.compare(0, 8, L"\\\\?\\UNC\\") == 0) {
    found.replace(0, 8, L"\\\\");
  } else if (found.compare(0, 4, L"\\\\?\\") == 0) {
    found.erase(0, 4);
  }
  return NamedPath(trq::core::Utf8(found));
}

Descriptor Open(const std::string& path, Use use, bool follow_links) {
  const bool folder = use == Use::kFolder || use == Use::kReach;
  const bool creates = use == Use::kNew || use == Use::kPrivate;
  const DWORD access = use == Use::kReach   ? FILE_TRAVERSE | FILE_READ_ATTRIBUTES
                       : use == Use::kWrite ? GENERIC_WRITE
                       : creates            ? GENERIC_READ | GENERIC_WRITE
                                            : GENERIC_READ;
  const std::wstring wide = trq::core::WideName(path);
  const auto open = [&](DWORD flags) {
    return CreateFileW(wide.c_str(), access, kShared, nullptr, creates ? CREATE_NEW : OPEN_EXISTING,
                       flags | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  };
  Handle handle(open(follow_links ? 0 : FILE_FLAG_OPEN_REPARSE_POINT));
  if (handle.open() && !follow_links && IsReparsePoint(handle.get())) {
    if (IsLink(handle.get())) {
      errno = ELOOP;
      return Descriptor();
    }
    handle.Reset(open(0));
  }
  if (handle.open() && folder && !IsFolder(handle.get())) {
    errno = ENOTDIR;
    return Descriptor();
  }
  return handle.Number();
}

Descriptor OpenIn(int folder, const char* name, Use use) {
  const bool creates = use == Use::kNew || use == Use::kPrivate;
  const ACCESS_MASK access = creates              ? FILE_GENERIC_READ | FILE_GENERIC_WRITE
                             : use == Use::kWrite ? FILE_GENERIC_WRITE
                             : use == Use::kReach ? FILE_TRAVERSE
                                                  : FILE_GENERIC_READ;
  const ULONG kind = creates                                     ? FILE_NON_DIRECTORY_FILE
                     : use == Use::kFolder || use == Use::kReach ? FILE_DIRECTORY_FILE
                                                                 : 0;
  const ULONG disposition = creates ? FILE_CREATE : FILE_OPEN;
  const ShortName text(name);
  if (!text.valid()) {
    errno = ENOENT;
    return Descriptor();
  }
  Handle handle(OpenNamed(folder, text, access, disposition, kind | FILE_OPEN_REPARSE_POINT));
  if (handle.open() && IsReparsePoint(handle.get())) {
    if (IsLink(handle.get())) {
      errno = ELOOP;
      return Descriptor();
    }
    handle.Reset(OpenNamed(folder, text, access, disposition, kind));
  }
  return handle.Number();
}

Descriptor Duplicate(int file) {
  HANDLE copy = INVALID_HANDLE_VALUE;
  if (!DuplicateHandle(GetCurrentProcess(), HandleOf(file), GetCurrentProcess(), &copy, 0, FALSE,
                       DUPLICATE_SAME_ACCESS)) {
    errno = LastErrno();
    return Descriptor();
  }
  return Handle(copy).Number();
}

std::FILE* StreamOf(int file, const char* mode) { return _fdopen(file, mode); }

std::string PathOfOpen(int) { return {}; }

int Close(int file) { return _close(file) == 0 ? 0 : errno; }

int ReadAt(int file, uint64_t at, char* to, size_t size, size_t& got) {
  const HANDLE handle = HandleOf(file);
  LARGE_INTEGER before{}, none{};
  got = 0;
  if (!SetFilePointerEx(handle, none, &before, FILE_CURRENT)) return LastErrno();
  OVERLAPPED place{};
  place.Offset = DWORD(at);
  place.OffsetHigh = DWORD(at >> 32);
  DWORD read = 0;
  const bool done = ReadFile(handle, to, DWORD(std::min<size_t>(size, 1 << 20)), &read, &place);
  const DWORD error = done ? ERROR_SUCCESS : GetLastError();
  // Reading at a place moves the file's position.
  SetFilePointerEx(handle, before, nullptr, FILE_BEGIN);
  got = done ? read : 0;
  return error == ERROR_HANDLE_EOF ? 0 : ErrnoOf(error);
}

int ReadNext(int file, char* to, size_t size, size_t& got) {
  DWORD read = 0;
  SetLastError(ERROR_SUCCESS);
  const bool done = ReadFile(HandleOf(file), to, DWORD(std::min<size_t>(size, 1 << 20)), &read, nullptr);
  // Ctrl-C ends what is typed as well: whoever handles it comes next.
  constexpr DWORD kHandlingInterruption = 10000;
  if (done && read == 0 && GetLastError() == ERROR_OPERATION_ABORTED) Sleep(kHandlingInterruption);
  const DWORD error = done ? ERROR_SUCCESS : GetLastError();
  got = done ? read : 0;
  // The other end of a pipe is closed: so is this.
  return error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE ? 0 : ErrnoOf(error);
}

int Flush(int file) {
  const HANDLE handle = HandleOf(file);
  // The system writes what it changes in folders by itself.
  if (IsFolder(handle)) return 0;
  return FlushFileBuffers(handle) ? 0 : LastErrno();
}

int SetMode(int file, unsigned mode) {
  const HANDLE handle = HandleOf(file);
  return IsFolder(handle) ? 0 : SetAttributes(handle, (mode & 0222) == 0);
}

void SetOwner(int, unsigned, unsigned) {}

int ForEachName(int folder, const std::function<void(const char*)>& take) {
  alignas(FILE_ID_BOTH_DIR_INFO) char block[4096];
  auto how = FileIdBothDirectoryRestartInfo;
  while (GetFileInformationByHandleEx(HandleOf(folder), how, block, sizeof block)) {
    how = FileIdBothDirectoryInfo;
    for (const char* at = block;;) {
      const auto* entry = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(at);
      char name[3 * 256];
      const int size =
          WideCharToMultiByte(CP_UTF8, 0, entry->FileName, int(entry->FileNameLength / sizeof(wchar_t)), name,
                              sizeof name - 1, nullptr, nullptr);
      name[size] = '\0';
      const std::string_view text = name;
      if (text != "." && text != "..") take(name);
      if (entry->NextEntryOffset == 0) break;
      at += entry->NextEntryOffset;
    }
  }
  switch (const DWORD error = GetLastError()) {
    case ERROR_NO_MORE_FILES:
    case ERROR_FILE_NOT_FOUND:
      return 0;
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_FUNCTION:
      return ENOTDIR;
    default:
      return ErrnoOf(error);
  }
}

int MakeFolder(int folder, const char* name, bool) {
  const ShortName text(name);
  if (!text.valid()) return ENOENT;
  const Handle made(OpenNamed(folder, text, FILE_TRAVERSE, FILE_CREATE, FILE_DIRECTORY_FILE));
  return made.open() ? 0 : LastErrno();
}

int RemoveFile(int folder, const char* name) {
  const Handle file(OpenItself(folder, name, DELETE | FILE_WRITE_ATTRIBUTES));
  if (!file.open()) return LastErrno();
  // A link to a folder is removed as a file is.
  if (IsFolder(file.get()) && !IsLink(file.get())) return EISDIR;
  return Remove(file.get());
}

int RemoveFolder(int folder, const char* name) {
  const Handle held(OpenItself(folder, name, DELETE | FILE_WRITE_ATTRIBUTES));
  if (!held.open()) return LastErrno();
  if (!IsFolder(held.get()) || IsLink(held.get())) return ENOTDIR;
  return Remove(held.get());
}

int Rename(int folder, const char* from, const char* to, bool replace) {
  const ShortName name(to);
  if (!name.valid()) return ENOENT;
  // Programs that look at every new file, and those that read the old one, hold it for a moment.
  constexpr int kAttempts = 100;
  constexpr DWORD kPause = 10;
  int error = 0;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (attempt > 0) Sleep(kPause);
    const Handle itself(OpenItself(folder, from, DELETE));
    if (itself.open() && RenameOpen(itself.get(), folder, name, replace)) return 0;
    error = LastErrno();
    if (error != EACCES && error != EBUSY) return error;
    // A file that may only be read is not replaced in the older way.
    const Handle old(replace ? OpenItself(folder, to, FILE_WRITE_ATTRIBUTES) : INVALID_HANDLE_VALUE);
    Status status;
    if (!itself.open() || !old.open() || StatusOf(old.get(), status) != 0 || (status.mode & 0222) != 0)
      continue;
    if (SetAttributes(old.get(), false) != 0) continue;
    if (RenameOpen(itself.get(), folder, name, true)) return 0;
    SetAttributes(old.get(), true);
  }
  return error;
}

int Exchange(int, const char*, const char*) { return ENOSYS; }

int Lock(const std::string& folder, Descriptor& lock) {
  const std::wstring name = trq::core::WideName(folder + "/.trqprep-lock");
  // It goes when it is closed, by whatever end of the process.
  Handle file(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                          FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (file.open()) {
    lock = file.Number();
    return lock.open() ? 0 : errno;
  }
  const DWORD error = GetLastError();
  if (error == ERROR_SHARING_VIOLATION) return EWOULDBLOCK;
  // What is about to go is refused as if it were forbidden.
  const bool is_there =
      GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES || GetLastError() == ERROR_ACCESS_DENIED;
  return error == ERROR_ACCESS_DENIED && is_there ? EWOULDBLOCK : ErrnoOf(error);
}

std::string TemporaryFolder() {
  std::wstring folder;
  if (const wchar_t* chosen = _wgetenv(L"TMPDIR"); chosen && *chosen) {
    folder = chosen;
  } else {
    wchar_t name[MAX_PATH + 2];
    const DWORD size = GetTempPathW(DWORD(std::size(name)), name);
    folder.assign(name, size < std::size(name) ? size : 0);
  }
  std::string path = NamedPath(trq::core::Utf8(folder));
  while (path.size() > 1 && path.back() == '/' && path[path.size() - 2] != ':') path.pop_back();
  return path.empty() ? "." : path;
}

bool FillRandom(unsigned char* bytes, size_t size) {
  if (BCryptGenRandom(nullptr, bytes, ULONG(size), BCRYPT_USE_SYSTEM_PREFERRED_RNG) >= 0) return true;
  errno = EIO;
  return false;
}

unsigned Mask() { return 0; }
void RememberMask() {}

const char* NameRefusal(const std::string& name) {
  // What is written there is meant to go nowhere.
  if (name.empty() || name == "." || name == ".." || Lower(name) == "nul") return nullptr;
  if (PortableName(name, name.size() + 1) == name) return nullptr;
  if (name.back() == '.' || name.back() == ' ') return "ends in a period or blank, which Windows leaves away";
  return name.find_first_of("<>:\"\\|?*") != std::string::npos
             ? "holds a character that no name may hold on Windows, one of <>:\"\\|?*"
             : "is that of a device on Windows, whatever stands behind a period, or holds a control character";
}

}  // namespace system_files
}  // namespace trqprep
