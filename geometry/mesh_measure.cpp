#include "geometry/mesh_measure.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "foundation/vector3.h"
#include "geometry/mesh_access.h"
#include "geometry/placed_points.h"
#include "host/system.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace trq::core {
namespace {

struct Edge {
  Edge(const float from[3], const float to[3])
      : direction(detail::Widen(to) - detail::Widen(from)),
        squared_length(float(detail::Dot(direction, direction))) {}
  detail::Vec direction;
  float squared_length;
};

// `side` starts where `base` does; its sign does not matter.
float FromBase(const Edge& base, const Edge& side) {
  const double along = detail::Dot(side.direction, base.direction);
  const double base_squared = base.squared_length;
  return float((side.squared_length - along * along / base_squared) * base_squared);
}

bool HasNaN(const float p[3]) { return std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2]); }

float SquaredAreaOf(const MeshView& mesh, const R_INT4& triangle) {
  return DoubledAreaSquared(mesh.Corner(triangle, 0), mesh.Corner(triangle, 1), mesh.Corner(triangle, 2));
}

/// Six times the volume between the triangle and the origin.
double SixfoldVolume(const float a[3], const float b[3], const float c[3]) {
  return detail::Dot(detail::Widen(a), detail::Cross(detail::Widen(b), detail::Widen(c)));
}
constexpr double kOneSixth = 0.16666667;

}  // namespace

MeshView::MeshView(const CTL_HEADER& header, const MeshArray<PbVec3f>& all_vertices,
                   const MeshArray<R_INT4>& all_triangles, const MeshArray<VECTOR>& all_normals)
    : MeshView(all_vertices, detail::UsedCount(header.num_vertices, all_vertices.size()),
               {all_triangles.get(), detail::UsedCount(header.num_triangles, all_triangles.size())},
               all_normals) {}

Box BoxOf(const MeshView& mesh) {
  Box box;
  float low[3] = {box.min[0], box.min[1], box.min[2]};
  float high[3] = {box.max[0], box.max[1], box.max[2]};
  for (const PbVec3f& vertex : mesh.vertices.First(mesh.vertex_count)) {
    const float* const coordinates = vertex.data();
    for (int k = 0; k < 3; ++k) {
      // NaN fails both comparisons and so stays out of the box.
      const float c = coordinates[k];
      low[k] = c < low[k] ? c : low[k];
      high[k] = c > high[k] ? c : high[k];
    }
  }
  std::copy(low, low + 3, box.min);
  std::copy(high, high + 3, box.max);
  return box;
}

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
  return VECTOR(float(x / length), float(y / length), float(z / length));
}

Result<void> CalculateNormals(const MeshView& mesh, Span<VECTOR> normals) {
  const size_t bad = detail::MakeNormals(mesh, int64_t(mesh.vertex_count), normals);
  if (bad == normals.size()) return {};
  Error error;
  error.code = ErrorCode::kBadNumber;
  error.place.item = bad;
  for (int k = 3; k-- > 0;) {
    if (HasNaN(mesh.Corner(mesh.triangles[bad], k))) error.place.column = uint64_t(k) + 1;
  }
  error.text = "a corner is not a number or names no vertex";
  return error;
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

double FacetArea(const MeshView& mesh, size_t i) {
  const double squared = SquaredAreaOf(mesh, mesh.triangles[i]);
  return squared > 0 ? std::sqrt(squared) * 0.5 : 0.0;  // NaN fails the test
}

std::vector<int32_t> DegenerateFacets(const MeshView& mesh) {
  std::vector<int32_t> found;
  for (size_t i = 0; i < mesh.triangles.size(); ++i) {
    if (detail::NamesAVertexTwice(mesh.triangles[i])) found.push_back(int32_t(i));
  }
  return found;
}

float Area(const MeshView& mesh) {
  float sum = 0;
  for (const R_INT4& triangle : mesh.triangles) {
    const double squared = SquaredAreaOf(mesh, triangle);
    if (squared > 0) sum = float(sum + std::sqrt(squared));
  }
  return float(sum * 0.5);
}

float Volume(const MeshView& mesh) {
  double sum = 0;
  for (const R_INT4& triangle : mesh.triangles)
    sum += SixfoldVolume(mesh.Corner(triangle, 0), mesh.Corner(triangle, 1), mesh.Corner(triangle, 2));
  return float(sum * kOneSixth);
}

AreaAndVolume MeasurePlaced(const MeshView& mesh, const float matrix[4][4], int mm_to_inch) {
  const detail::PlacedPoints placed(matrix, mm_to_inch);
  double area = 0;
  double volume = 0;
  for (const R_INT4& triangle : mesh.triangles) {
    float p[3][3];
    for (int k = 0; k < 3; ++k) placed.Place(mesh.Corner(triangle, k), 1.0f, p[k]);
    volume += SixfoldVolume(p[0], p[1], p[2]);
    const double squared = DoubledAreaSquared(p[0], p[1], p[2]);
    if (squared > 0) area += std::sqrt(squared);
  }
  return {float(area * 0.5), float(volume * kOneSixth)};
}

}  // namespace trq::core

