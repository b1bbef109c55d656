#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "cli/fill.h"
#include "commands.h"
#include "job_options.h"
#include "trqprep/build.h"
#include "trqprep/build_estimate.h"
#include "trqprep/build_folder.h"
#include "trqprep/job_file.h"
#include "trqprep/paths.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

constexpr size_t kMostBandLines = 12;

struct Options {
  std::vector<std::string> inputs;
  std::vector<std::string> styles;
  std::vector<std::string> recoats;
  std::string machine;
  std::string machines;
  std::vector<std::string> process;  // by field; empty: not given
  bool strict = false;
};

// "5 h 17 min", "12 min", "3 min 40 s", "45.5 s"
std::string Duration(const Json& time) {
  // What no number holds is a text.
  if (!time.is_number()) return "without end";
  const auto seconds = time.get<double>();
  if (seconds < 59.95) return Plain(seconds, 1) + " s";
  const double minutes = std::round(seconds / 60);
  if (seconds < 599.5) {
    const double whole = std::round(seconds);
    return fmt::format("{} min {} s", Plain(std::floor(whole / 60), 0), Plain(std::fmod(whole, 60), 0));
  }
  const double hours = std::floor(minutes / 60);
  if (hours < 1) return Plain(minutes, 0) + " min";
  return fmt::format("{} h {} min", Plain(hours, 0), Plain(minutes - 60 * hours, 0));
}

Json DurationOf(const Json& seconds) { return seconds == Json() ? Json() : Json(Duration(seconds)); }

std::string Range(const Json& range) {
  const std::string least = Duration(range["least"]), most = Duration(range["most"]);
  return least == most ? least : least + " to " + most;
}

// What a time rests on, in words.
class Grounds {
 public:
  explicit Grounds(const Json& given) : given_(given) {}
  void Add(const std::string& words) { text_ += (text_.empty() ? "" : ", ") + words; }
  // Of a value that may not be said.
  void Add(const char* key, const char* form, const char* otherwise = nullptr) {
    if (given_[key].is_number() || given_[key].is_string()) {
      Add(Fill(form, {&given_}));
    } else if (otherwise) {
      Add(otherwise);
    }
  }
  const std::string& text() const { return text_; }

 private:
  const Json& given_;
  std::string text_;
};

std::string DrawingInWords(const Json& estimate) {
  const Json& drawing = estimate["drawing"];
  if (!drawing.is_object()) return "not known";
  Grounds grounds(estimate["given"]);
  grounds.Add("power", "{power:3} mW");
  grounds.Add("beam", "half-width {beam:4} mm", "half-widths from line widths");
  grounds.Add("dp_unit", "Dp in {dp_unit}");
  grounds.Add("ec_unit", "Ec in {ec_unit}");
  grounds.Add("speed_factor", "{speed_factor:4} of the speed of theory", "1 to 0.685 of the speed of theory");
  return fmt::format("{}{} ({})", drawing["complete"].get<bool>() ? "" : "at least ", Range(drawing),
                     grounds.text());
}

std::string RecoatingInWords(const Json& estimate) {
  const Json& recoating = estimate["recoating"];
  if (!recoating.is_object()) return "not known";
  Grounds grounds(estimate["given"]);
  grounds.Add(Fill("{recoats:+recoat}", {&estimate}));
  grounds.Add("sweep_list", "{sweep_list} sweeps in {recoat_unit}/s");
  grounds.Add("travel", "travel {travel:3} mm");
  grounds.Add("delay_unit", "waits in {delay_unit}");
  return fmt::format("{}{} ({})", recoating["complete"].get<bool>() ? "" : "at least ",
                     Duration(recoating["seconds"]), grounds.text());
}

void TellTimes(Context& context, const Json& estimate) {
  const Json words{{"drawing_time", DrawingInWords(estimate)},
                   {"recoating_time", RecoatingInWords(estimate)},
                   {"total_time", estimate["total"].is_object() ? Range(estimate["total"]) : "not known"}};
  context.Tell("  drawing    {drawing_time}\n  recoating  {recoating_time}\n  total      {total_time}\n",
               words);
}

