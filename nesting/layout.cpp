#include "nesting/layout.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>

#include "nesting/enterable.h"

namespace trqprep::nesting {
namespace {

constexpr std::size_t kMostComparisons =
    4'000'000;  // of pieces and cavities; above, outlines stay as they are

/// Outlines as pieces meet them, by part.
struct Closed {
  std::vector<Outline> open;   // without the cavities that no copy may enter
  std::vector<Outline> solid;  // without any
};

/// Finds out which kinds enter a cavity.
Closed CloseCavities(const Job& job, std::vector<Model::Kind>& kinds) {
  Closed closed;
  std::vector<std::vector<Cavity>> cavities;
  std::vector<std::size_t> entering;  // parts with copies
  std::vector<Extent> extents;
  std::size_t count = 0;
  for (std::size_t p = 0; p < job.parts.size(); ++p) {
    cavities.push_back(FindCavities(job.parts[p].outline, job.use_holes));
    count += cavities.back().size();
    if (job.parts[p].copies > 0) entering.push_back(p);
  }
  const bool compare = count > 0 && entering.size() <= kMostComparisons / count;
  for (std::size_t i = 0; compare && i < entering.size(); ++i)
    extents.push_back(LeastExtent(job.parts[entering[i]].outline));
  for (std::size_t p = 0; p < job.parts.size(); ++p) {
    const Outline& outline = job.parts[p].outline;
    std::vector<Cavity> useless;
    for (const Cavity& cavity : cavities[p]) {
      bool entered = false;
      for (std::size_t i = 0; i < extents.size(); ++i) {
        Model::Kind& kind = kinds[entering[i]];
        if (!extents[i].MayEnter(cavity.most, std::max(kind.gap, kinds[p].gap))) continue;
        kind.enters = entered = true;
      }
      if (compare && !entered) useless.push_back(cavity);
    }
    closed.open.push_back(Filled(outline, useless));
    closed.solid.push_back(Filled(outline, compare ? cavities[p] : useless));
  }
  return closed;
}

// All that the shapes of a kind come from.
std::vector<double> Origins(const Part& part, const Model::Kind& kind, const Outline& open,
                            const Outline& solid) {
  std::vector<double> numbers = {kind.gap, kind.enters ? 1.0 : 0.0};
  for (const Turn& turn : part.turns) numbers.insert(numbers.end(), {turn.sine, turn.cosine});
  const auto add = [&](const Ring& ring) {
    numbers.push_back(static_cast<double>(ring.size()));
    for (const Point& point : ring) numbers.insert(numbers.end(), {point.x, point.y});
  };
  for (const Outline* outline : {&open, &solid}) {
    numbers.push_back(static_cast<double>(outline->size()));
    for (const Region& region : *outline) {
      add(region.outer);
      numbers.push_back(static_cast<double>(region.holes.size()));
      for (const Ring& hole : region.holes) add(hole);
    }
  }
  return numbers;
}

// Of the numbers' bits. Round numbers differ in their upper bits alone, which a product leads further up.
std::uint64_t HashOf(const std::vector<double>& numbers) {
  std::uint64_t hash = 14695981039346656037u;
  for (const double number : numbers) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    hash = (hash ^ bits) * 1099511628211u;
    hash ^= hash >> 32;
  }
  return hash;
}

// Finds out which kinds are alike.
void FindAlike(const Job& job, const Closed& closed, std::vector<Model::Kind>& kinds) {
  std::map<std::uint64_t, std::vector<std::size_t>> first_ones;
  for (std::size_t p = 0; p < kinds.size(); ++p) {
    const auto origins = [&](std::size_t k) {
      return Origins(job.parts[k], kinds[k], closed.open[k], closed.solid[k]);
    };
    const std::vector<double> own = origins(p);
    std::vector<std::size_t>& others = first_ones[HashOf(own)];
    // A few that have a hash in common: somebody may have made more.
    const auto same =
        std::find_if(others.begin(), others.end(), [&](std::size_t k) { return origins(k) == own; });
    kinds[p].like = same == others.end() ? p : *same;
    if (same == others.end() && others.size() < 4) others.push_back(p);
  }
}

}  // namespace

Model::Model(const Job& job) {
  margin = job.container.margin;
  strip = job.container.strip;
  use_holes = job.use_holes;
  width = job.container.width - 2 * margin;
  for (const Part& part : job.parts) {
    kinds.emplace_back();
    kinds.back().gap = (part.gap >= 0 ? part.gap : job.gap) + job.clearance;
  }
  const Closed closed = CloseCavities(job, kinds);
  FindAlike(job, closed, kinds);
  const bool any_entered =
      std::any_of(kinds.begin(), kinds.end(), [](const Kind& kind) { return kind.enters; });
  double in_a_row = 0;
  for (std::size_t p = 0; p < job.parts.size(); ++p) {
    const Part& part = job.parts[p];
    Kind& kind = kinds[p];
    kind.first_shape = shapes.size();
    kind.turns = part.turns.size();
    double longest = 0;
    for (const Turn& turn : part.turns) {
      // Where no gap keeps edges apart, those that only touch are told from those that cross by a hair's
      // breadth.
      double inset = 0;
      if (kind.gap == 0) {
        Shape plain = MakeShape(part.outline, turn, use_holes, 0, nullptr, false);
        inset = 2e-8 * std::min(plain.width, plain.height);
      }
      const auto add = [&](const Outline& outline, std::vector<Shape>& list) {
        const Shape* first = list.size() > kind.first_shape ? &list[kind.first_shape] : nullptr;
        list.push_back(MakeShape(outline, turn, use_holes, inset, first, true));
      };
      add(closed.open[p], shapes);
      if (any_entered) add(closed.solid[p], solid_shapes);
      kind_of_shape.push_back(p);
      longest = std::max(longest, shapes.back().width);
    }
    // What is grown by half a gap on all sides has an area of at least that of the grown disc of equal area
    // (Brunn and Minkowski).
    const auto need = [&](const Shape& shape) {
      const double root =
          std::sqrt(std::clamp(shape.area, 0.0, shape.width * shape.height)) + 0.8862269254527580 * kind.gap;
      return root * root;
    };
    kind.need = need(shapes[kind.first_shape]);
    kind.bulk = any_entered ? need(solid_shapes[kind.first_shape]) : kind.need;
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
