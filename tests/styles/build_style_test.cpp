#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <set>
#include <string>
#include <type_traits>

#include "tests/styles/style_samples.h"
#include "trq/style_structures.h"
#include "trq/styles.h"

namespace {

using test_support::DifferingRecords;
using test_support::EndsWith;
using test_support::FillRecords;
using test_support::FillStyle;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// --- The table
// -------------------------------------------------------------------------------------------------

TEST(BuildStyleTable, FollowsTheMembersInMemory) {
  KVBUILDSTYLE style;
  const char* last = reinterpret_cast<const char*>(&style);
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    const char* here = row.member.is_float() ? reinterpret_cast<const char*>(row.member.FloatIn(style))
                                             : reinterpret_cast<const char*>(row.member.IntIn(style));
    EXPECT_GT(here, last) << row.name;
    last = here;
  }
}

TEST(BuildStyleTable, MembersAreNamedAfterTheDisplayNames) {
  KVBUILDSTYLE style;
  EXPECT_EQ(style.FindFloat("Layer Thickness"), &style.LayerThickness);
  EXPECT_EQ(style.FindFloat("Small LayerBorder  Cure Depth"), &style.SmallLayerBorderCureDepth);
  EXPECT_EQ(style.FindInt("Small Up Number of Hatches"), &style.SmallUpNumberofHatches);
  EXPECT_EQ(style.FindFloat("Small Up Fill Spacing  3"), &style.SmallUpFillSpacing3);
  EXPECT_EQ(style.FindFloat("Large Down FillSpacing 4"), &style.LargeDownFillSpacing4);
  EXPECT_EQ(style.FindInt("Small Line Width Compenstation Flag"), &style.SmallLineWidthCompenstationFlag);
  EXPECT_EQ(style.FindInt("LBP for B2"), &style.LBPforB2);
  EXPECT_EQ(style.FindFloat("Up Hatch 3 Power"), &style.UpHatch3Power);
  EXPECT_EQ(style.FindFloat("Shelling Thickness"), &style.ShellingThickness);
  EXPECT_EQ(style.FindInt("AfterMinLargeNSWidth"), &style.ZCompensationLayers);
  EXPECT_EQ(style.FindFloat("AfterSupportCureDepths[20]"), &style.AfterSupportCureDepths[20]);
  EXPECT_EQ(style.FindInt("AfterZFilteringFlag[1]"), &style.AfterZFilteringFlag[1]);
}

TEST(BuildStyleTable, LookupIsExactAndByKind) {
  const KVBUILDSTYLE style;
  EXPECT_EQ(style.FindInt("Layer Thickness"), nullptr);
  EXPECT_EQ(style.FindFloat("DH Flag"), nullptr);
  EXPECT_EQ(style.FindFloat("Small LayerBorder Cure Depth"), nullptr);  // the name has two blanks
  EXPECT_EQ(style.FindFloat("layer thickness"), nullptr);
  EXPECT_EQ(style.FindFloat(""), nullptr);
  EXPECT_EQ(style.FindInt(nullptr), nullptr);
  EXPECT_EQ(style.FindFloat("Start Z"), &style.StartZ);
}

TEST(BuildStyleTable, NamesAreUniqueAndQuantitiesFit) {
  std::set<std::string> names;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    const std::string name = row.name;
    EXPECT_EQ(row.quantity == trq::StyleQuantity::kPower, EndsWith(name, "Power")) << name;
    EXPECT_EQ(row.quantity == trq::StyleQuantity::kAngle, name.find("Angle") != std::string::npos) << name;
    EXPECT_EQ(row.quantity == trq::StyleQuantity::kFlag, row.named && EndsWith(name, "Flag")) << name;
    EXPECT_EQ(row.region == trq::StyleRegion::kUnnamed, !row.named) << name;
  }
  EXPECT_EQ(names.size(), 262u);
}

// --- Construction
// ----------------------------------------------------------------------------------------------

