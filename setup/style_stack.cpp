#include "setup/style_stack.h"

#include <cmath>

#include "foundation/checked_conversions.h"
#include "styles/build_style_table.h"
#include "trq/core/elementary.h"

bool trq::detail::HasLargeSpot(TRQ_TYPE machine) {
  return machine == TRQ_E7 || machine == TRQ_MIRRA_MAX || machine == TRQ_ALTOR900 || machine == TRQ_ALTOR800;
}

namespace trq::core {
namespace {

/// The records of a spot size from which the Z correction follows; of the depths and spacings the first of
/// four.
struct DownSkin {
  using Row = const BuildStyleParameter*;
  Row hatches, hatch_depths, hatch_spacings, fills, fill_depths;
};
constexpr DownSkin::Row Row(const char* name) { return detail::BuildRows(name).begin(); }
constexpr DownSkin kSmallDown = {Row("Small Down NumHatches"), Row("Small Down Hatch Cure Depth 1"),
                                 Row("Small Down Hatch Spacing 1"), Row("Small Down NumFills"),
                                 Row("Small Down Fill Cure Depth 1")};
constexpr DownSkin kLargeDown = {Row("Large Down NumHatches"), Row("Large Down Hatch Cure Depth 1"),
                                 Row("Large Down Hatch Spacing 1"), Row("Large Down NumFills"),
                                 Row("Large Down Fill Cure Depth 1")};

/// Kept: the large set has a spacing limit of its own.
constexpr double kLargeSpacingLimit = 0.018;
constexpr double kFirstMachinesFactor = 1.27;

/// Counts come from files: at most the four entries that exist.
int EntryCount(const KVBUILDSTYLE& style, DownSkin::Row count) {
  return std::clamp(count->member.IntIn(style)->GetValue(), 0, 4);
}

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

bool UsesLargeSpot(const KVBUILDSTYLE& style, TRQ_TYPE machine) {
  return detail::HasLargeSpot(machine) && style.SmallSpotOnlyFlag.GetValue() == 0;
}

int ZCorrection(const KVBUILDSTYLE& style, TRQ_TYPE machine, float spacing) {
  const double thickness = style.LayerThickness.GetValue();
  const double depth_constant = style.Dp.GetValue();
  const double critical_exposure = style.Ec.GetValue();
  if (!(thickness > 0 && depth_constant > 0 && critical_exposure > 0)) return 0;
  const auto exposure = [=](double depth) {
    return critical_exposure * trq::core::Exp(depth / depth_constant);
  };

  const bool small = !UsesLargeSpot(style, machine);
  const DownSkin& skin = small ? kSmallDown : kLargeDown;
  const double spacing_limit = small ? spacing : kLargeSpacingLimit;
  const double factor = small && (machine == TRQ_A1 || machine == TRQ_B2) ? kFirstMachinesFactor : 1.0;
  double sum = 0;
  const auto value = [&style](const BuildStyleParameter& row) {
    return row.member.FloatIn(style)->GetValue();
  };
  for (int k = 0; k < EntryCount(style, skin.hatches); ++k) {
    if (!(value(skin.hatch_spacings[k]) <= spacing_limit)) continue;
    const double depth = value(skin.hatch_depths[k]) + thickness;
    if (depth > 0) sum += factor * exposure(depth);
  }
  for (int k = 0; k < EntryCount(style, skin.fills); ++k) sum += exposure(value(skin.fill_depths[k]));
  if (!(sum > 0)) return 0;
  const double layers = depth_constant * trq::core::Log(sum / critical_exposure) / thickness - 1;
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
  return float(layers * style.LayerThickness.GetValue());
}

}  // namespace trq::core
