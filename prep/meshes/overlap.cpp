#include "trqprep/overlap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

#include "prep/meshes/facet_boxes.h"
#include "trq/core/elementary.h"

namespace trqprep {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Seen from above: at height 0, and so is everything below.
Point CornerAt(const PlacedShape& shape, int vertex) {
  const PbVec3f& v = shape.vertices[vertex];
  return {v[0], v[1], 0};
}

Corners FacetOf(const PlacedShape& shape, int index) {
  const R_INT4& triangle = shape.triangles[index];
  return {CornerAt(shape, triangle[0]), CornerAt(shape, triangle[1]), CornerAt(shape, triangle[2])};
}

// How far the boxes reach into each other along the axis where that is least; below 0 when apart.
double Reach(const Box& a, const Box& b) {
  double least = kInfinity;
  for (size_t k = 0; k < 2; ++k) least = std::min({least, a.max[k] - b.min[k], b.max[k] - a.min[k]});
  return least;
}

Box Shared(const Box& a, const Box& b) {
  Box shared;
  for (size_t k = 0; k < 3; ++k) {
    shared.min[k] = std::max(a.min[k], b.min[k]);
    shared.max[k] = std::min(a.max[k], b.max[k]);
  }
  return shared;
}

Point MiddleOf(const Box& box) { return {(box.min[0] + box.max[0]) / 2, (box.min[1] + box.max[1]) / 2, 0}; }

double SquaredGap(const Box& a, const Box& b) {
  double sum = 0;
  for (size_t k = 0; k < 2; ++k) {
    const double gap = std::max({0.0, a.min[k] - b.max[k], b.min[k] - a.max[k]});
    sum += gap * gap;
  }
  return sum;
}

/// A convex outline: the corners in order. A facet is one.
struct Outline {
  const Point* corners;
  size_t count;
  const Point& operator[](size_t k) const { return corners[k]; }
  const Point& After(size_t k) const { return corners[k + 1 < count ? k + 1 : 0]; }
};

Outline OutlineOf(const Corners& facet) { return {facet.data(), facet.size()}; }

// How far the outlines must move to come apart: the least reach along the normals of their sides. Zero or
// less when they are apart. A facet seen edge-on is a segment and has one direction of normal only.
double Depth(const Outline& a, const Outline& b) {
  double least = kInfinity;
  const auto try_axis = [&](const Point& axis) {
    double a0 = Dot(axis, a[0]), a1 = a0, b0 = Dot(axis, b[0]), b1 = b0;
    for (size_t k = 1; k < a.count; ++k) {
      const double pa = Dot(axis, a[k]);
      a0 = std::min(a0, pa);
      a1 = std::max(a1, pa);
    }
    for (size_t k = 1; k < b.count; ++k) {
      const double pb = Dot(axis, b[k]);
      b0 = std::min(b0, pb);
      b1 = std::max(b1, pb);
    }
    least = std::min(least, std::min(a1 - b0, b1 - a0));
  };
  for (const Outline* outline : {&a, &b}) {
    for (size_t k = 0; k < outline->count; ++k) {
      const Point side = Minus(outline->After(k), (*outline)[k]);
      const double length = trq::core::Hypot(side[0], side[1]);
      if (length > 0) try_axis({-side[1] / length, side[0] / length, 0});
      if (least <= 0) return least;
    }
  }
  if (std::isinf(least)) {  // two points
    try_axis({1, 0, 0});
    try_axis({0, 1, 0});
  }
  return least;
}

/// The shortest way from one outline to another.
struct Way {
  double squared = kInfinity;  ///< its length
  Point from{};
  Point to{};
};

void ToSides(const Point& p, const Outline& outline, bool back, Way& least) {
  for (size_t k = 0; k < outline.count; ++k) {
    const Point &a = outline[k], ab = Minus(outline.After(k), a), ap = Minus(p, a);
    const double length = Dot(ab, ab);
    const double t = length > 0 ? std::clamp(Dot(ap, ab) / length, 0.0, 1.0) : 0;
    const Point at = {a[0] + t * ab[0], a[1] + t * ab[1], 0};
    const Point d = Minus(p, at);
    if (Dot(d, d) < least.squared) least = {Dot(d, d), back ? at : p, back ? p : at};
  }
}

// Of outlines that are apart: the shortest way ends at a corner of one of them.
Way Between(const Outline& a, const Outline& b) {
  Way least;
  for (size_t k = 0; k < a.count; ++k) ToSides(a[k], b, false, least);
  for (size_t k = 0; k < b.count; ++k) ToSides(b[k], a, true, least);
  return least;
}

double SquaredToOutline(const Point& p, const Outline& outline) {
  Way least;
  ToSides(p, outline, false, least);
  return least.squared;
}

// From the nearest point of the outline's sides.
Point ToOutline(const Point& p, const Outline& outline) {
  Way least;
  ToSides(p, outline, false, least);
  return Minus(least.from, least.to);
}

// Whether a direction is found along which the outlines are so far apart. `direction`, of length 1, is tried
// first and takes the last one tried: from near pairs of outlines to others it hardly turns. True is certain.
bool AreApart(const Outline& a, const Outline& b, double distance, Point& direction) {
  const auto farthest = [](const Outline& outline, const Point& way) {
    return *std::max_element(outline.corners, outline.corners + outline.count,
                             [&](const Point& p, const Point& q) { return Dot(way, p) < Dot(way, q); });
  };
  for (int turn = 0; turn < 4; ++turn) {
    const Point from = farthest(b, direction), to = farthest(a, Minus({0, 0, 0}, direction));
    if (Dot(direction, Minus(to, from)) >= distance) return true;
    Point way = ToOutline(to, b);
    const Point back = ToOutline(from, a);
    if (Dot(back, back) < Dot(way, way)) way = Minus({0, 0, 0}, back);
    const double length = Norm(way);
    if (!(length >= distance && length > 0)) return false;
    direction = {way[0] / length, way[1] / length, 0};
  }
  return false;
}

// A grid over the region that two shapes share. Of several facets that reach into one, that in the first cell
// is told of: rows upward, and along x in each.
class GridOrder {
 public:
  GridOrder(const Box& region, size_t facets) : region_(region) {
    cells_ = int(std::clamp(std::sqrt(double(facets)), 1.0, 512.0));
    width_ = (region.max[0] - region.min[0]) / cells_;
    height_ = (region.max[1] - region.min[1]) / cells_;
  }