template <class Record>
void ExpectRecord(const Record& record, double value, double minimum, double maximum) {
  EXPECT_EQ(record.GetValue(), static_cast<decltype(record.GetValue())>(value));
  EXPECT_EQ(record.GetDefaultValue(), record.GetValue());
  EXPECT_EQ(record.GetMinRange(), static_cast<decltype(record.GetValue())>(minimum));
  EXPECT_EQ(record.GetMaxRange(), static_cast<decltype(record.GetValue())>(maximum));
  EXPECT_EQ(record.GetDisplayFlag(), 1);
  EXPECT_EQ(record.GetEditFlag(), 1);
  EXPECT_EQ(record.GetRangeFlag(), 1);
  EXPECT_EQ(record.GetNumElementsInList(), 0);
}

TEST(BuildStyle, NewStyleIsABlankTemplate) {
  const KVBUILDSTYLE style;
  const std::set<std::string> ones = {"Small Line Width Compenstation Flag",
                                      "Large Line Width Compenstation Flag",
                                      "Z Filtering Flag",
                                      "Draw Small Up Borders Flag",
                                      "Draw Large Up Borders Flag",
                                      "Draw Small Down Borders Flag",
                                      "Draw Large Down Borders Flag",
                                      "Draw Small Layer Borders Flag",
                                      "Draw Large Layer Borders Flag",
                                      "Draw Small Layer Border Prime Flag",
                                      "Draw Large Layer Border Prime Flag"};
  int powers = 0;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    SCOPED_TRACE(row.name);
    const std::string name = row.name;
    double value = 0, minimum = 100000, maximum = -100000;
    if (EndsWith(name, "Power")) {
      value = 600, minimum = 50, maximum = 1200;
      ++powers;
    } else if (name == "High Speed Scan Threshold") {
      value = 120, minimum = 20, maximum = 250;
    } else if (name == "Shell Support Spacing") {
      value = 0.4f, minimum = 0, maximum = 2;
    } else if (name == "Shelling Thickness") {
      value = 0.02f, minimum = 0.02f, maximum = 1;
    } else if (name == "Smart Best Surface Finish Layers") {
      value = 10, minimum = 1, maximum = 20;
    } else if (ones.count(name)) {
      value = 1;
    } else if (name == "Version") {
      continue;
    }
    if (const auto* record = row.member.FloatIn(style)) {
      ExpectRecord(*record, value, minimum, maximum);
    } else {
      ExpectRecord(*row.member.IntIn(style), value, minimum, maximum);
    }
  }
  EXPECT_EQ(powers, 27);
  EXPECT_EQ(style.Version.GetValue(), 3.01f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 0.0f);
  EXPECT_FALSE(style.Version.HasRange());
}

TEST(BuildStyle, NewStyleHasItsTextsAndWords) {
  const KVBUILDSTYLE style;
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.StyleName, "None");
  EXPECT_EQ(style.FullPathName, "None");
  EXPECT_EQ(style.BuildDescription, "None");
  EXPECT_EQ(style.Units, "in");
  EXPECT_EQ(style.MachineType, TRQ_E7);
  EXPECT_EQ(style.UserLevel, 0);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_EQ(style.StoredCRC, 0u);
  EXPECT_FALSE(style.CommaSeparated);
  const int words[] = {4, 6, 7, 3, 2, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(style.LayoutWords[i], words[i]) << i;
  for (const int32_t word : style.FurtherHeaderWords) EXPECT_EQ(word, 0);
  for (const int i : {0, 1, 3, 4, 5}) EXPECT_EQ(style.HeaderTexts[i], "None") << i;
  EXPECT_EQ(style.HeaderTexts[2].str(), std::string(32, '\0'));
  EXPECT_EQ(style.NoticeText, "None");
  for (const CString& text : style.UnstoredTexts) EXPECT_EQ(text, "None");
  for (const CString& text : style.TextsAfterNotice) EXPECT_EQ(text, "None");
}

TEST(BuildStyle, FloatArgumentIsTheVersionValueOnly) {
  const KVBUILDSTYLE style(2.5f);
  EXPECT_EQ(style.Version.GetValue(), 2.5f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 0.0f);
  EXPECT_EQ(style.FileVersion, 3.01f);
  EXPECT_THAT(DifferingRecords(style, KVBUILDSTYLE()), UnorderedElementsAre("Version"));
}

