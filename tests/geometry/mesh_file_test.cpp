#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "tests/support/ctl_bytes.h"
#include "tests/support/documented_bytes.h"
#include "tests/support/meshes.h"
#include "tests/support/open_files.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using test_support::AttributesOf;
using test_support::ByteBuilder;
using test_support::ByteOrder;
using test_support::CtlBytes;
using test_support::CtlFile;
using test_support::CtlHeaderBytes;
using test_support::FillMesh;
using test_support::Indices;
using test_support::MakeMesh;
using test_support::Point;
using test_support::Stream;
using test_support::StreamOf;
using test_support::TempDir;
using test_support::TrianglesOf;
using test_support::VerticesOf;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

float unit_matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

CtlFile TetrahedronFile() {
  CtlFile file;
  file.vertices = {{0, 0, 0}, {1.5f, 0, 0}, {0, -2.25f, 0}, {0, 0, 3}};
  file.triangles = {{0, 2, 1, 0}, {0, 1, 3, 1}, {0, 3, 2, 2}, {1, 2, 3, 0}};
  for (std::size_t i = 0; i < 16; ++i) file.matrix[i] = static_cast<float>(i) + 0.5f;
  file.units = 1;
  file.sort_state = -1;
  file.stl_header = "tetrahedron for tests";
  file.reserved = {0x01020304u, 0xA0B0C0D0u};
  file.reserved_bytes = "kept";
  return file;
}

// What reading ended in.
struct Outcome {
  int answer = 0;
  std::string thrown;   // the text of the exception
  std::string written;  // what went to the error stream
};

Outcome ReadFrom(CTL& mesh, FILE* f) {
  Outcome outcome;
  CaptureStderr();
  try {
    outcome.answer = mesh.fp_read(f);
  } catch (char* text) {
    outcome.thrown = text;
  }
  outcome.written = GetCapturedStderr();
  return outcome;
}

Outcome Read(CTL& mesh, const std::string& bytes) {
  const Stream stream = StreamOf(bytes);
  return ReadFrom(mesh, stream.get());
}

void ExpectFailure(const std::string& bytes, const std::string& text) {
  CTL mesh;
  const Outcome outcome = Read(mesh, bytes);
  EXPECT_EQ(outcome.thrown, text);
  EXPECT_EQ(outcome.written, text + "\n");
}

#ifdef _WIN32
using UnseekableStream = test_support::PipeOf;
#else
// A stream whose length nobody can tell, like a pipe: `bytes`, then the end, or the error `error`.
class UnseekableStream {
 public:
  explicit UnseekableStream(std::string bytes, int error = 0) : bytes_(std::move(bytes)), error_(error) {
    cookie_io_functions_t functions{};
    functions.read = &UnseekableStream::ReadSome;
    file_ = fopencookie(this, "rb", functions);
  }
  UnseekableStream(const UnseekableStream&) = delete;
  UnseekableStream& operator=(const UnseekableStream&) = delete;
  ~UnseekableStream() { std::fclose(file_); }
  FILE* get() { return file_; }

 private:
  static ssize_t ReadSome(void* self, char* buffer, std::size_t size) {
    auto* stream = static_cast<UnseekableStream*>(self);
    const std::size_t n = std::min(size, stream->bytes_.size() - stream->at_);
    if (n == 0 && stream->error_ != 0) {
      errno = stream->error_;
      return -1;
    }
    std::memcpy(buffer, stream->bytes_.data() + stream->at_, n);
    stream->at_ += n;
    return static_cast<ssize_t>(n);
  }
  std::string bytes_;
  std::size_t at_ = 0;
  int error_;
  FILE* file_;
};
#endif

