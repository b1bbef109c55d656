#include "trqprep/facet_distance.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <utility>

namespace trqprep {
namespace {

constexpr uint32_t kLeaf = 8;
constexpr size_t kWithoutTree = 16;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool IsFinite(const Corners& facet) {
  return std::all_of(facet.begin(), facet.end(), [](const Point& p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
  });
}

Point Along(const Point& from, const Point& direction, double t) {
  return {from[0] + t * direction[0], from[1] + t * direction[1], from[2] + t * direction[2]};
}

Point OnSegment(const Point& p, const Point& a, const Point& b) {
  const Point ab = Minus(b, a);
  const double length = Dot(ab, ab);
  return length > 0 ? Along(a, ab, std::clamp(Dot(Minus(p, a), ab) / length, 0.0, 1.0)) : a;
}

double SquaredDistance(const Point& point, const Corners& facet) {
  const Point away = Minus(point, NearestOnTriangle(point, facet));
  return Dot(away, away);
}

}  // namespace

// By the regions of the triangle's corners, edges and inside (C. Ericson, Real-Time Collision Detection,
// 2005, 5.1.5). Whatever rounding does to the choice of the region, the point is one of the triangle.
Point NearestOnTriangle(const Point& p, const Corners& triangle) {
  const auto& [a, b, c] = triangle;
  const Point ab = Minus(b, a), ac = Minus(c, a), ap = Minus(p, a);
  const double d1 = Dot(ab, ap), d2 = Dot(ac, ap);
  if (d1 <= 0 && d2 <= 0) return a;
  const Point bp = Minus(p, b);
  const double d3 = Dot(ab, bp), d4 = Dot(ac, bp);
  if (d3 >= 0 && d4 <= d3) return b;
  const double vc = d1 * d4 - d3 * d2;
  // a and b may be one point: then c and the line to it are still to be looked at.
  if (vc <= 0 && d1 >= 0 && d3 <= 0 && d1 > d3) return Along(a, ab, d1 / (d1 - d3));
  const Point cp = Minus(p, c);
  const double d5 = Dot(ab, cp), d6 = Dot(ac, cp);
  if (d6 >= 0 && d5 <= d6) return c;
  const double vb = d5 * d2 - d1 * d6;
  if (vb <= 0 && d2 >= 0 && d6 <= 0) return Along(a, ac, d2 / (d2 - d6));
  const double va = d3 * d6 - d5 * d4;
  if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
    return Along(b, Minus(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6)));
  }
  const double sum = va + vb + vc;  // (twice the area)^2
  Point nearest = a;
  if (sum > 0) nearest = Along(Along(a, ab, vb / sum), ac, vc / sum);
  if (sum > 1e-10 * Dot(ab, ab) * Dot(ac, ac)) return nearest;
  // So thin that rounding may have made the place along it meaningless: its edges tell.
  for (const Point& other : {OnSegment(p, a, b), OnSegment(p, b, c), OnSegment(p, c, a)}) {
    if (Norm(Minus(p, other)) < Norm(Minus(p, nearest))) nearest = other;
  }
  return nearest;
}

FacetDistances::FacetDistances(const CTL& mesh, size_t searches) {
  const auto facets = size_t(std::max(mesh.num_triangles(), 0));
  facets_.reserve(facets);
  for (size_t facet = 0; facet < facets; ++facet) {
    facets_.push_back(CornersOf(mesh, facet));
    if (!IsFinite(facets_.back())) {
      facets_.pop_back();
      continue;
    }
    order_.push_back(uint32_t(facet));
    for (const Point& corner : facets_.back()) {
      for (const double c : corner) largest_ = std::max(largest_, std::fabs(c));
    }
  }
  places_.assign(facets, uint32_t(order_.size()));
  if (!order_.empty()) {
    // Until the tree is there, order_ holds places in facets_.
    std::vector<uint32_t> numbers(order_.size());
    numbers.swap(order_);
    std::iota(order_.begin(), order_.end(), 0u);
    nodes_.emplace_back();
    Fill(nodes_[0], 0, order_.size());
    if (searches > kWithoutTree) Split(0, 0, order_.size());
    for (size_t i = 0; i < order_.size(); ++i) {
      order_[i] = numbers[order_[i]];
      facets_[i] = CornersOf(mesh, order_[i]);
    }
  }
  for (size_t i = 0; i < order_.size(); ++i) places_[order_[i]] = uint32_t(i);
}

// The box, and the turned one: along the way from the middle to the farthest corner the node is longest;
// across it, it reaches farthest to the corner farthest from that way.
void FacetDistances::Fill(Node& node, size_t first, size_t count) const {
  node.first = uint32_t(first);
  node.count = uint32_t(count);
  const auto for_corners = [&](const auto& use) {
    for (size_t i = first; i < first + count; ++i) {
      for (const Point& corner : facets_[order_[i]]) use(corner);
    }
  };
  Box box;
  Point middle{0, 0, 0};
  for_corners([&](const Point& corner) {
    box.Add(corner);
    middle = Along(middle, corner, 1 / (3.0 * double(count)));
  });
  node.low = box.min;
  node.high = box.max;
  Point axes[2];
  const auto across = [&](const Point& corner, size_t known) {
    Point way = Minus(corner, middle);
    for (size_t k = 0; k < known; ++k) way = Along(way, axes[k], -Dot(way, axes[k]));
    return way;
  };
  for (size_t known = 0; known < 2; ++known) {
    Point farthest{0, 0, 0};
    for_corners([&](const Point& corner) {
      const Point way = across(corner, known);
      if (Dot(way, way) > Dot(farthest, farthest)) farthest = way;
    });
    const double length = Norm(farthest);
    if (!(length > 0) || !std::isfinite(length)) return;
    axes[known] = Along({0, 0, 0}, farthest, 1 / length);
  }
  node.ways[0] = axes[1];
  node.ways[1] = Cross(axes[0], axes[1]);
  Box turned;
  for_corners([&](const Point& corner) { turned.Add(AlongWays(node, corner)); });
  node.low_along = turned.min;
  node.high_along = turned.max;
}

