#include "trqprep/mesh_input.h"
#include "trqprep/input_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "trq/core/ctl.h"
#include "trq/core/stl.h"
#include "trqprep/paths.h"
#include "trqprep/tolerant_stl.h"

namespace trqprep {
namespace {

using trq::core::ErrorCode;
using trq::core::kStlHeaderSize;
using trq::core::Place;
using trq::core::Result;
using trq::core::StlReport;

constexpr size_t kStlRecordSize = 50;
constexpr size_t kCtlHeaderSize = 256;
constexpr size_t kCtlMagicOffset = 160;

// 0 where there is none.
int32_t WordAt(const std::string& bytes, size_t offset) {
  return bytes.size() >= offset + sizeof(int32_t) ? int32_t(LittleWordAt(bytes, offset)) : 0;
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

[[noreturn]] void FailEmpty(const std::string& path, const char* text) {
  FailInput(Code::kStlEmpty, path, text, "export the part again");
}

// No reader understands the text that stands at the error's place.
[[noreturn]] void FailText(const std::string& path, const trq::core::Error& error) {
  std::string text = fmt::format("'{}' is not a number", error.text);
  std::string hint = "correct the line or export the part again";
  const size_t comma = error.text.find(',');
  if (error.code == ErrorCode::kUnknownFormat) {
    text = fmt::format("'{}' does not belong in an STL text", error.text);
    hint = "check that it is the file you mean, or export the part again";
  } else if (error.text.empty()) {
    text = "the line ends before its third number";
  } else if (comma > 0 && comma + 1 < error.text.size() &&
             std::isdigit(static_cast<unsigned char>(error.text[comma + 1]))) {
    text += ": it has a decimal comma, STL wants a point";
    hint = "export the part again with decimal points";
  }
  const Place& place = error.place;
  Fail(ExitCode::kInput,
       Message(Code::kStlText, path, fmt::format("line {}, column {}: {}", place.line, place.column, text))
           .Hint(hint)
           .At({{"line", place.line}, {"column", place.column}}));
}

[[noreturn]] void FailStl(const FileHead& file, const trq::core::Error& error, const StlReport& report) {
  const std::string& path = file.path;
  if (error.code == ErrorCode::kTooLarge) {
    FailInput(Code::kStlTooLarge, path, "holds more than 26 million facets",
              "simplify the part where it was made");
  }
  if (error.code == ErrorCode::kBadNumber) FailNotANumber(path, error.place);
  if (file.size == 0) FailEmpty(path, "is empty");
  if (error.code == ErrorCode::kUnknownFormat) {
    FailInput(Code::kStlHeader, path,
              fmt::format("{} bytes are too few for the 80-byte header of a binary STL file", file.size));
  }
  if (error.code == ErrorCode::kNoSurface) {
    FailInput(Code::kStlUnjoined, path, "no two facets share a corner, so this is not a surface",
              "a file of a single facet is refused too");
  }
  const int64_t announced = report.solids.front().announced;
  if (error.code == ErrorCode::kBadCount) {
    Fail(ExitCode::kInput,
         Message(Code::kStlCount, path, "binary STL announces " + Counted(announced, "facet"))
             .Hint("a file must hold at least one facet; export the part again")
             .At({{"byte", kStlHeaderSize}}));
  }
  const int64_t present = report.solids.front().present;
  Message message(
      Code::kStlShort, path,
      fmt::format("binary STL announces {}, file holds {}", Counted(announced, "facet"), present));
  message.At({{"announced", announced}, {"present", present}});
  Fail(ExitCode::kInput,
       message.Hint(fmt::format("--accept-partial uses the {} present", Counted(present, "facet"))));
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

// A text that the strict reader refuses, or one that is cut (`strict`: it reads that).
void ReadText(Observer& observer, const ReadOptions& options, bool may_be_cut, bool strict, InputFile& file,
              InputMesh& input) {
  TolerantReport report;
  trq::core::StlReading how;
  how.units = UnitsCode(options.units);
  Result<trq::core::Mesh> read = ReadTolerantStl(file, how, report);
  const ErrorCode error = read ? ErrorCode::kEmpty : read.error().code;
  if (error == ErrorCode::kUnknownFormat || error == ErrorCode::kBadNumber)
    FailText(input.path, read.error());
  if (error == ErrorCode::kReadFailed)
    FailInput(Code::kInputUnreadable, input.path, "cannot be read to its end");
  if (report.cut) {
    Message message(Code::kStlCut, input.path,
                    fmt::format("the text ends in line {} without 'endsolid'; {} of its facets {} whole",
                                report.lines, report.facets, report.facets == 1 ? "is" : "are"));
    message.At({{"line", report.lines}, {"facets", report.facets}});
    if (!read) Fail(ExitCode::kInput, message.Hint("export the part again"));
    if (!may_be_cut && !options.accept_partial) {
      Fail(ExitCode::kInput, message.Hint(fmt::format("--accept-partial uses the {} present",
                                                      Counted(report.facets, "facet"))));
    }
    observer.Warn(message.Hint("the facets present were used"));
  }
  if (!read && error != ErrorCode::kEmpty) FailStl(file.head(), read.error(), {});
  if (!read) FailEmpty(input.path, "ASCII STL without a facet");
  if (!strict && report.left_at > 0) {
    observer.Note(Message(Code::kStlNormalised, input.path,
                          fmt::format("line {} leaves the strict form of ASCII STL; the file was read, but "
                                      "the application itself would not read it",
                                      report.left_at))
                      .Hint("'trqprep convert --normalize' writes it in the strict form")
                      .At({{"line", report.left_at}}));
  }
  input.mesh->adopt(std::move(*read));
  input.format = MeshFormat::kAsciiStl;
}

void ReadStl(Observer& observer, const ReadOptions& options, bool may_be_cut, InputFile& file,
             InputMesh& input) {
  const StlContent content = LookAtStl(file);
  trq::core::StlReading how;
  how.units = UnitsCode(options.units);
  how.accept_partial = options.accept_partial && content == StlContent::kBinary;
  StlReport report;
  Result<trq::core::Mesh> read = trq::core::ReadStl(file, how, &report);
  const bool strict = read && read->header.num_triangles > 0;
  const bool strict_text = strict && report.form == trq::core::StlForm::kAscii;
  if (!strict && content == StlContent::kForeignEndian) {
    FailInput(Code::kStlEndian, input.path,
              "binary STL with the bytes of its numbers in the wrong order (big-endian)",
              "export it little-endian, as the format is");
  }
  if (!read && (content == StlContent::kBinary || read.error().code == ErrorCode::kTooLarge))
    FailStl(file.head(), read.error(), report);
  if (!strict || (strict_text && !EndsWithEndsolid(file))) {
    ReadText(observer, options, may_be_cut, strict, file, input);
    return;
  }
  input.mesh->adopt(std::move(*read));
  if (strict_text) {
    input.format = MeshFormat::kAsciiStl;
    return;
  }
  input.format = MeshFormat::kBinaryStl;
  const auto is_short = [](const trq::core::StlSolid& solid) { return solid.present < solid.announced; };
  const auto cut = std::find_if(report.solids.begin(), report.solids.end(), is_short);
  input.solids = std::max(int(cut - report.solids.begin()), 1);
  if (options.accept_partial && cut != report.solids.end()) {
    Message message(Code::kStlShort, input.path,
                    fmt::format("binary STL announces {} more than the file holds",
                                Counted(cut->announced - cut->present, "facet")));
    if (cut == report.solids.begin()) {
      message.text = fmt::format("binary STL announces {}, file holds {}", Counted(cut->announced, "facet"),
                                 cut->present);
      message.At({{"announced", cut->announced}, {"present", cut->present}});
    }
    observer.Warn(message.Hint("the facets present were used"));
  } else if (report.end < input.file_size) {
    observer.Note(
        Message(Code::kStlTrailing, input.path,
                Counted(int64_t(input.file_size - report.end), "byte") + " after the last facet not read")
            .At({{"byte", report.end}}));
  }
}

// The fewer vertices there are, the fewer bits a facet takes in the file, and in memory as many as ever. A
// surface has two facets a vertex.
void RequireVertices(const FileHead& file) {
  constexpr int64_t kFewFacets = 65'536, kMostOfVertex = 100;
  const auto count_at = [&](size_t offset) {
    const auto word = uint32_t(WordAt(file.head, offset));
    return int64_t(int32_t(WordAt(file.head, kCtlMagicOffset) == 121 ? word : __builtin_bswap32(word)));
  };
  if (file.head.size() < kCtlHeaderSize) return;
  const int64_t vertices = count_at(0), facets = count_at(4);
  if (facets <= kFewFacets || facets <= kMostOfVertex * vertices) return;
  Fail(ExitCode::kInput,
       Message(Code::kCtlInvalid, file.path,
               fmt::format("announces {} of {}, more than {} a vertex", Counted(facets, "facet"),
                           Counted(vertices, "vertex", "vertices"), kMostOfVertex))
           .At({{"byte", 4}})
           .Hint("no surface is like that; make the file again from its source"));
}

void ReadCtl(Observer& observer, const ReadOptions& options, InputFile& file, InputMesh& input) {
  input.format = MeshFormat::kCtl;
  RequireVertices(file.head());
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
                          Counted(int64_t(input.file_size - end), "byte") + " after the last facet not read")
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

// No part that people build is smaller, and a part in inches or metres that is taken for millimetres often
// is.
constexpr double kDoubtfulMillimetres = 3;

std::optional<Message> DoubtOf(const InputMesh& input, const Box& box, const std::array<double, 3>* vat_mm) {
  if (input.units_given || box.Empty()) return std::nullopt;
  const Point numbers = box.Size();
  if (!(numbers[0] >= 0 && numbers[1] >= 0 && numbers[2] >= 0)) return std::nullopt;
  Point size = numbers;
  for (double& side : size) side *= UnitsFactor(input.units, Units::kMillimetre);
  const auto fits = [&](const Point& sides) {
    return sides[0] <= (*vat_mm)[0] && sides[1] <= (*vat_mm)[1] && sides[2] <= (*vat_mm)[2];
  };
  const double largest = *std::max_element(size.begin(), size.end());
  const bool small = largest > 0 && largest < kDoubtfulMillimetres;
  const bool large = input.units == Units::kInch && vat_mm && !fits(size) && fits(numbers);
  if (!small && !large) return std::nullopt;
  const std::string in_both = SizeInBoth(size, Units::kMillimetre);
  return Message(Code::kUnitsDoubt, input.path,
                 small ? "the part is only " + in_both
                       : "the part is " + in_both + " and does not fit the vat; in mm it would")
      .As(Severity::kWarning)
      .Hint(input.units_stated
                ? "is its unit right? --units says that it is"
                : "say its unit: FILE,units=mm (or in, cm, m) with build and place, units = \"mm\" "
                  "in a job file, --units elsewhere");
}

// Around the corners of the records of a binary STL file, as many as it holds.
Box BoxOfRecords(InputFile& file, bool foreign) {
  Box box;
  file.Seek(kStlHeaderSize + 4);
  std::vector<unsigned char> block(kStlRecordSize * 1024);
  while (const size_t got = file.Read(block.data(), block.size()) / kStlRecordSize) {
    for (size_t record = 0; record < got; ++record) {
      for (size_t corner = 1; corner <= 3; ++corner) {
        Point point;
        for (size_t axis = 0; axis < 3; ++axis) {
          const unsigned char* at = &block[record * kStlRecordSize + 12 * corner + 4 * axis];
          uint32_t word = 0;
          for (size_t k = 0; k < 4; ++k) word |= uint32_t(at[foreign ? 3 - k : k]) << (8 * k);
          float number;
          std::memcpy(&number, &word, sizeof number);
          point[axis] = double(number);
        }
        box.Add(point);
      }
    }
  }
  return box;
}

// Around what stands behind every word "vertex" of a text.
Box BoxOfText(InputFile& file) {
  constexpr std::string_view kBlank = " \t\r\n";
  Box box;
  file.Seek(0);
  const std::string text = file.ReadRest();
  for (size_t at = text.find("vertex"); at != std::string::npos; at = text.find("vertex", at)) {
    at += 6;
    Point point;
    size_t axis = 0;
    for (; axis < 3; ++axis) {
      const size_t begin = std::min(text.find_first_not_of(kBlank, at), text.size());
      const auto [stop, error] = std::from_chars(text.data() + begin, text.data() + text.size(), point[axis]);
      if (error != std::errc()) break;
      at = size_t(stop - text.data());
    }
    if (axis == 3) box.Add(point);
  }
  return box;
}

// Reads an STL file; the unit of one that makes no mesh is doubted as that of any other.
void ReadStlOrDoubt(Observer& observer, const ReadOptions& options, bool may_be_cut, InputFile& file,
                    InputMesh& input) {
  try {
    ReadStl(observer, options, may_be_cut, file, input);
  } catch (const Failure& failure) {
    const Code code = failure.message.code;
    const StlContent content = LookAtStl(file);
    Box box;
    if (code == Code::kStlText || code == Code::kStlCut ||
        (code == Code::kStlUnjoined && content != StlContent::kBinary)) {
      box = BoxOfText(file);
    } else if (code == Code::kStlShort || code == Code::kStlUnjoined || code == Code::kStlEndian) {
      box = BoxOfRecords(file, content == StlContent::kForeignEndian);
    }
    if (const auto doubt = DoubtOf(input, box, nullptr)) observer.Warn(*doubt);
    throw;
  }
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
  return ReadMesh(
      observer, options,
      how.folder ? std::make_shared<InputFile>(*how.folder, path) : std::make_shared<InputFile>(path), how);
}

InputMesh ReadMesh(Observer& observer, const ReadOptions& options, const std::shared_ptr<InputFile>& opened,
                   const MeshReading& how) {
  InputFile& file = *opened;
  const std::string& path = file.head().path;
  if (how.hash) file.StartHash();
  observer.current_file = path;
  InputMesh input;
  input.path = path;
  input.file_size = file.head().size;
  input.units = options.units;
  input.units_given = options.units_given;
  input.mesh = std::make_shared<CTL>();
  if (LooksLikeCtl(file.head())) {
    ReadCtl(observer, options, file, input);
  } else if (LooksLikeStl(file.head())) {
    ReadStlOrDoubt(observer, options, how.may_be_cut, file, input);
  } else {
    FailInput(Code::kInputUnknown, path, "is neither an STL nor a CTL file");
  }
  if (input.mesh->num_triangles() < 1) FailEmpty(path, "holds no facet");
  RequireFinite(input);
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
      Fail(ExitCode::kInput, Message(Code::kMeshNan, input.path, fmt::format("vertex {} is not finite", i))
                                 .Hint("export the part again")
                                 .At({{"vertex", i}}));
    }
  }
}

std::optional<Message> UnitsDoubt(const InputMesh& input, const std::array<double, 3>* vat_mm) {
  return DoubtOf(input, input.box(), vat_mm);
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
