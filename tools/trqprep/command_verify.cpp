#include "commands.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

ExitCode Run(Context& context, const std::vector<std::string>& folders) {
  ExitCode exit = ExitCode::kDone;
  context.data["folders"] = Json::array();
  for (std::string folder : folders) {
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    const std::vector<Message> findings = VerifyFolder(context, folder);
    for (const Message& finding : findings) context.Error(finding);
    const Json row{{"folder", TextToJson(folder)}, {"differences", findings.size()}};
    context.data["folders"].push_back(row);
    context.Tell(findings.empty() ? "{folder}: everything is as it was built\n"
                                  : "{folder}: differences {differences}\n",
                 row);
    if (!findings.empty()) exit = ExitCode::kNo;
  }
  return exit;
}

}  // namespace

void AddVerify(CommandTree& tree) {
  Command& command = tree.Add(
      "verify", "Make sure that a build folder is as it was built",
      "Re-reads everything in a build folder: the sums of all files against build.json, missing and "
      "added files, the checksums of the styles, facets and places of the pieces, overlaps. Ends with 1 "
      "when anything differs.",
      {"trqprep build bracket.stl -o out && trqprep verify out", "trqprep verify out --json"});
  auto& folders = command.Runs(Run);
  command.Arguments("FOLDER", folders, "Build folders").Type("FOLDER");
}

}  // namespace trqprep
