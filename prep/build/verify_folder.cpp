#include "trqprep/verify_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>

#include "prep/build/described.h"
#include "trqprep/build_folder.h"
#include "trqprep/contour_file.h"
#include "trqprep/mesh_input.h"
#include "trqprep/overlap.h"
#include "trqprep/plates.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

// A vertex of a CTL file is snapped to a ten-thousandth.
constexpr double kSnapped = 0.00011;

// How the folder is made once more: of its own job file, beside it.
std::string BuildAgain(const std::string& folder) {
  const bool plain =
      folder.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./+-") ==
      std::string::npos;
  const std::string quote = plain ? "" : "\"";
  return fmt::format("trqprep build {1}{0}/{2}{1} -o {1}{0}-again{1}", folder, quote, kBuildToml);
}

// A finding whose next step is to build again.
Message Differs(Code code, const HeldFolder& folder, const std::string& name, const std::string& text) {
  return Message(code, folder.PathOf(name), text)
      .Hint(name == kBuildToml ? "copy the folder again from where it came, or build it of its parts"
                               : "'" + BuildAgain(folder.path()) + "' builds it again");
}

// Files against the list in build.json.
void VerifyFiles(Observer& observer, const HeldFolder& folder, const Json& document,
                 std::vector<Message>& findings) {
  const Described described(folder, document);
  const auto add = [&](Code code, const std::string& name, const char* text) {
    findings.push_back(Differs(code, folder, name, text));
  };
  FolderList list;
  list.Add(kBuildJson);
  if (document["sum"] != SumOf(document)) add(Code::kVerifyHash, kBuildJson, "was changed");
  for (const Message& finding : VerifyPresence(folder, document)) findings.push_back(finding);
  for (const Json& entry : described.List("files")) {
    const std::string name = described.NameAt(entry, "file", "files");
    list.Add(name);
    if (!folder.HasRegularFile(name)) continue;  // said already
    observer.Progress("verifying " + name, 0.2);
    InputFile file(folder, name);
    file.StartHash();
    if (file.HashOfAll() != described.TextAt(entry, "sha256")) add(Code::kVerifyHash, name, "was changed");
  }
  for (const std::string& name : ForeignNames(folder, list)) {
    findings.push_back(
        Message(Code::kVerifyForeign, folder.PathOf(name), "is not of this build").As(Severity::kNote));
  }
  for (const Json& entry : described.List("styles")) {
    const std::string name = described.NameAt(entry, "file", "styles");
    const std::string path = folder.PathOf(name);
    if (!folder.HasRegularFile(name)) continue;  // said already
    const bool build = described.TextAt(entry, "kind") == StyleKindName(StyleKind::kBuild);
    const std::optional<StyleFile> file =
        ExamineStyle(path, ReadWholeFile(InputFile(folder, name), "a style file"),
                     build ? StyleKind::kBuild : StyleKind::kRecoat);
    if (!file || !file->complete || !file->ends_right || !file->crc_valid()) {
      add(Code::kStyleCrc, name, "the checksum does not match the content");
    } else if (fmt::format("{:08x}", file->stored_crc) != described.TextAt(entry, "crc")) {
      add(Code::kVerifyHash, name, "is another style than was built with");
    }
  }
}

// Contours of a piece: they read back, and lie where the piece does.
void VerifySlices(Observer& observer, const HeldFolder& folder, const std::string& name, const Box& box,
                  Units units, std::vector<Message>& findings) {
  if (!folder.HasRegularFile(name)) return;  // said already
  InputFile input(folder, name);
  const ContourFile file = ReadContours(observer, units, input, folder.PathOf(name));
  const ContourSummary summary = Summarize(observer, file);
  bool inside = file.units == units && !summary.layers.empty();
  // Layers begin at a multiple of their thickness, which may lie below the piece.
  const double thickness =
      file.contours.table.empty() ? 0 : double(file.contours.table.front().layer_thickness);
  for (size_t axis = 0; axis < 3 && !summary.box.Empty(); ++axis) {
    const double below = axis == 2 ? thickness : 0;
    inside = inside && summary.box.min[axis] >= box.min[axis] - below - kSnapped &&
             summary.box.max[axis] <= box.max[axis] + kSnapped;
  }
  if (!inside) findings.push_back(Differs(Code::kVerifyCount, folder, name, "does not fit its piece"));
}

std::set<std::string> ForcedCodes(const HeldFolder& folder) {
  std::set<std::string> codes;
  try {
    const Json document = ReadFolderJson(folder, kChecksJson);
    for (const Json& finding : document["findings"]) {
      const Json& code = finding["code"];
      if (code.is_string()) codes.insert(code.get<std::string>());
    }
  } catch (const JsonMistake&) {  // then none was forced
  } catch (const Failure&) {
  }
  return codes;
}

}  // namespace