void ExpectTetrahedron(CTL& mesh) {
  const CtlFile file = TetrahedronFile();
  EXPECT_EQ(mesh.num_vertices(), 4);
  EXPECT_EQ(mesh.num_triangles(), 4);
  EXPECT_EQ(VerticesOf(mesh), file.vertices);
  EXPECT_EQ(TrianglesOf(mesh), (std::vector<Indices>{{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}));
  EXPECT_EQ(AttributesOf(mesh), (std::vector<int>{0, 1, 2, 0}));
  EXPECT_EQ(mesh.units, 1);
  EXPECT_EQ(mesh.header.units, 1);
  EXPECT_EQ(mesh.header.sort_state, -1);
  EXPECT_EQ(mesh.header.magic, 121);
  EXPECT_EQ(mesh.header.format_word, 12);
  for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(mesh.header.matrix[i / 4][i % 4], file.matrix[i]);
  EXPECT_EQ(mesh.header.reserved[0], 0x01020304u);
  EXPECT_EQ(mesh.header.reserved[1], 0xA0B0C0D0u);
}

std::string TextOf(const char (&field)[80]) { return std::string(field, sizeof field); }

TEST(CtlFileRead, ReadsGoldenBytes) {
  CTL mesh;
  const Outcome outcome = Read(mesh, CtlBytes(TetrahedronFile()));
  EXPECT_EQ(outcome.thrown, "");
  EXPECT_EQ(outcome.answer, 4);
  EXPECT_EQ(outcome.written, "");
  ExpectTetrahedron(mesh);
  EXPECT_EQ(TextOf(mesh.header.stl_header), ByteBuilder().Text("tetrahedron for tests", 80).bytes());
  EXPECT_EQ(TextOf(mesh.header.reserved_bytes), ByteBuilder().Text("kept", 80).bytes());
}

TEST(CtlFileRead, KeptForeignByteOrderReversesEveryFourBytesOfTheText) {
  CTL mesh;
  const Outcome outcome = Read(mesh, CtlBytes(TetrahedronFile(), ByteOrder::kBig));
  EXPECT_EQ(outcome.thrown, "");
  EXPECT_EQ(outcome.answer, 4);
  ExpectTetrahedron(mesh);
  // "tetr" "ahed" "ron " "for " "test" "s\0\0\0"
  EXPECT_EQ(TextOf(mesh.header.stl_header),
            ByteBuilder().Raw("rtetdeha nor roftset").Zeros(3).Raw("s").Zeros(56).bytes());
  EXPECT_EQ(TextOf(mesh.header.reserved_bytes), ByteBuilder().Text("tpek", 80).bytes());
}

TEST(CtlFileRead, ReadsStreamsOfUnknownLength) {
  UnseekableStream stream(CtlBytes(TetrahedronFile()));
  CTL mesh;
  EXPECT_EQ(ReadFrom(mesh, stream.get()).answer, 4);
  ExpectTetrahedron(mesh);
}

TEST(CtlFileRead, KeepsZeroedRoomForOneVertexMore) {
  CTL mesh;
  Read(mesh, CtlBytes(TetrahedronFile()));
  ASSERT_GE(mesh.vertices_.size(), 5u);
  EXPECT_EQ(mesh.vertices()[4][0], 0);
  EXPECT_EQ(mesh.vertices()[4][1], 0);
  EXPECT_EQ(mesh.vertices()[4][2], 0);
}

TEST(CtlFileRead, KeepsZeroedRoomForIndicesBeyondTheVertices) {
  // Five vertices take three bits, so an index may reach 7.
  CtlFile file;
  file.vertices = {{1, 1, 1}, {2, 1, 1}, {1, 2, 1}, {1, 1, 2}, {3, 3, 3}};
  file.triangles = {{0, 7, 2, 0}, {5, 6, 7, 7}};
  CTL mesh;
  EXPECT_EQ(Read(mesh, CtlBytes(file)).answer, 2);
  ASSERT_GE(mesh.vertices_.size(), 8u);
  for (int i = 5; i < 8; ++i) EXPECT_EQ(mesh.vertices()[i][0], 0);
  EXPECT_EQ(VerticesOf(mesh), file.vertices);
  EXPECT_EQ(mesh.nth(1)[3], 7);
  EXPECT_EQ(mesh.Calculate_normals(), 1);
}

TEST(CtlFileRead, AttributesAndBytesBehindTheBlockDoNotMatter) {
  CTL mesh;
  EXPECT_EQ(Read(mesh, CtlBytes(TetrahedronFile()) + "more").answer, 4);
  ExpectTetrahedron(mesh);
}

TEST(CtlFileRead, NeverChecksTheFormatWord) {
  CtlFile file = TetrahedronFile();
  file.format_word = -77;
  CTL mesh;
  EXPECT_EQ(Read(mesh, CtlBytes(file)).answer, 4);
  EXPECT_EQ(mesh.header.format_word, -77);
}

TEST(CtlFileRead, TakesNaNAndInfiniteCoordinatesAsTheyAre) {
  CtlFile file = TetrahedronFile();
  file.vertices[1][2] = std::numeric_limits<float>::infinity();
  file.vertices[2][0] = std::numeric_limits<float>::quiet_NaN();
  CTL mesh;
  EXPECT_EQ(Read(mesh, CtlBytes(file)).answer, 4);
  EXPECT_TRUE(std::isnan(mesh.vertices()[2][0]));
  EXPECT_TRUE(std::isinf(mesh.vertices()[1][2]));
  EXPECT_EQ(mesh.Calculate_normals(), 1);
}

TEST(CtlFileRead, LeavesExtentsAlone) {
  CTL mesh;
  mesh.extents_valid = 1;
  Read(mesh, CtlBytes(TetrahedronFile()));
  EXPECT_EQ(mesh.extents_valid, 1);
}

TEST(CtlFileRead, EveryShorterPrefixEndsInTheDocumentedText) {
  for (const ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
    const std::string bytes = CtlBytes(TetrahedronFile(), order);
    ASSERT_EQ(bytes.size(), 256u + 48 + 8);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      const std::string text = length < 256   ? "Invalid CTL file - No header"
                               : length < 304 ? "Invalid CTL file - Cannot read vertex_array"
                                              : "Invalid CTL file - Read past end of file";
      ExpectFailure(bytes.substr(0, length), text);
      UnseekableStream stream(bytes.substr(0, length));
      CTL mesh;
      EXPECT_EQ(ReadFrom(mesh, stream.get()).thrown, text) << length;
    }
  }
}

