#include "trqprep/build_folder.h"

#include <fmt/format.h>

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>

#include "prep/says/side_by_side.h"
#include "trq/core/ctl.h"
#include "trq/core/slc.h"
#include "trq/core/stl.h"
#include "trq/setup.h"
#include "trqprep/build_report.h"
#include "trqprep/job_file.h"
#include "trqprep/paths.h"
#include "trqprep/plate_svg.h"
#include "trqprep/sha256.h"
#include "trqprep/vents_file.h"

namespace trqprep {
namespace {

namespace core = trq::core;

// The files of the folder, as they are written.
class FolderWriter {
 public:
  FolderWriter(OutputFolder& folder, std::string below) : folder_(folder), below_(std::move(below)) {}
  void MakeFolder(const char* name) { folder_.MakeFolder(below_ + name); }
  /// The content: bytes, or a function that puts them into a sink.
  template <class Content>
  void Write(const std::string& name, const Content& content) {
    List(name, WriteUnlisted(name, content));
  }
  template <class Content>
  OutputFolder::Written WriteUnlisted(const std::string& name, const Content& content) {
    return folder_.WriteFile(below_ + name, content);
  }
  void List(const std::string& name, const OutputFolder::Written& written) {
    files_.push_back({{"file", TextToJson(name)}, {"file_size", written.size}, {"sha256", written.sha256}});
  }
  const Json& files() const { return files_; }

 private:
  OutputFolder& folder_;
  std::string below_;
  Json files_ = Json::array();
};

/// Files that are written side by side.
class FilesToWrite {
 public:
  using Put = std::function<void(core::ByteSink&)>;
  using Text = std::function<std::string()>;
  using Check = std::function<void(const std::string& sha256)>;

  /// `check` is told the hash of what was written; `what` is announced, where something is.
  void Add(std::string name, Put put, Check check = nullptr, std::string what = "", double share = 0) {
    files_.push_back(
        {std::move(name), std::move(put), nullptr, std::move(check), std::move(what), share, {}});
  }
  void AddText(std::string name, Text text) {
    files_.push_back({std::move(name), nullptr, std::move(text), nullptr, "", 0, {}});
  }

  void WriteAll(Observer& observer, int64_t threads, FolderWriter& writer) {
    SideBySide(
        observer, files_.size(), threads,
        [&](size_t i, Observer& hears) {
          File& file = files_[i];
          if (!file.what.empty()) hears.Progress(file.what, file.share);
          file.written = file.put ? writer.WriteUnlisted(file.name, file.put)
                                  : writer.WriteUnlisted(file.name, file.text());
          if (file.check) file.check(file.written.sha256);
        },
        [&](size_t i) { writer.List(files_[i].name, files_[i].written); });
  }

 private:
  struct File {
    std::string name;
    Put put;
    Text text;
    Check check;
    std::string what;
    double share;
    OutputFolder::Written written;
  };
  std::vector<File> files_;
};

// Every piece's facets, piece by piece: the whole plate is never in memory.
void WritePlateStl(const Plate& plate, core::ByteSink& sink) {
  const int64_t facets = FacetCount(plate);
  if (facets > 2147483647 / 50) {
    FailInput(Code::kMeshTooLarge, "", "the plate would have " + Counted(int64_t(facets), "facet"),
              "fewer copies, or simplified parts");
  }
  core::StlWriting how;
  how.keep_normals = true;
  static_cast<void>(core::WriteStlHead(uint32_t(facets), how, sink));
  std::vector<VECTOR> normals;
  for (const Piece& piece : plate.pieces) {
    core::MeshView mesh = PieceView(plate, piece);
    normals.resize(mesh.triangles.size());
    static_cast<void>(core::CalculateNormals(mesh, normals));
    mesh.normals = normals;
    static_cast<void>(core::WriteStlFacets(mesh, how, sink));  // the sink keeps a failure
  }
}

void WritePieceCtl(const Plate& plate, const Piece& piece, core::ByteSink& sink) {
  CTL_HEADER header;
  set_unit_matrix(header.matrix);
  header.units = plate.job.units == Units::kInch ? trq::units::kInch : trq::units::kMillimetre;
  const core::Result<void> written = core::WriteCtl(PieceView(plate, piece), header, nullptr, 0, sink);
  if (!written.ok() && !sink.failed()) throw std::logic_error(written.error().text);
}

// Copies files of parts from where they were opened for reading; parts may have one file together.
class PartFiles {
 public:
  explicit PartFiles(const Plate& plate) {
    for (const PlatePart& part : plate.parts) locks_[part.input.file.get()];
  }
  void Copy(const PlatePart& part, core::ByteSink& sink) {
    InputFile& file = *part.input.file;
    const std::lock_guard<std::mutex> lock(locks_.at(&file));
    std::vector<char> block(1 << 20);
    file.Seek(0);
    while (const size_t got = file.Read(block.data(), block.size())) sink.Write(block.data(), got);
  }

