#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "foundation/block_writer.h"
#include "foundation/bounded_read.h"
#include "foundation/host_order.h"
#include "foundation/number_text.h"
#include "foundation/vector3.h"
#include "geometry/ctl_packing.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "geometry/placed_points.h"
#include "host/file_services.h"
#include "host/system.h"
#include "trq/core/ctl.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace trq::detail {
namespace {

constexpr int32_t kMagic = 121;
constexpr char kWriting[] = "CTL file write";
constexpr char kWritingReport[] = "mesh report write";
// Reading is fastest in blocks that stay in a cache, writing in large ones.
constexpr size_t kBlockVertices = 4096;      // 48 KB
constexpr size_t kBlockTriangles = 4096;     // at most 62 KB packed
constexpr size_t kWrittenVertices = 65536;   // 768 KB
constexpr size_t kWrittenTriangles = 65536;  // at most 1 MB packed
static_assert(kBlockTriangles % kPackedGroup == 0 && kWrittenTriangles % kPackedGroup == 0,
              "blocks follow each other at whole words");
// The triangles of a one-vertex mesh take no bits, so the file does not bound their number.
constexpr size_t kMostTrianglesWithoutBits = 65536;

// Reverses the bytes of every 32-bit word.
void ReverseWords(void* data, size_t word_count) {
  char* bytes = static_cast<char*>(data);
  for (size_t i = 0; i < word_count; ++i, bytes += 4) {
    uint32_t word;
    std::memcpy(&word, bytes, 4);
    word = __builtin_bswap32(word);
    std::memcpy(bytes, &word, 4);
  }
}

// Words of a file, whose order is `foreign` when it is not that of files.
void TakeWords(void* data, size_t word_count, bool foreign) {
  if (foreign == kHostIsLittle) ReverseWords(data, word_count);
}

// The numbers, not the texts, from the order of files into the machine's, or back.
void NumbersToHostOrder(CTL_HEADER& header) {
  const auto in_order = [](auto& first, const auto& behind) {
    WordsToHostOrder(
        &first, size_t(reinterpret_cast<const char*>(&behind) - reinterpret_cast<const char*>(&first)) / 4);
  };
  in_order(header.num_vertices, header.stl_header);
  in_order(header.magic, header.reserved_bytes);
}

// This and the other texts of failures are the interface's.
constexpr char kPastEnd[] = "Invalid CTL file - Read past end of file";

core::Error Failure(core::ByteSource& source, core::ErrorCode code, const char* text) {
  core::Error error{code, {}, text, 0};
  error.place.byte = source.Position().value_or(core::Place::kNowhere);
  return error;
}

// Reads `count` vertices into an array with zeroed room for one more at least. Where the end of the source is
// not known, memory follows the bytes.
bool ReadVertices(core::ByteSource& source, size_t count, MeshArray<PbVec3f>& vertices) {
  vertices.reset();
  if (!ClaimFits(source, count, sizeof(PbVec3f))) return false;
  size_t piece = kBlockVertices;
  MeshArray<PbVec3f> read;
  if (source.Remaining()) {
    piece = count;
    read = RoomToFill<PbVec3f>(count + 1);
    read[count] = PbVec3f(0, 0, 0);
  }
  for (size_t done = 0; done < count; piece *= 2) {
    const size_t wanted = std::min(piece, count - done);
    read.grow(done + wanted + 1);
    const size_t size = wanted * sizeof(PbVec3f);
    if (source.Read(read.get() + done, size) != size) return false;
    done += wanted;
  }
  vertices = std::move(read);
  return true;
}

// Whether an index of the triangles, none of them negative, lies beyond the vertices.
bool AnyIndexBeyond(const R_INT4* triangles, size_t count, int32_t vertex_count) {
  int32_t signs = 0;  // negative once an index is larger than the last vertex's
  const int32_t last = vertex_count - 1;
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) signs |= last - triangles[i][k];
  }
  return signs < 0;
}

