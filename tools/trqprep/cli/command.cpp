#include "cli/command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "cli/fill.h"
#include "trqprep/paths.h"
#include "trqprep/quantities.h"
#include "trqprep/suggestions.h"

namespace trqprep {

Option Option::Required(bool required) const { return {option->required(required)}; }
Option Option::Type(const std::string& type) const { return {option->type_name(type)}; }

Command::Command(CommandTree& tree, CLI::App& app_, const std::string& details_,
                 const std::vector<std::string>& examples_, const Json& words_)
    : app(app_), words(words_), details(Worded(details_)), tree_(tree) {
  for (const std::string& example : examples_) examples.push_back(Worded(example));
  app.description(Worded(app.get_description()));
  app.allow_extras();  // collected, so that an unknown option is reported with the names nearest to it
  app.set_help_flag("-h,--help", "Show this help and end");
  app.require_subcommand(0, 1);
  app.add_flag("--json", tree.common().json, "Print one JSON document instead of text");
  app.add_flag("--yes", tree.common().yes, "Answer the questions of the library with yes");
}

std::string Command::Worded(const std::string& text) const {
  return words.empty() ? text : Fill(text, {&words});
}

Command& Command::Sub(const std::string& name, const std::string& summary, const std::string& details_,
                      const std::vector<std::string>& examples_) {
  subs.push_back(
      std::make_unique<Command>(tree_, *app.add_subcommand(name, summary), details_, examples_, words));
  return *subs.back();
}

Option Command::Prepare(CLI::Option* option, const std::string& type) {
  option->type_name(type);
  if (type.find('|') != std::string::npos) {
    const std::vector<std::string> choices = Split(type, '|');
    option->check([choices](const std::string& value) -> std::string {
      if (std::find(choices.begin(), choices.end(), value) != choices.end()) return {};
      return "'" + value + "' is unknown; " + DidYouMean(value, choices);
    });
  }
  return {option};
}

Option Command::Argument(const std::string& name, std::string& value, const std::string& help) {
  return {app.add_option(name, value, Worded(help))->required()->type_name("FILE")};
}

Option Command::Arguments(const std::string& name, std::vector<std::string>& values, const std::string& help,
                          bool required) {
  return {app.add_option(name, values, help)->required(required)->type_name("FILE")};
}

Option Command::Choice(const std::string& name, std::string& value, const std::string& type,
                       const std::string& help) {
  return Prepare(app.add_option(name, value, help)->required(), type);
}

Option Command::Flag(const std::string& names, bool& value, const std::string& help) {
  return {app.add_flag(names, value, help)};
}

Option Command::TextOption(const std::string& names, std::string& value, const std::string& type,
                           const std::string& help) {
  return Prepare(app.add_option(names, value, help), type);
}

Option Command::RepeatedOption(const std::string& names, std::vector<std::string>& values,
                               const std::string& type, const std::string& help) {
  CLI::Option* option = app.add_option(names, values, help);
  option->allow_extra_args(false);
  return Prepare(option, type);
}

Option Command::Step(const std::string& name, const std::string& type, const std::string& help) {
  if (type.empty())
    return {app.add_flag(name)->description(help)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)};
  CLI::Option* option = app.add_option(name)->description(help);
  option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
  option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return Prepare(option, type);
}

Option Command::Parsed(const std::string& names, const std::string& type, const std::string& help,
                       const std::function<void(const std::string&)>& parse) {
  const Option made = Prepare(app.add_option_function<std::string>(names, parse, help), type);
  made.option->check([parse](const std::string& text) -> std::string {
    try {
      parse(text);
      return {};
    } catch (const std::invalid_argument& error) {
      return error.what();  // shown by CLI11
    }
  });
  return made;
}

Option Command::WholeOption(const std::string& names, int64_t& value, int64_t lowest, int64_t highest,
                            const std::string& help) {
  return Parsed(names, "N", help, [&value, lowest, highest](const std::string& text) {
    value = ParseWhole(text, lowest, highest);
  });
}

