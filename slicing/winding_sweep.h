/// Whether contours of a layer go over each other.
#pragma once

#include <vector>

#include "trqprep/slicing.h"

namespace trqprep::slicing {

/// True when some place in the plane is wound round by the closed contours otherwise than once or not at all,
/// open contours left out. Exact: contours that touch in points and along edges do not go over each other;
/// but a fold without width that lies across an edge counts as going over it. Takes time in proportion to n
/// log n of the points, and one more move in memory for each edge that a level line meets. Points must be
/// finite.
bool LeavesOneAndNone(const std::vector<const SliceContour*>& contours);

}  // namespace trqprep::slicing
