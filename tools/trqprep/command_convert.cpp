#include "commands.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {
namespace {

struct Options {
  std::string input;
  std::string output;
  std::string format;
  std::string to_units;
  std::int64_t stamp = -1;
};

ExitCode Run(Context& context, const Options& options) {
  const MeshFormat format = OutputFormat(options.output, options.format);
  const bool stamped = options.stamp >= 0;
  if (stamped && format != MeshFormat::kBinaryStl) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "--stamp marks binary STL files only"));
  }
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  WarnOfUnits(context, input, nullptr);
  // STL files cannot say their unit, so the tool writes what it would read: --units, unless told otherwise.
  Units wanted = format == MeshFormat::kCtl ? input.units : context.units();
  if (const auto stated = UnitsFromName(options.to_units)) wanted = *stated;
  if (wanted != input.units) RequireFinite(input);
  ConvertUnits(input, wanted);
  WriteMesh(context, *input.mesh, options.output, format, context.options.force,
            stamped ? std::optional<std::int64_t>(options.stamp) : std::nullopt);
  context.data_units = wanted;
  context.data["input"] = TextToJson(options.input);
  context.data["output"] = TextToJson(options.output);
  context.data["format"] = MeshFormatName(format);
  DescribeMesh(context.data, input);
  context.Print("{}: {} with {} facets, {}\n", OneLine(options.output), MeshFormatName(format),
                input.mesh->num_triangles(), SizeInBoth(input.box().Size(), wanted));
  return ExitCode::kDone;
}

}  // namespace

void AddConvert(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("convert", "Convert a mesh file between STL and CTL");
  command.details =
      "The ending of the output, .stl or .ctl, says its format; --to says it outright. A CTL file keeps "
      "the unit of the input; an STL file, which cannot say one, is written in --units. --to-units "
      "converts to another unit.";
  command.Argument("IN", options->input, "STL or CTL file");
  command.Output(options->output, "FILE", "The file to write");
  command.TextOption("--to", options->format, kMeshFormats, "Format of the output");
  command.TextOption("--to-units", options->to_units, "mm|in", "Unit of the output");
  command.WholeOption("--stamp", options->stamp, 0, 2147483647,
                      "Write the header with computer name, login name, this number and a checksum");
  command.ReadsMeshes();
  command.examples = {"trqprep convert bracket.stl -o bracket.ctl",
                      "trqprep convert spur_gear.stl --to stl-ascii --to-units in -o gear-inch.stl"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
