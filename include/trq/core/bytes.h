/// Where the readers of trq::core take bytes from and where the writers put them: memory, a stream, or
/// whatever an application derives from the two classes, to hash what passes for instance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "trq/core/span.h"
#include "trq/export.h"

namespace trq::core {

/// Bytes to read, one after the other.
class TRQ_EXPORT ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource();
  /// Reads the next `size` bytes into `to` and returns how many came: fewer only at the end and on failure.
  virtual std::size_t Read(void* to, std::size_t size) = 0;
  /// Bytes from the position to the end; nothing when that cannot be told (pipes): memory is then taken as
  /// the bytes come.
  virtual std::optional<std::uint64_t> Remaining() = 0;
  /// Offset of the next byte; nothing when there is no such thing.
  virtual std::optional<std::uint64_t> Position() = 0;
  /// Goes on reading at that offset. False when that cannot be done.
  virtual bool Seek(std::uint64_t position) = 0;
  /// Whether reading failed, other than by reaching the end.
  virtual bool failed() const = 0;
};

/// Bytes in memory, which stay the caller's and in place.
class TRQ_EXPORT MemorySource : public ByteSource {
 public:
  explicit MemorySource(Bytes bytes) : bytes_(bytes) {}
  std::size_t Read(void* to, std::size_t size) override;
  std::optional<std::uint64_t> Remaining() override { return bytes_.size() - next_; }
  std::optional<std::uint64_t> Position() override { return next_; }
  bool Seek(std::uint64_t position) override;
  bool failed() const override { return false; }

 private:
  Bytes bytes_;
  std::size_t next_ = 0;
};

/// A stream opened in binary mode, from its position on. It stays the caller's and is not closed; offsets are
/// those of the stream. No null.
class TRQ_EXPORT FileSource : public ByteSource {
 public:
  explicit FileSource(std::FILE* file) : file_(file) {}
  std::size_t Read(void* to, std::size_t size) override;
  std::optional<std::uint64_t> Remaining() override;
  std::optional<std::uint64_t> Position() override;
  bool Seek(std::uint64_t position) override;
  bool failed() const override { return std::ferror(file_) != 0; }

 private:
  std::FILE* file_;
};

/// Takes bytes, one after the other.
class TRQ_EXPORT ByteSink {
 public:
  ByteSink() = default;
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;
  virtual ~ByteSink();
  /// Takes all of the bytes, or returns false. The writers of trq::core go on after a failure and report it
  /// at their end, so a sink keeps it on record itself.
  virtual bool Write(const void* bytes, std::size_t size) = 0;
  /// Whether a write failed.
  virtual bool failed() const = 0;
};

/// Bytes in memory. Throws std::bad_alloc.
class TRQ_EXPORT MemorySink : public ByteSink {
 public:
  bool Write(const void* data, std::size_t size) override;
  bool failed() const override { return false; }
  std::vector<unsigned char> bytes;
};

/// A stream opened in binary mode. It stays the caller's, who closes it and thereby learns whether all has
/// reached the system. No null.
class TRQ_EXPORT FileSink : public ByteSink {
 public:
  explicit FileSink(std::FILE* file) : file_(file) {}
  bool Write(const void* bytes, std::size_t size) override {
    return std::fwrite(bytes, 1, size, file_) == size;
  }
  bool failed() const override { return std::ferror(file_) != 0; }

 private:
  std::FILE* file_;
};

}  // namespace trq::core
