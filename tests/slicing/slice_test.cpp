#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "slicing/contour_form.h"
#include "tests/support/rounds.h"
#include "trqprep/slicing.h"

namespace trqprep {
namespace {

// A mesh made by hand; corners with equal coordinates are one vertex.
class Soup {
 public:
  using Corner = std::array<float, 3>;
  void Add(const Corner& a, const Corner& b, const Corner& c) {
    R_INT4 triangle;
    triangle[0] = Number(a);
    triangle[1] = Number(b);
    triangle[2] = Number(c);
    triangle[3] = 0;
    triangles_.push_back(triangle);
  }
  void AddTetrahedron(const Corner& a, const Corner& b, const Corner& c, const Corner& d) {
    Add(a, c, b);
    Add(a, b, d);
    Add(b, c, d);
    Add(c, a, d);
  }
  // Of the box from the origin, facets outward; facet `flipped` the other way round, facet `missing` left
  // out.
  void AddBox(float x, float y, float z, int flipped = -1, int missing = -1, Corner at = {0, 0, 0}) {
    const auto corner = [&](int k) {
      return Corner{at[0] + (k & 1 ? x : 0), at[1] + (k & 2 ? y : 0), at[2] + (k & 4 ? z : 0)};
    };
    const int facets[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                               {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
    for (int i = 0; i < 12; ++i) {
      if (i == missing) continue;
      const int second = i == flipped ? 2 : 1;
      Add(corner(facets[i][0]), corner(facets[i][second]), corner(facets[i][3 - second]));
    }
  }
  trq::core::MeshView View() const {
    return {trq::Span<const PbVec3f>(vertices_.data(), vertices_.size()), vertices_.size(),
            trq::Span<const R_INT4>(triangles_.data(), triangles_.size())};
  }
  std::vector<R_INT4> triangles_;
  std::vector<PbVec3f> vertices_;

 private:
  int Number(const Corner& corner) {
    const auto [found, fresh] = numbers_.try_emplace(corner, int(vertices_.size()));
    if (fresh) vertices_.push_back(PbVec3f(corner[0], corner[1], corner[2]));
    return found->second;
  }
  std::map<Corner, int> numbers_;
};

SliceOptions KeepAll(int threads = 1) {
  SliceOptions options;
  options.tolerance = -1;
  options.unite = SliceUnion::kNever;
  options.threads = threads;
  return options;
}

double AreaOf(const SliceContour& contour) {
  double sum = 0;
  for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
    const SlicePoint &a = contour.points[i], &b = contour.points[i + 1];
    sum += double(a[0]) * double(b[1]) - double(a[1]) * double(b[0]);
  }
  return sum / 2;
}

double AreaOf(const std::vector<SliceContour>& layer) {
  double sum = 0;
  for (const SliceContour& contour : layer) sum += AreaOf(contour);
  return sum;
}

using Points = std::vector<SlicePoint>;

TEST(SliceMesh, ABoxGivesItsRectangle) {
  Soup soup;
  soup.AddBox(3, 2, 4);
  const Slices slices = SliceMesh(soup.View(), {1, 2});
  ASSERT_EQ(slices.layers.size(), 2u);
  for (const auto& layer : slices.layers) {
    ASSERT_EQ(layer.size(), 1u);
    EXPECT_TRUE(layer[0].closed);
    EXPECT_EQ(layer[0].points, (Points{{0, 0}, {3, 0}, {3, 2}, {0, 2}, {0, 0}}));
  }
  EXPECT_TRUE(slices.gaps.empty());
  // Every facet at the sides gives a point when none is left out: two more on each side of the rectangle.
  EXPECT_EQ(SliceMesh(soup.View(), {1}, KeepAll()).layers[0][0].points.size(), 9u);
}

TEST(SliceMesh, FlatFacesShowAsTheRuleSays) {
  Soup soup;
  soup.AddBox(3, 2, 4);
  SliceOptions top;
  top.in_plane_is_above = true;
  const std::vector<float> planes{0, 4};
  const Slices bottom = SliceMesh(soup.View(), planes), above = SliceMesh(soup.View(), planes, top);
  EXPECT_EQ(bottom.layers[0].size(), 1u);
  EXPECT_EQ(bottom.layers[1].size(), 0u);
  EXPECT_EQ(above.layers[0].size(), 0u);
  EXPECT_EQ(above.layers[1].size(), 1u);
}

TEST(SliceMesh, AHoleRunsClockwiseAndContoursStandInOrder) {
  Soup soup;
  soup.AddBox(10, 10, 10);
  Soup inner;
  inner.AddBox(4, 4, 4, -1, -1, {3, 3, 3});
  for (const R_INT4& facet : inner.triangles_) {  // turned inside out
    std::array<Soup::Corner, 3> corners;
    for (int k = 0; k < 3; ++k) {
      const PbVec3f& v = inner.vertices_[std::size_t(facet[k])];
      corners[std::size_t(k)] = {v[0], v[1], v[2]};
    }
    soup.Add(corners[0], corners[2], corners[1]);
  }
  const auto layer = SliceMesh(soup.View(), {5}).layers[0];
  ASSERT_EQ(layer.size(), 2u);
  EXPECT_EQ(layer[0].points[0], (SlicePoint{0, 0}));
  EXPECT_EQ(layer[1].points, (Points{{3, 3}, {3, 7}, {7, 7}, {7, 3}, {3, 3}}));
  EXPECT_EQ(AreaOf(layer), 100 - 16);
}

// Tetrahedra with corners on a coarse grid: faces, edges and corners that lie in each other and in planes, in
// every way.
Soup RandomTetrahedra(unsigned seed, int count, int grid) {
  std::mt19937 draw(seed);
  const auto corner = [&] {
    return Soup::Corner{float(int(draw() % unsigned(grid))), float(int(draw() % unsigned(grid))),
                        float(int(draw() % unsigned(grid)))};
  };
  Soup soup;
  for (int i = 0; i < count; ++i) {
    const Soup::Corner a = corner(), b = corner(), c = corner(), d = corner();
    soup.AddTetrahedron(a, b, c, d);
  }
  return soup;
}

// The sum over facets of what their segment adds to the area, computed on its own.
double AreaByFacets(const Soup& soup, double height, bool in_plane_is_above) {
  double sum = 0;
  for (const R_INT4& facet : soup.triangles_) {
    double down[2] = {}, up[2] = {};
    int crossings = 0;
    for (int k = 0; k < 3; ++k) {
      const PbVec3f& a = soup.vertices_[std::size_t(facet[k])];
      const PbVec3f& b = soup.vertices_[std::size_t(facet[(k + 1) % 3])];
      const auto above = [&](const PbVec3f& v) {
        return in_plane_is_above ? double(v[2]) >= height : double(v[2]) > height;
      };
      if (above(a) == above(b)) continue;
      ++crossings;
      const double share = (height - double(a[2])) / (double(b[2]) - double(a[2]));
      double* to = above(a) ? down : up;
      for (int i = 0; i < 2; ++i) to[i] = double(a[i]) + share * (double(b[i]) - double(a[i]));
    }
    if (crossings == 2) sum += (down[0] * up[1] - down[1] * up[0]) / 2;
  }
  return sum;
}

TEST(SliceMesh, BalancedMeshesGiveClosedContoursWhateverLiesInThePlane) {
  for (unsigned seed = 0; seed < unsigned(test_support::Rounds(400)); ++seed) {
    const Soup soup = RandomTetrahedra(seed, 1 + int(seed % 12), 3 + int(seed % 4));
    std::vector<float> planes;
    for (int k = -1; k <= 12; ++k) planes.push_back(float(k) * 0.5f);
    for (const bool above : {false, true}) {
      SliceOptions options = KeepAll();
      options.in_plane_is_above = above;
      const Slices slices = SliceMesh(soup.View(), planes, options);
      EXPECT_TRUE(slices.gaps.empty()) << seed;
      for (std::size_t k = 0; k < planes.size(); ++k) {
        for (const SliceContour& contour : slices.layers[k]) {
          EXPECT_TRUE(contour.closed && contour.gaps == 0) << seed;
          EXPECT_EQ(contour.points.front(), contour.points.back());
        }
        EXPECT_NEAR(AreaOf(slices.layers[k]), AreaByFacets(soup, double(planes[k]), above), 1e-4)
            << seed << " " << k;
      }
    }
  }
}

TEST(SliceMesh, TheAreasAddUpToTheVolume) {
  // Between neighbouring heights of vertices an area is a quadratic of the height, which two Gauss points
  // integrate.
  for (unsigned seed = 0; seed < unsigned(test_support::Rounds(50)); ++seed) {
    const Soup soup = RandomTetrahedra(1000 + seed, 6, 7);
    double volume = 0;
    for (const R_INT4& facet : soup.triangles_) {
      const auto at = [&](int k, int axis) { return double(soup.vertices_[std::size_t(facet[k])][axis]); };
      volume += (at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) -
                 at(0, 1) * (at(1, 0) * at(2, 2) - at(1, 2) * at(2, 0)) +
                 at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0))) /
                6;
    }
    std::vector<float> planes;
    for (int k = 0; k < 6; ++k) {
      for (const double side : {-1.0, 1.0}) planes.push_back(float(k + 0.5 + side * 0.5 / std::sqrt(3.0)));
    }
    const Slices slices = SliceMesh(soup.View(), planes, KeepAll());
    double sum = 0, scale = 1;
    for (const auto& layer : slices.layers) {
      sum += AreaOf(layer) / 2;
      for (const SliceContour& contour : layer) scale += std::abs(AreaOf(contour)) / 2;
    }
    EXPECT_NEAR(sum, volume, 2e-5 * scale) << seed;
  }
}

