#include "trqprep/simplify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "tests/support/canceller.h"
#include "tests/support/meshes.h"

namespace trqprep {
namespace {

Observer observer;  // listens in silence

using test_support::Indices;
using test_support::MakeMesh;

InputMesh Input(CTL mesh) {
  InputMesh input;
  input.mesh = std::make_unique<CTL>(std::move(mesh));
  return input;
}

// A closed box of whole numbers, every face cut into unit squares; each square has corners of its own where
// `joined` is false.
CTL UnitSquares(int width, int depth, int height, bool joined = true) {
  std::vector<test_support::Point> vertices;
  std::vector<Indices> triangles;
  std::map<test_support::Point, int> numbers;
  const auto vertex = [&](const test_support::Point& point) {
    const auto [found, is_new] = numbers.try_emplace(point, static_cast<int>(vertices.size()));
    if (!is_new && joined) return found->second;
    vertices.push_back(point);
    return static_cast<int>(vertices.size()) - 1;
  };
  const int sizes[3] = {width, depth, height};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
    for (const int side : {0, sizes[axis]}) {
      for (int i = 0; i < sizes[u]; ++i) {
        for (int j = 0; j < sizes[v]; ++j) {
          int corners[4];
          for (int k = 0; k < 4; ++k) {
            test_support::Point point{};
            point[axis] = static_cast<float>(side);
            point[u] = static_cast<float>(i + (k == 1 || k == 2));
            point[v] = static_cast<float>(j + (k >= 2));
            corners[side == 0 ? 3 - k : k] = vertex(point);
          }
          triangles.push_back({corners[0], corners[1], corners[2]});
          triangles.push_back({corners[0], corners[2], corners[3]});
        }
      }
    }
  }
  return MakeMesh(vertices, triangles);
}

// Two plates of one millimetre, one above the other, joined by a pin: every facet of the pin's sides counts.
CTL Hinge() {
  CTL mesh = UnitSquares(20, 10, 1);
  CTL upper = UnitSquares(20, 10, 1), pin = UnitSquares(1, 10, 8);
  upper.translate(0, 0, 9);
  pin.translate(10, 0, 1);
  for (CTL* other : {&upper, &pin}) mesh.combine(other);
  return mesh;
}

TEST(UnitSquares, AreTheBoxesThatTheTestsMean) {
  const ShapeMeasures box = MeasureShape(Input(UnitSquares(4, 3, 2)));
  EXPECT_EQ(box.facets, 2 * 2 * (12 + 8 + 6));
  EXPECT_DOUBLE_EQ(box.volume, 24);
  EXPECT_DOUBLE_EQ(box.area, 52);
  EXPECT_TRUE(box.closed);
  EXPECT_EQ(MeasureShape(Input(UnitSquares(4, 3, 2, false))).open_edges, 52 * 4);
}

TEST(SimplifyMesh, KeepsTheVolumeOfASphereWithinOnePercent) {
  InputMesh input = Input(test_support::Sphere(10, 60, 41));
  const ShapeMeasures before = MeasureShape(input);
  ASSERT_EQ(before.facets, 4800);
  // Slightly less than the ball of 4 / 3 pi r^3.
  ASSERT_NEAR(before.volume, 4188.79, 20);
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 1600));
  const ShapeMeasures after = MeasureShape(input);
  EXPECT_NEAR(after.facets, 1600, 80);
  EXPECT_NEAR(after.volume, before.volume, 0.01 * before.volume);
  EXPECT_TRUE(after.closed);
  EXPECT_EQ(after.open_edges + after.crowded_edges, 0);
}

TEST(SimplifyMesh, CanBeCancelledBetweenRuns) {
  InputMesh input = Input(test_support::Sphere(10, 60, 41));
  const int facets = input.mesh->num_triangles();
  test_support::Canceller at_once(0);
  EXPECT_THROW(SimplifyMesh(at_once, *input.mesh, 1600), Failure);
  EXPECT_EQ(input.mesh->num_triangles(), facets);
}

