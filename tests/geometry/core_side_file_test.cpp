#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "trq/core/side_file.h"

namespace {

using trq::core::MoveSideText;
using trq::core::ParseSideLine;
using trq::core::PointMove;
using trq::core::SideLine;
using trq::core::SideNumbers;

constexpr float kUnit[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

TEST(CoreSideFile, LinesGoBothWays) {
  const SideNumbers numbers = {1, -2.5f, 0.000001f, 4, 5, -1, 3};
  const std::string line = "1.000000 -2.500000 0.000001  4.000000 5.000000 -1.000000  3.000000";
  EXPECT_EQ(SideLine(numbers), line);
  EXPECT_EQ(ParseSideLine(line), numbers);
  EXPECT_EQ(ParseSideLine("\t" + line + " \r", true), numbers);
}

TEST(CoreSideFile, AWholeLineHoldsNothingElse) {
  EXPECT_TRUE(ParseSideLine("1 2 3 4 5 6 7 eight"));
  EXPECT_FALSE(ParseSideLine("1 2 3 4 5 6 7 eight", true));
  EXPECT_FALSE(ParseSideLine("1 2 3 4 5 6-7", true));
  EXPECT_TRUE(ParseSideLine("1 2 3 4 5 6-7"));
  EXPECT_FALSE(ParseSideLine("1 2 3 4 5 6"));
  EXPECT_FALSE(ParseSideLine(""));
  EXPECT_EQ((*ParseSideLine("1e99 -1e99 1e-99 4 5 6 7"))[0], std::numeric_limits<float>::infinity());
  EXPECT_FALSE(ParseSideLine("1e99 2 3 4 5 6 7", true));
  const std::string padded = "1 2 3 4 5 6 7" + std::string(505, ' ');
  EXPECT_TRUE(ParseSideLine(padded, true));
  EXPECT_FALSE(ParseSideLine(padded + " ", true));
}

TEST(CoreSideFile, EveryShorterLineThatLacksANumberIsNone) {
  const std::string line = "1.5 2.5 3.5 4.5 5.5 6.5 7.5";
  for (std::size_t size = 0; size < line.size(); ++size) {
    EXPECT_EQ(ParseSideLine(line.substr(0, size)).has_value(), size > line.size() - 3) << size;
  }
}

TEST(CoreSideFile, MovesTheLinesThatHoldNumbers) {
  const std::string line = "1 2 3 4 5 6 7";
  const std::string long_line = line + std::string(600, ' ');
  EXPECT_EQ(MoveSideText(line + "\nno line\n" + long_line + "\n" + line, PointMove(1, 1, -1)),
            "2.000000 3.000000 2.000000  4.000000 5.000000 6.000000  7.000000\n"
            "2.000000 3.000000 2.000000  4.000000 5.000000 6.000000  7.000000\n");
  EXPECT_EQ(MoveSideText("", PointMove(0, 0, 0)), "");
  EXPECT_EQ(MoveSideText(long_line, PointMove(1, 1, 1)), "");
}

TEST(CoreSideFile, MovesThroughMatricesAndBack) {
  // A quarter turn about Z, counter-clockwise, and one inch along X.
  const float turned[4][4] = {{0, -1, 0, 1}, {1, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  float point[3] = {2, 3, 4};
  PointMove(turned, kUnit, 0).Apply(point);
  EXPECT_FLOAT_EQ(point[0], -2);
  EXPECT_FLOAT_EQ(point[1], 2);
  EXPECT_FLOAT_EQ(point[2], 4);
  PointMove(turned, kUnit, 0, true).Apply(point);
  EXPECT_FLOAT_EQ(point[0], 2);
  EXPECT_FLOAT_EQ(point[1], 3);
  float in_millimetres[3] = {0, 0, 0};
  PointMove(turned, kUnit, 1).Apply(in_millimetres);
  EXPECT_FLOAT_EQ(in_millimetres[0], 25.4f);
  EXPECT_FALSE(PointMove(turned, kUnit, 0).Tilts());
  const float tilted[4][4] = {{1, 0, 0, 0}, {0, 0, -1, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}};
  EXPECT_TRUE(PointMove(tilted, kUnit, 0).Tilts());
  EXPECT_FALSE(PointMove(1, 2, 3).Tilts());
}

}  // namespace
