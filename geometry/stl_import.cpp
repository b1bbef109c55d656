#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/bounded_read.h"
#include "foundation/host_order.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_transform.h"
#include "geometry/stl_text.h"
#include "geometry/vertex_merge.h"
#include "host/file_services.h"
#include "host/system.h"
#include "trq/core/stl.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

using trq::core::ByteSource;
using trq::core::FileSource;
using trq::core::kStlFacetSize;
using trq::core::kStlHeaderSize;
using trq::core::MemorySource;
using trq::core::Mesh;
using trq::core::StlReport;
using trq::core::StlSolid;

constexpr size_t kFirstCorner = 12;  // behind the normal
constexpr size_t kAttribute = 48;
constexpr size_t kRecordsAtOnce = 1310;  // 64 KB

// The bag that an import fills. Where the facets go into the mesh without one, its size still is the limit.
constexpr int kBagBlocks = 4000;
constexpr int kBagBlockSize = 6500;
static_assert(kBagBlocks * kBagBlockSize == trq::core::kMostStlFacets);

constexpr float kImportTolerance = 1e-4f;

/// stl_import::Result, or this: more facets than a solid may have.
constexpr int kTooManyFacets = -5;

/// Facets on their way into a mesh.
struct Facets {
  PbVec3f corners[3 * kRecordsAtOnce];
  int16_t attributes[kRecordsAtOnce];
};

/// Builds vertices and triangles out of facets that come in order.
class MeshBuilder {
 public:
  MeshBuilder(size_t facet_count, float tolerance)
      : vertices_(std::max<size_t>(3 * facet_count, 1)),
        triangles_(RoomToFill<R_INT4>(facet_count)),
        merger_(tolerance, int32_t(facet_count), vertices_.get()) {
    trq::host::ExpectFilling(vertices_.get(), vertices_.size() * sizeof(PbVec3f));
  }

  void Add(const Facets& facets, size_t count) {
    merger_.Add(facets.corners, 3 * count, answers_);
    R_INT4* triangle = triangles_.get() + facets_added_;
    for (size_t i = 0; i < count; ++i, ++triangle) {
      for (int k = 0; k < 3; ++k) (*triangle)[k] = answers_[3 * i + size_t(k)];
      (*triangle)[3] = facets.attributes[i];
    }
    facets_added_ += count;
  }

  /// Moves the result into the mesh. False, and the mesh as it was, when no two corners merged.
  bool MoveInto(Mesh& mesh) {
    const size_t count = triangles_.size();
    // Kept: a mesh in which no two corners coincide is refused, a single facet for instance.
    if (count > 0 && size_t(merger_.vertex_count()) == 3 * count) return false;
    merger_.Finish();
    if (merger_.has_late_answers()) {
      for (size_t i = 0; i < count; ++i) {
        for (int k = 0; k < 3; ++k) triangles_[i][k] = merger_.VertexOf(triangles_[i][k]);
      }
    }
    mesh.header.num_triangles = int32_t(count);
    mesh.header.num_vertices = merger_.vertex_count();
    mesh.vertices = std::move(vertices_);
    mesh.triangles = std::move(triangles_);
    return true;
  }

 private:
  trq::MeshArray<PbVec3f> vertices_;
  trq::MeshArray<R_INT4> triangles_;
  VertexMerger merger_;
  size_t facets_added_ = 0;
  int32_t answers_[3 * kRecordsAtOnce];
};

/// The records of one binary solid, read in blocks.
class RecordReader {
 public:
  RecordReader(ByteSource& source, size_t count)
      : source_(source), left_(count), bytes_(std::min(count, kRecordsAtOnce) * kStlFacetSize) {}

  /// Reads the next facets and returns how many; fewer than asked for only when the source ends.
  size_t Next(Facets& facets) {
    const size_t wanted = std::min(left_, kRecordsAtOnce);
    const size_t count = source_.Read(bytes_.data(), wanted * kStlFacetSize) / kStlFacetSize;
    const unsigned char* record = bytes_.data();
    for (size_t i = 0; i < count; ++i, record += kStlFacetSize) {
      for (size_t k = 0; k < 9; ++k)
        facets.corners[3 * i + k / 3][int(k % 3)] = LoadLittleFloat(record + kFirstCorner + 4 * k);
      facets.attributes[i] = int16_t(LoadLittle16(record + kAttribute));
    }
    left_ = count < wanted ? 0 : left_ - count;
    return count;
  }

