#include "geometry/facet_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trq::detail {
namespace {

constexpr std::size_t kLeafSize = 6;
// Halving 2^32 items down to single ones takes 32 levels; one pending child a level.
constexpr int kDeepest = 64;

double Centre(const Bounds& box, int axis) { return 0.5 * (box.low[axis] + box.high[axis]); }

}  // namespace

FacetTree::FacetTree(const std::vector<Bounds>& boxes) {
  items_.reserve(boxes.size());
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    if (IsFinite(boxes[i])) items_.push_back({boxes[i], static_cast<uint32_t>(i)});
  }
  if (items_.empty()) return;
  nodes_.reserve(items_.size() / 2 + 1);
  Build(0, items_.size());
}

void FacetTree::Build(std::size_t begin, std::size_t end) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Bounds bounds;
  double low_centre[3], high_centre[3];
  for (int k = 0; k < 3; ++k) {
    bounds.low[k] = low_centre[k] = kInfinity;
    bounds.high[k] = high_centre[k] = -kInfinity;
    for (std::size_t i = begin; i < end; ++i) {
      const Bounds& box = items_[i].bounds;
      bounds.low[k] = std::min(bounds.low[k], box.low[k]);
      bounds.high[k] = std::max(bounds.high[k], box.high[k]);
      low_centre[k] = std::min(low_centre[k], Centre(box, k));
      high_centre[k] = std::max(high_centre[k], Centre(box, k));
    }
  }
  const std::size_t node = nodes_.size();
  nodes_.push_back({bounds, static_cast<uint32_t>(begin), static_cast<uint32_t>(end - begin)});
  if (end - begin <= kLeafSize) return;

  int axis = 0;
  for (int k = 1; k < 3; ++k) {
    if (high_centre[k] - low_centre[k] > high_centre[axis] - low_centre[axis]) axis = k;
  }
  // Always by half: the depth stays the logarithm of the count, whatever the facets look like.
  const std::size_t middle = begin + (end - begin) / 2;
  const auto at = [&](std::size_t i) { return items_.begin() + static_cast<std::ptrdiff_t>(i); };
  std::nth_element(at(begin), at(middle), at(end), [axis](const Item& a, const Item& b) {
    return Centre(a.bounds, axis) < Centre(b.bounds, axis);
  });
  Build(begin, middle);
  nodes_[node].first = static_cast<uint32_t>(nodes_.size());
  nodes_[node].count = 0;
  Build(middle, end);
}

void FacetTree::Find(const Bounds& box, std::vector<uint32_t>& found) const {
  found.clear();
  if (nodes_.empty()) return;
  uint32_t pending[kDeepest];
  int pending_count = 0;
  pending[pending_count++] = 0;
  while (pending_count > 0) {
    const uint32_t index = pending[--pending_count];
    const Node& node = nodes_[index];
    if (!node.bounds.Meets(box)) continue;
    if (node.count == 0) {
      pending[pending_count++] = node.first;
      pending[pending_count++] = index + 1;
      continue;
    }
    for (uint32_t i = node.first; i < node.first + node.count; ++i) {
      if (items_[i].bounds.Meets(box)) found.push_back(items_[i].facet);
    }
  }
  std::sort(found.begin(), found.end());
}

}  // namespace trq::detail
