#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "geometry/stl_text.h"
#include "host/system.h"
#include "tests/geometry/literal_mesh.h"
#include "tests/geometry/stl_builder.h"
#include "tests/support/byte_builder.h"
#include "tests/support/documented_bytes.h"
#include "tests/support/meshes.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/rounds.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using test_support::BinaryStl;
using test_support::ByteBuilder;
using test_support::CrcRegister;
using test_support::MessageBoxRecorder;
using test_support::StlFacet;
using test_support::Stream;
using test_support::TempDir;
using test_support::WorkingDirectory;
using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Matrix {
  float m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

/// A quarter turn about z, then a move by (10, 20, 30).
Matrix TurnAndMove() { return {{{0, -1, 0, 10}, {1, 0, 0, 20}, {0, 0, 1, 30}, {0, 0, 0, 1}}}; }

/// Two facets with attributes and normals that are not those of the corners.
CTL TwoFacets() {
  CTL mesh = test_support::MakeMesh({{1, 2, 3}, {4, 2, 3}, {1, 6, 3}, {1, 2, 8}}, {{0, 1, 2}, {1, 0, 3}});
  mesh.nth(0)[3] = 513;
  mesh.nth(1)[3] = -1;
  mesh.normals_.reset(2);
  mesh.normals_[0] = VECTOR(0, 0, 4);
  mesh.normals_[1] = VECTOR(3, 4, 0);
  return mesh;
}

/// Those facets as TurnAndMove places them: (x, y, z) goes to (10 - y, 20 + x, 30 + z).
std::vector<StlFacet> TwoFacetsPlaced() {
  return {{{{8, 21, 33}, {8, 24, 33}, {4, 21, 33}}, 513, {0, 0, 1}},
          {{{8, 24, 33}, {8, 21, 33}, {8, 21, 38}}, 0, {-0.8f, 0.6f, 0}}};
}

std::string Stamp(int number) {
  return "Kestrabin 1.5 " + trq::host::HostName() + " " + trq::host::LoginName() + " " +
         std::to_string(number) + " CRC ";
}

std::string ChecksumHeader(const std::string& stamp, uint32_t count_crc) {
  return ByteBuilder().Text(stamp, 76).U32(count_crc).bytes();
}

// ---------------------------------------------------------------------------------------------------------
// Headers

TEST(StlExport, FixedHeader) {
  CTL mesh;
  const Stream stream = test_support::StreamOf("");
  EXPECT_EQ(mesh.SaveSTLHeader(stream.get(), 0x01020304), 1);
  EXPECT_EQ(test_support::BytesOf(stream.get()),
            ByteBuilder().Text("Kestrabin STL", 80).U32(0x01020304).bytes());
}

TEST(StlExport, FixedHeaderOnANullStreamDoesNothing) {
  CTL mesh;
  EXPECT_EQ(mesh.SaveSTLHeader(nullptr, 4), 1);
}

TEST(StlExport, StampNamesComputerUserAndNumberAndChecksTheCount) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("part.stl").c_str(), unit.m, 0, -42), 0);
  // The checksum register after the bytes 02 00 00 00.
  EXPECT_EQ(dir.Read("part.stl").substr(0, 84),
            ChecksumHeader(Stamp(-42), 0x74B2E868u) + ByteBuilder().U32(2).bytes());
}

TEST(StlFormatDocument, ExampleIsWhatTheLibraryReadsWritesAndStamps) {
  const std::string documented = test_support::DocumentedBytes("stl.md");
  ASSERT_EQ(documented.size(), 184u);
  const TempDir dir;
  const std::string path = dir.Write("square.stl", documented);
  CTL mesh;
  EXPECT_TRUE(mesh.crcValidateSTLFile(path.c_str()));
  const Stream stream(std::fopen(path.c_str(), "rb"));
  ASSERT_EQ(mesh.LoadSTLFile(stream.get(), trq::units::kMillimetre, nullptr, 0, 0, 0), 0);
  EXPECT_EQ(mesh.num_vertices(), 4);
  EXPECT_EQ(mesh.num_triangles(), 2);
  EXPECT_EQ(mesh.nth(1)[3], 1);
  // Written again it has this computer's names in its header, and the same checksum of the count behind them.
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(path.c_str(), unit.m, 0, 7), 0);
  EXPECT_EQ(test_support::Hex(dir.Read("square.stl").substr(76)), test_support::Hex(documented.substr(76)));
  // Without the digits of its stamp, the example gets them again.
  std::string unstamped = documented;
  std::fill_n(unstamped.begin() + 28, 10, '\0');
  dir.Write("square.stl", unstamped);
  EXPECT_FALSE(mesh.crcValidateSTLFile(path.c_str()));
  mesh.crcSTLFile(path.c_str());
  EXPECT_EQ(test_support::Hex(dir.Read("square.stl")), test_support::Hex(documented));
}