TEST(CtlFileRead, RefusesAWrongMagicNumber) {
  CtlFile file = TetrahedronFile();
  for (const int magic : {0, 120, 122, -121, 121 << 8}) {
    file.magic = magic;
    ExpectFailure(CtlBytes(file), "Invalid CTL file - Invalid Magic Number");
  }
}

TEST(CtlFileRead, KeptWrongCountsWriteAndThrowDifferentTexts) {
  CtlFile file = TetrahedronFile();
  const auto expect_refused = [&file] {
    CTL mesh;
    const Outcome outcome = Read(mesh, CtlBytes(file));
    EXPECT_EQ(outcome.thrown, "Invalid CTL file - - Wrong number of facets.");
    EXPECT_EQ(outcome.written, "Invalid CTL file - Wrong number of facets.\n");
  };
  for (const int count : {0, -1, INT_MIN}) {
    file.claimed_triangles = count;
    expect_refused();
  }
  file.claimed_triangles.reset();
  for (const int count : {0, -1, INT_MIN}) {
    file.claimed_vertices = count;
    expect_refused();
  }
}

TEST(CtlFileRead, ANullStreamHasNoHeader) {
  CTL mesh;
  testing::internal::CaptureStderr();
  std::string thrown;
  try {
    mesh.fp_read(nullptr);
  } catch (const char* text) {
    thrown = text;
  }
  EXPECT_EQ(thrown, "Invalid CTL file - No header");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid CTL file - No header\n");
  EXPECT_EQ(mesh.get_units(nullptr), trq::component_io::kFailed);
}

TEST(CtlFileRead, HostileCountsEndInAShortReadWithoutAskingForMemory) {
  CtlFile file = TetrahedronFile();
  for (const int count : {5, 1000, INT_MAX}) {
    file.claimed_vertices = count;
    ExpectFailure(CtlBytes(file), "Invalid CTL file - Cannot read vertex_array");
    UnseekableStream stream(CtlBytes(file));
    CTL mesh;
    EXPECT_NE(ReadFrom(mesh, stream.get()).thrown, "");
    EXPECT_LT(mesh.vertices_.size(), 100000u);
  }
  file.claimed_vertices.reset();
  for (const int count : {9, 1000, INT_MAX}) {
    file.claimed_triangles = count;
    ExpectFailure(CtlBytes(file), "Invalid CTL file - Read past end of file");
    CTL refused;
    Read(refused, CtlBytes(file));
    EXPECT_EQ(refused.triangles_.size(), 0u);
    UnseekableStream stream(CtlBytes(file));
    CTL mesh;
    EXPECT_EQ(ReadFrom(mesh, stream.get()).thrown, "Invalid CTL file - Read past end of file");
    EXPECT_LT(mesh.triangles_.size(), 100000u);
  }
}

