/// Machines as people describe their own: a TOML file with a table a machine.
///
///   [lab]                       # any name
///   type = "TRQ-E7"             # name or number of the machine type
///   vat = "500x500x580mm"
///   styles = "/srv/styles"      # style root: build and recoat styles lie in its folders a machine type
///   power = 250                 # and what else MachineProcess holds
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/machine_process.h"
#include "trqprep/quantities.h"

namespace trqprep {

struct MachineProfile {
  std::string name;
  std::optional<int> type;
  std::optional<std::array<Length, 3>> vat;
  std::string style_root;  ///< empty: not given
  MachineProcess process;
};

/// The profiles of a file, in file order. Whatever it cannot mean ends the command with exit 3.
std::vector<MachineProfile> ReadMachineProfiles(const std::string& path);

}  // namespace trqprep
