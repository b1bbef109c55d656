/// Repairs of meshes made by hand: each step by itself, what stays, and that a second repair finds nothing to
/// do.
#include "trqprep/mesh_repair.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "tests/support/canceller.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"

namespace trqprep {
namespace {

Observer observer;  // listens in silence

using test_support::Indices;
using test_support::TrianglesOf;
using test_support::VerticesOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Vertex = test_support::Point;

struct Shape {
  std::vector<Vertex> vertices;
  std::vector<Indices> triangles;
};

Shape ShapeOf(const CTL& mesh) { return {VerticesOf(mesh), TrianglesOf(mesh)}; }
Shape BoxShape(const Vertex& low, const Vertex& high) {
  return ShapeOf(test_support::Box({high[0] - low[0], high[1] - low[1], high[2] - low[2]}, low));
}
/// Of 10 by 20 by 30.
Shape Crate() { return BoxShape({0, 0, 0}, {10, 20, 30}); }

void Add(Shape& shape, const Shape& other) {
  const int first = static_cast<int>(shape.vertices.size());
  shape.vertices.insert(shape.vertices.end(), other.vertices.begin(), other.vertices.end());
  for (const Indices& t : other.triangles)
    shape.triangles.push_back({first + t[0], first + t[1], first + t[2]});
}
Shape Turned(Shape shape) {
  for (Indices& t : shape.triangles) std::swap(t[1], t[2]);
  return shape;
}
/// A plane of n by n squares with the heights of `z` at its (n + 1)^2 corners.
template <class Height>
Shape Sheet(int n, Height z) {
  Shape sheet;
  for (int j = 0; j <= n; ++j) {
    for (int i = 0; i <= n; ++i) sheet.vertices.push_back({float(i), float(j), static_cast<float>(z(i, j))});
  }
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      const int a = j * (n + 1) + i, c = a + n + 1;
      sheet.triangles.push_back({a, a + 1, c + 1});
      sheet.triangles.push_back({a, c + 1, c});
    }
  }
  return sheet;
}

struct Repaired {
  MeshRepair done;
  Shape shape;
};

Repaired Repair(const Shape& shape, const RepairLimits& limits = {}) {
  InputMesh input;
  input.mesh = std::make_unique<CTL>(test_support::MakeMesh(shape.vertices, shape.triangles));
  Repaired repaired;
  repaired.done = RepairMesh(observer, input, limits);
  repaired.shape = ShapeOf(*input.mesh);
  // Whatever it was: once is enough.
  EXPECT_FALSE(RepairMesh(observer, input, limits).any());
  EXPECT_EQ(VerticesOf(*input.mesh), repaired.shape.vertices);
  EXPECT_EQ(TrianglesOf(*input.mesh), repaired.shape.triangles);
  return repaired;
}

/// Edges that are not used as often in each direction, corners at one place being one.
int OpenEdges(const Shape& shape) {
  std::map<std::pair<Vertex, Vertex>, int> balance;
  for (const Indices& t : shape.triangles) {
    for (std::size_t k = 0; k < 3; ++k) {
      const Vertex &a = shape.vertices[static_cast<std::size_t>(t[k])],
                   &b = shape.vertices[static_cast<std::size_t>(t[(k + 1) % 3])];
      if (a != b) balance[std::minmax(a, b)] += a < b ? 1 : -1;
    }
  }
  return static_cast<int>(
      std::count_if(balance.begin(), balance.end(), [](auto& edge) { return edge.second != 0; }));
}

double Volume(const Shape& shape) {
  double sum = 0;
  for (const Indices& t : shape.triangles) {
    const auto at = [&](std::size_t k) {
      const Vertex& v = shape.vertices[static_cast<std::size_t>(t[k])];
      return Point{v[0], v[1], v[2]};
    };
    sum += Dot(at(0), Cross(at(1), at(2))) / 6;
  }
  return sum;
}

std::vector<Vertex> BoxCorners(const Shape& shape) {
  std::vector<Vertex> box(2, shape.vertices[static_cast<std::size_t>(shape.triangles[0][0])]);
  for (const Indices& t : shape.triangles) {
    for (const int i : t) {
      for (std::size_t k = 0; k < 3; ++k) {
        box[0][k] = std::min(box[0][k], shape.vertices[static_cast<std::size_t>(i)][k]);
        box[1][k] = std::max(box[1][k], shape.vertices[static_cast<std::size_t>(i)][k]);
      }
    }
  }
  return box;
}

