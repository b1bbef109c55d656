/// The parameters of a build style: one table in member order. File layouts, flag bits and export lines are
/// lists of their own over it.
#pragma once

#include <string_view>

#include "styles/style_file.h"
#include "styles/style_table.h"
#include "trq/styles.h"

namespace trq::detail {

namespace build_style_rows {
using S = KVBUILDSTYLE;
using namespace style_rows;
inline constexpr trq::StyleParameterDefaults kPowerDefault = Ranged(600, 50, 1200);

// clang-format off: one row a line
inline constexpr trq::BuildStyleParameter kRows[] = {
    // display name, member, quantity, region, value = default and range (zero without range)
    {"Version", &S::Version, kVersion, kGeneral, kVersionDefault},
    {"Start Z", &S::StartZ, kLength, kGeneral},
    {"End Z", &S::EndZ, kLength, kGeneral},
    {"Layer Thickness", &S::LayerThickness, kLength, kGeneral},
    {"Small LayerBorder  Cure Depth", &S::SmallLayerBorderCureDepth, kLength, kSmallLayer},
    {"Small LayerBorderPrime  Cure Depth", &S::SmallLayerBorderPrimeCureDepth, kLength, kSmallLayer},
    {"Small LayerNumHatches", &S::SmallLayerNumHatches, kNumber, kSmallLayer},
    {"Small LayerHatchAngle 1", &S::SmallLayerHatchAngle1, kAngle, kSmallLayer},
    {"Small LayerHatchAngle 2", &S::SmallLayerHatchAngle2, kAngle, kSmallLayer},
    {"Small LayerHatchAngle 3", &S::SmallLayerHatchAngle3, kAngle, kSmallLayer},
    {"Small LayerHatchAngle 4", &S::SmallLayerHatchAngle4, kAngle, kSmallLayer},
    {"Small LayerHatch Cure Depth 1", &S::SmallLayerHatchCureDepth1, kLength, kSmallLayer},
    {"Small LayerHatch Cure Depth 2", &S::SmallLayerHatchCureDepth2, kLength, kSmallLayer},
    {"Small LayerHatch Cure Depth 3", &S::SmallLayerHatchCureDepth3, kLength, kSmallLayer},
    {"Small LayerHatch Cure Depth 4", &S::SmallLayerHatchCureDepth4, kLength, kSmallLayer},
    {"Small LayerHatch Spacing 1", &S::SmallLayerHatchSpacing1, kLength, kSmallLayer},
    {"Small LayerHatch Spacing 2", &S::SmallLayerHatchSpacing2, kLength, kSmallLayer},
    {"Small LayerHatch Spacing 3", &S::SmallLayerHatchSpacing3, kLength, kSmallLayer},
    {"Small LayerHatch Spacing 4", &S::SmallLayerHatchSpacing4, kLength, kSmallLayer},
    {"Small UpBorder  Cure Depth", &S::SmallUpBorderCureDepth, kLength, kSmallUp},
    {"Small Up Number of Hatches", &S::SmallUpNumberofHatches, kNumber, kSmallUp},
    {"Small Up HatchAngle 1", &S::SmallUpHatchAngle1, kAngle, kSmallUp},
    {"Small Up HatchAngle 2", &S::SmallUpHatchAngle2, kAngle, kSmallUp},
    {"Small Up HatchAngle 3", &S::SmallUpHatchAngle3, kAngle, kSmallUp},
    {"Small Up HatchAngle 4", &S::SmallUpHatchAngle4, kAngle, kSmallUp},
    {"Small Up Hatch Cure Depth 1", &S::SmallUpHatchCureDepth1, kLength, kSmallUp},
    {"Small Up Hatch Cure Depth 2", &S::SmallUpHatchCureDepth2, kLength, kSmallUp},
    {"Small Up Hatch Cure Depth 3", &S::SmallUpHatchCureDepth3, kLength, kSmallUp},
    {"Small Up Hatch Cure Depth 4", &S::SmallUpHatchCureDepth4, kLength, kSmallUp},
    {"Small Up Hatch Spacing 1", &S::SmallUpHatchSpacing1, kLength, kSmallUp},
    {"Small Up Hatch Spacing 2", &S::SmallUpHatchSpacing2, kLength, kSmallUp},
    {"Small Up Hatch Spacing 3", &S::SmallUpHatchSpacing3, kLength, kSmallUp},
    {"Small Up Hatch Spacing 4", &S::SmallUpHatchSpacing4, kLength, kSmallUp},
    {"Small Up NumFills", &S::SmallUpNumFills, kNumber, kSmallUp},
    {"Small Up FillAngle 1", &S::SmallUpFillAngle1, kAngle, kSmallUp},
    {"Small Up FillAngle 2", &S::SmallUpFillAngle2, kAngle, kSmallUp},
    {"Small Up FillAngle 3", &S::SmallUpFillAngle3, kAngle, kSmallUp},
    {"Small Up FillAngle 4", &S::SmallUpFillAngle4, kAngle, kSmallUp},
    {"Small Up Fill Cure Depth 1", &S::SmallUpFillCureDepth1, kLength, kSmallUp},
    {"Small Up Fill Cure Depth 2", &S::SmallUpFillCureDepth2, kLength, kSmallUp},
    {"Small Up Fill Cure Depth 3", &S::SmallUpFillCureDepth3, kLength, kSmallUp},
    {"Small Up Fill Cure Depth 4", &S::SmallUpFillCureDepth4, kLength, kSmallUp},
    {"Small Up Fill Spacing  1", &S::SmallUpFillSpacing1, kLength, kSmallUp},
    {"Small Up Fill Spacing  2", &S::SmallUpFillSpacing2, kLength, kSmallUp},
    {"Small Up Fill Spacing  3", &S::SmallUpFillSpacing3, kLength, kSmallUp},
    {"Small Up Fill Spacing  4", &S::SmallUpFillSpacing4, kLength, kSmallUp},
    {"Small Down Border Cure Depth", &S::SmallDownBorderCureDepth, kLength, kSmallDown},
    {"Small Down NumHatches", &S::SmallDownNumHatches, kNumber, kSmallDown},
    {"Small Down HatchAngle 1", &S::SmallDownHatchAngle1, kAngle, kSmallDown},
    {"Small Down HatchAngle 2", &S::SmallDownHatchAngle2, kAngle, kSmallDown},
    {"Small Down HatchAngle 3", &S::SmallDownHatchAngle3, kAngle, kSmallDown},
    {"Small Down HatchAngle 4", &S::SmallDownHatchAngle4, kAngle, kSmallDown},
    {"Small Down Hatch Cure Depth 1", &S::SmallDownHatchCureDepth1, kLength, kSmallDown},
    {"Small Down Hatch Cure Depth 2", &S::SmallDownHatchCureDepth2, kLength, kSmallDown},
    {"Small Down Hatch Cure Depth 3", &S::SmallDownHatchCureDepth3, kLength, kSmallDown},
    {"Small Down Hatch Cure Depth 4", &S::SmallDownHatchCureDepth4, kLength, kSmallDown},
    {"Small Down Hatch Spacing 1", &S::SmallDownHatchSpacing1, kLength, kSmallDown},
    {"Small Down Hatch Spacing 2", &S::SmallDownHatchSpacing2, kLength, kSmallDown},
    {"Small Down Hatch Spacing 3", &S::SmallDownHatchSpacing3, kLength, kSmallDown},
    {"Small Down Hatch Spacing 4", &S::SmallDownHatchSpacing4, kLength, kSmallDown},
    {"Small Down NumFills", &S::SmallDownNumFills, kNumber, kSmallDown},
    {"Small Down FillAngle 1", &S::SmallDownFillAngle1, kAngle, kSmallDown},
    {"Small Down FillAngle 2", &S::SmallDownFillAngle2, kAngle, kSmallDown},
    {"Small Down FillAngle 3", &S::SmallDownFillAngle3, kAngle, kSmallDown},
    {"Small Down FillAngle 4", &S::SmallDownFillAngle4, kAngle, kSmallDown},
    {"Small Down Fill Cure Depth 1", &S::SmallDownFillCureDepth1, kLength, kSmallDown},
    {"Small Down Fill Cure Depth 2", &S::SmallDownFillCureDepth2, kLength, kSmallDown},
    {"Small Down Fill Cure Depth 3", &S::SmallDownFillCureDepth3, kLength, kSmallDown},
    {"Small Down Fill Cure Depth 4", &S::SmallDownFillCureDepth4, kLength, kSmallDown},
    {"Small Down Fill Spacing 1", &S::SmallDownFillSpacing1, kLength, kSmallDown},
    {"Small Down Fill Spacing 2", &S::SmallDownFillSpacing2, kLength, kSmallDown},
    {"Small Down Fill Spacing 3", &S::SmallDownFillSpacing3, kLength, kSmallDown},
    {"Small Down Fill Spacing 4", &S::SmallDownFillSpacing4, kLength, kSmallDown},
    {"Large LayerBorder Cure Depth", &S::LargeLayerBorderCureDepth, kLength, kLargeLayer},
    {"Large LayerBorderPrime Cure Depth", &S::LargeLayerBorderPrimeCureDepth, kLength, kLargeLayer},
    {"Large LayerNumHatches", &S::LargeLayerNumHatches, kNumber, kLargeLayer},
    {"Large LayerHatch Angle 1", &S::LargeLayerHatchAngle1, kAngle, kLargeLayer},
    {"Large LayerHatch Angle 2", &S::LargeLayerHatchAngle2, kAngle, kLargeLayer},
    {"Large LayerHatch Angle 3", &S::LargeLayerHatchAngle3, kAngle, kLargeLayer},
    {"Large LayerHatch Angle 4", &S::LargeLayerHatchAngle4, kAngle, kLargeLayer},
    {"Large LayerHatch Cure Depth 1", &S::LargeLayerHatchCureDepth1, kLength, kLargeLayer},
    {"Large LayerHatch Cure Depth 2", &S::LargeLayerHatchCureDepth2, kLength, kLargeLayer},
    {"Large LayerHatch Cure Depth 3", &S::LargeLayerHatchCureDepth3, kLength, kLargeLayer},
    {"Large LayerHatch Cure Depth 4", &S::LargeLayerHatchCureDepth4, kLength, kLargeLayer},
    {"Large LayerHatch Spacing 1", &S::LargeLayerHatchSpacing1, kLength, kLargeLayer},
    {"Large LayerHatch Spacing 2", &S::LargeLayerHatchSpacing2, kLength, kLargeLayer},
    {"Large LayerHatch Spacing 3", &S::LargeLayerHatchSpacing3, kLength, kLargeLayer},
    {"Large LayerHatch Spacing 4", &S::LargeLayerHatchSpacing4, kLength, kLargeLayer},
    {"Large Up Border Cure Depth", &S::LargeUpBorderCureDepth, kLength, kLargeUp},
    {"Large Up NumHatches", &S::LargeUpNumHatches, kNumber, kLargeUp},
    {"Large Up HatchAngle 1", &S::LargeUpHatchAngle1, kAngle, kLargeUp},
    {"Large Up HatchAngle 2", &S::LargeUpHatchAngle2, kAngle, kLargeUp},
    {"Large Up HatchAngle 3", &S::LargeUpHatchAngle3, kAngle, kLargeUp},
    {"Large Up HatchAngle 4", &S::LargeUpHatchAngle4, kAngle, kLargeUp},
    {"Large Up Hatch Cure Depth 1", &S::LargeUpHatchCureDepth1, kLength, kLargeUp},
    {"Large Up Hatch Cure Depth 2", &S::LargeUpHatchCureDepth2, kLength, kLargeUp},
    {"Large Up Hatch Cure Depth 3", &S::LargeUpHatchCureDepth3, kLength, kLargeUp},
    {"Large Up Hatch Cure Depth 4", &S::LargeUpHatchCureDepth4, kLength, kLargeUp},
    {"Large Up Hatch Spacing 1", &S::LargeUpHatchSpacing1, kLength, kLargeUp},
    {"Large Up Hatch Spacing 2", &S::LargeUpHatchSpacing2, kLength, kLargeUp},
    {"Large Up Hatch Spacing 3", &S::LargeUpHatchSpacing3, kLength, kLargeUp},
    {"Large Up Hatch Spacing 4", &S::LargeUpHatchSpacing4, kLength, kLargeUp},
    {"Large Up NumFills", &S::LargeUpNumFills, kNumber, kLargeUp},
    {"Large Up FillAngle 1", &S::LargeUpFillAngle1, kAngle, kLargeUp},
    {"Large Up FillAngle 2", &S::LargeUpFillAngle2, kAngle, kLargeUp},
    {"Large Up FillAngle 3", &S::LargeUpFillAngle3, kAngle, kLargeUp},
    {"Large Up FillAngle 4", &S::LargeUpFillAngle4, kAngle, kLargeUp},
    {"Large Up Fill Cure Depth 1", &S::LargeUpFillCureDepth1, kLength, kLargeUp},
    {"Large Up Fill Cure Depth 2", &S::LargeUpFillCureDepth2, kLength, kLargeUp},
    {"Large Up Fill Cure Depth 3", &S::LargeUpFillCureDepth3, kLength, kLargeUp},
    {"Large Up Fill Cure Depth 4", &S::LargeUpFillCureDepth4, kLength, kLargeUp},
    {"Large Up Fill Spacing 1", &S::LargeUpFillSpacing1, kLength, kLargeUp},
    {"Large Up Fill Spacing 2", &S::LargeUpFillSpacing2, kLength, kLargeUp},
    {"Large Up Fill Spacing 3", &S::LargeUpFillSpacing3, kLength, kLargeUp},
    {"Large Up Fill Spacing 4", &S::LargeUpFillSpacing4, kLength, kLargeUp},
    {"Large Down Border Cure Depth", &S::LargeDownBorderCureDepth, kLength, kLargeDown},
    {"Large Down NumHatches", &S::LargeDownNumHatches, kNumber, kLargeDown},
    {"Large Down HatchAngle 1", &S::LargeDownHatchAngle1, kAngle, kLargeDown},
    {"Large Down HatchAngle 2", &S::LargeDownHatchAngle2, kAngle, kLargeDown},
    {"Large Down HatchAngle 3", &S::LargeDownHatchAngle3, kAngle, kLargeDown},
    {"Large Down HatchAngle 4", &S::LargeDownHatchAngle4, kAngle, kLargeDown},
    {"Large Down Hatch Cure Depth 1", &S::LargeDownHatchCureDepth1, kLength, kLargeDown},
    {"Large Down Hatch Cure Depth 2", &S::LargeDownHatchCureDepth2, kLength, kLargeDown},
    {"Large Down Hatch Cure Depth 3", &S::LargeDownHatchCureDepth3, kLength, kLargeDown},
    {"Large Down Hatch Cure Depth 4", &S::LargeDownHatchCureDepth4, kLength, kLargeDown},
    {"Large Down Hatch Spacing 1", &S::LargeDownHatchSpacing1, kLength, kLargeDown},
    {"Large Down Hatch Spacing 2", &S::LargeDownHatchSpacing2, kLength, kLargeDown},
    {"Large Down Hatch Spacing 3", &S::LargeDownHatchSpacing3, kLength, kLargeDown},
    {"Large Down Hatch Spacing 4", &S::LargeDownHatchSpacing4, kLength, kLargeDown},
    {"Large Down NumFills", &S::LargeDownNumFills, kNumber, kLargeDown},
    {"Large Down FillAngle 1", &S::LargeDownFillAngle1, kAngle, kLargeDown},
    {"Large Down FillAngle 2", &S::LargeDownFillAngle2, kAngle, kLargeDown},
    {"Large Down FillAngle 3", &S::LargeDownFillAngle3, kAngle, kLargeDown},
    {"Large Down FillAngle 4", &S::LargeDownFillAngle4, kAngle, kLargeDown},
    {"Large Down Fill Cure Depth 1", &S::LargeDownFillCureDepth1, kLength, kLargeDown},
    {"Large Down Fill Cure Depth 2", &S::LargeDownFillCureDepth2, kLength, kLargeDown},
    {"Large Down Fill Cure Depth 3", &S::LargeDownFillCureDepth3, kLength, kLargeDown},
    {"Large Down Fill Cure Depth 4", &S::LargeDownFillCureDepth4, kLength, kLargeDown},
    {"Large Down FillSpacing 1", &S::LargeDownFillSpacing1, kLength, kLargeDown},
    {"Large Down FillSpacing 2", &S::LargeDownFillSpacing2, kLength, kLargeDown},
    {"Large Down FillSpacing 3", &S::LargeDownFillSpacing3, kLength, kLargeDown},
    {"Large Down FillSpacing 4", &S::LargeDownFillSpacing4, kLength, kLargeDown},
    {"Large Retract Start", &S::LargeRetractStart, kLength, kScanning},
    {"Large Retract End", &S::LargeRetractEnd, kLength, kScanning},
    {"Small Retract Start", &S::SmallRetractStart, kLength, kScanning},
    {"Small Retract End", &S::SmallRetractEnd, kLength, kScanning},
    {"Large InterHatch Delay", &S::LargeInterHatchDelay, kNumber, kScanning},
    {"Small InterHatch Delay", &S::SmallInterHatchDelay, kNumber, kScanning},
    {"Hatch Type", &S::HatchType, kNumber, kScanning},
    {"Fill Type", &S::FillType, kNumber, kScanning},
    {"QC BorderType", &S::QCBorderType, kNumber, kQc},
    {"QC HatchStyle", &S::QCHatchStyle, kNumber, kQc},
    {"QC ThickSkins", &S::QCThickSkins, kNumber, kQc},
    {"QC VentsDrains", &S::QCVentsDrains, kNumber, kQc},
    {"QC Min Small Thick Skin Width", &S::QCMinSmallThickSkinWidth, kLength, kQc},
    {"QC Min Large Thick Skin Width", &S::QCMinLargeThickSkinWidth, kLength, kQc},
    {"QCZ Transition", &S::QCZTransition, kLength, kQc},
    {"QC ZBond", &S::QCZBond, kLength, kQc},
    {"QC LayerDepth", &S::QCLayerDepth, kLength, kQc},
    {"Stagger", &S::Stagger, kNumber, kCompensation},
    {"Alternate", &S::Alternate, kNumber, kCompensation},
    {"Small Stagger Offset", &S::SmallStaggerOffset, kLength, kCompensation},
    {"Large Stagger Offset", &S::LargeStaggerOffset, kLength, kCompensation},
    {"Boundary Comp", &S::BoundaryComp, kLength, kCompensation},
    {"Additional Boundaries", &S::AdditionalBoundaries, kNumber, kCompensation},
    {"DH Flag", &S::DHFlag, kFlag, kCompensation},
    {"UH Flag", &S::UHFlag, kFlag, kCompensation},
    {"Min Small NS Width", &S::MinSmallNSWidth, kLength, kCompensation},
    {"Min Large NS Width", &S::MinLargeNSWidth, kLengthKept, kCompensation},
    {"AfterMinLargeNSWidth", &S::ZCompensationLayers, kNumber, kUnnamedRegion, kZero, false},
    {"ZCalculate", &S::ZCalculate, kNumber, kCompensation},
    {"Small Line Width", &S::SmallLineWidth, kLength, kCompensation},
    {"Large Line Width", &S::LargeLineWidth, kLength, kCompensation},
    {"Dp", &S::Dp, kResin, kResinRegion},
    {"Ec", &S::Ec, kResin, kResinRegion},
    {"Tooling Sequencing Count", &S::ToolingSequencingCount, kNumber, kTooling},
    {"Tooling Sequencing Ratio", &S::ToolingSequencingRatio, kNumber, kTooling},
    {"Min Width For Small Spot", &S::MinWidthForSmallSpot, kLength, kCompensation},
    {"Small Support Boundary Cure Depth", &S::SmallSupportBoundaryCureDepth, kLength, kSupport},
    {"Small Support Down Interface Boundary Cure Depth", &S::SmallSupportDownInterfaceBoundaryCureDepth,
     kLength, kSupport},
    {"Small Support Up Interface Boundary Cure Depth", &S::SmallSupportUpInterfaceBoundaryCureDepth, kLength,
     kSupport},
    {"Large Support Boundary Cure Depth", &S::LargeSupportBoundaryCureDepth, kLength, kSupport},
    {"Large Support Down Interface Boundary Cure Depth", &S::LargeSupportDownInterfaceBoundaryCureDepth,
     kLength, kSupport},
    {"Large Support Up Interface Boundary Cure Depth", &S::LargeSupportUpInterfaceBoundaryCureDepth, kLength,
     kSupport},
    {"AfterSupportCureDepths[0]", {&S::AfterSupportCureDepths, 0}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[1]", {&S::AfterSupportCureDepths, 1}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[2]", {&S::AfterSupportCureDepths, 2}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[3]", {&S::AfterSupportCureDepths, 3}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[4]", {&S::AfterSupportCureDepths, 4}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[5]", {&S::AfterSupportCureDepths, 5}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[6]", {&S::AfterSupportCureDepths, 6}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[7]", {&S::AfterSupportCureDepths, 7}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[8]", {&S::AfterSupportCureDepths, 8}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[9]", {&S::AfterSupportCureDepths, 9}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[10]", {&S::AfterSupportCureDepths, 10}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[11]", {&S::AfterSupportCureDepths, 11}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[12]", {&S::AfterSupportCureDepths, 12}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[13]", {&S::AfterSupportCureDepths, 13}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[14]", {&S::AfterSupportCureDepths, 14}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[15]", {&S::AfterSupportCureDepths, 15}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[16]", {&S::AfterSupportCureDepths, 16}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[17]", {&S::AfterSupportCureDepths, 17}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[18]", {&S::AfterSupportCureDepths, 18}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[19]", {&S::AfterSupportCureDepths, 19}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterSupportCureDepths[20]", {&S::AfterSupportCureDepths, 20}, kNumber, kUnnamedRegion, kZero, false},
    {"Layer Border Power", &S::LayerBorderPower, kPower, kPowerRegion, kPowerDefault},
    {"Layer Border Prime Power", &S::LayerBorderPrimePower, kPower, kPowerRegion, kPowerDefault},
    {"Layer Hatch 0 Power", &S::LayerHatch0Power, kPower, kPowerRegion, kPowerDefault},
    {"Layer Hatch 1 Power", &S::LayerHatch1Power, kPower, kPowerRegion, kPowerDefault},
    {"Layer Hatch 2 Power", &S::LayerHatch2Power, kPower, kPowerRegion, kPowerDefault},
    {"Layer Hatch 3 Power", &S::LayerHatch3Power, kPower, kPowerRegion, kPowerDefault},
    {"Support Border Power", &S::SupportBorderPower, kPower, kPowerRegion, kPowerDefault},
    {"Support Down Interface Border Power", &S::SupportDownInterfaceBorderPower, kPower, kPowerRegion,
     kPowerDefault},
    {"Support Up Interface Border Power", &S::SupportUpInterfaceBorderPower, kPower, kPowerRegion,
     kPowerDefault},
    {"Down Border Power", &S::DownBorderPower, kPower, kPowerRegion, kPowerDefault},
    {"Down Hatch 0 Power", &S::DownHatch0Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Hatch 1 Power", &S::DownHatch1Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Hatch 2 Power", &S::DownHatch2Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Hatch 3 Power", &S::DownHatch3Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Fill 0 Power", &S::DownFill0Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Fill 1 Power", &S::DownFill1Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Fill 2 Power", &S::DownFill2Power, kPower, kPowerRegion, kPowerDefault},
    {"Down Fill 3 Power", &S::DownFill3Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Fill 0 Power", &S::UpFill0Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Fill 1 Power", &S::UpFill1Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Fill 2 Power", &S::UpFill2Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Fill 3 Power", &S::UpFill3Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Border Power", &S::UpBorderPower, kPower, kPowerRegion, kPowerDefault},
    {"Up Hatch 0 Power", &S::UpHatch0Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Hatch 1 Power", &S::UpHatch1Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Hatch 2 Power", &S::UpHatch2Power, kPower, kPowerRegion, kPowerDefault},
    {"Up Hatch 3 Power", &S::UpHatch3Power, kPower, kPowerRegion, kPowerDefault},
    {"Small Spot Only Flag", &S::SmallSpotOnlyFlag, kFlag, kFeatures},
    {"Z Smoothing Flag", &S::ZSmoothingFlag, kFlag, kFeatures},
    {"Layer Only Flag", &S::LayerOnlyFlag, kFlag, kFeatures},
    {"High Spatial Tolerance Flag", &S::HighSpatialToleranceFlag, kFlag, kFeatures},
    {"Small Line Width Compenstation Flag", &S::SmallLineWidthCompenstationFlag, kFlag, kFeatures, kOne},
    {"Large Line Width Compenstation Flag", &S::LargeLineWidthCompenstationFlag, kFlag, kFeatures, kOne},
    {"Differential Shrink Flag", &S::DifferentialShrinkFlag, kFlag, kFeatures},
    {"Small Feature Preservation Flag", &S::SmallFeaturePreservationFlag, kFlag, kFeatures},
    {"Pattern Style Flag", &S::PatternStyleFlag, kFlag, kFeatures},
    {"Shelling Flag", &S::ShellingFlag, kFlag, kFeatures},
    {"Shell Support Spacing", &S::ShellSupportSpacing, kLength, kFeatures, Ranged(0.4f, 0, 2)},
    {"Smart Best Surface Finish Flag", &S::SmartBestSurfaceFinishFlag, kFlag, kFeatures},
    {"Smart Best Surface Finish Layers", &S::SmartBestSurfaceFinishLayers, kNumber, kFeatures,
     Ranged(10, 1, 20)},
    {"LBP for B2", &S::LBPforB2, kNumber, kFeatures},
    {"Z Filtering Flag", &S::ZFilteringFlag, kFlag, kFeatures, kOne},
    {"AfterZFilteringFlag[0]", {&S::AfterZFilteringFlag, 0}, kNumber, kUnnamedRegion, kZero, false},
    {"AfterZFilteringFlag[1]", {&S::AfterZFilteringFlag, 1}, kNumber, kUnnamedRegion, kZero, false},
    {"Interior Boundary Removal Flag", &S::InteriorBoundaryRemovalFlag, kFlag, kFeatures},
    {"High Speed Scan Flag", &S::HighSpeedScanFlag, kFlag, kFeatures},
    {"High Speed Scan Threshold", &S::HighSpeedScanThreshold, kThreshold, kFeatures, Ranged(120, 20, 250)},
    {"Draw Borders Last Flag", &S::DrawBordersLastFlag, kFlag, kFeatures},
    {"Draw Small Up Borders Flag", &S::DrawSmallUpBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Large Up Borders Flag", &S::DrawLargeUpBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Small Down Borders Flag", &S::DrawSmallDownBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Large Down Borders Flag", &S::DrawLargeDownBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Small Layer Borders Flag", &S::DrawSmallLayerBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Large Layer Borders Flag", &S::DrawLargeLayerBordersFlag, kFlag, kFeatures, kOne},
    {"Draw Small Layer Border Prime Flag", &S::DrawSmallLayerBorderPrimeFlag, kFlag, kFeatures, kOne},
    {"Draw Large Layer Border Prime Flag", &S::DrawLargeLayerBorderPrimeFlag, kFlag, kFeatures, kOne},
    {"Shelling Thickness", &S::ShellingThickness, kLength, kFeatures, Ranged(0.02f, 0.02f, 1)},
};
// clang-format on
}  // namespace build_style_rows

inline constexpr auto& kBuildStyleTable = build_style_rows::kRows;

static_assert(CountRows(kBuildStyleTable, [](auto& row) { return row.named; }) == 238, "named records");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return row.named && row.member.is_float(); }) ==
                  187,
              "named float records");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return row.named && !row.member.is_float(); }) ==
                  51,
              "named integer records");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return !row.named; }) == 24, "unnamed records");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return trq::IsUnitConverted(row.quantity); }) ==
                  115,
              "lengths that unit conversion converts");
