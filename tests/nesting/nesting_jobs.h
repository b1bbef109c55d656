/// Outlines and jobs for the tests of nesting.
#pragma once

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "trqprep/nesting.h"

namespace nesting_jobs {

using trqprep::nesting::Job;
using trqprep::nesting::Outline;
using trqprep::nesting::Part;
using trqprep::nesting::Ring;
using trqprep::nesting::Turn;

inline Outline Rectangle(double width, double height) {
  return {{{{0, 0}, {width, 0}, {width, height}, {0, height}}, {}}};
}

/// A square of 30 with a square hole of 20.
inline Outline Frame() {
  return {{{{0, 0}, {30, 0}, {30, 30}, {0, 30}}, {{{5, 5}, {25, 5}, {25, 25}, {5, 25}}}}};
}

inline std::vector<Turn> QuarterTurns() { return {{0, 1}, {1, 0}, {0, -1}, {-1, 0}}; }

inline std::vector<Turn> Turns(int count) {
  std::vector<Turn> turns;
  for (int i = 0; i < count; ++i) {
    const double angle = 2 * 3.14159265358979 * i / count;
    turns.push_back({std::sin(angle), std::cos(angle)});
  }
  return turns;
}

inline Part Copies(Outline outline, int copies) {
  Part part;
  part.outline = std::move(outline);
  part.copies = copies;
  return part;
}

/// A star of `corners` corners with radii from `least` to `most`: simple, seldom convex.
inline Ring Star(std::mt19937_64& random, int corners, double least, double most) {
  std::uniform_real_distribution<double> radius(least, most);
  Ring ring;
  for (int i = 0; i < corners; ++i) {
    const double angle = 2 * 3.14159265358979 * i / corners, r = radius(random);
    ring.push_back({r * std::cos(angle), r * std::sin(angle)});
  }
  return ring;
}

/// Parts of one to three regions with and without holes, gaps, margins and fixed pieces, as the seed has it.
inline Job RandomJob(std::uint64_t seed) {
  std::mt19937_64 random(seed);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  Job job;
  job.seed = seed;
  job.container = {60.0 + below(100), 60.0 + below(100), below(3) == 0, below(2) * 2.5};
  job.gap = below(3) == 0 ? 0 : below(30) * 0.1;
  if (below(4) == 0) job.clearance = 0;
  job.use_holes = below(3) != 0;
  job.given_order = below(3) == 0;
  const int parts = 1 + below(4);
  for (int p = 0; p < parts; ++p) {
    Part part;
    const double size = 3 + below(22);
    if (below(5) == 0) {
      part.outline = Rectangle(size, 1 + below(20));
    } else {
      part.outline = {{Star(random, 3 + below(40), size * 0.5, size), {}}};
      if (below(3) == 0) part.outline[0].holes.push_back(Star(random, 8, size * 0.2, size * 0.4));
      if (below(4) == 0) {
        Ring away = Star(random, 5, size * 0.2, size * 0.3);
        for (auto& corner : away) corner.x += size * 1.5;
        part.outline.push_back({away, {}});
      }
    }
    part.turns = below(2) == 0 ? QuarterTurns() : Turns(1 + below(9));
    part.copies = 1 + below(6);
    if (below(4) == 0) part.gap = below(4);
    if (below(6) == 0) part.fill = true;
    job.parts.push_back(part);
  }
  if (below(3) == 0) job.fixed.push_back({0, 0, 40, 40});
  return job;
}

}  // namespace nesting_jobs
