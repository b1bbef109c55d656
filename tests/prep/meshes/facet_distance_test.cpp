#include "trqprep/facet_distance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/support/meshes.h"

namespace trqprep {
namespace {

using test_support::MakeMesh;

const Corners kRight{Point{0, 0, 0}, Point{4, 0, 0}, Point{0, 4, 0}};

TEST(NearestOnTriangle, LiesInItsInsideOnItsEdgesAndAtItsCorners) {
  EXPECT_EQ(NearestOnTriangle({1, 1, 7}, kRight), (Point{1, 1, 0}));
  EXPECT_EQ(NearestOnTriangle({1, -3, 7}, kRight), (Point{1, 0, 0}));
  EXPECT_EQ(NearestOnTriangle({-3, 1, 0}, kRight), (Point{0, 1, 0}));
  EXPECT_EQ(NearestOnTriangle({4, 4, 1}, kRight), (Point{2, 2, 0}));
  EXPECT_EQ(NearestOnTriangle({-1, -1, 0}, kRight), kRight[0]);
  EXPECT_EQ(NearestOnTriangle({9, -1, 0}, kRight), kRight[1]);
  EXPECT_EQ(NearestOnTriangle({-1, 9, 0}, kRight), kRight[2]);
}

TEST(NearestOnTriangle, WithoutAreaIsALineOrAPoint) {
  const Point a{0, 0, 0}, b{4, 0, 0}, middle{1, 0, 0}, above{3, 5, 0};
  for (const Corners& line : {Corners{a, a, b}, Corners{a, b, a}, Corners{b, a, a}, Corners{a, b, b},
                              Corners{a, middle, b}, Corners{middle, b, a}, Corners{b, a, middle}}) {
    EXPECT_EQ(NearestOnTriangle(above, line), (Point{3, 0, 0}));
    EXPECT_EQ(NearestOnTriangle({-1, 1, 0}, line), a);
    EXPECT_EQ(NearestOnTriangle({9, 1, 0}, line), b);
  }
  EXPECT_EQ(NearestOnTriangle(above, Corners{b, b, b}), b);
}

TEST(NearestOnTriangle, OfANeedleIsNotLostInRounding) {
  // 1000 long and 2^-20 wide: its edges are 1e-6 apart, and so far may the result be off at most.
  const double width = std::ldexp(1.0, -20);
  const Corners needle{Point{0, 0, 0}, Point{1000, width, 0}, Point{1000, 0, 0}};
  std::mt19937 random(7);
  std::uniform_real_distribution<double> along(0, 1000), away(-50, 50);
  for (int i = 0; i < 1000; ++i) {
    const Point p{along(random), away(random), away(random)};
    const double exact = std::hypot(p[1], p[2]);
    EXPECT_NEAR(Norm(Minus(p, NearestOnTriangle(p, needle))), exact, 1.1 * width);
  }
}

TEST(FacetDistances, WithoutFacetsAreInfinite) {
  EXPECT_EQ(FacetDistances(CTL()).From({1, 2, 3}), std::numeric_limits<double>::infinity());
}

TEST(FacetDistances, OfACube) {
  const FacetDistances cube(test_support::Cube(10));
  EXPECT_DOUBLE_EQ(cube.From({5, 5, 4}), 4);
  EXPECT_DOUBLE_EQ(cube.From({5, 5, 11}), 1);
  EXPECT_DOUBLE_EQ(cube.From({13, 14, 5}), 5);
  EXPECT_DOUBLE_EQ(cube.From({-2, -3, -6}), 7);
  EXPECT_DOUBLE_EQ(cube.From({10, 0, 10}), 0);
}

TEST(FacetDistances, LeavesOutWhatIsNotFinite) {
  CTL mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {INFINITY, 0, 0}, {NAN, 0, 0}},
                      {{0, 1, 3}, {0, 1, 4}, {0, 1, 2}});
  const FacetDistances distances(mesh);
  for (const int near_facet : {-1, 0, 1, 2, 99}) EXPECT_DOUBLE_EQ(distances.From({0, 0, 3}, near_facet), 3);
}

