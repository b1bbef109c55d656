#include "trqprep/mesh_topology.h"

#include <algorithm>
#include <cmath>

#include "prep/meshes/cavities.h"
#include "prep/meshes/facet_edges.h"

namespace trqprep {
namespace {

std::vector<MeshPlace> FirstPlaces(const CTL& mesh, std::vector<EdgeUse>& edges) {
  const auto end = edges.begin() + static_cast<std::ptrdiff_t>(std::min(edges.size(), kPlacesKept));
  std::partial_sort(edges.begin(), end, edges.end(), [](const EdgeUse& a, const EdgeUse& b) {
    return a.facet != b.facet ? a.facet < b.facet : a.edge < b.edge;
  });
  std::vector<MeshPlace> places;
  for (auto edge = edges.begin(); edge != end; ++edge) {
    const Point from = PointOf(mesh.vertices()[edge->edge >> 32]);
    const Point to = PointOf(mesh.vertices()[edge->edge & 0xffffffffu]);
    places.push_back(
        {int(edge->facet), {(from[0] + to[0]) / 2, (from[1] + to[1]) / 2, (from[2] + to[2]) / 2}});
  }
  return places;
}

}  // namespace

Topology AnalyseTopology(const CTL& mesh) {
  Topology topology;
  const trq::Span<const R_INT4> triangles = mesh.view().triangles;
  std::vector<EdgeUse> uses;
  uses.reserve(triangles.size() * 3);
  for (uint32_t facet = 0; facet < triangles.size(); ++facet) {
    const bool equal_indices = HasEqualIndices(triangles[facet]);
    const Corners corners = CornersOf(mesh, facet);
    if (equal_indices || Norm(NormalOf(corners)) == 0) {
      if (size_t(topology.degenerate_facets++) < kPlacesKept) {
        topology.degenerate_places.push_back(PlaceOf(mesh, int(facet)));
      }
    }
    if (!equal_indices) AddEdges(triangles[facet], facet, uses);
  }
  SortEdges(uses);

  FacetSets sets(triangles.size());
  std::vector<bool> open(triangles.size(), false);
  std::vector<EdgeUse> open_edges, non_manifold;
  for (size_t begin = 0, end = 0; begin < uses.size(); begin = end) {
    const uint32_t facet = uses[begin].facet;
    int balance = 0;
    for (end = begin; end < uses.size() && uses[end].edge == uses[begin].edge; ++end) {
      balance += uses[end].forward ? 1 : -1;
      sets.Join(facet, uses[end].facet);
    }
    const size_t count = end - begin;
    if (count == 1) open_edges.push_back(uses[begin]);
    if (count > 2) ++topology.crowded_edges;
    if (count == 2 && balance != 0) ++topology.misdirected_edges;
    if (count > 2 || (count == 2 && balance != 0)) non_manifold.push_back(uses[begin]);
    if (balance != 0) open[facet] = true;
  }

  topology.open_edges = int64_t(open_edges.size());
  topology.open_places = FirstPlaces(mesh, open_edges);
  topology.non_manifold_places = FirstPlaces(mesh, non_manifold);

  topology.surface_of_facet.assign(triangles.size(), -1);
  for (uint32_t facet = 0; facet < triangles.size(); ++facet) {
    if (HasEqualIndices(triangles[facet])) continue;
    int& surface_number = topology.surface_of_facet[sets.Find(facet)];
    if (surface_number < 0) {
      surface_number = int(topology.surfaces.size());
      topology.surfaces.emplace_back();
      topology.surfaces.back().closed = true;
      topology.surfaces.back().first_facet = int(facet);
    }
    topology.surface_of_facet[facet] = surface_number;
    Surface& surface = topology.surfaces[size_t(surface_number)];
    const Corners corners = CornersOf(mesh, facet);
    ++surface.facets;
    surface.volume += Dot(corners[0], Cross(corners[1], corners[2])) / 6;
    for (const Point& corner : corners) surface.box.Add(corner);
    if (open[facet]) surface.closed = false;
  }
  FindCavities(mesh, topology);
  return topology;
}

MeshPlace PlaceOf(const CTL& mesh, int facet) {
  MeshPlace place{facet, {0, 0, 0}};
  const Corners corners = CornersOf(mesh, facet);
  for (size_t k = 0; k < 3; ++k) place.at[k] = (corners[0][k] + corners[1][k] + corners[2][k]) / 3;
  return place;
}

}  // namespace trqprep