TEST(SliceMesh, AnyNumberOfThreadsGivesTheSame) {
  const Soup soup = RandomTetrahedra(7, 60, 20);
  std::vector<float> planes;
  for (int k = 0; k < 200; ++k) planes.push_back(0.1f * float(k));
  const Slices one = SliceMesh(soup.View(), planes, KeepAll(1));
  for (const int threads : {2, 3, 8}) {
    const Slices more = SliceMesh(soup.View(), planes, KeepAll(threads));
    for (std::size_t k = 0; k < planes.size(); ++k) {
      ASSERT_EQ(one.layers[k].size(), more.layers[k].size());
      for (std::size_t i = 0; i < one.layers[k].size(); ++i) {
        EXPECT_EQ(one.layers[k][i].points, more.layers[k][i].points);
      }
    }
  }
}

TEST(SliceMesh, MoreCrossingsThanAreHeldAtATime) {
  // Eight facets at the sides of a box, cut by half a million planes.
  Soup soup;
  soup.AddBox(3, 2, 4);
  std::vector<float> planes;
  for (int k = 1; k < 1 << 19; ++k) planes.push_back(4 * float(k) / float(1 << 19));
  const Slices slices = SliceMesh(soup.View(), planes);
  ASSERT_EQ(slices.layers.size(), planes.size());
  for (std::size_t k = 0; k < planes.size(); k += 97) {
    const auto alone = SliceMesh(soup.View(), {planes[k]}).layers[0];
    ASSERT_EQ(slices.layers[k].size(), 1u);
    ASSERT_EQ(alone.size(), 1u);
    ASSERT_EQ(slices.layers[k][0].points, alone[0].points);
  }
  for (const auto& layer : slices.layers) {
    ASSERT_EQ(layer.size(), 1u);
    ASSERT_TRUE(layer[0].closed);
    ASSERT_EQ(layer[0].points.size(), 5u);
    // What is left out moves a border of 10 by up to a ten-thousandth.
    ASSERT_NEAR(AreaOf(layer), 6, 10 * 1e-4);
  }
}

