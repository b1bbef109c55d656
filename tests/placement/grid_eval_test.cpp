#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/placement/placement_probe.h"
#include "tests/support/meshes.h"
#include "trq/placement.h"

namespace {

using test_support::Box;
using test_support::MakeMesh;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
const std::string kWhoops = "whoops, mistake in part placement\n";

// The cells (x0, y0) .. (x1, y1).
BitGrid Block(int x0, int y0, int x1, int y1) {
  BitGrid grid;
  for (int x = x0; x <= x1; ++x)
    for (int y = y0; y <= y1; ++y) grid.set(x, y);
  return grid;
}

bool Same(const BitGrid& a, const BitGrid& b) {
  return std::equal(std::begin(a.rows), std::end(a.rows), std::begin(b.rows));
}

// A vat of 31 x 31 with cells of 1 x 1 (`add` makes them so again, but for the margin).
GridEval Vat31(int rotations) {
  GridEval eval(31, 31, 100, rotations);
  eval.setup(1, 1, 0, 0, 31, 31);
  return eval;
}

// A vat holding one component of the given footprints, one a rotation.
GridEval VatWith(const std::vector<BitGrid>& footprints, int copies, uint32_t invalid = 0) {
  GridEval eval = Vat31(static_cast<int>(footprints.size()));
  PlacementProbe::add_footprints(eval, footprints, copies, invalid);
  return eval;
}

std::array<int, 3> PlaceOf(const GridEval& eval, int component, int copy) {
  const GridEval::Answer::Place& place = PlacementProbe::place(eval, component, copy);
  return {place.x, place.y, place.rotation};
}

std::string PrintedBy(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// ------------------------------------------------------------------------------------------------------------
// The vat and its cells

TEST(GridEval, EveryVatHasThirtyTwoCellsEachWay) {
  int needs_rounding = 0;
  for (int halves = 1; halves <= 1200; ++halves) {
    const float side = static_cast<float>(halves) / 2;
    GridEval eval(side, 2 * side, 10, 1);
    CTL part;
    eval.add(part, 1);
    ASSERT_EQ(eval.x_num, 32) << side;
    ASSERT_EQ(eval.y_num, 32) << side;
    const double unrounded = static_cast<double>(PlacementProbe::vat_x(eval)) / eval.x_size;
    needs_rounding += static_cast<int>(unrounded) == 30;
  }
  EXPECT_GT(needs_rounding, 100);  // so many vats would lose a cell without the rounding to float
}

TEST(GridEval, VatIsStoredWithAMargin) {
  // 1 + 1e-6 lies between the floats 1.00000095 and 1.00000107, nearer to the first.
  EXPECT_EQ(PlacementProbe::vat_x(GridEval(1, 1, 1, 1)), 1.00000095F);
}

TEST(GridEval, CellsAreTheVatDividedByThirtyOne) {
  GridEval eval(310, 62, 10, 1);
  CTL part;
  eval.add(part, 1);
  EXPECT_NEAR(eval.x_size, 10, 1e-5);
  EXPECT_NEAR(eval.y_size, 2, 1e-5);
  EXPECT_EQ(eval.x_offset, 0);
  EXPECT_EQ(eval.y_offset, 0);
}

TEST(GridEval, RotationsAreClampedToTheTables) {
  EXPECT_EQ(PlacementProbe::rotations(Vat31(25)), 24);
  EXPECT_EQ(PlacementProbe::rotations(Vat31(24)), 24);
  EXPECT_EQ(PlacementProbe::rotations(Vat31(-3)), 0);
  GridEval eval = Vat31(1000);
  CTL part = Box({3, 2, 1});
  eval.add(part, 1);
  EXPECT_EQ(eval.find_placement(), 1);
}

TEST(GridEval, BigTablesLiveOnTheHeap) { EXPECT_LT(sizeof(GridEval), 1024U); }

// ------------------------------------------------------------------------------------------------------------
// Rasterising

TEST(GridEval, TriangleMarksTheBoxAroundItsCornersCells) {
  GridEval eval = Vat31(1);
  BitGrid grid;
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {0.5F, 0.5F, 0}, {3.5F, 0.5F, 9}, {0.5F, 2.5F, -9}, grid);
            }),
            "");
  EXPECT_TRUE(Same(grid, Block(0, 0, 3, 2)));
  PlacementProbe::mark_triangle(eval, {20.5F, 7.5F, 0}, {20.2F, 7.1F, 0}, {20.9F, 7.9F, 0}, grid);
  BitGrid both = Block(0, 0, 3, 2);
  both.set(20, 7);
  EXPECT_TRUE(Same(grid, both));
}

