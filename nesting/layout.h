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
    std::size_t like = 0;  ///< the first of the kinds whose shapes, gap and ways into cavities are the same
    double gap = 0;        ///< planned: with the clearance
    double need = 0;       ///< area of a copy with half of its gap around, at least; see Model::room
    double bulk = 0;       ///< the same, and what only smaller pieces could use of it
    bool enters = false;   ///< whether a copy may lie in a cavity of another piece
    std::vector<std::size_t> usable;  ///< shapes that fit the container
  };
  /// Without the cavities that no copy of the job may enter.
  std::vector<Shape> shapes;
  /// Without any cavities, for what enters none; empty where that makes no difference.
  std::vector<Shape> solid_shapes;
  std::vector<Kind> kinds;  ///< by part
  std::vector<std::size_t> kind_of_shape;
  double length = 0;  ///< inside the margins; of a strip: enough for all pieces in a row
  double width = 0;
  double margin = 0;
  /// Area of the container with half of the largest gap around: copies whose needs are more do not fit.
  double room = 0;
  bool strip = false;
  bool use_holes = true;

  /// The same shape of the first kind that is like its own.
  std::size_t FirstLike(std::size_t shape) const {
    const Kind& kind = kinds[kind_of_shape[shape]];
    return kinds[kind.like].first_shape + (shape - kind.first_shape);
  }
  /// A shape as another one meets it: what enters no cavity meets none.
  const Shape& Seen(std::size_t shape, std::size_t by) const {
    return solid_shapes.empty() || kinds[kind_of_shape[by]].enters ? shapes[shape] : solid_shapes[shape];
  }
  double Gap(std::size_t shape, std::size_t other) const {
    const double a = kinds[kind_of_shape[shape]].gap, b = kinds[kind_of_shape[other]].gap;
    return a > b ? a : b;
  }
};

/// Where a piece is.
struct Spot {
  std::size_t shape = 0;
  double x = 0;
  double y = 0;
};

/// Where pieces are that cannot move, and what of the container's area they take.
struct FixedPieces {
  std::vector<Spot> spots;
  double area = 0;
};

/// Fixed pieces of a container.
FixedPieces FixedIn(const Model& model, const Job& job, std::size_t container);

/// Copies in several containers; lists of spots end with the fixed pieces.
struct Layout {
  struct Filled {
    std::vector<Spot> spots;
    std::size_t movable = 0;  ///< the first so many
  };
  std::vector<Filled> containers;
  std::vector<int> left;  ///< by part: copies without a place
};

}  // namespace trqprep::nesting
