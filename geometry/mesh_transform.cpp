#include "geometry/mesh_transform.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

#include "geometry/mesh_access.h"
#include "geometry/placed_points.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

// The arrays but for the normals, and what the header says of them. The two meshes may be one.
void CopyArrays(const CTL& from, CTL& to) {
  const size_t triangle_count = UsedTriangles(from);
  trq::MeshArray<PbVec3f> vertices = from.vertices_.Clone(UsedVertices(from), RoomOf(from.view()));
  to.triangles_ = from.triangles_.Clone(triangle_count, triangle_count);
  to.vertices_ = std::move(vertices);
  to.header.num_vertices = from.header.num_vertices;
  to.header.num_triangles = from.header.num_triangles;
  to.header.units = from.header.units;
}

}  // namespace

// Uses are counted first and then applied vertex by vertex: the applications to one vertex do not depend on
// any other, and one pass over the vertices replaces three far writes a triangle.
void CTL::truncateVertices() {
  const size_t triangle_count = UsedTriangles(*this);
  const size_t vertex_count = UsedVertices(*this);
  trq::MeshArray<uint32_t> uses(vertex_count);
  for (size_t i = 0; i < triangle_count; ++i) {
    for (int k = 0; k < 3; ++k) {
      const size_t index = uint32_t(triangles_[i][k]);
      if (index < vertex_count) {
        ++uses[index];
      } else if (index < vertices_.size()) {
        SnapPoint(vertices_[index].data(), 1);  // a vertex of the room
      }
    }
  }
  for (size_t i = 0; i < vertex_count; ++i) SnapPoint(vertices_[i].data(), uses[i]);
}

void CTL::copy(CTL* dst) {
  if (!dst || dst == this) return;
  const size_t triangle_count = UsedTriangles(*this);
  trq::MeshArray<VECTOR> normals;
  if (normals_) normals = normals_.Clone(triangle_count, triangle_count);
  CopyArrays(*this, *dst);
  dst->normals_ = std::move(normals);
}

void trq::detail::AppendMesh(CTL_HEADER& header, MeshArray<PbVec3f>& vertices, MeshArray<R_INT4>& triangles,
                             const CTL_HEADER& more_header, const MeshArray<PbVec3f>& more_vertices,
                             const MeshArray<R_INT4>& more_triangles) {
  const size_t vertex_count = UsedCount(header.num_vertices, vertices.size());
  const size_t triangle_count = UsedCount(header.num_triangles, triangles.size());
  const core::MeshView more(more_header, more_vertices, more_triangles, {});
  const size_t more_vertex_count = more.vertex_count;
  const size_t more_triangle_count = more.triangles.size();
  if (vertex_count + more_vertex_count > INT_MAX || triangle_count + more_triangle_count > INT_MAX) {
    throw std::bad_alloc();
  }
  // Room is made for both before anything is written, so a mesh appended to itself reads what it held before.
  const size_t room = vertex_count + RoomOf(more);
  vertices.grow(room);
  triangles.grow(triangle_count + more_triangle_count);
  for (size_t i = 0; i < more_vertex_count; ++i) vertices[vertex_count + i] = more_vertices[i];
  for (size_t i = vertex_count + more_vertex_count; i < room; ++i) vertices[i] = PbVec3f(0, 0, 0);
  for (size_t i = 0; i < more_triangle_count; ++i) {
    R_INT4 triangle = more_triangles[i];
    for (int k = 0; k < 3; ++k) triangle[k] = MovedIndex(triangle[k], vertex_count);
    triangles[triangle_count + i] = triangle;
  }
  header.num_vertices = int32_t(vertex_count + more_vertex_count);
  header.num_triangles = int32_t(triangle_count + more_triangle_count);
  header.units = more_header.units;
}

void CTL::combine(CTL* other) {
  if (!other) return;
  AppendMesh(header, vertices_, triangles_, other->header, other->vertices_, other->triangles_);
  extents_valid = 0;
}

void CTL::applyMatrix(float* const* m) {
  if (!m) return;
  double rows[4][3];
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 3; ++j) rows[i][j] = m[i][j];
  }
  const size_t count = UsedVertices(*this);
  for (size_t i = 0; i < count; ++i) {
    PbVec3f& v = vertices_[i];
    for (int j = 0; j < 3; ++j) {
      // Kept: y is made from the new x, and z from the new x and y.
      v[j] = float(rows[0][j] * v[0] + rows[1][j] * v[1] + rows[2][j] * v[2] + rows[3][j]);
    }
  }
  extents_valid = 0;
}

void CTL::mirror(CTL* dst, int axis, int mm_to_inch, float offset, COMPONENT_INFO* info,
                 COMPONENT_INFO* dst_info) {
  if (!dst || !info || !dst_info) return;
  const bool mirrors = axis >= 0 && axis <= 2;
  const int a = mirrors ? 2 - axis : 0;  // the mirrored coordinate: axis 0 is z
  // Everything is read before anything is written: the destinations may be the sources.
  const trq::PlacementRecord source = info->record;
  const int32_t words[] = {info->word(2), info->word(3), info->word(4), info->word(5)};
  const auto& R = source.R;
  const double shift = mirrors ? double(offset) + R[25 + a] : 0.0;
  const double plane = mirrors ? 2.0 * R[22 + a] + shift : 0.0;

  CopyArrays(*this, *dst);
  if (mirrors) {
    float matrix[4][4];
    for (int i = 0; i < 16; ++i) matrix[i / 4][i % 4] = R[i];
    const PlacedPoints placed(matrix, mm_to_inch);
    const size_t vertex_count = UsedVertices(*dst);
    for (size_t i = 0; i < vertex_count; ++i) {
      PbVec3f& p = dst->vertices_[i];
      p = placed.Point(p);
      p[a] = float(plane - p[a]);
    }
  }
  const size_t turned = UsedCount(words[0], UsedTriangles(*dst));
  for (size_t i = 0; i < turned; ++i) std::swap(dst->triangles_[i][0], dst->triangles_[i][1]);

  for (int k = 0; k < 4; ++k) dst_info->word(k + 2) = words[k];
  dst_info->word(6) = 0;
  auto& result = dst_info->record.R;
  std::copy(R.begin() + 16, R.end(), result.begin() + 16);
  if (mirrors) {
    for (int first = 16; first <= 22; first += 3) result[first + a] = float(shift + R[first + a]);
  }
  // There is no code for a mesh without normals; for one whose facets have none there never was.
  if (dst->Calculate_normals() != trq::mesh_io::kDone && !dst->normals_) throw std::bad_alloc();
}
