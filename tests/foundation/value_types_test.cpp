#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <type_traits>

#include "trq/foundation.h"

namespace {

template <class T>
void ExpectComponents(const T& v, std::initializer_list<float> expected) {
  int i = 0;
  for (float e : expected) EXPECT_EQ(v[i++], e);
}

TEST(PbVec2f, HoldsXThenY) {
  PbVec2f v(1.5f, -2.0f);
  EXPECT_EQ(v[0], 1.5f);
  EXPECT_EQ(v[1], -2.0f);
  PbVec2f copy;
  copy = v;
  ExpectComponents(copy, {1.5f, -2.0f});
  static_assert(sizeof(PbVec2f) == 8);
}

TEST(PbVec2f, CompoundOperatorsWorkByComponentAndAnswerTheLeftOperand) {
  PbVec2f v(1, 2);
  EXPECT_EQ(&(v += PbVec2f(3, 5)), &v);
  ExpectComponents(v, {4, 7});
  EXPECT_EQ(&(v -= PbVec2f(1, 10)), &v);
  ExpectComponents(v, {3, -3});
  EXPECT_EQ(&(v *= PbVec2f(2, 4)), &v);
  ExpectComponents(v, {6, -12});
  EXPECT_EQ(&(v *= 0.5f), &v);
  ExpectComponents(v, {3, -6});
  EXPECT_EQ(&(v /= 2.0f), &v);
  ExpectComponents(v, {1.5f, -3});
}

TEST(PbVec2f, TakesItsOwnValueAsOperand) {
  PbVec2f v(3, 4);
  v *= v;
  ExpectComponents(v, {9, 16});
}

TEST(PbVec3f, HoldsXYZAndWidensThemExactly) {
  const float values[3] = {0.1f, -2.0f, 3.5f};
  const PbVec3f v(values);
  float x, y, z;
  v.getValue(x, y, z);
  EXPECT_EQ(x, 0.1f);
  EXPECT_EQ(y, -2.0f);
  EXPECT_EQ(z, 3.5f);
  double dx, dy, dz;
  v.getValue(dx, dy, dz);
  EXPECT_EQ(dx, 13421773.0 / 134217728.0);  // the float nearest to 0.1
  EXPECT_EQ(dy, -2.0);
  EXPECT_EQ(dz, 3.5);
}

TEST(PbVec3f, CompoundOperatorsWorkByComponentAndAnswerTheLeftOperand) {
  PbVec3f v(1, 2, 3);
  EXPECT_EQ(&(v += PbVec3f(3, 5, 7)), &v);
  ExpectComponents(v, {4, 7, 10});
  EXPECT_EQ(&(v -= PbVec3f(1, 10, 20)), &v);
  ExpectComponents(v, {3, -3, -10});
  EXPECT_EQ(&(v *= PbVec3f(2, 4, 0.5f)), &v);
  ExpectComponents(v, {6, -12, -5});
  EXPECT_EQ(&(v *= 0.5f), &v);
  ExpectComponents(v, {3, -6, -2.5f});
  EXPECT_EQ(&(v /= 2.0f), &v);
  ExpectComponents(v, {1.5f, -3, -1.25f});
}

// 10/3 is 3.3333333; the neighbouring floats are 13981013/2^22 (below) and 13981014/2^22 (above). The float
// nearest to 1/3 is a little too large, and ten times it lies nearer to the upper one.
TEST(PbVec2f, KeptDividesByMultiplyingWithARoundedReciprocal) {
  PbVec2f plane(10, 10);
  plane /= 3.0f;
  EXPECT_EQ(plane[0], 13981014.0f / 4194304.0f);
  EXPECT_EQ(plane[1], 13981014.0f / 4194304.0f);
  PbVec3f space(10, 10, 10);
  space /= 3.0f;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(space[i], 13981013.0f / 4194304.0f);
}

TEST(PbVec3f, DivisionByZeroFollowsIeee) {
  PbVec3f v(1, -1, 0);
  v /= 0.0f;
  EXPECT_EQ(v[0], std::numeric_limits<float>::infinity());
  EXPECT_EQ(v[1], -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(v[2]));
  PbVec2f w(1, 0);
  w /= 0.0f;
  EXPECT_EQ(w[0], std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(w[1]));
}

TEST(RInt3, ComparesAllThree) {
  const R_INT3 a(1, 2, 3);
  EXPECT_EQ(a == R_INT3(1, 2, 3), 1);
  EXPECT_EQ(a == R_INT3(0, 2, 3), 0);
  EXPECT_EQ(a == R_INT3(1, 0, 3), 0);
  EXPECT_EQ(a == R_INT3(1, 2, 0), 0);
  R_INT3 b(7, 8, 9);
  b[1] = -4;
  EXPECT_EQ(b[0], 7);
  EXPECT_EQ(b[1], -4);
  EXPECT_EQ(b[2], 9);
}

TEST(RInt4, AssignedFromATripleHasZeroInItsFourth) {
  R_INT4 q(1, 2, 3);
  EXPECT_EQ(q[3], 0);
  q[3] = 77;
  q = R_INT3(4, 5, 6);
  EXPECT_EQ(q[0], 4);
  EXPECT_EQ(q[1], 5);
  EXPECT_EQ(q[2], 6);
  EXPECT_EQ(q[3], 0);
}

TEST(RInt4, CopiesAllFour) {
  R_INT4 q(1, 2, 3);
  q[3] = 9;
  R_INT4 r;
  EXPECT_EQ(r[3], 0);
  r = q;
  EXPECT_EQ(r[0], 1);
  EXPECT_EQ(r[3], 9);
}

TEST(Vector, StartsAtZeroAndCopies) {
  VECTOR v;
  EXPECT_EQ(v.x, 0.0f);
  EXPECT_EQ(v.y, 0.0f);
  EXPECT_EQ(v.z, 0.0f);
  v = VECTOR(1, 2, 3);
  EXPECT_EQ(v.z, 3.0f);
}

TEST(VectorLl, IsSevenWordsAndCopiesAllOfThem) {
  VECTOR_LL a;
  EXPECT_EQ(a.first.x, 0.0f);
  EXPECT_EQ(a.second.z, 0.0f);
  a.first = VECTOR(1, 2, 3);
  a.link = 0xDEADBEEFu;
  a.second = VECTOR(4, 5, 6);
  VECTOR_LL b;
  b = a;
  EXPECT_EQ(std::memcmp(&a, &b, 28), 0);
  EXPECT_EQ(sizeof(VECTOR_LL), 28u);
}

TEST(PbVec2fEquality, ADifferenceOfTheToleranceIsUnequalUntilTheToleranceIsRaised) {
  const PbVec2f origin(0, 0), near(0.00001f, 0), near_in_y(0, 0.00001f);
  EXPECT_EQ(origin == near, 0);
  EXPECT_EQ(origin == near_in_y, 0);
  EXPECT_EQ(origin == PbVec2f(0.000009f, -0.000009f), 1);
  const float before = PbVec2f::tolerance;
  EXPECT_EQ(before, 1e-5f);
  PbVec2f::tolerance = 2e-5f;
  EXPECT_EQ(origin == near, 1);
  EXPECT_EQ(origin == near_in_y, 1);
  PbVec2f::tolerance = before;
}

TEST(PbVec2fEquality, TakesTheDifferenceInDouble) {
  // 1 - 2^-25 lies below 1 in double; as a float it would be 1.
  const float before = PbVec2f::tolerance;
  PbVec2f::tolerance = 1.0f;
  EXPECT_EQ(PbVec2f(1.0f, 0) == PbVec2f(1.0f / 33554432.0f, 0), 1);
  EXPECT_EQ(PbVec2f(0, 1.0f) == PbVec2f(0, 1.0f / 33554432.0f), 1);
  EXPECT_EQ(PbVec2f(1.0f, 0) == PbVec2f(0, 0), 0);
  PbVec2f::tolerance = before;
}

TEST(PbVec2fEquality, NaNEqualsNothing) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(PbVec2f(nan, 0) == PbVec2f(nan, 0), 0);
  EXPECT_EQ(PbVec2f(0, nan) == PbVec2f(0, nan), 0);
}

TEST(PbVec2fEquality, EachThreadHasItsOwnTolerance) {
  const float before = PbVec2f::tolerance;
  PbVec2f::tolerance = 1.0f;
  float seen = 0;
  std::thread([&seen] {
    seen = PbVec2f::tolerance;
    PbVec2f::tolerance = 5.0f;
  }).join();
  EXPECT_EQ(seen, 1e-5f);
  EXPECT_EQ(PbVec2f::tolerance, 1.0f);
  PbVec2f::tolerance = before;
}

}  // namespace
