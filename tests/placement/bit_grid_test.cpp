#include <gtest/gtest.h>

#include <algorithm>

#include <climits>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>

#include "tests/placement/placement_probe.h"
#include "tests/support/temp_dir.h"
#include "trq/placement.h"

namespace {

BitGrid GridOf(std::initializer_list<std::pair<int, int>> cells) {
  BitGrid grid;
  for (const auto& [x, y] : cells) grid.set(x, y);
  return grid;
}

bool Same(const BitGrid& a, const BitGrid& b) {
  return std::equal(std::begin(a.rows), std::end(a.rows), std::begin(b.rows));
}

TEST(BitGrid, HoldsThirtyTwoWordsAndNothingElse) { EXPECT_EQ(sizeof(BitGrid), 128U); }

TEST(BitGrid, StartsEmpty) {
  const BitGrid grid;
  EXPECT_EQ(grid.max_x(), -1);
  EXPECT_EQ(grid.max_y(), -1);
  EXPECT_EQ(grid.occupied(), 0);
}

TEST(BitGrid, FirstCellAloneHasBothMaximaZero) {
  const BitGrid grid = GridOf({{0, 0}});
  EXPECT_EQ(grid.max_x(), 0);
  EXPECT_EQ(grid.max_y(), 0);
  EXPECT_EQ(grid.occupied(), 1);
}

TEST(BitGrid, RowIsXAndBitIsY) {
  const BitGrid grid = GridOf({{3, 5}});
  EXPECT_EQ(grid.rows[3], 32U);
  EXPECT_EQ(grid.max_x(), 3);
  EXPECT_EQ(grid.max_y(), 5);
}

TEST(BitGrid, OnAnswersTheMaskedWord) {
  const BitGrid grid = GridOf({{4, 31}, {4, 2}});
  EXPECT_EQ(grid.on(4, 31), 0x80000000U);
  EXPECT_EQ(grid.on(4, 2), 4U);
  EXPECT_EQ(grid.on(4, 3), 0U);
  EXPECT_EQ(grid.on(5, 2), 0U);
}

TEST(BitGrid, BitsBeyondThirtyOneLieInLaterRows) {
  const BitGrid grid = GridOf({{0, 33}, {-2, 64}});
  EXPECT_EQ(grid.rows[1], 2U);
  EXPECT_EQ(grid.rows[0], 1U);
  EXPECT_EQ(grid.occupied(), 2);
  EXPECT_EQ(grid.on(1, 1), 2U);
  EXPECT_EQ(grid.on(0, 33), 2U);
  EXPECT_EQ(grid.on(-2, 64), 1U);
}

TEST(BitGrid, CellsOutsideAreIgnored) {
  BitGrid grid;
  for (const auto& [x, y] : std::initializer_list<std::pair<int, int>>{{-1, 0},
                                                                       {32, 0},
                                                                       {31, 32},
                                                                       {0, -1},
                                                                       {1, -32},
                                                                       {INT_MAX, INT_MAX},
                                                                       {INT_MIN, INT_MIN},
                                                                       {INT_MIN, INT_MAX},
                                                                       {0, INT_MAX}})
    grid.set(x, y);
  EXPECT_EQ(grid.occupied(), 0);
  grid.fill();
  EXPECT_EQ(grid.on(-1, 0), 0U);
  EXPECT_EQ(grid.on(32, 0), 0U);
  EXPECT_EQ(grid.on(31, 32), 0U);
  EXPECT_EQ(grid.on(0, -1), 0U);
  EXPECT_EQ(grid.on(INT_MAX, INT_MAX), 0U);
  EXPECT_EQ(grid.on(5, INT_MIN), 0U);
}

TEST(BitGrid, FillOccupiesAllCellsAndClearNone) {
  BitGrid grid;
  grid.fill();
  EXPECT_EQ(grid.occupied(), 1024);
  EXPECT_EQ(grid.max_x(), 31);
  EXPECT_EQ(grid.max_y(), 31);
  grid.clear();
  EXPECT_EQ(grid.occupied(), 0);
}

TEST(BitGrid, CombinesWordByWord) {
  const BitGrid a = GridOf({{0, 0}, {7, 9}, {31, 31}});
  const BitGrid b = GridOf({{7, 9}, {7, 10}});
  BitGrid both = a;
  both |= b;
  EXPECT_TRUE(Same(both, GridOf({{0, 0}, {7, 9}, {7, 10}, {31, 31}})));
  BitGrid common = a;
  common &= b;
  EXPECT_TRUE(Same(common, GridOf({{7, 9}})));
}

TEST(BitGrid, TouchesOnlyWhenACellIsShared) {
  EXPECT_EQ(GridOf({{7, 9}, {31, 31}}).touches(GridOf({{31, 31}})), 1);
  EXPECT_EQ(GridOf({{7, 9}}).touches(GridOf({{7, 10}, {8, 9}})), 0);
  EXPECT_EQ(BitGrid().touches(BitGrid()), 0);
}

TEST(BitGrid, ShiftMovesRowsAndBitsIntoTheDestination) {
  BitGrid dest = GridOf({{0, 0}});
  GridOf({{0, 0}, {2, 3}}).shift(dest, 4, 5);
  EXPECT_TRUE(Same(dest, GridOf({{0, 0}, {4, 5}, {6, 8}})));
}

TEST(BitGrid, ShiftPastTheLastRowOrBitDropsTheCell) {
  const BitGrid corner = GridOf({{31, 31}});
  BitGrid dest;
  corner.shift(dest, 1, 0);
  EXPECT_EQ(dest.occupied(), 0);
  corner.shift(dest, 0, 1);
  EXPECT_EQ(dest.occupied(), 0);
  corner.shift(dest, 0, 0);
  EXPECT_TRUE(Same(dest, corner));
}

TEST(BitGrid, ShiftByThirtyTwoBitsAndMoreLandsInLaterRows) {
  BitGrid dest;
  GridOf({{2, 1}}).shift(dest, 3, 70);  // 70 = 2 rows and 6 bits
  EXPECT_TRUE(Same(dest, GridOf({{7, 7}})));
  dest.clear();
  GridOf({{30, 0}}).shift(dest, 1, 32);  // row 32
  GridOf({{0, 0}}).shift(dest, 31, INT_MAX);
  EXPECT_EQ(dest.occupied(), 0);
}

TEST(BitGrid, ShiftOutsideTheGridDoesNothing) {
  BitGrid full;
  full.fill();
  BitGrid dest;
  full.shift(dest, -1, 0);
  full.shift(dest, 0, -1);
  full.shift(dest, 32, 0);
  full.shift(dest, INT_MAX, 0);
  full.shift(dest, INT_MIN, INT_MIN);
  EXPECT_EQ(dest.occupied(), 0);
}

TEST(BitGrid, CountsAndHighestBitsMatchABitLoop) {
  // Every byte value in every byte position, and a few mixed words.
  for (int shift = 0; shift < 32; shift += 8)
    for (uint32_t value = 0; value < 256; ++value) {
      const uint32_t word = value << shift | (shift == 16 ? 0x81U : 0U);
      int bits = 0, highest = 0;
      for (int k = 0; k < 32; ++k)
        if (word >> k & 1) {
          ++bits;
          highest = k;
        }
      ASSERT_EQ(PlacementProbe::num_bits(word), bits) << word;
      ASSERT_EQ(PlacementProbe::highest_bit(word), highest) << word;
      ASSERT_EQ(PlacementProbe::count_bits(static_cast<int>(word)), bits) << word;
    }
}

TEST(BitGrid, ShiftBitsCarriesIntoTheNextWord) {
  const unsigned source[3] = {0xF0000001U, 0x80000000U, 0x3U};
  unsigned dest[3] = {0, 0x100U, 0};
  PlacementProbe::shift_bits(source, dest, 4, 3, 3);
  EXPECT_EQ(dest[0], 0x10U);
  EXPECT_EQ(dest[1], 0x10FU);  // word 1's own top bit moves on
  EXPECT_EQ(dest[2], 0x38U);
  unsigned moved[3] = {0, 0, 0};
  PlacementProbe::shift_bits(source, moved, 64, 3, 3);
  EXPECT_EQ(moved[0], 0U);
  EXPECT_EQ(moved[1], 0U);
  EXPECT_EQ(moved[2], 0xF0000001U);
}

TEST(BitGrid, KeptPrintsLineEndsToStandardOutput) {
  const test_support::TempDir dir;
  const std::string path = dir.File("grid.txt");
  FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  testing::internal::CaptureStdout();
  GridOf({{0, 0}, {31, 31}, {1, 2}}).print(file);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(32, '\n'));
  std::fclose(file);
  std::string expected(1024, '.');
  expected[0] = expected[32 + 2] = expected[1023] = '#';
  EXPECT_EQ(test_support::ReadFile(path), expected);
}

TEST(BitGrid, PrintsToStandardOutputWithoutAStream) {
  testing::internal::CaptureStdout();
  GridOf({{1, 0}}).print(nullptr);
  std::fflush(stdout);
  const std::string empty_row = std::string(32, '.') + "\n";
  std::string expected = empty_row + "#" + std::string(31, '.') + "\n";
  for (int row = 2; row < 32; ++row) expected += empty_row;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

}  // namespace
