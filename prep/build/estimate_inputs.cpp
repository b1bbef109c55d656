#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "prep/build/described.h"
#include "prep/styles/style_adapter.h"
#include "trqprep/build.h"
#include "trqprep/build_estimate.h"
#include "trqprep/build_folder.h"
#include "trqprep/contour_file.h"
#include "trqprep/job_file.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

// The style as the application reads it.
EstimateOrder::Band BandOf(const StyleFile& file, const std::string& name) {
  EstimateOrder::Band band;
  band.file = name;
  if (file.kind == StyleKind::kBuild) {
    const auto style = std::make_shared<KVBUILDSTYLE>();
    StoreDocument(AsRead(file), *style);
    band.build = style;
  } else {
    const auto style = std::make_shared<KVRECOATSTYLE>();
    StoreDocument(AsRead(file), *style);
    band.recoat = style;
  }
  return band;
}

// --- build folders ---------------------------------------------------------------------------------------

class FolderReader {
 public:
  FolderReader(Observer& observer, const HeldFolder& folder)
      : observer_(observer),
        folder_(folder),
        document_(ReadBuildDocument(folder)),
        described_(folder, document_),
        job_(ReadJobFile(folder, kBuildToml)) {}

  std::unique_ptr<Estimator> Read(const MachineProcess& given) {
    EstimateOrder order;
    order.units = described_.UnitsOf();
    const Json& machine = document_["machine_type"];
    if (machine.is_number_integer()) order.machine = machine.get<int>();
    order.process = given;
    CompleteProcess(order.process, job_.process);
    std::map<std::string, size_t> numbers;
    for (const Json& input : described_.List("inputs")) {
      EstimateOrder::Part& part = order.parts.emplace_back();
      part.name = described_.TextAt(input, "part");
      if (!numbers.emplace(part.name, order.parts.size() - 1).second) described_.Invalid("part");
      layers_.emplace_back();
      if (!input.contains("styles")) continue;
      TakeBands(input, "styles", StyleKind::kBuild, part.bands, &layers_.back());
    }
    TakeBands(document_, "recoat", StyleKind::kRecoat, order.recoat, nullptr);
    auto estimator = std::make_unique<Estimator>(std::move(order));
    for (const Json& piece : described_.List("pieces")) {
      const auto part = numbers.find(described_.TextAt(piece, "part"));
      if (part == numbers.end()) described_.Invalid("part");
      const auto volume = float(described_.NumberAt(piece, "volume"));
      const std::string mesh = described_.NameAt(piece, "mesh", "mesh");
      const std::string name = mesh.substr(mesh.rfind('/') + 1, mesh.rfind('.') - mesh.rfind('/') - 1);
      estimator->Add(observer_, part->second, name, ContoursOf(piece, part->second, name), double(volume));
    }
    return estimator;
  }

 private:
  void TakeBands(const Json& entry, const char* key, StyleKind kind, std::vector<EstimateOrder::Band>& bands,
                 std::vector<LayerBand>* layers) {
    for (const Json& band : described_.ListAt(entry, key)) {
      const std::string file = described_.NameAt(band, "file", key);
      auto found = styles_.find({file, kind});
      if (found == styles_.end()) {
        const std::string path = folder_.PathOf(file);
        const auto style = ExamineStyle(path, ReadWholeFile(InputFile(folder_, file), "a style file"), kind);
        if (!style || style->kind != kind || !style->complete) {
          FailInput(Code::kStyleUnknown, path, fmt::format("is not a {}", StyleKindName(kind)),
                    "copy the folder again from where it came, or build it again");
        }
        found = styles_.emplace(std::make_pair(file, kind), BandOf(*style, file)).first;
      }
      bands.push_back(found->second);
      bands.back().start = float(described_.NumberAt(band, "start"));
      bands.back().end = float(described_.NumberAt(band, "end"));
      if (layers) {
        layers->push_back(
            {bands.back().start, bands.back().end, float(described_.NumberAt(band, "layer_thickness"))});
      }
    }
  }

  trq::core::Contours ContoursOf(const Json& piece, size_t part, const std::string& name) {
    if (piece.contains("slices")) {
      const std::string slices = described_.NameAt(piece, "slices", "slices");
      InputFile input(folder_, slices);
      return std::move(ReadContours(observer_, described_.UnitsOf(), input, folder_.PathOf(slices)).contours);
    }
    if (layers_[part].empty()) {
      FailInput(Code::kNoStyle, folder_.path(),
                fmt::format("part {} has no build style to cut layers by", part + 1),
                "build again with --style");
    }
    const InputMesh& mesh = MeshOf(part);
    Matrix4 matrix;
    const Json& rows = described_.ListAt(piece, "matrix");
    for (size_t i = 0; i < 4; ++i) {
      for (size_t k = 0; k < 4; ++k) {
        if (rows.size() != 4 || !rows[i].is_array() || rows[i].size() != 4 || !rows[i][k].is_number()) {
          described_.Invalid("matrix");
        }
        matrix.m[i][k] = rows[i][k].get<double>();
      }
    }
    const std::vector<PbVec3f> vertices = PlacedVertices(*mesh.mesh, matrix);
    Box box;
    for (const PbVec3f& vertex : vertices) box.Add(PointOf(vertex));
    return SlicePiece(observer_, {vertices, vertices.size(), mesh.mesh->view().triangles}, box,
                      described_.UnitsOf(), layers_[part], name);
  }

