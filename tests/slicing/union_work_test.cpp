#include "slicing/union_work.h"

#include <gtest/gtest.h>

#include "slicing/unite.h"

namespace trqprep::slicing {
namespace {

constexpr std::uint64_t kMany = 1u << 30;

// Slanting bars whose lower ends stand in a row and whose upper ends stand in the opposite one.
ClipperLib::Paths Fan(int count) {
  ClipperLib::Paths bars;
  for (int i = 0; i < count; ++i) {
    const ClipperLib::cInt low = 2 * i, high = 2 * (count - 1 - i);
    bars.push_back({{low, 0}, {low + 1, 0}, {high + 1, 1000}, {high, 1000}});
  }
  return bars;
}

TEST(UnionSteps, CountsEdgesAtEveryHeight) {
  EXPECT_EQ(UnionSteps({}, kMany), 0u);
  // One path begins, and two edges are met.
  EXPECT_EQ(UnionSteps({{{0, 0}, {9, 0}, {9, 9}, {0, 9}}}, kMany), 8u * 2 * 2);
  // Beside it a triangle with its point down: at 0 four edges and two paths, at 5 four, at 9 none.
  EXPECT_EQ(UnionSteps({{{0, 0}, {9, 0}, {9, 9}, {0, 9}}, {{20, 0}, {29, 9}, {20, 5}}}, kMany),
            8u * (4 * 3 + 4));
}

TEST(UnionSteps, CountsPairsThatCross) {
  // Of each two bars every edge crosses both of the other.
  for (const std::uint64_t n : {20, 100}) {
    EXPECT_EQ(UnionSteps(Fan(int(n)), kMany), 8 * 2 * n * (n + 1) + 32 * 4 * n * (n - 1) / 2);
  }
}

TEST(UnionSteps, EndsWhenThereAreTooMany) {
  const std::uint64_t steps = UnionSteps(Fan(100), 200'000);
  EXPECT_GT(steps, 200'000u);
  EXPECT_LT(steps, 210'000u);
}

TEST(UnionSteps, WhatIsTooMuchIsNotBegun) {
  std::vector<SliceContour> bars;
  for (const ClipperLib::Path& path : Fan(20)) {
    bars.emplace_back();
    for (const ClipperLib::IntPoint& point : path) {
      bars.back().points.push_back({float(point.X), float(point.Y)});
    }
    bars.back().points.push_back(bars.back().points.front());
  }
  const std::vector<SliceContour> before = bars;
  Allowance few(1000), enough(1'000'000), none(0);
  EXPECT_FALSE(UniteLayer(bars, false, GridOf(1000), 0, few).changed);
  EXPECT_TRUE(few.IsExceeded());
  EXPECT_EQ(bars.size(), before.size());
  std::vector<SliceContour> copy = bars;
  EXPECT_TRUE(UniteLayer(copy, false, GridOf(1000), 0, enough).changed);
  EXPECT_FALSE(enough.IsExceeded());
  EXPECT_TRUE(UniteLayer(bars, false, GridOf(1000), 1'000'000, none).changed);
  EXPECT_FALSE(none.IsExceeded());
}

}  // namespace
}  // namespace trqprep::slicing
