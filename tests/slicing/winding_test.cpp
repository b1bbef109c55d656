#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "slicing/unite.h"
#include "slicing/winding_sweep.h"
#include "trqprep/slicing.h"

namespace trqprep {
namespace {

using Loop = std::vector<SlicePoint>;

SliceContour Closed(Loop points) {
  SliceContour contour;
  contour.points = std::move(points);
  contour.points.push_back(contour.points.front());
  return contour;
}

SliceContour Square(float x, float y, float side, bool clockwise = false) {
  Loop points{{x, y}, {x + side, y}, {x + side, y + side}, {x, y + side}};
  if (clockwise) std::reverse(points.begin(), points.end());
  return Closed(points);
}

bool Leaves(const std::vector<SliceContour>& contours) {
  std::vector<const SliceContour*> all;
  for (const SliceContour& contour : contours) all.push_back(&contour);
  return slicing::LeavesOneAndNone(all);
}

double AreaOf(const std::vector<SliceContour>& contours) {
  double twice = 0;
  for (const SliceContour& contour : contours) {
    for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
      const SlicePoint &a = contour.points[i], &b = contour.points[i + 1];
      twice += double(a[0]) * double(b[1]) - double(b[0]) * double(a[1]);
    }
  }
  return twice / 2;
}

TEST(Winding, OneContourAndItsHole) {
  EXPECT_FALSE(Leaves({}));
  EXPECT_FALSE(Leaves({Square(0, 0, 4)}));
  EXPECT_FALSE(Leaves({Square(0, 0, 4), Square(1, 1, 2, true)}));
  EXPECT_FALSE(Leaves({Square(0, 0, 4), Square(1, 1, 2, true), Square(1.5f, 1.5f, 1)}));
  EXPECT_TRUE(Leaves({Square(0, 0, 4, true)}));                     // inside out
  EXPECT_TRUE(Leaves({Square(0, 0, 4), Square(1, 1, 2)}));          // twice inside
  EXPECT_TRUE(Leaves({Square(1, 1, 2, true)}));                     // a hole in nothing
  EXPECT_TRUE(Leaves({Square(0, 0, 2), Square(1, 1, 2)}));          // over each other
  EXPECT_TRUE(Leaves({Square(0, 0, 2), Square(0, 0, 2)}));          // the same twice
  EXPECT_TRUE(Leaves({Closed({{0, 0}, {2, 2}, {2, 0}, {0, 2}})}));  // an eight
}

TEST(Winding, WhatTouchesIsNotOver) {
  EXPECT_FALSE(Leaves({Square(0, 0, 2), Square(2, 0, 2)}));                   // a whole side
  EXPECT_FALSE(Leaves({Square(0, 0, 2), Square(2, 1, 2)}));                   // half a side
  EXPECT_FALSE(Leaves({Square(0, 0, 2), Square(2, 2, 2)}));                   // a corner
  EXPECT_FALSE(Leaves({Square(0, 0, 2), Square(0, 0, 2, true)}));             // nothing is left
  EXPECT_FALSE(Leaves({Square(0, 0, 4), Square(0, 1, 2, true)}));             // a hole at the wall
  EXPECT_FALSE(Leaves({Square(0, 0, 2), Closed({{2, 1}, {3, 0}, {3, 2}})}));  // a corner at a side
  // A spike that goes out and comes back.
  EXPECT_FALSE(Leaves({Closed({{0, 0}, {2, 0}, {2, 1}, {5, 1}, {2, 1}, {2, 2}, {0, 2}})}));
  // By the least that floats can tell.
  const float past = std::nextafter(2.0f, 0.0f);
  EXPECT_TRUE(Leaves({Square(0, 0, 2), Square(past, 0, 2)}));
}

// The winding number of a point that lies on no edge, by the half line to the right.
int WindingOf(const std::vector<SliceContour>& contours, double x, double y) {
  int winding = 0;
  for (const SliceContour& contour : contours) {
    for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
      const double ax = double(contour.points[i][0]), ay = double(contour.points[i][1]);
      const double bx = double(contour.points[i + 1][0]), by = double(contour.points[i + 1][1]);
      if ((ay > y) == (by > y)) continue;
      if (ax + (y - ay) / (by - ay) * (bx - ax) > x) winding += by > ay ? 1 : -1;
    }
  }
  return winding;
}

