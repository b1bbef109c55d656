#include <algorithm>
#include <array>

#include "trq/placement.h"

namespace {

constexpr std::array<uint32_t, 32> MakeBitMasks() {
  std::array<uint32_t, 32> masks{};
  for (std::size_t k = 0; k < 32; ++k) masks[k] = uint32_t{1} << k;
  return masks;
}
constexpr std::array<uint32_t, 32> kBitMasks = MakeBitMasks();

constexpr int CountAgainstMasks(uint32_t value) {
  int count = 0;
  for (std::size_t k = 0; k < 32; ++k) count += (value & kBitMasks[k]) != 0;
  return count;
}

// The byte tables are constants: nothing is filled at run time, so grids may be made in any thread.
struct ByteTables {
  std::array<uint8_t, 256> bits{};
  std::array<uint8_t, 256> highest{};  // entry 0 stays 0
};
constexpr ByteTables MakeByteTables() {
  ByteTables tables;
  for (uint32_t value = 0; value < 256; ++value) {
    tables.bits[value] = static_cast<uint8_t>(CountAgainstMasks(value));
    for (uint8_t k = 0; k < 8; ++k)
      if (value & kBitMasks[k]) tables.highest[value] = k;
  }
  return tables;
}
constexpr ByteTables kBytes = MakeByteTables();

// The word that holds cell (x, y), or -1 when there is none.
int WordOf(int x, int y) {
  if (y < 0) return -1;
  const int64_t word = int64_t{x} + y / 32;
  return word >= 0 && word <= 31 ? static_cast<int>(word) : -1;
}

}  // namespace

BitGrid::BitGrid() : rows{} {}

void BitGrid::set(int x, int y) {
  const int word = WordOf(x, y);
  if (word >= 0) rows[word] |= kBitMasks[static_cast<std::size_t>(y % 32)];
}

unsigned BitGrid::on(int x, int y) const {
  const int word = WordOf(x, y);
  return word >= 0 ? rows[word] & kBitMasks[static_cast<std::size_t>(y % 32)] : 0;
}

void BitGrid::clear() { std::fill(std::begin(rows), std::end(rows), 0U); }

void BitGrid::fill() { std::fill(std::begin(rows), std::end(rows), ~0U); }

BitGrid& BitGrid::operator&=(const BitGrid& other) {
  for (int i = 0; i < 32; ++i) rows[i] &= other.rows[i];
  return *this;
}

BitGrid& BitGrid::operator|=(const BitGrid& other) {
  for (int i = 0; i < 32; ++i) rows[i] |= other.rows[i];
  return *this;
}

int BitGrid::touches(const BitGrid& other) const {
  for (int i = 0; i < 32; ++i)
    if (rows[i] & other.rows[i]) return 1;
  return 0;
}

void BitGrid::shift(BitGrid& dest, int dx, int dy) const {
  if (dx < 0 || dx > 31 || dy < 0) return;
  for (int i = 0; i + dx <= 31; ++i) shift_bits(rows + i, dest.rows + i + dx, dy, 1, 32 - (i + dx));
}

int BitGrid::occupied() const {
  int count = 0;
  for (uint32_t row : rows) count += num_bits(row);
  return count;
}

int BitGrid::max_x() const {
  for (int i = 31; i >= 0; --i)
    if (rows[i]) return i;
  return -1;
}

int BitGrid::max_y() const {
  uint32_t any = 0;
  for (uint32_t row : rows) any |= row;
  return any ? highest_bit(any) : -1;
}

void BitGrid::print(FILE* stream) const {
  if (!stream) stream = stdout;
  for (uint32_t row : rows) {
    for (uint32_t mask : kBitMasks) std::fputc(row & mask ? '#' : '.', stream);
    // Kept: the line ends go to standard output even when the cells go elsewhere.
    std::fputc('\n', stdout);
  }
}

int BitGrid::num_bits(unsigned word) {
  return kBytes.bits[word & 0xFF] + kBytes.bits[word >> 8 & 0xFF] + kBytes.bits[word >> 16 & 0xFF] +
         kBytes.bits[word >> 24];
}

int BitGrid::highest_bit(unsigned word) {
  for (int shift = 24; shift > 0; shift -= 8)
    if (word >> shift & 0xFF) return kBytes.highest[word >> shift & 0xFF] + shift;
  return kBytes.highest[word & 0xFF];
}

int BitGrid::count_bits(int value) { return CountAgainstMasks(static_cast<uint32_t>(value)); }

// ORs src, shifted up by nbits, into dst, of which dst_words exist; what would land beyond is dropped.
void BitGrid::shift_bits(const unsigned* src, unsigned* dst, int nbits, int nwords, int dst_words) {
  const int words = nbits / 32;
  const int bits = nbits % 32;
  const int last = std::max(nwords - words - 1, 0);
  for (int k = 0; k < last; ++k) {
    if (k + words < dst_words) dst[k + words] |= src[k] << bits;
    if (bits > 0 && k + words + 1 < dst_words) dst[k + words + 1] |= src[k] >> (32 - bits);
  }
  if (last + words < dst_words) dst[last + words] |= src[last] << bits;
}
