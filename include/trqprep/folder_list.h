/// What a folder of this tool's lists as its own, and what else stands in it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "trqprep/held_folder.h"

namespace trqprep {

/// The files that a folder lists as its own, by folder.
struct FolderList {
  std::set<std::string> files;                ///< names, without '/'
  std::map<std::string, FolderList> folders;  ///< each holds a listed file, at whatever depth

  /// Adds a file, such as "meshes/gear-1.ctl". False, and nothing changed, for a name that is empty,
  /// absolute, or has an empty piece or one of periods that leads out of it.
  bool Add(const std::string& name);
};

/// What stands in the folder and is not on the list, sorted: a path below the folder, with '/' behind it for
/// a folder, whose own content is not named. What file managers leave behind (.DS_Store, Thumbs.db,
/// desktop.ini) counts as listed. A link counts as itself: one under the name of a listed file is listed, one
/// that stands for a folder is not. A folder that cannot be read is named as a whole.
std::vector<std::string> ForeignNames(const HeldFolder& folder, const FolderList& list);

/// The regular files of a folder below one of its own, "" for itself, at whatever depth and through no link:
/// their names as InputFile takes them, in order in each folder. What the tool has under way (.trqprep-*) is
/// passed over. Nothing when `below` is no folder; exit 3 when one cannot be read.
std::vector<std::string> FilesBelow(const HeldFolder& folder, const std::string& below);

/// Removes from the folder what is on the list and what file managers leave behind, one by one, following no
/// link, and every folder in it that is empty then. Takes no memory.
void RemoveListed(const HeldFolder& folder, const FolderList& list);

}  // namespace trqprep
