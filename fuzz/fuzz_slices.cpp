/// Slicing: any arrays of facets, whatever their numbers and coordinates, give contours that keep their
/// promises.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "trqprep/layer_plan.h"
#include "trqprep/slicing.h"

namespace {

// Values from the input; zeros when it is at its end.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : data_(data), end_(data + size) {}
  template <class Value>
  Value Take() {
    Value value{};
    const size_t size = std::min(sizeof value, size_t(end_ - data_));
    if (size > 0) std::memcpy(&value, data_, size);
    data_ += size;
    return value;
  }
  size_t left() const { return size_t(end_ - data_); }

 private:
  const uint8_t* data_;
  const uint8_t* end_;
};

bool Balances(const std::vector<R_INT4>& triangles) {
  std::map<std::pair<int, int>, int> uses;
  for (const R_INT4& triangle : triangles) {
    for (int k = 0; k < 3; ++k) {
      const int a = triangle[k], b = triangle[(k + 1) % 3];
      if (a == b) continue;
      uses[std::minmax(a, b)] += a < b ? 1 : -1;
    }
  }
  return std::all_of(uses.begin(), uses.end(), [](const auto& use) { return use.second == 0; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Bytes input(data, size);
  const auto flags = input.Take<uint8_t>();
  const size_t vertex_count = input.Take<uint8_t>() % 64, plane_count = input.Take<uint8_t>() % 16;
  std::vector<PbVec3f> vertices;
  for (size_t i = 0; i < vertex_count; ++i) {
    float c[3];
    // Small whole numbers meet planes and one another; any bits are any float.
    for (float& value : c) value = flags & 1 ? float(input.Take<int8_t>()) : input.Take<float>();
    vertices.emplace_back(c[0], c[1], c[2]);
  }
  std::vector<float> planes;
  for (size_t i = 0; i < plane_count; ++i) {
    const float plane = flags & 1 ? float(input.Take<int8_t>()) : input.Take<float>();
    if (std::isfinite(plane)) planes.push_back(plane);
  }
  std::sort(planes.begin(), planes.end());
  std::vector<R_INT4> triangles;
  while (input.left() > 0 && triangles.size() < 500) {
    R_INT4 triangle;
    for (int k = 0; k < 3; ++k) {
      triangle[k] =
          flags & 2 ? input.Take<int32_t>() : int(input.Take<uint8_t>() % std::max<size_t>(vertex_count, 1));
    }
    triangle[3] = 0;
    triangles.push_back(triangle);
    if (flags & 16) {  // with its other side, so that every edge balances
      std::swap(triangle[0], triangle[1]);
      triangles.push_back(triangle);
    }
  }
  const trq::core::MeshView mesh{trq::Span<const PbVec3f>(vertices.data(), vertices.size()), vertices.size(),
                                 trq::Span<const R_INT4>(triangles.data(), triangles.size())};
  trqprep::SliceOptions options;
  options.in_plane_is_above = flags & 4;
  options.close = flags & 8 ? 10 : 0.1;
  options.unite = trqprep::SliceUnion(flags >> 5 & 3) > trqprep::SliceUnion::kNever
                      ? trqprep::SliceUnion::kAuto
                      : trqprep::SliceUnion(flags >> 5 & 3);
  trqprep::Slices slices = trqprep::SliceMesh(mesh, planes, options);
  const bool balances = Balances(triangles);
  if (balances) fuzz::Demand(slices.gaps.empty(), "a gap in a mesh whose edges balance");
  for (const auto& layer : slices.layers) {
    for (const trqprep::SliceContour& contour : layer) {
      fuzz::Demand(!contour.points.empty(), "a contour without points");
      if (balances) fuzz::Demand(contour.closed, "an open contour of a mesh whose edges balance");
      if (contour.closed) {
        fuzz::Demand(
            std::memcmp(&contour.points.front(), &contour.points.back(), sizeof contour.points[0]) == 0,
            "a closed contour that does not end where it begins");
      }
    }
  }
  if (flags & 128) {
    options.threads = 3;
    const trqprep::Slices again = trqprep::SliceMesh(mesh, planes, options);
    const auto same = [](const trqprep::SliceContour& a, const trqprep::SliceContour& b) {
      const size_t count = a.points.size();
      return a.closed == b.closed && count == b.points.size() &&
             std::memcmp(a.points.data(), b.points.data(), count * sizeof a.points[0]) == 0;
    };
    for (size_t k = 0; k < planes.size(); ++k) {
      const auto &one = slices.layers[k], &three = again.layers[k];
      fuzz::Demand(std::equal(one.begin(), one.end(), three.begin(), three.end(), same),
                   "threads change the contours");
    }
  }
  trqprep::LayerPlan plan;
  const float low = flags & 1 ? 0.0f : input.Take<float>();
  const trqprep::LayerBand band{double(low), double(low) + 3, planes.empty() ? 1.0f : planes.front()};
  if (trqprep::PlanLayers({band}, double(low), double(low) + 5, flags & 2, trqprep::LayerCut::kMiddle, 1e-4,
                          plan) == trqprep::LayerPlanFault::kNone) {
    fuzz::Demand(std::is_sorted(plan.planes.begin(), plan.planes.end()), "planes out of order");
    slices.layers.resize(std::min(slices.layers.size(), plan.bottoms.size()));
    const trq::core::Contours contours = trqprep::ContoursOf(slices, plan, "-SLCVER 2.0");
    fuzz::Demand(contours.layers.back().is_terminator(), "contours without an end");
  }
  return 0;
}