Point FacetDistances::AlongWays(const Node& node, const Point& point) {
  const auto& [first, second] = node.ways;
  return {Dot(first, point), Dot(second, point), Dot(Cross(first, second), point)};
}

// Halves lie beside each other along the axis where facets are short for the way over which they spread.
void FacetDistances::Split(size_t index, size_t first, size_t count) {
  if (count <= kLeaf) return;
  size_t axis = 0;
  double best = -1;
  const auto middle = [this](uint32_t facet, size_t k) {
    const Corners& corners = facets_[facet];
    return corners[0][k] + corners[1][k] + corners[2][k];
  };
  for (size_t k = 0; k < 3; ++k) {
    double low = kInfinity, high = -kInfinity, extents = 0;
    for (size_t i = first; i < first + count; ++i) {
      const auto& [a, b, c] = facets_[order_[i]];
      low = std::min(low, a[k] + b[k] + c[k]);
      high = std::max(high, a[k] + b[k] + c[k]);
      extents += std::max({a[k], b[k], c[k]}) - std::min({a[k], b[k], c[k]});
    }
    const double spread = (high - low) / (extents / double(count) + 0.1 * (high - low) + 1e-300);
    const double score = spread * (high - low);
    if (score > best) {
      best = score;
      axis = k;
    }
  }
  const auto begin = order_.begin() + std::ptrdiff_t(first);
  const size_t half = count / 2;
  std::nth_element(begin, begin + std::ptrdiff_t(half), begin + std::ptrdiff_t(count),
                   [&](uint32_t a, uint32_t b) {
                     const double ma = middle(a, axis), mb = middle(b, axis);
                     return ma != mb ? ma < mb : a < b;
                   });
  const size_t left = nodes_.size();
  nodes_[index].first = uint32_t(left);
  nodes_[index].count = 0;
  nodes_.resize(left + 2);
  Fill(nodes_[left], first, half);
  Fill(nodes_[left + 1], first + half, count - half);
  Split(left, first, half);
  Split(left + 1, first + half, count - half);
}

// Between a point and a box; a part of it less than `hair` does not count.
double FacetDistances::SquaredGap(const Point& low, const Point& high, const Point& point, double hair) {
  double sum = 0;
  for (size_t k = 0; k < 3; ++k) {
    const double gap = std::max({low[k] - point[k] - hair, point[k] - high[k] - hair, 0.0});
    sum += gap * gap;
  }
  return sum;
}

double FacetDistances::From(const Point& point, int near_facet) const {
  // More than rounding can move a point across the side of a turned box.
  const double hair = 1e-14 * (largest_ + std::fabs(point[0]) + std::fabs(point[1]) + std::fabs(point[2]));
  double best = kInfinity;
  const auto look_at = [&](uint32_t facet) { best = std::min(best, SquaredDistance(point, facets_[facet])); };
  if (nodes_.empty()) return best;
  if (near_facet >= 0 && size_t(near_facet) < places_.size() && places_[size_t(near_facet)] < facets_.size())
    look_at(places_[size_t(near_facet)]);
  const auto push = [&](uint32_t index) {
    const Node& node = nodes_[index];
    double gap = SquaredGap(node.low, node.high, point, 0);
    if (gap < best)
      gap = std::max(gap, SquaredGap(node.low_along, node.high_along, AlongWays(node, point), hair));
    if (gap >= best) return;
    pending_.emplace_back(gap, index);
    std::push_heap(pending_.begin(), pending_.end(), std::greater<>());
  };
  pending_.clear();
  push(0);
  while (!pending_.empty() && pending_.front().first < best) {
    const Node& node = nodes_[pending_.front().second];
    std::pop_heap(pending_.begin(), pending_.end(), std::greater<>());
    pending_.pop_back();
    steps_ += 1 + node.count;
    for (uint32_t i = 0; i < node.count; ++i) look_at(node.first + i);
    for (uint32_t half = 0; half < 2 && node.count == 0; ++half) push(node.first + half);
  }
  return std::sqrt(best);
}

std::vector<std::optional<double>> FacetDistances::From(const std::vector<Point>& points) const {
  Box box;
  for (const Point& point : points) box.Add(point);
  // Along a curve that fills the box: the bits of the coordinates in turns (G. M. Morton, A Computer Oriented
  // Geodetic Data Base, 1966).
  std::vector<std::pair<uint32_t, uint32_t>> places;
  places.reserve(points.size());
  for (const Point& point : points) {
    uint32_t place = 0;
    for (size_t k = 0; k < 3; ++k) {
      const double share = (point[k] - box.min[k]) / (box.max[k] - box.min[k]);
      const auto cell = share > 0 ? uint32_t(std::min(share, 1.0) * 1023) : 0;
      for (uint32_t bit = 0; bit < 10; ++bit) place |= (cell >> bit & 1) << (3 * bit + k);
    }
    places.emplace_back(place, uint32_t(places.size()));
  }
  std::sort(places.begin(), places.end());
  std::vector<std::optional<double>> distances(points.size());
  for (const auto& [place, number] : places) {
    if (TookTooLong(points.size())) break;
    distances[number] = From(points[number]);
  }
  return distances;
}

}  // namespace trqprep
