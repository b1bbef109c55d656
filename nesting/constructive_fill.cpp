#include "nesting/constructive_fill.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace trqprep::nesting {
namespace {

constexpr int kMostColumns = 100'000;
constexpr double kMostCells = 20'000;       // of a piece, along X
constexpr std::size_t kCornerPieces = 150;  // above so many, places in corners are not looked for

/// Cells [from, to) of a column.
using Run = CellRun;

/// The cells that a shape touches, by columns, its corner at (x, y) of cells.
CellRuns Touched(const Shape& shape, double cell, double x, double y) {
  // What only reaches the edge of a cell does not touch it.
  constexpr double kHair = 1e-7;
  const int columns = std::max(1, static_cast<int>(std::ceil((x + shape.width) / cell - kHair)));
  CellRuns runs(static_cast<std::size_t>(columns));
  const auto mark = [&](int column, double low, double high) {
    const int from = std::max(0, static_cast<int>(std::floor(low / cell + kHair)));
    const int to = std::max(from + 1, static_cast<int>(std::ceil(high / cell - kHair)));
    runs[static_cast<std::size_t>(column)].push_back({from, to});
  };
  struct Crossing {
    int column;
    double y;
    int way;
  };
  std::vector<Crossing> crossings;
  for (const Edge& e : shape.edges) {
    double ax = e.ax + x, ay = e.ay + y, bx = e.bx + x, by = e.by + y;
    const int way = ax < bx ? 1 : -1;
    if (ax > bx) std::swap(ax, bx), std::swap(ay, by);
    const int first = std::clamp(static_cast<int>(std::floor(ax / cell + kHair)), 0, columns - 1);
    const int last = std::clamp(static_cast<int>(std::ceil(bx / cell - kHair)) - 1, first, columns - 1);
    const double slope = bx > ax ? (by - ay) / (bx - ax) : 0;
    for (int column = first; column <= last; ++column) {
      const double left = column * cell, right = left + cell, middle = left + cell / 2;
      double from = ay, to = by;
      if (ax < left) from = ay + (left - ax) * slope;
      if (bx > right) to = ay + (right - ax) * slope;
      mark(column, std::min(from, to), std::max(from, to));
      if (ax <= middle && middle < bx) crossings.push_back({column, ay + (middle - ax) * slope, way});
    }
  }
  std::sort(crossings.begin(), crossings.end(), [](const Crossing& a, const Crossing& b) {
    return a.column != b.column ? a.column < b.column : a.y != b.y ? a.y < b.y : a.way < b.way;
  });
  int inside = 0;
  for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
    inside += crossings[i].way;
    if (crossings[i + 1].column != crossings[i].column) {
      inside = 0;
    } else if (inside != 0) {
      mark(crossings[i].column, crossings[i].y, crossings[i + 1].y);
    }
  }
  for (auto& column : runs) {
    std::sort(column.begin(), column.end(), [](Run a, Run b) { return a.from < b.from; });
    std::vector<Run> joined;
    for (const Run& run : column) {
      if (!joined.empty() && run.from <= joined.back().to) {
        joined.back().to = std::max(joined.back().to, run.to);
      } else {
        joined.push_back(run);
      }
    }
    column = std::move(joined);
  }
  return runs;
}

/// Cells of the container, by columns; grows to the right.
class Cells {
 public:
  Cells(int rows) : rows_(rows), words_(static_cast<std::size_t>(rows + 63) / 64) {
    for (levels_ = 1; (1 << levels_) <= rows; ++levels_) {
    }
  }

  void Occupy(int column, int from, int to) {
    from = std::max(from, 0), to = std::min(to, rows_);
    if (column < 0 || column >= kMostColumns || from >= to) return;
    Grow(static_cast<std::size_t>(column) + 1);
    std::uint64_t* bits = Level(static_cast<std::size_t>(column), 0);
    for (int y = from; y < to;) {
      const int end = std::min(to, (y / 64 + 1) * 64);
      const std::uint64_t ones =
          end - y == 64 ? ~std::uint64_t{0} : ((std::uint64_t{1} << (end - y)) - 1) << (y % 64);
      bits[y / 64] |= ones;
      y = end;
    }
    stale_[static_cast<std::size_t>(column)] = true;
  }

