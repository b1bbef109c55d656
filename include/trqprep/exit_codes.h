/// How a run of the tool ends. Every command returns one of these.
#pragma once

namespace trqprep {

enum class ExitCode : int {
  kDone = 0,           ///< done; warnings are allowed
  kNo = 1,             ///< the answer is no (check, diff, verify, build preflight)
  kUsage = 2,          ///< the command line makes no sense
  kInput = 3,          ///< input missing or malformed
  kOutput = 4,         ///< output not written
  kNoPlacement = 5,    ///< no placement exists
  kInternal = 70,      ///< a defect, or no memory left
  kInterrupted = 130,  ///< SIGINT, SIGTERM or SIGHUP
};

}  // namespace trqprep
