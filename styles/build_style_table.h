/// The parameters of a build style: one table in member order. File layouts, flag bits and export lines are
/// lists of their own over it.
#pragma once

#include <iterator>
#include <string_view>

#include "styles/style_file.h"
#include "styles/style_table.h"
#include "trq/styles.h"

namespace trq::detail {

namespace build_style_rows {
using S = KVBUILDSTYLE;
using namespace style_rows;
inline constexpr RunNames<21> kAfterSupportCureDepths("AfterSupportCureDepths");
inline constexpr RunNames<2> kAfterZFilteringFlag("AfterZFilteringFlag");

constexpr auto MakeTable() {
  StyleTable<BuildStyleRecordMember, 262> table;
  // clang-format off: one row a line
  table.Add({
      // display name, member, kind (else a length for a float record, a number for an integer), new region
      {"Version", &S::Version, kVersion, R::kGeneral},
      {"Start Z", &S::StartZ},
      {"End Z", &S::EndZ},
      {"Layer Thickness", &S::LayerThickness},
      {"Small LayerBorder  Cure Depth", &S::SmallLayerBorderCureDepth, kLength, R::kSmallLayer},
      {"Small LayerBorderPrime  Cure Depth", &S::SmallLayerBorderPrimeCureDepth},
      {"Small LayerNumHatches", &S::SmallLayerNumHatches},
      {"Small LayerHatchAngle 1", &S::SmallLayerHatchAngle1, kAngle},
      {"Small LayerHatchAngle 2", &S::SmallLayerHatchAngle2, kAngle},
      {"Small LayerHatchAngle 3", &S::SmallLayerHatchAngle3, kAngle},
      {"Small LayerHatchAngle 4", &S::SmallLayerHatchAngle4, kAngle},
      {"Small LayerHatch Cure Depth 1", &S::SmallLayerHatchCureDepth1},
      {"Small LayerHatch Cure Depth 2", &S::SmallLayerHatchCureDepth2},
      {"Small LayerHatch Cure Depth 3", &S::SmallLayerHatchCureDepth3},
      {"Small LayerHatch Cure Depth 4", &S::SmallLayerHatchCureDepth4},
      {"Small LayerHatch Spacing 1", &S::SmallLayerHatchSpacing1},
      {"Small LayerHatch Spacing 2", &S::SmallLayerHatchSpacing2},
      {"Small LayerHatch Spacing 3", &S::SmallLayerHatchSpacing3},
      {"Small LayerHatch Spacing 4", &S::SmallLayerHatchSpacing4},
      {"Small UpBorder  Cure Depth", &S::SmallUpBorderCureDepth, kLength, R::kSmallUp},
      {"Small Up Number of Hatches", &S::SmallUpNumberofHatches},
      {"Small Up HatchAngle 1", &S::SmallUpHatchAngle1, kAngle},
      {"Small Up HatchAngle 2", &S::SmallUpHatchAngle2, kAngle},
      {"Small Up HatchAngle 3", &S::SmallUpHatchAngle3, kAngle},
      {"Small Up HatchAngle 4", &S::SmallUpHatchAngle4, kAngle},
      {"Small Up Hatch Cure Depth 1", &S::SmallUpHatchCureDepth1},
      {"Small Up Hatch Cure Depth 2", &S::SmallUpHatchCureDepth2},
      {"Small Up Hatch Cure Depth 3", &S::SmallUpHatchCureDepth3},
      {"Small Up Hatch Cure Depth 4", &S::SmallUpHatchCureDepth4},
      {"Small Up Hatch Spacing 1", &S::SmallUpHatchSpacing1},
      {"Small Up Hatch Spacing 2", &S::SmallUpHatchSpacing2},
      {"Small Up Hatch Spacing 3", &S::SmallUpHatchSpacing3},
      {"Small Up Hatch Spacing 4", &S::SmallUpHatchSpacing4},
      {"Small Up NumFills", &S::SmallUpNumFills},
      {"Small Up FillAngle 1", &S::SmallUpFillAngle1, kAngle},
      {"Small Up FillAngle 2", &S::SmallUpFillAngle2, kAngle},
      {"Small Up FillAngle 3", &S::SmallUpFillAngle3, kAngle},
      {"Small Up FillAngle 4", &S::SmallUpFillAngle4, kAngle},
      {"Small Up Fill Cure Depth 1", &S::SmallUpFillCureDepth1},
      {"Small Up Fill Cure Depth 2", &S::SmallUpFillCureDepth2},
      {"Small Up Fill Cure Depth 3", &S::SmallUpFillCureDepth3},
      {"Small Up Fill Cure Depth 4", &S::SmallUpFillCureDepth4},
      {"Small Up Fill Spacing  1", &S::SmallUpFillSpacing1},
      {"Small Up Fill Spacing  2", &S::SmallUpFillSpacing2},
      {"Small Up Fill Spacing  3", &S::SmallUpFillSpacing3},
      {"Small Up Fill Spacing  4", &S::SmallUpFillSpacing4},
      {"Small Down Border Cure Depth", &S::SmallDownBorderCureDepth, kLength, R::kSmallDown},
      {"Small Down NumHatches", &S::SmallDownNumHatches},
      {"Small Down HatchAngle 1", &S::SmallDownHatchAngle1, kAngle},
      {"Small Down HatchAngle 2", &S::SmallDownHatchAngle2, kAngle},
      {"Small Down HatchAngle 3", &S::SmallDownHatchAngle3, kAngle},
      {"Small Down HatchAngle 4", &S::SmallDownHatchAngle4, kAngle},
      {"Small Down Hatch Cure Depth 1", &S::SmallDownHatchCureDepth1},
      {"Small Down Hatch Cure Depth 2", &S::SmallDownHatchCureDepth2},
      {"Small Down Hatch Cure Depth 3", &S::SmallDownHatchCureDepth3},
      {"Small Down Hatch Cure Depth 4", &S::SmallDownHatchCureDepth4},
      {"Small Down Hatch Spacing 1", &S::SmallDownHatchSpacing1},
      {"Small Down Hatch Spacing 2", &S::SmallDownHatchSpacing2},
      {"Small Down Hatch Spacing 3", &S::SmallDownHatchSpacing3},
      {"Small Down Hatch Spacing 4", &S::SmallDownHatchSpacing4},
      {"Small Down NumFills", &S::SmallDownNumFills},
      {"Small Down FillAngle 1", &S::SmallDownFillAngle1, kAngle},
      {"Small Down FillAngle 2", &S::SmallDownFillAngle2, kAngle},
      {"Small Down FillAngle 3", &S::SmallDownFillAngle3, kAngle},
      {"Small Down FillAngle 4", &S::SmallDownFillAngle4, kAngle},
      {"Small Down Fill Cure Depth 1", &S::SmallDownFillCureDepth1},
      {"Small Down Fill Cure Depth 2", &S::SmallDownFillCureDepth2},
      {"Small Down Fill Cure Depth 3", &S::SmallDownFillCureDepth3},
      {"Small Down Fill Cure Depth 4", &S::SmallDownFillCureDepth4},
      {"Small Down Fill Spacing 1", &S::SmallDownFillSpacing1},
      {"Small Down Fill Spacing 2", &S::SmallDownFillSpacing2},
      {"Small Down Fill Spacing 3", &S::SmallDownFillSpacing3},
      {"Small Down Fill Spacing 4", &S::SmallDownFillSpacing4},
      {"Large LayerBorder Cure Depth", &S::LargeLayerBorderCureDepth, kLength, R::kLargeLayer},
      {"Large LayerBorderPrime Cure Depth", &S::LargeLayerBorderPrimeCureDepth},
      {"Large LayerNumHatches", &S::LargeLayerNumHatches},
      {"Large LayerHatch Angle 1", &S::LargeLayerHatchAngle1, kAngle},
      {"Large LayerHatch Angle 2", &S::LargeLayerHatchAngle2, kAngle},
      {"Large LayerHatch Angle 3", &S::LargeLayerHatchAngle3, kAngle},
      {"Large LayerHatch Angle 4", &S::LargeLayerHatchAngle4, kAngle},
      {"Large LayerHatch Cure Depth 1", &S::LargeLayerHatchCureDepth1},
      {"Large LayerHatch Cure Depth 2", &S::LargeLayerHatchCureDepth2},
      {"Large LayerHatch Cure Depth 3", &S::LargeLayerHatchCureDepth3},
      {"Large LayerHatch Cure Depth 4", &S::LargeLayerHatchCureDepth4},
      {"Large LayerHatch Spacing 1", &S::LargeLayerHatchSpacing1},
      {"Large LayerHatch Spacing 2", &S::LargeLayerHatchSpacing2},
      {"Large LayerHatch Spacing 3", &S::LargeLayerHatchSpacing3},
      {"Large LayerHatch Spacing 4", &S::LargeLayerHatchSpacing4},
      {"Large Up Border Cure Depth", &S::LargeUpBorderCureDepth, kLength, R::kLargeUp},
      {"Large Up NumHatches", &S::LargeUpNumHatches},
      {"Large Up HatchAngle 1", &S::LargeUpHatchAngle1, kAngle},
      {"Large Up HatchAngle 2", &S::LargeUpHatchAngle2, kAngle},
      {"Large Up HatchAngle 3", &S::LargeUpHatchAngle3, kAngle},
      {"Large Up HatchAngle 4", &S::LargeUpHatchAngle4, kAngle},
      {"Large Up Hatch Cure Depth 1", &S::LargeUpHatchCureDepth1},
      {"Large Up Hatch Cure Depth 2", &S::LargeUpHatchCureDepth2},
      {"Large Up Hatch Cure Depth 3", &S::LargeUpHatchCureDepth3},
      {"Large Up Hatch Cure Depth 4", &S::LargeUpHatchCureDepth4},
      {"Large Up Hatch Spacing 1", &S::LargeUpHatchSpacing1},
      {"Large Up Hatch Spacing 2", &S::LargeUpHatchSpacing2},
      {"Large Up Hatch Spacing 3", &S::LargeUpHatchSpacing3},
      {"Large Up Hatch Spacing 4", &S::LargeUpHatchSpacing4},
      {"Large Up NumFills", &S::LargeUpNumFills},
      {"Large Up FillAngle 1", &S::LargeUpFillAngle1, kAngle},
      {"Large Up FillAngle 2", &S::LargeUpFillAngle2, kAngle},
      {"Large Up FillAngle 3", &S::LargeUpFillAngle3, kAngle},
      {"Large Up FillAngle 4", &S::LargeUpFillAngle4, kAngle},
      {"Large Up Fill Cure Depth 1", &S::LargeUpFillCureDepth1},
      {"Large Up Fill Cure Depth 2", &S::LargeUpFillCureDepth2},
      {"Large Up Fill Cure Depth 3", &S::LargeUpFillCureDepth3},
      {"Large Up Fill Cure Depth 4", &S::LargeUpFillCureDepth4},
      {"Large Up Fill Spacing 1", &S::LargeUpFillSpacing1},
      {"Large Up Fill Spacing 2", &S::LargeUpFillSpacing2},
      {"Large Up Fill Spacing 3", &S::LargeUpFillSpacing3},
      {"Large Up Fill Spacing 4", &S::LargeUpFillSpacing4},
      {"Large Down Border Cure Depth", &S::LargeDownBorderCureDepth, kLength, R::kLargeDown},
      {"Large Down NumHatches", &S::LargeDownNumHatches},
      {"Large Down HatchAngle 1", &S::LargeDownHatchAngle1, kAngle},
      {"Large Down HatchAngle 2", &S::LargeDownHatchAngle2, kAngle},
      {"Large Down HatchAngle 3", &S::LargeDownHatchAngle3, kAngle},
      {"Large Down HatchAngle 4", &S::LargeDownHatchAngle4, kAngle},
      {"Large Down Hatch Cure Depth 1", &S::LargeDownHatchCureDepth1},
      {"Large Down Hatch Cure Depth 2", &S::LargeDownHatchCureDepth2},
      {"Large Down Hatch Cure Depth 3", &S::LargeDownHatchCureDepth3},
      {"Large Down Hatch Cure Depth 4", &S::LargeDownHatchCureDepth4},
      {"Large Down Hatch Spacing 1", &S::LargeDownHatchSpacing1},
      {"Large Down Hatch Spacing 2", &S::LargeDownHatchSpacing2},
      {"Large Down Hatch Spacing 3", &S::LargeDownHatchSpacing3},
      {"Large Down Hatch Spacing 4", &S::LargeDownHatchSpacing4},
      {"Large Down NumFills", &S::LargeDownNumFills},
      {"Large Down FillAngle 1", &S::LargeDownFillAngle1, kAngle},
      {"Large Down FillAngle 2", &S::LargeDownFillAngle2, kAngle},
      {"Large Down FillAngle 3", &S::LargeDownFillAngle3, kAngle},
      {"Large Down FillAngle 4", &S::LargeDownFillAngle4, kAngle},
      {"Large Down Fill Cure Depth 1", &S::LargeDownFillCureDepth1},
      {"Large Down Fill Cure Depth 2", &S::LargeDownFillCureDepth2},
      {"Large Down Fill Cure Depth 3", &S::LargeDownFillCureDepth3},
      {"Large Down Fill Cure Depth 4", &S::LargeDownFillCureDepth4},
      {"Large Down FillSpacing 1", &S::LargeDownFillSpacing1},
      {"Large Down FillSpacing 2", &S::LargeDownFillSpacing2},
      {"Large Down FillSpacing 3", &S::LargeDownFillSpacing3},
      {"Large Down FillSpacing 4", &S::LargeDownFillSpacing4},
      {"Large Retract Start", &S::LargeRetractStart, kLength, R::kScanning},
      {"Large Retract End", &S::LargeRetractEnd},
      {"Small Retract Start", &S::SmallRetractStart},
      {"Small Retract End", &S::SmallRetractEnd},
      {"Large InterHatch Delay", &S::LargeInterHatchDelay},
      {"Small InterHatch Delay", &S::SmallInterHatchDelay},
      {"Hatch Type", &S::HatchType},
      {"Fill Type", &S::FillType},
      {"QC BorderType", &S::QCBorderType, kNumber, R::kQc},
      {"QC HatchStyle", &S::QCHatchStyle},
      {"QC ThickSkins", &S::QCThickSkins},
      {"QC VentsDrains", &S::QCVentsDrains},
      {"QC Min Small Thick Skin Width", &S::QCMinSmallThickSkinWidth},
      {"QC Min Large Thick Skin Width", &S::QCMinLargeThickSkinWidth},
      {"QCZ Transition", &S::QCZTransition},
      {"QC ZBond", &S::QCZBond},
      {"QC LayerDepth", &S::QCLayerDepth},
      {"Stagger", &S::Stagger, kNumber, R::kCompensation},
      {"Alternate", &S::Alternate},
      {"Small Stagger Offset", &S::SmallStaggerOffset},
      {"Large Stagger Offset", &S::LargeStaggerOffset},
      {"Boundary Comp", &S::BoundaryComp},
      {"Additional Boundaries", &S::AdditionalBoundaries},
      {"DH Flag", &S::DHFlag, kFlag},
      {"UH Flag", &S::UHFlag, kFlag},
      {"Min Small NS Width", &S::MinSmallNSWidth},
      {"Min Large NS Width", &S::MinLargeNSWidth, kLengthKept},
      {"AfterMinLargeNSWidth", &S::ZCompensationLayers, kUnnamed},
      {"ZCalculate", &S::ZCalculate},
      {"Small Line Width", &S::SmallLineWidth},
      {"Large Line Width", &S::LargeLineWidth},
      {"Dp", &S::Dp, kResin, R::kResin},
      {"Ec", &S::Ec, kResin},
      {"Tooling Sequencing Count", &S::ToolingSequencingCount, kNumber, R::kTooling},
      {"Tooling Sequencing Ratio", &S::ToolingSequencingRatio},
      {"Min Width For Small Spot", &S::MinWidthForSmallSpot, kLength, R::kCompensation},
      {"Small Support Boundary Cure Depth", &S::SmallSupportBoundaryCureDepth, kLength, R::kSupport},
      {"Small Support Down Interface Boundary Cure Depth", &S::SmallSupportDownInterfaceBoundaryCureDepth},
      {"Small Support Up Interface Boundary Cure Depth", &S::SmallSupportUpInterfaceBoundaryCureDepth},
      {"Large Support Boundary Cure Depth", &S::LargeSupportBoundaryCureDepth},
      {"Large Support Down Interface Boundary Cure Depth", &S::LargeSupportDownInterfaceBoundaryCureDepth},
      {"Large Support Up Interface Boundary Cure Depth", &S::LargeSupportUpInterfaceBoundaryCureDepth},
  });
  table.AddRun(kAfterSupportCureDepths, &S::AfterSupportCureDepths);
  table.Add({
      {"Layer Border Power", &S::LayerBorderPower, kPower, R::kPower},
      {"Layer Border Prime Power", &S::LayerBorderPrimePower, kPower},
      {"Layer Hatch 0 Power", &S::LayerHatch0Power, kPower},
      {"Layer Hatch 1 Power", &S::LayerHatch1Power, kPower},
      {"Layer Hatch 2 Power", &S::LayerHatch2Power, kPower},
      {"Layer Hatch 3 Power", &S::LayerHatch3Power, kPower},
      {"Support Border Power", &S::SupportBorderPower, kPower},
      {"Support Down Interface Border Power", &S::SupportDownInterfaceBorderPower, kPower},
      {"Support Up Interface Border Power", &S::SupportUpInterfaceBorderPower, kPower},
      {"Down Border Power", &S::DownBorderPower, kPower},
      {"Down Hatch 0 Power", &S::DownHatch0Power, kPower},
      {"Down Hatch 1 Power", &S::DownHatch1Power, kPower},
      {"Down Hatch 2 Power", &S::DownHatch2Power, kPower},
      {"Down Hatch 3 Power", &S::DownHatch3Power, kPower},
      {"Down Fill 0 Power", &S::DownFill0Power, kPower},
      {"Down Fill 1 Power", &S::DownFill1Power, kPower},
      {"Down Fill 2 Power", &S::DownFill2Power, kPower},
      {"Down Fill 3 Power", &S::DownFill3Power, kPower},
      {"Up Fill 0 Power", &S::UpFill0Power, kPower},
      {"Up Fill 1 Power", &S::UpFill1Power, kPower},
      {"Up Fill 2 Power", &S::UpFill2Power, kPower},
      {"Up Fill 3 Power", &S::UpFill3Power, kPower},
      {"Up Border Power", &S::UpBorderPower, kPower},
      {"Up Hatch 0 Power", &S::UpHatch0Power, kPower},
      {"Up Hatch 1 Power", &S::UpHatch1Power, kPower},
      {"Up Hatch 2 Power", &S::UpHatch2Power, kPower},
      {"Up Hatch 3 Power", &S::UpHatch3Power, kPower},
      {"Small Spot Only Flag", &S::SmallSpotOnlyFlag, kFlag, R::kFeatures},
      {"Z Smoothing Flag", &S::ZSmoothingFlag, kFlag},
      {"Layer Only Flag", &S::LayerOnlyFlag, kFlag},
      {"High Spatial Tolerance Flag", &S::HighSpatialToleranceFlag, kFlag},
      {"Small Line Width Compenstation Flag", &S::SmallLineWidthCompenstationFlag, kSetFlag},
      {"Large Line Width Compenstation Flag", &S::LargeLineWidthCompenstationFlag, kSetFlag},
      {"Differential Shrink Flag", &S::DifferentialShrinkFlag, kFlag},
      {"Small Feature Preservation Flag", &S::SmallFeaturePreservationFlag, kFlag},
      {"Pattern Style Flag", &S::PatternStyleFlag, kFlag},
      {"Shelling Flag", &S::ShellingFlag, kFlag},
      {"Shell Support Spacing", &S::ShellSupportSpacing, {Q::kLength, Ranged(0.4f, 0, 2)}},
      {"Smart Best Surface Finish Flag", &S::SmartBestSurfaceFinishFlag, kFlag},
      {"Smart Best Surface Finish Layers", &S::SmartBestSurfaceFinishLayers, {Q::kNumber, Ranged(10, 1, 20)}},
      {"LBP for B2", &S::LBPforB2},
      {"Z Filtering Flag", &S::ZFilteringFlag, kSetFlag},
  });
  table.AddRun(kAfterZFilteringFlag, &S::AfterZFilteringFlag);
  table.Add({
      {"Interior Boundary Removal Flag", &S::InteriorBoundaryRemovalFlag, kFlag},
      {"High Speed Scan Flag", &S::HighSpeedScanFlag, kFlag},
      {"High Speed Scan Threshold", &S::HighSpeedScanThreshold, {Q::kThreshold, Ranged(120, 20, 250)}},
      {"Draw Borders Last Flag", &S::DrawBordersLastFlag, kFlag},
      {"Draw Small Up Borders Flag", &S::DrawSmallUpBordersFlag, kSetFlag},
      {"Draw Large Up Borders Flag", &S::DrawLargeUpBordersFlag, kSetFlag},
      {"Draw Small Down Borders Flag", &S::DrawSmallDownBordersFlag, kSetFlag},
      {"Draw Large Down Borders Flag", &S::DrawLargeDownBordersFlag, kSetFlag},
      {"Draw Small Layer Borders Flag", &S::DrawSmallLayerBordersFlag, kSetFlag},
      {"Draw Large Layer Borders Flag", &S::DrawLargeLayerBordersFlag, kSetFlag},
      {"Draw Small Layer Border Prime Flag", &S::DrawSmallLayerBorderPrimeFlag, kSetFlag},
      {"Draw Large Layer Border Prime Flag", &S::DrawLargeLayerBorderPrimeFlag, kSetFlag},
      {"Shelling Thickness", &S::ShellingThickness, {Q::kLength, Ranged(0.02f, 0.02f, 1)}},
  });
  // clang-format on
  return table;
}
inline constexpr auto kTable = MakeTable();
static_assert(kTable.count == std::size(kTable.rows), "records");
}  // namespace build_style_rows

inline constexpr auto& kBuildStyleTable = build_style_rows::kTable.rows;

static_assert(CountRows(kBuildStyleTable, [](auto& row) { return row.named; }) == 238, "named records");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return row.named && row.member.is_float(); }) ==
                  187,
              "named float records");
