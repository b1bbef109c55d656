#include "plate_text.h"

#include <algorithm>

namespace trqprep {

void PrintPlate(Context& context, const Plate& plate) {
  const char* unit = UnitsName(plate.job.units);
  std::size_t width = 4;
  for (const PlatePart& part : plate.parts) width = std::max(width, OneLine(part.name).size());
  context.Print("{:<{}}  copy  {:>9}  {:>9}  rotation\n", "part", width, fmt::format("x {}", unit),
                fmt::format("y {}", unit));
  for (const Piece& piece : plate.pieces) {
    context.Print("{:<{}}  {:>4}  {:>9}  {:>9}  {:>8}\n", OneLine(plate.parts[piece.part].name), width,
                  piece.copy, Plain(piece.x, 3), Plain(piece.y, 3), Plain(piece.rotation, 2));
  }
  context.Print("{} pieces of {} parts in a vat of {}\n", plate.pieces.size(), plate.parts.size(),
                SizeInBoth(plate.vat, plate.job.units));
  context.Print("used: {}\n", SizeInBoth(plate.extent.Size(), plate.job.units));
  if (plate.smallest_distance >= 0) {
    context.Print("smallest distance seen from above: {} {}\n", Plain(plate.smallest_distance, 3), unit);
  }
}

}  // namespace trqprep
