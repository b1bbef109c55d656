#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ctl_bytes.h"
#include "tests/support/meshes.h"
#include "trq/core/ctl.h"

namespace {

using test_support::ByteOrder;
using test_support::CtlBytes;
using test_support::CtlFile;
using trq::core::ErrorCode;
using trq::core::MemorySink;
using trq::core::MemorySource;
using trq::core::Mesh;
using trq::core::ReadCtl;
using trq::core::Result;
using trq::core::WriteCtl;

CtlFile Tetrahedron() {
  CtlFile file;
  file.vertices = {{0, 0, 0}, {1.5f, 0, 0}, {0, -2.25f, 0}, {0, 0, 3}};
  file.triangles = {{0, 2, 1, 0}, {0, 1, 3, 1}, {0, 3, 2, 2}, {1, 2, 3, 0}};
  file.units = 1;
  return file;
}

Result<Mesh> Read(const std::string& bytes) {
  MemorySource source({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
  return ReadCtl(source);
}

TEST(CoreCtl, ReadsBothByteOrders) {
  for (const ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
    const Result<Mesh> mesh = Read(CtlBytes(Tetrahedron(), order));
    ASSERT_TRUE(mesh);
    EXPECT_EQ(mesh->header.num_vertices, 4);
    EXPECT_EQ(mesh->header.units, 1);
    EXPECT_EQ(mesh->vertices[2][1], -2.25f);
    EXPECT_EQ(mesh->triangles[2][1], 3);
    EXPECT_EQ(mesh->triangles[2][3], 2);
    EXPECT_FALSE(mesh->normals);
    EXPECT_GE(mesh->vertices.size(), 5u);  // room for one more
  }
}

TEST(CoreCtl, EveryShorterFileSaysWhereItEnds) {
  const std::string whole = CtlBytes(Tetrahedron());
  // 256 of the head, 48 of vertices, 4 triangles of 4 integers of 2 bits: one word, and one more.
  ASSERT_EQ(whole.size(), 256u + 48 + 8);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Result<Mesh> mesh = Read(whole.substr(0, size));
    ASSERT_FALSE(mesh) << size;
    EXPECT_EQ(mesh.error().code, size < 256 ? ErrorCode::kUnknownFormat : ErrorCode::kCutShort) << size;
    EXPECT_LE(mesh.error().place.byte, size);
    EXPECT_EQ(mesh.error().text, size < 256   ? "Invalid CTL file - No header"
                                 : size < 304 ? "Invalid CTL file - Cannot read vertex_array"
                                              : "Invalid CTL file - Read past end of file")
        << size;
  }
}

TEST(CoreCtl, RefusesWrongMagicAndCounts) {
  CtlFile file = Tetrahedron();
  file.magic = 120;
  EXPECT_EQ(Read(CtlBytes(file)).error().code, ErrorCode::kUnknownFormat);
  file = Tetrahedron();
  file.claimed_triangles = 0;
  EXPECT_EQ(Read(CtlBytes(file)).error().code, ErrorCode::kBadCount);
  file.claimed_triangles = -4;
  EXPECT_EQ(Read(CtlBytes(file)).error().code, ErrorCode::kBadCount);
  file = Tetrahedron();
  file.claimed_vertices = 0x7FFFFFFF;
  EXPECT_EQ(Read(CtlBytes(file)).error().code, ErrorCode::kCutShort);
}

TEST(CoreCtl, WritesWhatItReadsAndLeavesTheMeshAlone) {
  CTL mesh = test_support::MakeMesh({{0, 0, 0}, {1.5f, 0, 0}, {0, -2.25f, 0}, {0, 0, 3}},
                                    {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
  mesh.nth(1)[3] = 1;
  mesh.nth(2)[3] = 2;
  mesh.nth(3)[3] = 7;                 // written as 0
  mesh.vertices()[0][0] = -0.00004f;  // not snapped
  mesh.header.units = 1;
  set_unit_matrix(mesh.header.matrix);
  CtlFile expected = Tetrahedron();
  expected.vertices[0][0] = -0.00004f;
  for (std::size_t i = 0; i < 16; i += 5) expected.matrix[i] = 1;
  MemorySink sink;
  ASSERT_TRUE(WriteCtl(mesh.view(), mesh.header, nullptr, 0, sink));
  EXPECT_EQ(std::string(sink.bytes.begin(), sink.bytes.end()), CtlBytes(expected));
  EXPECT_EQ(sink.bytes.size(), trq::core::CtlSize(4, 4));
  EXPECT_EQ(mesh.nth(3)[3], 7);
  EXPECT_EQ(mesh.vertices()[0][0], -0.00004f);
}

TEST(CoreCtl, WritesNothingOfAMeshThatDoesNotFit) {
  CTL mesh = test_support::Tetrahedron();
  MemorySink sink;
  EXPECT_EQ(WriteCtl({}, mesh.header, nullptr, 0, sink).error().code, ErrorCode::kEmpty);
  mesh.nth(0)[0] = 4;
  EXPECT_EQ(WriteCtl(mesh.view(), mesh.header, nullptr, 0, sink).error().code, ErrorCode::kBadName);
  mesh.nth(0)[0] = -1;
  EXPECT_EQ(WriteCtl(mesh.view(), mesh.header, nullptr, 0, sink).error().code, ErrorCode::kBadName);
  EXPECT_TRUE(sink.bytes.empty());
}

}  // namespace