size_t trq::detail::MakeNormals(const core::MeshView& mesh, int64_t largest_index, Span<VECTOR> normals) {
  const size_t count = normals.size();
  // Indices below this one pass and have room. Kept: one equal to the vertex count passes; a mesh has zeroed
  // room there.
  const size_t end = std::min(mesh.vertices.size(), size_t(largest_index + 1));
  for (size_t i = 0; i < count; ++i) {
    const R_INT4& triangle = mesh.triangles[i];
    const size_t a = uint32_t(triangle[0]);
    const size_t b = uint32_t(triangle[1]);
    const size_t c = uint32_t(triangle[2]);
    if (a < end && b < end && c < end) {
      normals[i] =
          core::FacetNormal(mesh.vertices[a].data(), mesh.vertices[b].data(), mesh.vertices[c].data());
      // A coordinate that is NaN makes the length NaN; so do infinite ones, but they pass.
      if (!std::isnan(normals[i].x)) continue;
    }
    bool sound = true;
    for (int k = 0; k < 3; ++k) {
      sound = sound && triangle[k] >= 0 && triangle[k] <= largest_index &&
              !core::HasNaN(mesh.Corner(triangle, k));
    }
    if (!sound) {
      std::fill(normals.begin() + i, normals.end(), VECTOR());
      return i;
    }
    normals[i] =
        core::FacetNormal(mesh.Corner(triangle, 0), mesh.Corner(triangle, 1), mesh.Corner(triangle, 2));
  }
  return count;
}

void CTL::adopt(trq::core::Mesh&& mesh) {
  header = mesh.header;
  units = header.units;
  vertices_ = std::move(mesh.vertices);
  triangles_ = std::move(mesh.triangles);
  normals_ = std::move(mesh.normals);
  extents_valid = 0;
}

trq::core::MeshView CTL::view() const { return {header, vertices_, triangles_, normals_}; }

VECTOR CTL::get_normal(VECTOR p1, VECTOR p2, VECTOR p3) {
  const float corners[3][3] = {{p1.x, p1.y, p1.z}, {p2.x, p2.y, p2.z}, {p3.x, p3.y, p3.z}};
  return trq::core::FacetNormal(corners[0], corners[1], corners[2]);
}

int CTL::Calculate_normals() {
  const trq::core::MeshView mesh = view();
  const size_t count = mesh.triangles.size();
  normals_.reset();
  try {
    normals_ = RoomToFill<VECTOR>(count);
  } catch (const std::bad_alloc&) {
    return trq::mesh_io::kFailed;
  }
  // Kept: the header's count decides which indices pass, whatever is allocated.
  const int64_t largest_index = std::max(header.num_vertices, -1);
  return MakeNormals(mesh, largest_index, normals_) == count ? trq::mesh_io::kDone : trq::mesh_io::kFailed;
}

float CTL::areaX2sq(int i) {
  if (i < 0 || size_t(i) >= triangles_.size()) return 0;
  return trq::core::SquaredAreaOf(view(), nth(i));
}

float CTL::areaX2sq(const float a[3], const float b[3], const float c[3]) {
  return trq::core::DoubledAreaSquared(a, b, c);
}

float CTL::area() { return trq::core::Area(view()); }

float CTL::volume() { return trq::core::Volume(view()); }

void CTL::recalculate_extents() {
  const trq::core::Box box = trq::core::BoxOf(view());
  std::copy(box.min, box.min + 3, min);
  std::copy(box.max, box.max + 3, max);
}
