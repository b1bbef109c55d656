#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

#include "trq/foundation.h"

namespace {

int Value(void* p) { return *static_cast<int*>(p); }
int SameValue(void* a, void* b) { return Value(a) == Value(b); }
void* Address(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

using Order = std::vector<int>;

Order OrderOf(const LIGHT_ITEM* item) {
  Order order;
  if (item && !item->data) return order;
  for (; item; item = item->next) order.push_back(Value(item->data));
  return order;
}

TEST(HashTable, FindsByIdentityByDefault) {
  int a = 1;
  int b = 1;
  HASH_TABLE table(10);
  table.add(&a);
  EXPECT_EQ(table.find(&a), &a);
  EXPECT_EQ(table.find(&b), nullptr);
}

TEST(HashTable, DefaultHashIsTheSignedLowWordOfTheAddressDividedByFour) {
  HASH_TABLE table(5);
  table.add(Address(8));           // 2
  table.add(Address(31));          // 7 -> 2
  table.add(Address(0xFFFFFFF8));  // -2 -> 3
  EXPECT_EQ(table.matches(2)->length2(), 2);
  EXPECT_EQ(table.matches(3)->length2(), 1);
  EXPECT_EQ(table.matches(3)->data, Address(0xFFFFFFF8));
  table.add(Address(0xFFFFFFFA));  // -6 / 4 is -1, toward zero -> 4
  EXPECT_EQ(table.matches(4)->data, Address(0xFFFFFFFA));
}

TEST(HashTable, ANullFunctionIsReplacedByTheDefault) {
  int one = 1;
  int other_one = 1;
  HASH_TABLE table(3, nullptr, nullptr);
  table.add(&one);
  EXPECT_EQ(table.find(&one), &one);
  EXPECT_EQ(table.find(&other_one), nullptr);
  HASH_TABLE hashed(3, Value, nullptr);
  hashed.add(&one);
  EXPECT_EQ(hashed.matches(1)->data, &one);
  EXPECT_EQ(hashed.find(&other_one), nullptr);
}

TEST(HashTable, BucketIsTheHashModuloTheCount) {
  int values[] = {3, 8, 13, 4};
  HASH_TABLE table(5, Value, SameValue);
  for (int& value : values) table.add(&value);
  EXPECT_EQ(OrderOf(table.matches(3)), Order({3, 13, 8}));
  EXPECT_EQ(OrderOf(table.matches(18)), Order({3, 13, 8}));
  EXPECT_EQ(OrderOf(table.matches(4)), Order({4}));
  EXPECT_EQ(OrderOf(table.matches(0)), Order({}));
}

TEST(HashTable, ANegativeHashIsBroughtIntoRange) {
  int minus_seven = -7;
  int least = INT_MIN;
  HASH_TABLE table(5, Value, SameValue);
  table.add(&minus_seven);  // -7 mod 5 is -2, brought to 3
  EXPECT_EQ(table.matches(3)->data, &minus_seven);
  EXPECT_EQ(table.find(&minus_seven), &minus_seven);
  table.add(&least);  // -2147483648 mod 5 is -3, brought to 2
  EXPECT_EQ(table.matches(2)->data, &least);
}

TEST(HashTable, AddsUnderAKeyAndFirst) {
  int key = 2;
  int data[] = {20, 21, 22, 23};
  HASH_TABLE table(4, Value, SameValue);
  for (int i = 0; i < 3; ++i) table.add(&data[i], &key);
  EXPECT_EQ(OrderOf(table.matches(2)), Order({20, 22, 21}));
  table.add_first(&data[3], &key);
  EXPECT_EQ(OrderOf(table.matches(2)), Order({23, 20, 22, 21}));
}

TEST(HashTable, FindLooksOnlyIntoTheKeysBucket) {
  int seven = 7;
  int other_seven = 7;
  int two = 2;
  HASH_TABLE table(5, Value, SameValue);
  table.add(&seven);
  EXPECT_EQ(table.find(&other_seven), &seven);
  EXPECT_EQ(table.find(&two), nullptr);  // same bucket, not equal
  HASH_TABLE misplaced(5, Value, SameValue);
  int key = 1;
  misplaced.add(&seven, &key);
  EXPECT_EQ(misplaced.find(&other_seven), nullptr);
}

TEST(HashTable, AddOrFindAnswersTheOneFoundOrTheKeyAdded) {
  int first = 7;
  int second = 7;
  HASH_TABLE table(5, Value, SameValue);
  EXPECT_EQ(table.add_or_find(&first), &first);
  EXPECT_EQ(table.add_or_find(&second), &first);
  EXPECT_EQ(table.matches(2)->length2(), 1);
}

TEST(HashTable, WithoutBucketsFindsNothingAndAddsNothing) {
  for (int count : {0, -3}) {
    int value = 1;
    HASH_TABLE table(count, Value, SameValue);
    table.add(&value);
    table.add_first(&value, &value);
    EXPECT_EQ(table.find(&value), nullptr);
    EXPECT_EQ(table.add_or_find(&value), &value);
    EXPECT_EQ(table.find(&value), nullptr);
    EXPECT_EQ(table.matches(0), nullptr);
    EXPECT_EQ(table.clashes(&value), nullptr);
  }
}

TEST(HashTable, KeptClashesDoesNotReduceTheHash) {
  int three = 3;
  int thirteen = 13;
  int five = 5;
  int negative = -1;
  HASH_TABLE table(5, Value, SameValue);
  table.add(&three);
  EXPECT_EQ(table.clashes(&three), table.matches(3));
  EXPECT_EQ(table.clashes(&thirteen), nullptr);
  EXPECT_EQ(table.clashes(&five), nullptr);
  EXPECT_EQ(table.clashes(&negative), nullptr);
}

TEST(HashTable, PrintsItsDistribution) {
  int values[] = {1, 4, 7, 2};
  HASH_TABLE table(3, Value, SameValue);
  for (int& value : values) table.add(&value);
  testing::internal::CaptureStdout();
  table.print_distribution();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "3 cells\n3\n1\n2 used\n");
  testing::internal::CaptureStdout();
  HASH_TABLE(0).print_distribution();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "0 cells\n0 used\n");
}

}  // namespace