TEST(StlFormatDocument, TextFormIsWhatTheLibraryWrites) {
  const std::string page = test_support::ReadFile(TRQ_SOURCE_DIR "/docs/formats/stl.md");
  const std::size_t begin = page.find("solid Kestrabin"), end = page.find("endsolid\n") + 9;
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}}, {{0, 1, 2}});
  ASSERT_EQ(mesh.Calculate_normals(), 0);
  const TempDir dir;
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("a.stl").c_str(), unit.m, 0), 0);
  EXPECT_EQ(dir.Read("a.stl"), page.substr(begin, end - begin));
}

TEST(StlExport, PathWithoutAnyOfTheLettersGetsThePlainStamp) {
  const TempDir dir;
  std::filesystem::create_directory(dir.path() / "OUT");  // for systems where it is one
  const WorkingDirectory here(dir.path());
  CTL mesh = TwoFacets();
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL("OUT\\A1", unit.m, 0, 7), 0);
  EXPECT_EQ(dir.Read(dir.Has("OUT/A1") ? "OUT/A1" : "OUT\\A1").substr(0, 80),
            ByteBuilder().Text(Stamp(7), 80).bytes());
}

TEST(StlExport, KeptAnyOneOfTheLettersAsksForTheChecksum) {
  const TempDir dir;
  const WorkingDirectory here(dir.path());
  CTL mesh = TwoFacets();
  Matrix unit;
  for (const char* name : {"A_", "As", "A.B", "At", "lA"}) {
    ASSERT_EQ(mesh.SaveCTLasBinarySTL(name, unit.m, 0, 7), 0);
    EXPECT_EQ(dir.Read(name).substr(0, 80), ChecksumHeader(Stamp(7), 0x74B2E868u)) << name;
  }
}

// ---------------------------------------------------------------------------------------------------------
// Binary records

TEST(StlExport, BinaryFileHasPlacedFacets) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  Matrix matrix = TurnAndMove();
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("placed.stl").c_str(), matrix.m, 0, 1), 0);
  EXPECT_EQ(dir.Read("placed.stl").substr(80), BinaryStl(TwoFacetsPlaced()).substr(80));
}

TEST(StlExport, WritersLeaveTheMeshAlone) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  const auto vertices = test_support::VerticesOf(mesh);
  Matrix matrix = TurnAndMove();
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, 1, 1), 0);
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("b.stl").c_str(), matrix.m, 1), 0);
  EXPECT_EQ(test_support::VerticesOf(mesh), vertices);
  EXPECT_EQ(mesh.normals()[0].z, 4);
  EXPECT_THAT(test_support::AttributesOf(mesh), testing::ElementsAre(513, -1));
}

TEST(StlExport, ModifiedDataKeepsNormalsAndAttributesAsTheyAre) {
  CTL mesh = TwoFacets();
  Matrix matrix = TurnAndMove();
  const Stream stream = test_support::StreamOf("");
  EXPECT_EQ(mesh.SaveModifiedCTLDataAsSTL(stream.get(), 0, matrix.m), 1);
  auto facets = TwoFacetsPlaced();
  facets[0].normal[2] = 4;
  facets[1].normal[0] = 3;
  facets[1].normal[1] = 4;
  facets[1].attribute = 65535;
  EXPECT_EQ(test_support::BytesOf(stream.get()), BinaryStl(facets).substr(84));
}