std::vector<Message> VerifyPresence(const HeldFolder& folder, const Json& document) {
  std::vector<Message> findings;
  const Described described(folder, document);
  for (const Json& entry : described.List("files")) {
    const std::string name = described.NameAt(entry, "file", "files");
    if (folder.HasRegularFile(name)) continue;
    errno = 0;
    const bool there = folder.Open(name).open();
    const int error = there ? 0 : errno;
    if (error == EACCES || error == EIO) InputFile(folder, name);  // fails
    findings.push_back(Differs(Code::kVerifyFile, folder, name,
                               error == ENOENT    ? "is missing"
                               : error == ENOTDIR ? "is not in a folder of this one itself"
                                                  : "is not a regular file"));
  }
  return findings;
}

std::vector<Message> VerifyPieces(Observer& observer, const HeldFolder& folder, const Json& document) {
  std::vector<Message> findings;
  const Described described(folder, document);
  const Units units = described.UnitsOf();
  const double contact = ContactIn(units);
  const auto add = [&](const std::string& name, const std::string& text) {
    findings.push_back(Message(Code::kVerifyCount, folder.PathOf(name), text)
                           .Hint("'" + BuildAgain(folder.path()) + "' builds it again"));
  };
  std::map<std::string, int64_t> facets_of_part, copies_of_part;
  std::map<std::string, double> gap_of_part;
  // Folders of version 0.1.0 have none.
  const auto number_or_0 = [&](const Json& entry, const char* key) {
    return entry.contains(key) ? described.NumberAt(entry, key) : 0;
  };
  for (const Json& input : described.List("inputs")) {
    const std::string part = described.TextAt(input, "part");
    facets_of_part[part] = int64_t(described.NumberAt(input, "facets"));
    copies_of_part[part] = int64_t(described.NumberAt(input, "copies"));
    gap_of_part[part] = number_or_0(input, "piece_gap");
  }
  std::set<std::string> listed;
  for (const Json& entry : described.List("files")) listed.insert(described.NameAt(entry, "file", "files"));
  const Point vat = described.PointAt(document, "vat");
  std::vector<InputMesh> meshes;
  Neighbours pieces;
  pieces.units = units;
  pieces.contact = contact;
  pieces.rounding = 2 * kSnapped;
  pieces.vat = vat;
  pieces.margin = number_or_0(document, "margin");
  int64_t facets = 0;
  for (const Json& piece : described.List("pieces")) {
    const std::string part = described.TextAt(piece, "part");
    const std::string name = described.NameAt(piece, "mesh", "mesh");
    const std::string path = folder.PathOf(name);
    --copies_of_part[part];
    observer.Progress("reading " + name, 0.5);
    if (listed.count(name) != 0 && !folder.HasRegularFile(name)) continue;  // said already
    try {
      MeshReading how;
      how.folder = &folder;
      InputMesh mesh = ReadMesh(observer, {}, name, how);
      const int held = mesh.mesh->num_triangles();
      facets += held;
      if (held != facets_of_part[part]) {
        add(name, fmt::format("holds {}, the part has {}", Counted(held, "facet"), facets_of_part[part]));
      }
      const Box box = mesh.box();
      const Box said = described.BoxAt(piece, "box");
      for (size_t axis = 0; axis < 3; ++axis) {
        if (std::abs(box.min[axis] - said.min[axis]) > kSnapped ||
            std::abs(box.max[axis] - said.max[axis]) > kSnapped) {
          add(name, "stands elsewhere than build.json says");
          break;
        }
      }
      for (size_t axis = 0; axis < 3; ++axis) {
        const double reach = std::max(-box.min[axis], box.max[axis] - vat[axis]);
        if (reach <= contact + kSnapped) continue;
        findings.emplace_back(Code::kOutsideVat, path,
                              fmt::format("reaches {} {} out of the vat", Plain(reach, 4), UnitsName(units)));
      }
      if (piece.contains("slices"))
        VerifySlices(observer, folder, described.NameAt(piece, "slices", "slices"), box, units, findings);
      pieces.shapes.push_back({mesh.mesh->vertices(), mesh.mesh->triangles(), held});
      pieces.boxes.push_back(box);
      pieces.gaps.push_back(gap_of_part[part]);
      meshes.push_back(std::move(mesh));
      pieces.names.push_back(name);
    } catch (const Failure& failure) {
      findings.push_back(failure.message);
    }
  }
  for (const auto& [part, left] : copies_of_part) {
    if (left == 0) continue;
    add(kBuildJson, fmt::format("{} of {} {}", Counted(std::abs(left), "piece"), part,
                                left > 0 ? "missing" : "too many"));
  }
  for (Message& finding : FindNeighbours(observer, pieces, folder.path(), ""))
    findings.push_back(std::move(finding));
  if (folder.HasRegularFile(kPlateStl) && meshes.size() == document["pieces"].size() &&
      InputFile(folder, kPlateStl).head().size != 84 + 50 * uint64_t(facets)) {
    add(kPlateStl, fmt::format("does not hold the {} of the pieces", Counted(facets, "facet")));
  }
  return findings;
}

