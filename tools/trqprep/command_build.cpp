#include <algorithm>
#include <cstdint>
#include <set>

#include "commands.h"
#include "job_options.h"
#include "plate_text.h"
#include "trqprep/build.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

void TellStack(Context& context, const Json& stack) {
  for (const Json& style : stack) {
    context.Tell("  Z {start:4f} to {end:4f} {unit}: {file}, layers of {layer_thickness:6f} {unit}", style);
    if (style.value("z_correction", 0) != 0) context.Tell(", Z correction {z_correction:+layer}", style);
    context.text += "\n";
  }
}

constexpr size_t kMostStyleLines = 6;
constexpr size_t kMostStyles = 3;

// A line a style where many parts have them.
void TellStylesTogether(Context& context) {
  std::vector<std::pair<Json, int64_t>> styles;
  for (const Json& input : context.data["inputs"]) {
    std::set<std::string> of_part;
    for (Json style : input.value("styles", Json::array())) {
      for (const char* key : {"start", "end", "z_spacing"}) style.erase(key);
      if (!of_part.insert(style.dump()).second) continue;
      auto found =
          std::find_if(styles.begin(), styles.end(), [&](const auto& s) { return s.first == style; });
      if (found == styles.end()) found = styles.insert(found, {style, 0});
      ++found->second;
    }
  }
  for (size_t i = 0; i < styles.size() && i < kMostStyles; ++i) {
    Json style = styles[i].first;
    style["parts"] = styles[i].second;
    context.Tell("{file} on {parts:+part}: layers of {layer_thickness:6f} {unit}", style);
    if (style.value("z_correction", 0) != 0) context.Tell(", Z correction {z_correction:+layer}", style);
    context.text += "\n";
  }
  if (styles.size() > kMostStyles) {
    context.Tell("and {more:+more style}; --all lists them by Z\n", {{"more", styles.size() - kMostStyles}});
  }
  if (!context.data["recoat"].empty()) {
    context.Tell("recoating by {styles:+style}, {file} first\n",
                 {{"styles", context.data["recoat"]}, {"file", context.data["recoat"][0]["file"]}});
  }
}

// The styles by Z, from the bottom upward.
void TellStyles(Context& context) {
  size_t lines = context.data["recoat"].size();
  for (const Json& input : context.data["inputs"]) {
    if (input.contains("styles")) lines += 1 + input["styles"].size();
  }
  if (lines > kMostStyleLines && context.data["inputs"].size() > 1 && !context.options.all) {
    TellStylesTogether(context);
    return;
  }
  for (const Json& input : context.data["inputs"]) {
    if (input["styles"].empty()) continue;
    context.Tell("styles of {part}\n", input);
    TellStack(context, input["styles"]);
  }
  if (context.data["recoat"].empty()) return;
  context.Tell("recoating\n");
  TellStack(context, context.data["recoat"]);
}

// "OVERLAP, Z-GAP (2)"
std::string ErrorCodes(const Context& context) {
  std::vector<const Message*> errors;
  for (const Message& message : context.messages()) {
    if (message.severity == Severity::kError) errors.push_back(&message);
  }
  return CountedCodes(errors);
}

constexpr size_t kMostPieceLines = 12;

struct Options {
  std::unique_ptr<JobOptions> job;
  std::string output;
};

// What several plates say, and where they are.
ExitCode RunPlates(Context& context, const Job& job, const Options& options) {
  PlatesReport report = BuildPlates(job, options.output, context.options.force, context);
  if (!report.placed) return ExitCode::kNoPlacement;
  context.data = std::move(report.document);
  context.data_units = job.units;
  for (const char* key : {"schema", "tool"}) context.data.erase(key);
  TellPlates(context);
  const bool forced = report.written && report.wrong;
  context.State({{"forced", forced}});
  if (!report.written) {
    context.Tell("nothing was written: the checks found errors\n");
    return ExitCode::kNo;
  }
  context.Report({{"output", TextToJson(options.output)}},
                 forced ? "built in {output}, forced although the checks found errors: {codes}\n"
                        : "built in {output}\n",
                 {{"codes", ErrorCodes(context)}});
  return forced ? ExitCode::kNo : ExitCode::kDone;
}

