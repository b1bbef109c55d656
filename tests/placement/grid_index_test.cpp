#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/placement/placement_probe.h"
#include "trq/placement.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

using Cells = std::vector<std::pair<int, int>>;

Cells Path(const GRID_INDEX2& index, float x0, float y0, float x1, float y1) {
  DynArray<MyPair<int, int>> found;
  const int count = index.boxes_between(x0, y0, x1, y1, found);
  EXPECT_EQ(count, found.count);
  Cells cells;
  for (int i = 0; i < count; ++i) cells.emplace_back(found[i].first, found[i].second);
  return cells;
}

// Cells of 1 x 1 from the origin on.
GRID_INDEX2 UnitCells() {
  GRID_INDEX2 index;
  index.setup(1, 1, 0, 0, 9, 9);
  return index;
}

TEST(GridIndex, SetupCountsTheCellsUpToTheUpperCorner) {
  GRID_INDEX2 index;
  index.setup(2.5F, 2, -5, 1, 5, 8.9F);
  EXPECT_EQ(index.x_offset, 5);
  EXPECT_EQ(index.y_offset, -1);
  EXPECT_EQ(index.x_size, 2.5F);
  EXPECT_EQ(index.y_size, 2);
  EXPECT_EQ(index.x_num, 5);  // 10 / 2.5 = 4, the fifth cell
  EXPECT_EQ(index.y_num, 4);  // 7.9 / 2 = 3.95
  EXPECT_EQ(index.get_y_num(), 4);
}

TEST(GridIndex, Setup2WidensTheAreaSoThatTheUpperCornerIsInTheLastCell) {
  GRID_INDEX2 index;
  index.setup2(4, 4, 0, 0, 10, 10);
  EXPECT_EQ(index.x_size, 2.50025F);
  EXPECT_EQ(index.y_size, 2.50025F);
  EXPECT_EQ(index.x_num, 4);
  EXPECT_EQ(index.y_num, 4);
  EXPECT_EQ(PlacementProbe::x_index(index, 10), 3);
  EXPECT_EQ(PlacementProbe::y_index(index, 10), 3);
  EXPECT_EQ(PlacementProbe::x_index(index, 0), 0);
}

TEST(GridIndex, IndicesTruncateTowardZero) {
  GRID_INDEX2 index;
  index.setup(2, 2, 10, 20, 30, 40);
  EXPECT_EQ(PlacementProbe::x_index(index, 13.9F), 1);
  EXPECT_EQ(PlacementProbe::x_index(index, 14), 2);
  EXPECT_EQ(PlacementProbe::y_index(index, 25), 2);
  EXPECT_EQ(PlacementProbe::x_index(index, 8.5F), 0);  // just below the lower edge is still cell 0
  EXPECT_EQ(PlacementProbe::y_index(index, 18.5F), 0);
  EXPECT_EQ(PlacementProbe::x_index(index, 8), -1);
}

TEST(GridIndex, IndicesThatDoNotFitAnIntAreIntMin) {
  GRID_INDEX2 index = UnitCells();
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(PlacementProbe::x_index(index, std::numeric_limits<float>::quiet_NaN()), INT_MIN);
  EXPECT_EQ(PlacementProbe::x_index(index, infinity), INT_MIN);
  EXPECT_EQ(PlacementProbe::y_index(index, -infinity), INT_MIN);
  EXPECT_EQ(PlacementProbe::y_index(index, 3e9F), INT_MIN);
  index.x_size = 0;
  EXPECT_EQ(PlacementProbe::x_index(index, 0), INT_MIN);
}

TEST(GridIndex, SetupOfASenselessAreaLeavesNoUsableCells) {
  GRID_INDEX2 index;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  index.setup(1, nan, 0, 0, 3e9F, 5);
  EXPECT_EQ(index.ok(0, 0), 0);
}

