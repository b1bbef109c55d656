#include "trqprep/round_length.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>

#include "trqprep/quantities.h"

namespace trqprep {

int DecimalExponent(double value) {
  if (value == 0 || !std::isfinite(value)) return 0;
  std::array<char, 32> text;  // the shortest, so that 1e-5 is not taken for less
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific).ptr;
  return int(ParseNumber(std::string(std::find(text.data(), end, 'e') + 1, end)));
}

double RoundLength(double most) {
  const double power = ParseNumber("1e" + std::to_string(DecimalExponent(most)));
  return power * (most >= 5 * power ? 5 : most >= 2 * power ? 2 : 1);
}

}  // namespace trqprep