TEST(BuildStyle, StringArgumentIsNameAndPath) {
  const KVBUILDSTYLE style("a.sty");
  EXPECT_EQ(style.StyleName, "a.sty");
  EXPECT_EQ(style.FullPathName, "a.sty");
  EXPECT_EQ(style.BuildDescription, "None");
  EXPECT_THAT(DifferingRecords(style, KVBUILDSTYLE()), IsEmpty());
  const KVBUILDSTYLE versioned("b.sty", 2.75f);
  EXPECT_EQ(versioned.StyleName, "b.sty");
  EXPECT_EQ(versioned.FullPathName, "b.sty");
  EXPECT_EQ(versioned.Version.GetValue(), 2.75f);
}

// --- The slice-file library's structure
// ------------------------------------------------------------------------

// Its numbers in their order.
// clang-format off
#define STRUCTURE_FIELDS(F) F(StartZ) F(EndZ) F(LayerThickness) F(SmallLayerBorderCureDepth) \
  F(SmallLayerBorderPrimeCureDepth) F(SmallLayerNumHatches) F(SmallLayerHatchAngle1) \
  F(SmallLayerHatchAngle2) F(SmallLayerHatchAngle3) F(SmallLayerHatchAngle4) F(SmallLayerHatchCureDepth1) \
  F(SmallLayerHatchCureDepth2) F(SmallLayerHatchCureDepth3) F(SmallLayerHatchCureDepth4) \
  F(SmallLayerHatchSpacing1) F(SmallLayerHatchSpacing2) F(SmallLayerHatchSpacing3) \
  F(SmallLayerHatchSpacing4) F(SmallUpBorderCureDepth) F(SmallUpNumberofHatches) F(SmallUpHatchAngle1) \
  F(SmallUpHatchAngle2) F(SmallUpHatchAngle3) F(SmallUpHatchAngle4) F(SmallUpHatchCureDepth1) \
  F(SmallUpHatchCureDepth2) F(SmallUpHatchCureDepth3) F(SmallUpHatchCureDepth4) F(SmallUpHatchSpacing1) \
  F(SmallUpHatchSpacing2) F(SmallUpHatchSpacing3) F(SmallUpHatchSpacing4) F(SmallUpNumFills) \
  F(SmallUpFillAngle1) F(SmallUpFillAngle2) F(SmallUpFillAngle3) F(SmallUpFillAngle4) \
  F(SmallUpFillCureDepth1) F(SmallUpFillCureDepth2) F(SmallUpFillCureDepth3) F(SmallUpFillCureDepth4) \
  F(SmallUpFillSpacing1) F(SmallUpFillSpacing2) F(SmallUpFillSpacing3) F(SmallUpFillSpacing4) \
  F(SmallDownBorderCureDepth) F(SmallDownNumHatches) F(SmallDownHatchAngle1) F(SmallDownHatchAngle2) \
  F(SmallDownHatchAngle3) F(SmallDownHatchAngle4) F(SmallDownHatchCureDepth1) F(SmallDownHatchCureDepth2) \
  F(SmallDownHatchCureDepth3) F(SmallDownHatchCureDepth4) F(SmallDownHatchSpacing1) \
  F(SmallDownHatchSpacing2) F(SmallDownHatchSpacing3) F(SmallDownHatchSpacing4) F(SmallDownNumFills) \
  F(SmallDownFillAngle1) F(SmallDownFillAngle2) F(SmallDownFillAngle3) F(SmallDownFillAngle4) \
  F(SmallDownFillCureDepth1) F(SmallDownFillCureDepth2) F(SmallDownFillCureDepth3) \
  F(SmallDownFillCureDepth4) F(SmallDownFillSpacing1) F(SmallDownFillSpacing2) F(SmallDownFillSpacing3) \
  F(SmallDownFillSpacing4) F(LargeLayerBorderCureDepth) F(LargeLayerBorderPrimeCureDepth) \
  F(LargeLayerNumHatches) F(LargeLayerHatchAngle1) F(LargeLayerHatchAngle2) F(LargeLayerHatchAngle3) \
  F(LargeLayerHatchAngle4) F(LargeLayerHatchCureDepth1) F(LargeLayerHatchCureDepth2) \
  F(LargeLayerHatchCureDepth3) F(LargeLayerHatchCureDepth4) F(LargeLayerHatchSpacing1) \
  F(LargeLayerHatchSpacing2) F(LargeLayerHatchSpacing3) F(LargeLayerHatchSpacing4) \
  F(LargeUpBorderCureDepth) F(LargeUpNumHatches) F(LargeUpHatchAngle1) F(LargeUpHatchAngle2) \
  F(LargeUpHatchAngle3) F(LargeUpHatchAngle4) F(LargeUpHatchCureDepth1) F(LargeUpHatchCureDepth2) \
  F(LargeUpHatchCureDepth3) F(LargeUpHatchCureDepth4) F(LargeUpHatchSpacing1) F(LargeUpHatchSpacing2) \
  F(LargeUpHatchSpacing3) F(LargeUpHatchSpacing4) F(LargeUpNumFills) F(LargeUpFillAngle1) \
  F(LargeUpFillAngle2) F(LargeUpFillAngle3) F(LargeUpFillAngle4) F(LargeUpFillCureDepth1) \
  F(LargeUpFillCureDepth2) F(LargeUpFillCureDepth3) F(LargeUpFillCureDepth4) F(LargeUpFillSpacing1) \
  F(LargeUpFillSpacing2) F(LargeUpFillSpacing3) F(LargeUpFillSpacing4) F(LargeDownBorderCureDepth) \
  F(LargeDownNumHatches) F(LargeDownHatchAngle1) F(LargeDownHatchAngle2) F(LargeDownHatchAngle3) \
  F(LargeDownHatchAngle4) F(LargeDownHatchCureDepth1) F(LargeDownHatchCureDepth2) \
  F(LargeDownHatchCureDepth3) F(LargeDownHatchCureDepth4) F(LargeDownHatchSpacing1) \
  F(LargeDownHatchSpacing2) F(LargeDownHatchSpacing3) F(LargeDownHatchSpacing4) F(LargeDownNumFills) \
  F(LargeDownFillAngle1) F(LargeDownFillAngle2) F(LargeDownFillAngle3) F(LargeDownFillAngle4) \
  F(LargeDownFillCureDepth1) F(LargeDownFillCureDepth2) F(LargeDownFillCureDepth3) \
  F(LargeDownFillCureDepth4) F(LargeDownFillSpacing1) F(LargeDownFillSpacing2) F(LargeDownFillSpacing3) \
  F(LargeDownFillSpacing4) F(LargeRetractStart) F(LargeRetractEnd) F(HatchType) F(FillType) \
  F(QCBorderType) F(QCHatchStyle) F(QCThickSkins) F(QCVentsDrains) F(QCMinSmallThickSkinWidth) \
  F(QCMinLargeThickSkinWidth) F(QCZTransition) F(QCZBond) F(QCLayerDepth) F(Stagger) F(Alternate) \
  F(SmallStaggerOffset) F(BoundaryComp) F(AdditionalBoundaries) F(DHFlag) F(UHFlag) F(MinSmallNSWidth) \
  F(MinLargeNSWidth) F(ZCalculate) F(SmallLineWidth) F(LargeLineWidth) F(Dp) F(Ec) F(MinWidthForSmallSpot) \
  F(SmallSupportBoundaryCureDepth) F(SmallSupportDownInterfaceBoundaryCureDepth) \
  F(SmallSupportUpInterfaceBoundaryCureDepth) F(LargeSupportBoundaryCureDepth) \
  F(LargeSupportDownInterfaceBoundaryCureDepth) F(LargeSupportUpInterfaceBoundaryCureDepth)
