#include "trqprep/mesh_topology.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "prep/meshes/cavities.h"

namespace trqprep {
namespace {

bool HasEqualIndices(const R_INT4& t) { return t[0] == t[1] || t[1] == t[2] || t[0] == t[2]; }

/// One side of a facet, sorted so that the uses of an edge stand together.
struct EdgeUse {
  std::uint64_t edge;  ///< lower vertex number in the high half, higher one in the low half
  int facet;
  bool forward;  ///< from the lower vertex to the higher one
};

/// Sets of facets that grow together.
class FacetSets {
 public:
  explicit FacetSets(int count) : parent_(static_cast<std::size_t>(count)) {
    std::iota(parent_.begin(), parent_.end(), 0);
  }
  int Find(int facet) {
    while (parent_[static_cast<std::size_t>(facet)] != facet) {
      int& parent = parent_[static_cast<std::size_t>(facet)];
      parent = parent_[static_cast<std::size_t>(parent)];
      facet = parent;
    }
    return facet;
  }
  void Join(int a, int b) {
    a = Find(a);
    b = Find(b);
    // The lower number leads, so that a set is named by its first facet.
    parent_[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
  }

 private:
  std::vector<int> parent_;
};

void Count(std::int64_t& count, int& first, int facet) {
  ++count;
  if (first < 0 || facet < first) first = facet;
}

/// The point of triangle a, b, c that is nearest to p, by the regions of its corners, edges and inside (C.
/// Ericson, Real-Time Collision Detection, 2005, 5.1.5).
Point NearestOnTriangle(const Point& p, const Point& a, const Point& b, const Point& c) {
  const auto along = [](const Point& from, const Point& direction, double t) {
    return Point{from[0] + t * direction[0], from[1] + t * direction[1], from[2] + t * direction[2]};
  };
  const Point ab = Minus(b, a), ac = Minus(c, a), ap = Minus(p, a);
  const double d1 = Dot(ab, ap), d2 = Dot(ac, ap);
  if (d1 <= 0 && d2 <= 0) return a;
  const Point bp = Minus(p, b);
  const double d3 = Dot(ab, bp), d4 = Dot(ac, bp);
  if (d3 >= 0 && d4 <= d3) return b;
  const double vc = d1 * d4 - d3 * d2;
  if (vc <= 0 && d1 >= 0 && d3 <= 0) return along(a, ab, d1 / (d1 - d3));
  const Point cp = Minus(p, c);
  const double d5 = Dot(ab, cp), d6 = Dot(ac, cp);
  if (d6 >= 0 && d5 <= d6) return c;
  const double vb = d5 * d2 - d1 * d6;
  if (vb <= 0 && d2 >= 0 && d6 <= 0) return along(a, ac, d2 / (d2 - d6));
  const double va = d3 * d6 - d5 * d4;
  if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
    return along(b, Minus(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6)));
  }
  const double sum = va + vb + vc;
  if (!(sum > 0)) return a;  // no area: a corner is as near as its lines, which were looked at above
  return along(along(a, ab, vb / sum), ac, vc / sum);
}

}  // namespace

Topology AnalyseTopology(const CTL& mesh) {
  Topology topology;
  const int facets = mesh.num_triangles();
  std::vector<EdgeUse> uses;
  uses.reserve(static_cast<std::size_t>(facets) * 3);
  for (int facet = 0; facet < facets; ++facet) {
    const R_INT4& triangle = mesh.triangles()[facet];
    const Corners corners = CornersOf(mesh, facet);
    const Point normal = Cross(Minus(corners[1], corners[0]), Minus(corners[2], corners[0]));
    if (HasEqualIndices(triangle) || Norm(normal) == 0) {
      Count(topology.degenerate_facets, topology.first_degenerate_facet, facet);
    }
    if (HasEqualIndices(triangle)) continue;
    for (int k = 0; k < 3; ++k) {
      const auto from = static_cast<std::uint64_t>(triangle[k]);
      const auto to = static_cast<std::uint64_t>(triangle[(k + 1) % 3]);
      uses.push_back({std::min(from, to) << 32 | std::max(from, to), facet, from < to});
    }
  }
  std::sort(uses.begin(), uses.end(), [](const EdgeUse& a, const EdgeUse& b) {
    return a.edge != b.edge ? a.edge < b.edge : a.facet < b.facet;
  });

  FacetSets sets(facets);
  std::vector<bool> open(static_cast<std::size_t>(facets), false);
  for (std::size_t begin = 0, end = 0; begin < uses.size(); begin = end) {
    int balance = 0;
    for (end = begin; end < uses.size() && uses[end].edge == uses[begin].edge; ++end) {
      balance += uses[end].forward ? 1 : -1;
      sets.Join(uses[begin].facet, uses[end].facet);
    }
    const std::size_t count = end - begin;
    const int facet = uses[begin].facet;
    if (count == 1) Count(topology.open_edges, topology.first_open_facet, facet);
    if (count > 2) Count(topology.crowded_edges, topology.first_crowded_facet, facet);
    if (count == 2 && balance != 0)
      Count(topology.misdirected_edges, topology.first_misdirected_facet, facet);
    if (balance != 0) open[static_cast<std::size_t>(facet)] = true;
  }

  topology.surface_of_facet.assign(static_cast<std::size_t>(facets), -1);
  for (int facet = 0; facet < facets; ++facet) {
    if (HasEqualIndices(mesh.triangles()[facet])) continue;
    int& surface_number = topology.surface_of_facet[static_cast<std::size_t>(sets.Find(facet))];
    if (surface_number < 0) {
      surface_number = static_cast<int>(topology.surfaces.size());
      topology.surfaces.emplace_back();
      topology.surfaces.back().closed = true;
      topology.surfaces.back().first_facet = facet;
    }
    topology.surface_of_facet[static_cast<std::size_t>(facet)] = surface_number;
    Surface& surface = topology.surfaces[static_cast<std::size_t>(surface_number)];
    const Corners corners = CornersOf(mesh, facet);
    ++surface.facets;
    surface.volume += Dot(corners[0], Cross(corners[1], corners[2])) / 6;
    for (const Point& corner : corners) surface.box.Add(corner);
    if (open[static_cast<std::size_t>(facet)]) surface.closed = false;
  }
  FindCavities(mesh, topology);
  return topology;
}

double DistanceToMesh(const CTL& mesh, const Point& point) {
  double nearest = std::numeric_limits<double>::infinity();
  for (int facet = 0; facet < mesh.num_triangles(); ++facet) {
    const Corners corners = CornersOf(mesh, facet);
    nearest =
        std::min(nearest, Norm(Minus(point, NearestOnTriangle(point, corners[0], corners[1], corners[2]))));
  }
  return nearest;
}

}  // namespace trqprep
