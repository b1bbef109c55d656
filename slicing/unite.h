/// One contour where several go over each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "slicing/allowance.h"
#include "trqprep/slicing.h"

namespace trqprep::slicing {

/// Units of the whole numbers to which points are rounded where contours are united: the finest power of two
/// that keeps all of them within 2^30.
double GridOf(double greatest_coordinate);

/// Unites the closed contours of a layer where the winding number leaves 0 and 1 (`always`: everywhere): what
/// is wound round at all is inside. Contours begin at their least rotation, but stand in no order afterwards.
/// `free_steps` are not taken of the allowance; what would exceed it is not begun.
struct Union {
  bool changed = false;
  double inverted_area = 0;  ///< that was wound round less than not at all
  SlicePoint inverted{};     ///< a point of it
};
Union UniteLayer(std::vector<SliceContour>& contours, bool always, double grid, std::uint64_t free_steps,
                 Allowance& steps);

}  // namespace trqprep::slicing
