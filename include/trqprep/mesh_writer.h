/// Writes meshes as STL or CTL files, whole or not at all.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "trq/core/stl.h"
#include "trq/geometry.h"
#include "trqprep/mesh_input.h"

namespace trqprep {

/// The format that a name asks for by its ending, or `stated` ("stl", "stl-ascii", "ctl") when not empty.
MeshFormat OutputFormat(const std::string& path, const std::string& stated);
/// The values of an option that states a format.
constexpr const char* kMeshFormats = "stl|stl-ascii|ctl";

using SinkWriter = std::function<void(trq::core::ByteSink&)>;
/// Writes a new file, which appears whole or not at all, with what `write` passes to the sink. Refuses an
/// existing one unless `replace`; exit 4 when not all of it reaches the system. Returns the file's size.
std::uint64_t WriteFile(const std::string& path, bool replace, const SinkWriter& write);

/// Writes the mesh by WriteFile; as a CTL file its vertices are snapped afterwards, as CTL::SaveCTLModel does
/// it. Normals are made first. `stamp`: a binary STL file gets the
/// header with computer, login name, this number and a checksum.
void WriteMesh(Observer& observer, CTL& mesh, const std::string& path, MeshFormat format, bool replace,
               std::optional<std::int64_t> stamp = std::nullopt);

/// "box", "size_mm" and "size_in" of a box in `units`, null each when it is empty.
void DescribeBox(Json& data, const Box& box, Units units);
/// Gives the mesh the vertices and facets that a file of this format, written from it, reads back with. False
/// when they are others than it had; a mesh that no reader would take stays as it is.
bool ReadsBackSame(CTL& mesh, MeshFormat format);

/// "facets", "vertices", "box", "area", "volume", sizes in both units and the unit, as `info --json` has
/// them.
void DescribeMesh(Json& data, const InputMesh& input);

/// Ends the command with exit 3 when the mesh has no facet left, naming what was done.
void RequireFacets(const CTL& mesh, const std::string& path, const char* what);

}  // namespace trqprep
