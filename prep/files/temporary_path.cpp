#include "trqprep/temporary_path.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

#include "trqprep/immortal.h"

namespace trqprep {
namespace {

struct Registry {
  std::recursive_mutex mutex;
  std::vector<std::string> paths;
};

Immortal<Registry> room;
Registry& registry = room.value;

// Removes a file, or a folder with all it holds, and takes no memory for it, which may be what there is none
// of: std::filesystem and readdir do.
bool RemoveTree(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return true;
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) return false;
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
  close(folder);
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

void RemoveWhole(const std::string& path) {
  // Another thread may still be creating files inside; the folder is gone once nothing new appears.
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (RemoveTree(AT_FDCWD, path.c_str())) return;
  }
}

}  // namespace

TemporaryPath::TemporaryPath(std::string name, bool (*make)(char* name)) : path_(std::move(name)) {
  const std::lock_guard lock(registry.mutex);
  // All memory is asked for before there is anything to remove.
  std::string& entry = registry.paths.emplace_back(path_);
  if (make(path_.data())) {
    path_.copy(entry.data(), entry.size());
    return;
  }
  const int error = errno;
  registry.paths.pop_back();
  path_.clear();
  errno = error;
}

TemporaryPath::TemporaryPath(TemporaryPath&& other) noexcept : path_(std::exchange(other.path_, {})) {}

TemporaryPath& TemporaryPath::operator=(TemporaryPath&& other) noexcept {
  if (this != &other) {
    Remove();
    path_ = std::exchange(other.path_, {});
  }
  return *this;
}

TemporaryPath::~TemporaryPath() { Remove(); }

void TemporaryPath::Release() {
  if (path_.empty()) return;
  const std::lock_guard lock(registry.mutex);
  auto& paths = registry.paths;
  paths.erase(std::remove(paths.begin(), paths.end(), path_), paths.end());
  path_.clear();
}

void TemporaryPath::Remove() {
  if (path_.empty()) return;
  const std::lock_guard lock(registry.mutex);
  RemoveWhole(path_);
  Release();
}

std::unique_lock<std::recursive_mutex> HoldTemporaryPaths() { return std::unique_lock(registry.mutex); }

void RemoveTemporaryPaths() {
  const std::lock_guard lock(registry.mutex);
  for (const std::string& path : registry.paths) RemoveWhole(path);
  registry.paths.clear();
}

}  // namespace trqprep
