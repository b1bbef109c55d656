#include "prep/meshes/sine_cosine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iostream>
#include <random>

namespace trqprep {
namespace {

// At least 112 bits: half of them are lost to the large terms of the series below, and none is missed.
#ifdef __SIZEOF_FLOAT128__
__extension__ using Wide = __float128;
#else
using Wide = long double;
#endif

/// The sum of the powers of x over their factorials with alternating signs, from x^first on by twos: the sine
/// for 1, the cosine for 0. All of |x| <= 2 pi, without any reduction.
Wide PowerSeries(double x, int first) {
  Wide sum = 0;
  Wide term = first == 0 ? Wide(1) : Wide(x);
  for (int n = first; n < 68; n += 2) {
    sum += term;
    term = -term * x * x / ((n + 1) * (n + 2));
  }
  return sum;
}

/// Units in the last place between a double and the exact value.
double Off(double found, Wide exact) {
  const double size = std::fabs(static_cast<double>(exact));
  const Wide difference = (Wide(found) - exact) / (std::nextafter(size, 2.0) - size);
  return std::fabs(static_cast<double>(difference));
}

double Radians(double degrees) { return std::fmod(degrees, 360.0) * 3.14159265358979323846 / 180; }

double worst = 0;

void ExpectNearestDoubles(double degrees) {
  const SineCosine found = SineCosineOf(degrees);
  const double x = Radians(degrees);
  if (std::fmod(degrees, 90.0) == 0) return;  // has a test of its own
  // What is promised is 1; what is not the nearest double is as good as half-way between two.
  const double off = std::max(Off(found.sine, PowerSeries(x, 1)), Off(found.cosine, PowerSeries(x, 0)));
  worst = std::max(worst, off);
  ASSERT_LT(off, 0.5001) << degrees;
}

TEST(SineCosine, EveryHundredthOfADegreeIsTheNearestDouble) {
  for (int i = -36000; i < 36000; ++i) ASSERT_NO_FATAL_FAILURE(ExpectNearestDoubles(i / 100.0));
  RecordProperty("largest_error_in_units", std::to_string(worst));
}

TEST(SineCosine, OtherAnglesAreToo) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 5000; ++i) {
    const double unit = static_cast<double>(random() >> 11) * 0x1p-53;
    ASSERT_NO_FATAL_FAILURE(ExpectNearestDoubles((unit - 0.5) * 1440));
    // Near the quarter turns, where most of the argument is cancelled, and far out.
    const double quarter = 90.0 * static_cast<double>(random() % 9) - 360;
    ASSERT_NO_FATAL_FAILURE(
        ExpectNearestDoubles(quarter + std::ldexp(unit - 0.5, -static_cast<int>(random() % 40))));
    ASSERT_NO_FATAL_FAILURE(ExpectNearestDoubles(std::ldexp(unit - 0.5, static_cast<int>(random() % 1000))));
    ASSERT_NO_FATAL_FAILURE(ExpectNearestDoubles(std::ldexp(unit - 0.5, -static_cast<int>(random() % 200))));
  }
}

TEST(SineCosine, MultiplesOf90AreExact) {
  const double sines[] = {0, 1, 0, -1};
  for (int i = -400; i <= 400; ++i) {
    const SineCosine found = SineCosineOf(i * 90.0);
    EXPECT_EQ(found.sine, sines[(i + 400) % 4]) << i;
    EXPECT_EQ(found.cosine, sines[(i + 401) % 4]) << i;
  }
  EXPECT_TRUE(std::signbit(SineCosineOf(-0.0).sine));
  EXPECT_EQ(SineCosineOf(0x1p1023 * 1.5).sine, SineCosineOf(std::fmod(0x1p1023 * 1.5, 360)).sine);
}

TEST(SineCosine, WhatIsNoAngleIsNotANumber) {
  for (const double degrees : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_TRUE(std::isnan(SineCosineOf(degrees).sine));
    EXPECT_TRUE(std::isnan(SineCosineOf(degrees).cosine));
  }
}

// The C library's own vary by processor; tools before this one took them.
TEST(SineCosine, FewHundredthsOfADegreeDifferFromTheCLibrary) {
  int differ = 0;
  const auto compare = [&](double own, double theirs) {
    differ += std::memcmp(&own, &theirs, sizeof own) != 0;
  };
  for (int i = -36000; i < 36000; ++i) {
    const SineCosine found = SineCosineOf(i / 100.0);
    const bool whole = i % 9000 == 0;
    const double sine = std::sin(Radians(i / 100.0)), cosine = std::cos(Radians(i / 100.0));
    compare(found.sine, whole ? std::round(sine) : sine);
    compare(found.cosine, whole ? std::round(cosine) : cosine);
  }
  std::cout << differ << " of 144000 values differ\n";
  EXPECT_LT(differ, 1440);
}

}  // namespace
}  // namespace trqprep
