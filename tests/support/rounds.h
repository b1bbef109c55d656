/// How long random tests run.
#pragma once

#include <cstdlib>

namespace test_support {

/// How much of a plain program's tests one with the address sanitizer does in the same time.
#ifdef __SANITIZE_ADDRESS__
inline constexpr int kSlower = 5;
#else
inline constexpr int kSlower = 1;
#endif

/// `normal` rounds, or that many times the environment's TRQ_TEST_ROUNDS, which the tests labelled "long"
/// set; a fifth with the address sanitizer.
inline int Rounds(int normal) {
  const char* factor = std::getenv("TRQ_TEST_ROUNDS");
  const int times = factor ? std::atoi(factor) : 1;
  return (normal * (times > 0 ? times : 1) + kSlower - 1) / kSlower;
}

}  // namespace test_support
