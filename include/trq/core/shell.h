/// Shell offset: an inner skin with the mesh's triangles, for hollow parts.
#pragma once

#include <functional>

#include "trq/core/bytes.h"
#include "trq/core/mesh.h"
#include "trq/export.h"

namespace trq::core {

struct ShellOffset {
  float limit = 0;        ///< largest push inward, in the mesh's units
  bool validate = false;  ///< halve a push until it crosses no triangle
  /// Largest number of triangles that pushes are tested against, all together; 0: no bound. Where long
  /// triangles lie across each other, every push may come near most of them.
  std::size_t most_tests = 0;
};

/// One point for every vertex of the mesh in use: the vertex pushed inward as CTL::offset_ctl describes.
/// Without a view at all when `most_tests` does not suffice.
/// Pushed along the mesh's normals, which point outward on a closed mesh; neither is checked.
TRQ_EXPORT MeshArray<PbVec3f> OffsetShell(const MeshView& mesh, const ShellOffset& how);
/// The same; asks `stop` for every vertex. True ends the work, and there is no view. It must not throw.
TRQ_EXPORT MeshArray<PbVec3f> OffsetShell(const MeshView& mesh, const ShellOffset& how,
                                          const std::function<bool()>& stop);

/// Writes a binary STL file of the mesh's triangles with its normals and, behind them, those of the shell,
/// reversed; without the latter when `shell` is no view at all. Attributes are 0. A failure stays on record
/// in the sink.
TRQ_EXPORT void WriteMeshAndShell(const MeshView& mesh, Span<const PbVec3f> shell, ByteSink& sink);

/// Writes a binary STL file of the mesh in which the triangles that face down, those whose normal's z is not
/// >= 0, have their corners raised by `height` in z: a build that cures too deep comes out right. Corners
/// that other triangles share stay there. Normals are as in the mesh, attributes 0. A failure stays on record
/// in the sink.
TRQ_EXPORT void WriteCompensatedStl(const MeshView& mesh, float height, ByteSink& sink);

/// Whether triangle i faces down for WriteCompensatedStl: also with a normal that is not a number.
inline bool FacesDown(const MeshView& mesh, std::size_t i) { return !(mesh.Normal(i).z >= 0); }

}  // namespace trq::core
