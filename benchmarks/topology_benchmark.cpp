/// Surfaces of a mesh and which of them are cavities: how the time grows with the mesh. Argument: facets, in
/// thousands. Surfaces face outward and inward in turns, unless something else is said.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "tests/support/meshes.h"
#include "trqprep/mesh_topology.h"

namespace {

using test_support::Indices;
using test_support::Point;

class Surfaces {
 public:
  /// Facets of a grid of rows by columns that closes both ways: a ring; point(row, column) in whole turns.
  template <class PointAt>
  void AddRing(int rows, int columns, bool inward, PointAt point) {
    const int first = static_cast<int>(vertices_.size());
    const auto at = [=](int row, int column) { return first + (row % rows) * columns + column % columns; };
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < columns; ++column) {
        vertices_.push_back(point(kTurn * row / rows, kTurn * column / columns));
        AddFacet(at(row, column), at(row + 1, column), at(row, column + 1), inward);
        AddFacet(at(row, column + 1), at(row + 1, column), at(row + 1, column + 1), inward);
      }
    }
  }
  /// A ring about the axis `up` with 2 * 5 * 5 facets.
  void AddRing(double radius, double width, bool inward, const Point& centre, std::size_t up) {
    AddRing(5, 5, inward, [&](double around, double across) {
      const double distance = radius + width * std::cos(across);
      Point p = centre;
      p[(up + 1) % 3] += static_cast<float>(distance * std::cos(around));
      p[(up + 2) % 3] += static_cast<float>(distance * std::sin(around));
      p[up] += static_cast<float>(width * std::sin(across));
      return p;
    });
  }
  void Add(const CTL& mesh, bool inward) {
    const int first = static_cast<int>(vertices_.size());
    for (const Point& p : test_support::VerticesOf(mesh)) vertices_.push_back(p);
    for (const Indices& t : test_support::TrianglesOf(mesh)) {
      AddFacet(first + t[0], first + t[1], first + t[2], inward);
    }
  }

  /// Turned, so that no facet is parallel to an axis.
  CTL Mesh() {
    for (Point& p : vertices_) {
      const float x = 0.8f * p[0] - 0.6f * p[1], y = 0.6f * p[0] + 0.8f * p[1];
      p = {x, 0.28f * p[2] + 0.96f * y, 0.96f * p[2] - 0.28f * y};
    }
    return test_support::MakeMesh(vertices_, triangles_);
  }

 private:
  static constexpr double kTurn = 2 * 3.14159265358979;

  void AddFacet(int a, int b, int c, bool inward) {
    triangles_.push_back(inward ? Indices{a, c, b} : Indices{a, b, c});
  }

  std::vector<Point> vertices_;
  std::vector<Indices> triangles_;
};

Surfaces RingsSideBySide(int64_t facets) {
  Surfaces surfaces;
  const int64_t count = facets / 50;
  const auto across = static_cast<int64_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  for (int64_t i = 0; i < count; ++i) {
    const Point centre = {static_cast<float>(4 * (i % across)), static_cast<float>(4 * (i / across)), 0};
    surfaces.AddRing(1, 0.5, i % 2 != 0, centre, 2);
  }
  return surfaces;
}

/// Each box holds those of all smaller rings, none of which lies inside it.
Surfaces RingsAroundEachOther(int64_t facets) {
  Surfaces surfaces;
  for (int64_t i = 0; i < facets / 50; ++i) {
    surfaces.AddRing(static_cast<double>(i + 10), 0.3, i % 2 != 0, {0, 0, 0}, 2);
  }
  return surfaces;
}

Surfaces NestedShells(int64_t facets) {
  Surfaces surfaces;
  const int64_t count = facets / 12;
  for (int64_t i = 0; i < count; ++i) {
    const auto half = static_cast<float>(i + 1);
    surfaces.Add(test_support::Cube(2 * half, {-half, -half, -half}), (count - i) % 2 == 0);
  }
  return surfaces;
}

