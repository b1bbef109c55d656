#include "foundation/number_text.h"

#include <charconv>
#include <cmath>
#include <cstddef>

namespace trq::detail {
namespace {

// Sign, 309 digits of the largest double, point; a caller's precision comes on top.
constexpr int kWithoutPrecision = 320;

void Append(std::string& text, double v, std::chars_format format, int precision, int width) {
  const std::size_t start = text.size();
  text.resize(start + kWithoutPrecision + static_cast<std::size_t>(precision));
  char* const first = text.data() + start;
  const std::to_chars_result result = std::to_chars(first, text.data() + text.size(), v, format, precision);
  text.resize(static_cast<std::size_t>(result.ptr - text.data()));
  const std::size_t length = text.size() - start;
  if (length < static_cast<std::size_t>(width))
    text.insert(start, static_cast<std::size_t>(width) - length, ' ');
}

}  // namespace

void AppendFixed(std::string& text, double v, int precision, int width) {
  Append(text, v, std::chars_format::fixed, precision, width);
}

void AppendComputed(std::string& text, double v, int precision, int width) {
  AppendFixed(text, std::isnan(v) ? std::fabs(v) : v, precision, width);
}

void AppendScientific(std::string& text, double v, int precision) {
  Append(text, v, std::chars_format::scientific, precision, 0);
}

}  // namespace trq::detail
