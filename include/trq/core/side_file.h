/// The vents-and-drains side file (docs/formats/vents-and-drains.md): its lines, and moving its points.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "trq/export.h"

namespace trq::core {

/// A point and four numbers that are carried along.
using SideNumbers = std::array<float, 7>;

/// The longest line that is read, in bytes without its end.
constexpr std::size_t kLongestSideLine = 518;

/// The seven numbers that a line begins with, as scanf("%f") reads them in the "C" locale, hexadecimal ones
/// excepted; nothing when there are fewer. What is too large is infinite, too small 0; what follows is not
/// looked at. `whole`: nothing but blanks may stand between and behind the numbers, all must be in range, and
/// the line must not be too long.
TRQ_EXPORT std::optional<SideNumbers> ParseSideLine(std::string_view line, bool whole = false);

/// The line of seven numbers, six decimals each, without line end.
TRQ_EXPORT std::string SideLine(const SideNumbers& numbers);

/// What happens to the point of a vent or drain.
class TRQ_EXPORT PointMove {
 public:
  /// Adds (dx, dy, dz).
  PointMove(float dx, float dy, float dz) : offset_{dx, dy, dz} {}
  /// What carries a point from where the matrix `before` places it to where `after` does (row-major, column
  /// vectors), or back. With `mm_to_inch` 1 the matrices are meant for inches and the points in millimetres.
  PointMove(const float (&after)[4][4], const float (&before)[4][4], int mm_to_inch, bool inverse = false);
  void Apply(float point[3]) const;
  /// Whether it turns about X or Y, which takes vents and drains off the top and bottom of the part.
  bool Tilts() const { return through_matrix_ && matrix_[2][2] < 0.99; }

 private:
  float offset_[3] = {};
  bool through_matrix_ = false;
  double scale_ = 1;
  float matrix_[4][4] = {};
};

/// The lines of a side file's text with every point moved; lines that ParseSideLine does not take, or that
/// are too long, are left out.
TRQ_EXPORT std::string MoveSideText(std::string_view text, const PointMove& move);

}  // namespace trq::core
