#include "foundation/number_text.h"

#include <charconv>
#include <cmath>
#include <cstddef>

namespace trq::detail {

void AppendFixed(std::string& text, double v, int precision, int width) {
  constexpr int kWithoutPrecision = 320;  // sign, 309 digits of the largest double, point
  const size_t start = text.size();
  text.resize(start + kWithoutPrecision + size_t(precision));
  const std::to_chars_result result =
      std::to_chars(text.data() + start, text.data() + text.size(), v, std::chars_format::fixed, precision);
  text.resize(size_t(result.ptr - text.data()));
  const size_t length = text.size() - start;
  if (length < size_t(width)) text.insert(start, size_t(width) - length, ' ');
}

void AppendComputed(std::string& text, double v, int precision, int width) {
  AppendFixed(text, std::isnan(v) ? std::fabs(v) : v, precision, width);
}

void AppendThree(std::string& text, double x, double y, double z) {
  for (const double v : {x, y, z}) {
    AppendComputed(text, v);
    text += ' ';
  }
}

}  // namespace trq::detail
