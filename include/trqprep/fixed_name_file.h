/// Files that the library writes under a name of its own in the current folder.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "cli/context.h"
#include "trqprep/atomic_output.h"

namespace trqprep {

/// Such a file, made in a private folder; it disappears with this object.
class FixedNameFile {
 public:
  /// Runs `make` with the private folder as the current one; relative names mean nothing to it then. Fails
  /// with exit 4 when the file is not there afterwards, or has not the size that it must have.
  FixedNameFile(const char* name, std::uint64_t size, const std::function<void()>& make);
  const std::string& path() const { return path_; }
  /// Gives the file the name that was asked for.
  void MoveTo(const std::string& path, bool replace) const;

 private:
  TemporaryFolder folder_;
  std::string path_;
  std::uint64_t size_;
};

}  // namespace trqprep
