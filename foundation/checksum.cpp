#include "foundation/crc32.h"
#include "trq/foundation.h"

uint32_t CCRC::calcCRC(const void* buffer, size_t length) {
  // Kept: the register is not inverted at the end.
  return trq::detail::Crc32Register(buffer, length);
}
