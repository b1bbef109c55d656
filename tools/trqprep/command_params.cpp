#include <algorithm>

#include "commands.h"
#include "trqprep/glob.h"
#include "trqprep/stored_style.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

struct Options {
  std::string pattern;
  std::string kind;
  bool all = false;
};

bool Matches(const std::string& pattern, const std::string& name) {
  return pattern.empty() || name == pattern || MatchesGlob(pattern, name);
}

ExitCode Run(Context& context, const Options& options) {
  context.data["parameters"] = Json::array();
  std::vector<std::string> names;
  for (const StyleKind kind : {StyleKind::kBuild, StyleKind::kRecoat}) {
    if (!options.kind.empty() && options.kind != StyleCommand(kind)) continue;
    Json rows;
    size_t width = 0;
    for (const StyleParameter& parameter : NewStyle(kind).parameters) {
      names.push_back(parameter.name);
      if ((!parameter.named && !options.all) || !Matches(options.pattern, parameter.name)) continue;
      width = std::max(width, parameter.name.size());
      const RecordValues& record = parameter.record;
      const bool ranges = record.HasRange();
      const Json entry{{"kind", StyleKindName(kind)},
                       {"name", parameter.name},
                       {"named", parameter.named},
                       {"type", record.value.is_float() ? "float" : "int"},
                       {"unit", StyleQuantityName(parameter.quantity)},
                       {"region", StyleRegionName(parameter.region)},
                       {"value", record.value},
                       {"default", record.default_value},
                       {"minimum", ranges ? Json(record.minimum) : nullptr},
                       {"maximum", ranges ? Json(record.maximum) : nullptr}};
      context.data["parameters"].push_back(entry);
      rows.push_back(entry);
      rows[rows.size() - 1].update({{"default", record.default_value.Text()}, {"range", RangeText(record)}});
    }
    if (rows.empty()) continue;
    const std::string form = fmt::format(
        "  {{name|<{}}}  {{type|<5}}  {{unit|<12}}  {{default|>6}}  {{range|<13}}  {{region}}\n", width);
    context.Tell("{kind}s\n", {{"kind", StyleKindName(kind)}});
    Json head;
    for (const char* title : {"name", "type", "unit", "default", "range", "region"}) head[title] = title;
    context.Tell(form, head);
    context.TellEach(rows, form);
  }
  if (context.data["parameters"].empty()) {
    Fail(ExitCode::kUsage,
         Message(Code::kStyleParameter, "", "no parameter matches '" + options.pattern + "'")
             .Hint(IsGlob(options.pattern) ? "'trqprep params' lists the names"
                                           : DidYouMean(options.pattern, names)));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddParams(CommandTree& tree) {
  Command& command = tree.Add(
      "params", "List the parameters of build and recoat styles",
      "Name, type, unit, default and range in a new style, region. \"length, kept\" is a length that "
      "'units' leaves alone; a range of - takes every finite number.",
      {"trqprep params 'Large Up*'", "trqprep params --kind recoat --json"});
  auto& options = command.Runs(Run);
  command.Argument("PATTERN", options.pattern, "Name or pattern, such as 'Large*'")
      .Required(false)
      .Type("NAME");
  command.TextOption("--kind", options.kind, "style|recoat", "Only those of build or of recoat styles");
  command.Flag("--all", options.all, "Records without a name, too");
}

}  // namespace trqprep
