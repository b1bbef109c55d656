#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "geometry/facet_tree.h"
#include "tests/geometry/literal_shell.h"
#include "tests/support/byte_builder.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/core/shell.h"
#include "trq/geometry.h"

namespace {

using test_support::ByteBuilder;
using test_support::Hex;
using test_support::Indices;
using test_support::kCubeNormals;
using test_support::kCubeTriangles;
using test_support::Point;
using test_support::SetNormals;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

CTL CubeWithNormals() {
  CTL cube = test_support::Cube();
  SetNormals(cube, kCubeNormals);
  return cube;
}

Point ShellVertex(const CTL& mesh, std::size_t i) {
  const PbVec3f& v = mesh.shell_vertices_[i];
  return {v[0], v[1], v[2]};
}

PbVec3f P(float x, float y, float z) { return PbVec3f(x, y, z); }

// What a push of half a unit along the diagonal of a cube's corner amounts to in one coordinate: the
// direction is 1/sqrt(3) rounded to float, its half is exact.
const float kStep = static_cast<float>(1 / std::sqrt(3.0)) * 0.5f;
const float kLow = kStep;                                     // of a corner at 0
const float kHigh = static_cast<float>(1.0 - double{kStep});  // of a corner at 1

// ---- offset_ctl ----

TEST(ShellOffset, CubeIsPushedHalfItsEdgeAlongTheDiagonals) {
  CTL cube = CubeWithNormals();
  cube.offset_limit = 10;
  EXPECT_EQ(cube.offset_ctl(), 0);
  EXPECT_EQ(cube.shell_made, 1);
  ASSERT_EQ(cube.shell_vertices_.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {
    const Point expected = {i & 1 ? kHigh : kLow, i & 2 ? kHigh : kLow, i & 4 ? kHigh : kLow};
    EXPECT_EQ(ShellVertex(cube, i), expected) << i;
  }
  EXPECT_FALSE(cube.push_directions_);
}

TEST(ShellOffset, KeptLongEdgesArePushedByTheLimitAndShortOnesByHalf) {
  const auto pushed_by = [](float limit) {
    CTL cube = CubeWithNormals();
    cube.offset_limit = limit;
    cube.offset_ctl();
    return ShellVertex(cube, 0)[0] * std::sqrt(3.0);
  };
  EXPECT_NEAR(pushed_by(0.999f), 0.999, 1e-6);  // the edge of 1 is longer than the limit
  EXPECT_NEAR(pushed_by(1), 0.5, 1e-6);         // a limit just reached halves
  EXPECT_NEAR(pushed_by(0.2f), 0.2, 1e-6);
}

TEST(ShellOffset, ShortEdgesCountAsATenth) {
  for (const float limit : {0.2f, 100.0f}) {
    CTL box = test_support::Cube(0.05f);
    SetNormals(box, kCubeNormals);
    box.offset_limit = limit;
    box.offset_ctl();
    EXPECT_NEAR(ShellVertex(box, 0)[0], 0.05 / std::sqrt(3.0), 1e-7);
  }
}

TEST(ShellOffset, ShortestEdgeAtTheVertexCounts) {
  CTL box = test_support::Box({10, 4, 7});
  SetNormals(box, kCubeNormals);
  box.offset_limit = 100;
  box.offset_ctl();
  EXPECT_NEAR(ShellVertex(box, 0)[0], 2 / std::sqrt(3.0), 1e-6);
}

TEST(ShellOffset, AnglesWeighTheNormals) {
  // Two facets at vertex 0: a right angle that faces up and half a right angle that faces along -y.
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 1}}, {{0, 1, 2}, {1, 0, 3}});
  SetNormals(mesh, {{0, 0, 1}, {0, -1, 0}});
  mesh.offset_limit = 10;
  mesh.offset_ctl();
  // Direction (0, -1, 2) / sqrt(5), push 0.5.
  EXPECT_NEAR(ShellVertex(mesh, 0)[1], 0.5 / std::sqrt(5.0), 1e-6);
  EXPECT_NEAR(ShellVertex(mesh, 0)[2], -1 / std::sqrt(5.0), 1e-6);
}

TEST(ShellOffset, FacetThatIsMoreThan90DegreesOffGainsWeight) {
  // Three facets with angles of 90 degrees at vertex 0. Two normals are near +z, one is almost against them:
  // weighted alike, the direction is against the third. Weight is added to it until that is no longer so.
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 1, 2}, {0, 1, 2}});
  SetNormals(mesh, {{0, 0, 1}, {0, 0, 1}, {0.8f, 0, -0.6f}});
  mesh.offset_limit = 10;
  mesh.offset_ctl();
  const Point v = ShellVertex(mesh, 0);
  const double x = -v[0] / 0.5, z = -v[2] / 0.5;  // the direction
  EXPECT_GE(0.8 * x - 0.6 * z, -1e-6);
  // The weight w of the third solves 0.8 * 0.8 w - 0.6 * (2 - 0.6 w) >= 0, w >= 1.2, reached in steps of 0.5
  // %.
  const double w = std::pow(1.005, std::ceil(std::log(1.2) / std::log(1.005)));
  EXPECT_NEAR(std::atan2(x, z), std::atan2(0.8 * w, 2 - 0.6 * w), 1e-4);
}

TEST(ShellOffset, ReweightingGivesUpAfter501Rounds) {
  // Two opposite facets of equal weight can never both be within 90 degrees unless the direction is across.
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 1, 2}});
  SetNormals(mesh, {{0, 0, 1}, {0.001f, 0, -1}});
  mesh.offset_limit = 10;
  EXPECT_EQ(mesh.offset_ctl(), 0);
  const Point v = ShellVertex(mesh, 0);
  EXPECT_NEAR(std::sqrt(v[0] * v[0] + v[2] * v[2]), 0.5, 1e-6);  // a unit direction all the same
}

