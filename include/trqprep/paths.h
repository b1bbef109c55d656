/// Names of files.
#pragma once

#include <string>

namespace trqprep {

/// True when something of that name can be reached; a link counts as what it names.
bool Exists(const std::string& path);

}  // namespace trqprep
