// The idea: every vertex is placed once instead of once a corner, normals are placed and brought to length 1
// a block of facets at a time, and records are put together in blocks of a megabyte.
// Invariants that make the bytes the same as placing and writing facet by facet:
// - Placing a point depends on the point and the matrix alone; so does placing a direction. Every value takes
//   the same steps in double and is rounded to float at the same places, whatever stands beside it.
// - A corner that names no vertex in use is placed by itself: what the room holds there, or zero.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/block_writer.h"
#include "foundation/bounded_read.h"
#include "foundation/canonical_nan.h"
#include "foundation/host_order.h"
#include "geometry/facet_file.h"
#include "geometry/mesh_output.h"
#include "geometry/placed_points.h"
#include "geometry/stl_text.h"
#include "host/system.h"
#include "trq/core/stl.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

using trq::core::ByteSink;
using trq::core::FileSink;
using trq::core::FileSource;
using trq::core::kStlHeaderSize;
using trq::core::kStlHeadSize;
using trq::core::MeshView;
using trq::core::StlWriting;

constexpr size_t kCountCrcAt = 76;  // in the header, its last four bytes
constexpr size_t kRecordSize = trq::core::kStlFacetSize;

constexpr char kNotSaved[] =
    "The STL file could not be saved. Probable causes might be :\n"
    " 1. The file did not have WRITE permission.\n"
    " 2. The file may not be in the same directory from which it was opened.";

constexpr size_t kFacetsAtOnce = 256;

/// Divides directions, at most kFacetsAtOnce, by their lengths; a length of 0 or NaN counts as 1.
inline __attribute__((always_inline)) void Normalise(float* x, float* y, float* z, size_t count) {
  double divisor[kFacetsAtOnce];
  for (size_t i = 0; i < count; ++i) {
    const double dx = x[i], dy = y[i], dz = z[i];
    divisor[i] = std::sqrt(dx * dx + dy * dy + dz * dz);
  }
  for (size_t i = 0; i < count; ++i) divisor[i] = divisor[i] > 0 ? divisor[i] : 1;
  for (float* const coordinates : {x, y, z}) {
    for (size_t i = 0; i < count; ++i) coordinates[i] = CanonicalNan(float(coordinates[i] / divisor[i]));
  }
}

// On Windows stacks are aligned to 16 bytes, which g++ forgets for registers of 32.
#if defined(__x86_64__) && !defined(_WIN32)
#define TRQ_WIDE_REGISTERS
__attribute__((target("avx2"))) void NormaliseInWideRegisters(float* x, float* y, float* z, size_t count) {
  Normalise(x, y, z, count);
}
#endif

/// Square roots and divisions are most of the work: where registers are wider, four at once.
void BringToLengthOne(float* x, float* y, float* z, size_t count) {
#ifdef TRQ_WIDE_REGISTERS
  if (__builtin_cpu_supports("avx2")) return NormaliseInWideRegisters(x, y, z, count);
#endif
  Normalise(x, y, z, count);
}

/// The facets of a mesh, placed: each vertex once, not once a corner; normals a block at a time, in loops
/// over plain arrays that compilers turn into vector code.
class PlacedFacets {
 public:
  PlacedFacets(const MeshView& mesh, const StlWriting& how)
      : mesh_(mesh),
        keep_normals_(how.keep_normals),
        placement_(how.matrix, how.mm_to_inch),
        vertices_(trq::MeshArray<Padded>::ForOverwrite(mesh.vertex_count)) {
    for (size_t i = 0; i < vertices_.size(); ++i)
      placement_.Place(mesh.vertices[i].data(), 1.0f, vertices_[i].point);
  }

  /// Calls write(normal, corners, attribute) for every facet. The corners have room for one more coordinate
  /// behind them.
  template <class Write>
  void ForEach(const Write& write) {
    const size_t count = mesh_.triangles.size();
    for (size_t first = 0; first < count; first += kFacetsAtOnce) {
      const size_t some = std::min(count - first, kFacetsAtOnce);
      MakeNormals(first, some);
      for (size_t i = 0; i < some; ++i) {
        const R_INT4& triangle = mesh_.triangles[first + i];
        const float* const corners[3] = {Corner(triangle, 0), Corner(triangle, 1), Corner(triangle, 2)};
        write(PbVec3f(normals_[0][i], normals_[1][i], normals_[2][i]), corners, uint16_t(triangle[3]));
      }
    }
  }

 private:
  struct Padded {
    float point[4];
  };

  /// For corner k = 0..2 they stay until the next call with the same k.
  const float* Corner(const R_INT4& triangle, int k) {
    const size_t index = size_t(uint32_t(triangle[k]));
    if (index < vertices_.size()) return vertices_[index].point;
    placement_.Place(mesh_.Corner(triangle, k), 1.0f, other_[k].point);
    return other_[k].point;
  }

