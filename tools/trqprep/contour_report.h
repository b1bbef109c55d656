/// Slice contours in words.
#pragma once

#include "cli/context.h"
#include "trqprep/contour_file.h"

namespace trqprep {

/// What DescribeContours put into `data`, for people, without the layers; "file" stands there too.
void TellContours(Context& context, const Json& data);

}  // namespace trqprep