TEST(FacetDistances, OfManyPointsAreThoseOfEach) {
  const FacetDistances cube(test_support::Cube(10));
  std::mt19937 random(12);
  std::uniform_real_distribution<double> coordinate(-20, 30);
  EXPECT_TRUE(cube.From(std::vector<trqprep::Point>()).empty());
  for (const int flat : {-1, 0, 1, 2}) {  // points of a plane, which has no extent along an axis
    std::vector<trqprep::Point> points;
    for (int i = 0; i < 500; ++i) {
      points.push_back({coordinate(random), coordinate(random), coordinate(random)});
      if (flat >= 0) points.back()[static_cast<std::size_t>(flat)] = 3;
    }
    points.push_back(points[7]);
    const auto distances = cube.From(points);
    ASSERT_EQ(distances.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) EXPECT_EQ(distances[i], cube.From(points[i]));
  }
}

TEST(FacetDistances, DifferentialAgainstALookAtEveryFacet) {
  std::mt19937 random(11);
  std::uniform_real_distribution<float> coordinate(-10, 10);
  for (int round = 0; round < 24; ++round) {
    std::vector<test_support::Point> vertices;
    std::vector<test_support::Indices> facets;
    const int count = 1 + static_cast<int>(random() % 100);
    for (int i = 0; i < 3 * count; ++i) {
      // Every third round is flat, every fourth full of equal coordinates.
      const auto next = [&] {
        const float value = coordinate(random);
        return round % 4 == 0 ? std::round(value) : value;
      };
      vertices.push_back({next(), next(), round % 3 == 0 ? 0 : next()});
    }
    for (int i = 0; i < count; ++i) facets.push_back({3 * i, 3 * i + 1, 3 * i + 2});
    const CTL mesh = MakeMesh(vertices, facets);
    const FacetDistances distances(mesh);
    for (int i = 0; i < 30; ++i) {
      const Point p{2.0 * coordinate(random), coordinate(random), coordinate(random)};
      double wanted = std::numeric_limits<double>::infinity();
      for (int facet = 0; facet < count; ++facet)
        wanted = std::min(wanted, Norm(Minus(p, NearestOnTriangle(p, CornersOf(mesh, facet)))));
      EXPECT_EQ(distances.From(p), wanted);
      EXPECT_EQ(distances.From(p, i % count), wanted);
    }
  }
}

TEST(FacetDistances, OfAWheelOfSpokesLookAtFewOfThem) {
  // Every spoke's box holds the middle, and those of a quarter of them hold each middle of another.
  constexpr int kSpokes = 20000;
  std::vector<test_support::Point> vertices{{0, 0, 10}};
  std::vector<test_support::Indices> facets;
  for (int i = 0; i < kSpokes; ++i) {
    const double angle = 2 * 3.14159265358979 * i / kSpokes;
    vertices.push_back(
        {static_cast<float>(40 * std::cos(angle)), static_cast<float>(40 * std::sin(angle)), 0});
    facets.push_back({0, 1 + i, 1 + (i + 1) % kSpokes});
  }
  const CTL wheel = MakeMesh(vertices, facets);
  const FacetDistances distances(wheel);
  for (int i = 0; i < kSpokes; ++i) {
    const double angle = 2 * 3.14159265358979 * (i + 0.5) / kSpokes;
    const Point below{20 * std::cos(angle), 20 * std::sin(angle), 4};
    // The slope falls by 10 over 40, so a point 1 below it is 4 / sqrt(17) away.
    ASSERT_NEAR(distances.From(below, i), 4 / std::sqrt(17.0), 1e-5);
  }
  EXPECT_LT(distances.steps(), 200u * kSpokes);
}

TEST(FacetDistances, OfFarPointsLookAtFewFacets) {
  // From afar, the boxes of a quarter of a ball are about equally near.
  const FacetDistances ball(test_support::Sphere(40, 316, 158));
  std::mt19937 random(4);
  std::normal_distribution<double> away;
  constexpr int kPoints = 2000;
  for (int i = 0; i < kPoints; ++i) {
    Point point{away(random), away(random), away(random)};
    const double length = Norm(point) / 1040;
    for (double& c : point) c /= length;
    // The facets' middles lie within the ball by less than 40 * (1 - cos(pi / 158)).
    ASSERT_NEAR(ball.From(point), 1000, 0.008);
  }
  EXPECT_LT(ball.steps(), 250u * kPoints);
}

}  // namespace
}  // namespace trqprep
