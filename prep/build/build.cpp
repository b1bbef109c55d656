#include "trqprep/build.h"

#include <algorithm>

namespace trqprep {

BuildReport CheckBuild(const Job& job, Observer& observer) {
  BuildReport report;
  Plate& plate = report.plate;
  std::vector<BuildFinding>& findings = report.findings;
  plate = LoadPlate(observer, job);
  if (!PlacePieces(observer, plate)) return report;
  for (const PlatePart& part : plate.parts) {
    for (const Message& remark : part.remarks) findings.push_back({remark, PartFileName(part)});
  }
  for (const Message& finding : CheckPieces(observer, plate)) {
    observer.Say(finding);
    findings.push_back({finding, ""});
    report.outside = report.outside || finding.code == Code::kOutsideVat;
  }
  report.setup = SetUpBuild(observer, plate);
  findings.insert(findings.end(), report.setup->findings.begin(), report.setup->findings.end());
  report.wrong = std::any_of(findings.begin(), findings.end(), [](const BuildFinding& finding) {
    return finding.message.severity == Severity::kError;
  });
  report.document = BuildDocument(plate, *report.setup);
  return report;
}

BuildReport Build(const Job& job, const std::string& folder, bool replace, Observer& observer) {
  OutputFolder output(folder, replace, FilesOfBuild);
  BuildReport report = CheckBuild(job, observer);
  if (!report.placed() || report.outside || (report.wrong && !job.force_checks)) return report;
  WriteBuildFolder(observer, report.plate, *report.setup, report.findings, report.document, output);
  output.Commit();
  report.written = true;
  return report;
}

}  // namespace trqprep
