#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "trq/core/result.h"
#include "trq/core/span.h"

namespace {

using trq::Span;
using trq::core::Error;
using trq::core::ErrorCode;
using trq::core::Place;
using trq::core::Result;

TEST(Span, SeesArraysAndContainersInPlace) {
  int array[3] = {1, 2, 3};
  std::vector<int> vector = {4, 5};
  const std::array<int, 2> fixed = {6, 7};
  Span<int>{array}[1] = 20;
  Span<int>{vector}[0] = 40;
  EXPECT_EQ(array[1], 20);
  EXPECT_EQ(vector[0], 40);
  const Span<const int> read(fixed);
  EXPECT_EQ(read.size(), 2u);
  EXPECT_EQ(read.begin(), fixed.data());
  EXPECT_EQ(read.end() - read.begin(), 2);
}

TEST(Span, PartsBeginAndEndWhereTheyAreCut) {
  const std::string text = "abcdef";
  const Span<const char> all(text);
  EXPECT_EQ(std::string(all.First(2).data(), all.First(2).size()), "ab");
  EXPECT_EQ(std::string(all.From(4).data(), all.From(4).size()), "ef");
  EXPECT_TRUE(all.From(6).empty());
  EXPECT_TRUE(Span<int>().empty());
}

TEST(Span, TakesNoConstValuesForWritingAndNoOtherType) {
  EXPECT_FALSE((std::is_convertible_v<const std::vector<int>&, Span<int>>));
  EXPECT_FALSE((std::is_convertible_v<std::vector<int>&, Span<long>>));
  EXPECT_TRUE((std::is_convertible_v<Span<int>, Span<const int>>));
}

Result<std::unique_ptr<int>> Half(int number) {
  if (number % 2 != 0) {
    Error error;
    error.code = ErrorCode::kBadNumber;
    error.place.byte = 7;
    error.text = "odd";
    return error;
  }
  return std::make_unique<int>(number / 2);
}

TEST(Result, HoldsTheValueOrTheError) {
  Result<std::unique_ptr<int>> good = Half(8);
  ASSERT_TRUE(good.ok());
  EXPECT_EQ(**good, 4);
  const std::unique_ptr<int> taken = std::move(good).value();
  EXPECT_EQ(*taken, 4);
  const Result<std::unique_ptr<int>> bad = Half(3);
  ASSERT_FALSE(bad);
  EXPECT_EQ(bad.error().code, ErrorCode::kBadNumber);
  EXPECT_EQ(bad.error().place.byte, 7u);
  EXPECT_EQ(bad.error().place.line, Place::kNowhere);
  EXPECT_EQ(bad.error().text, "odd");
}

TEST(Result, OfNothingIsSuccessUnlessGivenAnError) {
  EXPECT_TRUE(Result<void>().ok());
  const Result<void> failed = Error{ErrorCode::kWriteFailed, {}, "disk full", 28};
  EXPECT_FALSE(failed.ok());
  EXPECT_EQ(failed.error().system_error, 28);
}

}  // namespace
