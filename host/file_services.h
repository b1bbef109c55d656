/// Files as the host system sees them: names, attributes, free space, drive kinds.
#pragma once

#include <cstdint>
#include <string>

#include "trq/core/file.h"
#include "trq/host.h"

namespace trq::host {

/// The name under which the system is asked for a file. On Windows, as it was given. Elsewhere as it was
/// given when that holds no backslash or exists; otherwise with slashes when that exists or its parent does;
/// otherwise as it was given. Made once an operation and handed on from there, so that all its steps mean one
/// file.
class SystemPath {
 public:
  // Implicit: every operation takes its names as texts.
  SystemPath(const CString& given) : SystemPath(given.str()) {}  // NOLINT
  SystemPath(const char* given) : SystemPath(CString(given)) {}  // NOLINT: a null pointer is the empty name
  SystemPath(const std::string& given);                          // NOLINT

  const std::string& str() const { return name_; }
  /// The name with an ending, by its side whatever else there is.
  SystemPath operator+(const char* ending) const {
    SystemPath longer(*this);
    longer.name_ += ending;
    return longer;
  }

 private:
  std::string name_;
};

using core::CloseChecked;
using core::FileHandle;
using core::Position;
using core::Seek;

/// As core::OpenFile, whose rules for `mode` and errno hold.
inline FileHandle OpenFile(const SystemPath& path, const char* mode) {
  return core::OpenFile(path.str(), mode);
}
/// The same, but where the system has streams of directories they are opened.
FileHandle OpenFileOrFolder(const SystemPath& path, const char* mode);

bool FileExists(const SystemPath& path);
/// True for an existing file that nobody may write: one without any write bit.
bool IsReadOnly(const SystemPath& path);
/// Gives the owner the write bit; false when that fails.
bool MakeWritable(const SystemPath& path);
/// Size in bytes; -1 when the file does not exist.
int64_t FileSize(const SystemPath& path);
/// Bytes available to the caller where the directory lies; -1 when they cannot be read.
int64_t FreeBytes(const SystemPath& directory);
/// drive::Kind of the file system that holds the path or its nearest existing parent; kNoSuchRoot for the
/// empty path, and for drive letters where the system has none.
int DriveKind(const SystemPath& path);
/// False with the reason in errno when it cannot be done; on Windows also while somebody has it open.
bool DeleteFileNamed(const SystemPath& path);
/// Takes the place of what stands under the new name. False as DeleteFileNamed's.
bool RenameFile(const SystemPath& from, const SystemPath& to);

}  // namespace trq::host

namespace trq::detail {
using host::CloseChecked;
using host::FileHandle;
using host::OpenFile;
using host::Position;
using host::Seek;
}  // namespace trq::detail
