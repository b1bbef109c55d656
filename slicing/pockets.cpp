#include "slicing/pockets.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace trqprep::slicing {
namespace {

// Empty stretches of a row: before the first run, between runs, behind the last.
class Gaps {
 public:
  Gaps(const Rows& rows, std::int32_t row) : rows_(rows), runs_(rows.RunsOf(row)) {}
  std::size_t count() const { return runs_.second - runs_.first + 1; }
  float low(std::size_t i) const {
    return i == 0 ? -std::numeric_limits<float>::infinity() : rows_.runs[runs_.first + i - 1].high;
  }
  float high(std::size_t i) const {
    return i + 1 == count() ? std::numeric_limits<float>::infinity() : rows_.runs[runs_.first + i].low;
  }
  bool IsOutside(std::size_t i) const { return i == 0 || i + 1 == count(); }
  /// The run that an inner gap lies behind.
  std::size_t RunBefore(std::size_t i) const { return runs_.first + i - 1; }

 private:
  const Rows& rows_;
  std::pair<std::size_t, std::size_t> runs_;
};

// Gaps of two rows that share more than what rounding makes of a common end, but not outside with outside.
template <class Take>
void EachCommon(const Gaps& a, const Gaps& b, float least, const Take& take) {
  if (a.count() < 3 && b.count() < 3) return;
  for (std::size_t i = 0, j = 0; i < a.count() && j < b.count();) {
    if (std::min(a.high(i), b.high(j)) - std::max(a.low(i), b.low(j)) > least &&
        !(a.IsOutside(i) && b.IsOutside(j))) {
      take(i, j);
    }
    ++(a.high(i) < b.high(j) ? i : j);
  }
}

float LeastCommon(const Rows& rows) { return float(rows.grid.pitch * 1e-3); }

// Of a layer's hollows, the one in which a gap lies.
std::int32_t HollowOf(const Hollows& hollows, const Gaps& gaps, std::size_t i) {
  return gaps.IsOutside(i) ? 0 : hollows.behind[gaps.RunBefore(i)];
}

}  // namespace

void FindHollows(Hollows& hollows, Sets& scratch) {
  const Rows& rows = hollows.rows;
  const float least = LeastCommon(rows);
  // Number 0 is the outside, number i + 1 the gap behind run i.
  scratch.Reset(rows.runs.size() + 1);
  const auto number = [](const Gaps& gaps, std::size_t i) {
    return gaps.IsOutside(i) ? 0 : static_cast<std::int32_t>(gaps.RunBefore(i) + 1);
  };
  for (std::int32_t row = rows.first; row <= rows.end(); ++row) {
    const Gaps before(rows, row - 1), here(rows, row);
    EachCommon(before, here, least,
               [&](std::size_t i, std::size_t j) { scratch.Join(number(before, i), number(here, j)); });
  }
  hollows.behind.assign(rows.runs.size(), 0);
  hollows.list.assign(1, {});
  std::size_t count = 1;
  for (std::size_t i = 1; i <= rows.runs.size(); ++i) {
    count += std::size_t(scratch.Find(static_cast<std::int32_t>(i))) == i;
  }
  hollows.list.reserve(count);
  for (std::int32_t row = rows.first; row < rows.end(); ++row) {
    const Gaps gaps(rows, row);
    for (std::size_t i = 1; i + 1 < gaps.count(); ++i) {
      const std::size_t run = gaps.RunBefore(i);
      const std::int32_t root = scratch.Find(static_cast<std::int32_t>(run + 1));
      if (root == 0) continue;
      if (std::size_t(root) == run + 1) {
        hollows.behind[run] = static_cast<std::int32_t>(hollows.list.size());
        hollows.list.emplace_back();
        hollows.list.back().row = row;
      } else {
        hollows.behind[run] = hollows.behind[std::size_t(root - 1)];
      }
      Hollow& hollow = hollows.list[std::size_t(hollows.behind[run])];
      const float length = gaps.high(i) - gaps.low(i);
      hollow.area += double(length) * rows.grid.pitch;
      hollow.one_row = hollow.one_row && hollow.row == row;
      if (length > hollow.longest) {
        hollow.longest = length;
        hollow.x = (double(gaps.low(i)) + double(gaps.high(i))) / 2;
        hollow.y = rows.grid.HeightOf(row);
      }
    }
  }
}

void FindLinks(const Hollows& below, const Hollows& here, HollowLinks& links) {
  links.clear();
  // Rows next to each other mostly have the same links.
  constexpr std::size_t kSeen = 1024;
  std::vector<std::pair<std::int32_t, std::int32_t>> seen(kSeen, {-1, -1});
  const float least = LeastCommon(here.rows);
  const std::int32_t end = std::max(below.rows.end(), here.rows.end());
  for (std::int32_t row = std::min(below.rows.first, here.rows.first); row < end; ++row) {
    const Gaps under(below.rows, row), over(here.rows, row);
    EachCommon(under, over, least, [&](std::size_t i, std::size_t j) {
      const std::pair<std::int32_t, std::int32_t> link{HollowOf(below, under, i), HollowOf(here, over, j)};
      if (link.first != link.second || link.first != 0) {
        const auto place = (std::size_t(link.first) * 31 + std::size_t(link.second)) % kSeen;
        if (seen[place] == link) return;
        seen[place] = link;
        links.push_back(link);
      }
    });
  }
  std::sort(links.begin(), links.end());
  links.erase(std::unique(links.begin(), links.end()), links.end());
}

