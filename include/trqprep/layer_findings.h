/// What the resin does to a part that is built layer by layer: what begins without support, what hangs over
/// too far, and where resin is held.
///
/// Layers are looked at in rows, lines of constant Y at equal distances, along which solid begins and ends at
/// exact X. What is wound round at all is solid, whatever its contours' directions; an open contour counts as
/// closed by a straight line. Empty space that one row alone sees is narrower than rows tell apart and is not
/// reported; walls thinner than the rows' distance may be missed where they run along X. All lengths are in
/// the layers' unit.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "trq/core/slc.h"
#include "trqprep/layer_plan.h"
#include "trqprep/slicing.h"

namespace trqprep {

/// `count` pairs x, y that belong to somebody else. The last point may repeat the first. A contour with a
/// coordinate that is not finite is left out.
struct ContourView {
  const float* points = nullptr;
  std::size_t count = 0;
};

using ContourViews = std::vector<ContourView>;

/// Layers from the bottom upwards, layer k from bottoms[k] to tops[k].
struct LayerStack {
  std::vector<double> bottoms, tops;
  /// Appends the contours of a layer, which stay in place while the stack is used. Called on several threads
  /// at once where several are asked for.
  std::function<void(std::size_t layer, ContourViews& contours)> contours;
};

/// The layers of slices and of their plan, which both outlive the stack.
LayerStack StackOf(const Slices& slices, const LayerPlan& plan);

/// The layers of a file but for the terminator, which outlive the stack. A layer reaches up to the Z of the
/// next, the last as far as the one before it where no terminator follows.
LayerStack StackOf(const trq::core::Contours& contours);

/// How often contours may cross rows in all layers together: half a minute to two minutes of work.
constexpr double kMostLayerCrossings = 2e9;

struct LayerFindingOptions {
  /// How far a layer may reach beyond the one below without support; below 0, as far as the higher of the two
  /// is high, which is a slope of 45 degrees.
  double overhang = -1;
  /// A lowest layer that begins at or below Z = 0 (up to half its height above) stands on a closed plate, not
  /// on supports.
  bool solid_platform = false;
  /// Vents and drains. One opens the empty space within `opening_radius` of it.
  std::vector<std::array<double, 3>> openings;
  double opening_radius = 1;
  double pitch = 0.1;     ///< distance of rows, above 0
  double least_area = 1;  ///< unsupported areas above it are reported
  int threads = 1;        ///< at least 1; the findings are the same whatever it is
  /// Where contours would cross rows more often, and a thousand times a point of contours besides, nothing is
  /// looked at.
  double most_crossings = kMostLayerCrossings;
  /// Hears which share of the layers is done, on the calling thread. What it throws ends the work and is
  /// thrown on.
  std::function<void(double)> progress;
};

/// A part of a layer, with a point in it.
struct LayerPlace {
  std::size_t layer = 0;
  double x = 0, y = 0;
  double area = 0;
};

/// Empty space inside of the part that is full of resin.
struct ResinPocket {
  std::size_t begin = 0;  ///< its lowest layer
  /// Of a cup, the first layer in which it is connected with the outside, so that its rim is the layer
  /// before, or the number of layers where its walls are as high as the part. Of what is trapped, the layer
  /// that closes it.
  std::size_t end = 0;
  double x = 0, y = 0;  ///< a point of it in its lowest layer
  double volume = 0;    ///< of all its layers below `end`
  /// The number among the openings of the vent or drain that ends it; nothing where none does.
  std::optional<std::size_t> opening;
};

struct LayerFindings {
  /// The lowest layer that holds anything: all of its area, and a point. Nothing where no layer does.
  std::optional<LayerPlace> start;
  /// Areas that nothing of the layer below comes within the overhang of. By layer, Y and X of the point.
  std::vector<LayerPlace> islands;
  /// Connected areas that lie beyond the layer below grown by the overhang, without islands. Same order.
  std::vector<LayerPlace> unsupported;
  /// Space open upwards that has no way to the outside through its own layers and those below: the blade
  /// passes over resin that cannot leave. By begin, Y and X. What becomes one below its rim is one.
  std::vector<ResinPocket> cups;
  /// Space that has no way to the outside at all. Same order.
  std::vector<ResinPocket> trapped;
  /// Distance of the rows, wider than asked for where a layer has too many of them.
  double pitch = 0;
  bool beyond_bound = false;  ///< nothing was looked at: see LayerFindingOptions::most_crossings
};

/// Looks at all layers. Below the lowest is outside, unless a solid platform closes it; a vent or drain takes
/// space to the outside from the layer on that it reaches, and space that one opens in its lowest layer is
/// neither cup nor trapped. Time in proportion to the contours' points and the rows they cross, but for
/// sorting; memory for a few layers. Throws std::bad_alloc.
LayerFindings FindInLayers(const LayerStack& stack, const LayerFindingOptions& options = {});

/// Of what is solid in layers at the same place, by rows.
double LayerArea(const ContourViews& layer, double pitch);
/// Of `layer` without `other`.
double AreaOfDifference(const ContourViews& layer, const ContourViews& other, double pitch);
/// Of `layer` beyond `other` grown by `distance`, not below 0.
double AreaBeyond(const ContourViews& layer, const ContourViews& other, double distance, double pitch);

}  // namespace trqprep
