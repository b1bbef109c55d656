/// The one form of a contour: where it begins, which points it keeps, where it stands among others.
#pragma once

#include <vector>

#include "trqprep/slicing.h"

namespace trqprep::slicing {

/// Takes the points of a loop, the first not repeated, to the rotation that is least as a sequence.
void RotateToLeast(std::vector<SlicePoint>& loop);

/// Leaves out points that lie within `tolerance` of the edge that replaces them, the first and last never.
/// `closed`: the last point is the first, repeated; then at least three others stay.
void LeaveOut(std::vector<SlicePoint>& points, double tolerance, bool closed);

/// The same; `kept` is room that is used again.
void LeaveOut(std::vector<SlicePoint>& points, double tolerance, bool closed, std::vector<SlicePoint>& kept);

/// The order of contours in a layer.
bool Before(const SliceContour& a, const SliceContour& b);

}  // namespace trqprep::slicing
