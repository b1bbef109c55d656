#include "trqprep/build_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "prep/build/described.h"
#include "trqprep/contour_file.h"
#include "trqprep/mesh_input.h"
#include "trqprep/plates.h"

namespace trqprep {
namespace {

// What is not known from build.json alone.
class Contents {
 public:
  virtual ~Contents() = default;
  virtual std::shared_ptr<CTL> Mesh(std::size_t part, const std::string& name, Units units) const = 0;
  virtual std::shared_ptr<const trq::core::Contours> Slices(std::size_t piece,
                                                            const std::string& name) const = 0;
  virtual std::string Style(const std::string& name) const = 0;
  virtual const BuildTexts& texts() const = 0;
};

std::vector<ReportBand> Bands(const Described& described, const Json& entry, const char* key) {
  std::vector<ReportBand> bands;
  if (!entry.contains(key)) return bands;
  for (const Json& style : described.ListAt(entry, key)) {
    ReportBand band;
    band.file = described.TextAt(style, "file");
    band.start = described.NumberAt(style, "start");
    band.end = described.NumberAt(style, "end");
    band.thickness = described.NumberAt(style, "layer_thickness");
    if (style.contains("z_correction")) {
      band.z_correction = std::int64_t(std::clamp(described.NumberAt(style, "z_correction"), -1e9, 1e9));
    }
    bands.push_back(std::move(band));
  }
  return bands;
}

std::string Number(double value, int digits = 4) { return Plain(value, digits); }

// Of a document that may be anything: nothing where it is not what it should be.
std::string TextOr(const Json& json, const char* key) { return TextFromJson(json[key]).value_or(""); }

std::vector<ReportFinding> Findings(const std::string& checks, const Described& described) {
  std::vector<ReportFinding> findings;
  const Json document = checks.empty() ? Json() : ParseJson(checks);
  if (!document["findings"].is_array()) described.Invalid(kChecksJson);
  for (const Json& entry : document["findings"]) {
    findings.push_back({TextOr(entry, "code"), TextOr(entry, "severity"), TextOr(entry, "file"),
                        TextOr(entry, "text"), TextOr(entry, "hint"), entry["where"]});
  }
  return findings;
}

ReportSubject Subject(const Described& described, const Json& document, const Contents& contents) {
  ReportSubject subject;
  subject.kind = ReportSubject::Kind::kBuild;
  subject.units = described.UnitsOf();
  const char* unit = UnitsName(subject.units);
  subject.vat = described.PointAt(document, "vat");

  std::map<std::string, std::size_t> part_named;
  std::int64_t facets = 0;
  for (const Json& input : described.List("inputs")) {
    ReportPart part;
    part.name = described.TextAt(input, "part");
    part.file = described.NameAt(input, "file", "inputs");
    part.sha256 = described.TextAt(input, "sha256");
    part.unit = described.TextAt(input, "units");
    part.facets = std::int64_t(std::clamp(described.NumberAt(input, "facets"), 0.0, 1e15));
    part.styles = Bands(described, input, "styles");
    const std::optional<Units> units = FileUnitsFromName(part.unit);
    if (!units) described.Invalid("units");
    part.mesh = contents.Mesh(subject.parts.size(), part.file, *units);
    part_named.emplace(part.name, subject.parts.size());
    subject.parts.push_back(std::move(part));
  }
  std::vector<double> own_turns;
  for (const Json& input : described.List("inputs"))
    own_turns.push_back(described.NumberAt(input, "rotate_z"));

  double volume = 0;
  for (const Json& entry : described.List("pieces")) {
    ReportPiece piece;
    const auto part = part_named.find(described.TextAt(entry, "part"));
    if (part == part_named.end()) described.Invalid("part");
    piece.part = part->second;
    piece.name = fmt::format("{}-{}", part->first,
                             std::int64_t(std::clamp(described.NumberAt(entry, "copy"), 0.0, 1e9)));
    piece.turn = std::fmod(own_turns[piece.part] + described.NumberAt(entry, "rotation"), 360.0);
    if (piece.turn < 0) piece.turn += 360;
    const Json& rows = described.ListAt(entry, "matrix");
    if (rows.size() != 4) described.Invalid("matrix");
    for (std::size_t row = 0; row < 4; ++row) {
      if (!rows[row].is_array() || rows[row].size() != 4) described.Invalid("matrix");
      for (std::size_t column = 0; column < 4; ++column) {
        if (!rows[row][column].is_number()) described.Invalid("matrix");
        piece.matrix.m[row][column] = rows[row][column].get<double>();
      }
    }
    piece.box = described.BoxAt(entry, "box");
    piece.area = described.NumberAt(entry, "area");
    piece.volume = described.NumberAt(entry, "volume");
    volume += *piece.volume;
    facets += subject.parts[piece.part].facets;
    if (entry.contains("slices")) {
      piece.layers = contents.Slices(subject.pieces.size(), described.NameAt(entry, "slices", "slices"));
    }
    subject.pieces.push_back(std::move(piece));
  }
  subject.recoat = Bands(described, document, "recoat");
  const BuildTexts& texts = contents.texts();
  subject.findings = Findings(texts.checks, described);
  subject.svg = texts.svg;
  subject.job = texts.job;
  if (!texts.estimate.empty()) subject.estimate = ParseJson(texts.estimate);
  for (const Json& style : described.List("styles")) {
    const std::string name = described.NameAt(style, "file", "styles");
    const bool build = described.TextAt(style, "kind") == StyleKindName(StyleKind::kBuild);
    std::optional<StyleFile> file =
        ExamineStyle(name, contents.Style(name), build ? StyleKind::kBuild : StyleKind::kRecoat);
    if (file && file->complete) subject.styles.push_back(std::move(*file));
  }
  for (const Json& file : described.List("files")) {
    const std::string name = described.TextAt(file, "file");
    if (name == kReportHtml) continue;
    const char* size = file.contains("file_size") ? "file_size" : "size";
    subject.files.push_back({name, std::uint64_t(std::clamp(described.NumberAt(file, size), 0.0, 1e18)),
                             described.TextAt(file, "sha256")});
  }

  subject.title = "Plate of " + Counted(std::int64_t(subject.pieces.size()), "piece");
  const auto add = [&](const char* words, std::string value) {
    subject.facts.emplace_back(words, std::move(value));
  };
  if (const auto machine = TextFromJson(document["machine"])) add("Machine", *machine);
  std::string parts;
  for (std::size_t i = 0; i < subject.parts.size() && i < 6; ++i) {
    const auto copies = std::count_if(subject.pieces.begin(), subject.pieces.end(),
                                      [&](const ReportPiece& piece) { return piece.part == i; });
    parts += (i == 0 ? "" : ", ") + subject.parts[i].name;
    if (copies > 1) parts += fmt::format(" \xC3\x97{}", copies);
  }
  if (subject.parts.size() > 6) {
    parts += " and " + Counted(std::int64_t(subject.parts.size() - 6), "other");
  }
  add("Parts", parts);
  const auto size = [&](const Point& p) {
    return fmt::format("{} \xC3\x97 {} \xC3\x97 {} {}", Number(p[0], 2), Number(p[1], 2), Number(p[2], 2),
                       unit);
  };
  add("Vat", size(*subject.vat));
  Box used;
  for (const ReportPiece& piece : subject.pieces) used.Add(piece.box);
  if (!used.Empty()) add("Used", size(used.Size()));
  add("Volume",
      subject.units == Units::kInch ? Number(volume, 3) + " in\xC2\xB3" : Number(volume / 1000, 1) + " ml");
  add("Facets", fmt::format("{}", facets));
  if (document["smallest_distance"].is_number()) {
    add("Smallest distance", Number(described.NumberAt(document, "smallest_distance"), 3) + " " + unit);
  }
  return subject;
}

class BuildContents : public Contents {
 public:
  BuildContents(const Plate& plate, const BuildSetup& setup, const std::vector<trq::core::Contours>& slices,
                const BuildTexts& texts)
      : plate_(plate), setup_(setup), slices_(slices), texts_(texts) {}
  std::shared_ptr<CTL> Mesh(std::size_t part, const std::string&, Units) const override {
    return plate_.parts[part].input.mesh;
  }
  std::shared_ptr<const trq::core::Contours> Slices(std::size_t piece, const std::string&) const override {
    return {std::shared_ptr<void>(), &slices_[piece]};
  }
  std::string Style(const std::string& name) const override {
    const auto of_name = [&](const BuildStyleFile& style) { return style.name == name; };
    return std::find_if(setup_.styles.begin(), setup_.styles.end(), of_name)->bytes;
  }
  const BuildTexts& texts() const override { return texts_; }

