#include <algorithm>
#include <cctype>

#include "commands.h"
#include "style_verbs.h"
#include "trqprep/glob.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

// A name as people remember it: its letters, digits and brackets.
std::string Skeleton(const std::string& name) {
  std::string skeleton;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '[' || c == ']') skeleton += static_cast<char>(std::tolower(byte));
  }
  return skeleton;
}

}  // namespace

std::vector<std::size_t> SelectParameters(const StyleDocument& style, const std::string& pattern) {
  const std::vector<StyleParameter>& all = style.parameters;
  std::vector<std::size_t> exact, by_glob, by_skeleton;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (all[i].name == pattern) exact.push_back(i);
    if (all[i].named && IsGlob(pattern) && MatchesGlob(pattern, all[i].name)) by_glob.push_back(i);
    if (Skeleton(all[i].name) == Skeleton(pattern)) by_skeleton.push_back(i);
  }
  for (const auto& found : {exact, by_glob, by_skeleton}) {
    if (!found.empty()) return found;
  }
  std::vector<std::string> names;
  for (const StyleParameter& parameter : all) {
    if (parameter.named) names.push_back(parameter.name);
  }
  Fail(ExitCode::kUsage,
       Message(Code::kStyleParameter, "",
               IsGlob(pattern) ? "no parameter matches '" + pattern + "'"
                               : "there is no parameter '" + pattern + "'")
           .Hint(IsGlob(pattern) ? "'trqprep params' lists the names" : DidYouMean(pattern, names)));
}

const char* ExampleStyle(StyleKind kind) {
  return kind == StyleKind::kBuild ? "Fine.sty" : "ThreeSweeps.rcs";
}

Json DifferencesToJson(const std::vector<StyleDifference>& differences) {
  Json list = Json::array();
  for (const StyleDifference& difference : differences) {
    Json entry;
    entry["name"] = difference.name;
    for (const FieldDifference& field : difference.fields) {
      entry["fields"][field.field] = {{"before", field.before_json}, {"after", field.after_json}};
    }
    list.push_back(entry);
  }
  return list;
}

void PrintDifferences(Context& context, const std::vector<StyleDifference>& differences) {
  for (const StyleDifference& difference : differences) {
    for (const FieldDifference& field : difference.fields) {
      context.Print("{}: {} {} -> {}\n", difference.name, field.field, field.before, field.after);
    }
  }
}

void AddEditOptions(Command& command, EditOptions& options) {
  command.Output(options.output, "FILE", "Write to this file and leave the input as it is", false);
  command.Flag("--dry-run", options.dry_run, "Show what would change and write nothing");
}

ExitCode FinishEdit(Context& context, const StyleFile& file, const StyleDocument& edited,
                    const EditOptions& options) {
  const std::vector<StyleDifference> differences = Compare(file.style, edited);
  const std::string target = options.output.empty() ? file.path : options.output;
  context.data["file"] = TextToJson(file.path);
  context.data["dry_run"] = options.dry_run;
  context.data["changes"] = DifferencesToJson(differences);
  context.data["output"] = nullptr;
  bool held = true;
  for (const StyleDifference& lost : LostInFile(edited)) {
    const FieldDifference& field = lost.fields.front();
    context.Error(
        Message(Code::kStyleRefused, file.path,
                fmt::format("{}: the {} layout cannot hold {} {}; it would be read as {}", lost.name,
                            StyleLayoutName(edited.layout), field.field, field.before, field.after))
            .At({{"parameter", lost.name}}));
    held = false;
  }
  if (!held) return ExitCode::kNo;
  PrintDifferences(context, differences);
  if (differences.empty() && edited.layout == file.layout) context.Print("nothing to change\n");
  if (options.dry_run) return ExitCode::kDone;
  if (differences.empty() && edited.layout == file.layout && options.output.empty()) return ExitCode::kDone;
  WriteStyle(edited, target, options.output.empty() || context.options.force);
  context.data["output"] = TextToJson(target);
  return ExitCode::kDone;
}

void AddStyle(CommandTree& tree) {
  Command& style = tree.Add("style", "Look at and change build styles (.sty)");
  style.details =
      "A build style says how every layer of a part is cured: 238 named parameters. Names may be written "
      "without blanks and in any case; * ? [...] make a pattern. Values are numbers in the file's own "
      "units, which build style files do not record.";
  style.examples = {"trqprep style show Fine.sty", "trqprep style diff Fine.sty Standard.sty # exit 1"};
  AddStyleViews(style, StyleKind::kBuild);
  AddStyleEdits(style, StyleKind::kBuild);
}

}  // namespace trqprep
