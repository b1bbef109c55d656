/// Writes meshes as STL or CTL files, whole or not at all.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/context.h"
#include "trq/geometry.h"
#include "trqprep/mesh_input.h"

namespace trqprep {

/// The format that a name asks for by its ending, or `stated` ("stl", "stl-ascii", "ctl") when not empty.
MeshFormat OutputFormat(const std::string& path, const std::string& stated);
/// The values of an option that states a format.
constexpr const char* kMeshFormats = "stl|stl-ascii|ctl";

/// Writes to `path`, an existing file that is this tool's own; returns the size that the file must have, or
/// nothing when that is not known beforehand (text). Normals are made first.
std::optional<std::uint64_t> WriteMeshTo(CTL& mesh, const std::string& path, MeshFormat format);

/// Writes the mesh to a new file, and checks that all of it arrived. `stamp`: a binary STL file gets the
/// header with computer, login name, this number and a checksum.
void WriteMesh(Context& context, CTL& mesh, const std::string& path, MeshFormat format,
               std::optional<std::int64_t> stamp = std::nullopt);

/// "facets", "vertices", "box", "area", "volume", sizes in both units and the unit, as `info --json` has
/// them.
void DescribeMesh(Json& data, const InputMesh& input);

/// Ends the command with exit 3 when the mesh has no facet left, naming what was done.
void RequireFacets(const CTL& mesh, const std::string& path, const char* what);

}  // namespace trqprep
