#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "tests/setup/bands.h"
#include "tests/support/temp_dir.h"
#include "trq/setup.h"

using test_support::Band;
using test_support::BandsOf;
using test_support::StackStyles;
using test_support::TempDir;
using Expected = std::vector<test_support::Band>;

namespace {

void Stack(PLATFORM& platform, const Expected& bands) { StackStyles(platform.RecoatStyles, bands); }
Expected Bands(const PLATFORM& platform) { return BandsOf(platform.RecoatStyles); }

// Lists and current styles are shared with nobody by accident.
static_assert(!std::is_copy_constructible_v<PLATFORM> && !std::is_copy_assignable_v<PLATFORM>);
static_assert(!std::is_move_constructible_v<PLATFORM> && !std::is_move_assignable_v<PLATFORM>);

}  // namespace

TEST(Platform, StartsWithItsDefaults) {
  const PLATFORM platform;
  EXPECT_EQ(platform.PlatformName, "");
  EXPECT_EQ(platform.MachineType, 0);
  EXPECT_EQ(platform.Units, 0);
  for (const float lowest : {platform.MinX, platform.MinY, platform.MinZ}) EXPECT_EQ(lowest, 1000000.0f);
  for (const float highest : {platform.MaxX, platform.MaxY, platform.MaxZ}) EXPECT_EQ(highest, -1000000.0f);
  EXPECT_EQ(platform.IntegerSetting, 2000);
  EXPECT_EQ(platform.FloatSetting, 0.4f);
  EXPECT_EQ(platform.BuildStyleFile, "Default.sty");
  EXPECT_EQ(platform.RecoatStyleFile, "Default.rcs");
  EXPECT_EQ(platform.ThirdStyleFile, "Default.srg");
  EXPECT_EQ(platform.SingleVatBuildStyleFile, "Default_s.sty");
  EXPECT_EQ(platform.SingleVatRecoatStyleFile, "Default_s.rcs");
  EXPECT_EQ(platform.BuildName, "Build");
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 0);
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  EXPECT_EQ(platform.CurrentBuildStyle, nullptr);
  EXPECT_EQ(sizeof platform.ApplicationState, 84u);
  EXPECT_EQ(sizeof platform.FurtherState, 24u);
  for (const int word : platform.TwoWords) EXPECT_EQ(word, 0);
  for (const int word : platform.ApplicationState) EXPECT_EQ(word, 0);
  for (const int word : platform.FurtherState) EXPECT_EQ(word, 0);
  EXPECT_EQ(platform.WordAfterSettings, 0);
  EXPECT_EQ(platform.WordAfterList, 0);
  EXPECT_EQ(platform.SecondText, "");
  EXPECT_EQ(platform.ConfigParams.Words[2], 0);
}

TEST(Platform, ExtentIsAtLeastMinusAThousand) {
  PLATFORM platform;
  EXPECT_EQ(platform.getMaxPlatformExtent(), -1000.0f);
  platform.MaxX = -999;
  EXPECT_EQ(platform.getMaxPlatformExtent(), -999.0f);
  platform.MaxY = 12;
  EXPECT_EQ(platform.getMaxPlatformExtent(), 12.0f);
  platform.MaxZ = 13;
  EXPECT_EQ(platform.getMaxPlatformExtent(), 13.0f);
}

TEST(Platform, KeptBothZLimitsComeFromTheLastStyle) {
  PLATFORM platform;
  EXPECT_EQ(platform.KVGetMaxZRecoatStyles(), 0);
  EXPECT_EQ(platform.KVGetMinZRecoatStyles(), 0);
  Stack(platform, {{0, 5}, {5, 10}});
  EXPECT_EQ(platform.KVGetMaxZRecoatStyles(), 10);
  EXPECT_EQ(platform.KVGetMinZRecoatStyles(), 5);
}

TEST(Platform, WalksTheList) {
  PLATFORM platform;
  Stack(platform, {{0, 1}, {1, 2}, {2, 3}});
  const auto& styles = platform.RecoatStyles;
  EXPECT_EQ(platform.getNextRecoatStylePtr(styles[0].get()), styles[1].get());
  EXPECT_EQ(platform.getNextRecoatStylePtr(styles[2].get()), nullptr);
  EXPECT_EQ(platform.getPrevRecoatStylePtr(styles[1].get()), styles[0].get());
  EXPECT_EQ(platform.getPrevRecoatStylePtr(styles[0].get()), nullptr);
  const KVRECOATSTYLE other;
  EXPECT_EQ(platform.getNextRecoatStylePtr(&other), nullptr);
  EXPECT_EQ(platform.getPrevRecoatStylePtr(&other), nullptr);
  EXPECT_EQ(platform.getNextRecoatStylePtr(nullptr), nullptr);
}