  /// The lowest of the rows 0 to `last` at which the runs, put at `column`, touch nothing occupied; -1 when
  /// there is none.
  int LowestFree(const CellRuns& runs, std::size_t column, int last, FillState& state) {
    blocked_.assign(words_, 0);
    state.Take(words_);
    const std::size_t used = static_cast<std::size_t>(last) / 64 + 1;
    for (std::size_t k = 0; k < runs.size() && column + k < stale_.size(); ++k) {
      if (stale_[column + k]) Refresh(column + k);
      if (empty_[column + k]) continue;
      state.Take(2 * used * runs[k].size());
      for (const Run& run : runs[k]) {
        int level = 0;
        while ((2 << level) <= run.to - run.from) ++level;
        const std::uint64_t* bits = Level(column + k, level);
        OrShifted(bits, run.from, used);
        OrShifted(bits, run.to - (1 << level), used);
      }
      bool any = false;
      for (std::size_t w = 0; w + 1 < used && !any; ++w) any = blocked_[w] != ~std::uint64_t{0};
      if (!any && (blocked_[used - 1] | Beyond(last)) == ~std::uint64_t{0}) return -1;
    }
    for (std::size_t w = 0; w < used; ++w) {
      const std::uint64_t full = blocked_[w] | (w + 1 == used ? Beyond(last) : 0);
      for (int bit = 0; bit < 64 && full != ~std::uint64_t{0}; ++bit) {
        if ((full >> bit & 1) == 0) return static_cast<int>(w) * 64 + bit;
      }
    }
    return -1;
  }

 private:
  static std::uint64_t Beyond(int last) {
    return last % 64 == 63 ? 0 : ~((std::uint64_t{1} << (last % 64 + 1)) - 1);
  }
  void Grow(std::size_t columns) {
    if (columns <= stale_.size()) return;
    bits_.resize(columns * static_cast<std::size_t>(levels_) * words_, 0);
    stale_.resize(columns, false);
    empty_.resize(columns, true);
  }
  std::uint64_t* Level(std::size_t column, int level) {
    return &bits_[(column * static_cast<std::size_t>(levels_) + static_cast<std::size_t>(level)) * words_];
  }
  /// Level n says of each row whether it or one of the 2^n - 1 rows behind it is occupied.
  void Refresh(std::size_t column) {
    for (int level = 1; level < levels_; ++level) {
      const std::uint64_t* below = Level(column, level - 1);
      std::uint64_t* bits = Level(column, level);
      std::copy(below, below + words_, bits);
      const int shift = 1 << (level - 1);
      for (std::size_t w = 0; w < words_; ++w) bits[w] |= Shifted(below, shift, w);
    }
    stale_[column] = false;
    empty_[column] = false;
  }
  std::uint64_t Shifted(const std::uint64_t* bits, int shift, std::size_t word) const {
    const std::size_t from = word + static_cast<std::size_t>(shift) / 64;
    const int rest = shift % 64;
    if (from >= words_) return 0;
    std::uint64_t value = bits[from] >> rest;
    if (rest != 0 && from + 1 < words_) value |= bits[from + 1] << (64 - rest);
    return value;
  }
  void OrShifted(const std::uint64_t* bits, int shift, std::size_t used) {
    for (std::size_t w = 0; w < used; ++w) blocked_[w] |= Shifted(bits, shift, w);
  }

  int rows_;
  std::size_t words_;
  int levels_ = 1;
  std::vector<std::uint64_t> bits_, blocked_;
  std::vector<bool> stale_, empty_;
};

/// Pieces by the squares of a coarse grid that their boxes touch.
class Squares {
 public:
  Squares(double side, double width)
      : side_(side), rows_(static_cast<std::size_t>(std::min(kMostRows, std::floor(width / side) + 1))) {}