TEST(GridIndex, CoordinatesAreLowerEdgesAndCentres) {
  GRID_INDEX2 index;
  index.setup(2.5F, 1.5F, -5, 10, 5, 40);
  EXPECT_EQ(index.x_coordf(1), -2.5F);
  EXPECT_EQ(index.x_coord(1), -2);  // truncated toward zero
  EXPECT_EQ(index.x_coordf(3), 2.5F);
  EXPECT_EQ(index.x_coord(3), 2);
  EXPECT_EQ(index.x_mid_coord(1), -1);  // -1.25
  EXPECT_EQ(index.x_mid_coord(3), 3);   // 3.75
  EXPECT_EQ(index.y_coordf(3), 14.5F);
  EXPECT_EQ(index.y_coord(3), 14);
  EXPECT_EQ(index.y_mid_coord(3), 15);  // 15.25
  EXPECT_EQ(index.y_coordf(-1), 8.5F);
}

TEST(GridIndex, CoordinatesThatDoNotFitAnIntAreIntMin) {
  GRID_INDEX2 index;
  index.setup(1e30F, std::numeric_limits<float>::quiet_NaN(), 0, 0, 1, 1);
  EXPECT_EQ(index.x_coord(1), INT_MIN);
  EXPECT_EQ(index.x_mid_coord(5), INT_MIN);
  EXPECT_EQ(index.y_coord(0), INT_MIN);
  EXPECT_EQ(index.y_mid_coord(0), INT_MIN);
}

TEST(GridIndex, ChecksIndicesAgainstTheCellCounts) {
  GRID_INDEX2 index;
  index.setup2(3, 5, 0, 0, 1, 1);
  EXPECT_EQ(index.x_ok(0), 1);
  EXPECT_EQ(index.x_ok(2), 1);
  EXPECT_EQ(index.x_ok(3), 0);
  EXPECT_EQ(index.x_ok(-1), 0);
  EXPECT_EQ(index.y_ok(4), 1);
  EXPECT_EQ(index.y_ok(5), 0);
  EXPECT_EQ(index.y_ok(-1), 0);
  EXPECT_EQ(index.ok(2, 4), 1);
  EXPECT_EQ(index.ok(3, 4), 0);
  EXPECT_EQ(index.ok(2, 5), 0);
}

TEST(GridIndex, SegmentInsideOneCellYieldsThatCell) {
  EXPECT_THAT(Path(UnitCells(), 3.1F, 4.2F, 3.9F, 4.8F), ElementsAre(Pair(3, 4)));
  EXPECT_THAT(Path(UnitCells(), 3.1F, 4.2F, 3.1F, 4.2F), ElementsAre(Pair(3, 4)));
}

TEST(GridIndex, VerticalSegmentWalksTheRowsInItsOwnDirection) {
  EXPECT_THAT(Path(UnitCells(), 1.5F, 2.5F, 1.5F, 5.5F),
              ElementsAre(Pair(1, 2), Pair(1, 3), Pair(1, 4), Pair(1, 5)));
  EXPECT_THAT(Path(UnitCells(), 1.5F, 5.5F, 1.5F, 2.5F),
              ElementsAre(Pair(1, 5), Pair(1, 4), Pair(1, 3), Pair(1, 2)));
}

TEST(GridIndex, HorizontalSegmentWalksTheColumnsInItsOwnDirection) {
  EXPECT_THAT(Path(UnitCells(), 0.5F, 2.5F, 2.5F, 2.1F), ElementsAre(Pair(0, 2), Pair(1, 2), Pair(2, 2)));
  EXPECT_THAT(Path(UnitCells(), 2.5F, 2.5F, 0.5F, 2.1F), ElementsAre(Pair(2, 2), Pair(1, 2), Pair(0, 2)));
}

