/// Measures of single facets, on coordinates.
#pragma once

#include "trq/foundation.h"

namespace trq::detail {

/// (p1 - p3) x (p2 - p3) over its length, or over 1 when that is 0.
VECTOR FacetNormal(const float p1[3], const float p2[3], const float p3[3]);

/// (2 * area)^2 of the triangle a, b, c.
float DoubledAreaSquared(const float a[3], const float b[3], const float c[3]);

}  // namespace trq::detail
