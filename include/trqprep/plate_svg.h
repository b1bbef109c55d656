/// The picture of a plate: the view from above, to scale.
#pragma once

#include <string>

#include "trqprep/plate.h"

namespace trqprep {

/// An SVG document: the vat, one symbol a part and turn with the outline of the real mesh, used by its
/// copies, names, turns, and the used extent. The same plate gives the same bytes.
std::string PlateSvg(const Plate& plate);

/// A text as it may stand in XML; bytes that are not UTF-8 and control characters become U+FFFD.
std::string XmlText(const std::string& text);

}  // namespace trqprep
