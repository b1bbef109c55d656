/// Sine and cosine that are the same on every machine: C libraries choose other steps by processor.
#pragma once

namespace trqprep {

struct SineCosine {
  double sine;
  double cosine;
};

/// Of `degrees` modulo 360, made radians in double (x pi / 180): off by at most 1 unit in the last place from
/// the sine and cosine of that double, and in all but one of thousands of values the nearest double.
/// Multiples of 90 degrees are exact. Infinities and NaN give NaN.
SineCosine SineCosineOf(double degrees);

}  // namespace trqprep