 private:
  const Plate& plate_;
  const BuildSetup& setup_;
  const std::vector<trq::core::Contours>& slices_;
  const BuildTexts& texts_;
};

class FolderContents : public Contents {
 public:
  FolderContents(Observer& observer, const HeldFolder& folder, Units units)
      : observer_(observer), folder_(folder), units_(units) {
    texts_.svg = Text(kPlateSvg);
    texts_.job = Text(kBuildToml);
    texts_.checks = Text(kChecksJson);
    if (folder.HasRegularFile(kEstimateJson)) texts_.estimate = Text(kEstimateJson);
  }
  std::shared_ptr<CTL> Mesh(std::size_t, const std::string& name, Units units) const override {
    auto& known = meshes_[{name, units}];
    if (!known) {
      observer_.Progress("reading " + name, 0.3);
      ReadOptions options;
      options.units = units;
      options.units_given = true;
      options.accept_partial = true;
      MeshReading how;
      how.folder = &folder_;
      // What is to be said of the file stands in checks.json.
      Observer silent;
      const InputMesh input = ReadMesh(silent, options, name, how);
      RequireFinite(input);
      known = input.mesh;
    }
    return known;
  }
  std::shared_ptr<const trq::core::Contours> Slices(std::size_t, const std::string& name) const override {
    observer_.Progress("reading " + name, 0.5);
    InputFile input(folder_, name);
    Observer silent;
    return std::make_shared<trq::core::Contours>(
        ReadContours(silent, units_, input, folder_.PathOf(name)).contours);
  }
  std::string Style(const std::string& name) const override { return Text(name.c_str(), "a style file"); }
  const BuildTexts& texts() const override { return texts_; }

