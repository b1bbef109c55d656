#include <gtest/gtest.h>

#include <cstring>

#include "tests/recoat/recoat_styles.h"
#include "tests/support/temp_dir.h"
#include "trq/recoat.h"

using test_support::FilledStyle;
using test_support::GoldenSweep;
using test_support::SameRecord;

TEST(RecoatStyle, StartsWithItsDefaults) {
  const KVRECOATSTYLE style;
  EXPECT_EQ(style.IntegerFlag, 1);
  EXPECT_EQ(style.StyleName, "None");
  EXPECT_EQ(style.BuildDescription, "None");
  EXPECT_EQ(style.FullPathName, "None");
  EXPECT_EQ(style.Units, "in");
  EXPECT_EQ(style.MachineType, 6);
  EXPECT_FALSE(style.CommaSeparated);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.UserLevel, 0);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 0.0f);
  EXPECT_EQ(style.LayerThickness, 0.004f);
  const int words[] = {4, 6, 7, 3, 2};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(style.LayoutWords[i], words[i]);
    EXPECT_EQ(style.FurtherHeaderWords[i], 0);
    EXPECT_EQ(style.BodyTexts[i], "None");
  }
  for (int i : {0, 1, 3}) EXPECT_EQ(style.HeaderTexts[i], "None");
  EXPECT_EQ(style.HeaderTexts[2].str(), std::string(32, '\0'));
  for (const CString& text : style.ClosingTexts) EXPECT_EQ(text, "None");
  EXPECT_EQ(style.GetSweepListSize() + style.GetPrimarySweepListSize() + style.GetSecondarySweepListSize(),
            0);
}

TEST(RecoatStyle, EveryRecordStartsBlank) {
  KVRECOATSTYLE style;
  int records = 0;
  for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
    ++records;
    if (auto* record = row.member.FloatIn(style)) {
      EXPECT_EQ(record->GetValue(), row.quantity == trq::StyleQuantity::kVersion ? 3.01f : 0.0f) << row.name;
      EXPECT_FALSE(record->HasRange()) << row.name;
    } else {
      EXPECT_EQ(row.member.IntIn(style)->GetValue(), 0) << row.name;
      EXPECT_FALSE(row.member.IntIn(style)->HasRange()) << row.name;
    }
  }
  EXPECT_EQ(records, 48);
}

TEST(RecoatStyle, PathConstructorTouchesNoFileAndKeepsNothing) {
  const KVRECOATSTYLE style(CString("none/such.rcs"));
  EXPECT_EQ(style.FullPathName, "None");
  EXPECT_EQ(style.StyleName, "None");
}

TEST(RecoatStyle, FindsRecordsByNameAndKind) {
  KVRECOATSTYLE style;
  EXPECT_EQ(style.FindFloat("Z Velocity"), &style.ZVelocity);
  EXPECT_EQ(style.FindInt("Z Velocity"), nullptr);
  EXPECT_EQ(style.FindInt("Num Sweeps"), &style.NumSweeps);
  EXPECT_EQ(style.FindFloat("KeptFloats[9]"), &style.KeptFloats[9]);
  EXPECT_EQ(style.FindFloat("no such"), nullptr);
  EXPECT_EQ(style.FindFloat(nullptr), nullptr);
}

TEST(RecoatStyle, ListsGrowChangeAndShrink) {
  KVRECOATSTYLE style;
  for (int k = 0; k < 3; ++k) style.AddToSweepList(GoldenSweep(k));
  style.RemoveSweepListRecoadAt(2);
  EXPECT_EQ(style.GetSweepListSize(), 2);
  EXPECT_EQ(style.GetSweepsRecord(1).BladeGap.GetValue(), 101);
  style.AddToSweepList(GoldenSweep(5));
  style.RemoveSweepListRecoadAt(0);
  EXPECT_EQ(style.GetSweepsRecord(0).BladeGap.GetValue(), 101);
  EXPECT_EQ(style.GetSweepsRecord(1).BladeGap.GetValue(), 105);
  style.SetSweepsRecord(0, GoldenSweep(7));
  EXPECT_EQ(style.GetSweepsRecord(0).BladeVelocity.GetValue(), 9.5f);
  style.RemoveAllSweepsRecord();
  EXPECT_EQ(style.GetSweepListSize(), 0);
}

