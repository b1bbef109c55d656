#include "placement/fast_search.h"

#include <algorithm>
#include <iterator>

namespace trq::detail {

namespace {

constexpr int kSlots = GridEval::kRotationSlots;
constexpr int kKeyStep = 32;  // one outer shift; above every rotation number

// Index of the lowest 1 bit of a nonzero word.
int LowestBit(uint32_t word) {
#if defined(__GNUC__)
  return __builtin_ctz(word);
#else
  int bit = 0;
  for (; !(word & 1); word >>= 1) ++bit;
  return bit;
#endif
}

// `count` 1 bits from bit 0 on.
uint32_t LowBits(int count) { return count >= 32 ? ~0U : (1U << count) - 1U; }

// The footprint's rows, or the same cells with x and y exchanged.
void LinesOf(const BitGrid& grid, bool exchanged, uint32_t lines[32]) {
  if (!exchanged) {
    std::copy(std::begin(grid.rows), std::end(grid.rows), lines);
    return;
  }
  std::fill(lines, lines + 32, 0U);
  for (int x = 0; x < 32; ++x)
    for (uint32_t row = grid.rows[x]; row; row &= row - 1) lines[LowestBit(row)] |= 1U << x;
}

}  // namespace

PlacementSearch::PlacementSearch(const std::vector<BitGrid>& footprints, const std::vector<int32_t>& valid,
                                 int components, int rotations)
    : footprints_(size_t(components) * kSlots) {
  Keys none;
  none.fill(kNever);
  for (int axis : {kAlongX, kAlongY}) first_keys_[axis].assign(size_t(components), none);
  for (size_t c = 0; c < size_t(components); ++c) {
    Footprint* const of_component = footprints_.data() + c * kSlots;
    for (int r = 0; r < rotations; ++r) {
      const size_t slot = c * kSlots + size_t(r);
      if (!valid[slot]) continue;
      Footprint& footprint = of_component[r];
      footprint.grid = &footprints[slot];
      const int end_x = footprint.extent[kAlongX] = footprint.grid->max_x();
      const int end_y = footprint.extent[kAlongY] = footprint.grid->max_y();
      // Kept: shifts go up to one less than there is room for, so that row 31 and bit 31 stay free.
      if (end_x > 30 || end_y > 30) continue;
      const bool repeats = std::any_of(of_component, &footprint, [&](const Footprint& lower) {
        return lower.grid && lower.extent[kAlongX] == end_x && lower.extent[kAlongY] == end_y &&
               std::equal(std::begin(lower.grid->rows), std::end(lower.grid->rows), footprint.grid->rows);
      });
      if (repeats) continue;
      for (int axis : {kAlongX, kAlongY}) {
        first_keys_[axis][c][size_t(r)] = int16_t((footprint.extent[axis] + 1) * kKeyStep + r);
        int& longest_run = lines_[axis].longest_run;
        longest_run = std::max(longest_run, footprint.extent[1 - axis] + 1);
      }
    }
  }
  BeginPass();
}

void PlacementSearch::BeginPass() {
  for (int axis : {kAlongX, kAlongY}) {
    keys_[axis] = first_keys_[axis];
    Lines& lines = lines_[axis];
    std::fill(std::begin(lines.taken), std::end(lines.taken), 0U);
    lines.stale_first = 0;
    lines.stale_last = 31;
  }
  empty_ = true;
  max_y_ = -1;
}

bool PlacementSearch::AddPiece(int component, int mode, Place& place) {
  const int axis = mode == 0 ? kAlongX : kAlongY;
  Keys& keys = keys_[axis][size_t(component)];
  Footprint* const of_component = footprints_.data() + size_t(component) * kSlots;
  int16_t best = kNever;
  int outer = 0, inner = 0;
  for (;;) {
    const int16_t least = *std::min_element(std::begin(keys), std::end(keys));
    if (least >= best) break;
    const int rotation = least % kKeyStep;
    Footprint& footprint = of_component[rotation];
    const int lowest_shift = least / kKeyStep - (footprint.extent[axis] + 1);
    int found_outer, found_inner;
    int16_t& key = keys[size_t(rotation)];
    if (FirstPlace(footprint, axis, lowest_shift, found_outer, found_inner)) {
      key = int16_t(key + (found_outer - lowest_shift) * kKeyStep);
      if (key < best) {
        best = key;
        outer = found_outer;
        inner = found_inner;
      }
    } else if (lowest_shift + kLanes >= 31 - footprint.extent[axis]) {
      key = kNever;
    } else {
      key = int16_t(key + kLanes * kKeyStep);
    }
  }
  if (best == kNever) return false;
  const int rotation = best % kKeyStep;
  place = axis == kAlongX ? Place{outer, inner, rotation} : Place{inner, outer, rotation};
  Occupy(of_component[rotation], place.x, place.y);
  return true;
}

// The first place with an outer shift among the kLanes from `first_shift` on.
bool PlacementSearch::FirstPlace(Footprint& footprint, int axis, int first_shift, int& outer, int& inner) {
  if (empty_) {
    outer = first_shift;
    inner = 0;
    return true;
  }
  Refresh(lines_[axis]);
  const Outline runs = OutlineOf(footprint, axis);
  uint32_t collides[kLanes] = {};
  for (size_t i = runs.first; i < runs.first + runs.count; ++i) {
    const uint32_t* const smeared = lines_[axis].smeared[runs_[i].length] + runs_[i].line + first_shift;
    for (int lane = 0; lane < kLanes; ++lane) collides[lane] |= smeared[lane] >> runs_[i].first;
  }
  // Kept: one shift less than there is room for, along both axes.
  const uint32_t inner_shifts = LowBits(31 - footprint.extent[1 - axis]);
  const int outer_shifts = 31 - footprint.extent[axis];
  for (int lane = 0; lane < kLanes && first_shift + lane < outer_shifts; ++lane) {
    const uint32_t free = ~collides[lane] & inner_shifts;
    if (!free) continue;
    outer = first_shift + lane;
    inner = LowestBit(free);
    return true;
  }
  return false;
}

PlacementSearch::Outline PlacementSearch::OutlineOf(Footprint& footprint, int axis) {
  Outline& result = footprint.outline[axis];
  if (result.made) return result;
  result.made = true;
  result.first = runs_.size();
  uint32_t lines[32];
  LinesOf(*footprint.grid, axis == kAlongY, lines);
  for (int line = 0; line < 32; ++line) {
    // Adding the lowest bit carries through the lowest run and leaves the bit after it.
    for (uint32_t rest = lines[line]; rest;) {
      const int first = LowestBit(rest);
      const uint32_t beyond = rest + (1U << first);
      const int end = beyond ? LowestBit(beyond) : 32;
      runs_.push_back({uint8_t(line), uint8_t(first), uint8_t(end - first)});
      rest &= ~LowBits(end);
    }
  }
  result.count = runs_.size() - result.first;
  return result;
}

void PlacementSearch::Occupy(Footprint& footprint, int dx, int dy) {
  if (footprint.extent[kAlongX] < 0) return;
  empty_ = false;
  max_y_ = std::max(max_y_, dy + footprint.extent[kAlongY]);
  for (int axis : {kAlongX, kAlongY}) {
    const int outer = axis == kAlongX ? dx : dy;
    const int inner = axis == kAlongX ? dy : dx;
    const Outline runs = OutlineOf(footprint, axis);
    Lines& lines = lines_[axis];
    for (size_t i = runs.first; i < runs.first + runs.count; ++i)
      lines.taken[runs_[i].line + outer] |= LowBits(runs_[i].length) << (runs_[i].first + inner);
    lines.stale_first = std::min(lines.stale_first, outer);
    lines.stale_last = std::max(lines.stale_last, outer + footprint.extent[axis]);
  }
}

void PlacementSearch::Refresh(Lines& lines) {
  for (int block = lines.stale_first & ~(kLanes - 1); block <= lines.stale_last; block += kLanes) {
    uint32_t any[kLanes] = {};
    for (int length = 1; length <= lines.longest_run; ++length) {
      for (int lane = 0; lane < kLanes; ++lane) {
        any[lane] |= lines.taken[block + lane] >> (length - 1);
        lines.smeared[length][block + lane] = any[lane];
      }
    }
  }
  lines.stale_first = 32;
  lines.stale_last = -1;
}

}  // namespace trq::detail
