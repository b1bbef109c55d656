/// Footprints: which cells of the vat lie under a mesh.
///
/// A facet takes every cell of the box around its corners' cells. A corner is shared by some six facets, so
/// its cell is worked out once a vertex, by the same division as everywhere, and a facet's cells are set a
/// row at a time. Facets with a corner off the grid go cell by cell, in their turn: the lines they print keep
/// number and order.
#include <algorithm>
#include <climits>

#include "geometry/mesh_access.h"
#include "placement/cell_index.h"
#include "trq/placement.h"

using namespace trq::detail;

namespace {

constexpr uint64_t kMostReportedCells = uint64_t{1} << 20;
constexpr uint16_t kOffGrid = 0x8000;  // among cells kept as x * 256 + y, x and y below 32

}  // namespace

BitGrid GridEval::footprint(const CTL& part, std::vector<uint16_t>& cells) const {
  const size_t vertex_count = UsedVertices(part);
  const PbVec3f* const vertices = part.vertices();
  const float columns = float(std::min(x_num, 32));
  const float rows = float(std::min(y_num, 32));
  cells.resize(vertex_count + 1);
  cells[vertex_count] = kOffGrid;  // stands for every index that names no vertex in use
  for (size_t i = 0; i < vertex_count; ++i) {
    const float x = CellQuotient(vertices[i][0], x_offset, x_size);
    const float y = CellQuotient(vertices[i][1], y_offset, y_size);
    // Above -1 truncates to 0; NaN fails the tests.
    const bool inside = x > -1 && x < columns && y > -1 && y < rows;
    cells[i] = inside ? uint16_t(int(x) * 256 + int(y)) : kOffGrid;
  }

  BitGrid grid;
  const R_INT4* const triangles = part.triangles();
  const size_t triangle_count = UsedTriangles(part);
  const auto cell_of = [of_vertex = cells.data(), vertex_count](int vertex) -> unsigned {
    return of_vertex[std::min(size_t(uint32_t(vertex)), vertex_count)];
  };
  for (size_t t = 0; t < triangle_count; ++t) {
    const R_INT4& triangle = triangles[t];
    const unsigned a = cell_of(triangle[0]), b = cell_of(triangle[1]), c = cell_of(triangle[2]);
    if ((a | b | c) & kOffGrid) {
      const trq::core::MeshView mesh = part.view();
      mark_triangle(Corner(mesh, triangle, 0), Corner(mesh, triangle, 1), Corner(mesh, triangle, 2), grid);
    } else if (a == b && b == c) {
      grid.rows[a >> 8] |= 1U << (a & 31);
    } else {
      const auto [x0, x1] = std::minmax({a >> 8, b >> 8, c >> 8});
      const auto [y0, y1] = std::minmax({a & 31, b & 31, c & 31});
      const uint32_t bits = (2U << y1) - (1U << y0);  // bits y0..y1; 2 << 31 is 0, as it should be
      for (unsigned x = x0; x <= x1; ++x) grid.rows[x] |= bits;
    }
  }
  return grid;
}

void GridEval::mark_triangle(const PbVec3f& a, const PbVec3f& b, const PbVec3f& c, BitGrid& grid) const {
  const auto [x0, x1] = std::minmax({x_index(a[0]), x_index(b[0]), x_index(c[0])});
  const auto [y0, y1] = std::minmax({y_index(a[1]), y_index(b[1]), y_index(c[1])});
  // The part of the triangle's box that lies on the grid, possibly empty.
  const int64_t inner_x0 = std::max(x0, 0), inner_x1 = std::min<int64_t>(x1, int64_t{x_num} - 1);
  const int64_t inner_y0 = std::max(y0, 0), inner_y1 = std::min<int64_t>(y1, int64_t{y_num} - 1);
  const auto extent = [](int64_t first, int64_t last) {
    return last < first ? 0 : uint64_t(last - first + 1);
  };
  const bool lost = x0 == INT_MIN || y0 == INT_MIN;
  const uint64_t inside = extent(inner_x0, inner_x1) * extent(inner_y0, inner_y1);
  if (lost || extent(x0, x1) * extent(y0, y1) - inside > kMostReportedCells) {
    std::printf("whoops, mistake in part placement\n");
    for (int64_t x = inner_x0; x <= inner_x1; ++x)
      for (int64_t y = inner_y0; y <= inner_y1; ++y) grid.set(int(x), int(y));
    return;
  }
  for (int64_t x = x0; x <= x1; ++x)
    for (int64_t y = y0; y <= y1; ++y) {
      if (ok(int(x), int(y)))
        grid.set(int(x), int(y));
      else
        std::printf("whoops, mistake in part placement\n");
    }
}
