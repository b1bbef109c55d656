#include <gtest/gtest.h>

#include "trq/foundation.h"

namespace {

// CRC-32 of "123456789" is CBF43926 with, 340BC6D9 without the final inversion.
TEST(CCRC, KeptIsNotInvertedAtTheEnd) {
  EXPECT_EQ(CCRC::calcCRC("123456789", 9), 0x340BC6D9u);
  EXPECT_EQ(CCRC::calcCRC("", 0), 0xFFFFFFFFu);
}

}  // namespace
