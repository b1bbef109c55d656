/// How thick the walls of a hollow part are.
#pragma once

#include <cstdint>

#include "trq/geometry.h"
#include "trqprep/matrix4.h"
#include "trqprep/observer.h"

namespace trqprep {

/// Distances from the outer surface to the inner one, in the meshes' unit.
struct Wall {
  std::int64_t points = 0;  ///< measured: vertices that a facet uses, and the middles of the facets
  double least = 0;
  double mean = 0;        ///< of all points alike
  double thin_share = 0;  ///< of the points, 0..1: how many are nearer than what was asked about
  Point place{0, 0, 0};   ///< where on the outer surface the wall is `least`: the first such place
  bool bound = false;     ///< measuring was stopped: it took too many steps
};

/// Measures from every vertex of `outer` that a facet uses, and from the middle of every facet, to the
/// nearest point of `inner`, whichever side that is on. Points nearer than `thin` are counted as thin. All
/// zero without facets in both. Time grows as the facets times their logarithm. Where long facets lie across
/// each other so that it would not, measuring ends after 20 million steps and 120 more a facet. The observer
/// may cancel it.
Wall MeasureWall(Observer& observer, const CTL& outer, const CTL& inner, double thin);

}  // namespace trqprep