TEST(CtlFileRead, OneVertexBoundsTheTrianglesByTheirNumber) {
  CtlFile file;
  file.vertices = {{1, 2, 3}};
  file.triangles = {{0, 0, 0, 0}};
  CTL mesh;
  EXPECT_EQ(Read(mesh, CtlBytes(file)).answer, 1);
  EXPECT_EQ(TrianglesOf(mesh), (std::vector<Indices>{{0, 0, 0}}));
  file.claimed_triangles = 65536;
  CTL most;
  EXPECT_EQ(Read(most, CtlBytes(file)).answer, 65536);
  EXPECT_EQ(most.nth(65535)[0], 0);
  for (const int count : {65537, INT_MAX}) {
    file.claimed_triangles = count;
    ExpectFailure(CtlBytes(file), "Invalid CTL file - Cannot read trangles_array");
    CTL refused;
    Read(refused, CtlBytes(file));
    EXPECT_EQ(refused.triangles_.size(), 0u);
  }
}

#ifndef _WIN32  // no stream there fails when it is told to
TEST(CtlFileRead, AStreamErrorInTheTrianglesThrowsTheSystemsTextUnwritten) {
  const std::string bytes = CtlBytes(TetrahedronFile());
  UnseekableStream stream(bytes.substr(0, 306), EIO);
  CTL mesh;
  const Outcome outcome = ReadFrom(mesh, stream.get());
  EXPECT_EQ(outcome.thrown, "Input/output error");
  EXPECT_EQ(outcome.written, "");
}
#endif

TEST(CtlFileRead, FlippedBytesAreReadOrRefused) {
  const std::string bytes = CtlBytes(TetrahedronFile());
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const int flip : {0x01, 0x80, 0xFF}) {
      std::string changed = bytes;
      changed[at] = static_cast<char>(changed[at] ^ flip);
      CTL mesh;
      const Outcome outcome = Read(mesh, changed);
      if (outcome.thrown.empty()) {
        EXPECT_EQ(outcome.answer, mesh.num_triangles()) << at;
        EXPECT_LE(outcome.answer, 8) << at;  // as many as the two words hold
      } else {
        EXPECT_THAT(outcome.thrown, testing::StartsWith("Invalid CTL file - ")) << at;
      }
      mesh.Calculate_normals();
      mesh.z_sort_ascending();
      EXPECT_LE(mesh.vertices_.size(), 64u);
    }
  }
}

