#include "trqprep/report_subjects.h"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "trqprep/check_mesh.h"
#include "trqprep/check_styles.h"
#include "trqprep/plate.h"

namespace trqprep {
namespace {

std::string LastName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// What was said and found since, with the file's name as the page has it.
std::vector<ReportFinding> FindingsOf(const std::vector<Message>& messages, size_t from,
                                      const std::string& name) {
  std::vector<ReportFinding> findings;
  for (size_t i = from; i < messages.size(); ++i) {
    const Message message = WithHint(messages[i]);
    findings.push_back({RowOf(message.code).text, SeverityName(message.severity), name, message.text,
                        message.hint, message.where});
  }
  return findings;
}

}  // namespace

ReportSubject SubjectOfMesh(Observer& observer, const InputMesh& input, size_t said) {
  ReportSubject subject;
  subject.kind = ReportSubject::Kind::kMesh;
  subject.title = LastName(input.path);
  // The page measures in millimetres or inches.
  subject.units = input.units == Units::kInch ? Units::kInch : Units::kMillimetre;
  const double factor = UnitsFactor(input.units, subject.units);
  ReportPart part;
  part.name = Stem(input.path);
  part.file = subject.title;
  part.facets = input.mesh->num_triangles();
  part.mesh = input.mesh;
  ReportPiece piece;
  piece.name = part.name;
  piece.matrix = Matrix4::Scaling(factor, factor, factor);
  piece.box = BoxAfter(*input.mesh, piece.matrix);
  piece.area = input.area() * factor * factor;
  piece.volume = input.volume() * factor * factor * factor;
  subject.facts = {{"Format", MeshFormatName(input.format)},
                   {"Unit of the file", UnitsName(input.units)},
                   {"Vertices", fmt::format("{}", input.mesh->num_vertices())}};
  subject.parts.push_back(std::move(part));
  subject.pieces.push_back(std::move(piece));
  for (const Message& finding : CheckMesh(input, VentsFile())) observer.Say(finding);
  subject.findings = FindingsOf(observer.messages(), said, subject.title);
  return subject;
}

ReportSubject SubjectOfContours(Observer& observer, ContourFile file, size_t said) {
  const ContourSummary summary = Summarize(observer, file);
  ReportSubject subject;
  subject.kind = ReportSubject::Kind::kContours;
  subject.title = LastName(file.path);
  subject.units = file.units;
  ReportPart part;
  part.name = Stem(file.path);
  part.file = subject.title;
  ReportPiece piece;
  piece.name = part.name;
  piece.box = summary.box;
  piece.layers = std::make_shared<trq::core::Contours>(std::move(file.contours));
  subject.facts = {{"Layers", fmt::format("{}", summary.layers.size())},
                   {"Size", summary.box.Empty() ? "nothing" : SizeInBoth(summary.box.Size(), file.units)},
                   {"Boundaries", fmt::format("{}", summary.total.boundaries)},
                   {"Open boundaries", fmt::format("{}", summary.total.open)}};
  subject.parts.push_back(std::move(part));
  subject.pieces.push_back(std::move(piece));
  subject.findings = FindingsOf(observer.messages(), said, subject.title);
  return subject;
}

ReportSubject SubjectOfStyle(Observer& observer, StyleFile file, size_t said) {
  ReportSubject subject;
  subject.kind = ReportSubject::Kind::kStyle;
  subject.title = LastName(file.path);
  for (const Message& finding : CheckStyle(file, {})) observer.Say(finding);
  subject.findings = FindingsOf(observer.messages(), said, subject.title);
  if (file.complete) subject.styles.push_back(std::move(file));
  return subject;
}

}  // namespace trqprep
