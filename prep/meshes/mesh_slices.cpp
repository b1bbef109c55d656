#include "trqprep/mesh_slices.h"

#include <fmt/format.h>

#include <utility>

namespace trqprep {
namespace {

constexpr Length kLeastLayer{1e-4, Units::kMillimetre};
constexpr Length kClose{0.1, Units::kMillimetre};
constexpr Length kTolerance{1e-4, Units::kMillimetre};
constexpr size_t kPlacesInText = 3;
constexpr size_t kPlacesInJson = 100;

Json PlaceToJson(size_t layer, const SlicePoint& at) {
  return {{"layer", layer + 1}, {"x", NumberToJson(at[0])}, {"y", NumberToJson(at[1])}};
}

void WarnOfOpen(Observer& observer, const std::vector<SliceGap>& gaps, Units units, const std::string& name) {
  std::string places;
  Json all = Json::array();
  size_t open = 0;
  for (const SliceGap& gap : gaps) {
    if (gap.joined) continue;
    if (++open > kPlacesInJson) continue;
    if (open <= kPlacesInText) {
      places +=
          fmt::format("{} layer {} X {} Y {} ({} {} wide)", places.empty() ? "" : ",", gap.layer + 1,
                      Plain(gap.from[0], 4), Plain(gap.from[1], 4), Plain(gap.width, 4), UnitsName(units));
    }
    Json place = PlaceToJson(gap.layer, gap.from);
    place["width"] = NumberToJson(gap.width);
    all.push_back(std::move(place));
  }
  if (open == 0) return;
  observer.Warn(Message(Code::kSliceOpen, name,
                        fmt::format("{} open:{}{}", Counted(int64_t(open), "contour stays", "contours stay"),
                                    places, open > kPlacesInText ? " and elsewhere" : ""))
                    .Hint("repair the part with `trqprep repair`, or give a larger --close")
                    .At({{"contours", open}, {"places", std::move(all)}}));
}

void WarnOfInverted(Observer& observer, const std::vector<SliceInverted>& inverted, Units units,
                    const std::string& name) {
  if (inverted.empty()) return;
  const SliceInverted& first = inverted.front();
  Json place = PlaceToJson(first.layer, first.at);
  place["area"] = NumberToJson(first.area);
  observer.Warn(
      Message(Code::kInverted, name,
              fmt::format("{} inside out and taken as solid: layer {} at X {} Y {}, {} {}2",
                          Counted(int64_t(inverted.size()), "layer is in part", "layers are in part"),
                          first.layer + 1, Plain(first.at[0], 4), Plain(first.at[1], 4), Plain(first.area, 3),
                          UnitsName(units)))
          .At({{"layers", inverted.size()}, {"places", Json::array({std::move(place)})}}));
}

[[noreturn]] void FailPlan(LayerPlanFault fault, const std::string& name) {
  switch (fault) {
    case LayerPlanFault::kThickness:
      FailInput(Code::kSliceLayers, name, "a layer thickness is not above 0");
    case LayerPlanFault::kLayers:
      FailInput(Code::kSliceLayers, name, fmt::format("the layers would be more than {}", kMostLayers));
    case LayerPlanFault::kBands:
      FailInput(Code::kSliceLayers, name,
                fmt::format("the bands of the sampling table would be more than {}", kMostLayerBands));
    default:
      FailInput(Code::kSliceLayers, name, "no layer lies in the part",
                "is it flat, or do its styles leave it out?");
  }
}

void FailSlices(SliceFault fault, const std::string& name) {
  if (fault == SliceFault::kCrossings) {
    FailInput(Code::kSliceBound, name, "its facets cross the layers in too many places",
              "choose thicker layers, or simplify the part with `trqprep simplify`");
  }
  if (fault == SliceFault::kSteps) {
    FailInput(Code::kSliceBound, name, "its layers are torn, or go over each other, in too many places",
              "repair the part with `trqprep repair`; `slice --union never` leaves contours as they are");
  }
}

}  // namespace

MeshSlices SliceWhole(Observer& observer, const trq::core::MeshView& mesh, const Box& box, Units units,
                      const SlicingRequest& request, const std::string& name) {
  MeshSlices result;
  const LayerPlanFault fault = PlanLayers(request.bands, box.min[2], box.max[2], request.on_blade_planes,
                                          request.cut, kLeastLayer.In(units, units), result.plan);
  if (fault != LayerPlanFault::kNone) FailPlan(fault, name);
  SliceOptions how = request.how;
  if (!how.progress) {
    how.progress = [&](double share) { observer.Progress("slicing " + name, share); };
  }
  Slices slices = SliceMesh(mesh, result.plan.planes, how);
  FailSlices(slices.fault, name);
  WarnOfOpen(observer, slices.gaps, units, name);
  WarnOfInverted(observer, slices.inverted, units, name);
  result.gaps = std::move(slices.gaps);
  result.inverted = std::move(slices.inverted);
  result.united = slices.united;
  const double low[3] = {box.min[0], box.min[1], result.plan.bottoms.front()};
  const double high[3] = {box.max[0], box.max[1], result.plan.tops.back()};
  const std::string header = SlcHeader(units == Units::kInch ? "INCH" : "MM", low, high);
  result.contours = ContoursOf(slices, result.plan, header);
  return result;
}

SliceOptions UsualSliceOptions(Units units) {
  SliceOptions options;
  options.close = kClose.In(units, units);
  options.tolerance = kTolerance.In(units, units);
  return options;
}

LayerCut LayerCutFromName(const std::string& name) {
  return name == "bottom" ? LayerCut::kBottom : name == "top" ? LayerCut::kTop : LayerCut::kMiddle;
}

}  // namespace trqprep