TEST(SliceMesh, MoreWorkThanIsAllowedIsAFault) {
  Soup soup;
  soup.AddBox(3, 2, 4);
  SliceOptions options;
  options.most_crossings = 8 * 99;  // of the facets at the sides
  std::vector<float> heights;
  for (int k = 1; k < 100; ++k) heights.push_back(float(k) / 32);
  EXPECT_EQ(SliceMesh(soup.View(), heights, options).fault, SliceFault::kNone);
  --options.most_crossings;
  const Slices none = SliceMesh(soup.View(), heights, options);
  EXPECT_EQ(none.fault, SliceFault::kCrossings);
  EXPECT_TRUE(none.layers.empty());
  // Sixteen for each of the twelve facets are allowed always.
  options.most_crossings = 0;
  heights.resize(24);
  EXPECT_EQ(SliceMesh(soup.View(), heights, options).fault, SliceFault::kNone);
  heights.push_back(3.5f);
  EXPECT_EQ(SliceMesh(soup.View(), heights, options).fault, SliceFault::kCrossings);

  // Facets that meet nothing: torn, and open where nothing lies near. The same for every number of threads.
  Soup torn;
  for (int i = 0; i < 100; ++i) {
    const float x = float(i);
    torn.Add({x, 0, 0}, {x + 0.5f, 0, 10}, {x, 3, 10});
  }
  const std::vector<float> planes{1, 2, 3, 4, 5, 6, 7, 8, 9};
  for (const int threads : {1, 2, 8}) {
    SliceOptions few;
    few.threads = threads;
    EXPECT_EQ(SliceMesh(torn.View(), planes, few).gaps.size(), 900u);
    few.most_steps = 1'000'000;
    const Slices faulty = SliceMesh(torn.View(), planes, few);
    EXPECT_EQ(faulty.fault, SliceFault::kSteps);
    EXPECT_TRUE(faulty.layers.empty() && faulty.gaps.empty());
  }

  // Needles through each other, a thousand in a row: half a million pairs to unite.
  Soup through;
  for (int i = 0; i < 1000; ++i) {
    const float x = float(i), y = float(1000 - i);
    through.AddTetrahedron({x, 0, 0}, {x + 0.5f, 0, 0}, {y, 1000, 0}, {x, 0, 9});
  }
  SliceOptions unite;
  unite.most_steps = 1'000'000;
  EXPECT_EQ(SliceMesh(through.View(), {1}, unite).fault, SliceFault::kSteps);
  unite.unite = SliceUnion::kNever;
  EXPECT_EQ(SliceMesh(through.View(), {1}, unite).fault, SliceFault::kNone);
}

