#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "trqprep/estimate.h"

namespace trqprep::estimate {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kMil = 0.0254;  // mm

// Of the lines -40 to 40, which is all of them for the spacings tested.
double PlainRatio(double spacing, double half_width) {
  double sum = 0;
  for (int n = -40; n <= 40; ++n) sum += std::exp(-2 * std::pow(n * spacing / half_width, 2));
  return sum;
}

TEST(ExposureRatio, OfLinesSixMilApartIsThePublishedValue) {
  // e^-2.88 = 0.056135 on each side, e^-11.52 = 0.000010 beyond.
  EXPECT_NEAR(ExposureRatio(6, 5), 1.1123, 0.00005);
  // 5.8 ln 1.11229 = 0.61725.
  EXPECT_NEAR(LineDepth(3, 6, 5, 5.8), 2.383, 0.0005);
  EXPECT_NEAR(LineDepth(3 * kMil, 6 * kMil, 5 * kMil, 5.8 * kMil), 2.383 * kMil, 0.0005 * kMil);
}

TEST(ExposureRatio, IsTheSumOfAllLinesWhicheverFormIsTaken) {
  for (const double spacing : {0.2, 0.5, 1.0, 1.2, 1.25, 1.2533, 1.26, 1.5, 2.0, 3.0, 9.0}) {
    EXPECT_NEAR(ExposureRatio(spacing, 1), PlainRatio(spacing, 1), 1e-13 * PlainRatio(spacing, 1)) << spacing;
  }
}

TEST(ExposureRatio, OfNarrowLinesIsThatOfAnEvenExposure) {
  // Lines much nearer than the beam is wide: sqrt(pi / 2) half_width / spacing, 1.2533141 times 1e6.
  EXPECT_NEAR(ExposureRatio(1e-6, 1), 1253314.137, 0.001);
  EXPECT_EQ(ExposureRatio(1e6, 1), 1);
}

TEST(ScanSpeed, PutsTheExposureOfTheDepthIntoTheMiddleOfTheLine) {
  // Power 100 mW, half-width 0.1 mm, Ec 0.1 mJ/mm2, depth = Dp ln 8: exposure 0.8 mJ/mm2,
  // 0.7978845608 * 100 / (0.1 * 0.8) = 997.3557.
  const Resin resin{0.14, 0.1};
  EXPECT_NEAR(ScanSpeed(100, 0.1, resin, 0.14 * std::log(8.0)), 997.3557010, 1e-6);
  // At depth 0 the exposure is the critical one.
  EXPECT_NEAR(ScanSpeed(100, 0.1, resin, 0), 7978.845608, 1e-5);
  EXPECT_NEAR(ExposureFor(0.14, resin), 0.2718281828, 1e-9);
}

TEST(ScanSpeed, AgreesWithTheExposureAddedUpAlongTheLine) {
  // The beam's irradiance 2 P / (pi w^2) e^(-2 x^2 / w^2), integrated over the time of passing by.
  const double power = 250, half_width = 0.125, speed = 2200;
  double exposure = 0;
  const double step = 1e-4;
  for (double x = -1; x <= 1; x += step) {
    exposure += 2 * power / (kPi * half_width * half_width) *
                std::exp(-2 * x * x / (half_width * half_width)) * step / speed;
  }
  const Resin resin{0.15, 0.08};
  const double depth = resin.dp * std::log(exposure / resin.ec);
  EXPECT_NEAR(ScanSpeed(power, half_width, resin, depth), speed, 1e-6 * speed);
}

TEST(HalfWidthOf, IsWhereTheLineEndsToCure) {
  // Depth 2 Dp: the surface cures out to where the exposure is e^-2 of the middle, one half-width: the line
  // is two half-widths wide.
  EXPECT_NEAR(HalfWidthOf(0.25, 0.28, 0.14), 0.125, 1e-15);
  // Depth Dp / 2: line_width / 1.
  EXPECT_NEAR(HalfWidthOf(0.25, 0.07, 0.14), 0.25, 1e-15);
  // Depth 0.25, Dp 0.14: 0.25 / sqrt(3.5714286) = 0.25 / 1.8898224.
  EXPECT_NEAR(HalfWidthOf(0.25, 0.25, 0.14), 0.1322876, 1e-7);
}

// Time that a square millimetre takes.
double HatchTime(double power, double half_width, const Resin& resin, double depth, double spacing) {
  return 1 / (spacing * ScanSpeed(power, half_width, resin, LineDepth(depth, spacing, half_width, resin.dp)));
}

TEST(ScanSpeed, MoreDepthOrExposureOrFinerLinesNeverTakeLessTimeAndMorePowerNeverMore) {
  std::mt19937 random(1);
  const auto among = [&](double low, double high) {
    return low * std::exp(std::uniform_real_distribution<double>(0, std::log(high / low))(random));
  };
  for (int round = 0; round < 20000; ++round) {
    const double power = among(1, 5000), half_width = among(0.01, 1), depth = among(0.001, 3);
    const Resin resin{among(0.02, 0.5), among(0.01, 1)};
    const double spacing = among(0.001, 3), more = among(1, 3);
    const double time = HatchTime(power, half_width, resin, depth, spacing);
    const double least = time * (1 - 1e-12);
    EXPECT_GE(HatchTime(power, half_width, resin, depth * more, spacing), least);
    EXPECT_GE(HatchTime(power, half_width, {resin.dp, resin.ec * more}, depth, spacing), least);
    EXPECT_GE(HatchTime(power, half_width, resin, depth, spacing / more), least);
    EXPECT_LE(HatchTime(power * more, half_width, resin, depth, spacing), time * (1 + 1e-12));
    EXPECT_LE(ScanSpeed(power, half_width, resin, depth * more), ScanSpeed(power, half_width, resin, depth));
  }
}

TEST(LengthOf, IsTheBorderOrTheAreaBySpacingOfTheFaceAndGrowsWithIt) {
  LayerMeasure layers;
  layers.area = 800;
  layers.border = 120;
  layers.up_area = 40;
  layers.up_border = 28;
  layers.down_area = 60;
  layers.down_border = 34;
  EXPECT_EQ(LengthOf({Face::kLayer, Stroke::kBorder, 1, 0.2, 0}, layers), 120);
  EXPECT_EQ(LengthOf({Face::kUp, Stroke::kBorder, 1, 0.2, 0}, layers), 28);
  EXPECT_EQ(LengthOf({Face::kDown, Stroke::kBorder, 1, 0.2, 0}, layers), 34);
  EXPECT_EQ(LengthOf({Face::kLayer, Stroke::kHatch, 1, 0.2, 0.125}, layers), 6400);
  EXPECT_EQ(LengthOf({Face::kUp, Stroke::kHatch, 1, 0.2, 0.125}, layers), 320);
  EXPECT_EQ(LengthOf({Face::kDown, Stroke::kFill, 1, 0.2, 0.125}, layers), 480);
  const Pass hatch{Face::kLayer, Stroke::kHatch, 1, 0.2, 0.125};
  const double before = LengthOf(hatch, layers);
  layers.area = 801;
  EXPECT_GT(LengthOf(hatch, layers), before);
  // The depth of a border is its own; that of hatches is less by what neighbouring lines add.
  EXPECT_EQ(LineDepthOf({Face::kLayer, Stroke::kBorder, 1, 0.2, 0}, 0.125, 0.14), 0.2);
  EXPECT_EQ(LineDepthOf(hatch, 0.125, 0.14), LineDepth(0.2, 0.125, 0.125, 0.14));
}

TEST(HalfWidthOf, OfALineWidthLetsBorderTimeFallBelowHalfOfThePenetrationDepth) {
  // Time goes with half_width e^(depth / dp), so with depth^-1/2 e^(depth / dp), least at depth = dp / 2.
  const Resin resin{0.14, 0.108};
  const auto time = [&](double depth) {
    return 1 / ScanSpeed(100, HalfWidthOf(0.25, depth, resin.dp), resin, depth);
  };
  EXPECT_GT(time(0.02), time(0.04));
  EXPECT_GT(time(0.04), time(0.069));
  EXPECT_LT(time(0.071), time(0.1));
  EXPECT_LT(time(0.1), time(0.3));
  EXPECT_LT(time(0.07), time(0.0699));
  EXPECT_LT(time(0.07), time(0.0701));
}

TEST(MoveTime, IsThatOfATrapezoid) {
  EXPECT_EQ(MoveTime(8, 5, 0), 1.6);
  // Speeding up takes 5 / 20 s and 0.625 mm, as slowing down does: 6.75 mm at 5 mm/s.
  EXPECT_NEAR(MoveTime(8, 5, 20), 0.25 + 1.35 + 0.25, 1e-12);
  // 0.2 mm: half of it at 20 mm/s2 takes 0.1 s, and 2 mm/s are reached.
  EXPECT_NEAR(MoveTime(0.2, 5, 20), 0.2, 1e-12);
  EXPECT_NEAR(MoveTime(1.25, 5, 20), 0.5, 1e-12);  // just reaches the velocity
  EXPECT_EQ(MoveTime(0, 5, 20), 0);
}

TEST(DistinctHeights, CountsHeightsThatAreNearEachOtherOnce) {
  using Heights = std::vector<double>;
  EXPECT_EQ(DistinctHeights({}, 1e-4), Heights());
  EXPECT_EQ(DistinctHeights({0.1, 0.3, 0.2, 0.20005, 0.1}, 1e-4), (Heights{0.1, 0.2, 0.3}));
  EXPECT_EQ(DistinctHeights({0.2001 + 1e-9, 0.2}, 1e-4), (Heights{0.2, 0.2001 + 1e-9}));
  // Not a chain: what counts is the distance from the one that counts.
  EXPECT_EQ(DistinctHeights({0, 0.00008, 0.00016, 0.00024}, 1e-4), (Heights{0, 0.00016}));
  EXPECT_EQ(DistinctHeights({-0.1, -0.1, 0}, 1e-4), (Heights{-0.1, 0}));
}

}  // namespace
}  // namespace trqprep::estimate