TEST(GridEval, EachCellOutsideTheGridPrintsALine) {
  GridEval eval = Vat31(1);
  BitGrid grid;
  // Columns -1 to 1, rows 0 and 1: two cells outside.
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {-1.5F, 0.5F, 0}, {1.5F, 0.5F, 0}, {1.5F, 1.5F, 0}, grid);
            }),
            kWhoops + kWhoops);
  EXPECT_TRUE(Same(grid, Block(0, 0, 1, 1)));
  // Just below the lower edge is still cell 0.
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {-0.9F, -0.9F, 0}, {1.5F, 0.5F, 0}, {1.5F, 1.5F, 0}, grid);
            }),
            "");
  // Columns 30 to 33, row 31 and 32: of eight cells two are inside.
  grid.clear();
  std::string six;
  for (int i = 0; i < 6; ++i) six += kWhoops;
  EXPECT_EQ(
      PrintedBy([&] {
        PlacementProbe::mark_triangle(eval, {30.5F, 31.5F, 0}, {33.5F, 32.5F, 0}, {30.5F, 32.5F, 0}, grid);
      }),
      six);
  EXPECT_TRUE(Same(grid, Block(30, 31, 31, 31)));
}

TEST(GridEval, TriangleWithALostCornerPrintsOneLineAndKeepsItsInnerCells) {
  GridEval eval = Vat31(1);
  BitGrid grid;
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {kNan, 0.5F, 0}, {1.5F, 0.5F, 0}, {1.5F, 1.5F, 0}, grid);
            }),
            kWhoops);
  EXPECT_TRUE(Same(grid, Block(0, 0, 1, 1)));  // the lost corner counts as far to the left
  grid.clear();
  const PbVec3f lost(kNan, kNan, kNan);
  EXPECT_EQ(PrintedBy([&] { PlacementProbe::mark_triangle(eval, lost, lost, lost, grid); }), kWhoops);
  EXPECT_EQ(grid.occupied(), 0);
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {1e30F, 1e30F, 0}, {2.5F, 2.5F, 0}, {1e30F, 3.5F, 0}, grid);
            }),
            kWhoops);
}

TEST(GridEval, TriangleWithAMillionCellsOutsidePrintsOneLine) {
  GridEval eval = Vat31(1);
  BitGrid grid;
  EXPECT_EQ(
      PrintedBy([&] {
        PlacementProbe::mark_triangle(eval, {5.5F, 3.5F, 0}, {1048700.5F, 3.5F, 0}, {5.5F, 3.5F, 0}, grid);
      }),
      kWhoops);
  EXPECT_TRUE(Same(grid, Block(5, 3, 31, 3)));
  // Beyond the largest index an int holds the loops must not wrap round either.
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {2147483000.0F, 3.5F, 0}, {2147483000.0F, 3.5F, 0},
                                            {2147483000.0F, 3.5F, 0}, grid);
            }),
            kWhoops);
  // A thousand lines are printed one by one.
  EXPECT_EQ(PrintedBy([&] {
              PlacementProbe::mark_triangle(eval, {0.5F, 3.5F, 0}, {1031.5F, 3.5F, 0}, {0.5F, 3.5F, 0}, grid);
            }).size(),
            1000 * kWhoops.size());
}

