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

  // Faces come from the nearest one on, and none covers a sample that one before it has.
  void StartFaces() {
    free_.resize(std::size_t(last_row_ - first_row_ + 1) * (std::size_t(width_) + 1));
    for (std::size_t i = 0; i < free_.size(); ++i) free_[i] = std::uint16_t(i % (std::size_t(width_) + 1));
  }

  // Samples of one row of a face between two x, the left one included.
  void Span(std::uint32_t number, std::int32_t row, double x_from, double x_to, double depth,
            double along_x) {
    const std::int32_t offset = kEighths[row & 3] * eighth_;
    const double step = double(std::int64_t{1} << shift_);
    const double from = std::ceil((x_from - offset) / step), to = std::ceil((x_to - offset) / step);
    const auto first = std::int64_t(std::max(from, 0.0)), end = std::int64_t(std::min(to, double(width_)));
    if (first >= end) return;
    std::uint16_t* const free = free_.data() + std::size_t(row - first_row_) * (std::size_t(width_) + 1);
    for (std::int64_t column = FirstFree(free, first); column < end; column = FirstFree(free, column)) {
      const double x = double((column << shift_) + offset);
      Put(samples_[Index(row, column)], number, std::min(std::max(depth + along_x * x, 0.0), kDeepest));
      ++free[column];
    }
  }

 private:
  // The first column from this one on that no face has covered: ways lead there, and become shorter.
  static std::int64_t FirstFree(std::uint16_t* free, std::int64_t column) {
    while (free[column] != column) {
      free[column] = free[free[column]];
      column = free[column];
    }
    return column;
  }

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
  std::vector<std::uint16_t> free_;  // for each sample one that is no farther left than the next free one
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

// The face of a layer, which its contours wind round, seen from above or from below.
struct Face {
  const StackPart* contours;  // the face's own entry follows them
  const StackPart* own;
  double z;
  double at_origin;  // its depth at the upper left corner of the grid
};

// Depth along faces as a function of the place on the grid.
struct FaceSlope {
  double along_x, along_y;
};

void DrawFace(Rows& rows, const Grid& grid, const FaceSlope& slope, const NumberedObject& object,
              const Face& face, std::vector<Crossing>& crossings) {
  crossings.clear();
  for (const StackPart* part = face.contours; part != face.own; ++part) {
    const std::size_t count = part->contour->vertex_count;
    const float* p = part->contour->points;
    const auto place = [&](std::size_t i) {
      const Spot spot = object.view.At(double(p[2 * i]), double(p[2 * i + 1]), face.z);
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
      const double along = y1 > y0 ? (x1 - x0) / (y1 - y0) : 0;
      for (std::int32_t row = from; row < to; ++row)
        crossings.push_back({row, turns, x0 + (double(rows.YOf(row)) - y0) * along});
      before = here;
    }
  }
  std::sort(crossings.begin(), crossings.end(), [](const Crossing& a, const Crossing& b) {
    return a.row != b.row ? a.row < b.row : a.x != b.x ? a.x < b.x : a.turns < b.turns;
  });
  int winding = 0;
  for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
    const Crossing &from = crossings[i], &to = crossings[i + 1];
    winding = from.row == to.row ? winding + from.turns : 0;
    if (winding != 0) {
      rows.Span(face.own->first, from.row, from.x, to.x,
                face.at_origin + slope.along_y * double(rows.YOf(from.row)), slope.along_x);
    }
  }
}

void DrawFaces(Rows& rows, const Grid& grid, const ViewFrame& frame, const NumberedObject& object) {
  double along_right = 0, along_up = 0;
  if (!view::SlopeOfHeights(frame.axes, along_right, along_up)) return;
  const double step = frame.pixel / double(std::int64_t{1} << grid.shift()) / frame.depth_unit;
  const FaceSlope slope{-along_right * step, along_up * step};
  std::vector<Face> faces;
  const StackPart* contours = object.parts.data();
  for (const StackPart& part : object.parts) {
    if (part.contour) continue;
    const SceneLayer& layer = object.object->layers[part.layer];
    const double z = frame.axes.toward[2] > 0 ? layer.top : layer.bottom;
    const Spot origin = object.view.At(0, 0, z);
    const double at_origin = grid.DepthOf(origin.t) - slope.along_x * grid.ColumnOf(origin.r) -
                             slope.along_y * grid.RowOf(origin.u);
    faces.push_back({contours, &part, z, at_origin});
    contours = &part + 1;
  }
  std::sort(faces.begin(), faces.end(), [](const Face& a, const Face& b) {
    return a.at_origin != b.at_origin ? a.at_origin < b.at_origin : a.own->first < b.own->first;
  });
  rows.StartFaces();
  std::vector<Crossing> crossings;
  for (const Face& face : faces) DrawFace(rows, grid, slope, object, face, crossings);
}

