// What `info` says about vents-and-drains side files.
#include "file_kinds.h"
#include "trqprep/vents_file.h"

namespace trqprep {
void DescribeVentsFile(Context& context, const FileHead& head, Json& data) {
  const VentsFile file = ReadVents(context, head.path);
  if (file.entries.empty() && !file.bad_lines.empty()) {
    FailInput(Code::kVdLine, head.path, "no line holds seven numbers", "is this a vents-and-drains file?");
  }
  int vents = 0, drains = 0;
  for (const VentEntry& entry : file.entries) {
    vents += entry.kind() == std::string("vent") ? 1 : 0;
    drains += entry.kind() == std::string("drain") ? 1 : 0;
  }
  data.update({{"file_size", head.size},
               {"entry_count", file.entries.size()},
               {"vent_count", vents},
               {"drain_count", drains},
               {"bad_lines", file.bad_lines.size()}});
  context.Tell(R"({file}: vents and drains, {file_size:+byte}
  entries   {entry_count}: {vent_count:+vent}, {drain_count:+drain}
)",
               data);
}

}  // namespace trqprep