TEST(CtlFileRead, RandomBytesAreRefused) {
  std::mt19937 random(1);
  for (int round = 0; round < 50; ++round) {
    std::string bytes(random() % 1000, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    ExpectFailure(bytes, bytes.size() < 256 ? "Invalid CTL file - No header"
                                            : "Invalid CTL file - Invalid Magic Number");
  }
}

TEST(CtlFileRead, ThroughTheComponentTakesNameAndPassesFailuresOn) {
  const TempDir folder;
  CTL mesh;
  mesh.extents_valid = 1;
  EXPECT_EQ(mesh.file_read(folder.Write("a.ctl", CtlBytes(TetrahedronFile())).c_str()), 0);
  EXPECT_EQ(std::string(mesh.name()), folder.File("a.ctl"));
  EXPECT_EQ(mesh.extents_valid, 0);
  ExpectTetrahedron(mesh);

  std::vector<std::string> without_header = {folder.Write("empty.ctl", "")};
#ifndef _WIN32  // where a directory cannot be opened
  without_header.push_back(folder.path().string());
#endif
  for (const std::string& path : without_header) {
    CTL other;
    other.name("before");
    CaptureStderr();
    EXPECT_THROW(other.file_read(path.c_str()), char*);
    EXPECT_EQ(GetCapturedStderr(), "Invalid CTL file - No header\n");
    EXPECT_STREQ(other.name(), "before");
  }
}

TEST(CtlFile, FailuresLeaveNoFileOpen) {
  const TempDir folder;
  const std::string cut = folder.Write("cut.ctl", CtlBytes(TetrahedronFile()).substr(0, 300));
  CTL mesh;
  CaptureStderr();
  const std::size_t open_before = test_support::OpenFiles();
  EXPECT_THROW(mesh.file_read(cut.c_str()), char*);
  EXPECT_EQ(test_support::OpenFiles(), open_before);
  CTL empty;
  EXPECT_EQ(empty.SaveCTLModel(CString(folder.File("empty.ctl")), unit_matrix, 0), 1);
  EXPECT_EQ(test_support::OpenFiles(), open_before);
  GetCapturedStderr();  // closes a file of its own
}

TEST(CtlGetUnits, ReplacesTheHeaderAndRewinds) {
  const Stream stream = StreamOf(CtlBytes(TetrahedronFile()));
  CTL mesh;
  mesh.header.reserved[0] = 5;
  EXPECT_EQ(mesh.get_units(stream.get()), 1);
  EXPECT_EQ(mesh.units, 1);
  EXPECT_EQ(mesh.num_vertices(), 4);
  EXPECT_EQ(mesh.num_triangles(), 4);
  EXPECT_EQ(mesh.header.sort_state, -1);
  EXPECT_EQ(mesh.header.reserved[0], 0x01020304u);
  EXPECT_EQ(std::ftell(stream.get()), 0);
  EXPECT_EQ(mesh.fp_read(stream.get()), 4);
}

TEST(CtlGetUnits, KeptLooksAtNoByteOrderAndNoMagicNumber) {
  CtlFile file = TetrahedronFile();
  file.units = 2;
  CTL mesh;
  EXPECT_EQ(mesh.get_units(StreamOf(CtlBytes(file, ByteOrder::kBig)).get()), 0x02000000);
  EXPECT_EQ(mesh.units, 0x02000000);
}

TEST(CtlGetUnits, OfAShortFileFailsAndChangesNothing) {
  const Stream stream = StreamOf(CtlBytes(TetrahedronFile()).substr(0, 255));
  CTL mesh;
  mesh.SetUnits(7);
  EXPECT_EQ(mesh.get_units(stream.get()), -1);
  EXPECT_EQ(mesh.units, 7);
  EXPECT_EQ(mesh.header.units, 7);
  EXPECT_EQ(mesh.num_vertices(), 0);
}

void FillAsTetrahedron(CTL& mesh) {
  const CtlFile file = TetrahedronFile();
  FillMesh(mesh, file.vertices, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
  for (int i = 0; i < 4; ++i) mesh.nth(i)[3] = file.triangles[static_cast<std::size_t>(i)][3];
  for (std::size_t i = 0; i < 16; ++i) mesh.header.matrix[i / 4][i % 4] = file.matrix[i];
  mesh.SetUnits(1);
  mesh.header.sort_state = -1;
  std::memcpy(mesh.header.stl_header, "tetrahedron for tests", 21);
  mesh.header.reserved[0] = 0x01020304u;
  mesh.header.reserved[1] = 0xA0B0C0D0u;
  std::memcpy(mesh.header.reserved_bytes, "kept", 4);
}

TEST(CtlFileWrite, WritesGoldenBytes) {
  const TempDir folder;
  CTL mesh;
  FillAsTetrahedron(mesh);
  mesh.header.format_word = 99;
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("a.ctl")), test_support::Hex(CtlBytes(TetrahedronFile())));
  EXPECT_EQ(mesh.header.format_word, 12);
}

TEST(CtlFormatDocument, ExampleIsWhatTheFormatAndTheLibrarySay) {
  const std::string documented = test_support::DocumentedBytes("ctl.md");
  CtlFile file;
  file.vertices = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 10}};
  file.triangles = {{0, 2, 1, 0}, {0, 1, 3, 1}, {0, 3, 2, 2}, {1, 2, 3, 0}};
  for (std::size_t i = 0; i < 16; i += 5) file.matrix[i] = 1;
  file.stl_header = "example";
  EXPECT_EQ(test_support::Hex(documented), test_support::Hex(CtlBytes(file)));
  CTL mesh;
  EXPECT_EQ(Read(mesh, documented).answer, 4);
  const TempDir folder;
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("a.ctl")), test_support::Hex(documented));
}

TEST(CtlFileWrite, IntegersThatFillTheirWordsAreFollowedByAZeroWord) {
  // Four vertices, four triangles: 16 integers of 2 bits fill one word.
  const TempDir folder;
  CTL mesh;
  FillAsTetrahedron(mesh);
  mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0);
  const std::string bytes = folder.Read("a.ctl");
  ASSERT_EQ(bytes.size(), 256u + 48 + 8);
  // 00 10 01 00, 00 01 11 01, 00 11 10 10, 01 10 11 00
  EXPECT_EQ(test_support::Hex(bytes.substr(304)), "6c 3a 1d 24 00 00 00 00");
}

