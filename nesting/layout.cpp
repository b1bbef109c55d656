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
    kinds.push_back(kind);
    in_a_row += (longest + kind.gap) * part.copies;
  }
  for (const Placement& fixed : job.fixed) {
    const Shape& shape = shapes[kinds[fixed.part].first_shape + fixed.turn];
    in_a_row += shape.width + std::max(0.0, fixed.x + shape.corner.x) + kinds[fixed.part].gap;
  }
  length = strip ? in_a_row * (1 + 1e-6) : job.container.length - 2 * margin;
  for (std::size_t s = 0; s < shapes.size(); ++s) {
    if (shapes[s].width <= length && shapes[s].height <= width) kinds[kind_of_shape[s]].usable.push_back(s);
  }
}

}  // namespace trqprep::nesting
