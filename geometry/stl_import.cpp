#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "foundation/bounded_read.h"
#include "foundation/little_endian.h"
#include "geometry/mesh_access.h"
#include "geometry/stl_text.h"
#include "geometry/vertex_merge.h"
#include "host/system.h"
#include "trq/geometry.h"

namespace {

constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kRecordSize = 50;
constexpr std::size_t kFirstCorner = 12;  // behind the normal
constexpr std::size_t kAttribute = 48;
constexpr std::size_t kRecordsAtOnce = 1310;  // 64 KB

// The bag that an import fills. Where the facets go into the mesh without one, its size still is the limit.
constexpr int kBagBlocks = 4000;
constexpr int kBagBlockSize = 6500;
constexpr int kMostFacets = kBagBlocks * kBagBlockSize;

constexpr float kImportTolerance = 1e-4f;

/// Facets on their way into a mesh.
struct Facets {
  PbVec3f corners[3 * kRecordsAtOnce];
  int16_t attributes[kRecordsAtOnce];
};

/// Builds vertices and triangles out of facets that come in order.
class MeshBuilder {
 public:
  MeshBuilder(std::size_t facet_count, float tolerance)
      : vertices_(std::max<std::size_t>(3 * facet_count, 1)),
        triangles_(trq::MeshArray<R_INT4>::ForOverwrite(facet_count)),
        merger_(tolerance, static_cast<int32_t>(facet_count), vertices_.get()) {
    trq::host::ExpectFilling(vertices_.get(), vertices_.size() * sizeof(PbVec3f));
    trq::host::ExpectFilling(triangles_.get(), triangles_.size() * sizeof(R_INT4));
  }

  void Add(const Facets& facets, std::size_t count) {
    merger_.Add(facets.corners, 3 * count, answers_);
    R_INT4* triangle = triangles_.get() + facets_added_;
    for (std::size_t i = 0; i < count; ++i, ++triangle) {
      for (int k = 0; k < 3; ++k) (*triangle)[k] = answers_[3 * i + static_cast<std::size_t>(k)];
      (*triangle)[3] = facets.attributes[i];
    }
    facets_added_ += count;
  }

  /// Moves the result into the mesh. False, and the mesh as it was, when no two corners merged.
  bool MoveInto(CTL& mesh) {
    const std::size_t count = triangles_.size();
    // Kept: a mesh in which no two corners coincide is refused, a single facet for instance.
    if (count > 0 && static_cast<std::size_t>(merger_.vertex_count()) == 3 * count) return false;
    merger_.Finish();
    if (merger_.has_late_answers()) {
      for (std::size_t i = 0; i < count; ++i) {
        for (int k = 0; k < 3; ++k) triangles_[i][k] = merger_.VertexOf(triangles_[i][k]);
      }
    }
    mesh.header.num_triangles = static_cast<int32_t>(count);
    mesh.header.num_vertices = merger_.vertex_count();
    mesh.vertices_ = std::move(vertices_);
    mesh.triangles_ = std::move(triangles_);
    set_unit_matrix(mesh.header.matrix);
    return true;
  }

 private:
  trq::MeshArray<PbVec3f> vertices_;
  trq::MeshArray<R_INT4> triangles_;
  trq::detail::VertexMerger merger_;
  std::size_t facets_added_ = 0;
  int32_t answers_[3 * kRecordsAtOnce];
};

/// The records of one binary solid, read in blocks.
class RecordReader {
 public:
  RecordReader(std::FILE* f, std::size_t count)
      : file_(f), left_(count), bytes_(std::min(count, kRecordsAtOnce) * kRecordSize) {}

  /// Reads the next facets and returns how many; fewer than asked for only when the stream ends.
  std::size_t Next(Facets& facets) {
    const std::size_t wanted = std::min(left_, kRecordsAtOnce);
    const std::size_t count = std::fread(bytes_.data(), kRecordSize, wanted, file_);
    const unsigned char* record = bytes_.data();
    for (std::size_t i = 0; i < count; ++i, record += kRecordSize) {
      for (std::size_t k = 0; k < 9; ++k)
        facets.corners[3 * i + k / 3][static_cast<int>(k % 3)] =
            trq::detail::LoadLittleFloat(record + kFirstCorner + 4 * k);
      facets.attributes[i] = static_cast<int16_t>(trq::detail::LoadLittle16(record + kAttribute));
    }
    left_ = count < wanted ? 0 : left_ - count;
    return count;
  }

