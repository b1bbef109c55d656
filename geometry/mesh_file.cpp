#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "foundation/bounded_read.h"
#include "foundation/number_text.h"
#include "geometry/ctl_packing.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "geometry/placed_points.h"
#include "host/system.h"
#include "trq/geometry.h"

namespace trq::detail {
namespace {

constexpr int32_t kMagic = 121;
constexpr char kWriting[] = "CTL file write";
constexpr char kWritingReport[] = "mesh report write";
// Reading is fastest in blocks that stay in a cache, writing in large ones.
constexpr std::size_t kBlockVertices = 4096;      // 48 KB
constexpr std::size_t kBlockTriangles = 4096;     // at most 62 KB packed
constexpr std::size_t kWrittenVertices = 65536;   // 768 KB
constexpr std::size_t kWrittenTriangles = 65536;  // at most 1 MB packed
static_assert(kBlockTriangles % kPackedGroup == 0 && kWrittenTriangles % kPackedGroup == 0,
              "blocks follow each other at whole words");
// The triangles of a one-vertex mesh take no bits, so the file does not bound their number.
constexpr std::size_t kMostTrianglesWithoutBits = 65536;

uint32_t Reversed(uint32_t v) { return v >> 24 | (v >> 8 & 0xFF00u) | (v << 8 & 0xFF0000u) | v << 24; }

// Reverses the bytes of every 32-bit word.
void ReverseWords(void* data, std::size_t word_count) {
  char* bytes = static_cast<char*>(data);
  for (std::size_t i = 0; i < word_count; ++i, bytes += 4) {
    uint32_t word;
    std::memcpy(&word, bytes, 4);
    word = Reversed(word);
    std::memcpy(bytes, &word, 4);
  }
}

enum class ReadFailure {
  kNone,
  kNoHeader,
  kWrongMagic,
  kWrongCounts,
  kNoVertices,
  kPastEnd,
  kNoTriangles,
  kSystemError,
};

// Reads `count` vertices into an array with zeroed room for one more at least. Where the end of the stream is
// not known, memory follows the bytes.
bool ReadVertices(std::FILE* f, std::size_t count, trq::MeshArray<PbVec3f>& vertices) {
  vertices.reset();
  if (!ClaimFits(f, count, sizeof(PbVec3f))) return false;
  std::size_t piece = kBlockVertices;
  trq::MeshArray<PbVec3f> read;
  if (BytesRemaining(f)) {
    piece = count;
    read = trq::MeshArray<PbVec3f>::ForOverwrite(count + 1);
    host::ExpectFilling(read.get(), count * sizeof(PbVec3f));
    read[count] = PbVec3f(0, 0, 0);
  }
  for (std::size_t done = 0; done < count; piece *= 2) {
    const std::size_t wanted = std::min(piece, count - done);
    read.grow(done + wanted + 1);
    if (std::fread(read.get() + done, sizeof(PbVec3f), wanted, f) != wanted) return false;
    done += wanted;
  }
  vertices = std::move(read);
  return true;
}

// Whether an index of the triangles, none of them negative, lies beyond the vertices.
bool AnyIndexBeyond(const R_INT4* triangles, std::size_t count, int32_t vertex_count) {
  int32_t signs = 0;  // negative once an index is larger than the last vertex's
  const int32_t last = vertex_count - 1;
  for (std::size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) signs |= last - triangles[i][k];
  }
  return signs < 0;
}

// `index_end` is made one more than the largest index when one lies beyond the vertices, else the vertex
// count.
ReadFailure ReadTriangles(std::FILE* f, const CTL_HEADER& header, bool foreign,
                          trq::MeshArray<R_INT4>& triangles, std::size_t& index_end, int& system_error) {
  const int bits = PackedBits(header.num_vertices);
  const std::size_t count = static_cast<std::size_t>(header.num_triangles);
  triangles.reset();
  if (bits == 0 && count > kMostTrianglesWithoutBits) return ReadFailure::kNoTriangles;
  if (!ClaimFits(f, PackedWords(bits, 4 * count), sizeof(uint32_t))) return ReadFailure::kPastEnd;
  trq::MeshArray<R_INT4> read;
  if (BytesRemaining(f)) {
    read = trq::MeshArray<R_INT4>::ForOverwrite(count);
    host::ExpectFilling(read.get(), count * sizeof(R_INT4));
  }

  std::vector<uint32_t> words(
      static_cast<std::size_t>(PackedWords(bits, 4 * std::min(count, kBlockTriangles))));
  bool beyond = false;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = std::min(kBlockTriangles, count - done);
    // The last block has the block's last word, which the others leave to the next one.
    std::size_t wanted = static_cast<std::size_t>(PackedWords(bits, 4 * n));
    if (done + n < count) --wanted;
    const std::size_t got = std::fread(words.data(), sizeof(uint32_t), wanted, f);
    system_error = errno;
    if (got < wanted) {
      if (std::feof(f)) return ReadFailure::kPastEnd;
      return std::ferror(f) ? ReadFailure::kSystemError : ReadFailure::kNoTriangles;
    }
    if (foreign) ReverseWords(words.data(), got);
    read.grow(done + n);
    UnpackTriangles(words.data(), n, bits, read.get() + done);
    beyond |= AnyIndexBeyond(read.get() + done, n, header.num_vertices);
    done += n;
  }
  index_end = beyond ? IndexEnd(read.get(), count) : static_cast<std::size_t>(header.num_vertices);
  triangles = std::move(read);
  return ReadFailure::kNone;
}

