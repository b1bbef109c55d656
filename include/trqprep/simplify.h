/// Makes meshes of fewer facets that keep their shape, and measures how far they kept it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/matrix4.h"
#include "trqprep/mesh_input.h"
#include "trqprep/message.h"
#include "trqprep/observer.h"

namespace trqprep {

/// Brings the mesh to about `facets` facets with the quadric simplifier of meshoptimizer: vertices stay where
/// they are, and those that the shape needs least go. Vertices at exactly one place become one first, and
/// facets that lose a corner by that go; so do pairs of facets that come to cover each other, unless the mesh
/// came with such. The borders of an open surface stay unless the number cannot be met so. Where a run leaves
/// more crowded edges than there were, or misses the number by more than 5 %, a few others that aim a little
/// higher are tried, and the best is taken; the number cannot be met where the surface would have to change
/// its kind. Attributes stay when all facets have the same and become 0 otherwise; the box is made anew,
/// normals are not, and the mesh is unsorted. The same mesh gives the same result with the same version of
/// meshoptimizer. False, and nothing done, when the mesh has no more facets than that. Requires: finite
/// coordinates, indices inside the vertices, facets >= 1. Between runs the observer may cancel it; nothing is
/// done to the mesh then.
bool SimplifyMesh(Observer& observer, CTL& mesh, int facets);

/// What a mesh is compared by, in its unit.
struct ShapeMeasures {
  int facets = 0;
  double area = 0;
  double volume = 0;
  Box box;  ///< of the facets; empty without any
  std::int64_t open_edges = 0;
  std::int64_t crowded_edges = 0;  ///< of more than two facets, or two that wind the same way
  bool closed = false;             ///< every surface is
  /// Closed, and its volume is more than the rounding of its coordinates.
  bool has_volume() const;
};
ShapeMeasures MeasureShape(const InputMesh& input);

/// How far a simplified mesh is from what it was.
struct ShapeChange {
  double share = 0;  ///< of the measure before: 0.01 is one percent
  const char* measure = "volume";
};
/// The volume where the mesh before had one, else the larger change of area and box. The box changes by the
/// longest way that one of its sides moved, as a share of its longest edge.
ShapeChange CompareShapes(const ShapeMeasures& before, const ShapeMeasures& after);

/// What is to be said of the result: SIMPLIFY-TARGET (note) when the facets are not within 5 % of `facets`,
/// SIMPLIFY-SHAPE (warning) above a change of 1 % or when closed surfaces opened, SIMPLIFY-RUINED (error)
/// above 10 %, NON-MANIFOLD when there are more crowded edges than before.
std::vector<Message> CheckSimplified(const std::string& path, int facets, const ShapeMeasures& before,
                                     const ShapeMeasures& after);

}  // namespace trqprep
