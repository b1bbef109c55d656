#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "tests/geometry/literal_mesh.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"
#include "trq/geometry.h"

namespace {

using test_support::AttributesOf;
using test_support::Cube;
using test_support::Indices;
using test_support::MakeMesh;
using test_support::Point;
using test_support::Tetrahedron;
using test_support::TrianglesOf;
using test_support::VerticesOf;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

uint32_t Bits(float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

// ---- truncateVertices

TEST(CtlTruncateVertices, RoundsPositiveCoordinatesToFourDecimals) {
  CTL mesh = MakeMesh({{1.23456f, 1.23454f, 0.00005f}, {0, 0, 0}, {9, 9, 9}}, {{0, 1, 2}});
  mesh.truncateVertices();
  EXPECT_EQ(mesh.vertices()[0][0], 1.2346f);
  EXPECT_EQ(mesh.vertices()[0][1], 1.2345f);
  EXPECT_EQ(mesh.vertices()[2][0], 9);
}

TEST(CtlTruncateVertices, KeptNegativeCoordinatesMoveTowardZeroWithEveryUse) {
  // Worked out by an independent script, one step a use.
  const float steps[] = {-1.2345000505447388f, -1.2344000339508057f, -1.2343000173568726f,
                         -1.2342000007629395f};
  for (std::size_t uses = 1; uses <= 4; ++uses) {
    CTL mesh = MakeMesh({{-1.23456f, 0, 0}, {0, 0, 0}, {0, 0, 0}}, std::vector<Indices>(uses, {0, 1, 2}));
    mesh.truncateVertices();
    EXPECT_EQ(mesh.vertices()[0][0], steps[uses - 1]) << uses;
  }
}

TEST(CtlTruncateVertices, TreatsAVertexOnceForEveryCornerThatNamesIt) {
  CTL mesh = MakeMesh({{-1.23456f, 0, 0}}, {{0, 0, 0}});
  mesh.truncateVertices();
  EXPECT_EQ(mesh.vertices()[0][0], -1.2343000173568726f);
}

TEST(CtlTruncateVertices, LeavesVerticesThatNoTriangleUses) {
  CTL mesh = MakeMesh({{1.23456f, 0, 0}, {1.23456f, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 2, 3}});
  mesh.truncateVertices();
  EXPECT_EQ(mesh.vertices()[0][0], 1.2346f);
  EXPECT_EQ(mesh.vertices()[1][0], 1.23456f);
}

TEST(SnapDifferential, GivesTheBitsOfTheLiteralLoop) {
  std::mt19937 random(9);
  const float special[] = {kNaN,
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           0.0f,
                           -0.0f,
                           -0.00004f,
                           -0.00005f,
                           -0.00006f,
                           -0.0001f,
                           -0.00015f,
                           3e38f,
                           -3e38f,
                           4.6e11f,
                           -4.6e11f,
                           450359.97f,
                           -450359.97f,
                           1e-40f,
                           -1e-40f,
                           838860.75f,
                           -838860.75f};
  for (int round = 0; round < test_support::Rounds(40); ++round) {
    std::vector<Point> vertices(3 + random() % 40);
    for (Point& p : vertices) {
      for (float& c : p) {
        c = random() % 6 == 0 ? special[random() % std::size(special)]
                              : std::ldexp(static_cast<float>(static_cast<int32_t>(random())),
                                           static_cast<int>(random() % 40) - 45);
      }
    }
    std::vector<Indices> triangles(random() % 120);
    for (Indices& t : triangles) {
      for (int& index : t) index = static_cast<int>(random() % vertices.size());
    }
    CTL fast = MakeMesh(vertices, triangles);
    CTL literal = MakeMesh(vertices, triangles);
    fast.truncateVertices();
    literal::Truncate(literal);
    for (int i = 0; i < fast.num_vertices(); ++i) {
      for (int k = 0; k < 3; ++k) {
        const float a = fast.vertices()[i][k], b = literal.vertices()[i][k];
        ASSERT_TRUE(Bits(a) == Bits(b) || (std::isnan(a) && std::isnan(b))) << a << " " << b;
      }
    }
  }
}

TEST(SnapDifferential, GivesTheBitsOfTheLiteralLoopOverManyBlocksAndUses) {
  std::mt19937 random(12);
  std::vector<Point> vertices(1000);
  for (Point& p : vertices) {
    for (float& c : p) c = static_cast<float>(static_cast<int32_t>(random())) * 0x1p-24f;
  }
  std::vector<Indices> triangles;
  for (int i = 0; i < 4000; ++i) {
    // Vertices 0 and 700 are hubs, 900 to 999 are not used.
    triangles.push_back(
        {i % 2 == 0 ? 0 : 700, static_cast<int>(random() % 900), static_cast<int>(random() % 900)});
  }
  CTL fast = MakeMesh(vertices, triangles);
  CTL literal = MakeMesh(vertices, triangles);
  fast.truncateVertices();
  literal::Truncate(literal);
  EXPECT_EQ(VerticesOf(fast), VerticesOf(literal));
}

TEST(SnapDifferential, NegativeMultiplesRiseToZeroAndStayThere) {
  // Within a few steps of zero, and on either side of where the steps are no longer added up.
  std::vector<Point> vertices;
  for (int k = -9; k <= 9; ++k) {
    const float c = static_cast<float>(k * 0.0001);
    vertices.push_back({c, std::nextafter(c, -1.0f), std::nextafter(c, 1.0f)});
  }
  for (int k = -4; k <= 4; ++k) {
    const float c = static_cast<float>(-419.4304 + k * 0.0001);
    vertices.push_back({c, -c, std::nextafter(c, 0.0f)});
  }
  for (int uses = 1; uses <= 12; ++uses) {
    std::vector<Indices> triangles;
    for (int use = 0; use < uses; ++use) {
      for (int i = 0; i < static_cast<int>(vertices.size()); ++i) triangles.push_back({i, -1, -1});
    }
    CTL fast = MakeMesh(vertices, triangles);
    fast.truncateVertices();
    for (std::size_t i = 0; i < vertices.size(); ++i) {
      for (int k = 0; k < 3; ++k) {
        float expected = vertices[i][static_cast<std::size_t>(k)];
        for (int use = 0; use < uses; ++use) expected = literal::Snap(expected);
        ASSERT_EQ(Bits(fast.vertices()[i][k]), Bits(expected))
            << vertices[i][static_cast<std::size_t>(k)] << ", " << uses;
      }
    }
  }
}

TEST(CtlTruncateVertices, SnapsVerticesOfTheRoomThatATriangleNames) {
  CTL mesh;
  test_support::FillMesh(mesh, {{1, 0, 0}}, {{0, 2, 2}}, 3);
  mesh.vertices_[2] = PbVec3f(-1.23456f, 1.23456f, 0);
  mesh.truncateVertices();
  EXPECT_EQ(mesh.vertices_[2][0], -1.2344000339508057f);  // two uses
  EXPECT_EQ(mesh.vertices_[2][1], 1.2346f);
}

// ---- copy

TEST(CtlCopy, FillsAFreshMesh) {
  CTL mesh = Cube(2);
  mesh.nth(5)[3] = 7;
  mesh.SetUnits(1);
  mesh.header.sort_state = 1;
  mesh.name("part");
  mesh.Calculate_normals();
  float x = 0, y = 0, z = 0;
  mesh.get_min(&x, &y, &z);
  CTL copied;
  mesh.copy(&copied);
  EXPECT_EQ(VerticesOf(copied), VerticesOf(mesh));
  EXPECT_EQ(TrianglesOf(copied), TrianglesOf(mesh));
  EXPECT_EQ(AttributesOf(copied), AttributesOf(mesh));
  ASSERT_NE(copied.normals(), nullptr);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(copied.normals()[i].z, mesh.normals()[i].z);
  EXPECT_EQ(copied.header.units, 1);
  EXPECT_NE(copied.vertices(), mesh.vertices());
  // Not copied:
  EXPECT_EQ(copied.units, 0);
  EXPECT_EQ(copied.header.sort_state, 0);
  EXPECT_STREQ(copied.name(), "");
  EXPECT_EQ(copied.extents_valid, 0);
  EXPECT_EQ(copied.max[0], -1e30f);
}

TEST(CtlCopy, WithoutNormalsCopiesToOneWithout) {
  CTL mesh = Cube();
  CTL copied = Tetrahedron();
  copied.Calculate_normals();
  mesh.copy(&copied);
  EXPECT_EQ(copied.normals(), nullptr);
  EXPECT_EQ(copied.num_triangles(), 12);
}

TEST(CtlCopy, OntoItselfOrNowhereDoesNothing) {
  CTL mesh = Cube();
  const PbVec3f* const vertices = mesh.vertices();
  mesh.copy(&mesh);
  mesh.copy(nullptr);
  EXPECT_EQ(mesh.vertices(), vertices);
  EXPECT_EQ(mesh.num_triangles(), 12);
}

// A mesh whose triangle names a vertex of the zeroed room.
CTL MeshWithARoomIndex() {
  CTL mesh;
  test_support::FillMesh(mesh, {{1, 0, 0}, {0, 1, 0}, {5, 5, 5}}, {{0, 1, 6}}, 4);
  return mesh;
}

void ExpectZeroedRoom(const CTL& mesh, std::size_t end) {
  ASSERT_GE(mesh.vertices_.size(), end);
  for (std::size_t i = static_cast<std::size_t>(mesh.num_vertices()); i < end; ++i) {
    for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.vertices_[i][k], 0);
  }
}

TEST(CtlRoom, NewVertexArraysReachAsFarAsTheIndices) {
  CTL mesh = MeshWithARoomIndex();
  CTL copied;
  mesh.copy(&copied);
  ExpectZeroedRoom(copied, 7);
  CTL mirrored;
  COMPONENT_INFO info, mirrored_info;
  mesh.mirror(&mirrored, 0, 0, 0, &info, &mirrored_info);
  ExpectZeroedRoom(mirrored, 7);
  CTL combined = Tetrahedron();
  combined.combine(&mesh);
  EXPECT_EQ(TrianglesOf(combined)[4], (Indices{4, 5, 10}));
  ExpectZeroedRoom(combined, 11);
}

TEST(CtlRoom, AtLeastOneVertexFollowsThoseInUse) {
  CTL mesh;
  test_support::FillMesh(mesh, {{1, 0, 0}, {0, 1, 0}, {5, 5, 5}}, {{0, 1, 2}}, 0);
  CTL copied;
  mesh.copy(&copied);
  ExpectZeroedRoom(copied, 4);
  CTL mirrored;
  COMPONENT_INFO info, mirrored_info;
  mesh.mirror(&mirrored, 3, 0, 0, &info, &mirrored_info);
  ExpectZeroedRoom(mirrored, 4);
  copied.combine(&mesh);
  ExpectZeroedRoom(copied, 7);
}

// ---- combine

TEST(CtlCombine, WithACopyDoublesTheMesh) {
  CTL mesh = Cube();
  for (int i = 0; i < 12; ++i) mesh.nth(i)[3] = i;
  CTL copied;
  mesh.copy(&copied);
  mesh.combine(&copied);
  EXPECT_EQ(mesh.num_vertices(), 16);
  EXPECT_EQ(mesh.num_triangles(), 24);
  EXPECT_EQ(copied.num_triangles(), 12);
  for (int i = 0; i < 12; ++i) {
    for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.nth(i + 12)[k], mesh.nth(i)[k] + 8);
    EXPECT_EQ(mesh.nth(i + 12)[3], i);
  }
  for (int i = 0; i < 8; ++i) {
    for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.vertices()[i + 8][k], mesh.vertices()[i][k]);
  }
}

