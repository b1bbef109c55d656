#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/geometry/literal_mesh.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"
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

TEST(MeasureDifferential, AreaOfATriangleFollowsTheFormulaToTheLastBit) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> coordinate(-50, 50);
  CTL mesh;
  for (int i = 0; i < test_support::Rounds(5000); ++i) {
    Point p[3];
    for (Point& point : p) point = {coordinate(random), coordinate(random), coordinate(random)};
    ASSERT_EQ(mesh.areaX2sq(p[0].data(), p[1].data(), p[2].data()),
              literal::AreaX2sq(p[0].data(), p[1].data(), p[2].data()));
  }
}

TEST(MeasureDifferential, MeshesAddUpTriangleByTriangle) {
  std::mt19937 random(31);
  std::uniform_real_distribution<float> coordinate(-50, 50);
  for (int round = 0; round < test_support::Rounds(60); ++round) {
    std::vector<Point> vertices(4 + random() % 80);
    for (Point& p : vertices) {
      p = {coordinate(random), coordinate(random), coordinate(random)};
      if (random() % 30 == 0) p[random() % 3] = random() % 2 == 0 ? kInfinity : 3e38f;
    }
    std::vector<test_support::Indices> triangles(1 + random() % 300);
    for (auto& triangle : triangles) {
      for (int& index : triangle) index = static_cast<int>(random() % vertices.size());
    }
    // Now and then a corner that stops the normals: NaN, or an index beyond the room's first vertex.
    if (round % 4 == 1) vertices[random() % vertices.size()][random() % 3] = kNaN;
    if (round % 4 == 2) triangles[random() % triangles.size()][random() % 3] = round % 8 == 2 ? -1 : 1000;
    if (round % 4 == 3)
      triangles[random() % triangles.size()][random() % 3] = static_cast<int>(vertices.size());
    CTL mesh = MakeMesh(vertices, triangles);

    const auto at = [&](int index) {
      const std::size_t i = static_cast<std::size_t>(index);
      return index >= 0 && i < vertices.size() ? vertices[i] : Point{0, 0, 0};
    };
    float area = 0;
    double volume = 0;
    bool sound = true;
    std::vector<VECTOR> normals;
    for (const auto& triangle : triangles) {
      const Point p[3] = {at(triangle[0]), at(triangle[1]), at(triangle[2])};
      const double squared = literal::AreaX2sq(p[0].data(), p[1].data(), p[2].data());
      if (squared > 0) area = static_cast<float>(area + std::sqrt(squared));
      volume += literal::VolumeTerm(p[0].data(), p[1].data(), p[2].data());
      for (std::size_t k = 0; k < 3; ++k) {
        sound = sound && triangle[k] >= 0 && triangle[k] <= static_cast<int>(vertices.size());
        for (const float v : p[k]) sound = sound && !std::isnan(v);
      }
      normals.push_back(sound ? literal::Normal(p[0].data(), p[1].data(), p[2].data()) : VECTOR());
    }
    const auto same = [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    ASSERT_TRUE(same(mesh.area(), static_cast<float>(area * 0.5))) << round;
    ASSERT_TRUE(same(mesh.volume(), static_cast<float>(volume * 0.16666667))) << round;
    ASSERT_EQ(mesh.Calculate_normals(), sound ? trq::mesh_io::kDone : trq::mesh_io::kFailed) << round;
    for (std::size_t i = 0; i < normals.size(); ++i) {
      const VECTOR& n = mesh.normals()[i];
      ASSERT_TRUE(same(n.x, normals[i].x) && same(n.y, normals[i].y) && same(n.z, normals[i].z))
          << round << " " << i;
    }
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
