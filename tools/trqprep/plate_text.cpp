#include "plate_text.h"

#include <algorithm>

namespace trqprep {

void TellPlate(Context& context, const Plate& plate) {
  const Units units = plate.job.units;
  context.data_units = units;
  size_t width = 4;
  for (const PlatePart& part : plate.parts) width = std::max(width, OneLine(part.name).size());
  const std::string part = fmt::format("{{part|<{}}}  ", width);
  const std::string axis = std::string(" ") + UnitsName(units);
  context.Tell(part + "copy  {x|>9}  {y|>9}  rotation\n",
               {{"part", "part"}, {"x", "x" + axis}, {"y", "y" + axis}});
  for (const Piece& piece : plate.pieces) {
    // Not as the document has them, in 32 bits.
    context.Tell(part + "{copy|>4}  {x:3|>9}  {y:3|>9}  {rotation:2|>8}\n",
                 {{"part", TextToJson(plate.parts[piece.part].name)},
                  {"copy", piece.copy},
                  {"x", NumberToJson(piece.x)},
                  {"y", NumberToJson(piece.y)},
                  {"rotation", NumberToJson(piece.rotation)}});
  }
  context.Tell("{pieces} pieces of {parts} parts in a vat of {vat}\nused: {used}\n",
               {{"pieces", plate.pieces.size()},
                {"parts", plate.parts.size()},
                {"vat", SizeInBoth(plate.vat, units)},
                {"used", SizeInBoth(plate.extent.Size(), units)}});
  if (plate.smallest_distance >= 0) {
    context.Tell("smallest distance seen from above: {smallest_distance:3} {unit}\n");
  }
}

}  // namespace trqprep
