/// A stream that closes itself, whatever way its scope is left.
#pragma once

#include <cstdio>
#include <memory>

namespace trq::detail {

struct CloseStream {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseStream>;

/// Null when `path` is null or cannot be opened.
inline FileHandle OpenFile(const char* path, const char* mode) {
  return FileHandle(path ? std::fopen(path, mode) : nullptr);
}

/// Closes the stream and tells whether everything written to it has reached the system.
inline bool CloseChecked(FileHandle file) {
  const bool written = std::ferror(file.get()) == 0;
  return std::fclose(file.release()) == 0 && written;
}

}  // namespace trq::detail
