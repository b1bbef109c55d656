/// The text export of recoat styles.
#include <string>

#include "foundation/number_text.h"
#include "recoat/recoat_style_table.h"
#include "styles/style_text.h"

using namespace trq::detail;

namespace {

// Kept: here the comma-separated form has the comma in the first line, in build styles the readable one.
constexpr char kFirstLine[] = "Kestrabin Inc. Confidential \n";
constexpr char kFirstLineComma[] = "Kestrabin, Inc. Confidential \n";
constexpr char kColumnHeading[] =
    "\nParameter,Current Value,Editable,Default Value,Minimum,Maximum,Values In List\n";

struct SweepSection {
  const char* heading;
  std::vector<KVSWEEPS> KVRECOATSTYLE::*list;
  const char* after_number;  ///< between a sweep's number and the end of its name
};
// Kept: the secondary list has no blank before the colon.
constexpr SweepSection kSweepSections[] = {
    {"\nSweep List:\n", &KVRECOATSTYLE::SweepList, " :"},
    {"\nPrimary Sweep List:\n", &KVRECOATSTYLE::PrimarySweepList, " :"},
    {"\nSecondary Sweep List:\n", &KVRECOATSTYLE::SecondarySweepList, ":"},
};

std::string SweepLines(const KVRECOATSTYLE& style, const SweepSection& section, bool comma) {
  std::string text = section.heading;
  int number = 0;
  for (const KVSWEEPS& sweep : style.*section.list) {
    const std::string end = std::to_string(++number) + section.after_number;
    text += AsciiRecord(sweep.BladeGap, ("Blade Gap" + end).c_str(), comma);
    text += AsciiRecord(sweep.BladeVelocity, ("Blade Velocity" + end).c_str(), comma);
  }
  return text;
}

}  // namespace

std::string trq::core::StyleTextExport(const KVRECOATSTYLE& style, bool comma) {
  const auto lines = [&](std::string_view first, std::string_view last = {}) {
    return RecordLines(style, RecoatRows(first, last), comma);
  };
  std::string text = StyleTextHeading(style, comma ? kFirstLineComma : kFirstLine, comma);
  text += lines("Version");
  text += MachineTextLine(style.MachineType, comma, &trq::MachineTypeRow::recoat_header_name);
  if (comma) text += kColumnHeading;
  text += lines("RecoatType");
  text += lines("Start Z", "Num Tooling SecondarySweeps");
  for (const SweepSection& section : kSweepSections) text += SweepLines(style, section, comma);
  text += "\n\n";
  text += lines("Preferred Blade Gap Flag", "Preferred Blade Gap");
  std::string thickness;
  AppendFixed(thickness, style.LayerThickness, 6);
  return text + StyleTextLine("Layer Thickness", thickness.c_str(), comma);
}

int KVRECOATSTYLE::writeAsciiRecoatStyle(CString path) {
  return WriteTextFile(file, path, trq::core::StyleTextExport(*this, CommaSeparated));
}
