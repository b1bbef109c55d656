/// Points and directions in double. Sums go from x to z.
#pragma once

#include <cmath>

#include "trq/foundation.h"

namespace trq::detail {

struct Vec {
  double x, y, z;
};

inline Vec Widen(const float p[3]) { return {p[0], p[1], p[2]}; }
inline Vec Widen(const PbVec3f& p) { return Widen(p.data()); }
inline Vec Widen(const VECTOR& v) { return {v.x, v.y, v.z}; }
inline Vec operator-(const Vec& a, const Vec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline double Dot(const Vec& a, const Vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double Length(const Vec& v) { return std::sqrt(Dot(v, v)); }
inline Vec Cross(const Vec& a, const Vec& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

}  // namespace trq::detail