TEST(ShellOffset, VerticesOfNoTriangleStay) {
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {7, -8, 9}}, {{0, 1, 2}});
  SetNormals(mesh, {{0, 0, 1}});
  for (const float limit : {10.0f, kNaN, kInfinity}) {
    mesh.offset_limit = limit;
    mesh.offset_ctl();
    EXPECT_EQ(ShellVertex(mesh, 3), (Point{7, -8, 9}));
  }
}

TEST(ShellOffset, MeshWithoutVerticesIsLeftAlone) {
  CTL mesh;
  EXPECT_EQ(mesh.offset_ctl(), 0);
  EXPECT_EQ(mesh.shell_made, 0);
  EXPECT_FALSE(mesh.shell_vertices_);
}

TEST(ShellOffset, MissingNormalsPushNothing) {
  CTL cube = test_support::Cube();
  cube.offset_limit = 10;
  cube.offset_ctl();
  EXPECT_EQ(ShellVertex(cube, 7), (Point{1, 1, 1}));
}

/// A plate of 10 by 10 and this thickness, each big face a fan around a vertex in its middle (8 below, 9
/// above).
CTL FanPlate(float thickness) {
  const float t = thickness;
  CTL plate = test_support::MakeMesh({{0, 0, 0},
                                      {10, 0, 0},
                                      {0, 10, 0},
                                      {10, 10, 0},
                                      {0, 0, t},
                                      {10, 0, t},
                                      {0, 10, t},
                                      {10, 10, t},
                                      {5, 5, 0},
                                      {5, 5, t}},
                                     {{8, 1, 0},
                                      {8, 3, 1},
                                      {8, 2, 3},
                                      {8, 0, 2},
                                      {9, 4, 5},
                                      {9, 5, 7},
                                      {9, 7, 6},
                                      {9, 6, 4},
                                      {0, 1, 5},
                                      {0, 5, 4},
                                      {2, 6, 7},
                                      {2, 7, 3},
                                      {0, 4, 6},
                                      {0, 6, 2},
                                      {1, 3, 7},
                                      {1, 7, 5}});
  plate.Calculate_normals();
  return plate;
}

TEST(ShellOffset, ValidationHalvesUntilAThinWallIsNotCrossed) {
  CTL plate = FanPlate(0.3f);
  plate.offset_limit = 2;
  plate.offset_ctl();
  EXPECT_FLOAT_EQ(ShellVertex(plate, 9)[2], 0.3f - 2);
  plate.validate_offsets = 1;
  plate.offset_ctl();
  // 2, 1 and 0.5 reach the other face, which is 0.3 away; 0.25 does not.
  EXPECT_FLOAT_EQ(ShellVertex(plate, 9)[2], 0.3f - 0.25f);
  EXPECT_FLOAT_EQ(ShellVertex(plate, 8)[2], 0.25f);
  plate.validate_offsets = 2;  // only 1 asks for it
  plate.offset_ctl();
  EXPECT_FLOAT_EQ(ShellVertex(plate, 8)[2], 2);
}

TEST(ShellOffset, ValidationLooksAsDeepAsTheTestedPointMoves) {
  // A facet facing up at (0, 0, 10) with edges of 2, so that its vertex is pushed down by 1; a flat triangle
  // 0.9 below, which halves the push and moves the tested point to 1.5 below; and a small steep one 1.2
  // below, which lies wholly beyond the first push, while its plane passes the vertex at 0.45.
  CTL mesh = test_support::MakeMesh({{0, 0, 10},
                                     {2, 0, 10},
                                     {0, 2, 10},
                                     {-20, -20, 9.1f},
                                     {20, -20, 9.1f},
                                     {0, 20, 9.1f},
                                     {-0.05f, -0.05f, 8.675f},
                                     {0.05f, -0.05f, 8.925f},
                                     {0, 0.05f, 8.8f}},
                                    {{0, 1, 2}, {3, 4, 5}, {6, 7, 8}});
  SetNormals(mesh, {{0, 0, 1}, {0, 0, 1}, {0, 0, 1}});
  mesh.offset_limit = 5;
  mesh.validate_offsets = 1;
  mesh.offset_ctl();
  EXPECT_FLOAT_EQ(ShellVertex(mesh, 0)[2], 10 - 0.25f);
}

// ---- validate_offset ----

/// Vertex 0 at (0, 0, 10), pushed along -z, in no triangle, and these triangles.
CTL PushTarget(std::vector<Point> corners, const std::vector<Indices>& triangles) {
  corners.insert(corners.begin(), {0, 0, 10});
  CTL mesh = test_support::MakeMesh(corners, triangles);
  mesh.push_directions_ = trq::MeshArray<VECTOR>(corners.size());
  mesh.push_directions_[0] = VECTOR(0, 0, 1);
  return mesh;
}

/// Corners of a triangle around the z axis at this depth below the vertex, tilted by the slope in x.
std::vector<Point> Below(float depth, float slope = 0) {
  const float z = 10 - depth;
  return {{-20, -20, z - 20 * slope}, {20, -20, z + 20 * slope}, {0, 20, z}};
}