static_assert(CountRows(kBuildStyleTable,
                        [](auto& row) {
                          return !row.member.is_float() &&
                                 (IsUnitConverted(row.quantity) || IsDefaultEquated(row.quantity));
                        }) == 0,
              "integer records are neither converted nor equated");
constexpr int CountOf(StyleQuantity quantity) {
  return CountRows(kBuildStyleTable, [quantity](auto& row) { return row.quantity == quantity; });
}
// Unit conversion converts 115 lengths, and 115 + 1 + 27 = 143 defaults are made equal to the value.
static_assert(CountOf(StyleQuantity::kLength) == 115, "lengths");
static_assert(CountOf(StyleQuantity::kLengthKept) == 1, "lengths that conversion leaves alone");
static_assert(CountOf(StyleQuantity::kPower) == 27, "laser powers");
static_assert(CountOf(StyleQuantity::kAngle) == 40, "hatch and fill angles");

template <>
struct StyleTraits<KVBUILDSTYLE> {
  static constexpr int64_t kVersionRecordAt = 0;
  static bool Is301(float version) { return IsVersion301Or400(version); }
};

/// Rows of the table by display name.
using BuildRowRange = Span<const BuildStyleParameter>;
constexpr BuildRowRange BuildRows(std::string_view first, std::string_view last = {}) {
  return FindRows(kBuildStyleTable, first, last);
}

/// The flags in the order of their bits in the flags word of 206 files, from 0x001 to 0x400.
struct StyleFlag {
  BuildRowRange row;
  bool set_when_zero = false;
  /// The flag's record.
  BuildStyleParameterRecordInt& In(KVBUILDSTYLE& style) const { return *row[0].member.IntIn(style); }
};
// Kept: the order of the bits is not the order of the members, and the compensation flags are inverted.
inline constexpr StyleFlag kStyleFlags[] = {
    {BuildRows("DH Flag")},
    {BuildRows("Small Spot Only Flag")},
    {BuildRows("Z Smoothing Flag")},
    {BuildRows("High Spatial Tolerance Flag")},
    {BuildRows("Small Line Width Compenstation Flag"), true},
    {BuildRows("Differential Shrink Flag")},
    {BuildRows("Small Feature Preservation Flag")},
    {BuildRows("Large Line Width Compenstation Flag"), true},
    {BuildRows("Pattern Style Flag")},
    {BuildRows("Shelling Flag")},
    {BuildRows("Layer Only Flag")},
};

}  // namespace trq::detail
