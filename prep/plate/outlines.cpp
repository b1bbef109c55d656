#include "prep/plate/outlines.h"

#include <algorithm>
#include <cmath>

namespace trqprep {

// The convex hull, by the lower and the upper chain of corners from the left to the right.
nesting::Outline OutlineOf(const CTL& mesh, const Matrix4& matrix, double /*tolerance*/) {
  nesting::Ring corners;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const Point corner = matrix.Apply(PointOf(mesh.vertices()[i]));
    if (std::isfinite(corner[0]) && std::isfinite(corner[1])) corners.push_back({corner[0], corner[1]});
  }
  std::sort(corners.begin(), corners.end(), [](const nesting::Point& a, const nesting::Point& b) {
    return a.x != b.x ? a.x < b.x : a.y < b.y;
  });
  if (corners.empty()) return {};
  nesting::Ring hull;
  for (const bool lower : {true, false}) {
    const size_t start = hull.size();
    for (const nesting::Point& c : corners) {
      while (hull.size() > start + 1) {
        const nesting::Point& a = hull[hull.size() - 2];
        const nesting::Point& b = hull.back();
        if ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x) > 0) break;
        hull.pop_back();
      }
      hull.push_back(c);
    }
    if (corners.size() > 1 && hull.size() > 1) hull.pop_back();
    if (lower) std::reverse(corners.begin(), corners.end());
  }
  return {{hull, {}}};
}

}  // namespace trqprep
