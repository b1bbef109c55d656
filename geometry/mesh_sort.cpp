/// The z sorts: a heap sort on pairs of height and triangle number instead of pointers to triangles. The
/// pairs move through the heap as the pointers would, comparisons and ties included, so the order is the
/// same; but eight bytes lie where two far reads a comparison would be.
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "foundation/heap_sort.h"
#include "geometry/mesh_access.h"
#include "trq/geometry.h"

namespace {

struct Height {
  float z;
  uint32_t triangle;
};

R_INT4 Rotated(const R_INT4& triangle, int first) {
  R_INT4 rotated = triangle;
  for (int k = 0; k < 3; ++k) rotated[k] = triangle[(first + k) % 3];
  return rotated;
}

// Brings the first corner to the front for which no other stands before it, corner 0 last in line, and sorts
// by that corner. not_after(a, b) and after(a, b) compare heights.
template <class NotAfter, class After>
void SortByHeight(CTL& mesh, int32_t state, NotAfter not_after, After after) {
  if (mesh.header.sort_state == state) return;
  const trq::core::MeshView view = mesh.view();
  const size_t count = view.triangles.size();
  std::vector<Height> heights(count);
  for (size_t i = 0; i < count; ++i) {
    R_INT4& triangle = mesh.triangles_[i];
    float z[3];
    for (int k = 0; k < 3; ++k) z[k] = view.Corner(triangle, k)[2];
    int first = 0;
    if (not_after(z[1], z[0]) && not_after(z[1], z[2])) {
      first = 1;
    } else if (not_after(z[2], z[0]) && not_after(z[2], z[1])) {
      first = 2;
    }
    if (first != 0) triangle = Rotated(triangle, first);
    heights[i] = {z[first], uint32_t(i)};
  }
  trq::detail::HeapSort(heights.data(), static_cast<std::ptrdiff_t>(count),
                        [after](const Height& a, const Height& b) { return after(a.z, b.z); });
  trq::MeshArray<R_INT4> sorted = trq::MeshArray<R_INT4>::ForOverwrite(count);
  for (size_t i = 0; i < count; ++i) sorted[i] = mesh.triangles_[heights[i].triangle];
  mesh.triangles_ = std::move(sorted);
  mesh.header.sort_state = state;
}

}  // namespace

// NaN heights compare false with everything, in the rotation and in the sort.

void CTL::z_sort_ascending() {
  SortByHeight(*this, trq::sort_state::kAscending, std::less_equal<float>(), std::greater<float>());
}

void CTL::z_sort_descending() {
  SortByHeight(*this, trq::sort_state::kDescending, std::greater_equal<float>(), std::less<float>());
}
