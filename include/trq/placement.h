/// Automatic placement of many copies of parts on the vat.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "trq/export.h"
#include "trq/foundation.h"
#include "trq/geometry.h"

namespace trq::detail {
class PlacementSearch;
}  // namespace trq::detail

/// A 32 x 32 occupancy raster and plain value: footprints, the vat's occupied area and every trial position.
class TRQ_EXPORT BitGrid {
 public:
  /// All cells clear.
  BitGrid();
  BitGrid(const BitGrid&) = default;
  BitGrid& operator=(const BitGrid&) = default;

  /// Sets cell (x, y), which is bit y mod 32 of word x + y/32. A word outside 0..31 or a negative y: nothing.
  void set(int x, int y);
  /// The masked word, 2^(y mod 32) when the cell is set (not 1); addresses as `set` does, 0 outside.
  unsigned on(int x, int y) const;
  void clear();
  /// Sets all 1024 cells.
  void fill();
  BitGrid& operator&=(const BitGrid& other);
  BitGrid& operator|=(const BitGrid& other);
  /// 1 when the two have a set cell in common, else 0.
  int touches(const BitGrid& other) const;
  /// ORs this grid, moved by dx rows and dy bits, into `dest`, which keeps the cells it has. Rows moved past
  /// row 31 and bits moved past bit 31 are dropped. A negative shift or dx above 31 does nothing; a dy of 32
  /// and more moves by dy/32 further rows.
  void shift(BitGrid& dest, int dx, int dy) const;
  /// Number of set cells.
  int occupied() const;
  /// Highest row with a set cell, -1 for an empty grid.
  int max_x() const;
  /// Highest bit set in any row, -1 for an empty grid.
  int max_y() const;
  /// Prints a line a row, bit 0 first, "#" for a set and "." for a clear cell, to `stream` (null: standard
  /// output). Each row's line end goes to standard output, whatever the stream is.
  void print(FILE* stream) const;

  /// Row x is one word; bit y of it is cell (x, y).
  uint32_t rows[32];

 private:
  static int num_bits(unsigned word);
  static int highest_bit(unsigned word);
  static int count_bits(int value);
  static void shift_bits(const unsigned* src, unsigned* dst, int nbits, int nwords, int dst_words);

  friend struct PlacementProbe;  // the tests' view of the private steps
};

/// Maps a rectangle of the XY plane onto a grid of equal cells. Lengths are in the caller's units.
class TRQ_EXPORT GRID_INDEX2 : public CErrorObject {
 public:
  GRID_INDEX2();
  GRID_INDEX2(const GRID_INDEX2&) = default;
  GRID_INDEX2& operator=(const GRID_INDEX2&) = default;
  ~GRID_INDEX2() override;

  /// Cells of dx by dy from (xmin, ymin) up to and including the one that holds (xmax, ymax).
  void setup(float dx, float dy, float xmin, float ymin, float xmax, float ymax);
  /// nx by ny cells over an area whose upper corner is widened by the factor 1.0001, so that (xmax, ymax)
  /// itself falls in the last cell.
  void setup2(int nx, int ny, float xmin, float ymin, float xmax, float ymax);

  /// Lower edge of a column or row of cells, truncated to int toward zero (INT_MIN when it does not fit).
  int x_coord(int i) const;
  int y_coord(int j) const;
  /// Lower edge of a column or row of cells.
  float x_coordf(int i) const;
  float y_coordf(int j) const;
  /// Middle of a column or row of cells, truncated to int toward zero.
  int x_mid_coord(int i) const;
  int y_mid_coord(int j) const;
  /// 1 when the index lies on the grid, else 0.
  int x_ok(int i) const;
  int y_ok(int j) const;
  int ok(int i, int j) const;
  int get_y_num() const;
  /// Fills `cells` with the cells that the segment from (x0, y0) to (x1, y1) passes through, in order, each
  /// sharing an edge with the one before, and returns their number. Through a corner the Y step comes first.
  /// Returns the first cell alone when an index does not fit an int, when the path is longer than 2^24 cells,
  /// or when it could not end (cells of negative size).
  int boxes_between(float x0, float y0, float x1, float y1, DynArray<MyPair<int, int>>& cells) const;

 protected:
  /// (x + x_offset) / x_size, rounded to float and truncated toward zero: a point just below the lower edge
  /// is in cell 0. INT_MIN when the quotient is not a number or does not fit.
  int x_index(float x) const;
  int y_index(float y) const;

 public:
  int32_t x_num = 0;  ///< number of cells
  int32_t y_num = 0;
  float x_size = 0;  ///< cell width
  float y_size = 0;
  float x_offset = 0;  ///< the negated lower corner: added to a coordinate before dividing by the cell width
  float y_offset = 0;

