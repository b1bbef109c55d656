#include "atomic_output.h"
#include "build_folder.h"
#include "command.h"
#include "plate.h"

namespace trqprep {
namespace {

ExitCode Run(Context& context, const JobOptions& job_options, const std::string& output) {
  const Job job = job_options.Get(context);
  OutputFolder folder(output, context.options.force);  // refused before any work is done
  Plate plate = LoadPlate(context, job);
  if (!PlacePieces(context, plate)) return ExitCode::kNoPlacement;
  const bool right = CheckPieces(context, plate);
  context.data = BuildDocument(plate);
  context.data.erase("schema");
  context.data.erase("tool");
  PrintPlate(context, plate);
  if (!right) {
    context.Print("nothing was written: the plate is not right\n");
    return ExitCode::kNo;
  }
  WriteBuildFolder(context, plate, folder);
  folder.Commit();
  context.data["output"] = TextToJson(output);
  context.Print("every piece lies inside the vat, no two overlap seen from above\nbuilt in {}\n",
                OneLine(output));
  return ExitCode::kDone;
}

void Add(CommandTree& tree) {
  Command& command = tree.Add("build", "Place parts and write the build folder");
  command.details =
      "Reads the parts, moves each to X = Y = 0, searches a placement in the vat, applies it and checks on "
      "the placed "
      "meshes that every vertex lies inside the vat and that no two pieces overlap seen from above. The "
      "folder holds "
      "plate.stl (everything placed), meshes/ (each piece as CTL), plate.svg (the view from above) and "
      "build.json.\n\n"
      "The same inputs and --seed give the same bytes. The plate is in --units.";
  auto job = std::make_shared<JobOptions>(command);
  auto output = std::make_shared<std::string>();
  command.Output(*output, "FOLDER", "The build folder to make");
  command.examples = {
      "trqprep build bracket.stl spur_gear.stl,copies=3 -o out",
      "trqprep build bracket.stl --part spur_gear.stl,copies=6,rotate-z=15 --vat 250x250x250mm --seed 1 -o "
      "plate-1 --json"};
  command.run = [job, output](Context& context) { return Run(context, *job, *output); };
}

const CommandRegistration kRegistration(10, Add);

}  // namespace
}  // namespace trqprep
