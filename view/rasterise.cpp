#include <algorithm>
#include <cmath>
#include <utility>

#include "view/facets.h"

namespace trqprep {
namespace {

using view::NumberedObject;
using view::Spot;
using view::StackPart;

// Eighths of a pixel from its left side, by row of samples.
constexpr std::int32_t kEighths[4] = {3, 7, 1, 5};
// Facets wider than so many pixels are filled row by row between their sides.
constexpr std::int32_t kNarrow = 6;
constexpr double kDeepest = 4294967294.0;

struct Corner {
  std::int32_t x, y;  // in steps of the grid, from the upper left corner of the picture
  std::uint32_t z;    // in depth units
};

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {  // b above 0
  const std::int64_t quotient = a / b;
  return quotient - (a % b < 0 ? 1 : 0);
}

// From places in the picture to the grid.
class Grid {
 public:
  explicit Grid(const ViewFrame& frame) : frame_(frame) {
    std::size_t bits = 0;
    while ((std::size_t{1} << bits) < std::max(frame.width, frame.height)) ++bits;
    shift_ = int(30 - std::max<std::size_t>(bits, 10));
    steps_ = double(std::int64_t{1} << shift_) / frame.pixel;
    depths_ = 1 / frame.depth_unit;
  }
  int shift() const { return shift_; }
  double ColumnOf(double r) const { return (r - frame_.left) * steps_; }
  double RowOf(double u) const { return (frame_.top - u) * steps_; }
  double DepthOf(double t) const { return (frame_.near - t) * depths_; }
  Corner Of(const Spot& spot) const {
    // What rounding or a stray index puts outside comes to the border.
    constexpr double kFarthest = 1073741823.0;
    return {std::int32_t(Within(ColumnOf(spot.r), kFarthest)), std::int32_t(Within(RowOf(spot.u), kFarthest)),
            std::uint32_t(std::int64_t(Within(DepthOf(spot.t), kDeepest)))};
  }
  // The nearest whole number, of values to be cut off; a NaN is 0.
  static double Within(double value, double highest) {
    const double rounded = value + 0.5;
    return rounded > 0 ? (rounded < highest ? rounded : highest) : 0;
  }

 private:
  const ViewFrame& frame_;
  int shift_;
  double steps_, depths_;
};

// Fills rows of samples; each thread has rows of its own.
class Rows {
 public:
  Rows(SampleBuffer& buffer, const Grid& grid, std::size_t from, std::size_t to)
      : samples_(buffer.samples.data()),
        width_(std::int32_t(buffer.width)),
        shift_(grid.shift()),
        eighth_(1 << (shift_ - 3)),
        first_row_(std::int32_t(4 * from)),
        last_row_(std::int32_t(4 * to) - 1) {}

  std::int32_t first_row() const { return first_row_; }
  std::int32_t last_row() const { return last_row_; }
  // The first row of samples not above y, and the last one not below.
  std::int32_t RowFrom(std::int32_t y) const { return (y + eighth_ - 1) >> (shift_ - 2); }
  std::int32_t RowTo(std::int32_t y) const { return (y - eighth_) >> (shift_ - 2); }
  std::int32_t YOf(std::int32_t row) const { return (2 * row + 1) * eighth_; }

  void Facet(std::uint32_t number, const Corner& a, Corner b, Corner c) {
    const std::int32_t row_from = std::max(RowFrom(std::min({a.y, b.y, c.y})), first_row_);
    const std::int32_t row_to = std::min(RowTo(std::max({a.y, b.y, c.y})), last_row_);
    if (row_from > row_to) return;
    std::int64_t area = Twice(a, b, c);
    if (area == 0) return;
    if (area < 0) {
      std::swap(b, c);
      area = -area;
    }
    const std::int32_t x_from = std::min({a.x, b.x, c.x}), x_to = std::max({a.x, b.x, c.x});
    const std::uint64_t nearest = std::uint64_t{std::min({a.z, b.z, c.z})} << 32 | number;
    const Side ab(a, b), bc(b, c), ca(c, a);
    // The mean of the corners' depths by the areas opposite to them is exact but for rounding, however narrow
    // the facet is.
    const auto depth = [&, az = double(a.z), bz = double(b.z), cz = double(c.z)](
                           std::int64_t to_ab, std::int64_t to_bc, std::int64_t to_ca) {
      return (double(to_ab) * cz + double(to_bc) * az + double(to_ca) * bz) / double(area);
    };
    const auto depth_at = [&](std::int64_t x, std::int64_t y) {
      return depth(ab.Of(x, y), bc.Of(x, y), ca.Of(x, y));
    };
    if (x_to - x_from > kNarrow << shift_) {
      for (std::int32_t row = row_from; row <= row_to; ++row) {
        const std::int32_t y = YOf(row), offset = kEighths[row & 3] * eighth_;
        std::int64_t low = x_from, high = x_to;
        ab.Narrow(y, low, high);
        bc.Narrow(y, low, high);
        ca.Narrow(y, low, high);
        const std::int64_t from = ColumnFrom(low, offset), to = ColumnTo(high, offset);
        if (from > to) continue;
        const double first = depth_at((from << shift_) + offset, y);
        const double step =
            from == to ? 0 : (depth_at((to << shift_) + offset, y) - first) / double(to - from);
        std::uint64_t* sample = samples_ + Index(row, from);
        for (std::int64_t i = 0; i <= to - from; ++i, sample += 4)
          Put(*sample, number, first + step * double(i));
      }
      return;
    }
    for (std::int32_t row = row_from; row <= row_to; ++row) {
      const std::int32_t y = YOf(row), offset = kEighths[row & 3] * eighth_;
      const std::int64_t from = ColumnFrom(x_from, offset), to = ColumnTo(x_to, offset);
      if (from > to) continue;
      std::uint64_t* sample = samples_ + Index(row, from);
      for (std::int64_t column = from; column <= to; ++column, sample += 4) {
        if (*sample < nearest) continue;
        const std::int64_t x = (column << shift_) + offset;
        const std::int64_t to_ab = ab.Of(x, y), to_bc = bc.Of(x, y), to_ca = ca.Of(x, y);
        if (to_ab < ab.lowest || to_bc < bc.lowest || to_ca < ca.lowest) continue;
        Put(*sample, number, depth(to_ab, to_bc, to_ca));
      }
    }
  }

