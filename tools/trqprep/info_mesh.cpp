// What `info` says about mesh files.
#include <cstring>

#include "file_kinds.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {

void DescribeMeshFile(Context& context, const FileHead& file, Json& data) {
  const InputMesh input = ReadMesh(context, context.reading(), file.path, {true});
  const CTL_HEADER& header = input.mesh->header;
  data["format"] = MeshFormatName(input.format);
  data["file_size"] = input.file_size;
  DescribeMesh(data, input);
  context.Tell("{file}: {format}, {file_size:+byte}\n", data);
  if (data["box"] != nullptr)
    context.Tell(R"(  size      {size_mm:x3} mm ({size_in:x4} in)
  box       {box.min:4f} to {box.max:4f} {units}
)",
                 data);
  context.Tell(R"(  facets    {facets}
  vertices  {vertices}
  area      {area:3} {units}2
  volume    {volume:3} {units}3
)",
               data);
  const std::string text(header.stl_header, strnlen(header.stl_header, sizeof header.stl_header));
  data["header"] = TextToJson(text);
  const std::string shown = text.substr(0, text.find_last_not_of(' ') + 1);
  if (!OneLine(shown).empty()) context.Tell("  header    {text}\n", {{"text", TextToJson(shown)}});
  if (input.format == MeshFormat::kBinaryStl) {
    data["solids"] = input.solids;
    if (input.solids > 1) context.Tell("  solids    {solids}\n", data);
    // A stamp is a "CRC" in the header; the checksum covers the first solid.
    if (text.find("CRC") != std::string::npos) {
      CTL checker;
      const bool valid = checker.crcValidateSTLFile(file.path.c_str());
      data["crc_valid"] = valid;
      context.Tell(valid ? "  CRC       valid\n" : "  CRC       does not match the facets\n");
      if (!valid)
        context.Warn(
            Message(Code::kStlCrc, file.path, "the checksum in the header does not match the facets"));
    }
  }
  if (input.format == MeshFormat::kCtl) {
    data["units_stated"] = input.units_stated;
    data["sort_state"] = header.sort_state;
    data["format_word"] = header.format_word;
    context.Tell(input.units_stated ? "  unit      {units}\n" : "  unit      not stated\n", data);
  }
  WarnOfUnits(context, input, nullptr);
}

}  // namespace trqprep
