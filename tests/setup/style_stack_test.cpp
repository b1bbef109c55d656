#include "trq/core/style_stack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <list>
#include <memory>
#include <random>

#include "trq/setup.h"

using trq::core::InsertByRange;
using trq::core::InsertByStart;
using trq::core::StyleBand;

namespace {

using Stack = std::vector<StyleBand>;

void ExpectStack(const Stack& stack, const Stack& expected) {
  ASSERT_EQ(stack.size(), expected.size());
  for (std::size_t i = 0; i < stack.size(); ++i) {
    EXPECT_EQ(stack[i].start, expected[i].start) << i;
    EXPECT_EQ(stack[i].end, expected[i].end) << i;
    EXPECT_EQ(stack[i].style, expected[i].style) << i;
  }
}

/// The rule in its literal form, on a linked list edited in place.
struct Node {
  float start, end;
  std::size_t style;
};
using List = std::list<std::shared_ptr<Node>>;

void LiteralInsert(List& list, std::shared_ptr<Node> fresh, double tolerance) {
  const auto meet = [tolerance](double a, double b) { return std::fabs(a - b) <= tolerance; };
  const List before = list;
  bool linked = false;
  for (const auto& node : before) {
    const double low = static_cast<double>(node->start) - tolerance;
    const double high = static_cast<double>(node->end) + tolerance;
    if (!(low <= fresh->start && fresh->end <= high)) continue;
    auto at = std::find(list.begin(), list.end(), node);
    if (meet(fresh->start, node->start) && meet(fresh->end, node->end)) {
      if (!linked) list.insert(at, fresh);
      list.erase(at);
    } else if (meet(fresh->start, node->start)) {
      if (!linked) list.insert(at, fresh);
      node->start = fresh->end;
    } else if (meet(fresh->end, node->end)) {
      node->end = fresh->start;
      if (!linked) list.insert(std::next(at), fresh);
    } else {
      const auto above = std::make_shared<Node>(*node);
      above->start = fresh->end;
      node->end = fresh->start;
      list.insert(std::next(at), above);
      if (!linked) list.insert(std::next(at), fresh);
    }
    linked = true;
  }
  if (linked) return;
  auto at = list.begin();
  while (at != list.end() && !((*at)->start > fresh->start)) ++at;
  list.insert(at, fresh);
}

/// Thousandths on a coarse grid, some of them off by about the tolerance, and now and then no number.
float RandomZ(std::mt19937& random) {
  constexpr float kOffsets[] = {0, 0, 0, 0.00004f, -0.00004f, 0.00005f, 0.00006f, 0.001f};
  if (random() % 200 == 0) return std::numeric_limits<float>::quiet_NaN();
  return static_cast<float>(random() % 12) * 0.5f + kOffsets[random() % 8];
}

bool SameZ(float a, float b) { return a == b || (a != a && b != b); }

KVBUILDSTYLE Resin() {
  KVBUILDSTYLE style;
  style.LayerThickness.SetValue(0.1f);
  style.Dp.SetValue(0.15f);
  style.Ec.SetValue(10);
  return style;
}

}  // namespace

TEST(StyleStack, InsertsByStartBehindEqualStarts) {
  Stack stack = {{0, 1, 0}, {2, 3, 1}, {2, 4, 2}, {5, 6, 3}};
  InsertByStart(stack, {2, 9, 4});
  InsertByStart(stack, {7, 8, 5});
  ExpectStack(stack, {{0, 1, 0}, {2, 3, 1}, {2, 4, 2}, {2, 9, 4}, {5, 6, 3}, {7, 8, 5}});
}

TEST(StyleStack, RangesAreReplacedCutAndSplit) {
  Stack stack;
  InsertByRange(stack, {0, 10, 0}, 0.00005f);
  InsertByRange(stack, {2, 3, 1}, 0.00005f);  // splits
  ExpectStack(stack, {{0, 2, 0}, {2, 3, 1}, {3, 10, 0}});
  InsertByRange(stack, {0, 1, 2}, 0.00005f);        // cuts at the bottom
  InsertByRange(stack, {8, 10.00004f, 3}, 0.0001);  // cuts at the top
  InsertByRange(stack, {2, 3, 4}, 0.00005f);        // replaces
  InsertByRange(stack, {20, 30, 5}, 0.00005f);      // lies in none
  ExpectStack(stack, {{0, 1, 2}, {1, 2, 0}, {2, 3, 4}, {3, 8, 0}, {8, 10.00004f, 3}, {20, 30, 5}});
}

TEST(StyleStack, ToleranceIsTwentyFiveTimesWiderInMillimetres) {
  EXPECT_EQ(trq::core::StackTolerance(false), static_cast<double>(0.00005f));
  EXPECT_EQ(trq::core::StackTolerance(true), static_cast<double>(0.00005f) * 25.4);
}

