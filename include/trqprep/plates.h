/// One job over several plates: a folder that holds a build folder for each.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "trqprep/folder_list.h"
#include "trqprep/job.h"
#include "trqprep/json_text.h"
#include "trqprep/message.h"
#include "trqprep/observer.h"
#include "trqprep/plate.h"

namespace trqprep {

constexpr const char* kPlatesJson = "plates.json";
constexpr const char* kPlatesSchema = "trqprep.plates/1";

/// A plate of several.
struct PlacedPlate {
  std::string name;  ///< of its build folder inside that of all: "plate-1"
  Plate plate;
  std::vector<Message> findings;  ///< of CheckPieces
};

/// All parts of a job, and the plates that hold their pieces.
struct PlacedPlates {
  Plate all;  ///< without pieces
  std::vector<PlacedPlate> plates;
};

/// Places the job's pieces on as few plates as it can, the plates that BuildPlates makes. Nothing, after a
/// message with the reason, when there is no placement. Fails as LoadPlate does.
std::optional<PlacedPlates> PlaceOnPlates(const Job& job, Observer& observer);
/// What they hold, as `place --json` says it.
Json DescribePlates(const PlacedPlates& placed);

/// What became of a job over several plates.
struct PlatesReport {
  bool placed = false;   ///< every piece has its place
  bool wrong = false;    ///< an error is among what was said
  bool written = false;  ///< the folder stands
  Json document;         ///< what plates.json says, without its files when nothing was written
};

/// Places the job's pieces on as few plates as it can, makes of each plate a job of its own in which every
/// piece has its place, and builds those into `folder`: plate-1/, plate-2/, ..., build.toml, which repeats
/// all of them, and plates.json. Refuses, fails and writes as Build does, all plates or none.
PlatesReport BuildPlates(const Job& job, const std::string& folder, bool replace, Observer& observer);

/// What BuildPlates says before it writes anything. Fails as it does.
void CheckPlates(const Job& job, Observer& observer);

/// Whether a folder holds several plates.
bool HoldsPlates(const HeldFolder& folder);
/// Names of the build folders that plates.json of a folder lists. Exit 3 when it is malformed.
std::vector<std::string> PlateFolders(const HeldFolder& folder);
/// What a folder of this tool's holds, of one build or of several plates; nothing when it is neither.
std::optional<FolderList> FilesOfBuilds(const HeldFolder& folder);

}  // namespace trqprep
