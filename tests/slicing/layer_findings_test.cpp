#include "trqprep/layer_findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

namespace trqprep {
namespace {

using Ring = std::vector<float>;  // x, y, x, y

Ring Solid(double x0, double y0, double x1, double y1) {
  return {float(x0), float(y0), float(x1), float(y0), float(x1), float(y1), float(x0), float(y1)};
}
// The same, clockwise.
Ring Empty(double x0, double y0, double x1, double y1) {
  return {float(x0), float(y0), float(x0), float(y1), float(x1), float(y1), float(x1), float(y0)};
}

Ring Disc(double x, double y, double radius, int corners = 2000) {
  Ring ring;
  for (int i = 0; i < corners; ++i) {
    const double angle = 2 * 3.14159265358979323846 * i / corners;
    ring.push_back(float(x + radius * std::cos(angle)));
    ring.push_back(float(y + radius * std::sin(angle)));
  }
  return ring;
}

using Rings = std::vector<Ring>;

ContourViews ViewOf(const Rings& rings) {
  ContourViews views;
  for (const Ring& ring : rings) views.push_back({ring.data(), ring.size() / 2});
  return views;
}

// Layers of one height, the lowest at Z = 0.
struct Tower {
  std::vector<Rings> layers;
  double height = 1;
  double from = 0;