TEST(CtlFileWrite, PowersOfTwoPackInOneBitLessThanTheNextCount) {
  const TempDir folder;
  for (const std::size_t vertices : {4u, 5u, 8u, 9u, 64u, 65u}) {
    CTL mesh = MakeMesh(std::vector<Point>(vertices), std::vector<Indices>(24, {0, 1, 2}));
    EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
    const std::size_t bits = vertices == 4    ? 2
                             : vertices <= 8  ? 3
                             : vertices == 9  ? 4
                             : vertices == 64 ? 6
                                              : 7;
    EXPECT_EQ(folder.Read("a.ctl").size(), 256 + 12 * vertices + 4 * (bits * 96 / 32 + 1)) << vertices;
  }
}

TEST(CtlFileWrite, KeptClampsAttributesInTheMeshToo) {
  const TempDir folder;
  CTL mesh = test_support::Tetrahedron();
  for (int i = 0; i < 4; ++i) mesh.nth(i)[3] = std::array{5, 2, -1, 3}[static_cast<std::size_t>(i)];
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(AttributesOf(mesh), (std::vector<int>{0, 2, 0, 0}));
  CTL read;
  EXPECT_EQ(read.file_read(folder.File("a.ctl").c_str()), 0);
  EXPECT_EQ(AttributesOf(read), (std::vector<int>{0, 2, 0, 0}));
}

TEST(CtlFileWrite, KeptSnapsTheMeshButNotTheFile) {
  const TempDir folder;
  CTL mesh = MakeMesh({{1.23456f, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}});
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(mesh.vertices()[0][0], 1.2346f);
  CTL read;
  read.file_read(folder.File("a.ctl").c_str());
  EXPECT_EQ(read.vertices()[0][0], 1.23456f);
}

TEST(CtlFileWrite, PlacesTheWrittenVertices) {
  const TempDir folder;
  const std::string path = folder.File("a.ctl");
  float matrix[4][4] = {{0, -1, 0, 10}, {1, 0, 0, 20}, {0, 0, 2, 30}, {0, 0, 0, 1}};
  CTL mesh = MakeMesh({{1, 2, 3}, {0, 0, 0}, {4, 0, 0}}, {{0, 1, 2}});
  EXPECT_EQ(mesh.SaveCTLModel(CString(path), matrix, 0), 0);
  CTL read;
  read.file_read(path.c_str());
  EXPECT_EQ(VerticesOf(read), (std::vector<Point>{{8, 21, 36}, {10, 20, 30}, {10, 24, 30}}));
  EXPECT_EQ(VerticesOf(mesh), (std::vector<Point>{{1, 2, 3}, {0, 0, 0}, {4, 0, 0}}));
}

TEST(CtlFileWrite, TakesTheMatrixInInchesWhenAsked) {
  const TempDir folder;
  const std::string path = folder.File("a.ctl");
  float matrix[4][4] = {{1, 0, 0, 1}, {0, 1, 0, 0}, {0, 0, 1, -2}, {0, 0, 0, 1}};
  CTL mesh = MakeMesh({{10, 20, 30}, {0, 0, 0}, {4, 0, 0}}, {{0, 1, 2}});
  EXPECT_EQ(mesh.SaveCTLModel(CString(path), matrix, 1), 0);
  CTL read;
  read.file_read(path.c_str());
  EXPECT_EQ(read.vertices()[0][0], 35.4f);
  EXPECT_EQ(read.vertices()[0][1], 20.000002f);
  EXPECT_EQ(read.vertices()[0][2], -20.8f);
  EXPECT_EQ(read.vertices()[1][0], 25.4f);
  mesh.SaveCTLModel(CString(path), matrix, 2);  // only 1 means inches
  read.clear();
  read.file_read(path.c_str());
  EXPECT_EQ(read.vertices()[0][0], 11);
}

TEST(CtlFileWrite, WithoutTrianglesFailsAndLeavesAnEmptyFile) {
  const TempDir folder;
  CTL mesh = MakeMesh({{1, 2, 3}}, {});
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 1);
  EXPECT_EQ(folder.Read("a.ctl"), "");
}

TEST(CtlFileWrite, FailsWhereTheFileCannotBeCreatedOrWritten) {
  const TempDir folder;
  CTL mesh = test_support::Sphere(1, 100, 50);
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.path().string()), unit_matrix, 0), 1);
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("no/such/folder.ctl")), unit_matrix, 0), 1);
  EXPECT_EQ(mesh.SaveCTLModel(test_support::FullDisk(), unit_matrix, 0), 1);
}