  // The part's file in the folder, as the build read it.
  const InputMesh& MeshOf(size_t part) {
    const auto known = meshes_.find(part);
    if (known != meshes_.end()) return known->second;
    if (part >= job_.parts.size()) described_.Invalid("inputs");
    PartRequest request = job_.parts[part];
    request.path = described_.NameAt(described_.List("inputs")[part], "file", "inputs");
    MeshReading how;
    how.folder = &folder_;
    return meshes_.emplace(part, ReadPart(observer_, job_, request, how)).first->second;
  }

  Observer& observer_;
  const HeldFolder& folder_;
  Json document_;
  Described described_;
  Job job_;
  std::vector<std::vector<LayerBand>> layers_;  // by part
  std::map<size_t, InputMesh> meshes_;
  std::map<std::pair<std::string, StyleKind>, EstimateOrder::Band> styles_;
};

// --- slice-contour files ---------------------------------------------------------------------------------

// Styles of the line, each read once.
class StyleLoader {
 public:
  StyleLoader(Observer& observer, Units units, const std::optional<int>& machine)
      : observer_(observer), units_(units), machine_(machine) {}

  std::vector<EstimateOrder::Band> Stack(const std::vector<StyleRequest>& requests, StyleKind kind,
                                         double bottom, double top, const std::string& subject) {
    std::vector<size_t> empty;
    const auto stack = StackRequests(
        requests, units_, bottom, top, [&](const StyleRequest& request) { return Load(request, kind); },
        &empty);
    for (const size_t style : empty) {
      observer_.Say(BandIsEmpty(files_[style].path, subject, units_, bottom, top));
    }
    std::vector<EstimateOrder::Band> bands;
    for (const auto& band : stack) {
      bands.push_back(bands_[band.style]);
      bands.back().start = band.start;
      bands.back().end = band.end;
    }
    return bands;
  }

  // The machine that all styles of the 301 layout are for, unless one was given.
  std::optional<int> Machine() const {
    std::optional<int> agreed = machine_;
    for (const StyleFile& file : files_) {
      if (machine_ || file.layout != StyleLayout::k301) continue;
      const int32_t type = file.style.FindWord("machine_type")->number.AsInt();
      if (agreed && type != *agreed) {
        FailUsage(file.path,
                  fmt::format("is for {}, another style is for {}", MachineName(type), MachineName(*agreed)),
                  "choose styles of one machine, or name it with --machine");
      }
      agreed = type;
    }
    return agreed;
  }

 private:
  size_t Load(const StyleRequest& request, StyleKind kind) {
    for (size_t i = 0; i < files_.size(); ++i) {
      if (files_[i].path == request.path && files_[i].kind == kind) return i;
    }
    files_.push_back(LoadStyle(observer_, request.path, kind));
    for (const Message& finding : CheckStyle(files_.back(), {units_, machine_, false})) {
      if (finding.code == Code::kStyleUnitsMix || finding.code == Code::kMachineMismatch)
        observer_.Say(finding);
    }
    bands_.push_back(BandOf(files_.back(), request.path));
    return files_.size() - 1;
  }

  Observer& observer_;
  Units units_;
  std::optional<int> machine_;
  std::vector<StyleFile> files_;
  std::vector<EstimateOrder::Band> bands_;
};

}  // namespace

std::unique_ptr<Estimator> EstimateFolder(Observer& observer, const HeldFolder& folder,
                                          const MachineProcess& given) {
  return FolderReader(observer, folder).Read(given);
}

std::unique_ptr<Estimator> EstimateContours(Observer& observer, const std::vector<std::string>& paths,
                                            Units bare, const ContourStyles& styles,
                                            const MachineProcess& process) {
  std::vector<ContourFile> files;
  for (const std::string& path : paths) files.push_back(ReadContours(observer, bare, path));
  EstimateOrder order;
  order.units = files.front().units;
  order.process = process;
  StyleLoader loader(observer, order.units, styles.machine);
  FreshNames fresh;
  double highest = 0;
  for (const ContourFile& file : files) {
    if (file.units != order.units) {
      FailUsage(file.path,
                fmt::format("is in {}, {} is in {}", UnitsName(file.units), files.front().path,
                            UnitsName(order.units)),
                "give the files of one unit at a time");
    }
    const auto& layers = file.contours.layers;
    const double top = layers.back().z;
    highest = std::max(highest, top);
    order.parts.push_back({fresh.Of(Stem(file.path)), {}});
    order.parts.back().bands = loader.Stack(styles.styles, StyleKind::kBuild, layers.front().z, top,
                                            "part " + order.parts.back().name);
  }
  order.recoat = loader.Stack(styles.recoats, StyleKind::kRecoat, 0, highest, "the build");
  order.machine = loader.Machine();
  std::vector<std::string> names;
  for (const EstimateOrder::Part& part : order.parts) names.push_back(part.name);
  auto estimator = std::make_unique<Estimator>(std::move(order));
  for (size_t i = 0; i < files.size(); ++i) {
    estimator->Add(observer, i, names[i], files[i].contours, std::nullopt);
  }
  return estimator;
}

}  // namespace trqprep
