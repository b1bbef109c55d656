/// Style structures of the slice-file library, from which styles can be constructed.
#pragma once

#include <cstddef>
#include <cstdint>

/// A build style as the slice-file library keeps it: three texts (with or without a NUL), then one 4-byte
/// number a parameter, in the member order of KVBUILDSTYLE.
struct _bs_style {
  char StyleName[512];
  char FullPathName[512];
  char BuildDescription[512];
  float StartZ, EndZ, LayerThickness;
  float SmallLayerBorderCureDepth;
  float SmallLayerBorderPrimeCureDepth;
  int32_t SmallLayerNumHatches;
  float SmallLayerHatchAngle1, SmallLayerHatchAngle2, SmallLayerHatchAngle3, SmallLayerHatchAngle4;
  float SmallLayerHatchCureDepth1, SmallLayerHatchCureDepth2, SmallLayerHatchCureDepth3,
      SmallLayerHatchCureDepth4;
  float SmallLayerHatchSpacing1, SmallLayerHatchSpacing2, SmallLayerHatchSpacing3, SmallLayerHatchSpacing4;
  float SmallUpBorderCureDepth;
  int32_t SmallUpNumberofHatches;
  float SmallUpHatchAngle1, SmallUpHatchAngle2, SmallUpHatchAngle3, SmallUpHatchAngle4;
  float SmallUpHatchCureDepth1, SmallUpHatchCureDepth2, SmallUpHatchCureDepth3, SmallUpHatchCureDepth4;
  float SmallUpHatchSpacing1, SmallUpHatchSpacing2, SmallUpHatchSpacing3, SmallUpHatchSpacing4;
  int32_t SmallUpNumFills;
  float SmallUpFillAngle1, SmallUpFillAngle2, SmallUpFillAngle3, SmallUpFillAngle4;
  float SmallUpFillCureDepth1, SmallUpFillCureDepth2, SmallUpFillCureDepth3, SmallUpFillCureDepth4;
  float SmallUpFillSpacing1, SmallUpFillSpacing2, SmallUpFillSpacing3, SmallUpFillSpacing4;
  float SmallDownBorderCureDepth;
  int32_t SmallDownNumHatches;
  float SmallDownHatchAngle1, SmallDownHatchAngle2, SmallDownHatchAngle3, SmallDownHatchAngle4;
  float SmallDownHatchCureDepth1, SmallDownHatchCureDepth2, SmallDownHatchCureDepth3,
      SmallDownHatchCureDepth4;
  float SmallDownHatchSpacing1, SmallDownHatchSpacing2, SmallDownHatchSpacing3, SmallDownHatchSpacing4;
  int32_t SmallDownNumFills;
  float SmallDownFillAngle1, SmallDownFillAngle2, SmallDownFillAngle3, SmallDownFillAngle4;
  float SmallDownFillCureDepth1, SmallDownFillCureDepth2, SmallDownFillCureDepth3, SmallDownFillCureDepth4;
  float SmallDownFillSpacing1, SmallDownFillSpacing2, SmallDownFillSpacing3, SmallDownFillSpacing4;
  float LargeLayerBorderCureDepth;
  float LargeLayerBorderPrimeCureDepth;
  int32_t LargeLayerNumHatches;
  float LargeLayerHatchAngle1, LargeLayerHatchAngle2, LargeLayerHatchAngle3, LargeLayerHatchAngle4;
  float LargeLayerHatchCureDepth1, LargeLayerHatchCureDepth2, LargeLayerHatchCureDepth3,
      LargeLayerHatchCureDepth4;
  float LargeLayerHatchSpacing1, LargeLayerHatchSpacing2, LargeLayerHatchSpacing3, LargeLayerHatchSpacing4;
  float LargeUpBorderCureDepth;
  int32_t LargeUpNumHatches;
  float LargeUpHatchAngle1, LargeUpHatchAngle2, LargeUpHatchAngle3, LargeUpHatchAngle4;
  float LargeUpHatchCureDepth1, LargeUpHatchCureDepth2, LargeUpHatchCureDepth3, LargeUpHatchCureDepth4;
  float LargeUpHatchSpacing1, LargeUpHatchSpacing2, LargeUpHatchSpacing3, LargeUpHatchSpacing4;
  int32_t LargeUpNumFills;
  float LargeUpFillAngle1, LargeUpFillAngle2, LargeUpFillAngle3, LargeUpFillAngle4;
  float LargeUpFillCureDepth1, LargeUpFillCureDepth2, LargeUpFillCureDepth3, LargeUpFillCureDepth4;
  float LargeUpFillSpacing1, LargeUpFillSpacing2, LargeUpFillSpacing3, LargeUpFillSpacing4;
  float LargeDownBorderCureDepth;
  int32_t LargeDownNumHatches;
  float LargeDownHatchAngle1, LargeDownHatchAngle2, LargeDownHatchAngle3, LargeDownHatchAngle4;
  float LargeDownHatchCureDepth1, LargeDownHatchCureDepth2, LargeDownHatchCureDepth3,
      LargeDownHatchCureDepth4;
  float LargeDownHatchSpacing1, LargeDownHatchSpacing2, LargeDownHatchSpacing3, LargeDownHatchSpacing4;
  int32_t LargeDownNumFills;
  float LargeDownFillAngle1, LargeDownFillAngle2, LargeDownFillAngle3, LargeDownFillAngle4;
  float LargeDownFillCureDepth1, LargeDownFillCureDepth2, LargeDownFillCureDepth3, LargeDownFillCureDepth4;
  float LargeDownFillSpacing1, LargeDownFillSpacing2, LargeDownFillSpacing3, LargeDownFillSpacing4;
  float LargeRetractStart;
  float LargeRetractEnd;
  int32_t HatchType;
  int32_t FillType;
  int32_t QCBorderType;
  int32_t QCHatchStyle;
  int32_t QCThickSkins;
  int32_t QCVentsDrains;
  float QCMinSmallThickSkinWidth;
  float QCMinLargeThickSkinWidth;
  float QCZTransition;
  float QCZBond;
  float QCLayerDepth;
  int32_t Stagger;
  int32_t Alternate;
  float SmallStaggerOffset;
  float BoundaryComp;
  int32_t AdditionalBoundaries;
  int32_t DHFlag;
  int32_t UHFlag;
  float MinSmallNSWidth;
  float MinLargeNSWidth;
  int32_t ZCalculate;
  float SmallLineWidth;
  float LargeLineWidth;
  float Dp;
  float Ec;
  float MinWidthForSmallSpot;
  float SmallSupportBoundaryCureDepth;
  float SmallSupportDownInterfaceBoundaryCureDepth;
  float SmallSupportUpInterfaceBoundaryCureDepth;
  float LargeSupportBoundaryCureDepth;
  float LargeSupportDownInterfaceBoundaryCureDepth;
  float LargeSupportUpInterfaceBoundaryCureDepth;
};
