#include "trqprep/verify_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <system_error>

#include "trqprep/build_folder.h"
#include "trqprep/mesh_input.h"
#include "trqprep/overlap.h"
#include "trqprep/paths.h"
#include "trqprep/sha256.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

// A vertex of a CTL file is snapped to a ten-thousandth.
constexpr double kSnapped = 0.00011;

[[noreturn]] void Invalid(const std::string& folder, const std::string& what) {
  FailInput(Code::kBuildInvalid, folder + "/" + kBuildJson, what + " is missing or malformed", "build again");
}

std::string TextAt(const std::string& folder, const Json& entry, const char* key) {
  std::optional<std::string> text;
  if (entry.is_object() && entry.contains(key)) text = TextFromJson(entry[key]);
  if (!text) Invalid(folder, key);
  return *text;
}

double NumberAt(const std::string& folder, const Json& entry, const char* key) {
  if (!entry.is_object() || !entry.contains(key) || !entry[key].is_number()) Invalid(folder, key);
  return entry[key].get<double>();
}

const Json& ListAt(const std::string& folder, const Json& entry, const char* key) {
  if (!entry.is_object() || !entry.contains(key) || !entry[key].is_array()) Invalid(folder, key);
  return entry[key];
}

// A name below the folder, and nothing beside it.
bool StaysInside(const std::string& name) {
  if (name.empty() || name[0] == '/') return false;
  for (const std::string& piece : Split(name, '/')) {
    if (piece == ".." || piece == "." || piece.empty()) return false;
  }
  return name.find('\0') == std::string::npos;
}

// The files below a folder. What an interrupted run left behind disturbs nothing.
std::set<std::string> NamesIn(const std::string& folder) {
  namespace fs = std::filesystem;
  std::set<std::string> names;
  const std::string root = folder + "/";
  std::error_code error;
  for (fs::recursive_directory_iterator at(root, error), end; !error && at != end; at.increment(error)) {
    std::error_code unknown;
    if (at->path().filename().string().rfind(".trqprep-", 0) == 0) {
      at.disable_recursion_pending();
    } else if (!fs::is_directory(at->symlink_status(unknown))) {
      names.insert(at->path().string().substr(root.size()));
    }
  }
  return names;
}

Message Difference(Code code, const std::string& folder, const std::string& name, const std::string& text) {
  return Message(code, folder + "/" + name, text).Hint("build again with 'trqprep build build.toml'");
}

// Files against the list in build.json.
void VerifyFiles(Observer& observer, const std::string& folder, const Json& document,
                 std::vector<Message>& findings) {
  std::set<std::string> standing = NamesIn(folder);
  standing.erase(kBuildJson);
  if (!document.contains("sum") || document["sum"] != SumOf(document)) {
    findings.push_back(Difference(Code::kVerifyHash, folder, kBuildJson, "was changed"));
  }
  for (const Json& entry : ListAt(folder, document, "files")) {
    const std::string name = TextAt(folder, entry, "file");
    if (!StaysInside(name)) Invalid(folder, "files");
    if (standing.erase(name) == 0) {
      findings.push_back(Difference(Code::kVerifyFile, folder, name, "is missing"));
      continue;
    }
    observer.Progress("verifying " + name, 0.2);
    if (Sha256OfFile(folder + "/" + name) != TextAt(folder, entry, "sha256")) {
      findings.push_back(Difference(Code::kVerifyHash, folder, name, "was changed"));
    }
  }
  for (const std::string& name : standing) {
    findings.push_back(Difference(Code::kVerifyFile, folder, name, "is no file of this build"));
  }
}

void VerifyStyles(const std::string& folder, const Json& document, std::vector<Message>& findings) {
  for (const Json& entry : ListAt(folder, document, "styles")) {
    const std::string name = TextAt(folder, entry, "file");
    if (!StaysInside(name)) Invalid(folder, "styles");
    const std::string path = folder + "/" + name;
    if (!Exists(path)) continue;  // said already
    const bool build = TextAt(folder, entry, "kind") == StyleKindName(StyleKind::kBuild);
    const std::optional<StyleFile> file =
        ExamineStyle(path, ReadWholeFile(path), build ? StyleKind::kBuild : StyleKind::kRecoat);
    if (!file || !file->complete || !file->ends_right || !file->crc_valid()) {
      findings.push_back(Finding(Code::kStyleCrc, path, "the checksum does not match the content"));
    } else if (fmt::format("{:08x}", file->stored_crc) != TextAt(folder, entry, "crc")) {
      findings.push_back(Difference(Code::kVerifyHash, folder, name, "is another style than was built with"));
    }
  }
}