TEST(CtlCombine, TakesTheOthersUnitsAndLeavesTheNormals) {
  CTL mesh = Cube();
  mesh.SetUnits(0);
  mesh.Calculate_normals();
  float x = 0, y = 0, z = 0;
  mesh.get_min(&x, &y, &z);
  mesh.header.sort_state = 1;
  CTL other = Tetrahedron();
  other.SetUnits(1);
  mesh.combine(&other);
  EXPECT_EQ(mesh.header.units, 1);
  EXPECT_EQ(mesh.units, 0);
  EXPECT_EQ(mesh.extents_valid, 0);
  EXPECT_EQ(mesh.normals_.size(), 12u);
  EXPECT_EQ(mesh.header.sort_state, 1);
  EXPECT_EQ(mesh.num_vertices(), 12);
  EXPECT_EQ(mesh.num_triangles(), 16);
}

TEST(CtlCombine, WithItselfDoublesIt) {
  CTL mesh = Tetrahedron();
  mesh.combine(&mesh);
  EXPECT_EQ(VerticesOf(mesh),
            (std::vector<Point>{
                {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
  EXPECT_EQ(TrianglesOf(mesh),
            (std::vector<Indices>{
                {0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}, {4, 6, 5}, {4, 5, 7}, {4, 7, 6}, {5, 6, 7}}));
}

TEST(CtlCombine, OntoAnEmptyMeshOrWithNone) {
  CTL mesh;
  CTL other = Tetrahedron();
  mesh.combine(&other);
  EXPECT_EQ(VerticesOf(mesh), VerticesOf(other));
  EXPECT_EQ(TrianglesOf(mesh), TrianglesOf(other));
  mesh.combine(nullptr);
  CTL empty;
  mesh.combine(&empty);
  EXPECT_EQ(mesh.num_triangles(), 4);
}

TEST(CtlCombine, AppendingManyTimesMovesTheArraysOnlyNowAndThen) {
  CTL mesh = Tetrahedron();
  CTL other = Tetrahedron();
  int moves = 0;
  for (int i = 0; i < 2000; ++i) {
    const R_INT4* const before = mesh.triangles();
    mesh.combine(&other);
    if (mesh.triangles() != before) ++moves;
  }
  EXPECT_EQ(mesh.num_triangles(), 4 * 2001);
  EXPECT_LT(moves, 40);
}

// ---- applyMatrix

struct Rows {
  explicit Rows(const std::array<Point, 4>& values) : rows(values) {
    for (std::size_t i = 0; i < 4; ++i) pointers[i] = rows[i].data();
  }
  std::array<Point, 4> rows;
  float* pointers[4];
};

TEST(CtlApplyMatrix, UnitLeavesAndTranslationMoves) {
  CTL mesh = Tetrahedron(2, {1, 1, 1});
  const std::vector<Point> before = VerticesOf(mesh);
  mesh.applyMatrix(Rows({{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}}}).pointers);
  EXPECT_EQ(VerticesOf(mesh), before);
  mesh.applyMatrix(Rows({{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 2, 3}}}).pointers);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(VerticesOf(mesh)[i], (Point{before[i][0] + 1, before[i][1] + 2, before[i][2] + 3}));
  }
  mesh.applyMatrix(nullptr);
}

TEST(CtlApplyMatrix, KeptUsesCoordinatesAlreadyReplaced) {
  CTL mesh = MakeMesh({{1, 2, 3}}, {});
  mesh.applyMatrix(Rows({{{0, 1, 0}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}}}).pointers);
  EXPECT_EQ(VerticesOf(mesh)[0], (Point{2, 2, 3}));
  // x = 1*1 + 10*2 + 100*3 + 1000 = 1321; y = 2*1321 + 20*2 + 200*3 + 2000 = 5282;
  // z = 3*1321 + 30*5282 + 300*3 + 3000 = 166323.
  CTL full = MakeMesh({{1, 2, 3}}, {});
  full.applyMatrix(Rows({{{1, 2, 3}, {10, 20, 30}, {100, 200, 300}, {1000, 2000, 3000}}}).pointers);
  EXPECT_EQ(VerticesOf(full)[0], (Point{1321, 5282, 166323}));
}

