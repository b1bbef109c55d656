#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/temp_dir.h"
#include "trq/setup.h"

using test_support::TempDir;

namespace {

struct Band {
  float start, end;
  int kind = 0;
  bool operator==(const Band& other) const {
    return start == other.start && end == other.end && kind == other.kind;
  }
};
std::ostream& operator<<(std::ostream& out, const Band& band) {
  return out << band.start << ".." << band.end << " kind " << band.kind;
}

void Stack(PLATFORM& platform, std::initializer_list<Band> bands) {
  for (const Band& band : bands) {
    auto style = std::make_shared<KVRECOATSTYLE>();
    style->StartZ.SetValue(band.start);
    style->EndZ.SetValue(band.end);
    style->RecoatType.SetValue(band.kind);
    platform.RecoatStyles.push_back(style);
  }
}

std::vector<Band> Bands(const PLATFORM& platform) {
  std::vector<Band> bands;
  for (const auto& style : platform.RecoatStyles) {
    bands.push_back({style->StartZ.GetValue(), style->EndZ.GetValue(), style->RecoatType.GetValue()});
  }
  return bands;
}

using Expected = std::vector<Band>;

}  // namespace

TEST(Platform, StartsWithItsDefaults) {
  const PLATFORM platform;
  EXPECT_EQ(platform.PlatformName, "");
  EXPECT_EQ(platform.MachineType, 0);
  EXPECT_EQ(platform.Units, 0);
  EXPECT_EQ(platform.MinX, 1000000.0f);
  EXPECT_EQ(platform.MaxZ, -1000000.0f);
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
}

TEST(Platform, ExtentIsAtLeastMinusAThousand) {
  PLATFORM platform;
  EXPECT_EQ(platform.getMaxPlatformExtent(), -1000.0f);
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
  EXPECT_EQ(upper.KVremoveRecoatStyle(upper.RecoatStyles[1].get()), 0);
  EXPECT_EQ(Bands(upper), (Expected{{0, 10}}));
}

TEST(Platform, TheOnlyStyleStays) {
  PLATFORM platform;
  EXPECT_EQ(platform.KVremoveRecoatStyle(nullptr), 2);
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

TEST(Platform, ResetRestoresWhatItNames) {
  PLATFORM platform;
  Stack(platform, {{0, 5}});
  platform.PlatformName = "vat";
  platform.MachineType = TRQ_E7;
  platform.Units = 1;
  platform.MaxX = 4;
  platform.MinZ = 2;
  platform.BuildStyleFile = "a";
  platform.SingleVatRecoatStyleFile = "b";
  platform.BuildName = "mine";
  platform.SecondText = "kept";
  platform.IntegerSetting = 1;
  platform.ApplicationState[20] = 5;
  platform.FurtherState[5] = 6;
  platform.CurrentRecoatStyle = std::make_shared<KVRECOATSTYLE>();
  platform.CurrentBuildStyle = std::make_shared<KVBUILDSTYLE>();
  platform.ResetThePlatformDS();
  EXPECT_EQ(platform.PlatformName, "");
  EXPECT_EQ(platform.MachineType, 0);
  EXPECT_EQ(platform.Units, 0);
  EXPECT_EQ(platform.MaxX, -1000000.0f);
  EXPECT_EQ(platform.MinZ, 1000000.0f);
  EXPECT_EQ(platform.BuildStyleFile, "Default.sty");
  EXPECT_EQ(platform.SingleVatRecoatStyleFile, "Default_s.rcs");
  EXPECT_EQ(platform.FurtherState[5], 0);
  EXPECT_EQ(platform.CurrentRecoatStyle, nullptr);
  EXPECT_EQ(platform.CurrentBuildStyle, nullptr);
  EXPECT_EQ(platform.KVNumberOFRecoatStyles(), 0);
  EXPECT_EQ(platform.BuildName, "mine");
  EXPECT_EQ(platform.SecondText, "kept");
  EXPECT_EQ(platform.IntegerSetting, 1);
  EXPECT_EQ(platform.ApplicationState[20], 5);
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

TEST(PlatformStack, RangeThatNoStyleHoldsIsInsertedByItsStart) {
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
