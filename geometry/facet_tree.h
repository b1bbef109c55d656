/// Which facets of a mesh may be near a box: the candidates of a test that is exact itself.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace trq::detail {

/// An axis-aligned box of doubles, bounds included.
struct Bounds {
  double low[3];
  double high[3];

  bool Meets(const Bounds& other) const {
    for (int k = 0; k < 3; ++k) {
      if (low[k] > other.high[k] || other.low[k] > high[k]) return false;
    }
    return true;
  }
};

inline bool IsFinite(const Bounds& box) {
  for (int k = 0; k < 3; ++k) {
    if (!std::isfinite(box.low[k]) || !std::isfinite(box.high[k])) return false;
  }
  return true;
}

/// A binary tree of boxes over the boxes of facets.
class FacetTree {
 public:
  /// `boxes[i]` belongs to facet i; facets whose box is not finite are left out.
  explicit FacetTree(const std::vector<Bounds>& boxes);
  /// Replaces `found` by the facets whose boxes meet `box`, in ascending order.
  void Find(const Bounds& box, std::vector<uint32_t>& found) const;

 private:
  struct Node {
    Bounds bounds;
    uint32_t first;  // leaf: its first item; else its second child, the first being the next node
    uint32_t count;  // leaf: its items; else 0
  };
  struct Item {
    Bounds bounds;
    uint32_t facet;
  };

  void Build(std::size_t begin, std::size_t end);

  std::vector<Item> items_;
  std::vector<Node> nodes_;
};

}  // namespace trq::detail
