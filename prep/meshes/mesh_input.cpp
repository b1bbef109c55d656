#include "trqprep/mesh_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace trqprep {
namespace {

constexpr std::size_t kStlHeaderSize = 80;
constexpr std::size_t kStlFacetSize = 50;
constexpr std::size_t kCtlHeaderSize = 256;
constexpr std::size_t kCtlMagicOffset = 160;

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File Open(const std::string& path) {
  File file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) Fail(ExitCode::kInput, Message(Code::kInputUnreadable, path, SystemText(errno)));
  return file;
}

std::int32_t WordAt(const std::string& bytes, std::size_t offset) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4 && offset + i < bytes.size(); ++i) {
    word |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[offset + i])) << (8 * i);
  }
  return static_cast<std::int32_t>(word);
}

std::string LowerExtension(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = path.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

// One line of a text STL file as the import sees it: at most 1023 bytes, ended by a line feed.
bool ReadLine(FILE* file, std::string& line) {
  char buffer[1024];
  if (!std::fgets(buffer, sizeof buffer, file)) return false;
  line = buffer;
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return true;
}

// The first word between blanks; a tab is part of a word. Lower case.
std::string FirstWord(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  std::string word = line.substr(begin, line.find(' ', begin) - begin);
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return word;
}

struct TextStl {
  bool begins = false;        // a first line with a word, and "facet" as the first word of the second
  std::int64_t bad_line = 0;  // the first corner line that is none, counted from 1; 0: not found
  std::string bad_text;
  std::int64_t facets = 0;  // complete triples before that
};

bool IsCornerLine(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : line + " ") {
    if (!std::isspace(static_cast<unsigned char>(c))) {
      word += c;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  if (words.size() < 4) return false;
  for (std::size_t i = 1; i < 4; ++i) {
    // Enough of a number for a message: the import itself decides whether the file is read.
    const std::size_t start = words[i][0] == '+' || words[i][0] == '-' ? 1 : 0;
    const char first = start < words[i].size() ? words[i][start] : ' ';
    if (!std::isdigit(static_cast<unsigned char>(first)) && first != '.') return false;
  }
  return true;
}

TextStl ScanText(const std::string& path) {
  TextStl scan;
  const File file = Open(path);
  std::string line;
  if (!ReadLine(file.get(), line) || FirstWord(line).empty()) return scan;
  if (!ReadLine(file.get(), line) || FirstWord(line) != "facet") return scan;
  scan.begins = true;
  std::int64_t number = 2;
  while (ReadLine(file.get(), line)) {
    ++number;
    if (FirstWord(line) != "outer") continue;
    for (int corner = 0; corner < 3; ++corner) {
      ++number;
      const bool read = ReadLine(file.get(), line);
      if (!read || !IsCornerLine(line)) {
        scan.bad_line = number;
        scan.bad_text = read ? line : "the file ends";
        return scan;
      }
    }
    ++scan.facets;
  }
  return scan;
}

// What the message boxes of an import said.
struct ImportBoxes {
  std::vector<std::int64_t> missing;
};

bool FilterImportBox(const std::string& text, void* user) {
  long long missing = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "Warning: %lld triangles are missing in the STL file.%n", &missing, &end) !=
          1 ||
      static_cast<std::size_t>(end) != text.size()) {
    return false;
  }
  static_cast<ImportBoxes*>(user)->missing.push_back(missing);
  return true;
}

class BoxFilter {
 public:
  BoxFilter(Context& context, ImportBoxes& boxes) : context_(context) {
    context.box_filter = FilterImportBox;
    context.box_user = &boxes;
  }
  ~BoxFilter() { context_.box_filter = nullptr; }
  BoxFilter(const BoxFilter&) = delete;
  BoxFilter& operator=(const BoxFilter&) = delete;

 private:
  Context& context_;
};

// Walks the solids that stand one after the other in a binary STL file.
struct BinarySolids {
  int count = 0;
  std::uint64_t end = 0;  // the first byte that belongs to none
};

