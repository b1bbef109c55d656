#include "trqprep/glob.h"

#include <fnmatch.h>

namespace trqprep {

bool IsGlob(const std::string& pattern) { return pattern.find_first_of("*?[") != std::string::npos; }

bool MatchesGlob(const std::string& pattern, const std::string& name) {
  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

}  // namespace trqprep
