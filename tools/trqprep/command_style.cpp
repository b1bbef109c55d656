#include <algorithm>
#include <cctype>

#include "commands.h"
#include "style_verbs.h"
#include "trqprep/atomic_output.h"
#include "trqprep/glob.h"
#include "trqprep/style_edits.h"
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

std::vector<size_t> SelectParameters(const StyleDocument& style, const std::string& pattern) {
  const std::vector<StyleParameter>& all = style.parameters;
  std::vector<size_t> exact, by_glob, by_skeleton;
  for (size_t i = 0; i < all.size(); ++i) {
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
  const bool glob = IsGlob(pattern);
  Fail(ExitCode::kUsage,
       Message(Code::kStyleParameter, "",
               (glob ? "no parameter matches '" : "there is no parameter '") + pattern + "'")
           .Hint(glob ? "'trqprep params' lists the names" : DidYouMean(pattern, names)));
}

Command& AddStyleGroup(CommandTree& tree, StyleKind kind, const std::string& details,
                       const std::vector<std::string>& examples) {
  const bool build = kind == StyleKind::kBuild;
  const Json words{{"noun", StyleKindName(kind)},
                   {"command", StyleCommand(kind)},
                   {"file", build ? "Fine.sty" : "ThreeSweeps.rcs"},
                   {"ending", build ? ".sty" : ".rcs"}};
  Command& group =
      tree.Add(StyleCommand(kind), "Look at and change {noun}s ({ending})", details, examples, words);
  AddStyleViews(group, kind);
  AddStyleEdits(group, kind);
  return group;
}

void TellDifferences(Context& context, const std::vector<StyleDifference>& differences) {
  for (const StyleDifference& difference : differences) {
    for (const FieldDifference& field : difference.fields) {
      context.text +=
          fmt::format("{}: {} {} -> {}\n", difference.name, field.field, field.before, field.after);
    }
  }
}

void TellSweeps(Context& context, const StyleDocument& style, size_t list, const char* head,
                const char* row) {
  const std::vector<SweepValues>& sweeps = style.sweeps[list];
  context.Tell(head, {{"list", SweepListName(list)}, {"count", sweeps.size()}});
  for (size_t i = 0; i < sweeps.size(); ++i) {
    context.Tell(row, {{"number", i + 1},
                       {"gap", sweeps[i].gap.value.Text()},
                       {"velocity", sweeps[i].velocity.value.Text()}});
  }
}

void AddEditOptions(Command& command, EditOptions& options) {
  command.Output(options.output, "FILE", "Write to this file and leave the input as it is", false);
  command.Flag("--dry-run", options.dry_run, "Show what would change and write nothing");
}

namespace {

// Without -o the file itself is replaced, but what came from standard input goes to standard output.
bool IsReplaced(const std::string& file, const EditOptions& options) {
  return file != "-" && (options.output.empty() || IsSameFile(options.output, file));
}

}  // namespace

std::optional<EditLock> LockForEdit(Context& context, const std::string& file, const EditOptions& options) {
  if (options.dry_run || !IsReplaced(file, options)) return std::nullopt;
  return EditLock(context, file);
}

ExitCode FinishEdit(Context& context, const StyleFile& file, const StyleDocument& edited,
                    const EditOptions& options) {
  const std::vector<StyleDifference> differences = Compare(file.style, edited);
  // What came from standard input goes to standard output, changed or not.
  const bool piped = options.output.empty() && file.path == "-";
  const bool in_place = options.output.empty();
  const std::string& target = in_place ? file.path : options.output;
  context.State({{"file", TextToJson(file.path)},
                 {"dry_run", options.dry_run},
                 {"differences", DifferencesToJson(differences)},
                 {"output", nullptr}});
  const std::vector<Message> lost = FindLost(file.path, edited);
  for (const Message& message : lost) context.Error(message);
  if (!lost.empty()) return ExitCode::kNo;
  TellDifferences(context, differences);
  const bool same = differences.empty() && edited.layout == file.layout;
  if (same) context.Tell("nothing to change\n");
  if (options.dry_run || (same && in_place && !piped)) return ExitCode::kDone;
  if (in_place) RequireEditable(target, context.options.force);
  if (IsReplaced(file.path, options) && (in_place || context.options.force)) {
    ReplaceFile(target, file.bytes, StyleBytes(edited));
  } else {
    WriteStyle(edited, target, in_place || context.options.force);
  }
  context.State({{"output", TextToJson(target)}});
  return ExitCode::kDone;
}

void AddStyle(CommandTree& tree) {
  AddStyleGroup(
      tree, StyleKind::kBuild,
      "A build style says how every layer of a part is cured: 238 named parameters. Names may be written "
      "without blanks and in any case; * ? [...] make a pattern. Values are numbers in the file's own "
      "units, which build style files do not record.",
      {"trqprep style show Fine.sty", "trqprep style diff Fine.sty Standard.sty # exit 1"});
}

}  // namespace trqprep