ExitCode Run(Context& context, const Options& options) {
  const Job job = options.job->Get(context);
  ApplyJob(context, job);
  if (job.parts.size() > 1) context.Gather();
  if (job.plates != 1) return RunPlates(context, job, options);
  BuildReport report = Build(job, options.output, context.options.force, context);
  if (!report.placed()) return ExitCode::kNoPlacement;
  context.data = std::move(report.document);
  context.data.erase("schema");
  context.data.erase("tool");
  TellPlate(context, report.plate, context.options.all ? SIZE_MAX : kMostPieceLines);
  if (report.machine_chosen) context.Tell("machine: {machine}, which the styles are for\n");
  TellStyles(context);
  context.State({{"forced", report.forced()}});
  if (!report.written) {
    context.Tell("nothing was written: the checks found errors\n");
    return ExitCode::kNo;
  }
  if (!report.wrong) context.Tell("every piece lies inside the vat, no two overlap seen from above\n");
  context.Report({{"output", TextToJson(options.output)}},
                 report.forced() ? "built in {output}, forced although the checks found errors: {codes}\n"
                                 : "built in {output}\n",
                 {{"codes", ErrorCodes(context)}});
  return report.forced() ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddBuild(CommandTree& tree) {
  Command& command = tree.Add(
      "build", "Place parts and write the build folder",
      "Reads the parts, moves each to X = Y = 0, searches a placement in the vat, applies it, gives "
      "every part its build styles by Z and the platform its recoat styles, carries vents-and-drains "
      "side files along, and checks parts, styles and plate. Errors stop the build with exit 1; with "
      "--force-checks the folder is written all the same, but for pieces outside the vat, and the exit is 1 "
      "still. 'trqprep explain' tells what they mean.\n\n"
      "Pieces stand apart by --gap and from the walls of the vat by --margin, seen from above; one may lie in "
      "a hole of another unless --no-holes is given. A part says the same for itself behind its name: copies=N "
      "or, of one part, copies=fill (as many as fit), rotate-z=DEGREES, rotations=N, fixed or 0:90:180 (the "
      "turns to choose from), gap=LENGTH, at=X:Y (where the lower left corner of the turned piece's box "
      "stands, with the rest placed around it), plate=N, units=UNIT, style=STYLE. The search ends when every "
      "piece has its place and lies as far to the left and to the front as it goes, or when its --time is "
      "over, which is counted in steps: the same parts and seed give the same bytes on every machine. "
      "--wall-limit is a limit by the clock, and build.toml then has the steps that were taken. --engine grid "
      "searches on a raster of 32 x 32 cells, without gap and margin unless they are given.\n\n"
      "A part that reaches below Z = 0 is moved up to it; --floor keep refuses it instead. Without --machine "
      "the build is for the machine that all styles of the 301 layout are for.\n\n"
      "A style without a band covers everything; bands (FILE@FROM:TO, Z from the floor of the vat) are "
      "added after it in the order given and clipped to what there is. A part's own style without a band "
      "replaces the one for all parts.\n\n"
      "The folder is complete in itself: plate.stl (everything placed), meshes/ (each piece as CTL, with "
      "its side file), plate.svg (the view from above), parts/ and styles/ (the inputs), build.json "
      "(what was built, with the sums of all files), checks.json (what was found) and build.toml, the "
      "job file: 'trqprep build out/build.toml -o again' gives the same bytes from any folder. The plate "
      "is in --units.\n\n"
      "A side file that is a symbolic link is refused unless --follow-links is given, on the line: a folder "
      "of parts that came from elsewhere may hold links to any file.\n\n"
      "With --plates the folder holds plate-1/, plate-2/, ..., each such a folder, whose job file says where "
      "every piece stands; build.toml beside them makes all of them again, plates.json lists them.\n\n"
      "--force replaces an empty folder, or a build folder that holds nothing but the build: what "
      "build.json lists is removed, one by one. A folder that holds anything else is refused with exit 4 "
      "and the names. What appears in it during the build stays in a folder whose name is printed.",
      {"trqprep build bracket.stl spur_gear.stl,copies=3 -o out",
       "trqprep build bracket.stl --part spur_gear.stl,copies=6,rotate-z=15 --vat 250x250x250mm --seed 1 "
       "-o plate-1 --json"});
  auto& options = command.Runs(Run);
  options.job = std::make_unique<JobOptions>(command, true);
  command.Output(options.output, "FOLDER", "The build folder to make");
}

}  // namespace trqprep