TEST(Platform, KeptKindQuestionIsInverted) {
  PLATFORM platform;
  EXPECT_FALSE(platform.KVCheckIfRecoatSupportPartStyleCreated(0));
  EXPECT_FALSE(platform.KVCheckIfRecoatSupportPartStyleCreated(1));
  Stack(platform, {{0, 1, 0}});
  EXPECT_TRUE(platform.KVCheckIfRecoatSupportPartStyleCreated(1));
  EXPECT_FALSE(platform.KVCheckIfRecoatSupportPartStyleCreated(0));
  EXPECT_FALSE(platform.KVCheckIfRecoatSupportPartStyleCreated(7));
  Stack(platform, {{1, 2, 1}});
  EXPECT_TRUE(platform.KVCheckIfRecoatSupportPartStyleCreated(7));
}

TEST(Platform, RemovingGivesTheRangeToTheNeighbour) {
  PLATFORM lower;
  Stack(lower, {{0, 5}, {5, 10}});
  lower.RecoatStyles[0]->StartZ.SetDefaultValue(77);  // the whole record moves
  EXPECT_EQ(lower.KVremoveRecoatStyle(lower.RecoatStyles[0].get()), 0);
  EXPECT_EQ(Bands(lower), (Expected{{0, 10}}));
  EXPECT_EQ(lower.RecoatStyles[0]->StartZ.GetDefaultValue(), 77);
  PLATFORM upper;
  Stack(upper, {{0, 5}, {5, 10}});
  upper.RecoatStyles[1]->EndZ.SetDefaultValue(78);
  EXPECT_EQ(upper.KVremoveRecoatStyle(upper.RecoatStyles[1].get()), 0);
  EXPECT_EQ(Bands(upper), (Expected{{0, 10}}));
  EXPECT_EQ(upper.RecoatStyles[0]->EndZ.GetDefaultValue(), 78);
  PLATFORM middle;
  Stack(middle, {{0, 2}, {2, 5}, {5, 10}});
  EXPECT_EQ(middle.KVremoveRecoatStyle(middle.RecoatStyles[1].get()), 0);
  EXPECT_EQ(Bands(middle), (Expected{{0, 2}, {2, 10}}));  // the upper neighbour grows
}

TEST(Platform, TheOnlyStyleStays) {
  PLATFORM platform;
  EXPECT_EQ(platform.KVremoveRecoatStyle(nullptr), 2);
  EXPECT_EQ(platform.KVremoveRecoatStyleByZ(0), 1);
  Stack(platform, {{0, 10}});
  EXPECT_EQ(platform.KVremoveRecoatStyle(platform.RecoatStyles[0].get()), 1);
  EXPECT_EQ(platform.KVremoveRecoatStyleByZ(5), 0);
  EXPECT_EQ(Bands(platform), (Expected{{0, 10}}));
}

TEST(Platform, RemovingAnUnlistedStyleIsRefused) {
  PLATFORM platform;
  Stack(platform, {{0, 5}, {5, 10}});
  const KVRECOATSTYLE other;
  EXPECT_EQ(platform.KVremoveRecoatStyle(&other), 1);
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 2);
}

TEST(Platform, RemovingByZReachesFiveHundredThousandthsBeyondTheEnd) {
  PLATFORM within;
  Stack(within, {{0, 5}, {5, 10}});
  EXPECT_EQ(within.KVremoveRecoatStyleByZ(10.00004f), 0);
  EXPECT_EQ(Bands(within), (Expected{{0, 10}}));
  PLATFORM beyond;
  Stack(beyond, {{0, 5}, {5, 10}});
  EXPECT_EQ(beyond.KVremoveRecoatStyleByZ(10.0001f), 1);
  EXPECT_EQ(beyond.KVremoveRecoatStyleByZ(-0.1f), 1);
  EXPECT_EQ(beyond.KVNumberOFRecoatStyles(), 2);
  EXPECT_EQ(beyond.KVremoveRecoatStyleByZ(5), 0);  // both cover 5: the lower one goes
  EXPECT_EQ(Bands(beyond), (Expected{{0, 10}}));
  PLATFORM gap;
  Stack(gap, {{0, 4}, {5, 10}});
  EXPECT_EQ(gap.KVremoveRecoatStyleByZ(4.5f), 1);
  EXPECT_EQ(gap.KVremoveRecoatStyleByZ(5), 0);  // from its start on
  EXPECT_EQ(Bands(gap), (Expected{{0, 10}}));
}

