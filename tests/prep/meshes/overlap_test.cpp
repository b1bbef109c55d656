#include "trqprep/overlap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace trqprep {
namespace {

struct Shape {
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;

  void Quad(int a, int b, int c, int d) {
    triangles.emplace_back(a, b, c);
    triangles.emplace_back(a, c, d);
  }
  PlacedShape View() const { return {vertices.data(), triangles.data(), static_cast<int>(triangles.size())}; }
};

Shape BoxAt(float x, float y, float width, float depth, float z = 0) {
  Shape box;
  for (const float vz : {z, z + 10}) {
    for (const float vy : {y, y + depth}) {
      for (const float vx : {x, x + width}) box.vertices.emplace_back(vx, vy, vz);
    }
  }
  box.Quad(0, 2, 3, 1);
  box.Quad(4, 5, 7, 6);
  box.Quad(0, 1, 5, 4);
  box.Quad(2, 6, 7, 3);
  box.Quad(0, 4, 6, 2);
  box.Quad(1, 3, 7, 5);
  return box;
}

// A ring about (x, y): top, bottom and both walls.
Shape RingAt(float x, float y, float outer, float inner, int sides = 60) {
  Shape ring;
  for (int k = 0; k < sides; ++k) {
    const double angle = 2 * 3.14159265358979 * k / sides;
    for (const float radius : {outer, inner}) {
      for (const float z : {0.0f, 5.0f}) {
        ring.vertices.emplace_back(static_cast<float>(x + radius * std::cos(angle)),
                                   static_cast<float>(y + radius * std::sin(angle)), z);
      }
    }
  }
  for (int k = 0; k < sides; ++k) {
    const int a = 4 * k, b = 4 * ((k + 1) % sides);
    ring.Quad(a, b, b + 1, a + 1);
    ring.Quad(b + 2, a + 2, a + 3, b + 3);
    ring.Quad(a + 3, a + 1, b + 1, b + 3);
    ring.Quad(a, a + 2, b + 2, b);
  }
  return ring;
}

std::vector<Overlap> Overlaps(const Shape& a, const Shape& b) {
  return SeenFromAbove({a.View(), b.View()}).FindOverlaps(0.001);
}
Distances Measured(const std::vector<Shape>& shapes, double wanted = 0) {
  std::vector<PlacedShape> views;
  for (const Shape& shape : shapes) views.push_back(shape.View());
  return SeenFromAbove(views).MeasureDistances(std::vector<double>(views.size(), wanted));
}

double Distance(const Shape& a, const Shape& b) { return Measured({a, b}).smallest.value().distance; }

TEST(Overlap, BoxesApartDoNot) {
  EXPECT_TRUE(Overlaps(BoxAt(0, 0, 10, 10), BoxAt(12, 0, 10, 10)).empty());
  EXPECT_EQ(Distance(BoxAt(0, 0, 10, 10), BoxAt(12, 0, 10, 10)), 2);
  EXPECT_EQ(Distance(BoxAt(0, 0, 10, 10), BoxAt(13, 14, 10, 10)), 5);
}

TEST(Overlap, ContactIsAllowedUpToAThousandth) {
  EXPECT_TRUE(Overlaps(BoxAt(0, 0, 10, 10), BoxAt(10, 0, 10, 10)).empty());
  EXPECT_EQ(Distance(BoxAt(0, 0, 10, 10), BoxAt(10, 0, 10, 10)), 0);
  EXPECT_TRUE(Overlaps(BoxAt(0, 0, 10, 10), BoxAt(9.9995f, 0, 10, 10)).empty());
  const auto found = Overlaps(BoxAt(0, 0, 10, 10), BoxAt(9.998f, 0, 10, 10));
  ASSERT_EQ(found.size(), 1u);
  // Of some two facets of theirs; the boxes reach 0.002 into each other.
  EXPECT_GT(found[0].depth, 0.001);
  EXPECT_LT(found[0].depth, 0.00201);
  EXPECT_NEAR(found[0].x, 9.999, 0.01);
}

TEST(Overlap, HeightDoesNotMatter) {
  EXPECT_EQ(Overlaps(BoxAt(0, 0, 10, 10, 0), BoxAt(5, 5, 10, 10, 100)).size(), 1u);
}

TEST(Overlap, OneInsideTheOtherDoes) {
  EXPECT_EQ(Overlaps(BoxAt(0, 0, 100, 100), BoxAt(40, 40, 2, 2)).size(), 1u);
  EXPECT_EQ(Overlaps(BoxAt(40, 40, 2, 2), BoxAt(0, 0, 100, 100)).size(), 1u);
  EXPECT_EQ(Overlaps(BoxAt(0, 0, 10, 10), BoxAt(0, 0, 10, 10)).size(), 1u);
}

TEST(Overlap, CrossingBarsDo) { EXPECT_EQ(Overlaps(BoxAt(0, 45, 100, 1), BoxAt(50, 0, 1, 100)).size(), 1u); }

TEST(Overlap, NestingInAHoleDoesNotThoughBoxesDo) {
  const Shape ring = RingAt(50, 50, 40, 30);
  EXPECT_TRUE(Overlaps(ring, BoxAt(40, 40, 20, 20)).empty());
  EXPECT_TRUE(Overlaps(ring, RingAt(50, 50, 25, 20)).empty());
  EXPECT_EQ(Overlaps(ring, BoxAt(40, 40, 45, 20)).size(), 1u);
  EXPECT_EQ(Overlaps(ring, RingAt(60, 50, 25, 20)).size(), 1u);
  // The inner wall is a polygon of 60 sides: its nearest points are the middles of the sides.
  const double apothem = 30 * std::cos(3.14159265358979 / 60);
  EXPECT_NEAR(Distance(ring, BoxAt(50, 49.9f, 20, 0.2f)), apothem - 20, 0.05);
}

TEST(Overlap, AnUprightSheetCountsAsALine) {
  Shape sheet;
  sheet.vertices = {PbVec3f(-5, 5, 0), PbVec3f(15, 5, 0), PbVec3f(15, 5, 9), PbVec3f(-5, 5, 9)};
  sheet.Quad(0, 1, 2, 3);
  EXPECT_EQ(Overlaps(BoxAt(0, 0, 10, 10), sheet).size(), 1u);
  Shape other;
  other.vertices = {PbVec3f(5, 0, 0), PbVec3f(5, 20, 0), PbVec3f(5, 20, 9), PbVec3f(5, 0, 9)};
  other.Quad(0, 1, 2, 3);
  EXPECT_EQ(Overlaps(sheet, other).size(), 1u);
  EXPECT_EQ(Distance(sheet, other), 0);
  Shape beside = sheet;
  for (PbVec3f& v : beside.vertices) v[1] += 3;
  EXPECT_TRUE(Overlaps(sheet, beside).empty());
  EXPECT_EQ(Distance(sheet, beside), 3);
}

TEST(Overlap, EveryPairIsNamedOnce) {
  const Shape a = BoxAt(0, 0, 10, 10), b = BoxAt(5, 0, 10, 10), c = BoxAt(30, 0, 10, 10),
              d = BoxAt(12, 5, 20, 2);
  const auto found = SeenFromAbove({a.View(), b.View(), c.View(), d.View()}).FindOverlaps(0.001);
  ASSERT_EQ(found.size(), 3u);
  EXPECT_EQ(found[0].first, 0u);
  EXPECT_EQ(found[0].second, 1u);
  EXPECT_EQ(found[1].second, 3u);
  EXPECT_EQ(found[2].first, 2u);
}

TEST(Overlap, OneShapeHasNoDistance) {
  const Shape a = BoxAt(0, 0, 1, 1);
  EXPECT_FALSE(Measured({a}, 5).smallest);
  EXPECT_FALSE(Measured({}).smallest);
  EXPECT_FALSE(Measured({a, Shape()}, 5).smallest);
}

TEST(Overlap, NamesThePairThatIsNearestAndWhere) {
  const Distances found = Measured({BoxAt(-1, 0, 10, 10), BoxAt(30, 0, 10, 10), BoxAt(17.5f, 20, 5, 10)});
  ASSERT_TRUE(found.smallest);
  EXPECT_EQ(found.smallest->first, 1u);
  EXPECT_EQ(found.smallest->second, 2u);
  EXPECT_DOUBLE_EQ(found.smallest->distance, 12.5);  // 7.5 along X and 10 along Y
  EXPECT_EQ(found.smallest->from, (std::array<double, 2>{30, 10}));
  EXPECT_EQ(found.smallest->to, (std::array<double, 2>{22.5, 20}));
  EXPECT_TRUE(found.short_ones.empty());
}

TEST(Overlap, NamesEveryPairNearerThanWanted) {
  std::vector<Shape> row;
  for (int k = 0; k < 4; ++k) row.push_back(BoxAt(12.0f * float(k), 0, 10, 10));
  row.push_back(BoxAt(47, 11, 10, 10));  // 1 from the last along Y, 11 from the one before along X
  std::vector<PlacedShape> views;
  for (const Shape& shape : row) views.push_back(shape.View());
  // Of two the larger counts.
  const Distances found = SeenFromAbove(views).MeasureDistances({2.5, 2, 2, 2, 1});
  EXPECT_NEAR(found.smallest->distance, std::hypot(1, 1), 1e-6);
  // As far as wanted is not nearer.
  ASSERT_EQ(found.short_ones.size(), 2u);
  EXPECT_EQ(found.short_ones[0].second, 1u);
  EXPECT_DOUBLE_EQ(found.short_ones[0].distance, 2);
  EXPECT_EQ(found.short_ones[1].first, 3u);
  EXPECT_EQ(found.short_ones[1].second, 4u);
  EXPECT_EQ(Measured(row, 2.001).short_ones.size(), 4u);
  // In a hole there is a distance too.
  const Distances inside = Measured({RingAt(50, 50, 40, 30), BoxAt(40, 40, 20, 20)}, 16);
  ASSERT_EQ(inside.short_ones.size(), 1u);
  EXPECT_NEAR(inside.short_ones[0].distance, 30 - 10 * std::sqrt(2.0), 0.05);
  // Over each other: no distance, at a place of both.
  const Distances over = Measured({BoxAt(0, 0, 10, 10), BoxAt(5, 5, 10, 10)}, 1);
  ASSERT_EQ(over.short_ones.size(), 1u);
  EXPECT_EQ(over.short_ones[0].distance, 0);
  EXPECT_EQ(over.short_ones[0].from, over.short_ones[0].to);
  for (const double c : over.short_ones[0].from) EXPECT_TRUE(c >= 5 && c <= 10);
}

// Pairs that are near are found among many, as looking at every two finds them.
TEST(Overlap, FindsTheSameAmongMany) {
  std::mt19937 random(8);
  const auto number = [&random](double most) { return static_cast<float>(most * (random() / 4294967296.0)); };
  for (int round = 0; round < 20; ++round) {
    std::vector<Shape> shapes;
    std::vector<double> wanted;
    // One is long, and lies beside many.
    shapes.push_back(BoxAt(-5, number(60), 90, 0.5f));
    for (int k = 0; k < 80; ++k) {
      shapes.push_back(BoxAt(number(80), number(80), 0.5f + number(4), 0.5f + number(4)));
    }
    std::vector<PlacedShape> views;
    for (const Shape& shape : shapes) {
      views.push_back(shape.View());
      wanted.push_back(number(3) - 1);
    }
    SeenFromAbove seen(views);
    const auto overlaps = seen.FindOverlaps(0.001);
    const Distances found = seen.MeasureDistances(wanted);
    EXPECT_FALSE(seen.cut_short());
    std::size_t overlap = 0, short_one = 0;
    double smallest = 1e300;
    for (std::size_t i = 0; i < shapes.size(); ++i) {
      for (std::size_t j = i + 1; j < shapes.size(); ++j) {
        if (!Overlaps(shapes[i], shapes[j]).empty()) {
          ASSERT_LT(overlap, overlaps.size());
          EXPECT_EQ(overlaps[overlap].first, i);
          EXPECT_EQ(overlaps[overlap++].second, j);
        }
        const double distance = Distance(shapes[i], shapes[j]);
        smallest = std::min(smallest, distance);
        if (distance >= std::max({wanted[i], wanted[j], 0.0})) continue;
        ASSERT_LT(short_one, found.short_ones.size());
        EXPECT_EQ(found.short_ones[short_one].first, i);
        EXPECT_EQ(found.short_ones[short_one].second, j);
        EXPECT_EQ(found.short_ones[short_one++].distance, distance);
      }
    }
    EXPECT_EQ(overlap, overlaps.size());
    EXPECT_EQ(short_one, found.short_ones.size());
    EXPECT_EQ(found.smallest->distance, smallest);
  }
}

// Slanted bars whose boxes reach into those of thirteen others on each side.
TEST(Overlap, OfManyBoxesInOneAnotherTheNearestShapesAreFound) {
  std::vector<Shape> bars;
  for (int k = 0; k < 2000; ++k) {
    const float x = 3.0f * float(k % 500), y = 70.0f * float(k / 500);
    Shape bar = BoxAt(x, y, 1, 40);
    for (PbVec3f& vertex : bar.vertices) vertex = PbVec3f(vertex[0] + (vertex[1] - y), vertex[1], vertex[2]);
    bars.push_back(std::move(bar));
  }
  std::vector<PlacedShape> views;
  for (const Shape& bar : bars) views.push_back(bar.View());
  SeenFromAbove seen(views);
  EXPECT_TRUE(seen.FindOverlaps(0.001).empty());
  // 2 apart along X, at 45 degrees.
  const Distances found = seen.MeasureDistances(std::vector<double>(views.size(), 1.4));
  EXPECT_FALSE(seen.cut_short());
  EXPECT_DOUBLE_EQ(found.smallest->distance, 1.414214);
  EXPECT_EQ(found.smallest->first, 0u);
  EXPECT_EQ(found.smallest->second, 1u);
  EXPECT_TRUE(found.short_ones.empty());
  EXPECT_EQ(seen.MeasureDistances(std::vector<double>(views.size(), 1.5)).short_ones.size(), 1000u);
  EXPECT_TRUE(seen.cut_short());
}

// Pieces in one place are as many pairs as the square of their number: some are named, and it is said.
TEST(Overlap, NamesSomeOfPiecesInOnePlace) {
  const Shape box = BoxAt(1, 2, 3, 4), other = BoxAt(10, 2, 3, 4);
  for (const auto& [count, all] : {std::pair(45, true), std::pair(46, false), std::pair(2000, false)}) {
    SeenFromAbove seen(std::vector<PlacedShape>(std::size_t(count), box.View()));
    const auto found = seen.FindOverlaps(0.001);
    const std::size_t pairs = std::size_t(count) * std::size_t(count - 1) / 2;
    EXPECT_EQ(found.size(), std::min<std::size_t>(pairs, 1000)) << count;
    EXPECT_EQ(seen.cut_short(), !all) << count;
    EXPECT_EQ(found.front().first, 0u);
    EXPECT_EQ(found.front().second, 1u);
  }
  // 1225 pairs that overlap, 1275 that are too near, and the smallest distance all the same.
  std::vector<PlacedShape> shapes(50, box.View());
  shapes.push_back(other.View());
  SeenFromAbove seen(shapes);
  const Distances found = seen.MeasureDistances(std::vector<double>(51, 100.0));
  EXPECT_EQ(found.short_ones.size(), 1000u);
  EXPECT_EQ(found.smallest->distance, 0);
  EXPECT_TRUE(seen.cut_short());
}

// The same returns as looking at every pair of facets, on many small random shapes.
TEST(Overlap, AgreesWithEveryPairOfFacets) {
  std::mt19937 random(3);
  const auto number = [&random](double low, double high) {
    return static_cast<float>(low + (high - low) * (random() / 4294967296.0));
  };
  const auto side = [](const PbVec3f& a, const PbVec3f& b, const PbVec3f& p) {
    return (double(b[0]) - a[0]) * (double(p[1]) - a[1]) - (double(b[1]) - a[1]) * (double(p[0]) - a[0]);
  };
  int overlapping = 0;
  for (int round = 0; round < 400; ++round) {
    Shape shapes[2];
    for (int s = 0; s < 2; ++s) {
      const float x = number(0, 30), y = number(0, 30);
      for (int f = 0; f < 60; ++f) {
        const int first = static_cast<int>(shapes[s].vertices.size());
        const float cx = x + number(0, 20), cy = y + number(0, 20), size = number(0.1, 4);
        for (int k = 0; k < 3; ++k) {
          shapes[s].vertices.emplace_back(cx + number(-size, size), cy + number(-size, size), number(0, 9));
        }
        shapes[s].triangles.emplace_back(first, first + 1, first + 2);
      }
    }
    // Two facets share an area when sides cross or a corner of one lies inside the other.
    bool any = false;
    for (const R_INT4& t : shapes[0].triangles) {
      for (const R_INT4& u : shapes[1].triangles) {
        const PbVec3f* a[3];
        const PbVec3f* b[3];
        for (int k = 0; k < 3; ++k) {
          a[k] = &shapes[0].vertices[static_cast<std::size_t>(t[k])];
          b[k] = &shapes[1].vertices[static_cast<std::size_t>(u[k])];
        }
        const auto inside = [&](const PbVec3f& p, const PbVec3f* const c[3]) {
          const double s0 = side(*c[0], *c[1], p), s1 = side(*c[1], *c[2], p), s2 = side(*c[2], *c[0], p);
          return (s0 > 0 && s1 > 0 && s2 > 0) || (s0 < 0 && s1 < 0 && s2 < 0);
        };
        for (int i = 0; i < 3; ++i) {
          any = any || inside(*a[i], b) || inside(*b[i], a);
          for (int j = 0; j < 3; ++j) {
            const PbVec3f &p = *a[i], &q = *a[(i + 1) % 3], &v = *b[j], &w = *b[(j + 1) % 3];
            any = any || (side(p, q, v) * side(p, q, w) < 0 && side(v, w, p) * side(v, w, q) < 0);
          }
        }
      }
    }
    // Without any allowance a shared area and a reach above zero are the same thing, hairs apart.
    const auto found = SeenFromAbove({shapes[0].View(), shapes[1].View()}).FindOverlaps(0);
    ASSERT_EQ(!found.empty(), any) << "round " << round;
    overlapping += any;
    const double distance = Distance(shapes[0], shapes[1]);
    ASSERT_EQ(distance == 0, any) << distance;
  }
  EXPECT_GT(overlapping, 50);
  EXPECT_LT(overlapping, 350);
}

TEST(Overlap, DistanceAgreesWithEveryPairOfCorners) {
  // Fine rings beside each other: between dense corners the distance differs from that of the circles by
  // little.
  const Shape a = RingAt(0, 0, 20, 15, 720), b = RingAt(47, 9, 20, 15, 720);
  const double wanted = std::hypot(47.0, 9.0) - 40;
  EXPECT_NEAR(Distance(a, b), wanted, 0.001);
  EXPECT_EQ(Distance(a, b), Distance(b, a));
}

Shape Facets(const std::vector<PbVec3f>& corners) {
  Shape shape;
  shape.vertices = corners;
  for (int k = 0; k < static_cast<int>(corners.size()); k += 3) shape.triangles.emplace_back(k, k + 1, k + 2);
  return shape;
}

TEST(Overlap, FacetsOfOneLineAreAsFarApartAsTheirEnds) {
  // Seen from above: segments of one line, whose only normal does not part them.
  const Shape a = Facets({{0, 0, 0}, {3, 4, 0}, {3, 4, 9}, {0, 0, 0}, {3, 4, 9}, {0, 0, 9}});
  const Shape b = Facets({{6, 8, 0}, {9, 12, 0}, {9, 12, 9}, {6, 8, 0}, {9, 12, 9}, {6, 8, 9}});
  EXPECT_EQ(Distance(a, b), 5);
  EXPECT_EQ(Distance(a, Facets({{4.5, 6, 0}, {4.5, 6, 1}, {4.5, 6, 2}})), 2.5);
  EXPECT_EQ(Distance(a, Facets({{1.5, 2, 0}, {4.5, 6, 1}, {6, 8, 2}})), 0);
}

// Looking at every pair would take minutes.
TEST(Overlap, StackedFacetsWhoseBoxesAllMeet) {
  std::mt19937 random(5);
  const auto shake = [&random] { return static_cast<float>(0.001 * (random() / 4294967296.0)); };
  std::vector<PbVec3f> below, above;
  for (int level = 0; level < 20000; ++level) {
    const auto z = static_cast<float>(level);
    below.insert(below.end(),
                 {{-shake(), -shake(), z}, {100 - shake(), -shake(), z}, {-shake(), 100 - shake(), z}});
    above.insert(above.end(), {{103 + shake(), 104 + shake(), z},
                               {3 + shake(), 104 + shake(), z},
                               {103 + shake(), 4 + shake(), z}});
  }
  // Without the shaking, x + y is 100 along one and 107 along the other.
  EXPECT_NEAR(Distance(Facets(below), Facets(above)), 7 / std::sqrt(2), 0.002);
  EXPECT_TRUE(Overlaps(Facets(below), Facets(above)).empty());
  above.insert(above.end(), {{40, 40, 0}, {45, 45, 0}, {45, 40, 0}});
  const std::vector<Overlap> found = Overlaps(Facets(below), Facets(above));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_NEAR(found[0].x, 42.5, 1e-6);
  EXPECT_NEAR(found[0].y, 42.5, 1e-6);
}

}  // namespace
}  // namespace trqprep