  void Add(int count, const Rings& rings) { layers.insert(layers.end(), std::size_t(count), rings); }
  LayerStack Stack() const {
    LayerStack stack;
    for (std::size_t k = 0; k < layers.size(); ++k) {
      stack.bottoms.push_back(from + double(k) * height);
      stack.tops.push_back(from + double(k + 1) * height);
    }
    stack.contours = [this](std::size_t k, ContourViews& views) {
      const ContourViews more = ViewOf(layers[k]);
      views.insert(views.end(), more.begin(), more.end());
    };
    return stack;
  }
  LayerFindings Find(const LayerFindingOptions& options = {}) const { return FindInLayers(Stack(), options); }
};

void ExpectPocket(const ResinPocket& pocket, std::size_t begin, std::size_t end, double volume) {
  EXPECT_EQ(pocket.begin, begin);
  EXPECT_EQ(pocket.end, end);
  EXPECT_NEAR(pocket.volume, volume, 0.003 * volume);
}

// 10 x 10, walls of 1.
const Rings kPlate{Solid(0, 0, 10, 10)};
const Rings kWalls{Solid(0, 0, 10, 10), Empty(1, 1, 9, 9)};
// A wall is open from Y = 4 to 6.
const Rings kWallsWithGap{
    {0, 0, 10, 0, 10, 4, 9, 4, 9, 1, 1, 1, 1, 9, 9, 9, 9, 6, 10, 6, 10, 10, 0, 10},
};

TEST(LayerAreas, AreThoseOfTheShapes) {
  const Rings layer{Disc(20, 20, 15), Disc(50, 20, 10)};
  const double pi = 3.14159265358979323846;
  EXPECT_NEAR(LayerArea(ViewOf(layer), 0.1), 325 * pi, 0.003 * 325 * pi);
  EXPECT_NEAR(LayerArea(ViewOf(kWalls), 0.1), 36, 0.003 * 36);
  // What is wound round twice, or the wrong way, is solid once.
  EXPECT_NEAR(LayerArea(ViewOf({Solid(0, 0, 4, 4), Solid(2, 2, 6, 6), Empty(8, 0, 9, 1)}), 0.1), 29, 0.06);
  // Two circles of radius 10 whose centres are 10 apart share a lens of two segments of 120 degrees.
  const double lens = 2 * 100 * (pi / 3 - std::sqrt(3.0) / 4);
  const Rings one{Disc(0, 0, 10)}, other{Disc(6, 8, 10)};
  EXPECT_NEAR(AreaOfDifference(ViewOf(one), ViewOf(other), 0.1), 100 * pi - lens, 0.003 * (100 * pi - lens));
  EXPECT_EQ(AreaOfDifference(ViewOf(one), ViewOf(one), 0.1), 0);
  EXPECT_EQ(LayerArea({}, 0.1), 0);
}

TEST(LayerAreas, OfRowsWithManyContours) {
  // Squares of 1 in a row from -600 on, two beside each other and two apart, in an order of their own.
  std::vector<Ring> layer;
  for (int k = 0; k < 600; ++k) {
    const int i = k * 7 % 600;
    const double x = -600 + 3 * (i / 2) + i % 2;
    layer.push_back(Solid(x, 0, x + 1, 1));
  }
  EXPECT_NEAR(LayerArea(ViewOf(layer), 0.25), 600, 1e-3);
  // Over all of them, which leaves nothing, and over half of each.
  EXPECT_NEAR(AreaOfDifference(ViewOf(layer), ViewOf({Solid(-700, -1, 700, 2)}), 0.25), 0, 1e-3);
  EXPECT_NEAR(AreaOfDifference(ViewOf(layer), ViewOf({Solid(-700, -1, 700, 0.5)}), 0.25), 300, 1e-3);
}

TEST(LayerAreas, GrowAllAround) {
  // A square of 10 grown by 2 is 196 - (4 - pi) 4; in a square of 20 that leaves the rest.
  const double pi = 3.14159265358979323846;
  const double left = 400 - (196 - (4 - pi) * 4);
  const Rings layer{Solid(-5, -5, 15, 15)};
  EXPECT_NEAR(AreaBeyond(ViewOf(layer), ViewOf(kPlate), 2, 0.1), left, 0.003 * left);
  EXPECT_NEAR(AreaBeyond(ViewOf({Disc(0, 0, 10)}), ViewOf({Disc(0, 0, 6)}), 3, 0.1), 19 * pi,
              0.003 * 19 * pi);
}

TEST(LayerFindings, TheLowestLayerIsWhereThePartStarts) {
  Tower tower;
  tower.Add(2, {});
  tower.Add(3, {Solid(0, 0, 2, 2), Solid(5, 0, 8, 2)});
  const LayerFindings found = tower.Find();
  ASSERT_TRUE(found.start);
  EXPECT_EQ(found.start->layer, 2u);
  EXPECT_NEAR(found.start->area, 10, 0.03);
  EXPECT_TRUE(found.islands.empty());
  EXPECT_TRUE(found.unsupported.empty());
  EXPECT_FALSE(Tower{}.Find().start);
}

TEST(LayerFindings, ALegOfAnArchThatBeginsHigherIsAnIsland) {
  Tower arch;
  arch.Add(2, {Solid(0, 0, 2, 4)});
  arch.Add(2, {Solid(0, 0, 2, 4), Solid(8, 0, 10, 3)});
  arch.Add(1, {Solid(0, 0, 10, 4)});
  const LayerFindings found = arch.Find();
  ASSERT_EQ(found.islands.size(), 1u);
  EXPECT_EQ(found.islands[0].layer, 2u);
  EXPECT_NEAR(found.islands[0].area, 6, 0.02);
  EXPECT_TRUE(found.islands[0].x >= 8 && found.islands[0].x <= 10);
  EXPECT_TRUE(found.islands[0].y >= 0 && found.islands[0].y <= 3);
  // The span from 2 to 8, less 1 on each side and what the right leg's corners reach round: its quarter of a
  // circle at (8, 3) of the square from (7, 3) to (8, 4) and the strip from 8 to 10 below Y = 4.
  ASSERT_EQ(found.unsupported.size(), 1u);
  EXPECT_EQ(found.unsupported[0].layer, 4u);
  EXPECT_NEAR(found.unsupported[0].area, 16 + 1 - 3.14159265358979323846 / 4, 0.06);
  EXPECT_TRUE(found.cups.empty() && found.trapped.empty());
}

TEST(LayerFindings, AnIslandIsWhatNothingComesNear) {
  for (const double away : {0.9, 1.1}) {
    Tower tower;
    tower.Add(1, {Solid(0, 0, 2, 4)});
    tower.Add(1, {Solid(2 + away, 0, 6, 4)});
    EXPECT_EQ(tower.Find().islands.size(), away > 1 ? 1u : 0u);
    LayerFindingOptions options;
    options.overhang = 1.2;
    EXPECT_EQ(tower.Find(options).islands.size(), 0u);
    options.overhang = 0;
    EXPECT_EQ(tower.Find(options).islands.size(), 1u);
  }
}

TEST(LayerFindings, AThinIslandThatLeansAgainstTheRowsIsOne) {
  // 0.02 wide and 20 long: most rows see a stretch of their own.
  Tower tower;
  tower.height = 0.1;
  tower.Add(1, {Solid(0, -2, 20, -1)});
  tower.Add(1, {Solid(0, -2, 20, -1), Ring{0, 0, 20, 1, 20, 1.02f, 0, 0.02f}});
  const LayerFindings found = tower.Find();
  ASSERT_EQ(found.islands.size(), 1u);
  EXPECT_NEAR(found.islands[0].area, 0.4, 0.004);
}

TEST(LayerFindings, StairsAreUnsupportedWhereAStepIsWide) {
  Tower stairs;
  for (int k = 0; k < 5; ++k) stairs.Add(1, {Solid(0, 0, 10 + 0.9 * k, 10)});
  stairs.Add(1, {Solid(0, 0, 15.6, 10)});   // a step of 2: 1 more than what is allowed
  stairs.Add(1, {Solid(0, 0, 16.65, 10)});  // 0.05 more, 0.5 in all
  const LayerFindings found = stairs.Find();
  ASSERT_EQ(found.unsupported.size(), 1u);
  EXPECT_EQ(found.unsupported[0].layer, 5u);
  EXPECT_NEAR(found.unsupported[0].area, 10, 0.05);
  EXPECT_TRUE(found.unsupported[0].x >= 14.6 && found.unsupported[0].x <= 15.6);
  EXPECT_TRUE(found.islands.empty());
  LayerFindingOptions options;
  options.least_area = 0.4;
  EXPECT_EQ(stairs.Find(options).unsupported.size(), 2u);
  options.overhang = 0.8;  // by 0.1, over 10, at each of the narrow steps
  options.least_area = 0.9;
  EXPECT_EQ(stairs.Find(options).unsupported.size(), 6u);
}

TEST(LayerFindings, LeaningPrismsAreJudgedTheSameInEveryDirection) {
  for (const double turn : {0.0, 45.0, 90.0, 135.0, 180.0, 225.0, 270.0, 315.0, 1.0, 89.0, 30.0}) {
    for (const double lean : {40.0, 50.0}) {
      const double degree = 3.14159265358979323846 / 180;
      const double cosine = std::cos(turn * degree), sine = std::sin(turn * degree);
      Tower prism;
      prism.height = 0.1;
      const int count = 9;
      for (int k = 0; k < count; ++k) {
        const double shift = 0.1 * k * std::tan(lean * degree);
        Ring ring = Solid(shift, -50, shift + 10, 50);
        for (std::size_t i = 0; i < ring.size(); i += 2) {
          const double x = double(ring[i]), y = double(ring[i + 1]);
          ring[i] = float(x * cosine - y * sine);
          ring[i + 1] = float(x * sine + y * cosine);
        }
        prism.layers.push_back({ring});
      }
      const LayerFindings found = prism.Find();
      EXPECT_TRUE(found.islands.empty());
      if (lean < 45) {
        EXPECT_TRUE(found.unsupported.empty()) << turn;
        continue;
      }
      // Each layer goes 0.1 (tan 50 - 1) too far, on 100.
      ASSERT_EQ(found.unsupported.size(), std::size_t(count - 1)) << turn;
      double sum = 0;
      for (int k = 1; k < count; ++k) {
        EXPECT_EQ(found.unsupported[std::size_t(k - 1)].layer, std::size_t(k));
        sum += found.unsupported[std::size_t(k - 1)].area;
      }
      EXPECT_NEAR(sum / (count - 1), 10 * (std::tan(lean * degree) - 1), 0.2) << turn;
    }
  }
}

TEST(LayerFindings, ACupIsFullUpToItsRim) {
  Tower cup;
  cup.Add(2, kPlate);
  cup.Add(3, kWalls);
  const LayerFindings found = cup.Find();
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 2, 5, 64 * 3);
  EXPECT_TRUE(found.cups[0].x > 1 && found.cups[0].x < 9 && found.cups[0].y > 1 && found.cups[0].y < 9);
  EXPECT_FALSE(found.cups[0].opening);
  EXPECT_TRUE(found.trapped.empty());
  // On a part that goes on beside it, its rim is where its walls end.
  cup.Add(2, {Solid(0, 0, 1, 10)});
  ASSERT_EQ(cup.Find().cups.size(), 1u);
  ExpectPocket(cup.Find().cups[0], 2, 5, 64 * 3);
}

TEST(LayerFindings, AWallAsThinAsRowsAreApartHolds) {
  for (int degrees = 0; degrees < 90; degrees += 3) {
    const double angle = degrees * 3.14159265358979323846 / 180;
    const auto turned = [&](Ring ring) {
      for (std::size_t i = 0; i < ring.size(); i += 2) {
        const double x = double(ring[i]), y = double(ring[i + 1]);
        ring[i] = float(x * std::cos(angle) - y * std::sin(angle));
        ring[i + 1] = float(x * std::sin(angle) + y * std::cos(angle));
      }
      return ring;
    };
    Tower cup;
    cup.Add(1, {turned(Solid(0, 0, 10, 10))});
    cup.Add(3, {turned(Solid(0, 0, 10, 10)), turned(Empty(0.101, 0.101, 9.899, 9.899))});
    const LayerFindings found = cup.Find();
    ASSERT_EQ(found.cups.size(), 1u) << degrees;
    ExpectPocket(found.cups[0], 1, 4, 3 * 9.798 * 9.798);
  }
}

TEST(LayerFindings, AnUprightTubeIsNoCupUnlessItStandsOnAPlate) {
  Tower tube;
  tube.Add(4, kWalls);
  EXPECT_TRUE(tube.Find().cups.empty());
  LayerFindingOptions options;
  options.solid_platform = true;
  ASSERT_EQ(tube.Find(options).cups.size(), 1u);
  ExpectPocket(tube.Find(options).cups[0], 0, 4, 64 * 4);
  tube.from = 2;  // above the plate
  EXPECT_TRUE(tube.Find(options).cups.empty());
}

TEST(LayerFindings, AClosedCavityIsTrappedAndNoCup) {
  Tower box;
  box.Add(1, kPlate);
  box.Add(3, kWalls);
  box.Add(2, kPlate);
  const LayerFindings found = box.Find();
  EXPECT_TRUE(found.cups.empty());
  ASSERT_EQ(found.trapped.size(), 1u);
  ExpectPocket(found.trapped[0], 1, 4, 64 * 3);
}

TEST(LayerFindings, ALidThatLeavesAHoleMakesNothingTrapped) {
  Tower pot;
  pot.Add(1, kPlate);
  pot.Add(3, kWalls);
  pot.Add(1, {Solid(0, 0, 10, 10), Empty(4, 4, 6, 6)});
  const LayerFindings found = pot.Find();
  EXPECT_TRUE(found.trapped.empty());
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 5, 64 * 3 + 4);
}

