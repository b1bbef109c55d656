/// How the mesh writers carry points and directions through the caller's placement matrix.
#pragma once

#include "foundation/canonical_nan.h"
#include "trq/foundation.h"

namespace trq::detail {

constexpr double kInchesPerMillimetre = 0.03937008;  ///< kept: a rounded reciprocal
constexpr double kMillimetresPerInch = 25.4;

/// Applies a row-major 4x4 matrix to columns (x, y, z, w). With `mm_to_inch` 1 the matrix is meant for inches
/// while points are in millimetres: they are converted before the product and back after it, each step
/// rounded to float. Any other value applies the matrix directly. A coordinate that is not a number comes out
/// as CanonicalNan has it.
class PlacedPoints {
 public:
  /// Null is the unit matrix.
  PlacedPoints(const float matrix[4][4], int mm_to_inch) : in_inches_(mm_to_inch == 1) {
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 4; ++j) rows_[i][j] = matrix ? matrix[i][j] : i == j ? 1.0f : 0.0f;
    }
  }

  /// w is 1 for a point, 0 for a direction. `placed` may be `p`.
  void Place(const float p[3], float w, float placed[3]) const {
    if (in_inches_) {
      PlaceAs<true>(p[0], p[1], p[2], w, placed[0], placed[1], placed[2]);
    } else {
      PlaceAs<false>(p[0], p[1], p[2], w, placed[0], placed[1], placed[2]);
    }
  }
  /// Places directions whose coordinates lie in arrays of their own, as vector code wants them.
  void PlaceDirections(float* x, float* y, float* z, size_t count) const {
    if (in_inches_) {
      for (size_t i = 0; i < count; ++i) PlaceAs<true>(x[i], y[i], z[i], 0, x[i], y[i], z[i]);
    } else {
      for (size_t i = 0; i < count; ++i) PlaceAs<false>(x[i], y[i], z[i], 0, x[i], y[i], z[i]);
    }
  }
  PbVec3f Point(const PbVec3f& p) const {
    PbVec3f placed;
    Place(p.data(), 1.0f, placed.data());
    return placed;
  }

 private:
  template <bool kInInches>
  void PlaceAs(float x, float y, float z, float w, float& placed_x, float& placed_y, float& placed_z) const {
    if constexpr (kInInches) {
      x = float(x * kInchesPerMillimetre);
      y = float(y * kInchesPerMillimetre);
      z = float(z * kInchesPerMillimetre);
    }
    placed_x = Row<kInInches>(rows_[0], x, y, z, w);
    placed_y = Row<kInInches>(rows_[1], x, y, z, w);
    placed_z = Row<kInInches>(rows_[2], x, y, z, w);
  }
  template <bool kInInches>
  static float Row(const double row[4], float x, float y, float z, float w) {
    // The sum of slc::MatVecMult, from 0.0 on.
    const float sum = float(0.0 + row[0] * x + row[1] * y + row[2] * z + row[3] * w);
    return CanonicalNan(kInInches ? float(sum * kMillimetresPerInch) : sum);
  }

  double rows_[3][4];
  bool in_inches_;
};

}  // namespace trq::detail
