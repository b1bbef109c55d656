#include "geometry/ctl_packing.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/support/ctl_bytes.h"
#include "trq/geometry.h"

namespace {

using trq::detail::FitsBits;
using trq::detail::PackedBits;
using trq::detail::PackedWords;
using trq::detail::TrianglePacker;
using trq::detail::TriangleUnpacker;

using Triangles = std::vector<R_INT4>;

Triangles RandomTriangles(std::size_t count, uint32_t values, std::mt19937& random) {
  Triangles triangles(count);
  for (R_INT4& triangle : triangles) {
    for (int k = 0; k < 4; ++k) triangle[k] = static_cast<int>(random() % values);
  }
  return triangles;
}

// The literal form: BYTE_PACKER in place.
std::vector<uint32_t> LiteralPack(Triangles triangles, int vertex_count) {
  const int integers = static_cast<int>(4 * triangles.size());
  std::vector<int> data;
  for (const R_INT4& triangle : triangles) {
    for (int k = 0; k < 4; ++k) data.push_back(triangle[k]);
  }
  BYTE_PACKER packer(data.data(), vertex_count);
  packer.pack(integers);
  std::vector<uint32_t> words(data.begin(), data.begin() + packer.compressed_size(integers));
  // The word after a stream that ends with a word carries nothing.
  if (static_cast<uint64_t>(PackedBits(vertex_count)) * static_cast<uint64_t>(integers) % 32 == 0)
    words.back() = 0;
  return words;
}

// Packs in blocks of random size.
std::vector<uint32_t> StreamPack(const Triangles& triangles, int vertex_count, std::mt19937& random) {
  TrianglePacker packer(PackedBits(vertex_count));
  std::vector<uint32_t> words;
  std::vector<uint32_t> block(4 * 7);
  for (std::size_t done = 0; done < triangles.size();) {
    const std::size_t n = std::min<std::size_t>(triangles.size() - done, 1 + random() % 7);
    const std::size_t made = packer.Pack(triangles.data() + done, n, block.data());
    words.insert(words.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(made));
    done += n;
  }
  words.push_back(packer.LastWord());
  return words;
}

std::vector<int32_t> StreamUnpack(const std::vector<uint32_t>& words, std::size_t integers, int vertex_count,
                                  std::mt19937& random) {
  TriangleUnpacker unpacker(PackedBits(vertex_count));
  std::vector<int32_t> out(integers);
  std::size_t done = 0;
  for (std::size_t fed = 0; fed < words.size() && done < integers;) {
    const std::size_t n = std::min<std::size_t>(words.size() - fed, 1 + random() % 5);
    unpacker.Feed(words.data() + fed, n);
    fed += n;
    done += unpacker.Unpack(out.data() + done, integers - done);
  }
  EXPECT_EQ(done, integers);
  return out;
}

TEST(CtlPacking, BitsAreTheWidthOfTheLargestIndex) {
  EXPECT_EQ(PackedBits(-5), 0);
  EXPECT_EQ(PackedBits(0), 0);
  EXPECT_EQ(PackedBits(1), 0);
  EXPECT_EQ(PackedBits(2), 1);
  EXPECT_EQ(PackedBits(3), 2);
  EXPECT_EQ(PackedBits(INT32_MAX), 31);
  for (int k = 1; k < 31; ++k) {
    EXPECT_EQ(PackedBits(1 << k), k);
    EXPECT_EQ(PackedBits((1 << k) + 1), k + 1);
  }
}

TEST(CtlPacking, WordsAreOneMoreThanTheBitsFill) {
  EXPECT_EQ(PackedWords(0, 1000), 1u);
  EXPECT_EQ(PackedWords(1, 31), 1u);
  EXPECT_EQ(PackedWords(1, 32), 2u);
  EXPECT_EQ(PackedWords(10, 3), 1u);
  EXPECT_EQ(PackedWords(31, uint64_t{4} * INT32_MAX), uint64_t{31} * 4 * INT32_MAX / 32 + 1);
}

TEST(CtlPacking, KnowsWhatFits) {
  Triangles triangles = {R_INT4(1, 2, 3)};
  EXPECT_TRUE(FitsBits(triangles.data(), 1, 2));
  EXPECT_FALSE(FitsBits(triangles.data(), 1, 1));
  triangles[0][3] = -1;
  EXPECT_FALSE(FitsBits(triangles.data(), 1, 31));
  EXPECT_TRUE(FitsBits(triangles.data(), 0, 0));
}

TEST(CtlPacking, GivesTheBitsOfTheFormat) {
  // 2 bits an integer: 00 01 10 00 | 11 10 01 10.
  Triangles triangles = {R_INT4(0, 1, 2), R_INT4(3, 2, 1)};
  triangles[1][3] = 2;
  TrianglePacker packer(2);
  uint32_t words[8];
  EXPECT_EQ(packer.Pack(triangles.data(), 2, words), 0u);
  EXPECT_EQ(packer.LastWord(), 0x18E60000u);
}

TEST(CtlPacking, AgreesWithTheLiteralPackerBitForBit) {
  std::mt19937 random(5);
  for (const int vertex_count : {2, 3, 4, 5, 8, 9, 16, 17, 255, 256, 257, 1000, 65535, 65536, 65537, 1 << 24,
                                 (1 << 30) + 1, INT32_MAX}) {
    for (int round = 0; round < 12; ++round) {
      const std::size_t count = round < 9 ? static_cast<std::size_t>(round) : 8 * (1 + random() % 40);
      const Triangles triangles = RandomTriangles(count, static_cast<uint32_t>(vertex_count), random);
      if (count == 0) continue;
      const std::vector<uint32_t> words = StreamPack(triangles, vertex_count, random);
      ASSERT_EQ(words, LiteralPack(triangles, vertex_count)) << vertex_count << " vertices, " << count;
      const std::vector<int32_t> out = StreamUnpack(words, 4 * count, vertex_count, random);
      for (std::size_t i = 0; i < out.size(); ++i) {
        ASSERT_EQ(out[i], triangles[i / 4][static_cast<int>(i % 4)]);
      }
    }
  }
}

TEST(CtlPacking, UnpacksAnyBitsAsTheLiteralPackerDoes) {
  std::mt19937 random(6);
  for (const int vertex_count : {2, 3, 6, 100, 5000, 1 << 20, INT32_MAX}) {
    const std::size_t integers = 4 * (1 + random() % 50);
    std::vector<uint32_t> words(static_cast<std::size_t>(PackedWords(PackedBits(vertex_count), integers)));
    for (uint32_t& word : words) word = static_cast<uint32_t>(random());
    std::vector<int> literal(std::max(integers, words.size()) + 1);
    for (std::size_t i = 0; i < words.size(); ++i) literal[i] = static_cast<int>(words[i]);
    BYTE_PACKER packer(literal.data(), vertex_count);
    packer.unpack(static_cast<int>(integers));
    literal.resize(integers);
    EXPECT_EQ(StreamUnpack(words, integers, vertex_count, random), literal);
  }
}

TEST(CtlPacking, OfNoBitsYieldsZeros) {
  TriangleUnpacker unpacker(0);
  const uint32_t word = 0xFFFFFFFFu;
  unpacker.Feed(&word, 1);
  std::vector<int32_t> out(8, 5);
  EXPECT_EQ(unpacker.Unpack(out.data(), 8), 8u);
  EXPECT_EQ(out, std::vector<int32_t>(8, 0));
}

}  // namespace
