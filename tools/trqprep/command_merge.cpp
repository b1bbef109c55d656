#include "commands.h"
#include "mesh_command.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  std::vector<std::string> inputs;
};

ExitCode Run(Context& context, const Options& options) {
  const MeshFormat format = OutputFormat(options.output, options.format);
  InputMesh merged;
  Json inputs = Json::array();
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    context.Progress("reading " + options.inputs[i], double(i) / double(options.inputs.size()));
    InputMesh input = ReadMesh(context, context.reading(), options.inputs[i]);
    WarnOfUnits(context, input, nullptr);
    inputs.push_back(Json{{"file", TextToJson(options.inputs[i])}, {"facets", input.mesh->num_triangles()}});
    ConvertUnits(input, context.units());
    if (i == 0) {
      merged = std::move(input);
      continue;
    }
    if (merged.mesh->num_triangles() > 2147483647 - input.mesh->num_triangles() ||
        merged.mesh->num_vertices() > 2147483646 - input.mesh->num_vertices()) {
      FailInput(Code::kMeshTooLarge, options.inputs[i], "the merged mesh would have too many facets",
                "merge fewer files, or simplify them first");
    }
    merged.mesh->combine(input.mesh.get());
  }
  merged.mesh->header.sort_state = 0;  // each input may have been sorted, the whole is not
  merged.mesh->recalculate_extents();
  merged.mesh->extents_valid = 1;
  WriteMesh(context, *merged.mesh, options.output, format, context.options.force);
  context.data_units = merged.units;
  context.State({{"files", inputs}, {"output", TextToJson(options.output)}});
  DescribeMesh(context.data, merged);
  context.Tell("{output}: {facets:+facet} of {files:+file}, {size_mm:x3} mm ({size_in:x4} in)\n");
  return ExitCode::kDone;
}

}  // namespace

void AddMerge(CommandTree& tree) {
  Command& command = tree.Add(
      "merge", "Put several meshes into one file",
      "Every mesh stays where it is; the facets follow one another in the order of the files. The result "
      "is in --units.",
      {"trqprep merge bracket.stl spur_gear.stl -o both.stl",
       "trqprep merge bracket.stl spur_gear.stl -o both.ctl --json"});
  auto& options = command.Runs(Run);
  command.Arguments("IN", options.inputs, "STL or CTL files");
  command.Output(options.output, "FILE", "The file to write");
  AddMeshFormat(command, options);
}

}  // namespace trqprep
