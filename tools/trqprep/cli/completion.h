/// Completion scripts for shells, from the option tree.
#pragma once

#include <string>

#include "cli/command.h"

namespace trqprep {

/// The script for "bash", "zsh" or "fish".
std::string CompletionScript(CommandTree& tree, const std::string& shell);

}  // namespace trqprep
