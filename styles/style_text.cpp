#include "styles/style_text.h"

namespace trq::detail {

std::string MachineTextLine(int machine, bool comma_separated,
                            const char* trq::MachineTypeRow::*header_name) {
  const trq::MachineTypeRow* row = trq::FindMachineType(machine);
  if (!row) return StyleTextLine("Machine Type", trq::kUnknownMachineName, comma_separated);
  const char* name = comma_separated ? row->comma_name : row->*header_name;
  return StyleTextLine("Machine Type", name, comma_separated && !row->colon_in_comma_export);
}

int FinishText(trq::StyleStream& stream) {
  const bool written = std::fflush(stream) == 0 && std::ferror(stream) == 0;
  return stream.Close() == trq::style_file::kOk && written ? trq::style_file::kOk
                                                           : trq::style_file::kWriteFailed;
}

}  // namespace trq::detail
