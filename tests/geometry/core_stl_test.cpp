#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/geometry/stl_builder.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/core/stl.h"

namespace {

using test_support::AsciiStl;
using test_support::BinaryStl;
using test_support::StlFacet;
using test_support::TetrahedronFacets;
using trq::Bytes;
using trq::core::ByteSink;
using trq::core::ErrorCode;
using trq::core::MemorySink;
using trq::core::MemorySource;
using trq::core::Mesh;
using trq::core::ReadStl;
using trq::core::Result;
using trq::core::StlForm;
using trq::core::StlReading;
using trq::core::StlReport;
using trq::core::StlWriting;
using trq::core::WriteStl;

Bytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

Result<Mesh> Read(const std::string& bytes, StlReport& report, bool accept_partial = false) {
  MemorySource source(BytesOf(bytes));
  StlReading how;
  how.accept_partial = accept_partial;
  return ReadStl(source, how, &report);
}

/// Memory that does not say how much of it there is, as a pipe.
class UnknownEnd : public MemorySource {
 public:
  using MemorySource::MemorySource;
  std::optional<std::uint64_t> Remaining() override { return std::nullopt; }
};

TEST(CoreStl, ReadsAllSolidsIntoOneMeshWithNormals) {
  const std::string bytes =
      BinaryStl(TetrahedronFacets(), "first") + BinaryStl(TetrahedronFacets(5), "second");
  StlReport report;
  const Result<Mesh> mesh = Read(bytes, report);
  ASSERT_TRUE(mesh);
  EXPECT_EQ(mesh->header.num_vertices, 8);
  EXPECT_EQ(mesh->header.num_triangles, 8);
  EXPECT_EQ(mesh->header.units, trq::units::kMillimetre);
  EXPECT_EQ(std::string(mesh->header.stl_header), "first");
  ASSERT_EQ(mesh->normals.size(), 8u);
  EXPECT_EQ(mesh->normals[0].z, -1);  // o, b, a: the bottom
  EXPECT_EQ(mesh->normals[4].z, -1);
  EXPECT_EQ(report.form, StlForm::kBinary);
  EXPECT_FALSE(report.begins_as_text);
  ASSERT_EQ(report.solids.size(), 2u);
  EXPECT_EQ(report.solids[1].announced, 4);
  EXPECT_EQ(report.solids[1].present, 4);
  EXPECT_EQ(report.end, bytes.size());
}

TEST(CoreStl, TellsWhereBytesBeginThatBelongToNoSolid) {
  const std::string solid = BinaryStl(TetrahedronFacets());
  for (const std::string& behind : {std::string("x"), std::string(84, '\0'), std::string(200, '\xFF')}) {
    StlReport report;
    ASSERT_TRUE(Read(solid + behind, report));
    EXPECT_EQ(report.end, 284u);
    ASSERT_EQ(report.solids.size(), 1u);
  }
}

TEST(CoreStl, EveryShorterBinaryFileSaysWhatIsMissing) {
  const std::string whole = BinaryStl(TetrahedronFacets());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    StlReport report;
    const Result<Mesh> mesh = Read(whole.substr(0, size), report);
    ASSERT_FALSE(mesh) << size;
    EXPECT_EQ(mesh.error().code, size < 80   ? ErrorCode::kUnknownFormat
                                 : size < 84 ? ErrorCode::kBadCount
                                             : ErrorCode::kCutShort)
        << size;
    if (size < 84) continue;
    EXPECT_EQ(report.solids.at(0).announced, 4);
    EXPECT_EQ(report.solids.at(0).present, static_cast<std::int64_t>((size - 84) / 50));
    EXPECT_EQ(report.end, 0u);
  }
}

TEST(CoreStl, TakesTheFacetsPresentWhenAskedTo) {
  const std::string cut = BinaryStl(TetrahedronFacets()).substr(0, 84 + 3 * 50 + 49);
  StlReport report;
  const Result<Mesh> mesh = Read(cut, report, true);
  ASSERT_TRUE(mesh);
  EXPECT_EQ(mesh->header.num_triangles, 3);
  EXPECT_EQ(report.solids.at(0).announced, 4);
  EXPECT_EQ(report.solids.at(0).present, 3);
  UnknownEnd piped(BytesOf(cut));
  StlReading how;
  how.accept_partial = true;
  StlReport of_pipe;
  const Result<Mesh> from_pipe = ReadStl(piped, how, &of_pipe);
  ASSERT_TRUE(from_pipe);
  EXPECT_EQ(from_pipe->header.num_triangles, 3);
  EXPECT_EQ(of_pipe.solids.at(0).present, 3);
}

