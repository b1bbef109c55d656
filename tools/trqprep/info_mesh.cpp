// What `info` says about mesh files.
#include <cstring>

#include "file_kinds.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {
namespace {

void PrintMesh(Context& context, const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  const char* unit = UnitsName(input.units);
  const Box box = input.box();
  if (!box.Empty()) {
    context.Print("  size      {}\n", SizeInBoth(box.Size(), input.units));
    context.Print("  box       {}, {}, {} to {}, {}, {} {}\n", Plain(box.min[0], 4), Plain(box.min[1], 4),
                  Plain(box.min[2], 4), Plain(box.max[0], 4), Plain(box.max[1], 4), Plain(box.max[2], 4),
                  unit);
  }
  context.Print("  facets    {}\n  vertices  {}\n", mesh.num_triangles(), mesh.num_vertices());
  context.Print("  area      {} {}2\n  volume    {} {}3\n", Plain(input.area(), 3), unit,
                Plain(input.volume(), 3), unit);
}

}  // namespace

void DescribeMeshFile(Context& context, const FileHead& file, Json& data) {
  const InputMesh input = ReadMesh(context, context.reading(), file.path, {true});
  const CTL_HEADER& header = input.mesh->header;
  context.Print("{}: {}, {} bytes\n", OneLine(file.path), MeshFormatName(input.format), input.file_size);
  data["format"] = MeshFormatName(input.format);
  data["file_size"] = input.file_size;
  DescribeMesh(data, input);
  PrintMesh(context, input);
  const std::string text(header.stl_header, strnlen(header.stl_header, sizeof header.stl_header));
  data["header"] = TextToJson(text);
  const std::string shown = OneLine(text.substr(0, text.find_last_not_of(' ') + 1));
  if (!shown.empty()) context.Print("  header    {}\n", shown);
  if (input.format == MeshFormat::kBinaryStl) {
    data["solids"] = input.solids;
    if (input.solids > 1) context.Print("  solids    {}\n", input.solids);
    // A stamp is a "CRC" in the header; the checksum covers the first solid.
    if (text.find("CRC") != std::string::npos) {
      CTL checker;
      const bool valid = checker.crcValidateSTLFile(file.path.c_str());
      data["crc_valid"] = valid;
      context.Print("  CRC       {}\n", valid ? "valid" : "does not match the facets");
      if (!valid)
        context.Warn(
            Message(Code::kStlCrc, file.path, "the checksum in the header does not match the facets"));
    }
  }
  if (input.format == MeshFormat::kCtl) {
    data["units_stated"] = input.units_stated;
    data["sort_state"] = header.sort_state;
    data["format_word"] = header.format_word;
    context.Print("  unit      {}\n", input.units_stated ? UnitsName(input.units) : "not stated");
  }
  WarnOfUnits(context, input, nullptr);
}

}  // namespace trqprep