TEST(LayerFindings, AVentOpensACavityWhereItIs) {
  Tower box;
  box.Add(1, kPlate);
  box.Add(6, kWalls);
  box.Add(1, kPlate);
  LayerFindingOptions options;
  // Not near; near the ceiling from Z = 6 on, by a radius of 1.
  options.openings = {{5, 5, 20}, {5, 5, 7}};
  options.opening_radius = 0.9;
  LayerFindings found = box.Find(options);
  EXPECT_TRUE(found.trapped.empty());
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 6, 64 * 5);
  EXPECT_EQ(found.cups[0].opening, 1u);
  // A drain in the floor: the resin has a way from the beginning.
  options.openings = {{5, 5, 1}};
  found = box.Find(options);
  EXPECT_TRUE(found.trapped.empty() && found.cups.empty());
  // In the wall, beside the cavity by 0.5 and by 1.
  for (const double x : {9.5, 10.0}) {
    options.openings = {{x, 5, 3.5}};
    found = box.Find(options);
    EXPECT_EQ(found.cups.size(), x < 10 ? 1u : 0u);
    EXPECT_EQ(found.trapped.size(), x < 10 ? 0u : 1u);
  }
}

TEST(LayerFindings, ABucketWithAHoleHoldsResinUpToIt) {
  Tower bucket;
  bucket.Add(1, kPlate);
  bucket.Add(2, kWalls);
  bucket.Add(1, kWallsWithGap);
  bucket.Add(4, kWalls);
  const LayerFindings found = bucket.Find();
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 3, 64 * 2);
}

