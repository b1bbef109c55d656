/// Contours of a mesh at given heights.
///
/// The rule is exact where it decides and rounds once where it computes. Every vertex gets a level, the
/// number of planes below it, by comparing floats; a facet is cut by plane k when its vertices lie on both
/// sides of it, that is when k is between its least level and its greatest. It then has one edge that goes up
/// through the plane and one that goes down. The crossing of an edge is computed from the lower vertex to the
/// upper one, in double, and rounded once, so that all facets at the edge find the same point. Contours are
/// joined from up edge to down edge by the pair of vertices, never by distance: when every directed edge of a
/// mesh is met by one in the other direction, all contours are closed at every height, whatever lies in the
/// plane. (This library's own form of the usual sweep; levels in the place of distances are what makes it
/// exact.)
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "trq/core/mesh.h"

namespace trqprep {

/// X and Y of a point of a contour, in the mesh's units.
using SlicePoint = std::array<float, 2>;

/// The interior lies to the left: outer contours run counter-clockwise, holes clockwise.
struct SliceContour {
  std::vector<SlicePoint> points;  ///< of a closed contour, the first is repeated as the last
  bool closed = true;
  std::int32_t gaps = 0;  ///< places where ends that belong to no common edge were joined
};

/// Ends of contours that do not meet: the mesh is open there.
struct SliceGap {
  std::size_t layer = 0;
  SlicePoint from{}, to{};
  double width = 0;     ///< distance of the two
  bool joined = false;  ///< they were within SliceOptions::close of each other
};

/// When contours that go over each other become one, what is wound round at all being inside.
enum class SliceUnion {
  kAuto,    ///< where the winding number of a layer leaves 0 and 1, and only in the contours concerned
  kAlways,  ///< in every layer; points are rounded
  kNever,
};

struct SliceOptions {
  /// A vertex in a plane counts as above it, so that a flat top shows; otherwise a flat bottom does.
  bool in_plane_is_above = false;
  /// Ends of open contours are joined up to this distance; what is farther apart stays open. Not below 0.
  double close = 0.1;
  /// A vertex is left out when it lies within this distance of the edge that replaces it; below 0 none is.
  double tolerance = 1e-4;
  /// Points of what is united are rounded to 2^-30 of the next power of two above the largest coordinate, or
  /// finer.
  SliceUnion unite = SliceUnion::kAuto;
  /// A small file can ask for any amount of work; more than this is a fault. Crossings of facets and planes,
  /// sixteen for each facet where that is more:
  std::uint64_t most_crossings = 32'000'000;
  /// Beyond those, steps of some nanoseconds: of ends that meet no other facet, and of uniting layers in
  /// which a level line meets more than about a hundred edges.
  std::uint64_t most_steps = std::uint64_t{1} << 29;
  /// At least 1. The contours are the same whatever it is.
  int threads = 1;
  /// Hears which share of the layers is done, on the calling thread. What it throws ends the work and is
  /// thrown on.
  std::function<void(double)> progress;
};

/// A layer in which something was inside out before it was united.
struct SliceInverted {
  std::size_t layer = 0;
  SlicePoint at{};  ///< a point of it
  double area = 0;  ///< that was wound round less than not at all
};

enum class SliceFault {
  kNone,
  kCrossings,  ///< more than SliceOptions::most_crossings; found before the work begins
  kSteps,      ///< more than SliceOptions::most_steps
};

/// With a fault, all else is empty.
struct Slices {
  SliceFault fault = SliceFault::kNone;
  /// Per plane. By least x of its first point, which is that of its least x and y, then its least y, then the
  /// points.
  std::vector<std::vector<SliceContour>> layers;
  std::vector<SliceGap> gaps;           ///< by layer
  std::vector<SliceInverted> inverted;  ///< by layer
  std::size_t united = 0;               ///< layers in which contours became one
};

/// Cuts the mesh at planes of constant Z, ascending finite numbers. Facets in a plane give nothing. A
/// triangle's index that names no vertex reads as the point (0, 0, 0). Coordinates should be finite: where
/// one is not, contours near it have points that are not. Takes time in proportion to facets and crossings,
/// but for sorting and what `most_steps` ends. Throws std::bad_alloc.
Slices SliceMesh(const trq::core::MeshView& mesh, const std::vector<float>& planes,
                 const SliceOptions& options = {});

}  // namespace trqprep