TEST(StlExport, ANullMatrixIsAFailureThatWritesNothing) {
  const TempDir dir;
  test_support::MessageBoxRecorder boxes;
  CTL mesh = TwoFacets();
  const Stream stream = test_support::StreamOf("");
  EXPECT_EQ(mesh.SaveModifiedCTLDataAsSTL(stream.get(), 0, nullptr), 0);
  EXPECT_EQ(test_support::BytesOf(stream.get()), "");
  const std::string path = dir.File("a.stl");
  EXPECT_EQ(mesh.SaveCTLasBinarySTL(path.c_str(), nullptr, 0, 1), trq::mesh_io::kFailed);
  EXPECT_EQ(mesh.SaveCTLasAsciiSTL(path.c_str(), nullptr, 0), trq::mesh_io::kFailed);
  EXPECT_EQ(mesh.SaveCTLModel(path.c_str(), nullptr, 0), trq::mesh_io::kFailed);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(StlExport, ModifiedDataAnswersByStreamAndTriangles) {
  CTL mesh = TwoFacets();
  CTL empty;
  Matrix unit;
  EXPECT_EQ(mesh.SaveModifiedCTLDataAsSTL(nullptr, 0, unit.m), 0);
  EXPECT_EQ(empty.SaveModifiedCTLDataAsSTL(nullptr, 0, unit.m), 0);
  const Stream stream = test_support::StreamOf("");
  EXPECT_EQ(empty.SaveModifiedCTLDataAsSTL(stream.get(), 0, unit.m), 1);
  EXPECT_EQ(test_support::BytesOf(stream.get()), "");
}

TEST(StlExport, OnlyTheLow16BitsOfAnAttributeAreWritten) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  mesh.nth(0)[3] = 0x12347FFF;
  mesh.nth(1)[3] = 0x12348000;
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), unit.m, 0, 1), 0);
  const std::string bytes = dir.Read("a.stl");
  EXPECT_EQ(test_support::Hex(bytes.substr(84 + 48, 2)), "ff 7f");
  EXPECT_EQ(test_support::Hex(bytes.substr(134 + 48, 2)), "00 00");
  const Stream stream = test_support::StreamOf("");
  mesh.SaveModifiedCTLDataAsSTL(stream.get(), 0, unit.m);
  EXPECT_EQ(test_support::Hex(test_support::BytesOf(stream.get()).substr(50 + 48, 2)), "00 80");
}

TEST(StlExport, InchMatrixGoesThroughInches) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  Matrix matrix;
  matrix.m[0][3] = 2;  // two inches
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, 1, 1), 0);
  const std::string bytes = dir.Read("a.stl");
  constexpr std::size_t kCorner = 84 + 12;
  // (1, 2, 3) mm: each step rounds to float.
  const float x = static_cast<float>(static_cast<float>(static_cast<float>(1 * 0.03937008) + 2.0) * 25.4);
  const float z = static_cast<float>(static_cast<float>(3 * 0.03937008) * 25.4);
  EXPECT_EQ(test_support::FloatAt(bytes, kCorner), x);
  EXPECT_EQ(test_support::FloatAt(bytes, kCorner + 8), z);
}

TEST(StlExport, InchUnitMatrixRoundsCornersAtBothConversions) {
  const TempDir dir;
  CTL mesh = test_support::Sphere(37.5f, 12, 8, {100, -20, 3});
  ASSERT_EQ(mesh.Calculate_normals(), 0);
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), unit.m, 1, 1), 0);
  const std::string bytes = dir.Read("a.stl");
  ASSERT_EQ(bytes.size(), 84 + 50 * static_cast<std::size_t>(mesh.num_triangles()));
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) {
      const std::size_t corner = static_cast<std::size_t>(84 + 50 * i + 12 + 12 * k);
      const PbVec3f& vertex = mesh.vertices()[mesh.nth(i)[k]];
      for (int axis = 0; axis < 3; ++axis) {
        const float inches = static_cast<float>(vertex[axis] * 0.03937008);
        EXPECT_EQ(test_support::FloatAt(bytes, corner + 4 * static_cast<std::size_t>(axis)),
                  static_cast<float>(inches * 25.4));
      }
    }
  }
}

TEST(StlExport, ZeroAndMissingNormalsAreWrittenAsZero) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  mesh.normals_.reset(1);  // zero for the first, none for the second
  Matrix matrix = TurnAndMove();
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, 0, 1), 0);
  const std::string bytes = dir.Read("a.stl");
  EXPECT_EQ(bytes.substr(84, 12), std::string(12, '\0'));
  EXPECT_EQ(bytes.substr(134, 12), std::string(12, '\0'));
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("b.stl").c_str(), matrix.m, 0), 0);
  EXPECT_THAT(dir.Read("b.stl"),
              testing::HasSubstr("  facet normal 0.000000e+00 0.000000e+00 0.000000e+00\n"));
}

