/// How many descriptors the process holds, for tests that nothing stays open.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>
#ifdef _WIN32
#include <io.h>
#endif

namespace test_support {

inline std::size_t OpenFiles() {
#ifdef _WIN32
  std::size_t open = 0;
  for (int descriptor = 0; descriptor < 2048; ++descriptor) open += _get_osfhandle(descriptor) != -1;
  return open;
#else
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
#endif
}

}  // namespace test_support
