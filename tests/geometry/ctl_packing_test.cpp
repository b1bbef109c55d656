#include "geometry/ctl_packing.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/support/ctl_bytes.h"
#include "trq/geometry.h"

#include "tests/support/rounds.h"

namespace {

using trq::detail::kPackedGroup;
using trq::detail::PackedBits;
using trq::detail::PackedWords;
using trq::detail::PackTriangles;
using trq::detail::UnpackTriangles;

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

// Packs in blocks of one to four groups, as a stream.
std::vector<uint32_t> StreamPack(const Triangles& triangles, int vertex_count, std::mt19937& random) {
  const int bits = PackedBits(vertex_count);
  std::vector<uint32_t> words;
  for (std::size_t done = 0; done < triangles.size();) {
    const std::size_t n = std::min<std::size_t>(triangles.size() - done, kPackedGroup * (1 + random() % 4));
    std::vector<uint32_t> block(static_cast<std::size_t>(PackedWords(bits, 4 * n)));
    EXPECT_EQ(PackTriangles(triangles.data() + done, n, bits, block.data()), block.size());
    done += n;
    if (done < triangles.size()) block.pop_back();
    words.insert(words.end(), block.begin(), block.end());
  }
  return words;
}

// The array holds exactly the words that the integers fill.
std::vector<int32_t> UnpackAll(std::vector<uint32_t> words, std::size_t count, int vertex_count) {
  const int bits = PackedBits(vertex_count);
  words.resize(static_cast<std::size_t>((static_cast<uint64_t>(bits) * 4 * count + 31) / 32));
  words.shrink_to_fit();
  Triangles triangles(count, R_INT4(-1, -1, -1));
  UnpackTriangles(words.data(), count, bits, triangles.data());
  std::vector<int32_t> out;
  for (const R_INT4& triangle : triangles) {
    for (int k = 0; k < 4; ++k) out.push_back(triangle[k]);
  }
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

TEST(CtlPacking, GivesTheBitsOfTheFormat) {
  // 2 bits an integer: 00 01 10 00 | 11 10 01 10.
  Triangles triangles = {R_INT4(0, 1, 2), R_INT4(3, 2, 1)};
  triangles[1][3] = 2;
  uint32_t word = 0;
  EXPECT_EQ(PackTriangles(triangles.data(), 2, 2, &word), 1u);
  EXPECT_EQ(word, 0x18E60000u);
}

std::vector<int> VertexCountsOfEveryWidth() {
  std::vector<int> counts = {2, 3, 1000, INT32_MAX};
  for (int k = 2; k < 31; ++k) {
    counts.push_back(1 << k);
    counts.push_back((1 << k) + 1);
  }
  return counts;
}

TEST(PackingDifferential, AgreesWithTheLiteralPackerBitForBit) {
  std::mt19937 random(5);
  for (const int vertex_count : VertexCountsOfEveryWidth()) {
    for (int round = 0; round < test_support::Rounds(9); ++round) {
      const std::size_t kCounts[] = {1, 2, 7, 8, 9, 16, 31, 64, 100};
      const std::size_t count = kCounts[round % 9];
      const Triangles triangles = RandomTriangles(count, static_cast<uint32_t>(vertex_count), random);
      const std::vector<uint32_t> words = StreamPack(triangles, vertex_count, random);
      ASSERT_EQ(words, LiteralPack(triangles, vertex_count)) << vertex_count << " vertices, " << count;
      const std::vector<int32_t> out = UnpackAll(words, count, vertex_count);
      for (std::size_t i = 0; i < out.size(); ++i) {
        ASSERT_EQ(out[i], triangles[i / 4][static_cast<int>(i % 4)]);
      }
    }
  }
}

TEST(PackingDifferential, UnpacksAnyBitsAsTheLiteralPackerDoes) {
  std::mt19937 random(6);
  for (const int vertex_count : VertexCountsOfEveryWidth()) {
    const std::size_t count = 1 + random() % 50;
    std::vector<uint32_t> words(static_cast<std::size_t>(PackedWords(PackedBits(vertex_count), 4 * count)));
    for (uint32_t& word : words) word = static_cast<uint32_t>(random());
    std::vector<int> literal(std::max(4 * count, words.size()) + 1);
    for (std::size_t i = 0; i < words.size(); ++i) literal[i] = static_cast<int>(words[i]);
    BYTE_PACKER packer(literal.data(), vertex_count);
    packer.unpack(static_cast<int>(4 * count));
    literal.resize(4 * count);
    EXPECT_EQ(UnpackAll(words, count, vertex_count), literal);
  }
}

TEST(CtlPacking, OfNoBitsYieldsZeros) {
  EXPECT_EQ(UnpackAll({0xFFFFFFFFu}, 20, 1), std::vector<int32_t>(80, 0));
  const Triangles triangles(20, R_INT4(0, 0, 0));
  uint32_t word = 1;
  EXPECT_EQ(PackTriangles(triangles.data(), 20, 0, &word), 1u);
  EXPECT_EQ(word, 0u);
}

}  // namespace