 private:
  std::FILE* file_;
  std::size_t left_;
  std::vector<unsigned char> bytes_;
};

R_TRIANGLE BagRecord(const Facets& facets, std::size_t i) {
  R_TRIANGLE record;
  for (std::size_t k = 0; k < 3; ++k)
    std::memcpy(&record.corner[k][0], facets.corners[3 * i + k].data(), sizeof(PbVec3f));
  record.attribute = facets.attributes[i];
  return record;
}

void TakeBagRecord(const R_TRIANGLE& record, Facets& facets, std::size_t i) {
  for (std::size_t k = 0; k < 3; ++k)
    std::memcpy(facets.corners[3 * i + k].data(), &record.corner[k], sizeof(PbVec3f));
  facets.attributes[i] = static_cast<int16_t>(record.attribute);
}

void WarnOfMissingFacets(int64_t count) {
  AfxMessageBox(("Warning: " + std::to_string(count) + " triangles are missing in the STL file.").c_str());
}

/// Fails as a bag does that is too small.
[[noreturn]] void OverflowBag() {
  TriangleBAG no_room(0, 1);
  no_room.append(R_TRIANGLE());
  throw 9;
}

/// A solid whose number of records is known beforehand: straight into the mesh.
int ReadRecords(CTL& mesh, std::FILE* f, std::size_t count, int file_units, float tolerance) {
  if (count > static_cast<std::size_t>(kMostFacets)) OverflowBag();
  const auto facets = std::unique_ptr<Facets>(new Facets);
  const auto builder = std::make_unique<MeshBuilder>(count, tolerance);
  RecordReader reader(f, count);
  for (std::size_t done = 0; done < count;) {
    const std::size_t got = reader.Next(*facets);
    if (got == 0) return trq::stl_import::kFacetsMissing;  // the file has become shorter meanwhile
    builder->Add(*facets, got);
    done += got;
  }
  mesh.header.units = file_units;
  return builder->MoveInto(mesh) ? trq::stl_import::kOk : trq::stl_import::kNotBuilt;
}

/// Moves the records that are there, `claimed` at most, into the bag.
void ReadRecordsIntoBag(std::FILE* f, std::size_t claimed, TriangleBAG& bag) {
  const auto facets = std::unique_ptr<Facets>(new Facets);
  RecordReader reader(f, claimed);
  while (const std::size_t got = reader.Next(*facets)) {
    for (std::size_t i = 0; i < got; ++i) bag.append(BagRecord(*facets, i));
  }
}

int ReadBinarySolid(CTL& mesh, std::FILE* f, int file_units, bool accept_partial, float tolerance) {
  const long start = std::ftell(f);
  if (fread_(mesh.header.stl_header, 1, kHeaderSize, f) < kHeaderSize) return trq::stl_import::kNoHeader;
  unsigned char count_bytes[4];
  if (std::fread(count_bytes, 1, sizeof count_bytes, f) < sizeof count_bytes)
    return trq::stl_import::kNoCount;
  const int32_t claimed = static_cast<int32_t>(trq::detail::LoadLittle32(count_bytes));
  if (claimed <= 0) return trq::stl_import::kNoCount;

  if (const std::optional<uint64_t> remaining = trq::detail::BytesRemaining(f)) {
    const int64_t present =
        static_cast<int64_t>(std::min<uint64_t>(static_cast<uint64_t>(claimed), *remaining / kRecordSize));
    if (present < claimed) {
      WarnOfMissingFacets(claimed - present);
      if (!accept_partial) return trq::stl_import::kFacetsMissing;
    }
    return ReadRecords(mesh, f, static_cast<std::size_t>(present), file_units, tolerance);
  }

  TriangleBAG bag(kBagBlocks, kBagBlockSize);
  ReadRecordsIntoBag(f, static_cast<std::size_t>(claimed), bag);
  const int present = bag.num();
  if (present < claimed) {
    WarnOfMissingFacets(int64_t{claimed} - present);
    // A stream that failed is no shorter file.
    if (!accept_partial || std::ferror(f)) return trq::stl_import::kFacetsMissing;
    // The records are at hand; what is left of going back to the solid's header to read them again is where
    // the stream stands afterwards. A stream that cannot go back cannot read the header a second time.
    const long end = start + static_cast<long>(kHeaderSize + sizeof count_bytes) +
                     present * static_cast<long>(kRecordSize);
    if (start < 0 || std::fseek(f, end, SEEK_SET) != 0) return trq::stl_import::kNoHeader;
  }
  return mesh.create(bag, tolerance, file_units, 0) == 0 ? trq::stl_import::kOk : trq::stl_import::kNotBuilt;
}

}  // namespace

