/// How long random tests run.
#pragma once

#include <cstdlib>

namespace test_support {

/// `normal` rounds, or that many times the environment's TRQ_TEST_ROUNDS: the tests labelled "long" set it.
inline int Rounds(int normal) {
  const char* factor = std::getenv("TRQ_TEST_ROUNDS");
  const int times = factor ? std::atoi(factor) : 1;
  return normal * (times > 0 ? times : 1);
}

}  // namespace test_support
