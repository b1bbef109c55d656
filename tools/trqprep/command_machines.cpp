#include <algorithm>

#include "commands.h"
#include "trq/machine_types.h"
#include "trqprep/machine_profiles.h"
#include "trqprep/style_document.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

struct Options {
  std::string name;
  std::string profiles;
};

std::string VatText(const std::array<Length, 3>& vat) {
  std::array<double, 3> size{};
  for (std::size_t i = 0; i < 3; ++i) size[i] = vat[i].In(Units::kMillimetre, Units::kMillimetre);
  return SizeInBoth(size, Units::kMillimetre);
}

Json DirectoryToJson(const char* directory) { return directory ? Json(directory) : Json(nullptr); }

ExitCode Run(Context& context, const Options& options) {
  const bool all = options.name.empty();
  std::vector<MachineProfile> profiles;
  if (!options.profiles.empty()) profiles = ReadMachineProfiles(options.profiles);
  std::vector<std::string> names = MachineNames();
  for (const MachineProfile& profile : profiles) names.push_back(profile.name);
  const auto is_named = [&](const MachineProfile& profile) { return profile.name == options.name; };
  const bool is_profile = std::any_of(profiles.begin(), profiles.end(), is_named);
  constexpr int kNone = -1;
  const int wanted = is_profile || all ? kNone : FindMachineByName(options.name).value_or(kNone);
  if (!all && !is_profile && wanted == kNone) {
    Fail(ExitCode::kUsage, Message(Code::kMachineUnknown, "", "there is no machine '" + options.name + "'")
                               .Hint(DidYouMean(options.name, names)));
  }
  context.data["machines"] = Json::array();
  if (!is_profile) {
    context.Print("{:>4}  {:<22}  {:<26}  {}\n", "type", "name", "styles, mm", "styles, inch");
    for (const trq::MachineTypeRow& row : trq::kMachineTypes) {
      if (wanted != kNone && wanted != row.type) continue;
      const char* mm = row.directory_mm;
      const char* inch = row.directory_inch;
      context.Print("{:>4}  {:<22}  {:<26}  {}\n", static_cast<int>(row.type), row.display_name,
                    mm ? mm : "-", inch ? inch : "-");
      context.data["machines"].push_back({{"type", static_cast<int>(row.type)},
                                          {"name", row.display_name},
                                          {"styles_mm", DirectoryToJson(mm)},
                                          {"styles_inch", DirectoryToJson(inch)}});
    }
  }
  if (options.profiles.empty()) return ExitCode::kDone;
  context.data["profiles"] = Json::array();
  for (const MachineProfile& profile : profiles) {
    if (!all && !is_named(profile) && (wanted == kNone || profile.type.value_or(kNone) != wanted)) continue;
    Json entry;
    entry["name"] = TextToJson(profile.name);
    entry["type"] = profile.type ? Json(*profile.type) : Json(nullptr);
    entry["machine"] = profile.type ? Json(MachineName(*profile.type)) : Json(nullptr);
    entry["vat_mm"] = nullptr;
    if (profile.vat) {
      entry["vat_mm"] = Json::array();
      for (const Length& side : *profile.vat) {
        entry["vat_mm"].push_back(NumberToJson(side.In(Units::kMillimetre, Units::kMillimetre)));
      }
    }
    entry["styles"] = profile.style_root.empty() ? Json(nullptr) : TextToJson(profile.style_root);
    context.data["profiles"].push_back(entry);
    context.Print("\n{}\n  machine  {}\n  vat      {}\n  styles   {}\n", OneLine(profile.name),
                  profile.type ? MachineName(*profile.type) : "-", profile.vat ? VatText(*profile.vat) : "-",
                  profile.style_root.empty() ? "-" : OneLine(profile.style_root));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddMachines(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& command = tree.Add("machines", "List the machine types and their style folders");
  command.details =
      "The folders stand behind the style root of the application. --machines adds the machines that a "
      "TOML file describes, a table each:\n\n"
      "[lab] type = \"TRQ-E7\", vat = \"500x500x580mm\", styles = \"/srv/styles\", an entry a line; all "
      "are optional.";
  command.Argument("NAME", options->name, "A machine's name or number").Required(false).Type("NAME");
  command.TextOption("--machines", options->profiles, "FILE", "Machine profiles, a TOML file");
  command.examples = {"trqprep machines", "trqprep machines TRQ-E7 --json"};
  command.run = [options](Context& context) { return Run(context, *options); };
}

}  // namespace trqprep
