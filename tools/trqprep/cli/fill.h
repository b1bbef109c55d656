/// Texts that draw on facts by name, so that what stands in the JSON document is stated once.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "trqprep/json_text.h"

namespace trqprep {

/// The form with every {field} replaced by the fact that it names; {{ and }} are braces. A field is
///
///   NAME        a key; a.b is the key b of the object a
///   NAME:4      a number with at most 4 digits after the point; a number of 32 bits is written 4f
///   NAME:x4     a list with " x " between its values instead of ", "
///   NAME:#      how many values a list has
///   NAME:+part  a number, or how many values a list has, with its word: 1 part, 2 parts
///   NAME|>12    in a column of 12, at its right end; what stands behind the bar is fmt's
///
/// Texts stand on one line, nothing is "-". A fact is taken from the first of the sources that has it;
/// std::logic_error when none does: the command and its text disagree, which is a defect.
std::string Fill(std::string_view form, const std::vector<const Json*>& sources);

}  // namespace trqprep
