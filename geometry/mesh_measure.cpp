#include "geometry/mesh_measure.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "geometry/mesh_access.h"
#include "host/system.h"
#include "trq/geometry.h"

namespace trq::detail {
namespace {

struct Edge {
  Edge(const float from[3], const float to[3])
      : x(static_cast<double>(to[0]) - from[0]),
        y(static_cast<double>(to[1]) - from[1]),
        z(static_cast<double>(to[2]) - from[2]),
        squared_length(static_cast<float>(x * x + y * y + z * z)) {}
  double x, y, z;
  float squared_length;
};

// `side` starts where `base` does; its sign does not matter.
float FromBase(const Edge& base, const Edge& side) {
  const double along = side.x * base.x + side.y * base.y + side.z * base.z;
  const double base_squared = base.squared_length;
  return static_cast<float>((side.squared_length - along * along / base_squared) * base_squared);
}

bool HasNaN(const float p[3]) { return std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2]); }

}  // namespace

VECTOR FacetNormal(const float p1[3], const float p2[3], const float p3[3]) {
  // A difference or product of two floats rounds to the same float from float and from double arithmetic.
  const float ax = p1[0] - p3[0];
  const float ay = p1[1] - p3[1];
  const float az = p1[2] - p3[2];
  const float bx = p2[0] - p3[0];
  const float by = p2[1] - p3[1];
  const float bz = p2[2] - p3[2];
  const float yz = ay * bz;
  const float zy = az * by;
  const float zx = az * bx;
  const float xz = ax * bz;
  const float xy = ax * by;
  const float yx = ay * bx;
  const double x = yz - zy;
  const double y = zx - xz;
  const double z = xy - yx;
  double length = std::sqrt(x * x + y * y + z * z);
  if (length == 0.0) length = 1.0;
  return VECTOR(static_cast<float>(x / length), static_cast<float>(y / length),
                static_cast<float>(z / length));
}

float DoubledAreaSquared(const float a[3], const float b[3], const float c[3]) {
  const Edge ab(a, b);
  const Edge ac(a, c);
  const Edge bc(b, c);
  // The longest edge is the base; of equal ones the first in this order.
  if (ab.squared_length >= ac.squared_length && ab.squared_length >= bc.squared_length)
    return FromBase(ab, ac);
  if (ac.squared_length >= bc.squared_length) return FromBase(ac, ab);
  return FromBase(bc, Edge(b, a));
}

namespace {

float SquaredAreaOf(const CTL& mesh, const R_INT4& triangle) {
  return DoubledAreaSquared(CoordinatesAt(mesh.vertices_, triangle[0]),
                            CoordinatesAt(mesh.vertices_, triangle[1]),
                            CoordinatesAt(mesh.vertices_, triangle[2]));
}

}  // namespace
}  // namespace trq::detail

VECTOR CTL::get_normal(VECTOR p1, VECTOR p2, VECTOR p3) {
  const float corners[3][3] = {{p1.x, p1.y, p1.z}, {p2.x, p2.y, p2.z}, {p3.x, p3.y, p3.z}};
  return trq::detail::FacetNormal(corners[0], corners[1], corners[2]);
}

int CTL::Calculate_normals() {
  const std::size_t count = trq::detail::UsedTriangles(*this);
  normals_.reset();
  try {
    normals_ = trq::MeshArray<VECTOR>::ForOverwrite(count);
  } catch (const std::bad_alloc&) {
    return trq::mesh_io::kFailed;
  }
  trq::host::ExpectFilling(normals_.get(), count * sizeof(VECTOR));
  const PbVec3f* const vertices = vertices_.get();
  const R_INT4* const triangles = triangles_.get();
  VECTOR* const normals = normals_.get();
  // Indices below this one pass and have room. Kept: one equal to the vertex count passes; a mesh has zeroed
  // room there.
  const std::size_t named = static_cast<std::size_t>(std::max<int64_t>(header.num_vertices, -1) + 1);
  const std::size_t end = std::min(vertices_.size(), named);
  for (std::size_t i = 0; i < count; ++i) {
    const R_INT4& triangle = triangles[i];
    const std::size_t a = static_cast<uint32_t>(triangle[0]);
    const std::size_t b = static_cast<uint32_t>(triangle[1]);
    const std::size_t c = static_cast<uint32_t>(triangle[2]);
    if (a < end && b < end && c < end) {
      normals[i] = trq::detail::FacetNormal(vertices[a].data(), vertices[b].data(), vertices[c].data());
      // A coordinate that is NaN makes the length NaN; so do infinite ones, but they pass.
      if (!std::isnan(normals[i].x)) continue;
    }
    const float* corner[3];
    bool sound = true;
    for (int k = 0; k < 3; ++k) {
      corner[k] = trq::detail::CoordinatesAt(vertices_, triangle[k]);
      sound =
          sound && triangle[k] >= 0 && triangle[k] <= header.num_vertices && !trq::detail::HasNaN(corner[k]);
    }
    if (!sound) {
      std::fill(normals + i, normals + count, VECTOR());
      return trq::mesh_io::kFailed;
    }
    normals[i] = trq::detail::FacetNormal(corner[0], corner[1], corner[2]);
  }
  return trq::mesh_io::kDone;
}

float CTL::areaX2sq(int i) {
  if (i < 0 || static_cast<std::size_t>(i) >= triangles_.size()) return 0;
  return trq::detail::SquaredAreaOf(*this, triangles_[static_cast<std::size_t>(i)]);
}

float CTL::areaX2sq(const float a[3], const float b[3], const float c[3]) {
  return trq::detail::DoubledAreaSquared(a, b, c);
}

float CTL::area() {
  const std::size_t count = trq::detail::UsedTriangles(*this);
  float sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double squared = trq::detail::SquaredAreaOf(*this, triangles_[i]);
    if (squared > 0) sum = static_cast<float>(sum + std::sqrt(squared));  // NaN fails the test
  }
  return static_cast<float>(sum * 0.5);
}

float CTL::volume() {
  const std::size_t count = trq::detail::UsedTriangles(*this);
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const float* const a = trq::detail::CoordinatesAt(vertices_, triangles_[i][0]);
    const float* const b = trq::detail::CoordinatesAt(vertices_, triangles_[i][1]);
    const float* const c = trq::detail::CoordinatesAt(vertices_, triangles_[i][2]);
    const double bx = b[0], by = b[1], bz = b[2];
    const double cx = c[0], cy = c[1], cz = c[2];
    sum += a[0] * (by * cz - bz * cy) + a[1] * (bz * cx - bx * cz) + a[2] * (bx * cy - by * cx);
  }
  return static_cast<float>(sum * 0.16666667);
}
