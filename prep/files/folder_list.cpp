#include "trqprep/folder_list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>

#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {
namespace {

constexpr const char* kOfFileManagers[] = {".DS_Store", "Thumbs.db", "desktop.ini"};

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

void Collect(int folder, const std::string& before, const FolderList& list,
             std::vector<std::string>& foreign) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(folder), closedir);
  errno = entries ? 0 : errno;
  // readdir says an error by errno alone.
  for (const dirent* entry; entries && (entry = readdir(entries.get())); errno = 0) {
    const std::string name = entry->d_name;
    struct stat status {};
    if (name == "." || name == "..") continue;
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(status.st_mode)) {
      const bool left = std::find(std::begin(kOfFileManagers), std::end(kOfFileManagers), name) !=
                        std::end(kOfFileManagers);
      if (!left && list.files.count(name) == 0) foreign.push_back(before + name);
    } else if (const auto sub = list.folders.find(name); sub != list.folders.end()) {
      Collect(openat(folder, name.c_str(), kOpenFolder), before + name + "/", sub->second, foreign);
    } else {
      foreign.push_back(before + name + "/");
    }
  }
  if (errno != 0) foreign.push_back(before.empty() ? "./" : before);
}

void RemoveListedIn(int folder, const FolderList& list) {
  for (const std::string& file : list.files) unlinkat(folder, file.c_str(), 0);
  for (const char* file : kOfFileManagers) unlinkat(folder, file, 0);
  for (const auto& [name, files] : list.folders) {
    const Descriptor sub(openat(folder, name.c_str(), kOpenFolder));
    if (!sub.open()) continue;
    RemoveListedIn(sub.number(), files);
    unlinkat(folder, name.c_str(), AT_REMOVEDIR);
  }
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

std::vector<std::string> ForeignNames(const HeldFolder& folder, const FolderList& list) {
  std::vector<std::string> foreign;
  Collect(openat(folder.descriptor(), ".", kOpenFolder), "", list, foreign);
  std::sort(foreign.begin(), foreign.end());
  return foreign;
}

std::vector<std::string> FilesBelow(const HeldFolder& folder, const std::string& below) {
  Descriptor opened = folder.Open(below.empty() ? "." : below);
  std::unique_ptr<DIR, int (*)(DIR*)> entries(opened.open() ? fdopendir(opened.number()) : nullptr, closedir);
  std::vector<std::string> files;
  if (!entries && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP)) return files;
  const int listed = entries ? opened.Release() : -1;
  errno = entries ? 0 : errno;
  std::map<std::string, bool> are_folders;  // or regular files
  for (const dirent* entry; entries && (entry = readdir(entries.get())); errno = 0) {
    const std::string name = entry->d_name;
    struct stat status {};
    if (name == "." || name == ".." || name.rfind(".trqprep-", 0) == 0) continue;
    if (fstatat(listed, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode)) are_folders[name] = S_ISDIR(status.st_mode);
  }
  if (errno != 0) {
    FailInput(Code::kInputUnreadable, below.empty() ? folder.path() : folder.PathOf(below),
              SystemText(errno));
  }
  entries.reset();
  for (const auto& [name, is_folder] : are_folders) {
    const std::string path = below.empty() ? name : below + "/" + name;
    if (!is_folder) files.push_back(path);
    const std::vector<std::string> deeper = is_folder ? FilesBelow(folder, path) : std::vector<std::string>();
    files.insert(files.end(), deeper.begin(), deeper.end());
  }
  return files;
}

void RemoveListed(const HeldFolder& folder, const FolderList& list) {
  RemoveListedIn(folder.descriptor(), list);
}

}  // namespace trqprep
