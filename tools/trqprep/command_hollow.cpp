#include <algorithm>
#include <cmath>

#include "commands.h"
#include "mesh_command.h"
#include "trq/core/shell.h"
#include "trqprep/mesh_topology.h"
#include "trqprep/vents_file.h"
#include "trqprep/wall.h"

namespace trqprep {
namespace {

// A closed surface takes 3 to 20 a facet.
constexpr size_t kMostTests = 20'000'000;
constexpr size_t kMostTestsAFacet = 20;

struct Options : MeshOptions {
  std::optional<Length> limit;
  bool validate = false;
  bool both = false;
  bool inner_only = false;
};

struct Push {
  double least = 0;
  double mean = 0;
  double largest = 0;
};

[[noreturn]] void FailBound(const std::string& input, const std::string& doing) {
  Fail(ExitCode::kNo,
       Message(Code::kHollowBound, input,
               doing + " would take too long: too many long facets lie across each other")
           .Hint("'trqprep repair' and 'trqprep simplify' make a surface of them, if they are one"));
}

// How far the vertices that a facet uses were pushed.
Push PushOf(const CTL& mesh) {
  std::vector<bool> used(size_t(mesh.num_vertices()), false);
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) used[size_t(mesh.triangles()[i][k])] = true;
  }
  Push push;
  size_t count = 0;
  double sum = 0;
  for (size_t i = 0; i < used.size(); ++i) {
    if (!used[i]) continue;
    const Point outer = PointOf(mesh.vertices()[i]);
    const Point inner = PointOf(mesh.shell_vertices_[i]);
    const double length = std::hypot(inner[0] - outer[0], inner[1] - outer[1], inner[2] - outer[2]);
    push.least = count == 0 ? length : std::min(push.least, length);
    push.largest = std::max(push.largest, length);
    sum += length;
    ++count;
  }
  if (count > 0) push.mean = sum / double(count);
  return push;
}

// The inner skin by itself, facing inward as it does in the hollow part.
std::unique_ptr<CTL> InnerSkin(CTL& mesh) {
  auto inner = std::make_unique<CTL>();
  mesh.copy(inner.get());
  std::copy_n(mesh.shell_vertices_.get(), mesh.num_vertices(), inner->vertices());
  for (int i = 0; i < inner->num_triangles(); ++i) {
    R_INT4& triangle = inner->triangles()[i];
    std::swap(triangle[0], triangle[2]);
  }
  inner->header.sort_state = 0;
  inner->recalculate_extents();
  inner->extents_valid = 1;
  return inner;
}

// Warns of inner surfaces that liquid resin cannot leave: the side file of the part has no vent and drain
// for them. `factor` takes its points to the unit of the surfaces.
int CountSealed(Context& context, const std::string& input, const std::vector<Surface>& surfaces,
                double factor, const char* unit) {
  const std::optional<VentsFile> vents = ReadVentsIfThere(context, input, context.options.follow_links);
  std::vector<Box> boxes;
  std::vector<double> volumes;
  for (const Surface& surface : surfaces) {
    if (!surface.closed || !(surface.volume < 0)) continue;
    boxes.push_back(surface.box);
    volumes.push_back(-surface.volume);
  }
  std::vector<Openings> openings(boxes.size());
  if (vents) openings = OpeningsOf(*vents, factor, boxes);
  int sealed = 0;
  double largest = 0;
  bool has_vent = false, has_drain = false;
  for (size_t i = 0; i < boxes.size(); ++i) {
    const auto [vent, drain] = openings[i];
    if (vent && drain) continue;
    if (sealed++ > 0 && volumes[i] <= largest) continue;
    largest = volumes[i];
    has_vent = vent;
    has_drain = drain;
  }
  if (sealed == 0) return 0;
  const char* lacks = has_vent ? "no drain" : has_drain ? "no vent" : "no vent and no drain";
  std::string text = sealed == 1
                         ? fmt::format("the cavity of {} {}3 has {}", Plain(largest, 3), unit, lacks)
                         : fmt::format("{} cavities lack a vent or a drain; the largest, of {} {}3, has {}",
                                       sealed, Plain(largest, 3), unit, lacks);
  context.Warn(Message(Code::kSealedVoid, input, text + "; resin stays inside")
                   .Hint("'trqprep vents find' shows places, 'trqprep vents add' makes one"));
  return sealed;
}

