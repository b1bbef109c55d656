/// What a build would say of one part.
#pragma once

#include <array>
#include <functional>
#include <optional>

#include "trqprep/check_layers.h"
#include "trqprep/job.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"
#include "trqprep/vents_file.h"

namespace trqprep {

/// What a part is checked against.
struct PartCheck {
  Job job;  ///< its units, floor and drop
  std::array<double, 3> vat_mm{250, 250, 250};
  bool of_build = false;  ///< the part of a build, whose floor was judged and whose slices are at hand
  std::optional<LayerCheck> layers;  ///< look at layers of the mesh as it lies, too
  std::optional<Length> thickness;   ///< of these; 0.1 mm when not said
  Units bare = Units::kMillimetre;   ///< of lengths without unit
};

/// Says UNITS-DOUBT, FLOOR-LIFTED, FLOATING, OUTSIDE-VAT, TOO-BIG-FOR-VAT, what CheckMesh finds with the
/// vents and drains that `vents` is asked for, and what CheckLayers finds. SEALED-VOID is left to TRAPPED
/// where layers are looked at.
void CheckPart(Observer& observer, const InputMesh& input, const PartCheck& check,
               const std::function<VentsFile()>& vents);

}  // namespace trqprep
