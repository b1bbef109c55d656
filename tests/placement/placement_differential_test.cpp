/// The fast placement against the literal one: same results, same rand() draws, same printed lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/placement/literal_grid_eval.h"
#include "tests/placement/placement_probe.h"
#include "tests/support/meshes.h"
#include "tests/support/rounds.h"
#include "trq/placement.h"

namespace {

using Random = std::mt19937;

int Between(Random& random, int low, int high) {
  return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
}

bool Same(const BitGrid& a, const BitGrid& b) {
  return std::equal(std::begin(a.rows), std::end(a.rows), std::begin(b.rows));
}

// Of one kind of shape, at most `size` cells each way.
BitGrid RandomFootprint(Random& random, int kind, int size) {
  BitGrid grid;
  const int width = Between(random, 1, size), height = Between(random, 1, size);
  switch (kind) {
    case 0:  // a rectangle
      for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y) grid.set(x, y);
      break;
    case 1: {  // a turned bar
      const double angle = Between(random, 0, 359) * 0.0174532925, c = std::cos(angle), s = std::sin(angle);
      const double half_width = width / 2.0, half_height = height / 4.0;
      for (int x = 0; x < size; ++x)
        for (int y = 0; y < size; ++y) {
          const double u = x - size / 2.0, v = y - size / 2.0;
          if (std::abs(u * c + v * s) <= half_width && std::abs(v * c - u * s) <= half_height) grid.set(x, y);
        }
      break;
    }
    case 2: {  // scattered cells
      const int density = Between(random, 1, 9);
      for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
          if (Between(random, 0, 9) < density) grid.set(x, y);
      break;
    }
    case 3:  // a frame
      for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
          if (x == 0 || y == 0 || x == width - 1 || y == height - 1) grid.set(x, y);
      break;
    case 4:  // a comb
      for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
          if (y == 0 || x % 2 == 0) grid.set(x, y);
      break;
    case 5:  // a lattice
      for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
          if ((x + y) % 2 == 0) grid.set(x, y);
      break;
    case 6:  // a diagonal
      for (int i = 0; i < width; ++i) grid.set(i, i);
      break;
    case 7:  // far from the origin
      grid.set(Between(random, 0, 31), Between(random, 0, 31));
      grid.set(Between(random, 0, 31), Between(random, 0, 31));
      break;
    case 8:  // nothing
      break;
    default:  // any words at all
      for (uint32_t& row : grid.rows) row = static_cast<uint32_t>(random() & random() & random());
  }
  return grid;
}

struct Job {
  struct Part {
    std::vector<BitGrid> footprints;
    int copies;
    uint32_t invalid;
  };
  int rotations;
  std::vector<Part> parts;
};

// Runs both searches from the same seed and compares all that can be seen.
void ExpectSameSearch(const Job& job, unsigned seed) {
  GridEval fast(31, 31, 10, job.rotations);
  LiteralGridEval literal(31, 31, 10, job.rotations);
  for (const Job::Part& part : job.parts) {
    PlacementProbe::add_footprints(fast, part.footprints, part.copies, part.invalid);
    literal.add_footprints(part.footprints, part.copies, part.invalid);
  }
  std::srand(seed);
  const int fast_result = fast.find_placement();
  const int fast_next[2] = {std::rand(), std::rand()};
  std::srand(seed);
  const int literal_result = literal.find_placement();
  const int literal_next[2] = {std::rand(), std::rand()};
  ASSERT_EQ(fast_result, literal_result);
  ASSERT_EQ(fast_next[0], literal_next[0]);
  ASSERT_EQ(fast_next[1], literal_next[1]);
  for (int c = 0; c < 101; ++c)
    for (int k = 0; k < 100; ++k) {
      const GridEval::Answer::Place& place = PlacementProbe::place(fast, c, k);
      const GridEval::Answer::Place& expected = literal.answer.at(c, k);
      ASSERT_EQ(place.x, expected.x) << c << " " << k;
      ASSERT_EQ(place.y, expected.y) << c << " " << k;
      ASSERT_EQ(place.rotation, expected.rotation) << c << " " << k;
    }
  for (int c = 0; c < static_cast<int>(job.parts.size()); ++c)
    for (int r = 0; r < job.rotations; ++r)
      ASSERT_TRUE(
          Same(PlacementProbe::footprint(fast, c, r), literal.footprints[LiteralGridEval::slot(c, r)]));
}