TEST(Platform, RemovedAndDeletedStylesAreNoLongerCurrent) {
  PLATFORM platform;
  Stack(platform, {{0, 5}, {5, 10}});
  platform.CurrentRecoatStyle = platform.RecoatStyles[0];
  platform.KVremoveRecoatStyle(platform.RecoatStyles[0].get());
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  platform.CurrentRecoatStyle = platform.RecoatStyles[0];
  platform.KVdeleteRecoatStyles();
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 0);
}

TEST(Platform, OtherCurrentStylesStay) {
  PLATFORM platform;
  Stack(platform, {{0, 5}, {5, 10}});
  const auto unlisted = std::make_shared<KVRECOATSTYLE>();
  platform.CurrentRecoatStyle = unlisted;
  platform.KVremoveRecoatStyle(platform.RecoatStyles[0].get());
  platform.addRecoatStyle(0, 10, "a.rcs", 0, false);  // replaces
  platform.KVdeleteRecoatStyles();
  EXPECT_EQ(platform.CurrentRecoatStyle, unlisted);
}

TEST(Platform, ResetRestoresWhatItNames) {
  PLATFORM platform;
  Stack(platform, {{0, 5}});
  platform.PlatformName = "vat";
  platform.MachineType = TRQ_E7;
  platform.Units = 1;
  for (float* extent :
       {&platform.MinX, &platform.MaxX, &platform.MinY, &platform.MaxY, &platform.MinZ, &platform.MaxZ})
    *extent = 4;
  for (CString* file : {&platform.BuildStyleFile, &platform.RecoatStyleFile, &platform.ThirdStyleFile,
                        &platform.SingleVatBuildStyleFile, &platform.SingleVatRecoatStyleFile})
    *file = "mine";
  platform.BuildName = "mine";
  platform.SecondText = "kept";
  platform.IntegerSetting = 1;
  platform.ApplicationState[20] = 5;
  platform.FurtherState[0] = platform.FurtherState[5] = 6;
  platform.ConfigParams.Words[1] = 7;
  platform.CurrentRecoatStyle = std::make_shared<KVRECOATSTYLE>();
  platform.CurrentBuildStyle = std::make_shared<KVBUILDSTYLE>();
  platform.ResetThePlatformDS();
  EXPECT_EQ(platform.PlatformName, "");
  EXPECT_EQ(platform.MachineType, 0);
  EXPECT_EQ(platform.Units, 0);
  for (const float lowest : {platform.MinX, platform.MinY, platform.MinZ}) EXPECT_EQ(lowest, 1000000.0f);
  for (const float highest : {platform.MaxX, platform.MaxY, platform.MaxZ}) EXPECT_EQ(highest, -1000000.0f);
  EXPECT_EQ(platform.BuildStyleFile, "Default.sty");
  EXPECT_EQ(platform.RecoatStyleFile, "Default.rcs");
  EXPECT_EQ(platform.ThirdStyleFile, "Default.srg");
  EXPECT_EQ(platform.SingleVatBuildStyleFile, "Default_s.sty");
  EXPECT_EQ(platform.SingleVatRecoatStyleFile, "Default_s.rcs");
  for (const int word : platform.FurtherState) EXPECT_EQ(word, 0);
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  EXPECT_EQ(platform.CurrentBuildStyle, nullptr);
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 0);
  EXPECT_EQ(platform.BuildName, "mine");
  EXPECT_EQ(platform.SecondText, "kept");
  EXPECT_EQ(platform.IntegerSetting, 1);
  EXPECT_EQ(platform.ApplicationState[20], 5);
  EXPECT_EQ(platform.ConfigParams.Words[1], 7);
}

TEST(PlatformStack, RangeInsideAStyleSplitsIt) {
  PLATFORM platform;
  EXPECT_EQ(platform.KVaddRecoatStyle(0, 10, "a.rcs", 0, false, false), 0);
  platform.RecoatStyles[0]->ZVelocity.SetValue(3);
  EXPECT_EQ(platform.KVaddRecoatStyle(2, 3, "b.rcs", 0, false, false), 0);
  EXPECT_EQ(Bands(platform), (Expected{{0, 2}, {2, 3}, {3, 10}}));
  EXPECT_EQ(platform.RecoatStyles[1]->FullPathName, "b.rcs");
  EXPECT_EQ(platform.RecoatStyles[2]->FullPathName, "a.rcs");
  EXPECT_EQ(platform.RecoatStyles[2]->ZVelocity.GetValue(), 3);
}

TEST(PlatformStack, EqualEndsReplace) {
  PLATFORM platform;
  platform.addRecoatStyle(0, 10, "a.rcs", 0, false);
  platform.CurrentRecoatStyle = platform.RecoatStyles[0];
  EXPECT_EQ(platform.KVaddRecoatStyle(0.00004f, 10, "b.rcs", 1, false, false), 0);
  EXPECT_EQ(Bands(platform), (Expected{{0.00004f, 10, 1}}));
  EXPECT_EQ(platform.RecoatStyles[0]->FullPathName, "b.rcs");
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
}

