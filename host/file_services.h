/// Files as the host system sees them: names, attributes, free space, drive kinds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "trq/host.h"

namespace trq::host {

/// The name under which the system is asked for a file: as it was given when that holds no backslash or
/// exists; otherwise with slashes when that exists or its parent does; otherwise as it was given.
/// Made once an operation and handed on from there, so that all its steps mean one file.
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

struct CloseStream {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
/// A stream that closes itself, whatever way its scope is left.
using FileHandle = std::unique_ptr<std::FILE, CloseStream>;

/// Null when the file cannot be opened; a directory cannot, as on systems that have no streams of them.
FileHandle OpenFile(const SystemPath& path, const char* mode);

bool FileExists(const SystemPath& path);
/// True for an existing file without any write bit.
bool IsReadOnly(const SystemPath& path);
/// Gives the owner the write bit; false when that fails.
bool MakeWritable(const SystemPath& path);
/// Size in bytes; -1 when the file does not exist.
int64_t FileSize(const SystemPath& path);
/// Bytes available to the caller where the directory lies; -1 when they cannot be read.
int64_t FreeBytes(const SystemPath& directory);
/// drive::Kind of the file system that holds the path or its nearest existing parent.
int DriveKind(const SystemPath& path);
bool DeleteFileNamed(const SystemPath& path);
bool RenameFile(const SystemPath& from, const SystemPath& to);
/// Closes the stream and tells whether everything written to it has reached the system.
bool CloseChecked(FileHandle file);

}  // namespace trq::host

namespace trq::detail {
using host::CloseChecked;
using host::FileHandle;
using host::OpenFile;
}  // namespace trq::detail
