#include "trqprep/build.h"

#include <algorithm>

#include "prep/says/side_by_side.h"
#include "trqprep/build_estimate.h"
#include "trqprep/plates.h"

namespace trqprep {

namespace {

void SlicePieces(Observer& observer, BuildReport& report) {
  const Plate& plate = report.plate;
  // What the pieces leave of the threads is for the layers of each.
  const int of_layers = int(std::max<int64_t>(plate.job.threads / int64_t(plate.pieces.size()), 1));
  report.slices.resize(plate.pieces.size());
  std::vector<std::vector<Message>> said(plate.pieces.size());
  const auto slice = [&](size_t i, Observer& hears) {
    const Piece& piece = plate.pieces[i];
    const PlatePart& part = plate.parts[piece.part];
    const std::vector<LayerBand> bands = LayerBandsOf(report.setup->parts[piece.part]);
    if (bands.empty()) {
      FailUsage(part.request.path, "slicing needs a build style, which says how thick layers are",
                "name one with --style");
    }
    const size_t before = hears.messages().size();
    report.slices[i] = SlicePiece(hears, PieceView(plate, piece), piece.box, plate.job.units, bands,
                                  PieceName(plate, piece), of_layers);
    said[i].assign(hears.messages().begin() + static_cast<std::ptrdiff_t>(before), hears.messages().end());
  };
  SideBySide(observer, plate.pieces.size(), plate.job.threads, slice, [&](size_t i) {
    for (Message& message : said[i]) {
      report.findings.push_back({std::move(message), SlicesName(plate, plate.pieces[i])});
    }
  });
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
                               Units units, const std::vector<LayerBand>& bands, const std::string& name,
                               int threads) {
  SlicingRequest request;
  request.bands = bands;
  request.on_blade_planes = true;
  request.how = UsualSliceOptions(units);
  request.how.threads = threads;
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
