/// slice_probe FILE: slices the facets of a file of raw floats, nine a facet, at heights of vertices, between
/// them, and at the two Gauss points of every space between neighbouring heights, and prints how that agrees
/// with sums over the facets: contours, open ones, the worst error of an area in its allowance, the error of
/// the volume in its allowance (-1: too many heights).
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "trqprep/slicing.h"

namespace {

using Bits = std::array<std::uint32_t, 3>;

std::vector<PbVec3f> vertices;
std::vector<R_INT4> triangles;

// Corners are one vertex where all their bits are; both zeros are one.
bool Read(const char* path) {
  std::FILE* file = std::fopen(path, "rb");
  if (!file) return false;
  std::map<Bits, int> numbers;
  float raw[9];
  while (std::fread(raw, sizeof raw, 1, file) == 1) {
    R_INT4 triangle;
    for (int k = 0; k < 3; ++k) {
      Bits bits;
      for (std::size_t i = 0; i < 3; ++i) {
        const float value = raw[3 * std::size_t(k) + i] + 0.0f;
        std::memcpy(&bits[i], &value, sizeof value);
      }
      const auto [found, fresh] = numbers.try_emplace(bits, int(vertices.size()));
      if (fresh) vertices.push_back(PbVec3f(raw[3 * k] + 0.0f, raw[3 * k + 1] + 0.0f, raw[3 * k + 2] + 0.0f));
      triangle[k] = found->second;
    }
    triangle[3] = 0;
    triangles.push_back(triangle);
  }
  std::fclose(file);
  return !triangles.empty();
}

trq::core::MeshView View() {
  return {trq::Span<const PbVec3f>(vertices.data(), vertices.size()), vertices.size(),
          trq::Span<const R_INT4>(triangles.data(), triangles.size())};
}

// Areas about the middle of the part, where they lose least.
double middle[2];

double AreaOf(const trqprep::SliceContour& contour, double& perimeter) {
  double twice = 0;
  for (std::size_t i = 0; i + 1 < contour.points.size(); ++i) {
    const double ax = double(contour.points[i][0]) - middle[0], ay = double(contour.points[i][1]) - middle[1];
    const double bx = double(contour.points[i + 1][0]) - middle[0],
                 by = double(contour.points[i + 1][1]) - middle[1];
    twice += ax * by - bx * ay;
    perimeter += std::hypot(bx - ax, by - ay);
  }
  return twice / 2;
}

// What each facet adds to the area of a layer; counts the facets that are cut, one a vertex of a contour.
double SumOverFacets(double height, std::size_t& cut) {
  double sum = 0;
  for (const R_INT4& triangle : triangles) {
    double down[2] = {}, up[2] = {};
    int crossings = 0;
    for (int k = 0; k < 3; ++k) {
      const PbVec3f& a = vertices[std::size_t(triangle[k])];
      const PbVec3f& b = vertices[std::size_t(triangle[(k + 1) % 3])];
      if ((double(a[2]) > height) == (double(b[2]) > height)) continue;
      ++crossings;
      const double share = (height - double(a[2])) / (double(b[2]) - double(a[2]));
      double* to = double(a[2]) > height ? down : up;
      for (int i = 0; i < 2; ++i) to[i] = double(a[i]) + share * (double(b[i]) - double(a[i])) - middle[i];
    }
    if (crossings != 2) continue;
    ++cut;
    sum += (down[0] * up[1] - down[1] * up[0]) / 2;
  }
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || !Read(argv[1])) return 2;
  std::vector<float> heights;
  double largest = 0, low[2] = {1e300, 1e300}, high[2] = {-1e300, -1e300}, volume = 0;
  for (const PbVec3f& vertex : vertices) {
    heights.push_back(vertex[2]);
    for (int i = 0; i < 2; ++i) {
      low[i] = std::min(low[i], double(vertex[i]));
      high[i] = std::max(high[i], double(vertex[i]));
      largest = std::max(largest, std::abs(double(vertex[i])));
    }
  }
  for (int i = 0; i < 2; ++i) middle[i] = (low[i] + high[i]) / 2;
  std::sort(heights.begin(), heights.end());
  heights.erase(std::unique(heights.begin(), heights.end()), heights.end());
  const double ulp =
      double(std::nextafter(float(largest), std::numeric_limits<float>::max())) - double(float(largest));

  trqprep::SliceOptions options;
  options.tolerance = -1;
  options.unite = trqprep::SliceUnion::kNever;
  std::mt19937 draw(1);
  std::vector<float> planes;
  for (int k = 0; k < 60; ++k) {
    const std::size_t at = draw() % heights.size();
    planes.push_back(heights[at]);
    if (at + 1 < heights.size()) planes.push_back((heights[at] + heights[at + 1]) / 2);
    planes.push_back(float(double(heights.front()) +
                           (draw() % 1000) / 999.0 * (double(heights.back()) - double(heights.front()))));
  }
  std::sort(planes.begin(), planes.end());
  planes.erase(std::unique(planes.begin(), planes.end()), planes.end());
  std::size_t contours = 0, open = 0;
  double worst = 0;
  const trqprep::Slices slices = trqprep::SliceMesh(View(), planes, options);
  for (std::size_t k = 0; k < planes.size(); ++k) {
    double area = 0, perimeter = 0;
    for (const trqprep::SliceContour& contour : slices.layers[k]) {
      ++contours;
      open += !contour.closed || contour.gaps > 0;
      area += AreaOf(contour, perimeter);
    }
    std::size_t cut = 0;
    const double expected = SumOverFacets(double(planes[k]), cut);
    const double allowed = 1e-6 * std::abs(expected) + perimeter * ulp + double(cut) * ulp * ulp;
    if (std::abs(area - expected) > 0) worst = std::max(worst, std::abs(area - expected) / allowed);
  }

  double of_volume = -1;
  if (heights.size() <= 3000) {
    for (const R_INT4& triangle : triangles) {
      const auto at = [&](int k, int axis) {
        return double(vertices[std::size_t(triangle[k])][axis]) -
               (axis < 2 ? middle[axis] : double(heights[0]));
      };
      volume += (at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) -
                 at(0, 1) * (at(1, 0) * at(2, 2) - at(1, 2) * at(2, 0)) +
                 at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0))) /
                6;
    }
    std::vector<float> gauss;
    std::vector<double> weights;
    for (std::size_t k = 0; k + 1 < heights.size(); ++k) {
      const double from = double(heights[k]), to = double(heights[k + 1]);
      for (const double side : {-1.0, 1.0}) {
        gauss.push_back(float((from + to) / 2 + side * (to - from) / 2 / std::sqrt(3.0)));
        weights.push_back((to - from) / 2);
      }
    }
    const trqprep::Slices cuts = trqprep::SliceMesh(View(), gauss, options);
    double sum = 0, scale = 0, perimeter = 0;
    for (std::size_t k = 0; k < gauss.size(); ++k) {
      for (const trqprep::SliceContour& contour : cuts.layers[k]) {
        ++contours;
        open += !contour.closed || contour.gaps > 0;
        const double area = AreaOf(contour, perimeter);
        sum += weights[k] * area;
        scale += weights[k] * std::abs(area);
      }
    }
    of_volume = scale > 0 ? std::abs(sum - volume) / (2e-5 * scale) : 0;
  }
  std::printf("%zu %zu %.6g %.6g\n", contours, open, worst, of_volume);
  return 0;
}
