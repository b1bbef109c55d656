#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tests/geometry/stl_builder.h"
#include "tests/support/meshes.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using test_support::AsciiStl;
using test_support::BinaryStl;
using test_support::Indices;
using test_support::MessageBoxRecorder;
using test_support::Point;
using test_support::Stream;
using test_support::StreamOf;
using test_support::TetrahedronFacets;
using test_support::TrianglesOf;
using test_support::VerticesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

int Load(CTL& mesh, std::string_view bytes, int accept_partial = 0) {
  const Stream stream = StreamOf(bytes);
  return mesh.LoadSTLFile(stream.get(), trq::units::kMillimetre, &accept_partial, 0, 0, 0);
}

int ReadAsciiText(CTL& mesh, std::string_view text) {
  const Stream stream = StreamOf(text);
  return mesh.ascii_read(stream.get(), trq::units::kMillimetre, 1e-4f, 0, 0);
}

R_TRIANGLE BagFacet(const float (&corners)[3][3], int attribute = 0) {
  R_TRIANGLE facet;
  for (int i = 0; i < 3; ++i) {
    for (int k = 0; k < 3; ++k) std::memcpy(&facet.corner[i][k], &corners[i][k], sizeof(float));
  }
  facet.attribute = attribute;
  return facet;
}

std::vector<test_support::StlFacet> ManyFacets(int count) {
  std::vector<test_support::StlFacet> facets;
  while (static_cast<int>(facets.size()) < count) {
    for (const auto& facet : TetrahedronFacets(2.0f * static_cast<float>(facets.size()), 0, 0))
      facets.push_back(facet);
  }
  facets.resize(static_cast<std::size_t>(count));
  return facets;
}

// ---------------------------------------------------------------------------------------------------------
// Binary files

TEST(StlImport, ReadsBinaryFile) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets(), "made by hand")), 0);
  EXPECT_THAT(VerticesOf(mesh), ElementsAre(Point{0, 0, 0}, Point{0, 1, 0}, Point{1, 0, 0}, Point{0, 0, 1}));
  EXPECT_THAT(TrianglesOf(mesh),
              ElementsAre(Indices{0, 1, 2}, Indices{0, 2, 3}, Indices{0, 3, 1}, Indices{2, 1, 3}));
  EXPECT_STREQ(mesh.header.stl_header, "made by hand");
  ASSERT_NE(mesh.normals(), nullptr);
  EXPECT_EQ(mesh.normals()[0].z, -1);
  EXPECT_EQ(mesh.normals()[1].y, -1);
  EXPECT_EQ(mesh.normals()[2].x, -1);
}

TEST(StlImport, KeepsAll80HeaderBytes) {
  std::string header(80, '\0');
  for (std::size_t i = 0; i < header.size(); ++i) header[i] = static_cast<char>(200 + i);
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets(), header)), 0);
  EXPECT_EQ(std::string(mesh.header.stl_header, 80), header);
}

TEST(StlImport, SetsUnitMatrixAndTheHeadersUnitsOnly) {
  CTL mesh;
  mesh.units = 7;
  mesh.header.sort_state = trq::sort_state::kAscending;
  for (auto& row : mesh.header.matrix) row[0] = 5;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets())), 0);
  EXPECT_EQ(mesh.header.units, trq::units::kMillimetre);
  EXPECT_EQ(mesh.units, 7);
  EXPECT_EQ(mesh.header.sort_state, trq::sort_state::kAscending);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) EXPECT_EQ(mesh.header.matrix[i][j], i == j ? 1.0f : 0.0f);
  }
}

TEST(StlImport, SignExtendsTheAttributeWord) {
  auto facets = TetrahedronFacets();
  facets[0].attribute = 5;
  facets[1].attribute = 0xFFFF;
  facets[2].attribute = 0x7FFF;
  facets[3].attribute = 0x8000;
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(facets)), 0);
  EXPECT_THAT(test_support::AttributesOf(mesh), ElementsAre(5, -1, 32767, -32768));
}

TEST(StlImport, KeepsDegenerateFacets) {
  auto facets = TetrahedronFacets();
  facets.push_back({{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, 0, {0, 0, 0}});
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(facets)), 0);
  ASSERT_EQ(mesh.num_triangles(), 5);
  EXPECT_EQ(TrianglesOf(mesh)[4], (Indices{4, 4, 4}));
}

TEST(StlImport, KeepsZeroedRoomForThreeVerticesAFacet) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets())), 0);
  ASSERT_GE(mesh.vertices_.size(), 12u);
  for (std::size_t i = 4; i < 12; ++i) {
    for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.vertices_[i][k], 0);
  }
}

