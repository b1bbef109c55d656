#include "file_kinds.h"
#include "trqprep/job_file.h"
#include "trqprep/style_document.h"

namespace trqprep {
bool IsJobFile(const FileHead& file) {
  return !file.is_folder && NamesJobFile(file.path) &&
         (file.head.find(kJobSchema) != std::string::npos || file.head.find("[[part]]") != std::string::npos);
}

void DescribeJobFile(Context& context, const FileHead& file, Json& data) {
  const Job job = ReadJobFile(file.path);
  std::int64_t pieces = 0;
  for (const PartRequest& part : job.parts) pieces += part.copies;
  data["units"] = UnitsName(job.units);
  data["machine"] = job.machine ? Json(MachineName(*job.machine)) : Json(nullptr);
  data["vat"] = NumbersToJson(job.VatIn(job.units));
  data["parts"] = job.parts.size();
  data["pieces"] = pieces;
  data["styles"] = job.styles.size();
  data["recoats"] = job.recoats.size();
  context.Print("{}: job file, {} pieces of {} parts\n  vat       {}\n", OneLine(file.path), pieces,
                job.parts.size(), SizeInBoth(job.VatIn(job.units), job.units));
  if (job.machine) context.Print("  machine   {}\n", MachineName(*job.machine));
  for (const PartRequest& part : job.parts) context.Print("  {} of {}\n", part.copies, OneLine(part.path));
}

}  // namespace trqprep
