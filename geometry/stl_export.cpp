// The idea: every vertex is placed once instead of once a corner, normals are placed and brought to length 1
// a block of facets at a time, and records are put together in blocks of a megabyte.
// Invariants that make the bytes the same as placing and writing facet by facet:
// - Placing a point depends on the point and the matrix alone; so does placing a direction. Every value takes
//   the same steps in double and is rounded to float at the same places, whatever stands beside it.
// - A corner that names no vertex in use is placed by itself: what the room holds there, or zero.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/block_writer.h"
#include "foundation/bounded_read.h"
#include "foundation/canonical_nan.h"
#include "foundation/little_endian.h"
#include "geometry/facet_file.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "geometry/placed_points.h"
#include "geometry/stl_text.h"
#include "host/system.h"
#include "trq/geometry.h"

namespace {

using trq::detail::BlockWriter;
using trq::detail::CanonicalNan;
using trq::detail::FacetWriter;
using trq::detail::PlacedPoints;
using trq::detail::StoreLittle32;

constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kCountCrcAt = 76;  // in the header, its last four bytes
constexpr std::size_t kRecordSize = FacetWriter::kRecordSize;

constexpr char kNotSaved[] =
    "The STL file could not be saved. Probable causes might be :\n"
    " 1. The file did not have WRITE permission.\n"
    " 2. The file may not be in the same directory from which it was opened.";

constexpr std::size_t kFacetsAtOnce = 256;

/// Divides directions, at most kFacetsAtOnce, by their lengths; a length of 0 or NaN counts as 1.
inline __attribute__((always_inline)) void Normalise(float* x, float* y, float* z, std::size_t count) {
  double divisor[kFacetsAtOnce];
  for (std::size_t i = 0; i < count; ++i) {
    const double dx = x[i], dy = y[i], dz = z[i];
    divisor[i] = std::sqrt(dx * dx + dy * dy + dz * dz);
  }
  for (std::size_t i = 0; i < count; ++i) divisor[i] = divisor[i] > 0 ? divisor[i] : 1;
  for (float* const coordinates : {x, y, z}) {
    for (std::size_t i = 0; i < count; ++i)
      coordinates[i] = CanonicalNan(static_cast<float>(coordinates[i] / divisor[i]));
  }
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void NormaliseInWideRegisters(float* x, float* y, float* z,
                                                              std::size_t count) {
  Normalise(x, y, z, count);
}
#endif

/// Square roots and divisions are most of the work: where registers are wider, four at once.
void BringToLengthOne(float* x, float* y, float* z, std::size_t count) {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return NormaliseInWideRegisters(x, y, z, count);
#endif
  Normalise(x, y, z, count);
}

/// The facets of a mesh, placed: each vertex once, not once a corner; normals a block at a time, in loops
/// over plain arrays that compilers turn into vector code.
class PlacedFacets {
 public:
  PlacedFacets(const CTL& mesh, const PlacedPoints& placement)
      : mesh_(mesh),
        placement_(placement),
        vertices_(trq::MeshArray<Padded>::ForOverwrite(trq::detail::UsedVertices(mesh))) {
    for (std::size_t i = 0; i < vertices_.size(); ++i)
      placement.Place(mesh.vertices_[i].data(), 1.0f, vertices_[i].point);
  }

  /// The coordinates of a corner and room for one more; for corner k = 0..2 they stay until the next call
  /// with the same k.
  const float* Corner(const R_INT4& triangle, int k) {
    const std::size_t index = static_cast<std::size_t>(static_cast<uint32_t>(triangle[k]));
    if (index < vertices_.size()) return vertices_[index].point;
    placement_.Place(trq::detail::CoordinatesAt(mesh_.vertices_, triangle[k]), 1.0f, other_[k].point);
    return other_[k].point;
  }

  /// Makes the placed normals of `count` facets from `first` on, kFacetsAtOnce at most, at length 1; a length
  /// of 0 or NaN counts as 1.
  void MakeNormals(std::size_t first, std::size_t count) {
    float* const x = normals_[0];
    float* const y = normals_[1];
    float* const z = normals_[2];
    for (std::size_t i = 0; i < count; ++i) {
      const VECTOR normal = trq::detail::NormalAt(mesh_, first + i);
      x[i] = normal.x;
      y[i] = normal.y;
      z[i] = normal.z;
    }
    placement_.PlaceDirections(x, y, z, count);
    BringToLengthOne(x, y, z, count);
  }
  /// Normal i of those made last.
  PbVec3f Normal(std::size_t i) const { return PbVec3f(normals_[0][i], normals_[1][i], normals_[2][i]); }

 private:
  struct Padded {
    float point[4];
  };

  const CTL& mesh_;
  const PlacedPoints& placement_;
  trq::MeshArray<Padded> vertices_;
  float normals_[3][kFacetsAtOnce];
  Padded other_[3];
};

char* WriteText(char* out, const char* text) {
  const std::size_t length = std::strlen(text);
  std::memcpy(out, text, length);
  return out + length;
}

char* WriteNumbers(char* out, float x, float y, float z) {
  *out++ = ' ';
  out = trq::detail::WriteScientific(out, x);
  *out++ = ' ';
  out = trq::detail::WriteScientific(out, y);
  *out++ = ' ';
  out = trq::detail::WriteScientific(out, z);
  *out++ = '\n';
  return out;
}

constexpr std::size_t kFacetText = 12 * (trq::detail::kScientificLength + 1) + 160;  // at most

void WriteTextFacet(BlockWriter& out, const PbVec3f& normal, const float* const corners[3]) {
  static_assert(kFacetText <= BlockWriter::kLargestPiece, "a facet's text fits");
  char* const text = reinterpret_cast<char*>(out.next());
  char* end = WriteNumbers(WriteText(text, "  facet normal"), normal[0], normal[1], normal[2]);
  end = WriteText(end, "    outer loop\n");
  for (int k = 0; k < 3; ++k)
    end = WriteNumbers(WriteText(end, "      vertex  "), corners[k][0], corners[k][1], corners[k][2]);
  end = WriteText(end, "    endloop\n  endfacet\n");
  out.Advance(static_cast<std::size_t>(end - text));
}

constexpr char kWriting[] = "STL file write";

int ReportNotSaved() {
  AfxMessageBox(kNotSaved);
  return trq::mesh_io::kFailed;
}

/// Kept: the code tells about creating only; a failed write is on record in the mesh.
int CloseSaved(CTL& mesh, trq::detail::FileHandle file) {
  trq::detail::CloseOnRecord(mesh, std::move(file), kWriting);
  return trq::mesh_io::kDone;
}

/// A binary STL file as a whole.
struct StlFile {
  unsigned char header[kHeaderSize];
  unsigned char count[4];
  std::vector<unsigned char> records;

  std::string HeaderText() const {
    const char* const text = reinterpret_cast<const char*>(header);
    return std::string(text, strnlen(text, kHeaderSize));
  }
  uint32_t RecordsCrc() const { return CCRC::calcCRC(records.data(), records.size()); }
};

/// False when the file cannot be read or holds fewer records than it says.
bool ReadStlFile(const trq::host::SystemPath& path, StlFile& stl) {
  const trq::detail::FileHandle file = trq::detail::OpenFile(path, "rb");
  if (!file || std::fread(stl.header, 1, kHeaderSize, file.get()) < kHeaderSize ||
      std::fread(stl.count, 1, sizeof stl.count, file.get()) < sizeof stl.count)
    return false;
  const int32_t count = static_cast<int32_t>(trq::detail::LoadLittle32(stl.count));
  if (count < 0) return false;
  const uint64_t size = static_cast<uint64_t>(count) * kRecordSize;
  if (!trq::detail::ClaimFits(file.get(), static_cast<uint64_t>(count), kRecordSize)) return false;
  return trq::detail::ReadItems(file.get(), size, stl.records) == size;
}

}  // namespace

int CTL::SaveSTLHeader(FILE* f, int count) {
  if (!f) return 1;
  unsigned char bytes[kHeaderSize + 4] = "Kestrabin STL";
  StoreLittle32(bytes + kHeaderSize, static_cast<uint32_t>(count));
  std::fwrite(bytes, 1, sizeof bytes, f);
  return 1;
}

int CTL::SaveModifiedCTLDataAsSTL(FILE* f, int mm_to_inch, float matrix[4][4]) {
  if (!f) return 0;
  const std::size_t count = trq::detail::UsedTriangles(*this);
  if (count == 0) return 1;
  const PlacedPoints placement(matrix, mm_to_inch);
  PlacedFacets facets(*this, placement);
  FacetWriter out(f, count);
  for (std::size_t i = 0; i < count; ++i) {
    const R_INT4& triangle = triangles_[i];
    // Kept: the normal stays as it is, whatever the matrix does to the corners.
    const VECTOR normal = trq::detail::NormalAt(*this, i);
    out.AddPadded(PbVec3f(CanonicalNan(normal.x), CanonicalNan(normal.y), CanonicalNan(normal.z)),
                  facets.Corner(triangle, 0), facets.Corner(triangle, 1), facets.Corner(triangle, 2),
                  static_cast<uint16_t>(triangle[3]));
  }
  return 1;
}

int CTL::SaveCTLasBinarySTL(CString path, float matrix[4][4], int mm_to_inch, int stamp_number) {
  const std::string stamp = "Kestrabin 1.5 " + trq::host::HostName() + " " + trq::host::LoginName() + " " +
                            std::to_string(stamp_number) + " CRC ";
  trq::detail::FileHandle file = trq::detail::CreateOnRecord(*this, path, "wb", kWriting);
  if (!file) return ReportNotSaved();

  const std::size_t count = trq::detail::UsedTriangles(*this);
  unsigned char head[kHeaderSize + 4] = {};
  StoreLittle32(head + kHeaderSize, static_cast<uint32_t>(count));
  // Kept: any one character of "_s.stl" anywhere in the path asks for the checksum, and nearly every path has
  // one.
  const bool with_crc = std::strpbrk(path, "_s.stl") != nullptr;
  std::memcpy(head, stamp.data(), std::min(stamp.size(), with_crc ? kCountCrcAt : kHeaderSize));
  if (with_crc) StoreLittle32(head + kCountCrcAt, CCRC::calcCRC(head + kHeaderSize, 4));
  {
    FacetWriter out(file.get(), count);
    out.WriteHead(head, sizeof head);
    const PlacedPoints placement(matrix, mm_to_inch);
    PlacedFacets facets(*this, placement);
    for (std::size_t first = 0; first < count; first += kFacetsAtOnce) {
      const std::size_t some = std::min(count - first, kFacetsAtOnce);
      facets.MakeNormals(first, some);
      for (std::size_t i = 0; i < some; ++i) {
        const R_INT4& triangle = triangles_[first + i];
        const uint16_t attribute = static_cast<uint16_t>(triangle[3]);
        out.AddPadded(facets.Normal(i), facets.Corner(triangle, 0), facets.Corner(triangle, 1),
                      facets.Corner(triangle, 2), attribute < 0x8000 ? attribute : uint16_t{0});
      }
    }
  }
  return CloseSaved(*this, std::move(file));
}

int CTL::SaveCTLasAsciiSTL(CString path, float matrix[4][4], int mm_to_inch) {
  trq::detail::FileHandle file = trq::detail::CreateOnRecord(*this, path, "wb", kWriting);
  if (!file) return ReportNotSaved();
  std::fputs("solid Kestrabin STL\n", file.get());
  {
    const PlacedPoints placement(matrix, mm_to_inch);
    PlacedFacets facets(*this, placement);
    const std::size_t count = trq::detail::UsedTriangles(*this);
    BlockWriter out(file.get(), count * kFacetText);
    for (std::size_t first = 0; first < count; first += kFacetsAtOnce) {
      const std::size_t some = std::min(count - first, kFacetsAtOnce);
      facets.MakeNormals(first, some);
      for (std::size_t i = 0; i < some; ++i) {
        const R_INT4& triangle = triangles_[first + i];
        const float* const corners[3] = {facets.Corner(triangle, 0), facets.Corner(triangle, 1),
                                         facets.Corner(triangle, 2)};
        WriteTextFacet(out, facets.Normal(i), corners);
      }
    }
  }
  std::fputs("endsolid\n", file.get());
  return CloseSaved(*this, std::move(file));
}

int CTL::crcSTLFile(const char* path) {
  const trq::host::SystemPath name(path);
  StlFile stl;
  if (!ReadStlFile(name, stl)) return 0;
  const std::string text = stl.HeaderText();
  if (text.find("CRC") != std::string::npos) {
    const std::string digits = std::to_string(stl.RecordsCrc());
    // Kept: digits may run over the count's checksum in the last four bytes; those beyond are dropped.
    std::memcpy(stl.header + text.size(), digits.data(), std::min(digits.size(), kHeaderSize - text.size()));
  }
  trq::detail::FileHandle file = trq::detail::CreateOnRecord(*this, name, "wb", kWriting);
  if (!file) return 0;
  std::fwrite(stl.header, 1, kHeaderSize, file.get());
  std::fwrite(stl.count, 1, sizeof stl.count, file.get());
  if (!stl.records.empty()) std::fwrite(stl.records.data(), 1, stl.records.size(), file.get());
  trq::detail::CloseOnRecord(*this, std::move(file), kWriting);
  return 0;
}

bool CTL::crcValidateSTLFile(const char* path) {
  StlFile stl;
  if (!ReadStlFile(path, stl)) return false;
  const std::string text = stl.HeaderText();
  uint32_t stamped = 0;
  std::size_t at = text.find("CRC");
  if (at != std::string::npos) {
    at = text.find(' ', at);
    // Leading blanks and a sign, then digits, as scanf("%u") has it.
    if (at != std::string::npos)
      stamped = static_cast<uint32_t>(std::strtoul(text.c_str() + at, nullptr, 10));
  }
  return stamped == stl.RecordsCrc();
}