TEST(StlImport, RefusesSingleFacet) {
  auto facets = TetrahedronFacets();
  facets.resize(1);
  CTL mesh;
  const Stream stream = StreamOf(BinaryStl(facets));
  int accept_partial = 0;
  EXPECT_EQ(mesh.read_stl(stream.get(), 1, &accept_partial, 0, 1e-4f, 0), trq::stl_import::kNotBuilt);
  EXPECT_EQ(trq::stl_import::kNotBuilt, -3);
}

TEST(StlImport, KeptRefusesMeshWithoutCommonCorner) {
  const std::vector<test_support::StlFacet> facets = {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 0, {0, 0, 0}},
                                                      {{{5, 0, 0}, {6, 0, 0}, {5, 1, 0}}, 0, {0, 0, 0}}};
  CTL mesh;
  EXPECT_EQ(Load(mesh, BinaryStl(facets)), -3);
}

TEST(StlImport, AcceptsSingleFacetWithTwoEqualCorners) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl({{{{0, 0, 0}, {1, 0, 0}, {0, 0, 0}}, 0, {0, 0, 0}}})), 0);
  EXPECT_EQ(mesh.num_vertices(), 2);
  EXPECT_THAT(TrianglesOf(mesh), ElementsAre(Indices{0, 1, 0}));
}

TEST(StlImport, ReportsTheMissingFacets) {
  const std::string bytes = BinaryStl(ManyFacets(98), "short", 100);
  {
    MessageBoxRecorder user;
    CTL mesh;
    EXPECT_EQ(Load(mesh, bytes, 0), -4);
    ASSERT_THAT(user.boxes(), SizeIs(1));
    EXPECT_EQ(user.boxes()[0].text, "Warning: 2 triangles are missing in the STL file.");
    EXPECT_EQ(user.boxes()[0].buttons, unsigned{trq::message_box::kOkButton});
  }
  {
    MessageBoxRecorder user;
    CTL mesh;
    EXPECT_EQ(Load(mesh, bytes, 1), 0);
    EXPECT_EQ(mesh.num_triangles(), 98);
    ASSERT_THAT(user.boxes(), SizeIs(1));
    EXPECT_EQ(user.boxes()[0].text, "Warning: 2 triangles are missing in the STL file.");
  }
}

TEST(StlImport, AcceptPartialMayBeNull) {
  MessageBoxRecorder user;
  CTL mesh;
  const Stream stream = StreamOf(BinaryStl(ManyFacets(98), "short", 100));
  EXPECT_EQ(mesh.LoadSTLFile(stream.get(), 1, nullptr, 0, 0, 0), -4);
  CTL ascii;
  const Stream text = StreamOf(AsciiStl(TetrahedronFacets()));
  EXPECT_EQ(ascii.LoadSTLFile(text.get(), 1, nullptr, 0, 0, 0), 0);
}

TEST(StlImport, BinaryFileLeavesAcceptPartialAsItIs) {
  CTL mesh;
  const Stream stream = StreamOf(BinaryStl(TetrahedronFacets()));
  int accept_partial = 3;
  EXPECT_EQ(mesh.LoadSTLFile(stream.get(), 1, &accept_partial, 0, 0, 0), 0);
  EXPECT_EQ(accept_partial, 3);
}

TEST(StlImport, NoFacetsAcceptedPartiallyIsAnEmptyMesh) {
  MessageBoxRecorder user;
  CTL mesh;
  EXPECT_EQ(Load(mesh, BinaryStl({}, "none", 5), 1), 0);
  EXPECT_EQ(mesh.num_triangles(), 0);
  EXPECT_EQ(mesh.num_vertices(), 0);
  ASSERT_THAT(user.boxes(), SizeIs(1));
  EXPECT_EQ(user.boxes()[0].text, "Warning: 5 triangles are missing in the STL file.");
}

TEST(StlImport, EveryShorterPrefixOfABinaryFileEndsInItsCode) {
  MessageBoxRecorder user;
  const std::string bytes = BinaryStl(TetrahedronFacets());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    SCOPED_TRACE(length);
    const std::size_t facets = length < 84 ? 0 : (length - 84) / 50;
    CTL refused;
    EXPECT_EQ(Load(refused, bytes.substr(0, length), 0), length < 80 ? -1 : length < 84 ? -2 : -4);
    CTL accepted;
    // The first facet alone has no common corner; with the second it has.
    EXPECT_EQ(Load(accepted, bytes.substr(0, length), 1), length < 80   ? -1
                                                          : length < 84 ? -2
                                                          : facets == 1 ? -3
                                                                        : 0);
    if (length >= 84 && facets != 1) {
      EXPECT_EQ(accepted.num_triangles(), static_cast<int>(facets));
    }
  }
}

