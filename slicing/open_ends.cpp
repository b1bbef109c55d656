#include "slicing/open_ends.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <tuple>
#include <utility>

namespace trqprep::slicing {
namespace {

// An end of a chain: twice the chain's number, and one more for its last point.
using End = std::size_t;
constexpr End kFree = static_cast<End>(-1);

// As many as are done in the time; of what stays open, as many as leave a limit to the memory.
constexpr std::uint64_t kStepsOfChain = 125, kStepsOfOpen = 2000, kStepsOfSearch = 50, kStepsOfPair = 8;

class Joiner {
 public:
  Joiner(const std::vector<Chain>& chains, double close, Allowance& steps)
      : chains_(chains),
        close_(close),
        steps_(steps),
        partner_(2 * chains.size(), kFree),
        apart_(2 * chains.size(), false) {}

  const SlicePoint& PointOf(End end) const {
    const Chain& chain = chains_[end / 2];
    return end % 2 == 0 ? chain.points.front() : chain.points.back();
  }
  double Distance(End a, End b) const {
    const double x = double(PointOf(a)[0]) - double(PointOf(b)[0]);
    const double y = double(PointOf(a)[1]) - double(PointOf(b)[1]);
    return std::sqrt(x * x + y * y);
  }

  void JoinOnEdges() {
    std::vector<std::pair<std::uint64_t, End>> ends;
    for (std::size_t i = 0; i < chains_.size(); ++i) {
      ends.emplace_back(chains_[i].first_edge, 2 * i);
      ends.emplace_back(chains_[i].last_edge, 2 * i + 1);
    }
    std::sort(ends.begin(), ends.end());
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
      if (ends[i].first != ends[i + 1].first) continue;
      Pair(ends[i].second, ends[i + 1].second, false);
      ++i;
    }
  }

  // The nearest pairs first. Each end is compared with a bounded number of those near it, and what finds no
  // partner so is tried again among those that are left.
  void JoinNear() {
    if (!(close_ > 0)) return;
    for (bool joined = true; joined;) {
      joined = false;
      const std::vector<NearPair> pairs = NearPairs();
      if (steps_.IsExceeded()) return;
      for (const NearPair& pair : pairs) {
        if (partner_[pair.a] != kFree || partner_[pair.b] != kFree) continue;
        Pair(pair.a, pair.b, true);
        joined = true;
      }
    }
  }

  void Collect(std::size_t layer, std::vector<SliceContour>& contours, std::vector<SliceGap>& gaps) {
    std::vector<bool> used(chains_.size(), false);
    // What stays open begins at a free end; the rest goes round.
    for (End end = 0; end < partner_.size(); ++end) {
      if (partner_[end] == kFree && !used[end / 2]) contours.push_back(Walk(end, layer, used, gaps));
    }
    for (std::size_t i = 0; i < chains_.size(); ++i) {
      if (!used[i]) contours.push_back(Walk(2 * i, layer, used, gaps));
    }
  }

 private:
  static constexpr std::size_t kNeighbours = 32;
  static constexpr std::size_t kManyPairs = std::size_t(1) << 17;
  static constexpr std::uint64_t kStepsAtATime = std::uint64_t(1) << 26;

  // Of ends, `a` the smaller number.
  struct NearPair {
    double distance;
    std::uint32_t a, b;
    bool operator<(const NearPair& other) const {
      return std::tie(distance, a, b) < std::tie(other.distance, other.a, other.b);
    }
  };

  void Pair(End a, End b, bool apart) {
    partner_[a] = b;
    partner_[b] = a;
    apart_[a] = apart_[b] = apart;
  }

