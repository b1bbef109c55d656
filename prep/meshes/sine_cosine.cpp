#include "prep/meshes/sine_cosine.h"

#include <cmath>

namespace trqprep {
namespace {

/// A number as the sum of two doubles, the second at most half a unit in the last place of the first.
struct Pair {
  double high;
  double low;
};

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

Pair operator+(Pair a, Pair b) {
  const Pair sum = Sum(a.high, b.high);
  return FastSum(sum.high, sum.low + a.low + b.low);
}

Pair operator*(Pair a, Pair b) {
  const Pair product = Product(a.high, b.high);
  return FastSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

Pair operator/(Pair a, double b) {
  const double quotient = a.high / b;
  const Pair back = Product(quotient, b);
  return FastSum(quotient, (a.high - back.high - back.low + a.low) / b);
}

/// 1 - s / (n (n + 1)) (1 - s / ((n + 2) (n + 3)) (1 - ...)): with s the square of x at most pi / 4, the
/// cosine for n = 1 and the sine over x for n = 2. What comes after 12 terms is less than 2^-80.
Pair Series(Pair square, int n) {
  Pair sum = {1, 0};
  for (int i = n + 22; i >= n; i -= 2) {
    sum = Pair{1, 0} + Pair{-square.high, -square.low} * sum / (double(i) * (i + 1));
  }
  return sum;
}

/// What rounding made of a multiple of 90 degrees, at its place: -1, 0 or 1.
double Whole(double v) { return v > 0.5 ? 1 : v < -0.5 ? -1 : v * 0; }

}  // namespace

SineCosine SineCosineOf(double degrees) {
  constexpr double kPi = 3.14159265358979323846;
  const double turn = std::fmod(degrees, 360.0);
  if (turn == 0) return {turn, 1};
  const double x = turn * kPi / 180;
  if (!(x * 0 == 0)) return {x, x};
  // x less the nearest of -4..4 quarter turns, in three parts: products with the first two are exact.
  const int quarters = int(turn / 90 + (turn < 0 ? -0.5 : 0.5));
  const Pair rest = Sum(x, -quarters * 0x1.921fb544p+0) + Pair{-quarters * 0x1.0b4611a6p-34, 0} +
                    Pair{-quarters * 0x1.3198a2e037073p-69, 0};
  const Pair square = rest * rest;
  const double sine = (rest * Series(square, 2)).high;
  const double cosine = Series(square, 1).high;
  const unsigned quadrant = static_cast<unsigned>(quarters) & 3;
  SineCosine result = quadrant % 2 == 0 ? SineCosine{sine, cosine} : SineCosine{cosine, -sine};
  if (quadrant >= 2) result = {-result.sine, -result.cosine};
  if (std::fmod(turn, 90.0) == 0) result = {Whole(result.sine), Whole(result.cosine)};
  return result;
}

}  // namespace trqprep