TEST(SliceMesh, AFlippedFacetLeavesNoGap) {
  for (int flipped = 4; flipped < 12; ++flipped) {
    Soup soup;
    soup.AddBox(3, 2, 4, flipped);
    const Slices slices = SliceMesh(soup.View(), {1});
    ASSERT_EQ(slices.layers[0].size(), 1u);
    EXPECT_TRUE(slices.layers[0][0].closed);
    EXPECT_EQ(slices.layers[0][0].gaps, 0);
    EXPECT_EQ(AreaOf(slices.layers[0]), 6);
    EXPECT_TRUE(slices.gaps.empty());
  }
}

TEST(SliceMesh, EndsNearEachOtherAreJoinedAndToldOf) {
  // Without one facet of the side Y = 0 the contour at Z = 1 lacks a piece of that side: of facet 4, whose
  // corners are (0, 0, 0), (3, 0, 0), (0, 0, 4), from (0, 0) to (2.25, 0).
  Soup soup;
  soup.AddBox(3, 2, 4, -1, 4);
  SliceOptions options;
  options.close = 2.2;
  Slices slices = SliceMesh(soup.View(), {1}, options);
  ASSERT_EQ(slices.layers[0].size(), 1u);
  EXPECT_FALSE(slices.layers[0][0].closed);
  ASSERT_EQ(slices.gaps.size(), 1u);
  EXPECT_FALSE(slices.gaps[0].joined);
  EXPECT_EQ(slices.gaps[0].width, 2.25);
  options.close = 2.3;
  slices = SliceMesh(soup.View(), {1}, options);
  ASSERT_EQ(slices.layers[0].size(), 1u);
  EXPECT_TRUE(slices.layers[0][0].closed);
  EXPECT_EQ(slices.layers[0][0].gaps, 1);
  EXPECT_EQ(AreaOf(slices.layers[0]), 6);
  ASSERT_EQ(slices.gaps.size(), 1u);
  EXPECT_TRUE(slices.gaps[0].joined);
}

