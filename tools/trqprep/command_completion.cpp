#include "cli/completion.h"
#include "commands.h"

namespace trqprep {
namespace {

ExitCode Run(Context& context, const std::string& shell, CommandTree* tree) {
  context.text = CompletionScript(*tree, shell);
  context.State({{"shell", shell}, {"script", context.text}});
  return ExitCode::kDone;
}

}  // namespace

void AddCompletion(CommandTree& tree) {
  Command& command = tree.Add(
      "completion", "Print the completion script of a shell",
      "The script completes commands, verbs, options, the values that an option takes, names of machines and "
      "parameters, codes of rules, and files; that of bash the keys behind a part, too.",
      {"trqprep completion bash > trqprep.bash", "trqprep completion fish"});
  command.Choice("SHELL", command.Runs(Run, &tree), "bash|zsh|fish", "The shell");
}

}  // namespace trqprep
