/// The model's stack of build styles.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "foundation/checked_conversions.h"
#include "setup/style_stack.h"
#include "trq/setup.h"

using namespace trq::detail;

namespace {

/// The machines that cure with a large and a small spot.
bool HasLargeSpot(TRQ_TYPE machine) {
  return machine == TRQ_E7 || machine == TRQ_MIRRA_MAX || machine == TRQ_ALTOR900 || machine == TRQ_ALTOR800;
}

/// The flag records in the order of the flags word's bits.
constexpr BuildStyleParameterRecordInt KVBUILDSTYLE::*kFlags[] = {
    &KVBUILDSTYLE::DHFlag,
    &KVBUILDSTYLE::SmallSpotOnlyFlag,
    &KVBUILDSTYLE::ZSmoothingFlag,
    &KVBUILDSTYLE::HighSpatialToleranceFlag,
    &KVBUILDSTYLE::SmallLineWidthCompenstationFlag,
    &KVBUILDSTYLE::DifferentialShrinkFlag,
    &KVBUILDSTYLE::SmallFeaturePreservationFlag,
    &KVBUILDSTYLE::LargeLineWidthCompenstationFlag,
    &KVBUILDSTYLE::PatternStyleFlag,
    &KVBUILDSTYLE::ShellingFlag,
    &KVBUILDSTYLE::LayerOnlyFlag,
};

/// The fourteen records of a spot size from which the Z correction follows.
struct DownSkin {
  using Int = BuildStyleParameterRecordInt KVBUILDSTYLE::*;
  using Float = BuildStyleParameterRecordFloat KVBUILDSTYLE::*;
  Int hatches;
  Float hatch_depths[4];
  Float hatch_spacings[4];
  Int fills;
  Float fill_depths[4];
};
constexpr DownSkin kSmallDown = {
    &KVBUILDSTYLE::SmallDownNumHatches,
    {&KVBUILDSTYLE::SmallDownHatchCureDepth1, &KVBUILDSTYLE::SmallDownHatchCureDepth2,
     &KVBUILDSTYLE::SmallDownHatchCureDepth3, &KVBUILDSTYLE::SmallDownHatchCureDepth4},
    {&KVBUILDSTYLE::SmallDownHatchSpacing1, &KVBUILDSTYLE::SmallDownHatchSpacing2,
     &KVBUILDSTYLE::SmallDownHatchSpacing3, &KVBUILDSTYLE::SmallDownHatchSpacing4},
    &KVBUILDSTYLE::SmallDownNumFills,
    {&KVBUILDSTYLE::SmallDownFillCureDepth1, &KVBUILDSTYLE::SmallDownFillCureDepth2,
     &KVBUILDSTYLE::SmallDownFillCureDepth3, &KVBUILDSTYLE::SmallDownFillCureDepth4}};
constexpr DownSkin kLargeDown = {
    &KVBUILDSTYLE::LargeDownNumHatches,
    {&KVBUILDSTYLE::LargeDownHatchCureDepth1, &KVBUILDSTYLE::LargeDownHatchCureDepth2,
     &KVBUILDSTYLE::LargeDownHatchCureDepth3, &KVBUILDSTYLE::LargeDownHatchCureDepth4},
    {&KVBUILDSTYLE::LargeDownHatchSpacing1, &KVBUILDSTYLE::LargeDownHatchSpacing2,
     &KVBUILDSTYLE::LargeDownHatchSpacing3, &KVBUILDSTYLE::LargeDownHatchSpacing4},
    &KVBUILDSTYLE::LargeDownNumFills,
    {&KVBUILDSTYLE::LargeDownFillCureDepth1, &KVBUILDSTYLE::LargeDownFillCureDepth2,
     &KVBUILDSTYLE::LargeDownFillCureDepth3, &KVBUILDSTYLE::LargeDownFillCureDepth4}};

/// Kept: the large set has a spacing limit of its own.
constexpr double kLargeSpacingLimit = 0.018;
constexpr double kFirstMachinesFactor = 1.27;

/// Counts come from files: at most the four entries that exist.
int EntryCount(const BuildStyleParameterRecordInt& count) { return std::clamp(count.GetValue(), 0, 4); }

}  // namespace

