/// How far points are from the facets of a mesh.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

/// The point of a triangle, its border and corners included, that is nearest to `point`. One without area is
/// the line or point that it looks like.
Point NearestOnTriangle(const Point& point, const Corners& triangle);

/// A tree of boxes over the facets of a mesh. Time to make it grows as the facets times their logarithm, and
/// a search for a nearest facet looks at few of them, unless long facets cross each other everywhere.
class FacetDistances {
 public:
  /// Keeps copies of the corners, not the mesh. Indices must lie inside the vertices; facets with a
  /// coordinate that is not finite are left out. For few searches no tree is made: each looks at all facets.
  explicit FacetDistances(const CTL& mesh, std::size_t searches = SIZE_MAX);

  /// The smallest distance from the point to a facet, computed in double without rounding on the way;
  /// infinite when there is no facet. A facet that is near makes the search shorter and changes no result;
  /// numbers outside the mesh, and of facets left out, are ignored.
  double From(const Point& point, int near_facet = -1) const;
  /// The distances of many points, taken in the order of their places, so that searches that look at the same
  /// facets follow each other. Of those that are left when it TookTooLong there is none.
  std::vector<std::optional<double>> From(const std::vector<Point>& points) const;
  /// Nodes and facets that searches have looked at so far.
  std::size_t steps() const { return steps_; }
  /// Whether so many searches took more than 20 million steps and 60 each; on an ordinary part each takes
  /// some thirty. Of points that are as far from one facet as from all, such as the middle of a ball, each
  /// search looks at all of them: then it is time to stop.
  bool TookTooLong(std::size_t searches) const { return steps_ > kMostSteps + kMostStepsASearch * searches; }

 private:
  static constexpr std::size_t kMostSteps = 20'000'000;
  static constexpr std::size_t kMostStepsASearch = 60;

  struct Node {
    Point low;
    Point high;
    // The same along three ways at right angles, the third their cross product, for facets that lie in no box
    // along the axes tightly.
    Point ways[2]{};
    Point low_along{};
    Point high_along{};
    std::uint32_t first;  ///< of its facets in order_, or its left half in nodes_; the right half follows it
    std::uint32_t count;  ///< of the facets of a leaf; 0: the node has halves
  };

  void Fill(Node& node, std::size_t first, std::size_t count) const;
  void Split(std::size_t index, std::size_t first, std::size_t count);
  static Point AlongWays(const Node& node, const Point& point);
  static double SquaredGap(const Point& low, const Point& high, const Point& point, double hair);

  std::vector<Corners> facets_;        // the finite ones, those of a node together
  std::vector<std::uint32_t> order_;   // their numbers in the mesh
  std::vector<std::uint32_t> places_;  // in facets_, of the mesh's facets; past the end for those left out
  std::vector<Node> nodes_;
  double largest_ = 0;                                             // coordinate
  mutable std::vector<std::pair<double, std::uint32_t>> pending_;  // gaps and nodes, the least gap first
  mutable std::size_t steps_ = 0;
};

}  // namespace trqprep
