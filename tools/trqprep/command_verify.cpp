#include "commands.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> folders;
  bool strict = false;
};

ExitCode Run(Context& context, const Options& options) {
  ExitCode exit = ExitCode::kDone;
  context.data["files"] = Json::array();
  for (std::string folder : options.folders) {
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    size_t differences = 0;
    for (Message& finding : VerifyFolder(context, folder)) {
      if (options.strict) finding.As(Severity::kError);
      differences += finding.severity == Severity::kError ? 1 : 0;
      context.Say(finding);
    }
    const Json row{{"file", TextToJson(folder)}, {"errors", differences}};
    context.data["files"].push_back(row);
    context.Tell(
        differences == 0 ? "{file}: everything is as it was built\n" : "{file}: {errors:+difference}\n", row);
    if (differences != 0) exit = ExitCode::kNo;
  }
  return exit;
}

}  // namespace

void AddVerify(CommandTree& tree) {
  Command& command = tree.Add(
      "verify", "Make sure that a build folder is as it was built",
      "Re-reads everything in a build folder: the sums of all files against build.json, missing "
      "files, the checksums of the styles, facets and places of the pieces, overlaps. Ends with 1 when "
      "anything differs; a link, a pipe or a device in the place of a file or folder is such a difference, "
      "and nothing is read through it. Files that are not of the build are named, and end it with 1 under --strict only; "
      "what file managers leave behind (.DS_Store, Thumbs.db, desktop.ini) does not count.",
      {"trqprep build bracket.stl -o plate && trqprep verify plate", "trqprep verify plate --json"});
  auto& options = command.Runs(Run);
  command.Arguments("FOLDER", options.folders, "Build folders").Type("FOLDER");
  command.Flag("--strict", options.strict, "End with 1 for files that are not of the build, too");
}

}  // namespace trqprep