std::set<std::string> ForcedCodes(const std::string& folder) {
  std::ifstream stream(folder + "/" + kChecksJson, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  std::set<std::string> codes;
  Json document;
  try {
    document = ParseJson(text);
  } catch (const JsonMistake&) {
    return codes;
  }
  if (!document.is_object() || !document.contains("findings") || !document["findings"].is_array())
    return codes;
  for (const Json& finding : document["findings"]) {
    if (finding.is_object() && finding.value("code", Json()).is_string()) {
      codes.insert(finding["code"].get<std::string>());
    }
  }
  return codes;
}

std::vector<StyleBand> BandsOf(const std::string& folder, const Json& list) {
  std::vector<StyleBand> bands;
  for (const Json& entry : list) {
    bands.push_back({NumberAt(folder, entry, "start"), NumberAt(folder, entry, "end"),
                     NumberAt(folder, entry, "layer_thickness"), TextAt(folder, entry, "file")});
  }
  return bands;
}

Units UnitsOf(const std::string& folder, const Json& document) {
  const std::optional<Units> units = UnitsFromName(TextAt(folder, document, "units"));
  if (!units) Invalid(folder, "units");
  return *units;
}

Box BoxFrom(const std::string& folder, const Json& entry) {
  Box box;
  for (const char* key : {"min", "max"}) {
    const Json& corner = ListAt(folder, entry, key);
    if (corner.size() != 3) Invalid(folder, key);
    Point& point = std::string(key) == "min" ? box.min : box.max;
    for (std::size_t k = 0; k < 3; ++k) {
      if (!corner[k].is_number()) Invalid(folder, key);
      point[k] = corner[k].get<double>();
    }
  }
  return box;
}

}  // namespace

