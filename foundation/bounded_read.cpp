#include "foundation/bounded_read.h"

#include "host/system.h"

namespace trq::detail {

std::optional<uint64_t> BytesRemaining(std::FILE* f) { return host::RemainingBytes(f); }

bool ClaimFits(std::FILE* f, uint64_t count, uint64_t item_size) {
  const std::optional<uint64_t> remaining = BytesRemaining(f);
  return !remaining || item_size == 0 || count <= *remaining / item_size;
}

}  // namespace trq::detail
