/// The build folder: what it holds and how it is written.
#pragma once

#include <string>

#include "atomic_output.h"
#include "plate.h"

namespace trqprep {

/// Names inside a build folder.
constexpr const char* kPlateStl = "plate.stl";
constexpr const char* kPlateSvg = "plate.svg";
constexpr const char* kBuildJson = "build.json";
constexpr const char* kMeshFolder = "meshes";
constexpr const char* kBuildSchema = "trqprep.build-folder/1";

/// "meshes/gear-2.ctl"
std::string MeshName(const Plate& plate, const Piece& piece);

/// build.json: the plate, with the mesh file of every piece. Nothing in it hangs on where the folder stands.
Json BuildDocument(const Plate& plate);

/// Fills the folder; the caller commits it.
void WriteBuildFolder(Context& context, const Plate& plate, OutputFolder& folder);

}  // namespace trqprep
