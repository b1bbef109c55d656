#include "trqprep/build_estimate.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "trq/core/style_stack.h"
#include "trqprep/build_folder.h"
#include "trqprep/estimate.h"
#include "trqprep/layer_findings.h"
#include "trqprep/style_document.h"

namespace trqprep {
namespace {

using estimate::Face;
using estimate::LayerMeasure;
using estimate::Pass;
using estimate::Stroke;

constexpr double kPitch = 0.1;  // mm
constexpr double kPerMillilitre = 1000;
constexpr double kLargestArea = 1e12;  // mm2, as no vat is longer than 1e6 mm
constexpr double kMillimetresPerMil = 0.0254;

// --- what a build style draws ----------------------------------------------------------------------------

// The parameters of a face; of depths and spacings the first of four. Empty: it has none.
struct FaceNames {
  Face face;
  const char *border, *draw, *prime, *draw_prime;
  const char *hatches, *hatch_depth, *hatch_spacing;
  const char *fills, *fill_depth, *fill_spacing;
};
// clang-format off
constexpr FaceNames kSmall[] = {
    {Face::kLayer, "Small LayerBorder  Cure Depth", "Draw Small Layer Borders Flag", "Small LayerBorderPrime  Cure Depth", "Draw Small Layer Border Prime Flag", "Small LayerNumHatches", "Small LayerHatch Cure Depth 1", "Small LayerHatch Spacing 1", "", "", ""},
    {Face::kUp, "Small UpBorder  Cure Depth", "Draw Small Up Borders Flag", "", "", "Small Up Number of Hatches", "Small Up Hatch Cure Depth 1", "Small Up Hatch Spacing 1", "Small Up NumFills", "Small Up Fill Cure Depth 1", "Small Up Fill Spacing  1"},
    {Face::kDown, "Small Down Border Cure Depth", "Draw Small Down Borders Flag", "", "", "Small Down NumHatches", "Small Down Hatch Cure Depth 1", "Small Down Hatch Spacing 1", "Small Down NumFills", "Small Down Fill Cure Depth 1", "Small Down Fill Spacing 1"},
};
constexpr FaceNames kLarge[] = {
    {Face::kLayer, "Large LayerBorder Cure Depth", "Draw Large Layer Borders Flag", "Large LayerBorderPrime Cure Depth", "Draw Large Layer Border Prime Flag", "Large LayerNumHatches", "Large LayerHatch Cure Depth 1", "Large LayerHatch Spacing 1", "", "", ""},
    {Face::kUp, "Large Up Border Cure Depth", "Draw Large Up Borders Flag", "", "", "Large Up NumHatches", "Large Up Hatch Cure Depth 1", "Large Up Hatch Spacing 1", "Large Up NumFills", "Large Up Fill Cure Depth 1", "Large Up Fill Spacing 1"},
    {Face::kDown, "Large Down Border Cure Depth", "Draw Large Down Borders Flag", "", "", "Large Down NumHatches", "Large Down Hatch Cure Depth 1", "Large Down Hatch Spacing 1", "Large Down NumFills", "Large Down Fill Cure Depth 1", "Large Down FillSpacing 1"},
};
// clang-format on
constexpr int kMostPasses = 4;

const trq::BuildStyleParameter* RowOfParameter(const char* name) {
  for (const auto& row : trq::BuildStyleParameters()) {
    if (std::string(row.name) == name) return &row;
  }
  throw std::logic_error(fmt::format("a build style has no parameter {}", name));
}

// The value of a parameter, or of one of the three that follow it.
double FloatAt(const KVBUILDSTYLE& style, const char* name, int behind = 0) {
  const double value = RowOfParameter(name)[behind].member.FloatIn(style)->GetValue();
  return std::isfinite(value) ? value : 0;
}

int WholeAt(const KVBUILDSTYLE& style, const char* name) {
  return RowOfParameter(name)->member.IntIn(style)->GetValue();
}

const char* NameOf(Face face) { return face == Face::kLayer ? "layer" : face == Face::kUp ? "up" : "down"; }

const char* NameOf(Stroke stroke) {
  return stroke == Stroke::kBorder ? "border" : stroke == Stroke::kHatch ? "hatch" : "fill";
}

// What is drawn by a style, in mm.
struct StyleDrawing {
  bool large = false;
  double dp = 0;  // in the file's unit
  double ec = 0;  // likewise
  double line_width = 0;
  double border_depth = 0;  // of the border of the layer
  std::vector<Pass> passes;
  std::vector<std::string> left_out;  // "up fill 1: its cure depth is 0"
  estimate::FacesAsked asked;
};

// Depths of hatches and borders are those beyond the layer, so that its thickness is added; those of fills
// stand as they are. It is how the Z correction reads them.
StyleDrawing DrawingOf(const KVBUILDSTYLE& style, std::optional<int> machine, double factor) {
  StyleDrawing drawing;
  drawing.large = trq::core::UsesLargeSpot(style, static_cast<TRQ_TYPE>(machine.value_or(TRQ_NONE)));
  const double thickness = FloatAt(style, "Layer Thickness") * factor;
  drawing.dp = FloatAt(style, "Dp");
  drawing.ec = FloatAt(style, "Ec");
  drawing.line_width = FloatAt(style, drawing.large ? "Large Line Width" : "Small Line Width") * factor;
  const auto add = [&](const Pass& pass) {
    const bool lines = pass.stroke != Stroke::kBorder;
    if (pass.depth > 0 && (!lines || pass.spacing > 0)) {
      drawing.passes.push_back(pass);
      drawing.asked.up = drawing.asked.up || pass.face == Face::kUp;
      drawing.asked.down = drawing.asked.down || pass.face == Face::kDown;
      return;
    }
    const bool deep = pass.depth > 0;
    drawing.left_out.push_back(fmt::format("{} {} {}: its {} is {}", NameOf(pass.face), NameOf(pass.stroke),
                                           pass.number, deep ? "spacing" : "cure depth",
                                           Plain(deep ? pass.spacing : pass.depth, 4)));
  };
  for (const FaceNames& names : drawing.large ? kLarge : kSmall) {
    const double border = FloatAt(style, names.border) * factor + thickness;
    if (names.face == Face::kLayer) drawing.border_depth = border;
    if (WholeAt(style, names.draw) != 0) add({names.face, Stroke::kBorder, 1, border, 0});
    if (*names.prime && WholeAt(style, names.draw_prime) != 0) {
      add({names.face, Stroke::kBorder, 2, FloatAt(style, names.prime) * factor + thickness, 0});
    }
    const auto add_lines = [&](Stroke stroke, const char* count, const char* depth, const char* spacing,
                               double beyond) {
      for (int k = 0; *count && k < std::min(WholeAt(style, count), kMostPasses); ++k) {
        add({names.face, stroke, k + 1, FloatAt(style, depth, k) * factor + beyond,
             FloatAt(style, spacing, k) * factor});
      }
    };
    add_lines(Stroke::kHatch, names.hatches, names.hatch_depth, names.hatch_spacing, thickness);
    add_lines(Stroke::kFill, names.fills, names.fill_depth, names.fill_spacing, 0);
  }
  return drawing;
}

// --- what a recoat style does ----------------------------------------------------------------------------

// Of one layer, in seconds; nothing where something of it is not known.
struct RecoatTimes {
  size_t sweeps = 0;
  std::optional<double> sweeping, dipping, waiting;
  bool zero_velocity = false;  // of a sweep
  bool zero_dip = false;       // velocity of a dip
};

RecoatTimes TimesOf(const KVRECOATSTYLE& style, const MachineProcess& process, Units units) {
  const bool primary = process.sweeps == "primary", secondary = process.sweeps == "secondary";
  const auto pick = [&](const auto& normal, const auto& first, const auto& second) {
    return double((primary ? first : secondary ? second : normal).GetValue());
  };
  const auto& list = primary     ? style.PrimarySweepList
                     : secondary ? style.SecondarySweepList
                                 : style.SweepList;
  RecoatTimes times;
  times.sweeps = list.size();
  const Units of_velocity = UnitsFromName(process.recoat_unit).value_or(units);
  if (process.travel || list.empty()) {
    times.sweeping = 0;
    for (const KVSWEEPS& sweep : list) {
      const double velocity = sweep.BladeVelocity.GetValue() * UnitsFactor(of_velocity, Units::kMillimetre);
      if (velocity > 0 && std::isfinite(velocity)) {
        *times.sweeping += process.travel->In(Units::kMillimetre, units) / velocity;
      } else {
        times.zero_velocity = true;
      }
    }
  }
  const double distance = pick(style.ZDipDistance, style.PrimaryZDipDistance, style.SecondaryZDipDistance);
  const double velocity = pick(style.ZVelocity, style.PrimaryZVelocity, style.SecondaryZVelocity);
  const double acceleration =
      pick(style.ZAcceleration, style.PrimaryZAcceleration, style.SecondaryZAcceleration);
  if (!(distance > 0)) {
    times.dipping = 0;
  } else if (velocity > 0 && std::isfinite(distance / velocity)) {
    // Down, and up again.
    times.dipping =
        2 * estimate::MoveTime(distance, velocity, std::isfinite(acceleration) ? acceleration : 0);
  } else {
    times.zero_dip = true;
  }
  double waits = 0;
  for (const double wait :
       {pick(style.ZPreDipDelay, style.PrimaryZPreDipDelay, style.SecondaryZPreDipDelay),
        pick(style.ZPostDipDelay, style.PrimaryZPostDipDelay, style.SecondaryZPostDipDelay),
        pick(style.ZWait, style.PrimaryZWait, style.SecondaryZWait)}) {
    waits += std::max(0.0, wait);
  }
  if (waits == 0) {
    times.waiting = 0;
  } else if (!process.delay_unit.empty()) {
    times.waiting = process.delay_unit == "ms" ? waits / 1000 : waits;
  }
  return times;
}

// --- the sums --------------------------------------------------------------------------------------------

// What the layers of a part hold within one of its bands, in mm.
struct BandSum {
  std::set<std::pair<double, double>> heights;  // bottoms and tops; those of its pieces are the same
  LayerMeasure sum;
  double volume = 0;  // mm3
};

void AddTo(LayerMeasure& sum, const LayerMeasure& more, double factor) {
  sum.area += more.area * factor * factor;
  sum.border += more.border * factor;
  sum.up_area += more.up_area * factor * factor;
  sum.up_border += more.up_border * factor;
  sum.down_area += more.down_area * factor * factor;
  sum.down_border += more.down_border * factor;
}

// The band that holds a height, or the one nearest to it.
template <class Bands>
size_t BandAt(const Bands& bands, double z) {
  size_t best = 0;
  double least = -1;
  for (size_t i = 0; i < bands.size(); ++i) {
    const double away = std::max({bands[i].start - z, z - bands[i].end, 0.0});
    if (least >= 0 && away >= least) continue;
    least = away;
    best = i;
  }
  return best;
}

// Rounded once: what the last digits of a machine's functions say is not part of an estimate.
Json Figure(double value) { return NumberToJson(float(value)); }
Json Figure(const std::optional<double>& value) { return value ? Figure(*value) : Json(); }

// Of one band of a part.
struct BandTimes {
  std::optional<double> half_width;
  std::optional<double> strokes[3];  // by Stroke
  std::optional<double> drawing;
};

}  // namespace

struct Estimator::State {
  EstimateOrder order;
  double factor = 1;                                // from order.units to mm
  std::vector<std::vector<StyleDrawing>> drawings;  // by part and band
  std::vector<std::vector<BandSum>> sums;           // likewise; a part without styles has one
  std::vector<size_t> pieces;                       // by part
  std::vector<std::optional<double>> volumes;       // of meshes, by part
  std::vector<double> tops;                         // mm

