/// The literal forms of the z sorts, of snapping and placing vertices and of the measures: what the library's
/// faster forms must equal.
#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/byte_builder.h"
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

/// A point (w 1) or direction (w 0) through a matrix, each step rounded to float; with unit 1 the matrix is
/// in inches. `out` may be `in`.
inline void Place(const float matrix[4][4], int unit, const float in[3], float w, float out[3]) {
  float column[4] = {in[0], in[1], in[2], w};
  if (unit == 1) {
    for (int k = 0; k < 3; ++k) column[k] = static_cast<float>(column[k] * 0.03937008);
  }
  for (int i = 0; i < 3; ++i) {
    double sum = 0;
    for (int k = 0; k < 4; ++k) sum += static_cast<double>(matrix[i][k]) * column[k];
    out[i] = static_cast<float>(sum);
    if (unit == 1) out[i] = static_cast<float>(out[i] * 25.4);
    if (std::isnan(out[i])) out[i] = std::numeric_limits<float>::quiet_NaN();
  }
}

/// Facet i of a binary STL file: the placed normal, brought to length 1, and the placed corners.
inline std::string StlRecord(CTL& mesh, int i, const float matrix[4][4], int unit) {
  const VECTOR& n = mesh.normals()[i];
  const float in[3] = {n.x, n.y, n.z};
  float numbers[12];
  Place(matrix, unit, in, 0, numbers);
  const double x = numbers[0], y = numbers[1], z = numbers[2];
  double length = std::sqrt(x * x + y * y + z * z);
  if (length == 0 || std::isnan(length)) length = 1;
  for (int k = 0; k < 3; ++k) {
    numbers[k] = static_cast<float>(numbers[k] / length);
    if (std::isnan(numbers[k])) numbers[k] = std::numeric_limits<float>::quiet_NaN();
    Place(matrix, unit, mesh.vertices()[mesh.nth(i)[k]].data(), 1, numbers + 3 + 3 * k);
  }
  test_support::ByteBuilder record;
  for (const float number : numbers) record.F32(number);
  const int attribute = mesh.nth(i)[3];
  record.U16(attribute < 0x8000 ? static_cast<unsigned>(attribute) & 0xFFFF : 0);
  return record.bytes();
}

/// (2 * area)^2 by its parts: squared edges as floats, the rest in double.
inline float AreaX2sq(const float p0[3], const float p1[3], const float p2[3]) {
  double e01[3], e02[3], e12[3];
  double sum01 = 0, sum02 = 0, sum12 = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    e01[k] = static_cast<double>(p1[k]) - p0[k];
    e02[k] = static_cast<double>(p2[k]) - p0[k];
    e12[k] = static_cast<double>(p2[k]) - p1[k];
    sum01 += e01[k] * e01[k];
    sum02 += e02[k] * e02[k];
    sum12 += e12[k] * e12[k];
  }
  const float q01 = static_cast<float>(sum01), q02 = static_cast<float>(sum02),
              q12 = static_cast<float>(sum12);
  const double *base = e01, *side = e02;
  float base_sq = q01, side_sq = q02;
  double sign = 1;
  if (!(q01 >= q02 && q01 >= q12)) {
    if (q02 >= q12) {
      base = e02, side = e01, base_sq = q02, side_sq = q01;
    } else {
      base = e12, side = e01, base_sq = q12, side_sq = q01, sign = -1;
    }
  }
  double dot = 0;
  for (int k = 0; k < 3; ++k) dot += sign * side[k] * base[k];
  return static_cast<float>((side_sq - dot * dot / base_sq) * base_sq);
}

/// Six times the volume between the origin and a facet.
inline double VolumeTerm(const float a[3], const float b[3], const float c[3]) {
  const double bx = b[0], by = b[1], bz = b[2], cx = c[0], cy = c[1], cz = c[2];
  return a[0] * (by * cz - bz * cy) + a[1] * (bz * cx - bx * cz) + a[2] * (bx * cy - by * cx);
}

/// (p1 - p3) x (p2 - p3) over its length: products and differences are floats.
inline VECTOR Normal(const float p1[3], const float p2[3], const float p3[3]) {
  double a[3], b[3];
  for (std::size_t k = 0; k < 3; ++k) {
    a[k] = static_cast<float>(static_cast<double>(p1[k]) - p3[k]);
    b[k] = static_cast<float>(static_cast<double>(p2[k]) - p3[k]);
  }
  const auto cross = [&](int i, int j) {
    const float first = static_cast<float>(a[i] * b[j]), second = static_cast<float>(a[j] * b[i]);
    return static_cast<double>(static_cast<float>(static_cast<double>(first) - second));
  };
  const double x = cross(1, 2), y = cross(2, 0), z = cross(0, 1);
  double length = std::sqrt(x * x + y * y + z * z);
  if (length == 0) length = 1;
  return VECTOR(static_cast<float>(x / length), static_cast<float>(y / length),
                static_cast<float>(z / length));
}

}  // namespace literal
