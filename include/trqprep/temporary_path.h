/// Files and folders that never outlive the process.
#pragma once

#include <mutex>
#include <string>

namespace trqprep {

/// A file or folder that disappears when this object does, or when RemoveTemporaryPaths is called.
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

/// Held while a temporary path gets its final name, so that RemoveTemporaryPaths comes before or after, never
/// in between.
std::unique_lock<std::recursive_mutex> HoldTemporaryPaths();

/// Removes every TemporaryPath there is, from any thread; for ways out that run no destructors.
void RemoveTemporaryPaths();

}  // namespace trqprep
