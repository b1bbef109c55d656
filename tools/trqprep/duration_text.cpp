#include "duration_text.h"

#include <fmt/format.h>

#include <cmath>

#include "trqprep/quantities.h"

namespace trqprep {

std::string Duration(const Json& time) {
  // What no number holds is a text.
  if (!time.is_number()) return "without end";
  const auto seconds = time.get<double>();
  if (seconds < 59.95) return Plain(seconds, 1) + " s";
  const double minutes = std::round(seconds / 60);
  if (seconds < 599.5) {
    const double whole = std::round(seconds);
    return fmt::format("{} min {} s", Plain(std::floor(whole / 60), 0), Plain(std::fmod(whole, 60), 0));
  }
  const double hours = std::floor(minutes / 60);
  if (hours < 1) return Plain(minutes, 0) + " min";
  return fmt::format("{} h {} min", Plain(hours, 0), Plain(minutes - 60 * hours, 0));
}

std::string DurationRange(const Json& range) {
  const std::string least = Duration(range["least"]), most = Duration(range["most"]);
  return least == most ? least : least + " to " + most;
}

}  // namespace trqprep
