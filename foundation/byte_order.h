/// Items of files whose byte order is not the machine's.
#pragma once

#include <algorithm>
#include <cstddef>

namespace trq::detail {

/// Reverses the bytes of each of `count` items of `size` bytes.
inline void ReverseItems(void* items, size_t size, size_t count) {
  if (size < 2) return;
  char* bytes = static_cast<char*>(items);
  for (; count > 0; --count, bytes += size) std::reverse(bytes, bytes + size);
}

}  // namespace trq::detail
