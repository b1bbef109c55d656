#include "trq/foundation.h"

namespace {

// Shifts by the whole width, which packing without spare bits needs, drop every bit.
uint32_t ShiftLeft(uint32_t value, int bits) { return bits >= 32 ? 0u : value << bits; }
uint32_t ShiftRight(uint32_t value, int bits) { return bits >= 32 ? 0u : value >> bits; }

}  // namespace

int BYTE_PACKER::bits_per_item(int n) {
  int bits = 0;
  for (uint32_t largest = n > 1 ? uint32_t(n) - 1u : 0u; largest != 0; largest >>= 1) ++bits;
  return bits;
}

BYTE_PACKER::BYTE_PACKER(int* data, int n)
    : data_(data),
      bits_(bits_per_item(n)),
      spare_(32 - bits_),
      item_mask_((1u << bits_) - 1u),
      masks_{},
      n_(n) {
  for (int k = 0; k <= bits_; ++k) masks_[k] = (1u << k) - 1u;
}

int BYTE_PACKER::compressed_size(int count) const { return int(int64_t(bits_) * count / word_width_ + 1); }

void BYTE_PACKER::pack(int count) {
  for (int i = 0; i < count; ++i) add_num(data_[i]);
}

void BYTE_PACKER::unpack(int count) {
  // From the end: an item's own place lies past every word that the items before it still need.
  for (int i = count - 1; i >= 0; --i) data_[i] = get_num(i);
}

void BYTE_PACKER::add_num(int v) {
  // Kept: the value is not masked, so one of more than `bits_` bits reaches into the item before it.
  const uint32_t value = uint32_t(v);
  const int over = bit_ - spare_;
  uint32_t word = bit_ == 0 ? 0u : uint32_t(data_[word_]);
  word |= over <= 0 ? ShiftLeft(value, -over) : ShiftRight(value, over);
  data_[word_] = int(word);
  bit_ += bits_;
  if (bit_ >= word_width_) {
    bit_ -= word_width_;
    ++word_;
  }
  if (over > 0) data_[word_] = int(ShiftLeft(value, word_width_ - over));
}

int BYTE_PACKER::get_num(int i) {
  const int64_t position = int64_t(bits_) * i;
  word_ = int32_t(position / word_width_);
  bit_ = int32_t(position % word_width_);
  const uint32_t word = uint32_t(data_[word_]);
  const int over = bit_ - spare_;
  if (over < 0) return int(ShiftRight(word, -over) & item_mask_);
  uint32_t item = ShiftLeft(word, over) & item_mask_;
  // An item that ends with its word takes nothing from the next one, which may lie past the array.
  if (over > 0) {
    const uint32_t next = uint32_t(data_[word_ + 1]);
    item |= ShiftRight(next, word_width_ - over) & masks_[over];
  }
  return int(item);
}
