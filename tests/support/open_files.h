/// How many descriptors the process holds, for tests that nothing stays open.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace test_support {

inline std::size_t OpenFiles() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace test_support
