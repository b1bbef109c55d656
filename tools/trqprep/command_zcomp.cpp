#include <cmath>

#include "commands.h"
#include "mesh_command.h"
#include "trq/core/shell.h"
#include "trq/core/style_stack.h"
#include "trq/machine_types.h"
#include "trq/styles.h"
#include "trqprep/style_document.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
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
  if (!read) FailOutput(Code::kOutputShort, path, "does not read back as it was written");
  auto compensated = std::make_unique<CTL>();
  compensated->adopt(std::move(*read));
  return compensated;
}

// --- the height that a style asks for ----------------------------------------------------------------------

bool IgnoreBox(const std::string&, void*) { return true; }

void ReadStyle(Context& context, const std::string& path, KVBUILDSTYLE& style) {
  ReadFileHead(path);
  context.box_filter = IgnoreBox;  // the message below says the same
  const int code = style.readBuildStyle(ReadablePath(path));
  context.box_filter = nullptr;
  style.closeBuildStyleFile();
  if (code != trq::style_file::kOk) {
    FailInput(Code::kStyleCrc, path, "is not a build style, or its checksum does not match",
              "copy the file again from where it came");
  }
}

// The height in `units`: whole layers of the style's thickness.
double HeightOf(Context& context, const Options& options, Units units) {
  const Units style_units = UnitsFromName(options.style_units).value_or(context.units());
  KVBUILDSTYLE style;
  ReadStyle(context, options.style, style);
  const auto machine = options.machine.empty() ? style.MachineType : TRQ_TYPE(MachineByName(options.machine));
  const double spacing =
      options.spacing.value_or(Length{0.018, Units::kInch}).In(style_units, context.units());
  const int layers = trq::core::ZCorrection(style, machine, float(spacing));
  const float thickness = style.LayerThickness.GetValue();
  const char* unit = UnitsName(style_units);
  const std::string name = MachineName(machine);
  context.State({{"style_file", TextToJson(options.style)},
                 {"machine", name},
                 {"z_correction", layers},
                 {"layer_thickness", NumberToJson(thickness)},
                 {"style_units", unit}});
  if (layers <= 0) {
    FailInput(Code::kZcompNoHeight, options.style,
              fmt::format("the style gives no height on a {}: its correction is {} of {} {}", name,
                          Counted(layers, "layer"), Plain(thickness, 5), unit),
              "its down hatches and fills cure no deeper than a layer, or Dp, Ec or thickness is 0");
  }
  context.Tell("{style_file} on a {machine}: {z_correction:+layer} of {layer_thickness:5f} {style_units}\n");
  return layers * double(thickness) * UnitsFactor(style_units, units);
}

ExitCode Run(Context& context, const Options& options) {
  if (options.style.empty() == !options.height) {
    FailUsage("", "give either --height or --style",
              "--height 0.2mm is a height, --style F.sty works one out");
  }
  if (options.style.empty() &&
      (!options.machine.empty() || !options.style_units.empty() || options.spacing)) {
    FailUsage("", "--machine, --style-units and --spacing go with --style",
              "name a build style with --style, or leave them away");
  }
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  ConvertUnits(input, work.units);
  const auto height = float(options.height ? options.height->In(input.units, context.units())
                                           : HeightOf(context, options, input.units));
  if (!(height > 0) || !std::isfinite(height)) {
    FailUsage("", "--height must be above 0", "for example --height 0.2mm");
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
  for (int i = 0; i < facets; ++i) raised += trq::core::FacesDown(mesh.view(), size_t(i)) ? 1 : 0;
  if (raised == 0) {
    context.Warn(Message(Code::kZcompNothing, options.input, "no facet faces down; the mesh is copied"));
  }
  if (work.format == MeshFormat::kBinaryStl) {
    WriteFile(options.output, context.options.force,
              [&](trq::core::ByteSink& sink) { trq::core::WriteCompensatedStl(mesh.view(), height, sink); });
  } else {
    WriteMesh(context, *Compensated(mesh, height, options.output), options.output, work.format,
              context.options.force);
  }
  StateFiles(context, options, input.units);
  context.Report({{"height", NumberToJson(height)}, {"facets", facets}, {"raised", raised}},
                 "{output}: {raised} of {facets:+facet} face down and are {height:5f} {unit} higher\n");
  return ExitCode::kDone;
}

}  // namespace

void AddZcomp(CommandTree& tree) {
  Command& command = tree.Add(
      "zcomp", "Raise the facets that face down",
      "Light cures deeper than a layer, so the underside of a part comes out too low. Every facet that "
      "faces down is written higher by the height; the facets beside it keep their corners, so the "
      "surface opens along the edges between them. The input stays as it is. A CTL file keeps its unit; "
      "an STL file is written in --units.\n\n"
      "With --style the height follows from a build style: S is the sum of Ec exp(d / Dp) over its down "
      "hatches, d being a hatch's cure depth plus a layer, and its down fills, d being the cure depth. "
      "Together they cure to Dp ln(S / Ec), which is so many layers; the height is one layer less, in "
      "whole layers. The large-spot machines (TRQ-E7, MirraMax, Altor 900, Altor 800) use the style's "
      "large hatches and fills, unless the style says small spot only, and of those the hatches spaced "
      "0.018 or less; all others the small ones, spaced --spacing or less.",
      {"trqprep zcomp bracket.stl --height 0.2mm -o raised.stl",
       "trqprep zcomp bracket.stl --height 0.008in -o raised.ctl --json"});
  auto& options = command.Runs(Run);
  AddMeshFiles(command, options);
  command.LengthOption("--height", options.height, "How much higher");
  command.TextOption("--style", options.style, "FILE", "Take the height from this build style");
  command.TextOption("--machine", options.machine, "NAME",
                     "Machine for which the style counts, by name or number (default: the style's own)");
  command.TextOption("--style-units", options.style_units, "mm|in",
                     "Unit of the style's lengths, which its file does not say (default --units)");
  command.LengthOption("--spacing", options.spacing,
                       "Small hatches spaced wider than this do not count (default 0.018in)");
  AddMeshFormat(command, options);
}

}  // namespace trqprep
