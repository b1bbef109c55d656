/// Which surfaces of a mesh are cavities, and which lie in which.
#pragma once

#include <vector>

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

/// For each surface that is closed and faces outward, the number of other such surfaces that it lies in:
/// whose box holds its own, and which wind around its outermost corners along each axis. -1 where those
/// corners differ, as surfaces that cross each other do, and for all other surfaces. Exact and as fast as
/// FindCavities.
std::vector<int> NestingDepths(const CTL& mesh, const Topology& topology);

}  // namespace trqprep
