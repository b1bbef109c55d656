/// Build style files: writing and reading 10 000 styles one after the other through one buffered stream, and
/// saving and loading single files with their CRC. Argument: 301 or 206, the layout.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace {

constexpr int kStyles = 10000;

KVBUILDSTYLE StyleOfLayout(int64_t layout) {
  KVBUILDSTYLE style;
  style.FileVersion = layout == 206 ? 2.06f : 3.01f;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    if (BuildStyleParameterRecordFloat* record = row.member.FloatIn(style)) {
      record->AddAndSetValue(0.5f);
    }
  }
  return style;
}

int WriteData(KVBUILDSTYLE& style, int64_t layout) {
  return layout == 206 ? style.binaryWriteStyleData206() : style.binaryWriteStyleData301();
}

void CountStyles(benchmark::State& state, int64_t styles) {
  state.counters["styles/s"] =
      benchmark::Counter(static_cast<double>(styles), benchmark::Counter::kIsIterationInvariantRate);
}

void WriteStyles(benchmark::State& state) {
  const test_support::TempDir dir;
  KVBUILDSTYLE style = StyleOfLayout(state.range(0));
  for (auto _ : state) {
    const test_support::Stream stream(std::fopen(dir.File("styles").c_str(), "wb"));
    style.setStyleFilePtr(stream.get());
    for (int i = 0; i < kStyles; ++i) {
      if (WriteData(style, state.range(0)) != trq::style_file::kOk) state.SkipWithError("write failed");
    }
    style.setStyleFilePtr(nullptr);
  }
  CountStyles(state, kStyles);
}
BENCHMARK(WriteStyles)->Arg(301)->Arg(206)->Unit(benchmark::kMillisecond);

void ReadStyles(benchmark::State& state) {
  const test_support::TempDir dir;
  KVBUILDSTYLE style = StyleOfLayout(state.range(0));
  {
    const test_support::Stream stream(std::fopen(dir.File("styles").c_str(), "wb"));
    style.setStyleFilePtr(stream.get());
    for (int i = 0; i < kStyles; ++i) WriteData(style, state.range(0));
    style.setStyleFilePtr(nullptr);
  }
  KVBUILDSTYLE read;
  for (auto _ : state) {
    const test_support::Stream stream(std::fopen(dir.File("styles").c_str(), "rb"));
    read.setStyleFilePtr(stream.get());
    for (int i = 0; i < kStyles; ++i) {
      if (read.binaryReadStyle() != trq::style_file::kOk) state.SkipWithError("read failed");
    }
    read.setStyleFilePtr(nullptr);
  }
  CountStyles(state, kStyles);
}
BENCHMARK(ReadStyles)->Arg(301)->Arg(206)->Unit(benchmark::kMillisecond);

void SaveAndLoadFile(benchmark::State& state) {
  const test_support::TempDir dir;
  KVBUILDSTYLE style = StyleOfLayout(state.range(0));
  KVBUILDSTYLE read;
  for (auto _ : state) {
    if (style.writeBuildStyle(dir.File("style")) != trq::style_file::kOk) state.SkipWithError("save failed");
    if (read.readBuildStyle(dir.File("style")) != trq::style_file::kOk) state.SkipWithError("load failed");
  }
  CountStyles(state, 1);
}
BENCHMARK(SaveAndLoadFile)->Arg(301)->Arg(206)->Unit(benchmark::kMicrosecond);

}  // namespace
