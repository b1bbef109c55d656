/// The names that an unknown one may have meant.
#pragma once

#include <string>
#include <vector>

namespace trqprep {

/// The three names nearest to `unknown` (fewer when there are fewer), nearest first; case is ignored.
std::vector<std::string> NearestNames(const std::string& unknown, const std::vector<std::string>& names);
/// "did you mean a, b or c?" of the nearest three; empty without names.
std::string DidYouMean(const std::string& unknown, const std::vector<std::string>& names);

}  // namespace trqprep