  // In their order. Of a great many only the nearest: they are joined first anyway, and the rest comes again.
  std::vector<NearPair> NearPairs() {
    using Cell = std::pair<std::int64_t, std::int64_t>;
    std::vector<std::pair<Cell, End>> cells;
    for (End end = 0; end < partner_.size(); ++end) {
      const SlicePoint& point = PointOf(end);
      const double x = std::floor(double(point[0]) / close_), y = std::floor(double(point[1]) / close_);
      // Beyond these nothing is within `close` of anything else but itself.
      if (partner_[end] != kFree || !(std::abs(x) < 1e15 && std::abs(y) < 1e15)) continue;
      cells.push_back({{static_cast<std::int64_t>(x), static_cast<std::int64_t>(y)}, end});
    }
    std::sort(cells.begin(), cells.end());
    const std::size_t most = std::max(kManyPairs, 2 * cells.size());
    std::vector<NearPair> pairs;
    std::uint64_t compared = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const auto [cell, end] = cells[i];
      for (std::int64_t dx = -1; dx <= 1; ++dx) {
        const auto first = std::lower_bound(cells.begin(), cells.end(),
                                            std::make_pair(Cell{cell.first + dx, cell.second - 1}, End(0)));
        const auto last = std::lower_bound(first, cells.end(),
                                           std::make_pair(Cell{cell.first + dx, cell.second + 2}, End(0)));
        const auto size = static_cast<std::size_t>(last - first);
        compared += kStepsOfSearch + kStepsOfPair * std::min(size, kNeighbours);
        for (std::size_t k = 0; k < std::min(size, kNeighbours); ++k) {
          // Each begins elsewhere among many, so that not all find the same few.
          const End other =
              first[static_cast<std::ptrdiff_t>(size > kNeighbours ? (i + 1 + k) % size : k)].second;
          if (other != end && (other > end || size > kNeighbours)) {
            const End low = std::min(end, other), high = std::max(end, other);
            const double distance = Distance(low, high);
            if (distance <= close_) pairs.push_back({distance, std::uint32_t(low), std::uint32_t(high)});
          }
        }
      }
      if (pairs.size() >= 2 * most) {
        std::nth_element(pairs.begin(), pairs.begin() + std::ptrdiff_t(most), pairs.end());
        pairs.resize(most);
      }
      if (compared >= kStepsAtATime) {
        if (!steps_.Take(compared)) return {};
        compared = 0;
      }
    }
    steps_.Take(compared);
    std::sort(pairs.begin(), pairs.end());
    return pairs;
  }

  SliceContour Walk(End from, std::size_t layer, std::vector<bool>& used, std::vector<SliceGap>& gaps) const {
    SliceContour contour;
    std::size_t forward = 0, backward = 0;
    End at = from;
    for (;;) {
      const Chain& chain = chains_[at / 2];
      used[at / 2] = true;
      // The point of a common edge stands in both chains.
      const std::ptrdiff_t same = !contour.points.empty() && contour.points.back() == PointOf(at) ? 1 : 0;
      if (at % 2 == 0) {
        contour.points.insert(contour.points.end(), chain.points.begin() + same, chain.points.end());
        forward += chain.points.size();
      } else {
        contour.points.insert(contour.points.end(), chain.points.rbegin() + same, chain.points.rend());
        backward += chain.points.size();
      }
      const End out = at ^ 1, next = partner_[out];
      if (next == kFree) {
        contour.closed = false;
        gaps.push_back({layer, PointOf(out), PointOf(from), Distance(out, from), false});
        break;
      }
      if (apart_[out]) {
        ++contour.gaps;
        gaps.push_back({layer, PointOf(out), PointOf(next), Distance(out, next), true});
      }
      if (next == from) break;
      at = next;
    }
    if (backward > forward) std::reverse(contour.points.begin(), contour.points.end());
    return contour;
  }

  const std::vector<Chain>& chains_;
  double close_;
  Allowance& steps_;
  std::vector<End> partner_;
  std::vector<bool> apart_;  // joined by distance
};

}  // namespace

void JoinChains(const std::vector<Chain>& chains, double close, std::size_t layer, Allowance& steps,
                std::vector<SliceContour>& contours, std::vector<SliceGap>& gaps) {
  if (!steps.Take(kStepsOfChain * chains.size())) return;
  Joiner joiner(chains, close, steps);
  joiner.JoinOnEdges();
  joiner.JoinNear();
  if (steps.IsExceeded()) return;
  joiner.Collect(layer, contours, gaps);
  steps.Take(kStepsOfOpen * std::uint64_t(std::count_if(gaps.begin(), gaps.end(),
                                                        [](const SliceGap& gap) { return !gap.joined; })));
}

}  // namespace trqprep::slicing
