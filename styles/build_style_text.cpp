/// The text export of build styles.
#include "styles/build_style_table.h"
#include "styles/parameter_record_text.h"
#include "styles/style_text.h"
#include "trq/styles.h"

using namespace trq::detail;

namespace {

/// The lines of the export after "Version", in an order of its own.
constexpr BuildRowRange kExportLines[] = {
    BuildRows("Start Z", "DH Flag"),
    BuildRows("Z Smoothing Flag"),
    BuildRows("Small Spot Only Flag"),
    BuildRows("High Spatial Tolerance Flag", "Differential Shrink Flag"),
    BuildRows("Pattern Style Flag"),
    BuildRows("Small Feature Preservation Flag"),
    BuildRows("Shelling Flag"),
    BuildRows("Shelling Thickness"),
    BuildRows("Shell Support Spacing"),
    BuildRows("Layer Only Flag"),
    BuildRows("UH Flag", "Min Large NS Width"),
    BuildRows("ZCalculate"),
    BuildRows("Dp", "Min Width For Small Spot"),
    BuildRows("Small Support Boundary Cure Depth", "Large Support Up Interface Boundary Cure Depth"),
    BuildRows("Smart Best Surface Finish Layers"),
    BuildRows("LBP for B2"),
    BuildRows("Smart Best Surface Finish Flag"),
    BuildRows("Z Filtering Flag"),
    BuildRows("Interior Boundary Removal Flag", "High Speed Scan Threshold"),
    BuildRows("Small Line Width", "Large Line Width"),
    BuildRows("Draw Borders Last Flag", "Draw Large Layer Border Prime Flag"),
    BuildRows("Layer Border Power", "Down Fill 3 Power"),
    // Kept: the export has the Up fills last, files have them first.
    BuildRows("Up Border Power", "Up Hatch 3 Power"),
    BuildRows("Up Fill 0 Power", "Up Fill 3 Power"),
};
static_assert(CountRows(kBuildStyleTable,
                        [](auto& row) {
                          int lines = row.quantity == trq::StyleQuantity::kVersion ? 1 : 0;  // of its own
                          for (const BuildRowRange& rows : kExportLines) {
                            lines += rows.begin() <= &row && &row < rows.end() ? 1 : 0;
                          }
                          return lines != (row.named ? 1 : 0);
                        }) == 0,
              "every named record has one line");

// Kept: the heading names no maximum although every line carries it; only the readable form has the comma.
constexpr char kColumnHeading[] = "\nParameter,Current Value,Editable,Default Value,Minimum,Values In List\n";
constexpr char kFirstLine[] = "Kestrabin, Inc. Confidential \n";
constexpr char kFirstLineComma[] = "Kestrabin Inc. Confidential \n";

}  // namespace

std::string trq::core::StyleTextExport(const KVBUILDSTYLE& style, bool comma) {
  std::string text = StyleTextHeading(style, comma ? kFirstLineComma : kFirstLine, comma);
  text += AsciiRecord(style.Version, "Version", comma);
  text += MachineTextLine(style.MachineType, comma, &trq::MachineTypeRow::build_header_name);
  if (comma) text += kColumnHeading;
  for (const BuildRowRange& rows : kExportLines) text += RecordLines(style, rows, comma);
  return text;
}

int KVBUILDSTYLE::writeAsciiBuildStyle(CString path) {
  return WriteTextFile(file, path, trq::core::StyleTextExport(*this, CommaSeparated));
}