 private:
  std::string Text(const char* name, const char* what = "a file of a build") const {
    return ReadWholeFile(InputFile(folder_, name), what);
  }
  Observer& observer_;
  const HeldFolder& folder_;
  Units units_;
  BuildTexts texts_;
  mutable std::map<std::pair<std::string, Units>, std::shared_ptr<CTL>> meshes_;
};

ReportSubject SubjectOfFolder(Observer& observer, const HeldFolder& folder) {
  const Json document = ReadBuildDocument(folder);
  const Described described(folder, document);
  try {
    return Subject(described, document, FolderContents(observer, folder, described.UnitsOf()));
  } catch (const JsonMistake& mistake) {
    FailInput(Code::kBuildInvalid, folder.path(), mistake.text, "build again");
  }
}

}  // namespace

ReportSubject SubjectOfBuild(const Plate& plate, const BuildSetup& setup,
                             const std::vector<trq::core::Contours>& slices, const Json& document,
                             const BuildTexts& texts) {
  const HeldFolder none("", Descriptor());
  return Subject(Described(none, document), document, BuildContents(plate, setup, slices, texts));
}

std::vector<ReportSubject> SubjectsOfFolder(Observer& observer, const HeldFolder& folder) {
  std::vector<ReportSubject> subjects;
  if (!HoldsPlates(folder)) {
    subjects.push_back(SubjectOfFolder(observer, folder));
    return subjects;
  }
  for (const std::string& name : PlateFolders(folder)) {
    const HeldFolder plate(folder.PathOf(name), folder.Open(name));
    subjects.push_back(SubjectOfFolder(observer, plate));
    subjects.back().title = name + ": " + subjects.back().title;
  }
  return subjects;
}

}  // namespace trqprep
