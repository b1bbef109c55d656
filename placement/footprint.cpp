#include <algorithm>
#include <climits>

#include "geometry/mesh_access.h"
#include "trq/placement.h"

namespace {

constexpr uint64_t kMostReportedCells = uint64_t{1} << 20;

}  // namespace

BitGrid GridEval::footprint(const CTL& part) const {
  BitGrid work;
  const std::size_t count = trq::detail::UsedTriangles(part);
  for (std::size_t t = 0; t < count; ++t) {
    const R_INT4& triangle = part.triangles()[t];
    mark_triangle(trq::detail::Corner(part, triangle, 0), trq::detail::Corner(part, triangle, 1),
                  trq::detail::Corner(part, triangle, 2), work);
  }
  return work;
}

void GridEval::mark_triangle(const PbVec3f& a, const PbVec3f& b, const PbVec3f& c, BitGrid& grid) const {
  const auto [x0, x1] = std::minmax({x_index(a[0]), x_index(b[0]), x_index(c[0])});
  const auto [y0, y1] = std::minmax({y_index(a[1]), y_index(b[1]), y_index(c[1])});
  // The part of the triangle's box that lies on the grid, possibly empty.
  const int64_t inner_x0 = std::max(x0, 0), inner_x1 = std::min<int64_t>(x1, int64_t{x_num} - 1);
  const int64_t inner_y0 = std::max(y0, 0), inner_y1 = std::min<int64_t>(y1, int64_t{y_num} - 1);
  const auto extent = [](int64_t first, int64_t last) {
    return last < first ? 0 : static_cast<uint64_t>(last - first + 1);
  };
  const bool lost = x0 == INT_MIN || y0 == INT_MIN;
  const uint64_t inside = extent(inner_x0, inner_x1) * extent(inner_y0, inner_y1);
  if (lost || extent(x0, x1) * extent(y0, y1) - inside > kMostReportedCells) {
    std::printf("whoops, mistake in part placement\n");
    for (int64_t x = inner_x0; x <= inner_x1; ++x)
      for (int64_t y = inner_y0; y <= inner_y1; ++y) grid.set(static_cast<int>(x), static_cast<int>(y));
    return;
  }
  for (int64_t x = x0; x <= x1; ++x)
    for (int64_t y = y0; y <= y1; ++y) {
      if (ok(static_cast<int>(x), static_cast<int>(y)))
        grid.set(static_cast<int>(x), static_cast<int>(y));
      else
        std::printf("whoops, mistake in part placement\n");
    }
}
