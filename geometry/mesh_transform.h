/// Steps of the whole-mesh operations, on values.
#pragma once

#include <cmath>
#include <cstdint>

#include "trq/core/mesh.h"

namespace trq::detail {

/// trunc(c * 10000 + 0.5) * 0.0001, rounded to float.
inline float SnapCoordinate(float c) {
  const double shifted = c * 10000.0 + 0.5;
  // Doubles from 2^52 on are whole already, and NaN stays NaN. Below, the detour over an integer truncates as
  // std::trunc does once the sign of a negative zero is put back.
  double whole = shifted;
  if (std::fabs(shifted) < 4503599627370496.0) {
    whole = std::copysign(double(int64_t(shifted)), shifted);
  }
  return float(whole * 0.0001);
}

/// SnapCoordinate applied `times` times, at least once. Snapping lands on whole multiples k of 0.0001 and, as
/// floats, misses them by less than a quarter of a step while |k| <= 2^22. So a positive k stays, and a
/// negative one moves up by one with every further step: all of them are one sum. At zero, which has a sign,
/// and far from it the steps are taken one by one.
inline float SnapRepeatedly(float c, uint32_t times) {
  const double shifted = c * 10000.0 + 0.5;
  if (std::fabs(shifted) < 4194304.0) {
    const int64_t first = int64_t(shifted);
    // Without branches on the sign, which nothing foretells: its bits are all ones below zero.
    const int64_t last = first + ((first >> 63) & int64_t(times - 1));
    if ((first > 0) | (last < 0)) return float(double(last) * 0.0001);
  }
  for (; times > 0; --times) {
    const float next = SnapCoordinate(c);
    // Where nothing changes any more; a negative zero has become a positive one in this step.
    if (next == c) return next;
    c = next;
  }
  return c;
}

inline void SnapPoint(float point[3], uint32_t times) {
  if (times == 0) return;
  for (int k = 0; k < 3; ++k) point[k] = SnapRepeatedly(point[k], times);
}

/// Appends vertices and triangles, as many as their header counts, and takes the other header's units. The
/// two meshes may be one. Throws std::bad_alloc when the counts would leave the range of an int.
void AppendMesh(CTL_HEADER& header, MeshArray<PbVec3f>& vertices, MeshArray<R_INT4>& triangles,
                const CTL_HEADER& more_header, const MeshArray<PbVec3f>& more_vertices,
                const MeshArray<R_INT4>& more_triangles);

}  // namespace trq::detail