  // Samples of one row between two x, the left one included.
  void Span(std::uint32_t number, std::int32_t row, double x_from, double x_to, double depth,
            double along_x) {
    const std::int32_t offset = kEighths[row & 3] * eighth_;
    const double step = double(std::int64_t{1} << shift_);
    const double from = std::ceil((x_from - offset) / step), to = std::ceil((x_to - offset) / step);
    const auto first = std::int64_t(std::max(from, 0.0)), end = std::int64_t(std::min(to, double(width_)));
    for (std::int64_t column = first; column < end; ++column) {
      const double x = double((column << shift_) + offset);
      Put(samples_[Index(row, column)], number, std::min(std::max(depth + along_x * x, 0.0), kDeepest));
    }
  }

 private:
  // Twice the area, above 0 where the corners run clockwise in the picture.
  static std::int64_t Twice(const Corner& a, const Corner& b, const Corner& c) {
    return (std::int64_t{b.x} - a.x) * (std::int64_t{c.y} - a.y) -
           (std::int64_t{b.y} - a.y) * (std::int64_t{c.x} - a.x);
  }

  // A side of a facet whose inside is where Of is at least `lowest`. On the side itself that is so for one
  // direction of two.
  struct Side {
    Side(const Corner& a, const Corner& b)
        : dx(std::int64_t{b.x} - a.x),
          dy(std::int64_t{b.y} - a.y),
          x(a.x),
          y(a.y),
          lowest(dy > 0 || (dy == 0 && dx < 0) ? 0 : 1) {}
    // Twice the area between the side and a point.
    std::int64_t Of(std::int64_t px, std::int64_t py) const { return dx * (py - y) - dy * (px - x); }
    // Cuts a row's range of x down to the inside.
    void Narrow(std::int64_t py, std::int64_t& low, std::int64_t& high) const {
      const std::int64_t rest = dx * (py - y) - lowest;
      if (dy > 0) {
        high = std::min(high, x + FloorDiv(rest, dy));
      } else if (dy < 0) {
        low = std::max(low, x - FloorDiv(rest, -dy));
      } else if (rest < 0) {
        high = low - 1;
      }
    }
    std::int64_t dx, dy, x, y, lowest;
  };

  static void Put(std::uint64_t& sample, std::uint32_t number, double depth) {
    const std::uint64_t found = std::uint64_t(std::int64_t(depth + 0.5)) << 32 | number;
    if (found < sample) sample = found;
  }

  std::int64_t ColumnFrom(std::int64_t x, std::int32_t offset) const {
    return (x - offset + (std::int64_t{1} << shift_) - 1) >> shift_;
  }
  std::int64_t ColumnTo(std::int64_t x, std::int32_t offset) const {
    return std::min<std::int64_t>((x - offset) >> shift_, width_ - 1);
  }
  std::size_t Index(std::int32_t row, std::int64_t column) const {
    return (std::size_t(row >> 2) * std::size_t(width_) + std::size_t(column)) * 4 + std::size_t(row & 3);
  }

