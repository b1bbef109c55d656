#include "trqprep/folder_list.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "prep/files/system_files.h"
#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {
namespace {

constexpr const char* kOfFileManagers[] = {".DS_Store", "Thumbs.db", "desktop.ini"};

using system_files::Kind;
using system_files::Status;
using system_files::Use;

void Collect(const Descriptor& folder, const std::string& before, const FolderList& list,
             std::vector<std::string>& foreign) {
  const int error =
      !folder.open() ? errno : system_files::ForEachName(folder.number(), [&](const char* found) {
        const std::string name = found;
        Status status;
        if (system_files::AskIn(folder.number(), found, status) != 0 || status.kind != Kind::kFolder) {
          const bool left = std::find(std::begin(kOfFileManagers), std::end(kOfFileManagers), name) !=
                            std::end(kOfFileManagers);
          if (!left && list.files.count(name) == 0) foreign.push_back(before + name);
        } else if (const auto sub = list.folders.find(name); sub != list.folders.end()) {
          Collect(system_files::OpenIn(folder.number(), found, Use::kFolder), before + name + "/",
                  sub->second, foreign);
        } else {
          foreign.push_back(before + name + "/");
        }
      });
  if (error != 0) foreign.push_back(before.empty() ? "./" : before);
}

void RemoveListedIn(int folder, const FolderList& list) {
  for (const std::string& file : list.files) system_files::RemoveFile(folder, file.c_str());
  for (const char* file : kOfFileManagers) system_files::RemoveFile(folder, file);
  for (const auto& [name, files] : list.folders) {
    {
      const Descriptor sub = system_files::OpenIn(folder, name.c_str(), Use::kFolder);
      if (!sub.open()) continue;
      RemoveListedIn(sub.number(), files);
    }
    system_files::RemoveFolder(folder, name.c_str());
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
  Collect(system_files::OpenIn(folder.descriptor(), ".", Use::kFolder), "", list, foreign);
  std::sort(foreign.begin(), foreign.end());
  return foreign;
}

std::vector<std::string> FilesBelow(const HeldFolder& folder, const std::string& below) {
  Descriptor opened = folder.Open(below.empty() ? "." : below);
  std::map<std::string, bool> are_folders;  // or regular files
  const int error =
      !opened.open() ? errno : system_files::ForEachName(opened.number(), [&](const char* found) {
        const std::string name = found;
        Status status;
        if (name.rfind(".trqprep-", 0) == 0 || system_files::AskIn(opened.number(), found, status) != 0)
          return;
        if (status.kind == Kind::kFolder || status.kind == Kind::kFile) {
          are_folders[name] = status.kind == Kind::kFolder;
        }
      });
  std::vector<std::string> files;
  if (error == ENOENT || error == ENOTDIR || error == ELOOP) return files;
  if (error != 0) {
    FailInput(Code::kInputUnreadable, below.empty() ? folder.path() : folder.PathOf(below),
              SystemText(error));
  }
  opened.Close();  // before those below are opened, however deep they lie
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
