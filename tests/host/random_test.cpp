#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "host/system.h"
#include "trq/host.h"

namespace {

TEST(SeededRandom, DrawsThePublishedSequence) {
  // The first numbers of rand() of the GNU C library without srand, as after srand(1).
  trq::SeededRandom random(1);
  for (const int number : {1804289383, 846930886, 1681692777, 1714636915, 1957747793, 424238335, 719885386}) {
    EXPECT_EQ(random.Next(), number);
  }
}

#ifdef __GLIBC__
TEST(SeededRandom, DrawsWhatTheSystemsLibraryDraws) {
  for (unsigned i = 0; i < 1000; ++i) {
    // Small seeds, and such that are negative as signed words.
    const unsigned seed = i < 500 ? i : i * 2654435761u;
    trq::SeededRandom random(seed);
    std::srand(seed);
    for (int draw = 0; draw < 400; ++draw) ASSERT_EQ(random.Next(), std::rand()) << seed << ' ' << draw;
  }
  for (const unsigned seed : {0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu}) {
    trq::SeededRandom random(seed);
    std::srand(seed);
    for (int draw = 0; draw < 400; ++draw) ASSERT_EQ(random.Next(), std::rand()) << seed << ' ' << draw;
  }
}
#endif

TEST(RandomSource, IsRandUntilAnotherIsInstalledOnTheThread) {
  const auto expect_rand = [] {
    std::srand(5);
    const int expected = std::rand();
    std::srand(5);
    EXPECT_EQ(trq::host::DrawRandom(), expected);
  };
  expect_rand();
  int next = 41;
  trq::SetRandomSource([](void* user) { return ++*static_cast<int*>(user); }, &next);
  EXPECT_EQ(trq::host::DrawRandom(), 42);
  std::thread(expect_rand).join();
  EXPECT_EQ(trq::host::DrawRandom(), 43);
  trq::SetRandomSource(nullptr, nullptr);
  expect_rand();
}

}  // namespace