Job RandomJob(Random& random, int most_parts, int most_copies, int most_rotations, int size) {
  Job job;
  job.rotations = Between(random, 1, most_rotations);
  const int parts = Between(random, 1, most_parts);
  for (int p = 0; p < parts; ++p) {
    Job::Part part;
    const int kind = Between(random, 0, 9);
    for (int r = 0; r < job.rotations; ++r) {
      // Equal footprints among the rotations, as symmetrical parts have them.
      if (r > 0 && Between(random, 0, 3) == 0)
        part.footprints.push_back(part.footprints[static_cast<std::size_t>(Between(random, 0, r - 1))]);
      else
        part.footprints.push_back(
            RandomFootprint(random, Between(random, 0, 4) ? kind : Between(random, 0, 9), size));
    }
    part.copies = Between(random, 0, most_copies);
    part.invalid = Between(random, 0, 3) ? 0 : static_cast<uint32_t>(random());
    job.parts.push_back(part);
  }
  return job;
}

TEST(PlacementDifferential, RandomJobsOfFewPieces) {
  Random random(1);
  for (int round = 0; round < test_support::Rounds(60); ++round) {
    SCOPED_TRACE(round);
    ExpectSameSearch(RandomJob(random, 4, 4, 24, Between(random, 1, 32)), static_cast<unsigned>(round));
    if (HasFatalFailure()) return;
  }
}

TEST(PlacementDifferential, RandomJobsOfManySmallPieces) {
  Random random(2);
  for (int round = 0; round < test_support::Rounds(6); ++round) {
    SCOPED_TRACE(round);
    ExpectSameSearch(RandomJob(random, 10, 12, 6, Between(random, 2, 7)), static_cast<unsigned>(round));
    if (HasFatalFailure()) return;
  }
}

TEST(PlacementDifferential, CopiesOfOnePartUntilTheVatIsFull) {
  Random random(3);
  for (int round = 0; round < test_support::Rounds(8); ++round) {
    SCOPED_TRACE(round);
    Job job = RandomJob(random, 1, 1, 4, Between(random, 4, 9));
    job.parts[0].copies = Between(random, 10, 60);
    ExpectSameSearch(job, static_cast<unsigned>(round));
    if (HasFatalFailure()) return;
  }
}

TEST(PlacementDifferential, ShapesAtTheEdgeOfTheVat) {
  // Every extent from one cell to all 32, along either axis, alone and beside a blocker.
  for (int extent = 0; extent < 32; extent += extent < 28 ? 3 : 1)
    for (int axis = 0; axis < 2; ++axis) {
      SCOPED_TRACE(extent * 2 + axis);
      BitGrid bar, pillar;
      for (int i = 0; i <= extent; ++i) bar.set(axis ? 0 : i, axis ? i : 0);
      for (int i = 0; i < 31; ++i) pillar.set(15, i);
      ExpectSameSearch({1, {{{bar}, 3, 0}}}, 1);
      ExpectSameSearch({2, {{{pillar}, 1, 0}, {{bar, pillar}, 2, 0}}}, 2);
      if (HasFatalFailure()) return;
    }
}

TEST(PlacementDifferential, JobsWithoutPiecesComponentsOrRotations) {
  BitGrid cell;
  cell.set(0, 0);
  ExpectSameSearch({1, {}}, 1);
  ExpectSameSearch({3, {{{cell}, 0, 0}}}, 1);
  ExpectSameSearch({3, {{{cell}, 2, 7}}}, 1);
  ExpectSameSearch({2, {{{cell}, 100, 0}, {{cell}, 30, 0}}}, 1);
  ExpectSameSearch({0, {{{cell}, 1, 0}}}, 1);
}

// ------------------------------------------------------------------------------------------------------------
// Rasterising

