#include "cli/completion.h"
#include "commands.h"

namespace trqprep {
namespace {}  // namespace

void AddCompletion(CommandTree& tree) {
  auto shell = std::make_shared<std::string>();
  Command& command = tree.Add("completion", "Print the completion script of a shell");
  command.details =
      "The script completes commands, verbs, options, the values that an option takes, and files.";
  command.Choice("SHELL", *shell, "bash|zsh|fish", "The shell");
  command.examples = {"trqprep completion bash > trqprep.bash", "trqprep completion fish"};
  command.run = [shell, &tree](Context& context) {
    context.text = CompletionScript(tree, *shell);
    context.data["shell"] = *shell;
    context.data["script"] = context.text;
    return ExitCode::kDone;
  };
}

}  // namespace trqprep
