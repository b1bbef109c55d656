#include <algorithm>

#include "commands.h"
#include "mesh_command.h"
#include "trqprep/mesh_repair.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  std::optional<Length> tolerance;
  int64_t holes = RepairLimits().hole_edges;
};

ExitCode Run(Context& context, const Options& options) {
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  ConvertUnits(input, work.units);
  RepairLimits limits;
  limits.tolerance = options.tolerance.value_or(kRepairTolerance).In(input.units, context.units());
  limits.hole_edges = int(options.holes);
  if (!(limits.tolerance >= 0)) FailUsage("", "--tolerance must not be below 0");
  Json before;
  DescribeMesh(before, input);
  const CTL& mesh = *input.mesh;
  const MeshRepair done = RepairForFile(context, input, limits, work.format);
  WriteWork(context, options, work);

  before["open_edges"] = done.open_before;
  context.State({{"mesh_before", before}});
  DescribeMesh(context.data, input);
  const auto facets = [](int count) { return Counted(count, "facet", "facets"); };
  std::string kept, undecided;
  if (done.kept_for_box > 0) kept = fmt::format(", {} kept: the box ends there", done.kept_for_box);
  if (done.undecided_shells > 0)
    undecided = fmt::format(", {} left: they cross or lie in what is open", done.undecided_shells);
  DescribeRepair(context.data, done);
  context.Tell(
      R"({output}: {count}, were {mesh_before.facets}; {state}
  given twice    {twice} removed
  equal corners  {equal} removed{kept}
  stitched       {stitched}, {moved} moved by at most {steps.largest_move:4} {unit}
  turned         {turned} to fit their shell, {shells} outward or inward{undecided}
  holes          {steps.filled_holes} filled with {added}
  open edges     {open_edges}, were {mesh_before.open_edges}
  volume         {volume:3} {unit}3, was {mesh_before.volume:3} {unit}3
)",
      {{"count", facets(mesh.num_triangles())},
       {"state", done.open_after == 0 ? "closed" : "still open"},
       {"twice", facets(done.given_twice)},
       {"equal", facets(done.equal_corners)},
       {"kept", kept},
       {"stitched", Counted(done.stitched_edges, "pair of edges", "pairs of edges")},
       {"moved", Counted(done.moved_corners, "corner", "corners")},
       {"turned", facets(done.turned_facets)},
       {"shells", Counted(done.turned_shells, "shell", "shells")},
       {"undecided", undecided},
       {"added", facets(done.added_facets)}});
  if (done.open_after == 0) return ExitCode::kDone;
  context.Error(RepairLeft(options.output, done));
  return ExitCode::kNo;
}

}  // namespace

void AddRepair(CommandTree& tree) {
  Command& command = tree.Add(
      "repair", "Close the surface of a mesh",
      "Facets given twice or with equal corners go; facets are turned alike within a shell, shells outward, and "
      "inward where they lie in an odd number of others; open edges within --tolerance of each other are stitched, "
      "the nearest first; holes of at most --holes edges are filled with the triangles of least area. Nothing else "
      "moves, the box stays the same, and a second repair changes nothing. Two facets back to back stay where the "
      "surface would be open without one of them.\n\n"
      "The rim of a sheet is no hole and stays open: a border whose corners turn by more than 271 degrees in all, "
      "seen along the surface. A flat or bent sheet's rim turns by 360 degrees, the rim of a box without its lid by "
      "0. What stays open ends the command with 1 and REPAIR-LEFT, which tells where; the file is written all the "
      "same. A CTL file keeps its unit; an STL file is written in --units.",
      {"trqprep repair bracket.stl -o repaired.stl",
       "trqprep repair bracket.stl --tolerance 0.02mm --holes 12 -o repaired.ctl --json"});
  auto& options = command.Runs(Run);
  AddMeshFiles(command, options);
  command.LengthOption("--tolerance", options.tolerance,
                       "How far corners may be moved to stitch open edges (default 0.05mm)");
  command.WholeOption("--holes", options.holes, 0, kMostHoleEdges,
                      "Fill holes of at most so many edges (default 100)");
  AddMeshFormat(command, options);
}

}  // namespace trqprep
