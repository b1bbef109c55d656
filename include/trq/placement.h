/// Automatic placement of many copies of parts on the vat.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "trq/export.h"
#include "trq/foundation.h"
#include "trq/geometry.h"

/// A 32 x 32 occupancy raster: 32 rows (x) of one word each, bit y of row x is cell (x, y).
class TRQ_EXPORT BitGrid {
 public:
  BitGrid();
  void set(int x, int y);
  /// The masked word (nonzero when set), not 0/1.
  unsigned on(int x, int y) const;
  void clear();
  void fill();
  BitGrid& operator=(const BitGrid&) = default;
  BitGrid(const BitGrid&) = default;
  BitGrid& operator&=(const BitGrid& other);
  BitGrid& operator|=(const BitGrid& other);
  int touches(const BitGrid& other) const;
  /// ORs this grid, moved by dx rows and dy bits, into dest.
  void shift(BitGrid& dest, int dx, int dy) const;
  int occupied() const;
  int max_x() const;
  int max_y() const;
  void print(FILE* stream) const;

 private:
  uint32_t rows_[32];
};

/// Maps a rectangle of the XY plane onto a grid of equal cells.
class TRQ_EXPORT GRID_INDEX2 : public CErrorObject {
 public:
  GRID_INDEX2();
  ~GRID_INDEX2() override;
  void setup(float dx, float dy, float xmin, float ymin, float xmax, float ymax);
  void setup2(int nx, int ny, float xmin, float ymin, float xmax, float ymax);
  int x_coord(int i) const;
  int y_coord(int j) const;
  float x_coordf(int i) const;
  float y_coordf(int j) const;
  int x_mid_coord(int i) const;
  int y_mid_coord(int j) const;
  int x_ok(int i) const;
  int y_ok(int j) const;
  int ok(int i, int j) const;
  int get_y_num() const;
  int boxes_between(float x0, float y0, float x1, float y1, DynArray<MyPair<int, int>>& cells) const;

 protected:
  int x_index(float x) const;
  int y_index(float y) const;

 public:
  int32_t x_num = 0;
  int32_t y_num = 0;
  float x_size = 0;
  float y_size = 0;
  float x_offset = 0;
  float y_offset = 0;
};

/// Arranges copies of components on the vat.
class TRQ_EXPORT GridEval : public GRID_INDEX2 {
 public:
  enum : int { MAX_COPIES = 100 };
  struct CopyComp {
    int32_t component;
    int32_t copy;
  };
  GridEval(float vat_x, float vat_y, float vat_z, int rotations);
  ~GridEval() override;
  void clear();
  void add(CTL& part, int copies);
  int find_placement();
  void enlarge_components();
  float x_shift(int component, int copy) const;
  float y_shift(int component, int copy) const;
  float z_rot(int component, int copy) const;
};
