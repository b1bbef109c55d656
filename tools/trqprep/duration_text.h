/// Times as text for people.
#pragma once

#include <string>

#include "trqprep/json_text.h"

namespace trqprep {

/// "5 h 17 min", "12 min", "3 min 40 s", "45.5 s"; "without end" for a time in seconds that no number holds.
std::string Duration(const Json& time);
/// "5 h 17 min to 7 h 42 min" of {"least", "most"}; one of them where they read the same.
std::string DurationRange(const Json& range);

}  // namespace trqprep
