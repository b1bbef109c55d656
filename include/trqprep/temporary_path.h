/// Files and folders that never outlive the process.
#pragma once

#include <mutex>
#include <string>

#include "trqprep/held_folder.h"

namespace trqprep {

/// A file or folder `.trqprep-XXXXXX` that disappears when this object does, or when RemoveTemporaryPaths is
/// called. It is held open: what somebody puts in the place of its name meanwhile is left alone.
class TemporaryPath {
 public:
  enum class Kind { kFile, kFolder };
  TemporaryPath() = default;
  /// Makes it, for this user alone, in that folder, a descriptor that stays open as long as this object does.
  /// When it cannot be made, descriptor() is not open and errno says why. Nothing stands without its owner in
  /// between, whatever is interrupted or finds no memory.
  TemporaryPath(int folder, Kind kind);
  TemporaryPath(TemporaryPath&& other) noexcept = default;
  TemporaryPath& operator=(TemporaryPath&& other) noexcept;
  ~TemporaryPath() { Remove(); }
  const Descriptor& descriptor() const { return itself_; }
  /// In its folder.
  const std::string& name() const { return name_; }
  /// Whether its name still means it.
  bool Stands() const { return NamesFile(folder_, name_.c_str(), itself_.number()); }
  /// Lets go of it: it stays where it is. It remains open.
  void Release();
  /// Removes it now.
  void Remove();

 private:
  int folder_ = -1;
  std::string name_;
  Descriptor itself_;
};

/// Held while a temporary path gets its final name, so that RemoveTemporaryPaths comes before or after, never
/// in between.
std::unique_lock<std::recursive_mutex> HoldTemporaryPaths();

/// Removes every TemporaryPath there is, from any thread; for ways out that run no destructors.
void RemoveTemporaryPaths();

}  // namespace trqprep
