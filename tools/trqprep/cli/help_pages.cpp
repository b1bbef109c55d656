#include "cli/help_pages.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace trqprep {
namespace {

struct Row {
  std::string head;  // "-o, --output FILE"
  std::string text;
};

bool IsMany(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

bool IsPositional(const CLI::Option& option) { return NamesOf(option).empty(); }

std::string PositionalName(const CLI::Option& option) {
  return option.get_name(true) + (IsMany(option) ? "..." : "");
}

std::string OptionHead(const CLI::Option& option) {
  std::vector<std::string> names = NamesOf(option);
  std::reverse(names.begin(), names.end());
  const std::string type = TypeOf(option);
  return fmt::format("{}{}{}", fmt::join(names, ", "), type.empty() ? "" : " ", type);
}

std::vector<Row> PositionalRows(const CLI::App& app) {
  std::vector<Row> rows;
  for (const CLI::Option* option : app.get_options()) {
    if (IsPositional(*option)) rows.push_back({PositionalName(*option), option->get_description()});
  }
  return rows;
}

// What the command itself takes first, then what many commands share.
std::vector<Row> OptionRows(const CLI::App& app) {
  std::vector<Row> own;
  std::vector<Row> shared;
  for (const CLI::Option* option : app.get_options()) {
    if (IsPositional(*option) || option->get_group().empty()) continue;
    Row row{OptionHead(*option), option->get_description()};
    if (option->get_required()) row.text += " (required)";
    const bool common = row.head == "-h, --help" || row.head == "--json" || row.head == "--yes";
    (common ? shared : own).push_back(row);
  }
  own.insert(own.end(), shared.begin(), shared.end());
  return own;
}

std::string UsageLine(const CLI::App& app) {
  std::string line = PathOf(app);
  if (!SubsOf(app).empty()) return line + (app.get_parent() ? " VERB ..." : " COMMAND ...");
  for (const CLI::Option* option : app.get_options()) {
    if (!IsPositional(*option)) continue;
    const std::string name = PositionalName(*option);
    line += option->get_required() ? " " + name : " [" + name + "]";
  }
  for (const CLI::Option* option : app.get_options()) {
    if (IsPositional(*option) || !option->get_required()) continue;
    line += " " + NamesOf(*option).back() + " " + TypeOf(*option);
  }
  return line + " [options]";
}

std::string Table(const std::vector<Row>& rows) {
  size_t width = 0;
  for (const Row& row : rows) width = std::max(width, std::min<size_t>(row.head.size(), 28));
  std::string out;
  for (const Row& row : rows) {
    out += "  " + row.head;
    if (row.head.size() > width) {
      out += "\n" + std::string(width + 4, ' ');
    } else {
      out += std::string(width - row.head.size() + 2, ' ');
    }
    out += Wrap(row.text, width + 4) + "\n";
  }
  return out;
}

std::vector<std::string> Paragraphs(const std::string& text) {
  std::vector<std::string> paragraphs(1);
  for (const std::string& line : Split(text, '\n')) {
    if (line.empty()) {
      paragraphs.emplace_back();
    } else {
      paragraphs.back() += (paragraphs.back().empty() ? "" : " ") + line;
    }
  }
  paragraphs.erase(std::remove(paragraphs.begin(), paragraphs.end(), ""), paragraphs.end());
  return paragraphs;
}

// Every command that does something, with the verbs of groups, in the order of help.
void Collect(std::vector<std::unique_ptr<Command>>& commands, std::vector<Command*>& all) {
  for (auto& command : commands) {
    all.push_back(command.get());
    Collect(command->subs, all);
  }
}

std::vector<Command*> AllCommands(CommandTree& tree) {
  std::vector<Command*> all;
  Collect(tree.commands(), all);
  return all;
}

struct ExitRow {
  ExitCode code;
  const char* meaning;
};

constexpr ExitRow kExitRows[] = {
    {ExitCode::kDone, "done; warnings are allowed"},
    {ExitCode::kNo, "the answer is no (a check, a difference, a failed verification)"},
    {ExitCode::kUsage, "the command line makes no sense"},
    {ExitCode::kInput, "an input is missing or malformed"},
    {ExitCode::kOutput, "an output was not written, or the old one not wholly removed"},
    {ExitCode::kNoPlacement, "no placement exists"},
    {ExitCode::kInternal, "internal error, or no memory left"},
    {ExitCode::kInterrupted, "interrupted"},
};

constexpr const char* kSummary = "Build preparation for stereolithography";
constexpr const char* kStreams =
    "Standard output carries the result and nothing else; messages and progress go to the error stream. "
    "With --json every command prints exactly one JSON document, on failure too. The name - is standard "
    "input for a file that is read and standard output for one that is written; what there is to say about "
    "the output then goes to the error stream, and --json does not go with it. A file named - is ./-.";
constexpr const char* kLengths =
    "A length may carry its unit (250mm, 9.8in); --units mm or --units in says what bare lengths and STL "
    "files are in (default mm).";

// Roff takes a leading point or quote as a request and backslashes as escapes.
std::string Roff(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out.insert(0, "\\&");
  return out;
}

std::string MarkdownCell(const std::string& text) {
  return fmt::format("{}", fmt::join(Split(text, '|'), "\\|"));
}

}  // namespace

std::string Wrap(const std::string& text, size_t indent, size_t width) {
  std::string out;
  size_t column = indent;
  for (const std::string& word : Split(text, ' ')) {
    if (word.empty()) continue;
    if (column > indent && column + 1 + word.size() > width) {
      out += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      out += " ";
      ++column;
    }
    out += word;
    column += word.size();
  }
  return out;
}

std::string HelpText(CommandTree& tree, const CLI::App& app) {
  std::string out = "Usage: " + UsageLine(app) + "\n\n" + Wrap(app.get_description(), 0) + ".\n";
  const Command* command = tree.Find(&app);
  if (command) {
    for (const std::string& paragraph : Paragraphs(command->details)) out += "\n" + Wrap(paragraph, 0) + "\n";
  }
  std::vector<Row> rows;
  for (const CLI::App* child : SubsOf(app)) rows.push_back({child->get_name(), child->get_description()});
  if (!rows.empty()) out += (app.get_parent() ? "\nVerbs:\n" : "\nCommands:\n") + Table(rows);
  rows = PositionalRows(app);
  if (!rows.empty()) out += "\nArguments:\n" + Table(rows);
  out += "\nOptions:\n" + Table(OptionRows(app));
  if (!command) {
    out += "\n" + Wrap(kStreams, 0) + "\n\n'trqprep COMMAND --help' tells about a command.\n";
    return out;
  }
  if (!command->examples.empty()) {
    out += "\nExamples:\n";
    for (const std::string& example : command->examples) out += "  " + example + "\n";
  }
  return out;
}

std::string ManPage(CommandTree& tree) {
  std::string out = fmt::format(".TH TRQPREP 1 \"\" \"{}\" \"User commands\"\n.SH NAME\ntrqprep \\- {}\n",
                                ToolName(), Roff(kSummary));
  out += ".SH SYNOPSIS\n.B trqprep\n.I COMMAND\n.RI [ argument ...]\n.RI [ options ]\n";
  out += fmt::format(".SH DESCRIPTION\n{}\n.PP\n{}\n.SH COMMANDS\n", Roff(kStreams), Roff(kLengths));
  for (Command* command : AllCommands(tree)) {
    out +=
        fmt::format(".SS \"{}\"\n{}.\n", Roff(UsageLine(command->app)), Roff(command->app.get_description()));
    for (const std::string& paragraph : Paragraphs(command->details)) out += ".PP\n" + Roff(paragraph) + "\n";
    std::vector<Row> rows = PositionalRows(command->app);
    if (command->run) {
      const std::vector<Row> options = OptionRows(command->app);
      rows.insert(rows.end(), options.begin(), options.end());
    }
    for (const Row& row : rows) out += fmt::format(".TP\n.B {}\n{}\n", Roff(row.head), Roff(row.text));
    if (!command->examples.empty()) {
      out += ".PP\nExamples:\n.PP\n.nf\n";
      for (const std::string& example : command->examples) out += Roff(example) + "\n";
      out += ".fi\n";
    }
  }
  out += ".SH \"EXIT STATUS\"\n";
  for (const ExitRow& row : kExitRows) {
    out += fmt::format(".TP\n.B {}\n{}\n", int(row.code), Roff(row.meaning));
  }
  out += ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nMessages are not coloured when this is set.\n";
  out += ".TP\n.B TMPDIR\nWhere private temporary folders are made.\n";
  return out;
}

std::string ReferencePage(CommandTree& tree) {
  std::string out = fmt::format(
      "# trqprep\n\n"
      "{}. This page is made from the tool's option tree by\n"
      "`trqprep help --reference-page`; a test compares the two.\n\n{}\n\n{}\n",
      kSummary, Wrap(kStreams, 0), Wrap(kLengths, 0));
  out += "\n## Exit codes\n\n| code | meaning |\n|---|---|\n";
  for (const ExitRow& row : kExitRows) out += fmt::format("| {} | {} |\n", int(row.code), row.meaning);
  out += "\n## Commands\n";
  for (Command* command : AllCommands(tree)) {
    const CLI::App& app = command->app;
    out += fmt::format("\n### {}\n\n{}.\n", PathOf(app), Wrap(app.get_description(), 0));
    for (const std::string& paragraph : Paragraphs(command->details)) out += "\n" + Wrap(paragraph, 0) + "\n";
    if (!command->run) continue;
    out += fmt::format("\n```text\n{}\n```\n\n| argument or option | meaning |\n|---|---|\n", UsageLine(app));
    for (const Row& row : PositionalRows(app)) {
      out += fmt::format("| `{}` | {} |\n", MarkdownCell(row.head), MarkdownCell(row.text));
    }
    for (const Row& row : OptionRows(app)) {
      out += fmt::format("| `{}` | {} |\n", MarkdownCell(row.head), MarkdownCell(row.text));
    }
    if (!command->examples.empty()) {
      out += "\n```sh\n";
      for (const std::string& example : command->examples) out += example + "\n";
      out += "```\n";
    }
  }
  return out;
}

}  // namespace trqprep
