#include "trq/core/elementary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <random>
#include <sstream>

namespace trq::core {
namespace {

// At least 112 bits: half of them are lost to the large terms of the series below, and none is missed.
#ifdef __SIZEOF_FLOAT128__
__extension__ using Wide = __float128;
#else
using Wide = long double;
#endif

/// The sum of the powers of x over their factorials with alternating signs, from x^first on by twos: the sine
/// for 1, the cosine for 0. All of |x| <= 2 pi, without any reduction.
Wide PowerSeries(Wide x, int first) {
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

// Values of tests/data/make_elementary_values.py, huge angles among them.
TEST(Elementary, ValuesOfDecimalArithmeticAreMet) {
  const std::map<std::string, std::function<double(double, double)>> functions = {
      {"exp", [](double x, double) { return Exp(x); }},
      {"log", [](double x, double) { return Log(x); }},
      {"sin", [](double x, double) { return Sin(x); }},
      {"cos", [](double x, double) { return Cos(x); }},
      {"acos", [](double x, double) { return Acos(x); }},
      {"atan2", Atan2},
      {"hypot", Hypot}};
  std::ifstream file(TRQ_TEST_DATA "/elementary_values.txt");
  int rows = 0;
  for (std::string line; std::getline(file, line); ++rows) {
    std::istringstream words(line);
    std::string name, word;
    words >> name;
    std::vector<double> numbers;
    while (words >> word) numbers.push_back(std::strtod(word.c_str(), nullptr));
    EXPECT_EQ(functions.at(name)(numbers[0], numbers[1]), numbers.back()) << line;
  }
  EXPECT_EQ(rows, 306);
}

Wide ExactExp(Wide x) {  // |x| <= 750
  Wide sum = 1, part = x / 1024;
  for (int n = 30; n > 0; --n) sum = 1 + part * sum / n;
  for (int i = 0; i < 10; ++i) sum *= sum;
  return sum;
}

TEST(Elementary, ResultsAreWithinWhatIsPromised) {
  std::mt19937_64 random(7);
  const auto unit = [&] { return static_cast<double>(random() >> 11) * 0x1p-53; };
  for (int i = 0; i < 20000; ++i) {
    const double scale = std::ldexp(1.0, -static_cast<int>(random() % 30));
    const double x = (unit() - 0.5) * 1400 * scale;
    ASSERT_LT(Off(Exp(x), ExactExp(x)), 0.501) << x;

    const double y =
        i % 2 == 0 ? 1 + (unit() - 0.5) * scale : std::ldexp(1 + unit(), int(random() % 1000) - 500);
    const double log = Log(y);  // one step of Newton's method from there
    if (log != 0) {
      ASSERT_LT(Off(log, Wide(log) + 2 * (y - ExactExp(log)) / (y + ExactExp(log))), 0.501) << y;
    }

    const double u = (unit() - 0.5) * scale, v = (unit() - 0.5) * 2;
    for (const auto& [up, along] : {std::pair(u, v), std::pair(v, u)}) {
      const double angle = Atan2(up, along);
      const Wide sine = PowerSeries(angle, 1), cosine = PowerSeries(angle, 0);
      const Wide exact = angle + (up * cosine - along * sine) / (along * cosine + up * sine);
      ASSERT_LT(Off(angle, exact), 0.501) << up << " " << along;
    }
    const double angle = Acos(v);
    ASSERT_LT(Off(angle, angle + (PowerSeries(angle, 0) - Wide(v)) / PowerSeries(angle, 1)), 0.501) << v;

    const double length = Hypot(u, v);
    const Wide square = Wide(u) * u + Wide(v) * v;
    ASSERT_LT(Off(length, length + (square - Wide(length) * length) / (2 * Wide(length))), 0.501)
        << u << " " << v;
  }
}

void ExpectSame(double found, double wanted, const char* what, double x, double y) {
  if (std::isnan(wanted)) {
    EXPECT_TRUE(std::isnan(found)) << what << "(" << x << ", " << y << ") " << found;
  } else {
    EXPECT_EQ(found, wanted) << what << "(" << x << ", " << y << ")";
    EXPECT_EQ(std::signbit(found), std::signbit(wanted)) << what << "(" << x << ", " << y << ")";
  }
}

TEST(Elementary, SpecialValuesAreThoseOfTheCLibrary) {
#ifdef _WIN32
  constexpr double kLargest = 2;  // of which that of Windows knows sine and cosine to the last digit
#else
  constexpr double kLargest = std::numeric_limits<double>::infinity();
#endif
  const double infinity = std::numeric_limits<double>::infinity();
  const double values[] = {0.0,
                           -0.0,
                           1.0,
                           -1.0,
                           2.0,
                           -2.0,
                           infinity,
                           -infinity,
                           std::nan(""),
                           5e-324,
                           -5e-324,
                           1.7976931348623157e308,
                           -1.7976931348623157e308,
                           1e-300,
                           710.0,
                           -746.0};
  for (const double x : values) {
    ExpectSame(Exp(x), std::exp(x), "exp", x, 0);
    ExpectSame(Log(x), std::log(x), "log", x, 0);
    if (!(std::fabs(x) > kLargest && std::isfinite(x))) {
      ExpectSame(Sin(x), std::sin(x), "sin", x, 0);
      ExpectSame(Cos(x), std::cos(x), "cos", x, 0);
    }
    ExpectSame(Acos(x), std::acos(x), "acos", x, 0);
    for (const double y : values) {
      ExpectSame(Atan2(x, y), std::atan2(x, y), "atan2", x, y);
      ExpectSame(Hypot(x, y), std::hypot(x, y), "hypot", x, y);
    }
  }
}

TEST(Elementary, PowersOfTwoAreExact) {
  for (int n = -1022; n <= 1023; ++n) ASSERT_EQ(PowerOfTwo(n), std::ldexp(1.0, n)) << n;
  const auto expect_exponent = [](double x) {
    int exponent = 0;
    std::frexp(x, &exponent);
    ASSERT_EQ(BinaryExponent(x), exponent) << x;
  };
  for (int n = -1074; n <= 1023; ++n) {
    expect_exponent(std::ldexp(1.0, n));
    expect_exponent(-std::ldexp(1.99, n));
  }
  EXPECT_EQ(BinaryExponent(0), 0);
  EXPECT_EQ(BinaryExponent(std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(BinaryExponent(std::nan("")), 0);
}

}  // namespace
}  // namespace trq::core
