#include "mesh_command.h"

namespace trqprep {

void AddMeshFiles(Command& command, MeshOptions& options, const std::string& input) {
  command.Argument("IN", options.input, input);
  command.Output(options.output, "FILE", "The file to write");
}

void AddMeshFormat(Command& command, MeshOptions& options) {
  command.TextOption("--to", options.format, kMeshFormats, "Format of the output");
  command.ReadsMeshes();
}

MeshWork ReadForWork(Context& context, const MeshOptions& options) {
  const MeshFormat format = OutputFormat(options.output, options.format);
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  WarnOfUnits(context, input, nullptr);
  const Units units = format == MeshFormat::kCtl ? input.units : context.units();
  return {format, std::move(input), units};
}

void StateFiles(Context& context, const MeshOptions& options, Units units) {
  context.data_units = units;
  context.State({{"file", TextToJson(options.input)}, {"output", TextToJson(options.output)}});
}

void WriteWork(Context& context, const MeshOptions& options, const MeshWork& work,
               std::optional<int64_t> stamp) {
  WriteMesh(context, *work.input.mesh, options.output, work.format, context.options.force, stamp);
  StateFiles(context, options, work.input.units);
}

}  // namespace trqprep
