/// The placement exactly as its interface describes it, shift by shift and cell by cell: the oracle of the
/// fast forms. Slow on purpose; read it beside the interface's description.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "trq/placement.h"

class LiteralGridEval : public GRID_INDEX2 {
 public:
  using CopyComp = GridEval::CopyComp;
  using Answer = GridEval::Answer;

  LiteralGridEval(float vat_x_, float vat_y_, float vat_z_, int rotations_)
      : vat_x(vat_x_ + 0.000001F),
        vat_y(vat_y_ + 0.000001F),
        vat_z(vat_z_ + 0.000001F),
        rotations(std::clamp(rotations_, 0, 24)),
        footprints(101 * 24),
        valid(101 * 24),
        copies_of(101) {}

  void clear() { components = too_big = 0; }

  void add(CTL& part, int copies) {
    if (copies > 100) {
      std::printf("Warning: MAX_COPIES of %i exceeded (%i)\n", 100, copies);
      copies = 100;
    }
    if (components >= 101) {
      std::printf("Warning: too many components to place on vat\n");
      return;
    }
    float x, y, z;
    part.get_max(&x, &y, &z);
    const double diagonal = std::sqrt(double{vat_x} * vat_x + double{vat_y} * vat_y);
    if (x > diagonal || y > diagonal || z > vat_z) {
      too_big = 1;
      return;
    }
    setup(static_cast<float>(double{vat_x} * 0.032258064F), static_cast<float>(double{vat_y} * 0.032258064F),
          0, 0, vat_x, vat_y);
    for (int r = 0; r < rotations; ++r) {
      part.get_max(&x, &y, &z);
      if (x > vat_x || y > vat_y) {
        valid[slot(components, r)] = 0;
      } else {
        BitGrid work;
        const int triangles = std::min(part.num_triangles(), static_cast<int>(part.triangles_.size()));
        for (int t = 0; t < triangles; ++t) {
          const auto corner = [&](int k) {
            const std::size_t i = static_cast<uint32_t>(part.nth(t)[k]);
            return i < part.vertices_.size() ? part.vertices_[i] : PbVec3f(0, 0, 0);
          };
          mark_triangle(corner(0), corner(1), corner(2), work);
        }
        footprints[slot(components, r)] = work;
        valid[slot(components, r)] = 1;
      }
      part.rotateZ(static_cast<float>(360.0 / rotations));
      part.get_min(&x, &y, &z);
      part.translate(-x, -y, 0);
    }
    copies_of[static_cast<std::size_t>(components++)] = std::max(copies, 0);
  }

  /// A component without a mesh, all its rotations valid but those in `invalid` (bit r).
  void add_footprints(const std::vector<BitGrid>& grids, int copies, uint32_t invalid = 0) {
    for (int r = 0; r < rotations; ++r) {
      footprints[slot(components, r)] = grids[static_cast<std::size_t>(r) % grids.size()];
      valid[slot(components, r)] = !(invalid >> r & 1);
    }
    copies_of[static_cast<std::size_t>(components++)] = copies;
  }

  void mark_triangle(const PbVec3f& a, const PbVec3f& b, const PbVec3f& c, BitGrid& grid) const {
    const auto [x0, x1] = std::minmax({x_index(a[0]), x_index(b[0]), x_index(c[0])});
    const auto [y0, y1] = std::minmax({y_index(a[1]), y_index(b[1]), y_index(c[1])});
    const auto inside = [](int low, int high, int count) {
      return std::max(0.0, std::min<double>(high, count - 1.0) - std::max(low, 0) + 1);
    };
    const double cells = (static_cast<double>(x1) - x0 + 1) * (static_cast<double>(y1) - y0 + 1);
    const double outside = cells - inside(x0, x1, x_num) * inside(y0, y1, y_num);
    if (x0 == INT_MIN || y0 == INT_MIN || outside > 1048576) {
      std::printf("whoops, mistake in part placement\n");
      for (int x = 0; x < 32; ++x)
        for (int y = 0; y < 32; ++y)
          if (x >= x0 && x <= x1 && y >= y0 && y <= y1 && ok(x, y)) grid.set(x, y);
      return;
    }
    for (int64_t x = x0; x <= x1; ++x)
      for (int64_t y = y0; y <= y1; ++y) {
        if (ok(static_cast<int>(x), static_cast<int>(y)))
          grid.set(static_cast<int>(x), static_cast<int>(y));
        else
          std::printf("whoops, mistake in part placement\n");
      }
  }

