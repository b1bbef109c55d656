#include <algorithm>
#include <cctype>
#include <cmath>

#include "commands.h"
#include "trq/core/shell.h"
#include "trq/machine_types.h"
#include "trq/setup.h"
#include "trq/styles.h"
#include "trqprep/mesh_writer.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

struct Options {
  std::string input;
  std::string output;
  std::string format;
  std::optional<Length> height;
  std::string style;
  std::string machine;
  std::string style_units;
  std::optional<Length> spacing;
};

// The mesh of the facets as they are written.
std::unique_ptr<CTL> Compensated(const CTL& mesh, float height, const std::string& path) {
  trq::core::MemorySink written;
  trq::core::WriteCompensatedStl(mesh.view(), height, written);
  trq::core::MemorySource source(written.bytes);
  trq::core::StlReading how;
  how.units = mesh.header.units;
  trq::core::Result<trq::core::Mesh> read = trq::core::ReadStl(source, how);
  if (!read)
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, path, "does not read back as it was written"));
  auto compensated = std::make_unique<CTL>();
  compensated->adopt(std::move(*read));
  return compensated;
}

// --- the height that a style asks for ----------------------------------------------------------------------

TRQ_TYPE MachineOf(const std::string& text) {
  std::vector<std::string> names;
  for (const trq::MachineTypeRow& row : trq::kMachineTypes) {
    const std::string name = row.display_name;
    const bool same = std::equal(name.begin(), name.end(), text.begin(), text.end(), [](char a, char b) {
      return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
    if (same || text == std::to_string(static_cast<int>(row.type))) return row.type;
    names.push_back(name);
  }
  Fail(
      ExitCode::kUsage,
      Message(Code::kMachineUnknown, "", "there is no machine '" + text + "'").Hint(DidYouMean(text, names)));
}

bool IgnoreBox(const std::string&, void*) { return true; }

void ReadStyle(Context& context, const std::string& path, KVBUILDSTYLE& style) {
  ReadFileHead(path);
  context.box_filter = IgnoreBox;  // the message below says the same
  const int code = style.readBuildStyle(path);
  context.box_filter = nullptr;
  style.closeBuildStyleFile();
  if (code != trq::style_file::kOk) {
    Fail(ExitCode::kInput, Message(Code::kStyleCrc, path, "is no build style, or its checksum does not match")
                               .Hint("copy the file again from where it came"));
  }
}

// The height in `units`: whole layers of the style's thickness.
double HeightOf(Context& context, const Options& options, Units units) {
  const Units style_units = UnitsFromName(options.style_units).value_or(context.units());
  KVBUILDSTYLE style;
  ReadStyle(context, options.style, style);
  const TRQ_TYPE machine = options.machine.empty() ? style.MachineType : MachineOf(options.machine);
  const double spacing =
      options.spacing.value_or(Length{0.018, Units::kInch}).In(style_units, context.units());
  const MODEL model;
  const int layers = model.KVcalc_zcorrection(machine, &style, static_cast<float>(spacing));
  const float thickness = style.LayerThickness.GetValue();
  const char* unit = UnitsName(style_units);
  const trq::MachineTypeRow* row = trq::FindMachineType(machine);
  const std::string name = row ? row->display_name : trq::kUnknownMachineName;
  context.data["style"] = TextToJson(options.style);
  context.data["machine"] = name;
  context.data["layers"] = layers;
  context.data["layer_thickness"] = NumberToJson(thickness);
  context.data["style_units"] = unit;
  if (layers <= 0) {
    Fail(ExitCode::kInput,
         Message(Code::kZcompNoHeight, options.style,
                 fmt::format("the style gives no height on a {}: its correction is {} layers of {} {}", name,
                             layers, Plain(thickness, 5), unit))
             .Hint("its down hatches and fills cure no deeper than a layer, or Dp, Ec or thickness is 0"));
  }
  context.Print("{} on a {}: {} layers of {} {}\n", OneLine(options.style), name, layers, Plain(thickness, 5),
                unit);
  return layers * static_cast<double>(thickness) * UnitsFactor(style_units, units);
}

ExitCode Run(Context& context, const Options& options) {
  if (options.style.empty() == !options.height) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "say either --height or --style"));
  }
  if (options.style.empty() &&
      (!options.machine.empty() || !options.style_units.empty() || options.spacing)) {
    Fail(ExitCode::kUsage,
         Message(Code::kUsage, "", "--machine, --style-units and --spacing go with --style"));
  }
  const MeshFormat format = OutputFormat(options.output, options.format);
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  RequireFinite(input);
  WarnOfUnits(context, input, nullptr);
  if (format != MeshFormat::kCtl) ConvertUnits(input, context.units());
  const auto height = static_cast<float>(options.height ? options.height->In(input.units, context.units())
                                                        : HeightOf(context, options, input.units));
  if (!(height > 0) || !std::isfinite(height)) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "--height must be above 0"));
  }
  CTL& mesh = *input.mesh;
  const char* unit = UnitsName(input.units);
  const double part_height = input.box().Size()[2];
  if (height >= part_height) {
    context.Warn(Message(Code::kZcompHigh, options.input,
                         fmt::format("the facets are raised by {} {}, and the part is only {} {} high",
                                     Plain(height, 4), unit, Plain(part_height, 4), unit))
                     .Hint("is the height in the right unit?"));
  }
  const int facets = mesh.num_triangles();
  int raised = 0;
  for (int i = 0; i < facets; ++i)
    raised += trq::core::FacesDown(mesh.view(), static_cast<std::size_t>(i)) ? 1 : 0;
  if (raised == 0) {
    context.Warn(Message(Code::kZcompNothing, options.input, "no facet faces down; the mesh is copied"));
  }
  if (format == MeshFormat::kBinaryStl) {
    WriteFile(options.output, context.options.force,
              [&](trq::core::ByteSink& sink) { trq::core::WriteCompensatedStl(mesh.view(), height, sink); });
  } else {
    WriteMesh(context, *Compensated(mesh, height, options.output), options.output, format,
              context.options.force);
  }
  context.data_units = input.units;
  context.data["input"] = TextToJson(options.input);
  context.data["output"] = TextToJson(options.output);
  context.data["height"] = NumberToJson(height);
  context.data["facets"] = facets;
  context.data["raised"] = raised;
  context.Print("{}: {} of {} facets face down and are {} {} higher\n", OneLine(options.output), raised,
                facets, Plain(height, 5), unit);
  return ExitCode::kDone;
}

}  // namespace