  std::uint64_t* samples_;
  std::int32_t width_;
  int shift_;
  std::int32_t eighth_;
  std::int32_t first_row_, last_row_;
};

void DrawMesh(Rows& rows, const Grid& grid, const NumberedObject& object,
              const std::vector<Corner>& corners) {
  const trq::core::MeshView& mesh = object.object->mesh;
  const auto count = std::uint32_t(corners.size());
  const Corner* of = corners.data();
  std::uint32_t number = object.first;
  for (const R_INT4& t : mesh.triangles) {
    const auto a = std::uint32_t(t[0]), b = std::uint32_t(t[1]), c = std::uint32_t(t[2]);
    if (a < count && b < count && c < count) {
      rows.Facet(number, of[a], of[b], of[c]);
    } else {
      const auto at = [&](std::int32_t index) { return grid.Of(object.view.At(mesh.Vertex(index))); };
      rows.Facet(number, at(t[0]), at(t[1]), at(t[2]));
    }
    ++number;
  }
}

struct Crossing {
  std::int32_t row;
  int turns;
  double x;
};

// The face of a layer: what its contours wind round, seen from above or from below.
void DrawFace(Rows& rows, const Grid& grid, const ViewFrame& frame, const NumberedObject& object,
              const std::vector<StackPart>& contours, const StackPart& face,
              std::vector<Crossing>& crossings) {
  double along_right = 0, along_up = 0;
  if (!view::SlopeOfHeights(frame.axes, along_right, along_up)) return;
  const SceneLayer& layer = object.object->layers[face.layer];
  const double z = frame.axes.toward[2] > 0 ? layer.top : layer.bottom;
  crossings.clear();
  for (const StackPart& part : contours) {
    const std::size_t count = part.contour->vertex_count;
    const float* p = part.contour->points;
    const auto place = [&](std::size_t i) {
      const Spot spot = object.view.At(double(p[2 * i]), double(p[2 * i + 1]), z);
      return std::pair(grid.ColumnOf(spot.r), grid.RowOf(spot.u));
    };
    auto before = place(count - 1);
    for (std::size_t i = 0; i < count; ++i) {
      const auto here = place(i);
      const auto& [x0, y0] = before.second < here.second ? before : here;
      const auto& [x1, y1] = before.second < here.second ? here : before;
      const int turns = before.second < here.second ? 1 : -1;
      const double eighth = rows.YOf(0);
      const double first = std::ceil((y0 - eighth) / (2 * eighth)),
                   end = std::ceil((y1 - eighth) / (2 * eighth));
      const double before_rows = double(rows.first_row()), behind = double(rows.last_row()) + 1;
      const auto from = std::int32_t(std::clamp(first, before_rows, behind));
      const auto to = std::int32_t(std::clamp(end, before_rows, behind));
      const double slope = y1 > y0 ? (x1 - x0) / (y1 - y0) : 0;
      for (std::int32_t row = from; row < to; ++row)
        crossings.push_back({row, turns, x0 + (double(rows.YOf(row)) - y0) * slope});
      before = here;
    }
  }
  std::sort(crossings.begin(), crossings.end(), [](const Crossing& a, const Crossing& b) {
    return a.row != b.row ? a.row < b.row : a.x != b.x ? a.x < b.x : a.turns < b.turns;
  });
  // Depth as a function of the place on the grid.
  const double step = frame.pixel / double(std::int64_t{1} << grid.shift()) / frame.depth_unit;
  const double along_x = -along_right * step, along_y = along_up * step;
  const Spot origin = object.view.At(0, 0, z);
  const double at_origin =
      grid.DepthOf(origin.t) - along_x * grid.ColumnOf(origin.r) - along_y * grid.RowOf(origin.u);
  int winding = 0;
  for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
    const Crossing &from = crossings[i], &to = crossings[i + 1];
    winding = from.row == to.row ? winding + from.turns : 0;
    if (winding != 0) {
      rows.Span(face.first, from.row, from.x, to.x, at_origin + along_y * double(rows.YOf(from.row)),
                along_x);
    }
  }
}

void DrawStack(Rows& rows, const Grid& grid, const ViewFrame& frame, const NumberedObject& object) {
  std::vector<StackPart> contours;
  std::vector<Crossing> crossings;
  for (const StackPart& part : object.parts) {
    if (!part.contour) {
      DrawFace(rows, grid, frame, object, contours, part, crossings);
      contours.clear();
      continue;
    }
    contours.push_back(part);
    for (std::uint32_t i = 0; i < part.contour->vertex_count; ++i) {
      Spot corners[4];
      view::WallCorners(object, part, i, corners);
      const Corner a = grid.Of(corners[0]), b = grid.Of(corners[1]), c = grid.Of(corners[2]);
      rows.Facet(part.first + i, a, b, c);
      rows.Facet(part.first + i, a, c, grid.Of(corners[3]));
    }
  }
}

}  // namespace

SampleBuffer Rasterise(const Scene& scene, const ViewFrame& frame, int threads) {
  SampleBuffer buffer;
  buffer.width = frame.width;
  buffer.height = frame.height;
  buffer.samples.assign(frame.width * frame.height * 4, SampleBuffer::kNothing);
  const Grid grid(frame);
  for (const NumberedObject& object : view::NumberFacets(scene, frame)) {
    const trq::core::MeshView& mesh = object.object->mesh;
    std::vector<Corner> corners(mesh.vertex_count);
    view::InShares(corners.size(), threads, [&](std::size_t from, std::size_t to) {
      for (std::size_t i = from; i < to; ++i) corners[i] = grid.Of(object.view.At(mesh.vertices[i].data()));
    });
    view::InShares(frame.height, threads, [&](std::size_t from, std::size_t to) {
      Rows rows(buffer, grid, from, to);
      DrawMesh(rows, grid, object, corners);
      DrawStack(rows, grid, frame, object);
    });
  }
  return buffer;
}

}  // namespace trqprep