 private:
  ByteSource& source_;
  size_t left_;
  std::vector<unsigned char> bytes_;
};

void TakeBagRecord(const R_TRIANGLE& record, Facets& facets, size_t i) {
  for (size_t k = 0; k < 3; ++k)
    std::memcpy(facets.corners[3 * i + k].data(), &record.corner[k], sizeof(PbVec3f));
  facets.attributes[i] = int16_t(record.attribute);
}

/// False when no two corners merged.
bool BuildFromBag(TriangleBAG& bag, float tolerance, Mesh& mesh) {
  const size_t count = size_t(std::max(bag.num(), 0));
  const auto facets = std::unique_ptr<Facets>(new Facets);
  const auto builder = std::make_unique<MeshBuilder>(count, tolerance);
  for (size_t done = 0; done < count;) {
    int side_by_side = 0;
    const R_TRIANGLE* const records = bag.run(int(done), side_by_side);
    const size_t some = std::min(size_t(side_by_side), kRecordsAtOnce);
    for (size_t i = 0; i < some; ++i) TakeBagRecord(records[i], *facets, i);
    builder->Add(*facets, some);
    done += some;
  }
  return builder->MoveInto(mesh);
}

/// A solid whose number of records is known beforehand: straight into the mesh.
int ReadRecords(Mesh& mesh, ByteSource& source, size_t count, float tolerance) {
  if (count > size_t(trq::core::kMostStlFacets)) return kTooManyFacets;
  const auto facets = std::unique_ptr<Facets>(new Facets);
  const auto builder = std::make_unique<MeshBuilder>(count, tolerance);
  RecordReader reader(source, count);
  for (size_t done = 0; done < count;) {
    const size_t got = reader.Next(*facets);
    if (got == 0) return trq::stl_import::kFacetsMissing;  // the file has become shorter meanwhile
    builder->Add(*facets, got);
    done += got;
  }
  return builder->MoveInto(mesh) ? trq::stl_import::kOk : trq::stl_import::kNotBuilt;
}

/// One binary solid; its counts go to the report, its text to the header as far as it comes.
int ReadBinarySolid(ByteSource& source, bool accept_partial, float tolerance, Mesh& mesh, StlReport& report) {
  const std::optional<uint64_t> start = source.Position();
  if (source.Read(mesh.header.stl_header, kStlHeaderSize) < kStlHeaderSize) return trq::stl_import::kNoHeader;
  unsigned char count_bytes[4] = {};
  const bool counted = source.Read(count_bytes, sizeof count_bytes) == sizeof count_bytes;
  const int32_t claimed = int32_t(LoadLittle32(count_bytes));
  StlSolid& solid = report.solids.emplace_back();
  solid.announced = claimed;
  if (!counted || claimed <= 0) return trq::stl_import::kNoCount;
  if (const std::optional<uint64_t> remaining = source.Remaining()) {
    const int64_t present = int64_t(std::min<uint64_t>(uint64_t(claimed), *remaining / kStlFacetSize));
    solid.present = present;
    if (present < claimed && !accept_partial) return trq::stl_import::kFacetsMissing;
    return ReadRecords(mesh, source, size_t(present), tolerance);
  }

  // Where the end of the source is not known, memory follows the bytes.
  std::vector<std::array<unsigned char, kStlFacetSize>> records;
  solid.present = claimed;  // until it is known how many there are
  ReadItems(source, std::min<uint64_t>(uint64_t(claimed), trq::core::kMostStlFacets + 1), records);
  if (records.size() > size_t(trq::core::kMostStlFacets)) return kTooManyFacets;
  solid.present = int64_t(records.size());
  if (solid.present < claimed) {
    // A stream that failed is no shorter file.
    if (!accept_partial || source.failed()) return trq::stl_import::kFacetsMissing;
    // The records are at hand; what is left of going back to the solid's header to read them again is where
    // the stream stands afterwards. A stream that cannot go back cannot read the header a second time.
    const uint64_t size = trq::core::BinaryStlSize(records.size());
    if (!start || !source.Seek(*start + size)) return trq::stl_import::kNoHeader;
  }
  MemorySource held({reinterpret_cast<const unsigned char*>(records.data()), records.size() * kStlFacetSize});
  return ReadRecords(mesh, held, records.size(), tolerance);
}