TEST(StlExport, NormalThatIsNoNumberIsDividedByOne) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  mesh.normals_[0] = VECTOR(kNan, 3, 4);
  Matrix unit;
  unit.m[1][0] = unit.m[2][0] = 0;
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("b.stl").c_str(), unit.m, 0), 0);
  // 0 * NaN makes every component NaN; the length is, too.
  EXPECT_THAT(dir.Read("b.stl"), testing::HasSubstr("facet normal nan nan nan"));
}

TEST(StlExport, CornersBeyondTheVerticesAreTheOrigin) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  mesh.nth(0) = R_INT4(4, 1000000, -5);
  Matrix matrix = TurnAndMove();
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, 0, 1), 0);
  const std::string origin = ByteBuilder().F32(10).F32(20).F32(30).bytes();
  EXPECT_EQ(dir.Read("a.stl").substr(84 + 12, 36), origin + origin + origin);
}

TEST(StlExport, MeshWithoutTrianglesIsAFileOfNoFacets) {
  const TempDir dir;
  CTL mesh;
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("none.stl").c_str(), unit.m, 0, 1), 0);
  // The checksum register after four zero bytes.
  EXPECT_EQ(dir.Read("none.stl"), ChecksumHeader(Stamp(1), 0xDEBB20E3u) + std::string(4, '\0'));
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("none.txt").c_str(), unit.m, 0), 0);
  EXPECT_EQ(dir.Read("none.txt"), "solid Kestrabin STL\nendsolid\n");
}

TEST(StlExport, LargeMeshCrossesBlocks) {
  const TempDir dir;
  CTL mesh = test_support::Sphere(10, 60, 60);
  ASSERT_EQ(mesh.Calculate_normals(), 0);
  Matrix unit;
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), unit.m, 0, 1), 0);
  const Stream stream(std::fopen(dir.File("a.stl").c_str(), "rb"));
  CTL back;
  int accept_partial = 0;
  ASSERT_EQ(back.LoadSTLFile(stream.get(), 1, &accept_partial, 0, 0, 0), 0);
  ASSERT_EQ(back.num_triangles(), mesh.num_triangles());
  EXPECT_EQ(back.num_vertices(), mesh.num_vertices());
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) {
      for (int axis = 0; axis < 3; ++axis) {
        ASSERT_EQ(back.vertices()[back.nth(i)[k]][axis], mesh.vertices()[mesh.nth(i)[k]][axis]);
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// Text

TEST(StlExport, AsciiFile) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  Matrix matrix = TurnAndMove();
  ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("a.stl").c_str(), matrix.m, 0), 0);
  EXPECT_EQ(dir.Read("a.stl"),
            "solid Kestrabin STL\n"
            "  facet normal 0.000000e+00 0.000000e+00 1.000000e+00\n"
            "    outer loop\n"
            "      vertex   8.000000e+00 2.100000e+01 3.300000e+01\n"
            "      vertex   8.000000e+00 2.400000e+01 3.300000e+01\n"
            "      vertex   4.000000e+00 2.100000e+01 3.300000e+01\n"
            "    endloop\n"
            "  endfacet\n"
            "  facet normal -8.000000e-01 6.000000e-01 0.000000e+00\n"
            "    outer loop\n"
            "      vertex   8.000000e+00 2.400000e+01 3.300000e+01\n"
            "      vertex   8.000000e+00 2.100000e+01 3.300000e+01\n"
            "      vertex   8.000000e+00 2.100000e+01 3.800000e+01\n"
            "    endloop\n"
            "  endfacet\n"
            "endsolid\n");
}

std::string Scientific(float v) {
  char text[40];
  char* const end = trq::detail::WriteScientific(text, v);
  EXPECT_LE(end - text, trq::detail::kScientificLength);
  return std::string(text, end);
}

std::string Printed(float v) {
  char text[40];
  std::snprintf(text, sizeof text, "%e", static_cast<double>(std::isnan(v) ? kNan : v));
  return text;
}

