/// The shell offset with every push validated: time for the whole mesh and for a vertex, which is not to grow
/// with the mesh. Argument: facets, in thousands.
#include <benchmark/benchmark.h>

#include <cmath>
#include <utility>

#include "tests/support/meshes.h"

namespace {

/// A closed hollow ball: an outer sphere and an inner one facing the cavity, with about as many facets in
/// all.
CTL HollowBall(int64_t thousands) {
  // Each sphere has 2 * slices * (stacks - 1) facets, with twice as many slices as stacks.
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(thousands) * 1000 / 8)) + 1;
  CTL ball = test_support::Sphere(50, 2 * stacks, stacks);
  CTL cavity = test_support::Sphere(49.9f, 2 * stacks, stacks);
  for (int i = 0; i < cavity.num_triangles(); ++i) std::swap(cavity.nth(i)[0], cavity.nth(i)[1]);
  ball.combine(&cavity);
  ball.Calculate_normals();
  return ball;
}

void Offset(benchmark::State& state, CTL mesh, float limit) {
  mesh.offset_limit = limit;
  mesh.validate_offsets = 1;
  for (auto _ : state) {
    mesh.offset_ctl();
    benchmark::DoNotOptimize(mesh.shell_vertices_.get());
  }
  state.counters["facets"] = mesh.num_triangles();
  state.counters["s/vertex"] = benchmark::Counter(
      mesh.num_vertices(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Pushes that are shortened: the wall is 0.1 thick.
void OffsetThinWall(benchmark::State& state) { Offset(state, HollowBall(state.range(0)), 1); }

void OffsetSphere(benchmark::State& state) {
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(state.range(0)) * 1000 / 4)) + 1;
  CTL sphere = test_support::Sphere(50, 2 * stacks, stacks);
  sphere.Calculate_normals();
  Offset(state, std::move(sphere), 1);
}

BENCHMARK(OffsetSphere)->Arg(10)->Arg(100)->Arg(300)->Unit(benchmark::kMillisecond);
BENCHMARK(OffsetThinWall)->Arg(10)->Arg(100)->Arg(300)->Unit(benchmark::kMillisecond);

}  // namespace