/// ASCII to the end of the source.
int ReadText(ByteSource& source, float tolerance, Mesh& mesh, StlReport& report) {
  TriangleBAG bag(kBagBlocks, kBagBlockSize);
  if (!ReadAsciiFacets(source, bag, report)) {
    const bool too_many = report.text_error && report.text_error->code == trq::core::ErrorCode::kTooLarge;
    return too_many ? kTooManyFacets : trq::stl_import::kNoHeader;
  }
  if (BuildFromBag(bag, tolerance, mesh)) return trq::stl_import::kOk;
  report.text_error = trq::core::Error{trq::core::ErrorCode::kNoSurface, {}, {}, 0};
  return trq::stl_import::kNotBuilt;
}

/// Gives the mesh what was read; the rest of its header stays.
void Adopt(CTL& mesh, Mesh& read) {
  mesh.header.num_triangles = read.header.num_triangles;
  mesh.header.num_vertices = read.header.num_vertices;
  mesh.vertices_ = std::move(read.vertices);
  mesh.triangles_ = std::move(read.triangles);
  set_unit_matrix(mesh.header.matrix);
}

/// Fails as a bag does that is too small.
[[noreturn]] void OverflowBag() {
  TriangleBAG no_room(0, 1);
  no_room.append(R_TRIANGLE());
  throw 9;
}

}  // namespace

namespace trq::core {
namespace {

Error StlError(int code) {
  switch (code) {
    case stl_import::kNoHeader:
      return {ErrorCode::kUnknownFormat, {}, "too short for the header of a binary STL file", 0};
    case stl_import::kNoCount:
      return {ErrorCode::kBadCount, {}, "the facet count is cut short or not positive", 0};
    case stl_import::kNotBuilt:
      return {ErrorCode::kNoSurface, {}, "no two facets share a corner", 0};
    case stl_import::kFacetsMissing:
      return {ErrorCode::kCutShort, {}, "fewer facets than announced", 0};
    default:
      return {ErrorCode::kTooLarge, {}, "more than 26 million facets", 0};
  }
}

}  // namespace

Result<Mesh> ReadStl(ByteSource& source, const StlReading& how, StlReport* told) {
  StlReport unread;
  StlReport& report = told ? *told : unread;
  report = StlReport();
  const uint64_t start = source.Position().value_or(0);
  Mesh mesh;
  mesh.header.units = how.units;
  set_unit_matrix(mesh.header.matrix);
  int code = ReadText(source, how.tolerance, mesh, report);
  if (code == stl_import::kOk) {
    report.form = StlForm::kAscii;
    report.end = source.Position().value_or(start) - start;
  } else if (code != kTooManyFacets) {
    code = source.Seek(start) ? ReadBinarySolid(source, how.accept_partial, how.tolerance, mesh, report)
                              : stl_import::kNoHeader;
    for (int latest = code; latest == stl_import::kOk;) {
      const StlSolid& last = report.solids.back();
      if (last.present == last.announced) report.end += BinaryStlSize(uint64_t(last.present));
      Mesh solid;
      solid.header.units = how.units;
      latest = ReadBinarySolid(source, how.accept_partial, how.tolerance, solid, report);
      if (latest == stl_import::kNoCount) report.solids.pop_back();  // other bytes behind the last solid
      if (latest == stl_import::kOk)
        detail::AppendMesh(mesh.header, mesh.vertices, mesh.triangles, solid.header, solid.vertices,
                           solid.triangles);
    }
    if (code == stl_import::kOk && source.failed()) code = stl_import::kFacetsMissing;
  }
  if (code != stl_import::kOk) return StlError(code);
  mesh.normals = detail::RoomToFill<VECTOR>(MeshView(mesh).triangles.size());
  const Result<void> made = CalculateNormals(mesh, mesh.normals);
  if (!made) return made.error();
  return mesh;
}

Result<Mesh> ReadStlFile(const std::string& path, const StlReading& how, StlReport* report) {
  const FileHandle file = OpenFile(path, "rb");
  if (!file) return Error{ErrorCode::kCannotOpen, {}, "cannot be opened", errno};
  FileSource source(file.get());
  return ReadStl(source, how, report);
}

}  // namespace trq::core

