#include "trqprep/job.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "trqprep/job_file.h"
#include "trqprep/machine_profiles.h"
#include "trqprep/style_document.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

bool NamesFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

struct PartKey {
  const char* name;
  void (*set)(PartRequest& part, const std::string& value);
};

constexpr PartKey kPartKeys[] = {
    {"copies", [](PartRequest& part, const std::string& value) { part.copies = ParseWhole(value, 1, 1000); }},
    {"rotate-z", [](PartRequest& part, const std::string& value) { part.rotate_z = ParseNumber(value); }},
    {"style",
     [](PartRequest& part, const std::string& value) { part.styles.push_back(ParseStyleRequest(value)); }},
};

// What --machine names: a profile of --machines, or a machine type.
void ChooseMachine(const std::string& name, const std::string& profiles_file, bool vat_given, Job& job) {
  std::vector<std::string> names = MachineNames();
  if (!profiles_file.empty()) {
    const std::vector<MachineProfile> profiles = ReadMachineProfiles(profiles_file);
    for (const MachineProfile& profile : profiles) names.push_back(profile.name);
    for (const MachineProfile& profile : profiles) {
      // A file with a single profile needs no --machine.
      if (profile.name != name && !(name.empty() && profiles.size() == 1)) continue;
      job.machine = profile.type;
      if (profile.vat && !vat_given) job.vat = *profile.vat;
      // The folder of a profile is seen from the profile file.
      job.style_root = profile.style_root;
      const std::size_t slash = profiles_file.rfind('/');
      if (!job.style_root.empty() && job.style_root[0] != '/' && slash != std::string::npos) {
        job.style_root = profiles_file.substr(0, slash + 1) + job.style_root;
      }
      return;
    }
  }
  if (name.empty()) return;
  job.machine = FindMachineByName(name);
  if (job.machine) return;
  Fail(ExitCode::kUsage,
       Message("MACHINE-UNKNOWN", "", "there is no machine '" + name + "'").Hint(DidYouMean(name, names)));
}

}  // namespace

StyleRequest ParseStyleRequest(const std::string& text) {
  StyleRequest request;
  request.path = text;
  const std::size_t at = text.rfind('@');
  if (NamesFile(text) || at == std::string::npos) return request;
  request.path = text.substr(0, at);
  request.banded = true;
  try {
    const std::vector<std::string> ends = Split(text.substr(at + 1), ':');
    if (ends.size() != 2) throw std::invalid_argument("'" + text.substr(at + 1) + "' is no band");
    request.from = ParseLength(ends[0]);
    request.to = ParseLength(ends[1]);
  } catch (const std::invalid_argument& error) {
    Fail(ExitCode::kUsage,
         Message("USAGE", request.path, error.what()).Hint("write FILE@FROM:TO, such as Fine.sty@0:10mm"));
  }
  if (!request.from.unit) request.from.unit = request.to.unit;
  return request;
}

PartRequest ParsePart(const std::string& text) {
  PartRequest part;
  part.path = text;
  if (NamesFile(text)) return part;
  std::size_t end = text.find(',');
  if (end == std::string::npos) return part;
  for (std::size_t comma = text.rfind(','); comma != std::string::npos && comma > 0;
       comma = text.rfind(',', comma - 1)) {
    if (NamesFile(text.substr(0, comma))) {
      end = comma;
      break;
    }
  }
  part.path = text.substr(0, end);
  std::vector<std::string> names;
  for (const PartKey& key : kPartKeys) names.push_back(key.name);
  for (const std::string& setting : Split(text.substr(end + 1), ',')) {
    const std::size_t equals = setting.find('=');
    const std::string name = setting.substr(0, equals);
    const PartKey* found = nullptr;
    for (const PartKey& key : kPartKeys) {
      if (name == key.name) found = &key;
    }
    if (!found || equals == std::string::npos) {
      Fail(ExitCode::kUsage,
           Message("USAGE", part.path, fmt::format("'{}' is no setting of a part", setting))
               .Hint(found ? fmt::format("write {}=VALUE", name) : DidYouMean(name, names)));
    }
    try {
      found->set(part, setting.substr(equals + 1));
    } catch (const std::invalid_argument& error) {
      Fail(ExitCode::kUsage, Message("USAGE", part.path, fmt::format("{}: {}", name, error.what())));
    }
  }
  return part;
}

