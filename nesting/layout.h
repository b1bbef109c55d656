/// Pieces in a container: what does not change in a job, and where the pieces are.
#pragma once

#include <cstddef>
#include <vector>

#include "nesting/shape.h"
#include "trqprep/nesting.h"

namespace trqprep::nesting {

/// A job made ready. Coordinates are relative to the corner (margin, margin); pieces have their boxes'
/// corners there.
struct Model {
  explicit Model(const Job& job);

  struct Kind {
    std::size_t first_shape = 0;
    std::size_t turns = 0;
    double gap = 0;                   ///< planned: with the clearance
    std::vector<std::size_t> usable;  ///< shapes that fit the container
  };
  std::vector<Shape> shapes;
  std::vector<Kind> kinds;  ///< by part
  std::vector<std::size_t> kind_of_shape;
  double length = 0;  ///< inside the margins; of a strip: enough for all pieces in a row
  double width = 0;
  double margin = 0;
  bool strip = false;
  bool use_holes = true;

  double Gap(std::size_t shape, std::size_t other) const {
    const double a = kinds[kind_of_shape[shape]].gap, b = kinds[kind_of_shape[other]].gap;
    return a > b ? a : b;
  }
};

/// Where pieces are, by their indices: copies first, fixed pieces behind.
struct Spot {
  std::size_t shape = 0;
  double x = 0;
  double y = 0;
};

}  // namespace trqprep::nesting