TEST(SliceMesh, WhatIsNoSurfaceEndsToo) {
  std::mt19937 draw(3);
  const float odd[] = {0,
                       1,
                       -1,
                       3.5f,
                       1e30f,
                       -1e38f,
                       std::numeric_limits<float>::infinity(),
                       std::numeric_limits<float>::quiet_NaN(),
                       1e-40f};
  for (int round = 0; round < 300; ++round) {
    Soup soup;
    for (int i = 0; i < 40; ++i) {
      PbVec3f vertex;
      for (int k = 0; k < 3; ++k) vertex[k] = draw() % 3 ? float(int(draw() % 7)) : odd[draw() % 9];
      soup.vertices_.push_back(vertex);
    }
    for (int i = 0; i < 60; ++i) {
      R_INT4 triangle;
      for (int k = 0; k < 3; ++k) triangle[k] = draw() % 20 ? int(draw() % 40) : int(draw());
      triangle[3] = 0;
      soup.triangles_.push_back(triangle);
    }
    SliceOptions options;
    options.close = round % 3 ? 1 : 0;
    options.threads = 1 + round % 2;
    const Slices slices = SliceMesh(soup.View(), {-1, 0, 1, 2.5f, 1e30f}, options);
    for (const auto& layer : slices.layers) {
      for (const SliceContour& contour : layer) {
        EXPECT_GE(contour.points.size(), 2u);
      }
    }
  }
}

TEST(SliceMesh, ManyFacetsOnOneEdgeAreJoinedInPairs) {
  // A box a hundred times in one place: a hundred contours, each whole.
  Soup soup;
  for (int i = 0; i < 100; ++i) soup.AddBox(3, 2, 4);
  const Slices slices = SliceMesh(soup.View(), {1}, KeepAll());
  EXPECT_EQ(AreaOf(slices.layers[0]), 600);
  EXPECT_TRUE(slices.gaps.empty());
  EXPECT_EQ(slices.united, 0u);
}

TEST(SliceMesh, ShellsThatOverlapAreUnitedWhereTheyDo) {
  // The second box stands on the first's upper half and beside it: over it from 2 to 4.
  Soup soup;
  soup.AddBox(4, 4, 4);
  soup.AddBox(4, 4, 4, -1, -1, {2, 2, 2});
  const std::vector<float> planes{1, 3, 5};
  const Slices slices = SliceMesh(soup.View(), planes);
  EXPECT_EQ(slices.united, 1u);
  EXPECT_TRUE(slices.inverted.empty());
  EXPECT_EQ(AreaOf(slices.layers[0]), 16);
  EXPECT_NEAR(AreaOf(slices.layers[1]), 28, 1e-6);
  EXPECT_EQ(slices.layers[1].size(), 1u);
  EXPECT_EQ(AreaOf(slices.layers[2]), 16);
  SliceOptions apart;
  apart.unite = SliceUnion::kNever;
  EXPECT_EQ(AreaOf(SliceMesh(soup.View(), planes, apart).layers[1]), 32);
  apart.unite = SliceUnion::kAlways;
  EXPECT_EQ(SliceMesh(soup.View(), planes, apart).united, 3u);
}