void AddZcomp(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("zcomp", "Raise the facets that face down");
  command.details =
      "Light cures deeper than a layer, so the underside of a part comes out too low. Every facet that "
      "faces down is written higher by the height; the facets beside it keep their corners, so the "
      "surface opens along the edges between them. The input stays as it is. A CTL file keeps its unit; "
      "an STL file is written in --units.\n\n"
      "With --style the height follows from a build style: S is the sum of Ec exp(d / Dp) over its down "
      "hatches, d being a hatch's cure depth plus a layer, and its down fills, d being the cure depth. "
      "Together they cure to Dp ln(S / Ec), which is so many layers; the height is one layer less, in "
      "whole layers. The large-spot machines (TRQ-E7, MirraMax, Altor 900, Altor 800) use the style's "
      "large hatches and fills, unless the style says small spot only, and of those the hatches spaced "
      "0.018 or less; all others the small ones, spaced --spacing or less.";
  command.Argument("IN", options->input, "STL or CTL file");
  command.Output(options->output, "FILE", "The file to write");
  command.LengthOption("--height", options->height, "How much higher");
  command.TextOption("--style", options->style, "FILE", "Take the height from this build style");
  command.TextOption("--machine", options->machine, "NAME",
                     "Machine for which the style counts, by name or number (default: the style's own)");
  command.TextOption("--style-units", options->style_units, "mm|in",
                     "Unit of the style's lengths, which its file does not say (default --units)");
  command.LengthOption("--spacing", options->spacing,
                       "Small hatches spaced wider than this do not count (default 0.018in)");
  command.TextOption("--to", options->format, kMeshFormats, "Format of the output");
  command.ReadsMeshes();
  command.examples = {"trqprep zcomp bracket.stl --height 0.2mm -o raised.stl",
                      "trqprep zcomp bracket.stl --height 0.008in -o raised.ctl --json"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
