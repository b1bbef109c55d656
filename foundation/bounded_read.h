/// Reading what a file claims to hold without asking for memory on the claim alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <type_traits>
#include <vector>

namespace trq::detail {

/// Bytes from the stream's position to its end; nothing when it is not known (pipes, devices), where what is
/// wanted has to be read piece by piece.
std::optional<uint64_t> BytesRemaining(std::FILE* f);

/// False when the stream is known to end before `count` items of `item_size` bytes; true when they fit or the
/// end is not known.
bool ClaimFits(std::FILE* f, uint64_t count, uint64_t item_size);

/// Reads up to `count` items behind those already in `items` and returns how many whole ones came. Memory
/// follows the bytes: one allocation for what a regular file still holds, growing pieces for a pipe.
template <class T>
uint64_t ReadItems(std::FILE* f, uint64_t count, std::vector<T>& items) {
  static_assert(std::is_trivially_copyable_v<T>, "items are read as they lie in the file");
  uint64_t piece = std::max<uint64_t>(1, (uint64_t{1} << 16) / sizeof(T));
  if (const std::optional<uint64_t> remaining = BytesRemaining(f)) {
    count = std::min(count, *remaining / sizeof(T));
    piece = count;
  }
  uint64_t done = 0;
  while (done < count) {
    const uint64_t wanted = std::min(piece, count - done);
    const std::size_t start = items.size();
    items.resize(start + static_cast<std::size_t>(wanted));
    const std::size_t got = std::fread(items.data() + start, sizeof(T), static_cast<std::size_t>(wanted), f);
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
