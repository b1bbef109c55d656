/// Patterns such as Layer*.
#pragma once

#include <string>

namespace trqprep {

/// Shell pattern with * ? [...].
bool IsGlob(const std::string& pattern);
bool MatchesGlob(const std::string& pattern, const std::string& name);

}  // namespace trqprep