TEST(CoreStl, AHostileCountTakesNoMoreThanIsThere) {
  const std::string bytes = BinaryStl(TetrahedronFacets(), "much", 0x7FFFFFFF);
  StlReport report;
  EXPECT_EQ(Read(bytes, report).error().code, ErrorCode::kCutShort);
  EXPECT_EQ(report.solids.at(0).announced, 0x7FFFFFFF);
  EXPECT_EQ(report.solids.at(0).present, 4);
  const Result<Mesh> mesh = Read(bytes, report, true);
  ASSERT_TRUE(mesh);
  EXPECT_EQ(mesh->header.num_triangles, 4);
  EXPECT_EQ(Read(BinaryStl(TetrahedronFacets(), "none", 0), report).error().code, ErrorCode::kBadCount);
  EXPECT_EQ(Read(BinaryStl(TetrahedronFacets(), "negative", 0x80000001), report).error().code,
            ErrorCode::kBadCount);
  EXPECT_EQ(report.solids.at(0).announced, -0x7FFFFFFF);
}

TEST(CoreStl, ASingleFacetIsNoSurface) {
  const std::vector<StlFacet> one(1, TetrahedronFacets()[0]);
  StlReport report;
  EXPECT_EQ(Read(BinaryStl(one), report).error().code, ErrorCode::kNoSurface);
  EXPECT_FALSE(report.text_error);
  EXPECT_FALSE(Read(AsciiStl(one), report));  // tried as a binary file afterwards
  ASSERT_TRUE(report.text_error);
  EXPECT_EQ(report.text_error->code, ErrorCode::kNoSurface);
}

TEST(CoreStl, NamesTheFacetWithACoordinateThatIsNoNumber) {
  std::vector<StlFacet> facets = TetrahedronFacets();
  facets[2].corners[1][2] = std::numeric_limits<float>::quiet_NaN();
  StlReport report;
  const Result<Mesh> mesh = Read(BinaryStl(facets), report);
  ASSERT_FALSE(mesh);
  EXPECT_EQ(mesh.error().code, ErrorCode::kBadNumber);
  EXPECT_EQ(mesh.error().place.item, 2u);
}

TEST(CoreStl, ReadsTextToTheEnd) {
  const std::string text = AsciiStl(TetrahedronFacets());
  StlReport report;
  const Result<Mesh> mesh = Read(text, report);
  ASSERT_TRUE(mesh);
  EXPECT_EQ(mesh->header.num_triangles, 4);
  EXPECT_EQ(report.form, StlForm::kAscii);
  EXPECT_TRUE(report.begins_as_text);
  EXPECT_TRUE(report.solids.empty());
  EXPECT_EQ(report.end, text.size());
}

TEST(CoreStl, NamesTheLineThatIsNoCorner) {
  std::string text = AsciiStl(TetrahedronFacets());
  // The second facet's second corner: line 2 + 7 + 3 = 12; "      vertex " is 13 bytes, "1 " two.
  const std::string line = "      vertex 1 0,5 0";
  std::size_t begin = 0;
  for (int i = 1; i < 12; ++i) begin = text.find('\n', begin) + 1;
  text.replace(begin, text.find('\n', begin) - begin, line + "\r");
  StlReport report;
  EXPECT_FALSE(Read(text, report));
  ASSERT_TRUE(report.text_error);
  EXPECT_EQ(report.text_error->code, ErrorCode::kBadNumber);
  EXPECT_EQ(report.text_error->place.line, 12u);
  EXPECT_EQ(report.text_error->place.item, 1u);
  EXPECT_EQ(report.text_error->text, line);
  EXPECT_EQ(report.text_error->place.column, line.find(",5") + 1);
}

TEST(CoreStl, EveryShorterTextIsReadOrSaysWhereItEnds) {
  const std::string whole = AsciiStl(TetrahedronFacets());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string text = whole.substr(0, size);
    StlReport report;
    const Result<Mesh> mesh = Read(text, report);
    if (mesh) {
      EXPECT_NE(mesh->header.num_triangles, 1) << size;  // would be no surface
    } else if (report.text_error && report.text_error->code == ErrorCode::kCutShort) {
      EXPECT_EQ(report.text_error->text, "the file ends");
      const auto lines = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
      EXPECT_EQ(report.text_error->place.line, lines + (text.back() == '\n' ? 1 : 2)) << size;
    }
  }
}

