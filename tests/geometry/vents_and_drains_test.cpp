#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/meshes.h"
#include "trq/geometry.h"

namespace {

float unit_matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

std::vector<int> Triangles(const std::vector<trq::VentCandidate>& candidates) {
  std::vector<int> triangles;
  for (const trq::VentCandidate& candidate : candidates) {
    triangles.push_back(candidate.triangle);
    EXPECT_EQ(candidate.selected, 0);
  }
  return triangles;
}

/// One triangle for each normal; the corners do not matter.
CTL MeshOfNormals(const std::vector<VECTOR>& normals) {
  CTL mesh = test_support::MakeMesh(
      {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}},
      std::vector<test_support::Indices>(normals.size(), test_support::Indices{0, 1, 2}));
  mesh.normals_ = trq::MeshArray<VECTOR>(normals.size());
  for (std::size_t i = 0; i < normals.size(); ++i) mesh.normals_[i] = normals[i];
  return mesh;
}

VECTOR TiltedTo(double cosine) {
  return VECTOR(static_cast<float>(std::sqrt(1 - cosine * cosine)), 0, static_cast<float>(cosine));
}

/// Two vents and a drain placed, two candidates of each kind, all flags 5.
CVentsAndDrains Filled() {
  CVentsAndDrains all;
  all.vents.resize(2);
  all.drains.resize(1);
  all.vent_triangles = {{3, 5}, {4, 5}};
  all.drain_triangles = {{7, 5}, {8, 5}};
  for (VentOrDrain& vent : all.vents) vent.selected = 5;
  for (VentOrDrain& drain : all.drains) drain.selected = 5;
  return all;
}

TEST(FindVDTriangles, CubeGivesTopAndBottomInTriangleOrder) {
  CTL cube = test_support::Cube();
  cube.Calculate_normals();
  cube.FindVDTriangles(unit_matrix);
  // The box has its bottom in triangles 0 and 1 and its top in 2 and 3.
  EXPECT_EQ(Triangles(cube.vents_and_drains.vent_triangles), (std::vector<int>{2, 3}));
  EXPECT_EQ(Triangles(cube.vents_and_drains.drain_triangles), (std::vector<int>{0, 1}));
}

TEST(FindVDTriangles, MatrixTurnsTheNormals) {
  CTL cube = test_support::Cube();
  cube.Calculate_normals();
  // A turn about x by 90 degrees takes +y to +z; the translation has no part in it.
  float turn[4][4] = {{1, 0, 0, 9}, {0, 0, -1, 9}, {0, 1, 0, 9}, {0, 0, 0, 1}};
  cube.FindVDTriangles(turn);
  // Triangles 6 and 7 face +y, 4 and 5 face -y.
  EXPECT_EQ(Triangles(cube.vents_and_drains.vent_triangles), (std::vector<int>{6, 7}));
  EXPECT_EQ(Triangles(cube.vents_and_drains.drain_triangles), (std::vector<int>{4, 5}));
}

TEST(FindVDTriangles, CosineDecides) {
  CTL mesh = MeshOfNormals({TiltedTo(0.996), TiltedTo(0.994), TiltedTo(-0.996), TiltedTo(-0.994)});
  mesh.FindVDTriangles(unit_matrix);
  EXPECT_EQ(Triangles(mesh.vents_and_drains.vent_triangles), (std::vector<int>{0}));
  EXPECT_EQ(Triangles(mesh.vents_and_drains.drain_triangles), (std::vector<int>{2}));
}

TEST(FindVDTriangles, LengthOfTheTurnedNormalDoesNotMatter) {
  CTL mesh = MeshOfNormals({VECTOR(0, 0, 1), VECTOR(0, 0, -1)});
  float scale[4][4] = {{0.001f, 0, 0, 0}, {0, 0.001f, 0, 0}, {0, 0, 1000, 0}, {0, 0, 0, 1}};
  mesh.FindVDTriangles(scale);
  EXPECT_EQ(Triangles(mesh.vents_and_drains.vent_triangles), (std::vector<int>{0}));
  EXPECT_EQ(Triangles(mesh.vents_and_drains.drain_triangles), (std::vector<int>{1}));
}

