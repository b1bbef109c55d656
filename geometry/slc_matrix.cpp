#include "trq/slice_contours.h"

void slc::MatVecMult(float out[4][1], float m[4][4], float v[4][1]) {
  for (int row = 0; row < 4; ++row) {
    double sum = 0.0;
    for (int k = 0; k < 4; ++k) sum += static_cast<double>(m[row][k]) * v[k][0];
    out[row][0] = static_cast<float>(sum);
  }
}
