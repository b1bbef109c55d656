/// Setting values of styles, and what keeps a value from being set.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/observer.h"
#include "trqprep/stored_style.h"

namespace trqprep {

/// Why a parameter cannot be set so, with the next step; an empty text: it can.
struct Refusal {
  std::string text;
  std::string hint;

  Message Of(Code code, const std::string& file, const std::string& parameter) const;
};

/// Why parameter `index` cannot be set at all.
Refusal WhyFixed(const StyleDocument& style, std::size_t index);
/// Makes the two parameters that share a place in build style files equal.
void FollowSharedPlace(StyleDocument& style);

/// Reads a typed value; STYLE-VALUE with exit 2 for what is no number. A number that the record's type cannot
/// hold (a fraction for whole numbers, what is not finite) sets `refusal`.
Number ParseStyleValue(const std::string& name, const std::string& text, bool is_float, std::string& refusal);
/// The end of such a failure.
[[noreturn]] void FailStyleValue(const std::string& name, const std::string& text, const std::string& why);

/// What is wrong with the values of a style: a text for each rule and parameter, without file and value.
using StyleValueFindings = std::map<std::pair<Code, std::string>, std::string>;
StyleValueFindings FindInValues(const StyleFile& file, const StyleDocument& edited);

/// Sets parameter `index` of `edited`, which began as the file's style, to what the text says. Unless
/// `force`, a value is refused that is not allowed, is outside the range, or that the rules of styles would
/// find wrong where they found nothing `before`; the style is then as it was. Two parameters that share a
/// place in the file stay equal.
Refusal SetParameter(const StyleFile& file, StyleDocument& edited, std::size_t index, const std::string& text,
                     bool force, const StyleValueFindings& before);

/// STYLE-REFUSED for each value that a file of the style's layout could not hold.
std::vector<Message> FindLost(const std::string& path, const StyleDocument& edited);

/// The style of a file in the 301 layout. `units` are those of a legacy file, which does not say them: exit 2
/// for another file; where they are empty, inches are taken and warned of (STYLE-UNITS). Notes STYLE-LAYOUTS
/// of a file in that layout already, warns of what gets lost (STYLE-LOST).
StyleDocument UpgradeStyle(Observer& observer, const StyleFile& file, const std::string& units);

}  // namespace trqprep
