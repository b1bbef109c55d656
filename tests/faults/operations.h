/// What the library does with files, as a table: every row can be run under a fault.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/faults/injection.h"

namespace faults {

/// How an operation ended.
struct Outcome {
  int code = 0;      ///< 0 success; kOutOfMemory, kThrownText or what the library answered
  bool hit = false;  ///< a fault happened while it ran
  std::string
      result;  ///< what it made, after a failure what the same object makes when asked again without faults
};

struct Operation {
  const char* format;  ///< the folder of its seeds
  const char* name;
  /// Runs on that file, the operation itself under the plan.
  std::function<Outcome(const std::string& path, const Plan& plan)> run;
};

const std::vector<Operation>& Readers();
const std::vector<Operation>& Writers();
/// What works on objects in memory.
const std::vector<Operation>& Workers();

/// The seed files of a format.
std::vector<std::string> SeedsOf(const char* format);

}  // namespace faults
