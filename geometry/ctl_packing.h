/// The packed triangle block of CTL files, as a stream: the bits of BYTE_PACKER, made and read through a
/// 64-bit accumulator in blocks of any size, without touching the mesh.
///
/// The stream is the sequence of the triangles' four integers, `bits` bits each, most significant bit first,
/// in 32-bit words filled from their most significant bit. Between two calls the accumulator holds fewer than
/// 32 bits that belong to no finished word; so neither side ever holds more than 62 bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "trq/foundation.h"

namespace trq::detail {

/// Bits an integer of a mesh of `vertex_count` vertices takes: the width of vertex_count - 1; 0 for 1 and
/// less.
int PackedBits(int32_t vertex_count);

/// Words that `integers` integers of `bits` bits take: one more than they fill.
uint64_t PackedWords(int bits, uint64_t integers);

/// Whether every integer of the triangles fits its bits, which the stream form requires.
bool FitsBits(const R_INT4* triangles, std::size_t count, int bits);

class TrianglePacker {
 public:
  explicit TrianglePacker(int bits) : bits_(bits) {}
  /// Packs `count` triangles, all of whose integers fit; answers the number of words written, at most
  /// 4 * count.
  std::size_t Pack(const R_INT4* triangles, std::size_t count, uint32_t* words);
  /// The block's last word: what is left, then zeros.
  uint32_t LastWord() const { return pending_ == 0 ? 0 : static_cast<uint32_t>(held_ << (32 - pending_)); }

 private:
  int bits_;
  uint64_t held_ = 0;  ///< its low pending_ bits are still to be written
  int pending_ = 0;    ///< below 32
};

class TriangleUnpacker {
 public:
  explicit TriangleUnpacker(int bits) : bits_(bits) {}
  /// Hands over the next words; those of the call before must be used up (Unpack answered less than asked).
  void Feed(const uint32_t* words, std::size_t count) {
    next_ = words;
    end_ = words + count;
  }
  /// Unpacks integers into out[0..count) while words last; answers how many.
  std::size_t Unpack(int32_t* out, std::size_t count);

 private:
  int bits_;
  const uint32_t* next_ = nullptr;
  const uint32_t* end_ = nullptr;
  uint64_t held_ = 0;  ///< its low held_bits_ bits are still to be unpacked
  int held_bits_ = 0;
};

}  // namespace trq::detail
