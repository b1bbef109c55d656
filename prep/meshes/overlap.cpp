#include "trqprep/overlap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>

#include "prep/meshes/facet_boxes.h"

namespace trqprep {
namespace {

// Seen from above: at height 0, and so is everything below.
Corners FacetOf(const PlacedShape& shape, int index) {
  Corners facet;
  for (size_t k = 0; k < 3; ++k) {
    const PbVec3f& v = shape.vertices[shape.triangles[index][int(k)]];
    facet[k] = {v[0], v[1], 0};
  }
  return facet;
}

std::vector<Box> BoxesOf(const std::vector<PlacedShape>& shapes) {
  std::vector<Box> boxes(shapes.size());
  for (size_t s = 0; s < shapes.size(); ++s) {
    for (int i = 0; i < shapes[s].facets; ++i) boxes[s].Add(BoxOf(FacetOf(shapes[s], i)));
  }
  return boxes;
}

// How far the boxes reach into each other along the axis where that is least; below 0 when apart.
double Reach(const Box& a, const Box& b) {
  double least = std::numeric_limits<double>::infinity();
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

double SquaredGap(const Box& a, const Box& b) {
  double sum = 0;
  for (size_t k = 0; k < 2; ++k) {
    const double gap = std::max({0.0, a.min[k] - b.max[k], b.min[k] - a.max[k]});
    sum += gap * gap;
  }
  return sum;
}

// How far the facets must move to come apart: the least reach along the normals of their sides. Zero or
// less when they are apart. A facet seen edge-on is a segment and has one direction of normal only.
double Depth(const Corners& a, const Corners& b) {
  double least = std::numeric_limits<double>::infinity();
  const auto try_axis = [&](const Point& axis) {
    double a0 = Dot(axis, a[0]), a1 = a0, b0 = Dot(axis, b[0]), b1 = b0;
    for (size_t k = 1; k < 3; ++k) {
      const double pa = Dot(axis, a[k]), pb = Dot(axis, b[k]);
      a0 = std::min(a0, pa);
      a1 = std::max(a1, pa);
      b0 = std::min(b0, pb);
      b1 = std::max(b1, pb);
    }
    least = std::min(least, std::min(a1 - b0, b1 - a0));
  };
  for (const Corners* facet : {&a, &b}) {
    for (size_t k = 0; k < 3; ++k) {
      const Point side = Minus((*facet)[(k + 1) % 3], (*facet)[k]);
      const double length = std::hypot(side[0], side[1]);
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

// The facets of one shape, sorted into the cells of a grid over a region.
class FacetGrid {
 public:
  FacetGrid(const PlacedShape& shape, const std::vector<int>& facets, const Box& region)
      : region_(region), facets_(facets) {
    const double side = std::sqrt(double(facets.size()));
    cells_ = int(std::clamp(side, 1.0, 512.0));
    width_ = (region.max[0] - region.min[0]) / cells_;
    height_ = (region.max[1] - region.min[1]) / cells_;
    // Two passes over the facets: count, then fill.
    starts_.assign(size_t(cells_) * size_t(cells_) + 1, 0);
    for (const int facet : facets) {
      ForCells(FacetOf(shape, facet), [&](size_t cell) { ++starts_[cell + 1]; });
    }
    std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
    entries_.resize(starts_.back());
    std::vector<size_t> next(starts_.begin(), starts_.end() - 1);
    for (size_t i = 0; i < facets.size(); ++i) {
      ForCells(FacetOf(shape, facets[i]), [&](size_t cell) { entries_[next[cell]++] = i; });
    }
    seen_.assign(facets.size(), 0);
  }

  /// Calls `visit` once with every facet that shares a cell with this one, until it returns true.
  template <class Visit>
  bool ForNeighbours(const Corners& facet, Visit visit) {
    ++round_;
    bool done = false;
    ForCells(facet, [&](size_t cell) {
      for (size_t e = starts_[cell]; e < starts_[cell + 1] && !done; ++e) {
        if (seen_[entries_[e]] == round_) continue;
        seen_[entries_[e]] = round_;
        done = visit(facets_[entries_[e]]);
      }
    });
    return done;
  }

 private:
  int Column(double x) const { return Index(x - region_.min[0], width_); }
  int Row(double y) const { return Index(y - region_.min[1], height_); }
  int Index(double offset, double size) const {
    return size > 0 ? int(std::clamp(offset / size, 0.0, cells_ - 1.0)) : 0;
  }

  // The cells that the facet may touch: for each row, those between the ends of its part in that row.
  template <class Use>
  void ForCells(const Corners& facet, Use use) const {
    const Box box = BoxOf(facet);
    if (!Meet(box, region_)) return;
    const int last_row = Row(box.max[1]);
    // Cell borders are computed, so a hair is added on both sides.
    const double hair = 1e-9 * (height_ + std::max(std::fabs(region_.min[1]), std::fabs(region_.max[1])));
    for (int row = Row(box.min[1]); row <= last_row; ++row) {
      const double low =
          row == 0 ? -std::numeric_limits<double>::infinity() : region_.min[1] + row * height_ - hair;
      const double high = row == cells_ - 1 ? std::numeric_limits<double>::infinity()
                                            : region_.min[1] + (row + 1) * height_ + hair;
      double left = std::numeric_limits<double>::infinity();
      double right = -left;
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
      if (left > right) continue;
      const int last = Column(right + hair);
      for (int column = Column(left - hair); column <= last; ++column) {
        use(size_t(row) * size_t(cells_) + size_t(column));
      }
    }
  }

  Box region_;
  const std::vector<int>& facets_;
  int cells_ = 1;
  double width_ = 0;
  double height_ = 0;
  std::vector<size_t> starts_;
  std::vector<size_t> entries_;
  std::vector<uint64_t> seen_;
  uint64_t round_ = 0;
};

std::vector<int> FacetsIn(const PlacedShape& shape, const Box& region) {
  std::vector<int> facets;
  for (int i = 0; i < shape.facets; ++i) {
    if (Meet(BoxOf(FacetOf(shape, i)), region)) facets.push_back(i);
  }
  return facets;
}

bool FindOverlap(const PlacedShape& a, const PlacedShape& b, const Box& region, double contact,
                 Overlap& found) {
  const std::vector<int> of_a = FacetsIn(a, region);
  const std::vector<int> of_b = FacetsIn(b, region);
  if (of_a.empty() || of_b.empty()) return false;
  FacetGrid grid(b, of_b, region);
  for (const int i : of_a) {
    const Corners facet = FacetOf(a, i);
    const Box box = BoxOf(facet);
    const bool hit = grid.ForNeighbours(facet, [&](int j) {
      const Corners other = FacetOf(b, j);
      const Box other_box = BoxOf(other);
      // Boxes that hardly meet need no look at the sides; boxes seen edge-on have no width to reach with.
      if (!Meet(box, other_box)) return false;
      const double depth = Depth(facet, other);
      if (!(depth > contact)) return false;
      found.depth = depth;
      const Box shared = Shared(box, other_box);
      found.x = (shared.min[0] + shared.max[0]) / 2;
      found.y = (shared.min[1] + shared.max[1]) / 2;
      return true;
    });
    if (hit) return true;
  }
  return false;
}

// A tree of rectangles over the facets of a shape, for distances. A node is split when a search first comes
// there: most searches see little of a tree.
class DistanceTree {
 public:
  explicit DistanceTree(const PlacedShape& shape) : shape_(shape), order_(size_t(shape.facets)) {
    std::iota(order_.begin(), order_.end(), 0);
    Add(0, order_.size());
  }

  /// The smaller of `best` (squared) and the squared distance to the other tree.
  static double SquaredDistance(DistanceTree& a, DistanceTree& b, double best) {
    std::vector<std::pair<size_t, size_t>> open{{0, 0}};
    while (!open.empty() && best > 0) {
      const auto [i, j] = open.back();
      open.pop_back();
      const Node p = a.nodes_[i];
      const Node q = b.nodes_[j];
      if (SquaredGap(p.box, q.box) >= best) continue;
      if (p.IsLeaf() && q.IsLeaf()) {
        best = a.LeafDistance(p, b, q, best);
        continue;
      }
      // Split the node with more facets; the nearer half is looked at first.
      const bool split_a = q.IsLeaf() || (!p.IsLeaf() && p.count >= q.count);
      const size_t left = split_a ? a.Split(i) : b.Split(j);
      std::pair<size_t, size_t> halves[2];
      for (size_t k = 0; k < 2; ++k) halves[k] = {split_a ? left + k : i, split_a ? j : left + k};
      const auto gap = [&](const std::pair<size_t, size_t>& h) {
        return SquaredGap(a.nodes_[h.first].box, b.nodes_[h.second].box);
      };
      if (gap(halves[0]) < gap(halves[1])) std::swap(halves[0], halves[1]);
      open.push_back(halves[0]);
      open.push_back(halves[1]);
    }
    return best;
  }

 private:
  struct Node {
    Box box;
    size_t first = 0;
    size_t count = 0;
    size_t left = 0;  // the right half follows it; 0: not split so far
    bool IsLeaf() const { return count <= 8; }
  };

  size_t Add(size_t first, size_t count) {
    Node node;
    node.first = first;
    node.count = count;
    for (size_t i = first; i < first + count; ++i) node.box.Add(BoxOf(FacetOf(shape_, order_[i])));
    nodes_.push_back(node);
    return nodes_.size() - 1;
  }

  // The left half of a node that is no leaf.
  size_t Split(size_t index) {
    const Node node = nodes_[index];
    if (node.left != 0) return node.left;
    const Point size = node.box.Size();
    const size_t axis = size[0] >= size[1] ? 0 : 1;
    const auto middle = [&](int facet) {
      const Corners f = FacetOf(shape_, facet);
      return f[0][axis] + f[1][axis] + f[2][axis];
    };
    int* const begin = order_.data() + node.first;
    std::nth_element(begin, begin + node.count / 2, begin + node.count, [&](int a, int b) {
      const double ma = middle(a), mb = middle(b);
      return ma != mb ? ma < mb : a < b;
    });
    const size_t left = Add(node.first, node.count / 2);
    Add(node.first + node.count / 2, node.count - node.count / 2);
    nodes_[index].left = left;
    return left;
  }

  static double ToSegment(const Point& p, const Point& a, const Point& b) {
    const Point ab = Minus(b, a), ap = Minus(p, a);
    const double length = Dot(ab, ab);
    const double t = length > 0 ? std::clamp(Dot(ap, ab) / length, 0.0, 1.0) : 0;
    const Point d = Minus(p, {a[0] + t * ab[0], a[1] + t * ab[1], 0});
    return Dot(d, d);
  }

  double LeafDistance(const Node& p, const DistanceTree& other, const Node& q, double best) const {
    for (size_t i = p.first; i < p.first + p.count; ++i) {
      const Corners a = FacetOf(shape_, order_[i]);
      if (SquaredGap(BoxOf(a), q.box) >= best) continue;
      for (size_t j = q.first; j < q.first + q.count; ++j) {
        const Corners b = FacetOf(other.shape_, other.order_[j]);
        if (SquaredGap(BoxOf(a), BoxOf(b)) >= best) continue;
        if (Depth(a, b) >= 0) return 0;
        // Apart: the distance is met at a corner of one of them.
        for (size_t k = 0; k < 3; ++k) {
          for (size_t s = 0; s < 3; ++s) {
            best = std::min(best, ToSegment(a[k], b[s], b[(s + 1) % 3]));
            best = std::min(best, ToSegment(b[k], a[s], a[(s + 1) % 3]));
          }
        }
      }
    }
    return best;
  }

  PlacedShape shape_;
  std::vector<int> order_;
  std::vector<Node> nodes_;
};

}  // namespace

std::vector<Overlap> FindOverlaps(const std::vector<PlacedShape>& shapes, double contact) {
  const std::vector<Box> boxes = BoxesOf(shapes);
  std::vector<Overlap> overlaps;
  for (size_t i = 0; i < shapes.size(); ++i) {
    for (size_t j = i + 1; j < shapes.size(); ++j) {
      if (!(Reach(boxes[i], boxes[j]) > contact)) continue;
      Overlap found{i, j};
      if (FindOverlap(shapes[i], shapes[j], Shared(boxes[i], boxes[j]), contact, found))
        overlaps.push_back(found);
    }
  }
  return overlaps;
}

double SmallestDistance(const std::vector<PlacedShape>& shapes) {
  struct Pair {
    double gap;
    size_t i;
    size_t j;
  };
  const std::vector<Box> boxes = BoxesOf(shapes);
  std::vector<Pair> pairs;
  for (size_t i = 0; i < shapes.size(); ++i) {
    for (size_t j = i + 1; j < shapes.size(); ++j) {
      if (shapes[i].facets < 1 || shapes[j].facets < 1) continue;
      pairs.push_back({SquaredGap(boxes[i], boxes[j]), i, j});
    }
  }
  if (pairs.empty()) return -1;
  // Near pairs first: they bound what the others can still improve.
  std::stable_sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.gap < b.gap; });
  std::vector<std::unique_ptr<DistanceTree>> trees(shapes.size());
  double best = std::numeric_limits<double>::infinity();
  for (const Pair& pair : pairs) {
    if (pair.gap >= best) break;
    for (const size_t k : {pair.i, pair.j}) {
      if (!trees[k]) trees[k] = std::make_unique<DistanceTree>(shapes[k]);
    }
    best = DistanceTree::SquaredDistance(*trees[pair.i], *trees[pair.j], best);
  }
  return std::round(std::sqrt(best) * 1e6) / 1e6;
}

}  // namespace trqprep
