#include "commands.h"
#include "file_kinds.h"

namespace trqprep {
namespace {

ExitCode Run(Context& context, const std::vector<std::string>& paths) {
  ExitCode exit = ExitCode::kDone;
  Json files = Json::array();
  for (size_t i = 0; i < paths.size(); ++i) {
    const std::string& path = paths[i];
    context.Progress("reading " + path, double(i) / double(paths.size()));
    Json entry;
    entry["file"] = TextToJson(path);
    const size_t printed = context.text.size();
    // One bad file does not hide the others.
    try {
      const FileHead head = ReadFileHead(path, true);
      const FileKind* kind = KindOf(head);
      if (!kind) {
        const std::string known = fmt::format("{}", fmt::join(KindNames(), ", "));
        FailInput(Code::kInputUnknown, path, "is of no kind that is known", "known are " + known);
      }
      entry["kind"] = kind->name;
      kind->describe(context, head, entry);
    } catch (const Failure& failure) {
      context.text.resize(printed);
      context.Say(failure.message);
      exit = failure.exit;
      entry = Json{{"file", TextToJson(path)}, {"code", RowOf(failure.message.code).text}};
    }
    files.push_back(entry);
  }
  context.data["files"] = files;
  return exit;
}

}  // namespace

void AddInfo(CommandTree& tree) {
  Command& command = tree.Add(
      "info", "Tell what files hold",
      "The kind of a file is told by its content. Of a mesh: size in both units, box, facets, vertices, "
      "area, volume, header text, checksum. With --json the entry of each file stands in \"files\"; "
      "lengths are in the file's own unit, which the entry names.",
      {"trqprep info bracket.stl", "trqprep info --json bracket.stl spur_gear.stl"});
  auto& paths = command.Runs(Run);
  command.Arguments("FILE", paths, "Files of any kind the tool knows, or build folders");
  command.ReadsMeshes();
}

}  // namespace trqprep
