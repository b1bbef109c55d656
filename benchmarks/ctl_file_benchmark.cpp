/// CTL files: reading and writing, against plain reading and writing of the same bytes in the same run.
/// Argument: facets of the sphere, in thousands.
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/fresh_memory.h"
#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"

namespace {

CTL SphereOfThousands(int64_t thousands) {
  // 2 * slices * (stacks - 1) facets with twice as many slices as stacks.
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(thousands) * 1000 / 4)) + 1;
  return test_support::Sphere(50, 2 * stacks, stacks, {60, 60, 60});
}

float unit_matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

void CountFacets(benchmark::State& state, int64_t facets, std::size_t bytes) {
  state.counters["facets/s"] =
      benchmark::Counter(static_cast<double>(facets), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["bytes/facet"] = static_cast<double>(bytes) / static_cast<double>(facets);
}

void WriteCtl(benchmark::State& state) {
  const test_support::TempDir folder;
  const CString path(folder.File("sphere.ctl"));
  CTL mesh = SphereOfThousands(state.range(0));
  for (auto _ : state) {
    if (mesh.SaveCTLModel(path, unit_matrix, 0) != trq::mesh_io::kDone) state.SkipWithError("not written");
  }
  CountFacets(state, mesh.num_triangles(), std::filesystem::file_size(path.str()));
}

void ReadCtl(benchmark::State& state) {
  bench::UseFreshMemory();
  const test_support::TempDir folder;
  const std::string path = folder.File("sphere.ctl");
  CTL source = SphereOfThousands(state.range(0));
  source.SaveCTLModel(CString(path), unit_matrix, 0);
  const int facets = source.num_triangles();
  source.clear();
  for (auto _ : state) {
    CTL mesh;
    if (mesh.file_read(path.c_str()) != trq::component_io::kOk) state.SkipWithError("not read");
    benchmark::DoNotOptimize(mesh.triangles());
  }
  CountFacets(state, facets, std::filesystem::file_size(path));
}

// The bytes of the same file and the number of its facets.
std::pair<std::string, int> CtlBytes(int64_t thousands) {
  const test_support::TempDir folder;
  CTL mesh = SphereOfThousands(thousands);
  mesh.SaveCTLModel(CString(folder.File("sphere.ctl")), unit_matrix, 0);
  return {folder.Read("sphere.ctl"), mesh.num_triangles()};
}

void WriteSameBytes(benchmark::State& state) {
  const test_support::TempDir folder;
  const std::string path = folder.File("plain");
  const auto [bytes, facets] = CtlBytes(state.range(0));
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) state.SkipWithError("not written");
    std::fclose(f);
  }
  CountFacets(state, facets, bytes.size());
}

void ReadSameBytes(benchmark::State& state) {
  bench::UseFreshMemory();
  const test_support::TempDir folder;
  const auto [bytes, facets] = CtlBytes(state.range(0));
  const std::string path = folder.Write("plain", bytes);
  for (auto _ : state) {
    const std::unique_ptr<char[]> memory(new char[bytes.size()]);
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (std::fread(memory.get(), 1, bytes.size(), f) != bytes.size()) state.SkipWithError("not read");
    std::fclose(f);
    benchmark::DoNotOptimize(memory.get());
  }
  CountFacets(state, facets, bytes.size());
}

void Snap(benchmark::State& state) {
  CTL mesh = SphereOfThousands(state.range(0));
  for (auto _ : state) {
    mesh.truncateVertices();
    benchmark::DoNotOptimize(mesh.vertices());
  }
  CountFacets(state, mesh.num_triangles(), 0);
}

BENCHMARK(WriteSameBytes)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteCtl)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadSameBytes)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadCtl)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(Snap)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
