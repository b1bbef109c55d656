#include "nesting/layout.h"

#include <algorithm>
#include <cmath>

namespace trqprep::nesting {

Model::Model(const Job& job) {
  margin = job.container.margin;
  strip = job.container.strip;
  use_holes = job.use_holes;
  width = job.container.width - 2 * margin;
  double in_a_row = 0;
  for (std::size_t p = 0; p < job.parts.size(); ++p) {
    const Part& part = job.parts[p];
    Kind kind;
    kind.first_shape = shapes.size();
    kind.turns = part.turns.size();
    kind.gap = (part.gap >= 0 ? part.gap : job.gap) + job.clearance;
    double longest = 0;
    for (const Turn& turn : part.turns) {
      // Where no gap keeps edges apart, those that only touch are told from those that cross by a hair's
      // breadth.
      double inset = 0;
      if (kind.gap == 0) {
        Shape plain = MakeShape(part.outline, turn, use_holes, 0, nullptr, false);
        inset = 2e-8 * std::min(plain.width, plain.height);
      }
      const Shape* first = shapes.size() > kind.first_shape ? &shapes[kind.first_shape] : nullptr;
      shapes.push_back(MakeShape(part.outline, turn, use_holes, inset, first, true));
      kind_of_shape.push_back(p);
      longest = std::max(longest, shapes.back().width);
    }
    // What is grown by half a gap on all sides has an area of at least that of the grown disc of equal area
    // (Brunn and Minkowski).
    const Shape& shape = shapes[kind.first_shape];
    const double root =
        std::sqrt(std::clamp(shape.area, 0.0, shape.width * shape.height)) + 0.8862269254527580 * kind.gap;
    kind.need = root * root;
    kinds.push_back(kind);
    in_a_row += (longest + kind.gap) * part.copies;
  }
  for (const Placement& fixed : job.fixed) {
    const Shape& shape = shapes[kinds[fixed.part].first_shape + fixed.turn];
    in_a_row += shape.width + std::max(0.0, fixed.x + shape.corner.x) + kinds[fixed.part].gap;
  }
  length = strip ? in_a_row * (1 + 1e-6) : job.container.length - 2 * margin;
  double most_gap = 0;
  for (const Kind& kind : kinds) most_gap = std::max(most_gap, kind.gap);
  room = (std::max(0.0, length) + most_gap) * (std::max(0.0, width) + most_gap);
  for (std::size_t s = 0; s < shapes.size(); ++s) {
    if (shapes[s].width <= length && shapes[s].height <= width) kinds[kind_of_shape[s]].usable.push_back(s);
  }
}

FixedPieces FixedIn(const Model& model, const Job& job, std::size_t container) {
  FixedPieces fixed;
  std::vector<Box> counted;
  for (const Placement& placement : job.fixed) {
    if (placement.container != container) continue;
    const std::size_t s = model.kinds[placement.part].first_shape + placement.turn;
    const Shape& shape = model.shapes[s];
    const Spot spot = {s, placement.x + shape.corner.x - model.margin,
                       placement.y + shape.corner.y - model.margin};
    fixed.spots.push_back(spot);
    // What sticks out, or may lie over another one, takes an area that nobody knows.
    const Box box = {spot.x, spot.y, spot.x + shape.width, spot.y + shape.height};
    if (box.left < 0 || box.bottom < 0 || box.right > model.length || box.top > model.width) continue;
    if (std::any_of(counted.begin(), counted.end(), [&](const Box& other) {
          return box.left < other.right && other.left < box.right && box.bottom < other.top &&
                 other.bottom < box.top;
        })) {
      continue;
    }
    counted.push_back(box);
    fixed.area += std::clamp(shape.area, 0.0, shape.width * shape.height);
  }
  return fixed;
}

}  // namespace trqprep::nesting
