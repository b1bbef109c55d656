/// From a mesh to what its file of contours holds, and what is said of it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "trq/core/slc.h"
#include "trqprep/layer_plan.h"
#include "trqprep/matrix4.h"
#include "trqprep/observer.h"
#include "trqprep/slicing.h"

namespace trqprep {

/// How a mesh is cut into layers.
struct SlicingRequest {
  std::vector<LayerBand> bands;  ///< in the mesh's unit, from the bottom upwards
  LayerCut cut = LayerCut::kMiddle;
  bool on_blade_planes = false;  ///< the first layer begins at a multiple of its thickness
  SliceOptions how;
};

struct MeshSlices {
  LayerPlan plan;
  trq::core::Contours contours;
  std::vector<SliceGap> gaps;
  std::vector<SliceInverted> inverted;
  std::size_t united = 0;  ///< layers in which contours became one
};

/// Cuts a mesh of that box. `name` stands in messages: SLICE-OPEN and INVERTED are warned of; SLICE-LAYERS
/// ends the work with exit 3 where the bands make no layers, or more than a file or this tool takes,
/// SLICE-BOUND where slicing would take too long.
MeshSlices SliceWhole(Observer& observer, const trq::core::MeshView& mesh, const Box& box, Units units,
                      const SlicingRequest& request, const std::string& name);

/// Ends are joined up to 0.1 mm, points left out within 0.0001 mm, told in `units`.
SliceOptions UsualSliceOptions(Units units);

/// The cut that is called "bottom", "middle" or "top"; the middle for any other text.
LayerCut LayerCutFromName(const std::string& name);

}  // namespace trqprep