TEST(StlImport, CountsOfNoFacetsAreRefused) {
  for (const uint32_t count : {0u, 0xFFFFFFFFu, 0x80000000u}) {
    CTL mesh;
    EXPECT_EQ(Load(mesh, BinaryStl(TetrahedronFacets(), "count", count)), -2) << count;
    EXPECT_EQ(mesh.num_triangles(), 0);
  }
}

TEST(StlImport, HostileCountsEndInTheShortReadOfASmallFile) {
  for (const int64_t count : {int64_t{2147483647}, int64_t{26000001}, int64_t{26000000}}) {
    MessageBoxRecorder user;
    CTL refused;
    EXPECT_EQ(Load(refused, BinaryStl(TetrahedronFacets(), "claims", count), 0), -4);
    CTL accepted;
    EXPECT_EQ(Load(accepted, BinaryStl(TetrahedronFacets(), "claims", count), 1), 0);
    EXPECT_EQ(accepted.num_triangles(), 4);
    ASSERT_THAT(user.boxes(), SizeIs(2));
    EXPECT_EQ(user.boxes()[0].text,
              "Warning: " + std::to_string(count - 4) + " triangles are missing in the STL file.");
  }
}

TEST(StlImport, MoreThan26MillionFacetsThrow9) {
  const test_support::TempDir dir;
  const std::string path = dir.Write("large.stl", BinaryStl({}, "large", 26000001));
  std::filesystem::resize_file(path, 84 + 50 * uintmax_t{26000001});  // a hole, no blocks on the disk
  const Stream stream(std::fopen(path.c_str(), "rb"));
  CTL mesh;
  testing::internal::CaptureStderr();
  int thrown = 0;
  try {
    mesh.LoadSTLFile(stream.get(), 1, nullptr, 0, 0, 0);
  } catch (int code) {
    thrown = code;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Serious problem in TriangleBAG: MAX_BLOCKS is too small\n");
  EXPECT_EQ(thrown, 9);
}

TEST(StlImport, NullStreamHasNoHeader) {
  CTL mesh;
  EXPECT_EQ(mesh.LoadSTLFile(nullptr, 1, nullptr, 0, 0, 0), -1);
  EXPECT_EQ(mesh.ascii_read(nullptr, 1, 1e-4f, 0, 0), -1);
}

#ifndef _WIN32  // where directories are no streams
TEST(StlImport, DirectoryHasNoHeader) {
  const Stream stream(std::fopen("/", "rb"));
  ASSERT_NE(stream, nullptr);
  CTL mesh;
  EXPECT_EQ(mesh.LoadSTLFile(stream.get(), 1, nullptr, 0, 0, 0), -1);
}
#endif

// ---------------------------------------------------------------------------------------------------------
// Streams that cannot go back

TEST(StlImport, ReadsBinarySolidsFromAPipe) {
  test_support::PipeOf pipe(BinaryStl(TetrahedronFacets(), "one") + BinaryStl(TetrahedronFacets(5), "two"));
  CTL mesh;
  int accept_partial = 0;
  ASSERT_EQ(mesh.LoadSTLFile(pipe.get(), 1, &accept_partial, 0, 0, 0), 0);
  EXPECT_EQ(mesh.num_triangles(), 8);
  EXPECT_EQ(mesh.num_vertices(), 8);
}

TEST(StlImport, PipeCannotGoBackForAPartialSolid) {
  for (const int accept : {0, 1}) {
    MessageBoxRecorder user;
    test_support::PipeOf pipe(BinaryStl(TetrahedronFacets(), "short", 2000000000));
    CTL mesh;
    int accept_partial = accept;
    EXPECT_EQ(mesh.LoadSTLFile(pipe.get(), 1, &accept_partial, 0, 0, 0), accept ? -1 : -4);
    ASSERT_THAT(user.boxes(), SizeIs(1));
    EXPECT_EQ(user.boxes()[0].text, "Warning: 1999999996 triangles are missing in the STL file.");
  }
}

TEST(StlImport, StreamInMemoryGoesBackForAPartialSolid) {
  MessageBoxRecorder user;
  std::string bytes = BinaryStl(TetrahedronFacets(), "short", 7);
  const Stream stream = test_support::StreamInMemory(bytes, bytes.size());
  CTL mesh;
  int accept_partial = 1;
  EXPECT_EQ(mesh.LoadSTLFile(stream.get(), 1, &accept_partial, 0, 0, 0), 0);
  EXPECT_EQ(mesh.num_triangles(), 4);
  EXPECT_THAT(user.boxes(), SizeIs(1));
}

// ---------------------------------------------------------------------------------------------------------
// Several solids

TEST(StlImport, JoinsBinarySolids) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets(), "first") + BinaryStl(TetrahedronFacets(5), "second")),
            0);
  EXPECT_EQ(mesh.num_triangles(), 8);
  EXPECT_EQ(mesh.num_vertices(), 8);
  EXPECT_EQ(TrianglesOf(mesh)[4], (Indices{4, 5, 6}));
  EXPECT_EQ(VerticesOf(mesh)[4], (Point{5, 0, 0}));
  EXPECT_STREQ(mesh.header.stl_header, "first");
  ASSERT_EQ(mesh.normals_.size(), 8u);
  EXPECT_EQ(mesh.normals()[4].z, -1);
}