  double half_width_given() const {
    return order.process.beam ? order.process.beam->In(Units::kMillimetre, order.units) : 0;
  }

  std::optional<estimate::Resin> ResinOf(const StyleDrawing& drawing) const {
    const MachineProcess& process = order.process;
    if (process.dp_unit.empty() || process.ec_unit.empty() || !(drawing.dp > 0 && drawing.ec > 0)) {
      return std::nullopt;
    }
    const double unit = process.dp_unit == "mil"  ? kMillimetresPerMil
                        : process.dp_unit == "in" ? kMillimetresPerInch
                                                  : 1.0;
    return estimate::Resin{drawing.dp * unit, drawing.ec * estimate::kPerSquareMillimetre};
  }

  std::optional<double> HalfWidthOf(const StyleDrawing& drawing, const estimate::Resin& resin) const {
    if (order.process.beam) return half_width_given();
    if (!(drawing.line_width > 0 && drawing.border_depth > 0)) return std::nullopt;
    return estimate::HalfWidthOf(drawing.line_width, drawing.border_depth, resin.dp);
  }

  // Speed of a pass by theory and by what a build has shown.
  double SpeedOf(const Pass& pass, const estimate::Resin& resin, double half_width) const {
    return estimate::ScanSpeed(*order.process.power, half_width, resin,
                               estimate::LineDepthOf(pass, half_width, resin.dp)) *
           order.process.speed_factor.value_or(1);
  }

