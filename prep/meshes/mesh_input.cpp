#include "trqprep/mesh_input.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <sstream>

#include "trq/core/ctl.h"
#include "trq/core/stl.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

using trq::core::ErrorCode;
using trq::core::kStlHeaderSize;
using trq::core::Place;
using trq::core::Result;
using trq::core::StlReport;

constexpr size_t kCtlHeaderSize = 256;
constexpr size_t kCtlMagicOffset = 160;

// 0 where there is none.
int32_t WordAt(const std::string& bytes, size_t offset) {
  int32_t word = 0;
  if (bytes.size() >= offset + sizeof word) std::memcpy(&word, &bytes[offset], sizeof word);
  return word;
}

// The first word between blanks, as an import of text STL sees it: a tab is part of a word. Lower case.
std::string FirstWord(const std::string& line) {
  const size_t begin = line.find_first_not_of(' ');
  return begin == std::string::npos ? std::string()
                                    : Lower(line.substr(begin, line.find(' ', begin) - begin));
}

int UnitsCode(Units units) { return units == Units::kInch ? trq::units::kInch : trq::units::kMillimetre; }

[[noreturn]] void FailNotANumber(const std::string& path, const Place& place) {
  Message message(Code::kMeshNan, path, "normals cannot be computed");
  if (place.column != Place::kNowhere) {
    message.text = fmt::format("corner {} of facet {} is not a number", place.column, place.item);
    message.Hint("export the part again").At({{"facet", place.item}, {"corner", place.column}});
  }
  Fail(ExitCode::kInput, message);
}

// Whether a line has a word and three that begin as numbers do.
bool BeginsAsCorner(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  int count = 0;
  for (; count < 4 && words >> word; ++count) {
    const char first = word[word[0] == '+' || word[0] == '-' ? 1 : 0];
    if (count > 0 && !std::isdigit(static_cast<unsigned char>(first)) && first != '.') return false;
  }
  return count == 4;
}

// The line that is no corner of an ASCII file; 0 when there is none. Kept: one that only begins as a corner
// does, with decimal commas for instance, is not named.
uint64_t BadLine(const StlReport& report) {
  if (!report.text_error || report.text_error->place.line == Place::kNowhere) return 0;
  return BeginsAsCorner(report.text_error->text) ? 0 : report.text_error->place.line;
}

[[noreturn]] void FailStl(const FileHead& file, const trq::core::Error& error, const StlReport& report) {
  const std::string& path = file.path;
  if (error.code == ErrorCode::kTooLarge) {
    FailInput(Code::kStlTooLarge, path, "holds more than 26 million facets",
              "simplify the part where it was made");
  }
  if (error.code == ErrorCode::kBadNumber) FailNotANumber(path, error.place);
  if (file.size == 0) {
    FailInput(Code::kStlEmpty, path, "is empty", "export the part again");
  }
  if (const uint64_t line = BadLine(report)) {
    Fail(ExitCode::kInput,
         Message(Code::kStlAscii, path,
                 fmt::format("ASCII STL: line {} is no corner (a word and three numbers): {}", line,
                             report.text_error->text.substr(0, 60)))
             .Hint("correct the line or export the part again; as a binary file it cannot be read either")
             .At({{"line", line}}));
  }
  const bool says_solid = file.head.compare(0, 5, "solid") == 0;
  if (error.code == ErrorCode::kUnknownFormat) {
    if (says_solid) {
      FailInput(Code::kStlEmpty, path, "ASCII STL without a facet line after the first",
                "the second line must begin with 'facet', after blanks only");
    }
    FailInput(Code::kStlHeader, path,
              fmt::format("{} bytes are too few for the 80-byte header of a binary STL file", file.size));
  }
  if (error.code == ErrorCode::kNoSurface) {
    FailInput(Code::kStlUnjoined, path, "no two facets share a corner, so this is no surface",
              "a file of a single facet is refused too");
  }
  const int64_t announced = report.solids.front().announced;
  if (error.code == ErrorCode::kBadCount) {
    Fail(ExitCode::kInput,
         Message(Code::kStlCount, path, fmt::format("binary STL announces {} facets", announced))
             .Hint("a file must hold at least one facet; export the part again")
             .At({{"byte", kStlHeaderSize}}));
  }
  const int64_t present = report.solids.front().present;
  Message message(Code::kStlShort, path,
                  fmt::format("binary STL announces {} facets, file holds {}", announced, present));
  message.At({{"announced", announced}, {"present", present}});
  message.Hint(fmt::format("--accept-partial uses the {} facets present", present));
  if (says_solid || report.begins_as_text) {
    message.Hint("the file begins like an ASCII STL file, but its second line does not begin with 'facet'");
  }
  Fail(ExitCode::kInput, message);
}

