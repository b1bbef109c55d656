#include "trqprep/preflight.h"

#include <algorithm>

namespace trqprep {

void ApplyJob(Context& context, const Job& job) {
  context.options.units = UnitsName(job.units);
  context.options.accept_partial = job.accept_partial;
}

std::optional<Preflight> RunPreflight(Context& context, const Job& job) {
  Preflight preflight;
  Plate& plate = preflight.plate;
  std::vector<BuildFinding>& findings = preflight.findings;
  plate = LoadPlate(context, job);
  if (!PlacePieces(context, plate)) return std::nullopt;
  for (const PlatePart& part : plate.parts) {
    for (const Message& remark : part.remarks) findings.push_back({remark, PartFileName(part)});
  }
  for (const Message& finding : CheckPieces(context, plate)) {
    context.Say(finding);
    findings.push_back({finding, ""});
    preflight.outside = preflight.outside || finding.code == "OUTSIDE-VAT";
  }
  preflight.setup = SetUpBuild(context, plate);
  findings.insert(findings.end(), preflight.setup->findings.begin(), preflight.setup->findings.end());
  preflight.wrong = std::any_of(findings.begin(), findings.end(), [](const BuildFinding& finding) {
    return finding.message.severity == Severity::kError;
  });
  return preflight;
}

}  // namespace trqprep
