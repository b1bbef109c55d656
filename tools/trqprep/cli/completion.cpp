#include "cli/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "trqprep/job.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

struct OptionWords {
  std::vector<std::string> names;  // "--output", "-o"
  std::string type;                // empty: a flag
  std::string help;
  bool many = false;
  std::vector<std::string> choices;  // of a type written a|b|c

  bool takes_part() const {
    return type == "PART" || (names.empty() && help.find(",copies=") != std::string::npos);
  }
  bool takes_file() const { return type.find("FILE") != std::string::npos || type == "PART"; }
};

struct CommandWords {
  std::vector<std::string> path;  // {"style", "show"}; empty: the tool itself
  std::vector<const CLI::App*> subs;
  std::vector<OptionWords> options;
  std::vector<OptionWords> positionals;

  std::vector<std::string> sub_names() const {
    std::vector<std::string> names;
    for (const CLI::App* sub : subs) names.push_back(sub->get_name());
    return names;
  }
  // Of the argument that has some.
  std::vector<std::string> choices() const {
    for (const OptionWords& positional : positionals) {
      if (!positional.choices.empty()) return positional.choices;
    }
    return {};
  }
  // The path as it is typed behind the name of the tool.
  std::string typed() const { return path.empty() ? "" : fmt::format(" {}", fmt::join(path, " ")); }
};

std::vector<std::string> ParameterNames(const std::string& command, const std::string& ending) {
  std::vector<std::string> names;
  for (const StyleKind kind : {StyleKind::kBuild, StyleKind::kRecoat}) {
    if (command != "params" && command != StyleCommand(kind)) continue;
    for (const StyleParameter& parameter : NewStyle(kind).parameters) {
      if (parameter.named) names.push_back(parameter.name + ending);
    }
  }
  return names;
}

// The values that an option or argument of a command takes, where they can be listed.
std::vector<std::string> ValuesOf(const std::string& command, const OptionWords& option) {
  const bool of_machine = !option.names.empty() && option.names[0] == "--machine";
  if (of_machine || (command == "machines" && option.names.empty())) return MachineNames();
  if (option.type == "NAME") return ParameterNames(command, "");
  for (const JobField<Job>& field : JobFields()) {  // a word beside all numbers
    const auto* number = std::get_if<WholeMember<Job>>(&field.member);
    if (number && number->word && !option.names.empty() && option.names[0] == field.option)
      return {number->word};
  }
  if (option.type == "NAME=VALUE") return ParameterNames(command, "=");
  std::vector<std::string> words;
  if (option.type == "CODE") {
    for (const MessageRow& row : MessageTable()) {
      words.emplace_back(row.text);
    }
  } else if (option.type.find('|') != std::string::npos) {
    words = Split(option.type, '|');
  }
  return words;
}

void Collect(const CLI::App& app, std::vector<CommandWords>& all) {
  CommandWords words;
  words.path = Split(PathOf(app), ' ');
  words.path.erase(words.path.begin());
  words.subs = SubsOf(app);
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;
    OptionWords entry{NamesOf(*option),
                      TypeOf(*option),
                      option->get_description(),
                      option->get_items_expected_max() > 1,
                      {}};
    entry.choices = ValuesOf(words.path.empty() ? "" : words.path[0], entry);
    (entry.names.empty() ? words.positionals : words.options).push_back(entry);
  }
  all.push_back(words);
  for (const CLI::App* sub : words.subs) Collect(*sub, all);
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

// What bash does to offer words, or files.
std::string OfferWords(const std::vector<std::string>& words) {
  return fmt::format("_trqprep_offer {}", Quote(Join(words, "\n")));
}
std::string OfferFiles(char option) {
  return fmt::format("compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -{} -- \"$word\"))", option);
}

// What may stand behind a comma of a part: its keys, and words that are no numbers.
std::vector<std::string> PartWords() {
  std::vector<std::string> words;
  for (const JobField<PartRequest>& field : PartFields()) {
    if (!field.option) continue;
    words.push_back(std::string(field.option) + "=");
    const auto* number = std::get_if<WholeMember<PartRequest>>(&field.member);
    if (number && number->word) words.push_back(words.back() + number->word);
    if (std::holds_alternative<Turns PartRequest::*>(field.member)) words.push_back(words.back() + "fixed");
  }
  return words;
}

// A part is a file, with its words behind a comma.
std::string OfferPart() {
  return fmt::format(
      "if [[ $word == *,* ]]; then compopt -o nospace 2>/dev/null; "
      "COMPREPLY=($(compgen -P \"${{word%,*}},\" -W {} -- \"${{word##*,}}\")); else {}; fi",
      Quote(Join(PartWords())), OfferFiles('f'));
}

