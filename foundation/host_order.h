/// Numbers of files, which are little-endian on every machine, whatever the machine's own order and the
/// address's alignment.
#pragma once

#include <cstdint>
#include <cstring>

#include "foundation/byte_order.h"

namespace trq::detail {

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
inline constexpr bool kHostIsLittle = false;
#else
inline constexpr bool kHostIsLittle = true;
#endif

/// Turns `count` items of `size` bytes from the order of files into the machine's, or back.
inline void ToHostOrder([[maybe_unused]] void* items, [[maybe_unused]] size_t size,
                        [[maybe_unused]] size_t count) {
  if constexpr (!kHostIsLittle) ReverseItems(items, size, count);
}
/// Words, numbers of four bytes.
inline void WordsToHostOrder(void* words, size_t count) { ToHostOrder(words, 4, count); }

inline uint16_t LoadLittle16(const unsigned char* p) { return uint16_t(p[0] | p[1] << 8); }

inline uint32_t LoadLittle32(const unsigned char* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

inline float LoadLittleFloat(const unsigned char* p) {
  const uint32_t bits = LoadLittle32(p);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

inline uint64_t LoadLittle64(const unsigned char* p) {
  return uint64_t{LoadLittle32(p)} | uint64_t{LoadLittle32(p + 4)} << 32;
}

inline void StoreLittle16(unsigned char* p, uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

inline void StoreLittle32(unsigned char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> 8 * i);
}

inline void StoreLittleFloat(unsigned char* p, float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  StoreLittle32(p, bits);
}

}  // namespace trq::detail
