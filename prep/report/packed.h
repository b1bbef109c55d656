/// Meshes and contours as a page carries them: small whole numbers, deflated, in base64. Their reader is
/// prep/report/page/viewer.js; docs/report.md has the layout.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "trq/core/slc.h"
#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

struct PackedMesh {
  std::string text;  ///< base64
  std::size_t vertices = 0;
  std::size_t facets = 0;
  Point min{};  ///< of the box, and its size; positions are 0..65535 of that
  Point size{};
};

/// The facets of the mesh that have three corners of their own and finite coordinates; of more than `most`
/// about so many.
PackedMesh PackMesh(const CTL& mesh, std::int64_t most);

struct PackedContours {
  std::string text;  ///< base64
  std::size_t layers = 0;
  Point min{};  ///< as above, X and Y only
  Point size{};
};

/// Every `step`-th layer.
PackedContours PackContours(const trq::core::Contours& contours, std::size_t step);
/// Points of all layers.
std::uint64_t PointCount(const trq::core::Contours& contours);

}  // namespace trqprep
