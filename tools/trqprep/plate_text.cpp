#include "plate_text.h"

#include <algorithm>

namespace trqprep {

namespace {

void TellPieces(Context& context, const Plate& plate, const std::string& part, const std::string& axis) {
  context.Tell(part + "copy  {x|>9}  {y|>9}  rotation\n",
               {{"part", "part"}, {"x", "x" + axis}, {"y", "y" + axis}});
  for (const Piece& piece : plate.pieces) {
    // Not as the document has them, in 32 bits.
    context.Tell(part + "{copy|>4}  {x:3|>9}  {y:3|>9}  {rotation:2|>8}\n",
                 {{"part", TextToJson(plate.parts[piece.part].name)},
                  {"copy", piece.copy},
                  {"x", NumberToJson(piece.x)},
                  {"y", NumberToJson(piece.y)},
                  {"rotation", NumberToJson(TurnOf(plate, piece))}});
  }
}

}  // namespace

void TellPlate(Context& context, const Plate& plate, size_t most_lines) {
  const Units units = plate.job.units;
  context.data_units = units;
  size_t width = 4;
  for (const PlatePart& part : plate.parts) width = std::max(width, OneLine(part.name).size());
  const std::string part = fmt::format("{{part|<{}}}  ", width);
  const std::string axis = std::string(" ") + UnitsName(units);
  if (plate.pieces.size() > most_lines) {
    context.Tell(part + "copies\n", {{"part", "part"}});
    for (size_t i = 0; i < plate.parts.size() && i < most_lines; ++i) {
      context.Tell(part + "{copies|>6}\n",
                   {{"part", TextToJson(plate.parts[i].name)}, {"copies", plate.parts[i].request.copies}});
    }
    if (plate.parts.size() > most_lines) {
      context.Tell("and {more} more parts; --all lists every piece\n",
                   {{"more", plate.parts.size() - most_lines}});
    }
  } else {
    TellPieces(context, plate, part, axis);
  }
  context.Tell("{pieces:+piece} of {parts:+part} in a vat of {vat}\nused: {used}\n",
               {{"pieces", plate.pieces.size()},
                {"parts", plate.parts.size()},
                {"vat", SizeInBoth(plate.vat, units)},
                {"used", SizeInBoth(plate.extent.Size(), units)}});
  if (plate.closest) {
    const auto name = [&](size_t piece) { return TextToJson(PieceName(plate, plate.pieces[piece])); };
    context.Tell("smallest distance seen from above: {smallest_distance:3} {unit}, of {first} and {second}\n",
                 {{"first", name(plate.closest->first)}, {"second", name(plate.closest->second)}});
  }
}

void TellPlates(Context& context) {
  for (const Json& plate : context.data["plates"]) {
    context.Tell("{folder}: {piece_count:+piece}", plate);
    if (plate["smallest_distance"].is_number()) {
      context.Tell(", smallest distance {smallest_distance:3} {unit}", plate);
    }
    context.text += "\n";
  }
}

}  // namespace trqprep