TEST(GridIndex, SlantedSegmentCrossesEdgesInOrder) {
  // y = 0.5 + (x - 0.5) * 1.25 / 3: y 0.708 at x = 1, x 1.7 at y = 1, y 1.125 at x = 2, y 1.542 at x = 3.
  EXPECT_THAT(Path(UnitCells(), 0.5F, 0.5F, 3.5F, 1.75F),
              ElementsAre(Pair(0, 0), Pair(1, 0), Pair(1, 1), Pair(2, 1), Pair(3, 1)));
  EXPECT_THAT(Path(UnitCells(), 3.5F, 1.75F, 0.5F, 0.5F),
              ElementsAre(Pair(3, 1), Pair(2, 1), Pair(1, 1), Pair(1, 0), Pair(0, 0)));
  // Downward to the right: x 0.9 at y = 2, y 1.917 at x = 1, x 2.1 at y = 1, y 0.25 from there on.
  EXPECT_THAT(Path(UnitCells(), 0.3F, 2.5F, 2.9F, 0.333F),
              ElementsAre(Pair(0, 2), Pair(0, 1), Pair(1, 1), Pair(2, 1), Pair(2, 0)));
}

TEST(GridIndex, KeptThroughACornerTheYStepComesFirst) {
  EXPECT_THAT(Path(UnitCells(), 0.5F, 0.5F, 2.5F, 2.5F),
              ElementsAre(Pair(0, 0), Pair(0, 1), Pair(1, 1), Pair(1, 2), Pair(2, 2)));
  EXPECT_THAT(Path(UnitCells(), 2.5F, 2.5F, 0.5F, 0.5F),
              ElementsAre(Pair(2, 2), Pair(2, 1), Pair(1, 1), Pair(1, 0), Pair(0, 0)));
  EXPECT_THAT(Path(UnitCells(), 0.5F, 2.5F, 2.5F, 0.5F),
              ElementsAre(Pair(0, 2), Pair(0, 1), Pair(1, 1), Pair(1, 0), Pair(2, 0)));
}

TEST(GridIndex, CornerIsJudgedInSinglePrecision) {
  // The way to x = 1 is 0.3870608407855792 of the segment, the way to y = 1 is 0.3870608452567599: nearer in
  // x, but one and the same float, 0.38706085.
  EXPECT_THAT(
      Path(UnitCells(), 0.5084264874458313F, 0.5209383964538574F, 1.778442621231079F, 1.7586290836334229F),
      ElementsAre(Pair(0, 0), Pair(0, 1), Pair(1, 1)));
}

TEST(GridIndex, WalkRespectsOffsetsAndUnequalCells) {
  GRID_INDEX2 index;
  index.setup(2, 10, -4, 100, 4, 140);
  // x edges at -2, 0, 2 and 4 after 1/8, 3/8, 5/8 and 7/8 of the way, the y edge at 110 half way.
  EXPECT_THAT(Path(index, -3, 105, 5, 115),
              ElementsAre(Pair(0, 0), Pair(1, 0), Pair(2, 0), Pair(2, 1), Pair(3, 1), Pair(4, 1)));
  EXPECT_THAT(Path(index, -3, 105, -1, 115), ElementsAre(Pair(0, 0), Pair(0, 1), Pair(1, 1)));
}

TEST(GridIndex, PathIsConnectedAndEndsInTheEndCell) {
  const GRID_INDEX2 index = UnitCells();
  unsigned state = 1;
  const auto next = [&] {
    state = state * 1664525U + 1013904223U;
    return static_cast<float>(state >> 8) / 16777216.0F * 12.0F - 2.0F;
  };
  for (int round = 0; round < 2000; ++round) {
    const float x0 = next(), y0 = next(), x1 = next(), y1 = next();
    const Cells cells = Path(index, x0, y0, x1, y1);
    ASSERT_EQ(cells.front(), std::make_pair(static_cast<int>(x0), static_cast<int>(y0)));
    ASSERT_EQ(cells.back(), std::make_pair(static_cast<int>(x1), static_cast<int>(y1)));
    for (std::size_t i = 1; i < cells.size(); ++i)
      ASSERT_EQ(
          std::abs(cells[i].first - cells[i - 1].first) + std::abs(cells[i].second - cells[i - 1].second), 1);
    const int steps = std::abs(cells.back().first - cells.front().first) +
                      std::abs(cells.back().second - cells.front().second);
    ASSERT_EQ(cells.size(), static_cast<std::size_t>(steps) + 1);
  }
}