TEST(PlatformStack, OneEqualEndCuts) {
  PLATFORM start;
  start.addRecoatStyle(0, 10, "a.rcs", 0, false);
  start.addRecoatStyle(0, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(start), (Expected{{0, 3}, {3, 10}}));
  EXPECT_EQ(start.RecoatStyles[0]->FullPathName, "b.rcs");
  PLATFORM end;
  end.addRecoatStyle(0, 10, "a.rcs", 0, false);
  end.addRecoatStyle(7, 10, "b.rcs", 0, false);
  EXPECT_EQ(Bands(end), (Expected{{0, 7}, {7, 10}}));
  EXPECT_EQ(end.RecoatStyles[1]->FullPathName, "b.rcs");
}

TEST(PlatformStack, MillimetresWidenTheTolerance) {
  PLATFORM inch;
  inch.addRecoatStyle(0, 10, "a.rcs", 0, false);
  inch.addRecoatStyle(0.001f, 3, "b.rcs", 0, false);
  EXPECT_EQ(inch.KVNumberOFRecoatStyles(), 3);
  PLATFORM millimetre;
  millimetre.Units = 1;
  millimetre.addRecoatStyle(0, 10, "a.rcs", 0, false);
  millimetre.addRecoatStyle(0.001f, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(millimetre), (Expected{{0.001f, 3}, {3, 10}}));
}

TEST(PlatformStack, ToleranceIsInclusiveAndInDouble) {
  // 0.00005f is 4.99999987e-5. From 0 it is exactly the tolerance of an inch platform.
  PLATFORM inch;
  inch.addRecoatStyle(0, 10, "a.rcs", 0, false);
  inch.addRecoatStyle(0.00005f, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(inch), (Expected{{0.00005f, 3}, {3, 10}}));
  PLATFORM above;  // the lower end of a style that starts by the tolerance above the range
  above.addRecoatStyle(0.00005f, 10, "a.rcs", 0, false);
  above.addRecoatStyle(0, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(above), (Expected{{0, 3}, {3, 10}}));
  PLATFORM top;
  top.addRecoatStyle(-10, 0, "a.rcs", 0, false);
  top.addRecoatStyle(-5, 0.00005f, "b.rcs", 0, false);
  EXPECT_EQ(Bands(top), (Expected{{-10, -5}, {-5, 0.00005f}}));
  // In double 4.99999987e-5 * 25.4 is 0.00126999996792, between the floats 0.00127000000793 and
  // 0.00126999989152: the first is another start than 0, the second the same, and the same also from -5e-11
  // (0.00126999994152), where the product in float, 0.00126999989152, would not reach.
  const float beyond = 0.00127f;
  const float within = std::nextafterf(beyond, 0);
  PLATFORM millimetre;
  millimetre.Units = 1;
  millimetre.addRecoatStyle(0, 10, "a.rcs", 0, false);
  millimetre.addRecoatStyle(beyond, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(millimetre), (Expected{{0, beyond}, {beyond, 3}, {3, 10}}));
  PLATFORM same;
  same.Units = 1;
  same.addRecoatStyle(0, 10, "a.rcs", 0, false);
  same.addRecoatStyle(within, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(same), (Expected{{within, 3}, {3, 10}}));
  PLATFORM farther;
  farther.Units = 1;
  farther.addRecoatStyle(-5e-11f, 10, "a.rcs", 0, false);
  farther.addRecoatStyle(within, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(farther), (Expected{{within, 3}, {3, 10}}));
  PLATFORM outside;  // not held: inserted by its start
  outside.Units = 1;
  outside.addRecoatStyle(0, 10, "a.rcs", 0, false);
  outside.addRecoatStyle(-beyond, 3, "b.rcs", 0, false);
  EXPECT_EQ(Bands(outside), (Expected{{-beyond, 3}, {0, 10}}));
  PLATFORM other_units;  // only 1 is millimetres
  other_units.Units = 2;
  other_units.addRecoatStyle(0, 10, "a.rcs", 0, false);
  other_units.addRecoatStyle(0.001f, 3, "b.rcs", 0, false);
  EXPECT_EQ(other_units.KVNumberOFRecoatStyles(), 3);
}