TEST(StlImport, EqualCornersOfDifferentSolidsStayApart) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets()) + BinaryStl(TetrahedronFacets())), 0);
  EXPECT_EQ(mesh.num_vertices(), 8);
}

TEST(StlImport, FailureOfALaterSolidIsNotReported) {
  MessageBoxRecorder user;
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets()) + BinaryStl(TetrahedronFacets(5), "short", 5)), 0);
  EXPECT_EQ(mesh.num_triangles(), 4);
  ASSERT_THAT(user.boxes(), SizeIs(1));
  EXPECT_EQ(user.boxes()[0].text, "Warning: 1 triangles are missing in the STL file.");
}

TEST(StlImport, ShortLaterSolidIsReadAgainFromItsOwnHeader) {
  MessageBoxRecorder user;
  CTL mesh;
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets()) + BinaryStl(TetrahedronFacets(5), "short", 5), 1), 0);
  EXPECT_EQ(mesh.num_triangles(), 8);
  EXPECT_EQ(VerticesOf(mesh)[4], (Point{5, 0, 0}));
  EXPECT_THAT(user.boxes(), SizeIs(1));
}

TEST(StlImport, LaterSolidIsBinaryEvenWhereItIsText) {
  MessageBoxRecorder user;
  CTL mesh;
  // The line end in the header keeps the text's own lines from being the first two of the file.
  ASSERT_EQ(Load(mesh, BinaryStl(TetrahedronFacets(), "two\nlines") + AsciiStl(TetrahedronFacets(5))), 0);
  EXPECT_EQ(mesh.num_triangles(), 4);
  EXPECT_THAT(user.boxes(), SizeIs(1));  // the text's bytes 80 to 83 announce far more facets
}

TEST(StlImport, ManySolidsAreJoined) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) bytes += BinaryStl(TetrahedronFacets(2.0f * static_cast<float>(i)));
  CTL mesh;
  ASSERT_EQ(Load(mesh, bytes), 0);
  ASSERT_EQ(mesh.num_triangles(), 1200);
  ASSERT_EQ(mesh.num_vertices(), 1200);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(mesh.vertices()[4 * i][0], 2.0f * static_cast<float>(i));
    EXPECT_EQ(mesh.nth(4 * i + 3)[2], 4 * i + 3);
  }
}

// ---------------------------------------------------------------------------------------------------------
// ASCII files

