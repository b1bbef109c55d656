#include "trqprep/vents_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>

namespace trqprep {
namespace {

VentsFile FileOf(const std::vector<Point>& points) {
  VentsFile file;
  for (const Point& p : points)
    file.entries.push_back({{float(p[0]), float(p[1]), float(p[2]), 0, 0, 1, 3}, 0});
  return file;
}

TEST(Openings, AreVentsAboveTheMiddleAndDrainsBelow) {
  const Box box{{0, 0, 0}, {4, 4, 10}};
  const auto of = [&](const std::vector<Point>& points) {
    const Openings openings = OpeningsOf(FileOf(points), 1, {box}).at(0);
    return std::pair(openings.vent, openings.drain);
  };
  EXPECT_EQ(of({}), std::pair(false, false));
  EXPECT_EQ(of({{1, 1, 5}}), std::pair(true, false));
  EXPECT_EQ(of({{1, 1, 4.5}}), std::pair(false, true));
  EXPECT_EQ(of({{0, 4, 99}, {4, 0, -99}}), std::pair(true, true));
  EXPECT_EQ(of({{4.5, 1, 5}, {1, -0.5, 5}}), std::pair(false, false));
  EXPECT_EQ(of({{NAN, 1, 5}, {1, NAN, 5}, {1, 1, NAN}}), std::pair(false, false));
  EXPECT_EQ(of({{1, 1, INFINITY}}), std::pair(true, false));
}

TEST(Openings, PointsAreTakenToTheUnitOfTheBox) {
  const Openings openings = OpeningsOf(FileOf({{1, 1, 1}}), 25.4, {Box{{25, 25, 0}, {26, 26, 10}}}).at(0);
  EXPECT_TRUE(openings.vent);
  EXPECT_FALSE(openings.drain);
}

TEST(Openings, DifferentialAgainstALookAtEveryPoint) {
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    const auto any = [&] { return double(random() % 12); };  // many equal ones
    std::vector<Point> points;
    std::vector<Box> cavities;
    for (auto n = random() % 70; n > 0; --n) points.push_back({any(), any(), any()});
    for (int i = 0; i < 30; ++i) {
      Box box;
      box.Add(Point{any(), any(), any()});
      box.Add(Point{any(), any(), any()});
      cavities.push_back(box);
    }
    const std::vector<Openings> found = OpeningsOf(FileOf(points), 1, cavities);
    ASSERT_EQ(found.size(), cavities.size());
    for (size_t i = 0; i < cavities.size(); ++i) {
      const auto& [low, high] = cavities[i];
      bool vent = false, drain = false;
      for (const auto& [x, y, z] : points) {
        if (x < low[0] || x > high[0] || y < low[1] || y > high[1]) continue;
        (2 * z >= low[2] + high[2] ? vent : drain) = true;
      }
      ASSERT_EQ(found[i].vent, vent) << round << " " << i;
      ASSERT_EQ(found[i].drain, drain) << round << " " << i;
    }
  }
}

TEST(Openings, OfManyCavitiesAndPointsAreFoundInTime) {
  // Each with each would be 4e10 looks.
  constexpr int kMany = 200'000;
  std::vector<Point> points;
  std::vector<Box> cavities;
  for (int i = 0; i < kMany; ++i) {
    points.push_back({double(i), double(i), 2});
    cavities.push_back({{double(i), 0, 0}, {kMany, i - 1.0, 1}});  // beside all points
  }
  const auto begin = std::chrono::steady_clock::now();
  for (const Openings& each : OpeningsOf(FileOf(points), 1, cavities)) ASSERT_FALSE(each.vent || each.drain);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace trqprep