  // The speed of a pass much deeper than Dp may be 0.
  double SecondsOf(const Pass& pass, const LayerMeasure& layers, const estimate::Resin& resin,
                   double half_width) const {
    const double length = estimate::LengthOf(pass, layers);
    return length > 0 ? length / SpeedOf(pass, resin, half_width) : 0;
  }

  BandTimes TimesOfBand(size_t part, size_t band) const {
    BandTimes times;
    if (drawings[part].empty()) return times;
    const StyleDrawing& drawing = drawings[part][band];
    const auto resin = ResinOf(drawing);
    if (resin) times.half_width = HalfWidthOf(drawing, *resin);
    if (!times.half_width || !order.process.power) return times;
    for (auto& stroke : times.strokes) stroke = 0;
    times.drawing = 0;
    for (const Pass& pass : drawing.passes) {
      const double seconds = SecondsOf(pass, sums[part][band].sum, *resin, *times.half_width);
      *times.strokes[size_t(pass.stroke)] += seconds;
      *times.drawing += seconds;
    }
    return times;
  }

  // Whether all time is known, and what is.
  struct Total {
    double seconds = 0;
    bool complete = true;
    bool any = false;
    void Add(const std::optional<double>& part) {
      complete = complete && part.has_value();
      any = any || part.has_value();
      seconds += part.value_or(0);
    }
  };

