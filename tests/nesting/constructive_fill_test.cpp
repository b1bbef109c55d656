#include "nesting/constructive_fill.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/nesting/nesting_jobs.h"
#include "trqprep/nesting.h"

namespace {

using namespace trqprep::nesting;
using namespace nesting_jobs;

// Forty different rectangles, twice each, and a plate that has room for about half of them.
Job Mixed() {
  Job job;
  job.container.length = 100;
  job.container.width = 80;
  job.gap = 1;
  for (int k = 0; k < 80; ++k) {
    job.parts.push_back(Copies(Rectangle(6 + 0.25 * (k % 40), 14 - 0.2 * (k % 40)), 1));
    job.parts.back().turns = QuarterTurns();
  }
  return job;
}

std::vector<Placement> Filled(const Job& job, FillState& state) {
  const Model model(job);
  std::vector<std::size_t> kinds, placed;
  for (std::size_t k = 0; k < job.parts.size(); ++k) kinds.push_back(k);
  std::vector<Spot> spots;
  FillFromTheLeft(model, kinds, spots, placed, state, [] { return false; });
  EXPECT_EQ(spots.size(), placed.size());
  std::vector<Placement> placements;
  for (const Spot& spot : spots) {
    const Shape& shape = model.shapes[spot.shape];
    const std::size_t part = model.kind_of_shape[spot.shape];
    placements.push_back({part, spot.shape - model.kinds[part].first_shape, spot.x - shape.corner.x,
                          spot.y - shape.corner.y, 0});
  }
  return placements;
}

// Those that lie nearer than they may, or outside.
std::size_t FaultsOf(Job job, const std::vector<Placement>& placements) {
  std::set<std::size_t> there;
  for (const Placement& placement : placements) there.insert(placement.part);
  for (std::size_t k = 0; k < job.parts.size(); ++k) job.parts[k].copies = there.count(k) != 0 ? 1 : 0;
  return CheckPlacements(job, placements, {}, 1e-6).size();
}

TEST(ConstructiveFill, KindsAreAlikeThatHaveTheSameOutlinesTurnsAndGap) {
  Job job = Mixed();
  job.parts[41].gap = 3;
  job.parts[42].turns.pop_back();
  job.parts[43].outline[0].outer[2].x += 1e-9;
  const Model model(job);
  for (std::size_t k = 0; k < 40; ++k) EXPECT_EQ(model.kinds[k].like, k);
  for (std::size_t k = 40; k < 80; ++k) {
    const bool own = k >= 41 && k <= 43;
    EXPECT_EQ(model.kinds[k].like, own ? k : k - 40) << k;
    EXPECT_EQ(model.FirstLike(model.kinds[k].first_shape + 2), model.kinds[own ? k : k - 40].first_shape + 2);
  }
}

// What was found out for one container serves the next.
TEST(ConstructiveFill, TheSameStateFillsTheNextContainerInTheSameWay) {
  const Job job = Mixed();
  FillState once(80), twice(80);
  const auto first = Filled(job, once);
  Filled(job, twice);
  const auto again = Filled(job, twice);
  ASSERT_EQ(first.size(), again.size());
  for (std::size_t k = 0; k < first.size(); ++k) {
    EXPECT_EQ(first[k].part, again[k].part);
    EXPECT_EQ(first[k].turn, again[k].turn);
    EXPECT_EQ(first[k].x, again[k].x);
    EXPECT_EQ(first[k].y, again[k].y);
  }
}

// Less far is looked then, and everything has room all the same.
TEST(ConstructiveFill, WithoutBudgetPiecesLieApartAndInside) {
  const Job job = Mixed();
  FillState state(80), spent(80);
  spent.Take(std::size_t{1} << 62);
  ASSERT_TRUE(spent.spent());
  EXPECT_FALSE(state.spent());
  const auto usual = Filled(job, state), few = Filled(job, spent);
  EXPECT_FALSE(state.spent());
  EXPECT_EQ(FaultsOf(job, usual), 0u);
  EXPECT_EQ(FaultsOf(job, few), 0u);
  EXPECT_GT(few.size(), 20u);
  EXPECT_GE(usual.size(), few.size());
  EXPECT_LT(usual.size(), 80u);
}

}  // namespace
