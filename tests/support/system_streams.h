/// Streams that systems make in ways of their own: pipes, memory, a disk that is full.
#pragma once

#include <fcntl.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "tests/support/temp_dir.h"
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace test_support {

/// The reading end of a pipe through which these bytes come, as many at a time as it takes.
class PipeOf {
 public:
  explicit PipeOf(std::string bytes) {
    int ends[2];
#ifdef _WIN32
    const bool made = _pipe(ends, 65536, _O_BINARY | _O_NOINHERIT) == 0;
    const auto opened = [](int end, const char* mode) { return Stream(_fdopen(end, mode)); };
#else
    const bool made = pipe(ends) == 0;
    const auto opened = [](int end, const char* mode) { return Stream(fdopen(end, mode)); };
#endif
    if (!made) throw std::runtime_error("no pipe");
    reader_ = opened(ends[0], "rb");
    writer_ = std::thread([bytes = std::move(bytes), to = opened(ends[1], "wb")] {
      std::fwrite(bytes.data(), 1, bytes.size(), to.get());
    });
  }
  PipeOf(const PipeOf&) = delete;
  PipeOf& operator=(const PipeOf&) = delete;
  /// What was written must have been read, or fit the pipe's buffer of 64 KB.
  ~PipeOf() { writer_.join(); }
  std::FILE* get() { return reader_.get(); }

 private:
  Stream reader_;
  std::thread writer_;
};

/// A stream over these bytes, which are not none and outlive it; from a file where the system has none in
/// memory.
inline Stream StreamInMemory(std::string& bytes, std::size_t length) {
#ifdef _WIN32
  return StreamOf(std::string_view(bytes).substr(0, length));
#else
  return Stream(fmemopen(bytes.data(), length, "rb"));
#endif
}

/// A file that can be opened for writing and takes nothing, as on a full disk. Of Windows only Wine has one;
/// elsewhere the tests that need it fail.
inline const char* FullDisk() {
#ifdef _WIN32
  return "Z:/dev/full";
#else
  return "/dev/full";
#endif
}

}  // namespace test_support
