/// Placement: the library beside its literal form (tests/placement/literal_grid_eval.h), which tries every
/// shift and divides for every corner. Both get the same jobs and the same random numbers.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/placement/literal_grid_eval.h"
#include "trq/placement.h"

namespace {

constexpr float kVat = 250;

struct Part {
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;
};

// A plate of the given outline about its middle, as a fan; star-shaped outlines only.
Part Plate(const std::vector<std::pair<double, double>>& outline) {
  Part part;
  double low_x = 1e9, low_y = 1e9;
  for (const auto& [x, y] : outline) {
    low_x = std::min(low_x, x);
    low_y = std::min(low_y, y);
  }
  part.vertices.emplace_back(static_cast<float>(-low_x), static_cast<float>(-low_y), 0.0F);
  for (const auto& [x, y] : outline)
    part.vertices.emplace_back(static_cast<float>(x - low_x), static_cast<float>(y - low_y), 0.0F);
  const int count = static_cast<int>(outline.size());
  for (int i = 0; i < count; ++i) part.triangles.emplace_back(0, 1 + i, 1 + (i + 1) % count);
  return part;
}

Part Ellipse(double width, double height, double angle) {
  std::vector<std::pair<double, double>> outline;
  for (int i = 0; i < 400; ++i) {
    const double t = i * 6.283185307179586 / 400, u = width / 2 * std::cos(t), v = height / 2 * std::sin(t);
    outline.emplace_back(u * std::cos(angle) - v * std::sin(angle),
                         u * std::sin(angle) + v * std::cos(angle));
  }
  return Plate(outline);
}

// A sphere of about the given number of facets, standing at minimum X = Y = 0.
Part Sphere(int facets, double radius) {
  const int slices = static_cast<int>(std::sqrt(facets)), stacks = facets / (2 * slices) + 1;
  Part part;
  const auto point = [&](double height, double r, double angle) {
    part.vertices.emplace_back(static_cast<float>(radius + r * std::cos(angle)),
                               static_cast<float>(radius + r * std::sin(angle)),
                               static_cast<float>(radius + height));
  };
  point(-radius, 0, 0);
  for (int k = 1; k < stacks; ++k)
    for (int i = 0; i < slices; ++i) {
      const double latitude = 3.141592653589793 * (static_cast<double>(k) / stacks - 0.5);
      point(radius * std::sin(latitude), radius * std::cos(latitude), i * 6.283185307179586 / slices);
    }
  point(radius, 0, 0);
  const int last = static_cast<int>(part.vertices.size()) - 1;
  for (int i = 0; i < slices; ++i) {
    const int next = (i + 1) % slices;
    part.triangles.emplace_back(0, 1 + next, 1 + i);
    for (int k = 0; k + 2 < stacks; ++k) {
      const int a = 1 + k * slices, b = a + slices;
      part.triangles.emplace_back(a + i, a + next, b + next);
      part.triangles.emplace_back(a + i, b + next, b + i);
    }
    part.triangles.emplace_back(last, last - slices + i, last - slices + next);
  }
  return part;
}

void Fill(CTL& mesh, const Part& part) {
  mesh.vertices_.reset(part.vertices.size() + 1);
  mesh.triangles_.reset(part.triangles.size());
  std::copy(part.vertices.begin(), part.vertices.end(), mesh.vertices());
  std::copy(part.triangles.begin(), part.triangles.end(), mesh.triangles());
  mesh.header.num_vertices = static_cast<int>(part.vertices.size());
  mesh.header.num_triangles = static_cast<int>(part.triangles.size());
  mesh.extents_valid = 0;
}

struct Item {
  Part part;
  int copies;
};

// A hundred pieces of ten parts: bars, discs and ellipses of 10 to 28 mm and one large part.
std::vector<Item> HundredPieces() {
  std::vector<Item> items;
  for (int i = 0; i < 10; ++i) items.push_back({Ellipse(14 + 2 * i, 8 + (i * 7) % 12, 0.3 * i), 10});
  return items;
}

// A hundred pieces, each of its own shape.
std::vector<Item> HundredParts() {
  std::vector<Item> items;
  for (int i = 0; i < 100; ++i) items.push_back({Ellipse(8 + (i * 13) % 23, 6 + (i * 7) % 15, 0.1 * i), 1});
  return items;
}

// More than the vat holds: every pass fails late.
std::vector<Item> TooMany() {
  std::vector<Item> items;
  for (int i = 0; i < 10; ++i) items.push_back({Ellipse(24 + 3 * i, 16 + i, 0.3 * i), 10});
  return items;
}

template <class Eval>
void Place(benchmark::State& state, const std::vector<Item>& items, int rotations) {
  Eval prepared(kVat, kVat, 300, rotations);
  for (const Item& item : items) {
    CTL mesh;
    Fill(mesh, item.part);
    prepared.add(mesh, item.copies);
  }
  int found = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Eval eval(prepared);
    std::srand(1);
    state.ResumeTiming();
    found = eval.find_placement();
  }
  state.counters["found"] = found;
}

template <class Eval>
void Add(benchmark::State& state) {
  const Part part = Sphere(static_cast<int>(state.range(0)), 40);
  CTL mesh;
  Fill(mesh, part);
  Eval eval(kVat, kVat, 300, 24);
  for (auto _ : state) {
    eval.clear();
    eval.add(mesh, 1);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(part.triangles.size()));
}

// What turning and moving the mesh costs alone, without looking at any facet.
void TurnAlone(benchmark::State& state) {
  const Part part = Sphere(static_cast<int>(state.range(0)), 40);
  CTL mesh;
  Fill(mesh, part);
  for (auto _ : state) {
    for (int r = 0; r < 24; ++r) {
      float x, y, z;
      mesh.get_max(&x, &y, &z);
      mesh.rotateZ(15);
      mesh.get_min(&x, &y, &z);
      mesh.translate(-x, -y, 0);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(part.triangles.size()));
}

// Each job for the library and for the literal form.
const bool kRegistered = [] {
  struct Job {
    const char* name;
    std::vector<Item> items;
    int rotations;
  };
  const Part ellipse = Ellipse(40, 20, 0.2);
  const std::vector<Job> jobs = {
      {"hundred_pieces_of_ten_parts", HundredPieces(), 24},
      {"hundred_parts", HundredParts(), 24},
      {"more_than_the_vat_holds", TooMany(), 24},
      {"one_piece_one_rotation", {{ellipse, 1}}, 1},
      {"one_piece", {{ellipse, 1}}, 24},
      {"two_pieces_one_rotation", {{ellipse, 2}}, 1},
      {"five_pieces_four_rotations", {{ellipse, 5}}, 4},
      {"one_piece_too_wide", {{Ellipse(249.9, 249.9, 0), 1}}, 24},
  };
  for (const Job& job : jobs) {
    const std::string name = std::string("Place/") + job.name;
    benchmark::RegisterBenchmark(name.c_str(), Place<GridEval>, job.items, job.rotations)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "/literal").c_str(), Place<LiteralGridEval>, job.items,
                                 job.rotations)
        ->Unit(benchmark::kMicrosecond);
  }
  return true;
}();

BENCHMARK_TEMPLATE(Add, GridEval)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Add, LiteralGridEval)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(TurnAlone)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
