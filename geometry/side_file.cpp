#include "trq/core/side_file.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "foundation/number_text.h"
#include "geometry/placed_points.h"
#include "trq/foundation.h"
#include "trq/slice_contours.h"

namespace trq::core {
namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// Reads the next number as "%f" does in the "C" locale (no hexadecimal ones); false when there is none.
bool TakeNumber(std::string_view& rest, float& number, bool in_range) {
  rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error == std::errc::invalid_argument) return false;
  if (error == std::errc::result_out_of_range) {
    if (in_range) return false;
    // Too small for a float is zero, too large infinite; a double tells which.
    double wide = std::numeric_limits<double>::infinity();
    const bool in_double = std::from_chars(rest.data(), end, wide).ec == std::errc();
    const bool tiny =
        in_double ? wide > -1 && wide < 1
                  : std::string_view(rest.data(), end - rest.data()).find("e-") != std::string_view::npos;
    number = tiny ? 0.0f : std::numeric_limits<float>::infinity();
    if (rest[0] == '-') number = -number;
  }
  rest.remove_prefix(size_t(end - rest.data()));
  return true;
}

}  // namespace

std::optional<SideNumbers> ParseSideLine(std::string_view line, bool whole) {
  if (whole && line.size() > kLongestSideLine) return std::nullopt;
  SideNumbers numbers;
  for (float& number : numbers) {
    if (!TakeNumber(line, number, whole)) return std::nullopt;
    if (whole && !line.empty() && kBlanks.find(line[0]) == std::string_view::npos) return std::nullopt;
  }
  if (whole && line.find_first_not_of(kBlanks) != std::string_view::npos) return std::nullopt;
  return numbers;
}

std::string SideLine(const SideNumbers& numbers) {
  std::string line;
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) line += i % 3 == 0 ? "  " : " ";
    detail::AppendComputed(line, numbers[i]);
  }
  line.shrink_to_fit();  // of the numbers' longest forms; files have a million lines
  return line;
}

PointMove::PointMove(const float (&after)[4][4], const float (&before)[4][4], int mm_to_inch, bool inverse)
    : through_matrix_(true), scale_(mm_to_inch == 1 ? detail::kMillimetresPerInch : 1.0) {
  float current[4][4], previous[4][4], previous_inverse[4][4], move[4][4];
  std::memcpy(current, after, sizeof current);
  std::memcpy(previous, before, sizeof previous);
  const MATRICES matrices;
  matrices.TransMatInverse(previous_inverse, previous);
  matrices.matmult(move, current, previous_inverse);
  if (inverse) {
    matrices.TransMatInverse(matrix_, move);
  } else {
    matrices.EquateMatrices(matrix_, move);
  }
}

void PointMove::Apply(float point[3]) const {
  if (!through_matrix_) {
    for (int k = 0; k < 3; ++k) point[k] = float(double(point[k]) + offset_[k]);
    return;
  }
  float in[4][1] = {{}, {}, {}, {1}};
  float out[4][1];
  for (int k = 0; k < 3; ++k) in[k][0] = float(point[k] / scale_);
  slc::MatVecMult(out, matrix_, in);
  for (int k = 0; k < 3; ++k) point[k] = float(out[k][0] * scale_);
}

std::string MoveSideText(std::string_view text, const PointMove& move) {
  std::string moved;
  while (!text.empty()) {
    // As fgets with room for the longest line and its end reads it: text ends at a NUL.
    std::string_view piece = text.substr(0, kLongestSideLine + 1);
    piece = piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
    text.remove_prefix(piece.size());
    const std::string_view line = piece.substr(0, piece.find('\0'));
    if (line.size() > kLongestSideLine && line.back() != '\n') {
      const size_t end = text.find('\n');
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
      continue;
    }
    if (std::optional<SideNumbers> numbers = ParseSideLine(line)) {
      move.Apply(numbers->data());
      moved += SideLine(*numbers) + '\n';
    }
  }
  return moved;
}

}  // namespace trq::core