TEST(SimplifyMesh, LeavesVerticesWhereTheyAre) {
  const CTL sphere = test_support::Sphere(10, 20, 11);
  const std::vector<test_support::Point> vertices = test_support::VerticesOf(sphere);
  const std::set<test_support::Point> known(vertices.begin(), vertices.end());
  InputMesh input = Input(test_support::Sphere(10, 20, 11));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 200));
  const std::vector<test_support::Point> kept = test_support::VerticesOf(*input.mesh);
  EXPECT_LT(kept.size(), vertices.size());
  for (const test_support::Point& vertex : kept) EXPECT_EQ(known.count(vertex), 1u);
}

TEST(SimplifyMesh, BringsFlatFacesToTheirCorners) {
  InputMesh input = Input(UnitSquares(12, 9, 6));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 12));
  const ShapeMeasures after = MeasureShape(input);
  EXPECT_EQ(after.facets, 12);
  EXPECT_EQ(input.mesh->num_vertices(), 8);
  EXPECT_DOUBLE_EQ(after.volume, 12 * 9 * 6);
  EXPECT_DOUBLE_EQ(after.area, 2 * (108 + 72 + 54));
  EXPECT_EQ(after.box.Size(), (Point{12, 9, 6}));
  EXPECT_TRUE(after.closed);
}

// Where the library's own way, which joins all that is near, leaves little of them.
TEST(SimplifyMesh, KeepsThinWalls) {
  InputMesh hinge = Input(Hinge());
  const ShapeMeasures before = MeasureShape(hinge);
  ASSERT_DOUBLE_EQ(before.volume, 20 * 10 * 2 + 10 * 8);
  const int facets = before.facets / 10;
  ASSERT_TRUE(SimplifyMesh(observer, *hinge.mesh, facets));
  const ShapeMeasures after = MeasureShape(hinge);
  EXPECT_NEAR(after.volume, before.volume, 0.01 * before.volume);
  EXPECT_NEAR(after.facets, facets, 0.05 * facets);
  EXPECT_TRUE(after.closed);

  InputMesh joined = Input(Hinge());
  joined.mesh->approximate(facets);
  EXPECT_GT(CompareShapes(before, MeasureShape(joined)).share, 0.1);
}

TEST(SimplifyMesh, JoinsVerticesAtExactlyOnePlaceFirst) {
  InputMesh input = Input(UnitSquares(12, 9, 6, false));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 12));
  EXPECT_EQ(input.mesh->num_vertices(), 8);
  EXPECT_TRUE(MeasureShape(input).closed);
  EXPECT_DOUBLE_EQ(MeasureShape(input).volume, 12 * 9 * 6);
}

TEST(SimplifyMesh, TakesZerosOfBothSignsForOnePlace) {
  std::vector<test_support::Point> vertices = test_support::VerticesOf(UnitSquares(3, 3, 3, false));
  for (std::size_t i = 0; i < vertices.size(); i += 2) {
    for (float& c : vertices[i]) c = c == 0 ? -0.0f : c;
  }
  InputMesh input = Input(MakeMesh(vertices, test_support::TrianglesOf(UnitSquares(3, 3, 3, false))));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 12));
  EXPECT_EQ(input.mesh->num_vertices(), 8);
  EXPECT_TRUE(MeasureShape(input).closed);
}

TEST(SimplifyMesh, KeepsTheBorderOfAnOpenSheet) {
  // 400 facets, of which the border of 40 edges needs at least 38.
  InputMesh sheet = Input(test_support::Plate(20, 10));
  InputMesh same = Input(test_support::Plate(20, 10));
  ASSERT_TRUE(SimplifyMesh(observer, *sheet.mesh, 60));
  const ShapeMeasures after = MeasureShape(sheet);
  EXPECT_EQ(after.open_edges, MeasureShape(same).open_edges);
  EXPECT_NEAR(after.area, 400, 1e-3);
  EXPECT_NEAR(after.facets, 60, 3);
}

TEST(SimplifyMesh, GivesUpTheBorderForTheNumber) {
  InputMesh sheet = Input(test_support::Plate(20, 10));
  ASSERT_TRUE(SimplifyMesh(observer, *sheet.mesh, 2));
  const ShapeMeasures after = MeasureShape(sheet);
  EXPECT_EQ(after.facets, 2);
  EXPECT_EQ(after.open_edges, 4);
  EXPECT_NEAR(after.area, 400, 1e-3);
}

