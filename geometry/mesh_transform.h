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

/// SnapCoordinate applied `times` times to the three coordinates of a point.
inline void SnapPoint(float point[3], uint32_t times) {
  for (; times > 0; --times) {
    const float next[3] = {SnapCoordinate(point[0]), SnapCoordinate(point[1]), SnapCoordinate(point[2])};
    const bool steady = next[0] == point[0] && next[1] == point[1] && next[2] == point[2];
    for (int k = 0; k < 3; ++k) point[k] = next[k];
    // From here on nothing changes any more. (A negative zero has become a positive one in this step.)
    if (steady) return;
  }
}

}  // namespace trq::detail
