#include <array>
#include <map>

#include "commands.h"
#include "duration_text.h"
#include "trqprep/fleet.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> folders;
  bool csv = false;
};

// How often a code was found, and in how many builds.
struct Found {
  int64_t count = 0;
  int64_t builds = 0;
};
using Findings = std::map<std::pair<Severity, std::string>, Found>;

int64_t CountOf(const Findings& findings, Severity severity) {
  int64_t count = 0;
  for (const auto& [key, found] : findings) count += key.first == severity ? found.count : 0;
  return count;
}

// What one build and all of them have in common.
struct Sum {
  int64_t builds = 0, parts = 0, pieces = 0;
  double volume = 0;
  int64_t with_resin = 0, with_times = 0;
  double resin = 0;
  std::array<double, 2> seconds{};
  Findings findings;

  void Add(const BuildSummary& build) {
    ++builds;
    parts += build.parts;
    pieces += build.pieces;
    volume += build.volume;
    with_resin += build.resin.has_value();
    resin += build.resin.value_or(0);
    with_times += build.seconds.has_value();
    for (size_t k = 0; k < 2 && build.seconds; ++k) seconds[k] += (*build.seconds)[k];
    for (const auto& [key, count] : build.findings) {
      findings[key].count += count;
      ++findings[key].builds;
    }
  }

  // The figures are rounded to single precision, as those that they are the sums of.
  Json Facts(bool of_all) const {
    Json facts{{"part_count", parts},
               {"piece_count", pieces},
               {"volume", NumberToJson(float(volume))},
               {"resin", with_resin == 0 ? Json() : NumberToJson(float(resin))},
               {"total", nullptr}};
    if (with_times > 0) {
      facts["total"] = {{"least", NumberToJson(float(seconds[0]))},
                        {"most", NumberToJson(float(seconds[1]))}};
    }
    facts["errors"] = CountOf(findings, Severity::kError);
    facts["warnings"] = CountOf(findings, Severity::kWarning);
    facts["findings"] = Json::array();
    // The worst first.
    for (auto entry = findings.rbegin(); entry != findings.rend(); ++entry) {
      Json finding{{"code", entry->first.second},
                   {"severity", SeverityName(entry->first.first)},
                   {"count", entry->second.count}};
      if (of_all) finding["build_count"] = entry->second.builds;
      facts["findings"].push_back(std::move(finding));
    }
    return facts;
  }
};

// "OVERLAP, NO-STYLE (2)"
std::string CodesOf(const Json& findings) {
  std::string text;
  for (const Json& finding : findings) {
    text += (text.empty() ? "" : ", ") + finding["code"].get<std::string>();
    const auto count = finding["count"].get<int64_t>();
    if (count > 1) text += fmt::format(" ({})", count);
  }
  return text;
}

// A field of a line of comma-separated values.
std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

class Summary {
 public:
  Summary(Context& context, const Options& options) : context_(context), csv_(options.csv) {
    context.data = {{"builds", Json::array()}, {"damaged", Json::array()}};
    if (csv_) {
      context.Tell(
          "folder,part_count,piece_count,volume_mm3,resin_ml,least_s,most_s,errors,warnings,findings,damage\n");
    } else {
      context.Tell(" parts  pieces    volume, ml     resin, ml {time|>24}  folder\n", {{"time", "time"}});
    }
  }

  void Take(const std::string& path) {
    try {
      for (const BuildSummary& build : SummarizeBuilds(path)) {
        if (build.damage.empty()) {
          Take(build);
          continue;
        }
        differs_ = true;
        for (const Message& finding : build.damage) context_.Say(finding);
        TakeDamaged(build.folder, build.damage);
      }
    } catch (const Failure& failure) {
      if (failure.exit != ExitCode::kInput) throw;
      unreadable_ = true;
      context_.Say(failure.message);
      TakeDamaged(path, {failure.message});
    }
  }

  ExitCode End() {
    Json totals{{"build_count", all_.builds}};
    totals.update(all_.Facts(true));
    totals["estimated_count"] = all_.with_times;
    totals["damaged_count"] = context_.data["damaged"].size();
    context_.State({{"totals", totals}});
    if (!csv_) TellTotals(totals);
    if (unreadable_) return ExitCode::kInput;
    return differs_ ? ExitCode::kNo : ExitCode::kDone;
  }

