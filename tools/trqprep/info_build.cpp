#include "file_kinds.h"
#include "trqprep/build_folder.h"

namespace trqprep {
bool IsBuildFolder(const FileHead& file) {
  return file.is_folder && HeldFolder(file.path).HasRegularFile(kBuildJson);
}

void DescribeBuildFolder(Context& context, const FileHead& file, Json& data) {
  const Json document = ReadBuildDocument(HeldFolder(file.path));
  data["piece_count"] = document["pieces"].size();
  data["part_count"] = document["inputs"].size();
  for (const char* key : {"units", "machine", "vat", "seed", "extent", "smallest_distance"}) {
    if (document.contains(key)) data[key] = document[key];
  }
  context.Tell("{file}: build folder, {piece_count:+piece} of {part_count:+part}\n", data);
  for (Json input : document["inputs"]) {
    if (!input.is_object()) continue;
    if (!input.contains("copies")) input["copies"] = 1;
    for (const char* key : {"part", "file"}) {
      if (!TextFromJson(input.value(key, Json("")))) input[key] = "?";
    }
    context.Tell("  {part}: {copies} of {file}\n", input);
  }
}

}  // namespace trqprep
