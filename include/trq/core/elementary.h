/// Exponential, logarithm, angles and lengths with the same bits on every machine: C libraries choose other
/// steps by system and processor. What is not here but exact anyway (square root, floor, ceil, trunc, round,
/// fmod, fabs) is taken from <cmath>.
///
/// Each computes with pairs of doubles, about 100 bits, and rounds once. Where nothing else is said, results
/// differ from the exact values by at most 0.501 units in the last place: all but one of thousands are the
/// nearest double. NaN gives NaN; special values give what <cmath> gives. No side effects, errno included.
#pragma once

#include <cstdint>
#include <cstring>

#include "trq/export.h"

namespace trq::core {

/// e to the power of `x`. 0 and infinity outside of what doubles hold; results below 2^-1022 are off by at
/// most 1 unit.
TRQ_EXPORT double Exp(double x);

/// The natural logarithm: NaN below 0, minus infinity of 0.
TRQ_EXPORT double Log(double x);

/// Of an angle in radians of any size; NaN of infinities.
TRQ_EXPORT double Sin(double radians);
TRQ_EXPORT double Cos(double radians);

/// The angle in radians, 0 to pi, whose cosine is `x`; NaN outside of -1 to 1.
TRQ_EXPORT double Acos(double x);

/// The angle of the point (x, y) from the +x axis, in radians, -pi to pi.
TRQ_EXPORT double Atan2(double y, double x);

/// The length of (x, y), without overflow on the way.
TRQ_EXPORT double Hypot(double x, double y);

struct SineCosine {
  double sine;
  double cosine;
};

/// Of `degrees` modulo 360, made radians in double (x pi / 180): the errors above are against the sine and
/// cosine of that double. Multiples of 90 degrees are exact. Infinities and NaN give NaN.
TRQ_EXPORT SineCosine SineCosineOf(double degrees);

/// 2 to the power of `n`, -1022 to 1023.
inline double PowerOfTwo(int n) {
  const std::uint64_t bits = static_cast<std::uint64_t>(n + 1023) << 52;
  double power;
  std::memcpy(&power, &bits, sizeof power);
  return power;
}

/// The n with 2^(n - 1) <= |x| < 2^n; 0 of zero, infinities and NaN.
inline int BinaryExponent(double x) {
  const double usual = x * 0x1p64;  // of the smallest, too
  std::uint64_t bits;
  std::memcpy(&bits, x - x == 0 && usual - usual == 0 ? &usual : &x, sizeof bits);
  const int field = static_cast<int>(bits >> 52 & 0x7FF);
  if (x == 0 || field == 0x7FF) return 0;
  return field - 1022 - (usual - usual == 0 ? 64 : 0);
}

}  // namespace trq::core
