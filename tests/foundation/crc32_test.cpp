#include "foundation/crc32.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using trq::detail::Crc32Register;

// The definition: one bit at a time.
uint32_t BitByBit(const unsigned char* data, std::size_t length, uint32_t state) {
  for (std::size_t i = 0; i < length; ++i) {
    state ^= data[i];
    for (int bit = 0; bit < 8; ++bit) state = state & 1u ? (state >> 1) ^ 0xEDB88320u : state >> 1;
  }
  return state;
}

TEST(Crc32Register, IsTheRegisterWithoutFinalInversion) {
  // The check value of CRC-32 over "123456789" is CBF43926; the register is its complement.
  EXPECT_EQ(Crc32Register("123456789", 9), 0x340BC6D9u);
  EXPECT_EQ(Crc32Register("", 0), 0xFFFFFFFFu);
  EXPECT_EQ(Crc32Register(nullptr, 0), 0xFFFFFFFFu);
  EXPECT_EQ(Crc32Register("", 1, 0), 0u);
}

TEST(Crc32Register, AgreesWithTheDefinitionAtEveryLengthAndAlignment) {
  std::mt19937 random(3);
  std::vector<unsigned char> data(80);
  for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
  for (std::size_t start = 0; start < 9; ++start) {
    for (std::size_t length = 0; start + length <= data.size(); ++length) {
      EXPECT_EQ(Crc32Register(data.data() + start, length),
                BitByBit(data.data() + start, length, 0xFFFFFFFFu));
      EXPECT_EQ(Crc32Register(data.data() + start, length, 0x12345678u),
                BitByBit(data.data() + start, length, 0x12345678u));
    }
  }
}

TEST(Crc32Register, TakesDataInPieces) {
  const char text[] = "the quick brown fox jumps over the lazy dog";
  const std::size_t length = sizeof(text) - 1;
  for (std::size_t cut = 0; cut <= length; ++cut)
    EXPECT_EQ(Crc32Register(text + cut, length - cut, Crc32Register(text, cut)), Crc32Register(text, length));
}

}  // namespace
