#include <algorithm>

#include "commands.h"
#include "trq/machine_types.h"
#include "trqprep/machine_profiles.h"
#include "trqprep/matrix4.h"
#include "trqprep/style_document.h"

namespace trqprep {
namespace {

struct Options {
  std::string name;
  std::string profiles;
};

Json OrNothing(const char* text) { return text ? Json(text) : Json(nullptr); }

ExitCode Run(Context& context, const Options& options) {
  const bool all = options.name.empty();
  std::vector<MachineProfile> profiles;
  if (!options.profiles.empty()) profiles = ReadMachineProfiles(options.profiles);
  std::vector<std::string> names;
  for (const MachineProfile& profile : profiles) names.push_back(profile.name);
  const auto is_named = [&](const MachineProfile& profile) { return profile.name == options.name; };
  const bool is_profile = std::any_of(profiles.begin(), profiles.end(), is_named);
  std::optional<int> wanted;
  if (!all && !is_profile) wanted = MachineByName(options.name, names);
  Json& machines = context.data["machines"] = Json::array();
  if (!is_profile) {
    for (const trq::MachineTypeRow& row : trq::kMachineTypes) {
      if (wanted && *wanted != row.type) continue;
      machines.push_back({{"machine_type", int(row.type)},
                          {"machine", row.display_name},
                          {"styles_mm", OrNothing(row.directory_mm)},
                          {"styles_in", OrNothing(row.directory_inch)}});
    }
    context.Tell("type  name                    styles, mm                  styles, inch\n");
    context.TellEach(machines, "{machine_type|>4}  {machine|<22}  {styles_mm|<26}  {styles_in}\n");
  }
  if (options.profiles.empty()) return ExitCode::kDone;
  context.data["profiles"] = Json::array();
  for (const MachineProfile& profile : profiles) {
    if (!all && !is_named(profile) && (!wanted || profile.type != wanted)) continue;
    Json vat, size;
    if (profile.vat) {
      Point side;
      for (size_t i = 0; i < 3; ++i) side[i] = (*profile.vat)[i].In(Units::kMillimetre, Units::kMillimetre);
      vat = NumbersToJson(side);
      size = SizeInBoth(side, Units::kMillimetre);
    }
    const Json entry{{"name", TextToJson(profile.name)},
                     {"machine_type", profile.type ? Json(*profile.type) : Json()},
                     {"machine", profile.type ? Json(MachineName(*profile.type)) : Json()},
                     {"vat", vat},
                     {"style_root", profile.style_root.empty() ? Json() : TextToJson(profile.style_root)}};
    context.data["profiles"].push_back(entry);
    context.Tell("\n{name}\n  machine  {machine}\n", entry);
    context.Tell("  vat      {size}\n", {{"size", size}});
    context.Tell("  styles   {style_root}\n", entry);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddMachines(CommandTree& tree) {
  Command& command = tree.Add(
      "machines", "List the machine types and their style folders",
      "The folders stand behind the style root of the application. --machines adds the machines that a "
      "TOML file describes, a table each:\n\n"
      "[lab] type = \"TRQ-E7\", vat = \"500x500x580mm\", styles = \"/srv/styles\", an entry a line; all "
      "are optional. A style that 'build' does not find by its name is looked for below the folder that "
      "styles names, in the machine's own folder, listed here: with styles = \"/srv/styles\" the TRQ-E7 has "
      "its styles in millimetres in /srv/styles/trqe7/e7mm/.",
      {"trqprep machines", "trqprep machines TRQ-E7 --json"});
  auto& options = command.Runs(Run);
  command.Argument("NAME", options.name, "A machine's name or number").Required(false).Type("NAME");
  command.TextOption("--machines", options.profiles, "FILE", "Machine profiles, a TOML file");
}

}  // namespace trqprep
