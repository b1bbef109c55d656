/// Style structures of the slice-file library, from which styles can be constructed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trq {
/// A build style as the slice-file library keeps it: three texts (with or without a NUL), then one 4-byte
/// number a parameter, in the member order of KVBUILDSTYLE.
struct BuildStyleStructure {
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
}  // namespace trq

/// The slice-file library's recoat style: texts with or without their NUL, lengths in the style's units. Its
/// layout is fixed: the other library fills it.
struct _rc_style {
  struct Dip {
    float velocity;
    float acceleration;
    float dip_distance;
    int32_t pre_dip_delay;
    int32_t post_dip_delay;
    int32_t wait;
  };
  struct Sweep {
    float gap;  ///< percent of the layer thickness
    float velocity;
  };
  char style_name[513];
  char build_description[81];
  char full_path_name[513];
  char unused[5];
  float start_z;
  float end_z;
  float z_dip_distance;
  float z_velocity;
  float z_acceleration;
  float z_post_dip_delay;  ///< a float here, a whole number in styles
  float z_pre_dip_delay;   ///< a float here, a whole number in styles
  Dip primary;
  Dip secondary;
  int32_t number_of_sweeps;
  int32_t number_of_primary_sweeps;
  int32_t number_of_secondary_sweeps;
  Sweep sweeps[7];
  Sweep primary_sweeps[7];
  Sweep secondary_sweeps[7];
  int32_t number_of_secondary_dips;
  float z_wait;  ///< a float here, a whole number in styles
};
static_assert(sizeof(_rc_style) == 1376);
static_assert(offsetof(_rc_style, style_name) == 0);
static_assert(offsetof(_rc_style, build_description) == 513);
static_assert(offsetof(_rc_style, full_path_name) == 594);
static_assert(offsetof(_rc_style, start_z) == 1112);
static_assert(offsetof(_rc_style, end_z) == 1116);
static_assert(offsetof(_rc_style, z_dip_distance) == 1120);
static_assert(offsetof(_rc_style, z_velocity) == 1124);
static_assert(offsetof(_rc_style, z_acceleration) == 1128);
static_assert(offsetof(_rc_style, z_post_dip_delay) == 1132);
static_assert(offsetof(_rc_style, z_pre_dip_delay) == 1136);
static_assert(offsetof(_rc_style, primary) == 1140);
static_assert(offsetof(_rc_style, primary.acceleration) == 1144);
static_assert(offsetof(_rc_style, primary.dip_distance) == 1148);
static_assert(offsetof(_rc_style, primary.pre_dip_delay) == 1152);
static_assert(offsetof(_rc_style, primary.post_dip_delay) == 1156);
static_assert(offsetof(_rc_style, primary.wait) == 1160);
static_assert(offsetof(_rc_style, secondary) == 1164);
static_assert(offsetof(_rc_style, secondary.acceleration) == 1168);
static_assert(offsetof(_rc_style, secondary.dip_distance) == 1172);
static_assert(offsetof(_rc_style, secondary.pre_dip_delay) == 1176);
static_assert(offsetof(_rc_style, secondary.post_dip_delay) == 1180);
static_assert(offsetof(_rc_style, secondary.wait) == 1184);
static_assert(offsetof(_rc_style, number_of_sweeps) == 1188);
static_assert(offsetof(_rc_style, number_of_primary_sweeps) == 1192);
static_assert(offsetof(_rc_style, number_of_secondary_sweeps) == 1196);
static_assert(offsetof(_rc_style, sweeps) == 1200);
static_assert(offsetof(_rc_style, primary_sweeps) == 1256);
static_assert(offsetof(_rc_style, secondary_sweeps) == 1312);
static_assert(offsetof(_rc_style, number_of_secondary_dips) == 1368);
static_assert(offsetof(_rc_style, z_wait) == 1372);
