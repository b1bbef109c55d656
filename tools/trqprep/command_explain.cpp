#include <algorithm>
#include <cctype>

#include "cli/help_pages.h"
#include "commands.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

Json RuleToJson(const MessageRow& rule) {
  return {{"code", rule.text},
          {"severity", SeverityName(rule.severity)},
          {"title", rule.title},
          {"story", rule.story},
          {"hint", NextStep(rule.code)}};
}

ExitCode Run(Context& context, const std::vector<std::string>& codes) {
  context.data["rules"] = Json::array();
  std::vector<std::string> known;
  for (const MessageRow& row : MessageTable()) {
    known.emplace_back(row.text);
    if (codes.empty()) context.data["rules"].push_back(RuleToJson(row));
  }
  for (const std::string& given : codes) {
    std::string code = given;
    for (char& c : code) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const MessageRow* rule = FindRow(code);
    if (!rule) FailUsage("", fmt::format("there is no code '{}'", given), DidYouMean(code, known));
    context.data["rules"].push_back(RuleToJson(*rule));
    context.Tell("{code} ({severity}): {title}\n", RuleToJson(*rule));
    context.text +=
        "  " + Wrap(rule->story, 2, 80) + "\n  " + Wrap("Next step: " + NextStep(rule->code), 2, 80) + "\n";
  }
  if (codes.empty()) context.TellEach(context.data["rules"], "{code|<18}  {severity|<7}  {title}\n");
  return ExitCode::kDone;
}

}  // namespace

void AddExplain(CommandTree& tree) {
  Command& command = tree.Add(
      "explain", "Explain the code at the end of a message",
      "Every message ends in a code. Says what it means, how it comes about or is measured, and what to do. "
      "Without a code all are listed: first the rules of 'trqprep check', then the others.",
      {"trqprep explain OPEN-EDGES", "trqprep explain --json"});
  auto& codes = command.Runs(Run);
  command.Arguments("CODE", codes, "Codes such as OPEN-EDGES", false).Type("CODE");
}

}  // namespace trqprep
