#include "nesting/enterable.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trqprep::nesting {
namespace {

constexpr double kMouth = 0.55;      // of the mouth, at least the radius inside: half is a plain slot
constexpr double kPoleError = 1.03;  // the largest disc is found but for so much
constexpr std::size_t kMostInChain = 400, kMostTried = 20;
constexpr std::size_t kMostHoles = 2000;     // of a region
constexpr std::size_t kMostCorners = 20000;  // of a region

double Cross(const Point& from, const Point& a, const Point& b) {
  return (a.x - from.x) * (b.y - from.y) - (a.y - from.y) * (b.x - from.x);
}

double Distance(const Point& a, const Point& b) {
  return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

/// Least and largest width of a convex ring, by its pairs of opposite corners.
void Widths(const Ring& hull, Extent& extent) {
  const std::size_t n = hull.size();
  if (n < 3) {
    extent.diameter = n == 2 ? Distance(hull[0], hull[1]) : 0;
    return;
  }
  extent.breadth = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0, j = 1; i < n; ++i) {
    const Point &a = hull[i], &b = hull[(i + 1) % n];
    for (std::size_t turns = 0; turns < n && Cross(a, b, hull[(j + 1) % n]) >= Cross(a, b, hull[j]); ++turns)
      j = (j + 1) % n;
    const double edge = Distance(a, b);
    if (edge > 0) extent.breadth = std::min(extent.breadth, Cross(a, b, hull[j]) / edge);
    const Point& before = hull[(j + n - 1) % n];
    extent.diameter = std::max({extent.diameter, Distance(a, hull[j]), Distance(b, hull[j]),
                                Distance(a, before), Distance(b, before)});
  }
}

Extent ExtentOf(const Ring& ring) {
  Extent extent;
  Widths(HullOf(ring), extent);
  const Shape shape = MakeShape({{ring, {}}}, Turn(), false, 0, nullptr, false);
  extent.area = std::fabs(shape.area);
  extent.radius = static_cast<double>(FindPoles(shape, 1).radius[0]);
  return extent;
}

/// As large as the ring, or a bit larger.
Extent MostExtent(const Ring& ring) {
  Extent extent = ExtentOf(ring);
  extent.radius *= kPoleError;
  for (double* size : {&extent.breadth, &extent.diameter, &extent.area}) *size *= 1 + 1e-9;
  return extent;
}

/// Whether no two edges meet but neighbours at their common corner, every hole lies in the outer ring, and
/// none in another one.
bool Plain(const Region& region) {
  std::size_t corners = region.outer.size();
  for (const Ring& hole : region.holes) corners += hole.size();
  if (region.holes.size() > kMostHoles || corners > kMostCorners || region.outer.size() < 3) return false;
  const Shape outer = MakeShape({{region.outer, {}}}, Turn(), false, 0, nullptr, false);
  if (CrossesItself(MakeShape({region}, Turn(), true, 0, nullptr, false))) return false;
  std::vector<Shape> holes;
  for (const Ring& hole : region.holes) {
    if (hole.size() < 3) return false;
    holes.push_back(MakeShape({{hole, {}}}, Turn(), false, 0, nullptr, false));
    if (!outer.Contains(hole[0].x - outer.corner.x, hole[0].y - outer.corner.y)) return false;
  }
  for (std::size_t i = 0; i < holes.size(); ++i) {
    for (std::size_t j = 0; j < holes.size(); ++j) {
      const double x = region.holes[i][0].x - holes[j].corner.x;
      const double y = region.holes[i][0].y - holes[j].corner.y;
      if (i != j && x >= 0 && y >= 0 && x <= holes[j].width && y <= holes[j].height &&
          holes[j].Contains(x, y)) {
        return false;
      }
    }
  }
  return true;
}

/// Corners of the ring from `first` to `last`, as its direction has them.
Ring Chain(const Ring& ring, std::size_t first, std::size_t last) {
  Ring chain;
  for (std::size_t i = first;; i = i + 1 < ring.size() ? i + 1 : 0) {
    chain.push_back(ring[i]);
    if (i == last) return chain;
  }
}

/// The largest pocket of the chain of corners, between it and the hull, that is wider inside than its mouth.
void AddPocket(const Ring& ring, double ring_area, const Shape& shape, std::size_t region, std::size_t first,
               std::size_t last, std::vector<Cavity>& cavities) {
  const Ring chain = Chain(ring, first, last);
  if (chain.size() < 4 || chain.size() > kMostInChain) return;  // a triangle is widest at its mouth
  std::vector<double> twice(chain.size(), 0);                   // area between the first corner and the chain
  const double way = ring_area < 0 ? 1 : -1;
  for (std::size_t i = 1; i < chain.size(); ++i)
    twice[i] = twice[i - 1] + Cross(chain[0], chain[i - 1], chain[i]);
  struct Mouth {
    std::size_t from, to;
    double area;
  };
  std::vector<Mouth> mouths;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    for (std::size_t j = i + 3; j < chain.size(); ++j) {
      const double area = way * (twice[j] - twice[i] + Cross(chain[0], chain[j], chain[i])) / 2;
      const double width = Distance(chain[i], chain[j]);
      // No less than the disc that would do.
      if (area > 3.14 * kMouth * kMouth * width * width) mouths.push_back({i, j, area});
    }
  }
  std::sort(mouths.begin(), mouths.end(), [](const Mouth& a, const Mouth& b) {
    return a.area != b.area ? a.area > b.area : a.from != b.from ? a.from < b.from : a.to < b.to;
  });
  std::size_t tried = 0;
  for (const Mouth& mouth : mouths) {
    const Point a = {chain[mouth.from].x - shape.corner.x, chain[mouth.from].y - shape.corner.y};
    const Point b = {chain[mouth.to].x - shape.corner.x, chain[mouth.to].y - shape.corner.y};
    if (shape.Contains((a.x + b.x) / 2, (a.y + b.y) / 2) || Meets(shape, {a.x, a.y, b.x, b.y})) continue;
    if (++tried > kMostTried) return;
    const std::size_t from = (first + mouth.from) % ring.size(), to = (first + mouth.to) % ring.size();
    const Extent most = MostExtent(Chain(ring, from, to));
    if (most.radius <= kMouth * Distance(ring[from], ring[to])) continue;
    cavities.push_back({region, false, from, to, most});
    return;
  }
}

