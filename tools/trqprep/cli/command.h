/// The commands of the tool and the option tree that they make.
///
/// A command is one file, command_<verb>.cpp:
///
///   namespace trqprep {
///   namespace {
///   struct Options { std::string input; std::string output; std::optional<Length> height; };
///
///   ExitCode Run(Context& context, const Options& options) {
///     ...
///     context.Report({{"output", TextToJson(options.output)}, {"raised", raised}},
///                    "{output}: {raised} facets are higher\n");
///     return ExitCode::kDone;
///   }
///
///   }  // namespace
///
///   void AddZcomp(CommandTree& tree) {
///     Command& command = tree.Add(
///         "zcomp", "Raise the down-facing facets by the cure depth",
///         "One or two paragraphs ...",
///         {"trqprep zcomp bracket.stl --height 0.2mm -o raised.stl", "..."});
///     auto& options = command.Runs(Run);
///     command.Argument("IN", options.input, "STL or CTL file");
///     command.Output(options.output, "FILE", "the mesh file to write");   // -o and --force
///     command.LengthOption("--height", options.height, "...");
///     command.UsesUnits();                                                // --units
///   }
///   }  // namespace trqprep
///
/// and a row of commands.cpp. Nothing else has to be edited: help, completion, man page and reference page
/// come from the tree. After a change of options run `trqprep help --reference-page > docs/trqprep.md`; a
/// test compares.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/context.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace trqprep {

class CommandTree;
/// What adds each command to a tree, in the order of help.
using CommandList = std::vector<void (*)(CommandTree&)>;

/// An option of a command, for what is said of few of them.
struct Option {
  CLI::Option* option;
  Option Required(bool required = true) const;
  /// What help shows for the value.
  Option Type(const std::string& type) const;
};

/// One command, or one group of verbs such as `style`.
class Command {
 public:
  Command(CommandTree& tree, CLI::App& app, const std::string& details,
          const std::vector<std::string>& examples, const Json& words);

  /// A verb below this command, with its words; this one then only groups (leave `run` unset).
  Command& Sub(const std::string& name, const std::string& summary, const std::string& details,
               const std::vector<std::string>& examples);
  /// Makes the options that `function` takes behind the context, and runs it with them and `others`.
  template <class Options, class... Others>
  Options& Runs(ExitCode (*function)(Context&, const Options&, Others...), Others... others) {
    const auto options = std::make_shared<Options>();
    run = [=](Context& context) { return function(context, *options, others...); };
    return *options;
  }

  // Options. `type` is shown in help and drives completion: "a|b|c" are the only values taken, FILE is
  // completed with files, FOLDER with folders.
  /// One positional argument, required.
  Option Argument(const std::string& name, std::string& value, const std::string& help);
  /// One or more positional arguments; none is allowed too when `required` is false.
  Option Arguments(const std::string& name, std::vector<std::string>& values, const std::string& help,
                   bool required = true);
  /// One required positional argument that takes one of the values of `type`, written a|b|c.
  Option Choice(const std::string& name, std::string& value, const std::string& type,
                const std::string& help);
  Option Flag(const std::string& names, bool& value, const std::string& help);
  Option TextOption(const std::string& names, std::string& value, const std::string& type,
                    const std::string& help);
  /// May be given several times, one value each.
  Option RepeatedOption(const std::string& names, std::vector<std::string>& values, const std::string& type,
                        const std::string& help);
  /// One of several options whose order counts; a flag when `type` is empty. Read them through
  /// app.parse_order().
  Option Step(const std::string& name, const std::string& type, const std::string& help);
  Option WholeOption(const std::string& names, int64_t& value, int64_t lowest, int64_t highest,
                     const std::string& help);
  Option NumberOption(const std::string& names, std::optional<double>& value, const std::string& help);
  Option LengthOption(const std::string& names, std::optional<Length>& value, const std::string& help);
  Option VatOption(std::array<Length, 3>& value);
  /// -o/--output (required unless said otherwise) and --force.
  Option Output(std::string& path, const std::string& type, const std::string& help, bool required = true);
  /// --force alone, for commands whose output has an option of its own.
  void ForceFlag();
  /// --units
  void UsesUnits();
  /// --all
  void AllFlag();
  /// --follow-links, for commands that read side files of meshes.
  void FollowLinksFlag();
  /// --units and --accept-partial, for commands that read meshes.
  void ReadsMeshes();

  CLI::App& app;
  Json words;                         ///< what {word} means in texts of this command, where it has any
  std::string details;                ///< text below the summary in --help; paragraphs between empty lines
  std::vector<std::string> examples;  ///< two command lines that the tests run
  std::function<ExitCode(Context&)> run;
  std::vector<std::unique_ptr<Command>> subs;

 private:
  std::string Worded(const std::string& text) const;
  Option Prepare(CLI::Option* option, const std::string& type);
  Option Parsed(const std::string& names, const std::string& type, const std::string& help,
                const std::function<void(const std::string&)>& parse);
  CommandTree& tree_;
};

/// The whole option tree.
class CommandTree {
 public:
  CommandTree(Context& context, const CommandList& commands);
  ~CommandTree();
  /// `words`: see Command::words.
  Command& Add(const std::string& name, const std::string& summary, const std::string& details,
               const std::vector<std::string>& examples, const Json& words = Json());
  /// The command that `app` belongs to, or null.
  Command* Find(const CLI::App* app);
  CLI::App& root() { return *root_; }
  const CLI::App& root() const { return *root_; }
  std::vector<std::unique_ptr<Command>>& commands() { return commands_; }
  CommonOptions& common() { return context_.options; }

 private:
  Context& context_;
  std::unique_ptr<CLI::App> root_;
  std::vector<std::unique_ptr<Command>> commands_;
};

/// "--output", "-o": the names of an option, the long ones first; none of an argument.
std::vector<std::string> NamesOf(const CLI::Option& option);
/// What help shows for the value; empty for a flag.
std::string TypeOf(const CLI::Option& option);
/// The commands of the tool, or the verbs of a command.
std::vector<const CLI::App*> SubsOf(const CLI::App& app);
/// "trqprep style show"
std::string PathOf(const CLI::App& app);

/// What `version` and --version print.
ExitCode TellVersion(Context& context);

/// Parses the command line, runs the command, writes the result and returns the exit code.
int RunCommandLine(const CommandList& commands, int argc, char** argv);

}  // namespace trqprep
