/// SLC files of 100 MB: loading and saving, each beside a plain buffered read or write of the same bytes in
/// the same iteration. The counter "times_plain" is the ratio of the two
/// shortest times. Argument: vertices a
/// boundary.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

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
  model.layers.push_back(SlcLayer::Terminator(0.1f * kLayers));
}

/// The shortest of several times: what the machine can do when nothing else runs.
struct Best {
  double seconds = 1e9;
  void Take(double s) { seconds = std::min(seconds, s); }
};

template <class F>
double Seconds(const F& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool ReadPlainly(const std::string& path, std::string& memory) {
  std::FILE* const f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  std::size_t done = 0;
  for (std::size_t got = 1; got > 0; done += got) {
    got = std::fread(&memory[0] + done, 1, std::min(kPiece, memory.size() - done), f);
  }
  std::fclose(f);
  benchmark::DoNotOptimize(memory.data());
  return done == memory.size();
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

void Report(benchmark::State& state, std::size_t bytes, const Best& ours, const Best& plain) {
  state.SetBytesProcessed(static_cast<int64_t>(bytes) * state.iterations());
  state.counters["times_plain"] = ours.seconds / plain.seconds;
}

void LoadSlc(benchmark::State& state) {
  const test_support::TempDir folder;
  const std::string path = folder.File("part.slc");
  {
    slc model;
    FillModel(model, state.range(0));
    model.SaveSLCModel(path.c_str());
  }
  // Touched before, so that the plain read pays for no page of it.
  std::string memory(std::filesystem::file_size(path), 1);
  Best ours, plain;
  for (auto _ : state) {
    plain.Take(Seconds([&] {
      if (!ReadPlainly(path, memory)) state.SkipWithError("not read");
    }));
    const double loading = Seconds([&] {
      slc model(path.c_str());
      if (model.loadSlc() != slc_file::kOk) state.SkipWithError("not loaded");
    });
    ours.Take(loading);
    state.SetIterationTime(loading);
  }
  Report(state, memory.size(), ours, plain);
}

void SaveSlc(benchmark::State& state) {
  const test_support::TempDir folder;
  slc model;
  FillModel(model, state.range(0));
  model.SaveSLCModel(folder.File("part.slc").c_str());
  const std::string bytes = folder.Read("part.slc");
  Best ours, plain;
  for (auto _ : state) {
    plain.Take(Seconds([&] {
      if (!WritePlainly(folder.File("plain"), bytes)) state.SkipWithError("not written");
    }));
    const double saving = Seconds([&] {
      if (model.writeSlc() != slc_file::kOk) state.SkipWithError("not saved");
    });
    ours.Take(saving);
    state.SetIterationTime(saving);
  }
  Report(state, bytes.size(), ours, plain);
}

BENCHMARK(LoadSlc)->Arg(1000)->Arg(100)->Arg(20)->UseManualTime()->Iterations(12)->Unit(
    benchmark::kMillisecond);
BENCHMARK(SaveSlc)->Arg(1000)->Arg(100)->Arg(20)->UseManualTime()->Iterations(12)->Unit(
    benchmark::kMillisecond);

}  // namespace
