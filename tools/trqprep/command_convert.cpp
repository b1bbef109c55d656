#include "commands.h"
#include "mesh_command.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  std::string to_units;
  int64_t stamp = -1;
  bool normalize = false;
};

ExitCode Run(Context& context, const Options& options) {
  const bool stamped = options.stamp >= 0;
  const MeshFormat format = OutputFormat(options.output, options.format);
  if (stamped && format != MeshFormat::kBinaryStl) {
    FailUsage("", "--stamp marks binary STL files only",
              "name an output that ends in .stl, or leave --stamp away");
  }
  if (options.normalize && format == MeshFormat::kCtl) {
    FailUsage("", "--normalize writes STL files only", "without it every mesh can be written as CTL");
  }
  MeshWork work = ReadForWork(context, options);
  if (options.normalize && options.format.empty() && !stamped && work.input.format != MeshFormat::kCtl) {
    work.format = work.input.format;
  }
  InputMesh& input = work.input;
  const Units wanted = UnitsFromName(options.to_units).value_or(work.units);
  ConvertUnits(input, wanted);
  WriteWork(context, options, work, stamped ? std::optional(options.stamp) : std::nullopt);
  context.State({{"format", MeshFormatName(work.format)}});
  DescribeMesh(context.data, input);
  context.Tell("{output}: {format} with {facets:+facet}, {size}\n",
               {{"size", SizeInBoth(input.box().Size(), wanted)}});
  return ExitCode::kDone;
}

}  // namespace

void AddConvert(CommandTree& tree) {
  Command& command = tree.Add(
      "convert", "Convert a mesh file between STL and CTL",
      "The ending of the output, .stl or .ctl, says its format; --to says it outright. A CTL file keeps "
      "the unit of the input; an STL file, which cannot say one, is written in --units. --to-units "
      "converts to another unit.",
      {"trqprep convert bracket.stl -o bracket.ctl",
       "trqprep convert spur_gear.stl --to stl-ascii --to-units in -o gear-inch.stl"});
  auto& options = command.Runs(Run);
  AddMeshFiles(command, options);
  command.TextOption("--to", options.format, kMeshFormats, "Format of the output");
  command.TextOption("--to-units", options.to_units, "mm|in", "Unit of the output");
  command.Flag("--normalize", options.normalize,
               "Write STL in the form that every program reads: text as text, unless --to says otherwise");
  command.WholeOption("--stamp", options.stamp, 0, 2147483647,
                      "Write the header with computer name, login name, this number and a checksum");
  command.ReadsMeshes();
}

}  // namespace trqprep