void CheckIndices(const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) {
      const int vertex = mesh.triangles()[i][k];
      if (vertex < 0 || vertex >= mesh.num_vertices()) {
        Fail(ExitCode::kInput,
             Message(Code::kCtlIndex, input.path,
                     fmt::format("facet {} refers to vertex {} of {}", i, vertex, mesh.num_vertices()))
                 .At({{"facet", i}}));
      }
    }
  }
}

void ReadStl(Observer& observer, const ReadOptions& options, InputFile& file, InputMesh& input) {
  trq::core::StlReading how;
  how.units = UnitsCode(options.units);
  how.accept_partial = options.accept_partial;
  StlReport report;
  Result<trq::core::Mesh> read = trq::core::ReadStl(file, how, &report);
  if (!read) FailStl(file.head(), read.error(), report);
  input.mesh->adopt(std::move(*read));
  if (report.form == trq::core::StlForm::kAscii) {
    input.format = MeshFormat::kAsciiStl;
    return;
  }
  input.format = MeshFormat::kBinaryStl;
  const auto is_short = [](const trq::core::StlSolid& solid) { return solid.present < solid.announced; };
  const auto cut = std::find_if(report.solids.begin(), report.solids.end(), is_short);
  input.solids = std::max(int(cut - report.solids.begin()), 1);
  if (options.accept_partial && cut != report.solids.end()) {
    Message message(Code::kStlShort, input.path,
                    fmt::format("binary STL announces {} facets more than the file holds",
                                cut->announced - cut->present));
    if (cut == report.solids.begin()) {
      message.text =
          fmt::format("binary STL announces {} facets, file holds {}", cut->announced, cut->present);
      message.At({{"announced", cut->announced}, {"present", cut->present}});
    }
    observer.Warn(message.Hint("the facets present were used"));
    if (report.begins_as_text) {
      observer.Warn(
          Message(Code::kStlAscii, input.path,
                  fmt::format("was read as binary because line {} is no corner of an ASCII STL file",
                              BadLine(report)))
              .Hint("the facets are most likely meaningless; correct the line")
              .At({{"line", BadLine(report)}}));
    }
  } else if (report.end < input.file_size) {
    observer.Note(
        Message(Code::kStlTrailing, input.path,
                fmt::format("{} bytes after the last facet were not read", input.file_size - report.end))
            .At({{"byte", report.end}}));
  }
}

void ReadCtl(Observer& observer, const ReadOptions& options, InputFile& file, InputMesh& input) {
  input.format = MeshFormat::kCtl;
  Result<trq::core::Mesh> read = trq::core::ReadCtl(file);
  if (!read) {
    Fail(ExitCode::kInput, Message(Code::kCtlInvalid, input.path, read.error().text)
                               .At({{"byte", read.error().place.byte}})
                               .Hint("the file was cut or damaged; make it again from its source"));
  }
  input.mesh->adopt(std::move(*read));
  CheckIndices(input);
  if (input.mesh->Calculate_normals() != trq::mesh_io::kDone) {
    const Result<void> normals = trq::core::CalculateNormals(input.mesh->view(), input.mesh->normals_);
    FailNotANumber(input.path, normals ? Place() : normals.error().place);
  }
  const uint64_t end = file.Position().value_or(input.file_size);
  if (end < input.file_size) {
    observer.Note(Message(Code::kCtlTrailing, input.path,
                          fmt::format("{} bytes after the last facet were not read", input.file_size - end))
                      .At({{"byte", end}}));
  }
  const int code = input.mesh->header.units;
  if (code == trq::units::kInch || code == trq::units::kMillimetre) {
    input.units = code == trq::units::kInch ? Units::kInch : Units::kMillimetre;
    input.units_stated = true;
    return;
  }
  WarnOfUnknownUnits(observer, input.path, options.units);
  input.mesh->SetUnits(UnitsCode(options.units));
}

// A binary file whose count fits its size, or a text whose second line begins with "facet".
bool HasStlContent(const FileHead& file) {
  const int32_t facets = WordAt(file.head, kStlHeaderSize);
  if (facets > 0 && file.size == trq::core::BinaryStlSize(uint64_t(facets))) {
    return true;
  }
  const size_t line_end = file.head.find('\n');
  if (line_end == std::string::npos || FirstWord(file.head.substr(0, line_end)).empty()) return false;
  const std::string second =
      file.head.substr(line_end + 1, file.head.find('\n', line_end + 1) - line_end - 1);
  return FirstWord(second) == "facet";
}

}  // namespace

const char* MeshFormatName(MeshFormat format) {
  switch (format) {
    case MeshFormat::kCtl:
      return "CTL";
    case MeshFormat::kAsciiStl:
      return "ASCII STL";
    default:
      return "binary STL";
  }
}