  /// The cells in a row that a facet may touch.
  struct Part {
    int row;
    int first;
    int last;
  };

  std::vector<Part> PartsOf(const Corners& facet) const {
    std::vector<Part> parts;
    const Box box = BoxOf(facet);
    if (!Meet(box, region_)) return parts;
    const int last_row = Row(box.max[1]);
    // Cell borders are computed, so a hair is added on both sides.
    const double hair = 1e-9 * (height_ + std::max(std::fabs(region_.min[1]), std::fabs(region_.max[1])));
    for (int row = Row(box.min[1]); row <= last_row; ++row) {
      const double low = row == 0 ? -kInfinity : region_.min[1] + row * height_ - hair;
      const double high = row == cells_ - 1 ? kInfinity : region_.min[1] + (row + 1) * height_ + hair;
      double left = kInfinity, right = -kInfinity;
      for (size_t k = 0; k < 3; ++k) {
        const Point &p = facet[k], &q = facet[(k + 1) % 3];
        if (std::max(p[1], q[1]) < low || std::min(p[1], q[1]) > high) continue;
        for (const double y : {std::clamp(p[1], low, high), std::clamp(q[1], low, high)}) {
          const double t = q[1] == p[1] ? 0 : (y - p[1]) / (q[1] - p[1]);
          const double x = p[0] + t * (q[0] - p[0]);
          left = std::min(left, x);
          right = std::max(right, x);
        }
        if (q[1] == p[1]) {
          left = std::min(left, q[0]);
          right = std::max(right, q[0]);
        }
      }
      if (left <= right) parts.push_back({row, Column(left - hair), Column(right + hair)});
    }
    return parts;
  }

  /// The row and column of the first cell of both.
  static std::pair<int, int> FirstShared(const std::vector<Part>& a, const std::vector<Part>& b) {
    for (auto p = a.begin(), q = b.begin(); p != a.end() && q != b.end();) {
      if (p->row == q->row && p->first <= q->last && q->first <= p->last)
        return {p->row, std::max(p->first, q->first)};
      ++(p->row <= q->row ? p : q);
    }
    return {std::numeric_limits<int>::max(), 0};
  }