// clang-format on

/// Number k of the structure is k + 1000 (floats: and a quarter).
trq::BuildStyleStructure NumberedStructure() {
  trq::BuildStyleStructure structure = {};
  std::strcpy(structure.StyleName, "structure name");
  std::memset(structure.FullPathName, 'p', sizeof structure.FullPathName);  // no NUL
  std::strcpy(structure.BuildDescription, "structure description");
  int k = 1000;
#define SET_FIELD(name) structure.name = static_cast<decltype(structure.name)>(k++ + 0.25);
  STRUCTURE_FIELDS(SET_FIELD)
#undef SET_FIELD
  return structure;
}

TEST(BuildStyleFromStructure, StructureHasOneNumberAParameterInMemberOrder) {
  const trq::BuildStyleStructure structure = NumberedStructure();
  EXPECT_EQ(sizeof structure, 1536u + 4u * 175u);
  std::size_t offset = 1536;
#define CHECK_OFFSET(name)                                              \
  EXPECT_EQ(offsetof(trq::BuildStyleStructure, name), offset) << #name; \
  offset += 4;
  STRUCTURE_FIELDS(CHECK_OFFSET)
#undef CHECK_OFFSET
  EXPECT_EQ(offset, sizeof structure);
}

TEST(BuildStyleFromStructure, EveryNumberArrivesAsValueDefaultAndOnlyListedValue) {
  const trq::BuildStyleStructure structure = NumberedStructure();
  const KVBUILDSTYLE style(&structure, TRQ_MIRRA);
#define CHECK_FIELD(name)                                           \
  EXPECT_EQ(style.name.GetValue(), structure.name) << #name;        \
  EXPECT_EQ(style.name.GetDefaultValue(), structure.name) << #name; \
  ASSERT_EQ(style.name.GetNumElementsInList(), 1) << #name;         \
  EXPECT_EQ(style.name.GetAnElementFromList(0), structure.name) << #name;
  STRUCTURE_FIELDS(CHECK_FIELD)
#undef CHECK_FIELD
}

