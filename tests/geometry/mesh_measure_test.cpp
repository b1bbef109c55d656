#include "geometry/mesh_measure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/support/meshes.h"
#include "trq/geometry.h"

namespace {

using test_support::Cube;
using test_support::MakeMesh;
using test_support::Point;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

void ExpectVector(const VECTOR& v, float x, float y, float z) {
  EXPECT_EQ(v.x, x);
  EXPECT_EQ(v.y, y);
  EXPECT_EQ(v.z, z);
}

TEST(CtlGetNormal, OfThreeEqualPointsIsZero) {
  CTL mesh;
  ExpectVector(mesh.get_normal({1, 2, 3}, {1, 2, 3}, {1, 2, 3}), 0, 0, 0);
}

TEST(CtlGetNormal, PointsToTheSideThatSeesTheCornersCounterClockwise) {
  CTL mesh;
  ExpectVector(mesh.get_normal({0, 0, 0}, {2, 0, 0}, {0, 2, 0}), 0, 0, 1);
  ExpectVector(mesh.get_normal({0, 2, 0}, {2, 0, 0}, {0, 0, 0}), 0, 0, -1);
  // (3, 4, 0) x (0, 0, 1) = (4, -3, 0), of length 5.
  ExpectVector(mesh.get_normal({3, 4, 0}, {0, 0, 1}, {0, 0, 0}), static_cast<float>(4 / 5.0),
               static_cast<float>(-3 / 5.0), 0);
}

TEST(CtlGetNormal, RoundsPartialProductsToFloat) {
  // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24, which as a float is 1 + 2^-11: the x component cancels to zero. In
  // double it would be 2^-24, and the normal (1, 0, 0).
  const float a = 1 + 0x1p-12f;
  CTL mesh;
  ExpectVector(mesh.get_normal({0, a, 1}, {0, 1 + 0x1p-11f, a}, {0, 0, 0}), 0, 0, 0);
}

TEST(CtlGetNormal, TakesTheLengthInDouble) {
  // Components of 2^-80 have squares of 2^-160, which no float holds.
  const float tiny = 0x1p-40f;
  CTL mesh;
  ExpectVector(mesh.get_normal({tiny, 0, 0}, {0, tiny, 0}, {0, 0, 0}), 0, 0, 1);
}

TEST(CtlCalculateNormals, MakesOneUnitNormalATriangle) {
  CTL mesh = Cube(3);
  EXPECT_EQ(mesh.Calculate_normals(), 0);
  ASSERT_EQ(mesh.normals_.size(), 12u);
  const Point expected[] = {{0, 0, -1}, {0, 0, 1}, {0, -1, 0}, {0, 1, 0}, {-1, 0, 0}, {1, 0, 0}};
  for (std::size_t i = 0; i < 12; ++i) {
    const Point& face = expected[i / 2];
    ExpectVector(mesh.normals()[i], face[0], face[1], face[2]);
  }
}

TEST(CtlCalculateNormals, KeptAnIndexEqualToTheVertexCountPasses) {
  CTL mesh = MakeMesh({{1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});  // vertex 2 is the zeroed room
  EXPECT_EQ(mesh.Calculate_normals(), 0);
  ExpectVector(mesh.normals()[0], 0, 0, 1);
  mesh.nth(0)[2] = 3;
  EXPECT_EQ(mesh.Calculate_normals(), 1);
}

TEST(CtlCalculateNormals, FailureKeepsTheNormalsBeforeIt) {
  for (const int index : {-1, 9, 1000000}) {
    CTL mesh = Cube();
    mesh.nth(1)[2] = index;
    EXPECT_EQ(mesh.Calculate_normals(), 1) << index;
    ASSERT_EQ(mesh.normals_.size(), 12u);
    ExpectVector(mesh.normals()[0], 0, 0, -1);
    for (int i = 1; i < 12; ++i) ExpectVector(mesh.normals()[i], 0, 0, 0);
  }
}

TEST(CtlCalculateNormals, FailsOnNaNInAnyCoordinate) {
  for (int vertex = 0; vertex < 3; ++vertex) {
    for (int axis = 0; axis < 3; ++axis) {
      CTL mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
      mesh.vertices()[vertex][axis] = kNaN;
      EXPECT_EQ(mesh.Calculate_normals(), 1);
    }
  }
}

TEST(CtlCalculateNormals, ReplacesEarlierNormals) {
  CTL mesh = Cube();
  mesh.Calculate_normals();
  mesh.header.num_triangles = 2;
  mesh.nth(0) = R_INT4(4, 5, 7);
  EXPECT_EQ(mesh.Calculate_normals(), 0);
  EXPECT_EQ(mesh.normals_.size(), 2u);
  ExpectVector(mesh.normals()[0], 0, 0, 1);
}

TEST(CtlAreaX2sq, IsFourTimesTheSquaredArea) {
  CTL mesh;
  const float o[] = {0, 0, 0};
  const float a[] = {3, 0, 0};
  const float b[] = {0, 4, 0};
  // 3-4-5 triangle: (2 * 6)^2; the base is each of the three edges in turn.
  EXPECT_FLOAT_EQ(mesh.areaX2sq(o, a, b), 144);
  EXPECT_FLOAT_EQ(mesh.areaX2sq(a, o, b), 144);
  EXPECT_FLOAT_EQ(mesh.areaX2sq(a, b, o), 144);
  CTL cube = Cube(2);
  for (int i = 0; i < 12; ++i) EXPECT_FLOAT_EQ(cube.areaX2sq(i), 16);
  EXPECT_EQ(cube.areaX2sq(-1), 0);
  EXPECT_EQ(cube.areaX2sq(12), 0);
}

TEST(CtlAreaX2sq, OfACollapsedTriangle) {
  CTL mesh;
  const float a[] = {1, 2, 3};
  const float b[] = {4, 2, 3};
  EXPECT_EQ(mesh.areaX2sq(a, a, b), 0);
  EXPECT_EQ(mesh.areaX2sq(b, a, a), 0);
  EXPECT_TRUE(std::isnan(mesh.areaX2sq(a, a, a)));
}

// The formula by its parts: squared edges as floats, the rest in double.
float LiteralAreaX2sq(const Point& p0, const Point& p1, const Point& p2) {
  double e01[3], e02[3], e12[3];
  double sum01 = 0, sum02 = 0, sum12 = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    e01[k] = static_cast<double>(p1[k]) - p0[k];
    e02[k] = static_cast<double>(p2[k]) - p0[k];
    e12[k] = static_cast<double>(p2[k]) - p1[k];
    sum01 += e01[k] * e01[k];
    sum02 += e02[k] * e02[k];
    sum12 += e12[k] * e12[k];
  }
  const float q01 = static_cast<float>(sum01), q02 = static_cast<float>(sum02),
              q12 = static_cast<float>(sum12);
  const double *base = e01, *side = e02;
  float base_sq = q01, side_sq = q02;
  double sign = 1;
  if (!(q01 >= q02 && q01 >= q12)) {
    if (q02 >= q12) {
      base = e02, side = e01, base_sq = q02, side_sq = q01;
    } else {
      base = e12, side = e01, base_sq = q12, side_sq = q01, sign = -1;
    }
  }
  double dot = 0;
  for (int k = 0; k < 3; ++k) dot += sign * side[k] * base[k];
  return static_cast<float>((side_sq - dot * dot / base_sq) * base_sq);
}

TEST(CtlAreaX2sq, FollowsTheFormulaToTheLastBit) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> coordinate(-50, 50);
  CTL mesh;
  for (int i = 0; i < 5000; ++i) {
    Point p[3];
    for (Point& point : p) point = {coordinate(random), coordinate(random), coordinate(random)};
    ASSERT_EQ(mesh.areaX2sq(p[0].data(), p[1].data(), p[2].data()), LiteralAreaX2sq(p[0], p[1], p[2]));
  }
}