TEST(GridEval, FootprintsFollowThePartRound) {
  GridEval eval = Vat31(4);
  CTL part = Box({3.5F, 2.5F, 1});
  eval.add(part, 1);
  ASSERT_EQ(PlacementProbe::num_components(eval), 1);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), Block(0, 0, 3, 2)));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 1), Block(0, 0, 2, 3)));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 2), Block(0, 0, 3, 2)));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 3), Block(0, 0, 2, 3)));
  for (int r = 0; r < 4; ++r) EXPECT_EQ(PlacementProbe::valid(eval, 0, r), 1);
}

TEST(GridEval, FootprintShowsTheMeshAndNotItsBox) {
  GridEval eval = Vat31(1);
  // Two small facets in opposite corners.
  CTL part =
      MakeMesh({{0, 0, 0}, {0.9F, 0, 0}, {0, 0.9F, 0}, {9.5F, 9.5F, 0}, {9.1F, 9.5F, 0}, {9.5F, 9.1F, 0}},
               {{0, 1, 2}, {3, 4, 5}});
  eval.add(part, 1);
  BitGrid expected;
  expected.set(0, 0);
  expected.set(9, 9);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), expected));
}

TEST(GridEval, CornersThatNameNoVertexLieInTheFirstCell) {
  GridEval eval = Vat31(1);
  CTL part = MakeMesh({{2.5F, 2.5F, 0}, {3.5F, 2.5F, 0}}, {{0, 1, 1}});
  part.nth(0)[1] = -7;
  part.nth(0)[2] = 1000000;
  eval.add(part, 1);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), Block(0, 0, 2, 2)));
}

TEST(GridEval, PartThatReachesFartherThanItsBoxSaysPrintsItsCellsOutside) {
  GridEval eval = Vat31(1);
  CTL nothing;
  eval.add(nothing, 0);  // makes the cells
  const float end_x = 32 * eval.x_size, end_y = 32 * eval.y_size;
  CTL part = MakeMesh({{30.5F, 30.5F, 0}, {end_x, 30.5F, 0}, {30.5F, end_y, 0}}, {{0, 1, 1}, {0, 2, 2}});
  part.extents_valid = 1;
  for (float& value : part.max) value = 1;
  // Cells 30 to 32 along X and then along Y, of which 32 is outside.
  EXPECT_EQ(PrintedBy([&] { eval.add(part, 1); }), kWhoops + kWhoops);
  BitGrid expected = Block(30, 30, 31, 30);
  expected |= Block(30, 30, 30, 31);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 1, 0), expected));
}

TEST(GridEval, PartComesBackToItsPlaceAfterAFullTurn) {
  GridEval eval = Vat31(24);
  CTL part = Box({12, 3, 7});
  const std::vector<test_support::Point> before = test_support::VerticesOf(part);
  eval.add(part, 1);
  const std::vector<test_support::Point> after = test_support::VerticesOf(part);
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i)
    for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(after[i][k], before[i][k], 1e-4);
}

// ------------------------------------------------------------------------------------------------------------
// Adding

TEST(GridEval, MoreThanAHundredCopiesWarnAndPlaceAHundred) {
  GridEval eval = Vat31(1);
  CTL part = Box({0.5F, 0.5F, 1});
  EXPECT_EQ(PrintedBy([&] { eval.add(part, 150); }), "Warning: MAX_COPIES of 100 exceeded (150)\n");
  ASSERT_EQ(eval.find_placement(), 1);
  std::set<std::pair<float, float>> places;
  for (int copy = 0; copy < 100; ++copy) places.emplace(eval.x_shift(0, copy), eval.y_shift(0, copy));
  EXPECT_EQ(places.size(), 100U);
}

