/// The literal form of the shell offset: what the library's faster form must equal.
#pragma once

#include <array>
#include <cmath>
#include <list>
#include <vector>

#include "trq/geometry.h"

namespace literal {

/// offset_ctl as it is described: linked lists, every triangle in turn for every vertex, no tree.
class Shell {
 public:
  explicit Shell(CTL& mesh) : mesh_(mesh) {
    const std::size_t vertex_count = static_cast<std::size_t>(mesh.num_vertices());
    facets_.resize(vertex_count);
    smallest_.assign(vertex_count, 1e30f);
    for (int t = 0; t < mesh.num_triangles(); ++t) {
      for (int k = 0; k < 3; ++k) {
        const int index = mesh.nth(t)[k];
        if (index < 0 || index >= mesh.num_vertices()) continue;
        const D3 p = At(index), a = At(mesh.nth(t)[(k + 1) % 3]), b = At(mesh.nth(t)[(k + 2) % 3]);
        const D3 pa = Minus(a, p), pb = Minus(b, p);
        const std::size_t v = static_cast<std::size_t>(index);
        if (static_cast<float>(Dot(pa, pa)) < smallest_[v]) smallest_[v] = static_cast<float>(Dot(pa, pa));
        if (static_cast<float>(Dot(pb, pb)) < smallest_[v]) smallest_[v] = static_cast<float>(Dot(pb, pb));
        const double w = std::acos(Dot(pa, pb) / (std::sqrt(Dot(pa, pa)) * std::sqrt(Dot(pb, pb))));
        facets_[v].push_back({Wide(mesh.normals()[t]), static_cast<float>(w)});
      }
    }
  }

  /// The shell vertices; `shortened` counts the pushes that validation shortened.
  std::vector<std::array<float, 3>> Make(int& shortened) {
    std::vector<std::array<float, 3>> shell;
    for (int i = 0; i < mesh_.num_vertices(); ++i) {
      const PbVec3f& p = mesh_.vertices()[i];
      const std::size_t v = static_cast<std::size_t>(i);
      if (facets_[v].empty()) {
        shell.push_back({p[0], p[1], p[2]});
        continue;
      }
      const VECTOR direction = DirectionOf(facets_[v]);
      float d = static_cast<float>(std::sqrt(static_cast<double>(smallest_[v])));
      if (d < 0.1) d = static_cast<float>(0.1);
      d = d <= mesh_.offset_limit ? static_cast<float>(d * 0.5) : mesh_.offset_limit;
      if (mesh_.validate_offsets == 1) {
        const float before = d;
        d = Validate(p, direction, d);
        if (d != before) ++shortened;
      }
      const PbVec3f q = Back(p, d, direction);
      shell.push_back({q[0], q[1], q[2]});
    }
    return shell;
  }

  struct D3 {
    double x, y, z;
  };
  static D3 Wide(const PbVec3f& p) { return {p[0], p[1], p[2]}; }
  static D3 Wide(const VECTOR& p) { return {p.x, p.y, p.z}; }

  /// Whether the point is taken to lie on the triangle.
  static bool OnTriangle(const D3& p, const D3& a, const D3& b, const D3& c) {
    for (const D3& v : {p, a, b, c}) {
      if (std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z)) return false;
    }
    const D3 n = Cross(Minus(b, a), Minus(c, a));
    if (Norm(n) != 0 && !(std::abs(Dot(Minus(p, a), n)) / Norm(n) <= 1e-4)) return false;
    for (const D3& v : {a, b, c}) {
      if (Norm(Minus(p, v)) <= 1e-4) return true;
    }
    return Between(p, a, b, c) && Between(p, b, c, a) && Between(p, c, a, b);
  }
  /// Whether the segment from p to q crosses the triangle, whose plane is within d of p.
  static bool Crosses(float d, const PbVec3f& p, const PbVec3f& q, const D3& ca, const D3& cb, const D3& cc) {
    const D3 a = Minus(ca, Wide(p)), b = Minus(cb, Wide(p)), c = Minus(cc, Wide(p));
    const D3 n = Cross(Minus(b, a), Minus(c, a));
    const double k = -Dot(a, n);
    const double distance = std::abs(k) / Norm(n);
    if (distance < 1e-5 || distance > d) return false;
    const D3 u = Minus(Wide(q), Wide(p));
    if (Dot(u, n) == 0) return false;
    const double s = -k / Dot(u, n);
    if (s < 1e-6 || s > 1.000001) return false;
    return OnTriangle(ToFloats({s * u.x, s * u.y, s * u.z}), ToFloats(a), ToFloats(b), ToFloats(c));
  }

