/// Clean-up that happens on every way out: temporary paths, and the thread that watches for signals.
#pragma once

#include <mutex>
#include <string>

namespace trqprep {

/// Blocks SIGINT, SIGTERM and SIGHUP (unless the tool was started with them ignored), ignores SIGPIPE and
/// SIGXFSZ, and starts the thread that waits for the former. When one arrives, every registered temporary
/// path is removed, `last_words` is called and the process ends with 130. The thread also draws progress.
void WatchSignals(void (*last_words)());

/// A file or folder that disappears when this object does, or when the process is interrupted.
class TemporaryPath {
 public:
  TemporaryPath() = default;
  /// Makes the path and takes charge of it: `make` gets a writable name that ends in XXXXXX, fills the six in
  /// and returns whether it made what the name says. When it did not, errno is as it left it and path() is
  /// empty. Nothing stands without its owner in between, whatever is interrupted or finds no memory.
  TemporaryPath(std::string name, bool (*make)(char* name));
  TemporaryPath(TemporaryPath&& other) noexcept;
  TemporaryPath& operator=(TemporaryPath&& other) noexcept;
  ~TemporaryPath();
  const std::string& path() const { return path_; }
  /// Lets go of the path: it stays where it is.
  void Release();
  /// Removes the path now.
  void Remove();

 private:
  std::string path_;
};

/// Held while a temporary path gets its final name, so that an interruption comes before or after, never
/// in between.
std::unique_lock<std::recursive_mutex> HoldInterruptions();

/// Removes every registered path; for ways out that run no destructors.
void RemoveTemporaryPaths();

}  // namespace trqprep
