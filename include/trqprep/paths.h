/// Names of files.
#pragma once

#include <string>

namespace trqprep {

/// True when something of that name can be reached; a link counts as what it names.
bool Exists(const std::string& path);

/// The text with its ASCII letters in lower case.
std::string Lower(std::string text);
/// What follows the last period of the path's last name, in lower case; empty without one.
std::string LowerExtension(const std::string& path);

}  // namespace trqprep