// `index_end` is made one more than the largest index when one lies beyond the vertices, else the vertex
// count.
core::Result<void> ReadTriangles(core::ByteSource& source, const CTL_HEADER& header, bool foreign,
                                 MeshArray<R_INT4>& triangles, size_t& index_end) {
  const int bits = PackedBits(header.num_vertices);
  const size_t count = size_t(header.num_triangles);
  triangles.reset();
  if (bits == 0 && count > kMostTrianglesWithoutBits)
    return Failure(source, core::ErrorCode::kTooLarge, "Invalid CTL file - Cannot read trangles_array");
  if (!ClaimFits(source, PackedWords(bits, uint64_t{4} * count), sizeof(uint32_t)))
    return Failure(source, core::ErrorCode::kCutShort, kPastEnd);
  MeshArray<R_INT4> read;
  if (source.Remaining()) read = RoomToFill<R_INT4>(count);

  std::vector<uint32_t> words(PackedWords(bits, 4 * std::min(count, kBlockTriangles)));
  bool beyond = false;
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(kBlockTriangles, count - done);
    // The last block has the block's last word, which the others leave to the next one.
    size_t wanted = PackedWords(bits, 4 * n);
    if (done + n < count) --wanted;
    if (source.Read(words.data(), wanted * sizeof(uint32_t)) < wanted * sizeof(uint32_t)) {
      const int system_error = errno;
      if (!source.failed()) return Failure(source, core::ErrorCode::kCutShort, kPastEnd);
      const char* const text = core::ErrorText(system_error);
      core::Error error = Failure(source, core::ErrorCode::kReadFailed, text ? text : "Unknown error.");
      error.system_error = system_error;
      return error;
    }
    TakeWords(words.data(), wanted, foreign);
    read.grow(done + n);
    UnpackTriangles(words.data(), n, bits, read.get() + done);
    beyond |= AnyIndexBeyond(read.get() + done, n, header.num_vertices);
    done += n;
  }
  index_end = beyond ? IndexEnd(read.get(), count) : size_t(header.num_vertices);
  triangles = std::move(read);
  return {};
}

// On failure the three are filled as far as reading came.
core::Result<void> ReadCtlInto(core::ByteSource& source, CTL_HEADER& header, MeshArray<PbVec3f>& vertices,
                               MeshArray<R_INT4>& triangles) {
  CTL_HEADER read;
  if (source.Read(static_cast<void*>(&read), sizeof read) != sizeof read)
    return Failure(source, core::ErrorCode::kUnknownFormat, "Invalid CTL file - No header");
  header = read;
  NumbersToHostOrder(header);
  bool foreign = false;
  if (header.magic != kMagic) {
    // The header's text is reversed with the rest and stays so.
    ReverseWords(&read, sizeof read / 4);
    header = read;
    NumbersToHostOrder(header);
    if (header.magic != kMagic)
      return Failure(source, core::ErrorCode::kUnknownFormat, "Invalid CTL file - Invalid Magic Number");
    foreign = true;
  }
  if (header.num_vertices < 1 || header.num_triangles < 1)
    return Failure(source, core::ErrorCode::kBadCount, "Invalid CTL file - - Wrong number of facets.");

  const size_t vertex_count = size_t(header.num_vertices);
  if (!ReadVertices(source, vertex_count, vertices))
    return Failure(source, core::ErrorCode::kCutShort, "Invalid CTL file - Cannot read vertex_array");
  TakeWords(vertices.get(), 3 * vertex_count, foreign);

  size_t index_end = 0;
  core::Result<void> done = ReadTriangles(source, header, foreign, triangles, index_end);
  // Indices have as many bits as num_vertices() - 1 and so may reach past the vertices.
  if (done) vertices.grow(std::max(vertex_count + 1, index_end));
  return done;
}

// What is thrown is a `char*`, so the text lives in writable memory; one buffer a thread.
[[noreturn]] void Throw(const char* text) {
  static thread_local char thrown[256];
  std::snprintf(thrown, sizeof thrown, "%s", text);
  throw static_cast<char*>(thrown);
}

void WriteHeadAndVertices(core::ByteSink& sink, const core::MeshView& mesh, CTL_HEADER header,
                          const PlacedPoints& placed) {
  header.num_vertices = int32_t(mesh.vertex_count);
  header.num_triangles = int32_t(mesh.triangles.size());
  header.format_word = 12;
  NumbersToHostOrder(header);
  sink.Write(&header, sizeof header);
  std::vector<PbVec3f> block(std::min(mesh.vertex_count, kWrittenVertices));
  for (size_t done = 0; done < mesh.vertex_count;) {
    const size_t n = std::min(block.size(), mesh.vertex_count - done);
    for (size_t i = 0; i < n; ++i) block[i] = placed.Point(mesh.vertices[done + i]);
    WriteWords(sink, block.data(), 3 * n);
    done += n;
  }
}

int32_t WrittenAttribute(int32_t attribute, int32_t largest) {
  return attribute < 0 || attribute > largest ? 0 : attribute;
}

// The largest attribute that the format knows.
constexpr int32_t kLargestAttribute = 2;

struct PackedContent {
  bool fits = false;               ///< all integers fit into the bits that the file gives them
  bool attributes_change = false;  ///< some attribute is written as 0
};