TEST(GridEval, KeptTakesAHundredAndOneComponents) {
  GridEval eval = Vat31(1);
  CTL part = Box({0.5F, 0.5F, 1});
  EXPECT_EQ(PrintedBy([&] {
              for (int i = 0; i < 101; ++i) eval.add(part, 1);
            }),
            "");
  EXPECT_EQ(PrintedBy([&] { eval.add(part, 1); }), "Warning: too many components to place on vat\n");
  EXPECT_EQ(PlacementProbe::num_components(eval), 101);
  EXPECT_EQ(PrintedBy([&] { eval.add(part, 101); }),
            "Warning: MAX_COPIES of 100 exceeded (101)\nWarning: too many components to place on vat\n");
  ASSERT_EQ(eval.find_placement(), 1);
  std::set<std::pair<float, float>> places;
  for (int component = 0; component < 101; ++component)
    places.emplace(eval.x_shift(component, 0), eval.y_shift(component, 0));
  EXPECT_EQ(places.size(), 101U);
}

TEST(GridEval, PartBeyondTheDiagonalOrHeightIsTooBigUntilClear) {
  const std::vector<test_support::Point> sizes = {{43.9F, 1, 1}, {1, 43.9F, 1}, {1, 1, 100.01F}};
  for (const test_support::Point& size : sizes) {
    GridEval eval = Vat31(8);
    CTL small = Box({1, 1, 1});
    CTL large = Box(size);
    EXPECT_EQ(PrintedBy([&] {
                eval.add(large, 1);
                eval.add(small, 1);
              }),
              "");
    EXPECT_EQ(PlacementProbe::too_big(eval), 1);
    EXPECT_EQ(PlacementProbe::num_components(eval), 1);  // the large one is not counted
    EXPECT_EQ(eval.find_placement(), 0);
    eval.clear();
    eval.add(small, 1);
    EXPECT_EQ(eval.find_placement(), 1);
  }
}

TEST(GridEval, KeptPartLongerThanASideFitsTurned) {
  GridEval eval = Vat31(8);
  CTL bar = Box({40, 1, 1});  // 28.99 square when turned by 45 degrees
  eval.add(bar, 1);
  EXPECT_EQ(PlacementProbe::too_big(eval), 0);
  for (int r = 0; r < 8; ++r) EXPECT_EQ(PlacementProbe::valid(eval, 0, r), r % 2) << r;
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(std::fmod(eval.z_rot(0, 0), 90.0F), 45.0F);
}

TEST(GridEval, PartThatFitsInNoRotationFindsNoPlace) {
  GridEval eval = Vat31(8);
  CTL square = Box({40, 40, 1});  // below the diagonal of 43.8, wider than the vat however it is turned
  eval.add(square, 1);
  EXPECT_EQ(PlacementProbe::too_big(eval), 0);
  for (int r = 0; r < 8; ++r) EXPECT_EQ(PlacementProbe::valid(eval, 0, r), 0) << r;
  EXPECT_EQ(eval.find_placement(), 0);
}

TEST(GridEval, NegativeCopiesCountAsNone) {
  GridEval eval = Vat31(1);
  CTL part = Box({1, 1, 1});
  EXPECT_EQ(PrintedBy([&] { eval.add(part, -5); }), "");
  EXPECT_EQ(PlacementProbe::num_components(eval), 1);
  EXPECT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(eval.x_shift(0, 0), 0);
}

TEST(GridEval, SenselessVatsHoldNothingAndHarmNothing) {
  const float infinity = std::numeric_limits<float>::infinity();
  for (float side : {0.0F, -10.0F, kNan, -1e-6F, 1e38F, infinity}) {
    GridEval eval(side, side, side, 2);
    CTL part = Box({1, 1, 1});
    PrintedBy([&] { eval.add(part, 1); });
    eval.find_placement();
    EXPECT_LE(PlacementProbe::num_components(eval), 1);
  }
}

// ------------------------------------------------------------------------------------------------------------
// Searching

TEST(GridEval, SecondOfTwoQuarterSquaresStandsBesideTheFirst) {
  GridEval eval = Vat31(1);
  CTL square = Box({7.75F, 7.75F, 5});
  eval.add(square, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 0}));
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{9, 0, 0}));  // eight cells and the gap
  EXPECT_EQ(eval.y_shift(0, 1), 0);
  EXPECT_EQ(eval.x_shift(0, 1), static_cast<float>(9.0 * eval.x_size));
}