TEST(ValidateOffset, HalvesUntilThePlaneIsOutOfReach) {
  CTL shallow = PushTarget(Below(0.3f), {{1, 2, 3}});
  EXPECT_EQ(shallow.validate_offset(0, 1, 1), 0.25f);
  CTL deep = PushTarget(Below(0.9f), {{1, 2, 3}});
  EXPECT_EQ(deep.validate_offset(0, 1, 1), 0.5f);
  CTL beyond = PushTarget(Below(1.1f), {{1, 2, 3}});
  EXPECT_EQ(beyond.validate_offset(0, 1, 1), 1);
  CTL behind = PushTarget(Below(-0.5f), {{1, 2, 3}});
  EXPECT_EQ(behind.validate_offset(0, 1, 1), 1);
}

TEST(ValidateOffset, KeptTestedPointMovesOnAndCarriesOver) {
  // A flat triangle 0.9 below, and a steep one that meets the axis 1.2 below while its plane is nearer than
  // 0.5.
  std::vector<Point> corners = Below(0.9f);
  for (const Point& corner : Below(1.2f, 2.5f)) corners.push_back(corner);
  CTL mesh = PushTarget(corners, {{1, 2, 3}, {4, 5, 6}});
  // The first halves to 0.5 and moves the tested point from 1.0 to 1.5 below, so that the second is met as
  // well.
  EXPECT_EQ(mesh.validate_offset(0, 1, 2), 0.25f);
  // The other way round the steep one is not met from 1.0 below.
  CTL reversed = PushTarget(corners, {{4, 5, 6}, {1, 2, 3}});
  EXPECT_EQ(reversed.validate_offset(0, 1, 2), 0.5f);
  // And with the first triangle alone it is not looked at.
  EXPECT_EQ(mesh.validate_offset(0, 1, 1), 0.5f);
}

TEST(ValidateOffset, TrianglesAtTheVertexAreSkippedByCoordinates) {
  // The same place under another index; the triangle is crossed by pushes of its neighbours only.
  std::vector<Point> corners = Below(0.3f);
  corners.push_back({0, 0, 10});
  CTL mesh = PushTarget(corners, {{1, 2, 4}, {1, 4, 3}, {4, 2, 3}});
  EXPECT_EQ(mesh.validate_offset(0, 1, 3), 1);
  mesh.vertices_[4] = P(0, 0, std::nextafter(10.0f, 11.0f));
  mesh.triangles_[0] = R_INT4(1, 2, 3);
  EXPECT_EQ(mesh.validate_offset(0, 1, 1), 0.25f);
}

TEST(ValidateOffset, OutsideTheMeshTheDistanceComesBack) {
  CTL mesh = PushTarget(Below(0.3f), {{1, 2, 3}});
  EXPECT_EQ(mesh.validate_offset(-1, 1, 1), 1);
  EXPECT_EQ(mesh.validate_offset(4, 1, 1), 1);
  EXPECT_EQ(mesh.validate_offset(0, 1, 0), 1);
  EXPECT_EQ(mesh.validate_offset(0, 1, -1), 1);
  EXPECT_EQ(mesh.validate_offset(0, 1, 2), 1);
}

TEST(ValidateOffset, WithoutDirectionsTheDistanceComesBack) {
  CTL plate = FanPlate(0.3f);
  plate.offset_limit = 2;
  plate.validate_offsets = 1;
  plate.offset_ctl();
  EXPECT_EQ(plate.validate_offset(9, 2, plate.num_triangles()), 2);
}

// ---- tests against one triangle ----

TEST(FindIntnsPoint, SegmentMustReachTheTriangle) {
  CTL mesh;
  const PbVec3f a = P(-1, -1, 0), b = P(1, -1, 0), c = P(0, 1, 0);
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, -1), a, b, c), 1);
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, 0), a, b, c), 1);       // s = 1
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, 0.001f), a, b, c), 0);  // s > 1
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, 2), a, b, c), 0);       // away from it
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(1, 1, 1), a, b, c), 0);       // parallel
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(3, 0, 1), P(3, 0, -1), a, b, c), 0);      // beside it
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, -1), a, c, b), 1);      // from either side
}

TEST(FindIntnsPoint, PlaneMustBeWithinTheDistanceButNotAtTheStart) {
  CTL mesh;
  const PbVec3f a = P(-1, -1, 0), b = P(1, -1, 0), c = P(0, 1, 0);
  EXPECT_EQ(mesh.FindIntnsPoint(1, P(0, 0, 1), P(0, 0, -1), a, b, c), 1);  // a distance just reached
  EXPECT_EQ(mesh.FindIntnsPoint(0.999f, P(0, 0, 1), P(0, 0, -1), a, b, c), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(1, P(0, 0, 0.9e-5f), P(0, 0, -1), a, b, c), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(1, P(0, 0, 1.1e-5f), P(0, 0, -1), a, b, c), 1);
}

TEST(FindIntnsPoint, TrianglesWithoutAreaOrNumbersAreNotCrossed) {
  CTL mesh;
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, -1), P(-1, 0, 0), P(0, 0, 0), P(1, 0, 0)), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, -1), P(kNaN, 0, 0), P(0, 1, 0), P(1, 0, 0)), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, 0, 1), P(0, 0, -1), P(kInfinity, 0, 0), P(0, 1, 0), P(1, -1, 0)), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(5, P(0, kNaN, 1), P(0, 0, -1), P(-1, -1, 0), P(1, -1, 0), P(0, 1, 0)), 0);
  EXPECT_EQ(mesh.FindIntnsPoint(kNaN, P(0, 0, 1), P(0, 0, kNaN), P(-1, -1, 0), P(1, -1, 0), P(0, 1, 0)), 0);
}

int OnRightTriangle(float x, float y, float z) {
  CTL mesh;
  return mesh.PointOnTriangle(VECTOR(x, y, z), P(0, 0, 0), P(4, 0, 0), P(0, 4, 0));
}