TEST(StlImport, ReadsAsciiFile) {
  CTL mesh;
  const Stream stream = StreamOf(AsciiStl(TetrahedronFacets()));
  int accept_partial = 1;
  ASSERT_EQ(mesh.LoadSTLFile(stream.get(), 1, &accept_partial, 0, 0, 0), 0);
  EXPECT_EQ(accept_partial, 0);
  EXPECT_THAT(VerticesOf(mesh), ElementsAre(Point{0, 0, 0}, Point{0, 1, 0}, Point{1, 0, 0}, Point{0, 0, 1}));
  EXPECT_THAT(TrianglesOf(mesh),
              ElementsAre(Indices{0, 1, 2}, Indices{0, 2, 3}, Indices{0, 3, 1}, Indices{2, 1, 3}));
  EXPECT_THAT(test_support::AttributesOf(mesh), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(mesh.normals_.size(), 4u);
}

TEST(StlImport, SeveralAsciiSolidsAreReadAsOne) {
  CTL mesh;
  ASSERT_EQ(Load(mesh, AsciiStl(TetrahedronFacets()) + AsciiStl(TetrahedronFacets())), 0);
  EXPECT_EQ(mesh.num_triangles(), 8);
  EXPECT_EQ(mesh.num_vertices(), 4);
}

const char* const kTwoFacets =
    "solid\nfacet\nouter\nv 0 0 0\nv 1 0 0\nv 0 1 0\n"
    "outer\nv 0 0 0\nv 0 1 0\nv 0 0 1\n";

std::string TwoFacetsWith(const std::string& from, const std::string& to) {
  std::string text = kTwoFacets;
  text.replace(text.find(from), from.size(), to);
  return text;
}

TEST(StlImport, SecondLineInCapitalsIsAscii) {
  CTL mesh;
  EXPECT_EQ(Load(mesh, TwoFacetsWith("facet", "FACET normal 0 0 1")), 0);
  EXPECT_EQ(mesh.num_triangles(), 2);
  EXPECT_EQ(mesh.num_vertices(), 4);
}

TEST(StlImport, TabBeforeFacetFallsBackToBinary) {
  // Long enough to have a header and a count when it is taken as binary.
  const std::string text = TwoFacetsWith("solid", std::string(70, 's'));
  CTL ascii;
  EXPECT_EQ(ReadAsciiText(ascii, text), 0);
  MessageBoxRecorder user;
  CTL mesh;
  std::string tabbed = text;
  tabbed.replace(tabbed.find("facet"), 5, "\tfacet");
  EXPECT_EQ(ReadAsciiText(mesh, tabbed), -1);
  EXPECT_EQ(Load(mesh, tabbed), -4);
  EXPECT_THAT(user.boxes(), SizeIs(1));
}

TEST(StlImport, KeptAsciiFileOfOneFacetIsReadAsBinary) {
  auto facets = TetrahedronFacets();
  facets.resize(1);
  MessageBoxRecorder user;
  CTL mesh;
  EXPECT_EQ(ReadAsciiText(mesh, AsciiStl(facets)), -1);
  EXPECT_EQ(Load(mesh, AsciiStl(facets)), -4);
  EXPECT_THAT(user.boxes(), SizeIs(1));
}

TEST(StlImport, AsciiFileWithoutFacetsIsAnEmptyMesh) {
  CTL mesh;
  EXPECT_EQ(Load(mesh, "solid nothing\nfacet\nendsolid\n"), 0);
  EXPECT_EQ(mesh.num_triangles(), 0);
}

TEST(StlImport, AsciiNeedsATokenInTheFirstLineAndFacetInTheSecond) {
  CTL mesh;
  EXPECT_EQ(ReadAsciiText(mesh, ""), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "\nfacet\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "   \r\nfacet\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid\n\nfacet\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid\nfacets\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid\nface\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "solid\nfacet\tnormal\n"), -1);
  EXPECT_EQ(ReadAsciiText(mesh, "\t\nfacet"), 0);  // a tab is a token
  EXPECT_EQ(ReadAsciiText(mesh, "  x\r\n   FaCeT\r\n"), 0);
}

TEST(StlImport, OuterMustBeAWholeToken) {
  for (const char* word : {"outer", "OUTER", "  outer loop", "outer\r", "outer  \r", "oUtEr x y z"}) {
    CTL mesh;
    EXPECT_EQ(ReadAsciiText(mesh, TwoFacetsWith("outer", word)), 0) << word;
    EXPECT_EQ(mesh.num_triangles(), 2) << word;
  }
  // Then only one facet is left, which is refused.
  for (const char* word : {"outerloop", "out", "\touter", "outer\t", "loop outer", "outer\rloop"}) {
    CTL mesh;
    EXPECT_EQ(ReadAsciiText(mesh, TwoFacetsWith("outer", word)), -1) << word;
  }
}

TEST(StlImport, CornerLinesAreLexedByWhiteSpace) {
  for (const char* line :
       {"v 1 0 0", "\tvertex\t1\t0\t0\r", "1 1 0 0", "v +1.0 -0 .0", "v 1. 0e5 0E-3", "v 10e-1 0 0 7 8 9",
        "v 0.1e+1 0 0v", "v 1\v0\f0", "x 1-0+0", "v 1 0 0,", "v 1.0.0 0", "nan 1 0 0"}) {
    CTL mesh;
    EXPECT_EQ(ReadAsciiText(mesh, TwoFacetsWith("v 1 0 0", line)), 0) << line;
    EXPECT_EQ(VerticesOf(mesh),
              VerticesOf(test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {})))
        << line;
  }
}

TEST(StlImport, CornerLinesNeedAWordAndThreeDecimalNumbers) {
  for (const char* line : {"", " ", "v", "v 1", "v 1 0", "1 0 0", "v 1 0 nan", "v inf 0 0", "v 1 0 infinity",
                           "v 0x1 0 0", "v 1 0 0x0", "v 1,5 0 0", "v 1 0 e", "v 1 0 .", "v 1 0 -",
                           "v 1 0 +-1", "v 1 0 0e", "v 1 0 0e+", "v 1 0 x"}) {
    CTL mesh;
    EXPECT_EQ(ReadAsciiText(mesh, TwoFacetsWith("v 1 0 0", line)), -1) << line;
  }
}

