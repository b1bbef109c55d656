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

void PutRecords(KVRECOATSTYLE& style, RowRange rows) {
  for (int row = rows.first; row <= rows.last; ++row) {
    WithRecord(kRecoatRows[row], style, [&](auto& record) {
      return record.WriteAsciiRecord(style.file, kRecoatRows[row].name, style.CommaSeparated);
    });
  }
}

void PutSweeps(KVRECOATSTYLE& style, const SweepSection& section) {
  PutText(style.file, section.heading);
  int number = 0;
  for (const KVSWEEPS& sweep : style.*section.list) {
    const std::string end = std::to_string(++number) + section.after_number;
    sweep.BladeGap.WriteAsciiRecord(style.file, "Blade Gap" + end, style.CommaSeparated);
    sweep.BladeVelocity.WriteAsciiRecord(style.file, "Blade Velocity" + end, style.CommaSeparated);
  }
}

}  // namespace

int KVRECOATSTYLE::writeAsciiRecoatStyle(CString path) {
  if (!file.Open(path, "wb")) return trq::style_file::kCannotOpen;
  PutText(file, StyleTextHeading(*this, CommaSeparated ? kFirstLineComma : kFirstLine));
  PutRecords(*this, RecoatRow("Version"));
  PutText(file, MachineTextLine(MachineType, CommaSeparated, &trq::MachineTypeRow::recoat_header_name));
  if (CommaSeparated) PutText(file, kColumnHeading);
  PutRecords(*this, RecoatRow("RecoatType"));
  PutRecords(*this, RecoatRows("Start Z", "Num Tooling SecondarySweeps"));
  for (const SweepSection& section : kSweepSections) PutSweeps(*this, section);
  PutText(file, "\n\n");
  PutRecords(*this, RecoatRows("Preferred Blade Gap Flag", "Preferred Blade Gap"));
  std::string thickness;
  AppendFixed(thickness, LayerThickness, 6);
  PutText(file, StyleTextLine("Layer Thickness", thickness.c_str(), CommaSeparated));
  return FinishText(file);
}
