/// What many build folders hold together.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trqprep/message.h"

namespace trqprep {

/// What a build folder says of itself: build.json, checks.json and estimate.json.
struct BuildSummary {
  std::string folder;
  std::int64_t pieces = 0;
  std::int64_t parts = 0;
  double volume = 0;                             ///< inside the surfaces of all pieces, in mm3
  std::optional<double> resin;                   ///< ml by the areas of layers, where it was estimated
  std::optional<std::array<double, 2>> seconds;  ///< the least and the most, where both times are known
  std::map<std::pair<Severity, std::string>, std::int64_t> findings;  ///< of its checks: codes, how often
  std::vector<Message> damage;  ///< what is not as it was built; the figures are not to be used then
};

/// A build folder, or each of a folder of several plates. Read are the descriptions, whose sums are compared,
/// and whether all files are there and as long as they were; `verify` reads the files too. Fails with exit 3
/// where there is no build.
std::vector<BuildSummary> SummarizeBuilds(const std::string& path);

}  // namespace trqprep