TEST(PlatformStack, RangeThatNoStyleHoldsIsInsertedByItsStart) {
  PLATFORM equal_start;  // only a greater start lets the new one go before
  equal_start.addRecoatStyle(0, 2, "a.rcs", 0, false);
  equal_start.addRecoatStyle(2, 3, "b.rcs", 0, false);
  equal_start.addRecoatStyle(0, 5, "c.rcs", 0, false);
  EXPECT_EQ(Bands(equal_start), (Expected{{0, 2}, {0, 5}, {2, 3}}));
  PLATFORM platform;
  platform.addRecoatStyle(0, 2, "a.rcs", 0, false);
  platform.addRecoatStyle(5, 6, "b.rcs", 0, false);
  platform.addRecoatStyle(3, 4, "c.rcs", 0, false);
  platform.addRecoatStyle(9, 10, "d.rcs", 0, false);
  EXPECT_EQ(Bands(platform), (Expected{{0, 2}, {3, 4}, {5, 6}, {9, 10}}));
}

TEST(PlatformStack, SeveralAffectedStylesLinkTheNewOneOnce) {
  PLATFORM platform;
  Stack(platform, {{0, 5}, {0, 10}, {0, 5}});
  EXPECT_EQ(platform.addRecoatStyle(0, 5, "new.rcs", 0, false), 0);
  // The first is replaced, the second loses what the new one covers, the third matches too and goes.
  EXPECT_EQ(Bands(platform), (Expected{{0, 5}, {5, 10}}));
  EXPECT_EQ(platform.RecoatStyles[0]->FullPathName, "new.rcs");
}

TEST(PlatformStack, StylesThatTheInsertionMakesAreNotVisited) {
  PLATFORM platform;
  platform.addRecoatStyle(0, 10, "a.rcs", 0, false);
  // The range 2..2 also lies in itself and in the copy 2..10.
  platform.addRecoatStyle(2, 2, "b.rcs", 0, false);
  EXPECT_EQ(Bands(platform), (Expected{{0, 2}, {2, 2}, {2, 10}}));
  EXPECT_EQ(platform.RecoatStyles[1]->FullPathName, "b.rcs");
}

TEST(PlatformStack, EveryAffectedStyleIsEditedAsItStands) {
  PLATFORM platform;
  Stack(platform, {{0, 10}, {2, 8}, {1, 3}, {2, 3}});
  platform.CurrentRecoatStyle = platform.RecoatStyles[3];
  EXPECT_EQ(platform.addRecoatStyle(2, 3, "new.rcs", 1, false), 0);
  // 0..10 is split around the new one; 2..8 starts at 3, 1..3 ends at 2; the exact match goes.
  EXPECT_EQ(Bands(platform), (Expected{{0, 2}, {2, 3, 1}, {3, 10}, {3, 8}, {1, 2}}));
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  PLATFORM twice;
  Stack(twice, {{0, 10}, {0, 9}});
  twice.addRecoatStyle(2, 3, "new.rcs", 1, false);
  EXPECT_EQ(Bands(twice), (Expected{{0, 2}, {2, 3, 1}, {3, 10}, {0, 2}, {3, 9}}));
}

TEST(PlatformStack, AStyleListedTwiceIsUnlinkedTwice) {
  PLATFORM platform;
  Stack(platform, {{0, 5}});
  platform.RecoatStyles.push_back(platform.RecoatStyles[0]);
  platform.addRecoatStyle(0, 5, "new.rcs", 1, false);
  EXPECT_EQ(Bands(platform), (Expected{{0, 5, 1}}));
}

TEST(PlatformStack, StylesAreReadFromFiles) {
  const TempDir dir;
  KVRECOATSTYLE saved;
  saved.ZVelocity.SetValue(4.5f);
  saved.StartZ.SetValue(99);
  const std::string path = dir.File("a.rcs");
  ASSERT_EQ(saved.writeRecoatStyle(path.c_str()), 0);
  PLATFORM platform;
  EXPECT_EQ(platform.KVaddRecoatStyle(1, 2, path.c_str(), 1, false, true), 0);
  EXPECT_EQ(Bands(platform), (Expected{{1, 2, 1}}));
  EXPECT_EQ(platform.RecoatStyles[0]->ZVelocity.GetValue(), 4.5f);
  EXPECT_EQ(platform.RecoatStyles[0]->FullPathName, path.c_str());
  EXPECT_EQ(platform.KVaddRecoatStyle(2, 3, dir.File("none.rcs").c_str(), 0, false, true), -1);
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 1);
}

TEST(PlatformStack, KeepKindReFitsInsteadOfAdding) {
  PLATFORM platform;
  Stack(platform, {{2, 5, 0}});
  EXPECT_EQ(platform.KVaddRecoatStyle(0, 8, "a.rcs", 0, true, true), 0);  // the file is not even looked at
  EXPECT_EQ(Bands(platform), (Expected{{0, 8, 0}}));
}