 private:
  struct Facet {
    D3 normal;
    float weight;
  };

  static D3 Minus(const D3& a, const D3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
  static double Dot(const D3& a, const D3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
  static D3 Cross(const D3& a, const D3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
  }
  static double Norm(const D3& a) { return std::sqrt(Dot(a, a)); }
  static D3 ToFloats(const D3& a) {
    return {static_cast<float>(a.x), static_cast<float>(a.y), static_cast<float>(a.z)};
  }
  static PbVec3f Back(const PbVec3f& p, float d, const VECTOR& n) {
    return PbVec3f(static_cast<float>(p[0] - static_cast<double>(d) * n.x),
                   static_cast<float>(p[1] - static_cast<double>(d) * n.y),
                   static_cast<float>(p[2] - static_cast<double>(d) * n.z));
  }
  D3 At(int index) const {
    return index >= 0 && index < mesh_.num_vertices() ? Wide(mesh_.vertices()[index]) : D3{0, 0, 0};
  }
  PbVec3f PointAt(int index) const {
    return index >= 0 && index < mesh_.num_vertices() ? mesh_.vertices()[index] : PbVec3f(0, 0, 0);
  }

  static VECTOR DirectionOf(std::list<Facet>& facets) {
    VECTOR direction;
    for (int round = 1; round <= 501; ++round) {
      double total = 0;
      for (const Facet& facet : facets) total += facet.weight;
      double x = 0, y = 0, z = 0;
      for (const Facet& facet : facets) {
        const double f = total > 0 ? facet.weight / total : 1;
        x += f * facet.normal.x;
        y += f * facet.normal.y;
        z += f * facet.normal.z;
      }
      const double norm = std::sqrt(x * x + y * y + z * z);
      direction = norm == 0 ? VECTOR()
                            : VECTOR(static_cast<float>(x / norm), static_cast<float>(y / norm),
                                     static_cast<float>(z / norm));
      double most = -1000;
      Facet* worst = nullptr;
      for (Facet& facet : facets) {
        const double against = -Dot(Wide(direction), facet.normal);
        if (against > most) {
          most = against;
          worst = &facet;
        }
      }
      if (most <= 0) break;
      worst->weight = static_cast<float>(worst->weight * 1.005);
    }
    return direction;
  }

  static bool Between(const D3& p, const D3& x, const D3& y, const D3& z) {
    const D3 xy = Minus(y, x), xz = Minus(z, x), xp = Minus(p, x);
    if (Norm(xy) == 0 || Norm(xz) == 0) return false;
    const double least = Dot(xy, xz) / (Norm(xy) * Norm(xz)) - 1e-5;
    return Dot(xy, xp) / (Norm(xy) * Norm(xp)) >= least && Dot(xz, xp) / (Norm(xz) * Norm(xp)) >= least;
  }

  float Validate(const PbVec3f& p, const VECTOR& direction, float d) {
    PbVec3f q;
    bool first = true;
    for (int t = 0; t < mesh_.num_triangles(); ++t) {
      bool touches = false;
      for (int k = 0; k < 3; ++k) {
        const PbVec3f corner = PointAt(mesh_.nth(t)[k]);
        if (corner[0] == p[0] && corner[1] == p[1] && corner[2] == p[2]) touches = true;
      }
      if (touches) continue;
      if (first) q = Back(p, d, direction);
      first = false;
      while (Crosses(d, p, q, At(mesh_.nth(t)[0]), At(mesh_.nth(t)[1]), At(mesh_.nth(t)[2]))) {
        d = static_cast<float>(d * 0.5);
        q = Back(q, d, direction);
      }
    }
    return d;
  }

  CTL& mesh_;
  std::vector<std::list<Facet>> facets_;
  std::vector<float> smallest_;
};

}  // namespace literal
