/// How the mesh writers carry points and directions through the caller's placement matrix.
#pragma once

#include "trq/geometry.h"

namespace trq::detail {

/// Applies a row-major 4x4 matrix to columns (x, y, z, w). With `mm_to_inch` 1 the matrix is meant for inches
/// while points are in millimetres: they are converted before the product and back after it, each step
/// rounded to float. Any other value applies the matrix directly.
class PlacedPoints {
 public:
  PlacedPoints(const float matrix[4][4], int mm_to_inch) : in_inches_(mm_to_inch == 1) {
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) matrix_[i][j] = matrix[i][j];
    }
  }

  /// w is 1 for a point, 0 for a direction.
  PbVec3f Place(float x, float y, float z, float w) {
    float in[4][1] = {{x}, {y}, {z}, {w}};
    float out[4][1];
    if (in_inches_) {
      for (int k = 0; k < 3; ++k) in[k][0] = static_cast<float>(in[k][0] * 0.03937008);
    }
    slc::MatVecMult(out, matrix_, in);
    if (in_inches_) {
      for (int k = 0; k < 3; ++k) out[k][0] = static_cast<float>(out[k][0] * 25.4);
    }
    return PbVec3f(out[0][0], out[1][0], out[2][0]);
  }
  PbVec3f Point(const PbVec3f& p) { return Place(p[0], p[1], p[2], 1.0f); }

 private:
  float matrix_[4][4];
  bool in_inches_;
};

}  // namespace trq::detail
