#include "trqprep/mesh_topology.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "prep/meshes/cavities.h"
#include "prep/meshes/facet_edges.h"
#include "trqprep/facet_distance.h"

namespace trqprep {
namespace {

void Count(int64_t& count, int& first, uint32_t facet) {
  if (count++ == 0 || int(facet) < first) first = int(facet);
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
    if (equal_indices || Norm(NormalOf(corners)) == 0)
      Count(topology.degenerate_facets, topology.first_degenerate_facet, facet);
    if (!equal_indices) AddEdges(triangles[facet], facet, uses);
  }
  SortEdges(uses);

  FacetSets sets(triangles.size());
  std::vector<bool> open(triangles.size(), false);
  for (size_t begin = 0, end = 0; begin < uses.size(); begin = end) {
    const uint32_t facet = uses[begin].facet;
    int balance = 0;
    for (end = begin; end < uses.size() && uses[end].edge == uses[begin].edge; ++end) {
      balance += uses[end].forward ? 1 : -1;
      sets.Join(facet, uses[end].facet);
    }
    const size_t count = end - begin;
    if (count == 1) Count(topology.open_edges, topology.first_open_facet, facet);
    if (count > 2) Count(topology.crowded_edges, topology.first_crowded_facet, facet);
    if (count == 2 && balance != 0)
      Count(topology.misdirected_edges, topology.first_misdirected_facet, facet);
    if (balance != 0) open[facet] = true;
  }

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

double DistanceToMesh(const CTL& mesh, const Point& point) {
  double nearest = std::numeric_limits<double>::infinity();
  for (int facet = 0; facet < mesh.num_triangles(); ++facet)
    nearest = std::min(nearest, Norm(Minus(point, NearestOnTriangle(point, CornersOf(mesh, facet)))));
  return nearest;
}

}  // namespace trqprep