  friend struct PlacementProbe;
};

/// Arranges copies of meshes on the vat so that they do not overlap and reach as little as possible along Y.
///
/// Use: construct, `add` every mesh (moved to minimum X = Y = 0 before), `find_placement`; when it returns 1,
/// turn a copy of each mesh about Z by `z_rot`, move it back to minimum X = Y = 0, and then move it by
/// `x_shift` and `y_shift`. `find_placement` draws from the C library's `rand`, which it does not
/// seed, or from what trq::SetRandomSource has installed on the calling thread.
class TRQ_EXPORT GridEval : public GRID_INDEX2 {
 public:
  enum : int {
    MAX_COPIES = 100,
    kComponentSlots = 101,  ///< components that find a place in the tables
    kRotationSlots = 24
  };
  /// A piece of the search: one copy of one component.
  struct CopyComp {
    int32_t component;
    int32_t copy;
  };
  /// Where each piece goes: cell shifts and rotation index of every component and copy, 0 where nothing was
  /// found.
  class TRQ_EXPORT Answer {
   public:
    struct Place {
      int32_t x = 0;
      int32_t y = 0;
      int32_t rotation = 0;
    };
    Answer() : places_(std::size_t{kComponentSlots} * MAX_COPIES) {}
    /// Requires: component in 0..100, copy in 0..99.
    Place& at(int component, int copy) { return places_[Slot(component, copy)]; }
    const Place& at(int component, int copy) const { return places_[Slot(component, copy)]; }
    void clear() { std::fill(places_.begin(), places_.end(), Place()); }

   private:
    static std::size_t Slot(int component, int copy) {
      return static_cast<std::size_t>(component) * MAX_COPIES + static_cast<std::size_t>(copy);
    }
    std::vector<Place> places_;
  };

  /// Vat size in the meshes' units; `rotations` equal turns of a full circle are tried, clamped to 0..24.
  GridEval(float vat_x, float vat_y, float vat_z, int rotations);
  GridEval(const GridEval&) = default;
  GridEval& operator=(const GridEval&) = default;
  ~GridEval() override;

  /// Forgets the components; the last answer stays readable.
  void clear();
  /// Rasterises one mesh in all rotations and records its copies (cut to 100 with a warning on standard
  /// output; a negative number counts as 0). The mesh must stand at minimum X = Y = 0; it is turned round
  /// once and comes back to its place but for rounding. A mesh beyond the vat's diagonal or height is not
  /// counted and makes `find_placement` return 0 until `clear`. A component after the 101st is refused with a
  /// warning. Each cell of a facet's box outside the grid prints "whoops, mistake in part placement"; a facet
  /// with more than 2^20 such cells, or with a corner that has no cell, prints it once.
  void add(CTL& part, int copies);
  /// Searches: a fixed pass and 50 random ones, then the same again with every footprint grown by one cell,
  /// whose result, if any, is preferred. Returns 1 when an arrangement was found, else 0 (the answer is
  /// unchanged). The footprints stay grown: `clear` and `add` again before another search.
  int find_placement();
  /// Unites every valid footprint with itself moved by (1, 1).
  void enlarge_components();

  /// Shift of a piece from minimum X = Y = 0; 0 outside the tables.
  float x_shift(int component, int copy) const;
  float y_shift(int component, int copy) const;
  /// Turn of a piece about Z in degrees; 0 outside the tables or with no rotations.
  float z_rot(int component, int copy) const;

 private:
  static double est_time(const BitGrid& grid);
  BitGrid footprint(const CTL& part, std::vector<uint16_t>& cells) const;
  void mark_triangle(const PbVec3f& a, const PbVec3f& b, const PbVec3f& c, BitGrid& grid) const;
  static int find_a_placement(trq::detail::PlacementSearch& search, const std::vector<CopyComp>& order,
                              std::vector<Answer::Place>& places, int mode, int& height);
  static int find_random_placement(trq::detail::PlacementSearch& search, std::vector<CopyComp>& order,
                                   std::vector<Answer::Place>& places, int& height);
  static void random_shuffle(std::vector<CopyComp>& order);
  void initialize_order(std::vector<CopyComp>& order) const;
  int RunPasses();
  const Answer::Place* PlaceOf(int component, int copy) const;
  std::size_t Slot(int component, int rotation) const;

  Answer answer_;
  float vat_x_;
  float vat_y_;
  float vat_z_;
  int32_t rotations_;
  std::vector<BitGrid> footprints_;       ///< component x 24 + rotation
  std::vector<int32_t> footprint_valid_;  ///< same index; 1 when that rotation fits the vat
  std::vector<int32_t> copies_;
  int32_t num_components_ = 0;
  int32_t too_big_ = 0;

  friend struct PlacementProbe;
};