TEST(PointOnTriangle, InsideAndOnTheBorderButNotOutside) {
  EXPECT_EQ(OnRightTriangle(1, 1, 0), 1);
  EXPECT_EQ(OnRightTriangle(2, 2, 0), 1);
  EXPECT_EQ(OnRightTriangle(2, 0, 0), 1);
  EXPECT_EQ(OnRightTriangle(0, 2, 0), 1);
  EXPECT_EQ(OnRightTriangle(0, 0, 0), 1);
  EXPECT_EQ(OnRightTriangle(4, 0, 0), 1);
  EXPECT_EQ(OnRightTriangle(2.1f, 2.1f, 0), 0);
  EXPECT_EQ(OnRightTriangle(2, -0.1f, 0), 0);
  EXPECT_EQ(OnRightTriangle(-0.1f, 2, 0), 0);
  EXPECT_EQ(OnRightTriangle(5, 0, 0), 0);
}

TEST(PointOnTriangle, PlaneAndCornersHaveATolerance) {
  EXPECT_EQ(OnRightTriangle(1, 1, 0.9e-4f), 1);
  EXPECT_EQ(OnRightTriangle(1, 1, -0.9e-4f), 1);
  EXPECT_EQ(OnRightTriangle(1, 1, 1.1e-4f), 0);
  EXPECT_EQ(OnRightTriangle(-0.9e-4f, 0, 0), 1);
  EXPECT_EQ(OnRightTriangle(-1.1e-4f, 0, 0), 0);
  EXPECT_EQ(OnRightTriangle(4.00005f, 0, 0), 1);
}

TEST(PointOnTriangle, AnglesHaveATolerance) {
  // Outside the long edge, seen from both right-angled corners: cos(90 degrees + x) = -1e-5 at x = 1e-5.
  EXPECT_EQ(OnRightTriangle(2, -1.9e-5f, 0), 1);
  EXPECT_EQ(OnRightTriangle(2, -2.2e-5f, 0), 0);
}

TEST(PointOnTriangle, NotANumberAndEdgesWithoutLengthAreOutside) {
  CTL mesh;
  EXPECT_EQ(OnRightTriangle(kNaN, 1, 0), 0);
  EXPECT_EQ(OnRightTriangle(1, 1, kNaN), 0);
  EXPECT_EQ(mesh.PointOnTriangle(VECTOR(1, 1, 0), P(0, 0, 0), P(4, 0, 0), P(kNaN, 4, 0)), 0);
  EXPECT_EQ(mesh.PointOnTriangle(VECTOR(1, 0, 0), P(0, 0, 0), P(0, 0, 0), P(4, 0, 0)), 0);
  EXPECT_EQ(mesh.PointOnTriangle(VECTOR(1, 0, 0), P(4, 0, 0), P(4, 0, 0), P(4, 0, 0)), 0);
}

TEST(TetraAnalysis, SignedDistanceFromThePlane) {
  CTL mesh;
  const PbVec3f a = P(0, 0, 1), b = P(3, 0, 1), c = P(0, 5, 1);
  EXPECT_EQ(mesh.tetra_analysis(P(9, 9, 3.5f), a, b, c), 2.5f);
  EXPECT_EQ(mesh.tetra_analysis(P(9, 9, 3.5f), a, c, b), 0);  // behind
  EXPECT_EQ(mesh.tetra_analysis(P(9, 9, 1), a, b, c), 0);
  const PbVec3f low = P(0, 0, 0), right = P(3, 0, 0), up = P(0, 5, 0);
  EXPECT_EQ(mesh.tetra_analysis(P(0, 0, 0.9e-5f), low, right, up), 0);
  EXPECT_FLOAT_EQ(mesh.tetra_analysis(P(0, 0, 1.1e-5f), low, right, up), 1.1e-5f);
  EXPECT_EQ(mesh.tetra_analysis(P(0, 0, 5), low, low, up), 0);  // no plane
}

// ---- files ----

class ShellFiles : public testing::Test {
 protected:
  /// The cube with its shell.
  static CTL ShelledCube() {
    CTL cube = CubeWithNormals();
    cube.offset_limit = 10;
    cube.offset_ctl();
    return cube;
  }
  test_support::TempDir folder_;
  test_support::WorkingDirectory here_{folder_.path()};
};

ByteBuilder StlHead(uint32_t count) {
  ByteBuilder bytes;
  bytes.Text("Kestrabin Shelled STL", 80).U32(count);
  return bytes;
}

void AddTriple(ByteBuilder& bytes, const Point& p) { bytes.F32(p[0]).F32(p[1]).F32(p[2]); }

Point CubeCorner(int i, float low, float high) {
  return {i & 1 ? high : low, i & 2 ? high : low, i & 4 ? high : low};
}

void AddOuterCube(ByteBuilder& bytes) {
  for (std::size_t t = 0; t < 12; ++t) {
    AddTriple(bytes, kCubeNormals[t]);
    for (const int i : kCubeTriangles[t]) AddTriple(bytes, CubeCorner(i, 0, 1));
    bytes.U16(0);
  }
}

TEST_F(ShellFiles, KeptSavingBothSurfacesAnswers1) {
  CTL cube = ShelledCube();
  for (int i = 0; i < 12; ++i) cube.nth(i)[3] = 3;
  EXPECT_EQ(cube.SaveCTLandShellAsSTL(), 1);
  ByteBuilder bytes = StlHead(24);
  AddOuterCube(bytes);
  for (std::size_t t = 0; t < 12; ++t) {
    AddTriple(bytes, {-kCubeNormals[t][0], -kCubeNormals[t][1], -kCubeNormals[t][2]});
    for (std::size_t k = 3; k-- > 0;) AddTriple(bytes, CubeCorner(kCubeTriangles[t][k], kLow, kHigh));
    bytes.U16(0);
  }
  EXPECT_EQ(Hex(folder_.Read("shellstl.stl")), Hex(bytes.bytes()));
}