TEST(SliceMesh, WhatIsInsideOutIsSolidAndToldOf) {
  Soup soup;
  soup.AddBox(3, 2, 4);
  for (R_INT4& triangle : soup.triangles_) std::swap(triangle[0], triangle[1]);
  const Slices slices = SliceMesh(soup.View(), {1, 2});
  EXPECT_NEAR(AreaOf(slices.layers[0]), 6, 1e-6);
  ASSERT_EQ(slices.inverted.size(), 2u);
  EXPECT_EQ(slices.inverted[1].layer, 1u);
  EXPECT_NEAR(slices.inverted[1].area, 6, 1e-6);
}

TEST(ContourForm, BeginsAtTheLeastRotation) {
  std::mt19937 draw(1);
  for (int round = 0; round < 2000; ++round) {
    std::vector<SlicePoint> loop(1 + draw() % 9);
    for (SlicePoint& point : loop) point = {float(int(draw() % 3)), float(int(draw() % 2))};
    std::vector<SlicePoint> least = loop, turned = loop;
    for (std::size_t i = 0; i < loop.size(); ++i) {
      std::rotate(turned.begin(), turned.begin() + 1, turned.end());
      least = std::min(least, turned);
    }
    slicing::RotateToLeast(loop);
    EXPECT_EQ(loop, least);
  }
}

double DistanceToEdge(const SlicePoint& p, const SlicePoint& a, const SlicePoint& b) {
  const double x = double(b[0]) - double(a[0]), y = double(b[1]) - double(a[1]);
  const double px = double(p[0]) - double(a[0]), py = double(p[1]) - double(a[1]);
  const double square = x * x + y * y;
  const double along = square > 0 ? std::clamp((px * x + py * y) / square, 0.0, 1.0) : 0;
  return std::hypot(px - along * x, py - along * y);
}

TEST(ContourForm, WhatIsLeftOutLiesNearTheEdgeInItsPlace) {
  std::mt19937 draw(2);
  const auto some = [&](double scale) { return float(scale * (double(draw() % 2001) / 1000 - 1)); };
  std::size_t left_out = 0;
  for (int round = 0; round < 3000; ++round) {
    const double tolerance = 0.01;
    std::vector<SlicePoint> points{{0, 0}};
    const std::size_t n = 3 + draw() % 60;
    const float stepx = some(0.05), stepy = some(0.05);
    for (std::size_t i = 1; i < n; ++i) {
      SlicePoint next = points.back();
      const bool bend = draw() % 15 == 0;
      next[0] += (bend ? some(0.3) : stepx) + some(round % 3 ? 0.005 : 0.02);
      next[1] += (bend ? some(0.3) : stepy) + some(round % 3 ? 0.005 : 0.02);
      points.push_back(next);
    }
    std::vector<SlicePoint> kept = points;
    slicing::LeaveOut(kept, tolerance, false);
    ASSERT_EQ(kept.front(), points.front());
    ASSERT_EQ(kept.back(), points.back());
    // The kept points are a subsequence; between two of them everything is near the edge.
    std::size_t at = 0;
    for (std::size_t k = 0; k + 1 < kept.size(); ++k) {
      std::vector<SlicePoint> between;
      ++at;
      while (at < points.size() && points[at] != kept[k + 1]) between.push_back(points[at++]);
      ASSERT_LT(at, points.size());
      for (const SlicePoint& point : between) {
        EXPECT_LE(DistanceToEdge(point, kept[k], kept[k + 1]), tolerance * (1 + 1e-6));
      }
      left_out += between.size();
    }
    std::vector<SlicePoint> all = points;
    slicing::LeaveOut(all, -1, false);
    EXPECT_EQ(all, points);
  }
  EXPECT_GT(left_out, 20000u);
}

TEST(ContourForm, ALoopKeepsThreePoints) {
  std::vector<SlicePoint> thin{{0, 0}, {1, 0.00001f}, {2, 0}, {1, -0.00001f}, {0, 0}};
  const std::vector<SlicePoint> whole = thin;
  slicing::LeaveOut(thin, 1e-3, true);
  EXPECT_EQ(thin, whole);
}

}  // namespace
}  // namespace trqprep