 private:
  int Column(double x) const { return Index(x - region_.min[0], width_); }
  int Row(double y) const { return Index(y - region_.min[1], height_); }
  int Index(double offset, double size) const {
    return size > 0 ? int(std::clamp(offset / size, 0.0, cells_ - 1.0)) : 0;
  }

  Box region_;
  int cells_ = 1;
  double width_ = 0;
  double height_ = 0;
};

// A tree over the facets of a shape. A node is split, and its outline made, when a search first needs it:
// most searches see little of a tree.
class ShadowTree {
 public:
  struct Node {
    Box box;
    size_t first = 0;
    size_t count = 0;
    size_t left = 0;     // the right half follows it; 0: not split so far
    size_t outline = 0;  // its number plus 1
    int lowest = 0;      // of its facets
    bool IsLeaf() const { return count <= 4; }
  };

  /// A polygon whose corners are facets' corners: no point of the node is farther outside than `slack`.
  struct NodeOutline {
    std::vector<Point> corners;
    double slack = 0;
    operator Outline() const { return {corners.data(), corners.size()}; }
  };

  explicit ShadowTree(const PlacedShape& shape) : shape_(shape), order_(size_t(shape.facets)) {
    std::iota(order_.begin(), order_.end(), 0);
    Add(0, order_.size());
    box_ = nodes_[0].box;
  }

  /// Of all facets; what searches find out of the tree does not touch it.
  const Box& box() const { return box_; }

  /// Does what searches do at the upper nodes that come so near to a box of another.
  void Open(const std::vector<Box>& others, double within) {
    const size_t few = nodes_[0].count / 4;
    std::vector<size_t> open{0};
    while (!open.empty()) {
      const size_t index = open.back();
      open.pop_back();
      const Node node = nodes_[index];
      const bool near = std::any_of(others.begin(), others.end(), [&](const Box& other) {
        return SquaredGap(node.box, other) <= within * within;
      });
      if (!near) continue;
      OutlineAt(index);
      if (node.count <= few || node.IsLeaf()) continue;
      const size_t left = Split(index);
      open.push_back(left);
      open.push_back(left + 1);
    }
  }

  /// Takes the trees apart together. `skip` is given two nodes and their trees, and says whether no pair of
  /// their facets matters; `first`, given two such pairs, whether the second is better looked at first;
  /// `look` gets the numbers of two facets. Returns how many pairs of nodes it looked at.
  template <class Skip, class First, class Look>
  static int64_t Search(ShadowTree& a, ShadowTree& b, Skip skip, First first, Look look) {
    std::vector<std::pair<size_t, size_t>> open{{0, 0}};
    int64_t steps = 0;
    while (!open.empty()) {
      const auto [i, j] = open.back();
      open.pop_back();
      ++steps;
      if (skip(i, j)) continue;
      const Node p = a.nodes_[i], q = b.nodes_[j];
      if (p.IsLeaf() && q.IsLeaf()) {
        for (size_t m = p.first; m < p.first + p.count; ++m) {
          for (size_t n = q.first; n < q.first + q.count; ++n) look(a.order_[m], b.order_[n]);
        }
        continue;
      }
      // Split the node with more facets.
      const bool split_a = q.IsLeaf() || (!p.IsLeaf() && p.count >= q.count);
      const size_t left = split_a ? a.Split(i) : b.Split(j);
      std::pair<size_t, size_t> halves[2];
      for (size_t k = 0; k < 2; ++k) halves[k] = {split_a ? left + k : i, split_a ? j : left + k};
      if (!first(halves[0], halves[1])) std::swap(halves[0], halves[1]);
      open.push_back(halves[0]);
      open.push_back(halves[1]);
    }
    return steps;
  }

  const Node& node(size_t index) const { return nodes_[index]; }

  const NodeOutline& OutlineAt(size_t index) {
    Node& node = nodes_[index];
    if (node.outline == 0) {
      outlines_.push_back(MakeOutline(node));
      node.outline = outlines_.size();
    }
    return outlines_[node.outline - 1];
  }

