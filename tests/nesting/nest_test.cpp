#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/nesting/nesting_jobs.h"
#include "tests/support/rounds.h"
#include "trqprep/nesting.h"

namespace {

using namespace trqprep::nesting;
using namespace nesting_jobs;

constexpr double kInfinite = std::numeric_limits<double>::infinity();

Limits Steps(std::uint64_t steps) {
  Limits limits;
  limits.steps = steps;
  return limits;
}

void ExpectProved(const Job& job, const Result& result, double tolerance = 1e-5) {
  for (const Fault& fault : CheckPlacements(job, result.placements, result.missing, tolerance)) {
    ADD_FAILURE() << "fault " << static_cast<int>(fault.what) << " of " << fault.first << " and "
                  << fault.second << ", distance " << fault.distance;
  }
}

bool SameBytes(const Result& a, const Result& b) {
  const auto same = [](double x, double y) { return std::memcmp(&x, &y, sizeof x) == 0; };
  return a.outcome == b.outcome && a.steps == b.steps && same(a.length, b.length) &&
         std::equal(a.placements.begin(), a.placements.end(), b.placements.begin(), b.placements.end(),
                    [&](const Placement& p, const Placement& q) {
                      return p.part == q.part && p.turn == q.turn && same(p.x, q.x) && same(p.y, q.y);
                    });
}

Job Plate(double length, double width) {
  Job job;
  job.container.length = length;
  job.container.width = width;
  return job;
}

TEST(Nest, SquaresThatFillTheContainerExactlyFindTheirPlaces) {
  for (const int n : {1, 2, 3, 7}) {
    Job job = Plate(90, 90);
    job.clearance = 0;
    job.parts = {Copies(Rectangle(90.0 / n, 90.0 / n), n * n)};
    const Result result = Nest(job, Steps(0));
    EXPECT_EQ(result.outcome, Outcome::kPlaced) << n;
    EXPECT_EQ(result.placements.size(), static_cast<std::size_t>(n * n));
    ExpectProved(job, result);
  }
}

TEST(Nest, GapAndMarginAreUsedUpExactly) {
  // 2 margins of 5, three squares of 20 and two gaps of 10: 90.
  Job job = Plate(90.01, 90.01);
  job.container.margin = 5;
  job.gap = 10;
  job.parts = {Copies(Rectangle(20, 20), 9)};
  const Result result = Nest(job, Steps(0));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  ExpectProved(job, result);
  EXPECT_NEAR(result.length, 85, 0.01);
  job.container.length = 89.9;
  EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kPartly);
}

TEST(Nest, TheLargerGapOfTwoPartsCounts) {
  Job job = Plate(100, 20);
  job.gap = 2;
  job.parts = {Copies(Rectangle(20, 20), 1), Copies(Rectangle(20, 19), 1)};
  job.parts[1].gap = 7;
  const Result result = Nest(job, Steps(0));
  ASSERT_EQ(result.placements.size(), 2u);
  EXPECT_NEAR(std::fabs(result.placements[0].x - result.placements[1].x), 27.0005, 0.01);
  ExpectProved(job, result);
}

