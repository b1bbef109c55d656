/// Makes parts hollow with an inner skin.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "trqprep/json_text.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"
#include "trqprep/vents_file.h"
#include "trqprep/wall.h"

namespace trqprep {

struct Hollowing {
  float limit = 0;        ///< largest push, in the mesh's unit; above 0
  bool validate = false;  ///< shorten pushes that would cross the surface
  /// Asked once for the vents and drains of the part, which keep its cavities from being sealed.
  std::function<std::optional<VentsFile>()> vents;
  double vents_factor = 1;  ///< takes their points to the unit of the mesh
};

/// The inner skin, and what came of it. Lengths are in the mesh's unit.
struct HollowPart {
  /// How far the vertices that a facet uses were pushed.
  struct Push {
    double least = 0;
    double mean = 0;
    double largest = 0;
  };
  std::unique_ptr<CTL> inner;  ///< the skin by itself, facing inward as it does in the hollow part
  float limit = 0;
  bool validated = false;
  Push push;
  Wall wall;
  bool was_closed = false;  ///< the part
  double volume_before = 0;
  double saved = 0;  ///< volume of what the skin encloses
  int closed_inner_surfaces = 0;
  int sealed_cavities = 0;  ///< those that resin cannot leave
};

/// Pushes every vertex inward as trq::core::OffsetShell does and measures the wall. The points stay with the
/// mesh, in `shell_vertices_`. Warns of an open or inverted surface (OPEN-EDGES, INVERTED), of cavities
/// without vent and drain (SEALED-VOID) and of a thin wall (THIN-WALL). Fails with exit 1 where facets lie
/// across each other so that it would take too long (HOLLOW-BOUND), with exit 3 for a vertex without a
/// direction.
HollowPart HollowMesh(Observer& observer, InputMesh& input, const Hollowing& how);

/// Makes the skin a second surface of the mesh that was hollowed; normals are not made.
void MergeSkin(CTL& mesh);

/// What `hollow --json` says of the result.
void DescribeHollow(Json& data, const HollowPart& part, bool inner_only);

}  // namespace trqprep