TEST(SimplifyMesh, DoesNotTakeOutASheetThatHasTwoSides) {
  CTL sheet = test_support::Plate(20, 10);
  std::vector<Indices> both = test_support::TrianglesOf(sheet);
  for (std::size_t i = 0, count = both.size(); i < count; ++i) {
    both.push_back({both[i][0], both[i][2], both[i][1]});
  }
  InputMesh input = Input(MakeMesh(test_support::VerticesOf(sheet), both));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 100));
  EXPECT_GT(MeasureShape(input).area, 2 * 300);
}

// Two corners with more facets than the simplifier gets at one: in between they are several.
TEST(SimplifyMesh, ADoubleConeStaysClosed) {
  constexpr int kSides = 12000;
  std::vector<test_support::Point> vertices = {{0, 0, 20}, {0, 0, -20}};
  std::vector<Indices> triangles;
  for (int i = 0; i < kSides; ++i) {
    const double angle = 2 * 3.14159265358979 * i / kSides;
    vertices.push_back({float(40 * std::cos(angle)), float(40 * std::sin(angle)), 0});
    const int here = 2 + i, next = 2 + (i + 1) % kSides;
    triangles.push_back({0, here, next});
    triangles.push_back({1, next, here});
  }
  CTL mesh = MakeMesh(vertices, triangles);
  ASSERT_TRUE(SimplifyMesh(observer, mesh, kSides / 2));
  const ShapeMeasures after = MeasureShape(Input(std::move(mesh)));
  EXPECT_NEAR(after.facets, kSides / 2, kSides / 40);
  EXPECT_TRUE(after.closed);
  EXPECT_EQ(after.crowded_edges, 0);
  // Two cones of height 20 on a circle of radius 40.
  EXPECT_NEAR(after.volume, 2 * 3.14159265358979 * 1600 * 20 / 3, 10);
}

TEST(SimplifyMesh, HasNothingToDoForAsManyFacets) {
  InputMesh cube = Input(test_support::Cube(10));
  for (const int facets : {12, 13, 1000}) EXPECT_FALSE(SimplifyMesh(observer, *cube.mesh, facets));
  EXPECT_EQ(test_support::TrianglesOf(*cube.mesh), test_support::kCubeTriangles);
}

TEST(SimplifyMesh, DropsFacetsOfTwoEqualCorners) {
  std::vector<Indices> triangles = test_support::kCubeTriangles;
  triangles.push_back({0, 0, 1});
  triangles.push_back({3, 5, 3});
  InputMesh input = Input(MakeMesh(test_support::VerticesOf(test_support::Cube(10)), triangles));
  ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 12));
  EXPECT_EQ(test_support::TrianglesOf(*input.mesh), test_support::kCubeTriangles);
}

TEST(SimplifyMesh, KeepsAnAttributeThatAllFacetsHave) {
  for (const bool all : {true, false}) {
    InputMesh input = Input(UnitSquares(4, 4, 4));
    for (int i = 0; i < input.mesh->num_triangles(); ++i) input.mesh->nth(i)[3] = 2;
    if (!all) input.mesh->nth(7)[3] = 1;
    ASSERT_TRUE(SimplifyMesh(observer, *input.mesh, 12));
    for (const int attribute : test_support::AttributesOf(*input.mesh)) EXPECT_EQ(attribute, all ? 2 : 0);
  }
}

TEST(SimplifyMesh, DependsOnNoScale) {
  std::vector<std::vector<Indices>> results;
  for (const int exponent : {0, -60, 110}) {
    CTL sphere = test_support::Sphere(10, 20, 11);
    std::vector<test_support::Point> vertices = test_support::VerticesOf(sphere);
    for (test_support::Point& vertex : vertices) {
      for (float& c : vertex) c = std::ldexp(c, exponent);
    }
    CTL scaled = MakeMesh(vertices, test_support::TrianglesOf(sphere));
    ASSERT_TRUE(SimplifyMesh(observer, scaled, 100));
    results.push_back(test_support::TrianglesOf(scaled));
  }
  EXPECT_EQ(results[0], results[1]);
  EXPECT_EQ(results[0], results[2]);
}

ShapeMeasures Measures(double area, double volume, double size, bool closed) {
  ShapeMeasures measures;
  measures.facets = 100;
  measures.area = area;
  measures.volume = volume;
  measures.box.Add(Point{0, 0, 0});
  measures.box.Add(Point{size, size / 2, 0});
  measures.closed = closed;
  return measures;
}

