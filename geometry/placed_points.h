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
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 4; ++j) rows_[i][j] = matrix[i][j];
    }
  }

  /// w is 1 for a point, 0 for a direction.
  PbVec3f Place(float x, float y, float z, float w) const {
    if (in_inches_) {
      x = static_cast<float>(x * kInchesPerMillimetre);
      y = static_cast<float>(y * kInchesPerMillimetre);
      z = static_cast<float>(z * kInchesPerMillimetre);
    }
    PbVec3f placed;
    for (int i = 0; i < 3; ++i) {
      // The sum of slc::MatVecMult, from 0.0 on.
      const double sum = 0.0 + rows_[i][0] * x + rows_[i][1] * y + rows_[i][2] * z + rows_[i][3] * w;
      placed[i] = static_cast<float>(sum);
      if (in_inches_) placed[i] = static_cast<float>(placed[i] * kMillimetresPerInch);
    }
    return placed;
  }
  PbVec3f Point(const PbVec3f& p) const { return Place(p[0], p[1], p[2], 1.0f); }

 private:
  static constexpr double kInchesPerMillimetre = 0.03937008;
  static constexpr double kMillimetresPerInch = 25.4;
  double rows_[3][4];
  bool in_inches_;
};

}  // namespace trq::detail
