#include <gtest/gtest.h>

#include "trq/slice_file.h"

namespace {

TEST(ComponentInfo, StartsWithUnitMatricesAndZeros) {
  COMPONENT_INFO info;
  EXPECT_TRUE(info.text.IsEmpty());
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(info.word(k), 0) << k;
  for (int i = 0; i < 30; ++i) EXPECT_EQ(info.placement()[i], i < 16 && i % 5 == 0 ? 1.0f : 0.0f) << i;
  for (int i = 0; i < 16; ++i) EXPECT_EQ(info.record.previous_matrix[i], i % 5 == 0 ? 1.0f : 0.0f) << i;
  for (const int32_t word : info.words_of_four) EXPECT_EQ(word, 0);
  for (const int32_t word : info.words_of_twenty_four) EXPECT_EQ(word, 0);
  for (const int32_t word : info.last_words) EXPECT_EQ(word, 0);
}

TEST(ComponentInfo, WordsAreTheFirstSixByNumber) {
  COMPONENT_INFO info;
  for (int k = 1; k <= 6; ++k) info.word(k) = 100 + k;
  const COMPONENT_INFO& read = info;
  for (int k = 1; k <= 6; ++k) {
    EXPECT_EQ(read.word(k), 100 + k);
    EXPECT_EQ(info.words[static_cast<std::size_t>(k - 1)], 100 + k);
  }
}

TEST(ComponentInfo, WordsOutsideOneToSixReachNoneOfThem) {
  COMPONENT_INFO info;
  for (const int k : {-1, 0, 7, 1000000}) info.word(k) = 9;
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(info.word(k), 0);
  const COMPONENT_INFO& read = info;
  EXPECT_EQ(read.word(7), 0);
}

TEST(ComponentInfo, CopiesNeverShareAPlacement) {
  COMPONENT_INFO first;
  first.text = "part";
  first.placement()[3] = 5;
  COMPONENT_INFO second = first;
  COMPONENT_INFO third;
  third = first;
  first.placement()[3] = 6;
  first.record.previous_matrix[0] = 7;
  EXPECT_EQ(second.placement()[3], 5);
  EXPECT_EQ(third.placement()[3], 5);
  EXPECT_EQ(second.record.previous_matrix[0], 1);
  EXPECT_EQ(second.text, "part");
  EXPECT_NE(second.placement(), third.placement());
}

}  // namespace
