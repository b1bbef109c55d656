#include "trqprep/facet_distance.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace trqprep {
namespace {

constexpr uint32_t kLeaf = 4;
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

FacetDistances::FacetDistances(const CTL& mesh) {
  const int facets = mesh.num_triangles();
  facets_.reserve(size_t(std::max(facets, 0)));
  for (int facet = 0; facet < facets; ++facet) {
    facets_.push_back(CornersOf(mesh, facet));
    if (IsFinite(facets_.back())) order_.push_back(uint32_t(facet));
  }
  const auto make_node = [this](size_t first, size_t count) {
    Box box;
    for (size_t i = first; i < first + count; ++i) {
      for (const Point& corner : facets_[order_[i]]) box.Add(corner);
    }
    nodes_.push_back({box.min, box.max, uint32_t(first), uint32_t(count)});
  };
  if (order_.empty()) return;
  make_node(0, order_.size());
  // Nodes behind `i` are still to be looked at; halves are put at the end.
  for (size_t i = 0; i < nodes_.size(); ++i) {
    const Node node = nodes_[i];
    if (node.count <= kLeaf) continue;
    size_t axis = 0;
    for (size_t k = 1; k < 3; ++k) {
      if (node.high[k] - node.low[k] > node.high[axis] - node.low[axis]) axis = k;
    }
    const auto middle = [this, axis](uint32_t facet) {
      const Corners& corners = facets_[facet];
      return corners[0][axis] + corners[1][axis] + corners[2][axis];
    };
    const auto begin = order_.begin() + node.first;
    std::nth_element(begin, begin + node.count / 2, begin + node.count, [&middle](uint32_t a, uint32_t b) {
      const double ma = middle(a), mb = middle(b);
      return ma != mb ? ma < mb : a < b;
    });
    nodes_[i].first = uint32_t(nodes_.size());
    nodes_[i].count = 0;
    make_node(node.first, node.count / 2);
    make_node(node.first + node.count / 2, node.count - node.count / 2);
  }
}

double FacetDistances::SquaredGap(const Node& node, const Point& point) {
  double sum = 0;
  for (size_t k = 0; k < 3; ++k) {
    const double gap = std::max({node.low[k] - point[k], point[k] - node.high[k], 0.0});
    sum += gap * gap;
  }
  return sum;
}

double FacetDistances::From(const Point& point, int near_facet) const {
  double best = kInfinity;
  const auto look_at = [&](uint32_t facet) { best = std::min(best, SquaredDistance(point, facets_[facet])); };
  if (nodes_.empty()) return best;
  if (near_facet >= 0 && size_t(near_facet) < facets_.size() && IsFinite(facets_[size_t(near_facet)])) {
    look_at(uint32_t(near_facet));
  }
  struct Pending {
    uint32_t node;
    double gap;
  };
  // Halving 2^32 facets takes 32 steps, and each leaves one half behind.
  Pending pending[40];
  size_t count = 0;
  pending[count++] = {0, SquaredGap(nodes_[0], point)};
  while (count > 0) {
    const Pending next = pending[--count];
    if (next.gap >= best) continue;
    const Node& node = nodes_[next.node];
    if (node.count > 0) {
      for (uint32_t i = 0; i < node.count; ++i) look_at(order_[node.first + i]);
      continue;
    }
    Pending near{node.first, SquaredGap(nodes_[node.first], point)};
    Pending far{node.first + 1, SquaredGap(nodes_[node.first + 1], point)};
    if (far.gap < near.gap) std::swap(near, far);
    pending[count++] = far;
    pending[count++] = near;
  }
  return std::sqrt(best);
}

}  // namespace trqprep