TEST(MeshRepair, LeavesAWholeMeshAlone) {
  const Repaired repaired = Repair(Crate());
  EXPECT_FALSE(repaired.done.any());
  EXPECT_THAT(repaired.done.left, IsEmpty());
  // Numbered in the order of their first use; the facets' corners are the same.
  ASSERT_THAT(repaired.shape.triangles, SizeIs(12));
  for (std::size_t i = 0; i < 12; ++i) {
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_EQ(repaired.shape.vertices[static_cast<std::size_t>(repaired.shape.triangles[i][k])],
                Crate().vertices[static_cast<std::size_t>(Crate().triangles[i][k])]);
    }
  }
}

TEST(MeshRepair, DropsFacetsGivenTwiceInAnyRotationAndDirection) {
  Shape shape = Crate();
  const Indices t = shape.triangles[3];
  shape.triangles.push_back(t);
  shape.triangles.push_back({t[1], t[2], t[0]});
  shape.triangles.push_back({t[2], t[1], t[0]});
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.given_twice, 3);
  EXPECT_EQ(repaired.done.turned_facets, 0);
  EXPECT_THAT(repaired.shape.triangles, SizeIs(12));
  EXPECT_EQ(OpenEdges(repaired.shape), 0);
  EXPECT_EQ(Volume(repaired.shape), 6000);
}

TEST(MeshRepair, DropsAWholeMeshGivenTwice) {
  for (const bool inside_out : {false, true}) {
    Shape shape = Crate();
    Add(shape, inside_out ? Turned(Crate()) : Crate());
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(repaired.done.given_twice, 12);
    EXPECT_EQ(Volume(repaired.shape), 6000);
    EXPECT_EQ(OpenEdges(repaired.shape), 0);
  }
}

// Taking one of two facets back to back away would open a closed surface.
TEST(MeshRepair, KeepsTheTwoSidesOfASheetAndOfAWall) {
  Shape sheet = Sheet(3, [](int, int) { return 0; });
  Add(sheet, Turned(sheet));
  Repaired repaired = Repair(sheet);
  EXPECT_FALSE(repaired.done.any());
  EXPECT_THAT(repaired.done.left, IsEmpty());
  EXPECT_THAT(repaired.shape.triangles, SizeIs(36));

  Shape divided = Crate();
  divided.triangles.push_back({0, 3, 6});  // a triangle across the crate
  divided.triangles.push_back({0, 6, 3});
  repaired = Repair(divided);
  EXPECT_THAT(repaired.done.left, IsEmpty());
}

TEST(MeshRepair, DropsFacetsWithEqualCorners) {
  Shape shape = Crate();
  shape.triangles.push_back({0, 0, 1});
  shape.triangles.push_back({5, 5, 5});
  shape.vertices.push_back(shape.vertices[3]);  // the same place again
  shape.triangles.push_back({3, 8, 4});
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.equal_corners, 3);
  EXPECT_EQ(repaired.shape.triangles, Repair(Crate()).shape.triangles);
}

TEST(MeshRepair, KeepsAFacetWithEqualCornersWhereTheBoxEnds) {
  Shape shape = Crate();
  shape.vertices.push_back({5, 5, 99});
  shape.triangles.push_back({0, 8, 8});
  shape.triangles.push_back({1, 8, 8});
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.equal_corners, 1);
  EXPECT_EQ(repaired.done.kept_for_box, 1);
  EXPECT_EQ(BoxCorners(repaired.shape), BoxCorners(shape));
  EXPECT_THAT(repaired.done.left, IsEmpty());
}

TEST(MeshRepair, TurnsTheFewerToFitTheMore) {
  Shape shape = Crate();
  for (const std::size_t i : {1u, 4u, 5u, 11u}) std::swap(shape.triangles[i][0], shape.triangles[i][1]);
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.turned_facets, 4);
  EXPECT_EQ(repaired.done.turned_shells, 0);
  EXPECT_EQ(OpenEdges(repaired.shape), 0);
  EXPECT_EQ(Volume(repaired.shape), 6000);
}