TEST(LayerFindings, BothLegsOfAPipeAreOneCup) {
  // A pipe in a block, along Y at the bottom and up at both ends; one leg ends lower.
  const Ring block = Solid(0, 0, 4, 20);
  Tower pipe;
  pipe.Add(1, {block});
  pipe.Add(1, {block, Empty(1, 1, 3, 19)});
  pipe.Add(3, {block, Empty(1, 1, 3, 3), Empty(1, 17, 3, 19)});
  pipe.Add(2, {Solid(0, 10, 4, 20), Empty(1, 17, 3, 19)});
  const LayerFindings found = pipe.Find();
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 5, 36 + 3 * 8);
  EXPECT_TRUE(found.trapped.empty());
}

TEST(LayerFindings, AUOpenAtItsSidesHoldsNothing) {
  Tower letter;
  letter.Add(2, {Solid(0, 0, 10, 4)});
  letter.Add(4, {Solid(0, 0, 2, 4), Solid(8, 0, 10, 4)});
  const LayerFindings found = letter.Find();
  EXPECT_TRUE(found.cups.empty() && found.trapped.empty() && found.islands.empty());
}

TEST(LayerFindings, CupsInEachOtherAreOneUntilTheOuterRim) {
  const Ring outer = Solid(0, 0, 20, 20), inside = Empty(1, 1, 19, 19);
  const Ring inner = Solid(5, 5, 15, 15), core = Empty(6, 6, 14, 14);
  // The inner rim is lower: what the inner cup holds joins the rest.
  Tower low;
  low.Add(1, {outer});
  low.Add(2, {outer, inside, inner, core});
  low.Add(2, {outer, inside});
  LayerFindings found = low.Find();
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 5, 2 * (324 - 100 + 64) + 2 * 324);
  // The inner rim is higher: two cups.
  Tower high;
  high.Add(1, {outer});
  high.Add(2, {outer, inside, inner, core});
  high.Add(3, {inner, core});
  found = high.Find();
  ASSERT_EQ(found.cups.size(), 2u);
  std::sort(found.cups.begin(), found.cups.end(),
            [](const ResinPocket& a, const ResinPocket& b) { return a.end < b.end; });
  ExpectPocket(found.cups[0], 1, 3, 2 * (324 - 100));
  ExpectPocket(found.cups[1], 1, 6, 5 * 64);
}

