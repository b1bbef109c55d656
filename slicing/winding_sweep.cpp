#include "slicing/winding_sweep.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "slicing/float_order.h"

namespace trqprep::slicing {
namespace {

// Below by y, then by x: the level line of the sweep leans a little, so that no edge lies in it.
bool Below(const SlicePoint& a, const SlicePoint& b) { return a[1] < b[1] || (a[1] == b[1] && a[0] < b[0]); }

// Adds to a sum without loss: `parts` keeps what did not fit (Shewchuk, "Adaptive precision floating-point
// arithmetic and fast robust geometric predicates", Discrete & Computational Geometry 18, 1997).
void AddExactly(double value, double (&parts)[6], int& count) {
  int kept = 0;
  for (int i = 0; i < count; ++i) {
    const double sum = value + parts[i];
    const double of_part = sum - value;
    const double lost = (value - (sum - of_part)) + (parts[i] - of_part);
    if (lost != 0) parts[kept++] = lost;
    value = sum;
  }
  parts[kept++] = value;
  count = kept;
}

// Above 0 when c lies to the left of the way from a to b, 0 when on its line.
int SideOf(const SlicePoint& a, const SlicePoint& b, const SlicePoint& c) {
  const double ax = double(a[0]), ay = double(a[1]), bx = double(b[0]), by = double(b[1]), cx = double(c[0]),
               cy = double(c[1]);
  const double one = (ax - cx) * (by - cy), other = (ay - cy) * (bx - cx);
  const double difference = one - other;
  // Five roundings, each of at most 2^-53 of what it rounds.
  const double doubt = 4.5e-16 * (std::abs(one) + std::abs(other)) * 2;
  if (difference > doubt) return 1;
  if (difference < -doubt) return -1;
  // Products of floats are exact in double.
  double parts[6];
  int count = 0;
  for (const double product : {ax * by, -(ax * cy), -(cx * by), -(ay * bx), ay * cx, cy * bx}) {
    AddExactly(product, parts, count);
  }
  // The greatest part that is not 0 outweighs those below it.
  while (count > 1 && parts[count - 1] == 0) --count;
  return parts[count - 1] > 0 ? 1 : parts[count - 1] < 0 ? -1 : 0;
}

struct Edge {
  SlicePoint low, high;
  std::int32_t step;  ///< of the winding number from the left of the edge to its right
};

// The edges that the level line meets, from left to right, in blocks: what is put in or taken out moves the
// rest of its block only.
class ActiveEdges {
 public:
  struct Place {
    std::size_t block = 0, index = 0;
  };

  /// Where `before`, true of edges up to a place, is false for the first time.
  template <class Before>
  Place First(const Before& before) const {
    const auto block =
        std::partition_point(blocks_.begin(), blocks_.end(),
                             [&](const std::vector<std::int32_t>& edges) { return before(edges.back()); });
    if (block == blocks_.end()) return {blocks_.size(), 0};
    return {std::size_t(block - blocks_.begin()),
            std::size_t(std::partition_point(block->begin(), block->end(), before) - block->begin())};
  }
  /// kNone at the end.
  std::int32_t At(Place place) const {
    return place.block < blocks_.size() ? blocks_[place.block][place.index] : kNone;
  }
  /// The edge to the left of a place; kNone at the beginning.
  std::int32_t LeftOf(Place place) const {
    if (place.index > 0) return blocks_[place.block][place.index - 1];
    return place.block > 0 ? blocks_[place.block - 1].back() : kNone;
  }
  Place Next(Place place) const {
    return place.index + 1 < blocks_[place.block].size() ? Place{place.block, place.index + 1}
                                                         : Place{place.block + 1, 0};
  }

  /// Puts edges in the place of `count` that stand there. Places are others afterwards.
  void Replace(Place place, std::size_t count, const std::vector<std::int32_t>& edges) {
    if (count == edges.size()) {
      for (const std::int32_t edge : edges) {
        blocks_[place.block][place.index] = edge;
        place = Next(place);
      }
      return;
    }
    for (Place at = place; count > 0; at.index = 0) {
      std::vector<std::int32_t>& block = blocks_[at.block];
      const std::size_t gone = std::min(count, block.size() - at.index);
      block.erase(block.begin() + std::ptrdiff_t(at.index), block.begin() + std::ptrdiff_t(at.index + gone));
      count -= gone;
      if (!block.empty()) {
        ++at.block;
        continue;
      }
      blocks_.erase(blocks_.begin() + std::ptrdiff_t(at.block));
    }
    if (!edges.empty()) Insert(place, edges);
  }

  static constexpr std::int32_t kNone = -1;

 private:
  static constexpr std::size_t kMost = 1024;  // edges of a block, and then half

  void Insert(Place place, const std::vector<std::int32_t>& edges) {
    if (place.block == blocks_.size()) {
      if (blocks_.empty()) blocks_.emplace_back();
      place = {blocks_.size() - 1, blocks_.back().size()};
    }
    std::vector<std::int32_t>& block = blocks_[place.block];
    block.insert(block.begin() + std::ptrdiff_t(place.index), edges.begin(), edges.end());
    if (block.size() <= kMost) return;
    std::vector<std::vector<std::int32_t>> parts;
    for (std::size_t first = 0; first < block.size(); first += kMost / 2) {
      const std::size_t last = std::min(first + kMost / 2, block.size());
      parts.emplace_back(block.begin() + std::ptrdiff_t(first), block.begin() + std::ptrdiff_t(last));
    }
    block = std::move(parts.front());
    blocks_.insert(blocks_.begin() + std::ptrdiff_t(place.block) + 1,
                   std::make_move_iterator(parts.begin() + 1), std::make_move_iterator(parts.end()));
  }

