/// The tests' view of the placement's private steps.
#pragma once

#include <vector>

#include "trq/placement.h"

struct PlacementProbe {
  static int num_bits(unsigned word) { return BitGrid::num_bits(word); }
  static int highest_bit(unsigned word) { return BitGrid::highest_bit(word); }
  static int count_bits(int value) { return BitGrid::count_bits(value); }
  static void shift_bits(const unsigned* src, unsigned* dst, int nbits, int nwords, int dst_words) {
    BitGrid::shift_bits(src, dst, nbits, nwords, dst_words);
  }

  static int x_index(const GRID_INDEX2& index, float x) { return index.x_index(x); }
  static int y_index(const GRID_INDEX2& index, float y) { return index.y_index(y); }

  static void mark_triangle(const GridEval& eval, const PbVec3f& a, const PbVec3f& b, const PbVec3f& c,
                            BitGrid& grid) {
    eval.mark_triangle(a, b, c, grid);
  }
  static double est_time(const BitGrid& grid) { return GridEval::est_time(grid); }
  static void random_shuffle(std::vector<GridEval::CopyComp>& order) { GridEval::random_shuffle(order); }
  static void initialize_order(const GridEval& eval, std::vector<GridEval::CopyComp>& order) {
    eval.initialize_order(order);
  }

  static int num_components(const GridEval& eval) { return eval.num_components_; }
  static int too_big(const GridEval& eval) { return eval.too_big_; }
  static int rotations(const GridEval& eval) { return eval.rotations_; }
  static float vat_x(const GridEval& eval) { return eval.vat_x_; }
  static BitGrid& footprint(GridEval& eval, int component, int rotation) {
    return eval.footprints_[eval.Slot(component, rotation)];
  }
  static int32_t& valid(GridEval& eval, int component, int rotation) {
    return eval.footprint_valid_[eval.Slot(component, rotation)];
  }
  static const GridEval::Answer::Place& place(const GridEval& eval, int component, int copy) {
    return eval.answer_.at(component, copy);
  }
  /// Adds a component without a mesh, all its rotations valid but those in `invalid` (bit r).
  static void add_footprints(GridEval& eval, const std::vector<BitGrid>& footprints, int copies,
                             uint32_t invalid = 0) {
    const int component = eval.num_components_++;
    for (int r = 0; r < eval.rotations_; ++r) {
      footprint(eval, component, r) = footprints[static_cast<std::size_t>(r) % footprints.size()];
      valid(eval, component, r) = !(invalid >> r & 1);
    }
    eval.copies_[static_cast<std::size_t>(component)] = copies;
  }
};
