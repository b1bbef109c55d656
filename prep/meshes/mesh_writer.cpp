#include "trqprep/mesh_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "trq/core/ctl.h"
#include "trqprep/atomic_output.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

// After a failure of the library's own writers, which may have overwritten the reason.
[[noreturn]] void FailToWrite(const std::string& path) {
  if (errno == 0 || errno == ENOTTY || errno == EINVAL) {
    FailOutput(Code::kOutputShort, path, "could not be written completely",
               "is the disk full, or a size limit in force?");
  }
  FailOutput(Code::kOutputUnwritable, path, "cannot be written: " + SystemText(errno));
}

trq::core::Result<void> WriteTo(const CTL& mesh, MeshFormat format, trq::core::ByteSink& sink) {
  if (format == MeshFormat::kCtl) return trq::core::WriteCtl(mesh.view(), mesh.header, nullptr, 0, sink);
  trq::core::StlWriting how;
  how.form = format == MeshFormat::kAsciiStl ? trq::core::StlForm::kAscii : trq::core::StlForm::kBinary;
  how.keep_normals = format == MeshFormat::kBinaryStl;
  return trq::core::WriteStl(mesh.view(), how, sink);
}

}  // namespace

MeshFormat OutputFormat(const std::string& path, const std::string& stated) {
  if (stated == "stl-ascii") return MeshFormat::kAsciiStl;
  const std::string wanted = stated.empty() ? LowerExtension(path) : stated;
  if (wanted == "stl") return MeshFormat::kBinaryStl;
  if (wanted == "ctl") return MeshFormat::kCtl;
  FailUsage(path, "the name does not say the format of the output",
            "end it in .stl or .ctl, or say --to stl, --to stl-ascii or --to ctl");
}

uint64_t WriteFile(const std::string& path, bool replace, const SinkWriter& write) {
  OutputFile output(path, replace);
  auto file = output.OpenStream();
  errno = 0;
  trq::core::FileSink sink(file.get());
  write(sink);
  const bool failed = sink.failed();
  const auto size = uint64_t(std::ftell(file.get()));
  if (std::fclose(file.release()) != 0 || failed) FailToWrite(path);
  output.Expect(size);
  output.Commit();
  return size;
}

void WriteMesh(Observer& observer, CTL& mesh, const std::string& path, MeshFormat format, bool replace,
               std::optional<int64_t> stamp) {
  observer.current_file = path;
  mesh.Calculate_normals();
  if (stamp) {
    trq::core::StlWriting how;
    const std::string header = trq::core::StlStamp(int(*stamp), uint32_t(mesh.num_triangles()));
    how.header = header;
    trq::core::MemorySink file;
    static_cast<void>(trq::core::WriteStl(mesh.view(), how, file));  // memory takes it all
    trq::core::StampStl(file.bytes);
    WriteFile(path, replace,
              [&file](trq::core::ByteSink& sink) { sink.Write(file.bytes.data(), file.bytes.size()); });
    if (!trq::core::StlStampHolds(file.bytes)) {
      observer.Warn(Message(Code::kStampLong, path,
                            "computer and login name leave no room for the checksum in the header")
                        .Hint("the file is whole, but its stamp cannot be verified"));
    }
  } else {
    WriteFile(path, replace, [&](trq::core::ByteSink& sink) {
      const trq::core::Result<void> done = WriteTo(mesh, format, sink);
      if (!done) FailToWrite(path);
    });
  }
  observer.current_file.clear();
}

bool ReadsBackSame(CTL& mesh, MeshFormat format) {
  trq::core::MemorySink sink;
  mesh.Calculate_normals();
  if (!WriteTo(mesh, format, sink)) return true;
  trq::core::MemorySource source{trq::Bytes(sink.bytes)};
  trq::core::Result<trq::core::Mesh> read = format == MeshFormat::kCtl
                                                ? trq::core::ReadCtl(source)
                                                : trq::core::ReadStl(source, trq::core::StlReading());
  if (!read) return true;
  const auto same = [](const auto& a, const auto& b, int count) {
    return std::memcmp(a.data(), b.data(), static_cast<std::size_t>(count) * sizeof *a.data()) == 0;
  };
  const CTL_HEADER& header = read->header;
  if (header.num_vertices == mesh.num_vertices() && header.num_triangles == mesh.num_triangles() &&
      same(mesh.vertices_, read->vertices, mesh.num_vertices()) &&
      same(mesh.triangles_, read->triangles, mesh.num_triangles())) {
    return true;
  }
  mesh.header.num_vertices = header.num_vertices;
  mesh.header.num_triangles = header.num_triangles;
  mesh.vertices_ = std::move(read->vertices);
  mesh.triangles_ = std::move(read->triangles);
  mesh.Calculate_normals();
  mesh.recalculate_extents();
  return false;
}

void DescribeBox(Json& data, const Box& box, Units units) {
  for (const char* key : {"box", "size_mm", "size_in"}) data[key] = nullptr;
  if (box.Empty()) return;
  // The corners are floats and print as such.
  Json lower = Json::array(), upper = Json::array(), size_mm = Json::array(), size_in = Json::array();
  for (size_t k = 0; k < 3; ++k) {
    lower.push_back(NumberToJson(float(box.min[k])));
    upper.push_back(NumberToJson(float(box.max[k])));
    const double side = box.Size()[k];
    size_mm.push_back(NumberToJson(side * UnitsFactor(units, Units::kMillimetre)));
    size_in.push_back(NumberToJson(side * UnitsFactor(units, Units::kInch)));
  }
  data["box"] = Json{{"min", lower}, {"max", upper}};
  data["size_mm"] = size_mm;
  data["size_in"] = size_in;
}

void DescribeMesh(Json& data, const InputMesh& input) {
  const CTL& mesh = *input.mesh;
  data["units"] = UnitsName(input.units);
  data["facets"] = mesh.num_triangles();
  data["vertices"] = mesh.num_vertices();
  DescribeBox(data, input.box(), input.units);
  data["area"] = NumberToJson(input.area());
  data["volume"] = NumberToJson(input.volume());
}

void RequireFacets(const CTL& mesh, const std::string& path, const char* what) {
  if (mesh.num_triangles() > 0) return;
  FailInput(Code::kMeshEmpty, path, std::string(what) + " leaves no facet");
}

}  // namespace trqprep
