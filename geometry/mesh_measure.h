/// Steps of the measures that a mesh's whole operations share.
#pragma once

#include "trq/core/mesh.h"

namespace trq::detail {

inline bool NamesAVertexTwice(const R_INT4& t) { return t[0] == t[1] || t[1] == t[2] || t[0] == t[2]; }

/// Makes the normals of the first normals.size() triangles and returns that number, or the first triangle
/// with an index below 0 or above `largest_index` (-1 at least), or with a coordinate that is not a number;
/// the normals before it are made then, the others zero.
size_t MakeNormals(const core::MeshView& mesh, int64_t largest_index, Span<VECTOR> normals);

}  // namespace trq::detail
