#include "trqprep/matrix4.h"

#include <utility>

#include "trq/core/elementary.h"

namespace trqprep {

Matrix4 Matrix4::Translation(double x, double y, double z) {
  Matrix4 t;
  t.m[0][3] = x;
  t.m[1][3] = y;
  t.m[2][3] = z;
  return t;
}

Matrix4 Matrix4::Scaling(double x, double y, double z) {
  Matrix4 s;
  s.m[0][0] = x;
  s.m[1][1] = y;
  s.m[2][2] = z;
  return s;
}

Matrix4 Matrix4::Rotation(int axis, double degrees) {
  const auto [sine, cosine] = trq::core::SineCosineOf(degrees);
  const int a = (axis + 1) % 3;
  const int b = (axis + 2) % 3;
  Matrix4 r;
  r.m[a][a] = cosine;
  r.m[a][b] = -sine;
  r.m[b][a] = sine;
  r.m[b][b] = cosine;
  return r;
}

Point Matrix4::Apply(const Point& p) const {
  Point out;
  for (size_t i = 0; i < 3; ++i) out[i] = m[i][0] * p[0] + m[i][1] * p[1] + m[i][2] * p[2] + m[i][3];
  return out;
}

double Matrix4::Determinant() const {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

Matrix4 Compose(const Matrix4& then, const Matrix4& first) {
  Matrix4 product;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      double sum = 0;
      for (int k = 0; k < 4; ++k) sum += then.m[i][k] * first.m[k][j];
      product.m[i][j] = sum == 0 ? 0 : sum;  // no negative zeros in what people read
    }
  }
  return product;
}

double AreaOf(const Corners& facet) {
  const Point normal = NormalOf(facet);
  return std::hypot(normal[0], normal[1], normal[2]) / 2;
}

void Box::Add(const Box& other) {
  if (other.Empty()) return;
  Add(other.min);
  Add(other.max);
}

Box BoxOf(const CTL& mesh) {
  Box box;
  for (int i = 0; i < mesh.num_vertices(); ++i) box.Add(PointOf(mesh.vertices()[i]));
  return box;
}

Box BoxAfter(const CTL& mesh, const Matrix4& matrix) {
  Box box;
  for (int i = 0; i < mesh.num_vertices(); ++i) box.Add(matrix.Apply(PointOf(mesh.vertices()[i])));
  return box;
}

bool ApplyToMesh(CTL& mesh, const Matrix4& matrix) {
  PbVec3f* vertices = mesh.vertices();
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const Point moved = matrix.Apply(PointOf(vertices[i]));
    for (int k = 0; k < 3; ++k) vertices[i][k] = float(moved[size_t(k)]);
  }
  if (matrix.Determinant() < 0) {
    for (int i = 0; i < mesh.num_triangles(); ++i) std::swap(mesh.nth(i)[0], mesh.nth(i)[1]);
  }
  mesh.header.sort_state = 0;
  mesh.recalculate_extents();
  mesh.extents_valid = 1;
  return mesh.Calculate_normals() == 0;
}

}  // namespace trqprep