 private:
  size_t Add(size_t first, size_t count) {
    Node node;
    node.first = first;
    node.count = count;
    node.lowest = std::numeric_limits<int>::max();
    for (size_t i = first; i < first + count; ++i) {
      node.box.Add(BoxOf(FacetOf(shape_, order_[i])));
      node.lowest = std::min(node.lowest, order_[i]);
    }
    nodes_.push_back(node);
    return nodes_.size() - 1;
  }

  // The corners farthest along sixteen directions, and those outside of them when they are few: stacked
  // facets that differ by little are as near as the outermost ones are.
  NodeOutline MakeOutline(const Node& node) {
    constexpr size_t kDirections = 16, kMost = 32;
    static const std::array<Point, kDirections> directions = [] {
      std::array<Point, kDirections> made;
      for (size_t k = 0; k < kDirections; ++k) {
        const double angle = 6.283185307179586 * double(k) / kDirections;
        made[k] = {trq::core::Cos(angle), trq::core::Sin(angle), 0};
      }
      return made;
    }();
    std::array<double, kDirections> farthest;
    farthest.fill(-kInfinity);
    std::vector<Point> corners(kDirections);
    ForCorners(node, [&](const Point& corner) {
      for (size_t k = 0; k < kDirections; ++k) {
        const double along = directions[k][0] * corner[0] + directions[k][1] * corner[1];
        if (along > farthest[k]) {
          farthest[k] = along;
          corners[k] = corner;
        }
      }
      return false;
    });
    NodeOutline outline{Hull(corners)};
    const Outline sides = outline;
    double slack = 0;
    ForCorners(node, [&](const Point& corner) {
      for (size_t k = 0; k < sides.count; ++k) {
        if (Turn(sides[k], sides.After(k), corner) >= 0) continue;
        slack = std::max(slack, SquaredToOutline(corner, sides));
        const bool few = corners.size() <= 4 * kMost;
        if (few) corners.push_back(corner);
        return few;
      }
      return false;
    });
    if (corners.size() <= 4 * kMost) {
      std::vector<Point> hull = Hull(std::move(corners));
      if (hull.size() <= kMost) return {std::move(hull)};
    }
    outline.slack = std::sqrt(slack);
    return outline;
  }

  static double Turn(const Point& a, const Point& b, const Point& c) {
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
  }

  // The corners of the convex hull, counter-clockwise.
  static std::vector<Point> Hull(std::vector<Point> points) {
    std::sort(points.begin(), points.end());
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 3) return points;
    std::vector<Point> hull;
    for (const bool upper : {false, true}) {
      const size_t start = hull.size();
      for (const Point& point : points) {
        while (hull.size() >= start + 2 && Turn(hull[hull.size() - 2], hull.back(), point) <= 0)
          hull.pop_back();
        hull.push_back(point);
      }
      hull.pop_back();
      if (!upper) std::reverse(points.begin(), points.end());
    }
    return hull;
  }

  // Of a node with many facets, `use` sees a vertex again only as long as it answers true; of one with most,
  // in the order of the facets, which is that of the memory.
  template <class Use>
  void ForCorners(const Node& node, Use use) {
    constexpr size_t kMany = 64, kMost = 8;
    const int* const first = order_.data() + node.first;
    if (node.count < kMany) {
      for (const int* facet = first; facet != first + node.count; ++facet) {
        for (const Point& corner : FacetOf(shape_, *facet)) use(corner);
      }
      return;
    }
    if (done_.empty()) {
      int last = 0;
      for (int i = 0; i < shape_.facets; ++i) {
        for (int k = 0; k < 3; ++k) last = std::max(last, int(shape_.triangles[i][k]));
      }
      done_.assign(size_t(last) + 1, 0);
    }
    ++round_;
    const auto look_at = [&](int facet) {
      const R_INT4& triangle = shape_.triangles[facet];
      for (int k = 0; k < 3; ++k) {
        uint32_t& done = done_[size_t(triangle[k])];
        if (done != round_ && !use(CornerAt(shape_, triangle[k]))) done = round_;
      }
    };
    if (node.count * kMost < order_.size()) {
      std::for_each(first, first + node.count, look_at);
      return;
    }
    std::vector<bool> inside(order_.size(), false);
    for (const int* facet = first; facet != first + node.count; ++facet) inside[size_t(*facet)] = true;
    for (int facet = node.lowest; facet < shape_.facets; ++facet) {
      if (inside[size_t(facet)]) look_at(facet);
    }
  }