ReadFailure ReadCtlFile(std::FILE* f, CTL_HEADER& header, trq::MeshArray<PbVec3f>& vertices,
                        trq::MeshArray<R_INT4>& triangles, int& system_error) {
  CTL_HEADER read;
  if (std::fread(static_cast<void*>(&read), 1, sizeof read, f) != sizeof read) return ReadFailure::kNoHeader;
  header = read;
  bool foreign = false;
  if (header.magic != kMagic) {
    // The header's text is reversed with the rest and stays so.
    ReverseWords(&header, sizeof header / 4);
    if (header.magic != kMagic) return ReadFailure::kWrongMagic;
    foreign = true;
  }
  if (header.num_vertices < 1 || header.num_triangles < 1) return ReadFailure::kWrongCounts;

  const std::size_t vertex_count = static_cast<std::size_t>(header.num_vertices);
  if (!ReadVertices(f, vertex_count, vertices)) return ReadFailure::kNoVertices;
  if (foreign) ReverseWords(vertices.get(), 3 * vertex_count);

  std::size_t index_end = 0;
  const ReadFailure failure = ReadTriangles(f, header, foreign, triangles, index_end, system_error);
  if (failure != ReadFailure::kNone) return failure;
  // Indices have as many bits as num_vertices() - 1 and so may reach past the vertices.
  vertices.grow(std::max(vertex_count + 1, index_end));
  return ReadFailure::kNone;
}

// What is thrown is a `char*`, so the text lives in writable memory; one buffer a thread.
[[noreturn]] void Throw(const char* text) {
  static thread_local char thrown[256];
  std::snprintf(thrown, sizeof thrown, "%s", text);
  throw static_cast<char*>(thrown);
}

[[noreturn]] void WriteAndThrow(const char* text) {
  std::fprintf(stderr, "%s\n", text);
  Throw(text);
}

[[noreturn]] void Report(ReadFailure failure, int system_error) {
  switch (failure) {
    case ReadFailure::kNone:
    case ReadFailure::kNoHeader:
      break;
    case ReadFailure::kWrongMagic:
      WriteAndThrow("Invalid CTL file - Invalid Magic Number");
    case ReadFailure::kWrongCounts:
      // Kept: the written text and the thrown one differ.
      std::fputs("Invalid CTL file - Wrong number of facets.\n", stderr);
      Throw("Invalid CTL file - - Wrong number of facets.");
    case ReadFailure::kNoVertices:
      WriteAndThrow("Invalid CTL file - Cannot read vertex_array");
    case ReadFailure::kPastEnd:
      WriteAndThrow("Invalid CTL file - Read past end of file");
    case ReadFailure::kNoTriangles:
      WriteAndThrow("Invalid CTL file - Cannot read trangles_array");
    case ReadFailure::kSystemError: {
      const char* text = host::SystemErrorText(system_error);
      Throw(text ? text : "Unknown error.");
    }
  }
  WriteAndThrow("Invalid CTL file - No header");
}

