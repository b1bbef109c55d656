#include <cstdlib>

#include "host/system.h"
#include "trq/host.h"

namespace {

int DefaultSource(void*) { return std::rand(); }

// One source a thread, as of message boxes.
thread_local trq::RandomSource current_source = DefaultSource;
thread_local void* current_user = nullptr;

}  // namespace

void trq::SetRandomSource(int (*source)(void* user), void* user) {
  current_source = source ? source : DefaultSource;
  current_user = source ? user : nullptr;
}

int trq::host::DrawRandom() { return current_source(current_user); }

trq::SeededRandom::SeededRandom(unsigned seed) {
  // The first numbers follow one another by the multiplier 16807 modulo 2^31 - 1, from the seed as a signed
  // word.
  constexpr int64_t kModulus = 2147483647;
  int64_t word = seed == 0 ? 1 : int32_t(seed);
  for (uint32_t& number : last_) {
    number = uint32_t(word);
    word = word * 16807 % kModulus;
    if (word < 0) word += kModulus;
  }
  // What the seed still shows in is thrown away.
  for (int i = 0; i < 10 * kLag; ++i) Next();
}

int trq::SeededRandom::Next() {
  uint32_t& number = last_[oldest_];
  number += last_[(oldest_ + kLag - 3) % kLag];
  oldest_ = (oldest_ + 1) % kLag;
  return int(number >> 1);
}
