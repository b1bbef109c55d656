#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "tests/geometry/literal_mesh.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"
#include "trq/geometry.h"

namespace {

using test_support::Indices;
using test_support::MakeMesh;
using test_support::Point;
using test_support::TrianglesOf;

std::vector<std::array<int, 4>> Records(const CTL& mesh) {
  std::vector<std::array<int, 4>> records;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const R_INT4& t = mesh.triangles()[i];
    records.push_back({t[0], t[1], t[2], t[3]});
  }
  return records;
}

void ExpectAsLiteral(const CTL& mesh, const char* what) {
  CTL twin = MakeMesh(test_support::VerticesOf(mesh), TrianglesOf(mesh));
  CTL literal = MakeMesh(test_support::VerticesOf(mesh), TrianglesOf(mesh));
  for (int i = 0; i < mesh.num_triangles(); ++i) twin.nth(i)[3] = literal.nth(i)[3] = i;
  twin.z_sort_ascending();
  literal::SortByHeight(literal, true);
  ASSERT_EQ(Records(twin), Records(literal)) << what << " ascending";
  twin.z_sort_descending();
  literal::SortByHeight(literal, false);
  ASSERT_EQ(Records(twin), Records(literal)) << what << " descending";
}

TEST(CtlZSort, BringsTheLowestCornerFirstAndSortsByIt) {
  CTL mesh =
      MakeMesh({{0, 0, 5}, {1, 0, 3}, {0, 1, 9}, {0, 0, 1}, {1, 1, 7}}, {{0, 2, 4}, {2, 0, 1}, {4, 1, 3}});
  for (int i = 0; i < 3; ++i) mesh.nth(i)[3] = i;
  mesh.z_sort_ascending();
  EXPECT_EQ(Records(mesh), (std::vector<std::array<int, 4>>{{3, 4, 1, 2}, {1, 2, 0, 1}, {0, 2, 4, 0}}));
  EXPECT_EQ(mesh.header.sort_state, 1);
}

TEST(CtlZSort, BringsTheHighestCornerFirstDescending) {
  CTL mesh =
      MakeMesh({{0, 0, 5}, {1, 0, 3}, {0, 1, 9}, {0, 0, 1}, {1, 1, 7}}, {{4, 1, 3}, {0, 4, 3}, {0, 1, 2}});
  for (int i = 0; i < 3; ++i) mesh.nth(i)[3] = i;
  mesh.header.sort_state = 1;
  mesh.z_sort_descending();
  const auto records = Records(mesh);
  EXPECT_EQ(records[0], (std::array<int, 4>{2, 0, 1, 2}));
  EXPECT_EQ(mesh.header.sort_state, -1);
  // The two others are equally high; the heap decides, as the differential test below checks.
  EXPECT_TRUE(
      (records[1] == std::array<int, 4>{4, 1, 3, 0} && records[2] == std::array<int, 4>{4, 3, 0, 1}) ||
      (records[2] == std::array<int, 4>{4, 1, 3, 0} && records[1] == std::array<int, 4>{4, 3, 0, 1}));
}

TEST(CtlZSort, AmongEqualCornersTheSecondComesBeforeTheThirdBeforeTheFirst) {
  CTL flat = MakeMesh({{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 1, 2}});
  flat.z_sort_ascending();
  EXPECT_EQ(TrianglesOf(flat), (std::vector<Indices>{{1, 2, 0}}));
  flat.z_sort_descending();
  EXPECT_EQ(TrianglesOf(flat), (std::vector<Indices>{{2, 0, 1}}));
  CTL edge = MakeMesh({{0, 0, 1}, {1, 0, 2}, {0, 1, 1}}, {{0, 1, 2}});
  edge.z_sort_ascending();
  EXPECT_EQ(TrianglesOf(edge), (std::vector<Indices>{{2, 0, 1}}));
}

TEST(CtlZSort, SortedMeshesStayAsTheyAre) {
  CTL mesh = test_support::Cube();
  mesh.header.sort_state = 1;
  const auto before = TrianglesOf(mesh);
  mesh.z_sort_ascending();
  EXPECT_EQ(TrianglesOf(mesh), before);
  mesh.header.sort_state = -1;
  mesh.z_sort_descending();
  EXPECT_EQ(TrianglesOf(mesh), before);
}

TEST(CtlZSort, KeptNormalsStayInTheOldOrder) {
  CTL mesh = MakeMesh({{0, 0, 5}, {1, 0, 5}, {0, 1, 5}, {0, 0, 1}}, {{0, 1, 2}, {0, 3, 1}});
  mesh.Calculate_normals();
  const float z = mesh.normals()[0].z;
  mesh.z_sort_ascending();
  EXPECT_EQ(TrianglesOf(mesh)[0], (Indices{3, 1, 0}));
  EXPECT_EQ(mesh.normals()[0].z, z);
}

TEST(SortDifferential, OrdersAsTheHeapSortOverPointersTiesIncluded) {
  ExpectAsLiteral(test_support::Tetrahedron(), "tetrahedron");
  ExpectAsLiteral(test_support::Cube(), "cube");
  ExpectAsLiteral(test_support::Plate(10, 20), "plate, all equal");
  ExpectAsLiteral(test_support::Sphere(5, 30, 21), "sphere");
  std::mt19937 random(2);
  for (int round = 0; round < test_support::Rounds(30); ++round) {
    std::vector<Point> vertices(3 + random() % 60);
    for (Point& p : vertices) {
      p = {0, 0, static_cast<float>(static_cast<int>(random() % 9) - 4)};
      if (random() % 20 == 0) p[2] = std::numeric_limits<float>::quiet_NaN();
      if (random() % 20 == 0) p[2] = -0.0f;
      if (random() % 20 == 0) p[2] = -std::numeric_limits<float>::infinity();
    }
    std::vector<Indices> triangles(random() % 200);
    for (Indices& t : triangles) {
      for (int& index : t) index = static_cast<int>(random() % vertices.size());
    }
    ExpectAsLiteral(MakeMesh(vertices, triangles), "random");
  }
}

}  // namespace
