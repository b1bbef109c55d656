// STL writing beside fwrite of the same bytes and beside fprintf of the same text.
#include <benchmark/benchmark.h>

#include <functional>

#include "benchmarks/peak_memory.h"
#include "benchmarks/stl_meshes.h"
#include "trq/geometry.h"

namespace {

constexpr int kFacets = 1000000;

CTL& Mesh() { return bench::LoadedSphere(kFacets); }

struct Matrix {
  // A turn about z and a move, as a placed part has them.
  float m[4][4] = {{0.8f, -0.6f, 0, 10}, {0.6f, 0.8f, 0, 20}, {0, 0, 1, 5}, {0, 0, 0, 1}};
};

void WriteBinary(const char* path) {
  Matrix matrix;
  if (Mesh().SaveCTLasBinarySTL(path, matrix.m, 0, 1) != 0) std::abort();
}

void WriteModified(const char* path) {
  Matrix matrix;
  std::FILE* const f = std::fopen(path, "wb");
  Mesh().SaveSTLHeader(f, Mesh().num_triangles());
  Mesh().SaveModifiedCTLDataAsSTL(f, 0, matrix.m);
  std::fclose(f);
}

void WriteAscii(const char* path) {
  Matrix matrix;
  if (Mesh().SaveCTLasAsciiSTL(path, matrix.m, 0) != 0) std::abort();
}

std::string Bytes(void (*write)(const char*)) {
  const bench::TemporaryFile file("export-bytes");
  write(file.path());
  std::FILE* const f = std::fopen(file.path(), "rb");
  std::string bytes(std::filesystem::file_size(file.path()), '\0');
  if (std::fread(bytes.data(), 1, bytes.size(), f) != bytes.size()) std::abort();
  std::fclose(f);
  return bytes;
}

void WriteSameBytes(const char* path, const std::string& bytes) {
  std::FILE* const f = std::fopen(path, "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

/// The text by fprintf, the corners placed by one product each, as the plainest writer has it.
void PrintAscii(const char* path) {
  Matrix matrix;
  CTL& mesh = Mesh();
  std::FILE* const f = std::fopen(path, "wb");
  std::fputs("solid Kestrabin STL\n", f);
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const VECTOR& n = mesh.normals()[i];
    float in[4][1] = {{n.x}, {n.y}, {n.z}, {0}};
    float out[4][1];
    slc::MatVecMult(out, matrix.m, in);
    std::fprintf(f, "  facet normal %e %e %e\n    outer loop\n", static_cast<double>(out[0][0]),
                 static_cast<double>(out[1][0]), static_cast<double>(out[2][0]));
    for (int k = 0; k < 3; ++k) {
      const PbVec3f& p = mesh.vertices()[mesh.nth(i)[k]];
      float corner[4][1] = {{p[0]}, {p[1]}, {p[2]}, {1}};
      slc::MatVecMult(out, matrix.m, corner);
      std::fprintf(f, "      vertex   %e %e %e\n", static_cast<double>(out[0][0]),
                   static_cast<double>(out[1][0]), static_cast<double>(out[2][0]));
    }
    std::fputs("    endloop\n  endfacet\n", f);
  }
  std::fputs("endsolid\n", f);
  std::fclose(f);
}

void Run(benchmark::State& state, const std::function<void(const char*)>& write) {
  Mesh();
  const bench::TemporaryFile file("export");
  const double peak = bench::PeakBytes([&] { write(file.path()); });
  for (auto _ : state) write(file.path());
  const double facets = Mesh().num_triangles();
  state.SetItemsProcessed(state.iterations() * Mesh().num_triangles());
  state.counters["ns_per_facet"] =
      benchmark::Counter(facets * static_cast<double>(state.iterations()) * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_facet"] = peak / facets;
}

void BM_fwrite_binary(benchmark::State& state) {
  const std::string bytes = Bytes(WriteBinary);
  Run(state, [&](const char* path) { WriteSameBytes(path, bytes); });
}
void BM_binary(benchmark::State& state) { Run(state, WriteBinary); }
void BM_modified(benchmark::State& state) { Run(state, WriteModified); }
void BM_fwrite_ascii(benchmark::State& state) {
  const std::string bytes = Bytes(WriteAscii);
  Run(state, [&](const char* path) { WriteSameBytes(path, bytes); });
}
void BM_ascii(benchmark::State& state) { Run(state, WriteAscii); }
void BM_fprintf_ascii(benchmark::State& state) { Run(state, PrintAscii); }

BENCHMARK(BM_fwrite_binary)->Name("fwrite/binary")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_binary)->Name("save/binary")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_modified)->Name("save/modified")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_fwrite_ascii)->Name("fwrite/ascii")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ascii)->Name("save/ascii")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_fprintf_ascii)->Name("fprintf/ascii")->Unit(benchmark::kMillisecond);

}  // namespace