TEST(GridEval, KeptFootprintOfAllRowsFindsNoPlace) {
  EXPECT_EQ(VatWith({Block(0, 0, 31, 0)}, 1).find_placement(), 0);
  EXPECT_EQ(VatWith({Block(0, 0, 0, 31)}, 1).find_placement(), 0);
  // Another rotation may still do.
  GridEval eval = VatWith({Block(0, 0, 31, 0), Block(0, 0, 0, 29)}, 1);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 1}));
}

TEST(GridEval, KeptLastRowAndBitStayFree) {
  // 31 of 32 rows: one place, at the origin. A single row of 16 fits once beside another, ending at row 30,
  // only if the second starts at row 15.
  EXPECT_EQ(VatWith({Block(0, 0, 30, 30)}, 1).find_placement(), 1);
  EXPECT_EQ(VatWith({Block(0, 0, 15, 30)}, 2).find_placement(), 0);
  GridEval eval = VatWith({Block(0, 0, 14, 30)}, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{15, 0, 0}));
}

TEST(GridEval, ArrangementWithoutGapsStaysWhenGapsFindNoRoom) {
  GridEval eval = VatWith({Block(0, 0, 14, 28)}, 2);  // grown to 16 x 30, of which only one fits
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 0}));
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{15, 0, 0}));
}

TEST(GridEval, KeptGapsArePreferredToHeight) {
  GridEval eval =
      VatWith({Block(0, 0, 14, 2)}, 2);  // side by side at first; grown to 16 x 4 one above the other
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 0}));
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{0, 4, 0}));
}

TEST(GridEval, KeptOneCellThickPartsMayStandSideBySide) {
  GridEval eval = VatWith({Block(0, 0, 0, 0)}, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 0}));
  EXPECT_EQ(PlaceOf(eval, 0, 1),
            (std::array{1, 0, 0}));  // the diagonal smear leaves no free cell between them
}

TEST(GridEval, LowestEndAlongYWinsAndAmongEqualsTheFirstRotation) {
  GridEval lying = VatWith({Block(0, 0, 1, 9), Block(0, 0, 9, 1), Block(0, 0, 5, 1)}, 1);
  ASSERT_EQ(lying.find_placement(), 1);
  EXPECT_EQ(PlaceOf(lying, 0, 0), (std::array{0, 0, 1}));
  GridEval restricted = VatWith({Block(0, 0, 1, 9), Block(0, 0, 9, 1), Block(0, 0, 5, 1)}, 1, 0b010);
  ASSERT_EQ(restricted.find_placement(), 1);
  EXPECT_EQ(PlaceOf(restricted, 0, 0), (std::array{0, 0, 2}));
}

TEST(GridEval, FootprintWithAHoleTakesAPieceIn) {
  BitGrid ring = Block(0, 0, 30, 30);
  for (int x = 10; x <= 20; ++x) ring.rows[x] &= ~(0x7FFU << 10);  // free cells 10..20 each way
  GridEval eval = Vat31(1);
  PlacementProbe::add_footprints(eval, {ring}, 1);
  PlacementProbe::add_footprints(eval, {Block(0, 0, 10, 10)}, 1);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 0), (std::array{0, 0, 0}));
  EXPECT_EQ(PlaceOf(eval, 1, 0), (std::array{10, 10, 0}));
}

TEST(GridEval, EmptyFootprintLiesAtTheOrigin) {
  GridEval eval = Vat31(1);
  PlacementProbe::add_footprints(eval, {Block(0, 0, 20, 20)}, 1);
  CTL nothing;
  eval.add(nothing, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 1, 1), (std::array{0, 0, 0}));
}

TEST(GridEval, NoPiecesAreAlwaysPlaced) {
  EXPECT_EQ(Vat31(4).find_placement(), 1);
  EXPECT_EQ(VatWith({Block(0, 0, 31, 31)}, 0).find_placement(), 1);
}

