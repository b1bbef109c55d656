#include "slicing/union_work.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <tuple>
#include <utility>
#include <vector>

namespace trqprep::slicing {
namespace {

using ClipperLib::cInt;
using ClipperLib::IntPoint;

constexpr std::uint64_t kStepsOfEdge = 8, kStepsOfCrossing = 32;

// Heights at which this many edges begin or end are looked at one by one: between two of them, pairs that
// change their order are few for each step that is counted anyway.
constexpr std::int32_t kCrowded = 16;

// A height at which points lie.
struct Level {
  cInt y;
  std::int32_t begins = 0, ends = 0, minima = 0;
  bool crowded() const { return begins + ends > kCrowded; }
};

struct Edge {
  std::int32_t low, high;  // levels
  double x, slope;         // at a level, and from there on
  bool operator<(const Edge& other) const { return std::tie(x, slope) < std::tie(other.x, other.slope); }
};

class Estimate {
 public:
  Estimate(const ClipperLib::Paths& paths, std::uint64_t most) : paths_(paths), most_(most) {
    std::size_t count = 0;
    for (const ClipperLib::Path& path : paths) count += path.size();
    std::vector<std::pair<cInt, std::uint32_t>> points;
    points.reserve(count);
    for (const ClipperLib::Path& path : paths) {
      for (const IntPoint& point : path) points.emplace_back(point.Y, std::uint32_t(points.size()));
    }
    // By merging: what goes up and then down is near to the worst for other ways.
    std::stable_sort(points.begin(), points.end());
    level_of_.resize(count);
    for (const auto& [y, point] : points) {
      if (levels_.empty() || levels_.back().y != y) levels_.push_back({y});
      level_of_[point] = std::int32_t(levels_.size()) - 1;
    }
    EachEdge([&](std::int32_t low, std::int32_t high, const IntPoint&, const IntPoint&, bool is_minimum) {
      ++levels_[std::size_t(low)].begins;
      ++levels_[std::size_t(high)].ends;
      levels_[std::size_t(low)].minima += is_minimum;
    });
  }

  std::uint64_t Steps() {
    std::uint64_t met = 0;
    bool crowded = false;
    for (const Level& level : levels_) {
      met += std::uint64_t(level.begins);
      met -= std::uint64_t(level.ends);
      steps_ += kStepsOfEdge * met * (1 + std::uint64_t(level.minima));
      if (steps_ > most_) return steps_;
      crowded = crowded || level.crowded();
    }
    if (crowded) CountCrossings();
    return steps_;
  }

 private:
  // Of those that are not level: the levels of its lower and upper point, both, and whether a way that came
  // down goes up there.
  template <class Take>
  void EachEdge(const Take& take) const {
    const std::int32_t* at = level_of_.data();
    for (const ClipperLib::Path& path : paths_) {
      bool upwards = true;  // the last edge; the first follows itself where there is no other
      for (std::size_t i = 0, before = path.size() - 1; i < path.size(); before = i++) {
        if (at[before] != at[i]) upwards = at[before] < at[i];
      }
      for (std::size_t i = 0, before = path.size() - 1; i < path.size(); before = i++) {
        if (at[before] == at[i]) continue;
        const bool up = at[before] < at[i];
        const std::size_t low = up ? before : i, high = up ? i : before;
        take(at[low], at[high], path[low], path[high], up && !upwards);
        upwards = up;
      }
      at += path.size();
    }
  }

  // Keeps the edges that a level meets in their order from one crowded level to the next.
  void CountCrossings() {
    std::vector<Edge> edges, met, merged;
    EachEdge([&](std::int32_t low, std::int32_t high, const IntPoint& a, const IntPoint& b, bool) {
      edges.push_back({low, high, double(a.X), double(b.X - a.X) / double(b.Y - a.Y)});
    });
    std::stable_sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.low < b.low; });
    auto begin = edges.begin();
    std::int32_t before = 0;
    for (std::int32_t k = 0; k < std::int32_t(levels_.size()); ++k) {
      if (!levels_[std::size_t(k)].crowded()) continue;
      for (Edge& edge : met) edge.x += edge.slope * Between(before, std::min(edge.high, k));
      if (!SortAndCount(met)) return;
      met.erase(std::remove_if(met.begin(), met.end(), [&](const Edge& edge) { return edge.high <= k; }),
                met.end());
      const auto end = std::find_if(begin, edges.end(), [&](const Edge& edge) { return edge.low > k; });
      for (auto edge = begin; edge != end; ++edge) {
        edge->x += edge->slope * Between(edge->low, k);
      }
      const auto left = std::partition(begin, end, [&](const Edge& edge) { return edge.high > k; });
      std::sort(begin, left);
      merged.clear();
      std::merge(met.begin(), met.end(), begin, left, std::back_inserter(merged));
      met.swap(merged);
      begin = end;
      before = k;
    }
  }

  double Between(std::int32_t low, std::int32_t high) const {
    return double(levels_[std::size_t(high)].y - levels_[std::size_t(low)].y);
  }

  // By insertion: takes as long as there are pairs in the wrong order. False when they are too many.
  bool SortAndCount(std::vector<Edge>& met) {
    for (std::size_t i = 1; i < met.size(); ++i) {
      const Edge edge = met[i];
      std::size_t at = i;
      for (; at > 0 && edge.x < met[at - 1].x; --at) met[at] = met[at - 1];
      met[at] = edge;
      steps_ += kStepsOfCrossing * (i - at);
      if (steps_ > most_) return false;
    }
    return true;
  }

  const ClipperLib::Paths& paths_;
  std::uint64_t most_, steps_ = 0;
  std::vector<std::int32_t> level_of_;  // of each point
  std::vector<Level> levels_;
};

}  // namespace

std::uint64_t UnionSteps(const ClipperLib::Paths& paths, std::uint64_t most) {
  return Estimate(paths, most).Steps();
}

}  // namespace trqprep::slicing
