#include "commands.h"

namespace trqprep {
namespace {}  // namespace

void AddVersion(CommandTree& tree) {
  Command& command = tree.Add("version", "Print the version");
  command.examples = {"trqprep version", "trqprep version --json"};
  command.run = [](Context& context) {
    context.Print("{}\n", ToolName());
    context.data["version"] = ToolVersion();
    return ExitCode::kDone;
  };
}

}  // namespace trqprep