void FindOpened(const Hollows& hollows, double x, double y, double away, double radius, std::size_t opening,
                std::vector<OpenedHollow>& opened) {
  if (!(away <= radius) || !std::isfinite(x + y)) return;
  const Rows& rows = hollows.rows;
  const double wide = radius * radius - away * away;
  // A circle between two rows is seen by the nearer one.
  const double reach = std::max(std::sqrt(wide), rows.grid.pitch / 2);
  const auto row_at = [&](double at) {
    return std::clamp((at - rows.grid.origin) / rows.grid.pitch - 0.5, double(rows.first) - 1,
                      double(rows.end()));
  };
  const auto last = static_cast<std::int32_t>(std::floor(row_at(y + reach)));
  for (auto row = static_cast<std::int32_t>(std::ceil(row_at(y - reach))); row <= last; ++row) {
    const double up = rows.grid.HeightOf(row) - y;
    const double half = std::sqrt(std::max(0.0, wide - up * up));
    const Gaps gaps(rows, row);
    for (std::size_t i = 1; i + 1 < gaps.count(); ++i) {
      if (double(gaps.low(i)) > x + half || double(gaps.high(i)) < x - half) continue;
      const std::int32_t hollow = HollowOf(hollows, gaps, i);
      if (hollow != 0) opened.push_back({hollow, opening});
    }
  }
}

void Pockets::Add(std::size_t layer, double height, const std::vector<Hollow>& hollows,
                  const HollowLinks& links, const std::vector<OpenedHollow>& opened) {
  // In one set what is connected through this layer and those below: 0 the outside, then pockets, then
  // hollows of this layer.
  const std::size_t before = pockets_.size();
  const auto here = [&](std::int32_t hollow) {
    return hollow == 0 ? 0 : hollow + static_cast<std::int32_t>(before);
  };
  sets_.Reset(before + std::max<std::size_t>(hollows.size(), 1));
  for (const auto& [below, above] : links) {
    sets_.Join(below == 0 ? 0 : held_[std::size_t(below)], here(above));
  }
  // The first vent or drain that opens a set.
  std::vector<std::optional<std::size_t>> openings(opened.empty() ? 0 : before + hollows.size());
  for (const OpenedHollow& one : opened) {
    auto& first = openings[std::size_t(sets_.Find(here(one.hollow)))];
    first = std::min(first.value_or(one.opening), one.opening);
  }

  std::vector<Pocket> reach;
  reach.reserve(hollows.size());
  std::vector<std::int32_t> numbers(before + std::max<std::size_t>(hollows.size(), 1), 0);  // of sets
  const auto is_open = [&](std::int32_t set) {
    return set == 0 || (!openings.empty() && openings[std::size_t(set)]);
  };
  held_.assign(hollows.size(), 0);
  for (std::size_t i = 1; i < hollows.size(); ++i) {
    const std::int32_t set = sets_.Find(here(static_cast<std::int32_t>(i)));
    if (is_open(set)) continue;
    std::int32_t& number = numbers[std::size_t(set)];
    const Hollow& hollow = hollows[i];
    if (number == 0) {
      reach.emplace_back();
      reach.back().begin = static_cast<std::uint32_t>(layer);
      reach.back().x = hollow.x;
      reach.back().y = hollow.y;
      number = static_cast<std::int32_t>(reach.size());
    }
    Pocket& pocket = reach[std::size_t(number - 1)];
    pocket.volume += hollow.area * height;
    pocket.one_row = pocket.one_row && hollow.one_row;
    held_[i] = number;
  }
  for (std::size_t i = 0; i < before; ++i) {
    const Pocket& old = pockets_[i];
    const std::int32_t set = sets_.Find(static_cast<std::int32_t>(i + 1));
    if (is_open(set)) {
      Report(cups_, old, layer);
      if (set != 0 && !old.one_row) cups_.back().opening = openings[std::size_t(set)];
      continue;
    }
    if (numbers[std::size_t(set)] == 0) {
      Report(trapped_, old, layer);
      continue;
    }
    Pocket& pocket = reach[std::size_t(numbers[std::size_t(set)] - 1)];
    pocket.volume += old.volume;
    pocket.one_row = pocket.one_row && old.one_row;
    if (old.begin < pocket.begin) {
      pocket.begin = old.begin;
      pocket.x = old.x;
      pocket.y = old.y;
    }
  }
  pockets_.swap(reach);
}

void Pockets::Report(std::vector<ResinPocket>& list, const Pocket& pocket, std::size_t end) {
  if (pocket.one_row) return;
  ResinPocket found;
  found.begin = pocket.begin;
  found.end = end;
  found.x = pocket.x;
  found.y = pocket.y;
  found.volume = pocket.volume;
  list.push_back(found);
}

void Pockets::End(std::size_t layers, LayerFindings& findings) {
  for (const Pocket& pocket : pockets_) Report(cups_, pocket, layers);
  pockets_.clear();
  findings.cups = std::move(cups_);
  findings.trapped = std::move(trapped_);
}

}  // namespace trqprep::slicing