void TellBands(Context& context, const Json& estimate) {
  size_t lines = 0;
  for (const Json& part : estimate["parts"]) lines += part["bands"].size();
  context.Tell(
      "\n  part              Z, mm             layers   resin, ml      border       hatch        fill     "
      "drawing  style\n");
  size_t told = 0;
  for (const Json& part : estimate["parts"]) {
    const int64_t pieces = part["piece_count"].get<int64_t>();
    const std::string name =
        fmt::format("{}{}", Fill("{part}", {&part}), pieces == 1 ? "" : fmt::format(" x {}", pieces));
    for (const Json& band : part["bands"]) {
      if (!context.options.all && told == kMostBandLines) {
        context.Tell("  and {more:+more line}; --all lists them\n", {{"more", lines - told}});
        return;
      }
      ++told;
      Json row = band;
      row["name"] = name;
      row["z"] = Fill("{start:4f} to {end:4f}", {&band});
      for (const char* key : {"border", "hatch", "fill", "drawing"}) {
        row[key] = DurationOf(band[std::string(key) + "_seconds"]);
      }
      context.Tell(
          "  {name|<16}  {z|<16}  {layers|>6}  {resin:3f|>10}  {border|>10}  {hatch|>10}  {fill|>10}  "
          "{drawing|>10}  {style}\n",
          row);
    }
  }
}

void TellRecoats(Context& context, const Json& estimate) {
  if (estimate["recoat_bands"].empty()) return;
  context.Tell(
      "\n  recoating         Z, mm            recoats      sweeps        dips       waits        each  style\n");
  for (const Json& band : estimate["recoat_bands"]) {
    Json row = band;
    row["z"] = Fill("{start:4f} to {end:4f}", {&band});
    for (const char* key : {"sweep", "dip", "wait", "recoat"}) {
      row[key] = DurationOf(band[std::string(key) + "_seconds"]);
    }
    row["passes"] = Fill("{sweep_count:+sweep}", {&band});
    context.Tell(
        "  {passes|<16}  {z|<16}  {recoats|>6}  {sweep|>10}  {dip|>10}  {wait|>10}  {recoat|>10}  {file}\n",
        row);
  }
}

class Estimates {
 public:
  Estimates(Context& context, const Options& options) : context_(context), options_(options) {
    for (size_t i = 0; i < ProcessFields().size(); ++i) {
      const ProcessField& field = ProcessFields()[i];
      const std::string& text = options.process[i];
      if (text.empty()) continue;
      try {
        StoreProcess(process_, field, text);
      } catch (const std::invalid_argument& error) {
        FailUsage("", fmt::format("--{}: {}", field.key, error.what()));
      }
      if (const auto* length = std::get_if<std::optional<Length> MachineProcess::*>(&field.member)) {
        std::optional<Length>& given = process_.**length;
        if (!given->unit) given->unit = context.units();
      }
    }
    ChooseMachine(options.machine, options.machines, false, profile_);
    CompleteProcess(process_, profile_.process);
  }

  void Run() {
    std::vector<std::string> contours;
    for (const std::string& input : options_.inputs) {
      const bool folder = IsFolder(input);
      if (!folder && !NamesJobFile(input)) {
        contours.push_back(input);
        continue;
      }
      if (!options_.styles.empty() || !options_.recoats.empty()) {
        FailUsage(input, "--style and --recoat are for slice-contour files; this says its styles itself",
                  "change them in the job file");
      }
      if (folder) {
        RunFolder(input);
      } else {
        RunJob(input);
      }
    }
    if (contours.empty()) return;
    ContourStyles styles;
    for (const std::string& text : options_.styles) styles.styles.push_back(ParseStyleRequest(text));
    for (const std::string& text : options_.recoats) styles.recoats.push_back(ParseStyleRequest(text));
    styles.machine = profile_.machine;
    const auto estimator = EstimateContours(context_, contours, context_.units(), styles, process_);
    Tell(contours.front(), contours.size() > 1 ? int64_t(contours.size()) - 1 : 0, *estimator);
  }

  bool placed() const { return placed_; }

 private:
  void RunFolder(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const HeldFolder folder(path);
    if (!HoldsPlates(folder)) return Tell(path, 0, *EstimateFolder(context_, folder, process_));
    for (const std::string& plate : PlateFolders(folder)) {
      const HeldFolder held(folder.PathOf(plate), folder.Open(plate));
      Tell(held.path(), 0, *EstimateFolder(context_, held, process_));
    }
  }

