#include <filesystem>
#include <system_error>

#include "file_kinds.h"
#include "trqprep/build_folder.h"

namespace trqprep {
bool IsBuildFolder(const FileHead& file) {
  std::error_code error;
  return file.is_folder && std::filesystem::is_regular_file(file.path + "/" + kBuildJson, error);
}

void DescribeBuildFolder(Context& context, const FileHead& file, Json& data) {
  const Json document = ReadBuildDocument(file.path);
  data["pieces"] = document["pieces"].size();
  data["parts"] = document["inputs"].size();
  for (const char* key : {"units", "machine", "vat", "seed", "extent", "smallest_distance"}) {
    if (document.contains(key)) data[key] = document[key];
  }
  context.Print("{}: build folder, {} pieces of {} parts\n", OneLine(file.path), document["pieces"].size(),
                document["inputs"].size());
  for (const Json& input : document["inputs"]) {
    if (!input.is_object()) continue;
    const auto text_of = [&](const char* key) {
      return OneLine(TextFromJson(input.value(key, Json(""))).value_or("?"));
    };
    context.Print("  {}: {} of {}\n", text_of("part"), input.value("copies", Json(1)).dump(),
                  text_of("file"));
  }
}

}  // namespace trqprep