std::vector<Message> CheckDescribedStacks(const HeldFolder& folder, const Json& document) {
  std::vector<Message> findings;
  const auto add = [&](const std::vector<Message>& more) {
    findings.insert(findings.end(), more.begin(), more.end());
  };
  const Described described(folder, document);
  const Units units = described.UnitsOf();
  const std::string file = folder.PathOf(kBuildJson);
  const std::vector<StyleBand> recoat = described.BandsAt(document, "recoat");
  if (!recoat.empty()) {
    add(CheckStack(recoat, 0, described.BoxAt(document, "extent").max[2], units, file, "the recoating"));
  }
  const Json& inputs = described.List("inputs");
  std::map<std::string, Box> boxes;
  for (const Json& input : inputs) boxes[described.TextAt(input, "part")];
  if (!inputs.empty()) {
    for (const Json& piece : described.List("pieces")) {
      const auto of_part = boxes.find(described.TextAt(piece, "part"));
      if (of_part != boxes.end()) of_part->second.Add(described.BoxAt(piece, "box"));
    }
  }
  for (const Json& input : inputs) {
    const std::string part = described.TextAt(input, "part");
    const Box& box = boxes[part];
    if (box.Empty()) continue;
    std::vector<StyleBand> stack;
    if (input.contains("styles")) stack = described.BandsAt(input, "styles");
    add(CheckStack(stack, box.min[2], box.max[2], units, file, "part " + part));
    add(CheckThickness(stack, recoat, units, file, "part " + part));
  }
  return findings;
}

namespace {

std::vector<Message> VerifyBuild(Observer& observer, const HeldFolder& folder) {
  const Json document = ReadBuildDocument(folder);
  std::vector<Message> findings;
  VerifyFiles(observer, folder, document, findings);
  const std::set<std::string> forced = ForcedCodes(folder);
  for (const Message& finding : VerifyPieces(observer, folder, document)) {
    if (forced.count(RowOf(finding.code).text) == 0) findings.push_back(finding);
  }
  return findings;
}

std::vector<Message> VerifyPlates(Observer& observer, const HeldFolder& folder) {
  const std::vector<std::string> plates = PlateFolders(folder);
  const Json document = ReadFolderJson(folder, kPlatesJson);
  const Described described(folder, document);
  std::vector<Message> findings;
  if (document["sum"] != SumOf(document)) {
    findings.push_back(Differs(Code::kVerifyHash, folder, kPlatesJson, "was changed"));
  }
  for (const Message& finding : VerifyPresence(folder, document)) findings.push_back(finding);
  FolderList list;
  list.Add(kPlatesJson);
  for (const Json& entry : described.List("files")) {
    const std::string name = described.NameAt(entry, "file", "files");
    list.Add(name);
    if (!folder.HasRegularFile(name)) continue;  // said already
    InputFile file(folder, name);
    file.StartHash();
    if (file.HashOfAll() != described.TextAt(entry, "sha256")) {
      findings.push_back(Differs(Code::kVerifyHash, folder, name, "was changed"));
    }
  }
  for (size_t i = 0; i < plates.size(); ++i) {
    const std::string& name = plates[i];
    // Its own foreign files are told of below.
    list.Add(name + "/" + kBuildJson);
    const HeldFolder plate(folder.PathOf(name), folder.Open(name));
    if (!plate.HasRegularFile(kBuildJson)) {
      findings.push_back(Differs(Code::kVerifyFile, folder, name + "/" + kBuildJson, "is missing"));
      continue;
    }
    for (const Message& finding : VerifyBuild(observer, plate)) findings.push_back(finding);
    if (ReadBuildDocument(plate)["sum"] != described.List("plates")[i]["sum"]) {
      findings.push_back(Differs(Code::kVerifyHash, folder, name + "/" + kBuildJson, "is of another build"));
    }
  }
  for (const std::string& name : ForeignNames(folder, list)) {
    const std::string above = name.substr(0, name.find('/'));
    if (name.size() > above.size() + 1 && list.folders.count(above) != 0) continue;
    findings.push_back(
        Message(Code::kVerifyForeign, folder.PathOf(name), "is not of this build").As(Severity::kNote));
  }
  return findings;
}

}  // namespace

std::vector<Message> VerifyFolder(Observer& observer, const std::string& path) {
  const HeldFolder folder(path);
  return HoldsPlates(folder) ? VerifyPlates(observer, folder) : VerifyBuild(observer, folder);
}

}  // namespace trqprep