static_assert(CountRows(kBuildStyleTable, [](auto& row) { return trq::IsDefaultEquated(row.quantity); }) ==
                  143,
              "defaults that are made equal to the value");
static_assert(CountRows(kBuildStyleTable,
                        [](auto& row) {
                          return !row.member.is_float() &&
                                 (trq::IsUnitConverted(row.quantity) || trq::IsDefaultEquated(row.quantity));
                        }) == 0,
              "integer records are neither converted nor equated");
static_assert(CountRows(kBuildStyleTable,
                        [](auto& row) { return row.quantity == trq::StyleQuantity::kPower; }) == 27,
              "laser powers");
static_assert(CountRows(kBuildStyleTable,
                        [](auto& row) { return row.quantity == trq::StyleQuantity::kAngle; }) == 40,
              "hatch and fill angles");

template <>
struct StyleTraits<KVBUILDSTYLE> {
  static constexpr auto& kRows = kBuildStyleTable;
  static constexpr long kVersionRecordAt = 0;
  static bool Is301(float version) { return IsVersion301Or400(version); }
};

/// Row and rows of the table by display name.
constexpr int BuildRow(std::string_view name) { return RowIndex(kBuildStyleTable, name); }
constexpr RowRange BuildRows(std::string_view first, std::string_view last) {
  return FindRows(kBuildStyleTable, first, last);
}
constexpr RowRange BuildRows(std::string_view only) { return BuildRows(only, only); }

