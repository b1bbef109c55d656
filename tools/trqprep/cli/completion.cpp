#include "cli/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

namespace trqprep {
namespace {

struct OptionWords {
  std::vector<std::string> names;    // "--output", "-o"
  std::string type;                  // empty: a flag
  std::vector<std::string> choices;  // of a type written a|b|c
  std::string help;
  bool many = false;
};

struct CommandWords {
  std::vector<std::string> path;  // {"style", "show"}; empty: the tool itself
  std::vector<std::string> subcommands;
  std::vector<std::string> summaries;  // of the subcommands
  std::vector<OptionWords> options;
  std::vector<OptionWords> positionals;
};

std::vector<std::string> ChoicesOf(const std::string& type) {
  return type.find('|') == std::string::npos ? std::vector<std::string>{} : Split(type, '|');
}

void Collect(const CLI::App& app, std::vector<std::string> path, std::vector<CommandWords>& all) {
  CommandWords words;
  words.path = path;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;
    OptionWords entry;
    entry.type = option->get_items_expected_max() > 0 ? option->get_type_name() : "";
    entry.choices = ChoicesOf(entry.type);
    entry.help = option->get_description();
    entry.many = option->get_items_expected_max() > 1;
    for (const std::string& name : option->get_lnames()) entry.names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) entry.names.push_back("-" + name);
    (entry.names.empty() ? words.positionals : words.options).push_back(entry);
  }
  const auto subs = app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
  for (const CLI::App* sub : subs) {
    words.subcommands.push_back(sub->get_name());
    words.summaries.push_back(sub->get_description());
  }
  all.push_back(words);
  for (const CLI::App* sub : subs) {
    path.push_back(sub->get_name());
    Collect(*sub, path, all);
    path.pop_back();
  }
}

std::string Join(const std::vector<std::string>& words, const char* separator = " ") {
  return fmt::format("{}", fmt::join(words, separator));
}

