#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "trqprep/estimate.h"

namespace trqprep::estimate {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr FacesAsked kBoth{true, true};

using Contour = std::vector<float>;  // x, y, x, y, ...

// Counter-clockwise, closed.
Contour Rectangle(float x, float y, float width, float height) {
  return {x, y, x + width, y, x + width, y + height, x, y + height, x, y};
}

Contour Circle(double radius, int corners, double x = 0, double y = 0) {
  Contour circle;
  for (int i = 0; i <= corners; ++i) {
    const double turn = 2 * kPi * (i % corners) / corners;
    circle.push_back(float(x + radius * std::cos(turn)));
    circle.push_back(float(y + radius * std::sin(turn)));
  }
  return circle;
}

Contour Clockwise(const Contour& contour) {
  Contour turned;
  for (std::size_t i = contour.size(); i > 0; i -= 2) {
    turned.push_back(contour[i - 2]);
    turned.push_back(contour[i - 1]);
  }
  return turned;
}

using Layers = std::vector<std::vector<Contour>>;

LayerStack StackOf(const Layers& layers) {
  LayerStack stack;
  for (std::size_t k = 0; k < layers.size(); ++k) {
    stack.bottoms.push_back(0.1 * double(k));
    stack.tops.push_back(0.1 * double(k + 1));
  }
  stack.contours = [&layers](std::size_t layer, ContourViews& contours) {
    for (const Contour& contour : layers[layer]) contours.push_back({contour.data(), contour.size() / 2});
  };
  return stack;
}

std::vector<LayerMeasure> Measured(const Layers& layers, FacesAsked asked = kBoth, double pitch = 0.05) {
  return MeasureLayers(StackOf(layers), std::vector<FacesAsked>(layers.size(), asked), pitch);
}

TEST(MeasureLayers, OfASlabAreItsSides) {
  const std::vector<LayerMeasure> slab = Measured(Layers(3, {Rectangle(5, 7, 40, 20)}));
  for (const LayerMeasure& layer : slab) {
    EXPECT_DOUBLE_EQ(layer.area, 800);
    EXPECT_DOUBLE_EQ(layer.border, 120);
  }
  // Only the ends have faces.
  EXPECT_NEAR(slab[0].down_area, 800, 800 * 0.003);
  EXPECT_NEAR(slab[0].down_border, 120, 0.11);
  EXPECT_EQ(slab[0].up_area, 0);
  EXPECT_EQ(slab[1].up_area, 0);
  EXPECT_EQ(slab[1].up_border, 0);
  EXPECT_EQ(slab[1].down_area, 0);
  EXPECT_NEAR(slab[2].up_area, 800, 800 * 0.003);
  EXPECT_NEAR(slab[2].up_border, 120, 0.11);
}

TEST(MeasureLayers, RowsOfManyLargeLayersStandFartherApart) {
  // 20 000 squares of 20 m are 8e8 mm of way up and down, 8e9 rows of 0.1; they get a quarter.
  Layers layers(20000, {Rectangle(0, 0, 20000, 20000)});
  const double pitch = 8e8 / (2e9 + 1000 * 100000);
  // Higher than 0.1, and between two of the rows.
  const double low = 1000.6 * pitch, high = 1001.4 * pitch;
  ASSERT_GT(high - low, 0.3);
  layers.push_back({});
  layers.push_back({Rectangle(0, low, 100, high - low)});
  LayerStack stack = StackOf(layers);
  std::vector<FacesAsked> asked(layers.size());
  asked.back() = kBoth;
  const LayerMeasure slit = MeasureLayers(stack, asked, 0.1).back();
  EXPECT_NEAR(slit.area, 100 * (high - low), 0.01);
  EXPECT_EQ(slit.down_area, 0);
}

TEST(MeasureLayers, OfACylinderAreThoseOfItsCircle) {
  const std::vector<LayerMeasure> cylinder = Measured(Layers(1, {Circle(10, 720)}));
  EXPECT_NEAR(cylinder[0].area, 314.159, 0.01);
  EXPECT_NEAR(cylinder[0].border, 62.832, 0.001);
  EXPECT_NEAR(cylinder[0].up_area, 314.159, 0.02);
  EXPECT_NEAR(cylinder[0].up_border, 62.832, 0.15);
  EXPECT_NEAR(cylinder[0].down_border, 62.832, 0.15);
}

TEST(MeasureLayers, HolesAreLeftOutOfTheAreaAndHaveBorders) {
  const std::vector<LayerMeasure> ring = Measured(Layers(1, {Circle(10, 720), Clockwise(Circle(5, 720))}));
  EXPECT_NEAR(ring[0].area, 75 * kPi, 0.01);
  EXPECT_NEAR(ring[0].border, 30 * kPi, 0.001);
  EXPECT_NEAR(ring[0].up_area, 75 * kPi, 0.05);
  EXPECT_NEAR(ring[0].up_border, 30 * kPi, 0.3);
}

TEST(MeasureLayers, AStepHasFacesWhereItIsNotCovered) {
  // A slab of 40 x 20, a pad of 10 x 10 on it.
  const Layers layers{{Rectangle(0, 0, 40, 20)}, {Rectangle(15, 5, 10, 10)}};
  const std::vector<LayerMeasure> step = Measured(layers);
  EXPECT_NEAR(step[0].up_area, 700, 2);
  EXPECT_NEAR(step[0].up_border, 120 + 40, 0.3);
  EXPECT_EQ(step[1].down_area, 0);
  EXPECT_NEAR(step[1].up_area, 100, 1);
  // The other way round the pad's slab hangs over.
  const std::vector<LayerMeasure> hung = Measured({layers[1], layers[0]});
  EXPECT_NEAR(hung[1].down_area, 700, 2);
  EXPECT_NEAR(hung[1].down_border, 160, 0.3);
  EXPECT_EQ(hung[0].up_area, 0);
}

TEST(MeasureLayers, FacesNarrowerThanARowHaveAreaAndNoOutline) {
  // Walls that lean by 0.02 a layer.
  const std::vector<LayerMeasure> wall =
      Measured({{Rectangle(0, 0, 10.02f, 10)}, {Rectangle(0, 0, 10, 10)}}, kBoth, 0.05);
  EXPECT_NEAR(wall[0].up_area, 0.2, 0.002);
  EXPECT_EQ(wall[0].up_border, 0);
}

TEST(MeasureLayers, WhatIsNotAskedForIsNotMeasured) {
  const Layers layers{{Rectangle(0, 0, 40, 20)}, {Rectangle(15, 5, 10, 10)}};
  for (const LayerMeasure& layer : Measured(layers, {})) {
    EXPECT_GT(layer.area, 0);
    EXPECT_EQ(layer.up_area + layer.down_area + layer.up_border + layer.down_border, 0);
  }
  const std::vector<LayerMeasure> up = Measured(layers, {true, false});
  EXPECT_GT(up[0].up_area, 0);
  EXPECT_EQ(up[0].down_area, 0);
  const std::vector<LayerMeasure> down = Measured(layers, {false, true});
  EXPECT_EQ(down[0].up_area, 0);
  EXPECT_GT(down[0].down_area, 0);
}

TEST(MeasureLayers, EveryNumberOfLayersHasItsEnds) {
  // Rows are kept for three layers at a time.
  for (std::size_t count = 1; count <= 7; ++count) {
    const std::vector<LayerMeasure> slab = Measured(Layers(count, {Rectangle(0, 0, 4, 4)}));
    double up = 0, down = 0;
    for (const LayerMeasure& layer : slab) {
      up += layer.up_area;
      down += layer.down_area;
    }
    EXPECT_NEAR(up, 16, 0.3) << count;
    EXPECT_NEAR(down, 16, 0.3) << count;
  }
}

TEST(MeasureLayers, NothingIsMeasuredOfContoursThatAreNotNumbers) {
  Contour broken = Rectangle(0, 0, 4, 4);
  broken[2] = std::nanf("");
  const std::vector<LayerMeasure> layer = Measured(Layers(1, {broken, Rectangle(10, 0, 4, 4), {}}));
  EXPECT_DOUBLE_EQ(layer[0].area, 16);
  EXPECT_DOUBLE_EQ(layer[0].border, 16);
  EXPECT_NEAR(layer[0].up_area, 16, 0.3);
}

TEST(MeasureLayers, TheBallOfThirtyMillimetresHoldsWhatItShould) {
  // 4/3 pi 30^3 = 113 097.3 mm3, cut at the middles of layers of 0.05 mm.
  Layers layers;
  for (int k = 0; k < 1200; ++k) {
    const double z = -30 + 0.05 * (k + 0.5);
    layers.push_back({Circle(std::sqrt(900 - z * z), 720)});
  }
  double volume = 0;
  for (const LayerMeasure& layer : Measured(layers, {})) volume += layer.area * 0.05;
  EXPECT_NEAR(volume, 113097, 113.097);
}

TEST(MeasureLayers, OpenContoursAreClosedByALineForTheirAreaOnly) {
  const std::vector<LayerMeasure> open = Measured(Layers(1, {{0, 0, 10, 0, 10, 10, 0, 10}}), {});
  EXPECT_DOUBLE_EQ(open[0].area, 100);
  EXPECT_DOUBLE_EQ(open[0].border, 30);
}

}  // namespace
}  // namespace trqprep::estimate
