/// SLC files of 100 MB: loading and saving, each beside a plain buffered read or write of the same bytes.
/// Argument: vertices a boundary.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/fresh_memory.h"
#include "tests/support/temp_dir.h"
#include "trq/slice_contours.h"

namespace {

constexpr std::size_t kFileSize = 100'000'000;
constexpr int kLayers = 1000;
constexpr std::size_t kPiece = 1 << 16;

void FillModel(slc& model, int64_t vertices) {
  model.table_count = 1;
  model.table.push_back({0, 0.1f, 0, 0});
  const std::size_t boundary_size = 8 + 8 * static_cast<std::size_t>(vertices);
  const std::size_t boundaries = kFileSize / kLayers / boundary_size;
  for (int i = 0; i < kLayers; ++i) {
    model.layers.emplace_back(0.1f * static_cast<float>(i));
    for (std::size_t b = 0; b < boundaries; ++b) {
      float* const points = model.layers.back().AddBoundary(static_cast<uint32_t>(vertices), 0);
      for (int64_t k = 0; k < 2 * vertices; ++k) points[k] = static_cast<float>(k);
    }
  }
  model.layers.push_back(trq::SlcLayer::Terminator(0.1f * kLayers));
}

bool ReadPlainly(const std::string& path, char* memory, std::size_t size) {
  std::FILE* const f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  std::size_t done = 0;
  for (std::size_t got = 1; got > 0; done += got) {
    got = std::fread(memory + done, 1, std::min(kPiece, size - done), f);
  }
  std::fclose(f);
  benchmark::DoNotOptimize(memory);
  return done == size;
}

bool WritePlainly(const std::string& path, const std::string& bytes) {
  std::FILE* const f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  std::size_t done = 0;
  for (std::size_t put = 1; put > 0; done += put) {
    put = std::fwrite(bytes.data() + done, 1, std::min(kPiece, bytes.size() - done), f);
  }
  return std::fclose(f) == 0 && done == bytes.size();
}

/// A model and its file, kept until another one is needed.
class Sample {
 public:
  static Sample& Of(int64_t vertices) {
    static std::unique_ptr<Sample> kept;
    if (!kept || kept->vertices_ != vertices) {
      kept.reset();
      kept.reset(new Sample(vertices));
    }
    return *kept;
  }

  slc model;
  std::string bytes() { return folder.Read("part.slc"); }
  std::string path() const { return folder.File("part.slc"); }
  const test_support::TempDir folder;

 private:
  explicit Sample(int64_t vertices) : vertices_(vertices) {
    FillModel(model, vertices);
    model.SaveSLCModel(path().c_str());
  }
  const int64_t vertices_;
};

// Loading takes small blocks, which the allocator may keep or give back, depending on what ran before: here
// they are given back each time, so that both begin with fresh memory.
void LoadSlc(benchmark::State& state) {
  const std::string path = Sample::Of(state.range(0)).path();
  for (auto _ : state) {
    {
      slc model(path.c_str());
      if (model.loadSlc() != trq::slc_file::kOk) state.SkipWithError("not loaded");
    }
    state.PauseTiming();
    malloc_trim(0);
    state.ResumeTiming();
  }
}

void ReadSameBytes(benchmark::State& state) {
  Sample& sample = Sample::Of(state.range(0));
  const std::size_t size = std::filesystem::file_size(sample.path());
  for (auto _ : state) {
    const std::unique_ptr<char[]> memory(new char[size]);
    if (!ReadPlainly(sample.path(), memory.get(), size)) state.SkipWithError("not read");
  }
}

void SaveSlc(benchmark::State& state) {
  Sample& sample = Sample::Of(state.range(0));
  for (auto _ : state) {
    if (sample.model.writeSlc() != trq::slc_file::kOk) state.SkipWithError("not saved");
  }
}

void WriteSameBytes(benchmark::State& state) {
  Sample& sample = Sample::Of(state.range(0));
  const std::string bytes = sample.bytes();
  for (auto _ : state) {
    if (!WritePlainly(sample.folder.File("plain"), bytes)) state.SkipWithError("not written");
  }
}

[[maybe_unused]] const bool kFresh = bench::UseFreshMemory();

BENCHMARK(LoadSlc)->Arg(1000)->Arg(100)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadSameBytes)->Arg(1000)->Arg(100)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveSlc)->Arg(1000)->Arg(100)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteSameBytes)->Arg(1000)->Arg(100)->Arg(20)->Unit(benchmark::kMillisecond);

}  // namespace
