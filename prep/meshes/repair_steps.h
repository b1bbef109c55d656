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

/// Things by a vertex of theirs: those of vertex v stand from ends[v - 1], or 0, to ends[v].
template <class Thing>
struct ByVertex {
  std::vector<Thing> things;
  std::vector<uint32_t> ends;
};

/// `for_each(visit)` calls visit(vertex, thing) for all, and is called twice. Counts, and so looks at each in
/// turn, where sorting would look all over the memory again and again.
template <class Thing, class ForEach>
ByVertex<Thing> GroupedByVertex(ForEach for_each) {
  ByVertex<Thing> grouped{{}, std::vector<uint32_t>(1, 0)};
  std::vector<uint32_t>& ends = grouped.ends;
  for_each([&ends](int vertex, const Thing&) {
    const size_t next = size_t(vertex) + 1;
    if (next >= ends.size()) ends.resize(next + 1, 0);
    ++ends[next];
  });
  for (size_t i = 1; i < ends.size(); ++i) ends[i] += ends[i - 1];
  grouped.things.resize(ends.back());
  for_each(
      [&grouped](int vertex, const Thing& thing) { grouped.things[grouped.ends[size_t(vertex)]++] = thing; });
  return grouped;
}

/// The same, those of a vertex in the order of `less`.
template <class Thing, class ForEach, class Less>
ByVertex<Thing> SortedByVertex(ForEach for_each, Less less) {
  ByVertex<Thing> sorted = GroupedByVertex<Thing>(for_each);
  for (size_t i = 0, begin = 0; i < sorted.ends.size(); begin = sorted.ends[i++]) {
    std::sort(sorted.things.data() + begin, sorted.things.data() + sorted.ends[i], less);
  }
  return sorted;
}

/// The sides of all facets without equal corners, those of an edge together, in the order of the facets.
inline std::vector<EdgeUse> SortedEdges(const std::vector<R_INT4>& facets) {
  const auto for_each = [&facets](auto visit) {
    for (uint32_t i = 0; i < facets.size(); ++i) {
      const R_INT4& t = facets[i];
      if (HasEqualIndices(t)) continue;
      for (int k = 0; k < 3; ++k) {
        const EdgeUse side = UseOf(t[k], t[(k + 1) % 3], i);
        visit(side.Lower(), side);
      }
    }
  };
  return SortedByVertex<EdgeUse>(for_each, InOrder).things;
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
