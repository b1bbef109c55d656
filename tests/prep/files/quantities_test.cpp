#include "trqprep/quantities.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace trqprep {
namespace {

TEST(Quantities, LengthsCarryTheirUnit) {
  EXPECT_EQ(ParseLength("250").In(Units::kMillimetre, Units::kMillimetre), 250);
  EXPECT_EQ(ParseLength("250").In(Units::kMillimetre, Units::kInch), 6350);
  EXPECT_EQ(ParseLength("250mm").In(Units::kMillimetre, Units::kInch), 250);
  EXPECT_DOUBLE_EQ(ParseLength("9.8in").In(Units::kMillimetre, Units::kMillimetre), 248.92);
  EXPECT_EQ(ParseLength("-.5in").In(Units::kInch, Units::kMillimetre), -0.5);
  EXPECT_EQ(ParseLength("+1e-3mm").value, 0.001);
  EXPECT_EQ(ParseLength("-1e100mm").value, -1e100);
}

TEST(Quantities, WhatIsNoLengthIsRefused) {
  for (const char* text : {"", "mm", "in", "1 mm", "1cm", "1,5", "nan", "inf", "0x10", "1e999", "5mmm", "--1",
                           "+-1", "1.01e100", "-1e101in"}) {
    EXPECT_THROW(ParseLength(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(ParseWhole("3.5", 0, 10), std::invalid_argument);
  EXPECT_THROW(ParseWhole("11", 0, 10), std::invalid_argument);
  EXPECT_THROW(ParseWhole("99999999999999999999", 0, 10), std::invalid_argument);
  EXPECT_EQ(ParseWhole("10", 0, 10), 10);
}

TEST(Quantities, AVatIsThreeLengthsAboveZero) {
  const auto vat = ParseVat("250x200x10in");
  EXPECT_EQ(vat[0].In(Units::kInch, Units::kMillimetre), 250);
  EXPECT_EQ(vat[1].In(Units::kInch, Units::kMillimetre), 200);
  const auto mixed = ParseVat("10inx254mmx20");
  EXPECT_EQ(mixed[0].In(Units::kMillimetre, Units::kMillimetre), 254);
  EXPECT_EQ(mixed[1].In(Units::kMillimetre, Units::kInch), 254);
  EXPECT_EQ(mixed[2].In(Units::kMillimetre, Units::kInch), 508);
  for (const char* text : {"", "1x2", "1x2x3x4", "0x1x1", "1x-1x1", "1x1xinfmm", "axbxc", "1x1x1cm"}) {
    EXPECT_THROW(ParseVat(text), std::invalid_argument) << text;
  }
}

TEST(Quantities, CountsHaveTheirPlural) {
  EXPECT_EQ(Counted(1, "piece"), "1 piece");
  EXPECT_EQ(Counted(0, "piece"), "0 pieces");
  EXPECT_EQ(Counted(2, "boundary"), "2 boundaries");
  EXPECT_EQ(Counted(1, "edge has", "edges have"), "1 edge has");
  EXPECT_EQ(Counted(3, "edge has", "edges have"), "3 edges have");
}

TEST(Quantities, NumbersPrintPlainly) {
  EXPECT_EQ(Plain(10, 3), "10");
  EXPECT_EQ(Plain(0.5, 3), "0.5");
  EXPECT_EQ(Plain(1.23456, 3), "1.235");
  EXPECT_EQ(Plain(-0.0001, 3), "0");
  EXPECT_EQ(Plain(100, 0), "100");
  EXPECT_EQ(SizeInBoth({25.4, 50.8, 0}, Units::kMillimetre), "25.4 x 50.8 x 0 mm (1 x 2 x 0 in)");
  EXPECT_EQ(SizeInBoth({1, 2, 3}, Units::kInch), "25.4 x 50.8 x 76.2 mm (1 x 2 x 3 in)");
}

}  // namespace
}  // namespace trqprep