double InputMesh::volume() const {
  double sum = 0;
  for (int i = 0; i < mesh->num_triangles(); ++i) {
    const auto [a, b, c] = CornersOf(*mesh, i);
    sum += Dot(a, Cross(b, c));
  }
  return sum / 6;
}

double InputMesh::area() const {
  double sum = 0;
  for (int i = 0; i < mesh->num_triangles(); ++i) sum += AreaOf(CornersOf(*mesh, i));
  return sum;
}

bool LooksLikeCtl(const FileHead& file) {
  const int32_t magic = file.head.size() < kCtlHeaderSize ? 0 : WordAt(file.head, kCtlMagicOffset);
  // The magic number may also be chance inside an STL file; where it is missing, the name decides.
  if (magic == 121 || magic == 121 << 24) return LowerExtension(file.path) != "stl" || !HasStlContent(file);
  return LowerExtension(file.path) == "ctl" && !HasStlContent(file);
}

bool LooksLikeStl(const FileHead& file) { return LowerExtension(file.path) == "stl" || HasStlContent(file); }

InputMesh ReadMesh(Observer& observer, const ReadOptions& options, const std::string& path,
                   const MeshReading& how) {
  const auto opened = std::make_shared<InputFile>(path);
  InputFile& file = *opened;
  if (how.hash) file.StartHash();
  observer.current_file = path;
  InputMesh input;
  input.path = path;
  input.file_size = file.head().size;
  input.units = options.units;
  input.mesh = std::make_unique<CTL>();
  if (LooksLikeCtl(file.head())) {
    ReadCtl(observer, options, file, input);
  } else if (LooksLikeStl(file.head())) {
    ReadStl(observer, options, file, input);
  } else {
    FailInput(Code::kInputUnknown, path, "is neither an STL nor a CTL file");
  }
  if (input.mesh->num_triangles() < 1) {
    Message message(Code::kStlEmpty, path, "holds no facet");
    if (!how.may_be_empty) Fail(ExitCode::kInput, message.Hint("export the part again"));
    observer.Warn(message);
  }
  input.mesh->recalculate_extents();
  input.mesh->extents_valid = 1;
  if (how.hash) input.sha256 = file.HashOfAll();
  if (how.keep_open) input.file = opened;
  observer.current_file.clear();
  return input;
}

void RequireFinite(const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const PbVec3f& point = mesh.vertices()[i];
    if (!std::isfinite(point[0]) || !std::isfinite(point[1]) || !std::isfinite(point[2])) {
      Fail(ExitCode::kInput,
           Message(Code::kMeshInfinite, input.path, fmt::format("vertex {} is not finite", i))
               .Hint("export the part again")
               .At({{"vertex", i}}));
    }
  }
}

std::optional<Message> UnitsDoubt(const InputMesh& input, const std::array<double, 3>* vat_mm) {
  const Box box = input.box();
  if (box.Empty()) return std::nullopt;
  Point size = box.Size();
  for (double& side : size) side *= UnitsFactor(input.units, Units::kMillimetre);
  const double largest = *std::max_element(size.begin(), size.end());
  const bool fits_larger = vat_mm && size[0] * kMillimetresPerInch <= (*vat_mm)[0] &&
                           size[1] * kMillimetresPerInch <= (*vat_mm)[1] &&
                           size[2] * kMillimetresPerInch <= (*vat_mm)[2];
  if (!(largest < 2) && !fits_larger) return std::nullopt;
  Message message(Code::kUnitsDoubt, input.path,
                  fmt::format("the part is only {}", SizeInBoth(size, Units::kMillimetre)));
  if (largest >= 2) message.text += "; it would fit the vat 25.4 times larger";
  if (!input.units_stated && input.units == Units::kMillimetre) {
    message.Hint("if the file is in inches, say --units in");
  } else {
    message.Hint("is its unit right?");
  }
  return message.As(Severity::kWarning);
}

void WarnOfUnknownUnits(Observer& observer, const std::string& path, Units taken) {
  observer.Warn(Message(Code::kUnitsUnknown, path,
                        fmt::format("the file does not say its unit; taken as {}", UnitsName(taken)))
                    .Hint("--units mm or --units in says which it is"));
}

void WarnOfUnits(Observer& observer, const InputMesh& input, const std::array<double, 3>* vat_mm) {
  if (const std::optional<Message> message = UnitsDoubt(input, vat_mm)) observer.Warn(*message);
}

void ConvertUnits(InputMesh& input, Units wanted) {
  const double factor = UnitsFactor(input.units, wanted);
  if (input.units != wanted) ApplyToMesh(*input.mesh, Matrix4::Scaling(factor, factor, factor));
  input.units = wanted;
  input.mesh->SetUnits(UnitsCode(wanted));
}

}  // namespace trqprep
