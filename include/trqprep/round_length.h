/// Round numbers for scale bars and grids.
#pragma once

namespace trqprep {

/// The n with 10^n <= |value| < 10^(n + 1); 0 of zero and what is not finite.
int DecimalExponent(double value);
/// The longest of 1, 2 and 5, times a power of ten, that is no longer than `most`, which is above 0.
double RoundLength(double most);

}  // namespace trqprep
