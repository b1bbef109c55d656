/// Machine profiles: any text is refused with its line, or its machines are ones that the tool can use.
#include "fuzz/fuzz_tool.h"
#include "trqprep/machine_profiles.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile input(data, size);
  std::vector<trqprep::MachineProfile> profiles;
  if (!fuzz::Accepts([&] { profiles = trqprep::ReadMachineProfiles(input.path()); })) return 0;
  for (const trqprep::MachineProfile& profile : profiles) {
    fuzz::Demand(!profile.type || *profile.type >= 0, "a machine type below 0");
    if (!profile.vat) continue;
    for (const trqprep::Length& side : *profile.vat) fuzz::Demand(side.value > 0, "a vat without room");
  }
  return 0;
}
