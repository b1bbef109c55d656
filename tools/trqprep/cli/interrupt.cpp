#include "cli/interrupt.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <new>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "cli/progress.h"
#include "cli/terminal.h"
#include "trqprep/exit_codes.h"

namespace trqprep {
namespace {

struct Registry {
  std::recursive_mutex mutex;
  std::vector<std::string> paths;
};

Registry& TheRegistry() {
  // Outlives every other static, as the watcher may need it last; and needs no memory, as it is used when
  // there is none.
  alignas(Registry) static std::byte room[sizeof(Registry)];
  static Registry* registry = new (room) Registry;
  return *registry;
}

// An entry of a folder as the kernel lists it.
struct FolderEntry {
  std::uint64_t inode;
  std::int64_t offset;
  unsigned short length;
  unsigned char type;
  char name[1];
};

// Removes a file, or a folder with all it holds, and takes no memory for it, which may be what there is none
// of.
bool RemoveTree(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return true;
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) return false;
  alignas(FolderEntry) char block[4096];
  bool removed = true;
  // What was listed is gone afterwards, so each list begins at the start.
  for (long size = 1; size > 0 && removed && lseek(folder, 0, SEEK_SET) == 0;) {
    size = syscall(SYS_getdents64, folder, block, sizeof block);
    bool any = false;
    for (long at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const FolderEntry*>(block + at);
      at += entry->length;
      const std::string_view entry_name = entry->name;
      if (entry_name == "." || entry_name == "..") continue;
      any = true;
      removed = RemoveTree(folder, entry->name) && removed;
    }
    if (!any) break;
  }
  close(folder);
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

void RemoveWhole(const std::string& path) {
  // The main thread may still be creating files inside; the folder is gone once nothing new appears.
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (RemoveTree(AT_FDCWD, path.c_str())) return;
  }
}

void Watch(sigset_t signals, void (*last_words)()) {
  const bool draws_progress = ErrorStreamIsTerminal();
  while (true) {
    int number = 0;
    if (draws_progress) {
      const timespec pause{0, 200'000'000};
      number = sigtimedwait(&signals, nullptr, &pause);
      if (number < 0) {
        TickProgress();
        continue;
      }
    } else {
      number = sigwaitinfo(&signals, nullptr);
      if (number < 0) continue;
    }
    const auto hold = HoldInterruptions();
    RemoveTemporaryPaths();
    last_words();
    _exit(static_cast<int>(ExitCode::kInterrupted));
  }
}

}  // namespace

void WatchSignals(void (*last_words)()) {
  // Writing to a closed pipe or beyond a size limit is an error to report, not a reason to die.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    // nohup and shells ignore a signal on purpose; a blocked signal would be delivered all the same.
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    sigaddset(&signals, number);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread(Watch, signals, last_words).detach();
}

TemporaryPath::TemporaryPath(std::string name, bool (*make)(char* name)) : path_(std::move(name)) {
  Registry& registry = TheRegistry();
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
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  const auto entry = std::find(registry.paths.begin(), registry.paths.end(), path_);
  if (entry != registry.paths.end()) registry.paths.erase(entry);
  path_.clear();
}

void TemporaryPath::Remove() {
  if (path_.empty()) return;
  const std::lock_guard lock(TheRegistry().mutex);
  RemoveWhole(path_);
  Release();
}

std::unique_lock<std::recursive_mutex> HoldInterruptions() { return std::unique_lock(TheRegistry().mutex); }

void RemoveTemporaryPaths() {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  for (const std::string& path : registry.paths) RemoveWhole(path);
  registry.paths.clear();
}

}  // namespace trqprep
