/// The CRC-32 of style files and STL stamps.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trq::detail {

/// The reflected CRC-32 register of polynomial 0xEDB88320 after `length` bytes, started at `state` and
/// without final inversion. Data in pieces: pass the result as the next piece's state.
uint32_t Crc32Register(const void* data, size_t length, uint32_t state = 0xFFFFFFFFu);

}  // namespace trq::detail
