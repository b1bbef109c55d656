#include "cli/command.h"

namespace trqprep {
namespace {

void Add(CommandTree& tree) {
  Command& command = tree.Add("version", "Print the version");
  command.examples = {"trqprep version", "trqprep version --json"};
  command.run = [](Context& context) {
    context.Print("{}\n", ToolName());
    context.data["version"] = ToolVersion();
    return ExitCode::kDone;
  };
}

const CommandRegistration kRegistration(120, Add);

}  // namespace
}  // namespace trqprep
