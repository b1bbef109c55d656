/// How a coordinate finds its cell; shared by the grid index and the rasteriser.
#pragma once

#include "foundation/checked_conversions.h"

namespace trq::detail {

/// The coordinate in cells. Rounded to float before anybody truncates it: the far edge of a vat of 31 cells'
/// width then always lies in cell 31.
inline float CellQuotient(float x, float offset, float size) { return float((double(x) + offset) / size); }

inline int CellIndex(float x, float offset, float size) { return ToInt(CellQuotient(x, offset, size)); }

}  // namespace trq::detail
