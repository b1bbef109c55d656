/// A picture of one layer of a slice-contour file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "trqprep/contour_file.h"

namespace trqprep {

/// A place in layers, the last one included, that a picture shows.
struct PictureMark {
  std::size_t first = 0, last = 0;
  double x = 0, y = 0;
  std::string text;
};

/// Draws layer `index` (from 0) to scale: its boundaries filled by the even-odd rule, outer and inner ones in
/// their own colours, within the box of the whole part so that the pictures of its layers lie over one
/// another; a scale bar, and what the layer is. Boundaries with a vertex that is not finite are left out.
/// `marks` of the layer are circled and named.
std::string LayerSvg(const ContourFile& file, const ContourSummary& summary, std::size_t index,
                     const std::vector<PictureMark>& marks = {});

}  // namespace trqprep
