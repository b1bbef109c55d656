#include "slicing/rows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "slicing/float_order.h"

namespace trqprep::slicing {
namespace {

constexpr double kMostRows = 1 << 18;

bool IsFinite(const ContourView& contour) {
  return std::all_of(contour.points, contour.points + 2 * contour.count,
                     [](float value) { return std::isfinite(value); });
}

// Crossings sort by X as whole numbers: X, contour, direction.
std::uint64_t CrossingOf(float x, std::size_t contour, bool up) {
  return std::uint64_t(OrderedBits(x)) << 32 | std::uint32_t(contour) << 1 | std::uint32_t(up);
}

float XOf(std::uint64_t crossing) { return FloatOfOrderedBits(static_cast<std::uint32_t>(crossing >> 32)); }

std::int32_t ContourOf(std::uint64_t crossing) { return std::int32_t(std::uint32_t(crossing) >> 1); }

}  // namespace

double RowExtent::Add(const ContourViews& layer) {
  double way = 0;
  for (const ContourView& contour : layer) {
    points += double(contour.count);
    if (contour.count == 0) continue;
    double before = double(contour.points[2 * contour.count - 1]);
    double least = before, most = before, longer = way;
    bool finite = true;
    for (std::size_t i = 0; i < contour.count; ++i) {
      const double y = double(contour.points[2 * i + 1]);
      if (!std::isfinite(contour.points[2 * i]) || !std::isfinite(y)) finite = false;
      least = std::min(least, y);
      most = std::max(most, y);
      longer += std::abs(y - before);
      before = y;
    }
    if (!finite) continue;
    const bool none = high < low;
    low = none ? least : std::min(low, least);
    high = none ? most : std::max(high, most);
    way = longer;
  }
  travel = std::max(travel, way);
  all_travel += way;
  return way;
}

double RowExtent::Widened(double pitch) const {
  return std::max({pitch, (high - low) / kMostRows, travel / kMostCrossings});
}

double RowExtent::WidenedFor(double distance, double pitch) const {
  const double wanted = PitchFor(distance, pitch), least = Widened(wanted);
  return least > wanted && least < distance ? distance / std::floor(distance / least) : least;
}

double PitchFor(double distance, double pitch) {
  return distance > 0 ? distance / std::max(8.0, std::ceil(distance / pitch)) : pitch;
}

double Rows::Area() const { return AreaWithout({}); }

double Rows::AreaWithout(const Rows& other) const {
  double sum = 0;
  for (std::int32_t row = first; row < end(); ++row) {
    auto [at, last] = RunsOf(row);
    auto [there, last_there] = other.RunsOf(row);
    for (; at < last; ++at) {
      const RowRun& run = runs[at];
      sum += double(run.high) - double(run.low);
      while (there < last_there && other.runs[there].high <= run.low) ++there;
      for (std::size_t i = there; i < last_there && other.runs[i].low < run.high; ++i)
        sum -= double(std::min(run.high, other.runs[i].high)) - double(std::max(run.low, other.runs[i].low));
    }
  }
  return sum * grid.pitch;
}

void RowMaker::Make(const ContourViews& layer, const RowGrid& grid, Rows& rows) {
  rows.grid = grid;
  rows.contours = layer.size();
  rows.runs.clear();
  rows.areas.clear();
  rows.offsets.assign(1, 0);
  contours_.Reset(layer.size());

  std::size_t points = 0;
  for (const ContourView& contour : layer) points += contour.count;
  first_rows_.resize(points);
  std::int32_t* first_row = first_rows_.data();
  const double per_height = 1 / grid.pitch;
  std::int32_t low = std::numeric_limits<std::int32_t>::max(), high = 0;
  for (const ContourView& contour : layer) {
    // No rows between its points: nothing of it is seen.
    const bool finite = IsFinite(contour);
    for (std::size_t i = 0; i < contour.count; ++i) {
      // Rounded upwards; nothing lies below -1/2.
      const double at = finite ? (double(contour.points[2 * i + 1]) - grid.origin) * per_height - 0.5 : 0;
      const auto whole = static_cast<std::int32_t>(at);
      const std::int32_t row = whole + (double(whole) < at);
      *first_row++ = row;
      if (!finite) continue;
      low = std::min(low, row);
      high = std::max(high, row);
    }
  }
  rows.first = std::min(low, high);
  if (low >= high) return;

  // How many crossings a row has, from where they come and go.
  ends_.assign(std::size_t(high - low) + 1, 0);
  const auto each_edge = [&](const auto& take) {
    std::size_t base = 0;
    for (std::size_t c = 0; c < layer.size(); base += layer[c++].count) {
      const std::size_t count = layer[c].count;
      for (std::size_t i = 0, before = count - 1; i < count; before = i++) {
        const std::int32_t from = first_rows_[base + before], to = first_rows_[base + i];
        if (from == to) continue;
        const bool up = to > from;
        take(c, up ? before : i, up ? i : before, up ? from : to, up ? to : from, up);
      }
    }
  };
  each_edge([&](std::size_t, std::size_t, std::size_t, std::int32_t from, std::int32_t to, bool) {
    ++ends_[std::size_t(from - low)];
    --ends_[std::size_t(to - low)];  // a sum that may pass below 0, as whole numbers of no sign do
  });
  std::size_t open = 0, all = 0;
  for (std::size_t& end : ends_) {
    open += end;
    end = all;
    all += open;
  }
  crossings_.resize(all);
  each_edge(
      [&](std::size_t c, std::size_t lower, std::size_t upper, std::int32_t from, std::int32_t to, bool up) {
        const float *const a = layer[c].points + 2 * lower, *const b = layer[c].points + 2 * upper;
        const double slope = (double(b[0]) - double(a[0])) / (double(b[1]) - double(a[1]));
        for (std::int32_t row = from; row < to; ++row) {
          const double x = double(a[0]) + (grid.HeightOf(row) - double(a[1])) * slope;
          crossings_[ends_[std::size_t(row - low)]++] = CrossingOf(float(x), c, up);
        }
      });

  rows.offsets.reserve(std::size_t(high - low) + 1);
  std::size_t at = 0;
  for (std::int32_t row = low; row < high; ++row) {
    const std::size_t end = ends_[std::size_t(row - low)], first_run = rows.runs.size();
    Sort(crossings_.data() + at, crossings_.data() + end);
    int winding = 0;
    for (; at < end; ++at) {
      const float x = XOf(crossings_[at]);
      const std::int32_t contour = ContourOf(crossings_[at]);
      if (winding != 0 || (rows.runs.size() > first_run && x <= rows.runs.back().high)) {
        contours_.Join(contour, rows.areas.back());
      } else {
        rows.runs.push_back({x, x});
        rows.areas.push_back(contour);
      }
      rows.runs.back().high = x;
      winding += crossings_[at] & 1 ? 1 : -1;
      if (winding == 0 && rows.runs.back().low == x) {
        rows.runs.pop_back();
        rows.areas.pop_back();
      }
    }
    rows.offsets.push_back(rows.runs.size());
  }
  for (std::int32_t& area : rows.areas) area = contours_.Find(area);
}

// Long rows by the digits of X; what has the same X stands together afterwards, and is sorted as it is.
void RowMaker::Sort(std::uint64_t* first, std::uint64_t* last) {
  constexpr std::ptrdiff_t kLong = 256;
  constexpr std::size_t kDigits = 4, kValues = 256, kFirstBit = 32;
  if (last - first < kLong) return std::sort(first, last);
  const auto count = static_cast<std::size_t>(last - first);
  std::array<std::array<std::uint32_t, kValues>, kDigits> places{};
  for (const std::uint64_t* at = first; at < last; ++at) {
    for (std::size_t d = 0; d < kDigits; ++d) ++places[d][*at >> (kFirstBit + 8 * d) & (kValues - 1)];
  }
  sorted_.resize(std::max(sorted_.size(), count));
  std::uint64_t *from = first, *to = sorted_.data();
  for (std::size_t d = 0; d < kDigits; ++d) {
    const auto digit = [d](std::uint64_t crossing) {
      return crossing >> (kFirstBit + 8 * d) & (kValues - 1);
    };
    if (places[d][digit(*from)] == count) continue;  // all have the same
    std::uint32_t before = 0;
    for (std::uint32_t& place : places[d]) before += std::exchange(place, before);
    for (std::size_t i = 0; i < count; ++i) to[places[d][digit(from[i])]++] = from[i];
    std::swap(from, to);
  }
  if (from != first) std::copy(from, from + count, first);
  for (std::uint64_t* at = first; at < last;) {
    std::uint64_t* const next =
        std::find_if(at, last, [&](std::uint64_t other) { return (other ^ *at) >> kFirstBit != 0; });
    if (next - at > 1) std::sort(at, next);
    at = next;
  }
}

void BeyondFinder::Find(const Rows& layer, const Rows& other, double distance) {
  const double pitch = layer.grid.pitch;
  // A row that is exactly as far away as the distance counts, whatever the division rounds to.
  const auto reach = static_cast<std::int32_t>(std::min(distance / pitch + 1e-6, 1e9));
  widths_.clear();
  for (std::int32_t d = 0; d <= std::min(reach, other.count() + layer.count()); ++d) {
    const double away = double(d) * pitch;
    widths_.push_back(float(std::sqrt(std::max(0.0, distance * distance - away * away))));
  }
  runs_.clear();
  touched_.assign(layer.contours, false);
  for (std::int32_t row = layer.first; row < layer.end(); ++row) {
    left_.clear();
    const auto [first, last] = layer.RunsOf(row);
    for (std::size_t i = first; i < last; ++i) left_.push_back({layer.runs[i], row, layer.areas[i]});
    Subtract(other, row, widths_[0]);
    for (std::size_t d = 1; d < widths_.size() && !left_.empty(); ++d) {
      Subtract(other, row + std::int32_t(d), widths_[d]);
      Subtract(other, row - std::int32_t(d), widths_[d]);
    }
    runs_.insert(runs_.end(), left_.begin(), left_.end());
  }
}

void BeyondFinder::Subtract(const Rows& other, std::int32_t row, float width) {
  auto [at, end] = other.RunsOf(row);
  if (at == end || left_.empty()) return;
  const auto* const runs = other.runs.data();
  at = std::size_t(std::lower_bound(runs + at, runs + end, left_.front().run.low - width,
                                    [](const RowRun& run, float x) { return run.high < x; }) -
                   runs);
  next_.clear();
  for (const BeyondRun& piece : left_) {
    float low = piece.run.low;
    while (at < end && runs[at].high + width < low) ++at;
    for (std::size_t i = at; i < end && runs[i].low - width <= piece.run.high; ++i) {
      touched_[std::size_t(piece.area)] = true;
      if (runs[i].low - width > low) next_.push_back({{low, runs[i].low - width}, piece.row, piece.area});
      low = std::max(low, runs[i].high + width);
    }
    if (low < piece.run.high) next_.push_back({{low, piece.run.high}, piece.row, piece.area});
  }
  left_.swap(next_);
}

}  // namespace trqprep::slicing

namespace trqprep {

double AreaBeyond(const ContourViews& layer, const ContourViews& other, double distance, double pitch) {
  slicing::RowExtent extent;
  extent.Add(layer);
  extent.Add(other);
  const slicing::RowGrid grid{extent.low, extent.WidenedFor(distance, pitch)};
  slicing::RowMaker maker;
  slicing::Rows rows, others;
  maker.Make(layer, grid, rows);
  maker.Make(other, grid, others);
  if (distance <= 0) return rows.AreaWithout(others);
  slicing::BeyondFinder finder;
  finder.Find(rows, others, distance);
  double sum = 0;
  for (const slicing::BeyondRun& piece : finder.runs()) sum += double(piece.run.high) - double(piece.run.low);
  return sum * grid.pitch;
}

double AreaOfDifference(const ContourViews& layer, const ContourViews& other, double pitch) {
  return AreaBeyond(layer, other, 0, pitch);
}

double LayerArea(const ContourViews& layer, double pitch) { return AreaBeyond(layer, {}, 0, pitch); }

}  // namespace trqprep
