/// An outline at one turn, ready for many comparisons: edges in a tree of boxes, and discs inside it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trqprep/nesting.h"

namespace trqprep::nesting {

struct Box {
  double left, bottom, right, top;
};

struct Edge {
  double ax, ay, bx, by;
};

/// The largest disc inside the outline, the largest beside that one, and so on: poles of inaccessibility.
/// Padded to a multiple of 4 with discs of radius 0 that lie far away. In single precision: they guide and
/// decide nothing.
struct Poles {
  std::vector<float> x, y, radius;
  std::size_t count = 0;  ///< without the padding
};

/// Coordinates are relative to the lower left corner of the box.
struct Shape {
  Turn turn;
  double width = 0;
  double height = 0;
  Point corner = {0, 0};  ///< of the box, in coordinates of the turned outline
  double area = 0;
  double diameter = 0;  ///< of the box
  double weight = 1;    ///< of overlaps: the root of the hull's area, of that of the box where there is none
  std::vector<Edge> edges;
  struct Node {
    Box box;
    std::uint32_t first, count;  ///< edges
    std::uint32_t right;         ///< the second half's node, 0 in a leaf; the first half's is the next
  };
  std::vector<Node> nodes;
  std::vector<Point> region_points;  ///< a corner of each region's outer ring
  Poles poles;

  /// Whether the point is inside, by the number of times that the edges go around it.
  bool Contains(double x, double y) const;
  /// From the point to the nearest edge.
  double DistanceToEdges(double x, double y) const;
};

constexpr std::size_t kMostPoles = 8;

/// Discs inside the outline, `most` at most, that number at most kMostPoles.
Poles FindPoles(const Shape& shape, std::size_t most = kMostPoles);

/// Corners of the convex hull, counterclockwise; fewer than three where there is no area.
Ring HullOf(std::vector<Point> points);

/// Whether edges meet other than one behind the other at their common corner.
bool CrossesItself(const Shape& shape);

/// Whether an edge meets one of the shape's other than at a common corner.
bool Meets(const Shape& shape, const Edge& edge);

/// The outline at a turn. `inset` above 0 moves every edge inwards by so much, but for what that makes of
/// very sharp corners: what touches is then apart. The poles are those of `other`, the same outline at
/// another turn, turned; they are found anew without it. `poles` false leaves them out.
Shape MakeShape(const Outline& outline, const Turn& turn, bool use_holes, double inset, const Shape* other,
                bool poles);

/// Counts what was examined.
using Steps = std::uint64_t;

/// Whether the second shape, its corner at (dx, dy) from that of the first, is nearer than `gap` to it,
/// touches it or lies over it.
bool Collide(const Shape& first, const Shape& second, double dx, double dy, double gap, Steps& steps);

/// How much they lie over each other, of no particular unit: falls where they are moved apart, and never
/// reaches 0. Means something for shapes that collide.
double Overlap(const Shape& first, const Shape& second, double dx, double dy, double gap, Steps& steps);

}  // namespace trqprep::nesting