BinarySolids WalkSolids(const std::string& path, std::uint64_t size) {
  BinarySolids solids;
  const File file = Open(path);
  while (size - solids.end > kStlHeaderSize + 4) {
    std::string count(4, '\0');
    if (std::fseek(file.get(), static_cast<long>(solids.end + kStlHeaderSize), SEEK_SET) != 0 ||
        std::fread(count.data(), 1, 4, file.get()) != 4) {
      break;
    }
    const std::int32_t facets = WordAt(count, 0);
    const std::uint64_t length =
        kStlHeaderSize + 4 + static_cast<std::uint64_t>(std::max(facets, 0)) * kStlFacetSize;
    if (facets <= 0 || length > size - solids.end) break;
    ++solids.count;
    solids.end += length;
  }
  return solids;
}

[[noreturn]] void FailStl(const FileHead& file, int code, const TextStl& text) {
  const std::string& path = file.path;
  if (file.size == 0) {
    Fail(ExitCode::kInput, Message(Code::kStlEmpty, path, "is empty").Hint("export the part again"));
  }
  if (text.begins && text.bad_line > 0) {
    Fail(ExitCode::kInput,
         Message(Code::kStlAscii, path,
                 fmt::format("ASCII STL: line {} is no corner (a word and three numbers): {}", text.bad_line,
                             text.bad_text.substr(0, 60)))
             .Hint("correct the line or export the part again; as a binary file it cannot be read either")
             .At({{"line", text.bad_line}}));
  }
  const bool says_solid = file.head.compare(0, 5, "solid") == 0;
  if (code == -1) {
    Message message(
        Code::kStlHeader, path,
        fmt::format("{} bytes are too few for the 80-byte header of a binary STL file", file.size));
    if (says_solid) {
      message = Message(Code::kStlEmpty, path, "ASCII STL without a facet line after the first");
      message.Hint("the second line must begin with 'facet', after blanks only");
    }
    Fail(ExitCode::kInput, message);
  }
  const std::int32_t announced = WordAt(file.head, kStlHeaderSize);
  if (code == -2) {
    Fail(ExitCode::kInput,
         Message(Code::kStlCount, path, fmt::format("binary STL announces {} facets", announced))
             .Hint("a file must hold at least one facet; export the part again")
             .At({{"byte", kStlHeaderSize}}));
  }
  if (code == -3) {
    Fail(ExitCode::kInput,
         Message(Code::kStlUnjoined, path, "no two facets share a corner, so this is no surface")
             .Hint("a file of a single facet is refused too"));
  }
  const std::uint64_t present = (file.size - std::min<std::uint64_t>(file.size, 84)) / kStlFacetSize;
  Message message(Code::kStlShort, path,
                  fmt::format("binary STL announces {} facets, file holds {}", announced, present));
  message.At({{"announced", announced}, {"present", present}});
  message.Hint(fmt::format("--accept-partial uses the {} facets present", present));
  if (says_solid || text.begins) {
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

[[noreturn]] void FailNotANumber(const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) {
      const int vertex = mesh.triangles()[i][k];
      if (vertex < 0 || vertex >= mesh.num_vertices()) continue;
      const PbVec3f& point = mesh.vertices()[vertex];
      if (std::isnan(point[0]) || std::isnan(point[1]) || std::isnan(point[2])) {
        Fail(ExitCode::kInput, Message(Code::kMeshNan, input.path,
                                       fmt::format("corner {} of facet {} is not a number", k + 1, i))
                                   .Hint("export the part again")
                                   .At({{"facet", i}, {"corner", k + 1}}));
      }
    }
  }
  Fail(ExitCode::kInput, Message(Code::kMeshNan, input.path, "normals cannot be computed"));
}

