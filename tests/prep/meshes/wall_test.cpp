#include "trqprep/wall.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/support/canceller.h"
#include "tests/support/meshes.h"
#include "trqprep/hollow.h"

namespace trqprep {
namespace {

Observer observer;  // listens in silence

using test_support::Box;
using test_support::Cube;

// The corners are sqrt(12) from those of the inner cube, the middles of the facets 2 from its faces.
TEST(Wall, OfACubeInACube) {
  const Wall wall = MeasureWall(observer, Cube(10), Cube(6, {2, 2, 2}), 3);
  EXPECT_EQ(wall.points, 8 + 12);
  EXPECT_DOUBLE_EQ(wall.least, 2);
  EXPECT_DOUBLE_EQ(wall.mean, (8 * std::sqrt(12.0) + 12 * 2) / 20);
  EXPECT_DOUBLE_EQ(wall.thin_share, 12.0 / 20);
}

TEST(Wall, IsNotThinWhereItIsAsThickAsAsked) {
  EXPECT_EQ(MeasureWall(observer, Cube(10), Cube(6, {2, 2, 2}), 2).thin_share, 0);
  EXPECT_EQ(MeasureWall(observer, Cube(10), Cube(6, {2, 2, 2}), 4).thin_share, 1);
}

TEST(Wall, IsLeastWhereTheInnerSkinComesNear) {
  // 2 all around, but half a millimetre at the upper end of x.
  const Wall wall = MeasureWall(observer, Cube(10), Box({7.5f, 6, 6}, {2, 2, 2}), 1);
  EXPECT_DOUBLE_EQ(wall.least, 0.5);
  EXPECT_DOUBLE_EQ(wall.place[0], 10);
  EXPECT_DOUBLE_EQ(wall.thin_share, 2.0 / 20);  // the two middles of that face
}

TEST(Wall, IsZeroWhereTheSkinTouchesOrLeavesThePart) {
  EXPECT_NEAR(MeasureWall(observer, Cube(10), Box({8, 6, 6}, {2, 2, 2}), 1).least, 0, 1e-12);
  // The skin is outside by one: the distance says how far, not on which side.
  EXPECT_DOUBLE_EQ(MeasureWall(observer, Cube(10), Box({9, 6, 6}, {2, 2, 2}), 1).least, 1);
}

TEST(Wall, IsMeasuredFromVerticesInUseOnly) {
  std::vector<test_support::Point> vertices = test_support::VerticesOf(Cube(10));
  vertices.push_back({3, 3, 3});
  const CTL outer = test_support::MakeMesh(vertices, test_support::kCubeTriangles);
  EXPECT_EQ(MeasureWall(observer, outer, Cube(6, {2, 2, 2}), 1).points, 20);
}

TEST(Wall, WithoutFacetsIsNothing) {
  EXPECT_EQ(MeasureWall(observer, CTL(), Cube(), 1).points, 0);
  const Wall wall = MeasureWall(observer, Cube(), CTL(), 1);
  EXPECT_EQ(wall.points, 0);
  EXPECT_EQ(wall.mean, 0);
}

// Every facet asks; the pushes of the eight corners do too.
TEST(Wall, CanBeCancelledWhileItIsMeasuredAndMade) {
  EXPECT_EQ(test_support::TimesCancelled([](Observer& cancels) {
              MeasureWall(cancels, Cube(10), Cube(6, {2, 2, 2}), 3);
            }),
            12);
  const int times = test_support::TimesCancelled([](Observer& cancels) {
    InputMesh input;
    input.mesh = std::make_unique<CTL>(Cube(10));
    input.mesh->Calculate_normals();
    Hollowing how;
    how.limit = 1;
    const HollowPart part = HollowMesh(cancels, input, how);
    EXPECT_EQ(part.inner->num_triangles(), 12);
  });
  EXPECT_GE(times, 8 + 12);
}

}  // namespace
}  // namespace trqprep
