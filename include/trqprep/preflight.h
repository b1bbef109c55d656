/// A build before anything is written: placed, set up and checked. `build` writes it, `check` only tells.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "trqprep/build_setup.h"
#include "trqprep/plate.h"

namespace trqprep {

struct Preflight {
  Plate plate;
  std::unique_ptr<BuildSetup> setup;
  std::vector<BuildFinding> findings;
  bool wrong = false;    ///< an error is among the findings
  bool outside = false;  ///< a piece lies outside the vat, which no machine can build
};

/// Takes from the job what the context says about reading parts: a job file says it itself.
void ApplyJob(Context& context, const Job& job);

/// Reads, places and checks the job, and says what it finds. Nothing, after a message with the reason, when
/// there is no placement. Exit 3 for a part or style that cannot be read.
std::optional<Preflight> RunPreflight(Context& context, const Job& job);

}  // namespace trqprep
