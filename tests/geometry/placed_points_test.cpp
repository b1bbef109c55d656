#include "geometry/placed_points.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "tests/support/rounds.h"
#include "trq/slice_contours.h"

namespace {

using trq::detail::PlacedPoints;

// The steps as the interface names them, through slc::MatVecMult.
PbVec3f Literal(float matrix[4][4], int mm_to_inch, float x, float y, float z, float w) {
  float in[4][1] = {{x}, {y}, {z}, {w}};
  float out[4][1];
  for (int k = 0; k < 3 && mm_to_inch == 1; ++k) in[k][0] = static_cast<float>(in[k][0] * 0.03937008);
  slc::MatVecMult(out, matrix, in);
  for (int k = 0; k < 3 && mm_to_inch == 1; ++k) out[k][0] = static_cast<float>(out[k][0] * 25.4);
  return PbVec3f(out[0][0], out[1][0], out[2][0]);
}

TEST(PlacedPointsDifferential, GiveTheBitsOfTheMatrixProduct) {
  std::mt19937 random(4);
  std::uniform_real_distribution<float> number(-100, 100);
  const auto next = [&] { return random() % 8 == 0 ? (random() % 2 == 0 ? 0.0f : -0.0f) : number(random); };
  for (int round = 0; round < test_support::Rounds(5000); ++round) {
    float matrix[4][4];
    for (auto& row : matrix) {
      for (float& v : row) v = next();
    }
    const float x = next(), y = next(), z = next(), w = static_cast<float>(round % 2);
    const int mm_to_inch = static_cast<int>(random() % 3);
    PbVec3f placed(x, y, z);
    PlacedPoints(matrix, mm_to_inch).Place(placed.data(), w, placed.data());
    const PbVec3f literal = Literal(matrix, mm_to_inch, x, y, z, w);
    ASSERT_EQ(std::memcmp(placed.data(), literal.data(), 12), 0) << round;
    // Directions in arrays, where vector code may be at work.
    float coordinates[3][5];
    for (float& c : coordinates[0]) c = x;
    for (float& c : coordinates[1]) c = y;
    for (float& c : coordinates[2]) c = z;
    PlacedPoints(matrix, mm_to_inch).PlaceDirections(coordinates[0], coordinates[1], coordinates[2], 5);
    const PbVec3f direction = Literal(matrix, mm_to_inch, x, y, z, 0);
    for (int i = 0; i < 5; ++i) {
      for (int k = 0; k < 3; ++k)
        ASSERT_EQ(std::memcmp(&coordinates[k][i], direction.data() + k, 4), 0) << round;
    }
  }
}

TEST(PlacedPoints, OnlyOneMeansInches) {
  const float matrix[4][4] = {{1, 0, 0, 1}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  EXPECT_EQ(PlacedPoints(matrix, 1).Point(PbVec3f(0, 0, 0))[0], 25.4f);
  EXPECT_EQ(PlacedPoints(matrix, 0).Point(PbVec3f(0, 0, 0))[0], 1);
  EXPECT_EQ(PlacedPoints(matrix, 2).Point(PbVec3f(0, 0, 0))[0], 1);
}

TEST(PlacedPoints, DirectionsAreNotMoved) {
  const float matrix[4][4] = {{2, 0, 0, 7}, {0, 1, 0, 7}, {0, 0, 1, 7}, {0, 0, 0, 1}};
  float direction[3] = {1, 0, 0};
  PlacedPoints(matrix, 0).Place(direction, 0, direction);
  EXPECT_EQ(direction[0], 2);
}

}  // namespace