void WarnOfThinWall(Context& context, const std::string& input, const Wall& wall, double limit,
                    const char* unit) {
  if (wall.points == 0 || !(wall.least < limit / 2)) return;
  const auto& [x, y, z] = wall.place;
  context.Warn(
      Message(Code::kThinWall, input,
              fmt::format("the wall is {} {unit} thick at X {} Y {} Z {} {unit}, less than half of the "
                          "limit of {} {unit}; so it is at {} % of the points measured",
                          Plain(wall.least, 4), Plain(x, 3), Plain(y, 3), Plain(z, 3), Plain(limit, 4),
                          Plain(100 * wall.thin_share, 1), fmt::arg("unit", unit)))
          .At({{"point", NumbersToJson(wall.place)}, {"thickness", NumberToJson(wall.least)}})
          .Hint("simplify a part of many small facets first; short edges hold the push back"));
}

ExitCode Run(Context& context, const Options& options) {
  if (options.both && options.inner_only) {
    FailUsage("", "--both and --inner-only exclude each other",
              "--both writes two files, --inner-only the skin alone: give one of them");
  }
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  const MeshFormat format = work.format;
  const double factor = work.factor();
  ConvertUnits(input, work.units);
  CTL& mesh = *input.mesh;
  const auto limit = float(options.limit->In(input.units, context.units()));
  if (!(limit > 0) || !std::isfinite(limit)) {
    FailUsage("", "--limit must be above 0", "for example --limit 2mm");
  }
  const Topology outside = AnalyseTopology(mesh);
  const bool is_closed = std::all_of(outside.surfaces.begin(), outside.surfaces.end(),
                                     [](const Surface& s) { return s.closed; });
  if (!is_closed) {
    context.Warn(Message(Code::kOpenEdges, options.input,
                         fmt::format("the surface is not closed ({}); inside and outside are "
                                     "uncertain",
                                     Counted(int64_t(outside.open_edges), "open edge")))
                     .Hint("'trqprep check' tells where"));
  }
  const double before = input.volume();
  if (before < 0) {
    context.Warn(
        Message(Code::kInverted, options.input, "the facets face inward, so the skin is pushed outward")
            .Hint("turn the facets where the part was drawn"));
  }

  context.Progress("pushing the vertices inward", 0.1);
  const size_t most_tests = kMostTests + kMostTestsAFacet * size_t(mesh.num_triangles());
  mesh.shell_vertices_ = trq::core::OffsetShell(mesh.view(), {limit, options.validate, most_tests});
  if (!mesh.shell_vertices_) FailBound(options.input, "validating the pushes");
  mesh.shell_made = 1;
  const Push push = PushOf(mesh);
  if (!std::isfinite(push.mean)) {
    FailInput(Code::kMeshNan, options.input, "a vertex has no direction in which to be pushed",
              "'trqprep check' shows facets without area");
  }
  std::unique_ptr<CTL> inner = InnerSkin(mesh);
  const Topology inside = AnalyseTopology(*inner);
  int closed = 0;
  double saved = 0;
  for (const Surface& surface : inside.surfaces) {
    closed += surface.closed ? 1 : 0;
    saved -= surface.volume;
  }
  const int sealed = CountSealed(context, options.input, inside.surfaces, factor, UnitsName(input.units));
  context.Progress("measuring the wall", 0.7);
  const Wall wall = MeasureWall(mesh, *inner, limit / 2.0);
  if (wall.bound) FailBound(options.input, "measuring the wall");
  WarnOfThinWall(context, options.input, wall, limit, UnitsName(input.units));

  context.Progress("writing " + options.output, 0.9);
  const int facets = mesh.num_triangles();
  if (!options.inner_only && facets > 2147483647 / 2) {
    FailInput(Code::kMeshTooLarge, options.input, "the hollow part would have too many facets",
              "simplify the part first");
  }
  if (options.inner_only) {
    WriteMesh(context, *inner, options.output, format, context.options.force);
  } else if (format == MeshFormat::kBinaryStl) {
    WriteFile(options.output, context.options.force, [&mesh](trq::core::ByteSink& sink) {
      trq::core::WriteMeshAndShell(mesh.view(), mesh.shell_vertices_, sink);
    });
  } else {
    mesh.MergeShellAndCTLintoCTL();
    mesh.header.sort_state = 0;
    mesh.recalculate_extents();
    mesh.extents_valid = 1;
    WriteMesh(context, mesh, options.output, format, context.options.force);
  }

  StateFiles(context, options, input.units);
  // Volumes of open surfaces mean nothing, and a skin that came out of the part saves nothing.
  const bool saves = is_closed && saved > 0 && saved < before;
  context.Report({{"inner_only", options.inner_only},
                  {"facets", options.inner_only ? facets : 2 * facets},
                  {"limit", NumberToJson(limit)},
                  {"validated", options.validate},
                  {"push",
                   {{"least", NumberToJson(push.least)},
                    {"mean", NumberToJson(push.mean)},
                    {"largest", NumberToJson(push.largest)}}},
                  {"wall",
                   {{"least", NumberToJson(wall.least)},
                    {"mean", NumberToJson(wall.mean)},
                    {"thin_share", NumberToJson(wall.thin_share)},
                    {"point", NumbersToJson(wall.place)}}},
                  {"volume_before", NumberToJson(before)},
                  {"volume_after", NumberToJson(before - saved)},
                  {"resin_saved", saves ? NumberToJson(saved) : Json(nullptr)},
                  {"closed_inner_surfaces", closed},
                  {"sealed_cavities", sealed}},
                 R"({output}: {facets:+facet}, {which}
  push            {push.least:4} to {push.largest:4} {unit}, mean {push.mean:4}
  wall            at least {wall.least:4} {unit}, mean {wall.mean:4}; {thin:1} % below half of the limit
  volume          {volume_before:3} {unit}3 before, {volume_after:3} {unit}3 after
)",
                 {{"thin", NumberToJson(100 * wall.thin_share)},
                  {"which", options.inner_only ? "inner surface alone" : "outer and inner surface"}});
  if (saves) {
    context.Tell("  resin saved     {resin_saved:3} {unit}3 ({percent:1} %)\n",
                 {{"percent", NumberToJson(100 * saved / before)}});
  }
  context.Tell("  inner surfaces  {closed_inner_surfaces} closed\n");
  return ExitCode::kDone;
}

}  // namespace

