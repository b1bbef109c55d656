#include <cmath>
#include <cstring>
#include <utility>

#include "geometry/mesh_access.h"
#include "geometry/mesh_measure.h"
#include "trq/core/elementary.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

constexpr double kRadiansPerDegree = 0.017453292;

// Turns coordinates u and v of every vertex; cosine and sine are rounded to float as the interface wants them
// before they meet a coordinate. `sign` is that of the products with what stands in v.
void Rotate(CTL& mesh, int u, int v, float degrees, double sign) {
  const double radians = degrees * kRadiansPerDegree;
  const double cosine = float(trq::core::Cos(radians)), sine = float(trq::core::Sin(radians));
  const size_t count = UsedVertices(mesh);
  for (size_t i = 0; i < count; ++i) {
    PbVec3f& vertex = mesh.vertices_[i];
    const double p = vertex[u], q = sign * vertex[v];
    vertex[u] = float(p * cosine - q * sine);
    vertex[v] = float(p * sine + q * cosine);
  }
  mesh.header.sort_state = trq::sort_state::kUnsorted;
  mesh.extents_valid = 0;
}

}  // namespace

CTL_HEADER::CTL_HEADER()
    : num_vertices(0),
      num_triangles(0),
      matrix{},
      units(trq::units::kUnknown),
      sort_state(trq::sort_state::kUnsorted),
      stl_header{},
      magic(121),
      format_word(12),
      reserved{},
      reserved_bytes{} {}

CTL::CTL() = default;
CTL::~CTL() = default;

CTL::CTL(CTL&& other) noexcept : COMPONENT(other) { MoveFieldsFrom(other); }

CTL& CTL::operator=(CTL&& other) noexcept {
  if (this == &other) return *this;
  COMPONENT::operator=(other);
  MoveFieldsFrom(other);
  return *this;
}

void CTL::MoveFieldsFrom(CTL& other) noexcept {
  vertices_ = std::move(other.vertices_);
  triangles_ = std::move(other.triangles_);
  normals_ = std::move(other.normals_);
  shell_vertices_ = std::move(other.shell_vertices_);
  push_directions_ = std::move(other.push_directions_);
  offset_limit = std::exchange(other.offset_limit, 0.0f);
  validate_offsets = std::exchange(other.validate_offsets, 0);
  shell_made = std::exchange(other.shell_made, 0);
  vents_and_drains.vent_triangles = std::exchange(other.vents_and_drains.vent_triangles, {});
  vents_and_drains.vents = std::exchange(other.vents_and_drains.vents, {});
  vents_and_drains.drain_triangles = std::exchange(other.vents_and_drains.drain_triangles, {});
  vents_and_drains.drains = std::exchange(other.vents_and_drains.drains, {});
  header = std::exchange(other.header, CTL_HEADER());
  // The source's base goes back to that of a fresh mesh; the error object's texts stay behind as they are.
  other.ClearError();
  other.units = trq::units::kInch;
  other.name_[0] = '\0';
  other.extents_valid = 0;
  other.CTL::recalculate_extents();  // those of no vertices
}

char* CTL::suffix() {
  static thread_local char text[] = "ctl";
  return text;
}

void CTL::clear() {
  vertices_.reset();
  triangles_.reset();
  normals_.reset();
  shell_vertices_.reset();
  push_directions_.reset();
  header.num_vertices = 0;
  header.num_triangles = 0;
  extents_valid = 0;
}

void CTL::SetUnits(int code) {
  units = code;
  header.units = code;
}

// Sums and products of two floats rounded to float are the same whether formed in float or in double, so the
// two operations below stay in float.

void CTL::translate(float dx, float dy, float dz) {
  const float offset[3] = {dx, dy, dz};
  const size_t count = UsedVertices(*this);
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) vertices_[i][k] += offset[k];
  }
  for (int k = 0; k < 3; ++k) {
    min[k] += offset[k];
    max[k] += offset[k];
  }
}

void CTL::scale(float sx, float sy, float sz) {
  const float factor[3] = {sx, sy, sz};
  const size_t count = UsedVertices(*this);
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) vertices_[i][k] *= factor[k];
  }
  // Kept: a negative factor leaves the larger value in `min`.
  for (int k = 0; k < 3; ++k) {
    min[k] *= factor[k];
    max[k] *= factor[k];
  }
}

void CTL::rotateX(float degrees) { Rotate(*this, 1, 2, degrees, 1); }
// Kept: z is negated as well, so a turn of zero degrees mirrors the mesh in z.
void CTL::rotateY(float degrees) { Rotate(*this, 0, 2, degrees, -1); }
void CTL::rotateZ(float degrees) { Rotate(*this, 0, 1, degrees, 1); }

void CTL::eliminate_degenerates() {
  int32_t count = int32_t(UsedTriangles(*this));
  if (count == 0) return;
  for (int32_t i = 0; i < count;) {
    R_INT4& triangle = nth(i);
    if (NamesAVertexTwice(triangle)) {
      triangle = nth(--count);
    } else {
      ++i;
    }
  }
  header.num_triangles = count;
}
