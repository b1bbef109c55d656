#include <algorithm>
#include <memory>
#include <utility>

#include "trq/foundation.h"

TriangleBAG::TriangleBAG(int max_blocks, int block_size)
    : block_size_(std::max(block_size, 1)),
      max_blocks_(block_size > 0 ? std::max(max_blocks, 0) : 0),
      count_in_block_(block_size_) {}

TriangleBAG::~TriangleBAG() = default;

void TriangleBAG::append(const R_TRIANGLE& t) {
  if (count_in_block_ < block_size_) {
    blocks_[size_t(current_block_)][size_t(count_in_block_)] = t;
    ++count_in_block_;
    return;
  }
  // After an overflow the index stays at the maximum, so that every later append fails in the same way.
  const int next = std::min(current_block_ + 1, max_blocks_);
  if (next >= max_blocks_) {
    current_block_ = max_blocks_;
    std::fprintf(stderr, "Serious problem in TriangleBAG: MAX_BLOCKS is too small\n");
    throw 9;
  }
  const size_t block = size_t(next);
  if (block == blocks_.size()) {
    // Without an initialiser: a block that is about to be filled need not be zeroed first. It has its owner
    // before the list grows, for either may run out of memory; the bag is as before then.
    std::unique_ptr<R_TRIANGLE[]> records(new R_TRIANGLE[size_t(block_size_)]);
    blocks_.push_back(std::move(records));
  }
  current_block_ = next;
  blocks_[block][0] = t;
  count_in_block_ = 1;
}

int TriangleBAG::num() const {
  // Past an overflow the index is one beyond the blocks that there are.
  return int(int64_t(std::min(current_block_, max_blocks_ - 1)) * block_size_ + count_in_block_);
}

const R_TRIANGLE& TriangleBAG::operator[](int i) const {
  return blocks_[size_t(i / block_size_)][size_t(i % block_size_)];
}

R_TRIANGLE& TriangleBAG::operator[](int i) { return const_cast<R_TRIANGLE&>(std::as_const(*this)[i]); }

const R_TRIANGLE* TriangleBAG::run(int i, int& count) const {
  count = std::min(block_size_ - i % block_size_, num() - i);
  return &(*this)[i];
}

void TriangleBAG::remove(int i) {
  // Empty, or past an overflow: there is no last record.
  if (current_block_ < 0 || size_t(current_block_) >= blocks_.size()) return;
  const int last = num() - 1;
  // Kept: an index outside the bag is not refused; the last record is dropped.
  if (i >= 0 && i <= last) (*this)[i] = (*this)[last];
  if (--count_in_block_ == 0) {
    count_in_block_ = block_size_;
    --current_block_;
  }
}

void TriangleBAG::clear() {
  current_block_ = -1;
  count_in_block_ = block_size_;
}