TEST(MeshRepair, TurnsAShellOutward) {
  const Repaired repaired = Repair(Turned(Crate()));
  EXPECT_EQ(repaired.done.turned_facets, 0);
  EXPECT_EQ(repaired.done.turned_shells, 1);
  EXPECT_EQ(Volume(repaired.shape), 6000);
}

// Boxes of 1, 3, 5 and 7 one in another: solid, hollow, solid, hollow from the outside in. Whatever way they
// faced: 343 - 125 + 27 - 1.
TEST(MeshRepair, TurnsNestedShellsByTheirDepth) {
  for (unsigned faces = 0; faces < 16; ++faces) {
    Shape shape;
    for (unsigned k = 0; k < 4; ++k) {
      const float r = static_cast<float>(2 * k + 1) / 2;
      const Shape box = BoxShape({-r, -r, -r}, {r, r, r});
      Add(shape, faces & (1u << k) ? Turned(box) : box);
    }
    const Repaired repaired = Repair(shape);
    EXPECT_NEAR(Volume(repaired.shape), 343 - 125 + 27 - 1, 1e-9) << faces;
    // Right are: 7 outward, 5 inward, 3 outward, 1 inward (bits of the smallest first).
    const unsigned wrong = faces ^ 0b0101u;
    EXPECT_EQ(repaired.done.turned_shells,
              static_cast<int>((wrong & 1) + (wrong >> 1 & 1) + (wrong >> 2 & 1) + (wrong >> 3)));
  }
}

TEST(MeshRepair, LeavesShellsThatCrossOrLieInAnOpenOneAsTheyFace) {
  Shape crossing = BoxShape({0, 0, 0}, {10, 10, 10});
  Add(crossing, Turned(BoxShape({2, 2, 2}, {8, 8, 12})));  // reaches out at the top
  EXPECT_EQ(Repair(crossing).done.turned_shells, 1);  // not held by the other one's box: a body of its own

  Shape dented = ShapeOf(test_support::Tetrahedron(10));
  Add(dented, BoxShape({1, 1, 1}, {4, 4, 4}));  // reaches through the slope, inside the box
  Repaired repaired = Repair(dented);
  EXPECT_EQ(repaired.done.undecided_shells, 1);
  EXPECT_FALSE(repaired.done.any());

  Shape open = BoxShape({0, 0, 0}, {10, 10, 10});
  open.triangles.resize(10);
  Add(open, Turned(BoxShape({2, 2, 2}, {8, 8, 8})));
  RepairLimits limits;
  limits.hole_edges = 3;
  repaired = Repair(open, limits);
  EXPECT_EQ(repaired.done.undecided_shells, 1);
  EXPECT_EQ(repaired.done.turned_shells, 0);
  EXPECT_THAT(repaired.done.left, SizeIs(4));
}

TEST(MeshRepair, ClosesABoxWithoutOneFace) {
  for (std::size_t face = 0; face < 6; ++face) {
    Shape shape = Crate();
    shape.triangles.erase(shape.triangles.begin() + static_cast<std::ptrdiff_t>(2 * face),
                          shape.triangles.begin() + static_cast<std::ptrdiff_t>(2 * face) + 2);
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(repaired.done.filled_holes, 1);
    EXPECT_EQ(repaired.done.added_facets, 2);
    EXPECT_EQ(OpenEdges(repaired.shape), 0);
    EXPECT_NEAR(Volume(repaired.shape), 6000, 1e-9);
    EXPECT_THAT(repaired.done.left, IsEmpty());
  }
}

TEST(MeshRepair, ClosesAFlatBoxWithoutItsLid) {
  Shape shape = BoxShape({0, 0, 0}, {200, 200, 1});
  shape.triangles.erase(shape.triangles.begin() + 2, shape.triangles.begin() + 4);  // z = 1
  EXPECT_NEAR(Volume(Repair(shape).shape), 40000, 1e-6);
}

TEST(MeshRepair, HolesWithMoreEdgesStay) {
  Shape shape = Crate();
  shape.triangles.erase(shape.triangles.begin(), shape.triangles.begin() + 2);
  shape.triangles.pop_back();
  RepairLimits limits;
  limits.hole_edges = 3;
  const Repaired repaired = Repair(shape, limits);
  EXPECT_EQ(repaired.done.filled_holes, 1);
  EXPECT_EQ(repaired.done.left.size(), 4u);
  for (const OpenEdge& edge : repaired.done.left) {
    EXPECT_EQ(edge.from[2], 0);
    EXPECT_EQ(edge.to[2], 0);
  }
}

