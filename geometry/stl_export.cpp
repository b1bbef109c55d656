#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/bounded_read.h"
#include "foundation/file_handle.h"
#include "foundation/little_endian.h"
#include "geometry/mesh_access.h"
#include "geometry/placed_points.h"
#include "geometry/stl_text.h"
#include "host/system.h"
#include "trq/geometry.h"

namespace {

using trq::detail::PlacedPoints;
using trq::detail::StoreLittle16;
using trq::detail::StoreLittle32;
using trq::detail::StoreLittleFloat;

constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kCountCrcAt = 76;  // in the header, its last four bytes
constexpr std::size_t kRecordSize = 50;
constexpr std::size_t kBlock = std::size_t{1} << 16;

constexpr char kNotSaved[] =
    "The STL file could not be saved. Probable causes might be :\n"
    " 1. The file did not have WRITE permission.\n"
    " 2. The file may not be in the same directory from which it was opened.";

/// The placed direction at length 1; a length of 0 or NaN counts as 1.
VECTOR PlacedNormal(PlacedPoints& placement, const VECTOR& n) {
  const PbVec3f d = placement.Place(n.x, n.y, n.z, 0);
  const double x = d[0];
  const double y = d[1];
  const double z = d[2];
  double length = std::sqrt(x * x + y * y + z * z);
  if (length == 0 || std::isnan(length)) length = 1;
  return VECTOR(static_cast<float>(x / length), static_cast<float>(y / length),
                static_cast<float>(z / length));
}

/// The corners of a mesh's triangles, placed. Each vertex is placed once, not once a corner.
class PlacedCorners {
 public:
  PlacedCorners(const CTL& mesh, PlacedPoints& placement)
      : mesh_(mesh), placement_(placement), placed_(trq::detail::UsedVertices(mesh)) {
    for (std::size_t i = 0; i < placed_.size(); ++i) placed_[i] = placement.Point(mesh.vertices_[i]);
  }

  PbVec3f operator()(int32_t index) const {
    if (index >= 0 && static_cast<std::size_t>(index) < placed_.size())
      return placed_[static_cast<std::size_t>(index)];
    return placement_.Point(trq::detail::VertexAt(mesh_.vertices_, index));
  }

 private:
  const CTL& mesh_;
  PlacedPoints& placement_;
  std::vector<PbVec3f> placed_;
};

/// Collects pieces of bounded size and writes them in blocks. A failure stays on record in the stream.
class BlockWriter {
 public:
  explicit BlockWriter(std::FILE* f) : file_(f), bytes_(kBlock) {}
  BlockWriter(const BlockWriter&) = delete;
  BlockWriter& operator=(const BlockWriter&) = delete;
  ~BlockWriter() { Flush(); }

  /// Room for `size` bytes, at most kBlock; Advance tells how many were used.
  unsigned char* Reserve(std::size_t size) {
    if (bytes_.size() - used_ < size) Flush();
    return bytes_.data() + used_;
  }
  void Advance(std::size_t size) { used_ += size; }

 private:
  void Flush() {
    if (used_ > 0) std::fwrite(bytes_.data(), 1, used_, file_);
    used_ = 0;
  }