TEST(CtlApplyMatrix, MakesOnlyTheBoxStale) {
  CTL mesh = Cube();
  mesh.Calculate_normals();
  mesh.header.sort_state = -1;
  float x = 0, y = 0, z = 0;
  mesh.get_min(&x, &y, &z);
  mesh.applyMatrix(Rows({{{2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {0, 0, 0}}}).pointers);
  EXPECT_EQ(mesh.extents_valid, 0);
  EXPECT_EQ(mesh.max[0], 1);
  EXPECT_EQ(mesh.header.sort_state, -1);
  EXPECT_EQ(mesh.normals()[0].z, -1);
}

// ---- mirror

COMPONENT_INFO InfoWith(int triangles) {
  COMPONENT_INFO info;
  for (int k = 1; k <= 6; ++k) info.word(k) = 1000 + k;
  info.word(2) = triangles;
  for (int i = 16; i < 30; ++i) info.placement()[i] = static_cast<float>(i);
  return info;
}

TEST(CtlMirror, MapsHeightsToThePlaneTermMinusZ) {
  // K = 2 * R[24] + offset + R[27] = 48 + 0.5 + 27 = 75.5.
  CTL mesh = Tetrahedron();
  mesh.SetUnits(1);
  COMPONENT_INFO info = InfoWith(3);
  COMPONENT_INFO mirrored_info;
  CTL mirrored;
  mesh.mirror(&mirrored, 0, 0, 0.5f, &info, &mirrored_info);
  EXPECT_EQ(VerticesOf(mirrored),
            (std::vector<Point>{{0, 0, 75.5}, {1, 0, 75.5}, {0, 1, 75.5}, {0, 0, 74.5}}));
  // The first three facets are wound the other way.
  EXPECT_EQ(TrianglesOf(mirrored), (std::vector<Indices>{{2, 0, 1}, {1, 0, 3}, {3, 0, 2}, {1, 2, 3}}));
  EXPECT_EQ(mirrored.header.units, 1);
  ASSERT_NE(mirrored.normals(), nullptr);
  EXPECT_EQ(mirrored.normals()[0].z, 1);  // the bottom is the top now
  EXPECT_EQ(TrianglesOf(mesh)[0], (Indices{0, 2, 1}));
}

TEST(CtlMirror, FillsTheRecord) {
  CTL mesh = Tetrahedron();
  COMPONENT_INFO info = InfoWith(4);
  COMPONENT_INFO mirrored_info;
  mirrored_info.word(1) = 7;
  mirrored_info.word(6) = 7;
  mirrored_info.placement()[3] = 9;
  CTL mirrored;
  mesh.mirror(&mirrored, 1, 0, 0.5f, &info, &mirrored_info);
  EXPECT_EQ(mirrored_info.word(1), 7);
  EXPECT_EQ(mirrored_info.word(2), 4);
  for (int k = 3; k <= 5; ++k) EXPECT_EQ(mirrored_info.word(k), 1000 + k);
  EXPECT_EQ(mirrored_info.word(6), 0);
  // s = 0.5 + R[26] = 26.5 goes to the y of the three points.
  const float expected[] = {16, 43.5, 18, 19, 46.5, 21, 22, 49.5, 24, 25, 26, 27, 28, 29};
  for (int i = 16; i < 30; ++i) EXPECT_EQ(mirrored_info.placement()[i], expected[i - 16]) << i;
  EXPECT_EQ(mirrored_info.placement()[3], 9);  // the matrix is the caller's
  EXPECT_EQ(mirrored_info.placement()[0], 1);
  EXPECT_EQ(info.word(6), 1006);
}

TEST(CtlMirror, EachAxisMirrorsItsCoordinate) {
  // K for x: 2 * 22 + 25 = 69; for y: 2 * 23 + 26 = 72.
  CTL mesh = MakeMesh({{1, 2, 3}}, {});
  COMPONENT_INFO info = InfoWith(0);
  COMPONENT_INFO mirrored_info;
  CTL mirrored;
  mesh.mirror(&mirrored, 1, 0, 0, &info, &mirrored_info);
  EXPECT_EQ(VerticesOf(mirrored)[0], (Point{1, 70, 3}));
  mesh.mirror(&mirrored, 2, 0, 0, &info, &mirrored_info);
  EXPECT_EQ(VerticesOf(mirrored)[0], (Point{68, 2, 3}));
}

TEST(CtlMirror, PlacesBeforeItMirrors) {
  CTL mesh = MakeMesh({{1, 2, 3}}, {});
  COMPONENT_INFO info;
  const float matrix[] = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30, 0, 0, 0, 1};
  for (int i = 0; i < 16; ++i) info.placement()[i] = matrix[i];
  COMPONENT_INFO mirrored_info;
  CTL mirrored;
  mesh.mirror(&mirrored, 0, 0, 0, &info, &mirrored_info);
  EXPECT_EQ(VerticesOf(mirrored)[0], (Point{8, 21, -33}));
  mesh.mirror(&mirrored, 0, 1, 0, &info, &mirrored_info);  // the translation counts in inches now
  EXPECT_EQ(VerticesOf(mirrored)[0], (Point{252, 509, -765}));
}

