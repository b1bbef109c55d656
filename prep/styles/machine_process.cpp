#include "trqprep/machine_process.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace trqprep {
namespace {

constexpr double kMostNumber = 1e9;

double AboveZero(double value, double most, const std::string& text) {
  if (!(value > 0 && value <= most)) {
    throw std::invalid_argument(fmt::format("'{}' is not above 0 and up to {}", text, Plain(most, 0)));
  }
  return value;
}

}  // namespace

const std::vector<ProcessField>& ProcessFields() {
  using P = MachineProcess;
  // clang-format off
  static const std::vector<ProcessField> fields = {
      {"beam", "LENGTH", "1/e2 half-width of the beam (default: from the line width of the style)", &P::beam},
      {"power", "NUMBER", "Power of the beam on the resin, in mW", &P::power},
      {"travel", "LENGTH", "Travel of the blade in one sweep", &P::travel},
      {"delay-unit", "s|ms", "Unit of the waits and delays of recoat styles", &P::delay_unit},
      {"recoat-unit", "mm|in", "Unit of the blade velocities of recoat styles, a second (default that of the build)", &P::recoat_unit},
      {"dp-unit", "mil|mm|in", "Unit of Dp in build styles", &P::dp_unit},
      {"ec-unit", "mJ/cm2", "Unit of Ec in build styles", &P::ec_unit},
      {"sweeps", "normal|primary|secondary", "Which dip and list of sweeps a layer gets (default normal)", &P::sweeps},
      {"speed-factor", "NUMBER", "Speed of the beam by that of theory, found from a build (default: 1 to 0.685)", &P::speed_factor},
  };
  // clang-format on
  return fields;
}

void StoreProcess(MachineProcess& process, const ProcessField& field, const std::string& text) {
  if (const auto* length = std::get_if<std::optional<Length> MachineProcess::*>(&field.member)) {
    const Length value = ParseLength(text);
    AboveZero(value.In(Units::kMillimetre, Units::kMillimetre), kLongestMillimetres, text);
    process.** length = value;
  } else if (const auto* number = std::get_if<std::optional<double> MachineProcess::*>(&field.member)) {
    process.** number = AboveZero(ParseNumber(text), kMostNumber, text);
  } else {
    const std::vector<std::string> words = Split(field.type, '|');
    if (std::find(words.begin(), words.end(), text) == words.end()) {
      throw std::invalid_argument(
          fmt::format("'{}' is not {}{}", text, words.size() > 1 ? "one of " : "", field.type));
    }
    process.*std::get<std::string MachineProcess::*>(field.member) = text;
  }
}

std::optional<std::string> ProcessText(const MachineProcess& process, const ProcessField& field) {
  if (const auto* length = std::get_if<std::optional<Length> MachineProcess::*>(&field.member)) {
    const std::optional<Length>& value = process.**length;
    if (!value) return std::nullopt;
    return fmt::format("{}{}", value->value, value->unit ? UnitsName(*value->unit) : "");
  }
  if (const auto* number = std::get_if<std::optional<double> MachineProcess::*>(&field.member)) {
    const std::optional<double>& value = process.**number;
    return value ? std::optional(fmt::format("{}", *value)) : std::nullopt;
  }
  const std::string& word = process.*std::get<std::string MachineProcess::*>(field.member);
  return word.empty() ? std::nullopt : std::optional(word);
}

void CompleteProcess(MachineProcess& process, const MachineProcess& other) {
  for (const ProcessField& field : ProcessFields()) {
    const auto text = ProcessText(other, field);
    if (text && !ProcessText(process, field)) StoreProcess(process, field, *text);
  }
}

}  // namespace trqprep