// An L of area 3 * 100: a triangulation that leaves the L would be larger.
TEST(MeshRepair, FillsWithTheLeastArea) {
  Shape shape;
  const Vertex ring[] = {{0, 0, 0}, {20, 0, 0}, {20, 10, 0}, {10, 10, 0}, {10, 20, 0}, {0, 20, 0}};
  for (const Vertex& v : ring) shape.vertices.push_back(v);
  for (const Vertex& v : ring) shape.vertices.push_back({v[0], v[1], -7});
  for (int i = 0; i < 6; ++i) {
    const int j = (i + 1) % 6;
    shape.triangles.push_back({i + 6, j + 6, j});
    shape.triangles.push_back({i + 6, j, i});
  }
  const Repaired repaired = Repair(shape);  // both ends of the tube
  EXPECT_EQ(repaired.done.filled_holes, 2);
  EXPECT_EQ(repaired.done.added_facets, 8);
  EXPECT_NEAR(Volume(repaired.shape), 300 * 7, 1e-9);
  double area = 0;
  for (std::size_t i = 12; i < 20; ++i) {
    const Indices& t = repaired.shape.triangles[i];
    const auto at = [&](std::size_t k) {
      const Vertex& v = repaired.shape.vertices[static_cast<std::size_t>(t[k])];
      return Point{v[0], v[1], v[2]};
    };
    area += Norm(Cross(Minus(at(1), at(0)), Minus(at(2), at(0)))) / 2;
  }
  EXPECT_NEAR(area, 2 * 300, 1e-9);
}

TEST(MeshRepair, ASheetsRimIsNoHole) {
  const Shape sheets[] = {
      {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}},
      {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 3}}},
      {{{0, 0, 0}, {1, 0, 0}, {1, 1, 1}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 3}}},  // bent
      Sheet(5, [](int, int) { return 0; }),
      Sheet(12, [](int i, int) { return 3 * std::sin(0.7 * i); }),                // waves
      Sheet(12, [](int i, int) { return std::sqrt(36.0 - (i - 6) * (i - 6)); }),  // half a tube
      Sheet(12, [](int i, int j) { return 0.1 * (i - 6) * (i - 6) - 0.1 * (j - 6) * (j - 6); }),  // a saddle
      Sheet(12,
            [](int i, int j) {
              return std::max(std::abs(i - 6), std::abs(j - 6)) > 4 ? 0 : 8;
            }),  // a hat with a brim
  };
  for (const Shape& sheet : sheets) {
    const Repaired repaired = Repair(sheet);
    EXPECT_FALSE(repaired.done.any());
    EXPECT_EQ(repaired.shape.triangles.size(), sheet.triangles.size());
    EXPECT_EQ(repaired.done.left.size(), static_cast<std::size_t>(OpenEdges(sheet)));
  }
}

TEST(MeshRepair, FillsAHoleInASheetAndKeepsItsRim) {
  Shape sheet = Sheet(5, [](int, int) { return 0; });
  sheet.triangles.erase(sheet.triangles.begin() + 24, sheet.triangles.begin() + 26);  // the middle square
  const Repaired repaired = Repair(sheet);
  EXPECT_EQ(repaired.done.added_facets, 2);
  EXPECT_THAT(repaired.done.left, SizeIs(20));
}

TEST(MeshRepair, TwoHolesThatTouchAreFilledByThemselves) {
  Shape sheet = Sheet(6, [](int, int) { return 0; });
  const auto drop = [&sheet](int i, int j) {
    for (int k = 0; k < 2; ++k) sheet.triangles[static_cast<std::size_t>(2 * (6 * j + i) + k)] = {0, 0, 0};
  };
  drop(2, 2);
  drop(3, 3);
  const Repaired repaired = Repair(sheet);
  EXPECT_EQ(repaired.done.filled_holes, 2);
  EXPECT_EQ(repaired.done.added_facets, 4);
  EXPECT_THAT(repaired.done.left, SizeIs(24));
}

