#include "foundation/number_text.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

namespace {

using trq::detail::AppendComputed;
using trq::detail::AppendFixed;

std::string Printed(const char* format, double v) {
  char text[512];
  std::snprintf(text, sizeof text, format, v);
  return text;
}

std::vector<double> Values() {
  std::vector<double> values = {0.0,     -0.0,      1.0,       -1.0,       0.5,      2.5,
                                0.125,   99999.995, 1e-7,      1e22,       FLT_MAX,  -FLT_MAX,
                                FLT_MIN, DBL_MAX,   0.0000005, 123456.789, INFINITY, -INFINITY};
  std::mt19937 random(11);
  for (int i = 0; i < 2000; ++i) {
    values.push_back(static_cast<float>(
        std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(random() % 80) - 70)));
  }
  return values;
}

TEST(NumberText, WritesWhatPrintfWritesInTheCLocale) {
  for (const double v : Values()) {
    std::string fixed, padded;
    AppendFixed(fixed, v);
    AppendFixed(padded, v, 2, 7);
    ASSERT_EQ(fixed, Printed("%f", v));
    ASSERT_EQ(padded, Printed("%7.2f", v));
  }
}

TEST(NumberText, WritesNaNWithItsSign) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::string text;
  AppendFixed(text, std::copysign(nan, 1.0), 2, 7);
  AppendFixed(text, std::copysign(nan, -1.0));
  EXPECT_EQ(text, "    nan-nan");
}

TEST(NumberText, WritesComputedNaNWithoutASign) {
  std::string text;
  for (const double v : {std::nan(""), -std::nan(""), -1.5}) AppendComputed(text, v, 2, 7);
  EXPECT_EQ(text, "    nan    nan  -1.50");
}

TEST(NumberText, AppendsBehindWhatIsThere) {
  std::string text = "x ";
  AppendFixed(text, 1.5, 1, 5);
  EXPECT_EQ(text, "x   1.5");
}

}  // namespace
