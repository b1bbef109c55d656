#include <algorithm>

#include "trq/placement.h"

namespace {

// The word that holds cell (x, y), or -1 when there is none.
int WordOf(int x, int y) {
  if (y < 0) return -1;
  const int64_t word = int64_t{x} + y / 32;
  return word >= 0 && word <= 31 ? int(word) : -1;
}

}  // namespace

BitGrid::BitGrid() : rows{} {}

void BitGrid::set(int x, int y) {
  const int word = WordOf(x, y);
  if (word >= 0) rows[word] |= 1U << y % 32;
}

unsigned BitGrid::on(int x, int y) const {
  const int word = WordOf(x, y);
  return word >= 0 ? rows[word] & 1U << y % 32 : 0;
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
    for (int y = 0; y < 32; ++y) std::fputc(row >> y & 1 ? '#' : '.', stream);
    // Kept: the line ends go to standard output even when the cells go elsewhere.
    std::fputc('\n', stdout);
  }
}

int BitGrid::num_bits(unsigned word) {
  int count = 0;
  for (; word; word &= word - 1) ++count;
  return count;
}

int BitGrid::highest_bit(unsigned word) {
  int bit = 0;
  while (word >>= 1) ++bit;
  return bit;
}

int BitGrid::count_bits(int value) { return num_bits(static_cast<unsigned>(value)); }

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