/// Every facet of `whole` with corners of its own, moved by up to `reach` along each axis.
Shape Shattered(float reach, unsigned seed, const Shape& whole = Crate()) {
  std::mt19937 random(seed);
  Shape shape;
  for (const Indices& t : whole.triangles) {
    for (const int i : t) {
      Vertex v = whole.vertices[static_cast<std::size_t>(i)];
      for (float& c : v) c += reach * (static_cast<float>(random() % 2001) / 1000 - 1);
      shape.vertices.push_back(v);
    }
    const int first = static_cast<int>(shape.vertices.size()) - 3;
    shape.triangles.push_back({first, first + 1, first + 2});
  }
  return shape;
}

TEST(MeshRepair, StitchesFacetsThatLieApart) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const Shape shape = Shattered(0.01f, seed);
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(repaired.done.stitched_edges, 18) << seed;
    EXPECT_THAT(repaired.done.left, IsEmpty());
    EXPECT_THAT(repaired.shape.vertices, SizeIs(8));
    EXPECT_EQ(repaired.done.added_facets, 0);
    EXPECT_EQ(BoxCorners(repaired.shape), BoxCorners(shape));
    EXPECT_NEAR(Volume(repaired.shape), 6000, 0.02 * (200 + 300 + 600));
    EXPECT_LE(repaired.done.largest_move, 0.05);
  }
}

TEST(MeshRepair, StitchesNoFartherThanTheTolerance) {
  Shape shape = Crate();
  shape.vertices.push_back({0, 0, 0.04f});
  ASSERT_EQ(shape.triangles[8][0], 0);
  shape.triangles[8][0] = 8;  // inside the box, away from corner 0 by 0.04
  Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.stitched_edges, 2);
  EXPECT_EQ(repaired.done.moved_corners, 1);
  EXPECT_FLOAT_EQ(static_cast<float>(repaired.done.largest_move), 0.04f);
  EXPECT_EQ(Volume(repaired.shape), 6000);  // the place with the most facets stays

  RepairLimits limits;
  limits.tolerance = 0.03;
  repaired = Repair(shape, limits);
  EXPECT_EQ(repaired.done.stitched_edges, 0);
  EXPECT_EQ(repaired.done.added_facets, 2);  // a hole then
  EXPECT_EQ(OpenEdges(repaired.shape), 0);

  limits.tolerance = 0;
  limits.hole_edges = 0;
  repaired = Repair(shape, limits);
  EXPECT_FALSE(repaired.done.any());
  EXPECT_THAT(repaired.done.left, SizeIs(4));
}

TEST(MeshRepair, TheBoxStaysWhereACornerReachesOut) {
  Shape shape = Crate();
  shape.vertices.push_back({-0.02f, 0.01f, -0.03f});
  shape.triangles[8][0] = 8;
  const Repaired repaired = Repair(shape);
  EXPECT_THAT(repaired.done.left, IsEmpty());
  EXPECT_THAT(repaired.shape.vertices, SizeIs(8));
  EXPECT_EQ(BoxCorners(repaired.shape), BoxCorners(shape));
}

TEST(MeshRepair, AHoleSmallerThanTheToleranceIsFilledAndNotPinched) {
  Shape shape = BoxShape({0, 0, 0}, {0.04f, 0.04f, 0.04f});
  shape.triangles.erase(shape.triangles.begin(), shape.triangles.begin() + 2);
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.moved_corners, 0);
  EXPECT_EQ(repaired.done.added_facets, 2);
  EXPECT_NEAR(Volume(repaired.shape), 0.04 * 0.04 * 0.04, 1e-11);
}

TEST(MeshRepair, AFacetBesideAnotherOneGoes) {
  for (int corners = 1; corners <= 3; ++corners) {
    Shape shape = Crate();
    Indices again = shape.triangles[5];
    for (int k = 0; k < corners; ++k) {
      Vertex v = shape.vertices[static_cast<std::size_t>(again[static_cast<std::size_t>(k)])];
      for (float& c : v) c += c > 1 ? -0.01f : 0.01f;  // into the box
      shape.vertices.push_back(v);
      again[static_cast<std::size_t>(k)] = 8 + k;
    }
    shape.triangles.push_back(again);
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(repaired.done.given_twice, 1) << corners;
    EXPECT_EQ(Volume(repaired.shape), 6000);
    EXPECT_THAT(repaired.done.left, IsEmpty());
  }
}