TEST(Nest, TwoHooksInterlock) {
  // Two L of 30 x 30 with arms of 10 need 40 x 30, side by side 60 x 30.
  Job job;
  job.container = {0, 40, true, 0};
  job.clearance = 0;
  Part hook = Copies({{{{0, 0}, {30, 0}, {30, 10}, {10, 10}, {10, 30}, {0, 30}}, {}}}, 2);
  hook.turns = QuarterTurns();
  job.parts = {hook};
  const Result result = Nest(job, Steps(40'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_LT(result.length, 31);
  ExpectProved(job, result);
}

TEST(Nest, APieceLiesInAnotherOnesHoleUnlessThatIsForbidden) {
  Job job = Plate(32, 32);
  job.gap = 0.5;
  job.parts = {Copies(Frame(), 1), Copies(Rectangle(15, 15), 1)};
  const Result result = Nest(job, Steps(0));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  ExpectProved(job, result);
  job.use_holes = false;
  const Result without = Nest(job, Steps(16'000'000));
  ASSERT_EQ(without.outcome, Outcome::kPartly);
  EXPECT_EQ(without.missing.at(0).part, 1u);
  ASSERT_EQ(CheckPlacements(job, result.placements, {}, 1e-5).size(), 1u);
  EXPECT_EQ(CheckPlacements(job, result.placements, {}, 1e-5)[0].what, Fault::What::kHole);
}

TEST(Nest, FixedPiecesStayAndTheRestGoesAround) {
  Job job = Plate(100, 30);
  job.gap = 1;
  job.parts = {Copies(Rectangle(30, 30), 2)};
  job.fixed = {{0, 0, 35, 0}};
  const Result result = Nest(job, Steps(0));
  ASSERT_EQ(result.placements.size(), 2u);
  EXPECT_NEAR(result.placements[0].x, 0, 1e-9);
  EXPECT_GE(result.placements[1].x, 66);
  EXPECT_LT(result.placements[1].x, 66.1);
  ExpectProved(job, result);
}

TEST(Nest, SaysWhyNoPlaceWasFound) {
  Job job = Plate(50, 50);
  job.parts = {Copies(Rectangle(60, 10), 1), Copies(Rectangle(40, 40), 2)};
  const Result result = Nest(job, Steps(1'000'000));
  ASSERT_EQ(result.missing.size(), 2u);
  EXPECT_EQ(result.missing[0].why, Missing::Why::kTooLarge);
  EXPECT_EQ(result.missing[1].why, Missing::Why::kNoFreeArea);
  job.parts = {Copies(Rectangle(30, 30), 2)};
  const Result tight = Nest(job, Steps(1'000'000));
  ASSERT_EQ(tight.missing.size(), 1u);
  EXPECT_EQ(tight.missing[0].why, Missing::Why::kNoPlace);
  EXPECT_EQ(tight.missing[0].copies, 1);
}

TEST(Nest, TurnsWhatFitsInNoOtherWay) {
  Job job = Plate(100, 12);
  job.parts = {Copies(Rectangle(10, 40), 2)};
  EXPECT_EQ(Nest(job, Steps(0)).missing.at(0).why, Missing::Why::kTooLarge);
  job.parts[0].turns = QuarterTurns();
  const Result result = Nest(job, Steps(0));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  ExpectProved(job, result);
}

TEST(Nest, TheSearchFindsRoomThatTheConstructivePassMisses) {
  // A square of 60 from five rectangles around a square: the pinwheel, of which no piece can be placed
  // greedily by size.
  Job job = Plate(60.3, 60.3);
  job.clearance = 0;
  Part arm = Copies(Rectangle(40, 20), 4);
  arm.turns = QuarterTurns();
  job.parts = {arm, Copies(Rectangle(20, 20), 1)};
  const Result result = Nest(job, Steps(600'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  ExpectProved(job, result);
}

TEST(Nest, FillsWithAsManyAsFit) {
  Job job = Plate(100, 100);
  job.clearance = 0;
  job.parts = {Copies(Rectangle(60, 100), 1), Copies(Rectangle(20, 20), 500)};
  job.parts[1].fill = true;
  const Result result = Nest(job, Steps(1'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_EQ(result.placements.size(), 11u);
  ExpectProved(job, result);
}

TEST(Nest, ASearchShortensAStrip) {
  Job job = RandomJob(3);
  job.container.strip = true;
  job.fixed.clear();
  const Result first = Nest(job, Steps(0)), searched = Nest(job, Steps(100'000'000));
  EXPECT_LE(searched.length, first.length);
  ExpectProved(job, searched);
}

TEST(Nest, ThreadsAndRepetitionChangeNoBit) {
  Job job;
  job.container = {0, 60, true, 1};
  job.gap = 0.7;
  std::mt19937_64 random(5);
  for (int p = 0; p < 5; ++p) {
    job.parts.push_back(Copies({{Star(random, 12, 5, 12), {}}}, 3));
    job.parts.back().turns = Turns(7);
  }
  const Result one = Nest(job, Steps(60'000'000));
  ExpectProved(job, one);
  for (const int threads : {1, 2, 3}) {
    Limits limits = Steps(60'000'000);
    limits.threads = threads;
    EXPECT_TRUE(SameBytes(one, Nest(job, limits))) << threads;
  }
  job.seed = 2;
  EXPECT_FALSE(SameBytes(one, Nest(job, Steps(60'000'000))));
}

TEST(Nest, TheStepsOfARunEndedByTheClockRepeatIt) {
  Job job;
  job.container = {0, 60, true, 0};
  std::mt19937_64 random(6);
  for (int p = 0; p < 6; ++p) job.parts.push_back(Copies({{Star(random, 9, 5, 12), {}}}, 3));
  Limits limits = Steps(std::uint64_t{1} << 50);
  Result ended;
  // A busy machine needs longer for its first round.
  for (limits.wall_seconds = 0.5; ended.steps == 0 && limits.wall_seconds < 100; limits.wall_seconds *= 2) {
    ended = Nest(job, limits);
  }
  EXPECT_GT(ended.steps, 0u);
  EXPECT_TRUE(SameBytes(ended, Nest(job, Steps(ended.steps))));
}

TEST(Nest, CancellingPlacesNothing) {
  Job job = RandomJob(3);
  job.container.strip = true;
  Limits limits = Steps(std::uint64_t{1} << 50);
  int calls = 0;
  limits.cancel = [&] { return ++calls > 5; };
  const Result result = Nest(job, limits);
  EXPECT_EQ(result.outcome, Outcome::kCancelled);
  EXPECT_TRUE(result.placements.empty());
}

TEST(Nest, RefusesWhatIsNoNumber) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(), kInfinite, -kInfinite, 1e300}) {
    Job job = Plate(50, 50);
    job.parts = {Copies(Rectangle(10, 10), 1)};
    job.parts[0].outline[0].outer[2].y = bad;
    Result result = Nest(job, Steps(0));
    EXPECT_EQ(result.outcome, Outcome::kBadInput);
    EXPECT_NE(result.reason, "");
    job.parts = {Copies(Rectangle(10, 10), 1)};
    job.fixed = {{0, 0, bad, 0}};
    EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kBadInput);
    job.fixed.clear();
    job.gap = bad;
    EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kBadInput);
    job.gap = 0;
    job.parts[0].turns[0].sine = bad;
    EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kBadInput);
  }
  Job job = Plate(50, 50);
  job.parts = {Copies({}, 1)};
  EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kBadInput);
  job.parts = {Copies(Rectangle(1, 1), 1)};
  job.parts[0].turns.clear();
  EXPECT_EQ(Nest(job, Steps(0)).outcome, Outcome::kBadInput);
}