  /// Makes the normals of `count` facets from `first` on, kFacetsAtOnce at most: as they are, or placed and
  /// at length 1; a length of 0 or NaN counts as 1.
  void MakeNormals(size_t first, size_t count) {
    float* const x = normals_[0];
    float* const y = normals_[1];
    float* const z = normals_[2];
    for (size_t i = 0; i < count; ++i) {
      const VECTOR normal = mesh_.Normal(first + i);
      x[i] = CanonicalNan(normal.x);
      y[i] = CanonicalNan(normal.y);
      z[i] = CanonicalNan(normal.z);
    }
    if (keep_normals_) return;
    placement_.PlaceDirections(x, y, z, count);
    BringToLengthOne(x, y, z, count);
  }

  const MeshView& mesh_;
  const bool keep_normals_;
  const PlacedPoints placement_;
  trq::MeshArray<Padded> vertices_;
  float normals_[3][kFacetsAtOnce];
  Padded other_[3];
};

char* WriteText(char* out, const char* text) {
  const size_t length = std::strlen(text);
  std::memcpy(out, text, length);
  return out + length;
}

char* WriteNumbers(char* out, float x, float y, float z) {
  *out++ = ' ';
  out = WriteScientific(out, x);
  *out++ = ' ';
  out = WriteScientific(out, y);
  *out++ = ' ';
  out = WriteScientific(out, z);
  *out++ = '\n';
  return out;
}

constexpr size_t kFacetText = 12 * (kScientificLength + 1) + 160;  // at most

void WriteTextFacet(BlockWriter& out, const PbVec3f& normal, const float* const corners[3]) {
  static_assert(kFacetText <= BlockWriter::kLargestPiece, "a facet's text fits");
  char* const text = reinterpret_cast<char*>(out.next());
  char* end = WriteNumbers(WriteText(text, "  facet normal"), normal[0], normal[1], normal[2]);
  end = WriteText(end, "    outer loop\n");
  for (int k = 0; k < 3; ++k)
    end = WriteNumbers(WriteText(end, "      vertex  "), corners[k][0], corners[k][1], corners[k][2]);
  end = WriteText(end, "    endloop\n  endfacet\n");
  out.Advance(size_t(end - text));
}

void WriteAscii(const MeshView& mesh, const StlWriting& how, ByteSink& sink) {
  constexpr char kFirstLine[] = "solid Kestrabin STL\n";
  constexpr char kLastLine[] = "endsolid\n";
  BlockWriter out(sink, mesh.triangles.size() * kFacetText);
  out.Write(kFirstLine, std::strlen(kFirstLine));
  PlacedFacets(mesh, how).ForEach([&](const PbVec3f& normal, const float* const corners[3], uint16_t) {
    WriteTextFacet(out, normal, corners);
  });
  out.Write(kLastLine, std::strlen(kLastLine));
}

void WriteBinaryFacets(const MeshView& mesh, const StlWriting& how, FacetWriter& out) {
  const uint16_t largest = how.keep_normals ? 0xFFFF : 0x7FFF;
  PlacedFacets(mesh, how).ForEach([&](const PbVec3f& normal, const float* const corners[3],
                                      uint16_t attribute) {
    out.AddPadded(normal, corners[0], corners[1], corners[2], attribute <= largest ? attribute : uint16_t{0});
  });
}

std::string StlStampText(int number) {
  return "Kestrabin 1.5 " + trq::host::HostName() + " " + trq::host::LoginName() + " " +
         std::to_string(number) + " CRC ";
}

constexpr char kWriting[] = "STL file write";

/// Kept: the code tells about creating only; a failed write is on record in the mesh.
int SaveStl(CTL& mesh, const char* path, const StlWriting& how) {
  // The closing tells of a failure.
  const auto write = [&](ByteSink& sink) { static_cast<void>(trq::core::WriteStl(mesh.view(), how, sink)); };
  if (how.matrix && WriteOnRecord(mesh, path, kWriting, write)) return trq::mesh_io::kDone;
  AfxMessageBox(kNotSaved);
  return trq::mesh_io::kFailed;
}

/// The bytes of a binary STL file. False when it cannot be read or holds fewer records than it says.
bool ReadStlFile(const trq::host::SystemPath& path, std::vector<unsigned char>& bytes) {
  const FileHandle file = OpenFile(path, "rb");
  if (!file) return false;
  FileSource source(file.get());
  if (ReadItems(source, kStlHeadSize, bytes) < kStlHeadSize) return false;
  const int32_t count = int32_t(LoadLittle32(bytes.data() + kStlHeaderSize));
  if (count < 0) return false;
  const uint64_t size = uint64_t(count) * kRecordSize;
  return ClaimFits(source, size, 1) && ReadItems(source, size, bytes) == size;
}

std::string HeaderText(trq::Bytes file) {
  const char* const text = reinterpret_cast<const char*>(file.data());
  return std::string(text, strnlen(text, kStlHeaderSize));
}

