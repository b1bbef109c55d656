#include "foundation/checked_conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using trq::detail::AbsoluteHashWord;
using trq::detail::ToHashWord;
using trq::detail::ToInt;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ToInt, TruncatesTowardZero) {
  EXPECT_EQ(ToInt(0.0), 0);
  EXPECT_EQ(ToInt(2.9), 2);
  EXPECT_EQ(ToInt(-2.9), -2);
  EXPECT_EQ(ToInt(-0.9), 0);
}

TEST(ToInt, TakesTheWholeRangeOfInt) {
  EXPECT_EQ(ToInt(2147483647.0), INT_MAX);
  EXPECT_EQ(ToInt(2147483647.9), INT_MAX);
  EXPECT_EQ(ToInt(-2147483647.0), -INT_MAX);
  EXPECT_EQ(ToInt(-2147483648.9), INT_MIN);
}

TEST(ToInt, NaNAndEverythingOutOfRangeIsTheSmallestInt) {
  for (double v : {kNaN, kInfinity, -kInfinity, 2147483648.0, -2147483649.0, 1e300, -1e300})
    EXPECT_EQ(ToInt(v), INT_MIN) << v;
}

TEST(ToHashWord, KeepsTheLowWordOfTheTruncatedValue) {
  EXPECT_EQ(ToHashWord(5.9), 5);
  EXPECT_EQ(ToHashWord(-5.9), -5);
  EXPECT_EQ(ToHashWord(2147483648.0), INT_MIN);         // 0x80000000
  EXPECT_EQ(ToHashWord(4294967296.0 + 7.0), 7);         // 0x1_00000007
  EXPECT_EQ(ToHashWord(-4294967296.0 - 7.0), -7);       // 0xFFFFFFFE_FFFFFFF9
  EXPECT_EQ(ToHashWord(-2147483649.0), INT_MAX);        // 0xFFFFFFFF_7FFFFFFF
  EXPECT_EQ(ToHashWord(-9223372036854775808.0), 0);     // the least 64-bit integer
  EXPECT_EQ(ToHashWord(9223372036854774784.0), -1024);  // the largest double below 2^63: 2^63 - 1024
}

TEST(ToHashWord, NaNInfinitiesAndEverythingBeyondSixtyFourBitsIsZero) {
  for (double v : {kNaN, kInfinity, -kInfinity, 9223372036854775808.0, -9223372036854777856.0, 1e300})
    EXPECT_EQ(ToHashWord(v), 0) << v;
}

TEST(AbsoluteHashWord, HasNoAbsoluteValueForTheSmallestInt) {
  EXPECT_EQ(AbsoluteHashWord(7), 7);
  EXPECT_EQ(AbsoluteHashWord(-7), 7);
  EXPECT_EQ(AbsoluteHashWord(0), 0);
  EXPECT_EQ(AbsoluteHashWord(-INT_MAX), INT_MAX);
  EXPECT_EQ(AbsoluteHashWord(INT_MIN), 0);
}

}  // namespace