TEST(StlImport, AsciiNumbersAreCorrectlyRounded) {
  const struct {
    const char* text;
    float value;
  } kNumbers[] = {
      {"0.1", 0.1f},
      {"16777217", 16777216.0f},  // half-way: to even
      {"16777217.0000000000000000000000000000001", 16777218.0f},
      {"1.00000005960464477539062", 1.0f},  // just below half-way to the next float
      {"1.000000059604644775390625", 1.0f},
      {"1.0000000596046447753906250001", 0x1.000002p0f},
      {"3.4028235e38", std::numeric_limits<float>::max()},
      {"1e39", kInfinity},
      {"0.000001e99999999999", kInfinity},
      {"1e-46", 0.0f},
      {"1e-99999999999", 0.0f},
      {"1.401298464e-45", 0x1p-149f},
      {"1.1754942e-38", 0x1.fffffcp-127f},
      {"00000000000000000000000000000000000000000000000000012.5", 12.5f},
      {"12500000000000000000000000000000e-30", 12.5f},
  };
  for (const auto& number : kNumbers) {
    CTL mesh;
    ASSERT_EQ(ReadAsciiText(mesh, TwoFacetsWith("v 1 0 0", std::string("v ") + number.text + " 7 7")), 0);
    EXPECT_EQ(VerticesOf(mesh)[1], (Point{number.value, 7, 7})) << number.text;
    CTL negative;
    ASSERT_EQ(ReadAsciiText(negative, TwoFacetsWith("v 1 0 0", std::string("v -") + number.text + " 7 7")),
              0);
    EXPECT_EQ(VerticesOf(negative)[1], (Point{-number.value, 7, 7})) << number.text;
  }
}

TEST(StlImport, LineOf1023BytesIsWholeAndALongerOneContinues) {
  // "outer" behind 1018 blanks ends at byte 1023; one blank more cuts its last letter off.
  CTL whole;
  EXPECT_EQ(ReadAsciiText(whole, TwoFacetsWith("outer\n", std::string(1018, ' ') + "outer")), 0);
  CTL cut;
  EXPECT_EQ(ReadAsciiText(cut, TwoFacetsWith("outer\n", std::string(1019, ' ') + "outer\n")), -1);
  // What is cut off is the next line: the first corner stands behind 1023 bytes of the outer line.
  CTL continued;
  ASSERT_EQ(ReadAsciiText(continued, TwoFacetsWith("outer\nv", "outer" + std::string(1018, ' ') + "v")), 0);
  EXPECT_EQ(VerticesOf(continued)[0], (Point{0, 0, 0}));
  EXPECT_EQ(continued.num_vertices(), 4);
}

TEST(StlImport, TextOfALineEndsAtTheFirstNul) {
  using namespace std::string_literals;
  CTL hidden;
  EXPECT_EQ(ReadAsciiText(hidden, TwoFacetsWith("outer", "\0outer"s)), -1);
  CTL shown;
  EXPECT_EQ(ReadAsciiText(shown, TwoFacetsWith("outer", "outer\0loop"s)), 0);
  CTL cut;
  EXPECT_EQ(ReadAsciiText(cut, TwoFacetsWith("v 1 0 0", "v 1 0\0 0"s)), -1);
  CTL after;
  EXPECT_EQ(ReadAsciiText(after, TwoFacetsWith("v 1 0 0", "v 1 0 0\0x"s)), 0);
  CTL empty;
  EXPECT_EQ(ReadAsciiText(empty, "\0solid\nfacet\n"s), -1);
}

TEST(StlImport, FailingAsciiTextLeavesAcceptPartialAsItIs) {
  MessageBoxRecorder user;
  CTL mesh;
  int accept_partial = 1;
  const Stream stream = StreamOf(TwoFacetsWith("v 1 0 0", "v 1 0 " + std::string(100, 'n')));
  EXPECT_NE(mesh.LoadSTLFile(stream.get(), 1, &accept_partial, 0, 0, 0), trq::stl_import::kNoHeader);
  EXPECT_EQ(accept_partial, 1);
}

// ---------------------------------------------------------------------------------------------------------
// Merging

class Merging : public testing::Test {
 protected:
  void Add(const float (&corners)[3][3]) { bag_.append(BagFacet(corners)); }
  int Create(float tolerance) { return mesh_.create(bag_, tolerance, trq::units::kMillimetre, 0); }
  std::vector<Indices> Triangles() { return TrianglesOf(mesh_); }

  TriangleBAG bag_;
  CTL mesh_;
};