  Total Drawing() const {
    Total total;
    for (size_t part = 0; part < sums.size(); ++part) {
      for (size_t band = 0; band < sums[part].size(); ++band) {
        if (!sums[part][band].heights.empty()) total.Add(TimesOfBand(part, band).drawing);
      }
    }
    return total;
  }

  // Recoats by band.
  std::vector<size_t> Recoats() const {
    std::vector<size_t> counts(order.recoat.size());
    for (const double top : estimate::DistinctHeights(tops, estimate::kSameHeight)) {
      // The layer below the height counts.
      if (!counts.empty()) ++counts[BandAt(order.recoat, (top - estimate::kSameHeight) / factor)];
    }
    return counts;
  }

  Total Recoating(const std::vector<size_t>& counts) const {
    Total total;
    if (order.recoat.empty()) total.complete = false;
    for (size_t i = 0; i < counts.size(); ++i) {
      if (counts[i] == 0) continue;
      const RecoatTimes times = TimesOf(*order.recoat[i].recoat, order.process, order.units);
      if (times.zero_velocity) total.complete = false;
      for (const auto& time : {times.sweeping, times.dipping, times.waiting}) {
        total.Add(time ? std::optional(*time * double(counts[i])) : std::nullopt);
      }
    }
    return total;
  }

