#include "styles/style_text.h"

namespace trq::detail {

std::string MachineTextLine(int machine, bool comma_separated, const char* MachineTypeRow::*header_name) {
  const MachineTypeRow* row = FindMachineType(machine);
  if (!row) return StyleTextLine("Machine Type", kUnknownMachineName, comma_separated);
  const char* name = comma_separated ? row->comma_name : row->*header_name;
  return StyleTextLine("Machine Type", name, comma_separated && !row->colon_in_comma_export);
}

int FinishText(StyleStream& stream) {
  const bool written = std::fflush(stream) == 0 && std::ferror(stream) == 0;
  return stream.Close() == style_file::kOk && written ? style_file::kOk : style_file::kWriteFailed;
}

}  // namespace trq::detail
