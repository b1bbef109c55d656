// show, get, diff, verify and export of build and recoat styles.
#include <algorithm>
#include <array>
#include <set>

#include "style_verbs.h"
#include "trqprep/atomic_output.h"

namespace trqprep {
namespace {

// --- show --------------------------------------------------------------------------------------------------

struct ShowOptions {
  std::string file;
  std::vector<std::string> only;
  bool all = false;
};

using Cells = std::array<std::string, 7>;

void TellHead(Context& context) {
  context.Tell("{file}: {kind}, {layout} layout\n  name         {style_name}\n");
  constexpr std::array<const char*, 2> kLines[] = {
      {"machine", "  machine      {machine} ({machine_type})\n"},
      {"user_level", "  user level   {user_level}\n"},
      {"build_description", "  description  {build_description}\n"},
      {"length_units", "  units        {length_units}\n"},
  };
  for (const auto& [key, line] : kLines) {
    if (context.data.contains(key)) context.Tell(line);
  }
}

ExitCode Show(Context& context, const ShowOptions& options, StyleKind kind) {
  const StyleFile file = LoadStyle(context, options.file, kind);
  const StyleDocument& style = file.style;
  std::set<size_t> selected;
  for (const std::string& pattern : options.only) {
    for (const size_t i : SelectParameters(style, pattern)) selected.insert(i);
  }
  const Cells head{"parameter", "value", "unit", "default", "range", "allowed", "editable"};
  std::vector<std::pair<trq::StyleRegion, std::vector<Cells>>> regions;  // in order of their first lines
  std::array<size_t, 7> widths{};
  const auto measure = [&](const Cells& cells) {
    for (size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size() + 2);
  };
  measure(head);
  size_t left_out = 0;
  context.State({{"file", TextToJson(options.file)}});
  DescribeStyle(file, context.data);
  Json& listed = context.data["parameters"] = Json::array();
  for (size_t i = 0; i < style.parameters.size(); ++i) {
    const StyleParameter& parameter = style.parameters[i];
    const bool stored = IsStored(style, i);
    const bool chosen = options.only.empty()
                            ? options.all || (parameter.named && parameter.record.display != 0 && stored)
                            : selected.count(i) != 0 && (options.all || stored);
    if (!chosen) {
      left_out += options.only.empty() || selected.count(i) != 0 ? 1 : 0;
      continue;
    }
    Json entry = ParameterToJson(parameter);
    entry["stored"] = stored;
    listed.push_back(entry);
    auto region = std::find_if(regions.begin(), regions.end(),
                               [&](const auto& known) { return known.first == parameter.region; });
    if (region == regions.end()) region = regions.insert(regions.end(), {parameter.region, {}});
    const RecordValues& record = parameter.record;
    region->second.push_back({parameter.name + (stored ? "" : " (not in this file)"), record.value.Text(),
                              StyleQuantityName(parameter.quantity), record.default_value.Text(),
                              RangeText(record), AllowedText(record), YesNo(record.edit == 1)});
    measure(region->second.back());
  }
  if (options.only.empty()) TellHead(context);
  for (auto& [region, lines] : regions) {
    context.text += fmt::format("\n{}\n", StyleRegionName(region));
    lines.insert(lines.begin(), head);
    for (const Cells& cells : lines) {
      context.text += "  ";
      for (size_t i = 0; i + 1 < cells.size(); ++i) {
        context.text += fmt::format("{:<{}}", cells[i], widths[i]);
      }
      context.text += cells.back() + "\n";
    }
  }
  if (kind == StyleKind::kRecoat && options.only.empty()) {
    context.State({{"sweeps", StyleToJson(style)["sweeps"]}});
    for (size_t list = 0; list < kSweepLists; ++list) {
      TellSweeps(context, style, list, "\nList {list} ({count})\n",
                 "  {number}  gap {gap} %, velocity {velocity}\n");
    }
  }
  if (left_out != 0) context.Tell("\n{count} more with --all\n", {{"count", left_out}});
  return ExitCode::kDone;
}

// --- get ---------------------------------------------------------------------------------------------------

using TwoTexts = std::array<std::string, 2>;

ExitCode Get(Context& context, const TwoTexts& file_and_name, StyleKind kind) {
  const auto& [path, name] = file_and_name;
  const StyleFile file = LoadStyle(context, path, kind);
  const std::vector<size_t> selected = SelectParameters(file.style, name);
  Json parameters;
  for (const size_t i : selected) {
    const StyleParameter& parameter = file.style.parameters[i];
    parameters.push_back(ParameterToJson(parameter));
    // Several come in the form that `set` takes.
    context.Tell(selected.size() == 1 ? "{value}\n" : "{name}={value}\n",
                 {{"name", parameter.name}, {"value", parameter.record.value.Text()}});
  }
  context.State({{"file", TextToJson(path)}, {"parameters", parameters}});
  return ExitCode::kDone;
}

// --- diff --------------------------------------------------------------------------------------------------

ExitCode Diff(Context& context, const TwoTexts& files, StyleKind kind) {
  const auto& [before, after] = files;
  const StyleFile a = LoadStyle(context, before, kind);
  const StyleFile b = LoadStyle(context, after, kind);
  const std::vector<StyleDifference> differences = CompareFiles(context, a, b);
  context.State({{"file_before", TextToJson(before)},
                 {"file_after", TextToJson(after)},
                 {"different", !differences.empty()},
                 {"differences", DifferencesToJson(differences)}});
  TellDifferences(context, differences);
  return differences.empty() ? ExitCode::kDone : ExitCode::kNo;
}

// --- verify ------------------------------------------------------------------------------------------------

Json EntriesToJson(const std::vector<RewriteChanges::Entry>& entries) {
  Json list = Json::array();
  for (const RewriteChanges::Entry& entry : entries) {
    list.push_back({{"name", entry.name}, {"byte", entry.offset}, {"text", TextToJson(entry.text)}});
  }
  return list;
}

ExitCode Verify(Context& context, const std::string& path, StyleKind kind) {
  const std::optional<StyleFile> file = ExamineStyle(path, ReadWholeFile(path), kind);
  if (!file || file->kind != kind) {
    FailInput(Code::kStyleUnknown, path, fmt::format("is not a {} file", StyleKindName(kind)),
              file ? fmt::format("it is a {}: 'trqprep {} verify'", StyleKindName(file->kind),
                                 StyleCommand(file->kind))
                   : "'trqprep info' tells what a file holds");
  }
  context.State({{"file", TextToJson(path)}});
  DescribeStyle(*file, context.data);
  const RewriteChanges changes = file->complete ? ChangesByRewriting(*file) : RewriteChanges();
  bool good = true;
  for (const Message& message : VerifyStyle(*file, changes)) {
    good = good && message.severity != Severity::kError;
    context.Say(message);
  }
  NoteNameDecides(context, *file);
  context.Report({{"lost", EntriesToJson(changes.lost)}, {"notes", EntriesToJson(changes.notes)}},
                 "{file}: {kind}, {layout} layout, {file_size:+byte}: {good}\n",
                 {{"good", good ? "good" : "not good"}});
  return good ? ExitCode::kDone : ExitCode::kNo;
}

// --- export ------------------------------------------------------------------------------------------------

struct ExportOptions {
  std::string file;
  std::string format;
  std::string output;
};

ExitCode Export(Context& context, const ExportOptions& options, StyleKind kind) {
  const StyleFile file = LoadStyle(context, options.file, kind);
  const StyleDocument style = AsRead(file);
  std::string text;
  if (options.format == "json") {
    context.State({{"style", StyleToJson(style)}});
    text = JsonDocument(context.data["style"]);
  } else {
    text = options.format == "tidy-csv" ? StyleToTidyCsv(style) : TextExport(style, options.format == "csv");
    context.State({{"text", TextToJson(text)}});
  }
  context.State({{"file", TextToJson(options.file)}, {"format", options.format}});
  if (options.output.empty()) {
    context.text = text;
  } else {
    WriteOutputFile(options.output, text, context.options.force);
    context.State({{"output", TextToJson(options.output)}});
  }
  return ExitCode::kDone;
}

}  // namespace

void AddStyleViews(Command& group, StyleKind kind) {
  const bool build = kind == StyleKind::kBuild;
  {
    Command& verb = group.Sub(
        "show", "Print the parameters as a table",
        "Grouped by region: value, unit, default, range, allowed values, and whether the user interface "
        "lets the parameter be edited. Left out, unless --all is given, are parameters that the user "
        "interface hides, records without a name, and what the file's layout does not store.",
        {"trqprep {command} show {file}",
         build ? "trqprep style show Fine.sty --only 'Large*' --only '*Power'"
               : "trqprep recoat show ThreeSweeps.rcs --only '*ZVelocity' --json"});
    auto& options = verb.Runs(Show, kind);
    verb.Argument("FILE", options.file, "The {noun} file");
    verb.RepeatedOption("--only", options.only, "NAME", "Only parameters of that name or pattern");
    verb.Flag("--all", options.all, "Leave nothing out");
  }
  {
    Command& verb =
        group.Sub("get", "Print the value of a parameter",
                  "A pattern that means several parameters prints NAME=VALUE lines, as 'set' takes them.",
                  {build ? "trqprep style get Fine.sty 'Layer Thickness'"
                         : "trqprep recoat get ThreeSweeps.rcs 'Z Dip Distance'",
                   build ? "trqprep style get Fine.sty 'Large Up Fill*'"
                         : "trqprep recoat get ThreeSweeps.rcs '*Delay'"});
    auto& [path, name] = verb.Runs(Get, kind);
    verb.Argument("FILE", path, "The {noun} file");
    verb.Argument("NAME", name, "The parameter").Type("NAME");
  }
  {
    Command& verb = group.Sub(
        "diff", "Compare two files by parameter name",
        "Prints every field that differs and ends with exit 1 when there is one. Files of different "
        "layouts are compared as the application reads them.",
        {build ? "trqprep style diff Fine.sty Standard.sty # exit 1"
               : "trqprep recoat set ThreeSweeps.rcs 'Z Wait=3' -o b.rcs && trqprep recoat "
                 "diff ThreeSweeps.rcs b.rcs # exit 1",
         "trqprep {command} diff {file} {file} --json"});
    auto& [before, after] = verb.Runs(Diff, kind);
    verb.Argument("A", before, "The first file");
    verb.Argument("B", after, "The second file");
  }
  {
    Command& verb = group.Sub(
        "verify", "Check a file's checksum and that all of it survives",
        "The file is read and written in its own layout; a stored value that comes out different is an "
        "error. Bytes that mean nothing, such as those after the NUL of a text, are notes.\n\n"
        "Exit 0: good, with notes at most; 1: not good; 3: no {noun} file.",
        {"trqprep {command} verify {file}", "trqprep {command} verify --json {file}"});
    verb.Argument("FILE", verb.Runs(Verify, kind), "The {noun} file");
  }
  {
    Command& verb = group.Sub(
        "export", "Print the style as text, table or JSON",
        "txt and csv are the application's own reports. json and tidy-csv are complete: unnamed records, "
        "texts and header words too, every number so that it reads back the same; 'import' reads json. "
        "The style is exported as the application reads it, a 206 file with the values of its conversion.",
        {"trqprep {command} export {file} --to json -o {command}.json",
         "trqprep {command} export {file} --to tidy-csv"});
    auto& options = verb.Runs(Export, kind);
    verb.Argument("FILE", options.file, "The {noun} file");
    verb.TextOption("--to", options.format, "txt|csv|json|tidy-csv", "What to make").Required();
    verb.Output(options.output, "FILE", "Write to this file instead of standard output", false);
  }
}

}  // namespace trqprep
