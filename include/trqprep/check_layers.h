/// The rules of layers: what begins without support, hangs over, or holds resin.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "trqprep/contour_svg.h"
#include "trqprep/layer_findings.h"
#include "trqprep/message.h"
#include "trqprep/quantities.h"
#include "trqprep/vents_file.h"

namespace trqprep {

/// How layers are looked at.
struct LayerCheck {
  std::optional<Length> overhang;  ///< none: that of a slope of 45 degrees
  std::optional<Length> vent_radius;
  std::optional<Length> pitch;
  bool solid_platform = false;
};

/// What was found in layers of one file.
struct LayerReport {
  std::vector<Message> messages;
  std::vector<PictureMark> marks;  ///< where pictures of layers show them
};

/// ISLAND, UNSUPPORTED, CUP, TRAPPED and STARTS-AT of layers in `units`; bare lengths are in `bare`. Vents
/// and drains are in the layers' unit. One message a rule, with all places counted, three told and a hundred
/// in the document. The observer hears of progress.
LayerReport CheckLayers(Observer& observer, const LayerStack& stack, const LayerCheck& check, Units units,
                        Units bare, const VentsFile& vents, const std::string& file);

}  // namespace trqprep
