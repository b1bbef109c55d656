/// Which NaN a processor makes of infinities differs (x86 sets its sign, others do not), and so does which of
/// two it passes on. What is computed is therefore stored as one of them.
#pragma once

#include <cstdint>
#include <cstring>

namespace trq::detail {

/// `v`, or for every NaN the one with the bits 0x7fc00000. In integers: compilers may take one NaN for
/// another.
inline float CanonicalNan(float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bits = (bits & 0x7FFFFFFFu) > 0x7F800000u ? 0x7FC00000u : bits;
  std::memcpy(&v, &bits, sizeof bits);
  return v;
}

}  // namespace trq::detail
