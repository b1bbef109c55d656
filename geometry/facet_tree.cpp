// The idea: facets are put in order along a curve that fills space, so that neighbours in order are
// neighbours in space. Eight in a row make a node, eight nodes in a row a node of the next level, and so on:
// the tree is made by one sort and one pass, without pointers, and the eight boxes of a node are tested
// together by vector code.
// Invariants that make its answers as good as a walk over all boxes:
// - Boxes are kept as floats, rounded outward, and so is the box that is asked about: what meets is never
//   missed. What is found too much does no harm, because the candidates' own test is exact.
// - A node's box in the level above holds all its boxes. Unused places hold a box that meets nothing.
// - Returns are sorted: candidates come in ascending order, whatever the curve does.
#include "geometry/facet_tree.h"

#include <algorithm>
#include <cfloat>
#include <limits>
#include <utility>

namespace trq::detail {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

// One unit in the last place outward is beyond the half unit that rounding may have gone inward.
float RoundedDown(double v) {
  if (v < -FLT_MAX) return -kInfinity;
  const float f = float(std::min<double>(v, FLT_MAX));
  return f - (std::fabs(f) * FLT_EPSILON + FLT_MIN);
}
float RoundedUp(double v) { return -RoundedDown(-v); }

constexpr int kCurveBits = 11;  // an axis
constexpr int kCurveSteps = 1 << kCurveBits;

/// The bits of a step along an axis, two places apart.
uint64_t Spread(uint64_t step) {
  step = (step | step << 16) & 0x00FF0000FF0000FFu;
  step = (step | step << 8) & 0xF00F00F00F00F00Fu;
  step = (step | step << 4) & 0x30C30C30C30C30C3u;
  return (step | step << 2) & 0x9249249249249249u;
}

struct Place {
  uint64_t on_curve;
  uint32_t facet;
};

/// Puts places in order; equal ones keep theirs.
void Sort(std::vector<Place>& places) {
  std::vector<Place> sorted(places.size());
  for (int shift = 0; shift < 3 * kCurveBits; shift += kCurveBits) {
    size_t begins[kCurveSteps + 1] = {};
    const auto digit = [shift](const Place& place) { return place.on_curve >> shift & (kCurveSteps - 1); };
    for (const Place& place : places) ++begins[digit(place) + 1];
    for (int i = 0; i < kCurveSteps; ++i) begins[i + 1] += begins[i];
    for (const Place& place : places) sorted[begins[digit(place)]++] = place;
    places.swap(sorted);
  }
}

double Centre(const Bounds& box, int axis) { return 0.5 * box.low[axis] + 0.5 * box.high[axis]; }

/// The facets whose boxes are finite, along a curve that fills the space of their centres.
std::vector<uint32_t> OrderAlongCurve(const std::vector<Bounds>& boxes) {
  double low[3], high[3], scale[3];
  std::fill(low, low + 3, std::numeric_limits<double>::infinity());
  std::fill(high, high + 3, -std::numeric_limits<double>::infinity());
  std::vector<Place> places;
  places.reserve(boxes.size());
  for (size_t i = 0; i < boxes.size(); ++i) {
    if (!IsFinite(boxes[i])) continue;
    places.push_back({0, uint32_t(i)});
    for (int k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], Centre(boxes[i], k));
      high[k] = std::max(high[k], Centre(boxes[i], k));
    }
  }
  // Cubes: one scale for all axes.
  const double extent = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
  for (double& s : scale) s = extent > 0 && std::isfinite(extent) ? (kCurveSteps - 1) / extent : 0;
  for (Place& place : places) {
    for (int k = 0; k < 3; ++k) {
      const double step = (Centre(boxes[place.facet], k) - low[k]) * scale[k];
      place.on_curve |= Spread(uint64_t(std::clamp<double>(step, 0, kCurveSteps - 1))) << k;
    }
  }
  Sort(places);
  std::vector<uint32_t> facets(places.size());
  for (size_t i = 0; i < facets.size(); ++i) facets[i] = places[i].facet;
  return facets;
}

}  // namespace

FacetTree::Node FacetTree::EmptyNode() {
  Node node;
  for (int k = 0; k < 3; ++k) {
    std::fill(node.low[k], node.low[k] + kFan, kInfinity);
    std::fill(node.high[k], node.high[k] + kFan, -kInfinity);
  }
  return node;
}

FacetTree::FacetTree(const std::vector<Bounds>& boxes) : facets_(OrderAlongCurve(boxes)) {
  if (facets_.empty()) return;
  levels_.emplace_back((facets_.size() + kFan - 1) / kFan, EmptyNode());
  for (size_t i = 0; i < facets_.size(); ++i) {
    Node& node = levels_[0][i / kFan];
    for (int k = 0; k < 3; ++k) {
      node.low[k][i % kFan] = RoundedDown(boxes[facets_[i]].low[k]);
      node.high[k][i % kFan] = RoundedUp(boxes[facets_[i]].high[k]);
    }
  }
  while (levels_.back().size() > 1) {
    const std::vector<Node>& below = levels_.back();
    std::vector<Node> level((below.size() + kFan - 1) / kFan, EmptyNode());
    for (size_t i = 0; i < below.size(); ++i) {
      for (int k = 0; k < 3; ++k) {
        level[i / kFan].low[k][i % kFan] = *std::min_element(below[i].low[k], below[i].low[k] + kFan);
        level[i / kFan].high[k][i % kFan] = *std::max_element(below[i].high[k], below[i].high[k] + kFan);
      }
    }
    levels_.push_back(std::move(level));
  }
}

/// Bit j is set when box j meets the box from `low` to `high`.
uint32_t FacetTree::Meeting(const Node& node, const float low[3], const float high[3]) {
  static constexpr uint32_t kBits[kFan] = {1, 2, 4, 8, 16, 32, 64, 128};
  uint32_t meeting[kFan];
  for (size_t j = 0; j < kFan; ++j) {
    const bool meets = (node.low[0][j] <= high[0]) & (node.high[0][j] >= low[0]) &
                       (node.low[1][j] <= high[1]) & (node.high[1][j] >= low[1]) &
                       (node.low[2][j] <= high[2]) & (node.high[2][j] >= low[2]);
    meeting[j] = meets ? kBits[j] : 0;
  }
  uint32_t bits = 0;
  for (const uint32_t bit : meeting) bits |= bit;
  return bits;
}

void FacetTree::Find(const Bounds& box, std::vector<uint32_t>& found) const {
  found.clear();
  if (levels_.empty()) return;
  float low[3], high[3];
  for (int k = 0; k < 3; ++k) {
    low[k] = RoundedDown(box.low[k]);
    high[k] = RoundedUp(box.high[k]);
  }
  struct Pending {
    uint32_t level;
    uint32_t node;
  };
  // Of 2^32 facets there are eleven levels; each leaves seven nodes behind while the eighth is looked at.
  Pending pending[kFan * 11];
  size_t pending_count = 0;
  pending[pending_count++] = {uint32_t(levels_.size() - 1), 0};
  while (pending_count > 0) {
    const Pending next = pending[--pending_count];
    const uint32_t first = next.node * uint32_t(kFan);
    for (uint32_t bits = Meeting(levels_[next.level][next.node], low, high); bits != 0; bits &= bits - 1) {
      const uint32_t meeting = first + uint32_t(__builtin_ctz(bits));
      if (next.level == 0) {
        found.push_back(facets_[meeting]);
      } else {
        pending[pending_count++] = {next.level - 1, meeting};
      }
    }
  }
  std::sort(found.begin(), found.end());
}

}  // namespace trq::detail
