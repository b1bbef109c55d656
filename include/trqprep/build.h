/// One build, from a job to a folder.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "trqprep/build_folder.h"
#include "trqprep/build_setup.h"
#include "trqprep/job.h"
#include "trqprep/mesh_slices.h"
#include "trqprep/observer.h"
#include "trqprep/plate.h"

namespace trqprep {

/// What became of a job.
struct BuildReport {
  Plate plate;
  std::unique_ptr<BuildSetup> setup;        ///< null when there is no placement
  std::vector<BuildFinding> findings;       ///< of parts, plate, styles and stacks, in this order
  std::vector<trq::core::Contours> slices;  ///< of each piece, when the job asks for them
  bool wrong = false;                       ///< an error is among the findings
  bool outside = false;                     ///< a piece lies outside the vat, which no machine can build
  bool machine_chosen = false;              ///< the machine is the one that the styles agree on
  bool written = false;                     ///< the folder stands
  bool forced() const { return written && wrong; }
  Json document;  ///< what build.json says, without its files when nothing was written

  bool placed() const { return setup != nullptr; }
};

/// The layers of a placed piece, cut from the placed vertices as plate.stl holds them, in bands of its
/// styles; the first begins at a multiple of its thickness.
trq::core::Contours SlicePiece(Observer& observer, const trq::core::MeshView& mesh, const Box& box,
                               Units units, const std::vector<LayerBand>& bands, const std::string& name,
                               int threads = 1);

/// Reads, places, sets up and checks the job, and says what it finds; nothing is written. Without a placement
/// the observer hears the reason and the report holds the parts only. Fails with exit 3 for a part or style
/// that cannot be read, and with exit 130 once the observer cancels.
/// What `known` has read is not read again.
BuildReport CheckBuild(const Job& job, Observer& observer, const Plate* known = nullptr);

/// CheckBuild, and the build folder when a placement was found, every piece lies inside the vat, and there is
/// no error among the findings or the job forces its checks. `folder` is refused when it exists, before any
/// work, unless `replace`. Fails with exit 4 besides; then nothing stands under the folder's name, or what
/// stood there before. A job over several plates is for BuildPlates.
BuildReport Build(const Job& job, const std::string& folder, bool replace, Observer& observer);

}  // namespace trqprep
