#include "slicing/contour_form.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace trqprep::slicing {
namespace {

// Numbers that are not compare as greater than all, so that the order is one.
bool Less(float a, float b) { return a < b || (!std::isnan(a) && std::isnan(b)); }

int Compare(const SlicePoint& a, const SlicePoint& b) {
  for (std::size_t k = 0; k < 2; ++k) {
    if (Less(a[k], b[k])) return -1;
    if (Less(b[k], a[k])) return 1;
  }
  return 0;
}

}  // namespace

// The least rotation in linear time, by two candidates that are compared ahead (Shiloach, "Fast canonization
// of circular strings", Journal of Algorithms 2, 1981).
void RotateToLeast(std::vector<SlicePoint>& loop) {
  const std::size_t n = loop.size();
  // Mostly one point is the least.
  std::size_t least = 0, equal = 1;
  for (std::size_t i = 1; i < n; ++i) {
    const int order = Compare(loop[i], loop[least]);
    if (order < 0) least = i;
    equal = order < 0 ? 1 : equal + (order == 0);
  }
  if (equal == 1) {
    std::rotate(loop.begin(), loop.begin() + static_cast<std::ptrdiff_t>(least), loop.end());
    return;
  }
  std::size_t i = 0, j = 1, same = 0;
  while (i < n && j < n && same < n) {
    const int order = Compare(loop[(i + same) % n], loop[(j + same) % n]);
    if (order == 0) {
      ++same;
      continue;
    }
    (order > 0 ? i : j) += same + 1;
    if (i == j) ++j;
    same = 0;
  }
  std::rotate(loop.begin(), loop.begin() + static_cast<std::ptrdiff_t>(std::min(i, j)), loop.end());
}

// From the last point kept, the directions in which an edge passes all points since within the tolerance are
// a wedge that narrows (Williams, "An efficient algorithm for the piecewise linear approximation of planar
// curves", Computer Graphics and Image Processing 8, 1978). The edge has to go on, too: away from the point
// kept, farther each time, so that what is left out lies beside the edge and not behind its ends.
void LeaveOut(std::vector<SlicePoint>& points, double tolerance, bool closed, std::vector<SlicePoint>& kept) {
  const std::size_t n = points.size();
  if (tolerance < 0 || n < 3) return;
  const double wide = tolerance * tolerance;
  kept.assign(1, points.front());
  // Of the wedge at the last point kept: directions of its sides, right and left.
  double right[2] = {}, left[2] = {}, farthest = 0;
  bool any = false, bounded = false;
  const auto cross = [](const double a[2], const double b[2]) { return a[0] * b[1] - a[1] * b[0]; };
  for (std::size_t i = 1; i < n; ++i) {
    const SlicePoint& from = kept.back();
    double to[2] = {double(points[i][0]) - double(from[0]), double(points[i][1]) - double(from[1])};
    double square = to[0] * to[0] + to[1] * to[1];
    bool goes_on =
        !any || (square >= farthest && (!bounded || (cross(right, to) >= 0 && cross(to, left) >= 0)));
    if (!goes_on) {  // the one before ends the edge, and begins the next
      kept.push_back(points[i - 1]);
      any = bounded = false;
      farthest = 0;
      to[0] = double(points[i][0]) - double(kept.back()[0]);
      to[1] = double(points[i][1]) - double(kept.back()[1]);
      square = to[0] * to[0] + to[1] * to[1];
    }
    any = true;
    farthest = std::max(farthest, square);
    if (square > wide) {
      // The directions that pass within the tolerance of this point: turned by asin(tolerance / distance).
      const double along = std::sqrt(square - wide);
      const double r[2] = {to[0] * along + to[1] * tolerance, to[1] * along - to[0] * tolerance};
      const double l[2] = {to[0] * along - to[1] * tolerance, to[1] * along + to[0] * tolerance};
      if (!bounded) {
        std::copy(r, r + 2, right);
        std::copy(l, l + 2, left);
        bounded = true;
      } else {
        if (cross(right, r) > 0) std::copy(r, r + 2, right);
        if (cross(l, left) > 0) std::copy(l, l + 2, left);
      }
    } else if (!(square <= wide)) {  // not a number: nothing near it is left out
      kept.push_back(points[i]);
      any = bounded = false;
      farthest = 0;
    }
  }
  if (kept.back() != points.back() || kept.size() == 1) kept.push_back(points.back());
  if (closed && kept.size() < 4) return;
  if (kept.size() < n) points = std::vector<SlicePoint>(kept.begin(), kept.end());
}

void LeaveOut(std::vector<SlicePoint>& points, double tolerance, bool closed) {
  std::vector<SlicePoint> kept;
  LeaveOut(points, tolerance, closed, kept);
}

bool Before(const SliceContour& a, const SliceContour& b) {
  return std::lexicographical_compare(
      a.points.begin(), a.points.end(), b.points.begin(), b.points.end(),
      [](const SlicePoint& p, const SlicePoint& q) { return Compare(p, q) < 0; });
}

}  // namespace trqprep::slicing
