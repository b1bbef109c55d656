#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "trq/foundation.h"

namespace {

constexpr float kPi = 3.1415927f;

TEST(Interpolate, FollowsTheLineAndExtrapolates) {
  EXPECT_EQ(interpolate(0, 0, 10, 20, 5), 10.0f);
  EXPECT_EQ(interpolate(0, 0, 10, 20, -1), -2.0f);
  EXPECT_EQ(interpolate(2, 1, 4, 5, 8), 13.0f);
  EXPECT_EQ(interpolate(4, 5, 2, 1, 8), 13.0f);
}

TEST(Interpolate, SpanBelowAMillionthAnswersTheFirstValue) {
  EXPECT_EQ(interpolate(1, 5, 1.0000005f, 9, 3), 5.0f);
  EXPECT_EQ(interpolate(1.0000005f, 5, 1, 9, 3), 5.0f);
  // Nine float steps of 2^-23 are 1.07e-6: (3 - 1)·4/(9·2^-23) + 5 = 7456545.4, whose nearest float is .5.
  EXPECT_EQ(interpolate(1, 5, 1.00000107288360595703125f, 9, 3), 7456545.5f);
}

TEST(NonparallelIntersection, FindsTheCrossing) {
  PbVec2f out(0, 0);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {10, 10}, {0, 10}, {10, 0}, out, 0), 1);
  EXPECT_EQ(out[0], 5.0f);
  EXPECT_EQ(out[1], 5.0f);
  EXPECT_EQ(nonparallel_intersection({10, 10}, {0, 0}, {10, 2}, {-10, 2}, out, 0), 1);
  EXPECT_EQ(out[0], 2.0f);
  EXPECT_EQ(out[1], 2.0f);
}

TEST(NonparallelIntersection, CollinearAndParallelSegmentsAnswerZeroAndLeaveThePoint) {
  PbVec2f out(7, 8);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {4, 4}, {2, 2}, {6, 6}, out, 1), 0);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {4, 0}, {0, 1}, {4, 1}, out, 1), 0);
  EXPECT_EQ(out[0], 7.0f);
  EXPECT_EQ(out[1], 8.0f);
}

TEST(NonparallelIntersection, AnOvershootUpToTheToleranceIsAccepted) {
  // The lines cross at (5, 5), one unit in x and y beyond the first segment's end.
  PbVec2f out(0, 0);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {4, 4}, {0, 10}, {10, 0}, out, 1.0f), 1);
  EXPECT_EQ(out[0], 5.0f);
  EXPECT_EQ(out[1], 5.0f);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {4, 4}, {0, 10}, {10, 0}, out, 0.99f), 0);
  EXPECT_EQ(nonparallel_intersection({4, 4}, {0, 0}, {10, 0}, {0, 10}, out, 1.0f), 1);
  EXPECT_EQ(nonparallel_intersection({4, 4}, {0, 0}, {10, 0}, {0, 10}, out, 0.99f), 0);
  // The other segment's extent is tested in the same way.
  EXPECT_EQ(nonparallel_intersection({0, 10}, {10, 0}, {0, 0}, {4, 4}, out, 1.0f), 1);
  EXPECT_EQ(nonparallel_intersection({0, 10}, {10, 0}, {0, 0}, {4, 4}, out, 0.99f), 0);
}

TEST(NonparallelIntersection, KeptStoresXBeforeTheTestsAndYOnlyBehindThem) {
  PbVec2f out(7, 8);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {4, 4}, {0, 10}, {10, 0}, out, 0.5f), 0);
  EXPECT_EQ(out[0], 5.0f);
  EXPECT_EQ(out[1], 8.0f);
  // y = 4x meets y = 5 at (1.25, 5): inside the widened extents in x, outside the first one in y.
  out = PbVec2f(7, 8);
  EXPECT_EQ(nonparallel_intersection({0, 0}, {1, 4}, {0, 5}, {2, 5}, out, 0.5f), 0);
  EXPECT_EQ(out[0], 1.25f);
  EXPECT_EQ(out[1], 5.0f);
}