TEST(FindVDTriangles, NormalsWithoutDirectionAreInNeitherList) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  CTL mesh = MeshOfNormals({VECTOR(0, 0, 0), VECTOR(nan, 0, 1), VECTOR(0, 0, nan)});
  mesh.FindVDTriangles(unit_matrix);
  EXPECT_TRUE(mesh.vents_and_drains.vent_triangles.empty());
  EXPECT_TRUE(mesh.vents_and_drains.drain_triangles.empty());
}

TEST(FindVDTriangles, MissingNormalsReadAsZero) {
  CTL cube = test_support::Cube();
  cube.FindVDTriangles(unit_matrix);
  EXPECT_TRUE(cube.vents_and_drains.vent_triangles.empty());
  EXPECT_TRUE(cube.vents_and_drains.drain_triangles.empty());
}

TEST(FindVDTriangles, EmptiesWhatWasThere) {
  CTL cube = test_support::Cube();
  cube.Calculate_normals();
  cube.vents_and_drains = Filled();
  cube.FindVDTriangles(unit_matrix);
  EXPECT_TRUE(cube.vents_and_drains.vents.empty());
  EXPECT_TRUE(cube.vents_and_drains.drains.empty());
  EXPECT_EQ(cube.vents_and_drains.vents.capacity(), 0u);
  EXPECT_EQ(cube.vents_and_drains.vent_triangles.size(), 2u);
  EXPECT_EQ(cube.vents_and_drains.drain_triangles.size(), 2u);
}

TEST(CVentsAndDrains, StartsEmpty) {
  const CVentsAndDrains all;
  EXPECT_TRUE(all.vents.empty() && all.drains.empty());
  EXPECT_TRUE(all.vent_triangles.empty() && all.drain_triangles.empty());
  const VentOrDrain record;
  EXPECT_EQ(record.point[2], 0);
  EXPECT_EQ(record.seventh, 0);
  EXPECT_EQ(record.selected, 0);
}

TEST(CVentsAndDrains, ClearAllKeepsTheCandidates) {
  CVentsAndDrains all = Filled();
  all.ClearAll();
  EXPECT_TRUE(all.vents.empty());
  EXPECT_TRUE(all.drains.empty());
  EXPECT_EQ(all.vents.capacity(), 0u);
  EXPECT_EQ(all.drains.capacity(), 0u);
  ASSERT_EQ(all.vent_triangles.size(), 2u);
  EXPECT_EQ(all.vent_triangles[1].triangle, 4);
  EXPECT_EQ(all.vent_triangles[1].selected, 5);
  ASSERT_EQ(all.drain_triangles.size(), 2u);
  EXPECT_EQ(all.drain_triangles[0].triangle, 7);
}

TEST(CVentsAndDrains, FlagsAreSetKindByKind) {
  CVentsAndDrains all = Filled();
  all.SelectedAllVents();
  EXPECT_EQ(all.vents[0].selected + all.vents[1].selected, 2);
  EXPECT_EQ(all.drains[0].selected, 5);
  all.SelectedAllDrains();
  EXPECT_EQ(all.drains[0].selected, 1);
  all.UnselectedAllVents();
  EXPECT_EQ(all.vents[0].selected + all.vents[1].selected, 0);
  EXPECT_EQ(all.drains[0].selected, 1);
  all.UnselectedAllDrains();
  EXPECT_EQ(all.drains[0].selected, 0);
  EXPECT_EQ(all.vent_triangles[0].selected, 5);
  all.UnselectedAllVentTriangles();
  EXPECT_EQ(all.vent_triangles[0].selected + all.vent_triangles[1].selected, 0);
  EXPECT_EQ(all.drain_triangles[0].selected, 5);
  all.UnselectedAllDrainTriangles();
  EXPECT_EQ(all.drain_triangles[0].selected + all.drain_triangles[1].selected, 0);
}

}  // namespace