void AddPockets(const Ring& ring, std::size_t region, std::vector<Cavity>& cavities) {
  Ring known = HullOf(ring);
  if (known.size() < 3) return;
  const auto less = [](const Point& a, const Point& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; };
  std::sort(known.begin(), known.end(), less);
  std::vector<std::size_t> common;  // corners of the ring that are the hull's, as the ring has them
  for (std::size_t i = 0; i < ring.size(); ++i) {
    if (std::binary_search(known.begin(), known.end(), ring[i], less)) common.push_back(i);
  }
  const Shape shape = MakeShape({{ring, {}}}, Turn(), false, 0, nullptr, false);
  double area = 0;
  for (std::size_t i = 1; i + 1 < ring.size(); ++i) area += Cross(ring[0], ring[i], ring[i + 1]) / 2;
  for (std::size_t i = 0; i < common.size(); ++i)
    AddPocket(ring, area, shape, region, common[i], common[(i + 1) % common.size()], cavities);
}

}  // namespace

Extent LeastExtent(const Outline& outline) {
  Extent least;
  for (std::size_t r = 0; r < outline.size(); ++r) {
    const Ring& outer = outline[r].outer;
    Extent extent;
    Widths(HullOf(outer), extent);
    const Shape shape = MakeShape({outline[r]}, Turn(), true, 0, nullptr, false);
    extent.area = std::max(0.0, shape.area);
    extent.radius = static_cast<double>(FindPoles(shape, 1).radius[0]);
    if (r == 0) least = extent;
    least = {std::min(least.radius, extent.radius), std::min(least.breadth, extent.breadth),
             std::min(least.diameter, extent.diameter), std::min(least.area, extent.area)};
  }
  return least;
}

std::vector<Cavity> FindCavities(const Outline& outline, bool use_holes) {
  std::vector<Cavity> cavities;
  for (std::size_t r = 0; r < outline.size(); ++r) {
    if (!Plain(outline[r])) continue;
    const std::vector<Ring>& holes = outline[r].holes;
    for (std::size_t h = 0; use_holes && h < holes.size(); ++h)
      cavities.push_back({r, true, h, h, MostExtent(holes[h])});
    AddPockets(outline[r].outer, r, cavities);
  }
  return cavities;
}

Outline Filled(const Outline& outline, const std::vector<Cavity>& cavities) {
  Outline filled;
  for (std::size_t r = 0; r < outline.size(); ++r) {
    const Ring& ring = outline[r].outer;
    std::vector<bool> keep(ring.size(), true), open(outline[r].holes.size(), true);
    for (const Cavity& cavity : cavities) {
      if (cavity.region != r) continue;
      if (cavity.hole) {
        open[cavity.first] = false;
        continue;
      }
      const auto next = [&](std::size_t i) { return i + 1 < ring.size() ? i + 1 : 0; };
      for (std::size_t i = next(cavity.first); i != cavity.last; i = next(i)) keep[i] = false;
    }
    Region region;
    for (std::size_t i = 0; i < ring.size(); ++i) {
      if (keep[i]) region.outer.push_back(ring[i]);
    }
    for (std::size_t h = 0; h < open.size(); ++h) {
      if (open[h]) region.holes.push_back(outline[r].holes[h]);
    }
    filled.push_back(std::move(region));
  }
  return filled;
}

}  // namespace trqprep::nesting