 private:
  void Take(const BuildSummary& build) {
    Sum one;
    one.Add(build);
    all_.Add(build);
    Json row{{"folder", TextToJson(build.folder)}};
    row.update(one.Facts(false));
    Json words = row;
    words["codes"] = CodesOf(row["findings"]);
    if (csv_) {
      const Json& total = row["total"];
      words["folder"] = CsvField(build.folder);
      words["codes"] = CsvField(words["codes"].get<std::string>());
      words["least"] = total.is_object() ? total["least"] : Json("");
      words["most"] = total.is_object() ? total["most"] : Json("");
      if (row["resin"] == nullptr) words["resin"] = "";
      context_.Tell(
          "{folder},{part_count},{piece_count},{volume},{resin},{least},{most},{errors},{warnings},{codes},\n",
          words);
    } else {
      TellFigures(words, build.volume);
      context_.Tell("  {folder}", words);
      context_.Tell(row["findings"].empty() ? "\n" : ": {codes}\n", words);
    }
    context_.data["builds"].push_back(std::move(row));
  }

  void TellFigures(Json figures, double volume) {
    figures["ml"] = NumberToJson(volume / 1000);
    figures["time"] = figures["total"].is_object() ? DurationRange(figures["total"]) : "-";
    context_.Tell("{part_count|>6} {piece_count|>7} {ml:2|>13} {resin:2|>13} {time|>24}", figures);
  }

  // Each code of a folder once.
  void TakeDamaged(const std::string& folder, const std::vector<Message>& damage) {
    Json codes = Json::array();
    std::vector<const Message*> said;
    for (const Message& message : damage) {
      said.push_back(&message);
      const Json code = RowOf(message.code).text;
      bool known = false;
      for (const Json& other : codes) known = known || other == code;
      if (known) continue;
      codes.push_back(code);
      ++damaged_by_code_[RowOf(message.code).text];
    }
    const std::string counted = CountedCodes(said);
    context_.Tell(csv_ ? "{folder},,,,,,,,,,{codes}\n" : "{mark|>67}  {folder}: {codes}\n",
                  {{"folder", csv_ ? Json(CsvField(folder)) : TextToJson(folder)},
                   {"codes", csv_ ? CsvField(counted) : counted},
                   {"mark", "damaged"}});
    context_.data["damaged"].push_back({{"folder", TextToJson(folder)}, {"codes", codes}});
  }

  void TellTotals(const Json& totals) {
    TellFigures(totals, all_.volume);
    context_.Tell("  {build_count:+build}\n", totals);
    if (all_.with_times > 0 && all_.with_times < all_.builds) {
      context_.Tell("resin and time are those of {count} of them, which have an estimate\n",
                    {{"count", all_.with_times}});
    }
    for (const Json& finding : totals["findings"]) {
      context_.Tell("{severity} {code}: {count} in {build_count:+build}\n", finding);
    }
    for (const auto& [code, count] : damaged_by_code_) {
      context_.Tell("damaged {code}: {folders:+folder}\n", {{"code", code}, {"folders", count}});
    }
  }

  Context& context_;
  bool csv_;
  bool unreadable_ = false;
  bool differs_ = false;
  Sum all_;
  std::map<std::string, int64_t> damaged_by_code_;
};

ExitCode Summarize(Context& context, const Options& options) {
  context.files_are_told = true;
  if (options.folders.size() > 1) context.Gather();
  context.data_units = Units::kMillimetre;
  Summary summary(context, options);
  for (size_t i = 0; i < options.folders.size(); ++i) {
    std::string folder = options.folders[i];
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    context.Progress("summing up " + folder, double(i) / double(options.folders.size()));
    summary.Take(folder);
  }
  return summary.End();
}

}  // namespace

void AddFleet(CommandTree& tree) {
  Command& command = tree.Add("fleet", "Sum up many build folders",
                              "What hundreds of builds hold together. docs/fleet.md tells how to run them "
                              "with make, parallel, Snakemake or Slurm.",
                              {});
  Command& summary = command.Sub(
      "summary", "Volume, resin, time and findings of many build folders",
      "A row a build folder, one a plate of a folder of several plates, and their sums: parts and pieces, the volume inside "
      "the surfaces of all pieces, resin and time by estimate.json where a folder has one, and what the "
      "checks found when it was built. build.json, checks.json and estimate.json are compared with their sums, and all "
      "files have to be there and as long as they were; 'trqprep verify' reads them too. A damaged folder is named with its codes and left out "
      "of the sums, and does not keep the others from being read. Ends with 1 when a folder is not as it was built, and with 3 when "
      "one is not a build folder or cannot be read.",
      {"trqprep build bracket.stl -o first && trqprep fleet summary first",
       "trqprep fleet summary first --csv"});
  auto& options = summary.Runs(Summarize);
  summary.Arguments("FOLDER", options.folders, "Build folders").Type("FOLDER");
  summary.Flag("--csv", options.csv, "Comma-separated values with a line of names");
  summary.AllFlag();
}

}  // namespace trqprep
