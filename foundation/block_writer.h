/// Output in large blocks, and of numbers.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

#include "foundation/host_order.h"
#include "trq/core/bytes.h"

namespace trq::detail {

/// Writes numbers of four bytes as files have them. False when the sink failed.
inline bool WriteWords(core::ByteSink& sink, const void* words, size_t count) {
  if constexpr (kHostIsLittle) return count == 0 || sink.Write(words, 4 * count);
  uint32_t block[1024];
  const auto* from = static_cast<const unsigned char*>(words);
  while (count > 0) {
    const size_t some = count < 1024 ? count : 1024;
    std::memcpy(block, from, 4 * some);
    WordsToHostOrder(block, some);
    if (!sink.Write(block, 4 * some)) return false;
    from += 4 * some;
    count -= some;
  }
  return true;
}

/// Collects pieces of bounded size and writes them in blocks of 1 MB: systems write a file of large blocks
/// much faster than one of small ones, and whole blocks pass a stream's own buffer. A failure stays on record
/// in the sink.
class BlockWriter {
 public:
  static constexpr size_t kLargestPiece = 4096;

  /// The sink stays the caller's. `expected` is about how many bytes will
  /// come: less memory is taken for few.
  BlockWriter(core::ByteSink& sink, size_t expected)
      : sink_(sink),
        block_(expected < kBlock ? kSmallBlock : kBlock),
        bytes_(new unsigned char[block_ + kLargestPiece]) {}
  BlockWriter(const BlockWriter&) = delete;
  BlockWriter& operator=(const BlockWriter&) = delete;
  /// Writes what is left.
  ~BlockWriter() { Flush(); }

  /// Room for kLargestPiece bytes; Advance says how many of them were used.
  unsigned char* next() { return bytes_.get() + used_; }
  void Advance(size_t size) {
    used_ += size;
    if (used_ >= block_) Flush(block_);
  }
  void Write(const void* data, size_t size) {
    const unsigned char* from = static_cast<const unsigned char*>(data);
    while (size > 0) {
      const size_t some = size < block_ - used_ ? size : block_ - used_;
      std::memcpy(next(), from, some);
      Advance(some);
      from += some;
      size -= some;
    }
  }
  /// Hands everything to the sink.
  void Flush() { Flush(used_); }

 private:
  static constexpr size_t kBlock = size_t{1} << 20;
  static constexpr size_t kSmallBlock = size_t{1} << 16;

  void Flush(size_t size) {
    if (size == 0) return;
    sink_.Write(bytes_.get(), size);
    used_ -= size;
    std::memmove(bytes_.get(), bytes_.get() + size, used_);
  }

  core::ByteSink& sink_;
  size_t block_;
  std::unique_ptr<unsigned char[]> bytes_;
  size_t used_ = 0;
};

}  // namespace trq::detail