  double slowest() const { return order.process.speed_factor ? 1 : estimate::kSlowest; }
};

Estimator::Estimator(EstimateOrder order) : state_(std::make_unique<State>()) {
  State& state = *state_;
  state.order = std::move(order);
  state.factor = UnitsFactor(state.order.units, Units::kMillimetre);
  std::map<const KVBUILDSTYLE*, StyleDrawing> known;
  for (const EstimateOrder::Part& part : state.order.parts) {
    std::vector<StyleDrawing>& drawings = state.drawings.emplace_back();
    for (const auto& band : part.bands) {
      const auto [found, fresh] = known.try_emplace(band.build.get());
      if (fresh) found->second = DrawingOf(*band.build, state.order.machine, state.factor);
      drawings.push_back(found->second);
    }
    state.sums.emplace_back(std::max<size_t>(1, part.bands.size()));
  }
  state.pieces.resize(state.order.parts.size());
  state.volumes.resize(state.order.parts.size());
}

Estimator::~Estimator() = default;

void Estimator::Add(Observer& observer, size_t part, const std::string& name,
                    const trq::core::Contours& contours, std::optional<double> volume) {
  State& state = *state_;
  const double factor = state.factor;
  const LayerStack stack = StackOf(contours);
  const std::vector<StyleDrawing>& drawings = state.drawings[part];
  std::vector<size_t> bands(stack.bottoms.size());
  std::vector<estimate::FacesAsked> asked(stack.bottoms.size());
  for (size_t k = 0; k < bands.size() && !drawings.empty(); ++k) {
    bands[k] = BandAt(state.order.parts[part].bands, (stack.bottoms[k] + stack.tops[k]) / 2);
    asked[k] = drawings[bands[k]].asked;
  }
  const std::vector<LayerMeasure> layers = estimate::MeasureLayers(
      stack, asked, kPitch / factor, [&](double share) { observer.Progress("measuring " + name, share); });
  for (size_t k = 0; k < layers.size(); ++k) {
    if (!(std::fabs(layers[k].area * factor * factor) < kLargestArea)) {
      FailInput(Code::kOutsideVat, name, fmt::format("layer {} is larger than any vat", k + 1),
                "'trqprep check' tells where the part or the file is damaged");
    }
    // A file may say anything.
    if (!std::isfinite(stack.bottoms[k]) || !std::isfinite(stack.tops[k])) continue;
    BandSum& sum = state.sums[part][bands[k]];
    const double height = std::max(0.0, stack.tops[k] - stack.bottoms[k]) * factor;
    sum.heights.emplace(stack.bottoms[k] * factor, stack.tops[k] * factor);
    sum.volume += layers[k].area * factor * factor * height;
    AddTo(sum.sum, layers[k], factor);
    state.tops.push_back(stack.tops[k] * factor);
  }
  std::optional<double>& all = state.volumes[part];
  if (volume && (all || state.pieces[part] == 0)) {
    all = all.value_or(0) + *volume * factor * factor * factor;
  } else {
    all.reset();
  }
  ++state.pieces[part];
}

bool Estimator::complete() const {
  return state_->Drawing().complete && state_->Recoating(state_->Recoats()).complete;
}

Json Estimator::Document() const {
  const State& state = *state_;
  const MachineProcess& process = state.order.process;
  Json given = Json::object();
  for (const ProcessField& field : ProcessFields()) {
    std::string key = field.key;
    std::replace(key.begin(), key.end(), '-', '_');
    if (key == "sweeps") key = "sweep_list";
    if (const auto* length = std::get_if<std::optional<Length> MachineProcess::*>(&field.member)) {
      const auto& value = process.**length;
      given[key] = value ? Figure(value->In(Units::kMillimetre, state.order.units)) : Json();
    } else if (const auto* number = std::get_if<std::optional<double> MachineProcess::*>(&field.member)) {
      given[key] = Figure(process.**number);
    } else {
      const auto text = ProcessText(process, field);
      given[key] = text ? Json(*text) : Json();
    }
  }
  if (process.sweeps.empty()) given["sweep_list"] = "normal";
  if (process.recoat_unit.empty()) given["recoat_unit"] = UnitsName(state.order.units);

  Json parts = Json::array();
  double by_areas = 0, by_meshes = 0;
  bool meshes = true;
  size_t pieces = 0;
  for (size_t p = 0; p < state.sums.size(); ++p) {
    const EstimateOrder::Part& part = state.order.parts[p];
    Json bands = Json::array();
    double volume = 0;
    size_t layers = 0;
    for (size_t b = 0; b < state.sums[p].size(); ++b) {
      const BandSum& sum = state.sums[p][b];
      if (sum.heights.empty()) continue;
      volume += sum.volume;
      layers += sum.heights.size();
      const BandTimes times = state.TimesOfBand(p, b);
      Json band{{"style", part.bands.empty() ? Json() : TextToJson(part.bands[b].file)},
                {"start", Figure(sum.heights.begin()->first)},
                {"end", Figure(sum.heights.rbegin()->second)},
                {"layers", sum.heights.size()},
                {"resin", Figure(sum.volume / kPerMillilitre)}};
      Json passes = Json::array();
      const StyleDrawing* drawing = state.drawings[p].empty() ? nullptr : &state.drawings[p][b];
      const auto resin = drawing ? state.ResinOf(*drawing) : std::nullopt;
      for (const Pass& pass : drawing ? drawing->passes : std::vector<Pass>()) {
        const bool lines = pass.stroke != Stroke::kBorder;
        const double length = estimate::LengthOf(pass, sum.sum);
        Json entry{{"face", NameOf(pass.face)},
                   {"stroke", NameOf(pass.stroke)},
                   {"pass", pass.number},
                   {"cure_depth", Figure(pass.depth)},
                   {"spacing", lines ? Figure(pass.spacing) : Json()},
                   {"line_depth", nullptr},
                   {"length", Figure(length)},
                   {"speed", nullptr},
                   {"seconds", nullptr}};
        if (times.half_width) {
          entry["line_depth"] = Figure(estimate::LineDepthOf(pass, *times.half_width, resin->dp));
        }
        if (times.drawing) {
          entry["speed"] = Figure(state.SpeedOf(pass, *resin, *times.half_width));
          entry["seconds"] = Figure(state.SecondsOf(pass, sum.sum, *resin, *times.half_width));
        }
        passes.push_back(std::move(entry));
      }
      band["spot"] = drawing ? Json(drawing->large ? "large" : "small") : Json();
      band["half_width"] = Figure(times.half_width);
      band["passes"] = std::move(passes);
      band["border_seconds"] = Figure(times.strokes[0]);
      band["hatch_seconds"] = Figure(times.strokes[1]);
      band["fill_seconds"] = Figure(times.strokes[2]);
      band["drawing_seconds"] = Figure(times.drawing);
      bands.push_back(std::move(band));
    }
    by_areas += volume;
    const std::optional<double>& mesh = state.volumes[p];
    meshes = meshes && mesh;
    by_meshes += mesh.value_or(0);
    pieces += state.pieces[p];
    parts.push_back({{"part", TextToJson(part.name)},
                     {"piece_count", state.pieces[p]},
                     {"layers", layers},
                     {"resin", Figure(volume / kPerMillilitre)},
                     {"mesh_resin", mesh ? Figure(*mesh / kPerMillilitre) : Json()},
                     {"bands", std::move(bands)}});
  }

  Json recoat = Json::array();
  const std::vector<size_t> counts = state.Recoats();
  for (size_t i = 0; i < counts.size(); ++i) {
    const auto& band = state.order.recoat[i];
    const RecoatTimes times = TimesOf(*band.recoat, process, state.order.units);
    State::Total layer;
    if (times.zero_velocity) layer.complete = false;
    for (const auto& time : {times.sweeping, times.dipping, times.waiting}) layer.Add(time);
    recoat.push_back({{"file", TextToJson(band.file)},
                      {"start", Figure(band.start * state.factor)},
                      {"end", Figure(band.end * state.factor)},
                      {"recoats", counts[i]},
                      {"sweep_count", times.sweeps},
                      {"sweep_seconds", Figure(times.sweeping)},
                      {"dip_seconds", Figure(times.dipping)},
                      {"wait_seconds", Figure(times.waiting)},
                      {"recoat_seconds", Figure(layer.seconds)},
                      {"complete", layer.complete}});
  }
  const State::Total drawing = state.Drawing(), recoating = state.Recoating(counts);
  const std::optional<int>& machine = state.order.machine;
  Json document{{"machine", machine ? Json(MachineName(*machine)) : Json()},
                {"machine_type", machine ? Json(*machine) : Json()},
                {"given", std::move(given)},
                {"piece_count", pieces},
                {"recoats", estimate::DistinctHeights(state.tops, estimate::kSameHeight).size()},
                {"resin", Figure(by_areas / kPerMillilitre)},
                {"mesh_resin", meshes && pieces > 0 ? Figure(by_meshes / kPerMillilitre) : Json()}};
  document["drawing"] = nullptr;
  if (drawing.any) {
    document["drawing"] = {{"least", Figure(drawing.seconds)},
                           {"most", Figure(drawing.seconds * state.slowest())},
                           {"complete", drawing.complete}};
  }
  document["recoating"] = nullptr;
  if (recoating.any) {
    document["recoating"] = {{"seconds", Figure(recoating.seconds)}, {"complete", recoating.complete}};
  }
  document["total"] = nullptr;
  if (drawing.complete && recoating.complete) {
    document["total"] = {{"least", Figure(drawing.seconds + recoating.seconds)},
                         {"most", Figure(drawing.seconds * state.slowest() + recoating.seconds)}};
  }
  document["parts"] = std::move(parts);
  document["recoat_bands"] = std::move(recoat);
  return document;
}

std::vector<Message> Estimator::Messages() const {
  const State& state = *state_;
  const MachineProcess& process = state.order.process;
  std::vector<Message> messages;
  const auto join = [](const std::vector<std::string>& words, const char* last) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
      text += i == 0 ? "" : i + 1 == words.size() ? last : ", ";
      text += words[i];
    }
    return text;
  };
  const auto needs = [&](const std::vector<std::string>& keys, const std::string& text,
                         const std::string& hint) {
    messages.push_back(
        Message(Code::kEstimateMissing, "", text).As(Severity::kWarning).Hint(hint).At({{"needs", keys}}));
  };
  const auto missing = [&](const std::string& time, const std::vector<std::string>& keys) {
    if (keys.empty()) return;
    std::vector<std::string> options;
    for (const std::string& key : keys) options.push_back("--" + key);
    const bool several = keys.size() > 1;
    needs(keys,
          fmt::format("the time of {} is left out: {} {} not known", time, join(keys, " and "),
                      several ? "are" : "is"),
          fmt::format("give {}, or say {} in the machine profile", join(options, " and "),
                      several ? "them" : "it"));
  };
  const auto of_style = [&](const std::string& file, const std::string& text, const std::string& hint) {
    for (const Message& message : messages) {
      if (message.file == file && message.text == text) return;
    }
    messages.push_back(Message(Code::kEstimateStyle, file, text).As(Severity::kWarning).Hint(hint));
  };

  bool styled = false, unstyled = false;
  for (size_t p = 0; p < state.drawings.size(); ++p) {
    if (state.pieces[p] == 0) continue;
    (state.drawings[p].empty() ? unstyled : styled) = true;
  }
  if (unstyled) {
    needs({"style"}, "the time of drawing is left out of parts without a build style",
          "name one with --style, or in the job");
  }
  std::vector<std::string> keys;
  if (!process.power) keys.emplace_back("power");
  if (process.dp_unit.empty()) keys.emplace_back("dp-unit");
  if (process.ec_unit.empty()) keys.emplace_back("ec-unit");
  if (styled) missing("drawing", keys);

  std::set<std::tuple<std::string, bool>> told;
  for (size_t p = 0; p < state.drawings.size(); ++p) {
    for (size_t b = 0; b < state.drawings[p].size(); ++b) {
      if (state.sums[p][b].heights.empty()) continue;
      const StyleDrawing& drawing = state.drawings[p][b];
      const std::string& file = state.order.parts[p].bands[b].file;
      if (!told.emplace(file, drawing.large).second) continue;
      if (!(drawing.dp > 0 && drawing.ec > 0)) {
        of_style(file,
                 fmt::format("the time of drawing is left out: Dp is {} and Ec is {}", Plain(drawing.dp, 4),
                             Plain(drawing.ec, 4)),
                 "set both above 0 with 'trqprep style set'");
      } else if (!process.beam && !(drawing.line_width > 0 && drawing.border_depth > 0)) {
        of_style(file,
                 fmt::format("the time of drawing is left out: no half-width of the beam follows from a line "
                             "width of {} mm and a border of {} mm",
                             Plain(drawing.line_width, 4), Plain(drawing.border_depth, 4)),
                 "give the half-width with --beam, or say it in the machine profile");
      }
      if (!drawing.left_out.empty()) {
        messages.push_back(
            Message(Code::kEstimatePass, file,
                    fmt::format("{} left out: {}",
                                Counted(int64_t(drawing.left_out.size()), "pass is", "passes are"),
                                fmt::join(drawing.left_out, "; ")))
                .As(Severity::kNote));
      }
    }
  }

  const std::vector<size_t> counts = state.Recoats();
  if (counts.empty()) {
    needs({"recoat"}, "the time of recoating is left out: there is no recoat style",
          "name one with --recoat, or in the job");
  }
  bool sweeps = false, waits = false;
  for (size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    const auto& band = state.order.recoat[i];
    const RecoatTimes times = TimesOf(*band.recoat, process, state.order.units);
    sweeps = sweeps || !times.sweeping;
    waits = waits || !times.waiting;
    if (times.zero_velocity) {
      of_style(band.file, "the time of sweeps is left out where their velocity is not above 0",
               "set it with 'trqprep recoat sweeps'");
    }
    if (times.zero_dip) {
      of_style(band.file, "the time of dips is left out: their velocity is not above 0",
               "set it with 'trqprep recoat set'");
    }
  }
  if (sweeps) missing("sweeps", {"travel"});
  if (waits) missing("waits", {"delay-unit"});
  return messages;
}

