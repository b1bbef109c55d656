#include <gtest/gtest.h>

#include "trq/foundation.h"

namespace {

void ExpectMatrix(const float (&actual)[4][4], const float (&expected)[4][4]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) EXPECT_EQ(actual[i][j], expected[i][j]) << "row " << i << " column " << j;
  }
}

constexpr float kIdentity[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

TEST(Matrices, MultipliesRowsByColumns) {
  const float move[4][4] = {{1, 0, 0, 1}, {0, 1, 0, 2}, {0, 0, 1, 3}, {0, 0, 0, 1}};
  const float scale[4][4] = {{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 1}};
  float R[4][4];
  MATRICES().matmult(R, move, scale);
  ExpectMatrix(R, {{2, 0, 0, 1}, {0, 3, 0, 2}, {0, 0, 4, 3}, {0, 0, 0, 1}});
  MATRICES().matmult(R, scale, move);
  ExpectMatrix(R, {{2, 0, 0, 2}, {0, 3, 0, 6}, {0, 0, 4, 12}, {0, 0, 0, 1}});
}

TEST(Matrices, SumsProductsInDouble) {
  // 2^24 + 1 - 2^24 is 1 in double and 0 in float.
  const float A[4][4] = {{16777216, 1, -16777216, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}};
  const float B[4][4] = {{1, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}};
  float R[4][4];
  MATRICES().matmult(R, A, B);
  EXPECT_EQ(R[0][0], 1.0f);
  const float M[3][3] = {{16777216, 1, -16777216}, {0, 0, 0}, {0, 0, 0}};
  const float v[3][1] = {{1}, {1}, {1}};
  float out[3][1];
  MATRICES().MatVecMult3x3(out, M, v);
  EXPECT_EQ(out[0][0], 1.0f);
}

TEST(Matrices, CopiesSetsToIdentityAndExtractsTheRotation) {
  const float source[4][4] = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}};
  float D[4][4];
  MATRICES().EquateMatrices(D, source);
  ExpectMatrix(D, source);
  float R[3][3];
  MATRICES().ExtractRotationMatrix(R, D);
  const float expected[3][3] = {{1, 2, 3}, {5, 6, 7}, {9, 10, 11}};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) EXPECT_EQ(R[i][j], expected[i][j]);
  }
  MATRICES().InitToIdentity(D);
  ExpectMatrix(D, kIdentity);
  float E[4][4];
  MATRICES().EquateMatrices(E, source);
  set_unit_matrix(E);
  ExpectMatrix(E, kIdentity);
}

TEST(Matrices, MultipliesAColumnOfThree) {
  const float M[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 10}};
  const float v[3][1] = {{1}, {2}, {3}};
  float out[3][1];
  MATRICES().MatVecMult3x3(out, M, v);
  EXPECT_EQ(out[0][0], 14.0f);
  EXPECT_EQ(out[1][0], 32.0f);
  EXPECT_EQ(out[2][0], 53.0f);
}

TEST(Matrices, InverseOfTheIdentityIsTheIdentity) {
  float D[4][4];
  MATRICES().TransMatInverse(D, kIdentity);
  ExpectMatrix(D, kIdentity);
}

TEST(Matrices, InverseOfATranslationIsItsNegative) {
  const float move[4][4] = {{1, 0, 0, 1.5f}, {0, 1, 0, -2}, {0, 0, 1, 3}, {0, 0, 0, 1}};
  float D[4][4];
  MATRICES().TransMatInverse(D, move);
  ExpectMatrix(D, {{1, 0, 0, -1.5f}, {0, 1, 0, 2}, {0, 0, 1, -3}, {0, 0, 0, 1}});
}

TEST(Matrices, InverseOfARigidMoveTurnsBackAndThenMovesBack) {
  // A quarter turn about z, then (1, 2, 3).
  const float M[4][4] = {{0, -1, 0, 1}, {1, 0, 0, 2}, {0, 0, 1, 3}, {9, 9, 9, 9}};
  float D[4][4];
  MATRICES().TransMatInverse(D, M);
  ExpectMatrix(D, {{0, 1, 0, -2}, {-1, 0, 0, 1}, {0, 0, 1, -3}, {0, 0, 0, 1}});
}

TEST(Matrices, InverseSumsXThenZThenY) {
  // 2^60 - 2^60 + 1 is 1 in this order; in the order x, y, z the 1 would be lost.
  const float big = 1152921504606846976.0f;
  const float M[4][4] = {{1, 0, 0, big}, {1, 0, 0, 1}, {1, 0, 0, -big}, {0, 0, 0, 1}};
  float D[4][4];
  MATRICES().TransMatInverse(D, M);
  EXPECT_EQ(D[0][3], -1.0f);
}

TEST(Matrices, KeptInverseOfAScaleIsWrongWithoutComplaint) {
  const float M[4][4] = {{2, 0, 0, 1}, {0, 2, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}};
  float D[4][4];
  MATRICES().TransMatInverse(D, M);
  ExpectMatrix(D, {{2, 0, 0, -2}, {0, 2, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}});
}

}  // namespace
