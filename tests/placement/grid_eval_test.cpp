#include <gtest/gtest.h>

#include "tests/placement/placement_probe.h"
#include "tests/support/meshes.h"
#include "trq/placement.h"

namespace {

TEST(GridEval, SecondOfTwoQuarterSquaresStandsBesideTheFirst) {
  GridEval eval(31, 31, 100, 1);
  CTL square = test_support::Box({7.75F, 7.75F, 5});
  eval.add(square, 2);
  ASSERT_EQ(eval.find_placement(), 1);
  EXPECT_EQ(eval.y_shift(0, 0), 0);
  EXPECT_EQ(eval.y_shift(0, 1), 0);
  EXPECT_EQ(eval.z_rot(0, 1), 0);
}

}  // namespace