TEST(StlExport, NumbersAreTextsOfSevenDigits) {
  EXPECT_EQ(Scientific(0), "0.000000e+00");
  EXPECT_EQ(Scientific(-0.0f), "-0.000000e+00");
  EXPECT_EQ(Scientific(1), "1.000000e+00");
  EXPECT_EQ(Scientific(-123456.75f), "-1.234568e+05");
  EXPECT_EQ(Scientific(9999999), "9.999999e+06");
  EXPECT_EQ(Scientific(99999992), "9.999999e+07");
  EXPECT_EQ(Scientific(1.0000005f), "1.000000e+00");  // the float lies below half-way
  EXPECT_EQ(Scientific(16777215), "1.677722e+07");
  EXPECT_EQ(Scientific(10000005), "1.000000e+07");  // half-way: to even
  EXPECT_EQ(Scientific(10000015), "1.000002e+07");  // half-way: to even
  EXPECT_EQ(Scientific(0x1p-149f), "1.401298e-45");
  EXPECT_EQ(Scientific(std::numeric_limits<float>::max()), "3.402823e+38");
  EXPECT_EQ(Scientific(kInfinity), "inf");
  EXPECT_EQ(Scientific(-kInfinity), "-inf");
  EXPECT_EQ(Scientific(kNan), "nan");
  EXPECT_EQ(Scientific(-kNan), "nan");
}

TEST(NumberDifferential, TextsEqualThoseOfPrintf) {
  std::mt19937 random(20240607);
  for (uint32_t exponent = 0; exponent < 256; ++exponent) {
    for (int i = 0; i < test_support::Rounds(400); ++i) {
      uint32_t mantissa = static_cast<uint32_t>(random()) & 0x7FFFFF;
      if (i < 4) mantissa = i < 2 ? static_cast<uint32_t>(i) : 0x7FFFFF - static_cast<uint32_t>(i - 2);
      const uint32_t bits = (static_cast<uint32_t>(random()) & 0x80000000) | exponent << 23 | mantissa;
      float v;
      std::memcpy(&v, &bits, sizeof v);
      ASSERT_EQ(Scientific(v), Printed(v));
    }
  }
  // Decimal numbers lie close to what is rounded half-way.
  for (int i = 0; i < 50000; ++i) {
    const float v = static_cast<float>(static_cast<double>(random() % 100000001) / 10000.0 + 0.00005);
    ASSERT_EQ(Scientific(v), Printed(v));
  }
  for (double power = 1e-44; power < 2e38; power *= 10) {
    for (const float v : {static_cast<float>(power), std::nextafter(static_cast<float>(power), 0.0f),
                          std::nextafter(static_cast<float>(power), kInfinity)})
      ASSERT_EQ(Scientific(v), Printed(v));
  }
}

// ---------------------------------------------------------------------------------------------------------
// Files that cannot be written

constexpr char kNotSaved[] =
    "The STL file could not be saved. Probable causes might be :\n 1. The file did not have WRITE "
    "permission.\n 2. The file may not be in the same directory from which it was opened.";

TEST(StlExport, FileThatCannotBeCreatedIsReported) {
  const TempDir dir;
  CTL mesh = TwoFacets();
  Matrix unit;
  MessageBoxRecorder user;
  EXPECT_EQ(mesh.SaveCTLasBinarySTL(dir.File("no/such/folder.stl").c_str(), unit.m, 0, 1), 1);
  EXPECT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("no/such/folder.stl").c_str(), unit.m, 0), 1);
  ASSERT_THAT(user.boxes(), SizeIs(2));
  for (const auto& box : user.boxes()) {
    EXPECT_EQ(box.text, kNotSaved);
    EXPECT_EQ(box.buttons, unsigned{trq::message_box::kOkButton});
  }
}

TEST(StlExport, KeptCodeTellsOfCreatingOnly) {
  CTL mesh = TwoFacets();
  Matrix unit;
  MessageBoxRecorder user;
  EXPECT_EQ(mesh.SaveCTLasBinarySTL(test_support::FullDisk(), unit.m, 0, 1), 0);
  EXPECT_EQ(mesh.GetErrorCode(), ENOSPC);
  mesh.ClearError();
  EXPECT_EQ(mesh.SaveCTLasAsciiSTL(test_support::FullDisk(), unit.m, 0), 0);
  EXPECT_EQ(mesh.GetErrorCode(), ENOSPC);
  EXPECT_THAT(mesh.GetErrorMessage(), testing::HasSubstr("STL file write"));
  EXPECT_THAT(user.boxes(), SizeIs(0));
}

// ---------------------------------------------------------------------------------------------------------
// Checksum stamps

class StlChecksum : public testing::Test {
 protected:
  std::string Write(std::string_view header) {
    return dir_.Write("a.stl", BinaryStl(TwoFacetsPlaced(), header));
  }
  std::string Header() { return dir_.Read("a.stl").substr(0, 80); }

