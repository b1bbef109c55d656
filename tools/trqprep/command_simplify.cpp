#include "commands.h"
#include "mesh_command.h"
#include "trqprep/simplify.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  int64_t facets = 0;
  std::string engine = "quadric";
  bool force_checks = false;
};

Json Describe(const InputMesh& input, const ShapeMeasures& measures) {
  Json data;
  DescribeMesh(data, input);
  data["open_edges"] = measures.open_edges;
  return data;
}

// For people, so that what was and what is are of one unit.
void AddMillimetres(Json& words, const InputMesh& input, const char* volume, const char* area) {
  const double factor = UnitsFactor(input.units, Units::kMillimetre);
  words[volume] = NumberToJson(input.volume() * factor * factor * factor);
  words[area] = NumberToJson(input.area() * factor * factor);
}

ExitCode Run(Context& context, const Options& options) {
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  const auto facets = int(options.facets);
  const ShapeMeasures was = MeasureShape(input);
  const Json before = Describe(input, was);
  Json words;
  AddMillimetres(words, input, "volume_was", "area_was");
  context.Progress("simplifying", 0.2);
  const bool grid = options.engine == "grid";
  const bool simplified =
      grid ? input.mesh->approximate(facets) != 0 : SimplifyMesh(context, *input.mesh, facets);
  if (!simplified) {
    context.Warn(Message(Code::kSimplifyNothing, options.input,
                         "has only " + Counted(was.facets, "facet") + "; nothing was simplified"));
  }
  RequireFacets(*input.mesh, options.input, ("simplifying to about " + Counted(facets, "facet")).c_str());
  input.mesh->recalculate_extents();
  const ShapeMeasures now = MeasureShape(input);
  bool ruined = false;
  if (simplified) {
    for (Message& message : CheckSimplified(options.input, facets, was, now)) {
      if (message.code == Code::kSimplifyRuined) {
        ruined = true;
        message.Hint(options.force_checks ? "ask for more facets"
                                          : "ask for more facets; --force-checks writes it all the same");
      }
      context.Say(std::move(message));
    }
  }
  context.State({{"mesh_before", before},
                 {"engine", grid ? "grid" : "quadric"},
                 {"target", facets},
                 {"forced", ruined && options.force_checks}});
  if (ruined && !options.force_checks) {
    context.State({{"file", TextToJson(options.input)}});
    context.data.update(Describe(input, now));
    return ExitCode::kNo;
  }
  ConvertUnits(input, work.units);
  WriteWork(context, options, work);
  context.data.update(Describe(input, now));
  AddMillimetres(words, input, "volume_now", "area_now");
  context.Tell(R"({output}: {facets} facets, were {mesh_before.facets}
  volume      {volume_now:3} mm3, was {volume_was:3} mm3
  area        {area_now:3} mm2, was {area_was:3} mm2
  size        {size_mm:x3} mm, was {mesh_before.size_mm:x3} mm
  open edges  {open_edges}, were {mesh_before.open_edges}
)",
               words);
  return ruined ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddSimplify(CommandTree& tree) {
  Command& command = tree.Add(
      "simplify", "Coarsen a mesh to about a number of facets",
      "Facets go where the shape needs them least, and vertices stay where they are. A closed surface stays "
      "closed, and the border of an open one stays where the number allows it. The number is met within 5 % "
      "where the shape allows it, else a note says what was reached. What was measured before and after is "
      "printed. A change of more than 1 % of the volume, or of the area or box of an open mesh, is warned "
      "of; above 10 % nothing is written unless --force-checks is given, and the exit code is 1.\n\n"
      "--engine grid is the library's own way: vertices that lie close together become one, and facets that "
      "lose a corner by that go. Thin walls fall flat by it.",
      {"trqprep simplify spur_gear.stl --facets 400 -o coarse.stl",
       "trqprep simplify spur_gear.stl --facets 400 -o coarse.ctl --json"});
  auto& options = command.Runs(Run);
  command.Argument("IN", options.input, "STL or CTL file");
  command.WholeOption("--facets", options.facets, 1, 2147483647, "About how many facets to keep").Required();
  command.TextOption("--engine", options.engine, "quadric|grid",
                     "quadric keeps the shape, grid joins near vertices (default quadric)");
  command.Flag("--force-checks", options.force_checks, "Write a result that lost its shape");
  command.Output(options.output, "FILE", "The file to write");
  AddMeshFormat(command, options);
}

}  // namespace trqprep