TEST(RecoatStyle, ThreeListsAreApart) {
  KVRECOATSTYLE style;
  style.AddToPrimarySweepList(GoldenSweep(1));
  style.AddToSecondarySweepList(GoldenSweep(2));
  style.AddToSecondarySweepList(GoldenSweep(3));
  EXPECT_EQ(style.GetSweepListSize(), 0);
  EXPECT_EQ(style.GetPrimarySweepListSize(), 1);
  EXPECT_EQ(style.GetSecondarySweepListSize(), 2);
  style.SetPrimarySweepsRecord(0, GoldenSweep(4));
  style.SetSecondarySweepsRecord(1, GoldenSweep(5));
  EXPECT_EQ(style.GetPrimarySweepsRecord(0).BladeGap.GetValue(), 104);
  EXPECT_EQ(style.GetSecondarySweepsRecord(1).BladeGap.GetValue(), 105);
  style.RemovePrimarySweepListRecoadAt(0);
  style.RemoveSecondarySweepListRecoadAt(0);
  EXPECT_EQ(style.GetPrimarySweepListSize(), 0);
  EXPECT_EQ(style.GetSecondarySweepsRecord(0).BladeGap.GetValue(), 105);
  style.RemoveAllSecondarySweepsRecord();
  style.RemoveAllPrimarySweepsRecord();
  EXPECT_EQ(style.GetSecondarySweepListSize(), 0);
}

TEST(RecoatStyle, IndexesOutsideTheListsAreSafe) {
  KVRECOATSTYLE style;
  style.AddToSweepList(GoldenSweep(1));
  for (int i : {-1, 1, 1000}) {
    EXPECT_EQ(style.GetSweepsRecord(i).BladeGap.GetValue(), 0);
    style.SetSweepsRecord(i, GoldenSweep(9));
    style.RemoveSweepListRecoadAt(i);
  }
  EXPECT_EQ(style.GetSweepListSize(), 1);
  EXPECT_EQ(style.GetSweepsRecord(0).BladeGap.GetValue(), 101);
}

TEST(RecoatStyle, AddingAnElementOfTheSameListIsSafe) {
  KVRECOATSTYLE style;
  style.AddToSweepList(GoldenSweep(1));
  for (int k = 0; k < 100; ++k) style.AddToSweepList(style.SweepList[0]);
  EXPECT_EQ(style.GetSweepListSize(), 101);
  EXPECT_EQ(style.GetSweepsRecord(100).BladeGap.GetValue(), 101);
}

TEST(RecoatStyle, ListOperationsLeaveTheCountsAlone) {
  KVRECOATSTYLE style;
  style.AddToSweepList(GoldenSweep(1));
  style.RemoveAllSweepsRecord();
  EXPECT_EQ(style.NumSweeps.GetValue(), 0);
  EXPECT_FALSE(style.NumSweeps.HasRange());
}

TEST(RecoatStyle, PreferredGapIsTheFirstSweepsExcessOverOneLayer) {
  KVRECOATSTYLE style;
  EXPECT_EQ(style.computedPreferredBladeGap(0.004f), 0);
  KVSWEEPS sweep;
  sweep.BladeGap.SetValue(150);
  style.AddToSweepList(sweep);
  EXPECT_EQ(style.computedPreferredBladeGap(0.004f), 0.002f);
  sweep.BladeGap.SetValue(100);
  style.SetSweepsRecord(0, sweep);
  EXPECT_EQ(style.computedPreferredBladeGap(0.004f), 0);
  style.setPreferredBladeGap(0.003f);
  EXPECT_EQ(style.getPreferredBladeGap(), 0.003f);
}

TEST(RecoatStyle, KeptConversionTouchesZRangeAndVelocitiesOnly) {
  KVRECOATSTYLE style = FilledStyle();
  const KVRECOATSTYLE before = style;
  style.ConvertAllValuesToMM();
  int changed = 0;
  for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
    if (auto* record = row.member.FloatIn(style))
      changed += !SameRecord(*record, *row.member.FloatIn(before));
    if (auto* record = row.member.IntIn(style)) changed += !SameRecord(*record, *row.member.IntIn(before));
  }
  EXPECT_EQ(changed, 2);
  EXPECT_EQ(style.StartZ.GetValue(), before.StartZ.GetValue() * 25.4f);
  EXPECT_EQ(style.EndZ.GetValue(), before.EndZ.GetValue() * 25.4f);
  EXPECT_EQ(style.SweepList[1].BladeVelocity.GetValue(), 3.5f * 25.4f);
  EXPECT_EQ(style.PrimarySweepList[0].BladeVelocity.GetValue(), 12.5f * 25.4f);
  EXPECT_EQ(style.SecondarySweepList[0].BladeVelocity.GetValue(), 22.5f * 25.4f);
  EXPECT_EQ(style.SweepList[1].BladeGap.GetValue(), 101);
  EXPECT_EQ(style.Units, "mm");
  style.ConvertAllValuesToINCH();
  EXPECT_EQ(style.StartZ.GetValue(), before.StartZ.GetValue() * 25.4f * 0.03937008f);
}