TEST(CtlArea, OfACubeIsSixFaces) {
  EXPECT_FLOAT_EQ(Cube(1).area(), 6);
  EXPECT_FLOAT_EQ(test_support::Box({2, 3, 4}).area(), 52);
}

TEST(CtlArea, LeavesOutCollapsedAndNaNTriangles) {
  CTL mesh =
      MakeMesh({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {kNaN, 0, 0}}, {{0, 0, 0}, {0, 1, 2}, {0, 1, 3}, {1, 1, 2}});
  EXPECT_FLOAT_EQ(mesh.area(), 2);
}

TEST(CtlArea, AddsUpInAFloatInTriangleOrder) {
  // Doubled areas 2^24, then 1 and 1: each 1 is lost to the float sum, both together would not be.
  const std::vector<Point> vertices = {{0, 0, 0}, {0x1p12f, 0, 0}, {0, 0x1p12f, 0}, {1, 0, 0}, {0, 1, 0}};
  EXPECT_EQ(MakeMesh(vertices, {{0, 1, 2}, {0, 3, 4}, {0, 3, 4}}).area(), 0x1p23f);
  EXPECT_EQ(MakeMesh(vertices, {{0, 3, 4}, {0, 3, 4}, {0, 1, 2}}).area(), 0x1p23f + 1);
}

TEST(CtlVolume, IsPositiveWithOutwardFacets) {
  EXPECT_FLOAT_EQ(Cube(2, {5, 5, 5}).volume(), 8);
  CTL inward = Cube(2, {5, 5, 5});
  for (int i = 0; i < 12; ++i) std::swap(inward.nth(i)[0], inward.nth(i)[1]);
  EXPECT_FLOAT_EQ(inward.volume(), -8);
  EXPECT_NEAR(test_support::Tetrahedron(3).volume(), 4.5, 1e-6);
}

TEST(CtlVolume, UsesThePrintedSixth) {
  // 5 * 0.16666667 and 5 / 6 round to neighbouring floats.
  CTL mesh = MakeMesh({{5, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}});
  EXPECT_EQ(mesh.volume(), 0x1.aaaaacp-1f);
}

TEST(CtlVolume, AddsUpInDouble) {
  // 2^27, one, minus 2^27: a float sum would lose the one.
  CTL mesh = MakeMesh({{512, 0, 0}, {0, 512, 0}, {0, 0, 512}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                      {{0, 1, 2}, {3, 4, 5}, {1, 0, 2}});
  EXPECT_EQ(mesh.volume(), static_cast<float>(0.16666667));
}

TEST(CtlMeasures, OfASphereApproachTheFormulas) {
  CTL mesh = test_support::Sphere(10, 200, 100);
  EXPECT_EQ(mesh.num_triangles(), 2 * 200 * 99);
  const double pi = std::acos(-1.0);
  EXPECT_NEAR(mesh.volume(), 4.0 / 3 * pi * 1000, 5);
  EXPECT_NEAR(mesh.area(), 4 * pi * 100, 1);
}

TEST(CtlMeasures, InfiniteCoordinatesGiveNoNumberInsteadOfATrap) {
  CTL mesh = MakeMesh({{kInfinity, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}});
  EXPECT_EQ(mesh.Calculate_normals(), 0);
  EXPECT_EQ(mesh.normals()[0].x, 0);  // 1 over an infinite length
  EXPECT_TRUE(std::isnan(mesh.normals()[0].y));
  EXPECT_EQ(mesh.area(), 0);
  EXPECT_FALSE(std::isfinite(mesh.volume()));
}

}  // namespace
