// show, get, diff, verify and export of build and recoat styles.
#include <algorithm>
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

/// Lines of cells, padded to columns.
class TextTable {
 public:
  void Add(std::vector<std::string> cells) {
    widths_.resize(std::max(widths_.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i) widths_[i] = std::max(widths_[i], cells[i].size());
    lines_.push_back(std::move(cells));
  }
  std::string Line(std::size_t line) const {
    std::string text = "  ";
    for (std::size_t i = 0; i < lines_[line].size(); ++i) {
      const std::string& cell = lines_[line][i];
      text += cell;
      if (i + 1 < lines_[line].size()) text += std::string(widths_[i] - cell.size() + 2, ' ');
    }
    return text + "\n";
  }
  std::size_t size() const { return lines_.size(); }

 private:
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> lines_;
};

void PrintHead(Context& context, const StyleFile& file, const Json& data) {
  context.Print("{}: {}, {} layout\n", OneLine(file.path), StyleKindName(file.kind),
                StyleLayoutName(file.layout));
  const auto text = [&](const char* label, const char* key) {
    context.Print("  {:<11}  {}\n", label, OneLine(file.style.FindText(key)->text));
  };
  text("name", "style_name");
  if (data.contains("machine")) {
    context.Print("  machine      {} ({})\n", data["machine"].get<std::string>(),
                  data["machine_type"].get<int>());
  }
  if (data.contains("user_level")) context.Print("  user level   {}\n", data["user_level"].get<int>());
  if (file.kind == StyleKind::kRecoat) text("description", "build_description");
  if (data.contains("length_units")) text("units", "units");
}

void PrintSweeps(Context& context, const StyleDocument& style) {
  for (int list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& sweeps = style.sweeps[static_cast<std::size_t>(list)];
    context.Print("\nList {} ({})\n", SweepListName(list), sweeps.size());
    for (std::size_t i = 0; i < sweeps.size(); ++i) {
      context.Print("  {}  gap {} %, velocity {}\n", i + 1, sweeps[i].gap.value.Text(),
                    sweeps[i].velocity.value.Text());
    }
  }
}

ExitCode Show(Context& context, StyleKind kind, const ShowOptions& options) {
  const StyleFile file = LoadStyle(context, options.file, kind);
  const StyleDocument& style = file.style;
  std::set<std::size_t> selected;
  for (const std::string& pattern : options.only) {
    for (const std::size_t i : SelectParameters(style, pattern)) selected.insert(i);
  }
  TextTable table;
  table.Add({"parameter", "value", "unit", "default", "range", "allowed", "editable"});
  std::vector<std::pair<trq::StyleRegion, std::vector<std::size_t>>>
      regions;  // in order of their first lines
  std::size_t left_out = 0;
  context.data["file"] = TextToJson(options.file);
  DescribeStyle(file, context.data);
  context.data["parameters"] = Json::array();
  for (std::size_t i = 0; i < style.parameters.size(); ++i) {
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
    context.data["parameters"].push_back(entry);
    auto region = std::find_if(regions.begin(), regions.end(),
                               [&](const auto& known) { return known.first == parameter.region; });
    if (region == regions.end()) region = regions.insert(regions.end(), {parameter.region, {}});
    region->second.push_back(table.size());
    const RecordValues& record = parameter.record;
    table.Add({parameter.name + (stored ? "" : " (not in this file)"), record.value.Text(),
               StyleQuantityName(parameter.quantity), record.default_value.Text(), RangeText(record),
               AllowedText(record), YesNo(record.edit == 1)});
  }
  if (options.only.empty()) PrintHead(context, file, context.data);
  for (const auto& [region, lines] : regions) {
    context.Print("\n{}\n{}", StyleRegionName(region), table.Line(0));
    for (const std::size_t line : lines) context.text += table.Line(line);
  }
  if (kind == StyleKind::kRecoat && options.only.empty()) {
    context.data["sweeps"] = StyleToJson(style)["sweeps"];
    PrintSweeps(context, style);
  }
  if (left_out != 0) context.Print("\n{} more with --all\n", left_out);
  return ExitCode::kDone;
}

// --- get ---------------------------------------------------------------------------------------------------

ExitCode Get(Context& context, StyleKind kind, const std::string& path, const std::string& name) {
  const StyleFile file = LoadStyle(context, path, kind);
  const std::vector<std::size_t> selected = SelectParameters(file.style, name);
  context.data["file"] = TextToJson(path);
  context.data["parameters"] = Json::array();
  for (const std::size_t i : selected) {
    const StyleParameter& parameter = file.style.parameters[i];
    context.data["parameters"].push_back(ParameterToJson(parameter));
    const std::string value = parameter.record.value.Text();
    // Several come in the form that `set` takes.
    context.text += selected.size() == 1 ? value + "\n" : parameter.name + "=" + value + "\n";
  }
  return ExitCode::kDone;
}

// --- diff --------------------------------------------------------------------------------------------------

ExitCode Diff(Context& context, StyleKind kind, const std::string& before, const std::string& after) {
  const StyleFile a = LoadStyle(context, before, kind);
  const StyleFile b = LoadStyle(context, after, kind);
  const bool same_layout = a.layout == b.layout;
  if (!same_layout) {
    context.Note(Message(Code::kStyleLayouts, after,
                         fmt::format("has the {} layout, the first the {}; both are compared as read",
                                     StyleLayoutName(b.layout), StyleLayoutName(a.layout))));
  }
  std::vector<StyleDifference> differences =
      same_layout ? Compare(a.style, b.style) : Compare(AsRead(a), AsRead(b));
  if (!same_layout) {
    // "Version" follows the layout.
    differences.erase(std::remove_if(differences.begin(), differences.end(),
                                     [](const StyleDifference& d) { return d.name == "Version"; }),
                      differences.end());
  }
  context.data["before"] = TextToJson(before);
  context.data["after"] = TextToJson(after);
  context.data["different"] = !differences.empty();
  context.data["differences"] = DifferencesToJson(differences);
  PrintDifferences(context, differences);
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

ExitCode Verify(Context& context, StyleKind kind, const std::string& path) {
  const std::optional<StyleFile> file = ExamineStyle(path, ReadWholeFile(path), kind);
  if (!file || file->kind != kind) {
    Fail(ExitCode::kInput,
         Message(Code::kStyleUnknown, path, fmt::format("is no {} file", StyleKindName(kind)))
             .Hint(file ? fmt::format("it is a {}: 'trqprep {} verify'", StyleKindName(file->kind),
                                      StyleCommand(file->kind))
                        : "'trqprep info' tells what a file holds"));
  }
  context.data["file"] = TextToJson(path);
  DescribeStyle(*file, context.data);
  bool good = true;
  const auto complain = [&](Message message) {
    context.Error(std::move(message));
    good = false;
  };
  if (!file->complete) {
    complain(StyleIsShort(*file).At({{"byte", file->bytes.size()}}));
  } else if (!file->ends_right) {
    const std::size_t expected = file->end + 4;
    complain(Message(Code::kStyleLength, path,
                     fmt::format("has {} bytes; its {} layout with checksum takes {}", file->bytes.size(),
                                 StyleLayoutName(file->layout), expected))
                 .At({{"byte", file->end}}));
  }
  if (!file->crc_valid()) complain(StyleIsDamaged(*file));
  RewriteChanges changes;
  if (file->complete) changes = ChangesByRewriting(*file);
  for (const RewriteChanges::Entry& entry : changes.lost) {
    complain(ChangeMessage(Code::kStyleLost, path, entry)
                 .Hint("written again, the file would hold something else here")
                 .At({{"byte", entry.offset}, {"parameter", entry.name}}));
  }
  for (const RewriteChanges::Entry& entry : changes.notes) {
    context.Note(ChangeMessage(Code::kStyleSlack, path, entry)
                     .At({{"byte", entry.offset}, {"parameter", entry.name}}));
  }
  if (file->kind_from_name) {
    context.Note(Message(Code::kStyleNameDecides, path,
                         fmt::format("could be either kind of style; taken as a {}", StyleKindName(kind))));
  }
  context.data["lost"] = EntriesToJson(changes.lost);
  context.data["notes"] = EntriesToJson(changes.notes);
  context.Print("{}: {}, {} layout, {} bytes: {}\n", OneLine(path), StyleKindName(kind),
                StyleLayoutName(file->layout), file->bytes.size(), good ? "good" : "not good");
  return good ? ExitCode::kDone : ExitCode::kNo;
}

// --- export ------------------------------------------------------------------------------------------------

struct ExportOptions {
  std::string file;
  std::string format;
  std::string output;
};

ExitCode Export(Context& context, StyleKind kind, const ExportOptions& options) {
  const StyleFile file = LoadStyle(context, options.file, kind);
  const StyleDocument style = AsRead(file);
  std::string text;
  if (options.format == "json") {
    const Json json = StyleToJson(style);
    context.data["style"] = json;
    text = JsonDocument(json);
  } else {
    text = options.format == "tidy-csv" ? StyleToTidyCsv(style) : TextExport(style, options.format == "csv");
    context.data["text"] = TextToJson(text);
  }
  context.data["file"] = TextToJson(options.file);
  context.data["format"] = options.format;
  if (options.output.empty()) {
    context.text = text;
  } else {
    WriteOutputFile(options.output, text, context.options.force);
    context.data["output"] = TextToJson(options.output);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddStyleViews(Command& group, StyleKind kind) {
  const std::string noun = StyleKindName(kind);
  const std::string command = StyleCommand(kind);
  const std::string file = ExampleStyle(kind);
  const bool build = kind == StyleKind::kBuild;
  {
    auto options = std::make_shared<ShowOptions>();
    Command& show = group.Sub("show", "Print the parameters as a table");
    show.details =
        "Grouped by region: value, unit, default, range, allowed values, and whether the user interface "
        "lets the parameter be edited. Left out, unless --all is given, are parameters that the user "
        "interface hides, records without a name, and what the file's layout does not store.";
    show.Argument("FILE", options->file, "The " + noun + " file");
    show.RepeatedOption("--only", options->only, "NAME", "Only parameters of that name or pattern");
    show.Flag("--all", options->all, "Leave nothing out");
    show.examples = {"trqprep " + command + " show " + file,
                     "trqprep " + command + " show " + file +
                         (build ? " --only 'Large*' --only '*Power'" : " --only '*ZVelocity' --json")};
    show.run = [options, kind](Context& context) { return Show(context, kind, *options); };
  }
  {
    auto paths = std::make_shared<std::vector<std::string>>(2);
    Command& get = group.Sub("get", "Print the value of a parameter");
    get.details = "A pattern that means several parameters prints NAME=VALUE lines, as 'set' takes them.";
    get.Argument("FILE", (*paths)[0], "The " + noun + " file");
    get.Argument("NAME", (*paths)[1], "The parameter").Type("NAME");
    get.examples = {
        "trqprep " + command + " get " + file + (build ? " 'Layer Thickness'" : " 'Z Dip Distance'"),
        "trqprep " + command + " get " + file + (build ? " 'Large Up Fill*'" : " '*Delay'")};
    get.run = [paths, kind](Context& context) { return Get(context, kind, (*paths)[0], (*paths)[1]); };
  }
  {
    auto paths = std::make_shared<std::vector<std::string>>(2);
    Command& diff = group.Sub("diff", "Compare two files by parameter name");
    diff.details =
        "Prints every field that differs and ends with exit 1 when there is one. Files of different "
        "layouts are compared as the application reads them.";
    diff.Argument("A", (*paths)[0], "The first file");
    diff.Argument("B", (*paths)[1], "The second file");
    diff.examples = {build ? "trqprep style diff Fine.sty Standard.sty # exit 1"
                           : "trqprep recoat set ThreeSweeps.rcs 'Z Wait=3' -o b.rcs && trqprep recoat "
                             "diff ThreeSweeps.rcs b.rcs # exit 1",
                     "trqprep " + command + " diff " + file + " " + file + " --json"};
    diff.run = [paths, kind](Context& context) { return Diff(context, kind, (*paths)[0], (*paths)[1]); };
  }
  {
    auto path = std::make_shared<std::string>();
    Command& verify = group.Sub("verify", "Check a file's checksum and that all of it survives");
    verify.details =
        "The file is read and written in its own layout; a stored value that comes out different is an "
        "error. Bytes that mean nothing, such as those after the NUL of a text, are notes.\n\n"
        "Exit 0: good, with notes at most; 1: not good; 3: no " +
        noun + " file.";
    verify.Argument("FILE", *path, "The " + noun + " file");
    verify.examples = {"trqprep " + command + " verify " + file,
                       "trqprep " + command + " verify --json " + file};
    verify.run = [path, kind](Context& context) { return Verify(context, kind, *path); };
  }
  {
    auto options = std::make_shared<ExportOptions>();
    Command& export_verb = group.Sub("export", "Print the style as text, table or JSON");
    export_verb.details =
        "txt and csv are the application's own reports. json and tidy-csv are complete: unnamed records, "
        "texts and header words too, every number so that it reads back the same; 'import' reads json. "
        "The style is exported as the application reads it, a 206 file with the values of its conversion.";
    export_verb.Argument("FILE", options->file, "The " + noun + " file");
    export_verb.TextOption("--to", options->format, "txt|csv|json|tidy-csv", "What to make").Required();
    export_verb.Output(options->output, "FILE", "Write to this file instead of standard output", false);
    export_verb.examples = {"trqprep " + command + " export " + file + " --to json -o style.json",
                            "trqprep " + command + " export " + file + " --to tidy-csv"};
    export_verb.run = [options, kind](Context& context) { return Export(context, kind, *options); };
  }
}

}  // namespace trqprep