TEST(RecoatStyle, DefaultsFollowTheValuesEverywhere) {
  KVRECOATSTYLE style = FilledStyle();
  style.EquatelAllDefaultsToCurrentValue();
  for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
    if (auto* record = row.member.FloatIn(style)) {
      EXPECT_EQ(record->GetDefaultValue(), record->GetValue()) << row.name;
    } else {
      EXPECT_EQ(row.member.IntIn(style)->GetDefaultValue(), row.member.IntIn(style)->GetValue()) << row.name;
    }
  }
  for (auto* list : {&style.SweepList, &style.PrimarySweepList, &style.SecondarySweepList}) {
    for (const KVSWEEPS& sweep : *list) {
      EXPECT_EQ(sweep.BladeGap.GetDefaultValue(), sweep.BladeGap.GetValue());
      EXPECT_EQ(sweep.BladeVelocity.GetDefaultValue(), sweep.BladeVelocity.GetValue());
    }
  }
}

TEST(RecoatStyle, KeptStepTo205EndsAt206) {
  KVRECOATSTYLE style = FilledStyle();
  EXPECT_EQ(style.ConvertTo205Version(1.0f), 0);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 2.06f);
  EXPECT_EQ(style.ClosingTexts[0], "None");
  EXPECT_EQ(style.ClosingTexts[1], "None");
}

TEST(RecoatStyle, StepTo301SetsWordsThicknessAndPreferredGap) {
  KVRECOATSTYLE style = FilledStyle();
  EXPECT_EQ(style.ConvertBuildStylesTo301(), 0);
  const int words[] = {4, 6, 7, 3, 2};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(style.LayoutWords[i], words[i]);
  EXPECT_EQ(style.LayerThickness, 0);
  EXPECT_EQ(style.PreferredBladeGap.GetValue(), 0);
  EXPECT_EQ(style.PreferredBladeGap.GetDisplayFlag(), 0);
  EXPECT_EQ(style.PreferredBladeGap.GetEditFlag(), 1);
  EXPECT_EQ(style.PreferredBladeGap.GetDefaultValue(), 7 + 27 * 0.25f);  // its place in the table is 27
  EXPECT_EQ(style.FurtherHeaderWords[0], 21);
}

TEST(RecoatStyle, AssignmentCopiesRecordsTextsAndLists) {
  const KVRECOATSTYLE filled = FilledStyle();
  KVRECOATSTYLE copy;
  copy = filled;
  for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
    if (row.member.is_float()) {
      EXPECT_TRUE(SameRecord(*row.member.FloatIn(copy), *row.member.FloatIn(filled))) << row.name;
    } else {
      EXPECT_TRUE(SameRecord(*row.member.IntIn(copy), *row.member.IntIn(filled))) << row.name;
    }
  }
  EXPECT_EQ(copy.BodyTexts[4], "more 4");
  EXPECT_EQ(copy.GetSweepListSize(), 3);
  copy.SetSweepsRecord(0, KVSWEEPS());
  EXPECT_EQ(filled.GetSweepsRecord(0).BladeGap.GetValue(), 100);
}