  // The left half of a node that is no leaf. Halves lie beside each other along the axis where facets are
  // short for the way over which they spread.
  size_t Split(size_t index) {
    const Node node = nodes_[index];
    if (node.left != 0) return node.left;
    constexpr size_t kAxes = 4;  // X, Y and between them
    const auto along = [](const Point& p) -> std::array<double, kAxes> {
      return {p[0], p[1], p[0] + p[1], p[0] - p[1]};
    };
    std::array<double, kAxes> low, high, extents{};
    low.fill(kInfinity);
    high.fill(-kInfinity);
    for (size_t i = node.first; i < node.first + node.count; ++i) {
      const Corners f = FacetOf(shape_, order_[i]);
      const auto p = along(f[0]), q = along(f[1]), r = along(f[2]);
      for (size_t k = 0; k < kAxes; ++k) {
        low[k] = std::min(low[k], p[k] + q[k] + r[k]);
        high[k] = std::max(high[k], p[k] + q[k] + r[k]);
        extents[k] += std::max({p[k], q[k], r[k]}) - std::min({p[k], q[k], r[k]});
      }
    }
    size_t axis = 0;
    double best = -1;
    for (size_t k = 0; k < kAxes; ++k) {
      const double way = high[k] - low[k];
      const double spread = way / (extents[k] / double(node.count) + 1e-3 * way + 1e-300);
      if (spread > best) {
        best = spread;
        axis = k;
      }
    }
    std::vector<std::pair<double, int>> middles;
    middles.reserve(node.count);
    for (size_t i = node.first; i < node.first + node.count; ++i) {
      const Corners f = FacetOf(shape_, order_[i]);
      middles.emplace_back(along(f[0])[axis] + along(f[1])[axis] + along(f[2])[axis], order_[i]);
    }
    std::nth_element(middles.begin(), middles.begin() + std::ptrdiff_t(node.count / 2), middles.end());
    for (size_t i = 0; i < node.count; ++i) order_[node.first + i] = middles[i].second;
    const size_t left = Add(node.first, node.count / 2);
    Add(node.first + node.count / 2, node.count - node.count / 2);
    nodes_[index].left = left;
    return left;
  }

  PlacedShape shape_;
  Box box_;
  std::vector<int> order_;
  std::vector<Node> nodes_;
  std::vector<NodeOutline> outlines_;
  std::vector<uint32_t> done_;  // by vertex, the last round that was done with it
  uint32_t round_ = 0;
};

// How far one facet reaches into another, 0 when their boxes do not even meet.
double FacetDepth(const Corners& a, const Corners& b) {
  return Meet(BoxOf(a), BoxOf(b)) ? Depth(OutlineOf(a), OutlineOf(b)) : 0;
}

// What comparing pairs of shapes costs, and how much it may: about as many units as a test of two boxes
// takes.
class Effort {
 public:
  explicit Effort(const std::vector<PlacedShape>& shapes) {
    for (const PlacedShape& shape : shapes) left_ += kOfShape + kOfFacet * shape.facets;
  }
  bool spent() const { return left_ < 0; }
  void Search(int64_t steps) { left_ -= 100 * steps; }
  void Facets(int64_t count) { left_ -= 10 * count; }

 private:
  // Far more than pieces take that stand beside each other.
  static constexpr int64_t kAlways = 500'000'000, kOfShape = 100'000, kOfFacet = 1000;
  int64_t left_ = kAlways;
};

