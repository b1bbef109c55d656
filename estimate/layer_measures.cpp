#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "slicing/rows.h"
#include "trqprep/estimate.h"

namespace trqprep::estimate {
namespace {

using slicing::BeyondRun;
using slicing::RowGrid;
using slicing::Rows;

bool IsFinite(const ContourView& contour) {
  double sum = 0;  // of what makes it no number where one is not finite
  for (std::size_t i = 0; i < 2 * contour.count; ++i) sum += 0 * double(contour.points[i]);
  return sum == 0;
}

void AddContour(const ContourView& contour, LayerMeasure& measure) {
  if (contour.count < 2 || !IsFinite(contour)) return;
  // Seen from the first point, which keeps digits where a part stands far away.
  const double x = double(contour.points[0]), y = double(contour.points[1]);
  double before[2] = {0, 0}, twice = 0;
  for (std::size_t i = 1; i < contour.count; ++i) {
    const double at[2] = {double(contour.points[2 * i]) - x, double(contour.points[2 * i + 1]) - y};
    twice += before[0] * at[1] - before[1] * at[0];
    const double dx = at[0] - before[0], dy = at[1] - before[1];
    measure.border += std::sqrt(dx * dx + dy * dy);
    before[0] = at[0];
    before[1] = at[1];
  }
  measure.area += twice / 2;
}

// Rows of layers that are neighbours, each made once.
class RowsOfLayers {
 public:
  RowsOfLayers(const LayerStack& stack, const RowGrid& grid) : stack_(stack), grid_(grid) {}

  // No rows outside the stack: its lowest and its highest layer are not covered.
  const Rows& Of(std::size_t layer) {
    Kept& kept = kept_[layer % kept_.size()];
    if (kept.made && kept.layer == layer) return kept.rows;
    contours_.clear();
    if (layer < stack_.bottoms.size()) stack_.contours(layer, contours_);
    maker_.Make(contours_, grid_, kept.rows);
    kept.layer = layer;
    kept.made = true;
    return kept.rows;
  }

 private:
  struct Kept {
    bool made = false;
    std::size_t layer = 0;
    Rows rows;
  };
  const LayerStack& stack_;
  RowGrid grid_;
  slicing::RowMaker maker_;
  ContourViews contours_;
  std::array<Kept, 3> kept_;
};

// Where solid begins and ends in a row.
using Ends = std::vector<float>;

// What separates a row from the next one. Sorted together, ends of both lie in pairs: between the two of a
// pair is what one row has and the other has not. Of different rows, the outline leads from one to the other;
// of one row, a run ends there, half a pitch away from it.
double OutlineBetween(const Ends& a, const Ends& b, double pitch) {
  double sum = 0;
  std::size_t i = 0, j = 0;
  const auto next = [&](bool& of_a) {
    of_a = j == b.size() || (i < a.size() && a[i] <= b[j]);
    return of_a ? double(a[i++]) : double(b[j++]);
  };
  while (i < a.size() || j < b.size()) {
    bool first_of_a = false, second_of_a = false;
    const double low = next(first_of_a), high = next(second_of_a);
    const double way = high - low;
    sum += first_of_a == second_of_a ? way + pitch : std::sqrt(way * way + pitch * pitch);
  }
  return sum;
}

class Faces {
 public:
  explicit Faces(double pitch) : pitch_(pitch) {}

  void Measure(const Rows& layer, const Rows& other, double& area, double& border) {
    finder_.Find(layer, other, 0);
    double width = 0;
    before_.clear();
    row_.clear();
    std::int32_t row = 0;
    const auto end_row = [&](std::int32_t next) {
      border += OutlineBetween(before_, row_, pitch_);
      before_.swap(row_);
      row_.clear();
      if (next > row + 1) {
        border += OutlineBetween(before_, row_, pitch_);
        before_.clear();
      }
      row = next;
    };
    for (const BeyondRun& piece : finder_.runs()) {
      if (piece.row != row) end_row(piece.row);
      const double run = double(piece.run.high) - double(piece.run.low);
      width += run;
      if (run < pitch_) continue;
      row_.push_back(piece.run.low);
      row_.push_back(piece.run.high);
    }
    end_row(row + 2);
    area = width * pitch_;
  }

 private:
  double pitch_;
  slicing::BeyondFinder finder_;
  Ends before_, row_;
};

}  // namespace

std::vector<LayerMeasure> MeasureLayers(const LayerStack& stack, const std::vector<FacesAsked>& asked,
                                        double pitch, const std::function<void(double)>& progress) {
  const std::size_t count = stack.bottoms.size();
  std::vector<LayerMeasure> measures(count);
  slicing::RowExtent extent;
  ContourViews contours;
  bool any = false;
  for (const FacesAsked& faces : asked) any = any || faces.up || faces.down;
  for (std::size_t k = 0; k < count; ++k) {
    contours.clear();
    stack.contours(k, contours);
    for (const ContourView& contour : contours) AddContour(contour, measures[k]);
    if (any) extent.Add(contours);
  }
  if (!any) return measures;

  // The time has an end whatever a file says.
  const double most = extent.MostCrossings(kMostLayerCrossings, 1000);
  const RowGrid grid{extent.low, std::max(extent.Widened(pitch), extent.all_travel / most)};
  RowsOfLayers rows(stack, grid);
  Faces faces(grid.pitch);
  const Rows nothing;
  for (std::size_t k = 0; k < count; ++k) {
    LayerMeasure& measure = measures[k];
    if (asked[k].down) {
      faces.Measure(rows.Of(k), k == 0 ? nothing : rows.Of(k - 1), measure.down_area, measure.down_border);
    }
    if (asked[k].up) faces.Measure(rows.Of(k), rows.Of(k + 1), measure.up_area, measure.up_border);
    if (progress) progress(double(k + 1) / double(count));
  }
  return measures;
}

}  // namespace trqprep::estimate
