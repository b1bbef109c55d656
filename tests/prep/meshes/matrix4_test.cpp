#include "trqprep/matrix4.h"

#include <gtest/gtest.h>

#include <cmath>

namespace trqprep {
namespace {

void ExpectPoint(const Point& found, const Point& wanted) {
  for (std::size_t i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(found[i], wanted[i]) << i;
}

TEST(Matrix4, QuarterTurnsAreExact) {
  ExpectPoint(Matrix4::Rotation(0, 90).Apply({1, 2, 3}), {1, -3, 2});
  ExpectPoint(Matrix4::Rotation(1, 90).Apply({1, 2, 3}), {3, 2, -1});
  ExpectPoint(Matrix4::Rotation(2, 90).Apply({1, 2, 3}), {-2, 1, 3});
  ExpectPoint(Matrix4::Rotation(2, -270).Apply({1, 2, 3}), {-2, 1, 3});
  ExpectPoint(Matrix4::Rotation(2, 180).Apply({1, 2, 3}), {-1, -2, 3});
  EXPECT_EQ(Matrix4::Rotation(0, 720).m[1][1], 1);
}

TEST(Matrix4, ObliqueTurnsKeepLengthsAndSense) {
  const Matrix4 turn = Matrix4::Rotation(1, 33);
  EXPECT_NEAR(turn.Determinant(), 1, 1e-15);
  const Point p = Matrix4::Rotation(2, 30).Apply({1, 0, 0});
  EXPECT_NEAR(p[0], std::sqrt(3.0) / 2, 1e-15);
  EXPECT_NEAR(p[1], 0.5, 1e-15);
}

TEST(Matrix4, ComposesRightToLeft) {
  const Matrix4 move_then_turn = Compose(Matrix4::Rotation(2, 90), Matrix4::Translation(10, 0, 0));
  ExpectPoint(move_then_turn.Apply({0, 0, 0}), {0, 10, 0});
  const Matrix4 turn_then_move = Compose(Matrix4::Translation(10, 0, 0), Matrix4::Rotation(2, 90));
  ExpectPoint(turn_then_move.Apply({0, 0, 0}), {10, 0, 0});
  EXPECT_EQ(Matrix4::Scaling(-1, 2, 3).Determinant(), -6);
}

TEST(Matrix4, BoxesIgnoreNotANumber) {
  Box box;
  EXPECT_TRUE(box.Empty());
  box.Add(Point{1, 2, 3});
  box.Add(Point{std::nan(""), -2, 5});
  EXPECT_EQ(box.min, (Point{1, -2, 3}));
  EXPECT_EQ(box.max, (Point{1, 2, 5}));
}

}  // namespace
}  // namespace trqprep
