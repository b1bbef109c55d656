#include <cstring>

#include "trq/foundation.h"

void MATRICES::matmult(float R[4][4], const float A[4][4], const float B[4][4]) const {
  for (int j = 0; j < 4; ++j) {
    for (int i = 0; i < 4; ++i) {
      double sum = 0.0;
      for (int k = 0; k < 4; ++k) sum += double(A[i][k]) * B[k][j];
      R[i][j] = float(sum);
    }
  }
}

void MATRICES::EquateMatrices(float D[4][4], const float S[4][4]) const {
  std::memmove(D, S, 16 * sizeof(float));
}

void MATRICES::InitToIdentity(float M[4][4]) const { set_unit_matrix(M); }

void MATRICES::ExtractRotationMatrix(float R[3][3], const float M[4][4]) const {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) R[i][j] = M[i][j];
  }
}

void MATRICES::MatVecMult3x3(float out[3][1], const float M[3][3], const float v[3][1]) const {
  for (int i = 0; i < 3; ++i) {
    double sum = 0.0;
    for (int k = 0; k < 3; ++k) sum += double(M[i][k]) * v[k][0];
    out[i][0] = float(sum);
  }
}

void MATRICES::TransMatInverse(float D[4][4], const float M[4][4]) const {
  const double t0 = M[0][3];
  const double t1 = M[1][3];
  const double t2 = M[2][3];
  for (int j = 0; j < 4; ++j) D[3][j] = j == 3 ? 1.0f : 0.0f;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) D[i][j] = M[j][i];
  }
  for (int i = 0; i < 3; ++i) {
    // Kept: the rotation is taken as orthonormal without a test, so a scale is not undone.
    // The order of the sum (x, z, y) decides its last bit.
    D[i][3] = float(-(D[i][0] * t0 + D[i][2] * t2 + D[i][1] * t1));
  }
}

void set_unit_matrix(float M[4][4]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) M[i][j] = i == j ? 1.0f : 0.0f;
  }
}