TEST(CtlMirror, AnyOtherAxisCopiesVerticesAndPoints) {
  for (const int axis : {-1, 3, INT_MIN, INT_MAX}) {
    CTL mesh = Tetrahedron();
    COMPONENT_INFO info = InfoWith(1);
    info.placement()[3] = 100;  // the matrix is not applied
    COMPONENT_INFO mirrored_info;
    CTL mirrored;
    mesh.mirror(&mirrored, axis, 0, 5, &info, &mirrored_info);
    EXPECT_EQ(VerticesOf(mirrored), VerticesOf(mesh));
    EXPECT_EQ(TrianglesOf(mirrored)[0], (Indices{2, 0, 1}));
    EXPECT_EQ(TrianglesOf(mirrored)[1], TrianglesOf(mesh)[1]);
    for (int i = 16; i < 30; ++i) EXPECT_EQ(mirrored_info.placement()[i], static_cast<float>(i));
  }
}

TEST(CtlMirror, WordTwoIsHeldToTheTriangles) {
  for (const int word : {INT_MIN, -1, 0, 4, 5, INT_MAX}) {
    CTL mesh = Tetrahedron();
    COMPONENT_INFO info = InfoWith(word);
    COMPONENT_INFO mirrored_info;
    CTL mirrored;
    mesh.mirror(&mirrored, 0, 0, 0, &info, &mirrored_info);
    const bool turned = word >= 1;
    EXPECT_EQ(TrianglesOf(mirrored)[3], (turned ? Indices{2, 1, 3} : Indices{1, 2, 3})) << word;
    EXPECT_EQ(mirrored_info.word(2), word);
  }
}

