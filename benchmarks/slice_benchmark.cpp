/// Slicing beside the limit: a plain loop that reads the indexed facets once, computes every crossing and
/// stores it flat; and what an estimate adds to slicing. Argument: planes. One thread, contours joined,
/// nothing united unless said otherwise. The part is the binary STL file that TRQ_SLICE_PART in the
/// environment names.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/stl_meshes.h"
#include "trq/core/mesh.h"
#include "trqprep/estimate.h"
#include "trqprep/slicing.h"

namespace {

struct Indexed {
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;
  float low = 0, high = 0;

  trq::core::MeshView View() const {
    return {trq::Span<const PbVec3f>(vertices.data(), vertices.size()), vertices.size(),
            trq::Span<const R_INT4>(triangles.data(), triangles.size())};
  }
  std::vector<float> Planes(int count) const {
    std::vector<float> planes;
    for (int k = 0; k < count; ++k)
      planes.push_back(float(double(low) + (k + 0.5) * (double(high) - double(low)) / count));
    return planes;
  }
};

// Vertices are numbered as they come, as a reader of STL files does.
Indexed Join(const bench::Corners& corners) {
  Indexed mesh;
  std::map<bench::Point, int> numbers;
  for (std::size_t i = 0; i < corners.size(); i += 3) {
    R_INT4 triangle;
    for (std::size_t k = 0; k < 3; ++k) {
      const bench::Point& p = corners[i + k];
      const auto [found, fresh] = numbers.try_emplace(p, int(mesh.vertices.size()));
      if (fresh) mesh.vertices.push_back(PbVec3f(p[0], p[1], p[2]));
      triangle[int(k)] = found->second;
    }
    triangle[3] = 0;
    mesh.triangles.push_back(triangle);
  }
  mesh.low = mesh.high = mesh.vertices.front()[2];
  for (const PbVec3f& vertex : mesh.vertices) {
    mesh.low = std::min(mesh.low, vertex[2]);
    mesh.high = std::max(mesh.high, vertex[2]);
  }
  return mesh;
}

const Indexed& Sphere() {
  static const Indexed mesh = Join(bench::Sphere(1000000));
  return mesh;
}
const Indexed& Gyroid() {
  static const Indexed mesh = Join(bench::FacingOut(bench::Gyroid(1000000)));
  return mesh;
}

const Indexed& Part() {
  static const Indexed mesh = [] {
    const char* const path = std::getenv("TRQ_SLICE_PART");
    if (!path) throw std::runtime_error("TRQ_SLICE_PART names no file");
    return Join(bench::CornersOfBinary(path));
  }();
  return mesh;
}

struct Crossing {
  float x0, y0, x1, y1;
};

// Planes at equal distances, so that those of a facet follow from its heights.
void Limit(benchmark::State& state, const Indexed& mesh) {
  const std::vector<float> planes = mesh.Planes(int(state.range(0)));
  const double first = double(planes.front()), step = double(planes[1]) - double(planes[0]);
  for (auto _ : state) {
    std::vector<Crossing> crossings;
    for (const R_INT4& triangle : mesh.triangles) {
      const PbVec3f* p[3];
      for (int k = 0; k < 3; ++k) p[k] = &mesh.vertices[std::size_t(triangle[k])];
      if ((*p[1])[2] < (*p[0])[2]) std::swap(p[0], p[1]);
      if ((*p[2])[2] < (*p[1])[2]) std::swap(p[1], p[2]);
      if ((*p[1])[2] < (*p[0])[2]) std::swap(p[0], p[1]);
      const PbVec3f &low = *p[0], &middle = *p[1], &high = *p[2];
      auto k = std::size_t(std::max(0.0, std::ceil((double(low[2]) - first) / step)));
      for (; k < planes.size() && planes[k] < high[2]; ++k) {
        const float z = planes[k];
        const float t = (z - low[2]) / (high[2] - low[2]);
        const PbVec3f& from = z < middle[2] ? low : middle;
        const PbVec3f& to = z < middle[2] ? middle : high;
        const float s = (z - from[2]) / (to[2] - from[2]);
        crossings.push_back({low[0] + t * (high[0] - low[0]), low[1] + t * (high[1] - low[1]),
                             from[0] + s * (to[0] - from[0]), from[1] + s * (to[1] - from[1])});
      }
    }
    benchmark::DoNotOptimize(crossings.data());
  }
}

void Slice(benchmark::State& state, const Indexed& mesh, trqprep::SliceUnion unite, int threads) {
  const std::vector<float> planes = mesh.Planes(int(state.range(0)));
  trqprep::SliceOptions options;
  options.unite = unite;
  options.threads = threads;
  for (auto _ : state)
    benchmark::DoNotOptimize(trqprep::SliceMesh(mesh.View(), planes, options).layers.data());
}

// Slices, and measures what there is to draw, with faces up and down or without.
void Estimate(benchmark::State& state, const Indexed& mesh, bool faces) {
  const std::vector<float> planes = mesh.Planes(int(state.range(0)));
  const std::vector<trqprep::estimate::FacesAsked> asked(planes.size(), {faces, faces});
  trqprep::SliceOptions options;
  options.unite = trqprep::SliceUnion::kNever;
  for (auto _ : state) {
    const trqprep::Slices slices = trqprep::SliceMesh(mesh.View(), planes, options);
    trqprep::LayerPlan plan;
    for (const float plane : planes) {
      plan.bottoms.push_back(plane);
      plan.tops.push_back(plane);
    }
    benchmark::DoNotOptimize(
        trqprep::estimate::MeasureLayers(trqprep::StackOf(slices, plan), asked, 0.1).data());
  }
}

// Benchmark stays in the process's CPU time: threads count with their own.
#define TRQ_SLICES(name, mesh)                                                                \
  BENCHMARK_CAPTURE(Limit, name, mesh())->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond); \
  BENCHMARK_CAPTURE(Slice, name, mesh(), trqprep::SliceUnion::kNever, 1)                      \
      ->Arg(100)                                                                              \
      ->Arg(1000)                                                                             \
      ->Unit(benchmark::kMillisecond)                                                         \
      ->MeasureProcessCPUTime();                                                              \
  BENCHMARK_CAPTURE(Slice, name##_union, mesh(), trqprep::SliceUnion::kAuto, 1)               \
      ->Arg(100)                                                                              \
      ->Arg(1000)                                                                             \
      ->Unit(benchmark::kMillisecond)                                                         \
      ->MeasureProcessCPUTime();                                                              \
  BENCHMARK_CAPTURE(Slice, name##_two_threads, mesh(), trqprep::SliceUnion::kNever, 2)        \
      ->Arg(100)                                                                              \
      ->Arg(1000)                                                                             \
      ->Unit(benchmark::kMillisecond)                                                         \
      ->MeasureProcessCPUTime()

TRQ_SLICES(sphere, Sphere);
TRQ_SLICES(gyroid, Gyroid);
TRQ_SLICES(part, Part);

#define TRQ_ESTIMATES(name, mesh)                                  \
  BENCHMARK_CAPTURE(Estimate, name, mesh(), true)                  \
      ->Arg(1000)                                                  \
      ->Unit(benchmark::kMillisecond)                              \
      ->MeasureProcessCPUTime();                                   \
  BENCHMARK_CAPTURE(Estimate, name##_without_faces, mesh(), false) \
      ->Arg(1000)                                                  \
      ->Unit(benchmark::kMillisecond)                              \
      ->MeasureProcessCPUTime()

TRQ_ESTIMATES(sphere, Sphere);
TRQ_ESTIMATES(gyroid, Gyroid);

}  // namespace
