#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "trq/foundation.h"

namespace {

// The packed form written down as text, one character a bit.
std::vector<int> PackedByText(const std::vector<int>& values, int bits) {
  std::string stream;
  for (int value : values) {
    for (int bit = bits - 1; bit >= 0; --bit) stream += (value >> bit & 1) ? '1' : '0';
  }
  stream.append((32 - stream.size() % 32) % 32, '0');
  std::vector<int> words;
  for (std::size_t i = 0; i < stream.size(); i += 32)
    words.push_back(static_cast<int>(static_cast<uint32_t>(std::stoul(stream.substr(i, 32), nullptr, 2))));
  return words;
}

// With 32 items the size is as many words as an item has bits, and one.
int BitsFor(int n) { return BYTE_PACKER(nullptr, n).compressed_size(32) - 1; }

TEST(BytePacker, TakesTheWidthOfTheLargestValue) {
  EXPECT_EQ(BitsFor(1000), 10);
  EXPECT_EQ(BitsFor(1024), 10);
  EXPECT_EQ(BitsFor(1025), 11);
  EXPECT_EQ(BitsFor(1), 0);
  EXPECT_EQ(BitsFor(2), 1);
  EXPECT_EQ(BitsFor(3), 2);
  EXPECT_EQ(BitsFor(0), 0);
  EXPECT_EQ(BitsFor(-5), 0);
  EXPECT_EQ(BitsFor(INT_MAX), 31);
}

TEST(BytePacker, TakesExactlyTheWidthAtEveryPowerOfTwo) {
  for (int b = 1; b <= 30; ++b) {
    EXPECT_EQ(BitsFor(1 << b), b);
    EXPECT_EQ(BitsFor((1 << b) + 1), b + 1);
  }
}

TEST(BytePacker, SizeIsOneWordBeyondTheFullOnes) {
  BYTE_PACKER one_bit(nullptr, 2);
  EXPECT_EQ(one_bit.compressed_size(0), 1);
  EXPECT_EQ(one_bit.compressed_size(31), 1);
  EXPECT_EQ(one_bit.compressed_size(32), 2);
  EXPECT_EQ(one_bit.compressed_size(33), 2);
  EXPECT_EQ(BYTE_PACKER(nullptr, 1000).compressed_size(1000), 313);               // 10 000 bits
  EXPECT_EQ(BYTE_PACKER(nullptr, 1 << 30).compressed_size(100000000), 93750001);  // 3e9 bits
}

TEST(BytePacker, PacksFromTheMostSignificantBitDown) {
  int data[3] = {1, 2, 3};
  BYTE_PACKER(data, 1000).pack(3);
  EXPECT_EQ(data[0], 0x0040200C);
}

TEST(BytePacker, AnItemContinuesInTheNextWord) {
  // Four items of ten bits: the fourth's upper two bits end the first word, its lower eight begin the second.
  int data[4] = {1, 2, 3, 0x3A5};
  BYTE_PACKER(data, 1000).pack(4);
  EXPECT_EQ(data[0], 0x0040200F);
  EXPECT_EQ(static_cast<uint32_t>(data[1]), 0xA5000000u);
}

TEST(BytePacker, PacksAsWrittenBitByBitAndUnpacksToTheSame) {
  std::mt19937 random(7);
  for (int n : {2, 3, 4, 5, 17, 256, 257, 1000, 1024, 1025, 65536, 65537, 1 << 24, (1 << 30) + 1, INT_MAX}) {
    const int bits = BitsFor(n);
    for (int count : {1, 2, 31, 32, 33, 64, 100}) {
      std::vector<int> values(static_cast<std::size_t>(count));
      for (int& value : values) value = std::uniform_int_distribution<int>(0, n - 1)(random);
      values.back() = n - 1;
      const std::vector<int> expected = PackedByText(values, bits);
      std::vector<int> data = values;
      data.resize(std::max(data.size(), expected.size() + 1));
      BYTE_PACKER(data.data(), n).pack(count);
      EXPECT_EQ(std::vector<int>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(expected.size())),
                expected)
          << n << " values, " << count << " items";
      BYTE_PACKER(data.data(), n).unpack(count);
      data.resize(values.size());
      EXPECT_EQ(data, values) << n << " values, " << count << " items";
    }
  }
}

TEST(BytePacker, OneValueTakesNoBits) {
  int data[4] = {0, 0, 0, 0};
  BYTE_PACKER(data, 1).pack(4);
  EXPECT_EQ(data[0], 0);
  for (int& word : data) word = -1;  // whatever lies there, every item is 0
  BYTE_PACKER(data, 1).unpack(4);
  for (int word : data) EXPECT_EQ(word, 0);
}

TEST(BytePacker, AnItemEndingWithItsWordNeedsNoWordBehindIt) {
  std::vector<int> data = {static_cast<int>(0x80000001u)};
  data.shrink_to_fit();
  BYTE_PACKER packer(data.data(), 2);
  EXPECT_EQ(packer.get_num(0), 1);
  EXPECT_EQ(packer.get_num(30), 0);
  EXPECT_EQ(packer.get_num(31), 1);
}

TEST(BytePacker, AddNumClearsEachWordItBegins) {
  int data[3] = {-1, -1, -1};
  BYTE_PACKER packer(data, 65536);
  packer.add_num(0x1234);
  EXPECT_EQ(data[0], 0x12340000);
  packer.add_num(0x5678);
  EXPECT_EQ(data[0], 0x12345678);
  EXPECT_EQ(data[1], -1);
  packer.add_num(1);
  EXPECT_EQ(data[1], 0x00010000);
}

TEST(BytePacker, GetNumMovesThePositionToItsItem) {
  int data[3] = {1, 0, 3};
  BYTE_PACKER packer(data, 1000);
  packer.pack(3);
  EXPECT_EQ(packer.get_num(1), 0);
  packer.add_num(2);
  EXPECT_EQ(data[0], 0x0040200C);
}

TEST(BytePacker, KeptDoesNotMaskValuesThatDoNotFit) {
  // Two bits an item; 5 is 101: its upper 1 falls onto the first item's lower bit.
  int data[2] = {2, 5};
  BYTE_PACKER packer(data, 4);
  packer.pack(2);
  EXPECT_EQ(static_cast<uint32_t>(data[0]), 0xD0000000u);
  EXPECT_EQ(packer.get_num(0), 3);
  EXPECT_EQ(packer.get_num(1), 1);
}

TEST(BytePacker, NegativeValuesFillEveryBitAboveTheirPlace) {
  int data[2] = {0, -1};
  BYTE_PACKER(data, 1000).pack(2);
  EXPECT_EQ(static_cast<uint32_t>(data[0]), 0xFFFFF000u);
}

TEST(BytePacker, AssignmentCopiesThePosition) {
  int first[2] = {}, second[2] = {};
  BYTE_PACKER packer(first, 65536);
  packer.add_num(0xAAAA);
  BYTE_PACKER other(second, 4);
  other = packer;
  other.add_num(0x5555);
  EXPECT_EQ(static_cast<uint32_t>(first[0]), 0xAAAA5555u);
  EXPECT_EQ(second[0], 0);
}

}  // namespace