TEST(CompareShapes, GoesByTheVolumeOfAClosedMesh) {
  const ShapeChange change = CompareShapes(Measures(600, 1000, 10, true), Measures(300, 950, 5, true));
  EXPECT_DOUBLE_EQ(change.share, 0.05);
  EXPECT_STREQ(change.measure, "volume");
  EXPECT_DOUBLE_EQ(CompareShapes(Measures(600, -1000, 10, true), Measures(600, 1000, 10, true)).share, 2);
}

TEST(CompareShapes, GoesByAreaAndBoxOfAnOpenMesh) {
  ShapeChange change = CompareShapes(Measures(200, 5, 20, false), Measures(190, -3, 20, false));
  EXPECT_DOUBLE_EQ(change.share, 0.05);
  EXPECT_STREQ(change.measure, "area");
  change = CompareShapes(Measures(200, 5, 20, false), Measures(198, 5, 18, false));
  EXPECT_DOUBLE_EQ(change.share, 0.1);  // the box is 2 shorter where it was 20 long
  EXPECT_STREQ(change.measure, "box");
}

TEST(CompareShapes, TakesACloseSheetWithoutVolumeForOpen) {
  EXPECT_STREQ(CompareShapes(Measures(200, 1e-8, 20, true), Measures(190, 3e-8, 20, true)).measure, "area");
}

std::vector<std::string> CodesOf(const ShapeMeasures& before, const ShapeMeasures& after, int facets = 100) {
  std::vector<std::string> codes;
  for (const Message& message : CheckSimplified("a.stl", facets, before, after)) {
    codes.push_back(RowOf(message.code).text);
    EXPECT_EQ(message.severity, RowOf(message.code).severity);
    EXPECT_EQ(message.file, "a.stl");
  }
  return codes;
}

TEST(CheckSimplified, SaysWhatWasLost) {
  using Codes = std::vector<std::string>;
  const ShapeMeasures solid = Measures(600, 1000, 10, true);
  EXPECT_EQ(CodesOf(solid, Measures(600, 1000, 10, true)), Codes());
  EXPECT_EQ(CodesOf(solid, Measures(600, 990, 10, true)), Codes());
  EXPECT_EQ(CodesOf(solid, Measures(600, 989, 10, true)), Codes{"SIMPLIFY-SHAPE"});
  EXPECT_EQ(CodesOf(solid, Measures(600, 900, 10, true)), Codes{"SIMPLIFY-SHAPE"});
  EXPECT_EQ(CodesOf(solid, Measures(600, 1101, 10, true)), Codes{"SIMPLIFY-RUINED"});
  EXPECT_EQ(CodesOf(solid, Measures(600, 1000, 10, false)), Codes{"SIMPLIFY-SHAPE"});
  const ShapeMeasures sheet = Measures(600, 1000, 10, false);
  EXPECT_EQ(CodesOf(sheet, Measures(600, 500, 10, false)), Codes());
  EXPECT_EQ(CodesOf(sheet, Measures(590, 500, 10, false)), Codes{"SIMPLIFY-SHAPE"});
  EXPECT_EQ(CodesOf(sheet, Measures(600, 500, 8.9, false)), Codes{"SIMPLIFY-RUINED"});
}

TEST(CheckSimplified, SaysWhenTheNumberWasMissed) {
  const ShapeMeasures hundred = Measures(600, 1000, 10, true);
  for (const int met : {100, 96, 105}) EXPECT_TRUE(CodesOf(hundred, hundred, met).empty()) << met;
  for (const int missed : {95, 106}) {
    EXPECT_EQ(CodesOf(hundred, hundred, missed), std::vector<std::string>{"SIMPLIFY-TARGET"}) << missed;
  }
}

TEST(CheckSimplified, NamesEdgesThatJoinNoMoreTwoFacets) {
  ShapeMeasures before = Measures(600, 1000, 10, true), after = before;
  before.crowded_edges = 1;
  after.crowded_edges = 3;
  const std::vector<Message> messages = CheckSimplified("a.stl", 100, before, after);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].code, Code::kNonManifold);
  EXPECT_EQ(messages[0].text, "3 edges no longer join exactly two facets in opposite directions, 1 before");
  EXPECT_TRUE(CodesOf(after, before).empty());
}

}  // namespace
}  // namespace trqprep
