#include <climits>
#include <cstdlib>

#include "placement/cell_index.h"
#include "trq/placement.h"

using namespace trq::detail;

namespace {

constexpr int64_t kLongestPath = int64_t{1} << 24;

// last - first + 1, wrapping where it does not fit an int.
int CellCount(int first, int last) { return int(uint32_t(last) - uint32_t(first) + 1U); }

double LowerEdge(int i, float size, float offset) { return double(i) * size - offset; }

// Whether steps of `step` lead from `from` to `to`.
bool Leads(int step, int from, int to) { return from == to || (to > from) == (step > 0); }

}  // namespace

GRID_INDEX2::GRID_INDEX2() = default;
GRID_INDEX2::~GRID_INDEX2() = default;

void GRID_INDEX2::setup(float dx, float dy, float xmin, float ymin, float xmax, float ymax) {
  x_offset = -xmin;
  y_offset = -ymin;
  x_size = dx;
  y_size = dy;
  x_num = CellCount(x_index(xmin), x_index(xmax));
  y_num = CellCount(y_index(ymin), y_index(ymax));
}

void GRID_INDEX2::setup2(int nx, int ny, float xmin, float ymin, float xmax, float ymax) {
  x_offset = -xmin;
  y_offset = -ymin;
  x_num = nx;
  y_num = ny;
  x_size = float((xmax * 1.0001 - xmin) / nx);
  y_size = float((ymax * 1.0001 - ymin) / ny);
}

int GRID_INDEX2::x_index(float x) const { return CellIndex(x, x_offset, x_size); }
int GRID_INDEX2::y_index(float y) const { return CellIndex(y, y_offset, y_size); }

int GRID_INDEX2::x_coord(int i) const { return ToInt(LowerEdge(i, x_size, x_offset)); }
int GRID_INDEX2::y_coord(int j) const { return ToInt(LowerEdge(j, y_size, y_offset)); }
float GRID_INDEX2::x_coordf(int i) const { return float(LowerEdge(i, x_size, x_offset)); }
float GRID_INDEX2::y_coordf(int j) const { return float(LowerEdge(j, y_size, y_offset)); }
int GRID_INDEX2::x_mid_coord(int i) const { return ToInt(LowerEdge(i, x_size, x_offset) + x_size * 0.5); }
int GRID_INDEX2::y_mid_coord(int j) const { return ToInt(LowerEdge(j, y_size, y_offset) + y_size * 0.5); }
int GRID_INDEX2::x_ok(int i) const { return 0 <= i && i < x_num; }
int GRID_INDEX2::y_ok(int j) const { return 0 <= j && j < y_num; }
int GRID_INDEX2::ok(int i, int j) const { return x_ok(i) && y_ok(j); }
int GRID_INDEX2::get_y_num() const { return y_num; }

int GRID_INDEX2::boxes_between(float x0, float y0, float x1, float y1,
                               DynArray<MyPair<int, int>>& cells) const {
  int i = x_index(x0);
  int j = y_index(y0);
  const int ie = x_index(x1);
  const int je = y_index(y1);
  if (cells.capacity() == 0) cells.make_room(1);
  cells.count = 1;
  cells[0] = {i, j};
  if (i == ie && j == je) return 1;

  const int sx = x1 > x0 ? 1 : -1;
  const int sy = y1 > y0 ? 1 : -1;
  const int64_t path = std::abs(int64_t{ie} - i) + std::abs(int64_t{je} - j) + 1;
  const bool any_lost = i == INT_MIN || j == INT_MIN || ie == INT_MIN || je == INT_MIN;
  if (any_lost || path > kLongestPath || !Leads(sx, i, ie) || !Leads(sy, j, je)) return 1;

  float cx = x0;
  float cy = y0;
  const double ddx = double(x1) - x0;
  const double ddy = double(y1) - y0;
  while (i != ie || j != je) {
    bool step_in_y = i == ie;
    if (i != ie && j != je) {
      const double xb = LowerEdge(sx > 0 ? i + 1 : i, x_size, x_offset);
      const double yb = LowerEdge(sy > 0 ? j + 1 : j, y_size, y_offset);
      const float tx = float((xb - cx) / ddx);
      const float ty = float((yb - cy) / ddy);
      step_in_y = tx >= ty;
      if (step_in_y) {
        cx = float(ty * ddx + cx);
        cy = float(yb);
      } else {
        cy = float(tx * ddy + cy);
        cx = float(xb);
      }
    }
    // Once one index has arrived the rest of the path is straight, and the current point no longer matters.
    if (step_in_y)
      j += sy;
    else
      i += sx;
    cells.append({i, j});
  }
  return cells.count;
}
