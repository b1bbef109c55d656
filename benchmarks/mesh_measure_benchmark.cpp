/// Extents, area, volume and normals of a million facets, each beside a plain loop over the mesh's arrays
/// that trusts every index. Both must give the same bits.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "benchmarks/stl_meshes.h"
#include "trq/geometry.h"

namespace {

constexpr int kFacets = 1000000;

/// The arrays as they lie in a mesh.
struct Plain {
  explicit Plain(CTL& mesh)
      : vertices(mesh.vertices()),
        triangles(mesh.triangles()),
        vertex_count(static_cast<std::size_t>(mesh.num_vertices())),
        triangle_count(static_cast<std::size_t>(mesh.num_triangles())) {}

  const PbVec3f& Corner(std::size_t i, int k) const { return vertices[triangles[i][k]]; }

  void Extents(float low[3], float high[3]) const {
    for (int k = 0; k < 3; ++k) {
      low[k] = 1e30f;
      high[k] = -1e30f;
    }
    for (std::size_t i = 0; i < vertex_count; ++i) {
      for (int k = 0; k < 3; ++k) {
        low[k] = std::min(low[k], vertices[i][k]);
        high[k] = std::max(high[k], vertices[i][k]);
      }
    }
  }

  struct Edge {
    Edge(const PbVec3f& from, const PbVec3f& to)
        : x(double{to[0]} - from[0]),
          y(double{to[1]} - from[1]),
          z(double{to[2]} - from[2]),
          squared(static_cast<float>(x * x + y * y + z * z)) {}
    double x, y, z;
    float squared;
  };
  static float FromBase(const Edge& base, const Edge& side) {
    const double along = side.x * base.x + side.y * base.y + side.z * base.z;
    return static_cast<float>((side.squared - along * along / base.squared) * base.squared);
  }
  float Area() const {
    float sum = 0;
    for (std::size_t i = 0; i < triangle_count; ++i) {
      const PbVec3f &a = Corner(i, 0), &b = Corner(i, 1), &c = Corner(i, 2);
      const Edge ab(a, b), ac(a, c), bc(b, c);
      float squared;
      if (ab.squared >= ac.squared && ab.squared >= bc.squared) {
        squared = FromBase(ab, ac);
      } else if (ac.squared >= bc.squared) {
        squared = FromBase(ac, ab);
      } else {
        squared = FromBase(bc, Edge(b, a));
      }
      if (squared > 0) sum = static_cast<float>(sum + std::sqrt(double{squared}));
    }
    return static_cast<float>(sum * 0.5);
  }

  float Volume() const {
    double sum = 0;
    for (std::size_t i = 0; i < triangle_count; ++i) {
      const PbVec3f &a = Corner(i, 0), &b = Corner(i, 1), &c = Corner(i, 2);
      const double bx = b[0], by = b[1], bz = b[2], cx = c[0], cy = c[1], cz = c[2];
      sum += a[0] * (by * cz - bz * cy) + a[1] * (bz * cx - bx * cz) + a[2] * (bx * cy - by * cx);
    }
    return static_cast<float>(sum * 0.16666667);
  }

  void Normals(VECTOR* normals) const {
    for (std::size_t i = 0; i < triangle_count; ++i) {
      const PbVec3f &p1 = Corner(i, 0), &p2 = Corner(i, 1), &p3 = Corner(i, 2);
      const float a[3] = {p1[0] - p3[0], p1[1] - p3[1], p1[2] - p3[2]};
      const float b[3] = {p2[0] - p3[0], p2[1] - p3[1], p2[2] - p3[2]};
      const float yz = a[1] * b[2], zy = a[2] * b[1], zx = a[2] * b[0];
      const float xz = a[0] * b[2], xy = a[0] * b[1], yx = a[1] * b[0];
      const double x = yz - zy, y = zx - xz, z = xy - yx;
      double length = std::sqrt(x * x + y * y + z * z);
      if (length == 0) length = 1;
      normals[i] = VECTOR(static_cast<float>(x / length), static_cast<float>(y / length),
                          static_cast<float>(z / length));
    }
  }

  const PbVec3f* vertices;
  const R_INT4* triangles;
  std::size_t vertex_count, triangle_count;
};

CTL& Mesh() { return bench::LoadedSphere(kFacets); }

void Require(bool same) {
  if (!same) std::abort();
}

void Extents(benchmark::State& state) {
  for (auto _ : state) {
    Mesh().recalculate_extents();
    benchmark::DoNotOptimize(Mesh().max[0]);
  }
}

void PlainExtents(benchmark::State& state) {
  const Plain plain(Mesh());
  float low[3], high[3];
  for (auto _ : state) {
    plain.Extents(low, high);
    benchmark::DoNotOptimize(low);
    benchmark::DoNotOptimize(high);
  }
  Mesh().recalculate_extents();
  for (int k = 0; k < 3; ++k) Require(low[k] == Mesh().min[k] && high[k] == Mesh().max[k]);
}

void Area(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Mesh().area());
}

void PlainArea(benchmark::State& state) {
  const Plain plain(Mesh());
  for (auto _ : state) benchmark::DoNotOptimize(plain.Area());
  Require(plain.Area() == Mesh().area());
}

void Volume(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Mesh().volume());
}

void PlainVolume(benchmark::State& state) {
  const Plain plain(Mesh());
  for (auto _ : state) benchmark::DoNotOptimize(plain.Volume());
  Require(plain.Volume() == Mesh().volume());
}

void Normals(benchmark::State& state) {
  for (auto _ : state) {
    if (Mesh().Calculate_normals() != trq::mesh_io::kDone) std::abort();
    benchmark::DoNotOptimize(Mesh().normals());
  }
}

// With the array made anew, as the library does.
void PlainNormals(benchmark::State& state) {
  const Plain plain(Mesh());
  for (auto _ : state) {
    const trq::MeshArray<VECTOR> normals = trq::MeshArray<VECTOR>::ForOverwrite(plain.triangle_count);
    plain.Normals(const_cast<VECTOR*>(normals.get()));
    benchmark::DoNotOptimize(normals.get());
  }
  trq::MeshArray<VECTOR> normals(plain.triangle_count);
  plain.Normals(normals.get());
  Mesh().Calculate_normals();
  Require(std::memcmp(normals.get(), Mesh().normals(), plain.triangle_count * sizeof(VECTOR)) == 0);
}

BENCHMARK(Extents)->Name("extents")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainExtents)->Name("plain/extents")->Unit(benchmark::kMillisecond);
BENCHMARK(Area)->Name("area")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainArea)->Name("plain/area")->Unit(benchmark::kMillisecond);
BENCHMARK(Volume)->Name("volume")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainVolume)->Name("plain/volume")->Unit(benchmark::kMillisecond);
BENCHMARK(Normals)->Name("normals")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainNormals)->Name("plain/normals")->Unit(benchmark::kMillisecond);

}  // namespace
