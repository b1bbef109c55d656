#include "nesting/enterable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "nesting/layout.h"

namespace {

using namespace trqprep::nesting;

Ring Square(double x, double y, double side) {
  return {{x, y}, {x + side, y}, {x + side, y + side}, {x, y + side}};
}

// A square of 40 with walls of 3 and a mouth of 8 in the middle of its lower side.
Outline Bottle() {
  return {{{{0, 0},
            {16, 0},
            {16, 3},
            {3, 3},
            {3, 37},
            {37, 37},
            {37, 3},
            {24, 3},
            {24, 0},
            {40, 0},
            {40, 40},
            {0, 40}},
           {}}};
}

Part PartOf(const Outline& outline, int copies) {
  Part part;
  part.outline = outline;
  part.copies = copies;
  return part;
}

TEST(Cavities, HolesArePlacesAndTheirSizesAreKnown) {
  const Outline frame = {{Square(0, 0, 30), {Square(5, 5, 20)}}};
  const auto cavities = FindCavities(frame, true);
  ASSERT_EQ(cavities.size(), 1u);
  EXPECT_TRUE(cavities[0].hole);
  EXPECT_GE(cavities[0].most.radius, 10);
  EXPECT_LT(cavities[0].most.radius, 10.6);
  EXPECT_NEAR(cavities[0].most.breadth, 20, 1e-6);
  EXPECT_NEAR(cavities[0].most.diameter, 20 * std::sqrt(2.0), 1e-6);
  EXPECT_NEAR(cavities[0].most.area, 400, 1e-5);
  EXPECT_TRUE(FindCavities(frame, false).empty());
  EXPECT_EQ(AreaOf(Filled(frame, cavities)), 900);
}

TEST(Cavities, APocketBehindANarrowMouthIsOneAndANotchIsNot) {
  for (const bool backwards : {false, true}) {
    Outline bottle = Bottle();
    if (backwards) std::reverse(bottle[0].outer.begin(), bottle[0].outer.end());
    const auto cavities = FindCavities(bottle, true);
    ASSERT_EQ(cavities.size(), 1u);
    EXPECT_FALSE(cavities[0].hole);
    // 34 x 34 inside, and the mouth of 8 x 3.
    EXPECT_NEAR(cavities[0].most.area, 34 * 34 + 8 * 3, 1e-5);
    EXPECT_EQ(AreaOf(Filled(bottle, cavities)), 1600);
  }
  const Outline hook = {{{{0, 0}, {30, 0}, {30, 10}, {10, 10}, {10, 30}, {0, 30}}, {}}};
  EXPECT_TRUE(FindCavities(hook, true).empty());
  const Outline fork = {{{{0, 0}, {30, 0}, {30, 30}, {20, 30}, {20, 10}, {10, 10}, {10, 30}, {0, 30}}, {}}};
  EXPECT_TRUE(FindCavities(fork, true).empty());
}

TEST(Cavities, OutlinesWhoseRingsCrossHaveNone) {
  EXPECT_TRUE(FindCavities({{Square(0, 0, 30), {Square(20, 5, 20)}}}, true).empty());
  EXPECT_TRUE(FindCavities({{Square(0, 0, 30), {Square(40, 5, 20)}}}, true).empty());
  EXPECT_TRUE(FindCavities({{Square(0, 0, 30), {Square(5, 5, 20), Square(10, 10, 5)}}}, true).empty());
  EXPECT_TRUE(FindCavities({{{{0, 0}, {30, 30}, {30, 0}, {0, 30}}, {Square(1, 14, 1)}}}, true).empty());
}

TEST(Cavities, WhatEntersNothingMeetsOutlinesWithoutThem) {
  Job job;
  job.container = {200, 200, false, 0};
  job.gap = 1;
  job.parts = {PartOf(Bottle(), 2), PartOf({{Square(0, 0, 10), {}}}, 2), PartOf({{Square(0, 0, 35), {}}}, 2)};
  const Model open(job);
  EXPECT_FALSE(open.kinds[0].enters);
  EXPECT_TRUE(open.kinds[1].enters);
  EXPECT_FALSE(open.kinds[2].enters);
  EXPECT_EQ(open.Seen(0, 1).edges.size(), 12u);
  EXPECT_EQ(open.Seen(0, 2).edges.size(), 6u);  // the mouth's ends stay corners
  job.parts[1].copies = 0;
  const Model closed(job);
  EXPECT_EQ(closed.shapes[0].edges.size(), 6u);
  EXPECT_TRUE(closed.solid_shapes.empty());
}

TEST(Cavities, SmallPiecesStillFindTheirPlacesInThem) {
  // The bottle takes the whole plate but for what is inside.
  Job job;
  job.container = {40, 40, false, 0};
  job.gap = 1;
  job.parts = {PartOf(Bottle(), 1), PartOf({{Square(0, 0, 10), {}}}, 4)};
  const Result result = Nest(job, {});
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_TRUE(CheckPlacements(job, result.placements, {}, 1e-5).empty());
}

}  // namespace