uint32_t RecordsCrc(trq::Bytes file) {
  const trq::Bytes records = file.From(kStlHeadSize);
  return CCRC::calcCRC(records.data(), records.size());
}

}  // namespace

std::string trq::core::StlStamp(int number, uint32_t facet_count) {
  std::string stamp = StlStampText(number);
  unsigned char count[4], sum[4];
  StoreLittle32(count, facet_count);
  StoreLittle32(sum, CCRC::calcCRC(count, sizeof count));
  stamp.resize(kCountCrcAt);
  return stamp.append(reinterpret_cast<const char*>(sum), sizeof sum);
}

void trq::core::StampStl(Span<unsigned char> file) {
  const std::string text = HeaderText(file);
  if (text.find("CRC") == std::string::npos) return;
  const std::string digits = std::to_string(RecordsCrc(file));
  // Kept: digits may run over the count's checksum in the last four bytes; those beyond are dropped.
  std::memcpy(file.data() + text.size(), digits.data(),
              std::min(digits.size(), kStlHeaderSize - text.size()));
}

bool trq::core::StlStampHolds(Bytes file) {
  const std::string text = HeaderText(file);
  uint32_t stamped = 0;
  size_t at = text.find("CRC");
  if (at != std::string::npos) at = text.find(' ', at);
  // Leading blanks and a sign, then digits, as scanf("%u") has it.
  if (at != std::string::npos) stamped = uint32_t(std::strtoul(&text[at], nullptr, 10));
  return stamped == RecordsCrc(file);
}

trq::core::Result<void> trq::core::WriteStl(const MeshView& mesh, const StlWriting& how, ByteSink& sink) {
  if (how.form == StlForm::kAscii) {
    WriteAscii(mesh, how, sink);
  } else {
    FacetWriter out(sink, mesh.triangles.size(), how.header.data(), how.header.size());
    WriteBinaryFacets(mesh, how, out);
  }
  return detail::Written(sink);
}

trq::core::Result<void> trq::core::WriteStlHead(uint32_t facet_count, const StlWriting& how, ByteSink& sink) {
  FacetWriter(sink, 0).WriteHead(how.header.data(), how.header.size(), facet_count);
  return detail::Written(sink);
}

trq::core::Result<void> trq::core::WriteStlFacets(const MeshView& mesh, const StlWriting& how,
                                                  ByteSink& sink) {
  {
    FacetWriter out(sink, mesh.triangles.size());
    WriteBinaryFacets(mesh, how, out);
  }
  return detail::Written(sink);
}

int CTL::SaveSTLHeader(FILE* f, int count) {
  if (!f) return 1;
  FileSink sink(f);
  static_cast<void>(trq::core::WriteStlHead(uint32_t(count), {}, sink));
  return 1;
}

int CTL::SaveModifiedCTLDataAsSTL(FILE* f, int mm_to_inch, float matrix[4][4]) {
  if (!f || !matrix) return 0;
  FileSink sink(f);
  // Kept: the normal stays as it is, whatever the matrix does to the corners.
  StlWriting how;
  how.matrix = matrix;
  how.mm_to_inch = mm_to_inch;
  how.keep_normals = true;
  static_cast<void>(trq::core::WriteStlFacets(view(), how, sink));
  return 1;
}

int CTL::SaveCTLasBinarySTL(CString path, float matrix[4][4], int mm_to_inch, int stamp_number) {
  // Kept: any one character of "_s.stl" anywhere in the path asks for the checksum, and nearly every path has
  // one.
  const std::string stamp = std::strpbrk(path, "_s.stl") != nullptr
                                ? trq::core::StlStamp(stamp_number, uint32_t(view().triangles.size()))
                                : StlStampText(stamp_number);
  StlWriting how;
  how.matrix = matrix;
  how.mm_to_inch = mm_to_inch;
  how.header = stamp;
  return SaveStl(*this, path, how);
}

int CTL::SaveCTLasAsciiSTL(CString path, float matrix[4][4], int mm_to_inch) {
  StlWriting how;
  how.form = trq::core::StlForm::kAscii;
  how.matrix = matrix;
  how.mm_to_inch = mm_to_inch;
  return SaveStl(*this, path, how);
}

int CTL::crcSTLFile(const char* path) {
  const trq::host::SystemPath name(path);
  std::vector<unsigned char> bytes;
  if (!ReadStlFile(name, bytes)) return 0;
  trq::core::StampStl(bytes);
  WriteOnRecord(*this, name, kWriting, [&](ByteSink& sink) { sink.Write(bytes.data(), bytes.size()); });
  return 0;
}

bool CTL::crcValidateSTLFile(const char* path) {
  std::vector<unsigned char> bytes;
  return ReadStlFile(path, bytes) && trq::core::StlStampHolds(bytes);
}
