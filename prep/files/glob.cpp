#include "trqprep/glob.h"

#include <fnmatch.h>

#include "trqprep/paths.h"

namespace trqprep {

bool IsGlob(const std::string& pattern) { return pattern.find_first_of("*?[") != std::string::npos; }

bool MatchesGlob(const std::string& pattern, const std::string& name) {
  return fnmatch(Lower(pattern).c_str(), Lower(name).c_str(), 0) == 0;
}

}  // namespace trqprep
