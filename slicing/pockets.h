/// Empty space that layers enclose, followed upwards from layer to layer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "slicing/rows.h"
#include "trqprep/layer_findings.h"

namespace trqprep::slicing {

/// A connected area of a layer that is empty and enclosed. Number 0 is the outside.
struct Hollow {
  double area = 0;
  double x = 0, y = 0;   ///< the middle of its longest run
  bool one_row = true;   ///< no second row sees it
  float longest = -1;    ///< of its runs
  std::int32_t row = 0;  ///< the first that sees it
};

/// The hollows of a layer: of each run in `rows`, the one behind it, 0 behind a row's last.
struct Hollows {
  Rows rows;
  std::vector<std::int32_t> behind;
  std::vector<Hollow> list;  ///< the outside first
};
/// Finds the hollows of the rows that stand in `hollows`.
void FindHollows(Hollows& hollows, Sets& scratch);

/// Hollows that lie over each other, (below, here), but not outside over outside.
using HollowLinks = std::vector<std::pair<std::int32_t, std::int32_t>>;
void FindLinks(const Hollows& below, const Hollows& here, HollowLinks& links);

/// Hollows that come within `radius` of a point, which is `away` above or below their layer, with its number.
struct OpenedHollow {
  std::int32_t hollow;
  std::size_t opening;
};
void FindOpened(const Hollows& hollows, double x, double y, double away, double radius, std::size_t opening,
                std::vector<OpenedHollow>& opened);

/// Takes layer after layer, from the bottom upwards.
class Pockets {
 public:
  void Add(std::size_t layer, double height, const std::vector<Hollow>& hollows, const HollowLinks& links,
           const std::vector<OpenedHollow>& opened);
  /// Moves what was found into `findings`, in no order. `layers`: how many there were.
  void End(std::size_t layers, LayerFindings& findings);

 private:
  // What is known of a ResinPocket before it ends: there may be hundreds of thousands.
  struct Pocket {
    double x = 0, y = 0, volume = 0;
    std::uint32_t begin = 0;
    bool one_row = true;
  };
  static void Report(std::vector<ResinPocket>& list, const Pocket& pocket, std::size_t end);

  std::vector<Pocket> pockets_;     // that reach the last layer
  std::vector<std::int32_t> held_;  // of that layer's hollows: the pocket's number and one, or 0 for outside
  std::vector<ResinPocket> cups_, trapped_;
  Sets sets_;
};

}  // namespace trqprep::slicing