TEST_F(ShellFiles, KeptSavingTheMeshAloneAnswers1) {
  CTL cube = CubeWithNormals();  // needs no shell
  EXPECT_EQ(cube.SaveCTLasSTL(), 1);
  ByteBuilder bytes = StlHead(12);
  AddOuterCube(bytes);
  EXPECT_EQ(Hex(folder_.Read("shellstl.stl")), Hex(bytes.bytes()));
}

TEST_F(ShellFiles, WithoutAShellNothingIsCreated) {
  CTL cube = CubeWithNormals();
  EXPECT_EQ(cube.SaveCTLandShellAsSTL(), 1);
  EXPECT_EQ(cube.dumpshell(), 1);
  EXPECT_FALSE(folder_.Has("shellstl.stl"));
  EXPECT_FALSE(folder_.Has("ctlshell.txt"));
}

TEST_F(ShellFiles, FilesThatCannotBeCreatedAnswer1) {
  std::filesystem::create_directory(folder_.path() / "shellstl.stl");
  std::filesystem::create_directory(folder_.path() / "ctlshell.txt");
  CTL cube = ShelledCube();
  EXPECT_EQ(cube.SaveCTLandShellAsSTL(), 1);
  EXPECT_EQ(cube.SaveCTLasSTL(), 1);
  EXPECT_EQ(cube.dumpshell(), 1);
}

TEST_F(ShellFiles, ReportListsTheShell) {
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {2, 1, 0}});
  SetNormals(mesh, {{0, 0, 1}, {0.25f, -1, 0.125f}});
  mesh.shell_vertices_ = trq::MeshArray<PbVec3f>(3);
  mesh.shell_vertices_[0] = P(0, 0.5f, -1.25f);
  mesh.shell_vertices_[1] = P(1000000, 2, 3);
  mesh.shell_vertices_[2] = P(4, 5, 6.0000005f);
  EXPECT_EQ(mesh.dumpshell(), 1);
  EXPECT_EQ(folder_.Read("ctlshell.txt"),
            "Number of Triangles : 2\n"
            "OFFSET TRIANGLE 1 \n"
            "Vertex 1 : 0.000000 0.500000 -1.250000 \n"
            "Vertex 2 : 1000000.000000 2.000000 3.000000 \n"
            "Vertex 3 : 4.000000 5.000000 6.000000 \n"
            "Normal   : -0.000000 -0.000000 -1.000000 \n\n"
            "OFFSET TRIANGLE 2 \n"
            "Vertex 1 : 4.000000 5.000000 6.000000 \n"
            "Vertex 2 : 1000000.000000 2.000000 3.000000 \n"
            "Vertex 3 : 0.000000 0.500000 -1.250000 \n"
            "Normal   : -0.250000 1.000000 -0.125000 \n\n"
            "End of offsetted shell file \n");
}

TEST_F(ShellFiles, IndexesOutsideTheShellReadAsTheOrigin) {
  CTL mesh = test_support::MakeMesh({{1, 1, 1}, {2, 1, 1}, {1, 2, 1}}, {{0, 1, 77}, {-3, 1, 2}});
  SetNormals(mesh, {{0, 0, 1}, {0, 0, 1}});
  mesh.offset_limit = 1;
  mesh.validate_offsets = 1;
  mesh.offset_ctl();
  EXPECT_EQ(mesh.SaveCTLandShellAsSTL(), 1);
  EXPECT_EQ(mesh.dumpshell(), 1);
  EXPECT_EQ(folder_.Read("shellstl.stl").size(), 84u + 4 * 50);
  // The third facet is the shell's first, corners reversed: its first corner is the missing one.
  EXPECT_EQ(folder_.Read("shellstl.stl").substr(84 + 100 + 12, 12), std::string(12, '\0'));
}

TEST(MergeShell, DoublesTheMeshWithReversedWinding) {
  CTL cube = CubeWithNormals();
  cube.offset_limit = 10;
  cube.offset_ctl();
  cube.nth(4)[3] = 9;
  cube.extents_valid = 1;
  EXPECT_EQ(cube.MergeShellAndCTLintoCTL(), 0);
  ASSERT_EQ(cube.num_vertices(), 16);
  ASSERT_EQ(cube.num_triangles(), 24);
  const std::vector<Point> vertices = test_support::VerticesOf(cube);
  const std::vector<Indices> triangles = test_support::TrianglesOf(cube);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(vertices[static_cast<std::size_t>(i)], CubeCorner(i, 0, 1));
    EXPECT_EQ(vertices[static_cast<std::size_t>(i) + 8], CubeCorner(i, kLow, kHigh));
  }
  for (std::size_t t = 0; t < 12; ++t) {
    const Indices& outer = kCubeTriangles[t];
    EXPECT_EQ(triangles[t], outer);
    EXPECT_EQ(triangles[t + 12], (Indices{outer[2] + 8, outer[1] + 8, outer[0] + 8}));
  }
  EXPECT_EQ(cube.nth(4)[3], 9);
  EXPECT_EQ(cube.nth(16)[3], 9);
  EXPECT_FALSE(cube.shell_vertices_);
  EXPECT_EQ(cube.extents_valid, 0);
  EXPECT_EQ(cube.normals_.size(), 12u);  // not made anew
  EXPECT_GT(cube.vertices_.size(), 16u);
  float x, y, z;
  cube.get_max(&x, &y, &z);
  EXPECT_EQ(x, 1);
  // Outer cube 1, less the cube of the shell.
  EXPECT_NEAR(cube.volume(), 1 - std::pow(kHigh - kLow, 3), 1e-6);
}