TEST(LayerFindings, ThickAndThinLayersAreComparedByTheThicker) {
  LayerStack stack;
  const std::vector<Rings> layers{{Solid(0, 0, 10, 10)}, {Solid(0, 0, 10.9, 10)}, {Solid(0, 0, 11.8, 10)}};
  stack.bottoms = {0, 1, 1.05};
  stack.tops = {1, 1.05, 2.05};
  stack.contours = [&](std::size_t k, ContourViews& views) { views = ViewOf(layers[k]); };
  EXPECT_TRUE(FindInLayers(stack).unsupported.empty());
  stack.tops[2] = 1.1;
  const LayerFindings found = FindInLayers(stack);
  ASSERT_EQ(found.unsupported.size(), 1u);
  EXPECT_EQ(found.unsupported[0].layer, 2u);
  EXPECT_NEAR(found.unsupported[0].area, 8.5, 0.09);
}

TEST(LayerFindings, FilesGiveTheSameAsSlices) {
  trq::core::Contours file;
  for (int k = 0; k < 3; ++k) {
    file.layers.emplace_back(float(k) * 2);
    for (const Ring& ring : k == 0 ? kPlate : kWalls) {
      std::copy(ring.begin(), ring.end(), file.layers.back().AddBoundary(unsigned(ring.size() / 2), 0));
    }
  }
  for (const bool whole : {false, true}) {
    if (whole) file.layers.push_back(trq::SlcLayer::Terminator(6));
    const LayerFindings found = FindInLayers(StackOf(file));
    ASSERT_EQ(found.cups.size(), 1u);
    ExpectPocket(found.cups[0], 1, 3, 64 * 4);
  }
  Slices slices;
  LayerPlan plan;
  for (int k = 0; k < 3; ++k) {
    plan.bottoms.push_back(2 * k);
    plan.tops.push_back(2 * k + 2);
    slices.layers.emplace_back();
    for (const Ring& ring : k == 0 ? kPlate : kWalls) {
      SliceContour contour;
      for (std::size_t i = 0; i < ring.size(); i += 2) contour.points.push_back({ring[i], ring[i + 1]});
      contour.points.push_back(contour.points.front());
      slices.layers.back().push_back(contour);
    }
  }
  const LayerFindings found = FindInLayers(StackOf(slices, plan));
  ASSERT_EQ(found.cups.size(), 1u);
  ExpectPocket(found.cups[0], 1, 3, 64 * 4);
}

TEST(LayerFindings, OddNumbersEndToo) {
  const float huge = 3e38f, none = std::numeric_limits<float>::quiet_NaN();
  Tower tower;
  tower.Add(1, {Solid(0, 0, 10, 10), Ring{}, Ring{1, 1}, Ring{0, none, 1, 1, 2, 5}});
  tower.Add(1, {Ring{-huge, -huge, huge, -huge, huge, huge}, Solid(0, 0, 1e-40, 1e-40)});
  tower.Add(1, {Ring{0, std::numeric_limits<float>::infinity(), 1, 1, 2, 5}});
  LayerFindingOptions options;
  options.openings = {{double(none), 0, 0}, {0, double(none), 0}, {1e300, 0, 0}, {0, 0, double(none)}};
  const LayerFindings found = tower.Find(options);
  EXPECT_GT(found.pitch, 1e30);
  tower.height = 0;
  EXPECT_TRUE(tower.Find(options).cups.empty());
}