  int greedy_search(int component, int rotation, const BitGrid& occupied, BitGrid& trial, int& out_x,
                    int& out_y, int mode) const {
    const BitGrid& footprint = footprints[slot(component, rotation)];
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

  int add_piece(int component, int copy, BitGrid& occupied, Answer& found, int mode) const {
    int best = 100000;
    BitGrid kept, trial;
    for (int r = 0; r < rotations; ++r) {
      if (!valid[slot(component, r)]) continue;
      int dx, dy;
      if (!greedy_search(component, r, occupied, trial, dx, dy, mode)) continue;
      const int score = mode != 0 ? trial.max_y() : trial.max_x();
      if (score < best) {
        best = score;
        kept = trial;
        found.at(component, copy) = {dx, dy, r};
      }
    }
    if (best == 100000) return 0;
    occupied |= kept;
    return 1;
  }

  void initialize_order(std::vector<CopyComp>& order) const {
    order.clear();
    for (int c = 0; c < components; ++c)
      for (int k = 0; k < copies_of[static_cast<std::size_t>(c)]; ++k) order.push_back({c, k});
  }

  static void random_shuffle(std::vector<CopyComp>& order) {
    std::vector<CopyComp> output(order.size());
    std::size_t m = order.size();
    for (CopyComp& next : output) {
      const std::size_t r = static_cast<std::size_t>(std::rand()) % m;
      next = order[r];
      order[r] = order[m - 1];
      --m;
    }
    order = output;
  }

  int find_a_placement(const std::vector<CopyComp>& order, Answer& found, int mode, int& height) const {
    BitGrid occupied;
    for (const CopyComp& piece : order)
      if (!add_piece(piece.component, piece.copy, occupied, found, mode)) return 0;
    height = occupied.max_y();
    return 1;
  }

  int find_random_placement(std::vector<CopyComp>& order, Answer& found, int& height) const {
    random_shuffle(order);
    BitGrid occupied;
    for (const CopyComp& piece : order)
      if (!add_piece(piece.component, piece.copy, occupied, found, std::rand() % 2)) return 0;
    height = occupied.max_y();
    return 1;
  }

  int search() {
    int best = 10000;
    int height = 0;
    std::vector<CopyComp> order;
    initialize_order(order);
    Answer found;
    if (find_a_placement(order, found, 1, height)) {
      best = height;
      answer = found;
    }
    for (int i = 0; i < 50; ++i)
      if (find_random_placement(order, found, height) && height < best) {
        best = height;
        answer = found;
      }
    return best != 10000;
  }

  void enlarge_components() {
    for (int c = 0; c < components; ++c)
      for (int r = 0; r < rotations; ++r) {
        if (!valid[slot(c, r)]) continue;
        BitGrid moved;
        footprints[slot(c, r)].shift(moved, 1, 1);
        footprints[slot(c, r)] |= moved;
      }
  }

  int find_placement() {
    if (too_big || !search()) return 0;
    enlarge_components();
    search();
    return 1;
  }

  static std::size_t slot(int component, int rotation) {
    return static_cast<std::size_t>(component) * 24 + static_cast<std::size_t>(rotation);
  }

  Answer answer;
  float vat_x, vat_y, vat_z;
  int rotations;
  std::vector<BitGrid> footprints;
  std::vector<int> valid;
  std::vector<int> copies_of;
  int components = 0;
  int too_big = 0;
};
