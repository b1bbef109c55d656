/// A placed plate as text for people.
#pragma once

#include "cli/context.h"
#include "trqprep/plate.h"

namespace trqprep {

/// A row a piece, the vat, what of it is used, and the smallest distance.
void PrintPlate(Context& context, const Plate& plate);

}  // namespace trqprep
