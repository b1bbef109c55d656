#include "trqprep/vent_patches.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "prep/meshes/facet_edges.h"

namespace trqprep {
namespace {

Point Middle(const Corners& t) {
  Point middle;
  for (size_t k = 0; k < 3; ++k) middle[k] = (t[0][k] + t[1][k] + t[2][k]) / 3;
  return middle;
}

double TwiceAreaSeenFromAbove(const Point& a, const Point& b, const Point& c) {
  return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

// The height of the facet at (x, y), when it lies there seen from above.
std::optional<double> HeightAt(const Corners& t, double x, double y) {
  const Point p{x, y, 0};
  const double whole = TwiceAreaSeenFromAbove(t[0], t[1], t[2]);
  if (whole == 0) return std::nullopt;
  const double wa = TwiceAreaSeenFromAbove(p, t[1], t[2]) / whole;
  const double wb = TwiceAreaSeenFromAbove(t[0], p, t[2]) / whole;
  const double wc = TwiceAreaSeenFromAbove(t[0], t[1], p) / whole;
  if (!(wa >= 0 && wb >= 0 && wc >= 0)) return std::nullopt;
  return wa * t[0][2] + wb * t[1][2] + wc * t[2][2];
}

void Measure(const CTL& mesh, VentPatch& patch) {
  double x = 0, y = 0, largest = -1;
  for (const int facet : patch.facets) {
    const Corners corners = CornersOf(mesh, facet);
    const double area = AreaOf(corners);
    const Point middle = Middle(corners);
    patch.area += area;
    x += area * middle[0];
    y += area * middle[1];
    if (area > largest) {
      largest = area;
      patch.centre = middle;
    }
  }
  if (!(patch.area > 0)) return;
  x /= patch.area;
  y /= patch.area;
  for (const int facet : patch.facets) {
    if (const auto z = HeightAt(CornersOf(mesh, facet), x, y)) {
      patch.centre = {x, y, *z};
      return;
    }
  }
}

std::vector<VentPatch> Group(const CTL& mesh, const std::vector<trq::VentCandidate>& candidates) {
  const auto count = uint32_t(candidates.size());
  std::vector<EdgeUse> sides;
  sides.reserve(3 * candidates.size());
  for (uint32_t i = 0; i < count; ++i) AddEdges(mesh.triangles()[candidates[i].triangle], i, sides);
  SortEdges(sides);
  FacetSets sets(count);
  for (size_t i = 0; i + 1 < sides.size(); ++i) {
    if (sides[i].edge == sides[i + 1].edge) sets.Join(sides[i].facet, sides[i + 1].facet);
  }
  std::vector<VentPatch> patches;
  std::vector<size_t> patch_of(count);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t first = sets.Find(i);
    if (first == i) {
      patch_of[i] = patches.size();
      patches.emplace_back();
    }
    patches[patch_of[first]].facets.push_back(candidates[i].triangle);
  }
  for (VentPatch& patch : patches) Measure(mesh, patch);
  return patches;
}

// `up` is 1 for the highest first, -1 for the lowest.
void Rank(std::vector<VentPatch>& patches, double up, double step) {
  // Heights in whole steps, so that the order is one order.
  const auto height = [=](const VentPatch& patch) { return std::round(up * patch.centre[2] / step); };
  std::stable_sort(patches.begin(), patches.end(), [&](const VentPatch& a, const VentPatch& b) {
    return height(a) != height(b) ? height(a) > height(b) : a.area > b.area;
  });
}

}  // namespace

VentPatches FindVentPatches(CTL& mesh) {
  float unit[4][4];
  set_unit_matrix(unit);
  mesh.FindVDTriangles(unit);
  VentPatches patches;
  patches.vents = Group(mesh, mesh.vents_and_drains.vent_triangles);
  patches.drains = Group(mesh, mesh.vents_and_drains.drain_triangles);
  const Box box = BoxOf(mesh);
  if (box.Empty()) return patches;
  const Point size = box.Size();
  const double largest = std::max({size[0], size[1], size[2]});
  const double step = largest > 0 ? 1e-6 * largest : 1;
  Rank(patches.vents, 1, step);
  Rank(patches.drains, -1, step);
  return patches;
}

}  // namespace trqprep
