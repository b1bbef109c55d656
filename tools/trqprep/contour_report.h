/// Slice contours in words.
#pragma once

#include "cli/context.h"
#include "trqprep/contour_file.h"

namespace trqprep {

/// Everything about a file for `info` and `slc info`; with `each_layer` a table of the layers too.
void PrintContours(Context& context, const ContourFile& file, const ContourSummary& summary, bool each_layer);

}  // namespace trqprep
