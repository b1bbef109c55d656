#include <algorithm>

#include "commands.h"
#include "mesh_command.h"
#include "trqprep/mesh_repair.h"

namespace trqprep {
namespace {

constexpr Length kTolerance{0.05, Units::kMillimetre};
constexpr size_t kPlacesInText = 3;
// Repairs until the file reads back as it was repaired; nearly always the first one does.
constexpr int kMostRepairs = 5;

struct Options : MeshOptions {
  std::optional<Length> tolerance;
  int64_t holes = RepairLimits().hole_edges;
};

Json CornerToJson(const Point& point) {
  Json corner = Json::array();
  for (const double c : point) corner.push_back(NumberToJson(float(c)));
  return corner;
}

Message RepairLeft(const std::string& output, const MeshRepair& done) {
  Message message(Code::kRepairLeft, output,
                  Counted(done.open_after, "edge is", "edges are") + " still open: at");
  Json places = Json::array();
  for (const OpenEdge& edge : done.left) {
    if (places.size() < kPlacesInText) {
      message.text += fmt::format("{} X {} Y {} Z {}", places.empty() ? "" : ",", Plain(edge.from[0], 4),
                                  Plain(edge.from[1], 4), Plain(edge.from[2], 4));
    }
    places.push_back({{"facet", edge.facet}, {"ends", {CornerToJson(edge.from), CornerToJson(edge.to)}}});
  }
  if (done.left.size() > kPlacesInText) message.text += " and elsewhere";
  message.At({{"edges", done.open_after}, {"places", places}});
  return message.Hint("a larger --tolerance or --holes may close them; the rim of a sheet stays open");
}

ExitCode Run(Context& context, const Options& options) {
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  ConvertUnits(input, work.units);
  RepairLimits limits;
  limits.tolerance = options.tolerance.value_or(kTolerance).In(input.units, context.units());
  limits.hole_edges = int(options.holes);
  if (!(limits.tolerance >= 0)) FailUsage("", "--tolerance must not be below 0");
  Json before;
  DescribeMesh(before, input);
  CTL& mesh = *input.mesh;
  ReadsBackSame(mesh, work.format);  // what is repaired are the coordinates that the file will hold
  MeshRepair done = RepairMesh(input, limits);
  for (int i = 1; i < kMostRepairs && !ReadsBackSame(mesh, work.format); ++i)
    done += RepairMesh(input, limits);
  WriteWork(context, options, work);

  before["open_edges"] = done.open_before;
  context.State({{"mesh_before", before}});
  DescribeMesh(context.data, input);
  const auto facets = [](int count) { return Counted(count, "facet", "facets"); };
  std::string kept, undecided;
  if (done.kept_for_box > 0) kept = fmt::format(", {} kept: the box ends there", done.kept_for_box);
  if (done.undecided_shells > 0)
    undecided = fmt::format(", {} left: they cross or lie in what is open", done.undecided_shells);
  context.Report({{"open_edges", done.open_after},
                  {"steps",
                   {{"given_twice", done.given_twice},
                    {"equal_corners", done.equal_corners},
                    {"kept_for_box", done.kept_for_box},
                    {"turned_facets", done.turned_facets},
                    {"turned_shells", done.turned_shells},
                    {"undecided_shells", done.undecided_shells},
                    {"stitched_edges", done.stitched_edges},
                    {"moved_corners", done.moved_corners},
                    {"largest_move", NumberToJson(done.largest_move)},
                    {"filled_holes", done.filled_holes},
                    {"added_facets", done.added_facets}}}},
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
