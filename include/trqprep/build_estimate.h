/// How much resin a build takes and how long, from the contours of its pieces and its styles
/// (docs/estimate.md).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "trq/core/slc.h"
#include "trq/recoat.h"
#include "trq/styles.h"
#include "trqprep/build_setup.h"
#include "trqprep/held_folder.h"
#include "trqprep/json_text.h"
#include "trqprep/machine_process.h"
#include "trqprep/observer.h"
#include "trqprep/plate.h"

namespace trqprep {

constexpr const char* kEstimateSchema = "trqprep.estimates/1";

/// What an estimate is made for. Lengths are in `units`.
struct EstimateOrder {
  /// A style over a range of Z; one of the two.
  struct Band {
    std::string file;
    double start = 0;
    double end = 0;
    std::shared_ptr<const KVBUILDSTYLE> build;
    std::shared_ptr<const KVRECOATSTYLE> recoat;
  };
  struct Part {
    std::string name;
    std::vector<Band> bands;  ///< of build styles, from the bottom upwards
  };
  Units units = Units::kMillimetre;
  std::optional<int> machine;  ///< type number
  MachineProcess process;
  std::vector<Part> parts;
  std::vector<Band> recoat;
};

/// Makes an estimate, a piece at a time.
class Estimator {
 public:
  explicit Estimator(EstimateOrder order);
  ~Estimator();
  Estimator(const Estimator&) = delete;
  Estimator& operator=(const Estimator&) = delete;

  /// Measures the layers of a piece of a part, called `name` where progress is told of. `volume` is that of
  /// its mesh, where there is one.
  void Add(Observer& observer, std::size_t part, const std::string& name, const trq::core::Contours& contours,
           std::optional<double> volume);

  /// Whether both times are known in full.
  bool complete() const;
  /// What was found, without schema: docs/schemas/estimates.json.
  Json Document() const;
  /// ESTIMATE-MISSING, ESTIMATE-STYLE and ESTIMATE-PASS, each style's once.
  std::vector<Message> Messages() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The estimate of a placed and sliced build: an estimator that has all of its pieces.
std::unique_ptr<Estimator> EstimateOf(Observer& observer, const Plate& plate, const BuildSetup& setup,
                                      const std::vector<trq::core::Contours>& slices);

/// What estimate.json of a build folder says: nothing when there are no slices, or when something is not
/// known, which is noted then as ESTIMATE-MISSING or ESTIMATE-STYLE.
Json EstimateFile(Observer& observer, const Plate& plate, const BuildSetup& setup,
                  const std::vector<trq::core::Contours>& slices);

/// The estimate of a build folder; what is `given` comes before what its job file says. Slices that it does
/// not hold are cut from its parts as `build --slice` cuts them. Exit 3 for a folder that is no build, or
/// that lacks a file it lists.
std::unique_ptr<Estimator> EstimateFolder(Observer& observer, const HeldFolder& folder,
                                          const MachineProcess& given);

/// What slice-contour files are to be built with.
struct ContourStyles {
  std::vector<StyleRequest> styles, recoats;
  std::optional<int> machine;  ///< none: the one that all styles of the 301 layout are for
};

/// The estimate of slice-contour files as the pieces of one build, each a part of its own. Styles are in the
/// unit of the files, which is the same for all, else exit 2; a file without one is in `bare`.
std::unique_ptr<Estimator> EstimateContours(Observer& observer, const std::vector<std::string>& paths,
                                            Units bare, const ContourStyles& styles,
                                            const MachineProcess& process);

}  // namespace trqprep
