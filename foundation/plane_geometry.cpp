// Points, segments and angles in the plane.
#include <algorithm>
#include <cmath>

#include "trq/core/elementary.h"
#include "trq/foundation.h"

namespace {

constexpr float kPi = 3.1415927f;

// Whether `value` lies between the ends of a segment's extent widened by `tolerance`, ends included.
bool InWidenedExtent(double value, double first, double second, double tolerance) {
  return (second - tolerance <= value && value <= first + tolerance) ||
         (first - tolerance <= value && value <= second + tolerance);
}

// The direction of a-b as two floats, and p's foot on the line as a fraction of a-b.
struct Foot {
  Foot(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p)
      : dx(float(double(b[0]) - a[0])), dy(float(double(b[1]) - a[1])) {
    const double ax = a[0], ay = a[1], by = b[1], px = p[0], py = p[1];
    fraction = ((ay - by) * (ay - py) - (ax - px) * dx) / (dy * dy + dx * dx);
  }

  double dx, dy;  // float values, so that their squares are exact
  double fraction;
};

double SquaredDistanceToFoot(const PbVec2f& a, const PbVec2f& p, const Foot& foot, double fraction) {
  const double x = a[0] + fraction * foot.dx - p[0];
  const double y = a[1] + fraction * foot.dy - p[1];
  return x * x + y * y;
}

// Kept: the bearing runs from the +y axis towards +x (x is the first argument), which fixes the sense of
// every angle made from it.
double Bearing(const PbVec2f& v) { return trq::core::Atan2(double(v[0]), v[1]); }

bool IsOrigin(const PbVec2f& v) { return v[0] == 0.0f && v[1] == 0.0f; }

}  // namespace

float interpolate(float x0, float y0, float x1, float y1, float x) {
  const double left = x0, right = x1, low = y0, high = y1;
  if (std::fabs(right - left) < 1e-6) return y0;
  return float((x - left) * (high - low) / (right - left) + low);
}

int operator==(const PbVec2f& a, const PbVec2f& b) {
  const double tolerance = PbVec2f::tolerance;
  return std::fabs(double(a[0]) - b[0]) < tolerance && std::fabs(double(a[1]) - b[1]) < tolerance;
}

int nonparallel_intersection(const PbVec2f& a, const PbVec2f& b, const PbVec2f& c, const PbVec2f& d,
                             PbVec2f& out, float tol) {
  const double ax = a[0], ay = a[1], bx = b[0], by = b[1];
  const double cx = c[0], cy = c[1], dx = d[0], dy = d[1];
  const double p = ax - bx;
  const double q = ay - by;
  const double r = cx - dx;
  const double s = cy - dy;
  const double determinant = r * q - s * p;
  if (determinant == 0.0) return 0;

  // Kept: x is stored before it is tested, y only after x has passed.
  const float x = float(((ax * q + cy * p) * r - cx * s * p - ay * r * p) / determinant);
  out = PbVec2f(x, out[1]);
  if (!InWidenedExtent(x, ax, bx, tol) || !InWidenedExtent(x, cx, dx, tol)) return 0;

  const float y = float(((ax * s + cy * r) * q - cx * s * q - ay * s * p) / determinant);
  out = PbVec2f(x, y);
  return InWidenedExtent(y, ay, by, tol) && InWidenedExtent(y, cy, dy, tol);
}

int touches(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p, float tol) {
  const double tolerance = tol;
  for (int i = 0; i < 2; ++i) {
    if (!(p[i] >= std::min(a[i], b[i]) - tolerance && p[i] <= std::max(a[i], b[i]) + tolerance)) return 0;
  }
  const Foot foot(a, b, p);
  // NaN fails as well: a segment without length is never touched.
  return foot.fraction >= 0.0 && foot.fraction <= 1.0 &&
         tolerance * tolerance > SquaredDistanceToFoot(a, p, foot, foot.fraction);
}

float dist_sq(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p) {
  const Foot foot(a, b, p);
  // Kept: the fraction is rounded to float here and not in touches.
  return float(SquaredDistanceToFoot(a, p, foot, float(foot.fraction)));
}

float angle_between(const PbVec2f& a, const PbVec2f& o, const PbVec2f& b) {
  PbVec2f to_a = a;
  PbVec2f to_b = b;
  to_a -= o;
  to_b -= o;
  if (IsOrigin(to_b) || IsOrigin(to_a)) return kPi;
  double angle = Bearing(to_b) - Bearing(to_a);
  if (angle < 0.0) angle += 2.0 * kPi;
  return float(angle);
}