Option Command::NumberOption(const std::string& names, std::optional<double>& value,
                             const std::string& help) {
  return Parsed(names, "NUMBER", help, [&value](const std::string& text) { value = ParseNumber(text); });
}

Option Command::LengthOption(const std::string& names, std::optional<Length>& value,
                             const std::string& help) {
  return Parsed(names, "LENGTH", help, [&value](const std::string& text) { value = ParseLength(text); });
}

Option Command::VatOption(std::array<Length, 3>& value) {
  return Parsed("--vat", "XxYxZ", "Inner size of the vat, such as 250x250x250mm (the default) or 10x10x12in",
                [&value](const std::string& text) { value = ParseVat(text); });
}

Option Command::Output(std::string& path, const std::string& type, const std::string& help, bool required) {
  ForceFlag();
  return Prepare(app.add_option("-o,--output", path, help), type).Required(required);
}

void Command::ForceFlag() { app.add_flag("--force", tree_.common().force, "Replace an output that exists"); }

void Command::AllFlag() {
  app.add_flag("--all", tree_.common().all, "Give every message and line, of many files and parts too");
}

void Command::UsesUnits() {
  CommonOptions& common = tree_.common();
  CLI::Option* option =
      app.add_option("--units", common.units, "Unit of bare lengths and of STL files (default mm)");
  option->each([&common](const std::string&) { common.units_given = true; });
  Prepare(option, "mm|in");
}

void Command::ReadsMeshes() {
  UsesUnits();
  app.add_flag("--accept-partial", tree_.common().accept_partial,
               "Read the facets that are there when an STL file is cut");
}

void Command::FollowLinksFlag() {
  app.add_flag("--follow-links", tree_.common().follow_links,
               "Read the .V_D file beside a part even when it is a symbolic link");
}

namespace {

// Paths are spelled one way from here on. Where '/' alone separates, that is the way they are.
void TakePaths(CLI::App& app) {
  const auto names_path = [](const std::string& type) {
    return type == "FILE" || type == "FOLDER" || type == "PART" || type == "STYLE" || type == "FILE=#RRGGBB";
  };
  for (CLI::Option* option : app.get_options()) {
    if (names_path(option->get_type_name())) {
      option->transform([](const std::string& path) { return NamedPath(path); });
    }
  }
  for (CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) TakePaths(*sub);
}

}  // namespace

CommandTree::CommandTree(Context& context, const CommandList& commands)
    : context_(context),
      root_(std::make_unique<CLI::App>("Build preparation for stereolithography", "trqprep")) {
  root_->allow_extras();
  root_->allow_windows_style_options(false);  // what begins with '/' is a path on every system
  root_->require_subcommand(0, 1);
  root_->set_help_flag("-h,--help", "Show this help and end");
  root_->set_version_flag("--version", ToolName());
  root_->add_flag("--json", context.options.json, "Print one JSON document instead of text");
  for (const auto add : commands) add(*this);
  TakePaths(*root_);
}

CommandTree::~CommandTree() = default;

Command& CommandTree::Add(const std::string& name, const std::string& summary, const std::string& details,
                          const std::vector<std::string>& examples, const Json& words) {
  commands_.push_back(
      std::make_unique<Command>(*this, *root_->add_subcommand(name, summary), details, examples, words));
  return *commands_.back();
}

namespace {

Command* FindIn(std::vector<std::unique_ptr<Command>>& commands, const CLI::App* app) {
  for (auto& command : commands) {
    if (&command->app == app) return command.get();
    if (Command* found = FindIn(command->subs, app)) return found;
  }
  return nullptr;
}

}  // namespace

Command* CommandTree::Find(const CLI::App* app) { return FindIn(commands_, app); }

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  return names;
}

std::string TypeOf(const CLI::Option& option) {
  return option.get_items_expected_max() > 0 ? option.get_type_name() : "";
}

std::vector<const CLI::App*> SubsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string PathOf(const CLI::App& app) {
  return app.get_parent() ? PathOf(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

}  // namespace trqprep
