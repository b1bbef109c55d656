#include "styles/style_text.h"

namespace trq::detail {

std::string MachineTextLine(int machine, bool comma_separated,
                            const char* trq::MachineTypeRow::*header_name) {
  const trq::MachineTypeRow* row = trq::FindMachineType(machine);
  if (!row) return StyleTextLine("Machine Type", trq::kUnknownMachineName, comma_separated);
  const char* name = comma_separated ? row->comma_name : row->*header_name;
  return StyleTextLine("Machine Type", name, comma_separated && !row->colon_in_comma_export);
}

int WriteTextFile(trq::StyleStream& stream, const CString& path, const std::string& text) {
  if (!stream.Open(path, "wb")) return trq::style_file::kCannotOpen;
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
  return stream.Close() == trq::style_file::kOk && written ? trq::style_file::kOk
                                                           : trq::style_file::kWriteFailed;
}

}  // namespace trq::detail
