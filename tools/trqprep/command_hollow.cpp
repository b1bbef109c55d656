#include <cmath>

#include "commands.h"
#include "mesh_command.h"
#include "trq/core/shell.h"
#include "trqprep/hollow.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  std::optional<Length> limit;
  bool validate = false;
  bool both = false;
  bool inner_only = false;
};

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
  Hollowing how;
  how.limit = limit;
  how.validate = options.validate;
  how.vents = [&] { return ReadVentsIfThere(context, options.input, context.options.follow_links); };
  how.vents_factor = factor;
  HollowPart part = HollowMesh(context, input, how);

  context.Progress("writing " + options.output, 0.9);
  const int facets = mesh.num_triangles();
  if (!options.inner_only && facets > 2147483647 / 2) {
    FailInput(Code::kMeshTooLarge, options.input, "the hollow part would have too many facets",
              "simplify the part first");
  }
  if (options.inner_only) {
    WriteMesh(context, *part.inner, options.output, format, context.options.force);
  } else if (format == MeshFormat::kBinaryStl) {
    WriteFile(options.output, context.options.force, [&mesh](trq::core::ByteSink& sink) {
      trq::core::WriteMeshAndShell(mesh.view(), mesh.shell_vertices_, sink);
    });
  } else {
    MergeSkin(mesh);
    WriteMesh(context, mesh, options.output, format, context.options.force);
  }

  StateFiles(context, options, input.units);
  DescribeHollow(context.data, part, options.inner_only);
  context.Tell(
      R"({output}: {facets:+facet}, {which}
  push            {push.least:4} to {push.largest:4} {unit}, mean {push.mean:4}
  wall            at least {wall.least:4} {unit}, mean {wall.mean:4}; {thin:1} % below half of the limit
  volume          {volume_before:3} {unit}3 before, {volume_after:3} {unit}3 after
)",
      {{"thin", NumberToJson(100 * part.wall.thin_share)},
       {"which", options.inner_only ? "inner surface alone" : "outer and inner surface"}});
  if (context.data["resin_saved"].is_number()) {
    context.Tell("  resin saved     {resin_saved:3} {unit}3 ({percent:1} %)\n",
                 {{"percent", NumberToJson(100 * part.saved / part.volume_before)}});
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
