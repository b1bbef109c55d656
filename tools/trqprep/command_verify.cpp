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
    context.Print(
        "{}: {}\n", OneLine(folder),
        findings.empty() ? "everything is as it was built" : fmt::format("differences {}", findings.size()));
    context.data["folders"].push_back({{"folder", TextToJson(folder)}, {"differences", findings.size()}});
    if (!findings.empty()) exit = ExitCode::kNo;
  }
  return exit;
}

}  // namespace

void AddVerify(CommandTree& tree) {
  auto folders = std::make_shared<std::vector<std::string>>();
  Command& command = tree.Add("verify", "Make sure that a build folder is as it was built");
  command.details =
      "Re-reads everything in a build folder: the sums of all files against build.json, missing and "
      "added files, the checksums of the styles, facets and places of the pieces, overlaps. Ends with 1 "
      "when anything differs.";
  command.Arguments("FOLDER", *folders, "Build folders").Type("FOLDER");
  command.examples = {"trqprep build bracket.stl -o out && trqprep verify out", "trqprep verify out --json"};
  command.run = [folders](Context& context) { return Run(context, *folders); };
}

}  // namespace trqprep
