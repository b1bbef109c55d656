/// The literal forms of the z sorts and of snapping vertices: what the library's faster forms must equal.
#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "trq/geometry.h"

namespace literal {

// The literal form: UTL_heap_sort over pointers to the triangles, reading heights through one pointer.
inline thread_local const PbVec3f* heights_of = nullptr;

inline float FirstZ(void* triangle) { return heights_of[(*static_cast<R_INT4*>(triangle))[0]][2]; }
inline int Above(void* a, void* b) { return FirstZ(a) > FirstZ(b); }
inline int Below(void* a, void* b) { return FirstZ(a) < FirstZ(b); }

inline void SortByHeight(CTL& mesh, bool ascending) {
  const int count = mesh.num_triangles();
  std::vector<void*> order;
  for (int i = 0; i < count; ++i) {
    R_INT4& t = mesh.nth(i);
    const auto z = [&](int k) { return ascending ? mesh.vertices()[t[k]][2] : -mesh.vertices()[t[k]][2]; };
    const float z0 = z(0), z1 = z(1), z2 = z(2);
    const int attribute = t[3];
    if (z1 <= z0 && z1 <= z2) {
      t = R_INT4(t[1], t[2], t[0]);
    } else if (z2 <= z0 && z2 <= z1) {
      t = R_INT4(t[2], t[0], t[1]);
    }
    t[3] = attribute;
    order.push_back(&t);
  }
  heights_of = mesh.vertices();
  UTL_heap_sort(order.data(), count, ascending ? Above : Below);
  trq::MeshArray<R_INT4> sorted(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < order.size(); ++i) sorted[i] = *static_cast<R_INT4*>(order[i]);
  mesh.triangles_ = std::move(sorted);
}

// Snaps a vertex at every use.
inline float Snap(float c) { return static_cast<float>(std::trunc(c * 10000.0 + 0.5) * 0.0001); }

inline void Truncate(CTL& mesh) {
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) {
      PbVec3f& vertex = mesh.vertices()[mesh.nth(i)[k]];
      for (int axis = 0; axis < 3; ++axis) vertex[axis] = Snap(vertex[axis]);
    }
  }
}

}  // namespace literal