TEST(Nest, OutlinesWithoutAreaHaveTheirGapToo) {
  for (const Ring& ring : {Ring{{3, 4}}, Ring{{3, 4}, {3, 4}, {3, 4}}, Ring{{0, 0}, {20, 5}}}) {
    Job job = Plate(60, 60);
    job.gap = 5;
    job.parts = {Copies({{ring, {}}}, 4), Copies(Rectangle(20, 20), 2)};
    const Result result = Nest(job, Steps(2'000'000));
    EXPECT_EQ(result.outcome, Outcome::kPlaced);
    ExpectProved(job, result);
  }
}

TEST(Nest, OddOutlinesArePlacedAsTheyAre) {
  const Ring clockwise = {{0, 0}, {0, 20}, {20, 20}, {20, 0}};
  const Ring crossing = {{0, 0}, {20, 20}, {20, 0}, {0, 20}};
  const Ring repeating = {{0, 0}, {0, 0}, {20, 0}, {20, 0}, {20, 20}, {0, 20}, {0, 20}, {0, 0}};
  const Ring spike = {{0, 0}, {20, 0}, {20, 10}, {60, 10}, {20, 10}, {20, 20}, {0, 20}};
  for (const double gap : {0.0, 1.0}) {
    Job job = Plate(200, 100);
    job.gap = gap;
    for (const Ring& ring : {clockwise, crossing, repeating, spike})
      job.parts.push_back(Copies({{ring, {}}}, 3));
    const Result result = Nest(job, Steps(2'000'000));
    EXPECT_EQ(result.outcome, Outcome::kPlaced);
    ExpectProved(job, result);
  }
}

