/// The text form of STL files: reading its facets, and writing numbers as printf("%e") does.
#pragma once

#include <cstdio>

#include "trq/foundation.h"

namespace trq::detail {

/// Reads the facets of an ASCII STL file (docs/formats/stl.md) from the stream's position to its end into
/// `bag`. False when the text is not an ASCII STL file or a facet lacks one of its nine numbers; facets read
/// before that are in the bag then. Throws 9 as TriangleBAG::append does.
bool ReadAsciiFacets(std::FILE* f, TriangleBAG& bag);

/// Longest text of WriteScientific.
constexpr int kScientificLength = 13;

/// Writes `v` as printf("%e") does in the "C" locale, without a final zero, and returns its end; what is not
/// a number is "nan", whatever its sign.
char* WriteScientific(char* out, float v);

}  // namespace trq::detail
