#include "trqprep/suggestions.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "trqprep/paths.h"

namespace trqprep {
namespace {

// Letters to insert, drop, replace or swap with their neighbour to make one word of the other.
int Distance(const std::string& a, const std::string& b) {
  const size_t columns = b.size() + 1;
  std::vector<int> before(columns), previous(columns), current(columns);
  std::iota(previous.begin(), previous.end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = int(i);
    for (size_t j = 1; j < columns; ++j) {
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (a[i - 1] != b[j - 1])});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        current[j] = std::min(current[j], before[j - 2] + 1);
      }
    }
    std::swap(before, previous);
    std::swap(previous, current);
  }
  return previous[b.size()];
}

}  // namespace

std::vector<std::string> NearestNames(const std::string& unknown, const std::vector<std::string>& names) {
  const std::string wanted = Lower(unknown.substr(0, 200));
  std::vector<std::pair<int, std::string>> ranked;
  for (const std::string& name : names) {
    const std::string candidate = Lower(name);
    int distance = Distance(wanted, candidate) * 2;
    // A name that was cut short is nearer than one of the same distance that shares no beginning.
    if (!wanted.empty() && candidate.compare(0, wanted.size(), wanted) == 0) distance = 1;
    ranked.emplace_back(distance, name);
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> nearest;
  for (const auto& [distance, name] : ranked) {
    if (nearest.size() == 3) break;
    if (std::find(nearest.begin(), nearest.end(), name) == nearest.end()) nearest.push_back(name);
  }
  return nearest;
}

std::string DidYouMean(const std::string& unknown, const std::vector<std::string>& names) {
  const std::vector<std::string> nearest = NearestNames(unknown, names);
  if (nearest.empty()) return {};
  std::string text = "did you mean " + nearest[0];
  for (size_t i = 1; i < nearest.size(); ++i) {
    text += (i + 1 == nearest.size() ? " or " : ", ") + nearest[i];
  }
  return text + "?";
}

}  // namespace trqprep
