#include "commands.h"
#include "job_options.h"
#include "plate_text.h"
#include "trqprep/build.h"

namespace trqprep {
namespace {

void PrintStack(Context& context, const std::vector<StackedStyle>& stack, const char* unit) {
  for (const StackedStyle& style : stack) {
    context.Print("  Z {} to {} {}: {}, layers of {}", Plain(style.start, 4), Plain(style.end, 4), unit,
                  OneLine(style.file), Plain(style.thickness, 6));
    if (style.z_correction != 0) context.Print(", Z correction {} layers", style.z_correction);
    context.Print("\n");
  }
}

// The styles by Z, from the bottom upward.
void PrintStyles(Context& context, const Plate& plate, const BuildSetup& setup) {
  const char* unit = UnitsName(plate.job.units);
  for (std::size_t i = 0; i < plate.parts.size(); ++i) {
    if (setup.parts[i].stack.empty()) continue;
    context.Print("styles of {}\n", OneLine(plate.parts[i].name));
    PrintStack(context, setup.parts[i].stack, unit);
  }
  if (setup.recoat.empty()) return;
  context.Print("recoating\n");
  PrintStack(context, setup.recoat, unit);
}

ExitCode Run(Context& context, const JobOptions& job_options, const std::string& output) {
  const Job job = job_options.Get(context);
  ApplyJob(context, job);
  BuildReport report = Build(job, output, context.options.force, context);
  if (!report.placed()) return ExitCode::kNoPlacement;
  PrintPlate(context, report.plate);
  PrintStyles(context, report.plate, *report.setup);
  context.data = std::move(report.document);
  context.data.erase("schema");
  context.data.erase("tool");
  if (!report.written) {
    context.Print("nothing was written: the checks found errors\n");
    return ExitCode::kNo;
  }
  context.data["output"] = TextToJson(output);
  if (!report.wrong) context.Print("every piece lies inside the vat, no two overlap seen from above\n");
  context.Print("built in {}\n", OneLine(output));
  return ExitCode::kDone;
}

}  // namespace

void AddBuild(CommandTree& tree) {
  Command& command = tree.Add("build", "Place parts and write the build folder");
  command.details =
      "Reads the parts, moves each to X = Y = 0, searches a placement in the vat, applies it, gives "
      "every part its build styles by Z and the platform its recoat styles, carries vents-and-drains "
      "side files along, and checks parts, styles and plate. Errors stop the build with exit 1 unless "
      "--force-checks; 'trqprep explain' tells what they mean.\n\n"
      "A style without a band covers everything; bands (FILE@FROM:TO, Z from the floor of the vat) are "
      "added after it in the order given and clipped to what there is. A part's own style without a band "
      "replaces the one for all parts.\n\n"
      "The folder is complete in itself: plate.stl (everything placed), meshes/ (each piece as CTL, with "
      "its side file), plate.svg (the view from above), parts/ and styles/ (the inputs), build.json "
      "(what was built, with the sums of all files), checks.json (what was found) and build.toml, the "
      "job file: 'trqprep build out/build.toml -o again' gives the same bytes from any folder. The plate "
      "is in --units.";
  auto job = std::make_shared<JobOptions>(command, true);
  auto output = std::make_shared<std::string>();
  command.Output(*output, "FOLDER", "The build folder to make");
  command.examples = {
      "trqprep build bracket.stl spur_gear.stl,copies=3 -o out",
      "trqprep build bracket.stl --part spur_gear.stl,copies=6,rotate-z=15 --vat 250x250x250mm --seed 1 "
      "-o plate-1 --json"};
  command.run = [job, output](Context& context) { return Run(context, *job, *output); };
}

}  // namespace trqprep
