/// Help, man page and reference page, all from the option tree.
#pragma once

#include <string>

#include "cli/command.h"

namespace trqprep {

/// The words in lines of at most `width` columns; lines after the first begin with `indent` blanks, and room
/// for as many is left before the first.
std::string Wrap(const std::string& text, size_t indent, size_t width = 100);
/// --help of the command that `app` is, or of the whole tool.
std::string HelpText(CommandTree& tree, const CLI::App& app);
/// The manual page trqprep(1), in man(7) macros.
std::string ManPage(CommandTree& tree);
/// docs/trqprep.md
std::string ReferencePage(CommandTree& tree);

}  // namespace trqprep