std::string Bash(const std::vector<CommandWords>& commands) {
  std::string out =
      "# bash completion of trqprep: source it, or put it where bash-completion looks\n"
      "_trqprep_offer() {  # words, one a line\n"
      "  local IFS=$'\\n'\n"
      "  COMPREPLY=($(compgen -W \"$1\" -- \"$word\"))\n"
      "  [[ ${#COMPREPLY[@]} -eq 0 ]] || COMPREPLY=($(printf '%q\\n' \"${COMPREPLY[@]}\"))\n"
      "}\n"
      "_trqprep() {\n"
      "  local word=\"${COMP_WORDS[COMP_CWORD]}\" before=\"${COMP_WORDS[COMP_CWORD-1]}\" path= i\n"
      "  COMPREPLY=()\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    case \"$path ${COMP_WORDS[i]}\" in\n";
  std::string paths;
  for (const CommandWords& command : commands) {
    if (!command.path.empty()) paths += (paths.empty() ? "" : "|") + Quote(command.typed());
  }
  out += fmt::format(
      "      {}) path=\"$path ${{COMP_WORDS[i]}}\" ;;\n    esac\n  done\n  case \"$path:$before\" in\n",
      paths);
  for (const CommandWords& command : commands) {
    for (const OptionWords& option : command.options) {
      if (option.type.empty()) continue;
      std::string patterns;
      for (const std::string& name : option.names)
        patterns += (patterns.empty() ? "" : "|") + Quote(command.typed() + ":" + name);
      const std::string action = !option.choices.empty()   ? OfferWords(option.choices) + "; "
                                 : option.takes_part()     ? OfferPart() + "; "
                                 : option.type == "FOLDER" ? OfferFiles('d') + "; "
                                 : option.takes_file()     ? OfferFiles('f') + "; "
                                                           : "";
      out += fmt::format("    {}) {}return ;;\n", patterns, action);
    }
  }
  out += "  esac\n  case \"$path\" in\n";
  for (const CommandWords& command : commands) {
    std::vector<std::string> words = command.sub_names();
    for (const std::string& choice : command.choices()) words.push_back(choice);
    const bool has_first = !command.positionals.empty();
    std::string offer = words.empty() ? OfferFiles('f') : OfferWords(words);
    if (has_first && command.positionals[0].takes_part()) offer = OfferPart();
    // A file comes before the words.
    if (!words.empty() && has_first && command.positionals[0].choices.empty()) {
      offer += "; COMPREPLY+=($(compgen -f -- \"$word\"))";
    }
    out += fmt::format("    {})\n      if [[ $word == -* ]]; then {}\n      else {}\n      fi ;;\n",
                       Quote(command.typed()), OfferWords(AllOptionNames(command)), offer);
  }
  out += "  esac\n}\ncomplete -F _trqprep trqprep\n";
  return out;
}

// Words between blanks, with a backslash before what would end one.
std::string Escaped(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) {
    if (!out.empty()) out += ' ';
    for (const char c : word) {
      if (std::string_view(" ()[]:\\").find(c) != std::string_view::npos) out += '\\';
      out += c;
    }
  }
  return out;
}

// The part of an option for zsh that says what a value is.
std::string ZshAction(const OptionWords& option) {
  if (!option.choices.empty()) return "(" + Escaped(option.choices) + ")";
  if (option.takes_part()) return "_trqprep_words_of_part";
  if (option.type == "FOLDER") return "_files -/";
  return option.takes_file() ? "_files" : " ";
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
  out += fmt::format(
      "\n_trqprep_words_of_part() {{\n  if compset -P '*,'; then compadd -S '' -- {}; else _files; fi\n}}\n",
      Join(PartWords()));
  for (const CommandWords& command : commands) {
    const std::string function = "_trqprep" + (command.path.empty() ? "" : "_" + Join(command.path, "_"));
    out += fmt::format("\n{}() {{\n", function);
    if (!command.subs.empty()) out += "  local context state state_descr line\n  typeset -A opt_args\n";
    out += "  _arguments -S";
    if (!command.subs.empty()) out += " -C";
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
    if (!command.subs.empty()) out += " \\\n    '1: :->command' \\\n    '*:: :->rest'";
    out += "\n";
    if (!command.subs.empty()) {
      out += "  case $state in\n    command)\n      local -a words_here\n      words_here=(";
      for (const CLI::App* sub : command.subs) {
        out += "\n        " + Quote(sub->get_name() + ":" + ZshText(sub->get_description()));
      }
      out += ")\n      _describe command words_here ;;\n    rest)\n      case $line[1] in\n";
      for (const std::string& sub : command.sub_names())
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
  out += fmt::format(
      "function __trqprep_words_of_part\n"
      "  set -l front (string match -r -- '.*,' (commandline -ct))\n"
      "  if test -n \"$front\"\n    for word in {}\n      echo $front$word\n    end\n  end\nend\n",
      Join(PartWords()));
  constexpr const char* kOffersPart = " -r -a '(__trqprep_words_of_part)'";
  for (const CommandWords& command : commands) {
    std::string condition;
    if (command.path.empty()) {
      condition = "__fish_use_subcommand";
    } else {
      for (const std::string& word : command.path) {
        condition += (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
      }
      if (!command.subs.empty()) {
        condition += "; and not __fish_seen_subcommand_from " + Join(command.sub_names());
      }
    }
    const std::string start = "complete -c trqprep -n " + Quote(condition);
    for (const CLI::App* sub : command.subs) {
      out += fmt::format("{} -f -a {} -d {}\n", start, sub->get_name(), Quote(sub->get_description()));
    }
    for (const OptionWords& option : command.options) {
      out += start;
      for (const std::string& name : option.names) {
        out += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      if (!option.choices.empty()) {
        out += " -x -a " + Quote(Escaped(option.choices));
      } else if (option.takes_part()) {
        out += kOffersPart;
      } else if (option.takes_file() || option.type == "FOLDER") {
        out += " -r";
      } else if (!option.type.empty()) {
        out += " -x";
      }
      out += " -d " + Quote(option.help) + "\n";
    }
    const std::vector<std::string> choices = command.choices();
    if (!choices.empty()) out += fmt::format("{} -f -a {}\n", start, Quote(Escaped(choices)));
    if (!command.positionals.empty() && command.positionals[0].takes_part())
      out += start + kOffersPart + "\n";
  }
  return out;
}

}  // namespace

std::string CompletionScript(CommandTree& tree, const std::string& shell) {
  std::vector<CommandWords> commands;
  Collect(tree.root(), commands);
  if (shell == "zsh") return Zsh(commands);
  if (shell == "fish") return Fish(commands);
  return Bash(commands);
}

}  // namespace trqprep