// Every face has a corner where edges meet: looks between all neighbouring directions at all such points.
bool LeavesByTrial(const std::vector<SliceContour>& contours) {
  struct Segment {
    double ax, ay, bx, by;
  };
  std::vector<Segment> segments;
  for (const SliceContour& contour : contours) {
    for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
      const SlicePoint &a = contour.points[i], &b = contour.points[i + 1];
      if (a != b) segments.push_back({double(a[0]), double(a[1]), double(b[0]), double(b[1])});
    }
  }
  std::vector<std::pair<double, double>> corners;
  for (const Segment& s : segments) {
    corners.emplace_back(s.ax, s.ay);
    for (const Segment& t : segments) {
      const double det = (s.bx - s.ax) * (t.by - t.ay) - (s.by - s.ay) * (t.bx - t.ax);
      if (det == 0) continue;
      const double u = ((t.ax - s.ax) * (t.by - t.ay) - (t.ay - s.ay) * (t.bx - t.ax)) / det;
      if (u >= 0 && u <= 1) corners.emplace_back(s.ax + u * (s.bx - s.ax), s.ay + u * (s.by - s.ay));
    }
  }
  for (const auto& [x, y] : corners) {
    std::vector<double> angles;
    for (const Segment& s : segments) {
      const double length = std::hypot(s.bx - s.ax, s.by - s.ay);
      if (std::abs((s.bx - s.ax) * (y - s.ay) - (s.by - s.ay) * (x - s.ax)) > 1e-9 * length) continue;
      angles.push_back(std::atan2(s.by - s.ay, s.bx - s.ax));
      angles.push_back(std::atan2(s.ay - s.by, s.ax - s.bx));
    }
    std::sort(angles.begin(), angles.end());
    for (std::size_t i = 0; i < angles.size(); ++i) {
      const double next = i + 1 < angles.size() ? angles[i + 1] : angles[0] + 2 * 3.14159265358979323846;
      if (next - angles[i] < 1e-9) continue;
      const double middle = 0.5 * (angles[i] + next);
      const int winding = WindingOf(contours, x + 1e-5 * std::cos(middle), y + 1e-5 * std::sin(middle));
      if (winding != 0 && winding != 1) return true;
    }
  }
  return false;
}

bool HasCrossing(const std::vector<SliceContour>& contours) {
  Loop ends;
  for (const SliceContour& contour : contours) {
    for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
      ends.push_back(contour.points[i]);
      ends.push_back(contour.points[i + 1]);
    }
  }
  const auto side = [&](std::size_t edge, std::size_t point) {
    const SlicePoint &a = ends[edge], &b = ends[edge + 1], &c = ends[point];
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);  // of small whole numbers
  };
  for (std::size_t s = 0; s < ends.size(); s += 2) {
    for (std::size_t t = 0; t < s; t += 2) {
      if (side(s, t) * side(s, t + 1) < 0 && side(t, s) * side(t, s + 1) < 0) return true;
    }
  }
  return false;
}

TEST(Winding, EqualsTrialsOnSmallGrids) {
  std::mt19937 draw(7);
  int leaves = 0, stays = 0, folds = 0;
  for (int round = 0; round < 20000; ++round) {
    std::vector<SliceContour> contours;
    const std::size_t count = 1 + draw() % 3;
    for (std::size_t i = 0; i < count; ++i) {
      Loop points;
      const std::size_t n = 3 + draw() % 3;
      for (std::size_t k = 0; k < n; ++k) points.push_back({float(draw() % 5), float(draw() % 5)});
      // Mostly the other way round when it is clockwise, so that both answers are common.
      if (AreaOf({Closed(points)}) < 0 && draw() % 4 != 0) std::reverse(points.begin(), points.end());
      contours.push_back(Closed(points));
    }
    const bool expected = LeavesByTrial(contours);
    // Across a fold without width.
    if (!expected && HasCrossing(contours)) {
      ++folds;
      continue;
    }
    ASSERT_EQ(Leaves(contours), expected) << "round " << round;
    (expected ? leaves : stays) += 1;
  }
  EXPECT_GT(leaves, 3000);
  EXPECT_GT(stays, 2000);
  EXPECT_LT(folds, 1000);
}

