/// How a mesh hangs together: edges, surfaces, which of them are closed, and which are cavities.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

/// Facets connected through shared edges.
struct Surface {
  int facets = 0;
  bool closed = false;  ///< every edge is used as often in each direction
  double volume = 0;    ///< signed: above 0 when the facets wind counter-clockwise seen from outside
  Box box;
  int first_facet = 0;
  /// A closed surface that faces inward and lies inside a closed one that faces outward: the box of the outer
  /// one holds the inner one's, and the outer one winds at least once around the inner one's lowest corner
  /// (least x, then y, then z). A corner that lies on the outer surface counts as a hair further along x,
  /// then y, then z. So one corner decides for surfaces that cross each other.
  bool cavity = false;
};

struct Topology {
  std::int64_t open_edges = 0;         ///< used by one facet
  std::int64_t crowded_edges = 0;      ///< used by more than two facets
  std::int64_t misdirected_edges = 0;  ///< used by two facets in the same direction
  std::int64_t degenerate_facets = 0;  ///< two equal indices, or no area
  int first_open_facet = -1;
  int first_crowded_facet = -1;
  int first_misdirected_facet = -1;
  int first_degenerate_facet = -1;
  std::vector<Surface> surfaces;      ///< in order of their first facet
  std::vector<int> surface_of_facet;  ///< -1 for facets with two equal indices
};

/// Indices must lie inside the vertices (ReadMesh makes sure). Time grows as the facets times their
/// logarithm; where many surfaces cross each other or needles pass everywhere, finding the cavities among
/// them grows faster (prep/meshes/cavities.h).
Topology AnalyseTopology(const CTL& mesh);

/// The smallest distance from a point to the mesh's facets; infinite for a mesh without facets.
double DistanceToMesh(const CTL& mesh, const Point& point);

}  // namespace trqprep
