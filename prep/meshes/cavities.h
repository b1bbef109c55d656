/// Which surfaces of a mesh are cavities.
#pragma once

#include "trqprep/mesh_topology.h"

namespace trqprep {

/// Sets `cavity` of every surface; all else of `topology` must be there. All comparisons are exact: the
/// result depends neither on rounding nor on the order of the facets.
///
/// The corners that are asked about are halved again and again, and each half takes with it the facets near
/// it. What a surface is to a half that all of its facets have left is known at once for all corners in it.
/// Time grows as the facets times their logarithm and memory as the facets while a facet is near few of
/// those corners. Surfaces that all cross each other, or needles everywhere, are near many: times measured
/// grow as the facets to the power of 1.5.
void FindCavities(const CTL& mesh, Topology& topology);

}  // namespace trqprep
