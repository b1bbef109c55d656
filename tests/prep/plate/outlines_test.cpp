#include "prep/plate/outlines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace trqprep {
namespace {

using nesting::Outline;
using nesting::Ring;

constexpr double kPi = 3.14159265358979323846;

struct Shape {
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;

  int Add(double x, double y, double z) {
    vertices.emplace_back(float(x), float(y), float(z));
    return int(vertices.size()) - 1;
  }
  void Facet(int a, int b, int c) { triangles.emplace_back(a, b, c); }
  void Quad(int a, int b, int c, int d) {
    Facet(a, b, c);
    Facet(a, c, d);
  }
  trq::core::MeshView View() const {
    return {{vertices.data(), vertices.size()}, vertices.size(), {triangles.data(), triangles.size()}};
  }
  SeenOutline Seen(double tolerance = 0.05, const Matrix4& matrix = {}) const {
    return OutlineFromAbove(View(), matrix, tolerance);
  }
};

// Walls between a polygon at the bottom and at the top, and the two lids, as fans about the first corner.
void AddPrism(Shape& shape, const std::vector<nesting::Point>& corners) {
  const int first = int(shape.vertices.size()), count = int(corners.size());
  for (const auto& corner : corners) {
    shape.Add(corner.x, corner.y, 0);
    shape.Add(corner.x, corner.y, 5);
  }
  for (int k = 0; k < count; ++k) {
    const int a = first + 2 * k, b = first + 2 * ((k + 1) % count);
    shape.Quad(a, b, b + 1, a + 1);
    if (k == 0 || k + 1 == count) continue;
    shape.Facet(first, b, a);
    shape.Facet(first + 1, a + 1, b + 1);
  }
}

// A ring of `sides` corners: lids and both walls.
Shape RingAt(double x, double y, double outer, double inner, int sides) {
  Shape ring;
  for (int k = 0; k < sides; ++k) {
    const double angle = 2 * kPi * k / sides;
    for (const double radius : {outer, inner}) {
      for (const double z : {0.0, 5.0})
        ring.Add(x + radius * std::cos(angle), y + radius * std::sin(angle), z);
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

Shape BallAt(double radius, int around, int up) {
  Shape ball;
  for (int i = 0; i <= up; ++i) {
    for (int k = 0; k < around; ++k) {
      const double height = kPi * (double(i) / up - 0.5), angle = 2 * kPi * k / around;
      ball.Add(radius * std::cos(height) * std::cos(angle), radius * std::cos(height) * std::sin(angle),
               radius * std::sin(height));
    }
  }
  for (int i = 0; i < up; ++i) {
    for (int k = 0; k < around; ++k) {
      const int a = i * around + k, b = i * around + (k + 1) % around;
      ball.Quad(a, b, b + around, a + around);
    }
  }
  return ball;
}

Shape Soup(std::mt19937& random, int facets, double field, double size) {
  std::uniform_real_distribution<double> unit(0, 1);
  Shape soup;
  for (int i = 0; i < facets; ++i) {
    const double x = field * unit(random), y = field * unit(random);
    for (int k = 0; k < 3; ++k) soup.Add(x + size * unit(random), y + size * unit(random), unit(random));
    soup.Facet(3 * i, 3 * i + 1, 3 * i + 2);
  }
  return soup;
}

double SignedArea(const Ring& ring) {
  double twice = 0;
  for (size_t i = 0; i < ring.size(); ++i) {
    const auto &p = ring[i], &q = ring[(i + 1) % ring.size()];
    twice += p.x * q.y - p.y * q.x;
  }
  return twice / 2;
}

double Area(const Outline& outline) {
  double area = 0;
  for (const auto& region : outline) {
    EXPECT_GT(SignedArea(region.outer), 0);
    area += SignedArea(region.outer);
    for (const Ring& hole : region.holes) {
      EXPECT_LT(SignedArea(hole), 0);
      area += SignedArea(hole);
    }
  }
  return area;
}

size_t Corners(const Outline& outline) {
  size_t corners = 0;
  for (const auto& region : outline) {
    corners += region.outer.size();
    for (const Ring& hole : region.holes) corners += hole.size();
  }
  return corners;
}

double ToSegment(double x, double y, double ax, double ay, double bx, double by) {
  const double dx = bx - ax, dy = by - ay, length = dx * dx + dy * dy;
  const double t = length > 0 ? std::clamp(((x - ax) * dx + (y - ay) * dy) / length, 0.0, 1.0) : 0;
  return std::hypot(x - ax - t * dx, y - ay - t * dy);
}

// Inside by the number of sides to the right.
bool Inside(const Outline& outline, double x, double y) {
  bool inside = false;
  const auto look = [&](const Ring& ring) {
    for (size_t i = 0; i < ring.size(); ++i) {
      const auto &p = ring[i], &q = ring[(i + 1) % ring.size()];
      if ((p.y > y) != (q.y > y) && x < p.x + (y - p.y) * (q.x - p.x) / (q.y - p.y)) inside = !inside;
    }
  };
  for (const auto& region : outline) {
    look(region.outer);
    for (const Ring& hole : region.holes) look(hole);
  }
  return inside;
}

// From a point to the nearest facet, seen from above; 0 inside.
double ToFacets(const Shape& shape, double x, double y) {
  double least = std::numeric_limits<double>::infinity();
  for (const R_INT4& t : shape.triangles) {
    const PbVec3f* v[3] = {&shape.vertices[size_t(t[0])], &shape.vertices[size_t(t[1])],
                           &shape.vertices[size_t(t[2])]};
    int left = 0, right = 0;
    for (int k = 0; k < 3; ++k) {
      const PbVec3f &a = *v[k], &b = *v[(k + 1) % 3];
      least = std::min(least, ToSegment(x, y, a[0], a[1], b[0], b[1]));
      const double turn = (double(b[0]) - a[0]) * (y - a[1]) - (double(b[1]) - a[1]) * (x - a[0]);
      left += turn > 0 ? 1 : 0;
      right += turn < 0 ? 1 : 0;
    }
    if (left == 3 || right == 3) return 0;
  }
  return least;
}

// Points about facets, and everywhere.
void ExpectCovers(const Shape& shape, const SeenOutline& seen, std::mt19937& random, int points) {
  std::uniform_real_distribution<double> unit(0, 1);
  double low[2] = {1e9, 1e9}, high[2] = {-1e9, -1e9};
  for (const PbVec3f& v : shape.vertices) {
    for (int k = 0; k < 2; ++k) {
      low[k] = std::min<double>(low[k], v[k]);
      high[k] = std::max<double>(high[k], v[k]);
    }
  }
  for (int i = 0; i < points; ++i) {
    double x = low[0] + (high[0] - low[0]) * (1.2 * unit(random) - 0.1);
    double y = low[1] + (high[1] - low[1]) * (1.2 * unit(random) - 0.1);
    if (i % 2 == 0) {
      const R_INT4& t = shape.triangles[random() % shape.triangles.size()];
      const PbVec3f &a = shape.vertices[size_t(t[0])], &b = shape.vertices[size_t(t[1])];
      const double along = unit(random), away = 2 * seen.grown * (2 * unit(random) - 1);
      x = a[0] + along * (b[0] - a[0]) + away;
      y = a[1] + along * (b[1] - a[1]) + away * (2 * unit(random) - 1);
    }
    const double distance = ToFacets(shape, x, y);
    if (distance == 0) {
      EXPECT_TRUE(Inside(seen.outline, x, y)) << "at " << x << ' ' << y;
    } else if (distance > seen.grown) {
      EXPECT_FALSE(Inside(seen.outline, x, y)) << "at " << x << ' ' << y;
    }
  }
}

TEST(Outlines, FewCornersAreExact) {
  Shape box;
  AddPrism(box, {{1, 2}, {31, 2}, {31, 22}, {1, 22}});
  const SeenOutline seen = box.Seen();
  ASSERT_EQ(seen.outline.size(), 1u);
  ASSERT_EQ(seen.outline[0].outer.size(), 4u);
  for (const auto& corner : seen.outline[0].outer) {
    EXPECT_TRUE(corner.x == 1 || corner.x == 31) << corner.x;
    EXPECT_TRUE(corner.y == 2 || corner.y == 22) << corner.y;
  }
  EXPECT_DOUBLE_EQ(Area(seen.outline), 600);
  EXPECT_LT(seen.grown, 1e-6);
}

TEST(Outlines, HalfOfAFrameIsHole) {
  const Shape frame = RingAt(0, 0, 10 * std::sqrt(2.0), 6 * std::sqrt(2.0), 4);
  const SeenOutline seen = frame.Seen();
  ASSERT_EQ(seen.outline.size(), 1u);
  ASSERT_EQ(seen.outline[0].holes.size(), 1u);
  EXPECT_NEAR(Area(seen.outline), 400 - 144, 1e-4);
}

TEST(Outlines, RingOfManyCornersIsGrownByTheToleranceAtMost) {
  const int sides = 720;
  const Shape ring = RingAt(40, 40, 30, 20, sides);
  const double area = sides / 2.0 * std::sin(2 * kPi / sides) * (30 * 30 - 20 * 20);
  for (const double tolerance : {0.01, 0.05, 0.2}) {
    const SeenOutline seen = ring.Seen(tolerance);
    EXPECT_DOUBLE_EQ(seen.grown, tolerance);
    ASSERT_EQ(seen.outline.size(), 1u);
    EXPECT_EQ(seen.outline[0].holes.size(), 1u);
    EXPECT_GT(Area(seen.outline), area);
    EXPECT_LT(Area(seen.outline), area + 2 * kPi * (30 + 20) * tolerance);
    // Chords that leave the arc by a third of the tolerance; each ends at a corner, so they are shorter.
    const double fewest = kPi / std::acos(1 - tolerance / 3 / 30) + kPi / std::acos(1 - tolerance / 3 / 20);
    EXPECT_LT(double(Corners(seen.outline)), 1.4 * fewest);
    for (const auto& corner : seen.outline[0].outer) {
      EXPECT_TRUE(corner.x >= 10 && corner.x <= 70 && corner.y >= 10 && corner.y <= 70);
    }
    std::mt19937 random(1);
    ExpectCovers(ring, seen, random, 2000);
  }
}

TEST(Outlines, BallIsADisc) {
  const Shape ball = BallAt(25, 200, 100);
  const SeenOutline seen = ball.Seen();
  const double area = 100 * std::sin(2 * kPi / 200) * 25 * 25;
  EXPECT_GT(Area(seen.outline), area);
  EXPECT_LT(Area(seen.outline), area + 2 * kPi * 25 * 0.05);
  EXPECT_LT(Corners(seen.outline), 120u);
}

TEST(Outlines, FacetsCountWhicheverWayTheyFace) {
  Shape ball = BallAt(25, 40, 20);
  const double closed = Area(ball.Seen().outline);
  for (size_t i = 0; i < ball.triangles.size(); i += 3) std::swap(ball.triangles[i][0], ball.triangles[i][1]);
  EXPECT_DOUBLE_EQ(Area(ball.Seen().outline), closed);
  ball.triangles.resize(ball.triangles.size() / 2);  // the lower half, open above
  EXPECT_DOUBLE_EQ(Area(ball.Seen().outline), closed);
}

TEST(Outlines, ShellsThatOverlapAreOneRegion) {
  Shape cross;
  AddPrism(cross, {{0, 8}, {20, 8}, {20, 12}, {0, 12}});
  AddPrism(cross, {{8, 0}, {12, 0}, {12, 20}, {8, 20}});
  AddPrism(cross, {{30, 0}, {40, 0}, {40, 10}, {30, 10}});
  const SeenOutline seen = cross.Seen();
  EXPECT_EQ(seen.outline.size(), 2u);
  EXPECT_EQ(Corners(seen.outline), 16u);
  EXPECT_NEAR(Area(seen.outline), 80 + 80 - 16 + 100, 1e-4);
}

TEST(Outlines, UprightSheetIsALine) {
  Shape sheet;
  sheet.Quad(sheet.Add(0, 0, 0), sheet.Add(30, 10, 0), sheet.Add(30, 10, 7), sheet.Add(0, 0, 7));
  const SeenOutline seen = sheet.Seen();
  ASSERT_EQ(seen.outline.size(), 1u);
  EXPECT_GT(Area(seen.outline), 0);
  EXPECT_LT(Area(seen.outline), 32 * 1e-5);
  for (const double t : {0.01, 0.3, 0.99}) EXPECT_TRUE(Inside(seen.outline, 30 * t, 10 * t));
  // Beside an area it is seen as well.
  AddPrism(sheet, {{100, 0}, {110, 0}, {110, 10}, {100, 10}});
  EXPECT_EQ(sheet.Seen().outline.size(), 2u);
  Shape wall;
  wall.Quad(wall.Add(5, 0, 0), wall.Add(5, 9, 0), wall.Add(5, 9, 7), wall.Add(5, 0, 7));
  ASSERT_EQ(wall.Seen().outline.size(), 1u);
  EXPECT_NEAR(Area(wall.Seen().outline), 0, 1e-5);
}

TEST(Outlines, NothingIsNoOutline) {
  EXPECT_TRUE(Shape().Seen().outline.empty());
  Shape broken;
  broken.Facet(broken.Add(0, 0, 0), broken.Add(1, std::numeric_limits<double>::quiet_NaN(), 0),
               broken.Add(1, 1, 0));
  EXPECT_TRUE(broken.Seen().outline.empty());
  Shape point;
  point.Facet(point.Add(3, 4, 0), point.Add(3, 4, 1), point.Add(3, 4, 2));
  ASSERT_EQ(point.Seen().outline.size(), 1u);
  EXPECT_NEAR(point.Seen().outline[0].outer[0].x, 3, 1e-6);
  // A vertex that no facet has counts for nothing.
  broken.triangles.clear();
  broken.Add(1000, 1000, 0);
  AddPrism(broken, {{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  EXPECT_DOUBLE_EQ(Area(broken.Seen().outline), 100);
}

TEST(Outlines, MatrixMovesAndScales) {
  Shape box;
  AddPrism(box, {{1, 2}, {31, 2}, {31, 22}, {1, 22}});
  const Matrix4 matrix = Compose(Matrix4::Rotation(2, 30), Matrix4::Scaling(0.5, 0.5, 0.5));
  const SeenOutline seen = box.Seen(0.05, matrix);
  EXPECT_NEAR(Area(seen.outline), 150, 1e-4);
  for (const double x : {1.001, 30.999}) {
    for (const double y : {2.001, 21.999}) {
      const Point p = matrix.Apply({x, y, 0});
      EXPECT_TRUE(Inside(seen.outline, p[0], p[1]));
    }
  }
}

// Against each facet for itself: few large ones, which are united exactly, and so many that they are not.
TEST(Outlines, DifferentialCoversFacetsAndNothingFarFromThem) {
  std::mt19937 random(7);
  struct Case {
    int facets;
    double size;
    double tolerance;
  };
  for (const Case& c : {Case{3, 30, 0.05}, Case{40, 20, 0.05}, Case{300, 5, 0.3}, Case{3000, 4, 0.05},
                        Case{20000, 2, 0.05}, Case{20000, 0.2, 0.8}, Case{4000, 40, 0.02}}) {
    const Shape soup = Soup(random, c.facets, 40, c.size);
    const SeenOutline seen = soup.Seen(c.tolerance);
    EXPECT_LE(seen.grown, c.tolerance * 1.0001) << c.facets << ' ' << c.size;
    ExpectCovers(soup, seen, random, c.facets > 1000 ? 300 : 3000);
  }
}

TEST(Outlines, StaysInTheBoxOfTheFacets) {
  std::mt19937 random(9);
  for (const int facets : {100, 20000}) {
    const Shape soup = Soup(random, facets, 40, 1);
    Box box;
    for (const PbVec3f& v : soup.vertices) box.Add(PointOf(v));
    for (const auto& region : soup.Seen().outline) {
      for (const auto& corner : region.outer) {
        EXPECT_TRUE(corner.x >= box.min[0] && corner.x <= box.max[0]);
        EXPECT_TRUE(corner.y >= box.min[1] && corner.y <= box.max[1]);
      }
    }
  }
}

TEST(Outlines, DoesNotDependOnTheOrderOfFacets) {
  std::mt19937 random(11);
  for (const int facets : {30, 5000}) {
    Shape soup = Soup(random, facets, 40, 2);
    const double area = Area(soup.Seen().outline);
    std::shuffle(soup.triangles.begin(), soup.triangles.end(), random);
    EXPECT_NEAR(Area(soup.Seen().outline), area, 1e-3);
  }
}

// Sheets that all end about the same line: each is looked at along all of it.
TEST(Outlines, TakesBoundedTimeGrowingMore) {
  std::mt19937 random(13);
  std::uniform_real_distribution<double> unit(0, 1);
  Shape sheets;
  for (int i = 0; i < 20000; ++i) {
    const double angle = 0.001 * unit(random), c = 200 * std::cos(angle), s = 200 * std::sin(angle);
    sheets.Quad(sheets.Add(0, 0, i), sheets.Add(c, s, i), sheets.Add(c - s, c + s, i), sheets.Add(-s, c, i));
  }
  const SeenOutline seen = sheets.Seen();
  EXPECT_GT(seen.grown, 0.05);
  ExpectCovers(sheets, seen, random, 50);
}

}  // namespace
}  // namespace trqprep
