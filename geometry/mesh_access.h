/// What a mesh's loops may touch. Header counts and arrays are public and can disagree, and indices come from
/// files: every loop runs to the smaller of count and room, and what lies outside reads as zero.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "host/system.h"
#include "trq/geometry.h"

namespace trq::detail {

/// The smaller of a header's count and what is allocated; 0 for a negative count.
inline size_t UsedCount(int32_t count, size_t allocated) {
  return count <= 0 ? 0 : std::min(size_t(count), allocated);
}

inline size_t UsedVertices(const CTL& mesh) {
  return UsedCount(mesh.header.num_vertices, mesh.vertices_.size());
}

inline size_t UsedTriangles(const CTL& mesh) {
  return UsedCount(mesh.header.num_triangles, mesh.triangles_.size());
}

/// Room that is filled from its start to its end.
template <class T>
MeshArray<T> RoomToFill(size_t count) {
  MeshArray<T> room = MeshArray<T>::ForOverwrite(count);
  host::ExpectFilling(room.get(), count * sizeof(T));
  return room;
}

/// Corner k = 0..2 of a triangle.
inline PbVec3f Corner(const core::MeshView& mesh, const R_INT4& triangle, int k) {
  const float* const p = mesh.Corner(triangle, k);
  return PbVec3f(p[0], p[1], p[2]);
}

/// One more than the largest vertex index of `count` triangles; 0 when there is none.
inline size_t IndexEnd(const R_INT4* triangles, size_t count) {
  int32_t largest = -1;
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) largest = std::max(largest, triangles[i][k]);
  }
  return size_t(int64_t{largest} + 1);
}

/// The room that a new vertex array of `vertex_count` vertices takes: one vertex more, and as far as the
/// triangles' indices reach, but not past `limit`, the room that the indices had so far (what lies beyond
/// reads as zero in both).
inline size_t VertexRoom(size_t vertex_count, size_t index_end, size_t limit) {
  return std::max(vertex_count + 1, std::min(index_end, limit));
}

/// The room that a copy of the mesh's vertices takes.
inline size_t RoomOf(const core::MeshView& mesh) {
  return VertexRoom(mesh.vertex_count, IndexEnd(mesh.triangles.data(), mesh.triangles.size()),
                    mesh.vertices.size());
}

/// An index moved up; indices that a caller made senseless wrap around instead of overflowing.
inline int32_t MovedIndex(int32_t index, size_t by) { return int32_t(uint32_t(index) + uint32_t(by)); }

}  // namespace trq::detail
