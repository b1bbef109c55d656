#include "commands.h"
#include "job_options.h"
#include "plate_text.h"
#include "trqprep/atomic_output.h"
#include "trqprep/plate.h"
#include "trqprep/plate_svg.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

struct Options {
  std::unique_ptr<JobOptions> job;
  std::string svg;
};

// "a/plate.svg" for plate-2: "a/plate-2.svg".
std::string PictureOf(const std::string& path, const std::string& plate) {
  const size_t name = path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/') + 1;
  const size_t dot = path.find_last_of('.');
  const size_t end = dot == std::string::npos || dot <= name ? path.size() : dot;
  return path.substr(0, end) + plate.substr(plate.find('-')) + path.substr(end);
}

ExitCode RunPlates(Context& context, const Job& job, const Options& options) {
  const std::optional<PlacedPlates> placed = PlaceOnPlates(job, context);
  if (!placed) return ExitCode::kNoPlacement;
  bool wrong = false;
  for (const PlacedPlate& plate : placed->plates) {
    for (const Message& finding : plate.findings) context.Say(finding);
    wrong = wrong || !plate.findings.empty();
  }
  context.data = DescribePlates(*placed);
  context.data_units = job.units;
  TellPlates(context);
  if (wrong) return ExitCode::kNo;
  if (options.svg.empty()) return ExitCode::kDone;
  // All of them or none.
  std::vector<std::unique_ptr<OutputFile>> pictures;
  for (const PlacedPlate& plate : placed->plates) {
    const std::string path = PictureOf(options.svg, plate.name);
    pictures.push_back(std::make_unique<OutputFile>(path, context.options.force));
    pictures.back()->Write(PlateSvg(context, plate.plate));
  }
  for (const auto& picture : pictures) picture->Commit();
  return ExitCode::kDone;
}

ExitCode Run(Context& context, const Options& options) {
  const Job job = options.job->Get(context);
  if (job.parts.size() > 1) context.Gather();
  if (job.plates != 1) return RunPlates(context, job, options);
  Plate plate = LoadPlate(context, job);
  if (!PlacePieces(context, plate)) return ExitCode::kNoPlacement;
  const std::vector<Message> findings = CheckPieces(context, plate);
  for (const Message& finding : findings) context.Say(finding);
  context.data = DescribePlate(plate);
  TellPlate(context, plate);
  if (!findings.empty()) return ExitCode::kNo;
  if (!options.svg.empty()) WriteOutputFile(options.svg, PlateSvg(context, plate), context.options.force);
  return ExitCode::kDone;
}

}  // namespace

void AddPlace(CommandTree& tree) {
  Command& command = tree.Add(
      "place", "Place parts in the vat without building",
      "Searches the placement that 'trqprep build' would use, checks it and prints it as a table; --svg "
      "draws it. 'trqprep build --help' tells what can be asked of it. Of several plates, --plates, every one has "
      "a picture: plate-1.svg, plate-2.svg, ... where plate.svg was asked for.",
      {"trqprep place bracket.stl spur_gear.stl,copies=4",
       "trqprep place spur_gear.stl,copies=6 --vat 200x150x100mm --svg plate.svg"});
  auto& options = command.Runs(Run);
  options.job = std::make_unique<JobOptions>(command, false);
  command.TextOption("--svg", options.svg, "FILE", "Draw the plate seen from above into this file");
  command.ForceFlag();
}

}  // namespace trqprep
