#include "setup/style_stack.h"

#include <cmath>

#include "foundation/checked_conversions.h"

bool trq::detail::HasLargeSpot(TRQ_TYPE machine) {
  return machine == TRQ_E7 || machine == TRQ_MIRRA_MAX || machine == TRQ_ALTOR900 || machine == TRQ_ALTOR800;
}

namespace trq::core {
namespace {

using S = KVBUILDSTYLE;

/// The fourteen records of a spot size from which the Z correction follows.
struct DownSkin {
  using Int = BuildStyleParameterRecordInt S::*;
  using Float = BuildStyleParameterRecordFloat S::*;
  Int hatches;
  Float hatch_depths[4];
  Float hatch_spacings[4];
  Int fills;
  Float fill_depths[4];
};
constexpr DownSkin kSmallDown = {&S::SmallDownNumHatches,
                                 {&S::SmallDownHatchCureDepth1, &S::SmallDownHatchCureDepth2,
                                  &S::SmallDownHatchCureDepth3, &S::SmallDownHatchCureDepth4},
                                 {&S::SmallDownHatchSpacing1, &S::SmallDownHatchSpacing2,
                                  &S::SmallDownHatchSpacing3, &S::SmallDownHatchSpacing4},
                                 &S::SmallDownNumFills,
                                 {&S::SmallDownFillCureDepth1, &S::SmallDownFillCureDepth2,
                                  &S::SmallDownFillCureDepth3, &S::SmallDownFillCureDepth4}};
constexpr DownSkin kLargeDown = {&S::LargeDownNumHatches,
                                 {&S::LargeDownHatchCureDepth1, &S::LargeDownHatchCureDepth2,
                                  &S::LargeDownHatchCureDepth3, &S::LargeDownHatchCureDepth4},
                                 {&S::LargeDownHatchSpacing1, &S::LargeDownHatchSpacing2,
                                  &S::LargeDownHatchSpacing3, &S::LargeDownHatchSpacing4},
                                 &S::LargeDownNumFills,
                                 {&S::LargeDownFillCureDepth1, &S::LargeDownFillCureDepth2,
                                  &S::LargeDownFillCureDepth3, &S::LargeDownFillCureDepth4}};

/// Kept: the large set has a spacing limit of its own.
constexpr double kLargeSpacingLimit = 0.018;
constexpr double kFirstMachinesFactor = 1.27;

/// Counts come from files: at most the four entries that exist.
int EntryCount(const BuildStyleParameterRecordInt& count) { return std::clamp(count.GetValue(), 0, 4); }

}  // namespace

void InsertByStart(std::vector<StyleBand>& stack, const StyleBand& fresh) {
  stack.insert(std::find_if(stack.begin(), stack.end(),
                            [&fresh](const StyleBand& band) { return band.start > fresh.start; }),
               fresh);
}

void InsertByRange(std::vector<StyleBand>& stack, const StyleBand& fresh, double tolerance) {
  const double start = fresh.start;
  const double end = fresh.end;
  bool linked = false;
  std::vector<StyleBand> placed;
  const auto link = [&] {
    if (!linked) placed.push_back(fresh);
    linked = true;
  };
  for (const StyleBand& band : stack) {
    if (!(band.start - tolerance <= start && end <= band.end + tolerance)) {
      placed.push_back(band);
      continue;
    }
    const bool same_start = std::fabs(start - band.start) <= tolerance;
    const bool same_end = std::fabs(end - band.end) <= tolerance;
    if (!same_start) placed.push_back({band.start, fresh.start, band.style});
    link();
    if (!same_end) placed.push_back({fresh.end, band.end, band.style});
  }
  stack = std::move(placed);
  if (!linked) InsertByStart(stack, fresh);
}

int ZCorrection(const KVBUILDSTYLE& style, TRQ_TYPE machine, float spacing) {
  const double thickness = style.LayerThickness.GetValue();
  const double depth_constant = style.Dp.GetValue();
  const double critical_exposure = style.Ec.GetValue();
  if (!(thickness > 0 && depth_constant > 0 && critical_exposure > 0)) return 0;
  const auto exposure = [=](double depth) { return critical_exposure * std::exp(depth / depth_constant); };

  const bool small = !detail::HasLargeSpot(machine) || style.SmallSpotOnlyFlag.GetValue() != 0;
  const DownSkin& skin = small ? kSmallDown : kLargeDown;
  const double spacing_limit = small ? spacing : kLargeSpacingLimit;
  const double factor = small && (machine == TRQ_A1 || machine == TRQ_B2) ? kFirstMachinesFactor : 1.0;
  double sum = 0;
  for (int k = 0; k < EntryCount(style.*skin.hatches); ++k) {
    if (!((style.*skin.hatch_spacings[k]).GetValue() <= spacing_limit)) continue;
    const double depth = (style.*skin.hatch_depths[k]).GetValue() + thickness;
    if (depth > 0) sum += factor * exposure(depth);
  }
  for (int k = 0; k < EntryCount(style.*skin.fills); ++k) {
    sum += exposure((style.*skin.fill_depths[k]).GetValue());
  }
  if (!(sum > 0)) return 0;
  const double layers = depth_constant * std::log(sum / critical_exposure) / thickness - 1;
  if (!std::isfinite(layers)) return 0;
  const double whole = std::round(layers);
  return detail::ToInt(std::fabs(layers - whole) <= 1e-9 ? whole : layers);
}

float WidestDownHatchSpacing(const KVBUILDSTYLE& style) {
  return std::max({style.SmallDownHatchSpacing1.GetValue(), style.SmallDownHatchSpacing2.GetValue(),
                   style.SmallDownHatchSpacing3.GetValue(), style.SmallDownHatchSpacing4.GetValue()});
}

float ZCompensationHeight(const KVBUILDSTYLE& style) {
  const double layers = style.ZCompensationLayers.GetValue();
  return static_cast<float>(layers * style.LayerThickness.GetValue());
}

}  // namespace trq::core