TEST(CoreStl, AMissingFileCannotBeOpened) {
  const test_support::TempDir folder;
  const Result<Mesh> mesh = trq::core::ReadStlFile((folder.path() / "none.stl").string(), {});
  ASSERT_FALSE(mesh);
  EXPECT_EQ(mesh.error().code, ErrorCode::kCannotOpen);
  EXPECT_EQ(mesh.error().system_error, ENOENT);
}

TEST(CoreStl, WritesTheRecordsWithTheNormalsAsTheyAre) {
  CTL mesh = test_support::Tetrahedron(2);
  mesh.Calculate_normals();
  mesh.nth(1)[3] = -1;
  StlWriting how;
  how.keep_normals = true;
  how.header = "mine";
  MemorySink sink;
  ASSERT_TRUE(WriteStl(mesh.view(), how, sink));
  std::vector<StlFacet> facets;
  for (int i = 0; i < 4; ++i) {
    StlFacet facet{};
    for (int k = 0; k < 3; ++k) {
      for (int c = 0; c < 3; ++c) facet.corners[k][c] = mesh.vertices()[mesh.nth(i)[k]][c];
    }
    const VECTOR n = mesh.normals()[i];
    facet.normal[0] = n.x;
    facet.normal[1] = n.y;
    facet.normal[2] = n.z;
    facet.attribute = i == 1 ? 0xFFFF : 0;
    facets.push_back(facet);
  }
  EXPECT_EQ(std::string(sink.bytes.begin(), sink.bytes.end()), BinaryStl(facets, "mine"));
  EXPECT_EQ(sink.bytes.size(), trq::core::BinaryStlSize(4));
  // Placed, the attribute that is negative as 16 bits is 0.
  how.keep_normals = false;
  MemorySink placed;
  ASSERT_TRUE(WriteStl(mesh.view(), how, placed));
  facets[1].attribute = 0;
  EXPECT_EQ(placed.bytes[84 + 50 + 48], 0);
}

TEST(CoreStl, WritesText) {
  const CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 2.5f, 0}}, {{0, 1, 2}});
  StlWriting how;
  how.form = StlForm::kAscii;
  MemorySink sink;
  ASSERT_TRUE(WriteStl(mesh.view(), how, sink));
  EXPECT_EQ(std::string(sink.bytes.begin(), sink.bytes.end()),
            "solid Kestrabin STL\n"
            "  facet normal 0.000000e+00 0.000000e+00 0.000000e+00\n"
            "    outer loop\n"
            "      vertex   0.000000e+00 0.000000e+00 0.000000e+00\n"
            "      vertex   1.000000e+00 0.000000e+00 0.000000e+00\n"
            "      vertex   0.000000e+00 2.500000e+00 0.000000e+00\n"
            "    endloop\n"
            "  endfacet\n"
            "endsolid\n");
}

class FullSink : public ByteSink {
 public:
  bool Write(const void*, std::size_t) override { return false; }
  bool failed() const override { return true; }
};

TEST(CoreStl, SaysThatTheSinkFailed) {
  const CTL mesh = test_support::Tetrahedron();
  FullSink sink;
  const Result<void> written = WriteStl(mesh.view(), {}, sink);
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().code, ErrorCode::kWriteFailed);
}

TEST(CoreStl, StampHoldsUntilAFacetChanges) {
  EXPECT_EQ(trq::core::StlStamp(3, 1).size(), 80u);
  std::string file = "part CRC ";
  file.resize(80);
  file += std::string("\x01\0\0\0", 4) + std::string(50, '\0');
  std::vector<unsigned char> bytes(file.begin(), file.end());
  trq::core::StampStl(bytes);
  // CRC-32 register, not inverted at its end, of 50 zero bytes.
  std::uint32_t sum = 0xFFFFFFFFu;
  for (int bit = 0; bit < 50 * 8; ++bit) sum = sum >> 1 ^ (sum & 1u ? 0xEDB88320u : 0u);
  const std::string text(bytes.begin(), bytes.begin() + 80);
  EXPECT_EQ(text.c_str(), "part CRC " + std::to_string(sum));
  EXPECT_TRUE(trq::core::StlStampHolds(bytes));
  bytes[90] = 1;
  EXPECT_FALSE(trq::core::StlStampHolds(bytes));
}

}  // namespace
