#include "trqprep/layer_plan.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <utility>

namespace trqprep {
namespace {

// The last multiple of the step at or below the height.
double MultipleBelow(double height, double step) {
  double count = std::floor(height / step);
  if (count * step > height) --count;
  if ((count + 1) * step <= height) ++count;
  return count * step;
}

}  // namespace

LayerPlanFault PlanLayers(const std::vector<LayerBand>& bands, double low, double high, bool on_blade_planes,
                          LayerCut cut, double least, LayerPlan& plan) {
  plan = {};
  for (const LayerBand& band : bands) {
    if (!(band.thickness > 0) || !std::isfinite(band.thickness)) return LayerPlanFault::kThickness;
  }
  for (const LayerBand& band : bands) {
    const double thickness = double(band.thickness);
    const bool first = plan.bands.empty();
    double start = first ? std::max(band.start, low) : band.start;
    if (first && on_blade_planes) start = MultipleBelow(start, thickness);
    const double end = std::min(band.end, high);
    if (!(end > low) || !(end - start > 0)) continue;
    if (plan.bands.size() == kMostLayerBands) return LayerPlanFault::kBands;
    const double whole = std::floor((end - start) / thickness);
    if (!(whole < double(kMostLayers + 1 - plan.bottoms.size()))) return LayerPlanFault::kLayers;
    auto count = static_cast<std::size_t>(whole);
    if (count == 0 || end - (start + whole * thickness) > least) ++count;
    if (plan.bottoms.size() + count > kMostLayers) return LayerPlanFault::kLayers;
    plan.bands.push_back({{start, end, band.thickness}, plan.bottoms.size()});
    for (std::size_t k = 0; k < count; ++k) {
      const double bottom = start + double(k) * thickness;
      const double top = k + 1 == count ? end : start + double(k + 1) * thickness;
      plan.bottoms.push_back(bottom);
      plan.tops.push_back(top);
      plan.planes.push_back(float(cut == LayerCut::kBottom ? bottom
                                  : cut == LayerCut::kTop  ? top
                                                           : bottom + 0.5 * (top - bottom)));
    }
  }
  return plan.bands.empty() ? LayerPlanFault::kNothing : LayerPlanFault::kNone;
}

trq::core::Contours ContoursOf(Slices& slices, const LayerPlan& plan, std::string header) {
  trq::core::Contours contours;
  contours.header = std::move(header);
  for (const LayerPlan::Band& band : plan.bands) {
    contours.table.push_back({float(band.range.start), band.range.thickness, 0, 0});
  }
  contours.table_count = static_cast<std::uint8_t>(contours.table.size());
  contours.layers.reserve(slices.layers.size() + 1);
  for (std::size_t k = 0; k < slices.layers.size(); ++k) {
    contours.layers.emplace_back(float(plan.bottoms[k]));
    trq::SlcLayer& layer = contours.layers.back();
    for (SliceContour& contour : slices.layers[k]) {
      const auto gaps = static_cast<std::uint32_t>(contour.gaps) + (contour.closed ? 0u : 1u);
      float* points = layer.AddBoundary(static_cast<std::uint32_t>(contour.points.size()), gaps);
      for (const SlicePoint& point : contour.points) points = std::copy(point.begin(), point.end(), points);
    }
    std::vector<SliceContour>().swap(slices.layers[k]);
  }
  contours.layers.push_back(trq::SlcLayer::Terminator(float(plan.tops.back())));
  return contours;
}

std::string SlcHeader(const char* unit, const double (&low)[3], const double (&high)[3]) {
  const auto number = [](double value) {
    char text[400];  // the largest double has 309 digits before the point
    return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr);
  };
  std::string header = std::string("-SLCVER 2.0 -UNIT ") + unit + " -TYPE PART -PACKAGE TRQPREP -EXTENTS";
  for (int k = 0; k < 3; ++k) header += " " + number(low[k]) + "," + number(high[k]);
  return header + "\r\n";
}

}  // namespace trqprep
