/// The shell offset with every push validated, beside the same pushes unvalidated: time for the whole mesh
/// and for a vertex, which is not to grow with the mesh. Argument: facets, in thousands.
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

CTL Ball(int64_t thousands) {
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(thousands) * 1000 / 4)) + 1;
  CTL sphere = test_support::Sphere(50, 2 * stacks, stacks);
  sphere.Calculate_normals();
  return sphere;
}

void Offset(benchmark::State& state, CTL mesh, int validate) {
  mesh.offset_limit = 1;
  mesh.validate_offsets = validate;
  for (auto _ : state) {
    mesh.offset_ctl();
    benchmark::DoNotOptimize(mesh.shell_vertices_.get());
  }
  state.counters["facets"] = mesh.num_triangles();
  state.counters["s/vertex"] = benchmark::Counter(
      mesh.num_vertices(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Pushes that are shortened: the wall is 0.1 thick.
void ThinWall(benchmark::State& state) { Offset(state, HollowBall(state.range(0)), 1); }
void ThinWallUnvalidated(benchmark::State& state) { Offset(state, HollowBall(state.range(0)), 0); }
void Sphere(benchmark::State& state) { Offset(state, Ball(state.range(0)), 1); }
void SphereUnvalidated(benchmark::State& state) { Offset(state, Ball(state.range(0)), 0); }

BENCHMARK(Sphere)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(SphereUnvalidated)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(ThinWall)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(ThinWallUnvalidated)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
