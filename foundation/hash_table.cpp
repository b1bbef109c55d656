#include <algorithm>
#include <cstdint>

#include "trq/foundation.h"

namespace {

int HashOfAddress(void* p) {
  const int32_t address = int32_t(uint32_t(reinterpret_cast<std::uintptr_t>(p)));
  return address / 4;
}

int SameAddress(void* a, void* b) { return a == b; }

}  // namespace

HASH_TABLE::HASH_TABLE(int buckets) : HASH_TABLE(buckets, nullptr, nullptr) {}

HASH_TABLE::HASH_TABLE(int buckets, int (*hash)(void*), int (*compare)(void*, void*))
    : buckets_(size_t(std::max(buckets, 0))),
      hash_(hash ? hash : HashOfAddress),
      compare_(compare ? compare : SameAddress) {}

HASH_TABLE::~HASH_TABLE() {
  for (LIGHT_ITEM& head : buckets_) head.clear2();
}

LIGHT_ITEM* HASH_TABLE::bucket(int h) {
  if (buckets_.empty()) return nullptr;
  const int count = int(buckets_.size());
  int index = h % count;
  if (index < 0) index += count;
  return &buckets_[size_t(index)];
}

void HASH_TABLE::add(void* d, void* key) {
  if (LIGHT_ITEM* head = bucket(hash_(key))) head->append2(d);
}

void HASH_TABLE::add_first(void* d, void* key) {
  if (LIGHT_ITEM* head = bucket(hash_(key))) head->prepend2(d);
}

void* HASH_TABLE::find(void* key) {
  LIGHT_ITEM* head = bucket(hash_(key));
  LIGHT_ITEM* item = head ? head->find_by2(compare_, key) : nullptr;
  return item ? item->data : nullptr;
}

void* HASH_TABLE::add_or_find(void* key) {
  LIGHT_ITEM* head = bucket(hash_(key));
  if (!head) return key;
  if (LIGHT_ITEM* item = head->find_by2(compare_, key)) return item->data;
  head->append2(key);
  return key;
}

LIGHT_ITEM* HASH_TABLE::matches(int h) { return bucket(h); }

LIGHT_ITEM* HASH_TABLE::clashes(void* key) {
  // Kept: the hash is the index itself, not reduced by the bucket count.
  const int index = hash_(key);
  if (index < 0 || size_t(index) >= buckets_.size()) return nullptr;
  return &buckets_[size_t(index)];
}

void HASH_TABLE::print_distribution() {
  std::printf("%i cells\n", int(buckets_.size()));
  int used = 0;
  for (const LIGHT_ITEM& head : buckets_) {
    const int length = head.length2();
    if (length == 0) continue;
    std::printf("%i\n", length);
    ++used;
  }
  std::printf("%i used\n", used);
}
