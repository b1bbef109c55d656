#include "commands.h"
#include "job_options.h"
#include "plate_text.h"
#include "trqprep/atomic_output.h"
#include "trqprep/plate.h"
#include "trqprep/plate_svg.h"

namespace trqprep {
namespace {

ExitCode Run(Context& context, const JobOptions& job_options, const std::string& svg) {
  Plate plate = LoadPlate(context, job_options.Get(context));
  if (!PlacePieces(context, plate)) return ExitCode::kNoPlacement;
  const std::vector<Message> findings = CheckPieces(context, plate);
  for (const Message& finding : findings) context.Say(finding);
  context.data = DescribePlate(plate);
  PrintPlate(context, plate);
  if (!findings.empty()) return ExitCode::kNo;
  if (!svg.empty()) WriteOutputFile(svg, PlateSvg(plate), context.options.force);
  return ExitCode::kDone;
}

}  // namespace

void AddPlace(CommandTree& tree) {
  Command& command = tree.Add("place", "Place parts in the vat without building");
  command.details =
      "Searches the placement that 'trqprep build' would use, checks it and prints it as a table; --svg "
      "draws it.";
  auto job = std::make_shared<JobOptions>(command, false);
  auto svg = std::make_shared<std::string>();
  command.TextOption("--svg", *svg, "FILE", "Draw the plate seen from above into this file");
  command.ForceFlag();
  command.examples = {"trqprep place bracket.stl spur_gear.stl,copies=4",
                      "trqprep place spur_gear.stl,copies=6 --vat 200x150x100mm --svg plate.svg"};
  command.run = [job, svg](Context& context) { return Run(context, *job, *svg); };
}

}  // namespace trqprep