slicing::Union Unite(std::vector<SliceContour>& contours, bool always = false) {
  slicing::Allowance steps(1'000'000);
  return slicing::UniteLayer(contours, always, slicing::GridOf(100), 0, steps);
}

TEST(Union, OnlyWhatGoesOverEachOther) {
  std::vector<SliceContour> contours{Square(0, 0, 2), Square(1, 1, 2), Square(10.1f, 10.1f, 1)};
  const SliceContour apart = contours[2];
  EXPECT_TRUE(Unite(contours).changed);
  ASSERT_EQ(contours.size(), 2u);
  EXPECT_EQ(contours[0].points, apart.points);
  EXPECT_NEAR(AreaOf({contours[1]}), 7, 1e-6);
  EXPECT_EQ(contours[1].points.front(), contours[1].points.back());
  EXPECT_EQ(contours[1].points.front(), (SlicePoint{0, 0}));
  EXPECT_FALSE(Unite(contours).changed);
}

TEST(Union, AHoleThatIsLeft) {
  // A frame of four bars that lie over each other at its corners.
  const auto bar = [](float x, float y, float width, float height) {
    return Closed({{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}});
  };
  std::vector<SliceContour> contours{bar(0, 0, 10, 1), bar(0, 9, 10, 1), bar(0, 0, 1, 10), bar(9, 0, 1, 10)};
  const slicing::Union united = Unite(contours);
  EXPECT_TRUE(united.changed);
  EXPECT_EQ(united.inverted_area, 0);
  ASSERT_EQ(contours.size(), 2u);
  EXPECT_NEAR(AreaOf(contours), 36, 1e-6);
  EXPECT_NEAR(std::min(AreaOf({contours[0]}), AreaOf({contours[1]})), -64, 1e-6);
}

TEST(Union, WhatIsInsideOutBecomesSolid) {
  std::vector<SliceContour> contours{Square(0, 0, 3, true)};
  const slicing::Union united = Unite(contours);
  EXPECT_TRUE(united.changed);
  EXPECT_NEAR(united.inverted_area, 9, 1e-6);
  ASSERT_EQ(contours.size(), 1u);
  EXPECT_NEAR(AreaOf(contours), 9, 1e-6);
}

TEST(Union, WhatIsNoNumberStays) {
  const float nan = std::nanf("");
  std::vector<SliceContour> contours{Square(0, 0, 2), Square(1, 1, 2), Closed({{0, 0}, {nan, 1}, {2, 2}})};
  Unite(contours, true);
  ASSERT_EQ(contours.size(), 2u);
  EXPECT_TRUE(std::isnan(contours[0].points[1][0]));
}

TEST(Union, ManyInRows) {
  // Pairs that overlap, in a grid: each becomes one, whatever the others do.
  std::vector<SliceContour> contours;
  for (int i = 0; i < 20; ++i) {
    for (int k = 0; k < 20; ++k) {
      contours.push_back(Square(float(i) * 4, float(k) * 4, 2));
      if ((i + k) % 2 == 0) contours.push_back(Square(float(i) * 4 + 1, float(k) * 4 + 1, 2));
    }
  }
  EXPECT_TRUE(Unite(contours).changed);
  EXPECT_EQ(contours.size(), 400u);
  EXPECT_NEAR(AreaOf(contours), 200 * 4 + 200 * 7, 1e-3);
}

}  // namespace
}  // namespace trqprep
