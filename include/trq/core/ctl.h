/// CTL files (docs/formats/ctl.md): the mesh as the system stores it.
#pragma once

#include <cstdint>
#include <string>

#include "trq/core/bytes.h"
#include "trq/core/mesh.h"
#include "trq/core/result.h"
#include "trq/export.h"

namespace trq::core {

/// Reads a CTL file in either byte order, from the source's position to behind its last triangle. The mesh
/// has no normals. Memory asked for is bounded by what the source holds. Indices may lie beyond the vertices
/// (zeroed room is there then); units and sort state are what the file says.
/// Errors, with place.byte the offset at which the source stood: kUnknownFormat (no header, or not its magic
/// number), kBadCount (of vertices or triangles, below 1), kCutShort, kTooLarge (triangles that take no bytes
/// and are too many), kReadFailed (the system's, with system_error). The text is that of CTL::fp_read.
TRQ_EXPORT Result<Mesh> ReadCtl(ByteSource& source);
/// The same from the beginning of a file; kCannotOpen besides.
TRQ_EXPORT Result<Mesh> ReadCtlFile(const std::string& path);

/// Writes a mesh of at least one triangle. `header` gives units, sort state, matrix and texts; the counts are
/// those of the view. Vertices are carried through `matrix` (row-major, column vectors; null is the unit
/// matrix; with `mm_to_inch` 1 it is meant for inches while the mesh is in millimetres); attributes outside
/// 0..2, or too large for the packed width of a mesh of one or two vertices, are written as 0. Nothing is
/// snapped: that CTL::SaveCTLModel snaps its vertices afterwards does not reach the file. Errors: kEmpty (no
/// triangle), kBadName (an index that the packed width does not hold), both with nothing written;
/// kWriteFailed.
TRQ_EXPORT Result<void> WriteCtl(const MeshView& mesh, const CTL_HEADER& header, const float (*matrix)[4],
                                 int mm_to_inch, ByteSink& sink);

/// Bytes of the file of a mesh.
TRQ_EXPORT std::uint64_t CtlSize(std::int32_t vertex_count, std::uint64_t triangle_count);

}  // namespace trq::core
