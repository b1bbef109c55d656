/// Boxes of single facets.
#pragma once

#include <algorithm>

#include "trqprep/matrix4.h"

namespace trqprep {

/// The corners are numbers.
inline Box BoxOf(const Corners& facet) {
  Box box{facet[0], facet[0]};
  for (const Point& corner : facet) {
    for (size_t k = 0; k < 3; ++k) {
      box.min[k] = std::min(box.min[k], corner[k]);
      box.max[k] = std::max(box.max[k], corner[k]);
    }
  }
  return box;
}

/// Whether they share a point, be it on their borders.
inline bool Meet(const Box& a, const Box& b) {
  for (size_t k = 0; k < 3; ++k) {
    if (a.max[k] < b.min[k] || a.min[k] > b.max[k]) return false;
  }
  return true;
}

}  // namespace trqprep