TEST(BuildStyleFromStructure, FixedValuesTextsAndMachine) {
  const trq::BuildStyleStructure structure = NumberedStructure();
  const KVBUILDSTYLE style(&structure, TRQ_MIRRA);
  EXPECT_EQ(style.ToolingSequencingRatio.GetValue(), 1);
  EXPECT_EQ(style.ToolingSequencingCount.GetValue(), 0);
  EXPECT_EQ(style.LargeInterHatchDelay.GetValue(), 0);
  EXPECT_EQ(style.SmallInterHatchDelay.GetValue(), 0);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 2.06f);
  EXPECT_EQ(style.MachineType, TRQ_MIRRA);
  EXPECT_EQ(style.StyleName, "structure name");
  EXPECT_EQ(style.FullPathName, std::string(512, 'p'));
  EXPECT_EQ(style.BuildDescription, "structure description");
  EXPECT_EQ(style.FileVersion, 3.01f);
  // What the structure does not hold keeps its default.
  EXPECT_EQ(style.LayerBorderPower.GetValue(), 600.0f);
  EXPECT_EQ(style.LayerBorderPower.GetNumElementsInList(), 0);
}

TEST(BuildStyleFromStructure, KeptPairsShareOneField) {
  const trq::BuildStyleStructure structure = NumberedStructure();
  const KVBUILDSTYLE style(&structure, TRQ_E7);
  EXPECT_EQ(style.SmallRetractStart.GetValue(), structure.LargeRetractStart);
  EXPECT_EQ(style.SmallRetractEnd.GetValue(), structure.LargeRetractEnd);
  EXPECT_EQ(style.LargeStaggerOffset.GetValue(), structure.SmallStaggerOffset);
  EXPECT_EQ(style.LargeStaggerOffset.GetAnElementFromList(0), structure.SmallStaggerOffset);
}

TEST(BuildStyleFromStructure, NullGivesTheFixedValuesOnly) {
  KVBUILDSTYLE style(nullptr, TRQ_D5);
  EXPECT_EQ(style.MachineType, TRQ_D5);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  EXPECT_EQ(style.StyleName, "None");
  EXPECT_EQ(style.StartZ.GetNumElementsInList(), 0);
  style.resetKVBuildStyle(nullptr);
  EXPECT_EQ(style.StartZ.GetNumElementsInList(), 0);
}

TEST(BuildStyleFromStructure, KeptResetAValueRefusesEverythingAfterwards) {
  const trq::BuildStyleStructure structure = NumberedStructure();
  KVBUILDSTYLE style(&structure, TRQ_E7);
  EXPECT_EQ(style.LayerThickness.ResetAValue(style.LayerThickness.GetValue()), 1);
  EXPECT_EQ(style.HatchType.ResetAValue(0), 1);
}