TEST(MergeShell, WithoutAShellNothingChanges) {
  CTL cube = CubeWithNormals();
  EXPECT_EQ(cube.MergeShellAndCTLintoCTL(), 0);
  EXPECT_EQ(cube.num_vertices(), 8);
  EXPECT_EQ(cube.num_triangles(), 12);
  // Nor with a shell that is shorter than the mesh has become since.
  cube.offset_limit = 10;
  cube.offset_ctl();
  CTL other = test_support::Cube();
  cube.combine(&other);
  EXPECT_EQ(cube.MergeShellAndCTLintoCTL(), 0);
  EXPECT_EQ(cube.num_vertices(), 16);
}

// ---- the literal form, for comparing ----

/// Compares the shell of the mesh with the literal form's, bit by bit, and returns how many pushes were
/// shortened.
int ExpectLiteralShell(CTL& mesh, float limit, const std::string& what) {
  mesh.offset_limit = limit;
  mesh.validate_offsets = 1;
  int shortened = 0;
  const std::vector<Point> expected = literal::Shell(mesh).Make(shortened);
  mesh.offset_ctl();
  std::size_t differences = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const Point found = ShellVertex(mesh, i);
    for (std::size_t k = 0; k < 3; ++k) {
      // NaN is NaN whatever its bits.
      if (std::isnan(expected[i][k]) && std::isnan(found[k])) continue;
      if (std::memcmp(&expected[i][k], &found[k], sizeof(float)) != 0) ++differences;
    }
  }
  EXPECT_EQ(differences, 0u) << what << ", limit " << limit;
  return shortened;
}

using Random = std::mt19937;

float Between(Random& random, double low, double high) {
  // Not std::uniform_real_distribution, whose numbers differ between libraries.
  return static_cast<float>(low + (high - low) * (random() / 4294967296.0));
}

int Index(Random& random, std::size_t count) { return static_cast<int>(random() % count); }

/// Triangles of random vertices, as they come.
CTL Soup(Random& random, std::size_t vertex_count, std::size_t triangle_count, double size, Point centre) {
  std::vector<Point> vertices;
  for (std::size_t i = 0; i < vertex_count; ++i) {
    Point p;
    for (std::size_t k = 0; k < 3; ++k) p[k] = centre[k] + Between(random, -size, size);
    vertices.push_back(p);
  }
  std::vector<Indices> triangles;
  for (std::size_t i = 0; i < triangle_count; ++i) {
    triangles.push_back(
        {Index(random, vertex_count), Index(random, vertex_count), Index(random, vertex_count)});
  }
  return test_support::MakeMesh(vertices, triangles);
}

/// A closed wall: two uneven sheets of n by n squares a little apart, facing away from each other, and their
/// rim.
CTL ThinWall(Random& random, int n, double thickness, double unevenness, Point origin) {
  std::vector<Point> vertices;
  for (int side = 0; side < 2; ++side) {
    for (int row = 0; row <= n; ++row) {
      for (int column = 0; column <= n; ++column) {
        vertices.push_back(
            {origin[0] + static_cast<float>(column), origin[1] + static_cast<float>(row),
             origin[2] + static_cast<float>(side * thickness) + Between(random, -unevenness, unevenness)});
      }
    }
  }
  const int up = (n + 1) * (n + 1);
  std::vector<Indices> triangles;
  const auto add_quad = [&](int a, int b, int c, int d) {
    triangles.push_back({a, b, c});
    triangles.push_back({a, c, d});
  };
  for (int row = 0; row < n; ++row) {
    for (int column = 0; column < n; ++column) {
      const int a = row * (n + 1) + column;
      add_quad(a, a + n + 1, a + n + 2, a + 1);
      add_quad(up + a, up + a + 1, up + a + n + 2, up + a + n + 1);
    }
  }
  for (int i = 0; i < n; ++i) {
    add_quad(i, i + 1, up + i + 1, up + i);
    const int far = n * (n + 1) + i;
    add_quad(far + 1, far, up + far, up + far + 1);
    const int left = i * (n + 1);
    add_quad(left + n + 1, left, up + left, up + left + n + 1);
    const int right = left + n;
    add_quad(right, right + n + 1, up + right + n + 1, up + right);
  }
  return test_support::MakeMesh(vertices, triangles);
}

TEST(ShellDifferential, RandomSoupsMatchTheLiteralForm) {
  int shortened = 0;
  for (unsigned seed = 0; seed < 24; ++seed) {
    Random random(seed);
    const double size = std::pow(10.0, static_cast<double>(seed % 6) - 2);
    // Also far from the origin, where a tested point is rounded to coarse floats.
    const float away = seed % 4 == 3 ? static_cast<float>(size * 3e5) : 0;
    CTL mesh = Soup(random, 60 + 20 * (seed % 5), 150, size, {away, -away, away / 3});
    ASSERT_EQ(mesh.Calculate_normals(), 0);
    const double limits[] = {0.05, size * 0.3, size * 3, 1e9};
    shortened +=
        ExpectLiteralShell(mesh, static_cast<float>(limits[seed % 4]), "seed " + std::to_string(seed));
  }
  EXPECT_GT(shortened, 500);
}

