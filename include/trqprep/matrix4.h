/// 4x4 matrices in double: row-major, column vectors, translation in the fourth column.
#pragma once

#include <array>
#include <cmath>

#include "trq/geometry.h"

namespace trqprep {

using Point = std::array<double, 3>;

struct Matrix4 {
  double m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

  static Matrix4 Translation(double x, double y, double z);
  static Matrix4 Scaling(double x, double y, double z);
  /// A turn about axis 0 (x), 1 (y) or 2 (z), counter-clockwise seen from the axis's positive end. Multiples
  /// of 90 degrees are exact.
  static Matrix4 Rotation(int axis, double degrees);

  Point Apply(const Point& point) const;
  /// Of the upper left 3x3 block.
  double Determinant() const;
};

/// The matrix that applies `first`, then `then`.
Matrix4 Compose(const Matrix4& then, const Matrix4& first);

/// The point as the mesh holds it.
inline Point PointOf(const PbVec3f& vertex) { return {vertex[0], vertex[1], vertex[2]}; }

inline Point Minus(const Point& a, const Point& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline double Dot(const Point& a, const Point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Point Cross(const Point& a, const Point& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double Norm(const Point& a) { return std::sqrt(Dot(a, a)); }

using Corners = std::array<Point, 3>;

template <class Index>
Corners CornersOf(const CTL& mesh, Index facet) {
  const R_INT4& t = mesh.triangles()[facet];
  return {PointOf(mesh.vertices()[t[0]]), PointOf(mesh.vertices()[t[1]]), PointOf(mesh.vertices()[t[2]])};
}

/// Perpendicular to the facet, towards where its corners run counter-clockwise; its length is twice the area.
inline Point NormalOf(const Corners& facet) {
  return Cross(Minus(facet[1], facet[0]), Minus(facet[2], facet[0]));
}
/// Without an overflow or underflow on the way.
double AreaOf(const Corners& facet);

/// An axis-aligned box; empty until a point is added. Not-a-numbers are ignored.
struct Box {
  Point min{1e300, 1e300, 1e300};
  Point max{-1e300, -1e300, -1e300};
  void Add(const Point& point) {
    for (std::size_t i = 0; i < 3; ++i) {
      if (point[i] < min[i]) min[i] = point[i];
      if (point[i] > max[i]) max[i] = point[i];
    }
  }
  void Add(const Box& other);
  bool Empty() const { return !(min[0] <= max[0]); }
  Point Size() const { return {max[0] - min[0], max[1] - min[1], max[2] - min[2]}; }
};

/// The box of the mesh's vertices.
Box BoxOf(const CTL& mesh);
/// The box of the mesh's vertices after the matrix, not rounded.
Box BoxAfter(const CTL& mesh, const Matrix4& matrix);

/// Applies the matrix to every vertex in double, rounding once; a mirroring matrix also swaps each facet's
/// first two corners. Afterwards extents and normals are made again and the sort state is 0. False when
/// normals cannot be made (a coordinate became not-a-number).
bool ApplyToMesh(CTL& mesh, const Matrix4& matrix);

}  // namespace trqprep
