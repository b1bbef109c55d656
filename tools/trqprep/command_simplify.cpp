#include <cmath>

#include "commands.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {
namespace {

struct Options {
  std::string input;
  std::string output;
  std::string format;
  std::int64_t facets = 0;
};

ExitCode Run(Context& context, const Options& options) {
  const MeshFormat format = OutputFormat(options.output, options.format);
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  RequireFinite(input);
  WarnOfUnits(context, input, nullptr);
  Json before;
  DescribeMesh(before, input);
  CTL& mesh = *input.mesh;
  const int facets_before = mesh.num_triangles();
  const double volume_before = input.volume();
  if (mesh.approximate(static_cast<int>(options.facets)) == 0) {
    context.Warn(Message(Code::kSimplifyNothing, options.input,
                         fmt::format("has only {} facets; nothing was simplified", facets_before)));
  }
  RequireFacets(mesh, options.input, fmt::format("simplifying to about {} facets", options.facets).c_str());
  mesh.recalculate_extents();
  if (format != MeshFormat::kCtl) ConvertUnits(input, context.units());
  WriteMesh(context, mesh, options.output, format, context.options.force);
  context.data_units = input.units;
  context.data["input"] = TextToJson(options.input);
  context.data["output"] = TextToJson(options.output);
  context.data["before"] = before;
  DescribeMesh(context.data, input);
  const double volume = input.volume() * std::pow(UnitsFactor(input.units, Units::kMillimetre), 3);
  const Units read_units = UnitsFromName(before["units"].get<std::string>()).value_or(Units::kMillimetre);
  context.Print("{}: {} facets, were {}; volume {} mm3, was {} mm3\n", OneLine(options.output),
                mesh.num_triangles(), facets_before, Plain(volume, 3),
                Plain(volume_before * std::pow(UnitsFactor(read_units, Units::kMillimetre), 3), 3));
  return ExitCode::kDone;
}

}  // namespace

void AddSimplify(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("simplify", "Coarsen a mesh to about a number of facets");
  command.details =
      "Vertices that lie close together become one; facets that lose a corner by that go. The number is "
      "aimed at, not met exactly, and openings may close: compare the volumes.";
  command.Argument("IN", options->input, "STL or CTL file");
  command.WholeOption("--facets", options->facets, 1, 2147483647, "About how many facets to keep").Required();
  command.Output(options->output, "FILE", "The file to write");
  command.TextOption("--to", options->format, kMeshFormats, "Format of the output");
  command.ReadsMeshes();
  command.examples = {"trqprep simplify spur_gear.stl --facets 400 -o coarse.stl",
                      "trqprep simplify spur_gear.stl --facets 400 -o coarse.ctl --json"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
