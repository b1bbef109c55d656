#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/geometry/stl_builder.h"
#include "tests/support/meshes.h"
#include "trq/core/mesh.h"
#include "trq/core/shell.h"

namespace {

using test_support::BinaryStl;
using test_support::MakeMesh;
using test_support::StlFacet;
using trq::core::AreaAndVolume;
using trq::core::ErrorCode;
using trq::core::MemorySink;
using trq::core::MeshView;
using trq::core::Result;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(CoreMesh, AViewReadsZeroOutside) {
  const PbVec3f vertices[] = {PbVec3f(1, 2, 3)};
  const MeshView mesh(vertices, 1, {});
  EXPECT_EQ(mesh.Vertex(0)[2], 3);
  EXPECT_EQ(mesh.Vertex(1)[2], 0);
  EXPECT_EQ(mesh.Vertex(-1)[0], 0);
  EXPECT_EQ(mesh.Normal(0).x, 0);
}

TEST(CoreMesh, AViewTakesTheSmallerOfCountAndRoom) {
  CTL mesh = test_support::Cube();
  mesh.header.num_triangles = 1000;
  mesh.header.num_vertices = -3;
  EXPECT_EQ(mesh.view().triangles.size(), 12u);
  EXPECT_EQ(mesh.view().vertex_count, 0u);
}

TEST(CoreMesh, TheBoxPassesOverWhatIsNoNumber) {
  const CTL mesh = MakeMesh({{1, kNaN, 3}, {-1, 5, 2}}, {});
  const trq::core::Box box = trq::core::BoxOf(mesh.view());
  EXPECT_EQ(box.min[0], -1);
  EXPECT_EQ(box.max[0], 1);
  EXPECT_EQ(box.min[1], 5);
  EXPECT_EQ(box.max[1], 5);
  EXPECT_EQ(trq::core::BoxOf(MeshView()).min[0], 1e30f);
}

TEST(CoreMesh, NormalsStopAtTheFirstBadTriangle) {
  CTL mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 1, 4}, {0, 2, 1}});
  std::vector<VECTOR> normals(3, VECTOR(9, 9, 9));
  const Result<void> made = trq::core::CalculateNormals(mesh.view(), normals);
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().code, ErrorCode::kBadNumber);
  EXPECT_EQ(made.error().place.item, 1u);
  EXPECT_EQ(normals[0].z, 1);
  EXPECT_EQ(normals[2].z, 0);
  mesh.nth(1)[2] = 2;
  EXPECT_TRUE(trq::core::CalculateNormals(mesh.view(), normals));
  EXPECT_EQ(normals[2].z, -1);
}

TEST(CoreMesh, MeasuresFacets) {
  const CTL mesh = MakeMesh({{0, 0, 0}, {3, 0, 0}, {0, 4, 0}}, {{0, 1, 2}, {1, 1, 2}, {0, 0, 0}});
  EXPECT_DOUBLE_EQ(trq::core::FacetArea(mesh.view(), 0), 6);
  EXPECT_EQ(trq::core::FacetArea(mesh.view(), 1), 0);
  EXPECT_EQ(trq::core::FacetArea(mesh.view(), 2), 0);  // its formula gives no number
  EXPECT_EQ(trq::core::DegenerateFacets(mesh.view()), (std::vector<std::int32_t>{1, 2}));
  EXPECT_FLOAT_EQ(trq::core::Area(mesh.view()), 6);
}

TEST(CoreMesh, MeasuresThroughAMatrixWithoutACopy) {
  const CTL cube = test_support::Cube(10);
  EXPECT_FLOAT_EQ(trq::core::Volume(cube.view()), 1000);
  const float doubled[4][4] = {{2, 0, 0, 7}, {0, 2, 0, 8}, {0, 0, 2, 9}, {0, 0, 0, 1}};
  for (const int mm_to_inch : {0, 1}) {
    const AreaAndVolume placed = trq::core::MeasurePlaced(cube.view(), doubled, mm_to_inch);
    EXPECT_NEAR(placed.area, 2400, 0.01) << mm_to_inch;
    EXPECT_NEAR(placed.volume, 8000, 0.5) << mm_to_inch;
  }
  EXPECT_EQ(cube.vertices()[0][0], 0);
}

TEST(CoreShell, PushesTheCornersOfACubeAlongItsDiagonals) {
  CTL cube = test_support::Cube(10);
  cube.Calculate_normals();
  const trq::MeshArray<PbVec3f> shell = trq::core::OffsetShell(cube.view(), {1, false});
  ASSERT_EQ(shell.size(), 8u);
  for (int i = 0; i < 8; ++i) {
    // One unit along (1, 1, 1) / sqrt(3), inward.
    for (int k = 0; k < 3; ++k) {
      const float outside = cube.vertices()[i][k];
      EXPECT_NEAR(shell[static_cast<std::size_t>(i)][k], outside == 0 ? 0.57735 : 10 - 0.57735, 1e-5);
    }
  }
  MemorySink both, outer;
  trq::core::WriteMeshAndShell(cube.view(), shell, both);
  trq::core::WriteMeshAndShell(cube.view(), {}, outer);
  EXPECT_EQ(both.bytes.size(), 84u + 24 * 50);
  ASSERT_EQ(outer.bytes.size(), 84u + 12 * 50);
  EXPECT_TRUE(std::equal(outer.bytes.begin() + 84, outer.bytes.end(), both.bytes.begin() + 84));
}

TEST(CoreShell, EndsWhenTheTestsDoNotSuffice) {
  CTL cube = test_support::Cube();
  cube.Calculate_normals();
  // Each of eight pushes comes near twelve facets at most, and near those of its own corner at least.
  EXPECT_TRUE(trq::core::OffsetShell(cube.view(), {1, true, 8 * 12}));
  EXPECT_FALSE(trq::core::OffsetShell(cube.view(), {1, true, 8 * 3}));
  EXPECT_TRUE(trq::core::OffsetShell(cube.view(), {1, false, 1}));
}

TEST(CoreShell, EndsWhenItIsStopped) {
  CTL cube = test_support::Cube();
  cube.Calculate_normals();
  int asked = 0;
  EXPECT_FALSE(trq::core::OffsetShell(cube.view(), {1, false}, [&] { return ++asked == 5; }));
  EXPECT_EQ(asked, 5);
  EXPECT_TRUE(trq::core::OffsetShell(cube.view(), {1, false}, [&] { return ++asked == 5 + 9; }));
  EXPECT_EQ(asked, 5 + 8);
}

TEST(CoreShell, RaisesTheTrianglesThatFaceDown) {
  CTL mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 1}});
  mesh.Calculate_normals();
  EXPECT_FALSE(trq::core::FacesDown(mesh.view(), 0));
  EXPECT_TRUE(trq::core::FacesDown(mesh.view(), 1));
  MemorySink sink;
  trq::core::WriteCompensatedStl(mesh.view(), 0.5f, sink);
  const std::vector<StlFacet> expected = {
      {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 0, {0, 0, 1}},
      {{{0, 0, 0.5f}, {0, 1, 0.5f}, {1, 0, 0.5f}}, 0, {0, 0, -1}},
  };
  EXPECT_EQ(std::string(sink.bytes.begin(), sink.bytes.end()), BinaryStl(expected, "Kestrabin STL"));
}

}  // namespace
