/// Cavities beside their literal rule: every inward surface against every outward one, and every facet of it.
#include "prep/meshes/cavities.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "tests/support/meshes.h"
#include "tests/support/rounds.h"

namespace trqprep {
namespace {

using Random = std::mt19937;
using test_support::Indices;
using ::testing::ElementsAre;
using Vertex = test_support::Point;

int Below(Random& random, int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }
double Unit(Random& random) { return random() / 4294967296.0; }

struct Shape {
  std::vector<Vertex> vertices;
  std::vector<Indices> triangles;
};

Shape ShapeOf(const CTL& mesh) { return {test_support::VerticesOf(mesh), test_support::TrianglesOf(mesh)}; }

Shape BoxShape(const Vertex& low, const Vertex& high) {
  return ShapeOf(test_support::Box({high[0] - low[0], high[1] - low[1], high[2] - low[2]}, low));
}

/// A ring of four-sided section about Z, outward; 8 * sides facets.
Shape Ring(double radius, double width, int sides, double height) {
  Shape ring;
  for (int k = 0; k < sides; ++k) {
    const double angle = 2 * 3.14159265358979 * k / sides;
    const double along[4] = {radius - width, radius, radius + width, radius};
    const double up[4] = {0, -height, 0, height};
    for (int s = 0; s < 4; ++s) {
      ring.vertices.push_back({static_cast<float>(along[s] * std::cos(angle)),
                               static_cast<float>(along[s] * std::sin(angle)), static_cast<float>(up[s])});
      const int a = 4 * k + s, b = 4 * k + (s + 1) % 4;
      const int c = (a + 4) % (4 * sides), d = (b + 4) % (4 * sides);
      ring.triangles.push_back({a, c, b});
      ring.triangles.push_back({b, c, d});
    }
  }
  return ring;
}

void Turn(Shape& shape) {
  for (Indices& t : shape.triangles) std::swap(t[1], t[2]);
}

/// Turned about three axes, scaled and moved by up to `reach`.
void Place(Shape& shape, Random& random, double reach, double scale) {
  Matrix4 matrix;
  for (int axis = 0; axis < 3; ++axis) matrix = Compose(Matrix4::Rotation(axis, 360 * Unit(random)), matrix);
  const Point by = {reach * Unit(random), reach * Unit(random), reach * Unit(random)};
  for (Vertex& vertex : shape.vertices) {
    const Point p = matrix.Apply({vertex[0], vertex[1], vertex[2]});
    for (std::size_t k = 0; k < 3; ++k) vertex[k] = static_cast<float>(scale * p[k] + by[k]);
  }
}

CTL Together(const std::vector<Shape>& shapes) {
  std::vector<Vertex> vertices;
  std::vector<Indices> triangles;
  for (const Shape& shape : shapes) {
    const int first = static_cast<int>(vertices.size());
    vertices.insert(vertices.end(), shape.vertices.begin(), shape.vertices.end());
    for (const Indices& t : shape.triangles) triangles.push_back({first + t[0], first + t[1], first + t[2]});
  }
  return test_support::MakeMesh(vertices, triangles);
}

/// The sum of the facets' solid angles over 4 pi (A. van Oosterom and J. Strackee, The solid angle of a plane
/// triangle, 1983), seen from a step beside the point.
double WindingAround(const CTL& mesh, const Topology& topology, int surface, const Point& point,
                     const Point& step) {
  double sum = 0;
  for (int facet = 0; facet < mesh.num_triangles(); ++facet) {
    if (topology.surface_of_facet[static_cast<std::size_t>(facet)] != surface) continue;
    Corners seen = CornersOf(mesh, facet);
    for (Point& corner : seen) corner = Minus(Minus(corner, point), step);
    const auto& [a, b, c] = seen;
    const double la = Norm(a), lb = Norm(b), lc = Norm(c);
    sum +=
        2 * std::atan2(Dot(a, Cross(b, c)), la * lb * lc + Dot(a, b) * lc + Dot(b, c) * la + Dot(a, c) * lb);
  }
  return sum / (4 * 3.14159265358979323846);
}

bool Holds(const Box& outer, const Box& inner) {
  for (std::size_t k = 0; k < 3; ++k) {
    if (inner.min[k] < outer.min[k] || inner.max[k] > outer.max[k]) return false;
  }
  return true;
}

/// Which corner of an inward surface is asked about.
enum class Corner { kFirst, kLowest };

std::vector<bool> LiteralCavities(const CTL& mesh, const Topology& topology, Corner which,
                                  const Point& step = {0, 0, 0}) {
  std::vector<bool> cavities;
  for (std::size_t i = 0; i < topology.surfaces.size(); ++i) {
    const Surface& inner = topology.surfaces[i];
    cavities.push_back(false);
    if (!inner.closed || !(inner.volume < 0)) continue;
    Point corner = CornersOf(mesh, inner.first_facet)[0];
    for (int facet = 0; which == Corner::kLowest && facet < mesh.num_triangles(); ++facet) {
      if (topology.surface_of_facet[static_cast<std::size_t>(facet)] != static_cast<int>(i)) continue;
      for (const Point& other : CornersOf(mesh, facet)) corner = std::min(corner, other);
    }
    for (std::size_t o = 0; o < topology.surfaces.size() && !cavities.back(); ++o) {
      const Surface& outer = topology.surfaces[o];
      if (!outer.closed || !(outer.volume > 0) || !Holds(outer.box, inner.box)) continue;
      cavities.back() = WindingAround(mesh, topology, static_cast<int>(o), corner, step) > 0.5;
    }
  }
  return cavities;
}

std::vector<bool> CavitiesOf(const Topology& topology) {
  std::vector<bool> cavities;
  for (const Surface& surface : topology.surfaces) cavities.push_back(surface.cavity);
  return cavities;
}

std::vector<bool> CavitiesOf(const std::vector<Shape>& shapes) {
  return CavitiesOf(AnalyseTopology(Together(shapes)));
}

struct Seen {
  int cavities = 0;
  int others = 0;  ///< inward surfaces that are no cavities, though the box of an outward one holds theirs