bool FindOverlap(const PlacedShape& a, const PlacedShape& b, ShadowTree& tree_a, ShadowTree& tree_b,
                 double contact, Overlap& found, Effort& effort) {
  constexpr int kNone = std::numeric_limits<int>::max();
  const auto reach_at_most = [&](size_t i, size_t j, double reach) {
    if (Reach(tree_a.node(i).box, tree_b.node(j).box) <= reach) return true;
    const auto &p = tree_a.OutlineAt(i), &q = tree_b.OutlineAt(j);
    return Depth(p, q) + p.slack + q.slack <= reach;
  };
  using Pair = std::pair<size_t, size_t>;
  int lowest = kNone;  // of a's facets that reach into one of b
  const int64_t steps = ShadowTree::Search(
      tree_a, tree_b,
      [&](size_t i, size_t j) { return tree_a.node(i).lowest >= lowest || reach_at_most(i, j, contact); },
      [&](const Pair& p, const Pair& q) { return tree_a.node(p.first).lowest > tree_a.node(q.first).lowest; },
      [&](int i, int j) {
        if (i < lowest && FacetDepth(FacetOf(a, i), FacetOf(b, j)) > contact) lowest = i;
      });
  effort.Search(steps);
  if (lowest == kNone) return false;
  effort.Facets(2 * int64_t{b.facets});

  // Of the facets that it reaches into, that in the first cell, and of these the one with the lowest number.
  const Box region = Shared(tree_a.box(), tree_b.box());
  size_t facets = 0;
  for (int j = 0; j < b.facets; ++j) facets += Meet(BoxOf(FacetOf(b, j)), region) ? 1 : 0;
  const GridOrder grid(region, facets);
  const Corners facet = FacetOf(a, lowest);
  const auto parts = grid.PartsOf(facet);
  std::pair<int, int> first_cell{kNone, kNone};
  for (int j = 0; j < b.facets; ++j) {
    const Corners other = FacetOf(b, j);
    const double depth = FacetDepth(facet, other);
    if (!(depth > contact)) continue;
    const auto cell = GridOrder::FirstShared(parts, grid.PartsOf(other));
    if (cell >= first_cell) continue;
    first_cell = cell;
    found.depth = depth;
    const Point middle = MiddleOf(Shared(BoxOf(facet), BoxOf(other)));
    found.x = middle[0];
    found.y = middle[1];
  }
  return true;
}

// The shortest way between the shapes where that is shorter than `best`.
Way Between(const PlacedShape& a, const PlacedShape& b, ShadowTree& tree_a, ShadowTree& tree_b, Way best,
            Effort& effort) {
  const auto gap = [&](size_t i, size_t j) { return SquaredGap(tree_a.node(i).box, tree_b.node(j).box); };
  // Less than the result is rounded by, and more than rounding can part equal distances, or make segments of
  // one line reach into each other.
  const double hair = 1e-14 * (Norm(tree_a.box().max) + Norm(tree_a.box().min));
  Point direction{1, 0, 0};
  using Pair = std::pair<size_t, size_t>;
  const int64_t steps = ShadowTree::Search(
      tree_a, tree_b,
      [&](size_t i, size_t j) {
        if (gap(i, j) >= best.squared) return true;
        if (std::isinf(best.squared)) return false;
        const auto &p = tree_a.OutlineAt(i), &q = tree_b.OutlineAt(j);
        return AreApart(p, q, std::sqrt(best.squared) + p.slack + q.slack - hair, direction);
      },
      [&](const Pair& p, const Pair& q) { return gap(p.first, p.second) >= gap(q.first, q.second); },
      [&](int i, int j) {
        const Corners facet_p = FacetOf(a, i), facet_q = FacetOf(b, j);
        const Outline p = OutlineOf(facet_p), q = OutlineOf(facet_q);
        if (SquaredGap(BoxOf(facet_p), BoxOf(facet_q)) >= best.squared) return;
        if (AreApart(p, q, std::sqrt(best.squared) + hair, direction)) return;
        Way way;
        if (Depth(p, q) > hair) {
          way.squared = 0;
          way.from = way.to = MiddleOf(Shared(BoxOf(facet_p), BoxOf(facet_q)));
        } else {
          way = Between(p, q);
        }
        if (way.squared < best.squared) best = way;
      });
  effort.Search(steps);
  return best;
}

// Two shapes and the squared gap between their boxes.
struct NearPair {
  double gap;
  size_t i;
  size_t j;
  bool operator<(const NearPair& other) const {
    return std::tie(gap, i, j) < std::tie(other.gap, other.i, other.j);
  }
};

// Boxes by their left sides, to find those near to one of them.
class NearBoxes {
 public:
  explicit NearBoxes(std::vector<Box> boxes) : boxes_(std::move(boxes)), order_(boxes_.size()) {
    std::iota(order_.begin(), order_.end(), size_t{0});
    std::sort(order_.begin(), order_.end(), [&](size_t i, size_t j) { return Left(i) < Left(j); });
    for (const Box& box : boxes_) widest_ = std::max(widest_, box.max[0] - box.min[0]);
  }

