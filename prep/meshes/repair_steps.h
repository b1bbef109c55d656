/// The steps of a repair, on vertices and facets by themselves.
#pragma once

#include <array>
#include <vector>

#include "prep/meshes/facet_edges.h"
#include "trqprep/mesh_repair.h"

namespace trqprep {

struct RepairedMesh {
  std::vector<PbVec3f> points;
  std::vector<R_INT4> facets;  ///< three points and an attribute each

  Point At(int point) const { return PointOf(points[size_t(point)]); }
  R_INT4& Facet(int facet) { return facets[size_t(facet)]; }
  const R_INT4& Facet(int facet) const { return facets[size_t(facet)]; }
  void Turn(int facet) { std::swap(Facet(facet)[1], Facet(facet)[2]); }
};

using EdgeUses = trq::Span<const EdgeUse>;

/// The sides of all facets without equal corners, those of an edge together, in the order of the facets.
inline std::vector<EdgeUse> SortedEdges(const std::vector<R_INT4>& facets) {
  // First by their lower vertices, by counting: this is done often.
  std::vector<uint32_t> ends(1, 0);
  const auto for_each = [&facets](auto visit) {
    std::vector<EdgeUse> sides;
    for (uint32_t i = 0; i < facets.size(); ++i) {
      sides.clear();
      if (!HasEqualIndices(facets[i])) AddEdges(facets[i], i, sides);
      for (const EdgeUse& side : sides) visit(side);
    }
  };
  for_each([&ends](const EdgeUse& side) {
    const size_t next = size_t(side.Lower()) + 1;
    if (next >= ends.size()) ends.resize(next + 1, 0);
    ++ends[next];
  });
  for (size_t i = 1; i < ends.size(); ++i) ends[i] += ends[i - 1];
  std::vector<EdgeUse> uses(ends.back());
  for_each([&](const EdgeUse& side) { uses[ends[size_t(side.Lower())]++] = side; });
  for (size_t i = 0, begin = 0; i < ends.size(); begin = ends[i++]) {
    SortEdges(uses.data() + begin, uses.data() + ends[i]);
  }
  return uses;
}

/// Calls visit(EdgeUses) for every edge.
template <class Visit>
void ForEachEdge(const std::vector<EdgeUse>& uses, Visit visit) {
  for (size_t begin = 0, end = 0; begin < uses.size(); begin = end) {
    while (end < uses.size() && uses[end].edge == uses[begin].edge) ++end;
    visit(EdgeUses(uses.data() + begin, end - begin));
  }
}

/// Uses from the lower vertex to the higher one, less those in the other direction; 0 for an edge that is
/// closed.
inline int BalanceOf(EdgeUses uses) {
  int balance = 0;
  for (const EdgeUse& use : uses) balance += use.forward ? 1 : -1;
  return balance;
}

/// The box of the facets' corners.
Box BoxOf(const RepairedMesh& mesh);

/// Stitches open edges (RepairMesh). Takes from `looks` the open edges each time that they are looked at
/// anew, and stops where none are left of them.
void StitchEdges(Observer& observer, RepairedMesh& mesh, double tolerance, int64_t& looks, MeshRepair& done);

/// Fills holes (RepairMesh). Facets of which `one_sided` says so have no direction that fits their
/// neighbours; holes among them stay.
void FillHoles(Observer& observer, RepairedMesh& mesh, int most_edges, const std::vector<bool>& one_sided,
               MeshRepair& done);

}  // namespace trqprep