  const std::string records_ = BinaryStl(TwoFacetsPlaced()).substr(84);
  const std::string digits_ = std::to_string(CrcRegister(records_));
  TempDir dir_;
  CTL mesh_;
};

TEST_F(StlChecksum, IsAppendedToTheHeaderText) {
  const std::string path = Write("name CRC ");
  EXPECT_EQ(mesh_.crcSTLFile(path.c_str()), 0);
  EXPECT_EQ(dir_.Read("a.stl"), BinaryStl(TwoFacetsPlaced(), "name CRC " + digits_));
  EXPECT_TRUE(mesh_.crcValidateSTLFile(path.c_str()));
}

TEST_F(StlChecksum, ValidatesUntilAnyFacetByteChanges) {
  const std::string path = Write("name CRC ");
  mesh_.crcSTLFile(path.c_str());
  const std::string stamped = dir_.Read("a.stl");
  for (std::size_t i = 84; i < stamped.size(); ++i) {
    std::string changed = stamped;
    changed[i] = static_cast<char>(changed[i] ^ 0x10);
    dir_.Write("a.stl", changed);
    EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str())) << i;
  }
}

TEST_F(StlChecksum, StampsWhatTheBinaryWriterMade) {
  CTL mesh = TwoFacets();
  Matrix unit;
  const std::string path = dir_.File("a.stl");
  ASSERT_EQ(mesh.SaveCTLasBinarySTL(path.c_str(), unit.m, 0, 1), 0);
  const std::string before = dir_.Read("a.stl");
  mesh.crcSTLFile(path.c_str());
  const std::string text = Stamp(1).substr(0, 76) + std::to_string(CrcRegister(before.substr(84)));
  const std::string after = dir_.Read("a.stl");
  EXPECT_EQ(after.substr(0, std::min<std::size_t>(text.size(), 80)), text.substr(0, 80));
  EXPECT_EQ(after.substr(80), before.substr(80));
  EXPECT_EQ(mesh.crcValidateSTLFile(path.c_str()), text.size() <= 80 && Stamp(1).size() <= 76);
}

TEST_F(StlChecksum, HeaderWithoutTheWordIsLeftAsItIs) {
  const std::string path = Write("no checksum here");
  const std::string before = dir_.Read("a.stl");
  EXPECT_EQ(mesh_.crcSTLFile(path.c_str()), 0);
  EXPECT_EQ(dir_.Read("a.stl"), before);
  EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str()));
}

TEST_F(StlChecksum, WordBehindAZeroByteDoesNotCount) {
  using namespace std::string_literals;
  const std::string path = Write("text\0CRC "s);
  const std::string before = dir_.Read("a.stl");
  mesh_.crcSTLFile(path.c_str());
  EXPECT_EQ(dir_.Read("a.stl"), before);
}

TEST_F(StlChecksum, KeptDigitsRunOverTheCountsChecksum) {
  const std::string text = std::string(68, 'n') + " CRC ";  // 73 bytes
  const std::string path = Write(text);
  mesh_.crcSTLFile(path.c_str());
  EXPECT_EQ(Header(), (text + digits_).substr(0, 80));
  ASSERT_GT(digits_.size(), 7u);
  EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str()));
}

TEST_F(StlChecksum, FullHeaderTakesNoDigits) {
  const std::string text = std::string(75, 'n') + " CRC ";
  ASSERT_EQ(text.size(), 80u);
  const std::string path = Write(text);
  mesh_.crcSTLFile(path.c_str());
  EXPECT_EQ(Header(), text);
  EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str()));
}

TEST_F(StlChecksum, StampedValueIsTheTokenAfterTheWord) {
  EXPECT_TRUE(mesh_.crcValidateSTLFile(Write("CRC    " + digits_ + " more").c_str()));
  EXPECT_TRUE(mesh_.crcValidateSTLFile(Write("theCRC: " + digits_).c_str()));
  EXPECT_FALSE(mesh_.crcValidateSTLFile(Write("CRC" + digits_).c_str()));
  EXPECT_FALSE(mesh_.crcValidateSTLFile(Write("CRC x " + digits_).c_str()));
  EXPECT_FALSE(mesh_.crcValidateSTLFile(Write("crc " + digits_).c_str()));
}