/// Cups in each other, and an inward block between each two: inside the box of all larger cups, inside none.
Surfaces BlocksBetweenCups(int64_t facets) {
  Surfaces surfaces;
  for (int64_t i = 0; i < facets / 72; ++i) {
    const auto radius = static_cast<float>(i + 10);
    // The upper half of a ball pushed down into the lower one.
    CTL cup = test_support::Sphere(radius, 6, 6);
    for (int v = 0; v < cup.num_vertices(); ++v) {
      PbVec3f& vertex = cup.vertices()[v];
      if (vertex[2] < 0.001f * radius) continue;
      for (int k = 0; k < 3; ++k) vertex[k] *= (k == 2 ? -1 : 1) * (1 - 0.6f / radius);
    }
    surfaces.Add(cup, false);
    surfaces.Add(test_support::Cube(0.1f, {0, 0, -radius - 0.2f}), true);
  }
  return surfaces;
}

/// Half of the facets are one ball, half are boxes in it.
Surfaces CavitiesInOne(int64_t facets) {
  Surfaces surfaces;
  const int stacks = static_cast<int>(std::sqrt(static_cast<double>(facets) / 8)) + 1;
  surfaces.Add(test_support::Sphere(100, 2 * stacks, stacks), false);
  std::mt19937 random(1);
  const auto coordinate = [&] { return static_cast<float>(100 * (random() / 4294967296.0 - 0.5)); };
  for (int64_t i = 0; i < facets / 24; ++i) {
    surfaces.Add(test_support::Cube(0.1f, {coordinate(), coordinate(), coordinate()}), true);
  }
  return surfaces;
}

/// Tetrahedra of up to that size in a cube of side 100.
Surfaces Tetrahedra(int64_t facets, double size) {
  Surfaces surfaces;
  std::mt19937 random(1);
  const auto part = [&](double of) { return static_cast<float>(of * (random() / 4294967296.0)); };
  for (int64_t i = 0; i < facets / 4; ++i) {
    CTL tetrahedron = test_support::Tetrahedron(part(size), {part(100), part(100), part(100)});
    surfaces.Add(tetrahedron, i % 2 != 0);
  }
  return surfaces;
}
Surfaces LargeOnesThatCross(int64_t facets) { return Tetrahedra(facets, 100); }
Surfaces SmallOnesThatCross(int64_t facets) {
  return Tetrahedra(facets, 300 / std::cbrt(static_cast<double>(facets)));
}

/// Long thin outward ones in every direction, and small inward ones between them.
Surfaces Needles(int64_t facets) {
  Surfaces surfaces;
  std::mt19937 random(1);
  const auto part = [&](double of) { return static_cast<float>(of * (random() / 4294967296.0)); };
  for (int64_t i = 0; i < facets / 8; ++i) {
    CTL needle = test_support::Tetrahedron(0.01f, {part(100), part(100), part(100)});
    needle.vertices()[3] = PbVec3f(part(100), part(100), part(100));
    const bool outward = needle.volume() > 0;
    surfaces.Add(needle, !outward);
    surfaces.Add(test_support::Tetrahedron(0.01f, {part(100), part(100), part(100)}), true);
  }
  return surfaces;
}

void Analyse(benchmark::State& state, Surfaces (*make)(int64_t)) {
  const CTL mesh = make(1000 * state.range(0)).Mesh();
  for (auto _ : state) benchmark::DoNotOptimize(trqprep::AnalyseTopology(mesh));
  state.SetComplexityN(mesh.num_triangles());
  state.counters["s/facet"] = benchmark::Counter(
      mesh.num_triangles(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void UpToAMillion(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(4)
      ->Range(16, 1024)
      ->Complexity(benchmark::oNLogN)
      ->Unit(benchmark::kMillisecond);
}
// What surfaces have near each other grows faster than they do.
void UpToAQuarter(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(4)
      ->Range(16, 256)
      ->Complexity([](benchmark::IterationCount n) { return std::pow(n, 1.5); })
      ->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(Analyse, RingsSideBySide, RingsSideBySide)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, RingsAroundEachOther, RingsAroundEachOther)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, NestedShells, NestedShells)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, BlocksBetweenCups, BlocksBetweenCups)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, CavitiesInOne, CavitiesInOne)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, SmallOnesThatCross, SmallOnesThatCross)->Apply(UpToAMillion);
BENCHMARK_CAPTURE(Analyse, LargeOnesThatCross, LargeOnesThatCross)->Apply(UpToAQuarter);
BENCHMARK_CAPTURE(Analyse, Needles, Needles)->Apply(UpToAQuarter);

}  // namespace
