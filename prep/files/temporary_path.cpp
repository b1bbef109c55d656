#include "trqprep/temporary_path.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

#include "trqprep/immortal.h"

namespace trqprep {
namespace {

using Kind = TemporaryPath::Kind;

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

// Removes all that a folder holds, and takes no memory for it, which may be what there is none of:
// std::filesystem and readdir do.
bool RemoveContent(int folder) {
  alignas(dirent64) char block[4096];
  bool removed = true;
  // What was listed is gone afterwards, so each list begins at the start.
  for (bool any = true; any && removed && lseek(folder, 0, SEEK_SET) == 0;) {
    any = false;
    const ssize_t size = getdents64(folder, block, sizeof block);
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(block + at);
      at += entry->d_reclen;
      const std::string_view entry_name = entry->d_name;
      if (entry_name == "." || entry_name == "..") continue;
      any = true;
      removed = RemoveTree(folder, entry->d_name) && removed;
    }
  }
  return removed;
}

// Removes a file, or a folder with all it holds.
bool RemoveTree(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return true;
  const Descriptor folder(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder.open()) return false;
  RemoveContent(folder.number());
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

void RemoveEntry(const Entry& entry) {
  // Another thread may still be creating files inside; the folder is gone once nothing new appears.
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (entry.kind == Kind::kFolder) RemoveContent(entry.itself);
    // What took its place is not this tool's.
    if (!NamesFile(entry.folder, entry.name, entry.itself)) return;
    if (unlinkat(entry.folder, entry.name, entry.kind == Kind::kFolder ? AT_REMOVEDIR : 0) == 0) return;
  }
}

// Fills the name and makes what it says; the descriptor, or -1.
int Make(Entry& entry) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
  std::string_view(".trqprep-XXXXXX").copy(entry.name, sizeof entry.name);
  for (int attempt = 0; attempt < 1000; ++attempt) {
    unsigned char random[6];
    if (getentropy(random, sizeof random) != 0) return -1;
    for (size_t i = 0; i < sizeof random; ++i) entry.name[9 + i] = kLetters[random[i] % 64];
    if (entry.kind == Kind::kFile) {
      const int file = openat(entry.folder, entry.name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      if (file >= 0 || errno != EEXIST) return file;
    } else if (mkdirat(entry.folder, entry.name, 0700) == 0) {
      const int folder = openat(entry.folder, entry.name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      if (folder < 0) unlinkat(entry.folder, entry.name, AT_REMOVEDIR);
      return folder;
    } else if (errno != EEXIST) {
      return -1;
    }
  }
  return -1;
}

}  // namespace

TemporaryPath::TemporaryPath(int folder, Kind kind) : folder_(folder) {
  const std::lock_guard lock(registry.mutex);
  // All memory is asked for before there is anything to remove.
  registry.entries.reserve(registry.entries.size() + 1);
  Entry entry{folder, -1, kind, {}};
  name_.reserve(sizeof entry.name);
  itself_ = Descriptor(entry.itself = Make(entry));
  if (!itself_.open()) return;
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