TEST(ShellDifferential, ThinWallsMatchTheLiteralForm) {
  int shortened = 0;
  for (unsigned seed = 0; seed < 16; ++seed) {
    Random random(100 + seed);
    const double thickness = seed % 2 ? 0.02 : 0.3;
    const float away = seed % 3 == 2 ? 1000.0f : 0.0f;
    CTL wall = ThinWall(random, 7, thickness, seed % 4 < 2 ? 0 : thickness * 0.6, {away, 0, -away});
    ASSERT_EQ(wall.Calculate_normals(), 0);
    shortened += ExpectLiteralShell(wall, seed % 5 == 0 ? 0.4f : 10, "seed " + std::to_string(seed));
  }
  EXPECT_GT(shortened, 500);
}

TEST(ShellDifferential, SlenderAndFlatTrianglesMatchTheLiteralForm) {
  int shortened = 0;
  for (unsigned seed = 0; seed < 12; ++seed) {
    Random random(200 + seed);
    CTL mesh = Soup(random, 90, 200, 10, {0, 0, 0});
    // Needles along x, near the limits of the tolerances, and triangles in one plane.
    for (int i = 0; i < 90; ++i) {
      PbVec3f& v = mesh.vertices_[static_cast<std::size_t>(i)];
      if (i % 3 == 0) v = PbVec3f(v[0], v[1] * 0.004f, v[2] * 1e-3f);
      if (i % 5 == 0) v[2] = 0;
    }
    ASSERT_EQ(mesh.Calculate_normals(), 0);
    shortened += ExpectLiteralShell(mesh, seed % 2 ? 1 : 30, "seed " + std::to_string(seed));
  }
  EXPECT_GT(shortened, 100);
}

/// Strips beside each other, each two triangles as long as the strips and as wide as one, whose corners lie
/// on a slant, and vertices above and below them that are pushed through them, many near their sides.
CTL Strips(Random& random, float length, float width, float slant, Point origin) {
  constexpr int kStrips = 12;
  std::vector<Point> vertices;
  std::vector<Indices> triangles;
  for (int i = 0; i <= kStrips; ++i) {
    const float y = static_cast<float>(i) * width, x = static_cast<float>(i) * slant;
    const int first = static_cast<int>(vertices.size());
    vertices.push_back({x, y, 0});
    vertices.push_back({x + length, y, 0});
    if (i == kStrips) break;
    triangles.push_back({first, first + 1, first + 3});
    triangles.push_back({first, first + 3, first + 2});
  }
  for (int i = 0; i < 150; ++i) {
    const float height = Between(random, 0.005, 0.2) * (i % 2 ? 1.0f : -1.0f);
    const float side = static_cast<float>(Index(random, kStrips + 1)) * width;
    const double away = std::pow(10.0, Between(random, -6, -1)) * (i % 3 ? 1 : -1);
    const Point at{Between(random, -0.05, 1.05) * length, side + static_cast<float>(away), height};
    const int first = static_cast<int>(vertices.size());
    vertices.push_back(at);
    vertices.push_back({at[0] + 1, at[1], at[2]});
    vertices.push_back({at[0], at[1] + 1, at[2] + Between(random, -0.01, 0.01)});
    triangles.push_back({first, first + (i % 2 ? 1 : 2), first + (i % 2 ? 2 : 1)});
  }
  for (Point& p : vertices) {
    for (std::size_t k = 0; k < 3; ++k) p[k] += origin[k];
  }
  return test_support::MakeMesh(vertices, triangles);
}

TEST(ShellDifferential, LongStripsMatchTheLiteralForm) {
  int shortened = 0;
  for (unsigned seed = 0; seed < 48; ++seed) {
    Random random(400 + seed);
    const float width = seed % 3 == 0 ? 0.5f : seed % 3 == 1 ? 0.02f : 0.001f;
    const float slant = width * static_cast<float>(seed % 4) * (seed % 8 < 4 ? 1.0f : -2.0f);
    const float away = seed % 5 == 4 ? 300.0f : 0.0f;
    CTL strips = Strips(random, seed % 2 ? 200 : 20, width, slant, {away, -away, away});
    ASSERT_EQ(strips.Calculate_normals(), 0);
    shortened += ExpectLiteralShell(strips, seed % 7 == 0 ? 0.3f : 10, "seed " + std::to_string(seed));
  }
  EXPECT_GT(shortened, 500);
}

TEST(ShellOffset, LongFacetsAreLookedAtByFewPushesOnly) {
  // A tube of 720 strips, 1000 long and 0.1 wide.
  constexpr int kSides = 720;
  std::vector<Point> vertices;
  std::vector<Indices> triangles;
  for (int i = 0; i < kSides; ++i) {
    const double angle = 2 * 3.14159265358979 * i / kSides;
    const auto x = static_cast<float>(11.5 * std::cos(angle)), y = static_cast<float>(11.5 * std::sin(angle));
    vertices.push_back({x, y, 0});
    vertices.push_back({x, y, 1000});
    const int a = 2 * i, b = 2 * ((i + 1) % kSides);
    triangles.push_back({a, b, b + 1});
    triangles.push_back({a, b + 1, a + 1});
  }
  CTL tube = test_support::MakeMesh(vertices, triangles);
  ASSERT_EQ(tube.Calculate_normals(), 0);
  EXPECT_EQ(trq::core::OffsetShell(tube.view(), {0.05f, true, 20u * 2 * kSides}).size(), 2u * kSides);
  EXPECT_EQ(trq::core::OffsetShell(tube.view(), {0.05f, true, 2u * 2 * kSides}).size(), 0u);
}

