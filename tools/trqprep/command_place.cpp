#include "commands.h"
#include "job_options.h"
#include "plate_text.h"
#include "trqprep/atomic_output.h"
#include "trqprep/plate.h"
#include "trqprep/plate_svg.h"

namespace trqprep {
namespace {

struct Options {
  std::unique_ptr<JobOptions> job;
  std::string svg;
};

ExitCode Run(Context& context, const Options& options) {
  const Job job = options.job->Get(context);
  if (job.parts.size() > 1) context.Gather();
  Plate plate = LoadPlate(context, job);
  if (!PlacePieces(context, plate)) return ExitCode::kNoPlacement;
  const std::vector<Message> findings = CheckPieces(context, plate);
  for (const Message& finding : findings) context.Say(finding);
  context.data = DescribePlate(plate);
  TellPlate(context, plate);
  if (!findings.empty()) return ExitCode::kNo;
  if (!options.svg.empty()) WriteOutputFile(options.svg, PlateSvg(plate), context.options.force);
  return ExitCode::kDone;
}

}  // namespace

void AddPlace(CommandTree& tree) {
  Command& command = tree.Add(
      "place", "Place parts in the vat without building",
      "Searches the placement that 'trqprep build' would use, checks it and prints it as a table; --svg "
      "draws it. 'trqprep build --help' tells what can be asked of it.",
      {"trqprep place bracket.stl spur_gear.stl,copies=4",
       "trqprep place spur_gear.stl,copies=6 --vat 200x150x100mm --svg plate.svg"});
  auto& options = command.Runs(Run);
  options.job = std::make_unique<JobOptions>(command, false);
  command.TextOption("--svg", options.svg, "FILE", "Draw the plate seen from above into this file");
  command.ForceFlag();
}

}  // namespace trqprep