TEST(BuildStyleFromStructure, ResettingAlwaysDeliversTheStructuresValue) {
  trq::BuildStyleStructure structure = NumberedStructure();
  KVBUILDSTYLE style(&structure, TRQ_E7);
  structure.LayerThickness = 0.5f;
  structure.LargeRetractStart = 0.75f;
  structure.DHFlag = -9;
  style.StyleName = "mine";
  style.resetKVBuildStyle(&structure);
  EXPECT_EQ(style.LayerThickness.GetValue(), 0.5f);
  EXPECT_EQ(style.LayerThickness.GetDefaultValue(), 0.5f);
  ASSERT_EQ(style.LayerThickness.GetNumElementsInList(), 1);
  EXPECT_EQ(style.LayerThickness.GetAnElementFromList(0), 0.5f);
  EXPECT_EQ(style.SmallRetractStart.GetValue(), 0.75f);
  EXPECT_EQ(style.DHFlag.GetValue(), -9);
  EXPECT_EQ(style.StyleName, "mine");
}

TEST(BuildStyleFromStructure, ResettingWithinARangeKeepsTheDefault) {
  trq::BuildStyleStructure structure = NumberedStructure();
  KVBUILDSTYLE style;
  style.LayerThickness.SetMinRange(0);
  style.LayerThickness.SetMaxRange(1);
  style.LayerThickness.SetDefaultValue(0.25f);
  style.EndZ.AddElementToList(3);
  style.EndZ.AddElementToList(4);
  structure.LayerThickness = 0.5f;
  structure.EndZ = 4;
  style.resetKVBuildStyle(&structure);
  EXPECT_EQ(style.LayerThickness.GetValue(), 0.5f);
  EXPECT_EQ(style.LayerThickness.GetDefaultValue(), 0.25f);
  EXPECT_EQ(style.EndZ.GetValue(), 4.0f);
  EXPECT_EQ(style.EndZ.GetNumElementsInList(), 2);
  structure.EndZ = 5;  // not listed: the list gives way
  style.resetKVBuildStyle(&structure);
  EXPECT_EQ(style.EndZ.GetValue(), 5.0f);
  EXPECT_EQ(style.EndZ.GetNumElementsInList(), 1);
}

// --- Operations on all records
// ---------------------------------------------------------------------------------

TEST(BuildStyle, UnitConversionChangesLengthsOnly) {
  KVBUILDSTYLE style;
  FillRecords(style);
  const KVBUILDSTYLE before(style);
  style.ConvertAllValuesToMM();
  int converted = 0;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    SCOPED_TRACE(row.name);
    const std::string name = row.name;
    const auto* record = row.member.FloatIn(style);
    if (!record) continue;
    const auto* old = row.member.FloatIn(before);
    const bool kept = !row.named || name == "Version" || name.find("Angle") != std::string::npos ||
                      name == "Dp" || name == "Ec" || EndsWith(name, "Power") ||
                      name == "High Speed Scan Threshold" || name == "Min Large NS Width";
    const float factor = kept ? 1.0f : 25.4f;
    converted += kept ? 0 : 1;
    EXPECT_EQ(record->GetValue(), old->GetValue() * factor);
    EXPECT_EQ(record->GetDefaultValue(), old->GetDefaultValue() * factor);
    EXPECT_EQ(record->GetMinRange(), old->GetMinRange() * factor);
    EXPECT_EQ(record->GetMaxRange(), old->GetMaxRange() * factor);
    for (int i = 0; i < old->GetNumElementsInList(); ++i) {
      EXPECT_EQ(record->GetAnElementFromList(i), old->GetAnElementFromList(i) * factor);
    }
  }
  EXPECT_EQ(converted, 115);
  EXPECT_EQ(DifferingRecords(style, before).size(), 115u);  // so no integer record either
  EXPECT_EQ(style.Units, "in");
}

TEST(BuildStyle, LayerThicknessBecomesMillimetresAndInchesAgain) {
  KVBUILDSTYLE style;
  style.LayerThickness.SetValue(0.004f);
  style.ConvertAllValuesToMM();
  EXPECT_EQ(style.LayerThickness.GetValue(), 0.101600006f);
  style.ConvertAllValuesToINCH();
  EXPECT_EQ(style.LayerThickness.GetValue(), 0.004f);
}

