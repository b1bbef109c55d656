// CPU time of looking at the layers of a gyroid beside that of slicing it, and of areas by rows beside areas
// by polygons: layer_findings [FACETS] [LAYERS].
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <vector>

#include <polyclipping/clipper.hpp>

#include "benchmarks/stl_meshes.h"
#include "slicing/rows.h"
#include "trqprep/layer_findings.h"

namespace {

// The least of a few runs.
template <class Work>
double SecondsOf(const Work& work) {
  double least = 1e9;
  for (int i = 0; i < 9; ++i) {
    const std::clock_t begin = std::clock();
    work();
    least = std::min(least, double(std::clock() - begin) / CLOCKS_PER_SEC);
  }
  return least;
}

constexpr double kGrid = 1 << 20;

ClipperLib::Paths PathsOf(const trqprep::ContourViews& layer) {
  ClipperLib::Paths paths;
  for (const trqprep::ContourView& contour : layer) {
    paths.emplace_back();
    for (std::size_t i = 0; i + 1 < contour.count; ++i) {
      paths.back().emplace_back(std::llround(double(contour.points[2 * i]) * kGrid),
                                std::llround(double(contour.points[2 * i + 1]) * kGrid));
    }
  }
  return paths;
}

double PolygonDifference(const trqprep::ContourViews& layer, const trqprep::ContourViews& other) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(PathsOf(layer), ClipperLib::ptSubject, true);
  clipper.AddPaths(PathsOf(other), ClipperLib::ptClip, true);
  ClipperLib::Paths left;
  clipper.Execute(ClipperLib::ctDifference, left, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
  double sum = 0;
  for (const ClipperLib::Path& path : left) sum += ClipperLib::Area(path);
  return sum / (kGrid * kGrid);
}

}  // namespace

int main(int argc, char** argv) {
  const int facets = argc > 1 ? std::atoi(argv[1]) : 1000000, count = argc > 2 ? std::atoi(argv[2]) : 100;
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;
  {
    std::map<bench::Point, int> numbers;
    const bench::Corners corners = bench::Gyroid(facets, true);
    for (std::size_t i = 0; i < corners.size(); ++i) {
      const bench::Point& corner = corners[i];
      const auto [found, fresh] = numbers.try_emplace(corner, int(vertices.size()));
      if (fresh) vertices.push_back(PbVec3f(corner[0], corner[1], corner[2]));
      if (i % 3 == 0) triangles.emplace_back();
      triangles.back()[int(i % 3)] = found->second;
    }
  }
  const auto by_z = [](const PbVec3f& a, const PbVec3f& b) { return a[2] < b[2]; };
  const auto [lowest, highest] = std::minmax_element(vertices.begin(), vertices.end(), by_z);
  const double low = double((*lowest)[2]), high = double((*highest)[2]);
  trqprep::LayerPlan plan;
  const auto thickness = static_cast<float>((high - low) / count);
  trqprep::PlanLayers({{low, high, thickness}}, low, high, false, trqprep::LayerCut::kMiddle,
                      1e-3 * double(thickness), plan);
  const trq::core::MeshView mesh{
      {vertices.data(), vertices.size()}, vertices.size(), {triangles.data(), triangles.size()}};
  trqprep::SliceOptions options;
  options.unite = trqprep::SliceUnion::kNever;
  trqprep::Slices slices;
  const double slicing = SecondsOf([&] { slices = trqprep::SliceMesh(mesh, plan.planes, options); });
  std::size_t points = 0;
  for (const auto& layer : slices.layers) {
    for (const auto& contour : layer) points += contour.points.size();
  }
  std::printf("%zu facets, %zu layers of %.4f, %zu points: slicing %.3f s\n", triangles.size(),
              plan.planes.size(), double(thickness), points, slicing);

  const trqprep::LayerStack stack = trqprep::StackOf(slices, plan);
  trqprep::LayerFindings found;
  const double finding = SecondsOf([&] { found = trqprep::FindInLayers(stack); });
  std::printf("findings %.3f s, %.2f of slicing: %zu islands, %zu unsupported, %zu cups, %zu trapped\n",
              finding, finding / slicing, found.islands.size(), found.unsupported.size(), found.cups.size(),
              found.trapped.size());

  // Of every layer without the one below: rows are made once a layer.
  std::vector<trqprep::ContourViews> layers(plan.planes.size());
  trqprep::slicing::RowExtent extent;
  for (std::size_t k = 0; k < layers.size(); ++k) {
    stack.contours(k, layers[k]);
    extent.Add(layers[k]);
  }
  std::vector<double> rows(layers.size()), polygons(layers.size());
  const double by_rows = SecondsOf([&] {
    trqprep::slicing::RowMaker maker;
    trqprep::slicing::BeyondFinder finder;
    trqprep::slicing::Rows here, below;
    for (std::size_t k = 0; k < layers.size(); ++k) {
      maker.Make(layers[k], {extent.low, 0.1}, here);
      finder.Find(here, below, 0);
      rows[k] = 0;
      for (const auto& piece : finder.runs()) rows[k] += 0.1 * double(piece.run.high - piece.run.low);
      std::swap(here, below);
    }
  });
  std::vector<double> pairs(layers.size());
  const double by_pairs = SecondsOf([&] {
    for (std::size_t k = 1; k < layers.size(); ++k)
      pairs[k] = trqprep::AreaOfDifference(layers[k], layers[k - 1], 0.1);
  });
  const double by_polygons = SecondsOf([&] {
    for (std::size_t k = 1; k < layers.size(); ++k) polygons[k] = PolygonDifference(layers[k], layers[k - 1]);
  });
  double sum = 0, apart = 0, worst = 0;
  for (std::size_t k = 1; k < layers.size(); ++k) {
    sum += polygons[k];
    apart += rows[k] - polygons[k];
    worst = std::max(worst, std::abs(rows[k] - polygons[k]) / trqprep::LayerArea(layers[k], 0.1));
  }
  std::printf(
      "differences: rows made once %.4f s, %.1f times as fast as polygons (%.4f s); for each pair %.4f s, %.1f times; "
      "sums apart by %.4f %%, one by at most %.4f %% of its layer\n",
      by_rows, by_polygons / by_rows, by_polygons, by_pairs, by_polygons / by_pairs,
      100 * std::abs(apart) / sum, 100 * worst);
  return 0;
}
