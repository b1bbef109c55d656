#include <CLI/CLI.hpp>

#include "cli/help_pages.h"
#include "commands.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> path;
  bool man_page = false;
  bool reference_page = false;
};

ExitCode Run(Context& context, const Options& options, CommandTree* tree) {
  if (options.man_page) {
    context.text = ManPage(*tree);
  } else if (options.reference_page) {
    context.text = ReferencePage(*tree);
  } else {
    CLI::App* app = &tree->root();
    for (const std::string& word : options.path) {
      std::vector<std::string> names;
      CLI::App* next = nullptr;
      for (CLI::App* sub : app->get_subcommands([](CLI::App*) { return true; })) {
        names.push_back(sub->get_name());
        if (sub->get_name() == word) next = sub;
      }
      if (!next) {
        FailUsage("", "unknown command '" + word + "'",
                  names.empty() ? "'trqprep help' lists the commands" : DidYouMean(word, names));
      }
      app = next;
    }
    context.text = HelpText(*tree, *app);
  }
  context.State({{"help", context.text}});
  return ExitCode::kDone;
}

}  // namespace

void AddHelp(CommandTree& tree) {
  Command& command = tree.Add(
      "help", "Tell about the tool or a command",
      "'trqprep help build' is 'trqprep build --help'. The manual page and the reference page are made "
      "from the same options.",
      {"trqprep help build", "trqprep help --man-page > trqprep.1"});
  auto& options = command.Runs(Run, &tree);
  command.Arguments("COMMAND", options.path, "The command, and its verb if it has verbs", false)
      .Type("COMMAND");
  command.Flag("--man-page", options.man_page, "Print the manual page, trqprep(1)");
  command.Flag("--reference-page", options.reference_page, "Print the reference page in Markdown");
}

}  // namespace trqprep
