#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "trq/foundation.h"

namespace {

int values[6] = {0, 1, 2, 3, 4, 5};
void* const d1 = &values[1];
void* const d2 = &values[2];
void* const d3 = &values[3];
void* const d4 = &values[4];

using Order = std::vector<int>;

Order OrderOf(const LIGHT_ITEM* item) {
  Order order;
  for (; item; item = item->next) order.push_back(item->data ? *static_cast<int*>(item->data) : -1);
  return order;
}

int SameValue(void* datum, void* key) { return *static_cast<int*>(datum) == *static_cast<int*>(key); }

TEST(LightItem, AppendPutsLaterDataBehindTheHeadInReverseOrder) {
  LIGHT_ITEM head;
  EXPECT_EQ(head.length2(), 0);
  head.append2(d1);
  EXPECT_EQ(head.length2(), 1);
  head.append2(d2);
  head.append2(d3);
  EXPECT_EQ(OrderOf(&head), Order({1, 3, 2}));
  EXPECT_EQ(head.length2(), 3);
  head.prepend2(d4);
  EXPECT_EQ(OrderOf(&head), Order({4, 1, 3, 2}));
  head.clear2();
  EXPECT_EQ(head.length2(), 0);
  EXPECT_EQ(head.next, nullptr);
  EXPECT_EQ(head.data, nullptr);
}

TEST(LightItem, PrependToAnEmptyHeadFillsIt) {
  LIGHT_ITEM head;
  head.prepend2(d1);
  EXPECT_EQ(OrderOf(&head), Order({1}));
  EXPECT_EQ(head.length2(), 1);
}

TEST(LightItem, FindAnswersTheFirstMatch) {
  LIGHT_ITEM head;
  int two = 2;
  int nine = 9;
  EXPECT_EQ(head.find_by2(SameValue, &two), nullptr);
  int another_two = 2;
  for (void* d : {d1, d2, static_cast<void*>(&another_two)}) head.append2(d);
  EXPECT_EQ(head.find_by2(SameValue, &two)->data, &another_two);  // it stands before d2
  EXPECT_EQ(head.find_by2(SameValue, &values[1]), &head);
  EXPECT_EQ(head.find_by2(SameValue, &nine), nullptr);
  head.clear2();
}

TEST(LightItem, AddAfterAndAddBefore) {
  LIGHT_ITEM head;
  head.append2(d1);
  head.add_after(d3);
  EXPECT_EQ(OrderOf(&head), Order({1, 3}));
  head.next->add_before(&head, d2);
  EXPECT_EQ(OrderOf(&head), Order({1, 2, 3}));
  head.add_before(nullptr, d4);
  EXPECT_EQ(OrderOf(&head), Order({4, 1, 2, 3}));
  head.clear2();
}

TEST(LightItem, RemoveTakesOverTheSuccessor) {
  LIGHT_ITEM head;
  head.append2(d1);
  head.append2(d3);
  head.append2(d2);
  EXPECT_EQ(head.remove(nullptr), &head);
  EXPECT_EQ(OrderOf(&head), Order({2, 3}));
  EXPECT_EQ(head.next->remove(&head), nullptr);  // the last item
  EXPECT_EQ(OrderOf(&head), Order({2}));
  EXPECT_EQ(head.remove(nullptr), nullptr);  // a lone head
  EXPECT_EQ(head.length2(), 0);
  EXPECT_EQ(head.data, nullptr);
}

TEST(LightList, AppendsAtTheEnd) {
  LIGHT_LIST list;
  EXPECT_EQ(list.length(), 0);
  EXPECT_EQ(list.head, nullptr);
  EXPECT_EQ(list.tail, nullptr);
  list.append(d1);
  EXPECT_EQ(list.head, list.tail);
  list.append(d2);
  list.append(d3);
  EXPECT_EQ(OrderOf(list.head), Order({1, 2, 3}));
  EXPECT_EQ(list.tail->data, d3);
  EXPECT_EQ(list.length(), 3);
  list.clear();
  EXPECT_EQ(list.length(), 0);
  EXPECT_EQ(list.tail, nullptr);
  list.append(d4);
  EXPECT_EQ(OrderOf(list.head), Order({4}));
}

TEST(LightList, KeepsNullData) {
  LIGHT_LIST list;
  list.append(nullptr);
  list.append(d1);
  EXPECT_EQ(OrderOf(list.head), Order({-1, 1}));
}

TEST(LightList, JoinMovesTheOthersItemsToTheEnd) {
  LIGHT_LIST list, other;
  list.append(d1);
  other.append(d2);
  other.append(d3);
  list.join(&other);
  EXPECT_EQ(OrderOf(list.head), Order({1, 2, 3}));
  EXPECT_EQ(list.tail->data, d3);
  EXPECT_EQ(other.head, nullptr);
  EXPECT_EQ(other.tail, nullptr);
}

TEST(LightList, KeptJoinWithAnEmptyListLeavesTheTailNull) {
  LIGHT_LIST list, other;
  list.append(d1);
  list.append(d2);
  list.join(&other);
  EXPECT_EQ(list.tail, nullptr);
  EXPECT_EQ(OrderOf(list.head), Order({1, 2}));
  list.append(d3);  // finds the real end
  EXPECT_EQ(OrderOf(list.head), Order({1, 2, 3}));
  EXPECT_EQ(list.tail->data, d3);
}

TEST(LightList, JoinAfterAnEmptyJoinFindsTheRealEnd) {
  LIGHT_LIST list, empty, other;
  list.append(d1);
  other.append(d2);
  list.join(&empty);
  list.join(&other);
  EXPECT_EQ(OrderOf(list.head), Order({1, 2}));
  EXPECT_EQ(list.tail->data, d2);
}

TEST(LightList, JoinOnAnEmptyListAdoptsTheOthersItems) {
  LIGHT_LIST list, other;
  other.append(d1);
  other.append(d2);
  list.join(&other);
  EXPECT_EQ(OrderOf(list.head), Order({1, 2}));
  EXPECT_EQ(list.tail->data, d2);
  EXPECT_EQ(other.length(), 0);
}

TEST(LightList, JoinToItselfDoesNothing) {
  LIGHT_LIST list;
  list.append(d1);
  list.join(&list);
  EXPECT_EQ(OrderOf(list.head), Order({1}));
  EXPECT_EQ(list.tail, list.head);
}

TEST(LightList, FindsTheFirstMatch) {
  LIGHT_LIST list;
  int two = 2;
  EXPECT_EQ(list.find_by(SameValue, &two), nullptr);
  int another_two = 2;
  for (void* d : {d1, d2, static_cast<void*>(&another_two)}) list.append(d);
  EXPECT_EQ(list.find_by(SameValue, &two)->data, d2);
  EXPECT_EQ(list.find_by(SameValue, &values[5]), nullptr);
}

TEST(LightList, IsNotCopied) {
  static_assert(!std::is_copy_constructible_v<LIGHT_LIST> && !std::is_copy_assignable_v<LIGHT_LIST>);
  static_assert(!std::is_copy_constructible_v<HASH_TABLE> && !std::is_copy_assignable_v<HASH_TABLE>);
}

}  // namespace
