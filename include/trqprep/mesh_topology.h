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

/// Where something is wrong with a mesh.
struct MeshPlace {
  int facet;
  Point at;  ///< the middle of the edge, or of the facet
};
/// So many places of a kind are kept at most.
constexpr std::size_t kPlacesKept = 100;

struct Topology {
  std::int64_t open_edges = 0;         ///< used by one facet
  std::int64_t crowded_edges = 0;      ///< used by more than two facets
  std::int64_t misdirected_edges = 0;  ///< used by two facets in the same direction
  std::int64_t degenerate_facets = 0;  ///< two equal indices, or no area
  // The first of them, in the order of their facets (of the first facet of an edge).
  std::vector<MeshPlace> open_places;
  std::vector<MeshPlace> non_manifold_places;  ///< crowded and misdirected edges
  std::vector<MeshPlace> degenerate_places;
  std::vector<Surface> surfaces;      ///< in order of their first facet
  std::vector<int> surface_of_facet;  ///< -1 for facets with two equal indices
};

/// Indices must lie inside the vertices (ReadMesh makes sure). Time grows as the facets times their
/// logarithm; where many surfaces cross each other or needles pass everywhere, finding the cavities among
/// them grows faster (prep/meshes/cavities.h).
Topology AnalyseTopology(const CTL& mesh);

/// The middle of a facet.
MeshPlace PlaceOf(const CTL& mesh, int facet);

}  // namespace trqprep