void ReadStl(Context& context, const FileHead& head, InputMesh& input) {
  const File file = Open(input.path);
  ImportBoxes boxes;
  int accept_partial = context.options.accept_partial ? 1 : 0;
  const int units_code = context.units() == Units::kInch ? trq::units::kInch : trq::units::kMillimetre;
  int code = 0;
  {
    const BoxFilter filter(context, boxes);
    try {
      code = input.mesh->LoadSTLFile(file.get(), units_code, &accept_partial, 0, 1e-4f, 0);
    } catch (int) {
      Fail(ExitCode::kInput, Message(Code::kStlTooLarge, input.path, "holds more than 26 million facets")
                                 .Hint("simplify the part where it was made"));
    }
  }
  if (code == 1) FailNotANumber(input);
  if (code != 0) FailStl(head, code, ScanText(input.path));
  // Reading text leaves the header alone; a binary file's first 80 bytes are in it.
  const bool binary = head.head.size() >= kStlHeaderSize &&
                      std::memcmp(input.mesh->header.stl_header, head.head.data(), 80) == 0;
  input.format = binary ? MeshFormat::kBinaryStl : MeshFormat::kAsciiStl;
  if (!binary) return;
  const BinarySolids solids = WalkSolids(input.path, head.size);
  input.solids = std::max(solids.count, 1);
  if (context.options.accept_partial && !boxes.missing.empty()) {
    const std::int64_t announced = WordAt(head.head, kStlHeaderSize);
    Message message(
        Code::kStlShort, input.path,
        fmt::format("binary STL announces {} facets more than the file holds", boxes.missing.front()));
    if (solids.count == 0) {
      const std::int64_t present = announced - boxes.missing.front();
      message.text = fmt::format("binary STL announces {} facets, file holds {}", announced, present);
      message.At({{"announced", announced}, {"present", present}});
    }
    context.Warn(message.Hint("the facets present were used"));
    const TextStl text = ScanText(input.path);
    if (text.begins) {
      context.Warn(Message(Code::kStlAscii, input.path,
                           fmt::format("was read as binary because line {} is no corner of an ASCII STL file",
                                       text.bad_line))
                       .Hint("the facets are most likely meaningless; correct the line")
                       .At({{"line", text.bad_line}}));
    }
  } else if (solids.end < head.size) {
    context.Note(Message(Code::kStlTrailing, input.path,
                         fmt::format("{} bytes after the last facet were not read", head.size - solids.end))
                     .At({{"byte", solids.end}}));
  }
}

void ReadCtl(Context& context, const FileHead& head, InputMesh& input) {
  input.format = MeshFormat::kCtl;
  const File file = Open(input.path);
  try {
    input.mesh->fp_read(file.get());
  } catch (const char* text) {
    Fail(ExitCode::kInput, Message(Code::kCtlInvalid, input.path, text)
                               .At({{"byte", std::ftell(file.get())}})
                               .Hint("the file was cut or damaged; make it again from its source"));
  } catch (char* text) {
    Fail(ExitCode::kInput, Message(Code::kCtlInvalid, input.path, text)
                               .At({{"byte", std::ftell(file.get())}})
                               .Hint("the file was cut or damaged; make it again from its source"));
  }
  const long end = std::ftell(file.get());
  CheckIndices(input);
  if (input.mesh->Calculate_normals() != 0) FailNotANumber(input);
  if (end >= 0 && static_cast<std::uint64_t>(end) < head.size) {
    context.Note(Message(Code::kCtlTrailing, input.path,
                         fmt::format("{} bytes after the last facet were not read",
                                     head.size - static_cast<std::uint64_t>(end)))
                     .At({{"byte", end}}));
  }
  const int code = input.mesh->header.units;
  if (code == trq::units::kInch || code == trq::units::kMillimetre) {
    input.units = code == trq::units::kInch ? Units::kInch : Units::kMillimetre;
    input.units_stated = true;
    return;
  }
  context.Warn(Message(Code::kUnitsUnknown, input.path,
                       fmt::format("the file does not say its unit; taken as {}", UnitsName(context.units())))
                   .Hint("--units mm or --units in says which it is"));
  input.mesh->SetUnits(context.units() == Units::kInch ? trq::units::kInch : trq::units::kMillimetre);
}

// A binary file whose count fits its size, or a text whose second line begins with "facet".
bool HasStlContent(const FileHead& file) {
  const std::int32_t facets = WordAt(file.head, kStlHeaderSize);
  if (file.size >= kStlHeaderSize + 4 && facets > 0 &&
      file.size == kStlHeaderSize + 4 + static_cast<std::uint64_t>(facets) * kStlFacetSize) {
    return true;
  }
  const std::size_t line_end = file.head.find('\n');
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
    const R_INT4& t = mesh->triangles()[i];
    const Point a = PointOf(mesh->vertices()[t[0]]);
    const Point b = PointOf(mesh->vertices()[t[1]]);
    const Point c = PointOf(mesh->vertices()[t[2]]);
    sum += a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
           a[2] * (b[0] * c[1] - b[1] * c[0]);
  }
  return sum / 6;
}

