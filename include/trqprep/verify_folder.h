/// Re-reads a build folder, or one of several plates, and compares it with what its build.json says.
#pragma once

#include <string>
#include <vector>

#include "trqprep/held_folder.h"
#include "trqprep/observer.h"

namespace trqprep {

/// What differs: VERIFY-FOREIGN (a note: not of the build); and errors, VERIFY-FILE (missing, or no file of
/// the folder itself: a link, or reached through one, a pipe, a device), VERIFY-HASH
/// (other bytes), VERIFY-COUNT (facets, pieces, boxes), STYLE-CRC, OUTSIDE-VAT, OVERLAP, GAP-SMALL. Findings
/// that the build was forced past are not repeated. Exit 3 for a folder that is no build.
std::vector<Message> VerifyFolder(Observer& observer, const std::string& path);

/// VERIFY-FILE of the files that build.json lists.
std::vector<Message> VerifyPresence(const HeldFolder& folder, const Json& document);

/// OVERLAP, GAP-SMALL and OUTSIDE-VAT of the pieces of a build folder, read from its meshes; also
/// VERIFY-COUNT.
std::vector<Message> VerifyPieces(Observer& observer, const HeldFolder& folder, const Json& document);

/// Z-GAP, Z-OVERLAP and LAYER-MISMATCH of the stacks that build.json describes.
std::vector<Message> CheckDescribedStacks(const HeldFolder& folder, const Json& document);

}  // namespace trqprep
