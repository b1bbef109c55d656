/// The placement search's inner loop: where does the next piece go, and in which rotation?
///
/// A footprint is tried at every shift along an outer axis (dx in mode 0, dy in the other modes) and, for
/// each, at every shift along the inner axis; the first free one counts. Of the rotations the one that ends
/// lowest along the outer axis wins, among equals the one with the lowest number. Trying shift by shift costs
/// a grid comparison each. Here the result is the same, found as follows:
///
/// - For one outer shift, the inner shifts that collide are one 32-bit word: a run of n cells that starts at
///   bit b of a footprint line collides, shifted by s, when one of the cells b+s .. b+s+n-1 of the vat's line
///   is taken. With `smeared[n]` holding, at bit p, whether any of the n cells from p on is taken, the word
///   is smeared[n] >> b. The OR over all runs leaves the free shifts as zero bits, for eight outer shifts at
///   once.
/// - Both axes keep such tables, so that either mode walks outer shifts upward and may stop at the first hit.
///   A table is brought up to date only when a search along its axis needs it, only in lines that changed.
/// - Every rotation has a key for each axis, (end line + 1) * 32 + rotation, which no place of it can beat.
///   The rotation with the least key is looked at first, eight outer shifts at a time; a miss raises its key.
///   A hit whose key is the least of all is what the literal search finds, ties included.
/// - Within a pass the vat only fills up, so a key never falls and "no place" stays true: keys are carried
///   from copy to copy of a component until the next pass begins.
/// - Of rotations with equal footprints only the lowest is kept; the others can never win.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trq/placement.h"

namespace trq::detail {

class PlacementSearch {
 public:
  using Place = GridEval::Answer::Place;

  /// Components 0..components-1 with GridEval::kRotationSlots footprints each, of which the first `rotations`
  /// count where `valid` is nonzero. The footprints must outlive the search unchanged.
  PlacementSearch(const std::vector<BitGrid>& footprints, const std::vector<int32_t>& valid, int components,
                  int rotations);

  /// Empties the vat.
  void BeginPass();
  /// Puts one piece of a component onto the vat. Mode 0 fills it along X first, any other along Y. False: the
  /// piece finds no place in any rotation, and the vat is as before.
  bool AddPiece(int component, int mode, Place& place);
  /// Highest occupied bit (Y) of the vat, -1 when empty.
  int max_y() const { return max_y_; }

 private:
  static constexpr int kLanes = 8;  // outer shifts looked at together
  static constexpr int16_t kNever = INT16_MAX;
  enum Axis : int { kAlongX = 0, kAlongY = 1 };

  struct Run {
    uint8_t line;
    uint8_t first;
    uint8_t length;
  };
  // The runs of a footprint across an axis; made when first asked for.
  struct Outline {
    bool made = false;
    size_t first = 0;
    size_t count = 0;
  };
  struct Footprint {
    const BitGrid* grid = nullptr;
    int extent[2] = {-1, -1};  // highest occupied line across each axis, -1 when empty
    Outline outline[2];
  };
  using Keys = std::array<int16_t, GridEval::kRotationSlots>;  // by rotation
  // The vat's lines across one axis.
  struct Lines {
    uint32_t taken[32];
    // smeared[n][line]; lanes past line 31 stay zero
    uint32_t smeared[33][32 + kLanes] = {};
    int longest_run = 0;
    int stale_first, stale_last;  // lines whose smeared forms are out of date
  };

  void Refresh(Lines& lines);
  bool FirstPlace(Footprint& footprint, int axis, int first_shift, int& outer, int& inner);
  Outline OutlineOf(Footprint& footprint, int axis);
  void Occupy(Footprint& footprint, int dx, int dy);

  std::vector<Footprint> footprints_;  // component * 24 + rotation
  std::vector<Keys> first_keys_[2];    // by component, in an empty vat
  std::vector<Keys> keys_[2];
  std::vector<Run> runs_;
  Lines lines_[2];
  bool empty_ = true;
  int max_y_ = -1;
};

}  // namespace trq::detail