double InputMesh::area() const {
  double sum = 0;
  for (int i = 0; i < mesh->num_triangles(); ++i) {
    const R_INT4& t = mesh->triangles()[i];
    const Point a = PointOf(mesh->vertices()[t[0]]);
    const Point b = PointOf(mesh->vertices()[t[1]]);
    const Point c = PointOf(mesh->vertices()[t[2]]);
    const Point u = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const Point v = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    sum += std::hypot(u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]);
  }
  return sum / 2;
}

FileHead ReadFileHead(const std::string& path, bool folder_allowed) {
  FileHead file;
  file.path = path;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      Fail(ExitCode::kInput, Message(Code::kInputMissing, path, "there is no such file")
                                 .Hint("is the name spelled right, seen from the current folder?"));
    }
    Fail(ExitCode::kInput, Message(Code::kInputUnreadable, path, SystemText(errno)));
  }
  file.is_folder = S_ISDIR(status.st_mode);
  if (file.is_folder) {
    if (!folder_allowed) {
      Fail(ExitCode::kInput,
           Message(Code::kInputFolder, path, "is a folder").Hint("name the files inside it"));
    }
    return file;
  }
  if (!S_ISREG(status.st_mode)) {
    Fail(ExitCode::kInput,
         Message(Code::kInputSpecial, path, "is no regular file").Hint("copy it to a file first"));
  }
  file.size = static_cast<std::uint64_t>(status.st_size);
  const File stream = Open(path);
  file.head.resize(4096);
  file.head.resize(std::fread(file.head.data(), 1, file.head.size(), stream.get()));
  if (std::ferror(stream.get())) {
    Fail(ExitCode::kInput, Message(Code::kInputUnreadable, path, SystemText(errno)));
  }
  return file;
}

bool LooksLikeCtl(const FileHead& file) {
  const std::int32_t magic = file.head.size() < kCtlHeaderSize ? 0 : WordAt(file.head, kCtlMagicOffset);
  // The magic number may also be chance inside an STL file; where it is missing, the name decides.
  if (magic == 121 || magic == 121 << 24) return LowerExtension(file.path) != "stl" || !HasStlContent(file);
  return LowerExtension(file.path) == "ctl" && !HasStlContent(file);
}

bool LooksLikeStl(const FileHead& file) { return LowerExtension(file.path) == "stl" || HasStlContent(file); }

InputMesh ReadMesh(Context& context, const std::string& path, bool may_be_empty) {
  const FileHead head = ReadFileHead(path);
  context.current_file = path;
  InputMesh input;
  input.path = path;
  input.file_size = head.size;
  input.units = context.units();
  input.mesh = std::make_unique<CTL>();
  if (LooksLikeCtl(head)) {
    ReadCtl(context, head, input);
  } else if (LooksLikeStl(head)) {
    ReadStl(context, head, input);
  } else {
    Fail(ExitCode::kInput, Message(Code::kInputUnknown, path, "is neither an STL nor a CTL file"));
  }
  if (input.mesh->num_triangles() < 1) {
    Message message(Code::kStlEmpty, path, "holds no facet");
    if (!may_be_empty) Fail(ExitCode::kInput, message.Hint("export the part again"));
    context.Warn(message);
  }
  input.mesh->recalculate_extents();
  input.mesh->extents_valid = 1;
  context.current_file.clear();
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

void WarnOfUnits(Context& context, const InputMesh& input, const std::array<double, 3>* vat_mm) {
  if (const std::optional<Message> message = UnitsDoubt(input, vat_mm)) context.Warn(*message);
}

void ConvertUnits(InputMesh& input, Units wanted) {
  const double factor = UnitsFactor(input.units, wanted);
  if (input.units != wanted) ApplyToMesh(*input.mesh, Matrix4::Scaling(factor, factor, factor));
  input.units = wanted;
  input.mesh->SetUnits(wanted == Units::kInch ? trq::units::kInch : trq::units::kMillimetre);
}

}  // namespace trqprep