PackedContent LookThrough(const core::MeshView& mesh, int32_t largest_attribute) {
  uint32_t used_bits = 0;
  bool change = false;
  for (const R_INT4& triangle : mesh.triangles) {
    const int32_t attribute = WrittenAttribute(triangle[3], largest_attribute);
    change |= attribute != triangle[3];
    used_bits |= uint32_t(triangle[0] | triangle[1] | triangle[2] | attribute);
  }
  return {used_bits >> PackedBits(int32_t(mesh.vertex_count)) == 0, change};
}

// `largest_attribute` is asked only where an attribute changes.
void WriteTriangles(core::ByteSink& sink, const core::MeshView& mesh, bool attributes_change,
                    int32_t largest_attribute) {
  const int bits = PackedBits(int32_t(mesh.vertex_count));
  const size_t count = mesh.triangles.size();
  std::vector<uint32_t> words(PackedWords(bits, 4 * std::min(count, kWrittenTriangles)));
  std::vector<R_INT4> changed;
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(kWrittenTriangles, count - done);
    const R_INT4* triangles = mesh.triangles.data() + done;
    if (attributes_change) {
      changed.assign(triangles, triangles + n);
      for (R_INT4& triangle : changed) triangle[3] = WrittenAttribute(triangle[3], largest_attribute);
      triangles = changed.data();
    }
    size_t made = PackTriangles(triangles, n, bits, words.data());
    done += n;
    if (done < count) --made;  // the empty word after whole groups ends the last block only
    WriteWords(sink, words.data(), made);
  }
}

// Kept: integers that do not fit their bits run into their neighbours, and the mesh keeps what the packed
// words say. False when the triangles are too many for the packer's counts.
bool WriteTrianglesThatDoNotFit(core::ByteSink& sink, R_INT4* triangles, size_t count, int32_t vertex_count) {
  if (count > INT32_MAX / 4) return false;
  const int integers = int(4 * count);
  int* const data = &triangles[0][0];
  BYTE_PACKER packer(data, vertex_count);
  packer.pack(integers);
  const size_t words = size_t(packer.compressed_size(integers));
  if (uint64_t(PackedBits(vertex_count)) * uint64_t(integers) % 32 == 0) {
    data[words - 1] = 0;  // carries nothing; there is always room, an integer takes fewer than 32 bits
  }
  WriteWords(sink, data, words);
  packer.unpack(integers);
  return true;
}

}  // namespace
}  // namespace trq::detail

namespace trq::core {

Result<Mesh> ReadCtl(ByteSource& source) {
  Mesh mesh;
  Result<void> done = detail::ReadCtlInto(source, mesh.header, mesh.vertices, mesh.triangles);
  if (!done) return done.error();
  return mesh;
}

Result<Mesh> ReadCtlFile(const std::string& path) {
  const detail::FileHandle file = detail::OpenFile(path.c_str(), "rb");
  if (!file) return Error{ErrorCode::kCannotOpen, {}, "cannot be opened", errno};
  FileSource source(file.get());
  return ReadCtl(source);
}

Result<void> WriteCtl(const MeshView& mesh, const CTL_HEADER& header, const float (*matrix)[4],
                      int mm_to_inch, ByteSink& sink) {
  if (mesh.triangles.empty()) return Error{ErrorCode::kEmpty, {}, "the mesh has no triangle", 0};
  const int bits = detail::PackedBits(int32_t(mesh.vertex_count));
  const int32_t largest_attribute = std::min(detail::kLargestAttribute, bits);  // what the bits hold
  const detail::PackedContent content = detail::LookThrough(mesh, largest_attribute);
  if (!content.fits) return Error{ErrorCode::kBadName, {}, "a triangle names no vertex of the mesh", 0};
  detail::WriteHeadAndVertices(sink, mesh, header, detail::PlacedPoints(matrix, mm_to_inch));
  detail::WriteTriangles(sink, mesh, content.attributes_change, largest_attribute);
  return detail::Written(sink);
}

uint64_t CtlSize(int32_t vertex_count, uint64_t triangle_count) {
  return sizeof(CTL_HEADER) + sizeof(PbVec3f) * uint64_t(vertex_count) +
         sizeof(uint32_t) * detail::PackedWords(detail::PackedBits(vertex_count), 4 * triangle_count);
}

}  // namespace trq::core

int CTL::fp_read(FILE* f) {
  trq::core::MemorySource nothing({});
  trq::core::FileSource file(f);
  trq::core::ByteSource& source = f ? static_cast<trq::core::ByteSource&>(file) : nothing;
  const trq::core::Result<void> done = ReadCtlInto(source, header, vertices_, triangles_);
  if (!done) {
    const trq::core::Error& error = done.error();
    if (error.code != trq::core::ErrorCode::kReadFailed) {
      // Kept: the written text and the thrown one differ.
      const bool counts = error.code == trq::core::ErrorCode::kBadCount;
      std::fprintf(stderr, "%s\n",
                   counts ? "Invalid CTL file - Wrong number of facets." : error.text.c_str());
    }
    Throw(error.text.c_str());
  }
  units = header.units;
  return header.num_triangles;
}