TEST(BuildStyle, KeptMinLargeNSWidthIsNotConverted) {
  KVBUILDSTYLE style;
  style.MinSmallNSWidth.SetValue(1);
  style.MinLargeNSWidth.SetValue(1);
  style.ConvertAllValuesToMM();
  EXPECT_EQ(style.MinSmallNSWidth.GetValue(), 25.4f);
  EXPECT_EQ(style.MinLargeNSWidth.GetValue(), 1.0f);
}

TEST(BuildStyle, EquatingCoversMostFloatRecords) {
  KVBUILDSTYLE style;
  FillRecords(style);
  style.EquatelAllDefaultsToCurrentValue();
  int equated = 0;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    const std::string name = row.name;
    if (const auto* record = row.member.FloatIn(style)) {
      const bool kept = !row.named || name == "Version" || name.find("Angle") != std::string::npos ||
                        name == "Dp" || name == "Ec" || name == "High Speed Scan Threshold";
      EXPECT_EQ(record->GetDefaultValue() == record->GetValue(), !kept) << name;
      equated += kept ? 0 : 1;
    } else {
      EXPECT_NE(row.member.IntIn(style)->GetDefaultValue(), row.member.IntIn(style)->GetValue()) << name;
    }
  }
  EXPECT_EQ(equated, 143);
}

TEST(BuildStyle, AssignmentCopiesEveryRecordAndMember) {
  KVBUILDSTYLE source;
  FillStyle(source);
  source.StoredCRC = 77;
  source.CommaSeparated = true;
  source.UnstoredTexts[1] = "further";
  KVBUILDSTYLE copy;
  copy = source;
  EXPECT_THAT(DifferingRecords(copy, source), IsEmpty());
  EXPECT_EQ(copy.AfterSupportCureDepths[20].GetValue(), source.AfterSupportCureDepths[20].GetValue());
  EXPECT_EQ(copy.StyleName, "Filled style");
  EXPECT_EQ(copy.FullPathName, source.FullPathName);
  EXPECT_EQ(copy.BuildDescription, "Every field differs");
  EXPECT_EQ(copy.Units, "mm");
  EXPECT_EQ(copy.MachineType, TRQ_ALTOR900);
  EXPECT_EQ(copy.UserLevel, 1);
  EXPECT_EQ(copy.FileVersion, 4.0f);
  EXPECT_EQ(copy.StoredCRC, 77u);
  EXPECT_TRUE(copy.CommaSeparated);
  EXPECT_EQ(copy.LayoutWords[5], 16);
  EXPECT_EQ(copy.FurtherHeaderWords[4], -25);
  EXPECT_EQ(copy.HeaderTexts[2].str(), test_support::RawHeaderText());
  EXPECT_EQ(copy.NoticeText, source.NoticeText);
  EXPECT_EQ(copy.UnstoredTexts[1], "further");
  EXPECT_EQ(copy.TextsAfterNotice[3], "More text 3");
  KVBUILDSTYLE& same = copy;
  copy = same;
  EXPECT_THAT(DifferingRecords(copy, source), IsEmpty());
  EXPECT_EQ(copy.StyleName, "Filled style");
}

TEST(BuildStyle, KeptConversionTo205EndsAt206) {
  KVBUILDSTYLE style;
  FillStyle(style);
  const KVBUILDSTYLE before(style);
  EXPECT_EQ(style.ConvertTo205Version(9.0f), 0);
  EXPECT_EQ(style.Version.GetValue(), 2.06f);
  EXPECT_EQ(style.Version.GetDefaultValue(), 2.06f);
  EXPECT_EQ(style.HeaderTexts[4], "None");
  EXPECT_EQ(style.HeaderTexts[5], "None");
  EXPECT_EQ(style.HeaderTexts[3], before.HeaderTexts[3]);
  EXPECT_THAT(DifferingRecords(style, before),
              UnorderedElementsAre("Version", "Small Support Boundary Cure Depth",
                                   "Small Support Down Interface Boundary Cure Depth",
                                   "Small Support Up Interface Boundary Cure Depth",
                                   "Large Support Boundary Cure Depth",
                                   "Large Support Down Interface Boundary Cure Depth",
                                   "Large Support Up Interface Boundary Cure Depth"));
  EXPECT_TRUE(
      test_support::EqualRecords(style.SmallSupportBoundaryCureDepth, style.SmallLayerBorderCureDepth));
  EXPECT_TRUE(test_support::EqualRecords(style.LargeSupportUpInterfaceBoundaryCureDepth,
                                         style.SmallLayerBorderCureDepth));
  EXPECT_EQ(style.FileVersion, 4.0f);
}

