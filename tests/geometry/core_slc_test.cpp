#include <gtest/gtest.h>

#include <string>

#include "tests/support/byte_builder.h"
#include "trq/core/slc.h"

namespace {

using test_support::ByteBuilder;
using trq::core::Contours;
using trq::core::ErrorCode;
using trq::core::MemorySink;
using trq::core::MemorySource;
using trq::core::ReadSlc;
using trq::core::Result;
using trq::core::WriteSlc;

/// One entry, one layer of one triangle, the terminator.
std::string SmallFile() {
  ByteBuilder out;
  out.Raw("-SLCVER 2.0 -UNIT MM").U8(0x1A).U8(7).Zeros(255).U8(1);
  out.F32(0).F32(0.25f).F32(0.1f).F32(0);
  out.F32(0).U32(1).U32(3).U32(0).F32(0).F32(0).F32(1).F32(0).F32(0).F32(2);
  out.F32(0.25f).U32(0xFFFFFFFFu);
  return out.bytes();
}

Result<void> Read(const std::string& bytes, Contours& contours) {
  MemorySource source({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
  return ReadSlc(source, contours);
}

TEST(CoreSlc, ReadsAllParts) {
  Contours contours;
  ASSERT_TRUE(Read(SmallFile() + "behind", contours));
  EXPECT_EQ(contours.header, "-SLCVER 2.0 -UNIT MM");
  EXPECT_EQ(contours.reserved[0], 7);
  ASSERT_EQ(contours.table.size(), 1u);
  EXPECT_EQ(contours.table[0].layer_thickness, 0.25f);
  ASSERT_EQ(contours.layers.size(), 2u);
  ASSERT_EQ(contours.layers[0].boundaries().size(), 1u);
  EXPECT_EQ(contours.layers[0].boundaries()[0].points[5], 2);
  EXPECT_TRUE(contours.layers[1].is_terminator());
}

TEST(CoreSlc, EveryShorterFileKeepsWhatIsWhole) {
  const std::string whole = SmallFile();
  const std::size_t table = 21 + 256, layers = table + 1 + 16, end_of_layer = layers + 8 + 8 + 24;
  ASSERT_EQ(whole.size(), end_of_layer + 8);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    Contours contours;
    const Result<void> read = Read(whole.substr(0, size), contours);
    ASSERT_FALSE(read) << size;
    EXPECT_EQ(read.error().code, size < 21 ? ErrorCode::kUnknownFormat : ErrorCode::kCutShort) << size;
    EXPECT_EQ(contours.header.empty(), size < 21);
    EXPECT_EQ(contours.table.size(), size >= layers ? 1u : 0u) << size;
    EXPECT_EQ(contours.layers.size(), size >= end_of_layer ? 1u : 0u) << size;
  }
}

TEST(CoreSlc, HostileCountsTakeNoMemory) {
  std::string bytes = SmallFile();
  bytes.replace(21 + 256 + 17 + 8, 4, "\xFF\xFF\xFF\x7F");  // the vertex count
  Contours contours;
  const Result<void> read = Read(bytes, contours);
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().place.item, static_cast<std::uint64_t>(-trq::slc_file::kVerticesShort));
  bytes[21 + 256] = 0;
  EXPECT_EQ(Read(bytes, contours).error().code, ErrorCode::kBadCount);
}

TEST(CoreSlc, WritesWhatItRead) {
  Contours contours;
  ASSERT_TRUE(Read(SmallFile(), contours));
  MemorySink sink;
  ASSERT_TRUE(WriteSlc(contours, sink));
  EXPECT_EQ(std::string(sink.bytes.begin(), sink.bytes.end()), SmallFile());
}

TEST(CoreSlc, WritesNothingWithoutATable) {
  Contours contours;
  MemorySink sink;
  const Result<void> written = WriteSlc(contours, sink);
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().code, ErrorCode::kBadCount);
  EXPECT_TRUE(sink.bytes.empty());
}

TEST(CoreSlc, MirrorsInPlace) {
  Contours contours;
  ASSERT_TRUE(Read(SmallFile(), contours));
  // Moved by 10 in y, then y becomes 5 - y.
  const float moved[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 10}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  trq::core::MirrorLayers(contours.layers, moved, 0, 1, 5);
  const float* const points = contours.layers[0].boundaries()[0].points;
  const float expected[] = {0, -5, 1, -5, 0, -7};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(points[i], expected[i]) << i;
  EXPECT_EQ(contours.layers[0].z, 0);
  EXPECT_EQ(contours.layers[1].z, 0.25f);
  // Layers without vertices, the terminator too, carry the point (0, 0, z).
  trq::core::MirrorLayers(contours.layers, nullptr, 0, 2, 1);
  EXPECT_EQ(contours.layers[0].z, 1);
  EXPECT_EQ(contours.layers[1].z, 0.75f);
}

}  // namespace
