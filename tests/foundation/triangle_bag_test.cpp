#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "trq/foundation.h"

namespace {

R_TRIANGLE Numbered(int n) {
  R_TRIANGLE t;
  for (int corner = 0; corner < 3; ++corner) t.corner[corner] = R_INT3(n, 10 * n, corner);
  t.attribute = n;
  return t;
}

std::vector<int> Numbers(const TriangleBAG& bag) {
  std::vector<int> numbers;
  for (int i = 0; i < bag.num(); ++i) numbers.push_back(bag[i].attribute);
  return numbers;
}

using Ints = std::vector<int>;

TEST(TriangleBag, KeepsRecordsInOrderByValue) {
  TriangleBAG bag(3, 2);
  EXPECT_EQ(bag.num(), 0);
  for (int n = 1; n <= 5; ++n) {
    bag.append(Numbered(n));
    EXPECT_EQ(bag.num(), n);
  }
  EXPECT_EQ(Numbers(bag), Ints({1, 2, 3, 4, 5}));
  EXPECT_EQ(bag[3].corner[2][0], 4);
  EXPECT_EQ(bag[3].corner[2][1], 40);
  EXPECT_EQ(bag[3].corner[2][2], 2);
}

TEST(TriangleBag, RunsEndWithTheirBlockOrWithTheBag) {
  TriangleBAG bag(3, 2);
  for (int n = 1; n <= 5; ++n) bag.append(Numbered(n));
  const int expected[] = {2, 1, 2, 1, 1};
  for (int i = 0; i < 5; ++i) {
    int count = 0;
    const R_TRIANGLE* const records = bag.run(i, count);
    ASSERT_EQ(count, expected[i]) << i;
    for (int k = 0; k < count; ++k) EXPECT_EQ(records[k].attribute, 1 + i + k);
  }
}

TEST(TriangleBag, TwoBlocksOfTwoHoldFourRecordsAndTheFifthThrowsNine) {
  TriangleBAG bag(2, 2);
  for (int n = 1; n <= 4; ++n) bag.append(Numbered(n));
  testing::internal::CaptureStderr();
  int thrown = 0;
  try {
    bag.append(Numbered(5));
  } catch (int value) {
    thrown = value;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Serious problem in TriangleBAG: MAX_BLOCKS is too small\n");
  EXPECT_EQ(thrown, 9);
}

TEST(TriangleBag, AppendThrowsNineAgainAfterAnOverflow) {
  TriangleBAG bag(1, 1);
  bag.append(Numbered(1));
  testing::internal::CaptureStderr();
  for (int attempt = 0; attempt < 3; ++attempt) EXPECT_THROW(bag.append(Numbered(2)), int);
  bag.remove(0);  // there is no last record any more; must touch nothing
  EXPECT_THROW(bag.append(Numbered(2)), int);
  const std::string line = "Serious problem in TriangleBAG: MAX_BLOCKS is too small\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line + line + line);
}

TEST(TriangleBag, TheRecordsStayAfterAnOverflow) {
  TriangleBAG bag(2, 3), no_room(0, 5);
  for (int n = 1; n <= 6; ++n) bag.append(Numbered(n));
  testing::internal::CaptureStderr();
  EXPECT_THROW(bag.append(Numbered(7)), int);
  EXPECT_THROW(no_room.append(Numbered(1)), int);
  EXPECT_EQ(no_room.num(), 0);
  EXPECT_EQ(Numbers(bag), Ints({1, 2, 3, 4, 5, 6}));
  bag.remove(0);
  EXPECT_EQ(bag.num(), 6);
  bag.clear();
  EXPECT_EQ(bag.num(), 0);
  bag.append(Numbered(8));
  EXPECT_EQ(Numbers(bag), Ints({8}));
  testing::internal::GetCapturedStderr();
}

TEST(TriangleBag, ABagWithoutRoomOverflowsAtOnce) {
  testing::internal::CaptureStderr();
  TriangleBAG no_blocks(0, 10), no_records(10, 0), negative(-1, -1);
  EXPECT_THROW(no_blocks.append(Numbered(1)), int);
  EXPECT_THROW(no_records.append(Numbered(1)), int);
  EXPECT_THROW(negative.append(Numbered(1)), int);
  testing::internal::GetCapturedStderr();
}

TEST(TriangleBag, RemoveMovesTheLastRecordIntoTheGap) {
  TriangleBAG bag(3, 2);
  for (int n = 1; n <= 5; ++n) bag.append(Numbered(n));
  bag.remove(1);
  EXPECT_EQ(Numbers(bag), Ints({1, 5, 3, 4}));
  bag.remove(0);
  EXPECT_EQ(Numbers(bag), Ints({4, 5, 3}));
}

TEST(TriangleBag, RemoveOfTheLastRecordOnlyShortens) {
  TriangleBAG bag(3, 2);
  for (int n = 1; n <= 4; ++n) bag.append(Numbered(n));
  bag.remove(3);
  EXPECT_EQ(Numbers(bag), Ints({1, 2, 3}));
}

TEST(TriangleBag, RemoveOfABlocksOnlyRecordStepsBackABlock) {
  TriangleBAG bag(2, 2);
  for (int n = 1; n <= 3; ++n) bag.append(Numbered(n));
  bag.remove(2);
  EXPECT_EQ(Numbers(bag), Ints({1, 2}));
  bag.append(Numbered(6));
  EXPECT_EQ(Numbers(bag), Ints({1, 2, 6}));
  for (int left = 3; left > 0; --left) bag.remove(0);
  EXPECT_EQ(bag.num(), 0);
  bag.append(Numbered(7));
  EXPECT_EQ(Numbers(bag), Ints({7}));
}

TEST(TriangleBag, RemoveOnAnEmptyBagDoesNothing) {
  TriangleBAG bag(2, 2);
  bag.remove(0);
  EXPECT_EQ(bag.num(), 0);
  bag.append(Numbered(1));
  EXPECT_EQ(Numbers(bag), Ints({1}));
}

TEST(TriangleBag, KeptRemoveOutsideTheBagDropsTheLastRecord) {
  TriangleBAG bag(2, 2);
  for (int n = 1; n <= 3; ++n) bag.append(Numbered(n));
  bag.remove(1000);
  bag.remove(-1);
  EXPECT_EQ(Numbers(bag), Ints({1}));
}

TEST(TriangleBag, RecordsStayInPlaceWhileTheBagGrowsAndAcrossClear) {
  TriangleBAG bag(100, 2);
  bag.append(Numbered(1));
  const R_TRIANGLE* first = &bag[0];
  for (int n = 2; n <= 200; ++n) bag.append(Numbered(n));
  EXPECT_EQ(&bag[0], first);
  bag.clear();
  EXPECT_EQ(bag.num(), 0);
  bag.append(Numbered(42));
  EXPECT_EQ(&bag[0], first);
  EXPECT_EQ(Numbers(bag), Ints({42}));
  for (int n = 2; n <= 200; ++n) bag.append(Numbered(n));  // all hundred blocks again
  EXPECT_EQ(bag.num(), 200);
}

TEST(TriangleBag, DefaultHoldsAThousandBlocksOfAThousand) {
  TriangleBAG bag;
  const R_TRIANGLE t = Numbered(1);
  for (int i = 0; i < 1000 * 1000; ++i) bag.append(t);
  EXPECT_EQ(bag.num(), 1000 * 1000);
  testing::internal::CaptureStderr();
  EXPECT_THROW(bag.append(t), int);
  testing::internal::GetCapturedStderr();
}

TEST(TriangleBag, IsNotCopied) {
  static_assert(!std::is_copy_constructible_v<TriangleBAG> && !std::is_copy_assignable_v<TriangleBAG>);
  static_assert(sizeof(R_TRIANGLE) == 40);
}

}  // namespace