TEST(GridEval, WithoutRotationsNoPieceIsPlaced) {
  GridEval eval = Vat31(0);
  CTL part = Box({1, 1, 1});
  eval.add(part, 1);
  EXPECT_EQ(PlacementProbe::num_components(eval), 1);
  EXPECT_EQ(eval.find_placement(), 0);
  EXPECT_EQ(eval.z_rot(0, 0), 0);
}

TEST(GridEval, MoreThanAHundredPiecesAreSearched) {
  GridEval eval = Vat31(1);
  PlacementProbe::add_footprints(eval, {Block(0, 0, 0, 0)}, 90);
  PlacementProbe::add_footprints(eval, {Block(0, 0, 1, 0)}, 80);
  ASSERT_EQ(eval.find_placement(), 1);
  std::set<std::pair<float, float>> places;
  for (int copy = 0; copy < 90; ++copy) places.emplace(eval.x_shift(0, copy), eval.y_shift(0, copy));
  for (int copy = 0; copy < 80; ++copy) places.emplace(eval.x_shift(1, copy), eval.y_shift(1, copy));
  EXPECT_EQ(places.size(), 170U);
}

TEST(GridEval, FailedSearchLeavesAnswerAndFootprints) {
  GridEval eval = VatWith({Block(0, 0, 14, 2)}, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  eval.clear();
  PlacementProbe::add_footprints(eval, {Block(0, 0, 19, 19)}, 2);
  EXPECT_EQ(eval.find_placement(), 0);
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{0, 4, 0}));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), Block(0, 0, 19, 19)));
}

TEST(GridEval, SuccessfulSearchReplacesTheWholeAnswer) {
  GridEval eval = VatWith({Block(0, 0, 14, 2)}, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  eval.clear();
  PlacementProbe::add_footprints(eval, {Block(0, 0, 0, 0)}, 1);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{0, 0, 0}));
}

TEST(GridEval, SecondSearchWorksOnFootprintsGrownTwice) {
  GridEval eval = VatWith({Block(0, 0, 3, 1)}, 1);
  ASSERT_EQ(eval.find_placement(), 1);
  BitGrid once = Block(0, 0, 3, 1);
  once |= Block(1, 1, 4, 2);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), once));
  ASSERT_EQ(eval.find_placement(), 1);
  BitGrid twice = once;
  twice |= Block(1, 1, 4, 2);
  twice |= Block(2, 2, 5, 3);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), twice));
}

TEST(GridEval, EnlargedSingleCellCoversTheDiagonalCellToo) {
  GridEval eval = VatWith({Block(0, 0, 0, 0), Block(31, 31, 31, 31), Block(5, 5, 5, 5)}, 1, 0b100);
  eval.enlarge_components();
  BitGrid expected;
  expected.set(0, 0);
  expected.set(1, 1);
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 0), expected));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 1), Block(31, 31, 31, 31)));
  EXPECT_TRUE(Same(PlacementProbe::footprint(eval, 0, 2), Block(5, 5, 5, 5)));  // not valid, not grown
}

// ------------------------------------------------------------------------------------------------------------
// Random numbers

// How many numbers `action` draws from rand(), up to `most`; -1 when more or none of that.
int Draws(const std::function<void()>& action, int most) {
  std::srand(12345);
  action();
  std::array<int, 3> next;
  for (int& value : next) value = std::rand();
  std::srand(12345);
  std::vector<int> sequence;
  for (int i = 0; i < most + 3; ++i) sequence.push_back(std::rand());
  const auto found = std::search(sequence.begin(), sequence.end(), next.begin(), next.end());
  return found == sequence.end() ? -1 : static_cast<int>(found - sequence.begin());
}

TEST(GridEval, DrawsTwoNumbersAPieceInEachRandomPass) {
  GridEval eval = VatWith({Block(0, 0, 2, 2)}, 5);
  EXPECT_EQ(Draws([&] { ASSERT_EQ(eval.find_placement(), 1); }, 5000), 2 * 50 * (5 + 5));
}