  std::vector<std::vector<std::int32_t>> blocks_;  // none is empty
};

class Sweep {
 public:
  explicit Sweep(std::vector<Edge> edges) : edges_(std::move(edges)), winding_(edges_.size()) {}

  bool Leaves() {
    // Ends come before beginnings at a point, so that what goes on there takes the place of what ended.
    std::vector<Event> events;
    events.reserve(2 * edges_.size());
    for (std::size_t i = 0; i < edges_.size(); ++i) {
      events.push_back({HeightOf(edges_[i].low), 2 * std::uint32_t(i) + 1});
      events.push_back({HeightOf(edges_[i].high), 2 * std::uint32_t(i)});
    }
    std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
      if (a.at != b.at) return a.at < b.at;
      if (a.begins() != b.begins()) return b.begins();
      return a.number < b.number;
    });
    for (std::size_t first = 0, last = 0; first < events.size(); first = last) {
      while (last < events.size() && events[last].at == events[first].at) ++last;
      if (Pass(events.data() + first, events.data() + last)) return true;
    }
    return false;
  }

 private:
  struct Event {
    std::uint64_t at;
    std::uint32_t number;  // twice the edge's, and one more where it begins
    bool begins() const { return number % 2 == 1; }
    std::int32_t edge() const { return std::int32_t(number / 2); }
  };

  // Ascends as Below does, and is the same for the same point.
  static std::uint64_t HeightOf(const SlicePoint& point) {
    // Of the two zeros the one above.
    return std::uint64_t(OrderedBits(point[1] + 0.0f)) << 32 | OrderedBits(point[0] + 0.0f);
  }

  int Side(std::int32_t edge, const SlicePoint& point) const {
    return SideOf(edges_[std::size_t(edge)].low, edges_[std::size_t(edge)].high, point);
  }

  // Everything that happens at one point. True when the windings leave 0 and 1.
  bool Pass(const Event* event, const Event* end) {
    constexpr std::int32_t kNone = ActiveEdges::kNone;
    const Edge& first = edges_[std::size_t(event->edge())];
    const SlicePoint& at = event->begins() ? first.low : first.high;
    // From the first edge that the point does not lie to the right of, to the first that it lies to the left
    // of: those that it lies on.
    const ActiveEdges::Place left = active_.First([&](std::int32_t edge) { return Side(edge, at) < 0; });
    ActiveEdges::Place right = left;
    // Some end here, some go on, some begin.
    through_.clear();
    std::size_t before = 0;
    for (; active_.At(right) != kNone && Side(active_.At(right), at) == 0; right = active_.Next(right)) {
      ++before;
      if (edges_[std::size_t(active_.At(right))].high != at) through_.push_back(active_.At(right));
    }
    for (; event != end; ++event) {
      if (event->begins()) through_.push_back(event->edge());
    }
    // What goes on is left of what its upper end is left of; those on one line in the order of their numbers.
    std::sort(through_.begin(), through_.end(), [&](std::int32_t a, std::int32_t b) {
      const int side = SideOf(at, edges_[std::size_t(b)].high, edges_[std::size_t(a)].high);
      return side != 0 ? side > 0 : a < b;
    });
    const std::int32_t to_left = active_.LeftOf(left), to_right = active_.At(right);
    active_.Replace(left, before, through_);
    std::int32_t winding = to_left != kNone ? winding_[std::size_t(to_left)] : 0;
    for (std::size_t i = 0; i < through_.size(); ++i) {
      winding += edges_[std::size_t(through_[i])].step;
      winding_[std::size_t(through_[i])] = winding;
      // Between edges on one line there is nothing.
      const bool apart = i + 1 == through_.size() || SideOf(at, edges_[std::size_t(through_[i])].high,
                                                            edges_[std::size_t(through_[i + 1])].high) != 0;
      if (apart && winding != 0 && winding != 1) return true;
    }
    // What was apart has become neighbours.
    if (through_.empty()) return to_left != kNone && to_right != kNone && Cross(to_left, to_right);
    return (to_left != kNone && Cross(to_left, through_.front())) ||
           (to_right != kNone && Cross(through_.back(), to_right));
  }

  // In a point inside both: the windings round it are then no two numbers that differ by one.
  bool Cross(std::int32_t a, std::int32_t b) const {
    const Edge& one = edges_[std::size_t(a)];
    const Edge& other = edges_[std::size_t(b)];
    return Side(a, other.low) * Side(a, other.high) < 0 && Side(b, one.low) * Side(b, one.high) < 0;
  }

  std::vector<Edge> edges_;
  std::vector<std::int32_t> winding_;  // to the right of each edge that is active
  ActiveEdges active_;
  std::vector<std::int32_t> through_;
};

}  // namespace

bool LeavesOneAndNone(const std::vector<const SliceContour*>& contours) {
  std::vector<Edge> edges;
  for (const SliceContour* contour : contours) {
    if (!contour->closed) continue;
    for (std::size_t i = 0; i + 1 < contour->points.size(); ++i) {
      const SlicePoint& from = contour->points[i];
      const SlicePoint& to = contour->points[i + 1];
      if (from == to) continue;
      // The interior lies to the left of the way: to the right of an edge that goes down.
      if (Below(from, to)) {
        edges.push_back({from, to, -1});
      } else {
        edges.push_back({to, from, 1});
      }
    }
  }
  return Sweep(std::move(edges)).Leaves();
}

}  // namespace trqprep::slicing