std::vector<Message> VerifyPieces(Observer& observer, const std::string& folder, const Json& document) {
  std::vector<Message> findings;
  const Units units = UnitsOf(folder, document);
  const double contact = ContactIn(units);
  std::map<std::string, std::int64_t> facets_of_part, copies_of_part;
  for (const Json& input : ListAt(folder, document, "inputs")) {
    const std::string part = TextAt(folder, input, "part");
    facets_of_part[part] = static_cast<std::int64_t>(NumberAt(folder, input, "facets"));
    copies_of_part[part] = static_cast<std::int64_t>(NumberAt(folder, input, "copies"));
  }
  const Json& vat = ListAt(folder, document, "vat");
  if (vat.size() != 3 || !vat[0].is_number() || !vat[1].is_number() || !vat[2].is_number()) {
    Invalid(folder, "vat");
  }
  std::vector<InputMesh> meshes;
  std::vector<std::string> names;
  std::int64_t facets = 0;
  for (const Json& piece : ListAt(folder, document, "pieces")) {
    const std::string part = TextAt(folder, piece, "part");
    const std::string name = TextAt(folder, piece, "mesh");
    if (!StaysInside(name)) Invalid(folder, "mesh");
    --copies_of_part[part];
    observer.Progress("reading " + name, 0.5);
    if (!Exists(folder + "/" + name)) continue;  // said already
    try {
      InputMesh mesh = ReadMesh(observer, {}, folder + "/" + name);
      facets += mesh.mesh->num_triangles();
      if (mesh.mesh->num_triangles() != facets_of_part[part]) {
        findings.push_back(Difference(Code::kVerifyCount, folder, name,
                                      fmt::format("holds {} facets, the part has {}",
                                                  mesh.mesh->num_triangles(), facets_of_part[part])));
      }
      const Box box = mesh.box();
      const Box said = BoxFrom(folder, piece.value("box", Json()));
      for (std::size_t axis = 0; axis < 3; ++axis) {
        if (std::abs(box.min[axis] - said.min[axis]) > kSnapped ||
            std::abs(box.max[axis] - said.max[axis]) > kSnapped) {
          findings.push_back(
              Difference(Code::kVerifyCount, folder, name, "stands elsewhere than build.json says"));
          break;
        }
      }
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const double reach = std::max(-box.min[axis], box.max[axis] - vat[axis].get<double>());
        if (reach <= contact + kSnapped) continue;
        findings.push_back(
            Message(Code::kOutsideVat, folder + "/" + name,
                    fmt::format("reaches {} {} out of the vat", Plain(reach, 4), UnitsName(units))));
      }
      meshes.push_back(std::move(mesh));
      names.push_back(name);
    } catch (const Failure& failure) {
      findings.push_back(failure.message);
    }
  }
  for (const auto& [part, left] : copies_of_part) {
    if (left == 0) continue;
    findings.push_back(Difference(
        Code::kVerifyCount, folder, kBuildJson,
        fmt::format("{} pieces of {} are {}", std::abs(left), part, left > 0 ? "missing" : "too many")));
  }
  std::vector<PlacedShape> shapes;
  for (const InputMesh& mesh : meshes) {
    shapes.push_back({mesh.mesh->vertices(), mesh.mesh->triangles(), mesh.mesh->num_triangles()});
  }
  for (const Overlap& overlap : FindOverlaps(shapes, contact)) {
    findings.push_back(
        Finding(Code::kOverlap, folder,
                fmt::format("{} and {} overlap seen from above, by at least {} {} near X {} Y {}",
                            names[overlap.first], names[overlap.second], Plain(overlap.depth, 4),
                            UnitsName(units), Plain(overlap.x, 2), Plain(overlap.y, 2)))
            .At({{"pieces",
                  Json::array({TextToJson(names[overlap.first]), TextToJson(names[overlap.second])})}}));
  }
  const std::string plate = folder + "/" + kPlateStl;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(plate, error);
  if (!error && meshes.size() == document["pieces"].size() &&
      size != 84 + 50 * static_cast<std::uintmax_t>(facets)) {
    findings.push_back(Difference(Code::kVerifyCount, folder, kPlateStl,
                                  fmt::format("holds other facets than the {} of the pieces", facets)));
  }
  return findings;
}

std::vector<Message> CheckDescribedStacks(const std::string& folder, const Json& document) {
  std::vector<Message> findings;
  const auto add = [&](std::vector<Message> more) {
    findings.insert(findings.end(), more.begin(), more.end());
  };
  const Units units = UnitsOf(folder, document);
  const std::string file = folder + "/" + kBuildJson;
  const std::vector<StyleBand> recoat = BandsOf(folder, ListAt(folder, document, "recoat"));
  if (!recoat.empty()) {
    const double top = BoxFrom(folder, document.value("extent", Json())).max[2];
    add(CheckStack(recoat, 0, top, units, file, "the recoating"));
  }
  for (const Json& input : ListAt(folder, document, "inputs")) {
    const std::string part = TextAt(folder, input, "part");
    Box box;
    for (const Json& piece : ListAt(folder, document, "pieces")) {
      if (TextAt(folder, piece, "part") == part) box.Add(BoxFrom(folder, piece.value("box", Json())));
    }
    if (box.Empty()) continue;
    const std::vector<StyleBand> stack = input.contains("styles")
                                             ? BandsOf(folder, ListAt(folder, input, "styles"))
                                             : std::vector<StyleBand>();
    add(CheckStack(stack, box.min[2], box.max[2], units, file, "part " + part));
    add(CheckThickness(stack, recoat, units, file, "part " + part));
  }
  return findings;
}

std::vector<Message> VerifyFolder(Observer& observer, const std::string& folder) {
  const Json document = ReadBuildDocument(folder);
  std::vector<Message> findings;
  VerifyFiles(observer, folder, document, findings);
  VerifyStyles(folder, document, findings);
  const std::set<std::string> forced = ForcedCodes(folder);
  for (const Message& finding : VerifyPieces(observer, folder, document)) {
    if (forced.count(RowOf(finding.code).text) == 0) findings.push_back(finding);
  }
  return findings;
}

}  // namespace trqprep