TEST(GridEval, DrawsNothingAfterAPieceThatFails) {
  // Of three such squares the second finds no place: three draws for the shuffle, two for the modes.
  GridEval squares = VatWith({Block(0, 0, 19, 19)}, 3);
  EXPECT_EQ(Draws([&] { ASSERT_EQ(squares.find_placement(), 0); }, 5000), 50 * (3 + 2));
  GridEval rows = VatWith({Block(0, 0, 31, 0)}, 4);
  EXPECT_EQ(Draws([&] { ASSERT_EQ(rows.find_placement(), 0); }, 5000), 50 * (4 + 1));
}

TEST(GridEval, DrawsNothingWithoutPiecesOrWithAPartTooBig) {
  GridEval eval = Vat31(1);
  EXPECT_EQ(Draws([&] { eval.find_placement(); }, 100), 0);
  CTL large = Box({100, 1, 1});
  eval.add(large, 1);
  PlacementProbe::add_footprints(eval, {Block(0, 0, 0, 0)}, 1);
  EXPECT_EQ(Draws([&] { eval.find_placement(); }, 100), 0);
}

TEST(GridEval, ShuffleDrawsWithoutReplacement) {
  // Three pieces a b c; the pick from the first two draws, modulo 3 and modulo 2. The last piece fills the
  // gap.
  const std::string by_draws[3][2] = {{"acb", "abc"}, {"bac", "bca"}, {"cab", "cba"}};
  std::set<std::string> seen;
  for (unsigned seed = 0; seed < 100; ++seed) {
    std::srand(seed);
    const int first = std::rand() % 3;
    const int second = std::rand() % 2;
    std::srand(seed);
    std::vector<GridEval::CopyComp> order = {{0, 10}, {1, 11}, {2, 12}};
    PlacementProbe::random_shuffle(order);
    std::string text;
    for (const GridEval::CopyComp& piece : order) {
      EXPECT_EQ(piece.copy, piece.component + 10);
      text += static_cast<char>('a' + piece.component);
    }
    ASSERT_EQ(text, by_draws[first][second]) << seed;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 6U);
}

TEST(GridEval, OrderGoesByComponentAndThenCopy) {
  GridEval eval = Vat31(1);
  for (int copies : {2, 0, 1}) PlacementProbe::add_footprints(eval, {Block(0, 0, 0, 0)}, copies);
  std::vector<GridEval::CopyComp> order;
  PlacementProbe::initialize_order(eval, order);
  ASSERT_EQ(order.size(), 3U);
  EXPECT_EQ((std::array{order[0].component, order[0].copy}), (std::array{0, 0}));
  EXPECT_EQ((std::array{order[1].component, order[1].copy}), (std::array{0, 1}));
  EXPECT_EQ((std::array{order[2].component, order[2].copy}), (std::array{2, 0}));
}

// ------------------------------------------------------------------------------------------------------------
// Returns

TEST(GridEval, RotationAnswersAreDegrees) {
  const std::vector<BitGrid> four(4, Block(0, 0, 1, 1));
  GridEval eval = VatWith(four, 1, 0b0111);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(eval.z_rot(0, 0), 270);
  // The division is not one of integers: 360 / 7 = 51.428571.
  GridEval sevenths = VatWith(std::vector<BitGrid>(7, Block(0, 0, 1, 1)), 1, 0b1011111);
  ASSERT_EQ(sevenths.find_placement(), 1);
  EXPECT_EQ(sevenths.z_rot(0, 0), 257.142857F);  // 5 / 7 of a circle
}