/// The flags in the order of their bits in the flags word of 206 files, from 0x001 to 0x400.
struct StyleFlag {
  int row;
  bool set_when_zero = false;
  /// The flag's record.
  BuildStyleParameterRecordInt& In(KVBUILDSTYLE& style) const {
    return *kBuildStyleTable[row].member.IntIn(style);
  }
};
// Kept: the order of the bits is not the order of the members, and the compensation flags are inverted.
inline constexpr StyleFlag kStyleFlags[] = {
    {BuildRow("DH Flag")},
    {BuildRow("Small Spot Only Flag")},
    {BuildRow("Z Smoothing Flag")},
    {BuildRow("High Spatial Tolerance Flag")},
    {BuildRow("Small Line Width Compenstation Flag"), true},
    {BuildRow("Differential Shrink Flag")},
    {BuildRow("Small Feature Preservation Flag")},
    {BuildRow("Large Line Width Compenstation Flag"), true},
    {BuildRow("Pattern Style Flag")},
    {BuildRow("Shelling Flag")},
    {BuildRow("Layer Only Flag")},
};

/// True when every row that `listed` accepts is in the ranges exactly once and no other row is.
template <class Ranges, class Condition>
constexpr bool ListsExactly(const Ranges& ranges, Condition listed) {
  for (int row = 0; row < static_cast<int>(std::size(kBuildStyleTable)); ++row) {
    if (TimesListed(ranges, row) != (listed(kBuildStyleTable[row]) ? 1 : 0)) return false;
  }
  return true;
}

}  // namespace trq::detail
