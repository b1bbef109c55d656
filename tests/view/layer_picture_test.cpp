#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "trqprep/layer_picture.h"

namespace trqprep {
namespace {

using Points = std::vector<std::pair<float, float>>;

void Add(trq::SlcLayer& layer, const Points& points) {
  float* p = layer.AddBoundary(std::uint32_t(points.size()), 0);
  for (const auto& [x, y] : points) {
    *p++ = x;
    *p++ = y;
  }
}

Points Rectangle(float x0, float y0, float x1, float y1) {
  return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}};
}

PictureFrame Frame(double left, double top, double pixel, std::size_t width, std::size_t height) {
  return {left, top, pixel, width, height};
}

TEST(LayerPicture, PixelsArePartsOfARectangle) {
  trq::SlcLayer layer(0);
  Add(layer, Rectangle(0.5f, 0.25f, 2, 2));
  // Rows from the top: y 2..1 and 1..0; columns x 0..1, 1..2, 2..3.
  const GreyImage image = DrawLayer(layer, Frame(0, 2, 1, 3, 2));
  // 0.5 is 127.5, away from zero; 0.375 is 95.6; 0.75 is 191.25.
  EXPECT_EQ(image.pixels, (std::vector<std::uint8_t>{128, 255, 0, 96, 191, 0}));
}

TEST(LayerPicture, HolesAreEmptyAndOverlapsAreFullOnce) {
  trq::SlcLayer layer(0);
  Points hole = Rectangle(1, 1, 3, 3);
  std::reverse(hole.begin(), hole.end());
  Add(layer, Rectangle(0, 0, 4, 4));
  Add(layer, hole);
  Add(layer, Rectangle(0, 0, 1, 4));
  GreyImage image = DrawLayer(layer, Frame(0, 4, 1, 4, 4));
  for (std::size_t y = 0; y < 4; ++y) {
    for (std::size_t x = 0; x < 4; ++x) {
      EXPECT_EQ(image.at(x, y), x % 3 == 0 || y % 3 == 0 ? 255 : 0) << x << " " << y;
    }
  }
}

TEST(LayerPicture, WhatIsBesideThePictureIsCutOff) {
  trq::SlcLayer layer(0);
  Add(layer, Rectangle(-100, -100, 100, 100));
  Add(layer, Rectangle(200, 0, 300, 10));
  const GreyImage image = DrawLayer(layer, Frame(0, 3, 1, 5, 3));
  EXPECT_TRUE(std::all_of(image.pixels.begin(), image.pixels.end(), [](int grey) { return grey == 255; }));
  // A slanted edge that leaves the picture on both sides: below the line from (-4, 0) to (4, 4).
  trq::SlcLayer slope(0);
  Add(slope, {{-4, 0}, {4, 0}, {4, 4}, {-4, 0}});
  GreyImage cut = DrawLayer(slope, Frame(0, 4, 1, 2, 4));
  EXPECT_EQ(cut.at(0, 3), 255);
  EXPECT_EQ(cut.at(0, 2), 255);
  EXPECT_EQ(cut.at(0, 1), 64);   // from y 2 to 2.5 over a column: a quarter
  EXPECT_EQ(cut.at(1, 1), 191);  // from y 2.5 to 3
}

TEST(LayerPicture, WhatIsNoNumberIsLeftOut) {
  trq::SlcLayer layer(0);
  Add(layer, {{0, 0}, {std::numeric_limits<float>::quiet_NaN(), 0}, {1, 1}});
  Add(layer, {{0, 0}, {std::numeric_limits<float>::infinity(), 0}, {1, 1}});
  Add(layer, {});
  const GreyImage image = DrawLayer(layer, Frame(0, 2, 1, 2, 2));
  EXPECT_EQ(image.pixels, std::vector<std::uint8_t>(4, 0));
  EXPECT_TRUE(DrawLayer(layer, Frame(0, 0, 1, 0, 0)).pixels.empty());
}

// The share of a square inside a triangle, by cutting the triangle at the four sides.
double ShareInside(Points points, double x, double y) {
  std::vector<std::pair<double, double>> polygon(points.begin(), points.end());
  const auto clip = [&](auto height) {
    std::vector<std::pair<double, double>> kept;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
      const auto a = polygon[i], b = polygon[(i + 1) % polygon.size()];
      const double ha = height(a), hb = height(b);
      if (ha >= 0) kept.push_back(a);
      if ((ha >= 0) != (hb >= 0)) {
        const double share = ha / (ha - hb);
        kept.emplace_back(a.first + share * (b.first - a.first), a.second + share * (b.second - a.second));
      }
    }
    polygon = kept;
  };
  clip([&](const auto& p) { return p.first - x; });
  clip([&](const auto& p) { return x + 1 - p.first; });
  clip([&](const auto& p) { return p.second - y; });
  clip([&](const auto& p) { return y + 1 - p.second; });
  double twice = 0;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const auto a = polygon[i], b = polygon[(i + 1) % polygon.size()];
    twice += a.first * b.second - b.first * a.second;
  }
  return std::abs(twice) / 2;
}

TEST(LayerPicture, TrianglesEqualTheirCutOutSquares) {
  std::mt19937 draw(5);
  const auto some = [&] { return float(draw() % 1401) / 100 - 2; };
  for (int round = 0; round < 500; ++round) {
    const Points points{{some(), some()}, {some(), some()}, {some(), some()}};
    trq::SlcLayer layer(0);
    Add(layer, points);
    GreyImage image = DrawLayer(layer, Frame(0, 10, 1, 10, 10));
    for (std::size_t y = 0; y < 10; ++y) {
      for (std::size_t x = 0; x < 10; ++x) {
        ASSERT_NEAR(image.at(x, y), 255 * ShareInside(points, double(x), double(9 - y)), 0.5001) << round;
      }
    }
  }
}

TEST(LayerPicture, FiguresAreWritten) {
  GreyImage image(8, 5);
  image.Write("1-", 0, 0, 1, 200);
  const char* rows[] = {".#......", "##......", ".#..###.", ".#......", "###....."};
  for (std::size_t y = 0; y < 5; ++y) {
    for (std::size_t x = 0; x < 8; ++x)
      EXPECT_EQ(image.at(x, y), rows[y][x] == '#' ? 200 : 0) << x << " " << y;
  }
  image.Write("88888888", 6, 3, 3, 1);  // over the edges
}

TEST(LayerPicture, PngBeginsAsItShould) {
  GreyImage image(3, 2);
  const std::string png = PngOf(image, 20000);
  ASSERT_GT(png.size(), 33u);
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(png.substr(12, 4), "IHDR");
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\0\3\0\0\0\2", 8));
  EXPECT_EQ(png.substr(24, 5), std::string("\x08\0\0\0\0", 5));
  EXPECT_NE(png.find("pHYs"), std::string::npos);
  EXPECT_EQ(PngOf(image, 20000), png);
}

}  // namespace
}  // namespace trqprep