TEST(PlatformStack, KeepKindAddsTheFirstOfItsKind) {
  PLATFORM platform;
  Stack(platform, {{0, 10, 0}});
  EXPECT_EQ(platform.KVaddRecoatStyle(6, 12, "support.rcs", 1, true, false), 0);
  // The new one starts later; its top is 12 already. The lower one is not of kind 1, so it gives way.
  EXPECT_EQ(Bands(platform), (Expected{{0, 6, 0}, {6, 12, 1}}));
}

TEST(PlatformStack, KeepKindInsertsAndOrders) {
  PLATFORM empty;
  EXPECT_EQ(empty.KVaddRecoatStyle(6, 12, "a.rcs", 1, true, false), 0);
  EXPECT_EQ(Bands(empty), (Expected{{6, 12, 1}}));
  PLATFORM between;
  Stack(between, {{0, 5, 0}, {5, 9, 0}});
  EXPECT_EQ(between.KVaddRecoatStyle(5, 7, "a.rcs", 1, true, false), 0);
  // Ordered 0..5, 5..7 (kind 1), 5..9; below one of kind 0 the one of kind 1 stays.
  EXPECT_EQ(Bands(between), (Expected{{0, 5, 0}, {5, 7, 1}, {7, 9, 0}}));
  PLATFORM other;
  Stack(other, {{0, 5, 2}});
  EXPECT_EQ(other.KVaddRecoatStyle(5, 7, "a.rcs", 2, true, false), 0);  // only kinds 0 and 1 are kept
  EXPECT_EQ(Bands(other), (Expected{{0, 5, 2}, {5, 7, 2}}));
  const TempDir dir;
  EXPECT_EQ(other.KVaddRecoatStyle(7, 8, dir.File("none.rcs").c_str(), 1, true, true), -1);
  EXPECT_EQ(other.KVNumberOFRecoatStyles(), 2);
  PLATFORM last;  // the last style of the list is the one of kind 1, not the new one, which starts lower
  Stack(last, {{6, 8, 1}});
  EXPECT_EQ(last.KVaddRecoatStyle(0, 9, "a.rcs", 2, true, false), 0);
  // 6..8 becomes 0..9; behind its equal, which gives way to it.
  EXPECT_EQ(Bands(last), (Expected{{0, 0, 2}, {0, 9, 1}}));
}

TEST(PlatformStack, UpdateOfKind0GrowsDownAndUp) {
  PLATFORM platform;
  Stack(platform, {{2, 4, 0}, {4, 6, 0}});
  platform.KVUpdateRecoatStyles(1, 9, 0);
  EXPECT_EQ(Bands(platform), (Expected{{1, 4, 0}, {4, 9, 0}}));
  platform.KVUpdateRecoatStyles(3, 5, 0);  // never shrinks
  EXPECT_EQ(Bands(platform), (Expected{{1, 4, 0}, {4, 9, 0}}));
}

TEST(PlatformStack, UpdateOfKind0LeavesTheTopToAKind1Style) {
  PLATFORM platform;
  Stack(platform, {{2, 4, 0}, {4, 6, 1}});
  platform.KVUpdateRecoatStyles(1, 9, 0);
  EXPECT_EQ(Bands(platform), (Expected{{1, 4, 0}, {4, 6, 1}}));
}

TEST(PlatformStack, UpdateOfKind1GrowsUpAndAloneAlsoDown) {
  PLATFORM both;
  Stack(both, {{2, 4, 0}, {4, 6, 1}});
  both.KVUpdateRecoatStyles(1, 9, 1);
  EXPECT_EQ(Bands(both), (Expected{{2, 4, 0}, {4, 9, 1}}));
  PLATFORM alone;
  Stack(alone, {{4, 6, 1}});
  alone.KVUpdateRecoatStyles(1, 9, 5);  // any type but 0 is kind 1
  EXPECT_EQ(Bands(alone), (Expected{{1, 9, 1}}));
}