  void Add(std::size_t piece, const Box& box) {
    std::size_t from, to, low, high;
    if (!Range(box, from, to, low, high) || (to - from + 1) * (high - low + 1) > kMostSquares) {
      large_.push_back(piece);
      return;
    }
    if (squares_.size() < (to + 1) * rows_) squares_.resize((to + 1) * rows_);
    for (std::size_t column = from; column <= to; ++column) {
      for (std::size_t row = low; row <= high; ++row) squares_[column * rows_ + row].push_back(piece);
    }
  }

  /// Whether `found` is true of a piece that may touch the box.
  template <typename Found>
  bool Any(const Box& box, const Found& found) const {
    if (std::any_of(large_.begin(), large_.end(), found)) return true;
    std::size_t from, to, low, high;
    Range(box, from, to, low, high);
    for (std::size_t column = from; column <= to && column * rows_ < squares_.size(); ++column) {
      for (std::size_t row = low; row <= high; ++row) {
        const auto& square = squares_[column * rows_ + row];
        if (std::any_of(square.begin(), square.end(), found)) return true;
      }
    }
    return false;
  }

 private:
  static constexpr double kMostRows = 1024, kMostColumns = 1e6;
  static constexpr std::size_t kMostSquares = 1024;  // of a piece; larger ones are looked at every time

  /// Squares of the box; false when it reaches farther than there are any.
  bool Range(const Box& box, std::size_t& from, std::size_t& to, std::size_t& low, std::size_t& high) const {
    const auto index = [&](double at, double most) {
      return static_cast<std::size_t>(std::clamp(std::floor(at / side_), 0.0, most));
    };
    from = index(box.left, kMostColumns), to = index(box.right, kMostColumns);
    low = index(box.bottom, static_cast<double>(rows_ - 1)),
    high = index(box.top, static_cast<double>(rows_ - 1));
    return box.right < kMostColumns * side_;
  }

  double side_;
  std::size_t rows_;
  std::vector<std::vector<std::size_t>> squares_;
  std::vector<std::size_t> large_;
};

class Filler {
 public:
  Filler(const Model& model, const std::vector<std::size_t>& kinds, std::vector<Spot>& spots,
         FillState& state)
      : model_(model),
        spots_(spots),
        state_(state),
        squares_(SideOf(model, kinds), model.width),
        cell_(CellOf(model, spots, state)),
        rows_(std::max(1, static_cast<int>(std::floor(model.width / cell_ + 1e-9)))),
        cells_(rows_),
        solid_cells_(rows_) {
    for (const Model::Kind& kind : model.kinds) most_gap_ = std::max(most_gap_, kind.gap);
    if (state_.cell != cell_) state_.runs.clear();
    state_.cell = cell_;
    for (std::size_t i = 0; i < spots.size(); ++i) Add(i);
  }

  bool Place(std::size_t kind) {
    Spot best;
    Cells& cells = model_.solid_shapes.empty() || model_.kinds[kind].enters ? cells_ : solid_cells_;
    double best_right = std::numeric_limits<double>::infinity();
    for (const std::size_t s : model_.kinds[kind].usable) {
      const Shape& shape = model_.shapes[s];
      const std::size_t like = model_.FirstLike(s);
      CellRuns& runs = state_.runs[like];
      if (runs.empty()) {
        const bool open = model_.solid_shapes.empty() || model_.kinds[kind].enters;
        runs = Touched(open ? shape : model_.solid_shapes[s], cell_, 0, 0);
      }
      const std::size_t from = state_.spent() ? last_column_ : 0;
      std::size_t& column = first_column_.try_emplace(like, from).first->second;
      const int last = static_cast<int>(std::floor((model_.width - shape.height) / cell_ + 1e-9));
      for (;; ++column) {
        const double x = static_cast<double>(column) * cell_;
        // Occupied cells stay so: where nothing is free now, nothing will be.
        if (x + shape.width > model_.length * (1 + 1e-12) || x + shape.width >= best_right ||
            column + runs.size() >= static_cast<std::size_t>(kMostColumns)) {
          break;
        }
        const int row = cells.LowestFree(runs, column, std::min(last, rows_ - 1), state_);
        if (row >= 0) {
          best = {s, x, row * cell_};
          best_right = x + shape.width;
          break;
        }
      }
    }
    if (best_right == std::numeric_limits<double>::infinity() && !InCorner(kind, best) &&
        !AtTheEnd(kind, best)) {
      return false;
    }
    if (!Free(best)) return false;  // cells do not know fixed pieces of any size
    last_column_ = static_cast<std::size_t>(std::max(0.0, std::min(best.x / cell_, double(kMostColumns))));
    Slide(best);
    spots_.push_back(best);
    Add(spots_.size() - 1);
    return true;
  }

