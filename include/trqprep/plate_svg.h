/// The picture of a plate: the view from above, to scale.
#pragma once

#include <string>

#include "trqprep/plate.h"

namespace trqprep {

/// An SVG document: the vat, one symbol a part and turn with the outline of the real mesh, used by its
/// copies, names, turns, and the used extent. The same plate gives the same bytes.
std::string PlateSvg(Observer& observer, const Plate& plate);

}  // namespace trqprep