TEST(GridEval, ShiftsAreCellsTimesCellSize) {
  GridEval eval(310, 62, 10, 1);
  CTL part = Box({100, 10, 5});
  eval.add(part, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(PlaceOf(eval, 0, 1), (std::array{12, 0, 0}));  // cells 0..10 or 0..9 and one grown, and a gap
  EXPECT_NEAR(eval.x_shift(0, 1), 120, 1e-3);
  EXPECT_EQ(eval.y_shift(0, 1), 0);
}

TEST(GridEval, AnswersOutsideTheTablesAndUnwrittenOnesAreZero) {
  GridEval eval = VatWith({Block(0, 0, 3, 3)}, 3);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_GT(eval.x_shift(0, 1) + eval.y_shift(0, 1), 0);
  for (const auto& [component, copy] : std::initializer_list<std::pair<int, int>>{{0, 3},
                                                                                  {1, 0},
                                                                                  {100, 99},
                                                                                  {101, 0},
                                                                                  {0, 100},
                                                                                  {-1, 0},
                                                                                  {0, -1},
                                                                                  {INT32_MAX, INT32_MAX},
                                                                                  {INT32_MIN, 0}}) {
    EXPECT_EQ(eval.x_shift(component, copy), 0);
    EXPECT_EQ(eval.y_shift(component, copy), 0);
    EXPECT_EQ(eval.z_rot(component, copy), 0);
  }
}

TEST(GridEval, EstimateOrdersByTheEndAlongY) {
  EXPECT_EQ(PlacementProbe::est_time(Block(0, 0, 4, 7)), 7 * 32 + 4);
  EXPECT_EQ(PlacementProbe::est_time(BitGrid()), -33);
}

TEST(GridEval, CopiesFootprintsAndAnswers) {
  GridEval eval = VatWith({Block(0, 0, 14, 2)}, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  GridEval copy(eval);
  GridEval assigned = Vat31(5);
  assigned = eval;
  eval.clear();
  PlacementProbe::add_footprints(eval, {Block(0, 0, 0, 0)}, 1);
  ASSERT_EQ(eval.find_placement(), 1);
  for (GridEval* other : {&copy, &assigned}) {
    EXPECT_EQ(PlaceOf(*other, 0, 1), (std::array{0, 4, 0}));
    EXPECT_EQ(PlacementProbe::rotations(*other), 1);
    EXPECT_EQ(PlacementProbe::num_components(*other), 1);
    EXPECT_EQ(PlacementProbe::footprint(*other, 0, 0).max_x(), 15);
    EXPECT_EQ(other->find_placement(), 1);
  }
}

TEST(GridEval, TurnedAndShiftedPartsCoverOnlyTheirOwnCells) {
  // What a caller does with the returns, on a part that is not symmetrical.
  GridEval eval = Vat31(8);
  const CTL part = MakeMesh({{0, 0, 0}, {9, 0, 0}, {9, 2, 0}, {2, 2, 0}, {2, 6, 0}, {0, 6, 0}},
                            {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 5}});
  CTL turned = MakeMesh(test_support::VerticesOf(part), test_support::TrianglesOf(part));
  eval.add(turned, 6);
  ASSERT_EQ(eval.find_placement(), 1);
  BitGrid taken;
  int cells = 0;
  for (int copy = 0; copy < 6; ++copy) {
    CTL placed = MakeMesh(test_support::VerticesOf(part), test_support::TrianglesOf(part));
    placed.rotateZ(eval.z_rot(0, copy));
    float x, y, z;
    placed.get_min(&x, &y, &z);
    placed.translate(-x + 0.001F, -y + 0.001F, 0);
    BitGrid own;
    for (int t = 0; t < placed.num_triangles(); ++t) {
      PbVec3f corner[3];
      for (int k = 0; k < 3; ++k) {
        corner[k] = placed.vertices()[placed.nth(t)[k]];
        corner[k][0] += eval.x_shift(0, copy);
        corner[k][1] += eval.y_shift(0, copy);
      }
      PlacementProbe::mark_triangle(eval, corner[0], corner[1], corner[2], own);
    }
    EXPECT_EQ(own.touches(taken), 0) << copy;
    taken |= own;
    cells += own.occupied();
  }
  EXPECT_EQ(taken.occupied(), cells);
}

}  // namespace
