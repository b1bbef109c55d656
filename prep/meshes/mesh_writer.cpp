#include "trqprep/mesh_writer.h"

#include <cerrno>
#include <cstdio>
#include <new>

#include "trqprep/atomic_output.h"

namespace trqprep {
namespace {

// Bits that an index below `n` takes in a packed triangle array.
int BitsFor(int n) {
  int bits = 0;
  while (bits < 32 && (std::int64_t{1} << bits) < n) ++bits;
  return bits;
}

// After a failure of the library's own writers, which may have overwritten the reason.
[[noreturn]] void FailToWrite(const std::string& path) {
  if (errno == 0 || errno == ENOTTY || errno == EINVAL) {
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, path, "could not be written completely")
                                .Hint("is the disk full, or a size limit in force?"));
  }
  Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, path, "cannot be written: " + SystemText(errno)));
}

std::uint64_t CtlSize(const CTL& mesh) {
  const auto vertices = static_cast<std::uint64_t>(mesh.num_vertices());
  const auto items = static_cast<std::uint64_t>(mesh.num_triangles()) * 4;
  return 256 + 12 * vertices +
         4 * (static_cast<std::uint64_t>(BitsFor(mesh.num_vertices())) * items / 32 + 1);
}

bool EndsWith(std::string text, const std::string& ending) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

MeshFormat OutputFormat(const std::string& path, const std::string& stated) {
  if (stated == "stl") return MeshFormat::kBinaryStl;
  if (stated == "stl-ascii") return MeshFormat::kAsciiStl;
  if (stated == "ctl") return MeshFormat::kCtl;
  if (EndsWith(path, ".stl")) return MeshFormat::kBinaryStl;
  if (EndsWith(path, ".ctl")) return MeshFormat::kCtl;
  Fail(ExitCode::kUsage, Message(Code::kUsage, path, "the name does not say the format of the output")
                             .Hint("end it in .stl or .ctl, or say --to stl, --to stl-ascii or --to ctl"));
}

std::optional<std::uint64_t> WriteMeshTo(CTL& mesh, const std::string& path, MeshFormat format) {
  mesh.Calculate_normals();
  mesh.ClearError();
  float unit[4][4];
  set_unit_matrix(unit);
  const auto facets = static_cast<std::uint64_t>(mesh.num_triangles());
  const auto fail = [&] { FailToWrite(path); };
  errno = 0;
  switch (format) {
    case MeshFormat::kCtl:
      if (mesh.SaveCTLModel(path, unit, 0) != 0) fail();
      return CtlSize(mesh);
    case MeshFormat::kAsciiStl:
      // The code tells of creating the file; what came later is on record in the mesh.
      if (mesh.SaveCTLasAsciiSTL(path, unit, 0) != 0 || mesh.GetErrorCode() != 0) fail();
      return std::nullopt;
    default:
      FILE* file = std::fopen(path.c_str(), "wb");
      if (!file) fail();
      mesh.SaveSTLHeader(file, mesh.num_triangles());
      mesh.SaveModifiedCTLDataAsSTL(file, 0, unit);
      if (std::fclose(file) != 0) fail();
      return 84 + 50 * facets;
  }
}

void WriteMesh(Context& context, CTL& mesh, const std::string& path, MeshFormat format,
               std::optional<std::int64_t> stamp) {
  OutputFile output(path, context.options.force);
  context.current_file = path;
  if (stamp) {
    float unit[4][4];
    set_unit_matrix(unit);
    mesh.Calculate_normals();
    errno = 0;
    mesh.ClearError();
    const int created = mesh.SaveCTLasBinarySTL(output.path(), unit, 0, static_cast<int>(*stamp));
    if (mesh.GetErrorCode() == 0) mesh.crcSTLFile(output.path().c_str());
    if (created != 0 || mesh.GetErrorCode() != 0) FailToWrite(path);
    output.Expect(84 + 50 * static_cast<std::uint64_t>(mesh.num_triangles()));
    if (!mesh.crcValidateSTLFile(output.path().c_str())) {
      // Neither the stamp's writer nor its reader tells that it could not open the file for want of memory.
      if (errno == ENOMEM) throw std::bad_alloc();
      context.Warn(Message(Code::kStampLong, path,
                           "computer and login name leave no room for the checksum in the header")
                       .Hint("the file is whole, but its stamp cannot be verified"));
    }
  } else if (const auto size = WriteMeshTo(mesh, output.path(), format)) {
    output.Expect(*size);
  } else {
    // The text's length hangs on every number; that its last line arrived shows that all did.
    FILE* file = std::fopen(output.path().c_str(), "rb");
    char end[9] = {};
    const bool whole = file && std::fseek(file, -9, SEEK_END) == 0 && std::fread(end, 1, 9, file) == 9 &&
                       std::string(end, 9) == "endsolid\n";
    if (file) std::fclose(file);
    if (!whole) {
      Fail(ExitCode::kOutput, Message(Code::kOutputShort, path, "could not be written completely")
                                  .Hint("is the disk full, or a size limit in force?"));
    }
  }
  output.Commit();
  context.current_file.clear();
}

void DescribeMesh(Json& data, const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  data["units"] = UnitsName(input.units);
  data["facets"] = mesh.num_triangles();
  data["vertices"] = mesh.num_vertices();
  const Box box = input.box();
  if (box.Empty()) {
    data["box"] = nullptr;
    data["size_mm"] = nullptr;
    data["size_in"] = nullptr;
  } else {
    // The corners are floats and print as such.
    Json lower = Json::array();
    Json upper = Json::array();
    Json size_mm = Json::array();
    Json size_in = Json::array();
    for (std::size_t i = 0; i < 3; ++i) {
      lower.push_back(NumberToJson(static_cast<float>(box.min[i])));
      upper.push_back(NumberToJson(static_cast<float>(box.max[i])));
      size_mm.push_back(NumberToJson(box.Size()[i] * UnitsFactor(input.units, Units::kMillimetre)));
      size_in.push_back(NumberToJson(box.Size()[i] * UnitsFactor(input.units, Units::kInch)));
    }
    data["box"] = Json{{"min", lower}, {"max", upper}};
    data["size_mm"] = size_mm;
    data["size_in"] = size_in;
  }
  data["area"] = NumberToJson(input.area());
  data["volume"] = NumberToJson(input.volume());
}

void RequireFacets(const CTL& mesh, const std::string& path, const char* what) {
  if (mesh.num_triangles() > 0) return;
  Fail(ExitCode::kInput, Message(Code::kMeshEmpty, path, std::string(what) + " leaves no facet"));
}

}  // namespace trqprep