TEST(CtlFileWrite, KeptIntegersThatDoNotFitRunIntoTheirNeighbours) {
  const TempDir folder;
  // Three vertices, 2 bits: 0, 5, 1, 0. Of the 5 (101) the upper 1 runs into the 0 before it: 01 01 01 00.
  CTL mesh = MakeMesh({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 5, 1}});
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("a.ctl").substr(292)), "00 00 00 54");
  EXPECT_EQ(TrianglesOf(mesh), (std::vector<Indices>{{1, 1, 1}}));
  // Two vertices, 1 bit: 0, 1, 0 and the attribute 2 (10), whose 1 runs into the 0: 0 1 1 0.
  CTL two = MakeMesh({{1, 0, 0}, {0, 1, 0}}, {{0, 1, 0}});
  two.nth(0)[3] = 2;
  EXPECT_EQ(two.SaveCTLModel(CString(folder.File("b.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("b.ctl").substr(280)), "00 00 00 60");
  EXPECT_EQ(TrianglesOf(two), (std::vector<Indices>{{0, 1, 1}}));
  EXPECT_EQ(AttributesOf(two), (std::vector<int>{0}));
}

TEST(CtlFileWrite, IntegersThatDoNotFitAreFollowedByAZeroWordToo) {
  const TempDir folder;
  // 1 bit, eight triangles: 32 bits. The last index of the last triangle is 3.
  CTL mesh = MakeMesh({{1, 0, 0}, {0, 1, 0}}, std::vector<Indices>(8, {1, 1, 1}));
  mesh.nth(7)[2] = 3;
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("a.ctl").substr(280)), "ee ee ee ee 00 00 00 00");
}

TEST(CtlFileWrite, OneVertexPacksInNoBits) {
  const TempDir folder;
  CTL mesh = MakeMesh({{1, 2, 3}}, {{0, 0, 0}, {0, 0, 0}});
  mesh.nth(1)[3] = 2;
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(test_support::Hex(folder.Read("a.ctl").substr(268)), "00 00 00 00");
  EXPECT_EQ(AttributesOf(mesh), (std::vector<int>{0, 0}));
  CTL read;
  EXPECT_EQ(read.file_read(folder.File("a.ctl").c_str()), 0);
  EXPECT_EQ(read.num_triangles(), 2);
}

TEST(CtlFileWrite, CountsBeyondTheArraysAreWrittenAsWhatThereIs) {
  const TempDir folder;
  CTL mesh = test_support::Tetrahedron();
  mesh.header.num_triangles = 1000;
  EXPECT_EQ(mesh.SaveCTLModel(CString(folder.File("a.ctl")), unit_matrix, 0), 0);
  EXPECT_EQ(mesh.num_triangles(), 1000);
  CTL read;
  EXPECT_EQ(read.file_read(folder.File("a.ctl").c_str()), 0);
  EXPECT_EQ(read.num_triangles(), 4);
}

TEST(CtlFile, RoundTripOfManyBlocks) {
  const TempDir folder;
  const std::string path = folder.File("a.ctl");
  CTL mesh = test_support::Sphere(20, 250, 120, {40, 40, 40});
  ASSERT_GT(mesh.num_triangles(), 50000);
  for (int i = 0; i < mesh.num_triangles(); ++i) mesh.nth(i)[3] = i % 3;
  const std::vector<Point> vertices = VerticesOf(mesh);
  const std::vector<Indices> triangles = TrianglesOf(mesh);
  const std::vector<int> attributes = AttributesOf(mesh);
  ASSERT_EQ(mesh.SaveCTLModel(CString(path), unit_matrix, 0), 0);
  EXPECT_EQ(TrianglesOf(mesh), triangles);
  CTL read;
  ASSERT_EQ(read.file_read(path.c_str()), 0);
  EXPECT_EQ(VerticesOf(read), vertices);
  EXPECT_EQ(TrianglesOf(read), triangles);
  EXPECT_EQ(AttributesOf(read), attributes);
  UnseekableStream stream(folder.Read("a.ctl"));
  CTL piecewise;
  EXPECT_EQ(ReadFrom(piecewise, stream.get()).answer, mesh.num_triangles());
  EXPECT_EQ(VerticesOf(piecewise), vertices);
  EXPECT_EQ(TrianglesOf(piecewise), triangles);
  EXPECT_EQ(AttributesOf(piecewise), attributes);
}

TEST(CtlAsciiDump, WritesTheHeaderAndTheFacets) {
  CTL mesh = MakeMesh({{1, 2.005f, -3}, {12345.678f, 0, 0}, {0, 123456.789f, 0.125f}}, {{0, 1, 2}});
  std::memcpy(mesh.header.stl_header, "head", 4);
  const Stream stream = StreamOf("");
  mesh.ascii_dump(stream.get());
  EXPECT_EQ(test_support::BytesOf(stream.get()), ByteBuilder()
                                                     .Text("head", 80)
                                                     .Raw("  facet normal 1 1 1\n"
                                                          "    outer loop\n"
                                                          "      vertex      1.00    2.01   -3.00\n"
                                                          "      vertex   12345.68    0.00    0.00\n"
                                                          "      vertex      0.00 123456.79    0.12\n"
                                                          "    endloop\n"
                                                          "  endfacet\n")
                                                     .bytes());
  mesh.ascii_dump(nullptr);
}

TEST(CtlDump, WritesTheReport) {
  const TempDir folder;
  const test_support::WorkingDirectory inside(folder.path());
  CTL mesh = MakeMesh({{1, 0, 0}, {0, 1, 0}, {0, 0, 6}}, {{0, 1, 2}, {0, 1, 1}});
  mesh.Calculate_normals();
  mesh.normals()[1] = VECTOR(3, 4, 0);
  EXPECT_EQ(mesh.dumpctl(), 1);
  // volume: 6 / 6; area: |(0, 1, -6) x (-1, 0, 6)... | / 2 = sqrt(36 + 36 + 1) / 2.
  EXPECT_EQ(folder.Read("ctldmp.txt"),
            "Number of Triangles : 2\n"
            "Volume              : 1.000000\n"
            "Area                : 4.272002\n"
            "Units               : IN\n"
            "\n"
            "TRIANGLE 1\n"
            "Vertex 1  : 1.000000 0.000000 0.000000 \n"
            "Vertex 2  : 0.000000 1.000000 0.000000 \n"
            "Vertex 3  : 0.000000 0.000000 6.000000 \n"
            "Normal    : 0.702247 0.702247 0.117041 [calculated]\n"
            "Length    : 1.000000 \n"
            "\n"
            "TRIANGLE 2\n"
            "Vertex 1  : 1.000000 0.000000 0.000000 \n"
            "Vertex 2  : 0.000000 1.000000 0.000000 \n"
            "Vertex 3  : 0.000000 1.000000 0.000000 \n"
            "Normal    : 3.000000 4.000000 0.000000 [calculated]\n"
            "Length    : 5.000000 \n"
            "\n"
            "End of ctl file\n"
            "\n"
            "Vertex 1: 1.000000 0.000000 0.000000\n"
            "\n"
            "Vertex 2: 0.000000 1.000000 0.000000\n"
            "\n"
            "Vertex 3: 0.000000 0.000000 6.000000\n");
}

TEST(CtlDump, KeptUnitsLabelsAreNotThoseOfTheCodes) {
  const TempDir folder;
  const test_support::WorkingDirectory inside(folder.path());
  CTL mesh = test_support::Tetrahedron();
  const std::pair<int, const char*> labels[] = {{0, "UNKNOWN"}, {1, "MM"}, {2, "IN"}, {3, "UNKNOWN"}};
  for (const auto& [code, label] : labels) {
    mesh.SetUnits(code);
    mesh.dumpctl();
    EXPECT_THAT(folder.Read("ctldmp.txt"),
                testing::HasSubstr(std::string("\nUnits               : ") + label + "\n\nTRIANGLE 1\n"));
  }
}

TEST(CtlDump, MissingNormalsReadAsZero) {
  const TempDir folder;
  const test_support::WorkingDirectory inside(folder.path());
  CTL mesh = test_support::Tetrahedron();
  mesh.dumpctl();
  EXPECT_THAT(
      folder.Read("ctldmp.txt"),
      testing::HasSubstr("Normal    : 0.000000 0.000000 0.000000 [calculated]\nLength    : 0.000000 \n"));
}

TEST(CtlDump, AnswersOneAlsoWhenTheFileCannotBeCreated) {
  const TempDir folder;
  const test_support::WorkingDirectory inside(folder.path());
  std::filesystem::create_directory(folder.path() / "ctldmp.txt");
  CTL mesh = test_support::Tetrahedron();
  EXPECT_EQ(mesh.dumpctl(), 1);
}

}  // namespace