std::vector<std::string> AllOptionNames(const CommandWords& command) {
  std::vector<std::string> names;
  for (const OptionWords& option : command.options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

// A text between single quotes of a shell.
std::string Quote(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::vector<std::string> PositionalChoices(const CommandWords& command) {
  return command.positionals.empty() ? std::vector<std::string>{} : command.positionals[0].choices;
}

std::string Bash(const std::vector<CommandWords>& commands) {
  std::string out =
      "# bash completion of trqprep: source it, or put it where bash-completion looks\n"
      "_trqprep() {\n"
      "  local word=\"${COMP_WORDS[COMP_CWORD]}\" before=\"${COMP_WORDS[COMP_CWORD-1]}\" path= i\n"
      "  COMPREPLY=()\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    case \"$path ${COMP_WORDS[i]}\" in\n";
  std::string paths;
  for (const CommandWords& command : commands) {
    if (!command.path.empty()) paths += (paths.empty() ? "" : "|") + Quote(" " + Join(command.path));
  }
  out += fmt::format(
      "      {}) path=\"$path ${{COMP_WORDS[i]}}\" ;;\n    esac\n  done\n  case \"$path:$before\" in\n",
      paths);
  for (const CommandWords& command : commands) {
    const std::string path = command.path.empty() ? "" : " " + Join(command.path);
    for (const OptionWords& option : command.options) {
      if (option.type.empty()) continue;
      std::string patterns;
      for (const std::string& name : option.names)
        patterns += (patterns.empty() ? "" : "|") + Quote(path + ":" + name);
      std::string action = "return";
      if (!option.choices.empty()) {
        action =
            fmt::format("COMPREPLY=($(compgen -W {} -- \"$word\")); return", Quote(Join(option.choices)));
      } else if (option.type == "FOLDER") {
        action = "compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- \"$word\")); return";
      } else if (option.type.find("FILE") != std::string::npos || option.type == "PART") {
        action = "compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- \"$word\")); return";
      }
      out += fmt::format("    {}) {} ;;\n", patterns, action);
    }
  }
  out += "  esac\n  case \"$path\" in\n";
  for (const CommandWords& command : commands) {
    const std::string path = command.path.empty() ? "" : " " + Join(command.path);
    std::vector<std::string> words = command.subcommands;
    const std::vector<std::string> choices = PositionalChoices(command);
    words.insert(words.end(), choices.begin(), choices.end());
    out += fmt::format(
        "    {})\n      if [[ $word == -* ]]; then COMPREPLY=($(compgen -W {} -- \"$word\"))\n      else ",
        Quote(path), Quote(Join(AllOptionNames(command))));
    if (!words.empty()) {
      out += fmt::format("COMPREPLY=($(compgen -W {} -- \"$word\"))", Quote(Join(words)));
    } else {
      out += "compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- \"$word\"))";
    }
    out += "\n      fi ;;\n";
  }
  out += "  esac\n}\ncomplete -F _trqprep trqprep\n";
  return out;
}

// The part of an option for zsh that says what a value is.
std::string ZshAction(const OptionWords& option) {
  if (!option.choices.empty()) return "(" + Join(option.choices) + ")";
  if (option.type == "FOLDER") return "_files -/";
  if (option.type.find("FILE") != std::string::npos || option.type == "PART") return "_files";
  return " ";
}

std::string ZshText(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

std::string Zsh(const std::vector<CommandWords>& commands) {
  std::string out =
      "#compdef trqprep\n# zsh completion of trqprep: put it into a folder of $fpath as _trqprep\n";
  for (const CommandWords& command : commands) {
    const std::string function = "_trqprep" + (command.path.empty() ? "" : "_" + Join(command.path, "_"));
    out += fmt::format("\n{}() {{\n", function);
    if (!command.subcommands.empty())
      out += "  local context state state_descr line\n  typeset -A opt_args\n";
    out += "  _arguments -S";
    if (!command.subcommands.empty()) out += " -C";
    for (const OptionWords& option : command.options) {
      for (const std::string& name : option.names) {
        std::string spec = name + "[" + ZshText(option.help) + "]";
        if (!option.type.empty()) spec += ":" + ZshText(option.type) + ":" + ZshAction(option);
        out += " \\\n    " + Quote((option.many ? "*" : "") + spec);
      }
    }
    for (const OptionWords& positional : command.positionals) {
      out += " \\\n    " +
             Quote((positional.many ? "*:" : ":") + ZshText(positional.help) + ":" + ZshAction(positional));
    }
    if (!command.subcommands.empty()) out += " \\\n    '1: :->command' \\\n    '*:: :->rest'";
    out += "\n";
    if (!command.subcommands.empty()) {
      out += "  case $state in\n    command)\n      local -a words_here\n      words_here=(";
      for (std::size_t i = 0; i < command.subcommands.size(); ++i) {
        out += "\n        " + Quote(command.subcommands[i] + ":" + ZshText(command.summaries[i]));
      }
      out += ")\n      _describe command words_here ;;\n    rest)\n      case $line[1] in\n";
      for (const std::string& sub : command.subcommands)
        out += fmt::format("        {}) {}_{} ;;\n", sub, function, sub);
      out += "      esac ;;\n  esac\n";
    }
    out += "}\n";
  }
  out += "\nif [[ $funcstack[1] == _trqprep ]]; then _trqprep \"$@\"; else compdef _trqprep trqprep; fi\n";
  return out;
}

std::string Fish(const std::vector<CommandWords>& commands) {
  std::string out = "# fish completion of trqprep: put it into ~/.config/fish/completions/trqprep.fish\n";
  for (const CommandWords& command : commands) {
    std::string condition;
    if (command.path.empty()) {
      condition = "__fish_use_subcommand";
    } else {
      for (const std::string& word : command.path) {
        condition += (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
      }
      if (!command.subcommands.empty()) {
        condition += "; and not __fish_seen_subcommand_from " + Join(command.subcommands);
      }
    }
    const std::string start = "complete -c trqprep -n " + Quote(condition);
    for (std::size_t i = 0; i < command.subcommands.size(); ++i) {
      out += fmt::format("{} -f -a {} -d {}\n", start, command.subcommands[i], Quote(command.summaries[i]));
    }
    for (const OptionWords& option : command.options) {
      out += start;
      for (const std::string& name : option.names) {
        out += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      if (!option.choices.empty()) {
        out += " -x -a " + Quote(Join(option.choices));
      } else if (option.type.find("FILE") != std::string::npos || option.type == "FOLDER" ||
                 option.type == "PART") {
        out += " -r";
      } else if (!option.type.empty()) {
        out += " -x";
      }
      out += " -d " + Quote(option.help) + "\n";
    }
    const std::vector<std::string> choices = PositionalChoices(command);
    if (!choices.empty()) out += fmt::format("{} -f -a {}\n", start, Quote(Join(choices)));
  }
  return out;
}

}  // namespace

std::string CompletionScript(CommandTree& tree, const std::string& shell) {
  std::vector<CommandWords> commands;
  Collect(tree.root(), {}, commands);
  if (shell == "zsh") return Zsh(commands);
  if (shell == "fish") return Fish(commands);
  return Bash(commands);
}

}  // namespace trqprep
