#include "geometry/ctl_packing.h"

namespace trq::detail {

int PackedBits(int32_t vertex_count) {
  int bits = 0;
  for (uint32_t largest = vertex_count > 1 ? static_cast<uint32_t>(vertex_count) - 1u : 0u; largest != 0;
       largest >>= 1) {
    ++bits;
  }
  return bits;
}

uint64_t PackedWords(int bits, uint64_t integers) { return static_cast<uint64_t>(bits) * integers / 32 + 1; }

bool FitsBits(const R_INT4* triangles, std::size_t count, int bits) {
  uint32_t used = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 4; ++k) used |= static_cast<uint32_t>(triangles[i][k]);
  }
  return used >> bits == 0;
}

std::size_t TrianglePacker::Pack(const R_INT4* triangles, std::size_t count, uint32_t* words) {
  uint32_t* next = words;
  for (std::size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 4; ++k) {
      held_ = held_ << bits_ | static_cast<uint32_t>(triangles[i][k]);
      pending_ += bits_;
      if (pending_ >= 32) {
        pending_ -= 32;
        *next++ = static_cast<uint32_t>(held_ >> pending_);
      }
    }
  }
  return static_cast<std::size_t>(next - words);
}

std::size_t TriangleUnpacker::Unpack(int32_t* out, std::size_t count) {
  const uint64_t mask = (uint64_t{1} << bits_) - 1;
  for (std::size_t i = 0; i < count; ++i) {
    if (held_bits_ < bits_) {
      if (next_ == end_) return i;
      held_ = held_ << 32 | *next_++;
      held_bits_ += 32;
    }
    held_bits_ -= bits_;
    out[i] = static_cast<int32_t>(held_ >> held_bits_ & mask);
  }
  return count;
}

}  // namespace trq::detail
