#include "contour_report.h"

namespace trqprep {

void TellContours(Context& context, const Json& data) {
  context.Tell("{file}: slice contours, {file_size:+byte}\n", data);
  if (data["box"] != nullptr) {
    context.Tell(R"(  size        {size_mm:x3} mm ({size_in:x4} in)
  box         {box.min:4f} to {box.max:4f} {units}
)",
                 data);
  }
  context.Tell(R"(  layers      {layers}, from z {start:5f} to {end:5f} {units}
  boundaries  {boundaries}, of which {clockwise} run clockwise (holes) and {open} are open
  vertices    {vertices}
  gaps        {gaps}
  volume      {volume:3} {units}3
  header      {header}
)",
               data);
  if (data["table"].empty()) {
    context.Tell("  thickness   not stated: a table count of {table_count} reads no entries\n", data);
  }
  for (Json entry : data["table"]) {
    entry["unit"] = data["units"];
    context.Tell(
        "  thickness   from z {min_z:5f}: {layer_thickness:5f} {unit}, line width compensation "
        "{line_width_compensation:5f} {unit}\n",
        entry);
  }
}

}  // namespace trqprep