TEST_F(Merging, CornersHalfATolerancePartMergeAndAWholeOneDoNot) {
  Add({{10, 10, 10}, {10.25f, 10.25f, 10.25f}, {10.5f, 10, 10}});
  ASSERT_EQ(Create(0.5f), 0);
  EXPECT_THAT(VerticesOf(mesh_), ElementsAre(Point{10, 10, 10}, Point{10.5f, 10, 10}));
  // (10.5, 10, 10) lies within the tolerance of the middle corner too, but that one is no vertex.
  EXPECT_THAT(Triangles(), ElementsAre(Indices{0, 0, 1}));
}

TEST_F(Merging, BucketDecidesNotTheCell) {
  // At t = 0.5 the cells of x = 0.25 and x = 0.6 are 0 and 1; their hashes are 0 and trunc(15.65) = 15. Three
  // facets bring both into bucket 0, two facets do not.
  Add({{0.25f, 0, 0}, {0.6f, 0, 0}, {9, 9, 9}});
  Add({{9, 9, 9}, {9, 9, 9}, {9, 9, 9}});
  ASSERT_EQ(Create(0.5f), 0);
  EXPECT_EQ(mesh_.num_vertices(), 3);
  Add({{9, 9, 9}, {9, 9, 9}, {9, 9, 9}});
  ASSERT_EQ(Create(0.5f), 0);
  EXPECT_EQ(mesh_.num_vertices(), 2);
  EXPECT_EQ(Triangles()[0], (Indices{0, 0, 1}));
}

TEST_F(Merging, FirstVertexOfTheBucketComesFirst) {
  // At t = 1 all x between -1 and 1 lie in cell 0, with hash 0. The two ends do not match each other.
  Add({{-0.75f, 0, 0}, {0, 0, 0}, {0.75f, 0, 0}});
  ASSERT_EQ(Create(1), 0);
  EXPECT_THAT(VerticesOf(mesh_), ElementsAre(Point{-0.75f, 0, 0}, Point{0.75f, 0, 0}));
  EXPECT_THAT(Triangles(), ElementsAre(Indices{0, 0, 1}));
}

TEST_F(Merging, BehindTheFirstTheNewestMatchCounts) {
  // As above behind a vertex that matches none of them.
  Add({{0, 0.75f, 0}, {-0.75f, -0.75f, 0}, {0, -0.75f, 0}});
  Add({{0.75f, -0.75f, 0}, {0, 0.75f, 0}, {0, 0.75f, 0}});
  ASSERT_EQ(Create(1), 0);
  EXPECT_EQ(mesh_.num_vertices(), 3);
  EXPECT_THAT(Triangles(), ElementsAre(Indices{0, 1, 2}, Indices{2, 0, 0}));
}

TEST_F(Merging, NothingMergesWithoutATolerance) {
  for (const float tolerance : {0.0f, -1.0f, kNan}) {
    Add({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}});
    EXPECT_EQ(Create(tolerance), -1);
  }
}

TEST_F(Merging, AnInfiniteToleranceMergesAllFinitePoints) {
  Add({{1, 2, 3}, {-3e38f, 3e38f, 0}, {kInfinity, 0, 0}});
  ASSERT_EQ(Create(kInfinity), 0);
  EXPECT_EQ(mesh_.num_vertices(), 2);
  EXPECT_THAT(Triangles(), ElementsAre(Indices{0, 0, 1}));
}

TEST_F(Merging, CornersThatAreNoNumbersStayVerticesOfTheirOwn) {
  Add({{kNan, 0, 0}, {kNan, 0, 0}, {1, 0, 0}});
  Add({{kInfinity, 0, 0}, {kInfinity, 0, 0}, {1, 0, 0}});
  ASSERT_EQ(Create(1e-4f), 0);
  EXPECT_EQ(mesh_.num_vertices(), 5);
  EXPECT_THAT(Triangles(), ElementsAre(Indices{0, 1, 2}, Indices{3, 4, 2}));
}

TEST_F(Merging, BothZerosAreOnePoint) {
  Add({{0, 0, 0}, {-0.0f, -0.0f, -0.0f}, {1, 1, 1}});
  ASSERT_EQ(Create(1e-4f), 0);
  EXPECT_EQ(mesh_.num_vertices(), 2);
  EXPECT_FALSE(std::signbit(mesh_.vertices()[0][0]));
}

TEST_F(Merging, CreateTakesTheAttributes) {
  bag_.append(BagFacet({{1, 1, 1}, {1, 1, 1}, {2, 1, 1}}, -7));
  ASSERT_EQ(Create(1e-4f), 0);
  EXPECT_THAT(test_support::AttributesOf(mesh_), ElementsAre(-7));
}

