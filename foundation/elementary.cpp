#include "trq/core/elementary.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace trq::core {
namespace {

/// A number as the sum of two doubles, the second at most half a unit in the last place of the first.
struct Pair {
  double high;
  double low;
};

constexpr Pair kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};
constexpr Pair kHalfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
constexpr Pair kLog2 = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// a + b for |a| >= |b|.
Pair FastSum(double a, double b) {
  const double sum = a + b;
  return {sum, b - (sum - a)};
}

Pair Sum(double a, double b) {
  const double sum = a + b;
  const double part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

Pair Product(double a, double b) {
  constexpr double kSplit = 134217729;  // 2^27 + 1: the products of halves are exact
  const double wide_a = a * kSplit, wide_b = b * kSplit;
  const double high_a = wide_a - (wide_a - a), high_b = wide_b - (wide_b - b);
  const double low_a = a - high_a, low_b = b - high_b;
  const double product = a * b;
  return {product, low_a * low_b - (((product - high_a * high_b) - low_a * high_b) - high_a * low_b)};
}

Pair operator-(Pair a) { return {-a.high, -a.low}; }

Pair operator+(Pair a, Pair b) {
  const Pair sum = Sum(a.high, b.high);
  return FastSum(sum.high, sum.low + a.low + b.low);
}

Pair operator-(Pair a, Pair b) { return a + -b; }

Pair operator*(Pair a, Pair b) {
  const Pair product = Product(a.high, b.high);
  return FastSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

Pair operator*(double a, Pair b) { return Pair{a, 0} * b; }

Pair operator/(Pair a, Pair b) {
  const double quotient = a.high / b.high;
  const Pair rest = a - quotient * b;
  return FastSum(quotient, rest.high / b.high);
}

Pair operator/(Pair a, double b) { return a / Pair{b, 0}; }

/// Of 0 or more.
Pair SquareRoot(Pair a) {
  if (a.high == 0) return a;
  const double root = std::sqrt(a.high);
  const Pair square = Product(root, root);
  return FastSum(root, ((a.high - square.high) - square.low + a.low) / (2 * root));
}

/// x times 2^n; in two steps, the second of which may leave the range of doubles.
double Scaled(double x, int n) { return x * PowerOfTwo(n / 2) * PowerOfTwo(n - n / 2); }

/// 2 / pi after the point, 32 bits a word.
constexpr std::array<uint32_t, 40> kTwoOverPi = {
    0xa2f9836e, 0x4e441529, 0xfc2757d1, 0xf534ddc0, 0xdb629599, 0x3c439041, 0xfe5163ab, 0xdebbc561,
    0xb7246e3a, 0x424dd2e0, 0x06492eea, 0x09d1921c, 0xfe1deb1c, 0xb129a73e, 0xe88235f5, 0x2ebb4484,
    0xe99c7026, 0xb45f7e41, 0x3991d639, 0x835339f4, 0x9c845f8b, 0xbdf9283b, 0x1ff897ff, 0xde05980f,
    0xef2f118b, 0x5a0a6d1f, 0x6d367ecf, 0x27cb09b7, 0x4f463f66, 0x9e5fea2d, 0x7527bac7, 0xebe5f17b,
    0x3d0739f7, 0x8a5292ea, 0x6bfb5fb1, 0x1f8d5d08, 0x56033046, 0xfc7b6bab, 0xf0cfbc20, 0x9af4361d};

/// An angle less the nearest multiple of a quarter turn, and that multiple modulo 4.
struct Reduced {
  Pair rest;
  unsigned quadrant;
};

/// For finite x > 0.5: x 2 / pi as an integer, of the words that reach neither whole turns nor what is below
/// 2^-130.
Reduced ReduceLarge(double x) {
  constexpr int kWords = 7;
  const int exponent = BinaryExponent(x) - 53;  // x = mantissa 2^exponent
  const auto mantissa = static_cast<uint64_t>(Scaled(x, -exponent));
  const int first = exponent > 2 ? (exponent - 2) / 32 : 0;
  const int fraction_bits = 32 * (first + kWords) - exponent;
  std::array<uint32_t, kWords + 2> product{};  // the lowest word first
  for (int half = 0; half < 2; ++half) {
    const uint64_t factor = half == 0 ? mantissa & 0xFFFFFFFF : mantissa >> 32;
    uint64_t carry = 0;
    for (int i = 0; i < kWords; ++i) {
      carry += factor * kTwoOverPi[size_t(first + kWords - 1 - i)] + product[size_t(i + half)];
      product[size_t(i + half)] = static_cast<uint32_t>(carry);
      carry >>= 32;
    }
    product[size_t(kWords + half)] = static_cast<uint32_t>(carry);
  }
  const auto bit = [&](int at) { return product[size_t(at / 32)] >> at % 32 & 1; };
  unsigned quadrant = bit(fraction_bits) + 2 * bit(fraction_bits + 1);
  const bool up = bit(fraction_bits - 1) == 1;  // nearer to the next: what is left is negative
  Pair rest = {up ? -1.0 : 0.0, 0};
  for (int i = fraction_bits / 32; i >= 0; --i) {
    const uint32_t kept = i == fraction_bits / 32 ? (uint32_t{1} << fraction_bits % 32) - 1 : 0xFFFFFFFF;
    rest = rest + Pair{(product[size_t(i)] & kept) * PowerOfTwo(32 * i - fraction_bits), 0};
  }
  return {rest * kHalfPi, quadrant + up};
}

/// 1 - s / (n (n + 1)) (1 - s / ((n + 2) (n + 3)) (1 - ...)): with s the square of x at most pi / 4, the
/// cosine for n = 1 and the sine over x for n = 2. What comes after 12 terms is less than 2^-80.
Pair Series(Pair square, int n) {
  Pair sum = {1, 0};
  for (int i = n + 22; i >= n; i -= 2) {
    sum = Pair{1, 0} - square * sum / (double(i) * (i + 1));
  }
  return sum;
}

SineCosine Both(double radians) {
  const double size = std::fabs(radians);
  if (!(size < kInfinity)) return {kNaN, kNaN};
  if (size < 0x1p-27) return {radians, 1};
  const Reduced reduced = size < 0.75 ? Reduced{{size, 0}, 0} : ReduceLarge(size);
  const Pair square = reduced.rest * reduced.rest;
  const double sine = (reduced.rest * Series(square, 2)).high;
  const double cosine = Series(square, 1).high;
  SineCosine result = reduced.quadrant % 2 == 0 ? SineCosine{sine, cosine} : SineCosine{cosine, -sine};
  if (reduced.quadrant % 4 >= 2) result = {-result.sine, -result.cosine};
  if (radians < 0) result.sine = -result.sine;
  return result;
}

/// What rounding made of a multiple of 90 degrees, at its place: -1, 0 or 1.
double Whole(double v) { return v > 0.5 ? 1 : v < -0.5 ? -1 : v * 0; }

/// The inverse tangents of 0/16, 1/16, ... 16/16.
constexpr std::array<Pair, 17> kArcTangents = {{
    {0x0.0p+0, 0x0.0p+0},
    {0x1.ff55bb72cfdeap-5, -0x1.c934d86d23f1dp-60},
    {0x1.fd5ba9aac2f6ep-4, -0x1.cd37686760c17p-59},
    {0x1.7b97b4bce5b02p-3, 0x1.347b0b4f881cap-58},
    {0x1.f5b75f92c80ddp-3, 0x1.8ab6e3cf7afbdp-57},
    {0x1.362773707ebccp-2, -0x1.963a544b672d8p-57},
    {0x1.6f61941e4def1p-2, -0x1.c63aae6f6e918p-56},
    {0x1.a64eec3cc23fdp-2, -0x1.24dec1b50b7ffp-56},
    {0x1.dac670561bb4fp-2, 0x1.a2b7f222f65e2p-56},
    {0x1.0657e94db30d0p-1, -0x1.d5b495f6349e6p-56},
    {0x1.1e00babdefeb4p-1, -0x1.928df287a668fp-58},
    {0x1.345f01cce37bbp-1, 0x1.1021137c71102p-55},
    {0x1.4978fa3269ee1p-1, 0x1.2419a87f2a458p-56},
    {0x1.5d58987169b18p-1, 0x1.0028e4bc5e7cap-57},
    {0x1.700a7c5784634p-1, -0x1.8c34d25aadef6p-56},
    {0x1.819d0b7158a4dp-1, -0x1.bf76229d3b917p-56},
    {0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55},
}};

/// The angle of the point (x, y) from the +x axis; neither is negative, one is about 1, none is above it by
/// much.
Pair AngleOf(Pair y, Pair x) {
  const bool steep = y.high > x.high;
  if (steep) std::swap(x, y);
  const int step = int(y.high / x.high * 16 + 0.5);
  const Pair tangent =
      (y - step / 16.0 * x) / (x + step / 16.0 * y);  // of what is above the step, at most 1/32
  const double s = tangent.high * tangent.high;
  const double higher =
      tangent.high * s *
      (-1 / 3.0 + s * (1 / 5.0 + s * (-1 / 7.0 + s * (1 / 9.0 + s * (-1 / 11.0 + s / 13.0)))));
  const Pair angle = kArcTangents[size_t(step)] + (tangent + Pair{higher, 0});
  return steep ? kHalfPi - angle : angle;
}

}  // namespace

double Exp(double x) {
  if (std::isnan(x)) return kNaN;
  if (x > 710) return kInfinity;
  if (x < -746) return 0;
  const int twos = int(std::floor(x / kLog2.high + 0.5));
  const Pair rest = Pair{x, 0} - double(twos) * kLog2;
  const Pair part = {rest.high / 16, rest.low / 16};
  Pair power = {1, 0};
  for (int n = 15; n > 0; --n) power = Pair{1, 0} + part * power / double(n);
  for (int i = 0; i < 4; ++i) power = power * power;
  return Scaled(power.high, twos);
}

double Log(double x) {
  if (!(x > 0)) return x == 0 ? -kInfinity : kNaN;
  if (x == kInfinity) return x;
  int twos = BinaryExponent(x);
  double m = Scaled(x, -twos);
  if (m < 0.70710678) {
    m *= 2;
    --twos;
  }
  // log m = 2 (t + t^3 / 3 + t^5 / 5 + ...) with t = (m - 1) / (m + 1), at most 0.172
  const Pair t = Pair{m - 1, 0} / Sum(m, 1);
  const Pair square = t * t;
  Pair sum = {0, 0};
  for (int n = 41; n > 0; n -= 2) sum = square * sum + Pair{1, 0} / double(n);
  return (double(twos) * kLog2 + 2 * (t * sum)).high;
}

double Sin(double radians) { return Both(radians).sine; }
double Cos(double radians) { return Both(radians).cosine; }

SineCosine SineCosineOf(double degrees) {
  const double turn = std::fmod(degrees, 360.0);
  if (turn == 0) return {turn, 1};
  const SineCosine result = Both(turn * kPi.high / 180);
  if (std::fmod(turn, 90.0) == 0) return {Whole(result.sine), Whole(result.cosine)};
  return result;
}

double Acos(double x) {
  if (!(std::fabs(x) <= 1)) return kNaN;
  const Pair angle = AngleOf(SquareRoot(Sum(1, -x) * Sum(1, x)), {std::fabs(x), 0});
  return (x < 0 ? kPi - angle : angle).high;
}

double Atan2(double y, double x) {
  if (std::isnan(x) || std::isnan(y)) return kNaN;
  double high = std::fabs(y), wide = std::fabs(x);
  if (high == kInfinity || wide == kInfinity) {
    high = high == kInfinity ? 1 : 0;
    wide = wide == kInfinity ? 1 : 0;
  }
  Pair angle = {0, 0};
  if (high != 0 || wide != 0) {
    const int exponent = BinaryExponent(high > wide ? high : wide);
    if (!std::signbit(x) && high > 0 && wide > 0 && BinaryExponent(high) < BinaryExponent(wide) - 60)
      return y / x;
    angle = AngleOf({Scaled(high, -exponent), 0}, {Scaled(wide, -exponent), 0});
  }
  if (std::signbit(x)) angle = kPi - angle;
  return std::signbit(y) ? -angle.high : angle.high;
}

double Hypot(double x, double y) {
  x = std::fabs(x);
  y = std::fabs(y);
  if (x == kInfinity || y == kInfinity) return kInfinity;
  if (std::isnan(x) || std::isnan(y)) return kNaN;
  const int exponent = BinaryExponent(x > y ? x : y);
  const bool far = exponent < -400 || exponent > 400;  // squares would leave the range
  if (far) {
    x = Scaled(x, -exponent);
    y = Scaled(y, -exponent);
  }
  const double length = SquareRoot(Product(x, x) + Product(y, y)).high;
  return far ? Scaled(length, exponent) : length;
}

}  // namespace trq::core
