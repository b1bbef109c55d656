/// The constructive pass: piece after piece at the leftmost, then frontmost free place of a grid of cells.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "nesting/layout.h"

namespace trqprep::nesting {

/// Adds pieces to `spots`, in the order of `kinds` (a part's index for each piece), and appends the index of
/// each that was placed to `placed`. All gaps are kept. What finds no place is left out, and so is every
/// later piece of its part. `stop` is asked before every piece.
void FillFromTheLeft(const Model& model, const std::vector<std::size_t>& kinds, std::vector<Spot>& spots,
                     std::vector<std::size_t>& placed, const std::function<bool()>& stop);

}  // namespace trqprep::nesting
