/// Floats as whole numbers that stand in their order.
#pragma once

#include <cstdint>
#include <cstring>

namespace trqprep::slicing {

/// Ascends with the value, -0 right below 0.
inline std::uint32_t OrderedBits(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits >> 31 ? ~bits : bits | 0x80000000u;
}

/// Of which these are the OrderedBits.
inline float FloatOfOrderedBits(std::uint32_t bits) {
  bits = bits >> 31 ? bits & 0x7fffffffu : ~bits;
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace trqprep::slicing
