#include "foundation/crc32.h"

#include <array>

#include "foundation/host_order.h"

namespace trq::detail {

namespace {

constexpr uint32_t kPolynomial = 0xEDB88320u;
constexpr int kSlices = 8;

using Tables = std::array<std::array<uint32_t, 256>, kSlices>;

// Table s carries a byte's contribution over s further zero bytes, so that eight bytes are taken in one step.
constexpr Tables MakeTables() {
  Tables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t state = byte;
    for (int bit = 0; bit < 8; ++bit) state = (state >> 1) ^ (state & 1u ? kPolynomial : 0u);
    tables[0][byte] = state;
  }
  for (size_t s = 1; s < kSlices; ++s) {
    for (size_t byte = 0; byte < 256; ++byte) {
      const uint32_t before = tables[s - 1][byte];
      tables[s][byte] = (before >> 8) ^ tables[0][before & 0xFFu];
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

}  // namespace

uint32_t Crc32Register(const void* data, size_t length, uint32_t state) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  for (; length >= kSlices; length -= kSlices, p += kSlices) {
    const uint32_t low = state ^ LoadLittle32(p);
    const uint32_t high = LoadLittle32(p + 4);
    state = kTables[7][low & 0xFFu] ^ kTables[6][low >> 8 & 0xFFu] ^ kTables[5][low >> 16 & 0xFFu] ^
            kTables[4][low >> 24] ^ kTables[3][high & 0xFFu] ^ kTables[2][high >> 8 & 0xFFu] ^
            kTables[1][high >> 16 & 0xFFu] ^ kTables[0][high >> 24];
  }
  for (; length > 0; --length, ++p) state = (state >> 8) ^ kTables[0][(state ^ *p) & 0xFFu];
  return state;
}

}  // namespace trq::detail