TEST(CtlMirror, OfAClosedMeshKeepsItsVolume) {
  CTL mesh = test_support::Sphere(3, 20, 10, {1, 2, 3});
  COMPONENT_INFO info = InfoWith(mesh.num_triangles());
  for (const int axis : {0, 1, 2}) {
    COMPONENT_INFO mirrored_info;
    CTL mirrored;
    mesh.mirror(&mirrored, axis, 0, 1, &info, &mirrored_info);
    EXPECT_NEAR(mirrored.volume(), mesh.volume(), 1e-2);
  }
}

TEST(CtlMirror, OntoItselfReadsEverythingFirst) {
  CTL mesh = Tetrahedron();
  CTL twin = Tetrahedron();
  COMPONENT_INFO info = InfoWith(4);
  COMPONENT_INFO twin_info = InfoWith(4);
  CTL expected;
  COMPONENT_INFO expected_info = InfoWith(4);
  twin.mirror(&expected, 2, 0, 1, &twin_info, &expected_info);
  mesh.mirror(&mesh, 2, 0, 1, &info, &info);
  EXPECT_EQ(VerticesOf(mesh), VerticesOf(expected));
  EXPECT_EQ(TrianglesOf(mesh), TrianglesOf(expected));
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(info.word(k), expected_info.word(k));
  for (int i = 0; i < 30; ++i) EXPECT_EQ(info.placement()[i], expected_info.placement()[i]) << i;
}

TEST(CtlMirror, WithoutDestinationOrRecordDoesNothing) {
  CTL mesh = Tetrahedron();
  CTL mirrored;
  COMPONENT_INFO info = InfoWith(4);
  COMPONENT_INFO mirrored_info;
  mesh.mirror(&mirrored, 0, 0, 0, nullptr, &mirrored_info);
  mesh.mirror(&mirrored, 0, 0, 0, &info, nullptr);
  mesh.mirror(nullptr, 0, 0, 0, &info, &mirrored_info);
  EXPECT_EQ(mirrored.num_vertices(), 0);
  EXPECT_EQ(mirrored_info.word(3), 0);
}

}  // namespace
