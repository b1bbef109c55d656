#include "slicing/winding_sweep.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

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

class Sweep {
 public:
  explicit Sweep(std::vector<Edge> edges) : edges_(std::move(edges)), winding_(edges_.size()) {}

  bool Leaves() {
    // Ends come before beginnings at a point, so that what goes on there takes the place of what ended.
    std::vector<Event> events;
    events.reserve(2 * edges_.size());
    for (std::size_t i = 0; i < edges_.size(); ++i) {
      events.push_back({edges_[i].low, std::int32_t(i), true});
      events.push_back({edges_[i].high, std::int32_t(i), false});
    }
    std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
      if (a.at != b.at) return Below(a.at, b.at);
      if (a.begins != b.begins) return b.begins;
      return a.edge < b.edge;
    });
    for (std::size_t first = 0, last = 0; first < events.size(); first = last) {
      while (last < events.size() && events[last].at == events[first].at) ++last;
      if (Pass(events.data() + first, events.data() + last)) return true;
    }
    return false;
  }

 private:
  struct Event {
    SlicePoint at;
    std::int32_t edge;
    bool begins;
  };

  int Side(std::int32_t edge, const SlicePoint& point) const {
    return SideOf(edges_[std::size_t(edge)].low, edges_[std::size_t(edge)].high, point);
  }

  // The first edge in the order from left to right that the point does not lie to the right of, and the first
  // that it lies to the left of: between the two are those that it lies on.
  std::size_t FirstReaching(const SlicePoint& point) const {
    return std::size_t(std::partition_point(active_.begin(), active_.end(),
                                            [&](std::int32_t edge) { return Side(edge, point) < 0; }) -
                       active_.begin());
  }

  // Everything that happens at one point. True when the windings leave 0 and 1.
  bool Pass(const Event* event, const Event* end) {
    const SlicePoint& at = event->at;
    const std::size_t left = FirstReaching(at);
    std::size_t right = left;
    while (right < active_.size() && Side(active_[right], at) == 0) ++right;
    // Those through the point: some end here, some go on, some begin.
    through_.clear();
    for (std::size_t i = left; i < right; ++i) {
      if (edges_[std::size_t(active_[i])].high != at) through_.push_back(active_[i]);
    }
    for (; event != end; ++event) {
      if (event->begins) through_.push_back(event->edge);
    }
    // What goes on is left of what its upper end is left of; those on one line in the order of their numbers.
    std::sort(through_.begin(), through_.end(), [&](std::int32_t a, std::int32_t b) {
      const int side = SideOf(at, edges_[std::size_t(b)].high, edges_[std::size_t(a)].high);
      return side != 0 ? side > 0 : a < b;
    });
    const std::size_t before = right - left;
    if (before == through_.size()) {
      std::copy(through_.begin(), through_.end(), active_.begin() + std::ptrdiff_t(left));
    } else {
      active_.erase(active_.begin() + std::ptrdiff_t(left), active_.begin() + std::ptrdiff_t(right));
      active_.insert(active_.begin() + std::ptrdiff_t(left), through_.begin(), through_.end());
    }
    right = left + through_.size();
    std::int32_t winding = left > 0 ? winding_[std::size_t(active_[left - 1])] : 0;
    for (std::size_t i = left; i < right; ++i) {
      winding += edges_[std::size_t(active_[i])].step;
      winding_[std::size_t(active_[i])] = winding;
      // Between edges on one line there is nothing.
      const bool apart = i + 1 == right || SideOf(at, edges_[std::size_t(active_[i])].high,
                                                  edges_[std::size_t(active_[i + 1])].high) != 0;
      if (apart && winding != 0 && winding != 1) return true;
    }
    // What was apart has become neighbours.
    if (left > 0 && left < active_.size() && Cross(active_[left - 1], active_[left])) return true;
    return right > left && right > 0 && right < active_.size() && Cross(active_[right - 1], active_[right]);
  }

  // In a point inside both: the windings round it are then no two numbers that differ by one.
  bool Cross(std::int32_t a, std::int32_t b) const {
    const Edge& one = edges_[std::size_t(a)];
    const Edge& other = edges_[std::size_t(b)];
    return Side(a, other.low) * Side(a, other.high) < 0 && Side(b, one.low) * Side(b, one.high) < 0;
  }

  std::vector<Edge> edges_;
  std::vector<std::int32_t> winding_;  // to the right of each edge that is active
  std::vector<std::int32_t> active_;   // edges that the level line meets, from left to right
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