int CTL::create(TriangleBAG& bag, float tolerance, int file_units, int) {
  header.units = file_units;
  const std::size_t count = static_cast<std::size_t>(std::max(bag.num(), 0));
  const auto facets = std::unique_ptr<Facets>(new Facets);
  const auto builder = std::make_unique<MeshBuilder>(count, tolerance);
  for (std::size_t done = 0; done < count;) {
    int side_by_side = 0;
    const R_TRIANGLE* const records = bag.run(static_cast<int>(done), side_by_side);
    const std::size_t some = std::min(static_cast<std::size_t>(side_by_side), kRecordsAtOnce);
    for (std::size_t i = 0; i < some; ++i) TakeBagRecord(records[i], *facets, i);
    builder->Add(*facets, some);
    done += some;
  }
  return builder->MoveInto(*this) ? 0 : -1;
}

int CTL::ascii_read(FILE* f, int file_units, float tolerance, int extra1, int) {
  if (!f) return -1;
  TriangleBAG bag(kBagBlocks, kBagBlockSize);
  if (!trq::detail::ReadAsciiFacets(f, bag)) return -1;
  return create(bag, tolerance, file_units, extra1);
}

int CTL::read_stl(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2) {
  if (!f) return trq::stl_import::kNoHeader;
  if (std::ftell(f) == 0) {
    if (ascii_read(f, file_units, tolerance, extra1, extra2) != -1) {
      if (accept_partial) *accept_partial = 0;
      return trq::stl_import::kOk;
    }
    // Kept: text that fails is read as a binary file, also when it is a well-formed file of one facet.
    std::rewind(f);
  }
  return ReadBinarySolid(*this, f, file_units, accept_partial && *accept_partial != 0, tolerance);
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
  const float tolerance =
      static_cast<float>(std::sqrt(static_cast<double>(area()) / static_cast<double>(target_triangles)));
  const std::size_t old_count = trq::detail::UsedVertices(*this);
  const std::size_t triangle_count = trq::detail::UsedTriangles(*this);
  // Indices beyond the vertices name zeroed room, and still do afterwards.
  const std::size_t index_end = trq::detail::IndexEnd(triangles_.get(), triangle_count);
  trq::MeshArray<PbVec3f> representatives(trq::detail::VertexRoom(old_count, index_end, vertices_.size()));
  std::vector<int32_t> answers(old_count);
  trq::detail::VertexMerger merger(tolerance, static_cast<int32_t>(old_count), representatives.get());
  merger.Add(vertices_.get(), old_count, answers.data());
  merger.Finish();
  for (std::size_t i = 0; i < triangle_count; ++i) {
    for (int k = 0; k < 3; ++k) {
      int& index = triangles_[i][k];
      if (index >= 0 && static_cast<std::size_t>(index) < old_count)
        index = merger.VertexOf(answers[static_cast<std::size_t>(index)]);
    }
  }
  header.num_vertices = merger.vertex_count();
  vertices_ = std::move(representatives);
  eliminate_degenerates();
  return 1;
}
