#include "slicing/unite.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <polyclipping/clipper.hpp>

#include "slicing/contour_form.h"
#include "slicing/union_work.h"
#include "slicing/winding_sweep.h"
#include "trq/core/elementary.h"

namespace trqprep::slicing {
namespace {

// A contour among those of its layer, by its box.
struct Boxed {
  std::size_t contour;
  float low[2], high[2];
};

// Parts the contours from `first` to `last` by lines along an axis that meet none of their boxes, until
// nothing parts them, and takes each group.
class Groups {
 public:
  explicit Groups(std::vector<Boxed>& boxes) : boxes_(boxes) {}

  template <class Take>
  void Part(std::size_t first, std::size_t last, std::size_t axis, bool held, int depth, const Take& take) {
    std::sort(boxes_.begin() + std::ptrdiff_t(first), boxes_.begin() + std::ptrdiff_t(last),
              [axis](const Boxed& a, const Boxed& b) {
                return a.low[axis] != b.low[axis] ? a.low[axis] < b.low[axis] : a.contour < b.contour;
              });
    std::size_t begin = first;
    float reach = boxes_[first].high[axis];
    bool parted = false;
    for (std::size_t i = first + 1; i <= last; ++i) {
      if (i < last && boxes_[i].low[axis] <= reach) {
        reach = std::max(reach, boxes_[i].high[axis]);
        continue;
      }
      if (i < last) reach = boxes_[i].high[axis];
      parted = parted || i < last;
      if (!parted && held) return take(first, last);
      if (depth == 0 || i - begin == 1) {
        take(begin, i);
      } else {
        Part(begin, i, 1 - axis, !parted, depth - 1, take);
      }
      begin = i;
    }
  }

 private:
  std::vector<Boxed>& boxes_;
};

constexpr int kDeepestPart = 24;

Boxed BoxOf(const SliceContour& contour, std::size_t number) {
  Boxed box{
      number, {contour.points[0][0], contour.points[0][1]}, {contour.points[0][0], contour.points[0][1]}};
  for (const SlicePoint& point : contour.points) {
    for (std::size_t k = 0; k < 2; ++k) {
      box.low[k] = std::min(box.low[k], point[k]);
      box.high[k] = std::max(box.high[k], point[k]);
    }
  }
  return box;
}

bool IsFinite(const SliceContour& contour) {
  return std::all_of(contour.points.begin(), contour.points.end(), [](const SlicePoint& point) {
    return std::isfinite(point[0]) && std::isfinite(point[1]);
  });
}

ClipperLib::Path ToGrid(const SliceContour& contour, double grid) {
  ClipperLib::Path path;
  path.reserve(contour.points.size());
  for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
    path.emplace_back(ClipperLib::cInt(std::round(double(contour.points[i][0]) * grid)),
                      ClipperLib::cInt(std::round(double(contour.points[i][1]) * grid)));
  }
  return path;
}

SlicePoint FromGrid(const ClipperLib::IntPoint& point, double grid) {
  return {float(double(point.X) / grid), float(double(point.Y) / grid)};
}

SliceContour FromGrid(const ClipperLib::Path& path, double grid) {
  SliceContour contour;
  contour.points.reserve(path.size() + 1);
  for (const ClipperLib::IntPoint& point : path) {
    const SlicePoint next = FromGrid(point, grid);
    if (contour.points.empty() || contour.points.back() != next) contour.points.push_back(next);
  }
  while (contour.points.size() > 1 && contour.points.back() == contour.points.front())
    contour.points.pop_back();
  return contour;
}

}  // namespace

double GridOf(double greatest_coordinate) {
  return trq::core::PowerOfTwo(std::min(30 - trq::core::BinaryExponent(greatest_coordinate), 60));
}

Union UniteLayer(std::vector<SliceContour>& contours, bool always, double grid, std::uint64_t free_steps,
                 Allowance& steps) {
  Union result;
  std::vector<const SliceContour*> closed;
  std::vector<Boxed> boxes;
  for (std::size_t i = 0; i < contours.size(); ++i) {
    if (!contours[i].closed || !IsFinite(contours[i])) continue;
    closed.push_back(&contours[i]);
    boxes.push_back(BoxOf(contours[i], i));
  }
  if (closed.empty() || (!always && !LeavesOneAndNone(closed))) return result;

  std::vector<bool> gone(contours.size(), false);
  std::vector<SliceContour> united;
  Groups(boxes).Part(0, boxes.size(), 0, false, kDeepestPart, [&](std::size_t first, std::size_t last) {
    std::vector<const SliceContour*> group;
    for (std::size_t i = first; i < last; ++i) group.push_back(&contours[boxes[i].contour]);
    if (!always && !LeavesOneAndNone(group)) return;
    ClipperLib::Paths paths;
    for (const SliceContour* contour : group) paths.push_back(ToGrid(*contour, grid));
    const std::uint64_t needed = UnionSteps(paths, free_steps + steps.most());
    const std::uint64_t free = std::min(free_steps, needed);
    free_steps -= free;
    if (!steps.Take(needed - free)) return;
    ClipperLib::Clipper clipper;
    clipper.AddPaths(paths, ClipperLib::ptSubject, true);
    ClipperLib::Paths().swap(paths);  // they are as large as what is made of them
    ClipperLib::Paths solid, inverted;
    clipper.Execute(ClipperLib::ctUnion, solid, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    clipper.Execute(ClipperLib::ctUnion, inverted, ClipperLib::pftNegative, ClipperLib::pftNegative);
    for (const ClipperLib::Path& path : inverted) {
      if (result.inverted_area == 0) result.inverted = FromGrid(path.front(), grid);
      result.inverted_area += ClipperLib::Area(path) / (grid * grid);
    }
    for (const ClipperLib::Path& path : solid) united.push_back(FromGrid(path, grid));
    for (std::size_t i = first; i < last; ++i) gone[boxes[i].contour] = true;
    result.changed = true;
  });
  if (!result.changed) return result;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < contours.size(); ++i) {
    if (gone[i]) continue;
    if (kept != i) contours[kept] = std::move(contours[i]);
    ++kept;
  }
  contours.resize(kept);
  for (SliceContour& contour : united) {
    if (contour.points.size() < 3) continue;
    RotateToLeast(contour.points);
    contour.points.push_back(contour.points.front());
    contours.push_back(std::move(contour));
  }
  return result;
}

}  // namespace trqprep::slicing
