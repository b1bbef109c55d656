/// The mesh as a value, and what is measured on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trq/core/result.h"
#include "trq/core/span.h"
#include "trq/export.h"
#include "trq/foundation.h"
#include "trq/mesh_values.h"

namespace trq::core {

/// Shared vertices, and triangles as triples of vertex indices with a facet attribute (element 3). The counts
/// in use stand in the header; behind the vertices in use there is zeroed room for one more at least, and for
/// the largest index of a triangle. CTL holds the same arrays: they are moved there and back, not copied.
struct Mesh {
  CTL_HEADER header;
  MeshArray<PbVec3f> vertices;
  MeshArray<R_INT4> triangles;
  MeshArray<VECTOR> normals;  ///< one a triangle, or empty
};

/// A mesh to read, whoever owns its arrays. A corner that names no vertex of `vertices` reads as (0, 0, 0),
/// and so does a normal that is not there.
struct TRQ_EXPORT MeshView {
  MeshView() = default;
  MeshView(Span<const PbVec3f> room, std::size_t vertices_in_use, Span<const R_INT4> all_triangles,
           Span<const VECTOR> all_normals = {})
      : vertices(room), vertex_count(vertices_in_use), triangles(all_triangles), normals(all_normals) {}
  /// As much of each array as both its count in `header` and its size allow.
  MeshView(const CTL_HEADER& header, const MeshArray<PbVec3f>& vertices, const MeshArray<R_INT4>& triangles,
           const MeshArray<VECTOR>& normals);
  MeshView(const Mesh& mesh) : MeshView(mesh.header, mesh.vertices, mesh.triangles, mesh.normals) {}

  Span<const PbVec3f> vertices;  ///< those in use, then the room
  std::size_t vertex_count = 0;  ///< in use
  Span<const R_INT4> triangles;  ///< in use
  Span<const VECTOR> normals;    ///< may be fewer than the triangles

  /// The coordinates of vertex `index`.
  const float* Vertex(std::int32_t index) const {
    static constexpr float kOrigin[3] = {0, 0, 0};
    // A negative index is a large number here.
    return static_cast<std::uint32_t>(index) < vertices.size()
               ? vertices[static_cast<std::uint32_t>(index)].data()
               : kOrigin;
  }
  /// The coordinates of corner k = 0..2 of a triangle.
  const float* Corner(const R_INT4& triangle, int k) const { return Vertex(triangle[k]); }
  /// The normal of triangle i.
  VECTOR Normal(std::size_t i) const { return i < normals.size() ? normals[i] : VECTOR(); }
};

/// A box along the axes; without points its lower corner is 1e30 and its upper one -1e30.
struct Box {
  float min[3] = {1e30f, 1e30f, 1e30f};
  float max[3] = {-1e30f, -1e30f, -1e30f};
};

/// The box of the vertices in use; coordinates that are not numbers are passed over.
TRQ_EXPORT Box BoxOf(const MeshView& mesh);

/// (p1 - p3) x (p2 - p3), normalised; three equal points give (0, 0, 0). Differences and products are rounded
/// to float as they are formed, the length is a double.
TRQ_EXPORT VECTOR FacetNormal(const float p1[3], const float p2[3], const float p3[3]);

/// Makes one normal a triangle. kBadNumber at the first triangle with a coordinate that is not a number or an
/// index outside 0..vertex_count (kept: an index equal to it passes); place.item is the triangle,
/// place.column its first corner, from 1, that is not a number. The normals before it are made, the others
/// zero. Requires: normals.size() == mesh.triangles.size().
TRQ_EXPORT Result<void> CalculateNormals(const MeshView& mesh, Span<VECTOR> normals);

/// (2 * area)^2 of a triangle: squared height times squared base, the base the longest edge. NaN when all
/// three corners are one point.
TRQ_EXPORT float DoubledAreaSquared(const float a[3], const float b[3], const float c[3]);

/// The area of triangle i by DoubledAreaSquared, in the square of the mesh's units; 0 where that is NaN.
/// Requires: i < mesh.triangles.size().
TRQ_EXPORT double FacetArea(const MeshView& mesh, std::size_t i);

/// The numbers of the triangles that name a vertex twice, in order.
TRQ_EXPORT std::vector<std::int32_t> DegenerateFacets(const MeshView& mesh);

/// Surface area, added up in a float in triangle order.
TRQ_EXPORT float Area(const MeshView& mesh);

/// Enclosed volume, positive for a closed mesh whose facets wind counter-clockwise seen from outside.
TRQ_EXPORT float Volume(const MeshView& mesh);

struct AreaAndVolume {
  float area = 0;
  float volume = 0;
};
/// Area and volume of the mesh as `matrix` (row-major, column vectors) places it, added up in double. With
/// `mm_to_inch` 1 the matrix is meant for inches while the mesh is in millimetres, and so are the results.
TRQ_EXPORT AreaAndVolume MeasurePlaced(const MeshView& mesh, const float matrix[4][4], int mm_to_inch);

}  // namespace trq::core
