#include <algorithm>
#include <cmath>

#include "trq/core/elementary.h"
#include "trqprep/estimate.h"

namespace trqprep::estimate {
namespace {

constexpr double kPi = 3.14159265358979323846;

}  // namespace

double ExposureFor(double depth, const Resin& resin) { return resin.ec * trq::core::Exp(depth / resin.dp); }

double ScanSpeed(double power, double half_width, const Resin& resin, double depth) {
  return std::sqrt(2 / kPi) * power / (half_width * ExposureFor(depth, resin));
}

double HalfWidthOf(double line_width, double depth, double dp) {
  return line_width / std::sqrt(2 * depth / dp);
}

double ExposureRatio(double spacing, double half_width) {
  // The sum and its dual by Poisson's formula, sqrt(pi / 2) / q times the sum of e^(-(pi m)^2 / (2 q^2)) with
  // q = spacing / half_width. Terms fall at least as fast as e^(-pi n^2) in one of the two.
  const double q = spacing / half_width;
  const bool dual = q < std::sqrt(kPi / 2);
  const double exponent = dual ? kPi * kPi / (2 * q * q) : 2 * q * q;
  double sum = 1;
  for (int n = 1;; ++n) {
    const double term = 2 * trq::core::Exp(-exponent * n * n);
    if (!(term > 1e-17)) break;
    sum += term;
  }
  return dual ? std::sqrt(kPi / 2) / q * sum : sum;
}

double LineDepth(double depth, double spacing, double half_width, double dp) {
  return depth - dp * trq::core::Log(ExposureRatio(spacing, half_width));
}

double LengthOf(const Pass& pass, const LayerMeasure& layers) {
  const bool up = pass.face == Face::kUp, down = pass.face == Face::kDown;
  if (pass.stroke == Stroke::kBorder) {
    return up ? layers.up_border : down ? layers.down_border : layers.border;
  }
  return (up ? layers.up_area : down ? layers.down_area : layers.area) / pass.spacing;
}

double LineDepthOf(const Pass& pass, double half_width, double dp) {
  return pass.stroke == Stroke::kBorder ? pass.depth : LineDepth(pass.depth, pass.spacing, half_width, dp);
}

double MoveTime(double distance, double velocity, double acceleration) {
  if (!(distance > 0)) return 0;
  if (!(acceleration > 0)) return distance / velocity;
  // Half of the way speeding up and half slowing down does not reach the velocity.
  if (distance * acceleration < velocity * velocity) return 2 * std::sqrt(distance / acceleration);
  return distance / velocity + velocity / acceleration;
}

std::vector<double> DistinctHeights(std::vector<double> heights, double tolerance) {
  std::sort(heights.begin(), heights.end());
  std::size_t count = 0;
  for (const double height : heights) {
    if (count == 0 || height - heights[count - 1] > tolerance) heights[count++] = height;
  }
  heights.resize(count);
  return heights;
}

}  // namespace trqprep::estimate