TEST(PlatformStack, UpdateLeavesOtherKindsAlone) {
  PLATFORM later;  // the first of kind 0 is not the first of the list
  Stack(later, {{4, 6, 1}, {6, 9, 0}});
  later.KVUpdateRecoatStyles(1, 12, 0);
  // 6..9 becomes 1..9 and goes first; 4..6 starts at its end and ends no lower.
  EXPECT_EQ(Bands(later), (Expected{{1, 9, 0}, {9, 9, 1}}));
  PLATFORM second;  // only the first of kind 0 grows down
  Stack(second, {{2, 4, 0}, {4, 6, 0}, {6, 8, 1}});
  second.KVUpdateRecoatStyles(1, 9, 0);
  EXPECT_EQ(Bands(second), (Expected{{1, 4, 0}, {4, 6, 0}, {6, 8, 1}}));
  PLATFORM none;  // neither kind: the top still grows with type 0
  Stack(none, {{2, 4, 2}});
  none.KVUpdateRecoatStyles(1, 9, 0);
  EXPECT_EQ(Bands(none), (Expected{{2, 9, 2}}));
  none.KVUpdateRecoatStyles(1, 12, 1);
  EXPECT_EQ(Bands(none), (Expected{{2, 9, 2}}));
  PLATFORM below;  // kind 1 below kind 0: neither of its ends moves
  Stack(below, {{1, 4, 1}, {4, 6, 0}});
  below.KVUpdateRecoatStyles(0, 9, 1);
  EXPECT_EQ(Bands(below), (Expected{{1, 4, 1}, {4, 6, 0}}));
  PLATFORM two;
  Stack(two, {{3, 4, 1}, {4, 6, 1}});
  two.KVUpdateRecoatStyles(1, 9, 1);
  EXPECT_EQ(Bands(two), (Expected{{1, 4, 1}, {4, 9, 1}}));
  two.KVUpdateRecoatStyles(2, 8, 1);  // never shrinks
  EXPECT_EQ(Bands(two), (Expected{{1, 4, 1}, {4, 9, 1}}));
}

TEST(PlatformStack, WhoGivesWayAtASeam) {
  struct Case {
    RECOAT_TYPE type;
    float bottom;
    Band lower, upper;
    Expected expected;
  };
  const Case cases[] = {
      {1, 0, {0, 6, 1}, {5, 8, 0}, {{0, 6, 1}, {6, 8, 0}}},  // lower of the kind, upper not
      {1, 0, {0, 6, 0}, {5, 8, 1}, {{0, 5, 0}, {5, 8, 1}}},
      {0, 5, {0, 6, 1}, {5, 8, 0}, {{0, 5, 1}, {5, 8, 0}}},
      {1, 0, {0, 6, 1}, {5, 8, 1}, {{0, 5, 1}, {5, 8, 1}}},  // both
      {1, 0, {0, 6, 0}, {5, 8, 0}, {{0, 5, 0}, {5, 8, 0}}},  // neither
      {1, 0, {0, 2, 1}, {3, 8, 0}, {{0, 2, 1}, {2, 8, 0}}},  // gaps the same way
      {1, 0, {0, 2, 0}, {3, 8, 1}, {{0, 3, 0}, {3, 8, 1}}},
      {0, 0, {0, 2, 0}, {3, 8, 1}, {{0, 2, 0}, {2, 8, 1}}},
  };
  for (const Case& c : cases) {
    PLATFORM platform;
    Stack(platform, {c.lower, c.upper});
    platform.KVUpdateRecoatStyles(c.bottom, 8, c.type);
    EXPECT_EQ(Bands(platform), c.expected) << c.type << ": " << c.lower << ", " << c.upper;
  }
}

TEST(PlatformStack, UpdateOrdersByEndToo) {
  PLATFORM platform;
  Stack(platform, {{1, 5, 0}, {1, 2, 0}, {1, 5, 0}});
  const auto before = platform.RecoatStyles;
  platform.KVUpdateRecoatStyles(1, 5, 0);
  // The shortest first, the equal ones as they stood.
  EXPECT_EQ(platform.RecoatStyles, (std::vector{before[1], before[0], before[2]}));
  EXPECT_EQ(Bands(platform), (Expected{{1, 1, 0}, {1, 1, 0}, {1, 5, 0}}));
  PLATFORM many;
  for (int i = 0; i < 100; ++i) Stack(many, {{1, 5, 0}});
  const auto equal = many.RecoatStyles;
  many.KVUpdateRecoatStyles(1, 5, 0);
  EXPECT_EQ(many.RecoatStyles, equal);
}

TEST(PlatformStack, UpdateOrdersAndClosesSeams) {
  PLATFORM platform;
  Stack(platform, {{5, 8, 1}, {0, 6, 0}});
  platform.KVUpdateRecoatStyles(0, 8, 0);
  // Ordered 0..6 kind 0, 5..8 kind 1: the lower is of the kind that was re-fitted, the upper gives way.
  EXPECT_EQ(Bands(platform), (Expected{{0, 6, 0}, {6, 8, 1}}));
  PLATFORM inside;
  Stack(inside, {{0, 6, 0}, {1, 3, 1}});
  inside.KVUpdateRecoatStyles(0, 6, 0);
  EXPECT_EQ(Bands(inside), (Expected{{0, 6, 0}, {6, 6, 1}}));  // ends no lower than it starts
  PLATFORM gap;
  Stack(gap, {{0, 2, 0}, {3, 4, 0}});
  gap.KVUpdateRecoatStyles(0, 4, 0);
  EXPECT_EQ(Bands(gap), (Expected{{0, 3, 0}, {3, 4, 0}}));
}

