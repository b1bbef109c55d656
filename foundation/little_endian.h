/// Numbers of little-endian files, whatever the machine's own order and the address's alignment.
#pragma once

#include <cstdint>
#include <cstring>

namespace trq::detail {

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

inline void StoreLittle16(unsigned char* p, uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

inline void StoreLittle32(unsigned char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> 8 * i);
}

}  // namespace trq::detail