void WriteVertices(std::FILE* f, const PbVec3f* vertices, std::size_t count, const PlacedPoints& placed) {
  std::vector<PbVec3f> block(std::min(count, kWrittenVertices));
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = std::min(block.size(), count - done);
    for (std::size_t i = 0; i < n; ++i) block[i] = placed.Point(vertices[done + i]);
    std::fwrite(block.data(), sizeof(PbVec3f), n, f);
    done += n;
  }
}

void WriteTriangles(std::FILE* f, const R_INT4* triangles, std::size_t count, int bits) {
  std::vector<uint32_t> words(
      static_cast<std::size_t>(PackedWords(bits, 4 * std::min(count, kWrittenTriangles))));
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = std::min(kWrittenTriangles, count - done);
    std::size_t made = PackTriangles(triangles + done, n, bits, words.data());
    done += n;
    if (done < count) --made;  // the empty word after whole groups ends the last block only
    std::fwrite(words.data(), sizeof(uint32_t), made, f);
  }
}

// Kept: integers that do not fit their bits run into their neighbours, and the mesh keeps what the packed
// words say. False when the triangles are too many for the packer's counts.
bool WriteTrianglesThatDoNotFit(std::FILE* f, R_INT4* triangles, std::size_t count, int32_t vertex_count) {
  if (count > INT32_MAX / 4) return false;
  const int integers = static_cast<int>(4 * count);
  int* const data = &triangles[0][0];
  BYTE_PACKER packer(data, vertex_count);
  packer.pack(integers);
  const std::size_t words = static_cast<std::size_t>(packer.compressed_size(integers));
  if (static_cast<uint64_t>(PackedBits(vertex_count)) * static_cast<uint64_t>(integers) % 32 == 0) {
    data[words - 1] = 0;  // carries nothing; there is always room, an integer takes fewer than 32 bits
  }
  std::fwrite(data, sizeof(int), words, f);
  packer.unpack(integers);
  return true;
}

}  // namespace
}  // namespace trq::detail

int CTL::fp_read(FILE* f) {
  int system_error = 0;
  const trq::detail::ReadFailure failure =
      trq::detail::ReadCtlFile(f, header, vertices_, triangles_, system_error);
  if (failure != trq::detail::ReadFailure::kNone) trq::detail::Report(failure, system_error);
  units = header.units;
  return header.num_triangles;
}

int CTL::get_units(FILE* f) {
  CTL_HEADER read;
  if (std::fread(static_cast<void*>(&read), 1, sizeof read, f) != sizeof read)
    return trq::component_io::kFailed;
  header = read;
  std::rewind(f);
  units = header.units;
  return units;
}

int CTL::SaveCTLModel(CString path, float matrix[4][4], int mm_to_inch) {
  trq::detail::FileHandle file = trq::detail::CreateOnRecord(*this, path, "wb", trq::detail::kWriting);
  if (!file) return trq::mesh_io::kFailed;
  const std::size_t triangle_count = trq::detail::UsedTriangles(*this);
  const std::size_t vertex_count = trq::detail::UsedVertices(*this);
  if (triangle_count == 0) return trq::mesh_io::kFailed;

  header.format_word = 12;
  CTL_HEADER written = header;
  written.num_vertices = static_cast<int32_t>(vertex_count);
  written.num_triangles = static_cast<int32_t>(triangle_count);
  std::fwrite(&written, sizeof written, 1, file.get());
  // The file gets the vertices as they are before they are snapped.
  trq::detail::WriteVertices(file.get(), vertices_.get(), vertex_count,
                             trq::detail::PlacedPoints(matrix, mm_to_inch));
  truncateVertices();

  uint32_t used_bits = 0;
  for (std::size_t i = 0; i < triangle_count; ++i) {
    R_INT4& triangle = triangles_[i];
    if (triangle[3] < 0 || triangle[3] > 2) triangle[3] = 0;
    for (int k = 0; k < 4; ++k) used_bits |= static_cast<uint32_t>(triangle[k]);
  }
  const int bits = trq::detail::PackedBits(written.num_vertices);
  bool packed = true;
  if (used_bits >> bits == 0) {
    trq::detail::WriteTriangles(file.get(), triangles_.get(), triangle_count, bits);
  } else {
    packed = trq::detail::WriteTrianglesThatDoNotFit(file.get(), triangles_.get(), triangle_count,
                                                     written.num_vertices);
  }
  return trq::detail::CloseOnRecord(*this, std::move(file), trq::detail::kWriting) && packed
             ? trq::mesh_io::kDone
             : trq::mesh_io::kFailed;
}