// Blocks of 1 in a cube of `size`, which touch each other in a layer along edges, never at a corner alone.
class Blocks {
 public:
  Blocks(unsigned seed, int size, unsigned share) : size_(size), solid_(std::size_t(size * size * size)) {
    std::mt19937 draw(seed);
    for (int z = 0; z < size; ++z) {
      for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) Set(x, y, z, draw() % 100 < share);
      }
    }
    for (bool changed = true; changed;) {
      changed = false;
      for (int z = 0; z < size; ++z) {
        for (int y = 0; y < size; ++y) {
          for (int x = 0; x < size; ++x) {
            const bool a = At(x, y, z), b = At(x + 1, y, z), c = At(x, y + 1, z), d = At(x + 1, y + 1, z);
            if (a != d || b != c || a == b) continue;
            if (a) {
              Set(x, y, z, false);
            } else {
              Set(x + 1, y, z, false);
            }
            changed = true;
          }
        }
      }
    }
  }
  bool At(int x, int y, int z) const {
    return x >= 0 && y >= 0 && z >= 0 && x < size_ && y < size_ && z < size_ && solid_[Index(x, y, z)];
  }
  int size() const { return size_; }
  // Contours of a layer, from edges of squares with the solid on their left.
  Rings ContoursOf(int z) const {
    std::map<std::pair<int, int>, std::pair<int, int>> next;
    for (int y = 0; y < size_; ++y) {
      for (int x = 0; x < size_; ++x) {
        if (!At(x, y, z)) continue;
        if (!At(x, y - 1, z)) next[{x, y}] = {x + 1, y};
        if (!At(x + 1, y, z)) next[{x + 1, y}] = {x + 1, y + 1};
        if (!At(x, y + 1, z)) next[{x + 1, y + 1}] = {x, y + 1};
        if (!At(x - 1, y, z)) next[{x, y + 1}] = {x, y};
      }
    }
    Rings rings;
    while (!next.empty()) {
      rings.emplace_back();
      for (auto at = next.begin(); at != next.end();) {
        rings.back().push_back(float(at->first.first));
        rings.back().push_back(float(at->first.second));
        const auto to = at->second;
        next.erase(at);
        at = next.find(to);
      }
    }
    return rings;
  }

  using Found = std::vector<std::tuple<std::size_t, std::size_t, int>>;  // begin, end, blocks
  // Cups and trapped pockets by filling the empty blocks of the layers up to each in turn from outside.
  void Fill(bool plate, Found& cups, Found& trapped) const {
    std::vector<std::vector<std::array<int, 3>>> before;
    for (int top = 0; top <= size_; ++top) {
      std::vector<int> mark(std::size_t((size_ + 2) * (size_ + 2) * (size_ + 2)), 0);
      const auto at = [&](const std::array<int, 3>& c) -> int& {
        return mark[std::size_t(((c[2] + 1) * (size_ + 2) + c[1] + 1) * (size_ + 2) + c[0] + 1)];
      };
      // Beyond the part and below it is outside; the plate has no blocks above it that are outside.
      const auto is_free = [&](const std::array<int, 3>& c) {
        const bool beside = c[0] < 0 || c[1] < 0 || c[0] >= size_ || c[1] >= size_;
        if (c[0] < -1 || c[1] < -1 || c[2] < -1 || c[0] > size_ || c[1] > size_) return false;
        if (c[2] > std::min(top, size_)) return false;
        if (c[2] == -1 && plate && !beside) return false;
        if (c[2] == size_) return true;
        return !At(c[0], c[1], c[2]);
      };
      const auto spread = [&](std::array<int, 3> from, int number) {
        std::vector<std::array<int, 3>> waiting{from}, all;
        at(from) = number;
        while (!waiting.empty()) {
          const std::array<int, 3> here = waiting.back();
          waiting.pop_back();
          all.push_back(here);
          for (int side = 0; side < 6; ++side) {
            std::array<int, 3> there = here;
            there[std::size_t(side / 2)] += side % 2 ? 1 : -1;
            if (!is_free(there) || at(there)) continue;
            at(there) = number;
            waiting.push_back(there);
          }
        }
        return all;
      };
      spread({-1, -1, 0}, 1);
      std::vector<std::vector<std::array<int, 3>>> now;
      for (int z = 0; z <= std::min(top, size_ - 1); ++z) {
        for (int y = 0; y < size_; ++y) {
          for (int x = 0; x < size_; ++x) {
            if (is_free({x, y, z}) && !at({x, y, z})) now.push_back(spread({x, y, z}, int(now.size()) + 2));
          }
        }
      }
      for (const auto& pocket : before) {
        int low = size_, high = 0;
        for (const auto& block : pocket) {
          low = std::min(low, block[2]);
          high = std::max(high, block[2]);
        }
        if (high != top - 1) continue;  // closed before
        const int number = at(pocket.front());
        const bool goes_on = number > 1 && std::any_of(now[std::size_t(number - 2)].begin(),
                                                       now[std::size_t(number - 2)].end(),
                                                       [&](const auto& block) { return block[2] == top; });
        if (number == 1) cups.emplace_back(low, top, int(pocket.size()));
        if (number > 1 && !goes_on) trapped.emplace_back(low, top, int(pocket.size()));
      }
      before = std::move(now);
    }
    std::sort(cups.begin(), cups.end());
    std::sort(trapped.begin(), trapped.end());
  }

  // Layer and blocks of every area with nothing below it or below a neighbour, corners counted.
  std::vector<std::pair<std::size_t, int>> Islands() const {
    std::vector<std::pair<std::size_t, int>> islands;
    bool began = false;
    for (int z = 0; z < size_; ++z) {
      std::vector<bool> seen(std::size_t(size_ * size_), false);
      bool any = false;
      for (int i = 0; i < size_ * size_; ++i) {
        if (seen[std::size_t(i)] || !At(i % size_, i / size_, z)) continue;
        any = true;
        bool held = false;
        int count = 0;
        std::vector<int> waiting{i};
        seen[std::size_t(i)] = true;
        while (!waiting.empty()) {
          const int x = waiting.back() % size_, y = waiting.back() / size_;
          waiting.pop_back();
          ++count;
          for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
              held = held || At(x + dx, y + dy, z - 1);
              if ((dx != 0 && dy != 0) || !At(x + dx, y + dy, z)) continue;
              const int there = (y + dy) * size_ + x + dx;
              if (!seen[std::size_t(there)]) waiting.push_back(there);
              seen[std::size_t(there)] = true;
            }
          }
        }
        if (!held && began) islands.emplace_back(z, count);
      }
      began = began || any;
    }
    std::sort(islands.begin(), islands.end());
    return islands;
  }

 private:
  std::size_t Index(int x, int y, int z) const { return std::size_t((z * size_ + y) * size_ + x); }
  void Set(int x, int y, int z, bool solid) { solid_[Index(x, y, z)] = solid; }
  int size_;
  std::vector<bool> solid_;
};

