/// What the text exports of build and recoat styles have in common.
#pragma once

#include <cstdio>
#include <string>

#include "trq/machine_types.h"
#include "trq/styles.h"

namespace trq::detail {

/// "name: text" or "name,text", with a line end; the text up to its NUL.
inline std::string StyleTextLine(const char* name, const char* text, bool comma_separated) {
  return std::string(name) + (comma_separated ? "," : ": ") + text + "\n";
}

/// The first lines of an export, from the confidentiality line to the user level.
template <class Style>
std::string StyleTextHeading(const Style& style, const char* first_line) {
  const bool comma = style.CommaSeparated;
  const char* level = style.UserLevel == 0 ? "Standard" : style.UserLevel == 1 ? "Advanced" : "";
  return std::string(first_line) + "***************************** \n\n" +
         StyleTextLine("Style Name", style.StyleName, comma) +
         StyleTextLine("Full PathName", style.FullPathName, comma) +
         StyleTextLine("Build Description", style.BuildDescription, comma) +
         StyleTextLine("Units", style.Units, comma) + StyleTextLine("User Level", level, comma);
}

/// The machine line; `header_name` is the column of names for the readable form.
std::string MachineTextLine(int machine, bool comma_separated, const char* trq::MachineTypeRow::*header_name);

inline void PutText(FILE* stream, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

/// Closes an export: kOk when all of it was written.
int FinishText(trq::StyleStream& stream);

}  // namespace trq::detail