void DrawStack(Rows& rows, const Grid& grid, const ViewFrame& frame, const NumberedObject& object) {
  if (object.parts.empty()) return;
  for (const StackPart& part : object.parts) {
    for (std::uint32_t i = 0; part.contour && i < part.contour->vertex_count; ++i) {
      Spot corners[4];
      view::WallCorners(object, part, i, corners);
      const Corner a = grid.Of(corners[0]), b = grid.Of(corners[1]), c = grid.Of(corners[2]);
      rows.Facet(part.first + i, a, b, c);
      rows.Facet(part.first + i, a, c, grid.Of(corners[3]));
    }
  }
  DrawFaces(rows, grid, frame, object);
}

// What it takes to fill facets, about in samples.
class Filling {
 public:
  Filling(const ViewFrame& frame, double most)
      : frame_(frame), most_(most), rows_(4 * double(frame.height)) {}

  bool too_much() const { return sum_ > most_; }

  void Facet(const Spot& a, const Spot& b, const Spot& c) {
    const double rows = RowsBetween(std::min({a.u, b.u, c.u}), std::max({a.u, b.u, c.u}));
    if (rows < 1) return;
    const double wide = (std::max({a.r, b.r, c.r}) - std::min({a.r, b.r, c.r})) / frame_.pixel;
    if (wide <= kNarrow) {
      Add(2 * rows * (wide + 1));
      return;
    }
    const double twice = (b.r - a.r) * (c.u - a.u) - (b.u - a.u) * (c.r - a.r);
    const double samples = 2 * std::abs(twice) / (frame_.pixel * frame_.pixel);
    Add(kRow * rows + std::min(samples, rows * double(frame_.width)));
  }
  // An edge of a contour, for the face.
  void Edge(const Spot& a, const Spot& b) { Add(kRow * RowsBetween(std::min(a.u, b.u), std::max(a.u, b.u))); }

 private:
  static constexpr double kRow = 32;  // to find where a row begins and ends
  double RowsBetween(double low, double high) const {
    return std::min(4 * (high - low) / frame_.pixel, rows_);
  }
  // Whole numbers, whose sum is the same in any order.
  void Add(double work) { sum_ = std::min(sum_ + std::floor(work), 1e15); }

  const ViewFrame& frame_;
  double most_, rows_;
  double sum_ = 0;
};

void AddMesh(Filling& filling, const NumberedObject& object) {
  const trq::core::MeshView& mesh = object.object->mesh;
  const auto at = [&](std::int32_t index) { return object.view.At(mesh.Vertex(index)); };
  for (const R_INT4& t : mesh.triangles) {
    filling.Facet(at(t[0]), at(t[1]), at(t[2]));
    if (filling.too_much()) return;
  }
}

void AddStack(Filling& filling, const NumberedObject& object) {
  for (const StackPart& part : object.parts) {
    for (std::uint32_t i = 0; part.contour && i < part.contour->vertex_count; ++i) {
      Spot corners[4];
      view::WallCorners(object, part, i, corners);
      filling.Facet(corners[0], corners[1], corners[2]);
      filling.Facet(corners[0], corners[2], corners[3]);
      filling.Edge(corners[0], corners[1]);
    }
    if (filling.too_much()) return;
  }
}

}  // namespace

std::size_t CoarsenessOf(const Scene& scene, const RenderOptions& options) {
  constexpr double kOfFacet = 2000;
  const double samples = 4 * double(options.width) * double(options.height);
  double facets = 0;
  for (const SceneObject& object : scene.objects) {
    facets += double(object.mesh.triangles.size());
    for (const SceneLayer& layer : object.layers) {
      for (const trq::SlcBoundary& contour : layer.layer->boundaries())
        facets += double(contour.vertex_count);
    }
  }
  const double most = double(options.deepest) * samples + kOfFacet * facets;
  if (facets * samples <= most) return 1;
  for (std::size_t times = 1;; times *= 2) {
    const RenderOptions coarser = view::Coarser(options, times);
    const ViewFrame frame = FrameScene(scene, coarser);
    Filling filling(frame, most);
    for (const NumberedObject& object : view::NumberFacets(scene, frame)) {
      AddMesh(filling, object);
      AddStack(filling, object);
    }
    if (!filling.too_much() || std::min(options.width, options.height) / (2 * times) < 16) return times;
  }
}

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
