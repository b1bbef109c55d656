#include "file_kinds.h"
#include "trqprep/job_file.h"
#include "trqprep/style_document.h"

namespace trqprep {
bool IsJobFile(const FileHead& file) {
  return !file.is_folder && NamesJobFile(file.path) &&
         (file.head.find("trqprep.job/") != std::string::npos ||
          file.head.find("[[part]]") != std::string::npos);
}

void DescribeJobFile(Context& context, const FileHead& file, Json& data) {
  const Job job = ReadJobFile(file.path);
  int64_t pieces = 0;
  for (const PartRequest& part : job.parts) pieces += part.copies;
  data.update({{"units", UnitsName(job.units)},
               {"machine", job.machine ? Json(MachineName(*job.machine)) : Json(nullptr)},
               {"vat", NumbersToJson(job.VatIn(job.units))},
               {"part_count", job.parts.size()},
               {"piece_count", pieces},
               {"style_count", job.styles.size()},
               {"recoat_count", job.recoats.size()}});
  context.Tell("{file}: job file, {piece_count:+piece} of {part_count:+part}\n", data);
  context.Tell("  vat       {vat}\n", {{"vat", SizeInBoth(job.VatIn(job.units), job.units)}});
  if (job.machine) context.Tell("  machine   {machine}\n", data);
  for (const PartRequest& part : job.parts) {
    context.Tell("  {copies} of {file}\n", {{"copies", part.copies}, {"file", TextToJson(part.path)}});
  }
}

}  // namespace trqprep
