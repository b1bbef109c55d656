// What `info` says about vents-and-drains side files.
#include "file_kinds.h"
#include "trqprep/vents_file.h"

namespace trqprep {
void DescribeVentsFile(Context& context, const FileHead& head, Json& data) {
  const VentsFile file = ReadVents(context, head.path);
  if (file.entries.empty() && !file.bad_lines.empty()) {
    Fail(ExitCode::kInput, Message(Code::kVdLine, head.path, "no line is seven numbers")
                               .Hint("is this a vents-and-drains file?"));
  }
  int vents = 0, drains = 0;
  for (const VentEntry& entry : file.entries) {
    vents += entry.kind() == std::string("vent") ? 1 : 0;
    drains += entry.kind() == std::string("drain") ? 1 : 0;
  }
  data["file_size"] = head.size;
  data["entries"] = file.entries.size();
  data["vents"] = vents;
  data["drains"] = drains;
  data["bad_lines"] = file.bad_lines.size();
  context.Print("{}: vents and drains, {} bytes\n", OneLine(head.path), head.size);
  context.Print("  entries   {}: {} vents, {} drains\n", file.entries.size(), vents, drains);
}

}  // namespace trqprep