 private:
  static double CellOf(const Model& model, const std::vector<Spot>& fixed, FillState& state) {
    if (state.model_cell == 0) {
      double cell = model.width / RowsOf(model);
      for (const Model::Kind& kind : model.kinds) {
        cell = std::max(cell, kind.gap / 1000);
        for (const std::size_t s : kind.usable) cell = std::max(cell, model.shapes[s].width / kMostCells);
      }
      state.model_cell = cell;
    }
    double cell = state.model_cell;
    for (const Spot& spot : fixed) cell = std::max(cell, model.shapes[spot.shape].width / kMostCells);
    return cell;
  }
  static int RowsOf(const Model& model) {
    double least = model.width;
    for (const Model::Kind& kind : model.kinds) {
      for (const std::size_t s : kind.usable) {
        least = std::min(least, std::max(model.shapes[s].width, model.shapes[s].height));
      }
    }
    const double rows = least > 0 ? model.width / least * 32 : 2048;
    return rows < 512 ? 512 : rows > 2048 ? 2048 : static_cast<int>(rows);
  }

  /// The mean extent of the pieces.
  static double SideOf(const Model& model, const std::vector<std::size_t>& kinds) {
    double sum = 0;
    for (const std::size_t kind : kinds) {
      const Shape& shape = model.shapes[model.kinds[kind].first_shape];
      sum += std::max(shape.width, shape.height) + model.kinds[kind].gap;
    }
    return std::max(sum / static_cast<double>(kinds.size()), 1e-3 * model.width);
  }

  void Add(std::size_t piece) {
    const Spot& spot = spots_[piece];
    const Shape& shape = model_.shapes[spot.shape];
    squares_.Add(piece, {spot.x, spot.y, spot.x + shape.width, spot.y + shape.height});
    Occupy(spot, shape, cells_);
    if (!model_.solid_shapes.empty()) Occupy(spot, model_.solid_shapes[spot.shape], solid_cells_);
  }

  bool Free(const Spot& spot) {
    const Shape& shape = model_.shapes[spot.shape];
    const Box near = {spot.x - most_gap_, spot.y - most_gap_, spot.x + shape.width + most_gap_,
                      spot.y + shape.height + most_gap_};
    return !squares_.Any(near, [&](std::size_t piece) {
      const Spot& other = spots_[piece];
      return Collide(model_.Seen(spot.shape, other.shape), model_.Seen(other.shape, spot.shape),
                     other.x - spot.x, other.y - spot.y, model_.Gap(spot.shape, other.shape), steps_);
    });
  }

  void Slide(Spot& spot) {
    for (int round = 0; round < 2; ++round) {
      for (int axis = 0; axis < 2; ++axis) {
        double& at = axis == 0 ? spot.x : spot.y;
        for (double step = std::min(at, 2 * cell_); step > 1e-6 * cell_; step /= 2) {
          const double was = at;
          at = std::max(0.0, at - step);
          if (!Free(spot)) at = was;
        }
      }
    }
  }

