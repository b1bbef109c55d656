/// A layer as rows: lines of constant Y along which solid begins and ends.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "trqprep/layer_findings.h"

namespace trqprep::slicing {

/// Smaller numbers of one set. Parents lead to smaller numbers, so that the least one stands for all.
class Sets {
 public:
  void Reset(std::size_t count) {
    parents_.resize(count);
    for (std::size_t i = 0; i < count; ++i) parents_[i] = static_cast<std::int32_t>(i);
  }
  std::int32_t Find(std::int32_t i) {
    while (At(i) != i) i = At(i) = At(At(i));
    return i;
  }
  void Join(std::int32_t a, std::int32_t b) {
    a = Find(a);
    b = Find(b);
    (a < b ? At(b) : At(a)) = a < b ? a : b;
  }

 private:
  std::int32_t& At(std::int32_t i) { return parents_[static_cast<std::size_t>(i)]; }
  std::vector<std::int32_t> parents_;
};

/// Of a layer, in its rows together: 60 MB for the layers that are held at a time.
constexpr double kMostCrossings = 1 << 20;

/// What decides how far apart rows may stand: the range of Y, and how far a layer's contours go up and down.
struct RowExtent {
  double low = 0, high = -1;  ///< none when high < low
  double travel = 0;          ///< of the layer that goes farthest
  double all_travel = 0;      ///< of all layers together
  double points = 0;          ///< of all layers together
  /// What the layer adds to `all_travel`.
  double Add(const ContourViews& layer);
  /// The pitch, or the least above it that keeps rows and crossings of a layer within bounds.
  double Widened(double pitch) const;
  /// The same for rows that show what lies beyond a distance: a whole part of it where it is one at all.
  double WidenedFor(double distance, double pitch) const;
  /// How often contours may cross rows in all layers: `most` times for a few points, and `a_point` times for
  /// each besides, for points of a surface lie nearer to each other than hundreds of rows are high.
  double MostCrossings(double most, double a_point) const { return most + a_point * points; }
};

/// Row r lies at Y = origin + (r + 1/2) pitch, r not below 0.
struct RowGrid {
  double origin = 0;
  double pitch = 1;
  double HeightOf(std::int32_t row) const { return origin + (double(row) + 0.5) * pitch; }
};

struct RowRun {
  float low, high;
};

/// Rows `first` to `first + count() - 1`; those outside are empty.
struct Rows {
  RowGrid grid;
  std::int32_t first = 0;
  std::vector<std::size_t> offsets{0};  ///< of the rows' runs; one more than rows
  std::vector<RowRun> runs;             ///< by row and X, none touches the next
  /// Of each run: a contour of the connected area it is part of, the same for all of its runs.
  std::vector<std::int32_t> areas;
  std::size_t contours = 0;

  std::int32_t count() const { return static_cast<std::int32_t>(offsets.size()) - 1; }
  std::int32_t end() const { return first + count(); }
  /// The row's runs are those from the first number up to the second.
  std::pair<std::size_t, std::size_t> RunsOf(std::int32_t row) const {
    if (row < first || row >= end()) return {0, 0};
    const auto i = static_cast<std::size_t>(row - first);
    return {offsets[i], offsets[i + 1]};
  }
  double Area() const;
  /// Of what is not in the other layer, which has the same grid.
  double AreaWithout(const Rows& other) const;
};

/// Distance of rows, at most `pitch`, that shows what lies beyond another layer grown by `distance`: a whole
/// part of it, so that rows lie exactly as far away, and small enough that an edge leaning 5 degrees more
/// than one allowed is told from it.
double PitchFor(double distance, double pitch);

/// Makes rows; keeps its memory between layers.
class RowMaker {
 public:
  void Make(const ContourViews& layer, const RowGrid& grid, Rows& rows);

 private:
  void Sort(std::uint64_t* first, std::uint64_t* last);

  std::vector<std::int32_t> first_rows_;  // of each point: the lowest row at or above it
  std::vector<std::size_t> ends_;
  std::vector<std::uint64_t> crossings_, sorted_;
  Sets contours_;
};

/// What of a layer lies beyond another grown by a distance.
struct BeyondRun {
  RowRun run;
  std::int32_t row, area;
};

/// Finds it by row and X. `touched`, by contour: whether anything came that near to the area it stands for.
/// Both layers have the same grid.
class BeyondFinder {
 public:
  void Find(const Rows& layer, const Rows& other, double distance);
  const std::vector<BeyondRun>& runs() const { return runs_; }
  const std::vector<char>& touched() const { return touched_; }

 private:
  void Subtract(const Rows& other, std::int32_t row, float width);

  std::vector<BeyondRun> runs_, left_, next_;
  std::vector<char> touched_;
  std::vector<float> widths_;
};

}  // namespace trqprep::slicing