Blocks::Found FoundOf(const std::vector<ResinPocket>& pockets) {
  Blocks::Found found;
  for (const ResinPocket& pocket : pockets) {
    found.emplace_back(pocket.begin, pocket.end, int(std::lround(pocket.volume)));
  }
  std::sort(found.begin(), found.end());
  return found;
}

TEST(LayerFindings, AgreeWithAFillOfBlocks) {
  std::size_t cups_seen = 0, trapped_seen = 0, islands_seen = 0;
  for (unsigned seed = 0; seed < 250; ++seed) {
    const Blocks blocks(seed, 4 + int(seed % 5), 30 + seed % 60);
    Tower tower;
    for (int z = 0; z < blocks.size(); ++z) tower.layers.push_back(blocks.ContoursOf(z));
    for (const bool plate : {false, true}) {
      LayerFindingOptions options;
      options.pitch = 0.25;
      options.overhang = 0.5;
      options.solid_platform = plate;
      options.threads = 1 + int(seed % 3);
      const LayerFindings found = tower.Find(options);
      Blocks::Found cups, trapped;
      blocks.Fill(plate, cups, trapped);
      ASSERT_EQ(FoundOf(found.cups), cups) << seed;
      ASSERT_EQ(FoundOf(found.trapped), trapped) << seed;
      std::vector<std::pair<std::size_t, int>> islands;
      for (const LayerPlace& island : found.islands) {
        islands.emplace_back(island.layer, int(std::lround(island.area)));
      }
      std::sort(islands.begin(), islands.end());
      ASSERT_EQ(islands, blocks.Islands()) << seed;
      cups_seen += cups.size();
      trapped_seen += trapped.size();
      islands_seen += islands.size();
    }
  }
  EXPECT_GT(cups_seen, 200u);
  EXPECT_GT(trapped_seen, 200u);
  EXPECT_GT(islands_seen, 200u);
}

