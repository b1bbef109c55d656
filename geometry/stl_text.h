/// The text form of STL files: reading its facets, and writing numbers as printf("%e") does.
#pragma once

#include "trq/core/stl.h"
#include "trq/foundation.h"

namespace trq::detail {

/// Reads the facets of an ASCII STL file (docs/formats/stl.md) from the source's position to its end into
/// `bag`. False when the text is not an ASCII STL file, a facet lacks one of its nine numbers, or there are
/// more facets than one solid may have; `report` then says whether it begins as one and what is wrong. Facets
/// read before that are in the bag.
bool ReadAsciiFacets(core::ByteSource& source, TriangleBAG& bag, core::StlReport& report);

/// Longest text of WriteScientific.
constexpr int kScientificLength = 13;

/// Writes `v` as printf("%e") does in the "C" locale, without a final zero, and returns its end; what is not
/// a number is "nan", whatever its sign.
char* WriteScientific(char* out, float v);

}  // namespace trq::detail