// Two boxes that touch along an edge: four facets there, two and two.
TEST(MeshRepair, EdgesWithFourFacetsAreClosed) {
  Shape shape = BoxShape({0, 0, 0}, {1, 1, 1});
  Add(shape, BoxShape({1, 1, 0}, {2, 2, 1}));
  Repaired repaired = Repair(shape);
  EXPECT_FALSE(repaired.done.any());
  EXPECT_THAT(repaired.done.left, IsEmpty());
  EXPECT_THAT(repaired.shape.vertices, SizeIs(14));

  Shape turned = shape;
  std::swap(turned.triangles[7][0], turned.triangles[7][1]);
  repaired = Repair(turned);
  EXPECT_EQ(repaired.done.turned_facets, 1);
  EXPECT_NEAR(Volume(repaired.shape), 2, 1e-9);

  for (std::size_t i = 0; i < 24; ++i) {
    Shape holed = shape;
    holed.triangles.erase(holed.triangles.begin() + static_cast<std::ptrdiff_t>(i));
    repaired = Repair(holed);
    EXPECT_THAT(repaired.done.left, IsEmpty()) << i;
    EXPECT_NEAR(Volume(repaired.shape), 2, 1e-9) << i;
  }
}

TEST(MeshRepair, AWallInABoxIsLeft) {
  Shape shape = Crate();
  shape.triangles.push_back({0, 3, 6});
  const Repaired repaired = Repair(shape);
  EXPECT_FALSE(repaired.done.any());
  EXPECT_THAT(repaired.done.left, SizeIs(3));
}

/// A band with half a turn in it: 12 squares of two facets each, whose outer and inner corners are 2 i and 2
/// i + 1.
Shape TurnedBand() {
  Shape band;
  constexpr int kSquares = 12;
  for (int i = 0; i < kSquares; ++i) {
    const double angle = 2 * 3.14159265358979 * i / kSquares;
    for (const double side : {-2, 2}) {
      const double r = 10 + side * std::cos(angle / 2);
      band.vertices.push_back({static_cast<float>(r * std::cos(angle)),
                               static_cast<float>(r * std::sin(angle)),
                               static_cast<float>(side * std::sin(angle / 2))});
    }
  }
  for (int i = 0; i < kSquares; ++i) {
    const int a = 2 * i, b = a + 1;
    const bool last = i + 1 == kSquares;  // there the sides change
    const int c = last ? 1 : a + 2, d = last ? 0 : a + 3;
    band.triangles.push_back({a, b, d});
    band.triangles.push_back({a, d, c});
  }
  return band;
}

TEST(MeshRepair, ASurfaceWithOneSideStays) {
  const Repaired repaired = Repair(TurnedBand());
  EXPECT_FALSE(repaired.done.any());
  EXPECT_EQ(repaired.shape.triangles.size(), 24u);
  EXPECT_GE(repaired.done.left.size(), 24u);
}

// Facets at three corners of the band and at a few points: borders of edges with three facets end at the band
// and have no way back.
TEST(MeshRepairDifferential, FacetsAtASurfaceWithOneSide) {
  for (unsigned seed = 1; seed <= static_cast<unsigned>(test_support::Rounds(3000)); ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](std::size_t end) { return random() % end; };
    Shape shape = TurnedBand();
    const int at_band = int(below(22));
    std::vector<int> corners = {at_band, at_band + 1, at_band + 2};
    for (std::size_t more = 1 + below(5); more > 0; --more) {
      corners.push_back(static_cast<int>(shape.vertices.size()));
      shape.vertices.push_back({float(below(30)), float(below(30)), float(10 + below(30))});
    }
    for (std::size_t more = 3 + below(12); more > 0; --more) {
      const auto corner = [&] { return corners[below(corners.size())]; };
      const Indices t{corner(), corner(), corner()};
      if (t[0] != t[1] && t[1] != t[2] && t[2] != t[0]) shape.triangles.push_back(t);
    }
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(repaired.done.open_after, OpenEdges(repaired.shape)) << seed;
    if (HasFailure()) break;
  }
}

TEST(MeshRepair, ClosedAndOpenPiecesAreRepairedByThemselves) {
  Shape shape = Sheet(4, [](int, int) { return -5; });
  Shape box = BoxShape({20, 0, 0}, {21, 1, 1});
  box.triangles.pop_back();
  std::swap(box.triangles[0][0], box.triangles[0][1]);
  Add(shape, Turned(box));
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.turned_facets, 1);
  EXPECT_EQ(repaired.done.turned_shells, 1);
  EXPECT_EQ(repaired.done.added_facets, 1);
  EXPECT_THAT(repaired.done.left, SizeIs(16));
}

