/// Placed meshes seen from above: do two of them overlap, and how near do they come?
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "trq/geometry.h"

namespace trqprep {

/// A mesh in its place. Indices must lie inside the vertices.
struct PlacedShape {
  const PbVec3f* vertices;
  const R_INT4* triangles;
  int facets;
};

/// Two shapes whose projections to XY reach into each other.
struct Overlap {
  std::size_t first = 0;  ///< index of the shapes, first < second
  std::size_t second = 0;
  double depth =
      0;         ///< how far the two facets found would have to move apart: at least so far reach the shapes
  double x = 0;  ///< a place between them
  double y = 0;
};

/// Where two shapes are nearest to each other in XY.
struct Nearness {
  std::size_t first = 0;  ///< index of the shapes, first < second
  std::size_t second = 0;
  double distance = 0;  ///< between their facets, rounded to a millionth; 0 when they touch or overlap
  std::array<double, 2> from{};  ///< a point of the first at that distance
  std::array<double, 2> to{};    ///< from one of the second
};

struct Distances {
  std::optional<Nearness> smallest;  ///< of all pairs; nothing when there are not two shapes with facets
  std::vector<Nearness> short_ones;  ///< of pairs nearer than wanted, ordered
};

/// Shapes that are compared with each other, and what is known of each so far.
class SeenFromAbove {
 public:
  explicit SeenFromAbove(std::vector<PlacedShape> shapes);
  ~SeenFromAbove();
  SeenFromAbove(const SeenFromAbove&) = delete;
  SeenFromAbove& operator=(const SeenFromAbove&) = delete;

  /// Does beforehand what comparisons that come nearer than `within` begin with at a shape, in two steps: of
  /// all shapes the first, then of all the second. It may be done of several shapes side by side, or not at
  /// all; the results are the same.
  void Look(std::size_t shape);
  void LookCloser(std::size_t shape, double within);

  /// Pairs that are named at most, of those that overlap and of those that are too near. Pieces in one place
  /// are as many pairs as the square of their number.
  static constexpr std::size_t kMostNamed = 1000;
  /// Whether pairs were left out since: because so many were found, or because looking at all would take far
  /// longer than for pieces that stand beside each other.
  bool cut_short() const;

  /// Every pair of shapes of which a facet of one reaches more than `contact` into a facet of the other, both
  /// projected to XY; one entry a pair, ordered. Facets that stand upright count as the lines that they are.
  /// Of several places of a pair one is named that depends on the shapes alone. Time n log n in shapes that
  /// stand beside each other, and bounded for others (cut_short).
  std::vector<Overlap> FindOverlaps(double contact);

  /// Measures the smallest distance in XY between facets of two shapes, and those of all pairs that are
  /// nearer than the larger of what is `wanted` of the two; one number a shape. Time like FindOverlaps.
  Distances MeasureDistances(const std::vector<double>& wanted);

 private:
  struct Trees;
  std::unique_ptr<Trees> trees_;
};

}  // namespace trqprep
