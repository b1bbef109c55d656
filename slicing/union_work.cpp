#include "slicing/union_work.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <tuple>
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
  Estimate(const ClipperLib::Paths& paths, std::uint64_t most) : most_(most) {
    for (const ClipperLib::Path& path : paths) {
      for (const IntPoint& point : path) levels_.push_back({point.Y});
    }
    std::sort(levels_.begin(), levels_.end(), [](const Level& a, const Level& b) { return a.y < b.y; });
    levels_.erase(std::unique(levels_.begin(), levels_.end(),
                              [](const Level& a, const Level& b) { return a.y == b.y; }),
                  levels_.end());
    for (const ClipperLib::Path& path : paths) Add(path);
  }

  std::uint64_t Steps() {
    std::uint64_t met = 0;
    for (const Level& level : levels_) {
      met += std::uint64_t(level.begins);
      met -= std::uint64_t(level.ends);
      steps_ += kStepsOfEdge * met * (1 + std::uint64_t(level.minima));
      if (steps_ > most_) return steps_;
    }
    CountCrossings();
    return steps_;
  }

 private:
  void Add(const ClipperLib::Path& path) {
    std::vector<std::int32_t> at;  // the levels of its points
    for (const IntPoint& point : path) {
      at.push_back(std::int32_t(std::lower_bound(levels_.begin(), levels_.end(), point.Y,
                                                 [](const Level& level, cInt y) { return level.y < y; }) -
                                levels_.begin()));
    }
    bool upwards = true;  // the last edge that is not level; the first is seen as following itself
    for (std::size_t i = 0, before = path.size() - 1; i < path.size(); before = i++) {
      if (at[before] != at[i]) upwards = at[before] < at[i];
    }
    for (std::size_t i = 0, before = path.size() - 1; i < path.size(); before = i++) {
      if (at[before] == at[i]) continue;
      const bool up = at[before] < at[i];
      const std::size_t low = up ? before : i, high = up ? i : before;
      if (up && !upwards) ++levels_[std::size_t(at[low])].minima;
      upwards = up;
      ++levels_[std::size_t(at[low])].begins;
      ++levels_[std::size_t(at[high])].ends;
      edges_.push_back({at[low], at[high], double(path[low].X),
                        double(path[high].X - path[low].X) / double(path[high].Y - path[low].Y)});
    }
  }

  // Keeps the edges that a level meets in their order from one crowded level to the next.
  void CountCrossings() {
    std::sort(edges_.begin(), edges_.end(), [](const Edge& a, const Edge& b) { return a.low < b.low; });
    std::vector<Edge> met, merged;
    auto begin = edges_.begin();
    std::int32_t before = 0;
    for (std::int32_t k = 0; k < std::int32_t(levels_.size()); ++k) {
      if (!levels_[std::size_t(k)].crowded()) continue;
      for (Edge& edge : met) edge.x += edge.slope * Between(before, std::min(edge.high, k));
      if (!SortAndCount(met)) return;
      met.erase(std::remove_if(met.begin(), met.end(), [&](const Edge& edge) { return edge.high <= k; }),
                met.end());
      const auto end = std::find_if(begin, edges_.end(), [&](const Edge& edge) { return edge.low > k; });
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

  std::uint64_t most_, steps_ = 0;
  std::vector<Level> levels_;
  std::vector<Edge> edges_;
};

}  // namespace

std::uint64_t UnionSteps(const ClipperLib::Paths& paths, std::uint64_t most) {
  return Estimate(paths, most).Steps();
}

}  // namespace trqprep::slicing
