/// Places for vents and drains: the candidate facets of a mesh, grouped into patches.
#pragma once

#include <vector>

#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

/// Candidate facets that are connected through shared edges.
struct VentPatch {
  std::vector<int> facets;  ///< ascending
  double area = 0;
  /// A point on the patch: its centroid, or where that is beside the patch the middle of its largest facet.
  Point centre{0, 0, 0};
};

struct VentPatches {
  std::vector<VentPatch> vents;   ///< facing up: the highest first, of equally high ones the largest
  std::vector<VentPatch> drains;  ///< facing down: the lowest first, of equally low ones the largest
};

/// Requires normals. Heights that differ by less than a millionth of the mesh's largest side are equal.
VentPatches FindVentPatches(CTL& mesh);

}  // namespace trqprep