namespace {

_rc_style Structure() {
  _rc_style s;
  std::memset(&s, 0, sizeof s);
  std::strcpy(s.style_name, "made");
  std::memset(s.build_description, 'd', sizeof s.build_description);  // no NUL
  std::strcpy(s.full_path_name, "p/made.rcs");
  s.start_z = 1;
  s.end_z = 2;
  s.z_dip_distance = 3;
  s.z_velocity = 4;
  s.z_acceleration = 5;
  s.z_post_dip_delay = 6.9f;
  s.z_pre_dip_delay = -7.9f;
  s.primary = {8, 9, 10, 11, 12, 13};
  s.secondary = {14, 15, 16, 17, 18, 19};
  s.number_of_sweeps = 2;
  s.number_of_primary_sweeps = 9;
  s.number_of_secondary_sweeps = -3;
  for (int i = 0; i < 7; ++i) {
    s.sweeps[i] = {100.0f + i, 1.0f + i};
    s.primary_sweeps[i] = {200.0f + i, 2.0f + i};
    s.secondary_sweeps[i] = {300.0f + i, 3.0f + i};
  }
  s.number_of_secondary_dips = 20;
  s.z_wait = 21.5f;
  return s;
}

}  // namespace

TEST(RecoatStyle, StructureFillsValueDefaultAndListAlike) {
  const _rc_style structure = Structure();
  KVRECOATSTYLE style(&structure, 1);
  EXPECT_EQ(style.StyleName, "made");
  EXPECT_EQ(style.BuildDescription, std::string(81, 'd').c_str());
  EXPECT_EQ(style.FullPathName, "p/made.rcs");
  EXPECT_EQ(style.RecoatType.GetValue(), 1);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  const struct {
    const char* name;
    float value;
  } numbers[] = {{"Start Z", 1},
                 {"End Z", 2},
                 {"Z Dip Distance", 3},
                 {"Z Velocity", 4},
                 {"Z Acceleration", 5},
                 {"Z Post DipDelay", 6},
                 {"Z Pre DipDelay", -7},
                 {"Primary ZVelocity", 8},
                 {"Primary ZAcceleration", 9},
                 {"Primary ZDipDistance", 10},
                 {"Primary ZPreDipDelay", 11},
                 {"Primary ZPostDipDelay", 12},
                 {"Primary ZWait", 13},
                 {"Secondary ZVelocity", 14},
                 {"Secondary ZAcceleration", 15},
                 {"Secondary ZDipDistance", 16},
                 {"Secondary ZPreDipDelay", 17},
                 {"Secondary ZPostDipDelay", 18},
                 {"Secondary ZWait", 19},
                 {"Number Of Secondary", 20},
                 {"Z Wait", 21},
                 {"Num Sweeps", 2},
                 {"Num Tooling PrimarySweeps", 9},
                 {"Num Tooling SecondarySweeps", -3}};
  for (const auto& number : numbers) {
    const auto check = [&number](const auto& record) {
      EXPECT_EQ(record.GetValue(), number.value) << number.name;
      EXPECT_EQ(record.GetDefaultValue(), number.value) << number.name;
      EXPECT_EQ(record.GetNumElementsInList(), 1) << number.name;
      EXPECT_EQ(record.GetAnElementFromList(0), number.value) << number.name;
    };
    if (const auto* record = style.FindFloat(number.name)) {
      check(*record);
    } else {
      ASSERT_NE(style.FindInt(number.name), nullptr) << number.name;
      check(*style.FindInt(number.name));
    }
  }
}

TEST(RecoatStyle, StructureGivesSevenSweepsAtMostAndSetsTheMaxima) {
  const _rc_style structure = Structure();
  const KVRECOATSTYLE style(&structure, 0);
  EXPECT_EQ(style.GetSweepListSize(), 2);
  EXPECT_EQ(style.GetPrimarySweepListSize(), 7);
  EXPECT_EQ(style.GetSecondarySweepListSize(), 0);
  EXPECT_EQ(style.NumSweeps.GetMaxRange(), 2);
  EXPECT_EQ(style.NumToolingPrimarySweeps.GetMaxRange(), 7);
  EXPECT_EQ(style.NumToolingSecondarySweeps.GetMaxRange(), 0);
  EXPECT_EQ(style.GetSweepsRecord(1).BladeGap.GetValue(), 101);
  EXPECT_EQ(style.GetSweepsRecord(1).BladeGap.GetNumElementsInList(), 1);
  EXPECT_EQ(style.GetPrimarySweepsRecord(6).BladeVelocity.GetValue(), 8);
  EXPECT_EQ(style.PreferredBladeGap.GetValue(), 0);
}

TEST(RecoatStyle, NullStructureGivesTypeAndVersion) {
  const KVRECOATSTYLE style(nullptr, 1);
  EXPECT_EQ(style.RecoatType.GetValue(), 1);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  EXPECT_EQ(style.StyleName, "None");
}