void AddHollow(CommandTree& tree) {
  Command& command = tree.Add(
      "hollow", "Make a part hollow with an inner skin",
      "Every vertex is pushed inward, against the surface around it. The push is half the shortest edge "
      "at the vertex where that edge is no longer than the limit (edges below 0.1, in the part's unit, "
      "count as 0.1), and the limit itself elsewhere; it is not the wall's thickness, which also depends on the "
      "angles. --validate halves a push until it crosses no other facet. Without it the inner skin of "
      "thin walls comes out on the other side. The wall that came of it is measured from every vertex and "
      "the middle of every facet, and warned of where it is below half of the limit.\n\n"
      "A cavity needs a vent above its middle and a drain below it, in the vents-and-drains file beside "
      "IN, or liquid resin stays inside. The inner skin faces inward: merged with the part it makes the "
      "hollow part. A CTL file keeps its unit; an STL file is written in --units.",
      {"trqprep hollow l_shape.stl --limit 2mm --validate -o hollow.stl",
       "trqprep hollow l_shape.stl --limit 2mm --inner-only -o skin.ctl --json"});
  auto& options = command.Runs(Run);
  AddMeshFiles(command, options, "STL or CTL file, a closed surface");
  command.LengthOption("--limit", options.limit, "The largest push").Required();
  command.Flag("--validate", options.validate, "Shorten pushes that would cross the surface");
  command.Flag("--both", options.both, "Write the outer and the inner surface (the default)");
  command.Flag("--inner-only", options.inner_only, "Write the inner surface alone");
  command.FollowLinksFlag();
  AddMeshFormat(command, options);
}

}  // namespace trqprep
