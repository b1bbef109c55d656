#include <algorithm>
#include <cmath>

#include "host/system.h"
#include "placement/fast_search.h"
#include "trq/placement.h"

using namespace trq::detail;

namespace {

constexpr float kVatMargin = 0.000001F;
constexpr float kCellsPerVat = 0.032258064F;  // 1/31: the vat's far edge falls in cell 31
constexpr int kRandomPasses = 50;
constexpr int kNoHeight = 10000;
constexpr int kDrawn = -1;  // the mode, for each piece

}  // namespace

GridEval::GridEval(float vat_x, float vat_y, float vat_z, int rotations)
    : vat_x_(vat_x + kVatMargin),
      vat_y_(vat_y + kVatMargin),
      vat_z_(vat_z + kVatMargin),
      rotations_(std::clamp<int>(rotations, 0, kRotationSlots)),
      footprints_(size_t{kComponentSlots} * kRotationSlots),
      footprint_valid_(footprints_.size()),
      copies_(kComponentSlots) {}

GridEval::~GridEval() = default;

void GridEval::clear() {
  num_components_ = 0;
  too_big_ = 0;
}

size_t GridEval::Slot(int component, int rotation) const {
  return size_t(component) * kRotationSlots + size_t(rotation);
}

void GridEval::add(CTL& part, int copies) {
  if (copies > MAX_COPIES) {
    std::printf("Warning: MAX_COPIES of %i exceeded (%i)\n", int{MAX_COPIES}, copies);
    copies = MAX_COPIES;
  }
  // Kept: the test is on 101, not 100.
  if (num_components_ >= kComponentSlots) {
    std::printf("Warning: too many components to place on vat\n");
    return;
  }
  const float cell_x = vat_x_ * kCellsPerVat;
  const float cell_y = vat_y_ * kCellsPerVat;
  float max_x, max_y, max_z;
  part.get_max(&max_x, &max_y, &max_z);
  // Kept: the diagonal is the bound, a part longer than a side may still fit when turned.
  const double diagonal = std::sqrt(double(vat_x_) * vat_x_ + double(vat_y_) * vat_y_);
  if (max_x > diagonal || max_y > diagonal || max_z > vat_z_) {
    too_big_ = 1;
    return;
  }
  setup(cell_x, cell_y, 0, 0, vat_x_, vat_y_);
  std::vector<uint16_t> cells;
  for (int r = 0; r < rotations_; ++r) {
    part.get_max(&max_x, &max_y, &max_z);
    const bool fits = !(max_x > vat_x_ || max_y > vat_y_);
    footprint_valid_[Slot(num_components_, r)] = fits;
    if (fits) footprints_[Slot(num_components_, r)] = footprint(part, cells);
    part.rotateZ(float(360.0 / rotations_));
    float min_x, min_y, min_z;
    part.get_min(&min_x, &min_y, &min_z);
    part.translate(-min_x, -min_y, 0);
  }
  copies_[size_t(num_components_)] = std::max(copies, 0);
  ++num_components_;
}

void GridEval::initialize_order(std::vector<CopyComp>& order) const {
  order.clear();
  for (int c = 0; c < num_components_; ++c)
    for (int k = 0; k < copies_[size_t(c)]; ++k) order.push_back({c, k});
}

// Draws without replacement; one random number a piece.
void GridEval::random_shuffle(std::vector<CopyComp>& order) {
  std::vector<CopyComp> shuffled;
  shuffled.reserve(order.size());
  for (size_t m = order.size(); m > 0; --m) {
    const size_t r = size_t(trq::host::DrawRandom()) % m;
    shuffled.push_back(order[r]);
    order[r] = order[m - 1];
  }
  order.swap(shuffled);
}

int GridEval::find_a_placement(PlacementSearch& search, const std::vector<CopyComp>& order,
                               std::vector<Answer::Place>& places, int mode, int& height) {
  search.BeginPass();
  places.resize(order.size());
  for (size_t i = 0; i < order.size(); ++i) {
    if (!search.AddPiece(order[i].component, mode == kDrawn ? trq::host::DrawRandom() % 2 : mode, places[i]))
      return 0;
  }
  height = search.max_y();
  return 1;
}

// One more a piece, drawn before its search; none after a piece that fails. A pass that has already
// grown taller than the best goes on all the same: its draws are part of the sequence.
int GridEval::find_random_placement(PlacementSearch& search, std::vector<CopyComp>& order,
                                    std::vector<Answer::Place>& places, int& height) {
  random_shuffle(order);
  return find_a_placement(search, order, places, kDrawn, height);
}

// The fixed pass and the random ones; 1 when any succeeded, of which the lowest result is then stored in
// answer_.
int GridEval::RunPasses() {
  PlacementSearch search(footprints_, footprint_valid_, num_components_, rotations_);
  int best = kNoHeight;
  int height = 0;
  std::vector<CopyComp> order, best_order;
  std::vector<Answer::Place> places, best_places;
  initialize_order(order);
  const auto keep = [&] {
    best = height;
    best_order = order;
    best_places.swap(places);
  };
  if (find_a_placement(search, order, places, 1, height)) keep();
  for (int pass = 0; pass < kRandomPasses; ++pass)
    if (find_random_placement(search, order, places, height) && height < best) keep();
  if (best == kNoHeight) return 0;
  answer_.clear();
  for (size_t i = 0; i < best_order.size(); ++i)
    answer_.at(best_order[i].component, best_order[i].copy) = best_places[i];
  return 1;
}

int GridEval::find_placement() {
  if (too_big_) return 0;
  if (!RunPasses()) return 0;
  enlarge_components();
  // Kept: any arrangement with gaps is preferred to one without, even when it is taller.
  RunPasses();
  return 1;
}

void GridEval::enlarge_components() {
  for (size_t slot = 0; slot < Slot(num_components_, 0); ++slot) {
    if (!footprint_valid_[slot]) continue;
    BitGrid moved;
    footprints_[slot].shift(moved, 1, 1);
    footprints_[slot] |= moved;
  }
}

double GridEval::est_time(const BitGrid& grid) { return grid.max_y() * 32 + grid.max_x(); }

const GridEval::Answer::Place* GridEval::PlaceOf(int component, int copy) const {
  const bool inside = component >= 0 && component < kComponentSlots && copy >= 0 && copy < MAX_COPIES;
  return inside ? &answer_.at(component, copy) : nullptr;
}

float GridEval::x_shift(int component, int copy) const {
  const Answer::Place* p = PlaceOf(component, copy);
  return p ? x_coordf(p->x) : 0;
}

float GridEval::y_shift(int component, int copy) const {
  const Answer::Place* p = PlaceOf(component, copy);
  return p ? y_coordf(p->y) : 0;
}

float GridEval::z_rot(int component, int copy) const {
  const Answer::Place* p = PlaceOf(component, copy);
  return p && rotations_ > 0 ? float(p->rotation * 360.0 / rotations_) : 0;
}
