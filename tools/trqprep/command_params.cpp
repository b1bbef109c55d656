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
  std::size_t shown = 0;
  for (const StyleKind kind : {StyleKind::kBuild, StyleKind::kRecoat}) {
    if (!options.kind.empty() && options.kind != StyleCommand(kind)) continue;
    const StyleDocument style = NewStyle(kind);
    std::string lines;
    std::size_t width = 0;
    const auto chosen = [&](const StyleParameter& parameter) {
      return (parameter.named || options.all) && Matches(options.pattern, parameter.name);
    };
    for (const StyleParameter& parameter : style.parameters) {
      names.push_back(parameter.name);
      if (chosen(parameter)) width = std::max(width, parameter.name.size());
    }
    for (const StyleParameter& parameter : style.parameters) {
      if (!chosen(parameter)) continue;
      const RecordValues& record = parameter.record;
      const char* type = record.value.is_float() ? "float" : "int";
      lines += fmt::format("  {:<{}}  {:<5}  {:<12}  {:>6}  {:<13}  {}\n", parameter.name, width, type,
                           StyleQuantityName(parameter.quantity), record.default_value.Text(),
                           RangeText(record), StyleRegionName(parameter.region));
      Json entry;
      entry["style"] = StyleCommand(kind);
      entry["name"] = parameter.name;
      entry["named"] = parameter.named;
      entry["type"] = type;
      entry["unit"] = StyleQuantityName(parameter.quantity);
      entry["region"] = StyleRegionName(parameter.region);
      entry["value"] = record.value;
      entry["default"] = record.default_value;
      entry["minimum"] = record.HasRange() ? Json(record.minimum) : nullptr;
      entry["maximum"] = record.HasRange() ? Json(record.maximum) : nullptr;
      context.data["parameters"].push_back(entry);
      ++shown;
    }
    if (!lines.empty()) {
      context.Print("{}s\n  {:<{}}  {:<5}  {:<12}  {:>6}  {:<13}  {}\n{}", StyleKindName(kind), "name", width,
                    "type", "unit", "default", "range", "region", lines);
    }
  }
  if (shown == 0) {
    Fail(ExitCode::kUsage,
         Message(Code::kStyleParameter, "", "no parameter matches '" + options.pattern + "'")
             .Hint(DidYouMean(options.pattern, names)));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddParams(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("params", "List the parameters of build and recoat styles");
  command.details =
      "Name, type, unit, default and range in a new style, region. \"length, kept\" is a length that "
      "'units' leaves alone; a range of - takes every finite number.";
  command.Argument("PATTERN", options->pattern, "Name or pattern, such as 'Large*'")
      .Required(false)
      .Type("NAME");
  command.TextOption("--kind", options->kind, "style|recoat", "Only those of build or of recoat styles");
  command.Flag("--all", options->all, "Records without a name, too");
  command.examples = {"trqprep params 'Large Up*'", "trqprep params --kind recoat --json"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
