#include "foundation/heap_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "trq/foundation.h"

namespace {

struct Keyed {
  int key;
  char name;
};

int Larger(void* x, void* y) { return static_cast<Keyed*>(x)->key > static_cast<Keyed*>(y)->key; }

std::string Sorted(std::vector<Keyed> items) {
  std::vector<void*> pointers;
  for (Keyed& item : items) pointers.push_back(&item);
  UTL_heap_sort(pointers.data(), static_cast<int>(pointers.size()), Larger);
  std::string names;
  for (void* p : pointers) names += static_cast<Keyed*>(p)->name;
  return names;
}

TEST(HeapSort, LeavesFewerThanTwoAlone) {
  UTL_heap_sort(nullptr, 0, Larger);
  UTL_heap_sort(nullptr, -4, Larger);
  EXPECT_EQ(Sorted({{1, 'A'}}), "A");
}

TEST(HeapSort, SortsAscending) {
  EXPECT_EQ(Sorted({{3, 'C'}, {1, 'A'}, {2, 'B'}}), "ABC");
  EXPECT_EQ(Sorted({{5, 'E'}, {4, 'D'}, {3, 'C'}, {2, 'B'}, {1, 'A'}}), "ABCDE");
}

// Worked by hand. Two equal: the heap's top A goes last, B before it. Three equal: A goes last, C moves up,
// then goes to the middle, and B remains. Four equal: A last; D moves up and goes third; C moves up and goes
// second; B remains.
TEST(HeapSort, KeptOrderOfEqualElements) {
  EXPECT_EQ(Sorted({{1, 'A'}, {1, 'B'}}), "BA");
  EXPECT_EQ(Sorted({{1, 'A'}, {1, 'B'}, {1, 'C'}}), "BCA");
  EXPECT_EQ(Sorted({{1, 'A'}, {1, 'B'}, {1, 'C'}, {1, 'D'}}), "BCDA");
  // 2 rises to the top and goes last; of the ones, B stands at the end then, moves up, and goes behind A.
  EXPECT_EQ(Sorted({{1, 'A'}, {2, 'T'}, {1, 'B'}}), "ABT");
}

TEST(HeapSort, SortsManyIncludingRepeatedKeys) {
  std::mt19937 random(11);
  for (int n : {2, 3, 4, 5, 16, 17, 100, 1001}) {
    std::vector<int> values(static_cast<std::size_t>(n));
    for (int& value : values) value = static_cast<int>(random() % 50);
    std::vector<int> expected = values;
    std::sort(expected.begin(), expected.end());
    trq::detail::HeapSort(values.data(), n, [](int x, int y) { return x > y; });
    EXPECT_EQ(values, expected);
  }
}

TEST(DynArray, GrowsByTwoThirdsAndTen) {
  DynArray<MyPair<int, int>> array;
  EXPECT_EQ(array.count, 0);
  EXPECT_EQ(array.capacity(), 0);
  std::vector<int> capacities;
  for (int i = 0; i < 60; ++i) {
    array.append({i, -i});
    if (capacities.empty() || capacities.back() != array.capacity()) capacities.push_back(array.capacity());
  }
  // 0 + 0 + 10; 10 + 6 + 10; 26 + 17 + 10; 53 + 35 + 10
  EXPECT_EQ(capacities, std::vector<int>({10, 26, 53, 98}));
  EXPECT_EQ(array.count, 60);
  EXPECT_EQ(array[59].first, 59);
  EXPECT_EQ(array[59].second, -59);
}

TEST(DynArray, SettingsAreSharedByTheArraysOfAThread) {
  // Of a type that no other test grows.
  DynArray<short> array;
  DynArray<short>::growth_factor = 2.5;
  DynArray<short>::growth_addend = 3;
  for (short i = 0; i < 4; ++i) array.append(i);
  EXPECT_EQ(array.capacity(), 13);  // 0 + 0 + 3; 3 + 7 + 3
  std::thread([] {
    DynArray<short> of_another_thread;
    of_another_thread.append(1);
    EXPECT_EQ(of_another_thread.capacity(), 10);
  }).join();
}

TEST(DynArray, SettingsThatMakeNoRoomStillTakeTheElement) {
  DynArray<char> array;
  for (const double factor : {0.0, -1.0, -1e300, 1e300, std::nan("")}) {
    DynArray<char>::growth_factor = factor;
    DynArray<char>::growth_addend = 0;
    array.append('a');
    EXPECT_EQ(array.capacity(), array.count) << factor;
  }
  EXPECT_EQ(array.count, 5);
}

TEST(DynArray, MakingRoomGrowsToJustThatAndKeepsTheElements) {
  DynArray<int> array;
  array.append(5);
  array.make_room(12);
  EXPECT_EQ(array.capacity(), 12);
  array.make_room(3);
  EXPECT_EQ(array.capacity(), 12);
  EXPECT_EQ(array.count, 1);
  EXPECT_EQ(array[0], 5);
}

}  // namespace