  void Count(const Topology& topology) {
    for (const Surface& inner : topology.surfaces) {
      if (!(inner.volume < 0)) continue;
      cavities += inner.cavity ? 1 : 0;
      others += !inner.cavity && std::any_of(topology.surfaces.begin(), topology.surfaces.end(),
                                             [&](const Surface& outer) {
                                               return outer.volume > 0 && Holds(outer.box, inner.box);
                                             })
                    ? 1
                    : 0;
    }
  }
};

// Boxes, tetrahedra, rings and closed surfaces whose corners stand anywhere, which cross themselves and each
// other: an outward one may wind twice or backwards around a corner.
TEST(CavitiesDifferential, SurfacesThatCross) {
  Random random(1);
  Seen seen;
  for (int round = 0; round < test_support::Rounds(400); ++round) {
    std::vector<Shape> shapes;
    for (int count = 2 + Below(random, 14); count > 0; --count) {
      const int kind = Below(random, 4);
      Shape shape = kind == 0   ? BoxShape({0, 0, 0}, {2, 1, 1})
                    : kind == 1 ? ShapeOf(test_support::Tetrahedron(3))
                    : kind == 2 ? Ring(1.5, 0.5, 3 + Below(random, 9), 0.5)
                                : ShapeOf(test_support::Sphere(1, 3 + Below(random, 4), 3));
      if (kind == 3) {
        for (Vertex& vertex : shape.vertices) {
          for (float& c : vertex) c = static_cast<float>(3 * Unit(random));
        }
      }
      const bool inward = Below(random, 2) == 0;
      Place(shape, random, round % 2 == 0 ? 1 : 3, (inward ? 0.2 : 1) * (0.2 + 2 * Unit(random)));
      if (inward) Turn(shape);
      shapes.push_back(shape);
    }
    const CTL mesh = Together(shapes);
    const Topology topology = AnalyseTopology(mesh);
    ASSERT_EQ(CavitiesOf(topology), LiteralCavities(mesh, topology, Corner::kLowest)) << "round " << round;
    seen.Count(topology);
  }
  EXPECT_GT(seen.cavities, test_support::Rounds(100));
  EXPECT_GT(seen.others, test_support::Rounds(100));
}

// Corners on a small lattice lie on facets, edges and corners of other surfaces most of the time. A step that
// is small beside the lattice, and along each axis small beside the one before, is the hair of the rule: no
// product of coordinates below 7 reaches 1000.
TEST(CavitiesDifferential, CornersOnOtherSurfaces) {
  Random random(2);
  Seen seen;
  const auto at = [&](int end) { return static_cast<float>(Below(random, end)); };
  for (int round = 0; round < test_support::Rounds(6000); ++round) {
    // The same lattice far from 1 and, as far as floats have its numbers, from the origin.
    const float scale = std::ldexp(1.0f, 40 * (round % 3) - 40);
    const float far = round % 2 == 0 ? 0.0f : 11184811.0f;
    std::vector<Shape> shapes;
    for (int count = 2 + Below(random, 10); count > 0; --count) {
      Shape shape;
      const Vertex low = {at(6), at(6), at(6)};
      const int kind = Below(random, 3);
      if (kind == 0) {
        shape = BoxShape(low, {low[0] + 1 + at(6 - static_cast<int>(low[0])),
                               low[1] + 1 + at(6 - static_cast<int>(low[1])),
                               low[2] + 1 + at(6 - static_cast<int>(low[2]))});
      } else if (kind == 1) {
        shape = ShapeOf(test_support::Tetrahedron());
        for (Vertex& vertex : shape.vertices) vertex = {at(7), at(7), at(7)};
      } else {
        // An L: six corners, low and high.
        const Vertex l[6] = {{0, 0, 0}, {6, 0, 0}, {6, 3, 0}, {3, 3, 0}, {3, 6, 0}, {0, 6, 0}};
        for (const float z : {0.0f, 6.0f}) {
          for (const Vertex& v : l) shape.vertices.push_back({v[0], v[1], z});
        }
        for (const Indices& t : {Indices{0, 2, 1}, {0, 3, 2}, {0, 4, 3}, {0, 5, 4}}) {
          shape.triangles.push_back(t);
          shape.triangles.push_back({t[0] + 6, t[2] + 6, t[1] + 6});
        }
        for (int a = 0; a < 6; ++a) {
          const int b = (a + 1) % 6;
          shape.triangles.push_back({a, b, b + 6});
          shape.triangles.push_back({a, b + 6, a + 6});
        }
      }
      if (Below(random, 2) == 0) Turn(shape);
      for (Vertex& vertex : shape.vertices) {
        for (float& c : vertex) c = c * scale + far * scale;
      }
      shapes.push_back(shape);
    }
    const CTL mesh = Together(shapes);
    const Topology topology = AnalyseTopology(mesh);
    const Point hair = {scale * 1e-3, scale * 1e-6, scale * 1e-9};
    ASSERT_EQ(CavitiesOf(topology), LiteralCavities(mesh, topology, Corner::kLowest, hair))
        << "round " << round;
    seen.Count(topology);
  }
  EXPECT_GT(seen.cavities, test_support::Rounds(500));
  EXPECT_GT(seen.others, test_support::Rounds(500));
}

// Where surfaces keep clear of each other, any corner decides: here the first one, facets in any order.
TEST(CavitiesDifferential, SurfacesThatKeepClear) {
  Random random(3);
  Seen seen;
  for (int round = 0; round < test_support::Rounds(60); ++round) {
    std::vector<Shape> shapes;
    const bool rings = round % 2 == 0;
    const int count = 2 + Below(random, 16);
    for (int k = 1; k <= count; ++k) {
      // Rings lie around each other, in no one's inside; balls lie inside each other. Each may hold a smaller
      // one.
      for (const bool inner : {false, true}) {
        if (Below(random, 3) == 0) continue;
        const double size = inner ? 0.3 : 0.4;
        shapes.push_back(rings ? Ring(k, size, 32, size)
                               : ShapeOf(test_support::Sphere(static_cast<float>(k + size), 32, 16)));
        if (Below(random, 2) == 0) Turn(shapes.back());
      }
    }
    for (Shape& shape : shapes) std::shuffle(shape.triangles.begin(), shape.triangles.end(), random);
    std::shuffle(shapes.begin(), shapes.end(), random);
    const CTL mesh = Together(shapes);
    const Topology topology = AnalyseTopology(mesh);
    ASSERT_EQ(CavitiesOf(topology), LiteralCavities(mesh, topology, Corner::kFirst)) << "round " << round;
    seen.Count(topology);
  }
  EXPECT_GT(seen.cavities, test_support::Rounds(100));
  EXPECT_GT(seen.others, test_support::Rounds(100));
}

Shape Inward(Shape shape) {
  Turn(shape);
  return shape;
}

TEST(Cavities, NestedShellsAreCavitiesInsideAnyOutwardOne) {
  std::vector<Shape> shapes = {Inward(BoxShape({-1, -1, -1}, {40, 40, 40}))};
  std::vector<bool> expected = {false};
  for (int k = 0; k < 19; ++k) {
    const auto low = static_cast<float>(k), high = static_cast<float>(39 - k);
    const Shape shell = BoxShape({low, low, low}, {high, high, high});
    shapes.push_back(k % 2 == 0 ? shell : Inward(shell));
    expected.push_back(k % 2 != 0);
  }
  EXPECT_EQ(CavitiesOf(shapes), expected);
}

TEST(Cavities, TheHoleOfARingIsOutside) {
  const Shape ring = Ring(10, 2, 24, 2), block = Inward(BoxShape({-1, -1, -1}, {1, 1, 1}));
  EXPECT_THAT(CavitiesOf({ring, block}), ElementsAre(false, false));
  EXPECT_THAT(CavitiesOf({ring, Inward(Ring(10, 1, 24, 1))}), ElementsAre(false, true));
}

TEST(Cavities, TouchFromInsideNotFromOutside) {
  const Shape box = BoxShape({0, 0, 0}, {4, 4, 4});
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({0, 0, 0}, {1, 1, 1}))}), ElementsAre(false, true));
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({3, 3, 3}, {4, 4, 4}))}), ElementsAre(false, true));
  EXPECT_THAT(CavitiesOf({box, Inward(box)}), ElementsAre(false, true));
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({4, 0, 0}, {5, 4, 4}))}), ElementsAre(false, false));
}

