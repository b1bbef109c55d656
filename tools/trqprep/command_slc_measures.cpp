#include <algorithm>
#include <cmath>

#include "commands.h"
#include "slc_verbs.h"

namespace trqprep {
namespace {

struct Options {
  std::string input;
  std::string other;
  bool csv = false;
  std::optional<double> tolerance;
};

double PerimeterOf(const trq::SlcLayer& layer) {
  double length = 0;
  for (const trq::SlcBoundary& boundary : layer.boundaries()) {
    if (!IsFinite(boundary)) continue;
    const float* p = boundary.points;
    for (uint32_t i = 1; i < boundary.vertex_count; ++i, p += 2) {
      const double x = double(p[2]) - double(p[0]), y = double(p[3]) - double(p[1]);
      length += std::sqrt(x * x + y * y);
    }
  }
  return length;
}

ExitCode Area(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  ContourSummary summary = Summarize(context, file);
  std::vector<double> perimeters;
  for (size_t i = 0; i < file.layer_count(); ++i) perimeters.push_back(PerimeterOf(file.contours.layers[i]));
  context.data_units = file.units;
  const size_t count = summary.layers.size();
  const Json layers = Json::Rows(
      count, [of_each = std::move(summary.layers), lengths = std::move(perimeters)](size_t i) -> Json {
        const LayerSummary& layer = of_each[i];
        return {{"layer", i + 1},
                {"z", NumberToJson(layer.z)},
                {"area", NumberToJson(layer.area)},
                {"boundaries", layer.boundaries},
                {"clockwise", layer.clockwise},
                {"open", layer.open},
                {"perimeter", NumberToJson(lengths[i])}};
      });
  context.State(
      {{"file", TextToJson(options.input)}, {"layers", count}, {"volume", NumberToJson(summary.volume)}});
  if (options.csv) {
    context.Tell("layer,z,area,boundaries,holes,open,perimeter\n");
    context.TellEach(layers, "{layer},{z:9},{area:9},{boundaries},{clockwise},{open},{perimeter:9}\n");
  } else {
    const std::string unit = UnitsName(file.units);
    context.Tell("   layer {z|>12} {area|>14} boundaries      holes {length|>14}\n",
                 {{"z", "z " + unit}, {"area", "area " + unit + "2"}, {"length", "perimeter " + unit}});
    context.TellEach(
        layers, "{layer|>8} {z:5f|>12} {area:3|>14} {boundaries|>10} {clockwise|>10} {perimeter:3|>14}\n");
  }
  context.State({{"each_layer", layers}});
  return ExitCode::kDone;
}

// Layers of two files with the same Z, and those that have no other.
class Comparison {
 public:
  Comparison(const ContourFile& a, const ContourFile& b, const ContourSummary& of_a,
             const ContourSummary& of_b, double tolerance)
      : factor_(UnitsFactor(b.units, a.units)), tolerance_(tolerance) {
    const double same = 1e-4 * UnitsFactor(Units::kMillimetre, a.units);
    size_t i = 0, k = 0;
    while (i < of_a.layers.size() || k < of_b.layers.size()) {
      const bool has_a = i < of_a.layers.size(), has_b = k < of_b.layers.size();
      const double za = has_a ? of_a.layers[i].z : 0, zb = has_b ? of_b.layers[k].z * factor_ : 0;
      const bool both = has_a && has_b && std::abs(za - zb) <= same;
      const bool first = both || (has_a && (!has_b || za < zb));
      const bool second = both || !first;
      Take(first ? &of_a.layers[i] : nullptr, second ? &of_b.layers[k] : nullptr, first ? za : zb);
      i += first;
      k += second;
    }
  }
  Json differences = Json::array();
  size_t compared = 0;
  double largest = 0;  ///< of layers that both have

 private:
  void Take(const LayerSummary* a, const LayerSummary* b, double z) {
    const double area_b = b ? b->area * factor_ * factor_ : 0;
    if (a && b) {
      ++compared;
      const double difference = std::abs(area_b - a->area);
      largest = std::max(largest, difference);
      if (difference <= tolerance_) return;
    }
    differences.push_back({{"z", NumberToJson(float(z))},
                           {"area", a ? NumberToJson(a->area) : Json()},
                           {"other_area", b ? NumberToJson(area_b) : Json()}});
  }
  double factor_, tolerance_;
};

ExitCode Diff(Context& context, const Options& options) {
  const double tolerance = options.tolerance.value_or(1e-3);
  if (!(tolerance >= 0)) FailUsage("", "--tolerance must not be below 0");
  const ContourFile a = ReadContours(context, context.units(), options.input);
  const ContourFile b = ReadContours(context, context.units(), options.other);
  const ContourSummary of_a = Summarize(context, a), of_b = Summarize(context, b);
  const Comparison found(a, b, of_a, of_b, tolerance);
  context.data_units = a.units;
  context.State({{"file", TextToJson(options.input)},
                 {"other", TextToJson(options.other)},
                 {"same", found.differences.empty()},
                 {"layers", found.compared},
                 {"largest", NumberToJson(found.largest)},
                 {"each_layer", found.differences}});
  if (found.differences.empty()) {
    context.Tell("{layers:+layer} with the same areas: none differs by more than {tolerance} {unit}2\n",
                 {{"tolerance", NumberToJson(tolerance)}});
    return ExitCode::kDone;
  }
  const std::string unit = UnitsName(a.units);
  context.Tell("{count:+layer} of other area, the largest difference is {largest:4} {unit}2\n",
               {{"count", found.differences.size()}});
  context.Tell("{z|>12} {area|>14} {other|>14}\n",
               {{"z", "z " + unit}, {"area", "area " + unit + "2"}, {"other", "other " + unit + "2"}});
  context.TellEach(found.differences, "{z:5f|>12} {area:3|>14} {other_area:3|>14}\n");
  return ExitCode::kNo;
}

}  // namespace

void AddSlcMeasures(Command& group) {
  {
    Command& verb = group.Sub(
        "area", "Area, boundaries and perimeter of every layer",
        "Areas are those of the outer contours less the holes. With --csv a table for other programs.",
        {"trqprep slc area cone.slc", "trqprep slc area cone.slc --csv"});
    auto& options = verb.Runs(Area);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.Flag("--csv", options.csv, "Comma-separated values with a line of names");
    verb.UsesUnits();
  }
  {
    Command& verb = group.Sub(
        "diff", "Compare the areas of two files layer by layer",
        "Layers are compared that lie at the same Z, within a ten thousandth of a millimetre. Ends with 1 when an area "
        "differs by more than --tolerance, or only one file has a layer there.",
        {"trqprep slc diff cone.slc cone.slc", "trqprep slc diff cone.slc cone.slc --tolerance 0.5 --json"});
    auto& options = verb.Runs(Diff);
    verb.Argument("A", options.input, "Slice-contour file");
    verb.Argument("B", options.other, "The one to compare it with");
    verb.NumberOption("--tolerance", options.tolerance,
                      "Difference of area, in square units of A, that is none (default 0.001)");
    verb.UsesUnits();
  }
}

}  // namespace trqprep
