#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "trq/placement.h"

namespace {

constexpr float kVatMargin = 0.000001F;
constexpr float kCellsPerVat = 0.032258064F;  // 1/31: the vat's far edge falls in cell 31
constexpr int kRandomPasses = 50;
constexpr int kNoScore = 100000;
constexpr int kNoHeight = 10000;

}  // namespace

GridEval::GridEval(float vat_x, float vat_y, float vat_z, int rotations)
    : vat_x_(vat_x + kVatMargin),
      vat_y_(vat_y + kVatMargin),
      vat_z_(vat_z + kVatMargin),
      rotations_(std::clamp<int>(rotations, 0, kRotationSlots)),
      footprints_(std::size_t{kComponentSlots} * kRotationSlots),
      footprint_valid_(footprints_.size()),
      copies_(kComponentSlots) {}

GridEval::~GridEval() = default;

void GridEval::clear() {
  num_components_ = 0;
  too_big_ = 0;
}

std::size_t GridEval::slot(int component, int rotation) const {
  return static_cast<std::size_t>(component) * kRotationSlots + static_cast<std::size_t>(rotation);
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
  const double diagonal =
      std::sqrt(static_cast<double>(vat_x_) * vat_x_ + static_cast<double>(vat_y_) * vat_y_);
  if (max_x > diagonal || max_y > diagonal || max_z > vat_z_) {
    too_big_ = 1;
    return;
  }
  setup(cell_x, cell_y, 0, 0, vat_x_, vat_y_);
  for (int r = 0; r < rotations_; ++r) {
    part.get_max(&max_x, &max_y, &max_z);
    const bool fits = !(max_x > vat_x_ || max_y > vat_y_);
    footprint_valid_[slot(num_components_, r)] = fits;
    if (fits) footprints_[slot(num_components_, r)] = footprint(part);
    part.rotateZ(static_cast<float>(360.0 / rotations_));
    float min_x, min_y, min_z;
    part.get_min(&min_x, &min_y, &min_z);
    part.translate(-min_x, -min_y, 0);
  }
  copies_[static_cast<std::size_t>(num_components_)] = std::max(copies, 0);
  ++num_components_;
}

int GridEval::greedy_search(int component, int rotation, const BitGrid& occupied, BitGrid& trial, int& out_x,
                            int& out_y, int mode) const {
  const BitGrid& footprint = footprints_[slot(component, rotation)];
  // Kept: one shift less than there is room, so that no piece reaches row 31 or bit 31.
  const int nx = 31 - footprint.max_x();
  const int ny = 31 - footprint.max_y();
  const int outer = mode == 0 ? nx : ny;
  const int inner = mode == 0 ? ny : nx;
  for (int i = 0; i < outer; ++i)
    for (int j = 0; j < inner; ++j) {
      const int dx = mode == 0 ? i : j;
      const int dy = mode == 0 ? j : i;
      trial.clear();
      footprint.shift(trial, dx, dy);
      if (!trial.touches(occupied)) {
        out_x = dx;
        out_y = dy;
        return 1;
      }
    }
  return 0;
}

int GridEval::add_piece(int component, int copy, BitGrid& occupied, Answer& found, int mode) const {
  int best = kNoScore;
  BitGrid kept;
  for (int r = 0; r < rotations_; ++r) {
    if (!footprint_valid_[slot(component, r)]) continue;
    BitGrid trial;
    int dx, dy;
    if (!greedy_search(component, r, occupied, trial, dx, dy, mode)) continue;
    const int score = mode != 0 ? trial.max_y() : trial.max_x();
    if (score < best) {
      best = score;
      kept = trial;
      found.at(component, copy) = {dx, dy, r};
    }
  }
  if (best == kNoScore) return 0;
  occupied |= kept;
  return 1;
}

void GridEval::initialize_order(std::vector<CopyComp>& order) const {
  order.clear();
  for (int c = 0; c < num_components_; ++c)
    for (int k = 0; k < copies_[static_cast<std::size_t>(c)]; ++k) order.push_back({c, k});
}

// Draws without replacement; one rand() a piece.
void GridEval::random_shuffle(std::vector<CopyComp>& order) {
  std::vector<CopyComp> shuffled;
  shuffled.reserve(order.size());
  for (std::size_t m = order.size(); m > 0; --m) {
    const std::size_t r = static_cast<std::size_t>(std::rand()) % m;
    shuffled.push_back(order[r]);
    order[r] = order[m - 1];
  }
  order.swap(shuffled);
}

int GridEval::find_a_placement(const std::vector<CopyComp>& order, Answer& found, int mode,
                               int& height) const {
  BitGrid occupied;
  for (const CopyComp& piece : order)
    if (!add_piece(piece.component, piece.copy, occupied, found, mode)) return 0;
  height = occupied.max_y();
  return 1;
}

// One more rand() a piece, drawn before its search; none after a piece that fails.
int GridEval::find_random_placement(std::vector<CopyComp>& order, Answer& found, int& height) const {
  random_shuffle(order);
  BitGrid occupied;
  for (const CopyComp& piece : order)
    if (!add_piece(piece.component, piece.copy, occupied, found, std::rand() % 2)) return 0;
  height = occupied.max_y();
  return 1;
}

// The fixed pass and the random ones; 1 when any succeeded, whose lowest result is then the stored answer.
int GridEval::run_passes() {
  int best = kNoHeight;
  int height = 0;
  std::vector<CopyComp> order;
  initialize_order(order);
  Answer found;
  if (find_a_placement(order, found, 1, height)) {
    best = height;
    answer_ = found;
  }
  for (int pass = 0; pass < kRandomPasses; ++pass) {
    if (find_random_placement(order, found, height) && height < best) {
      best = height;
      answer_ = found;
    }
  }
  return best != kNoHeight;
}

int GridEval::find_placement() {
  if (too_big_) return 0;
  if (!run_passes()) return 0;
  enlarge_components();
  // Kept: any arrangement with gaps is preferred to one without, even when it is taller.
  run_passes();
  return 1;
}

void GridEval::enlarge_components() {
  for (int c = 0; c < num_components_; ++c)
    for (int r = 0; r < rotations_; ++r) {
      if (!footprint_valid_[slot(c, r)]) continue;
      BitGrid& footprint = footprints_[slot(c, r)];
      BitGrid moved;
      footprint.shift(moved, 1, 1);
      footprint |= moved;
    }
}

double GridEval::est_time(const BitGrid& grid) { return grid.max_y() * 32 + grid.max_x(); }

const GridEval::Answer::Place* GridEval::place(int component, int copy) const {
  const bool inside = component >= 0 && component < kComponentSlots && copy >= 0 && copy < MAX_COPIES;
  return inside ? &answer_.at(component, copy) : nullptr;
}

float GridEval::x_shift(int component, int copy) const {
  const Answer::Place* p = place(component, copy);
  return p ? x_coordf(p->x) : 0;
}

float GridEval::y_shift(int component, int copy) const {
  const Answer::Place* p = place(component, copy);
  return p ? y_coordf(p->y) : 0;
}

float GridEval::z_rot(int component, int copy) const {
  const Answer::Place* p = place(component, copy);
  return p && rotations_ > 0 ? static_cast<float>(p->rotation * 360.0 / rotations_) : 0;
}