TEST(ShellDifferential, DegenerateMeshesMatchTheLiteralForm) {
  int shortened = 0;
  for (unsigned seed = 0; seed < 16; ++seed) {
    Random random(300 + seed);
    CTL mesh = Soup(random, 70, 160, 5, {0, 0, 0});
    // Coinciding vertices, coordinates that are no numbers or without bounds or huge, indexes outside the
    // mesh.
    const float odd[] = {kNaN, kInfinity, -kInfinity, 3e38f, -3e38f, 1e-40f, -0.0f, 1e15f};
    for (int i = 0; i < 12; ++i) {
      mesh.vertices_[static_cast<std::size_t>(Index(random, 70))] =
          mesh.vertices_[static_cast<std::size_t>(Index(random, 70))];
      if (seed % 2) {
        mesh.vertices_[static_cast<std::size_t>(Index(random, 70))][Index(random, 3)] = odd[Index(random, 8)];
      }
      if (seed % 4 < 2) {
        mesh.nth(Index(random, 160))[Index(random, 3)] = i % 2 ? 70 + i : -i;
      }
    }
    // Normals of their own, since a mesh with NaN gets none.
    mesh.normals_ = trq::MeshArray<VECTOR>(160);
    for (std::size_t i = 0; i < 160; ++i) {
      mesh.normals_[i] = VECTOR(Between(random, -1, 1), Between(random, -1, 1), Between(random, -1, 1));
      if (i % 40 == 7) mesh.normals_[i] = VECTOR(0, 0, 0);
      if (seed % 8 == 7 && i % 50 == 9) mesh.normals_[i].y = kNaN;
    }
    const float limits[] = {2, 1e9f, kInfinity, kNaN, -1, 0};
    shortened += ExpectLiteralShell(mesh, limits[seed % 6], "seed " + std::to_string(seed));
  }
  EXPECT_GT(shortened, 50);
}

TEST(ShellDifferential, ValidateOffsetAgreesWithTheTree) {
  Random random(7);
  CTL wall = ThinWall(random, 6, 0.1, 0.03, {0, 0, 0});
  wall.Calculate_normals();
  wall.offset_limit = 5;
  wall.offset_ctl();
  const std::vector<Point> unchecked = [&] {
    std::vector<Point> all;
    for (std::size_t i = 0; i < wall.shell_vertices_.size(); ++i) all.push_back(ShellVertex(wall, i));
    return all;
  }();
  // The directions, recovered from the unchecked pushes, go through the exported operation.
  wall.push_directions_ = trq::MeshArray<VECTOR>(unchecked.size());
  wall.validate_offsets = 1;
  int shortened = 0;
  for (std::size_t i = 0; i < unchecked.size(); ++i) {
    const PbVec3f& p = wall.vertices_[i];
    const double x = p[0] - unchecked[i][0], y = p[1] - unchecked[i][1], z = p[2] - unchecked[i][2];
    const double length = std::sqrt(x * x + y * y + z * z);
    wall.push_directions_[i] = VECTOR(static_cast<float>(x / length), static_cast<float>(y / length),
                                      static_cast<float>(z / length));
    const float d = static_cast<float>(length);
    if (wall.validate_offset(static_cast<int>(i), d, wall.num_triangles()) < d) ++shortened;
  }
  wall.offset_ctl();
  int shortened_by_tree = 0;
  for (std::size_t i = 0; i < unchecked.size(); ++i) {
    if (ShellVertex(wall, i) != unchecked[i]) ++shortened_by_tree;
  }
  EXPECT_EQ(shortened, shortened_by_tree);
  EXPECT_GT(shortened, 40);
}

// ---- the tree ----

TEST(FacetTree, FindsWhatALoopFindsInAscendingOrder) {
  Random random(1);
  for (const std::size_t count : {0u, 1u, 6u, 7u, 100u, 1000u}) {
    std::vector<trq::detail::Bounds> boxes(count);
    for (trq::detail::Bounds& box : boxes) {
      for (int k = 0; k < 3; ++k) {
        box.low[k] = std::floor(Between(random, 0, 20));
        box.high[k] = box.low[k] + std::floor(Between(random, 0, 3));
      }
    }
    if (count > 10) boxes[5].low[1] = kNaN;
    if (count > 10) boxes[9].high[2] = kInfinity;
    const trq::detail::FacetTree tree(boxes);
    std::vector<uint32_t> found = {77};
    for (int query = 0; query < 50; ++query) {
      trq::detail::Bounds box;
      for (int k = 0; k < 3; ++k) {
        box.low[k] = std::floor(Between(random, -2, 22));
        box.high[k] = box.low[k] + std::floor(Between(random, 0, 8));
      }
      std::vector<uint32_t> expected;
      for (std::size_t i = 0; i < count; ++i) {
        if (count > 10 && (i == 5 || i == 9)) continue;
        bool apart = false;
        for (int k = 0; k < 3; ++k) {
          apart = apart || boxes[i].low[k] > box.high[k] || boxes[i].high[k] < box.low[k];
        }
        if (!apart) expected.push_back(static_cast<uint32_t>(i));
      }
      tree.Find(box, found);
      EXPECT_EQ(found, expected);
    }
  }
}

TEST(FacetTree, ManyBoxesAtOnePlaceStayShallow) {
  const trq::detail::Bounds box = {{0, 0, 0}, {1, 1, 1}};
  const trq::detail::FacetTree tree(std::vector<trq::detail::Bounds>(20000, box));
  std::vector<uint32_t> found;
  tree.Find(box, found);
  ASSERT_EQ(found.size(), 20000u);
  EXPECT_EQ(found[0], 0u);
  EXPECT_EQ(found[19999], 19999u);
  tree.Find({{2, 0, 0}, {3, 1, 1}}, found);
  EXPECT_TRUE(found.empty());
}

}  // namespace
