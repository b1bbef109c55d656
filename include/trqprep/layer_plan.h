/// At which heights a part is cut into layers, and how the layers of a mesh become the contours of a file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "trq/core/slc.h"
#include "trqprep/slicing.h"

namespace trqprep {

/// A range of Z that is built in layers of one thickness.
struct LayerBand {
  double start = 0;
  double end = 0;
  float thickness = 0;
};

/// Where in a layer its plane lies.
enum class LayerCut { kBottom, kMiddle, kTop };

/// Layers from the bottom upwards. Layer k fills bottoms[k] to tops[k] and is cut at planes[k].
struct LayerPlan {
  struct Band {
    LayerBand range;        ///< as far as it is sliced
    std::size_t first = 0;  ///< its first layer
  };
  std::vector<Band> bands;
  std::vector<double> bottoms, tops;
  std::vector<float> planes;  ///< rounded once
};

constexpr std::size_t kMostLayers = 100000;
/// Entries that a sampling table can name.
constexpr std::size_t kMostLayerBands = 127;

enum class LayerPlanFault {
  kNone,
  kThickness,  ///< one is not above 0, or no number
  kLayers,     ///< more than kMostLayers
  kBands,      ///< more than kMostLayerBands
  kNothing,    ///< no band reaches into the range
};

/// Plans the layers of what reaches from `low` to `high`. The first band begins where it does or at `low`,
/// whichever is higher, and with `on_blade_planes` at the last multiple of its thickness at or below that;
/// every other band begins at its start. Layer k of a band lies k thicknesses above its begin, in double. The
/// last layer of a band ends with the band (or at `high`): it is made shorter when it is more than `least`
/// high then, and the one before takes it in otherwise. Bands stand from the bottom upwards and do not
/// overlap. (This library's own rule.)
LayerPlanFault PlanLayers(const std::vector<LayerBand>& bands, double low, double high, bool on_blade_planes,
                          LayerCut cut, double least, LayerPlan& plan);

/// What a file of contours holds: a layer per plane with the Z of its bottom, the terminator with that of the
/// last top, an entry of the sampling table per band. An open contour keeps its two ends, and counts a gap
/// for them. The layers' points are moved out of `slices`.
trq::core::Contours ContoursOf(Slices& slices, const LayerPlan& plan, std::string header);

/// The header of a part: version, unit, type and extents, `low` and `high` being corners of its box.
std::string SlcHeader(const char* unit, const double (&low)[3], const double (&high)[3]);

}  // namespace trqprep