  void RunJob(const std::string& path) {
    Job job = ReadJobFile(path);
    if (job.plates != 1) {
      FailUsage(path, "the job is for several plates", "build it, and estimate the folder");
    }
    job.follow_links = context_.options.follow_links;
    MachineProcess process = process_;
    CompleteProcess(process, job.process);
    job.process = process;
    job.slice = true;
    BuildReport report = CheckBuild(job, context_);
    if (!report.placed()) {
      placed_ = false;
      return;
    }
    Tell(path, 0, *EstimateOf(context_, report.plate, *report.setup, report.slices));
  }

  void Tell(const std::string& file, int64_t others, const Estimator& estimator) {
    for (const Message& message : estimator.Messages()) context_.Say(message);
    Json estimate{{"file", TextToJson(file)}};
    estimate.update(estimator.Document());
    if (!context_.text.empty()) context_.text += "\n";
    const std::string more = others > 0 ? fmt::format(" and {}", Counted(others, "more file")) : "";
    context_.Tell("{file}{more}: {piece_count:+piece}, {recoats:+layer}\n", [&] {
      Json words = estimate;
      words["more"] = more;
      return words;
    }());
    context_.Tell(estimate["mesh_resin"].is_number()
                      ? "  resin      {resin:3f} ml by areas, {mesh_resin:3f} ml by meshes\n"
                      : "  resin      {resin:3f} ml by areas\n",
                  estimate);
    TellTimes(context_, estimate);
    TellBands(context_, estimate);
    TellRecoats(context_, estimate);
    context_.data["estimates"].push_back(std::move(estimate));
  }

  Context& context_;
  const Options& options_;
  MachineProcess process_;
  Job profile_;  // what --machine and --machines say
  bool placed_ = true;
};

ExitCode Run(Context& context, const Options& options) {
  context.strict = options.strict;
  context.data["estimates"] = Json::array();
  context.data_units = Units::kMillimetre;
  Estimates estimates(context, options);
  estimates.Run();
  if (!estimates.placed()) return ExitCode::kNoPlacement;
  const std::vector<Message>& said = context.messages();
  const bool failed = std::any_of(
      said.begin(), said.end(), [](const Message& message) { return message.severity == Severity::kError; });
  return failed ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddEstimate(CommandTree& tree) {
  Command& command = tree.Add(
      "estimate", "Estimate how much resin a build takes, and how long",
      "Adds up the areas of all layers, and times drawing and recoating as the styles say. Takes a job file, a build "
      "folder, or slice-contour files, which are the pieces of one build with the styles of the line. Where a job or "
      "folder holds no slices, the placed pieces are sliced as 'build --slice' does.\n\n"
      "Drawing is the length of borders, hatches and fills by the speed that the working curve of the resin gives; "
      "a beam was found to reach 0.685 of that, so that the time is a range until --speed-factor says what a build "
      "has shown. Recoating is the sweeps of the recoat style over --travel, its dips and its waits, once for every "
      "height at which a layer ends.\n\n"
      "Styles say neither the power of the beam, nor the travel of the blade, nor the units of waits, Dp and Ec: "
      "what is not given here, in the job or in the profile of the machine leaves its time out, and is named.",
      {"trqprep estimate cone.slc --style Fine.sty --recoat ThreeSweeps.rcs --power 250 --dp-unit mm "
       "--ec-unit mJ/cm2 --travel 300mm --delay-unit s",
       "trqprep estimate cone.slc --json"});
  auto& options = command.Runs(Run);
  command.Arguments("IN", options.inputs, "Job file, build folder, or slice-contour files");
  command.RepeatedOption(
      "--style", options.styles, "STYLE",
      "Build style of contour files, in their unit: FILE, or FILE@FROM:TO for a band of Z");
  command.RepeatedOption("--recoat", options.recoats, "STYLE", "Recoat style, likewise");
  command.TextOption("--machine", options.machine, "NAME", "Machine type, or a profile of --machines");
  command.TextOption("--machines", options.machines, "FILE", "Machine profiles, a TOML file");
  options.process.resize(ProcessFields().size());
  for (size_t i = 0; i < ProcessFields().size(); ++i) {
    const ProcessField& field = ProcessFields()[i];
    command.TextOption(fmt::format("--{}", field.key), options.process[i], field.type, field.help);
  }
  command.Flag("--strict", options.strict, "Treat warnings as errors, such as a time that is left out");
  command.UsesUnits();
  command.FollowLinksFlag();
  command.AllFlag();
}

}  // namespace trqprep
