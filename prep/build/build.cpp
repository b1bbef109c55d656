#include "trqprep/build.h"

#include <algorithm>

#include "trqprep/build_estimate.h"
#include "trqprep/plates.h"

namespace trqprep {

namespace {

void SlicePieces(Observer& observer, BuildReport& report) {
  const Plate& plate = report.plate;
  for (const Piece& piece : plate.pieces) {
    const PlatePart& part = plate.parts[piece.part];
    const std::vector<LayerBand> bands = LayerBandsOf(report.setup->parts[piece.part]);
    if (bands.empty()) {
      FailUsage(part.request.path, "slicing needs a build style, which says how thick layers are",
                "name one with --style");
    }
    const size_t said = observer.messages().size();
    report.slices.push_back(SlicePiece(observer, PieceView(plate, piece), piece.box, plate.job.units, bands,
                                       PieceName(plate, piece)));
    for (size_t i = said; i < observer.messages().size(); ++i) {
      report.findings.push_back({observer.messages()[i], SlicesName(plate, piece)});
    }
  }
}

BuildReport Checked(const Job& job, Observer& observer, const Plate* known) {
  BuildReport report;
  const size_t said = observer.messages().size();
  Plate& plate = report.plate;
  std::vector<BuildFinding>& findings = report.findings;
  plate = LoadPlate(observer, job, known);
  if (!PlacePieces(observer, plate)) return report;
  for (const PlatePart& part : plate.parts) {
    for (const Message& remark : part.remarks) {
      if (!part.shares_file) findings.push_back({remark, PartFileName(part)});
    }
  }
  for (const Message& finding : CheckPieces(observer, plate)) {
    observer.Say(finding);
    findings.push_back({finding, ""});
    report.outside = report.outside || finding.code == Code::kOutsideVat;
  }
  report.setup = SetUpBuild(observer, plate);
  findings.insert(findings.end(), report.setup->findings.begin(), report.setup->findings.end());
  if (job.slice) SlicePieces(observer, report);
  report.wrong = std::any_of(findings.begin(), findings.end(), [](const BuildFinding& finding) {
    return finding.message.severity == Severity::kError;
  });
  for (size_t i = said; i < observer.messages().size(); ++i) {
    report.wrong = report.wrong || observer.messages()[i].severity == Severity::kError;
  }
  report.machine_chosen = !job.machine && plate.job.machine;
  report.document = BuildDocument(plate, *report.setup);
  return report;
}

}  // namespace

trq::core::Contours SlicePiece(Observer& observer, const trq::core::MeshView& mesh, const Box& box,
                               Units units, const std::vector<LayerBand>& bands, const std::string& name) {
  SlicingRequest request;
  request.bands = bands;
  request.on_blade_planes = true;
  request.how = UsualSliceOptions(units);
  return std::move(SliceWhole(observer, mesh, box, units, request, name).contours);
}

BuildReport CheckBuild(const Job& job, Observer& observer, const Plate* known) {
  observer.strict = observer.strict || job.strict;
  observer.allowed.insert(observer.allowed.end(), job.allow.begin(), job.allow.end());
  try {
    return Checked(job, observer, known);
  } catch (Failure& failure) {
    TellFolder(job, failure.message);
    throw;
  }
}

BuildReport Build(const Job& job, const std::string& folder, bool replace, Observer& observer) {
  OutputFolder output(folder, replace, FilesOfBuilds);
  BuildReport report = CheckBuild(job, observer);
  if (!report.placed() || report.outside || (report.wrong && !job.force_checks)) return report;
  WriteBuildFolder(observer, report.plate, *report.setup, report.findings, report.slices,
                   EstimateFile(observer, report.plate, *report.setup, report.slices), report.document,
                   output);
  output.Commit();
  report.written = true;
  return report;
}

}  // namespace trqprep