  const Box& operator[](size_t i) const { return boxes_[i]; }

  /// Of box i the higher numbers, ascending, of those that may be no farther away than `distance`.
  const std::vector<size_t>& After(size_t i, double distance) {
    const double hair = 1e-9 * (widest_ + distance + std::fabs(Left(i)));
    const auto first = std::partition_point(order_.begin(), order_.end(), [&](size_t j) {
      return Left(j) < Left(i) - widest_ - distance - hair;
    });
    found_.clear();
    for (auto j = first; j != order_.end() && Left(*j) <= boxes_[i].max[0] + distance + hair; ++j) {
      if (*j > i && boxes_[*j].min[1] <= boxes_[i].max[1] + distance + hair &&
          boxes_[i].min[1] <= boxes_[*j].max[1] + distance + hair) {
        found_.push_back(*j);
      }
    }
    std::sort(found_.begin(), found_.end());
    return found_;
  }

  /// Neighbours on a curve through the plane, the nearest boxes first: among them are about the nearest of
  /// all.
  std::vector<NearPair> AlongCurve() const {
    Box all;
    for (const Box& box : boxes_) all.Add(box);
    const double size = std::max({all.max[0] - all.min[0], all.max[1] - all.min[1], 1e-300});
    std::vector<std::pair<uint32_t, size_t>> curve;
    for (size_t i = 0; i < boxes_.size(); ++i) {
      if (boxes_[i].Empty()) continue;
      const Point middle = MiddleOf(boxes_[i]);
      uint32_t place = 0;  // bits of both cells in turn
      for (size_t k = 0; k < 2; ++k) {
        const auto cell = uint32_t(std::clamp((middle[k] - all.min[k]) / size, 0.0, 1.0) * 65535);
        for (uint32_t bit = 0; bit < 16; ++bit) place |= (cell >> bit & 1) << (2 * bit + uint32_t(k));
      }
      curve.emplace_back(place, i);
    }
    std::sort(curve.begin(), curve.end());
    std::vector<NearPair> pairs;
    for (size_t k = 1; k < curve.size(); ++k) {
      const auto [i, j] = std::minmax(curve[k - 1].second, curve[k].second);
      pairs.push_back({SquaredGap(boxes_[i], boxes_[j]), i, j});
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
  }

 private:
  double Left(size_t i) const { return boxes_[i].min[0]; }

  std::vector<Box> boxes_;
  std::vector<size_t> order_;
  double widest_ = 0;
  std::vector<size_t> found_;
};

}  // namespace

struct SeenFromAbove::Trees {
  std::vector<PlacedShape> shapes;
  std::vector<std::unique_ptr<ShadowTree>> made;  // by shape
  bool cut_short = false;

  ShadowTree& operator[](size_t i) {
    if (!made[i]) made[i] = std::make_unique<ShadowTree>(shapes[i]);
    return *made[i];
  }
  NearBoxes Boxes() {
    std::vector<Box> boxes;
    for (size_t i = 0; i < shapes.size(); ++i) boxes.push_back((*this)[i].box());
    return NearBoxes(std::move(boxes));
  }
};

SeenFromAbove::SeenFromAbove(std::vector<PlacedShape> shapes) : trees_(std::make_unique<Trees>()) {
  trees_->made.resize(shapes.size());
  trees_->shapes = std::move(shapes);
}

SeenFromAbove::~SeenFromAbove() = default;

bool SeenFromAbove::cut_short() const { return trees_->cut_short; }

void SeenFromAbove::Look(size_t shape) { (*trees_)[shape]; }

void SeenFromAbove::LookCloser(size_t shape, double within) {
  Trees& trees = *trees_;
  std::vector<Box> others;
  for (size_t i = 0; i < trees.shapes.size(); ++i) {
    const Box& box = trees[i].box();
    if (i != shape && SquaredGap(box, trees[shape].box()) <= within * within) others.push_back(box);
  }
  trees[shape].Open(others, within);
}