TEST(MeshRepair, KeepsAttributesAndUnusedVertices) {
  InputMesh input;
  input.mesh = std::make_unique<CTL>(test_support::Box({1, 1, 1}));
  CTL& mesh = *input.mesh;
  Shape shape = ShapeOf(mesh);
  shape.triangles.pop_back();
  shape.vertices.insert(shape.vertices.begin(), {9, 9, 9});
  for (Indices& t : shape.triangles) {
    for (int& i : t) ++i;
  }
  test_support::FillMesh(mesh, shape.vertices, shape.triangles);
  for (int i = 0; i < 11; ++i) mesh.triangles()[i][3] = i % 3;
  RepairMesh(observer, input, {});
  EXPECT_THAT(test_support::AttributesOf(mesh), ElementsAre(0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 0));
  EXPECT_EQ(VerticesOf(mesh).back(), (Vertex{9, 9, 9}));
  EXPECT_EQ(mesh.num_vertices(), 9);
}

TEST(MeshRepair, RefusesWhatIsNoPlace) {
  for (const float c : {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    InputMesh input;
    input.mesh =
        std::make_unique<CTL>(test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, c, 0}}, {{0, 1, 2}}));
    EXPECT_THROW(RepairMesh(observer, input, {}), Failure);
  }
}

TEST(MeshRepair, CanBeCancelled) {
  // A crate without lid, with a wall that lies a little off its edges.
  Shape shape = Crate();
  shape.triangles.resize(shape.triangles.size() - 4);
  Add(shape, Sheet(4, [](int, int) { return 0.01; }));
  const Repaired whole = Repair(shape);
  InputMesh input;
  const int times = test_support::TimesCancelled([&](Observer& cancels) {
    input.mesh = std::make_unique<CTL>(test_support::MakeMesh(shape.vertices, shape.triangles));
    RepairMesh(cancels, input, {});
  });
  EXPECT_GT(times, 10);
  EXPECT_EQ(VerticesOf(*input.mesh), whole.shape.vertices);
  EXPECT_EQ(TrianglesOf(*input.mesh), whole.shape.triangles);

  input.mesh = std::make_unique<CTL>(test_support::MakeMesh(shape.vertices, shape.triangles));
  test_support::Canceller at_once(0);
  EXPECT_THROW(RepairMesh(at_once, input, {}), Failure);
  EXPECT_EQ(input.mesh->num_triangles(), 0);
  EXPECT_EQ(input.mesh->num_vertices(), 0);
}

TEST(MeshRepair, AnEmptyMeshStaysEmpty) {
  InputMesh input;
  input.mesh = std::make_unique<CTL>();
  EXPECT_FALSE(RepairMesh(observer, input, {}).any());
  EXPECT_EQ(input.mesh->num_triangles(), 0);
}

// Each triangle has the corner in the middle and two of its own; its rim turns once round and is no hole.
TEST(MeshRepair, ThousandsOfBordersMeetInOneCorner) {
  constexpr int kTriangles = 3000;
  Shape shape{{{0, 0, 0}}, {}};
  for (int i = 0; i < kTriangles; ++i) {
    const double angle = 2 * 3.14159265358979 * i / kTriangles;
    for (const double turn : {0.0, 0.0005}) {
      shape.vertices.push_back(
          {float(100 * std::cos(angle + turn)), float(100 * std::sin(angle + turn)), float(i % 7)});
    }
    shape.triangles.push_back({0, 2 * i + 1, 2 * i + 2});
  }
  const RepairLimits nothing_moves{0, kMostHoleEdges};
  const Repaired repaired = Repair(shape, nothing_moves);
  EXPECT_FALSE(repaired.done.any());
  EXPECT_EQ(repaired.done.open_after, 3 * kTriangles);
  EXPECT_THAT(repaired.done.left, SizeIs(100));  // the first of them are enough
}

