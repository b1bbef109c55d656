/// What a part covers seen from above.
#pragma once

#include "trqprep/matrix4.h"
#include "trqprep/nesting.h"

namespace trqprep {

/// Holds everything that facets of the mesh cover in XY after the matrix, and may reach `tolerance` farther.
/// A mesh without a corner that is a number gives an outline without corners.
nesting::Outline OutlineOf(const CTL& mesh, const Matrix4& matrix, double tolerance);

}  // namespace trqprep
