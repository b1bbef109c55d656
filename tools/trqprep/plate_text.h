/// A placed plate as text for people.
#pragma once

#include "cli/context.h"
#include "trqprep/plate.h"

namespace trqprep {

/// Of the data, which DescribePlate made: a row a piece, the vat, what of it is used, and the smallest
/// distance.
void TellPlate(Context& context, const Plate& plate);

}  // namespace trqprep
