/// What a mesh covers seen from above, as the nesting engine takes it.
#pragma once

#include "trq/core/mesh.h"
#include "trqprep/matrix4.h"
#include "trqprep/nesting.h"

namespace trqprep {

struct SeenOutline {
  nesting::Outline outline;  ///< empty when no facet has finite corners
  double grown = 0;          ///< no point of it is farther from a facet, all projected to XY
};

/// The union of all facets projected to XY after `matrix`: regions, counter-clockwise, with holes, clockwise.
/// Every facet counts, whichever way it faces; one that stands upright counts as the line that it is.
///
/// The outline is never smaller. Up to 32 corners it is exact but for a billionth of the mesh's size; beyond,
/// it is grown by at most `tolerance` (above 0, in the unit of the result), inside of the box of the facets,
/// to have few corners. Only where that would take more than a second or leave more than 10 000 corners is
/// `grown` larger. Facets with a corner that is not finite are left out.
SeenOutline OutlineFromAbove(const trq::core::MeshView& mesh, const Matrix4& matrix, double tolerance);

}  // namespace trqprep
