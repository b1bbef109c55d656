#include "cli/progress.h"
#include "commands.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> inputs;
  std::string output;
  std::string format;
};

ExitCode Run(Context& context, const Options& options) {
  const MeshFormat format = OutputFormat(options.output, options.format);
  InputMesh merged;
  Json inputs = Json::array();
  for (std::size_t i = 0; i < options.inputs.size(); ++i) {
    ShowProgress("reading " + options.inputs[i],
                 static_cast<double>(i) / static_cast<double>(options.inputs.size()));
    InputMesh input = ReadMesh(context, context.reading(), options.inputs[i]);
    RequireFinite(input);
    WarnOfUnits(context, input, nullptr);
    inputs.push_back(Json{{"file", TextToJson(options.inputs[i])}, {"facets", input.mesh->num_triangles()}});
    ConvertUnits(input, context.units());
    if (i == 0) {
      merged = std::move(input);
      continue;
    }
    if (merged.mesh->num_triangles() > 2147483647 - input.mesh->num_triangles() ||
        merged.mesh->num_vertices() > 2147483646 - input.mesh->num_vertices()) {
      Fail(ExitCode::kInput,
           Message(Code::kMeshTooLarge, options.inputs[i], "the merged mesh would have too many facets"));
    }
    merged.mesh->combine(input.mesh.get());
  }
  merged.mesh->header.sort_state = 0;  // each input may have been sorted, the whole is not
  merged.mesh->recalculate_extents();
  merged.mesh->extents_valid = 1;
  WriteMesh(context, *merged.mesh, options.output, format, context.options.force);
  context.data_units = merged.units;
  context.data["inputs"] = inputs;
  context.data["output"] = TextToJson(options.output);
  DescribeMesh(context.data, merged);
  context.Print("{}: {} facets of {} files, {}\n", OneLine(options.output), merged.mesh->num_triangles(),
                options.inputs.size(), SizeInBoth(merged.box().Size(), merged.units));
  return ExitCode::kDone;
}

}  // namespace

void AddMerge(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("merge", "Put several meshes into one file");
  command.details =
      "Every mesh stays where it is; the facets follow one another in the order of the files. The result "
      "is in --units.";
  command.Arguments("IN", options->inputs, "STL or CTL files");
  command.Output(options->output, "FILE", "The file to write");
  command.TextOption("--to", options->format, kMeshFormats, "Format of the output");
  command.ReadsMeshes();
  command.examples = {"trqprep merge bracket.stl spur_gear.stl -o both.stl",
                      "trqprep merge bracket.stl spur_gear.stl -o both.ctl --json"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
