#include "trqprep/folder_list.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "trqprep/quantities.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOfFileManagers[] = {".DS_Store", "Thumbs.db", "desktop.ini"};

void Collect(const fs::path& folder, const std::string& before, const FolderList& list,
             std::vector<std::string>& foreign) {
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::error_code unknown;
    const std::string name = at->path().filename().string();
    if (!fs::is_directory(at->symlink_status(unknown))) {
      const bool left = std::find(std::begin(kOfFileManagers), std::end(kOfFileManagers), name) !=
                        std::end(kOfFileManagers);
      if (!left && list.files.count(name) == 0) foreign.push_back(before + name);
    } else if (const auto sub = list.folders.find(name); sub != list.folders.end()) {
      Collect(at->path(), before + name + "/", sub->second, foreign);
    } else {
      foreign.push_back(before + name + "/");
    }
  }
  if (error) foreign.push_back(before.empty() ? "./" : before);
}

bool RemoveListedBelow(int parent, const char* name, const FolderList& list) {
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) return errno == ENOENT;
  for (const std::string& file : list.files) unlinkat(folder, file.c_str(), 0);
  for (const char* file : kOfFileManagers) unlinkat(folder, file, 0);
  for (const auto& [sub, files] : list.folders) RemoveListedBelow(folder, sub.c_str(), files);
  close(folder);
  return unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

}  // namespace

bool FolderList::Add(const std::string& name) {
  if (name.empty() || name[0] == '/' || name.find('\0') != std::string::npos) return false;
  const std::vector<std::string> pieces = Split(name, '/');
  for (const std::string& piece : pieces) {
    if (piece.empty() || piece == "." || piece == "..") return false;
  }
  FolderList* list = this;
  for (size_t i = 0; i + 1 < pieces.size(); ++i) list = &list->folders[pieces[i]];
  list->files.insert(pieces.back());
  return true;
}

std::vector<std::string> ForeignNames(const std::string& folder, const FolderList& list) {
  std::vector<std::string> foreign;
  Collect(folder, "", list, foreign);
  std::sort(foreign.begin(), foreign.end());
  return foreign;
}

bool RemoveListed(const std::string& folder, const FolderList& list) {
  return RemoveListedBelow(AT_FDCWD, folder.c_str(), list);
}

}  // namespace trqprep