TEST(BuildStyle, ConversionTo301SetsSixteenRecordsAndFiveWords) {
  KVBUILDSTYLE style;
  FillStyle(style);
  const KVBUILDSTYLE before(style);
  EXPECT_EQ(style.ConvertBuildStylesTo301(), 0);
  const std::set<std::string> changed = {"Shell Support Spacing",
                                         "Smart Best Surface Finish Layers",
                                         "LBP for B2",
                                         "Smart Best Surface Finish Flag",
                                         "Z Filtering Flag",
                                         "Interior Boundary Removal Flag",
                                         "High Speed Scan Flag",
                                         "Draw Borders Last Flag",
                                         "Draw Small Up Borders Flag",
                                         "Draw Large Up Borders Flag",
                                         "Draw Small Down Borders Flag",
                                         "Draw Large Down Borders Flag",
                                         "Draw Small Layer Borders Flag",
                                         "Draw Large Layer Borders Flag",
                                         "Draw Small Layer Border Prime Flag",
                                         "Draw Large Layer Border Prime Flag"};
  EXPECT_EQ(DifferingRecords(style, before), changed);
  const int words[] = {4, 6, 7, 3, 2, 16};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(style.LayoutWords[i], words[i]) << i;

  EXPECT_EQ(style.ShellSupportSpacing.GetValue(), 0.4f);
  EXPECT_EQ(style.ShellSupportSpacing.GetDefaultValue(), 0.4f);
  EXPECT_EQ(style.ShellSupportSpacing.GetMinRange(), 0.0f);
  EXPECT_EQ(style.ShellSupportSpacing.GetMaxRange(), 2.0f);
  EXPECT_EQ(style.SmartBestSurfaceFinishLayers.GetValue(), 10);
  EXPECT_EQ(style.SmartBestSurfaceFinishLayers.GetMinRange(), 1);
  EXPECT_EQ(style.SmartBestSurfaceFinishLayers.GetMaxRange(), 20);
  EXPECT_EQ(style.LBPforB2.GetValue(), 0);
  EXPECT_EQ(style.LBPforB2.GetMinRange(), 0);
  EXPECT_EQ(style.LBPforB2.GetMaxRange(), 0);
  for (const char* name : {"Smart Best Surface Finish Flag", "Interior Boundary Removal Flag",
                           "High Speed Scan Flag", "Draw Borders Last Flag"}) {
    EXPECT_EQ(style.FindInt(name)->GetValue(), 0) << name;
    EXPECT_EQ(style.FindInt(name)->GetDefaultValue(), 0) << name;
  }
  EXPECT_EQ(style.ZFilteringFlag.GetValue(), 1);
  EXPECT_EQ(style.DrawLargeLayerBorderPrimeFlag.GetValue(), 1);
  EXPECT_EQ(style.DrawLargeLayerBorderPrimeFlag.GetDefaultValue(), 1);
  // Flags, lists and ranges that are not named stay.
  for (const std::string& name : changed) {
    SCOPED_TRACE(name);
    if (const auto* record = style.FindInt(name.c_str())) {
      const auto* old = before.FindInt(name.c_str());
      EXPECT_EQ(record->GetDisplayFlag(), old->GetDisplayFlag());
      EXPECT_EQ(record->GetEditFlag(), old->GetEditFlag());
      EXPECT_EQ(record->GetNumElementsInList(), old->GetNumElementsInList());
      if (EndsWith(name, "Flag")) {
        EXPECT_EQ(record->GetMinRange(), old->GetMinRange());
      }
    }
  }
  EXPECT_EQ(style.FileVersion, 4.0f);
}

}  // namespace