TEST_F(StlChecksum, ShortFilesAreLeftAloneAndDoNotValidate) {
  const std::string bytes = BinaryStl(TwoFacetsPlaced(), "CRC " + digits_);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const std::string path = dir_.Write("a.stl", bytes.substr(0, length));
    EXPECT_EQ(mesh_.crcSTLFile(path.c_str()), 0);
    EXPECT_EQ(dir_.Read("a.stl"), bytes.substr(0, length)) << length;
    EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str())) << length;
  }
  for (const int64_t count : {int64_t{3}, int64_t{2147483647}, int64_t{0x80000000}, int64_t{0xFFFFFFFF}}) {
    const std::string claims = BinaryStl(TwoFacetsPlaced(), "CRC " + digits_, count);
    const std::string path = dir_.Write("a.stl", claims);
    mesh_.crcSTLFile(path.c_str());
    EXPECT_EQ(dir_.Read("a.stl"), claims) << count;
    EXPECT_FALSE(mesh_.crcValidateSTLFile(path.c_str())) << count;
  }
}

TEST_F(StlChecksum, StampingCutsOffWhatFollowsTheRecords) {
  const std::string path =
      dir_.Write("a.stl", BinaryStl(TwoFacetsPlaced(), "CRC ") + "bytes behind the last record");
  mesh_.crcSTLFile(path.c_str());
  EXPECT_EQ(dir_.Read("a.stl"), BinaryStl(TwoFacetsPlaced(), "CRC " + digits_));
}

TEST_F(StlChecksum, MissingFile) {
  EXPECT_EQ(mesh_.crcSTLFile(dir_.File("none.stl").c_str()), 0);
  EXPECT_FALSE(dir_.Has("none.stl"));
  EXPECT_FALSE(mesh_.crcValidateSTLFile(dir_.File("none.stl").c_str()));
  EXPECT_EQ(mesh_.crcSTLFile(nullptr), 0);
  EXPECT_FALSE(mesh_.crcValidateSTLFile(nullptr));
}

TEST_F(StlChecksum, FileOfNoFacets) {
  // The register as it starts.
  const std::string path = dir_.Write("a.stl", BinaryStl({}, "CRC "));
  mesh_.crcSTLFile(path.c_str());
  EXPECT_EQ(dir_.Read("a.stl"), BinaryStl({}, "CRC 4294967295"));
  EXPECT_TRUE(mesh_.crcValidateSTLFile(path.c_str()));
}

// ---------------------------------------------------------------------------------------------------------
// Against placing and writing facet by facet

TEST(ExportDifferential, RecordsAreThoseOfFacetsPlacedOneByOne) {
  std::mt19937 random(77);
  std::uniform_real_distribution<float> number(-30, 30);
  const TempDir dir;
  for (int round = 0; round < test_support::Rounds(20); ++round) {
    std::vector<test_support::Point> vertices(4 + random() % 50);
    for (auto& p : vertices) p = {number(random), number(random), number(random)};
    // On either side of the numbers of facets that are worked on together.
    std::vector<test_support::Indices> triangles(1 + random() % 700);
    for (auto& triangle : triangles) {
      for (int& index : triangle) index = static_cast<int>(random() % vertices.size());
    }
    CTL mesh = test_support::MakeMesh(vertices, triangles);
    mesh.normals_.reset(triangles.size());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
      mesh.nth(static_cast<int>(i))[3] = static_cast<int>(random() % 0x8000);
      mesh.normals_[i] = VECTOR(number(random), number(random), number(random));
      const float odd[] = {0, kInfinity, kNan, 1e-30f, 3e38f};
      if (random() % 10 == 0) mesh.normals_[i] = VECTOR(0, odd[random() % 5], 0);
    }
    Matrix matrix;
    for (int i = 0; i < 3; ++i) {
      for (float& v : matrix.m[i]) v = round % 5 == 0 ? v : number(random);
    }
    const int unit = round % 2;
    ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, unit, 1), 0);
    const std::string bytes = dir.Read("a.stl");
    ASSERT_EQ(bytes.size(), 84 + 50 * triangles.size());
    for (int i = 0; i < mesh.num_triangles(); ++i) {
      ASSERT_EQ(bytes.substr(84 + 50 * static_cast<std::size_t>(i), 50),
                literal::StlRecord(mesh, i, matrix.m, unit))
          << round << ", facet " << i;
    }
  }
}

}  // namespace
