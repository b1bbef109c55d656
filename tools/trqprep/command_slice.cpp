#include <algorithm>
#include <filesystem>
#include <set>

#include "commands.h"
#include "trqprep/atomic_output.h"
#include "trqprep/contour_file.h"
#include "trqprep/mesh_slices.h"
#include "trqprep/paths.h"
#include "trqprep/plate.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

constexpr Length kThickness{0.1, Units::kMillimetre};

struct Options {
  std::vector<std::string> inputs;
  std::string output;
  std::optional<Length> thickness;
  std::string style;
  std::string style_units;
  std::string cut = "middle";
  std::optional<Length> from;
  std::optional<Length> close;
  std::string unite = "auto";
  bool keep_all = false;
  bool strict = false;
  int64_t threads = 1;
};

// In millimetres.
double ThicknessOf(Context& context, const Options& options) {
  if (!options.style.empty() && options.thickness) {
    FailUsage("", "give either --thickness or --style", "a build style says its layer thickness itself");
  }
  if (options.style.empty()) {
    const double thickness = options.thickness.value_or(kThickness).In(Units::kMillimetre, context.units());
    if (!(thickness > 0)) FailUsage("", "--thickness must be above 0", "for example --thickness 0.1mm");
    return thickness;
  }
  const StyleFile style = LoadStyle(context, options.style, StyleKind::kBuild);
  const double thickness = AsRead(style).Find("Layer Thickness")->record.value.Value();
  if (!(thickness > 0)) {
    FailInput(Code::kStyleThickness, options.style,
              fmt::format("the layer thickness is {}", Plain(thickness, 5)));
  }
  const Units units = UnitsFromName(options.style_units).value_or(context.units());
  return thickness * UnitsFactor(units, Units::kMillimetre);
}

bool NamesFolder(const Options& options) {
  return options.inputs.size() > 1 || options.output.back() == '/' || IsFolder(options.output);
}

Json SliceOne(Context& context, const Options& options, double thickness, const std::string& input_path,
              const std::string& output) {
  const InputMesh input = ReadMesh(context, context.reading(), input_path);
  RequireFinite(input);
  WarnOfUnits(context, input, nullptr);
  const Units units = input.units;
  const Box box = input.box();
  SlicingRequest request;
  const double from = options.from ? options.from->In(units, context.units()) : box.min[2];
  const auto thick = float(thickness * UnitsFactor(Units::kMillimetre, units));
  request.bands = {{from, box.max[2], thick}};
  request.cut = LayerCutFromName(options.cut);
  request.how = UsualSliceOptions(units);
  request.how.in_plane_is_above = request.cut == LayerCut::kTop;
  if (options.close) request.how.close = options.close->In(units, context.units());
  if (!(request.how.close >= 0)) FailUsage("", "--close must not be below 0");
  if (options.keep_all) request.how.tolerance = -1;
  request.how.unite = options.unite == "always"  ? SliceUnion::kAlways
                      : options.unite == "never" ? SliceUnion::kNever
                                                 : SliceUnion::kAuto;
  request.how.threads = int(options.threads);
  MeshSlices slices = SliceWhole(context, input.mesh->view(), box, units, request, input_path);
  const uint64_t size = WriteContours(slices.contours, output, context.options.force);
  ContourFile written;
  written.path = output;
  written.units = units;
  written.contours = std::move(slices.contours);
  const ContourSummary summary = Summarize(context, written);
  const auto joined =
      std::count_if(slices.gaps.begin(), slices.gaps.end(), [](const SliceGap& gap) { return gap.joined; });
  return {{"file", TextToJson(input_path)},
          {"output", TextToJson(output)},
          {"units", UnitsName(units)},
          {"file_size", size},
          {"layer_thickness", NumberToJson(thick)},
          {"layers", summary.layers.size()},
          {"start", NumberToJson(float(slices.plan.bottoms.front()))},
          {"end", NumberToJson(float(slices.plan.tops.back()))},
          {"boundaries", summary.total.boundaries},
          {"open", summary.total.open},
          {"vertices", summary.total.vertices},
          {"joined", joined},
          {"united_layers", slices.united},
          {"volume", NumberToJson(summary.volume)}};
}

ExitCode Run(Context& context, const Options& options) {
  const double thickness = ThicknessOf(context, options);
  context.strict = options.strict;
  Json files = Json::array();
  FreshNames names;
  const bool folder = NamesFolder(options);
  if (folder) MakeOutputFolders(options.output);
  for (const std::string& input : options.inputs) {
    const std::string output =
        folder ? NamedPath((std::filesystem::path(options.output) / names.Of(Stem(input), ".slc")).string())
               : options.output;
    files.push_back(SliceOne(context, options, thickness, input, output));
  }
  context.State({{"files", files}});
  context.TellEach(
      files,
      "{output}: {layers:+layer} from Z {start:4f} to {end:4f} {units}, {boundaries:+boundary}, {volume:3} "
      "{units}3\n");
  const std::vector<Message>& said = context.messages();
  const bool failed = std::any_of(
      said.begin(), said.end(), [](const Message& message) { return message.severity == Severity::kError; });
  return failed ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddSlice(CommandTree& tree) {
  Command& command = tree.Add(
      "slice", "Cut meshes into layers of contours",
      "Writes the contours of each layer to a slice-contour file, in the unit of the mesh. Layers begin at the lowest "
      "point; each is cut at its middle, and the last one ends with the part. A closed mesh gives closed contours at "
      "every height. Where the mesh is open, ends within --close of each other are joined, and what stays open is "
      "told of by SLICE-OPEN. Shells that overlap become one where they do.\n\n"
      "Several inputs need a folder as output, which gets a file for each.",
      {"trqprep slice bracket.stl --thickness 0.2mm -o bracket.slc",
       "trqprep slice bracket.stl spur_gear.stl -o layers/ --json"});
  auto& options = command.Runs(Run);
  command.Arguments("IN", options.inputs, "STL or CTL files");
  command.Output(options.output, "FILE", "The file to write, or a folder");
  command.LengthOption("--thickness", options.thickness, "Thickness of the layers (default 0.1mm)");
  command.TextOption("--style", options.style, "FILE", "Take the thickness from this build style");
  command.TextOption("--style-units", options.style_units, "mm|in",
                     "Unit of the style's lengths, which its file does not say (default --units)");
  command.TextOption("--cut", options.cut, "bottom|middle|top",
                     "Where in a layer it is cut (default middle)");
  command.LengthOption("--from", options.from, "Where the first layer begins (default: at the lowest point)");
  command.LengthOption("--close", options.close,
                       "Join ends of open contours up to this distance (default 0.1mm)");
  command.TextOption("--union", options.unite, "auto|always|never",
                     "Make overlapping shells one: where they overlap, everywhere, or never (default auto)");
  command.Flag("--keep-all", options.keep_all, "Leave no point out, not even on straight lines");
  command.Flag("--strict", options.strict, "Treat warnings as errors, such as open contours");
  command.WholeOption("--threads", options.threads, 1, 64, "Layers cut side by side; the file is the same");
  command.ReadsMeshes();
}

}  // namespace trqprep