TEST(LayerFindings, RowsThatAreWidenedStillLieAsFarAwayAsAllowed) {
  // 872 bars, each 20 up and down: more than a million rows of an eighth of the height take, so that they
  // stand farther apart. The second layer reaches as far beyond the first as it is high, along Y.
  Tower tower;
  tower.height = 0.1;
  Rings bars, longer;
  for (int i = 0; i < 872; ++i) {
    bars.push_back(Solid(120 * i, 0, 120 * i + 100, 10));
    longer.push_back(Solid(120 * i, 0, 120 * i + 100, 10.1));
  }
  tower.layers = {bars, longer};
  EXPECT_TRUE(tower.Find().unsupported.empty());
  for (Ring& bar : tower.layers[1]) bar[5] = bar[7] = 10.15f;
  EXPECT_EQ(tower.Find().unsupported.size(), 872u);
}

TEST(LayerFindings, BeyondTheBoundNothingIsLookedAt) {
  // Two layers with two sides of 10 each: 40 of travel in rows of 0.5 and in rows of an eighth of the height,
  // 80 and 320 crossings; 8 points.
  Tower tower;
  tower.Add(2, kPlate);
  tower.layers[1] = {Solid(0, 0, 20, 10)};
  LayerFindingOptions options;
  options.pitch = 0.5;
  options.most_crossings = 401 - 8 * 100;
  EXPECT_FALSE(tower.Find(options).beyond_bound);
  EXPECT_EQ(tower.Find(options).unsupported.size(), 1u);
  options.most_crossings = 399 - 8 * 100;
  const LayerFindings none = tower.Find(options);
  EXPECT_TRUE(none.beyond_bound);
  EXPECT_FALSE(none.start);
  EXPECT_TRUE(none.unsupported.empty());
  EXPECT_EQ(none.pitch, 0.5);
}

TEST(LayerFindings, AnyNumberOfThreadsGivesTheSame) {
  const Blocks blocks(5, 30, 55);
  Tower tower;
  for (int z = 0; z < blocks.size(); ++z) tower.layers.push_back(blocks.ContoursOf(z));
  const auto text = [&](int threads) {
    LayerFindingOptions options;
    options.threads = threads;
    options.pitch = 0.25;
    const LayerFindings found = tower.Find(options);
    std::vector<double> all;
    for (const auto* list : {&found.islands, &found.unsupported}) {
      for (const LayerPlace& place : *list) {
        all.insert(all.end(), {double(place.layer), place.x, place.y, place.area});
      }
    }
    for (const auto* list : {&found.cups, &found.trapped}) {
      for (const ResinPocket& pocket : *list) {
        all.insert(all.end(), {double(pocket.begin), double(pocket.end), pocket.x, pocket.y, pocket.volume});
      }
    }
    return all;
  };
  const std::vector<double> one = text(1);
  EXPECT_GT(one.size(), 500u);
  for (const int threads : {2, 3, 8}) EXPECT_EQ(text(threads), one) << threads;
}

TEST(LayerFindings, TurnedBlocksHoldTheSame) {
  // Turned about Z, blocks have edges that lean in all ways; nothing but rounding changes.
  for (unsigned seed = 0; seed < 60; ++seed) {
    const Blocks blocks(seed, 6, 50 + seed % 30);
    Tower tower;
    const double angle = 0.1 + 0.1 * seed;
    for (int z = 0; z < blocks.size(); ++z) {
      tower.layers.push_back(blocks.ContoursOf(z));
      for (Ring& ring : tower.layers.back()) {
        for (std::size_t i = 0; i < ring.size(); i += 2) {
          const double x = double(ring[i]), y = double(ring[i + 1]);
          ring[i] = float(x * std::cos(angle) - y * std::sin(angle));
          ring[i + 1] = float(x * std::sin(angle) + y * std::cos(angle));
        }
      }
    }
    LayerFindingOptions options;
    options.pitch = 0.05;
    options.overhang = 0.5;
    const LayerFindings found = tower.Find(options);
    Blocks::Found cups, trapped;
    blocks.Fill(false, cups, trapped);
    EXPECT_EQ(FoundOf(found.cups), cups) << seed;
    EXPECT_EQ(FoundOf(found.trapped), trapped) << seed;
  }
}

}  // namespace
}  // namespace trqprep