TEST_F(Merging, CreateTakesTheRecordsOfABagThatOverflowed) {
  TriangleBAG small(1, 2);
  small.append(BagFacet({{1, 1, 1}, {1, 1, 1}, {2, 1, 1}}));
  small.append(BagFacet({{1, 1, 1}, {1, 1, 1}, {3, 1, 1}}));
  testing::internal::CaptureStderr();
  EXPECT_THROW(small.append(BagFacet({{1, 1, 1}, {1, 1, 1}, {4, 1, 1}})), int);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(mesh_.create(small, 1e-4f, trq::units::kMillimetre, 0), 0);
  EXPECT_EQ(mesh_.num_triangles(), 2);
  EXPECT_EQ(mesh_.num_vertices(), 3);
}

TEST_F(Merging, RefusedCreateChangesTheUnitsOnly) {
  Add({{1, 1, 1}, {1, 1, 1}, {2, 1, 1}});
  ASSERT_EQ(Create(1e-4f), 0);
  TriangleBAG single;
  single.append(BagFacet({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}}));
  EXPECT_EQ(mesh_.create(single, 1e-4f, trq::units::kInch, 0), -1);
  EXPECT_EQ(mesh_.header.units, trq::units::kInch);
  EXPECT_EQ(mesh_.num_vertices(), 2);
  EXPECT_EQ(mesh_.num_triangles(), 1);
}

TEST(StlImport, NanCornerFailsTheNormals) {
  auto facets = TetrahedronFacets();
  facets[3].corners[1][1] = kNan;
  CTL mesh;
  EXPECT_EQ(Load(mesh, BinaryStl(facets)), 1);
  EXPECT_EQ(mesh.num_triangles(), 4);
  EXPECT_EQ(mesh.num_vertices(), 5);
}

// ---------------------------------------------------------------------------------------------------------
// Coarsening

TEST(Approximate, TargetNotBelowTheFacetCountDoesNothing) {
  CTL mesh = test_support::Cube();
  const auto vertices = VerticesOf(mesh);
  const auto triangles = TrianglesOf(mesh);
  EXPECT_EQ(mesh.approximate(12), 0);
  EXPECT_EQ(mesh.approximate(1000), 0);
  EXPECT_EQ(VerticesOf(mesh), vertices);
  EXPECT_EQ(TrianglesOf(mesh), triangles);
}

TEST(Approximate, MergesIntoTheEarliestVertexAndDropsDegenerates) {
  // Area 4 and a target of 4 make a tolerance of 1, hashes as for any t = 1: the two vertices near the origin
  // lie in cell 0 and merge, those at 2 and beyond do not.
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {0.5f, 0, 0}, {4, 0, 0}, {0, 2, 0}, {0.5f, 0.5f, 0}},
                                    {{0, 2, 3}, {0, 1, 4}, {1, 1, 1}, {4, 4, 4}, {0, 0, 0}});
  // 4 from the first triangle, 0.125 from the second; target 5 would not be below the count.
  ASSERT_NEAR(mesh.area(), 4.125f, 1e-6);
  ASSERT_EQ(mesh.approximate(4), 1);
  EXPECT_THAT(VerticesOf(mesh), ElementsAre(Point{0, 0, 0}, Point{4, 0, 0}, Point{0, 2, 0}));
  EXPECT_THAT(TrianglesOf(mesh), ElementsAre(Indices{0, 1, 2}));
}

TEST(Approximate, KeepsZeroedRoomForTheLargestIndex) {
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 3}, {0, 1, 2}});
  ASSERT_EQ(mesh.approximate(1), 1);
  ASSERT_GT(mesh.vertices_.size(), 3u);
  EXPECT_EQ(mesh.Calculate_normals(), 0);
}

TEST(Approximate, LeavesNormalsAndBoxAsTheyAre) {
  CTL mesh = test_support::Sphere(10, 20, 20);
  ASSERT_EQ(mesh.Calculate_normals(), 0);
  const std::size_t normals = mesh.normals_.size();
  float x, y, z;
  mesh.get_max(&x, &y, &z);
  ASSERT_EQ(mesh.approximate(50), 1);
  EXPECT_EQ(mesh.normals_.size(), normals);
  EXPECT_EQ(mesh.extents_valid, 1);
  EXPECT_EQ(mesh.max[0], x);
  EXPECT_LT(mesh.num_triangles(), 760);
}

TEST(Approximate, SurvivesSenselessTargets) {
  for (const int target : {0, -1, std::numeric_limits<int>::min()}) {
    CTL mesh = test_support::Cube();
    EXPECT_EQ(mesh.approximate(target), 1) << target;
    CTL empty;
    EXPECT_EQ(empty.approximate(target), target < 0 ? 1 : 0) << target;
  }
}

}  // namespace
