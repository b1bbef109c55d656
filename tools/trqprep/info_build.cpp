#include "file_kinds.h"
#include "trqprep/build_folder.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

void DescribeBuild(Context& context, const HeldFolder& folder, const std::string& name, Json& data) {
  const Json document = ReadBuildDocument(folder);
  data["piece_count"] = document["pieces"].size();
  data["part_count"] = document["inputs"].size();
  for (const char* key : {"units", "machine", "vat", "seed", "extent", "smallest_distance"}) {
    if (document.contains(key)) data[key] = document[key];
  }
  context.Tell("{folder}: build folder, {piece_count:+piece} of {part_count:+part}\n",
               {{"folder", TextToJson(name)},
                {"piece_count", data["piece_count"]},
                {"part_count", data["part_count"]}});
  for (Json input : document["inputs"]) {
    if (!input.is_object()) continue;
    if (!input.contains("copies")) input["copies"] = 1;
    for (const char* key : {"part", "file"}) {
      if (!TextFromJson(input.value(key, Json("")))) input[key] = "?";
    }
    context.Tell("  {part}: {copies} of {file}\n", input);
  }
}

}  // namespace

bool IsBuildFolder(const FileHead& file) {
  if (!file.is_folder) return false;
  const HeldFolder folder(file.path);
  return folder.HasRegularFile(kBuildJson) || HoldsPlates(folder);
}

void DescribeBuildFolder(Context& context, const FileHead& file, Json& data) {
  const HeldFolder folder(file.path);
  if (!HoldsPlates(folder)) {
    DescribeBuild(context, folder, file.path, data);
    return;
  }
  const std::vector<std::string> names = PlateFolders(folder);
  context.Tell("{file}: {plates:+plate}, a build folder each\n",
               {{"file", data["file"]}, {"plates", names.size()}});
  data["plates"] = Json::array();
  for (const std::string& name : names) {
    Json plate{{"folder", TextToJson(name)}};
    const HeldFolder below(folder.PathOf(name), folder.Open(name));
    DescribeBuild(context, below, folder.PathOf(name), plate);
    data["plates"].push_back(std::move(plate));
  }
}

}  // namespace trqprep