std::string Printed(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

void ExpectSameAdd(const std::vector<test_support::Point>& vertices,
                   const std::vector<test_support::Indices>& triangles, float vat_x, float vat_y,
                   int rotations, bool wrong_box = false) {
  GridEval fast(vat_x, vat_y, 100, rotations);
  LiteralGridEval literal(vat_x, vat_y, 100, rotations);
  CTL fast_mesh = test_support::MakeMesh(vertices, triangles);
  CTL literal_mesh = test_support::MakeMesh(vertices, triangles);
  if (wrong_box) {
    // Meshes whose box is out of date are rasterised once although they reach beyond the vat.
    for (CTL* mesh : {&fast_mesh, &literal_mesh}) {
      mesh->extents_valid = 1;
      std::fill(std::begin(mesh->max), std::end(mesh->max), 1.0F);
    }
  }
  const std::string fast_lines = Printed([&] { fast.add(fast_mesh, 3); });
  const std::string literal_lines = Printed([&] { literal.add(literal_mesh, 3); });
  ASSERT_EQ(fast_lines, literal_lines);
  ASSERT_EQ(PlacementProbe::too_big(fast), literal.too_big);
  ASSERT_EQ(PlacementProbe::num_components(fast), literal.components);
  for (int r = 0; r < rotations; ++r) {
    ASSERT_EQ(PlacementProbe::valid(fast, 0, r), literal.valid[LiteralGridEval::slot(0, r)]) << r;
    ASSERT_TRUE(Same(PlacementProbe::footprint(fast, 0, r), literal.footprints[LiteralGridEval::slot(0, r)]))
        << r;
  }
  for (std::size_t i = 0; i < vertices.size(); ++i)
    for (int k = 0; k < 3; ++k) {
      const float a = fast_mesh.vertices()[i][k], b = literal_mesh.vertices()[i][k];
      ASSERT_TRUE(a == b || (std::isnan(a) && std::isnan(b))) << i << " " << k;
    }
}

// Facets of random corners; now and then a corner off the vat, lost, far away or unnamed.
void RandomMesh(Random& random, float width, bool wild, std::vector<test_support::Point>& vertices,
                std::vector<test_support::Indices>& triangles) {
  const auto coordinate = [&](float end) { return static_cast<float>(random() % 100001) * 1e-5F * end; };
  const int vertex_count = Between(random, 3, 40);
  vertices.assign(1, {0, 0, 0});
  for (int i = 1; i < vertex_count; ++i) {
    vertices.push_back({coordinate(width), coordinate(width * 0.6F), coordinate(20)});
    // On cell edges of a vat of 31.
    if (Between(random, 0, 3) == 0)
      for (float& value : vertices.back()) value = std::round(value);
    if (wild && Between(random, 0, 19) == 0) {
      const float values[] = {-3.5F,    std::numeric_limits<float>::quiet_NaN(),
                              -0.25F,   -std::numeric_limits<float>::infinity(),
                              -1e-7F,   -70,
                              -2000000, -0.0F,
                              -1e30F,   std::numeric_limits<float>::denorm_min()};
      vertices.back()[random() % 2] = values[random() % std::size(values)];
    }
  }
  triangles.clear();
  const int triangle_count = Between(random, 0, 80);
  for (int i = 0; i < triangle_count; ++i) {
    test_support::Indices triangle;
    const int near = Between(random, 0, vertex_count - 1);
    for (int& index : triangle) index = std::clamp(near + Between(random, -2, 2), 0, vertex_count - 1);
    if (wild && Between(random, 0, 19) == 0) {
      const int values[] = {-1, vertex_count, vertex_count + 1, INT_MAX, INT_MIN};
      triangle[random() % 3] = values[random() % std::size(values)];
    }
    triangles.push_back(triangle);
  }
}

TEST(FootprintDifferential, RandomMeshesOnTheVat) {
  Random random(4);
  for (int round = 0; round < test_support::Rounds(200); ++round) {
    SCOPED_TRACE(round);
    std::vector<test_support::Point> vertices;
    std::vector<test_support::Indices> triangles;
    RandomMesh(random, static_cast<float>(Between(random, 1, 40)), false, vertices, triangles);
    ExpectSameAdd(vertices, triangles, 31, static_cast<float>(Between(random, 10, 60)),
                  Between(random, 0, 24));
    if (HasFatalFailure()) return;
  }
}

TEST(FootprintDifferential, RandomMeshesWithLostAndFarCorners) {
  Random random(5);
  for (int round = 0; round < test_support::Rounds(200); ++round) {
    SCOPED_TRACE(round);
    std::vector<test_support::Point> vertices;
    std::vector<test_support::Indices> triangles;
    RandomMesh(random, static_cast<float>(Between(random, 1, 40)), true, vertices, triangles);
    ExpectSameAdd(vertices, triangles, 31, static_cast<float>(Between(random, 10, 60)), Between(random, 1, 3),
                  Between(random, 0, 1) == 1);
    if (HasFatalFailure()) return;
  }
}

TEST(FootprintDifferential, SpheresInEveryRotation) {
  for (float radius : {0.5F, 3.0F, 15.4F}) {
    const CTL sphere = test_support::Sphere(radius, 24, 16, {radius, radius, radius});
    for (int rotations : {1, 7, 24})
      ExpectSameAdd(test_support::VerticesOf(sphere), test_support::TrianglesOf(sphere), 31, 31, rotations);
  }
}

TEST(FootprintDifferential, SenselessVats) {
  const CTL box = test_support::Box({3, 2, 1});
  const float infinity = std::numeric_limits<float>::infinity();
  for (float side : {0.0F, -10.0F, -1e-6F, std::numeric_limits<float>::quiet_NaN(), infinity, 3e38F, 1e-3F})
    ExpectSameAdd(test_support::VerticesOf(box), test_support::TrianglesOf(box), side, 31, 2);
}

}  // namespace