TEST(Cavities, TheOuterBoxHoldsTheInnerOne) {
  const Shape box = BoxShape({0, 0, 0}, {4, 4, 4});
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({1, 1, 1}, {5, 2, 2}))}), ElementsAre(false, false));
  // The wider of two boxes that cross holds it.
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({1, 1, 1}, {5, 2, 2})), BoxShape({0.5, 0.5, 0.5}, {6, 3, 3})}),
              ElementsAre(false, true, false));
}

TEST(Cavities, OpenSurfacesHoldNone) {
  Shape box = BoxShape({0, 0, 0}, {4, 4, 4});
  box.triangles.pop_back();
  EXPECT_THAT(CavitiesOf({box, Inward(BoxShape({1, 1, 1}, {2, 2, 2}))}), ElementsAre(false, false));
}

TEST(Cavities, CoordinatesThatAreNoNumbersHoldNone) {
  const Shape inner = Inward(BoxShape({1, 1, 1}, {2, 2, 2}));
  for (const float c : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
    Shape box = BoxShape({0, 0, 0}, {4, 4, 4});
    box.vertices[7][1] = c;
    EXPECT_THAT(CavitiesOf({box, inner}), ElementsAre(false, false));
    Shape bad = inner;
    bad.vertices[7][1] = c;
    EXPECT_THAT(CavitiesOf({BoxShape({0, 0, 0}, {4, 4, 4}), bad}), ElementsAre(false, false));
  }
}

}  // namespace
}  // namespace trqprep