int CTL::create(TriangleBAG& bag, float tolerance, int file_units, int) {
  header.units = file_units;
  Mesh mesh;
  if (!BuildFromBag(bag, tolerance, mesh)) return -1;
  Adopt(*this, mesh);
  return 0;
}

int CTL::ascii_read(FILE* f, int file_units, float tolerance, int, int) {
  if (!f) return -1;
  FileSource source(f);
  Mesh mesh;
  StlReport report;
  const int code = ReadText(source, tolerance, mesh, report);
  if (code == kTooManyFacets) OverflowBag();
  if (code != trq::stl_import::kNoHeader) header.units = file_units;
  if (code != trq::stl_import::kOk) return -1;
  Adopt(*this, mesh);
  return 0;
}

int CTL::read_stl(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2) {
  if (!f) return trq::stl_import::kNoHeader;
  if (Position(f) == 0) {
    if (ascii_read(f, file_units, tolerance, extra1, extra2) != -1) {
      if (accept_partial) *accept_partial = 0;
      return trq::stl_import::kOk;
    }
    // Kept: text that fails is read as a binary file, also when it is a well-formed file of one facet.
    std::rewind(f);
  }
  FileSource source(f);
  Mesh mesh;
  std::memcpy(mesh.header.stl_header, header.stl_header, sizeof header.stl_header);
  StlReport report;
  const int code = ReadBinarySolid(source, accept_partial && *accept_partial != 0, tolerance, mesh, report);
  std::memcpy(header.stl_header, mesh.header.stl_header, sizeof header.stl_header);
  if (code != trq::stl_import::kNoCount && !report.solids.empty()) {
    if (const int64_t missing = report.solids[0].announced - report.solids[0].present; missing > 0)
      AfxMessageBox(
          ("Warning: " + std::to_string(missing) + " triangles are missing in the STL file.").c_str());
  }
  if (code == kTooManyFacets) OverflowBag();
  if (code == trq::stl_import::kNotBuilt || code == trq::stl_import::kOk) header.units = file_units;
  if (code == trq::stl_import::kOk) Adopt(*this, mesh);
  return code;
}

int CTL::LoadSTLFile(FILE* f, int file_units, int* accept_partial, int, float, int) {
  const int result = read_stl(f, file_units, accept_partial, 0, kImportTolerance, 0);
  if (result != trq::stl_import::kOk) return result;
  for (;;) {
    CTL solid;
    if (solid.read_stl(f, file_units, accept_partial, 0, kImportTolerance, 0) != trq::stl_import::kOk) break;
    combine(&solid);
  }
  // How the last solid ended is not told, but a stream that failed is.
  if (std::ferror(f)) return trq::stl_import::kFacetsMissing;
  return Calculate_normals();
}

int CTL::approximate(int target_triangles) {
  if (target_triangles >= header.num_triangles) return 0;
  const float tolerance = float(std::sqrt(double(area()) / double(target_triangles)));
  const size_t old_count = UsedVertices(*this);
  const size_t triangle_count = UsedTriangles(*this);
  // Indices beyond the vertices name zeroed room, and still do afterwards.
  const size_t index_end = IndexEnd(triangles_.get(), triangle_count);
  trq::MeshArray<PbVec3f> representatives(VertexRoom(old_count, index_end, vertices_.size()));
  std::vector<int32_t> answers(old_count);
  VertexMerger merger(tolerance, int32_t(old_count), representatives.get());
  merger.Add(vertices_.get(), old_count, answers.data());
  merger.Finish();
  for (size_t i = 0; i < triangle_count; ++i) {
    for (int k = 0; k < 3; ++k) {
      int& index = triangles_[i][k];
      if (index >= 0 && size_t(index) < old_count) index = merger.VertexOf(answers[size_t(index)]);
    }
  }
  header.num_vertices = merger.vertex_count();
  vertices_ = std::move(representatives);
  eliminate_degenerates();
  return 1;
}