std::array<double, 3> Job::VatIn(Units wanted) const {
  return {vat[0].In(wanted, units), vat[1].In(wanted, units), vat[2].In(wanted, units)};
}

JobOptions::JobOptions(Command& command, bool whole) : app_(command.app), whole_(whole) {
  arguments_ = command.Arguments(
      "PART", argument_values_,
      whole ? "STL or CTL file, or FILE,copies=N,rotate-z=DEGREES,style=STYLE; or one job file"
            : "STL or CTL file, or FILE,copies=N,rotate-z=DEGREES",
      false);
  part_options_ =
      command.RepeatedOption("--part", part_values_, "PART", "A further part, written the same way");
  vat_option_ = command.VatOption(job_.vat);
  command.WholeOption("--rotations", job_.rotations, 1, 24,
                      "How many turns about Z are tried (1 to 24, default 24)");
  command.WholeOption("--seed", job_.seed, 0, 4294967295, "Seed of the search (default 1)");
  command.Flag("--drop", job_.drop, "Put the lowest point of every part at Z = 0");
  command.ReadsMeshes();
  if (!whole) return;
  command.RepeatedOption("--style", style_values_, "STYLE",
                         "Build style of all parts: FILE, or FILE@FROM:TO for a band of Z");
  command.RepeatedOption("--recoat", recoat_values_, "STYLE",
                         "Recoat style of the build: FILE, or FILE@FROM:TO for a band of Z");
  command.TextOption("--machine", machine_, "NAME", "Machine type, or a profile of --machines");
  command.TextOption("--machines", machines_file_, "FILE",
                     "Profiles of machines with their vats and style folders (TOML)");
  command.LengthOption("--z-spacing", job_.z_spacing,
                       "Widest hatch spacing that counts in the Z correction (default: all hatches count)");
  command.Flag("--force-checks", job_.force_checks, "Build although checks find errors");
}

Job JobOptions::Get(const Context& context) const {
  if (whole_ && argument_values_.size() == 1 && NamesJobFile(argument_values_[0])) {
    for (const CLI::Option* given : app_.parse_order()) {
      const std::string name = given->get_single_name();
      if (given == arguments_ || name == "output" || name == "force" || name == "force-checks" ||
          name == "json" || name == "yes") {
        continue;
      }
      Fail(ExitCode::kUsage, Message("USAGE", argument_values_[0],
                                     fmt::format("--{} does not go with a job file, which says it all", name))
                                 .Hint("change it in the job file"));
    }
    Job job = ReadJobFile(argument_values_[0]);
    job.force_checks = job.force_checks || job_.force_checks;
    return job;
  }
  Job job = job_;
  job.units = context.units();
  job.accept_partial = context.options.accept_partial;
  std::size_t next_argument = 0;
  std::size_t next_part = 0;
  for (const CLI::Option* given : app_.parse_order()) {
    if (given == arguments_) job.parts.push_back(ParsePart(argument_values_.at(next_argument++)));
    if (given == part_options_) job.parts.push_back(ParsePart(part_values_.at(next_part++)));
  }
  if (job.parts.empty()) {
    Fail(ExitCode::kUsage, Message("USAGE", "", "no part was given").Hint("name STL or CTL files"));
  }
  for (const std::string& text : style_values_) job.styles.push_back(ParseStyleRequest(text));
  for (const std::string& text : recoat_values_) job.recoats.push_back(ParseStyleRequest(text));
  ChooseMachine(machine_, machines_file_, vat_option_->count() > 0, job);
  return job;
}

}  // namespace trqprep
