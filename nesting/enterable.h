/// Holes of outlines, and pockets behind narrow mouths: which pieces could lie in them.
#pragma once

#include <vector>

#include "nesting/shape.h"

namespace trqprep::nesting {

/// Sizes by which what lies in something else is smaller.
struct Extent {
  double radius = 0;    ///< of the largest disc inside
  double breadth = 0;   ///< least width over all directions
  double diameter = 0;  ///< largest
  double area = 0;

  /// Whether a piece of this extent may fit into `cavity`, `gap` from its border and its mouth. True when in
  /// doubt.
  bool MayEnter(const Extent& cavity, double gap) const {
    return radius + gap <= cavity.radius && breadth + 2 * gap <= cavity.breadth &&
           diameter + 2 * gap <= cavity.diameter && area <= cavity.area;
  }
};

/// What a piece has at least: of several regions each is as large or larger.
Extent LeastExtent(const Outline& outline);

/// A part of the plane that is not the outline's and that nothing large reaches from outside.
struct Cavity {
  std::size_t region;
  bool hole;                ///< else a pocket of the outer ring: its corners between `first` and `last`
  std::size_t first, last;  ///< `first` is the hole's index
  Extent most;
};

/// Holes, and pockets of the hull that are wider inside than their mouths. Outlines whose rings cross or
/// touch have none.
std::vector<Cavity> FindCavities(const Outline& outline, bool use_holes);

/// The outline with these cavities filled up; its box is the same to the bit.
Outline Filled(const Outline& outline, const std::vector<Cavity>& cavities);

}  // namespace trqprep::nesting
