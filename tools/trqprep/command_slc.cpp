#include <algorithm>
#include <cmath>
#include <tuple>

#include "commands.h"
#include "contour_report.h"
#include "slc_verbs.h"
#include "trqprep/contour_file.h"

namespace trqprep {
namespace {

struct Options {
  std::string input;
  std::string output;
  std::string axis;
  std::optional<Length> plane;
  std::optional<Length> beside;
};

// --- info --------------------------------------------------------------------------------------------------

ExitCode Info(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  ContourSummary summary = Summarize(context, file);
  context.data_units = file.units;
  context.State({{"file", TextToJson(options.input)}});
  DescribeContours(context.data, file, summary);
  const size_t count = summary.layers.size();
  const Json layers = Json::Rows(count, [of_each = std::move(summary.layers)](size_t i) -> Json {
    const LayerSummary& layer = of_each[i];
    return {{"layer", i + 1},
            {"z", NumberToJson(layer.z)},
            {"boundaries", layer.boundaries},
            {"clockwise", layer.clockwise},
            {"open", layer.open},
            {"vertices", layer.vertices},
            {"gaps", layer.gaps},
            {"area", NumberToJson(layer.area)}};
  });
  TellContours(context, context.data);
  if (!layers.empty()) {
    const std::string unit = UnitsName(file.units);
    context.Tell("   layer {z|>12} boundaries   vertices {area|>14}\n",
                 {{"z", "z " + unit}, {"area", "area " + unit + "2"}});
  }
  context.TellEach(layers, "{layer|>8} {z:5f|>12} {boundaries|>10} {vertices|>10} {area:3|>14}\n");
  context.State({{"each_layer", layers}});
  return ExitCode::kDone;
}

// --- verify ------------------------------------------------------------------------------------------------

// The first place where a file and what was written of it differ, up to `end` of the file and without the
// reserved block.
std::optional<uint64_t> FirstDifference(const ContourFile& file, const std::vector<unsigned char>& again) {
  const std::string bytes = InputFile(file.path).ReadRest();
  for (uint64_t i = 0; i < file.end; ++i) {
    const bool skipped = i >= file.reserved_offset() && i < file.reserved_offset() + slc::kReservedSize;
    if (i >= bytes.size() || i >= again.size()) return i;
    if (static_cast<unsigned char>(bytes[i]) != again[i] && !skipped) return i;
  }
  if (again.size() > file.end) return file.end;
  return std::nullopt;
}

ExitCode Verify(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  trq::core::MemorySink again;
  static_cast<void>(trq::core::WriteSlc(file.contours, again));  // memory takes it all
  const auto difference = FirstDifference(file, again.bytes);
  context.data_units = file.units;
  context.State({{"file", TextToJson(options.input)},
                 {"same", !difference},
                 {"file_size", file.file_size},
                 {"trailing_bytes", file.file_size - file.end},
                 {"reserved_is_zero", file.contours.reserved == decltype(file.contours.reserved){}}});
  if (difference) {
    const uint64_t table = file.reserved_offset() + slc::kReservedSize;
    const uint64_t layers = table + 1 + sizeof(trq::SlcTableEntry) * file.contours.table.size();
    const char* where = *difference < table ? "header" : *difference < layers ? "sampling table" : "layers";
    context.Error(Message(Code::kSlcDiffers, options.input,
                          fmt::format("loaded and saved again, the {} differ at byte {}", where, *difference))
                      .At({{"byte", *difference}}));
    context.Tell("{file}: differs\n");
    return ExitCode::kNo;
  }
  context.Tell("{file}: {layers:+layer}; loaded and saved again, header, table and layers are the same\n",
               {{"layers", file.layer_count()}});
  return ExitCode::kDone;
}

// --- copy, mirror ------------------------------------------------------------------------------------------

ExitCode Copy(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  const uint64_t size = WriteContours(file.contours, options.output, context.options.force);
  context.data_units = file.units;
  context.Report({{"file", TextToJson(options.input)},
                  {"output", TextToJson(options.output)},
                  {"layers", file.layer_count()},
                  {"file_size", size}},
                 "{output}: {layers:+layer}, {file_size:+byte}\n");
  return ExitCode::kDone;
}

// Reflected in x or y, a contour runs the other way round: its vertices are put in reverse order.
void TurnContours(const trq::core::Contours& contours) {
  for (const trq::SlcLayer& layer : contours.layers) {
    for (const trq::SlcBoundary& boundary : layer.boundaries()) {
      for (size_t i = 0, j = boundary.vertex_count; i + 1 < j; ++i) {
        --j;
        std::swap(boundary.points[2 * i], boundary.points[2 * j]);
        std::swap(boundary.points[2 * i + 1], boundary.points[2 * j + 1]);
      }
    }
  }
}

// Reflected in z, a layer has its top where its bottom was: each takes the height of the one that lay above
// it, and the layers come in the opposite order. Where the terminator repeats the last z, heights are those
// of the sections themselves and stay with them. The ranges of the sampling table change places likewise.
void TurnLayers(trq::core::Contours& contours, const std::function<float(float)>& reflect) {
  std::vector<trq::SlcLayer>& layers = contours.layers;
  const float top = layers.front().z;
  const float bottom = layers.back().z;
  const size_t count = layers.size() - 1;
  const bool sections = count > 0 && layers[count - 1].z == bottom;
  for (size_t i = 0; i < count && !sections; ++i) layers[i].z = layers[i + 1].z;
  std::reverse(layers.begin(), layers.end() - 1);
  layers.back().z = top;
  std::vector<trq::SlcTableEntry>& table = contours.table;
  for (size_t i = 0; i < table.size(); ++i)
    table[i].min_z = i + 1 < table.size() ? reflect(table[i + 1].min_z) : bottom;
  std::reverse(table.begin(), table.end());
}

ExitCode Mirror(Context& context, const Options& options) {
  if (options.plane && options.beside) {
    FailUsage("", "--plane and --beside exclude each other",
              "--plane gives the plane to mirror at, --beside a distance from the part");
  }
  ContourFile file = ReadContours(context, context.units(), options.input);
  const ContourSummary summary = Summarize(context, file);
  if (summary.not_finite > 0) {
    FailInput(Code::kSlcNan, options.input, "vertices that are not finite cannot be mirrored",
              "slice the part again");
  }
  const size_t coordinate = size_t(options.axis[0] - 'x');
  double low = 0, high = 0;
  if (coordinate == 2) {
    std::tie(low, high) = HeightsOf(file);
  } else if (!summary.box.Empty()) {
    low = summary.box.min[coordinate];
    high = summary.box.max[coordinate];
  }
  float plane = float((low + high) / 2);
  float offset = 0;
  if (options.plane) plane = float(options.plane->In(file.units, context.units()));
  if (options.beside) {
    plane = float(high);
    offset = float(options.beside->In(file.units, context.units()));
  }
  trq::core::Contours& contours = file.contours;
  const double sum = 2.0 * plane + offset;  // of a coordinate and its reflection
  trq::core::MirrorLayers(contours.layers, nullptr, 0, int(coordinate), sum);
  if (coordinate == 2) {
    TurnLayers(contours, [sum](float z) { return float(sum - z); });
  } else {
    TurnContours(contours);
  }
  const std::string header = WithExtents(contours.header, coordinate, [sum](double lower, double upper) {
    return std::array<double, 2>{sum - upper, sum - lower};
  });
  if (header.size() <= slc::kMaxHeader) {
    contours.header = header;
  } else {
    context.Warn(Message(Code::kSlcHeader, options.output, "the header has no room for the new extents"));
  }
  WriteContours(contours, options.output, context.options.force);
  const auto extent = [&](double value) { return NumberToJson(float(value)); };
  context.data_units = file.units;
  context.Report({{"file", TextToJson(options.input)},
                  {"output", TextToJson(options.output)},
                  {"axis", options.axis},
                  {"layers", file.layer_count()},
                  {"start", extent(sum - high)},
                  {"end", extent(sum - low)}},
                 "{output}: {layers:+layer}, {axis} from {low:4} to {high:4} {unit}\n",
                 {{"low", NumberToJson(sum - high)}, {"high", NumberToJson(sum - low)}});
  return ExitCode::kDone;
}

}  // namespace

void AddSlc(CommandTree& tree) {
  Command& group =
      tree.Add("slc", "Look into slice contours, check, draw, measure, mirror and copy them",
               "Slice contours are a part as a stack of layers of closed contours, in an .slc file.", {});
  {
    Command& verb = group.Sub(
        "info", "Tell what a slice-contour file holds, layer by layer",
        "Layers, z range, thickness table, boundaries, vertices, and the area of every layer: contours "
        "that run counterclockwise count as outer ones, clockwise ones as holes. Layers count from 1.",
        {"trqprep slc info cone.slc", "trqprep slc info cone.slc --json"});
    auto& options = verb.Runs(Info);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.UsesUnits();
  }
  {
    Command& verb = group.Sub(
        "verify", "Check that a slice-contour file survives loading and saving",
        "Loads the file, writes it again in memory and compares header, thickness table and layers. A "
        "reserved block that is not zero and bytes behind the terminator are reported, and count as no "
        "difference. Exit 1 when something differs.",
        {"trqprep slc verify cone.slc", "trqprep slc verify cone.slc --json"});
    auto& options = verb.Runs(Verify);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.UsesUnits();
  }
  AddSlcPictures(group);
  AddSlcMeasures(group);
  {
    Command& verb = group.Sub(
        "mirror", "Mirror slice contours",
        "The mirrored part takes the place of the part, unless --plane or --beside says otherwise. Outer "
        "contours still run counterclockwise afterwards and layers still go upwards; the extents in the "
        "header follow.",
        {"trqprep slc mirror cone.slc --axis x -o mirrored.slc",
         "trqprep slc mirror cone.slc --axis y --beside 5mm -o beside.slc"});
    auto& options = verb.Runs(Mirror);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.TextOption("--axis", options.axis, "x|y|z", "The axis along which it is mirrored").Required();
    verb.LengthOption("--plane", options.plane, "Mirror at this coordinate");
    verb.LengthOption("--beside", options.beside,
                      "Put the mirrored part beside the part, at this distance along the axis");
    verb.Output(options.output, "FILE", "The file to write");
    verb.UsesUnits();
  }
  {
    Command& verb = group.Sub(
        "copy", "Write slice contours anew",
        "Reads and writes the whole file; bytes behind the terminator are left out.",
        {"trqprep slc copy cone.slc -o again.slc", "trqprep slc copy cone.slc -o again.slc --force"});
    auto& options = verb.Runs(Copy);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.Output(options.output, "FILE", "The file to write");
    verb.UsesUnits();
  }
}

}  // namespace trqprep
