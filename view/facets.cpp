#include "view/facets.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <thread>

namespace trqprep::view {
namespace {

bool IsDrawn(const trq::SlcBoundary& contour) {
  const float* p = contour.points;
  return contour.vertex_count > 1 &&
         std::all_of(p, p + 2 * std::size_t(contour.vertex_count), [](float c) { return std::isfinite(c); });
}

}  // namespace

const StackPart& NumberedObject::PartOf(std::uint32_t facet) const {
  const auto behind =
      std::upper_bound(parts.begin(), parts.end(), facet,
                       [](std::uint32_t number, const StackPart& part) { return number < part.first; });
  return *(behind - 1);
}

std::vector<NumberedObject> NumberFacets(const Scene& scene, const ViewFrame& frame) {
  std::vector<NumberedObject> objects;
  std::uint32_t next = 0;
  for (const SceneObject& object : scene.objects) {
    NumberedObject numbered;
    numbered.object = &object;
    numbered.view = ObjectView(frame.axes, object.factor, object.move);
    numbered.first = next;
    next += std::uint32_t(object.mesh.triangles.size());
    for (std::size_t i = 0; i < object.layers.size(); ++i) {
      for (const trq::SlcBoundary& contour : object.layers[i].layer->boundaries()) {
        if (!IsDrawn(contour)) continue;
        numbered.parts.push_back({next, std::uint32_t(i), &contour});
        next += contour.vertex_count;
      }
      numbered.parts.push_back({next++, std::uint32_t(i), nullptr});
    }
    numbered.count = next - numbered.first;
    objects.push_back(std::move(numbered));
  }
  return objects;
}

void WallCorners(const NumberedObject& object, const StackPart& part, std::size_t i, Spot (&corners)[4]) {
  const SceneLayer& layer = object.object->layers[part.layer];
  const std::size_t next = i + 1 < part.contour->vertex_count ? i + 1 : 0;
  const float* a = part.contour->points + 2 * i;
  const float* b = part.contour->points + 2 * next;
  corners[0] = object.view.At(double(a[0]), double(a[1]), layer.bottom);
  corners[1] = object.view.At(double(b[0]), double(b[1]), layer.bottom);
  corners[2] = object.view.At(double(b[0]), double(b[1]), layer.top);
  corners[3] = object.view.At(double(a[0]), double(a[1]), layer.top);
}

bool SlopeOfHeights(const ViewAxes& axes, double& along_right, double& along_up) {
  const auto &r = axes.right, &u = axes.up, &t = axes.toward;
  const double det = r[0] * u[1] - r[1] * u[0];
  if (det == 0) return false;
  along_right = (t[0] * u[1] - t[1] * u[0]) / det;
  along_up = (r[0] * t[1] - r[1] * t[0]) / det;
  return true;
}

RenderOptions Coarser(RenderOptions options, std::size_t times) {
  for (std::size_t* side : {&options.width, &options.height}) {
    *side = std::max<std::size_t>((*side + times - 1) / times, std::min<std::size_t>(*side, 16));
  }
  return options;
}

void InShares(std::size_t count, int threads, const std::function<void(std::size_t, std::size_t)>& work) {
  const std::size_t shares = std::max<std::size_t>(std::min(std::size_t(std::max(threads, 1)), count), 1);
  std::vector<std::exception_ptr> failures(shares);
  const auto run = [&](std::size_t share) {
    try {
      work(count * share / shares, count * (share + 1) / shares);
    } catch (...) {
      failures[share] = std::current_exception();
    }
  };
  std::vector<std::thread> others;
  others.reserve(shares - 1);
  std::size_t started = 1;
  try {
    for (; started < shares; ++started) others.emplace_back(run, started);
  } catch (const std::exception&) {  // no more threads: their shares are done here
  }
  run(0);
  for (std::size_t share = started; share < shares; ++share) run(share);
  for (std::thread& other : others) other.join();
  for (const std::exception_ptr& failure : failures) {
    if (failure) std::rethrow_exception(failure);
  }
}

}  // namespace trqprep::view
