/// Steps of the whole-mesh operations, on values.
#pragma once

#include <cmath>
#include <cstdint>

namespace trq::detail {

/// trunc(c * 10000 + 0.5) * 0.0001, rounded to float.
inline float SnapCoordinate(float c) {
  const double shifted = c * 10000.0 + 0.5;
  // Doubles from 2^52 on are whole already, and NaN stays NaN. Below, the detour over an integer truncates as
  // std::trunc does once the sign of a negative zero is put back.
  double whole = shifted;
  if (std::fabs(shifted) < 4503599627370496.0) {
    whole = std::copysign(static_cast<double>(static_cast<int64_t>(shifted)), shifted);
  }
  return static_cast<float>(whole * 0.0001);
}

/// SnapCoordinate applied `times` times.
inline float SnapCoordinate(float c, uint32_t times) {
  for (; times > 0; --times) {
    const float next = SnapCoordinate(c);
    // From here on nothing changes any more. (A negative zero becomes a positive one in the same step.)
    if (next == c) return next;
    c = next;
  }
  return c;
}

}  // namespace trq::detail
