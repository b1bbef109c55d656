/// How far points are from the facets of a mesh.
#pragma once

#include <cstdint>
#include <vector>

#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

/// The point of a triangle, its border and corners included, that is nearest to `point`. One without area is
/// the line or point that it looks like.
Point NearestOnTriangle(const Point& point, const Corners& triangle);

/// A tree of boxes over the facets of a mesh. Time to make it grows as the facets times their logarithm, and
/// a search for a nearest facet looks at few of them.
class FacetDistances {
 public:
  /// Keeps copies of the corners, not the mesh. Indices must lie inside the vertices; facets with a
  /// coordinate that is not finite are left out.
  explicit FacetDistances(const CTL& mesh);

  /// The smallest distance from the point to a facet, computed in double without rounding on the way;
  /// infinite when there is no facet. A facet that is near makes the search shorter and changes no result;
  /// numbers outside the mesh, and of facets left out, are ignored.
  double From(const Point& point, int near_facet = -1) const;

 private:
  struct Node {
    Point low;
    Point high;
    std::uint32_t first;  ///< of its facets in order_, or its left half in nodes_; the right half follows it
    std::uint32_t count;  ///< of the facets of a leaf; 0: the node has halves
  };

  static double SquaredGap(const Node& node, const Point& point);

  std::vector<Corners> facets_;
  std::vector<std::uint32_t> order_;
  std::vector<Node> nodes_;
};

}  // namespace trqprep