TEST(GridIndex, LostEndsYieldTheFirstCellAlone) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THAT(Path(UnitCells(), 2.5F, 3.5F, nan, 3.5F), ElementsAre(Pair(2, 3)));
  EXPECT_THAT(Path(UnitCells(), 2.5F, 3.5F, 2.5F, 1e20F), ElementsAre(Pair(2, 3)));
  EXPECT_THAT(Path(UnitCells(), nan, 3.5F, 1, 1), ElementsAre(Pair(INT_MIN, 3)));
  EXPECT_THAT(Path(UnitCells(), nan, nan, nan, nan), ElementsAre(Pair(INT_MIN, INT_MIN)));
}

TEST(GridIndex, VeryLongPathsYieldTheFirstCellAlone) {
  // 16777217 cells, one more than 2^24.
  EXPECT_THAT(Path(UnitCells(), 0.5F, 0.5F, 16777216.0F, 0.5F), ElementsAre(Pair(0, 0)));
  EXPECT_THAT(Path(UnitCells(), 2e9F, 0, -2e9F, 2e9F), ElementsAre(Pair(2000000000, 0)));
  EXPECT_EQ(Path(UnitCells(), 0.5F, 0.5F, 100000.5F, 0.5F).size(), 100001U);
}

TEST(GridIndex, PathsThatCouldNotEndYieldTheFirstCellAlone) {
  GRID_INDEX2 index;
  index.setup(-1, -1, 0, 0, 1, 1);
  EXPECT_THAT(Path(index, 0.5F, 0.5F, 3.5F, 0.5F), ElementsAre(Pair(0, 0)));
  EXPECT_THAT(Path(index, 0.5F, 0.5F, 2.5F, 3.5F), ElementsAre(Pair(0, 0)));
}

TEST(GridIndex, SecondCellGrowsAnArrayOfOneToEleven) {
  DynArray<MyPair<int, int>> cells;
  EXPECT_EQ(UnitCells().boxes_between(0.5F, 0.5F, 0.6F, 0.5F, cells), 1);
  EXPECT_EQ(cells.capacity(), 1);
  EXPECT_EQ(UnitCells().boxes_between(0.5F, 0.5F, 1.5F, 0.5F, cells), 2);
  EXPECT_EQ(cells.capacity(), 11);
  EXPECT_EQ(UnitCells().boxes_between(0.5F, 0.5F, 11.5F, 0.5F, cells), 12);
  EXPECT_EQ(cells.capacity(), 28);  // 11 + 7 + 10
  EXPECT_EQ(UnitCells().boxes_between(0.5F, 0.5F, 0.5F, 0.5F, cells), 1);
  EXPECT_EQ(cells.count, 1);
  EXPECT_EQ(cells.capacity(), 28);
}

TEST(GridIndex, CopiesTheErrorAndAllSixFields) {
  GRID_INDEX2 index;
  index.setup(2.5F, 2, -5, 1, 5, 8.9F);
  index.SetError(7, "out of cells");
  const GRID_INDEX2 copy(index);
  GRID_INDEX2 assigned;
  assigned = index;
  index.setup(1, 1, 0, 0, 1, 1);
  index.ClearError();
  for (const GRID_INDEX2* other : {&copy, static_cast<const GRID_INDEX2*>(&assigned)}) {
    EXPECT_EQ(other->x_num, 5);
    EXPECT_EQ(other->y_num, 4);
    EXPECT_EQ(other->x_size, 2.5F);
    EXPECT_EQ(other->y_size, 2);
    EXPECT_EQ(other->x_offset, 5);
    EXPECT_EQ(other->y_offset, -1);
    EXPECT_EQ(other->GetErrorCode(), 7);
    EXPECT_STREQ(other->GetErrorMessage(), "out of cells");
  }
}

}  // namespace