  /// Beside and behind the boxes of what is there: finds what fits exactly, which cells miss.
  bool InCorner(std::size_t kind, Spot& found) {
    if (spots_.size() > kCornerPieces) return false;
    const double gap = model_.kinds[kind].gap;
    double best = std::numeric_limits<double>::infinity();
    for (const std::size_t s : model_.kinds[kind].usable) {
      const Shape& shape = model_.shapes[s];
      std::vector<double> xs = {0}, ys = {0};
      for (const Spot& spot : spots_) {
        const double apart = std::max(gap, model_.Gap(s, spot.shape)) * (1 + 1e-9);
        xs.push_back(spot.x + model_.shapes[spot.shape].width + apart);
        ys.push_back(spot.y + model_.shapes[spot.shape].height + apart);
      }
      for (auto* list : {&xs, &ys}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
      }
      for (const double x : xs) {
        const double hair = 1e-9 * model_.width;
        if (x + shape.width > model_.length + hair || x + shape.width >= best) break;
        for (const double y : ys) {
          if (y + shape.height > model_.width + hair) break;
          const Spot spot = {s, std::max(0.0, std::min(x, model_.length - shape.width)),
                             std::max(0.0, std::min(y, model_.width - shape.height))};
          state_.Take(1024);
          if (!Free(spot)) continue;
          found = spot;
          best = x + shape.width;
          break;
        }
      }
    }
    return best < std::numeric_limits<double>::infinity();
  }

  /// Right of everything: a strip always has a place.
  bool AtTheEnd(std::size_t kind, Spot& found) const {
    if (!model_.strip) return false;
    found = {model_.kinds[kind].usable.front(), 0, 0};
    for (const Spot& spot : spots_) {
      const double gap = model_.Gap(found.shape, spot.shape);
      found.x = std::max(found.x, (spot.x + model_.shapes[spot.shape].width + gap) * (1 + 1e-9));
    }
    return true;
  }

  /// The cells that nothing may touch any more, because what did would be nearer than the gap.
  void Occupy(const Spot& spot, const Shape& shape, Cells& cells) {
    const double end = std::min(model_.length, kMostColumns * cell_) + most_gap_ + cell_;
    if (spot.x > end || spot.x + shape.width < -most_gap_ - cell_ ||
        spot.y > model_.width + most_gap_ + cell_ || spot.y + shape.height < -most_gap_ - cell_ ||
        shape.height > kMostCells * cell_) {
      return;  // far outside
    }
    const double column = std::floor(spot.x / cell_), row = std::floor(spot.y / cell_);
    const int x = static_cast<int>(column), y = static_cast<int>(row);
    const auto touched = Touched(shape, cell_, spot.x - column * cell_, spot.y - row * cell_);
    // Cells whose nearest corners are as near as the gap.
    const double reach = most_gap_ / cell_;
    const int most = reach > 0 ? static_cast<int>(std::ceil(reach)) : 0;
    for (int k = 0; k < static_cast<int>(touched.size()); ++k) {
      for (int side = -most; side <= most; ++side) {
        const double across = std::max(0, std::abs(side) - 1);
        const double up = reach * reach - across * across;
        if (side != 0 && up <= 0) continue;
        const int rows = up > 0 ? static_cast<int>(std::ceil(std::sqrt(up))) : 0;
        for (const Run& run : touched[static_cast<std::size_t>(k)]) {
          cells.Occupy(x + k + side, y + run.from - rows, y + run.to + rows);
        }
      }
    }
  }

  const Model& model_;
  std::vector<Spot>& spots_;
  FillState& state_;
  Squares squares_;
  double cell_;
  int rows_;
  Cells cells_, solid_cells_;
  double most_gap_ = 0;
  std::size_t last_column_ = 0;                                // of the piece placed last
  std::unordered_map<std::size_t, std::size_t> first_column_;  // at which a shape may be free
  Steps steps_ = 0;
};

}  // namespace

void FillFromTheLeft(const Model& model, const std::vector<std::size_t>& kinds, std::vector<Spot>& spots,
                     std::vector<std::size_t>& placed, FillState& state, const std::function<bool()>& stop) {
  constexpr int kFewMisses = 8;
  if (kinds.empty()) return;
  Filler filler(model, kinds, spots, state);
  std::vector<bool> no_place(model.kinds.size(), false);
  int misses = 0;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (no_place[kinds[i]]) continue;
    if (stop()) return;
    if (filler.Place(kinds[i])) {
      placed.push_back(i);
    } else {
      no_place[kinds[i]] = true;
      if (state.spent() && ++misses == kFewMisses) return;
    }
  }
}

}  // namespace trqprep::nesting