// The first of either direction stay: together they are closed, one alone would be open.
TEST(MeshRepair, OfOneFacetGivenThousandsOfTimesOneOfEachDirectionStays) {
  constexpr int kTimes = 5000;
  Shape shape{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {}};
  shape.triangles.assign(kTimes, {0, 1, 2});
  shape.triangles.insert(shape.triangles.end(), kTimes, {0, 2, 1});
  const Repaired repaired = Repair(shape);
  EXPECT_EQ(repaired.done.given_twice, 2 * kTimes - 2);
  EXPECT_THAT(repaired.shape.triangles, ElementsAre(Indices{0, 1, 2}, Indices{0, 2, 1}));
}

// Every edge has sixteen others within reach: far more candidates than are kept at a time.
TEST(MeshRepair, StackedFacetsNearerThanTheToleranceBecomeFew) {
  constexpr int kLevels = 12000;
  Shape shape;
  for (int i = 0; i < kLevels; ++i) {
    const float z = 0.0005f * float(i);
    for (const Vertex& corner : {Vertex{0, 0, z}, Vertex{100, 0, z}, Vertex{0, 100, z}})
      shape.vertices.push_back(corner);
    shape.triangles.push_back({3 * i, 3 * i + 1, 3 * i + 2});
  }
  const Repaired repaired = Repair(shape);
  EXPECT_LE(repaired.done.largest_move, 0.05);
  EXPECT_EQ(BoxCorners(repaired.shape), BoxCorners(shape));
  EXPECT_EQ(repaired.done.open_after, OpenEdges(repaired.shape));
  // Corners that moved by at most 0.05 lie on levels of which each took in a hundred others at least.
  EXPECT_THAT(repaired.shape.triangles, SizeIs(::testing::Le(kLevels / 50)));
}

// Damage of every kind: the box stays, a second repair has nothing to do (Repair sees to that), and what is
// said to be open is what is.
TEST(MeshRepairDifferential, AnythingAtAll) {
  for (unsigned seed = 1; seed <= static_cast<unsigned>(test_support::Rounds(300)); ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](std::size_t end) { return random() % end; };
    Shape shape;
    switch (below(6)) {
      case 0:
        shape = Crate();
        break;
      case 1:
        shape = ShapeOf(test_support::Sphere(5, 8, 6));
        break;
      case 2:
        shape = Sheet(5, [](int i, int j) { return 0.3 * std::sin(i) * j; });
        break;
      case 3:
        shape = Shattered(0.02f, seed);
        break;
      case 4:  // facets about as large as the tolerance: much becomes one, and surfaces with one side
        shape = ShapeOf(test_support::Sphere(0.3f, 24, 16));
        Add(shape, Shattered(0.02f, seed, shape));
        break;
      default:  // facets between any of a few points
        for (int i = 0; i < 9; ++i)
          shape.vertices.push_back({float(below(3)), float(below(3)), 0.03f * float(below(3))});
        for (int i = 0; i < 20; ++i) shape.triangles.push_back({int(below(9)), int(below(9)), int(below(9))});
    }
    if (below(2) == 0) Add(shape, BoxShape({1, 1, 1}, {2, 2, 2}));
    for (std::size_t i = 0; i < below(6); ++i)
      shape.triangles.erase(shape.triangles.begin() +
                            static_cast<std::ptrdiff_t>(below(shape.triangles.size())));
    for (std::size_t i = 0; i < below(4); ++i)
      shape.triangles.push_back(shape.triangles[below(shape.triangles.size())]);
    for (std::size_t i = 0; i < below(4); ++i) {
      Indices& t = shape.triangles[below(shape.triangles.size())];
      std::swap(t[0], t[1]);
    }
    for (std::size_t i = 0; i < below(4); ++i) {
      int& corner = shape.triangles[below(shape.triangles.size())][below(3)];
      Vertex v = shape.vertices[static_cast<std::size_t>(corner)];
      for (float& c : v) c += static_cast<float>(below(41)) / 1000 - 0.02f;
      corner = static_cast<int>(shape.vertices.size());
      shape.vertices.push_back(v);
    }
    const std::vector<Vertex> box = BoxCorners(shape);
    const Repaired repaired = Repair(shape);
    EXPECT_EQ(BoxCorners(repaired.shape), box) << seed;
    EXPECT_EQ(repaired.done.open_after, OpenEdges(repaired.shape)) << seed;
    EXPECT_EQ(repaired.done.left.size(), std::min<std::size_t>(100, OpenEdges(repaired.shape))) << seed;
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace trqprep