namespace {

void AppendPoint(std::string& text, float x, float y, float z) {
  for (const float c : {x, y, z}) {
    trq::detail::AppendComputed(text, c);
    text += ' ';
  }
}

void Flush(std::string& text, FILE* f, std::size_t when_beyond) {
  if (text.size() <= when_beyond) return;
  std::fwrite(text.data(), 1, text.size(), f);
  text.clear();
}

constexpr std::size_t kTextBlock = 65536;

}  // namespace

void CTL::ascii_dump(FILE* f) {
  if (!f) return;
  std::string text(header.stl_header, sizeof header.stl_header);
  const std::size_t count = trq::detail::UsedTriangles(*this);
  for (std::size_t i = 0; i < count; ++i) {
    text += "  facet normal 1 1 1\n    outer loop\n";
    for (int k = 0; k < 3; ++k) {
      const PbVec3f corner = trq::detail::Corner(*this, triangles_[i], k);
      text += "      vertex  ";
      for (int axis = 0; axis < 3; ++axis) {
        text += ' ';
        trq::detail::AppendComputed(text, corner[axis], 2, 7);
      }
      text += '\n';
    }
    text += "    endloop\n  endfacet\n";
    Flush(text, f, kTextBlock);
  }
  Flush(text, f, 0);
}

int CTL::dumpctl() {
  trq::detail::FileHandle file =
      trq::detail::CreateOnRecord(*this, "ctldmp.txt", "wb", trq::detail::kWritingReport);
  if (!file) return 1;
  std::string text = "Number of Triangles : " + std::to_string(num_triangles()) + "\nVolume              : ";
  trq::detail::AppendComputed(text, volume());
  text += "\nArea                : ";
  trq::detail::AppendComputed(text, area());
  // Kept: these labels are not those of the units codes.
  text += header.units == 2   ? "\nUnits               : IN\n\n"
          : header.units == 1 ? "\nUnits               : MM\n\n"
                              : "\nUnits               : UNKNOWN\n\n";
  const std::size_t triangle_count = trq::detail::UsedTriangles(*this);
  for (std::size_t i = 0; i < triangle_count; ++i) {
    text += "TRIANGLE " + std::to_string(i + 1) + "\n";
    for (int k = 0; k < 3; ++k) {
      const PbVec3f corner = trq::detail::Corner(*this, triangles_[i], k);
      text += "Vertex " + std::to_string(k + 1) + "  : ";
      AppendPoint(text, corner[0], corner[1], corner[2]);
      text += '\n';
    }
    const VECTOR normal = trq::detail::NormalAt(*this, i);
    text += "Normal    : ";
    AppendPoint(text, normal.x, normal.y, normal.z);
    text += "[calculated]\nLength    : ";
    const double x = normal.x, y = normal.y, z = normal.z;
    trq::detail::AppendComputed(text, std::sqrt(x * x + y * y + z * z));
    text += " \n\n";
    Flush(text, file.get(), kTextBlock);
  }
  text += "End of ctl file\n";
  const std::size_t vertex_count = trq::detail::UsedVertices(*this);
  for (std::size_t i = 0; i < vertex_count; ++i) {
    // The lists of adjacent facets, which would follow each vertex, live only inside offset_ctl.
    text += "\nVertex " + std::to_string(i + 1) + ":";
    for (int axis = 0; axis < 3; ++axis) {
      text += ' ';
      trq::detail::AppendComputed(text, vertices_[i][axis]);
    }
    text += '\n';
    Flush(text, file.get(), kTextBlock);
  }
  Flush(text, file.get(), 0);
  trq::detail::CloseOnRecord(*this, std::move(file), trq::detail::kWritingReport);
  return 1;
}