TEST(StyleStack, CoreAndClassesStackAsTheLiteralRule) {
  std::mt19937 random(20261121);
  for (int run = 0; run < 400; ++run) {
    const bool millimetres = run % 2 == 1;
    PLATFORM platform;
    platform.Units = millimetres ? 1 : 0;
    MODEL model;
    Stack stack;
    List literal;
    const double tolerance = static_cast<double>(0.00005f) * (millimetres ? 25.4 : 1.0);
    for (std::size_t style = 0; style < 12; ++style) {
      const float start = RandomZ(random);
      const float end = RandomZ(random);
      LiteralInsert(literal, std::make_shared<Node>(Node{start, end, style}), tolerance);
      InsertByRange(stack, {start, end, style}, trq::core::StackTolerance(millimetres));
      const CString name = std::to_string(style).c_str();
      ASSERT_EQ(model.KVAddBuildStyle(&platform, nullptr, name, start, end, false), 0);
      ASSERT_EQ(platform.KVaddRecoatStyle(start, end, name, 0, false, false), 0);
      ASSERT_EQ(stack.size(), literal.size());
      ASSERT_EQ(model.BuildStyles.size(), literal.size());
      ASSERT_EQ(platform.RecoatStyles.size(), literal.size());
      std::size_t i = 0;
      for (const auto& node : literal) {
        const auto& build = *model.BuildStyles[i];
        const auto& recoat = *platform.RecoatStyles[i];
        EXPECT_TRUE(SameZ(stack[i].start, node->start) && SameZ(stack[i].end, node->end));
        EXPECT_TRUE(SameZ(build.StartZ.GetValue(), node->start) && SameZ(build.EndZ.GetValue(), node->end));
        EXPECT_TRUE(SameZ(recoat.StartZ.GetValue(), node->start) && SameZ(recoat.EndZ.GetValue(), node->end));
        EXPECT_EQ(stack[i].style, node->style);
        EXPECT_EQ(build.FullPathName, std::to_string(node->style).c_str());
        EXPECT_EQ(recoat.FullPathName, std::to_string(node->style).c_str());
        ++i;
      }
      if (HasFailure()) FAIL() << "run " << run << ", style " << style;
    }
  }
}

TEST(StyleStack, ZCorrectionCountsHatchesUpToTheSpacing) {
  KVBUILDSTYLE style = Resin();
  style.SmallDownNumHatches.SetValue(1);
  style.SmallDownHatchSpacing1.SetValue(0.25f);
  style.SmallDownHatchCureDepth1.SetValue(0.3f);  // and a layer: 0.4 deep, three layers beyond the first
  EXPECT_EQ(trq::core::ZCorrection(style, TRQ_D6, 0.25f), 3);
  EXPECT_EQ(trq::core::ZCorrection(style, TRQ_D6, 0.2f), 0);
  style.LayerThickness.SetValue(0);
  EXPECT_EQ(trq::core::ZCorrection(style, TRQ_D6, 0.25f), 0);
}

TEST(StyleStack, LargeParametersAreForFourMachinesUnlessTheStyleIsForTheSmallSpot) {
  KVBUILDSTYLE style;
  for (const TRQ_TYPE machine : {TRQ_E7, TRQ_MIRRA_MAX, TRQ_ALTOR900, TRQ_ALTOR800}) {
    EXPECT_TRUE(trq::core::UsesLargeSpot(style, machine)) << machine;
  }
  for (const TRQ_TYPE machine : {TRQ_A1, TRQ_B2, TRQ_C3, TRQ_NONE}) {
    EXPECT_FALSE(trq::core::UsesLargeSpot(style, machine)) << machine;
  }
  style.SmallSpotOnlyFlag.SetValue(1);
  EXPECT_FALSE(trq::core::UsesLargeSpot(style, TRQ_E7));
}

TEST(StyleStack, WidestDownHatchIsThatOfFour) {
  KVBUILDSTYLE style;
  style.SmallDownHatchSpacing1.SetValue(0.1f);
  style.SmallDownHatchSpacing3.SetValue(0.3f);
  style.LargeDownHatchSpacing1.SetValue(7);
  EXPECT_EQ(trq::core::WidestDownHatchSpacing(style), 0.3f);
}

TEST(StyleStack, CompensationHeightIsRoundedOnce) {
  KVBUILDSTYLE style = Resin();
  style.ZCompensationLayers.SetValue(7);
  EXPECT_EQ(trq::core::ZCompensationHeight(style), static_cast<float>(7.0 * static_cast<double>(0.1f)));
}
