/// Fast forms of the mesh operations beside their literal forms, which are the oracles of the tests. Those of
/// the import and of the placement stand in the benchmarks of these. Argument: facets, in thousands.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "geometry/ctl_packing.h"
#include "tests/geometry/literal_mesh.h"
#include "tests/geometry/literal_shell.h"
#include "tests/support/meshes.h"

namespace {

CTL SphereOfThousands(int64_t thousands) {
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(thousands) * 1000 / 4)) + 1;
  return test_support::Sphere(50, 2 * stacks, stacks);
}

/// With the facets in any order, as a sort expects them.
CTL ShuffledSphere(int64_t thousands) {
  CTL sphere = SphereOfThousands(thousands);
  std::mt19937 random(1);
  std::shuffle(sphere.triangles(), sphere.triangles() + sphere.num_triangles(), random);
  return sphere;
}

/// Each iteration gets the mesh as it was made.
template <class Work>
void OnCopies(benchmark::State& state, CTL mesh, Work work) {
  for (auto _ : state) {
    state.PauseTiming();
    CTL copy;
    mesh.copy(&copy);
    state.ResumeTiming();
    work(copy);
  }
}

void Sort(benchmark::State& state) {
  OnCopies(state, ShuffledSphere(state.range(0)), [](CTL& mesh) { mesh.z_sort_ascending(); });
}
void SortLiterally(benchmark::State& state) {
  OnCopies(state, ShuffledSphere(state.range(0)), [](CTL& mesh) { literal::SortByHeight(mesh, true); });
}

void Snap(benchmark::State& state) {
  OnCopies(state, SphereOfThousands(state.range(0)), [](CTL& mesh) { mesh.truncateVertices(); });
}
void SnapLiterally(benchmark::State& state) {
  OnCopies(state, SphereOfThousands(state.range(0)), [](CTL& mesh) { literal::Truncate(mesh); });
}

void Pack(benchmark::State& state) {
  const CTL mesh = SphereOfThousands(state.range(0));
  const std::size_t count = static_cast<std::size_t>(mesh.num_triangles());
  const int bits = trq::detail::PackedBits(mesh.num_vertices());
  std::vector<uint32_t> words(static_cast<std::size_t>(trq::detail::PackedWords(bits, 4 * count)));
  for (auto _ : state) {
    trq::detail::PackTriangles(mesh.triangles(), count, bits, words.data());
    benchmark::DoNotOptimize(words.data());
  }
}
void PackLiterally(benchmark::State& state) {
  OnCopies(state, SphereOfThousands(state.range(0)), [](CTL& mesh) {
    BYTE_PACKER packer(&mesh.nth(0)[0], mesh.num_vertices());
    packer.pack(4 * mesh.num_triangles());
    benchmark::DoNotOptimize(mesh.triangles());
  });
}

/// One shell is made of the mesh, with validated pushes.
CTL MeshForShell(int64_t thousands) {
  CTL sphere = SphereOfThousands(thousands);
  sphere.Calculate_normals();
  sphere.offset_limit = 1;
  sphere.validate_offsets = 1;
  return sphere;
}
void Shell(benchmark::State& state) {
  CTL mesh = MeshForShell(state.range(0));
  for (auto _ : state) mesh.offset_ctl();
}
void ShellLiterally(benchmark::State& state) {
  CTL mesh = MeshForShell(state.range(0));
  for (auto _ : state) {
    int shortened = 0;
    benchmark::DoNotOptimize(literal::Shell(mesh).Make(shortened).data());
  }
}

BENCHMARK(Sort)->Name("sort")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(SortLiterally)->Name("sort/literal")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(Snap)->Name("snap")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(SnapLiterally)->Name("snap/literal")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(Pack)->Name("pack")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(PackLiterally)->Name("pack/literal")->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(Shell)->Name("shell")->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(ShellLiterally)->Name("shell/literal")->Arg(20)->Unit(benchmark::kMillisecond);

}  // namespace
