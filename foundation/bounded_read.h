/// Reading what a file claims to hold without asking for memory on the claim alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

#include "trq/core/bytes.h"

namespace trq::detail {

/// False when the source is known to end before `count` items of `item_size` bytes; true when they fit or the
/// end is not known.
inline bool ClaimFits(core::ByteSource& source, uint64_t count, uint64_t item_size) {
  const std::optional<uint64_t> remaining = source.Remaining();
  return !remaining || item_size == 0 || count <= *remaining / item_size;
}

/// Reads up to `count` items behind those already in `items` and returns how many whole ones came. Memory
/// follows the bytes: one allocation for what a regular file still holds, growing pieces for a pipe.
template <class T>
uint64_t ReadItems(core::ByteSource& source, uint64_t count, std::vector<T>& items) {
  static_assert(std::is_trivially_copyable_v<T>, "items are read as they lie in the file");
  uint64_t piece = std::max<uint64_t>(1, (uint64_t{1} << 16) / sizeof(T));
  if (const std::optional<uint64_t> remaining = source.Remaining()) {
    count = std::min(count, *remaining / sizeof(T));
    piece = count;
  }
  uint64_t done = 0;
  while (done < count) {
    const size_t wanted = size_t(std::min(piece, count - done));
    const size_t start = items.size();
    items.resize(start + wanted);
    const size_t got = source.Read(items.data() + start, wanted * sizeof(T)) / sizeof(T);
    done += got;
    if (got < wanted) {
      items.resize(start + got);
      break;
    }
    piece *= 2;
  }
  return done;
}

}  // namespace trq::detail