 private:
  std::map<const InputFile*, std::mutex> locks_;
};

// Changed in between, it would not be what was built.
void RequireUnchanged(const PlatePart& part, const std::string& sha256) {
  if (sha256 != part.input.sha256) {
    FailInput(Code::kInputChanged, part.request.path, "changed while it was being built", "build again");
  }
}

// The part's side file, moved as its piece was.
std::string MovedSideFile(const Plate& plate, const Piece& piece) {
  const PlatePart& part = plate.parts[piece.part];
  const double factor = UnitsFactor(part.input.units, plate.job.units);
  std::string scaled;
  for (const VentEntry& entry : ParseVents("", *part.side_file).entries) {
    core::SideNumbers numbers = entry.numbers;
    for (size_t k = 0; k < 3; ++k) numbers[k] = float(numbers[k] * factor);
    scaled += core::SideLine(numbers) + "\n";
  }
  // Side files know turns and shifts only; the scaled part is copied, by adding nothing, and moved.
  const Matrix4 move = Compose(piece.matrix, Matrix4::Scaling(1 / factor, 1 / factor, 1 / factor));
  float after[4][4], before[4][4];
  Narrow(move, after);
  set_unit_matrix(before);
  return core::MoveSideText(core::MoveSideText(scaled, core::PointMove(0, 0, 0)),
                            core::PointMove(after, before, 0));
}

Json ChecksDocument(const std::vector<BuildFinding>& findings) {
  Json document{{"schema", kChecksSchema}, {"tool", ToolName()}, {"findings", Json::array()}};
  for (const BuildFinding& finding : findings) {
    Message message = finding.message;
    message.file = finding.file;
    document["findings"].push_back(MessageToJson(message));
  }
  return document;
}

Json StackToJson(const std::vector<StackedStyle>& stack, bool build) {
  Json list = Json::array();
  for (const StackedStyle& style : stack) {
    Json entry{{"file", TextToJson(style.file)},
               {"start", NumberToJson(style.start)},
               {"end", NumberToJson(style.end)},
               {"layer_thickness", NumberToJson(style.thickness)}};
    if (build) {
      entry["z_spacing"] = NumberToJson(float(style.spacing));
      entry["z_correction"] = style.z_correction;
    }
    list.push_back(entry);
  }
  return list;
}

}  // namespace

Job FolderJob(const Plate& plate, const BuildSetup& setup) {
  Job job = plate.job;
  const auto rename = [&](std::vector<StyleRequest>& requests, StyleKind kind) {
    for (StyleRequest& request : requests) {
      const BuildStyleFile& style = setup.FileFor(request.path, kind);
      request.path = style.name;
      request.damage = style.damage;
      request.upgraded = style.upgraded;
    }
  };
  rename(job.styles, StyleKind::kBuild);
  rename(job.recoats, StyleKind::kRecoat);
  for (size_t i = 0; i < job.parts.size(); ++i) {
    job.parts[i].path = PartFileName(plate.parts[i]);
    rename(job.parts[i].styles, StyleKind::kBuild);
  }
  return job;
}

std::string MeshName(const Plate& plate, const Piece& piece) {
  return fmt::format("{}/{}-{}.ctl", kMeshFolder, plate.parts[piece.part].name, piece.copy);
}

std::string SlicesName(const Plate& plate, const Piece& piece) {
  return fmt::format("{}/{}-{}.slc", kSliceFolder, plate.parts[piece.part].name, piece.copy);
}

Json ReadFolderJson(const HeldFolder& folder, const char* name) {
  return ParseJson(ReadWholeFile(InputFile(folder, name), "a description of a build"));
}

std::optional<FolderList> FilesOfBuild(const HeldFolder& folder) {
  FolderList list;
  list.Add(kBuildJson);
  try {
    const Json document = ReadFolderJson(folder, kBuildJson);
    // Whatever its version.
    if (TextFromJson(document["schema"]).value_or("").rfind("trqprep.build-folder/", 0) != 0) {
      return std::nullopt;
    }
    for (const Json& entry : document["files"]) {
      const std::optional<std::string> name = TextFromJson(entry["file"]);
      if (!name || !list.Add(*name)) return std::nullopt;
    }
  } catch (const JsonMistake&) {
    return std::nullopt;
  } catch (const Failure&) {
    return std::nullopt;
  }
  return list;
}

Json ReadBuildDocument(const HeldFolder& folder) {
  const std::string path = folder.PathOf(kBuildJson);
  if (!folder.held() && !Exists(folder.path())) {
    FailInput(Code::kInputMissing, folder.path(), "there is no such folder",
              "check the spelling; names are looked up from the current folder");
  }
  if (!folder.HasRegularFile(kBuildJson)) {
    FailInput(Code::kBuildInvalid, folder.path(),
              !folder.held()
                  ? "is a file, not a build folder"
                  : fmt::format("is not a build folder: {} {}",
                                folder.Open(kBuildJson).open() ? "no regular file is its" : "it holds no",
                                kBuildJson),
              "name a folder that 'trqprep build' made");
  }
  try {
    Json document = ReadFolderJson(folder, kBuildJson);
    const Json& read = document;  // nothing is put into it, whatever it is
    if ((read["schema"] != kBuildSchema && read["schema"] != kOldBuildSchema) || !read["pieces"].is_array() ||
        !read["inputs"].is_array()) {
      FailInput(Code::kBuildInvalid, path, "does not describe a build");
    }
    // Or a small document would make as much work as it pleases of one mesh.
    std::set<std::string> meshes;
    for (const Json& piece : read["pieces"]) {
      if (!piece.is_object() || !piece.contains("mesh")) continue;  // told of where it is needed
      const std::optional<std::string> mesh = TextFromJson(piece["mesh"]);
      if (mesh && !meshes.insert(*mesh).second) {
        FailInput(Code::kBuildInvalid, path, *mesh + " is the mesh of more than one piece", "build again");
      }
    }
    return document;
  } catch (const JsonMistake& mistake) {
    FailInput(Code::kBuildInvalid, path, mistake.text);
  }
}

void Narrow(const Matrix4& matrix, float (&narrow)[4][4]) {
  for (int k = 0; k < 16; ++k) narrow[k / 4][k % 4] = float(matrix.m[k / 4][k % 4]);
}

std::string SumOf(const Json& document) {
  if (document.contains("sum")) {
    Json without = document;
    without.erase("sum");
    return SumOf(without);
  }
  Sha256Digest digest;
  WriteJsonDocument(document, [&](std::string_view piece) { digest.Add(piece); });
  return digest.Hex();
}

Json BuildDocument(const Plate& plate, const BuildSetup& setup) {
  const std::optional<int>& machine = plate.job.machine;
  Json document{{"schema", kBuildSchema},
                {"tool", ToolName()},
                {"machine", machine ? Json(MachineName(*machine)) : Json()},
                {"machine_type", machine ? Json(*machine) : Json()}};
  document.update(DescribePlate(plate));
  for (size_t i = 0; i < plate.parts.size(); ++i) {
    const PartSetup& part = setup.parts[i];
    Json& entry = document["inputs"][i];
    entry["file"] = TextToJson(PartFileName(plate.parts[i]));
    if (part.stack.empty()) continue;
    entry["styles"] = StackToJson(part.stack, true);
    entry["first_layer_thickness"] = NumberToJson(part.first_layer_thickness);
    entry["dp"] = NumberToJson(part.dp);
    entry["ec"] = NumberToJson(part.ec);
    entry["z_compensation"] = NumberToJson(part.z_compensation);
  }
  for (size_t i = 0; i < plate.pieces.size(); ++i) {
    Json& entry = document["pieces"][i];
    entry["area"] = NumberToJson(setup.measures[i].area);
    entry["volume"] = NumberToJson(setup.measures[i].volume);
    entry["mesh"] = TextToJson(MeshName(plate, plate.pieces[i]));
    if (plate.job.slice) entry["slices"] = TextToJson(SlicesName(plate, plate.pieces[i]));
    if (plate.parts[plate.pieces[i].part].side_file) {
      entry["side_file"] = TextToJson(SideFileOf(MeshName(plate, plate.pieces[i])));
    }
  }
  document["recoat"] = StackToJson(setup.recoat, false);
  document["styles"] = Json::array();
  for (const BuildStyleFile& style : setup.styles) {
    document["styles"].push_back({{"file", TextToJson(style.name)},
                                  {"kind", StyleKindName(style.file.kind)},
                                  {"crc", fmt::format("{:08x}", uint32_t(style.crc()))}});
  }
  return document;
}

void WriteBuildFolder(Observer& observer, const Plate& plate, const BuildSetup& setup,
                      const std::vector<BuildFinding>& findings, const std::vector<core::Contours>& slices,
                      const Json& estimate, Json& document, OutputFolder& folder, const std::string& below) {
  FolderWriter writer(folder, below);
  writer.MakeFolder(kPartFolder);
  if (!setup.styles.empty()) writer.MakeFolder(kStyleFolder);
  writer.MakeFolder(kMeshFolder);
  if (!slices.empty()) writer.MakeFolder(kSliceFolder);
  FilesToWrite files;
  PartFiles part_files(plate);
  files.Add(
      kPlateStl, [&](core::ByteSink& sink) { WritePlateStl(plate, sink); }, nullptr, "writing the plate",
      0.85);
  for (const PlatePart& part : plate.parts) {
    if (part.shares_file) continue;
    files.Add(
        PartFileName(part), [&](core::ByteSink& sink) { part_files.Copy(part, sink); },
        [&](const std::string& sha256) { RequireUnchanged(part, sha256); });
    if (part.side_file) files.AddText(SideFileOf(PartFileName(part)), [&] { return *part.side_file; });
  }
  for (const BuildStyleFile& style : setup.styles) {
    files.AddText(style.name, [&] { return style.bytes; });
    files.AddText(style.name + ".csv", [&] { return style.csv; });
  }
  for (size_t i = 0; i < plate.pieces.size(); ++i) {
    const Piece& piece = plate.pieces[i];
    const std::string name = MeshName(plate, piece);
    files.Add(
        name, [&](core::ByteSink& sink) { WritePieceCtl(plate, piece, sink); }, nullptr, "writing " + name,
        0.9 + 0.1 * double(i) / double(plate.pieces.size()));
    if (plate.parts[piece.part].side_file) {
      files.AddText(SideFileOf(name), [&] { return MovedSideFile(plate, piece); });
    }
  }
  for (size_t i = 0; i < slices.size(); ++i) {
    files.Add(SlicesName(plate, plate.pieces[i]), [&, i](core::ByteSink& sink) {
      static_cast<void>(core::WriteSlc(slices[i], sink));  // the sink keeps a failure
    });
  }
  files.WriteAll(observer, plate.job.threads, writer);
  BuildTexts texts;
  texts.svg = PlateSvg(observer, plate);
  texts.job = JobFileText(FolderJob(plate, setup));
  texts.checks = JsonDocument(ChecksDocument(findings));
  writer.Write(kPlateSvg, texts.svg);
  writer.Write(kBuildToml, texts.job);
  writer.Write(kChecksJson, texts.checks);
  if (estimate.is_object()) {
    texts.estimate = JsonDocument(estimate);
    writer.Write(kEstimateJson, texts.estimate);
  }
  document["files"] = writer.files();
  if (!plate.job.no_report) {
    observer.Progress("writing the report", 0.99);
    ReportOptions options;
    options.facets = plate.job.report_facets;
    writer.Write(kReportHtml, ReportPage({SubjectOfBuild(plate, setup, slices, document, texts)}, options));
    document["files"] = writer.files();
  }
  document["sum"] = SumOf(document);
  folder.WriteFile(below + kBuildJson, JsonDocument(document));
}

}  // namespace trqprep