int CTL::get_units(FILE* f) {
  CTL_HEADER read;
  if (!f || std::fread(static_cast<void*>(&read), 1, sizeof read, f) != sizeof read)
    return trq::component_io::kFailed;
  header = read;
  NumbersToHostOrder(header);
  std::rewind(f);
  units = header.units;
  return units;
}

int CTL::SaveCTLModel(CString path, float matrix[4][4], int mm_to_inch) {
  if (!matrix) return trq::mesh_io::kFailed;
  bool packed = false;
  const auto write = [&](trq::core::ByteSink& sink) {
    const trq::core::MeshView mesh = view();
    if (mesh.triangles.empty()) return;
    header.format_word = 12;
    const PackedContent content = LookThrough(mesh, kLargestAttribute);
    for (size_t i = 0; content.attributes_change && i < mesh.triangles.size(); ++i)
      triangles_[i][3] = WrittenAttribute(triangles_[i][3], kLargestAttribute);
    // The file gets the vertices as they are before they are snapped.
    WriteHeadAndVertices(sink, mesh, header, PlacedPoints(matrix, mm_to_inch));
    truncateVertices();
    if (content.fits) {
      WriteTriangles(sink, mesh, false, kLargestAttribute);
      packed = true;
    } else {
      packed = WriteTrianglesThatDoNotFit(sink, triangles_.get(), mesh.triangles.size(),
                                          int32_t(mesh.vertex_count));
    }
  };
  const bool written = WriteOnRecord(*this, path, kWriting, write).value_or(false);
  return written && packed ? trq::mesh_io::kDone : trq::mesh_io::kFailed;
}

void CTL::ascii_dump(FILE* f) {
  if (!f) return;
  trq::core::FileSink sink(f);
  std::string text(header.stl_header, sizeof header.stl_header);
  const trq::core::MeshView mesh = view();
  for (const R_INT4& triangle : mesh.triangles) {
    text += "  facet normal 1 1 1\n    outer loop\n";
    for (int k = 0; k < 3; ++k) {
      const float* const corner = mesh.Corner(triangle, k);
      text += "      vertex  ";
      for (int axis = 0; axis < 3; ++axis) {
        text += ' ';
        AppendComputed(text, corner[axis], 2, 7);
      }
      text += '\n';
    }
    text += "    endloop\n  endfacet\n";
    Drain(text, sink);
  }
  Drain(text, sink, 0);
}

int CTL::dumpctl() {
  WriteOnRecord(*this, "ctldmp.txt", kWritingReport, [&](trq::core::ByteSink& sink) {
    std::string text =
        "Number of Triangles : " + std::to_string(num_triangles()) + "\nVolume              : ";
    AppendComputed(text, volume());
    text += "\nArea                : ";
    AppendComputed(text, area());
    // Kept: these labels are not those of the units codes.
    text += header.units == 2   ? "\nUnits               : IN\n\n"
            : header.units == 1 ? "\nUnits               : MM\n\n"
                                : "\nUnits               : UNKNOWN\n\n";
    const trq::core::MeshView mesh = view();
    for (size_t i = 0; i < mesh.triangles.size(); ++i) {
      text += "TRIANGLE " + std::to_string(i + 1) + "\n";
      for (int k = 0; k < 3; ++k) {
        const float* const corner = mesh.Corner(mesh.triangles[i], k);
        text += "Vertex " + std::to_string(k + 1) + "  : ";
        AppendThree(text, corner[0], corner[1], corner[2]);
        text += '\n';
      }
      const VECTOR normal = mesh.Normal(i);
      text += "Normal    : ";
      AppendThree(text, normal.x, normal.y, normal.z);
      text += "[calculated]\nLength    : ";
      AppendComputed(text, Length(Widen(normal)));
      text += " \n\n";
      Drain(text, sink);
    }
    text += "End of ctl file\n";
    for (size_t i = 0; i < mesh.vertex_count; ++i) {
      // The lists of adjacent facets, which would follow each vertex, live only inside offset_ctl.
      text += "\nVertex " + std::to_string(i + 1) + ":";
      for (int axis = 0; axis < 3; ++axis) {
        text += ' ';
        AppendComputed(text, vertices_[i][axis]);
      }
      text += '\n';
      Drain(text, sink);
    }
    Drain(text, sink, 0);
  });
  return 1;
}
