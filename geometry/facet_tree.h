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
};

inline bool IsFinite(const Bounds& box) {
  for (int k = 0; k < 3; ++k) {
    if (!std::isfinite(box.low[k]) || !std::isfinite(box.high[k])) return false;
  }
  return true;
}

/// A tree of boxes over the boxes of facets, eight to a node.
class FacetTree {
 public:
  /// `boxes[i]` belongs to facet i; facets whose box is not finite are left out.
  explicit FacetTree(const std::vector<Bounds>& boxes);
  /// Replaces `found` by the facets whose boxes meet `box`, in ascending order. Boxes that miss each other by
  /// no more than the rounding of a float may count as meeting.
  void Find(const Bounds& box, std::vector<uint32_t>& found) const;

 private:
  static constexpr size_t kFan = 8;

  /// Eight boxes, each bound of all eight side by side.
  struct Node {
    float low[3][kFan];
    float high[3][kFan];
  };

  static Node EmptyNode();
  static uint32_t Meeting(const Node& node, const float low[3], const float high[3]);

  std::vector<uint32_t> facets_;  // along the curve
  std::vector<std::vector<Node>>
      levels_;  // the first over facets_, each other over the one before, the last one node
};

}  // namespace trq::detail
