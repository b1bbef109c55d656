/// What the text exports of build and recoat styles have in common.
#pragma once

#include <cstdio>
#include <string>

#include "styles/style_table.h"
#include "trq/machine_types.h"
#include "trq/styles.h"

namespace trq::detail {

/// "name: text" or "name,text", with a line end; the text up to its NUL.
inline std::string StyleTextLine(const char* name, const char* text, bool comma_separated) {
  return std::string(name) + (comma_separated ? "," : ": ") + text + "\n";
}

/// The first lines of an export, from the confidentiality line to the user level.
template <class Style>
std::string StyleTextHeading(const Style& style, const char* first_line, bool comma) {
  const char* level = style.UserLevel == 0 ? "Standard" : style.UserLevel == 1 ? "Advanced" : "";
  return std::string(first_line) + "***************************** \n\n" +
         StyleTextLine("Style Name", style.StyleName, comma) +
         StyleTextLine("Full PathName", style.FullPathName, comma) +
         StyleTextLine("Build Description", style.BuildDescription, comma) +
         StyleTextLine("Units", style.Units, comma) + StyleTextLine("User Level", level, comma);
}

/// The machine line; `header_name` is the column of names for the readable form.
std::string MachineTextLine(int machine, bool comma_separated, const char* trq::MachineTypeRow::*header_name);

/// The lines of the records of rows.
template <class Style, class Row>
std::string RecordLines(const Style& style, Span<const Row> rows, bool comma_separated) {
  std::string text;
  for (const Row& row : rows) {
    text += row.member.With(
        style, [&](const auto& record) { return AsciiRecord(record, row.name, comma_separated); });
  }
  return text;
}

/// Writes an export and closes its file: kOk, kCannotOpen or kWriteFailed.
int WriteTextFile(trq::StyleStream& stream, const CString& path, const std::string& text);

}  // namespace trq::detail
