#include "tests/view/ray_caster.h"

#include <algorithm>
#include <cmath>

namespace ray_caster {
namespace {

constexpr long double kNear = 1e-6L;

// From a point to the straight piece between two others.
long double DistanceToSide(const std::array<long double, 3>& a, const std::array<long double, 3>& b,
                           long double x, long double y) {
  const long double dx = b[0] - a[0], dy = b[1] - a[1], square = dx * dx + dy * dy;
  long double along = square > 0 ? ((x - a[0]) * dx + (y - a[1]) * dy) / square : 0;
  along = std::clamp(along, 0.0L, 1.0L);
  return std::hypot(x - a[0] - along * dx, y - a[1] - along * dy);
}

}  // namespace

Caster::Vector Caster::Place(const trqprep::SceneObject& object, Number x, Number y, Number z) const {
  const Number at[3] = {object.factor * x + object.move[0], object.factor * y + object.move[1],
                        object.factor * z + object.move[2]};
  const auto along = [&](const std::array<double, 3>& axis) {
    return axis[0] * at[0] + axis[1] * at[1] + axis[2] * at[2];
  };
  return {(along(frame_.axes.right) - frame_.left) / frame_.pixel,
          (frame_.top - along(frame_.axes.up)) / frame_.pixel,
          (frame_.near - along(frame_.axes.toward)) / frame_.depth_unit};
}

void Caster::Add(std::uint32_t facet, const Vector& a, const Vector& b, const Vector& c) {
  Triangle triangle{facet, {a, b, c}, {}};
  for (std::size_t k = 0; k < 2; ++k) {
    triangle.box[2 * k] = double(std::min({a[k], b[k], c[k]})) - 1e-3;
    triangle.box[2 * k + 1] = double(std::max({a[k], b[k], c[k]})) + 1e-3;
  }
  triangles_.push_back(triangle);
}

Caster::Caster(const trqprep::Scene& scene, const trqprep::ViewFrame& frame) : frame_(frame) {
  std::uint32_t number = 0;
  for (const trqprep::SceneObject& object : scene.objects) {
    for (const R_INT4& t : object.mesh.triangles) {
      const auto corner = [&](int k) {
        const PbVec3f& p = object.mesh.vertices[std::size_t(t[k])];
        return Place(object, p[0], p[1], p[2]);
      };
      Add(number++, corner(0), corner(1), corner(2));
    }
    for (const trqprep::SceneLayer& layer : object.layers) {
      Face face;
      for (const trq::SlcBoundary& contour : layer.layer->boundaries()) {
        std::vector<Vector> high, low;
        for (std::size_t i = 0; i < contour.vertex_count; ++i) {
          high.push_back(Place(object, contour.points[2 * i], contour.points[2 * i + 1], layer.top));
          low.push_back(Place(object, contour.points[2 * i], contour.points[2 * i + 1], layer.bottom));
        }
        for (std::size_t i = 0; i < low.size(); ++i) {
          const std::size_t j = (i + 1) % low.size();
          Add(number, low[i], low[j], high[j]);
          Add(number, low[i], high[j], high[i]);
          ++number;
        }
        face.contours.push_back(frame.axes.toward[2] > 0 ? high : low);
      }
      face.facet = number++;
      if (frame.axes.toward[2] != 0) faces_.push_back(face);
    }
  }
}

Caster::Met Caster::Meet(const Triangle& triangle, Number column, Number row) {
  Met met;
  const Vector &a = triangle.corners[0], &b = triangle.corners[1], &c = triangle.corners[2];
  const auto x = double(column), y = double(row);
  if (x < triangle.box[0] || x > triangle.box[1] || y < triangle.box[2] || y > triangle.box[3]) return met;
  met.at_edge = DistanceToSide(a, b, column, row) < kNear || DistanceToSide(b, c, column, row) < kNear ||
                DistanceToSide(c, a, column, row) < kNear;
  // The ray (column, row) and the plane of the facet: a + s (b - a) + t (c - a).
  const Number bx = b[0] - a[0], by = b[1] - a[1], cx = c[0] - a[0], cy = c[1] - a[1];
  const Number det = bx * cy - by * cx;
  if (det == 0) {
    met.depth = std::min({a[2], b[2], c[2]});
    return met;
  }
  const Number px = column - a[0], py = row - a[1];
  const Number s = (px * cy - py * cx) / det, t = (bx * py - by * px) / det;
  met.inside = s >= 0 && t >= 0 && s + t <= 1;
  met.depth = a[2] + s * (b[2] - a[2]) + t * (c[2] - a[2]);
  const Number along_x = (cy * (b[2] - a[2]) - by * (c[2] - a[2])) / det;
  const Number along_y = (bx * (c[2] - a[2]) - cx * (b[2] - a[2])) / det;
  met.uncertain = kNear * (std::abs(along_x) + std::abs(along_y));
  if (met.at_edge) met.depth = std::min({a[2], b[2], c[2]});
  return met;
}

Caster::Met Caster::Meet(const Face& face, Number column, Number row) const {
  Met met;
  int turns = 0;
  const Vector* some[3] = {};
  for (const std::vector<Vector>& contour : face.contours) {
    for (std::size_t i = 0; i < contour.size(); ++i) {
      const Vector &a = contour[i], &b = contour[(i + 1) % contour.size()];
      if (DistanceToSide(a, b, column, row) < kNear) met.at_edge = true;
      // Sides that pass the point on its right.
      const Number side = (b[0] - a[0]) * (row - a[1]) - (b[1] - a[1]) * (column - a[0]);
      if (a[1] <= row && b[1] > row && side < 0) --turns;
      if (b[1] <= row && a[1] > row && side > 0) ++turns;
    }
  }
  met.inside = turns != 0;
  if (face.contours.empty()) return met;
  const std::vector<Vector>& any = face.contours[0];
  for (std::size_t i = 0; i < 3; ++i) some[i] = &any[i];
  const Vector &a = *some[0], &b = *some[1], &c = *some[2];
  const Number bx = b[0] - a[0], by = b[1] - a[1], cx = c[0] - a[0], cy = c[1] - a[1],
               det = bx * cy - by * cx;
  const Number px = column - a[0], py = row - a[1];
  met.depth = a[2] + (px * cy - py * cx) / det * (b[2] - a[2]) + (bx * py - by * px) / det * (c[2] - a[2]);
  met.uncertain = kNear *
                  (std::abs(cy * (b[2] - a[2]) - by * (c[2] - a[2])) +
                   std::abs(bx * (c[2] - a[2]) - cx * (b[2] - a[2]))) /
                  std::abs(det);
  return met;
}

Hit Caster::At(std::size_t x, std::size_t y, std::size_t sample) const {
  constexpr int kAcross[4] = {3, 7, 1, 5};
  const Number column = Number(x) + kAcross[sample] / 8.0L, row = Number(y) + (2 * Number(sample) + 1) / 8;
  Hit hit;
  Number edge = 1e30L;
  const auto look = [&](std::uint32_t facet, const Met& met) {
    if (met.at_edge) edge = std::min(edge, met.depth);
    if (!met.inside || (hit.found && met.depth >= hit.depth)) return;
    hit.found = true;
    hit.facet = facet;
    hit.depth = met.depth;
    hit.uncertain = met.uncertain;
  };
  for (const Triangle& triangle : triangles_) look(triangle.facet, Meet(triangle, column, row));
  for (const Face& face : faces_) look(face.facet, Meet(face, column, row));
  hit.near_edge = edge < (hit.found ? hit.depth + hit.uncertain + 2 : 1e29L);
  return hit;
}

bool Caster::DepthOf(std::uint32_t facet, std::size_t x, std::size_t y, std::size_t sample,
                     long double& depth) const {
  constexpr int kAcross[4] = {3, 7, 1, 5};
  const Number column = Number(x) + kAcross[sample] / 8.0L, row = Number(y) + (2 * Number(sample) + 1) / 8;
  bool found = false;
  const auto look = [&](const Met& met) {
    if (!met.inside || (found && met.depth >= depth)) return;
    found = true;
    depth = met.depth;
  };
  for (const Triangle& triangle : triangles_) {
    if (triangle.facet == facet) look(Meet(triangle, column, row));
  }
  for (const Face& face : faces_) {
    if (face.facet == facet) look(Meet(face, column, row));
  }
  return found;
}

}  // namespace ray_caster
