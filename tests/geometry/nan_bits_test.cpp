// What is not a number stands in files with one set of bits, and in text as "nan": which of them a processor
// makes of infinities, or hands on, is its own affair.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/byte_builder.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"
#include "trq/slice_contours.h"

namespace {

using test_support::ByteBuilder;
using test_support::TempDir;
using test_support::WorkingDirectory;
using testing::HasSubstr;
using testing::Not;

constexpr uint32_t kNanBits = 0x7FC00000;
constexpr float kInfinity = std::numeric_limits<float>::infinity();

float FromBits(uint32_t bits) {
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

/// Of either sign, quiet and signalling, with other bits set than the written one has.
const float kNans[] = {FromBits(0xFFC00000), FromBits(0x7FC12345), FromBits(0xFFC54321),
                       FromBits(0x7F800001), FromBits(0xFFA00000), FromBits(0x7FFFFFFF)};

bool IsNan(uint32_t bits) { return (bits & 0x7FFFFFFF) > 0x7F800000; }

/// The words of `bytes` from `at` on that are floats which are not a number.
void CountNans(const std::string& bytes, std::size_t at, std::size_t floats, int& nans) {
  for (std::size_t i = 0; i < floats; ++i) {
    const uint32_t bits = test_support::WordAt(bytes, at + 4 * i);
    if (!IsNan(bits)) continue;
    ++nans;
    ASSERT_EQ(bits, kNanBits) << "float " << i << " from " << at;
  }
}

int NansOfStl(const std::string& bytes, std::size_t facets) {
  EXPECT_EQ(bytes.size(), 84 + 50 * facets);
  int nans = 0;
  for (std::size_t i = 0; i < facets; ++i) CountNans(bytes, 84 + 50 * i, 12, nans);
  return nans;
}

/// A facet of infinite coordinates, one of NaN and one too large to turn, with normals alike.
CTL OddMesh() {
  CTL mesh = test_support::MakeMesh({{kInfinity, -kInfinity, 1},
                                     {kNans[0], 2, kNans[1]},
                                     {3e38f, 3e38f, -3e38f},
                                     {kNans[2], kNans[3], kNans[4]}},
                                    {{0, 1, 2}, {3, 2, 1}, {3, 3, 0}});
  mesh.normals_.reset(3);
  mesh.normals_[0] = VECTOR(kNans[0], kInfinity, 0);
  mesh.normals_[1] = VECTOR(kNans[2], kNans[4], kNans[5]);
  mesh.normals_[2] = VECTOR(kInfinity, -kInfinity, 1);
  return mesh;
}

struct Matrix {
  float m[4][4] = {{0, -1, 0, 10}, {1, 1, 0, 20}, {0, 0, 1, 30}, {0, 0, 0, 1}};
};

TEST(NanBits, PlacedMeshesHaveTheOne) {
  const TempDir dir;
  for (const int unit : {0, 1}) {
    Matrix matrix;
    CTL mesh = OddMesh();
    ASSERT_EQ(mesh.SaveCTLasBinarySTL(dir.File("a.stl").c_str(), matrix.m, unit, 1), 0);
    // A turned vertex that is not a number, or infinite, has none but its z; 9 corners, of which 2 are
    // finite.
    EXPECT_GE(NansOfStl(dir.Read("a.stl"), 3), 7 + 9);

    const test_support::Stream stream = test_support::StreamOf("");
    ASSERT_EQ(mesh.SaveSTLHeader(stream.get(), 3), 1);
    ASSERT_EQ(mesh.SaveModifiedCTLDataAsSTL(stream.get(), unit, matrix.m), 1);
    EXPECT_GE(NansOfStl(test_support::BytesOf(stream.get()), 3), 7 + 4);

    ASSERT_EQ(mesh.SaveCTLasAsciiSTL(dir.File("b.stl").c_str(), matrix.m, unit), 0);
    EXPECT_THAT(dir.Read("b.stl"), HasSubstr("  facet normal nan nan nan\n"));
    EXPECT_THAT(dir.Read("b.stl"), Not(HasSubstr("-nan")));

    ASSERT_EQ(mesh.SaveCTLModel(dir.File("a.ctl").c_str(), matrix.m, unit), 0);
    int nans = 0;
    CountNans(dir.Read("a.ctl"), sizeof(CTL_HEADER), 12, nans);
    EXPECT_GE(nans, 6);
  }
}

TEST(NanBits, FilesOfFixedNamesHaveTheOne) {
  const TempDir dir;
  const WorkingDirectory there(dir.path());
  CTL mesh = OddMesh();
  ASSERT_EQ(mesh.ShiftTrianglesInZForZComp(kInfinity, 0), 0);
  EXPECT_GE(NansOfStl(dir.Read("ChikiChikiBumBum.stl"), 3), 10);
  mesh.offset_limit = 1;
  mesh.offset_ctl();
  mesh.SaveCTLasSTL();
  EXPECT_GE(NansOfStl(dir.Read("shellstl.stl"), 3), 10);
  mesh.SaveCTLandShellAsSTL();
  EXPECT_GE(NansOfStl(dir.Read("shellstl.stl"), 6), 20);
  mesh.dumpshell();
  EXPECT_THAT(dir.Read("ctlshell.txt"), HasSubstr("Normal   : nan nan nan"));
  EXPECT_THAT(dir.Read("ctlshell.txt"), Not(HasSubstr("-nan")));
  mesh.dumpctl();
  EXPECT_THAT(dir.Read("ctldmp.txt"), HasSubstr("Length    : nan"));
  EXPECT_THAT(dir.Read("ctldmp.txt"), HasSubstr("\nVertex 4: nan nan nan\n"));
  EXPECT_THAT(dir.Read("ctldmp.txt"), Not(HasSubstr("-nan")));
  const test_support::Stream stream = test_support::StreamOf("");
  mesh.ascii_dump(stream.get());
  EXPECT_THAT(test_support::BytesOf(stream.get()), HasSubstr("      vertex       nan     nan     nan\n"));
  EXPECT_THAT(test_support::BytesOf(stream.get()), Not(HasSubstr("-nan")));
}

/// A file of one layer of one boundary.
std::string SlcOf(float z, const std::vector<float>& xy) {
  ByteBuilder bytes;
  bytes.Raw("-UNIT MM").U8(0x1A).Raw(std::string(256, '\0')).U8(1);
  for (int i = 0; i < 4; ++i) bytes.F32(0);
  bytes.F32(z).U32(1).U32(static_cast<uint32_t>(xy.size() / 2)).U32(0);
  for (const float v : xy) bytes.F32(v);
  return bytes.F32(z).U32(0xFFFFFFFF).bytes();
}

TEST(NanBits, MirroredContoursHaveTheOneAndCopiedOnesTheirOwn) {
  const TempDir dir;
  std::vector<float> xy = {kInfinity, -kInfinity, 1, 2};
  for (const float v : kNans) xy.push_back(v);
  const std::string bytes = SlcOf(kNans[0], xy);
  slc contours(dir.Write("a.slc", bytes).c_str());
  slc copy, mirrored;
  ASSERT_EQ(contours.loadSlc(), trq::slc_file::kOk);
  contours.copy(&copy);
  ASSERT_EQ(copy.SaveSLCModel(dir.File("b.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(dir.Read("b.slc"), bytes);
  COMPONENT_INFO from, to;
  const Matrix matrix;
  std::memcpy(from.placement(), matrix.m, sizeof matrix.m);
  contours.mirror(&mirrored, 1, 1, kInfinity, &from, &to);
  ASSERT_EQ(mirrored.SaveSLCModel(dir.File("c.slc").c_str()), trq::slc_file::kOk);
  const std::string turned = dir.Read("c.slc");
  ASSERT_EQ(turned.size(), bytes.size());
  int nans = 0;
  const std::size_t points = bytes.size() - 8 - 4 * xy.size();
  CountNans(turned, points, xy.size(), nans);
  EXPECT_GE(nans, 7);
  CountNans(turned, points - 16, 1, nans);
}

}  // namespace
