/// What a machine draws and recoats with, as far as styles do not say it: for estimates of time.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "trqprep/quantities.h"

namespace trqprep {

/// Nothing of it is known until somebody says it.
struct MachineProcess {
  std::optional<Length> beam;    ///< 1/e2 half-width
  std::optional<double> power;   ///< of the beam on the resin, in mW
  std::optional<Length> travel;  ///< of the blade in one sweep
  std::string delay_unit;        ///< of waits and delays: "s" or "ms"
  std::string recoat_unit;       ///< of velocities of sweeps: "mm" or "in"; otherwise that of the build
  std::string dp_unit;           ///< of penetration depths: "mil", "mm" or "in"
  std::string ec_unit;           ///< of critical exposures: "mJ/cm2"
  std::string sweeps;  ///< the list of a layer: "normal" (also when not said), "primary" or "secondary"
  std::optional<double> speed_factor;  ///< speed of the beam by that of theory
};

/// One of them: all that job files, machine profiles and command lines know of it.
struct ProcessField {
  const char* key;   ///< in files; behind two hyphens, on the line
  const char* type;  ///< of the value, in help
  const char* help;
  std::variant<std::optional<Length> MachineProcess::*, std::optional<double> MachineProcess::*,
               std::string MachineProcess::*>
      member;
};
/// In the order in which a job file is written.
const std::vector<ProcessField>& ProcessFields();

/// Stores what a text says. Throws std::invalid_argument.
void StoreProcess(MachineProcess& process, const ProcessField& field, const std::string& text);
/// What StoreProcess reads again; nothing where it is not said.
std::optional<std::string> ProcessText(const MachineProcess& process, const ProcessField& field);
/// Takes from `other` what is not said.
void CompleteProcess(MachineProcess& process, const MachineProcess& other);

}  // namespace trqprep
