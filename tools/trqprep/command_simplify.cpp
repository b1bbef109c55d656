#include <cmath>

#include "commands.h"
#include "mesh_command.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  int64_t facets = 0;
};

// For people, so that the two are of one unit.
Json CubicMillimetres(const InputMesh& input) {
  return NumberToJson(input.volume() * std::pow(UnitsFactor(input.units, Units::kMillimetre), 3));
}

ExitCode Run(Context& context, const Options& options) {
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  Json before;
  DescribeMesh(before, input);
  const Json volume_before = CubicMillimetres(input);
  if (input.mesh->approximate(int(options.facets)) == 0) {
    context.Warn(
        Message(Code::kSimplifyNothing, options.input,
                fmt::format("has only {} facets; nothing was simplified", input.mesh->num_triangles())));
  }
  RequireFacets(*input.mesh, options.input,
                fmt::format("simplifying to about {} facets", options.facets).c_str());
  input.mesh->recalculate_extents();
  ConvertUnits(input, work.units);
  WriteWork(context, options, work);
  context.State({{"before", before}});
  DescribeMesh(context.data, input);
  context.Tell("{output}: {facets} facets, were {before.facets}; volume {now:3} mm3, was {was:3} mm3\n",
               {{"now", CubicMillimetres(input)}, {"was", volume_before}});
  return ExitCode::kDone;
}

}  // namespace

void AddSimplify(CommandTree& tree) {
  Command& command = tree.Add(
      "simplify", "Coarsen a mesh to about a number of facets",
      "Vertices that lie close together become one; facets that lose a corner by that go. The number is "
      "aimed at, not met exactly, and openings may close: compare the volumes.",
      {"trqprep simplify spur_gear.stl --facets 400 -o coarse.stl",
       "trqprep simplify spur_gear.stl --facets 400 -o coarse.ctl --json"});
  auto& options = command.Runs(Run);
  command.Argument("IN", options.input, "STL or CTL file");
  command.WholeOption("--facets", options.facets, 1, 2147483647, "About how many facets to keep").Required();
  command.Output(options.output, "FILE", "The file to write");
  AddMeshFormat(command, options);
}

}  // namespace trqprep