std::vector<Overlap> SeenFromAbove::FindOverlaps(double contact) {
  Trees& trees = *trees_;
  const std::vector<PlacedShape>& shapes = trees.shapes;
  std::vector<Overlap> overlaps;
  NearBoxes boxes = trees.Boxes();
  Effort effort(shapes);
  for (size_t i = 0; i < shapes.size(); ++i) {
    for (const size_t j : boxes.After(i, 0)) {
      if (Reach(boxes[i], boxes[j]) <= contact) continue;
      if (effort.spent() || overlaps.size() == kMostNamed) {
        trees.cut_short = true;
        return overlaps;
      }
      Overlap found{i, j};
      if (FindOverlap(shapes[i], shapes[j], trees[i], trees[j], contact, found, effort))
        overlaps.push_back(found);
    }
  }
  return overlaps;
}

Distances SeenFromAbove::MeasureDistances(const std::vector<double>& wanted) {
  Trees& trees = *trees_;
  const std::vector<PlacedShape>& shapes = trees.shapes;
  NearBoxes boxes = trees.Boxes();
  Effort effort(shapes);
  Distances distances;
  // No way that is looked for is longer than that between any two shapes, or than what is wanted.
  double some = kInfinity;
  NearPair known{kInfinity, 0, 0};
  for (const NearPair& pair : boxes.AlongCurve()) {
    if (pair.gap >= some || effort.spent()) break;
    Way way;
    way.squared = some;
    way = Between(shapes[pair.i], shapes[pair.j], trees[pair.i], trees[pair.j], way, effort);
    if (way.squared < some) known = pair;
    some = way.squared;
  }
  if (std::isinf(some)) return distances;
  const double most = *std::max_element(wanted.begin(), wanted.end());
  const auto bound_of = [&](size_t i, size_t j) { return std::max({wanted[i], wanted[j], 0.0}); };
  std::vector<NearPair> pairs;
  // Whether these are all pairs, and not so many that looking at them takes long.
  const auto gather = [&](double farthest) {
    constexpr size_t kAlways = 1 << 19, kOfShape = 64;
    const size_t many = kAlways + kOfShape * shapes.size();
    pairs.clear();
    for (size_t i = 0; i < shapes.size(); ++i) {
      for (const size_t j : boxes.After(i, std::max(std::min(most, farthest), std::sqrt(some)))) {
        const double gap = SquaredGap(boxes[i], boxes[j]), bound = std::min(bound_of(i, j), farthest);
        if (gap > std::max(some, bound * bound)) continue;
        if (pairs.size() == many) return false;
        pairs.push_back({gap, i, j});
      }
    }
    return true;
  };
  if (!gather(kInfinity)) {
    // Where nearly all are too near, the nearest are named.
    trees.cut_short = true;
    if (!gather(0)) {
      const auto is_known = [&](const NearPair& pair) { return pair.i == known.i && pair.j == known.j; };
      pairs.erase(std::remove_if(pairs.begin(), pairs.end(), is_known), pairs.end());
      pairs.push_back(known);
    }
  }
  // Near pairs first: they bound what the others can still improve.
  std::sort(pairs.begin(), pairs.end());
  double smallest = kInfinity;
  for (const NearPair& pair : pairs) {
    const bool named = distances.short_ones.size() < kMostNamed;
    const double bound = bound_of(pair.i, pair.j);
    Way way;
    way.squared = named ? std::max(smallest, bound * bound) : smallest;
    trees.cut_short = trees.cut_short || (!named && pair.gap < bound * bound);
    if (pair.gap >= way.squared) continue;
    if (effort.spent()) {
      trees.cut_short = true;
      break;
    }
    way = Between(shapes[pair.i], shapes[pair.j], trees[pair.i], trees[pair.j], way, effort);
    Nearness found{pair.i, pair.j, std::round(std::sqrt(way.squared) * 1e6) / 1e6, {}, {}};
    for (size_t k = 0; k < 2; ++k) {
      found.from[k] = way.from[k];
      found.to[k] = way.to[k];
    }
    if (way.squared < smallest) distances.smallest = found;
    smallest = std::min(smallest, way.squared);
    if (named && way.squared < bound * bound) distances.short_ones.push_back(found);
  }
  std::sort(distances.short_ones.begin(), distances.short_ones.end(),
            [](const Nearness& p, const Nearness& q) {
              return p.first != q.first ? p.first < q.first : p.second < q.second;
            });
  return distances;
}

}  // namespace trqprep
