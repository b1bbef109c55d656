/// What the verbs of `slc` share.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "trqprep/contour_file.h"

namespace trqprep {

/// The verbs that draw: png, svg, sheet.
void AddSlcPictures(Command& group);
/// The verbs that measure: area, diff.
void AddSlcMeasures(Command& group);

/// The lowest and the highest z, the terminator's included.
std::pair<double, double> HeightsOf(const ContourFile& file);

/// The layers, from 0 and in order, that a text like `1,10-20,z=5mm` or `all` names. A height names the layer
/// that is built there. Exit 2 for what is none.
std::vector<size_t> ChosenLayers(const ContourFile& file, const std::string& text, Units bare);

}  // namespace trqprep
