#include "trqprep/job_defaults.h"

#include <vector>

#include "trqprep/machine_profiles.h"
#include "trqprep/style_document.h"

namespace trqprep {
namespace {

constexpr Length kUsualGap{2, Units::kMillimetre};
constexpr Length kUsualMargin{5, Units::kMillimetre};

}  // namespace

void TakeUsualDistances(Job& job) {
  if (job.engine == Engine::kNest) {
    if (!job.gap) job.gap = kUsualGap;
    if (!job.margin) job.margin = kUsualMargin;
  }
  if (job.drop && job.floor == Floor::kKeep) {
    FailUsage("", "--drop and --floor keep exclude each other", "leave one of them away");
  }
}

void ChooseMachine(const std::string& name, const std::string& profiles_file, bool vat_given, Job& job) {
  std::vector<std::string> names;
  if (!profiles_file.empty()) {
    const std::vector<MachineProfile> profiles = ReadMachineProfiles(profiles_file);
    for (const MachineProfile& profile : profiles) names.push_back(profile.name);
    for (const MachineProfile& profile : profiles) {
      // A file with a single profile needs no --machine.
      if (profile.name != name && !(name.empty() && profiles.size() == 1)) continue;
      job.machine = profile.type;
      job.process = profile.process;
      if (profile.vat && !vat_given) job.vat = *profile.vat;
      // The folder of a profile is seen from the profile file.
      job.style_root = profile.style_root;
      const size_t slash = profiles_file.rfind('/');
      if (!job.style_root.empty() && job.style_root[0] != '/' && slash != std::string::npos) {
        job.style_root = profiles_file.substr(0, slash + 1) + job.style_root;
      }
      return;
    }
  }
  if (!name.empty()) job.machine = MachineByName(name, names);
}

}  // namespace trqprep
