/// A placed plate as text for people.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cli/context.h"
#include "trqprep/plate.h"

namespace trqprep {

/// Of the data, which DescribePlate made: a row a piece, the vat, what of it is used, and the smallest
/// distance. A row a part where there are more than `most_lines` pieces, and no more than that.
void TellPlate(Context& context, const Plate& plate, size_t most_lines = SIZE_MAX);

/// Of several plates, which the data has: a row each.
void TellPlates(Context& context);

}  // namespace trqprep