TEST(Touches, APointNearerThanTheToleranceTouches) {
  EXPECT_EQ(touches({0, 0}, {10, 0}, {5, 1}, 2), 1);
  EXPECT_EQ(touches({10, 0}, {0, 0}, {5, -1}, 2), 1);
  EXPECT_EQ(touches({0, 0}, {10, 0}, {5, 1}, 1), 0);  // a distance of just the tolerance does not
  EXPECT_EQ(touches({0, 0}, {10, 0}, {5, 3}, 2), 0);
  EXPECT_EQ(touches({0, 0}, {8, 8}, {5, 3}, 1.5f), 1);  // distance sqrt(2)
  EXPECT_EQ(touches({0, 0}, {8, 8}, {5, 3}, 1.375f), 0);
}

TEST(Touches, TheFootMustLieOnTheSegmentEndsIncluded) {
  EXPECT_EQ(touches({0, 0}, {10, 0}, {0, 0.5f}, 1), 1);
  EXPECT_EQ(touches({0, 0}, {10, 0}, {10, 0.5f}, 1), 1);
  EXPECT_EQ(touches({0, 0}, {10, 0}, {10.5f, 0}, 1), 0);
  EXPECT_EQ(touches({0, 0}, {10, 0}, {-0.5f, 0}, 1), 0);
}

TEST(Touches, ASegmentWithoutLengthIsNeverTouched) {
  EXPECT_EQ(touches({3, 4}, {3, 4}, {3, 4}, 1), 0);
  EXPECT_EQ(touches({3, 4}, {3, 4}, {3.5f, 4}, 1), 0);
}

TEST(Touches, NaNNeverTouches) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(touches({0, 0}, {10, 0}, {nan, 0}, 1), 0);
  EXPECT_EQ(touches({0, 0}, {nan, 0}, {5, 0}, 1), 0);
}

TEST(DistSq, MeasuresToTheInfiniteLine) {
  EXPECT_EQ(dist_sq({0, 0}, {10, 0}, {5, 3}), 9.0f);
  EXPECT_EQ(dist_sq({0, 0}, {10, 0}, {20, 3}), 9.0f);
  EXPECT_EQ(dist_sq({1, 0}, {1, 2}, {4, 9}), 9.0f);
}

TEST(DistSq, ASegmentWithoutLengthGivesNaN) { EXPECT_TRUE(std::isnan(dist_sq({1, 1}, {1, 1}, {2, 2}))); }

// The foot lies at a third of the segment. Rounded to float that is (1 + 2^-25)/3, which puts the foot 2^-25
// from the point; in double it would fall on the point. touches keeps the double.
TEST(DistSq, KeptRoundsTheFootsFractionToFloat) {
  EXPECT_EQ(dist_sq({0, 0}, {3, 0}, {1, 0}), std::ldexp(1.0f, -50));
  EXPECT_EQ(touches({0, 0}, {3, 0}, {1, 0}, std::ldexp(1.0f, -26)), 1);
}

TEST(AngleBetween, KeptTurnsFromPlusYTowardsPlusX) {
  EXPECT_FLOAT_EQ(angle_between({0, 1}, {0, 0}, {1, 0}), 1.5707964f);
  EXPECT_FLOAT_EQ(angle_between({1, 0}, {0, 0}, {0, 1}), 4.712389f);
  EXPECT_FLOAT_EQ(angle_between({5, 6}, {5, 5}, {6, 6}), 0.78539816f);
  EXPECT_FLOAT_EQ(angle_between({0, 1}, {0, 0}, {0, -3}), kPi);
  EXPECT_EQ(angle_between({2, 2}, {0, 0}, {3, 3}), 0.0f);
}

TEST(AngleBetween, ARayWithoutLengthGivesPi) {
  EXPECT_EQ(angle_between({2, 3}, {2, 3}, {9, 9}), kPi);
  EXPECT_EQ(angle_between({9, 9}, {2, 3}, {2, 3}), kPi);
  EXPECT_EQ(angle_between({2, 3}, {2, 3}, {2, 3}), kPi);
}

TEST(AngleBetween, OnlyExactlyEqualPointsCountAsNoLength) {
  // Within the tolerance of operator==, but a ray all the same: towards +x and towards +y.
  EXPECT_FLOAT_EQ(angle_between({0, 1e-6f}, {0, 0}, {1e-6f, 0}), 1.5707964f);
}

}  // namespace