std::unique_ptr<Estimator> EstimateOf(Observer& observer, const Plate& plate, const BuildSetup& setup,
                                      const std::vector<trq::core::Contours>& slices) {
  EstimateOrder order;
  order.units = plate.job.units;
  order.machine = plate.job.machine;
  order.process = plate.job.process;
  std::map<std::string, EstimateOrder::Band> styles;
  for (const BuildStyleFile& style : setup.styles) {
    EstimateOrder::Band& band = styles[style.name];
    band.file = style.name;
    if (style.file.kind == StyleKind::kBuild) {
      band.build = std::make_shared<KVBUILDSTYLE>(style.build);
    } else {
      band.recoat = std::make_shared<KVRECOATSTYLE>(style.recoat);
    }
  }
  const auto stack_up = [&](const std::vector<StackedStyle>& stack, std::vector<EstimateOrder::Band>& bands) {
    for (const StackedStyle& style : stack) {
      bands.push_back(styles.at(style.file));
      bands.back().start = style.start;
      bands.back().end = style.end;
    }
  };
  for (size_t i = 0; i < plate.parts.size(); ++i) {
    order.parts.push_back({plate.parts[i].name, {}});
    stack_up(setup.parts[i].stack, order.parts.back().bands);
  }
  stack_up(setup.recoat, order.recoat);
  auto estimator = std::make_unique<Estimator>(std::move(order));
  for (size_t i = 0; i < slices.size(); ++i) {
    const Piece& piece = plate.pieces[i];
    estimator->Add(observer, piece.part, PieceName(plate, piece), slices[i], setup.measures[i].volume);
  }
  return estimator;
}

Json EstimateFile(Observer& observer, const Plate& plate, const BuildSetup& setup,
                  const std::vector<trq::core::Contours>& slices) {
  if (slices.empty()) return {};
  const auto estimator = EstimateOf(observer, plate, setup, slices);
  std::vector<std::string> needs;
  for (const Message& message : estimator->Messages()) {
    const Json& needed = message.where["needs"];
    for (const Json& need : needed) needs.push_back(need.get<std::string>());
    if (!needed.is_array()) observer.Note(message);
  }
  if (estimator->complete()) {
    Json document{{"schema", kEstimateSchema}, {"tool", ToolName()}};
    document.update(estimator->Document());
    return document;
  }
  if (!needs.empty()) {
    observer.Note(Message(Code::kEstimateMissing, "",
                          fmt::format("no {} is written: {} {} not known", kEstimateJson,
                                      fmt::join(needs, ", "), needs.size() > 1 ? "are" : "is"))
                      .Hint("the profile of the machine says it; 'trqprep estimate' takes it as options")
                      .At({{"needs", needs}}));
  }
  return {};
}

}  // namespace trqprep
