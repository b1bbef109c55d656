/// The rules of parts: what a mesh and its side file would do to a build.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/mesh_input.h"
#include "trqprep/message.h"
#include "trqprep/vents_file.h"

namespace trqprep {

/// OPEN-EDGES, NON-MANIFOLD, INVERTED, DEGENERATE, SEALED-VOID and VD-STALE of a mesh with its
/// side file, both in the unit of the mesh. One finding a rule and, for SEALED-VOID, a cavity.
std::vector<Message> CheckMesh(const InputMesh& input, const VentsFile& vents);

}  // namespace trqprep
