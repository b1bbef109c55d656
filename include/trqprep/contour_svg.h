/// A picture of one layer of a slice-contour file.
#pragma once

#include <cstddef>
#include <string>

#include "trqprep/contour_file.h"

namespace trqprep {

/// Draws layer `index` (from 0) to scale: its boundaries filled by the even-odd rule, outer and inner ones in
/// their own colours, within the box of the whole part so that the pictures of its layers lie over one
/// another; a scale bar, and what the layer is. Boundaries with a vertex that is not finite are left out.
std::string LayerSvg(const ContourFile& file, const ContourSummary& summary, std::size_t index);

}  // namespace trqprep