  std::FILE* file_;
  std::vector<unsigned char> bytes_;
  std::size_t used_ = 0;
};

void WriteRecord(BlockWriter& out, const VECTOR& normal, const PbVec3f corners[3], uint16_t attribute) {
  unsigned char* const record = out.Reserve(kRecordSize);
  const float numbers[12] = {normal.x,      normal.y,      normal.z,      corners[0][0],
                             corners[0][1], corners[0][2], corners[1][0], corners[1][1],
                             corners[1][2], corners[2][0], corners[2][1], corners[2][2]};
  for (std::size_t k = 0; k < 12; ++k) StoreLittleFloat(record + 4 * k, numbers[k]);
  StoreLittle16(record + 48, attribute);
  out.Advance(kRecordSize);
}

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

void WriteTextFacet(BlockWriter& out, const VECTOR& normal, const PbVec3f corners[3]) {
  constexpr std::size_t kMost = 512;
  static_assert(12 * (trq::detail::kScientificLength + 1) + 160 < kMost, "a facet's text fits");
  char* const text = reinterpret_cast<char*>(out.Reserve(kMost));
  char* end = WriteNumbers(WriteText(text, "  facet normal"), normal.x, normal.y, normal.z);
  end = WriteText(end, "    outer loop\n");
  for (int k = 0; k < 3; ++k)
    end = WriteNumbers(WriteText(end, "      vertex  "), corners[k][0], corners[k][1], corners[k][2]);
  end = WriteText(end, "    endloop\n  endfacet\n");
  out.Advance(static_cast<std::size_t>(end - text));
}

int ReportNotSaved() {
  AfxMessageBox(kNotSaved);
  return mesh_io::kFailed;
}

int CloseSaved(trq::detail::FileHandle file) {
  return trq::detail::CloseChecked(std::move(file)) ? int{mesh_io::kDone} : ReportNotSaved();
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
bool ReadStlFile(const char* path, StlFile& stl) {
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
  PlacedPoints placement(matrix, mm_to_inch);
  const PlacedCorners placed(*this, placement);
  BlockWriter out(f);
  for (std::size_t i = 0; i < count; ++i) {
    const R_INT4& triangle = triangles_[i];
    const PbVec3f corners[3] = {placed(triangle[0]), placed(triangle[1]), placed(triangle[2])};
    // Kept: the normal stays as it is, whatever the matrix does to the corners.
    WriteRecord(out, trq::detail::NormalAt(*this, i), corners, static_cast<uint16_t>(triangle[3]));
  }
  return 1;
}

int CTL::SaveCTLasBinarySTL(CString path, float matrix[4][4], int mm_to_inch, int stamp_number) {
  const std::string stamp = "Kestrabin 1.5 " + trq::host::HostName() + " " + trq::host::LoginName() + " " +
                            std::to_string(stamp_number) + " CRC ";
  trq::detail::FileHandle file = trq::detail::OpenFile(path, "wb");
  if (!file) return ReportNotSaved();

  const std::size_t count = trq::detail::UsedTriangles(*this);
  unsigned char head[kHeaderSize + 4] = {};
  StoreLittle32(head + kHeaderSize, static_cast<uint32_t>(count));
  // Kept: any one character of "_s.stl" anywhere in the path asks for the checksum, and nearly every path has
  // one.
  const bool with_crc = std::strpbrk(path, "_s.stl") != nullptr;
  std::memcpy(head, stamp.data(), std::min(stamp.size(), with_crc ? kCountCrcAt : kHeaderSize));
  if (with_crc) StoreLittle32(head + kCountCrcAt, CCRC::calcCRC(head + kHeaderSize, 4));
  std::fwrite(head, 1, sizeof head, file.get());

  if (count > 0) {
    PlacedPoints placement(matrix, mm_to_inch);
    const PlacedCorners placed(*this, placement);
    BlockWriter out(file.get());
    for (std::size_t i = 0; i < count; ++i) {
      const R_INT4& triangle = triangles_[i];
      const PbVec3f corners[3] = {placed(triangle[0]), placed(triangle[1]), placed(triangle[2])};
      const uint16_t attribute = static_cast<uint16_t>(triangle[3]);
      WriteRecord(out, PlacedNormal(placement, trq::detail::NormalAt(*this, i)), corners,
                  attribute < 0x8000 ? attribute : uint16_t{0});
    }
  }
  return CloseSaved(std::move(file));
}

int CTL::SaveCTLasAsciiSTL(CString path, float matrix[4][4], int mm_to_inch) {
  trq::detail::FileHandle file = trq::detail::OpenFile(path, "wb");
  if (!file) return ReportNotSaved();
  std::fputs("solid Kestrabin STL\n", file.get());
  {
    PlacedPoints placement(matrix, mm_to_inch);
    const PlacedCorners placed(*this, placement);
    BlockWriter out(file.get());
    const std::size_t count = trq::detail::UsedTriangles(*this);
    for (std::size_t i = 0; i < count; ++i) {
      const R_INT4& triangle = triangles_[i];
      const PbVec3f corners[3] = {placed(triangle[0]), placed(triangle[1]), placed(triangle[2])};
      WriteTextFacet(out, PlacedNormal(placement, trq::detail::NormalAt(*this, i)), corners);
    }
  }
  std::fputs("endsolid\n", file.get());
  return CloseSaved(std::move(file));
}

int CTL::crcSTLFile(const char* path) {
  StlFile stl;
  if (!ReadStlFile(path, stl)) return 0;
  const std::string text = stl.HeaderText();
  if (text.find("CRC") != std::string::npos) {
    const std::string digits = std::to_string(stl.RecordsCrc());
    // Kept: digits may run over the count's checksum in the last four bytes; those beyond are dropped.
    std::memcpy(stl.header + text.size(), digits.data(), std::min(digits.size(), kHeaderSize - text.size()));
  }
  const trq::detail::FileHandle file = trq::detail::OpenFile(path, "wb");
  if (!file) return 0;
  std::fwrite(stl.header, 1, kHeaderSize, file.get());
  std::fwrite(stl.count, 1, sizeof stl.count, file.get());
  if (!stl.records.empty()) std::fwrite(stl.records.data(), 1, stl.records.size(), file.get());
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