TEST(PlatformStack, UpdateOfAnEmptyListDoesNothing) {
  PLATFORM platform;
  platform.KVUpdateRecoatStyles(0, 4, 0);
  platform.KVcheckRecoatStyles();
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 0);
}

TEST(ModelConfigParams, StartsBlankAndCopiesEverything) {
  ModelConfigParams params;
  EXPECT_EQ(std::size(params.FirstInts), 15u);
  EXPECT_EQ(std::size(params.Floats), 7u);
  EXPECT_EQ(std::size(params.LastInts), 18u);
  for (int word : params.Words) EXPECT_EQ(word, 0);
  EXPECT_EQ(params.FirstInts[14].GetMinRange(), 100000);
  EXPECT_EQ(params.Floats[6].GetMaxRange(), -100000.0f);
  EXPECT_EQ(params.LastInts[17].GetDisplayFlag(), 1);
  params.Words[0] = 1;
  params.Words[1] = 2;
  params.Words[2] = 3;
  params.LastInts[17].AddAndSetValue(9);
  params.Floats[0].SetValue(2.5f);
  ModelConfigParams copy;
  copy = params;
  EXPECT_EQ(copy.Words[0], 1);
  EXPECT_EQ(copy.Words[1], 2);
  EXPECT_EQ(copy.Words[2], 3);
  EXPECT_EQ(copy.LastInts[17].GetAnElementFromList(0), 9);
  EXPECT_EQ(copy.Floats[0].GetValue(), 2.5f);
}

TEST(Platform, NullEntriesAreNoStyles) {
  PLATFORM platform;
  platform.RecoatStyles.push_back(nullptr);
  EXPECT_EQ(platform.KVGetMaxZRecoatStyles(), 0);
  EXPECT_EQ(platform.KVGetMinZRecoatStyles(), 0);
  EXPECT_FALSE(platform.KVCheckIfRecoatSupportPartStyleCreated(1));
  EXPECT_EQ(platform.KVremoveRecoatStyleByZ(1), 1);
  Stack(platform, {{0, 10}});
  platform.RecoatStyles.push_back(nullptr);
  Stack(platform, {{10, 20}});
  platform.RecoatStyles.push_back(nullptr);
  EXPECT_EQ(platform.KVGetMaxZRecoatStyles(), 20);
  EXPECT_EQ(platform.KVGetMinZRecoatStyles(), 10);
  const auto list = platform.RecoatStyles;
  EXPECT_EQ(platform.getNextRecoatStylePtr(list[0].get()), list[2].get());
  EXPECT_EQ(platform.getNextRecoatStylePtr(list[2].get()), nullptr);
  EXPECT_EQ(platform.getPrevRecoatStylePtr(list[2].get()), list[0].get());
  platform.KVUpdateRecoatStyles(0, 30, RECOAT_TYPE(0));
  EXPECT_EQ(Bands(platform), Expected({{0, 10}, {10, 30}}));
  platform.RecoatStyles.insert(platform.RecoatStyles.begin(), nullptr);
  EXPECT_EQ(platform.KVaddRecoatStyle(30, 40, "", RECOAT_TYPE(0), false, false), 0);
  EXPECT_EQ(Bands(platform), Expected({{0, 10}, {10, 30}, {30, 40}}));
  platform.RecoatStyles.push_back(nullptr);
  EXPECT_EQ(platform.KVremoveRecoatStyle(list[2].get()), 0);
  EXPECT_EQ(Bands(platform), Expected({{0, 10}, {10, 40}}));
}

TEST(Model, NullEntriesAreNoStyles) {
  MODEL model;
  model.BuildStyles.push_back(nullptr);
  EXPECT_EQ(model.KVGetFirstBuildStyleThickness(), 0);
  EXPECT_EQ(model.KVgetDp(), 0);
  EXPECT_EQ(model.KVgetEc(), 0);
  EXPECT_EQ(model.KVGetZLayerComp(), 0);
  EXPECT_FALSE(model.KVisCaviliteStyle());
  model.KVrecalculateBuildStyle(0, 10);
  model.BuildStyles.push_back(nullptr);
  EXPECT_EQ(model.KVAddBuildStyle(nullptr, nullptr, "", 0, 10, false), 0);
  EXPECT_EQ(BandsOf(model.BuildStyles), Expected({{0, 10}}));
  model.BuildStyles.insert(model.BuildStyles.begin(), nullptr);
  model.BuildStyles[1]->LayerThickness.SetValue(0.125f);
  EXPECT_EQ(model.KVGetFirstBuildStyleThickness(), 0.125f);
  model.KVrecalculateBuildStyle(1, 12);
  EXPECT_EQ(BandsOf(model.BuildStyles), Expected({{1, 12}}));
}