int MODEL::KVAddBuildStyle(PLATFORM* platform, MODEL*, CString file, float start, float end, bool read) {
  const auto fresh = std::make_shared<KVBUILDSTYLE>(file);
  if (read) {
    const int result = fresh->binaryReadStyle(file);
    fresh->closeBuildStyleFile();
    if (result != 0) return -1;
  }
  fresh->StartZ.SetValue(start);
  fresh->EndZ.SetValue(end);
  Int1.SetValue(HasLargeSpot(platform ? platform->MachineType : TRQ_A1) ? 1 : 0);
  InsertRange(BuildStyles, fresh, StackTolerance(platform ? platform->Units : 0),
              [platform](const auto& replaced) {
                if (platform && platform->CurrentBuildStyle == replaced) platform->CurrentBuildStyle.reset();
              });
  static_assert(std::size(kFlags) == std::extent_v<decltype(MODEL::Ints11)>);
  for (std::size_t i = 0; i < std::size(kFlags); ++i)
    Ints11[i].CopyRecord(&(BuildStyles.front().get()->*kFlags[i]));
  return 0;
}

void MODEL::KVrecalculateBuildStyle(float bottom, float top) {
  if (BuildStyles.empty()) return;
  const double old_bottom = BuildStyles.front()->StartZ.GetValue();
  const double old_top = BuildStyles.back()->EndZ.GetValue();
  constexpr double kTolerance = 0.00005f;
  if (std::fabs(bottom - old_bottom) <= kTolerance && std::fabs(top - old_top) <= kTolerance) return;
  const double delta = top - old_top;
  BuildStyles.front()->StartZ.SetValue(bottom);
  for (std::size_t i = 1; i < BuildStyles.size(); ++i) {
    const float start = static_cast<float>(BuildStyles[i]->StartZ.GetValue() + delta);
    BuildStyles[i]->StartZ.SetValue(start);
    BuildStyles[i - 1]->EndZ.SetValue(start);
  }
  BuildStyles.back()->EndZ.SetValue(top);
}

void MODEL::KVdeleteBuildStyle(const KVBUILDSTYLE* style) {
  const auto found = FindInStack(BuildStyles, style);
  if (found != BuildStyles.end()) BuildStyles.erase(found);
}

void MODEL::KVdeleteBuildStyles() { BuildStyles.clear(); }

float MODEL::KVGetFirstBuildStyleThickness() const {
  return BuildStyles.empty() ? 0 : BuildStyles.front()->LayerThickness.GetValue();
}

float MODEL::KVgetDp() const { return BuildStyles.empty() ? 0 : BuildStyles.front()->Dp.GetValue(); }
float MODEL::KVgetEc() const { return BuildStyles.empty() ? 0 : BuildStyles.front()->Ec.GetValue(); }

float MODEL::KVGetZLayerComp() const {
  if (BuildStyles.empty()) return 0;
  const double layers = BuildStyles.front()->AfterMinLargeNSWidth.GetValue();
  return static_cast<float>(layers * BuildStyles.front()->LayerThickness.GetValue());
}

bool MODEL::KVisCaviliteStyle() const {
  return !BuildStyles.empty() && BuildStyles.front()->HatchType.GetValue() == 5;
}

int MODEL::KVcalc_zcorrection(TRQ_TYPE machine, const KVBUILDSTYLE* style, float spacing) const {
  if (!style) return 0;
  const double thickness = style->LayerThickness.GetValue();
  const double depth_constant = style->Dp.GetValue();
  const double critical_exposure = style->Ec.GetValue();
  if (!(thickness > 0 && depth_constant > 0 && critical_exposure > 0)) return 0;
  const auto exposure = [=](double depth) { return critical_exposure * std::exp(depth / depth_constant); };

  const bool small = !HasLargeSpot(machine) || style->SmallSpotOnlyFlag.GetValue() != 0;
  const DownSkin& skin = small ? kSmallDown : kLargeDown;
  const double spacing_limit = small ? spacing : kLargeSpacingLimit;
  const double factor = small && (machine == TRQ_A1 || machine == TRQ_B2) ? kFirstMachinesFactor : 1.0;
  double sum = 0;
  for (int k = 0; k < EntryCount(style->*skin.hatches); ++k) {
    if (!((style->*skin.hatch_spacings[k]).GetValue() <= spacing_limit)) continue;
    const double depth = (style->*skin.hatch_depths[k]).GetValue() + thickness;
    if (depth > 0) sum += factor * exposure(depth);
  }
  for (int k = 0; k < EntryCount(style->*skin.fills); ++k) {
    sum += exposure((style->*skin.fill_depths[k]).GetValue());
  }
  if (!(sum > 0)) return 0;
  const double layers = depth_constant * std::log(sum / critical_exposure) / thickness - 1;
  if (!std::isfinite(layers)) return 0;
  const double whole = std::round(layers);
  return ToInt(std::fabs(layers - whole) <= 1e-9 ? whole : layers);
}
