#include "trqprep/temporary_path.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "prep/files/system_files.h"
#include "trqprep/immortal.h"

namespace trqprep {
namespace {

using Kind = TemporaryPath::Kind;
using system_files::Use;

struct Entry {
  int folder;
  int itself;  // tells entries apart
  Kind kind;
  char name[16];
};

struct Registry {
  std::recursive_mutex mutex;
  std::vector<Entry> entries;
};

Immortal<Registry> room;
Registry& registry = room.value;

bool RemoveTree(int parent, const char* name);

// Removes all that a folder holds, and takes no memory for it, which may be what there is none of.
void RemoveContent(int folder) {
  bool removed = true;
  // Listing and removing at once may miss some.
  for (bool any = true; any && removed;) {
    any = false;
    const auto remove = [&](const char* name) {
      any = true;
      removed = RemoveTree(folder, name) && removed;
    };
    if (system_files::ForEachName(folder, std::ref(remove)) != 0) return;
  }
}

// Removes a file, or a folder with all it holds.
bool RemoveTree(int parent, const char* name) {
  const auto gone = [](int error) { return error == 0 || error == ENOENT; };
  if (gone(system_files::RemoveFile(parent, name))) return true;
  {
    const Descriptor folder = system_files::OpenIn(parent, name, Use::kFolder);
    if (!folder.open()) return false;
    RemoveContent(folder.number());
  }
  return gone(system_files::RemoveFolder(parent, name));
}

void RemoveEntry(const Entry& entry) {
  // Another thread may still be creating files inside; the folder is gone once nothing new appears.
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (entry.kind == Kind::kFolder) RemoveContent(entry.itself);
    // What took its place is not this tool's.
    if (!NamesFile(entry.folder, entry.name, entry.itself)) return;
    const auto remove = entry.kind == Kind::kFolder ? system_files::RemoveFolder : system_files::RemoveFile;
    if (remove(entry.folder, entry.name) == 0) return;
  }
}

// Fills the name and makes what it says.
Descriptor Make(Entry& entry) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
  std::string_view(".trqprep-XXXXXX").copy(entry.name, sizeof entry.name);
  for (int attempt = 0; attempt < 1000; ++attempt) {
    unsigned char random[6];
    if (!system_files::FillRandom(random, sizeof random)) return Descriptor();
    for (size_t i = 0; i < sizeof random; ++i) entry.name[9 + i] = kLetters[random[i] % 64];
    if (entry.kind == Kind::kFile) {
      Descriptor file = system_files::OpenIn(entry.folder, entry.name, Use::kPrivate);
      if (file.open() || errno != EEXIST) return file;
    } else if (const int error = system_files::MakeFolder(entry.folder, entry.name, true); error == 0) {
      Descriptor folder = system_files::OpenIn(entry.folder, entry.name, Use::kFolder);
      if (!folder.open()) {
        const int before = errno;
        system_files::RemoveFolder(entry.folder, entry.name);
        errno = before;
      }
      return folder;
    } else if (error != EEXIST) {
      errno = error;
      return Descriptor();
    }
  }
  return Descriptor();
}

}  // namespace

TemporaryPath::TemporaryPath(int folder, Kind kind) : folder_(folder) {
  const std::lock_guard lock(registry.mutex);
  // All memory is asked for before there is anything to remove.
  registry.entries.reserve(registry.entries.size() + 1);
  Entry entry{folder, -1, kind, {}};
  name_.reserve(sizeof entry.name);
  itself_ = Make(entry);
  if (!itself_.open()) return;
  entry.itself = itself_.number();
  name_ = entry.name;
  registry.entries.push_back(entry);
}

TemporaryPath& TemporaryPath::operator=(TemporaryPath&& other) noexcept {
  std::swap(folder_, other.folder_);
  std::swap(name_, other.name_);
  std::swap(itself_, other.itself_);
  return *this;
}

void TemporaryPath::Release() {
  const std::lock_guard lock(registry.mutex);
  auto& entries = registry.entries;
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [&](const Entry& entry) { return entry.itself == itself_.number(); }),
                entries.end());
}

void TemporaryPath::Remove() {
  if (!itself_.open()) return;
  const std::lock_guard lock(registry.mutex);
  for (const Entry& entry : registry.entries) {
    if (entry.itself == itself_.number()) RemoveEntry(entry);
  }
  Release();
  itself_.Close();
}

std::unique_lock<std::recursive_mutex> HoldTemporaryPaths() { return std::unique_lock(registry.mutex); }

void RemoveTemporaryPaths() {
  const std::lock_guard lock(registry.mutex);
  for (const Entry& entry : registry.entries) RemoveEntry(entry);
  registry.entries.clear();
}

}  // namespace trqprep
