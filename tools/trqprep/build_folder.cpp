#include "build_folder.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "command.h"
#include "file_kinds.h"
#include "mesh_output.h"
#include "plate_svg.h"
#include "progress.h"

namespace trqprep {
namespace {

// Writes a mesh into the folder and makes sure that all of it arrived.
void WriteMeshFile(Context& context, CTL& mesh, MeshFormat format, const OutputFolder& folder,
                   const std::string& name) {
  context.current_file = name;
  const std::string path = folder.PathOf(name);
  const std::optional<std::uint64_t> size = WriteMeshTo(mesh, path, format);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || (size && static_cast<std::uint64_t>(status.st_size) != *size)) {
    Fail(ExitCode::kOutput, Message("OUTPUT-SHORT", name, "could not be written completely")
                                .Hint("is the disk full, or a size limit in force?"));
  }
  context.current_file.clear();
}

bool IsBuildFolder(const FileHead& file) {
  struct stat status {};
  return file.is_folder && stat((file.path + "/" + kBuildJson).c_str(), &status) == 0 &&
         S_ISREG(status.st_mode);
}

void DescribeBuildFolder(Context& context, const FileHead& file, Json& data) {
  const std::string path = file.path + "/" + kBuildJson;
  std::ifstream stream(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  const Json document = Json::parse(text, nullptr, false);
  if (!document.is_object() || document.value("schema", Json()) != kBuildSchema ||
      !document.contains("pieces") || !document["pieces"].is_array() || !document.contains("inputs") ||
      !document["inputs"].is_array()) {
    Fail(ExitCode::kInput, Message("BUILD-INVALID", path, "does not describe a build"));
  }
  data["pieces"] = document["pieces"].size();
  data["parts"] = document["inputs"].size();
  for (const char* key : {"units", "vat", "seed", "extent", "smallest_distance"}) {
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

const FileKindRegistration kBuildKind(5, {"build", IsBuildFolder, DescribeBuildFolder});

}  // namespace

std::string MeshName(const Plate& plate, const Piece& piece) {
  return fmt::format("{}/{}-{}.ctl", kMeshFolder, plate.parts[piece.part].name, piece.copy);
}

Json BuildDocument(const Plate& plate) {
  Json document;
  document["schema"] = kBuildSchema;
  document["tool"] = ToolName();
  const Json described = DescribePlate(plate);
  for (const auto& [key, value] : described.items()) document[key] = value;
  for (std::size_t i = 0; i < plate.pieces.size(); ++i) {
    document["pieces"][i]["mesh"] = TextToJson(MeshName(plate, plate.pieces[i]));
  }
  return document;
}

void WriteBuildFolder(Context& context, const Plate& plate, OutputFolder& folder) {
  ShowProgress("writing the plate", 0.85);
  WriteMeshFile(context, *PlateMesh(plate), MeshFormat::kBinaryStl, folder, kPlateStl);
  folder.MakeFolder(kMeshFolder);
  for (std::size_t i = 0; i < plate.pieces.size(); ++i) {
    const Piece& piece = plate.pieces[i];
    ShowProgress("writing " + MeshName(plate, piece),
                 0.9 + 0.1 * static_cast<double>(i) / static_cast<double>(plate.pieces.size()));
    WriteMeshFile(context, *PieceMesh(plate, piece), MeshFormat::kCtl, folder, MeshName(plate, piece));
  }
  folder.WriteFile(kPlateSvg, PlateSvg(plate));
  folder.WriteFile(kBuildJson, JsonDocument(BuildDocument(plate)));
}

}  // namespace trqprep