TEST(Nest, AGapWiderThanTheContainerLeavesRoomForOnePiece) {
  for (const double gap : {100.0, 1e9}) {
    Job job = Plate(50, 50);
    job.gap = gap;
    job.parts = {Copies(Rectangle(10, 10), 3)};
    const Result result = Nest(job, Steps(1'000'000));
    EXPECT_EQ(result.placements.size(), 1u);
    EXPECT_EQ(result.missing.at(0).copies, 2);
    ExpectProved(job, result);
  }
  Job job = Plate(50, 50);
  job.container.margin = 30;
  job.parts = {Copies(Rectangle(10, 10), 1)};
  EXPECT_EQ(Nest(job, Steps(0)).missing.at(0).why, Missing::Why::kTooLarge);
}

TEST(Nest, NothingIsSearchedForWhereNoTwoPiecesCanBeApart) {
  // Two squares of 20 in opposite corners of one of 240 are 200 apart on each axis.
  const double farthest = 200 * std::sqrt(2.0);
  for (const int containers : {1, 2, 5}) {
    Job job = Plate(250, 250);
    job.container.margin = 5;
    job.parts = {Copies(Rectangle(20, 20), 3)};
    job.gap = farthest + 0.01;
    const PlatesResult apart = NestPlates(job, static_cast<std::size_t>(containers), Steps(1'000'000'000));
    EXPECT_EQ(apart.steps, 0u);
    EXPECT_EQ(apart.containers.size(), static_cast<std::size_t>(std::min(containers, 3)));
    EXPECT_EQ(apart.outcome, containers < 3 ? Outcome::kPartly : Outcome::kPlaced);
    for (const Missing& missing : apart.missing) EXPECT_EQ(missing.why, Missing::Why::kNoPlace);
    job.parts[0].fill = true;
    EXPECT_EQ(NestPlates(job, static_cast<std::size_t>(containers), Steps(1'000'000'000)).steps, 0u);
  }
  Job job = Plate(250, 250);
  job.container.margin = 5;
  job.parts = {Copies(Rectangle(20, 20), 2)};
  job.gap = farthest - 0.01;
  EXPECT_EQ(Nest(job, Steps(20'000'000)).outcome, Outcome::kPlaced);
  // A triangle is farther away in one turn than its box.
  job.parts[0].outline = {{{{0, 0}, {20, 0}, {0, 20}}, {}}};
  job.parts[0].turns = QuarterTurns();
  job.gap = farthest + 10;
  EXPECT_EQ(Nest(job, Steps(20'000'000)).outcome, Outcome::kPlaced);
  // One gap of the two is enough.
  job.parts[0].copies = 1;
  job.parts.push_back(job.parts[0]);
  job.parts[1].gap = 330;
  EXPECT_EQ(Nest(job, Steps(1'000'000'000)).steps, 0u);
}

TEST(Nest, NothingIsSearchedForWhereAFixedPieceKeepsAllAway) {
  // The fixed square and one in the opposite corner of a square of 240 are 200 apart on each axis.
  const double farthest = 200 * std::sqrt(2.0);
  Job job = Plate(250, 250);
  job.container.margin = 5;
  job.parts = {Copies(Rectangle(20, 20), 1), Copies(Rectangle(20, 20), 0)};
  job.fixed = {{1, 0, 5, 5}};
  job.parts[1].gap = farthest + 0.01;
  const Result away = Nest(job, Steps(1'000'000'000));
  EXPECT_EQ(away.steps, 0u);
  EXPECT_EQ(away.missing.at(0).why, Missing::Why::kNoPlace);
  // Another container has nothing in it.
  EXPECT_EQ(NestPlates(job, 2, Steps(1'000'000'000)).outcome, Outcome::kPlaced);
  job.parts[0].container = 0;
  EXPECT_EQ(NestPlates(job, 2, Steps(1'000'000'000)).steps, 0u);
  job.parts[0].container = -1;
  // As many as fit are none.
  job.parts[0].fill = true;
  EXPECT_EQ(Nest(job, Steps(1'000'000'000)).steps, 0u);
  job.parts[0].fill = false;
  job.parts[1].gap = farthest - 0.01;
  const Result placed = Nest(job, Steps(20'000'000));
  EXPECT_EQ(placed.outcome, Outcome::kPlaced);
  ExpectProved(job, placed);
  // Fixed pieces that are too near to each other keep nobody from being placed.
  job.parts[1].gap = 10;
  job.fixed.push_back({1, 0, 15, 5});
  EXPECT_EQ(Nest(job, Steps(1'000'000'000)).outcome, Outcome::kPlaced);
}

TEST(Nest, AHundredThousandCornersAreNoTrouble) {
  std::mt19937_64 random(1);
  Job job = Plate(200, 200);
  job.gap = 1;
  job.parts = {Copies({{Star(random, 100'000, 29.9, 30), {}}}, 4)};
  const Result result = Nest(job, Steps(0));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  for (std::size_t i = 0; i < result.placements.size(); ++i) {
    for (std::size_t j = i + 1; j < result.placements.size(); ++j) {
      // Stars about their origins: discs but for a tenth.
      EXPECT_GE(std::hypot(result.placements[i].x - result.placements[j].x,
                           result.placements[i].y - result.placements[j].y),
                60.7);
    }
  }
}

TEST(Nest, ExtremeSizesEndInBoundedTime) {
  Job job;
  job.container = {0, 10, true, 0};
  job.parts = {Copies(Rectangle(1e8, 1), 2), Copies(Rectangle(1e-5, 1e-5), 5)};
  const Result result = Nest(job, Steps(1'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  job = Plate(50, 50);
  job.parts = {Copies(Rectangle(10, 10), 1), Copies(Rectangle(1e8, 1e8), 0)};
  job.fixed = {{0, 0, 1e9, -1e9}, {1, 0, 60, 60}};
  EXPECT_EQ(Nest(job, Steps(1'000'000)).outcome, Outcome::kPlaced);
}

TEST(Nest, HostileOutlinesEndInBoundedTime) {
  std::mt19937_64 random(11);
  Ring scribble, comb, far;
  for (int i = 0; i < 400; ++i) {
    scribble.push_back(
        {static_cast<double>(random() % 100'000) / 4000, static_cast<double>(random() % 100'000) / 4000});
    comb.push_back({i * 0.05, i % 2 == 0 ? 0.0 : 20.0});
  }
  for (const Point& p : scribble) far.push_back({p.x + 1e9 - 100, p.y - 1e9 + 100});
  const Ring line = {{0, 0}, {25, 0}, {10, 0}, {25, 0}};
  for (const double gap : {0.0, 0.3}) {
    for (const Ring& ring : {scribble, comb, far, line}) {
      SCOPED_TRACE(testing::Message() << ring.size() << " corners from " << ring[0].x << ", gap " << gap);
      Job job = Plate(60, 60);
      job.gap = gap;
      job.parts = {Copies({{ring, {}}}, 3), Copies({{scribble, {ring, scribble}}, {ring, {}}}, 2)};
      job.parts[0].turns = QuarterTurns();
      job.parts[1].copies = 0;
      job.fixed = {{1, 0, 1e9, 1e9}, {1, 0, -1e9, 20}, {1, 0, 50, -5}};
      const Result result = Nest(job, Steps(1'000'000));
      EXPECT_NE(result.outcome, Outcome::kBadInput) << result.reason;
      EXPECT_EQ(result.placements.size() +
                    (result.missing.empty() ? 0u : static_cast<std::size_t>(result.missing[0].copies)),
                3u);
      // Double precision has 1e-7 at 1e9.
      if (ring[0].x < 1e6) ExpectProved(job, result);
    }
  }
}

TEST(Nest, NothingToPlaceIsNoFault) {
  const Result result = Nest(Plate(50, 50), Steps(1'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_EQ(result.length, 0);
}

TEST(Nest, DifferentialRandomJobsAreProved) {
  for (int round = 0; round < test_support::Rounds(25); ++round) {
    const Job job = RandomJob(static_cast<std::uint64_t>(1000 + round));
    const Result result = Nest(job, Steps(2'000'000));
    SCOPED_TRACE(round);
    ASSERT_TRUE(result.outcome == Outcome::kPlaced || result.outcome == Outcome::kPartly) << result.reason;
    ExpectProved(job, result);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(NestPlates, TakesAnotherContainerForTheRest) {
  Job job = Plate(50, 50);
  job.clearance = 0;
  job.parts = {Copies(Rectangle(25, 25), 10), Copies(Rectangle(60, 10), 1)};
  const PlatesResult result = NestPlates(job, 10, Steps(1'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPartly);
  ASSERT_EQ(result.containers.size(), 3u);
  EXPECT_EQ(result.containers[0].placements.size(), 4u);
  EXPECT_EQ(result.containers[2].placements.size(), 2u);
  ASSERT_EQ(result.missing.size(), 1u);
  EXPECT_EQ(result.missing[0].why, Missing::Why::kTooLarge);
  EXPECT_EQ(NestPlates(job, 2, Steps(0)).missing.at(0).copies, 2);
}

std::vector<Placement> AllOf(const PlatesResult& result) {
  std::vector<Placement> all;
  for (std::size_t c = 0; c < result.containers.size(); ++c) {
    for (const Placement& placement : result.containers[c].placements) {
      EXPECT_EQ(placement.container, c);
      all.push_back(placement);
    }
  }
  return all;
}

void ExpectProved(const Job& job, const PlatesResult& result, double tolerance = 1e-5) {
  for (const Fault& fault : CheckPlacements(job, AllOf(result), result.missing, tolerance)) {
    ADD_FAILURE() << "fault " << static_cast<int>(fault.what) << " of " << fault.first << " and "
                  << fault.second << ", distance " << fault.distance;
  }
}

bool SameBytes(const PlatesResult& a, const PlatesResult& b) {
  return a.outcome == b.outcome && a.steps == b.steps &&
         std::equal(a.containers.begin(), a.containers.end(), b.containers.begin(), b.containers.end(),
                    [](const Result& p, const Result& q) { return SameBytes(p, q); });
}

/// Rods as wide as the container: what matters is which lengths share one.
Job Rods(const std::vector<double>& lengths) {
  Job job = Plate(100.4, 10.1);
  job.clearance = 0;
  for (const double length : lengths) job.parts.push_back(Copies(Rectangle(length, 10), 1));
  return job;
}

TEST(NestPlates, ExchangesPiecesForFewerContainers) {
  // The longest first: 40 40, 30 30 30, 30. Two hold 40 30 30 each.
  const Job rods = Rods({40, 40, 30, 30, 30, 30});
  EXPECT_EQ(NestPlates(rods, 9, Steps(0)).containers.size(), 3u);
  const PlatesResult two = NestPlates(rods, 9, Steps(200'000'000));
  EXPECT_EQ(two.containers.size(), 2u);
  EXPECT_LT(two.steps, 200'000'000u);
  ExpectProved(rods, two);
  // Where there are but two, the same is found for what is left.
  EXPECT_EQ(NestPlates(rods, 2, Steps(0)).outcome, Outcome::kPartly);
  const PlatesResult most = NestPlates(rods, 2, Steps(200'000'000));
  EXPECT_EQ(most.outcome, Outcome::kPlaced);
  ExpectProved(rods, most);
  // Area allows two, but no two of the three longest share one.
  const Job three = Rods({60, 55, 51, 34});
  const PlatesResult searched = NestPlates(three, 9, Steps(20'000'000));
  EXPECT_EQ(searched.containers.size(), 3u);
  ExpectProved(three, searched);
}

TEST(NestPlates, EndsBeforeItsStepsWhereAreaAllowsNoFewer) {
  Job job = Plate(50, 50);
  job.gap = 1;
  job.parts = {Copies({{{{0, 0}, {20, 0}, {0, 20}}, {}}}, 6)};
  job.parts[0].turns = QuarterTurns();
  const PlatesResult result = NestPlates(job, 9, Steps(std::uint64_t{1} << 50));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_EQ(result.containers.size(), 1u);
  EXPECT_LE(result.steps, kStepsPerSecond / 2 + 1000);
  ExpectProved(job, result);
  job.parts[0].copies = 1;
  EXPECT_EQ(NestPlates(job, 9, Steps(std::uint64_t{1} << 50)).steps, 0u) << "one piece takes no search";
  // As many as fit: ends where no area for one more is left.
  job.parts = {Copies(Rectangle(24, 24), 9)};
  job.parts[0].fill = true;
  const PlatesResult full = NestPlates(job, 1, Steps(std::uint64_t{1} << 50));
  EXPECT_EQ(full.containers.at(0).placements.size(), 4u);
  EXPECT_EQ(full.outcome, Outcome::kPlaced);
}

TEST(NestPlates, PartsLieInTheContainersTheyAreBoundTo) {
  Job job = Plate(50, 50);
  job.parts = {Copies(Rectangle(20, 20), 3), Copies(Rectangle(40, 40), 1), Copies(Rectangle(10, 10), 4)};
  job.parts[0].container = 1;
  job.parts[1].container = 2;
  job.fixed = {{2, 0, 0, 0, 1}, {2, 0, 40, 40, 0}};
  const PlatesResult result = NestPlates(job, 3, Steps(10'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  ASSERT_EQ(result.containers.size(), 3u);
  ExpectProved(job, result);
  for (const Placement& placement : AllOf(result)) {
    EXPECT_EQ(placement.container, placement.part == 0 ? 1u : placement.part == 1 ? 2u : 0u);
  }
  // Bound to one that is full, whatever others there are.
  job.parts[0].copies = 5;
  const PlatesResult full = NestPlates(job, 9, Steps(1'000'000));
  EXPECT_EQ(full.outcome, Outcome::kPartly);
  ASSERT_EQ(full.missing.size(), 1u);
  EXPECT_EQ(full.missing[0].part, 0u);
  ExpectProved(job, full);
  EXPECT_EQ(NestPlates(job, 2, Steps(0)).outcome, Outcome::kBadInput);
  job.parts[1].container = -1;
  job.fixed[0].container = 5;
  EXPECT_EQ(NestPlates(job, 2, Steps(0)).outcome, Outcome::kBadInput);
  EXPECT_EQ(NestPlates(job, 0, Steps(0)).outcome, Outcome::kBadInput);
}

TEST(NestPlates, StepsRepeatTheResultWhateverEndedIt) {
  Job job = Plate(60, 60);
  job.gap = 0.5;
  std::mt19937_64 random(8);
  for (int p = 0; p < 6; ++p) {
    job.parts.push_back(Copies({{Star(random, 9, 6, 14), {}}}, 4));
    job.parts.back().turns = Turns(5);
  }
  const PlatesResult one = NestPlates(job, 9, Steps(100'000'000));
  ExpectProved(job, one);
  Limits two = Steps(100'000'000);
  two.threads = 2;
  EXPECT_TRUE(SameBytes(one, NestPlates(job, 9, two)));
  EXPECT_TRUE(SameBytes(one, NestPlates(job, 9, Steps(one.steps))));
  Limits ended = Steps(std::uint64_t{1} << 50);
  PlatesResult clock;
  for (ended.wall_seconds = 0.3; clock.steps == 0 && ended.wall_seconds < 100; ended.wall_seconds *= 2) {
    clock = NestPlates(job, 9, ended);
  }
  EXPECT_GT(clock.steps, 0u);
  EXPECT_TRUE(SameBytes(clock, NestPlates(job, 9, Steps(clock.steps))));
}

TEST(NestPlates, TellsWhatIsInTheWay) {
  Job job = Plate(50, 50);
  job.clearance = 0;
  job.parts = {Copies(Rectangle(40, 40), 1), Copies(Rectangle(5, 5), 1), Copies(Rectangle(4, 10), 1)};
  job.parts[1].copies = job.parts[2].copies = 0;
  job.fixed = {{1, 0, 22, 22}, {2, 0, 0, 0}};
  const PlatesResult result = NestPlates(job, 1, Steps(1'000'000));
  ASSERT_EQ(result.missing.size(), 1u);
  EXPECT_EQ(result.missing[0].why, Missing::Why::kNoPlace);
  EXPECT_EQ(result.missing[0].blocking_part,
            1);  // there is no place beside the middle, but one beside the rest
  EXPECT_DOUBLE_EQ(result.missing[0].free_area, 2500 - 25 - 40);
}

TEST(NestPlates, ThousandsOfPiecesEndInBoundedTime) {
  Job job = Plate(400, 400);
  job.parts = {Copies(Rectangle(4, 4), 3000), Copies(Rectangle(8, 2), 3000)};
  const PlatesResult result = NestPlates(job, 9, Steps(10'000'000));
  EXPECT_EQ(result.outcome, Outcome::kPlaced);
  EXPECT_LE(result.containers.size(), 2u);
  ExpectProved(job, result);
}

TEST(NestPlates, DifferentialRandomJobsAreProved) {
  for (int round = 0; round < test_support::Rounds(25); ++round) {
    std::mt19937_64 random(static_cast<std::uint64_t>(round));
    Job job = RandomJob(static_cast<std::uint64_t>(90'000 + round));
    job.container.strip = false;
    const std::size_t most = 1 + random() % 4;
    for (Part& part : job.parts) {
      if (random() % 4 == 0) part.container = static_cast<int>(random() % most);
    }
    for (Placement& fixed : job.fixed) fixed.container = random() % most;
    const PlatesResult result = NestPlates(job, most, Steps(2'000'000));
    SCOPED_TRACE(round);
    ASSERT_TRUE(result.outcome == Outcome::kPlaced || result.outcome == Outcome::kPartly) << result.reason;
    EXPECT_LE(result.containers.size(), most);
    ExpectProved(job, result);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(CheckPlacements, FindsEachFault) {
  Job job = Plate(100, 100);
  job.gap = 2;
  job.container.margin = 5;
  job.parts = {Copies(Rectangle(20, 20), 2)};
  const auto only = [&](const std::vector<Placement>& placements) {
    const auto faults = CheckPlacements(job, placements, {}, 1e-6);
    EXPECT_EQ(faults.size(), 1u);
    return faults.empty() ? Fault{} : faults[0];
  };
  EXPECT_TRUE(CheckPlacements(job, {{0, 0, 5, 5}, {0, 0, 27, 5}}, {}, 1e-6).empty());
  EXPECT_EQ(only({{0, 0, 5, 5}}).what, Fault::What::kCopies);
  EXPECT_EQ(only({{0, 1, 5, 5}, {0, 0, 27, 5}}).what, Fault::What::kNumber);
  EXPECT_EQ(only({{0, 0, 5, 5}, {0, 0, 27, 75.5}}).what, Fault::What::kWall);
  const Fault near = only({{0, 0, 5, 5}, {0, 0, 26.5, 5}});
  EXPECT_EQ(near.what, Fault::What::kGap);
  EXPECT_NEAR(near.distance, 1.5, 1e-9);
  EXPECT_LT(only({{0, 0, 5, 5}, {0, 0, 20, 5}}).distance, -1);
  EXPECT_LT(only({{0, 0, 5, 5}, {0, 0, 5, 5}}).distance, -1);  // one exactly over the other
  // Each in a container of its own.
  EXPECT_TRUE(CheckPlacements(job, {{0, 0, 5, 5, 0}, {0, 0, 5, 5, 1}}, {}, 1e-6).empty());
  job.parts[0].container = 1;
  EXPECT_EQ(only({{0, 0, 5, 5, 0}, {0, 0, 5, 5, 1}}).what, Fault::What::kContainer);
  job.parts[0].container = -1;
  // Corner to corner: 3 across and 4 up.
  job.gap = 5.1;
  EXPECT_NEAR(only({{0, 0, 5, 5}, {0, 0, 28, 29}}).distance, 5, 1e-9);
}

}  // namespace
