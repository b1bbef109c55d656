/// Twenty scenes for tests of pictures, made with the four operations and square roots alone, so that they
/// are the same wherever they are made.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <list>
#include <string>
#include <vector>

#include "trqprep/render.h"

namespace picture_scenes {

struct Mesh {
  std::vector<PbVec3f> vertices;
  std::vector<R_INT4> triangles;

  int Add(double x, double y, double z) {
    vertices.emplace_back(float(x), float(y), float(z));
    return int(vertices.size()) - 1;
  }
  void Facet(int a, int b, int c) {
    R_INT4 triangle{};
    triangle[0] = a;
    triangle[1] = b;
    triangle[2] = c;
    triangles.push_back(triangle);
  }
};

/// A scene with what it looks at.
struct Example {
  std::string name;
  std::list<Mesh> meshes;
  std::list<trq::SlcLayer> layers;
  trqprep::Scene scene;
  trqprep::RenderOptions options;

  trqprep::SceneObject& Add(Mesh mesh, trqprep::Colour colour = {126, 166, 204}) {
    meshes.push_back(std::move(mesh));
    trqprep::SceneObject object;
    const Mesh& kept = meshes.back();
    object.mesh = {kept.vertices, kept.vertices.size(), kept.triangles};
    object.colour = colour;
    scene.objects.push_back(std::move(object));
    return scene.objects.back();
  }
  void AddLayer(trqprep::SceneObject& object, double bottom, double top,
                const std::vector<std::vector<std::array<float, 2>>>& contours) {
    layers.emplace_back(float(bottom));
    for (const auto& contour : contours) {
      float* p = layers.back().AddBoundary(std::uint32_t(contour.size()), 0);
      for (const auto& point : contour) {
        *p++ = point[0];
        *p++ = point[1];
      }
    }
    object.layers.push_back({bottom, top, &layers.back()});
  }
};

/// Sine and cosine with this tangent of half the angle.
struct Turn {
  explicit Turn(double t) : cosine((1 - t * t) / (1 + t * t)), sine(2 * t / (1 + t * t)) {}
  double cosine, sine;
};

inline trqprep::ViewAxes Axes(double around, double above) {
  const Turn a(around), e(above);
  return {{a.cosine, a.sine, 0},
          {-a.sine * e.sine, a.cosine * e.sine, e.cosine},
          {a.sine * e.cosine, -a.cosine * e.cosine, e.sine}};
}
inline trqprep::ViewAxes Iso() { return Axes(0.41421356, 0.31783725); }
inline trqprep::ViewAxes FromAbove() { return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}; }
inline trqprep::ViewAxes FromFront() { return {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}; }

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 2654435761u + 88172645463325252u) {}
  /// From 0 to below 1.
  double Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return double(state_ >> 11) / 9007199254740992.0;
  }
  double Between(double low, double high) { return low + (high - low) * Next(); }

 private:
  std::uint64_t state_;
};

inline Mesh Block(double x0, double y0, double z0, double x1, double y1, double z1) {
  Mesh mesh;
  for (int i = 0; i < 8; ++i) mesh.Add(i & 1 ? x1 : x0, i & 2 ? y1 : y0, i & 4 ? z1 : z0);
  for (const std::array<int, 4>& q : std::initializer_list<std::array<int, 4>>{
           {0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}}) {
    mesh.Facet(q[0], q[1], q[2]);
    mesh.Facet(q[0], q[2], q[3]);
  }
  return mesh;
}

/// An octahedron whose facets are parted so often, pushed out to a ball.
inline Mesh Ball(double x, double y, double z, double radius, int times, bool inside_out = false) {
  Mesh mesh;
  for (int i = 0; i < 6; ++i) {
    const double side = i % 2 ? -radius : radius;
    mesh.Add(x + (i / 2 == 0 ? side : 0), y + (i / 2 == 1 ? side : 0), z + (i / 2 == 2 ? side : 0));
  }
  for (int i = 0; i < 8; ++i) {
    const int a = i & 1 ? 1 : 0, b = i & 2 ? 3 : 2, c = i & 4 ? 5 : 4;
    const bool odd = ((i & 1) + (i >> 1 & 1) + (i >> 2 & 1)) % 2 != 0;
    odd ? mesh.Facet(a, c, b) : mesh.Facet(a, b, c);
  }
  for (int n = 0; n < times; ++n) {
    const std::vector<R_INT4> old = std::move(mesh.triangles);
    mesh.triangles.clear();
    for (const R_INT4& t : old) {
      int middle[3];
      for (int k = 0; k < 3; ++k) {
        const auto &p = mesh.vertices[std::size_t(t[k])], &q = mesh.vertices[std::size_t(t[(k + 1) % 3])];
        const double dx = (double(p[0]) + double(q[0])) / 2 - x, dy = (double(p[1]) + double(q[1])) / 2 - y,
                     dz = (double(p[2]) + double(q[2])) / 2 - z;
        const double stretch = radius / std::sqrt(dx * dx + dy * dy + dz * dz);
        middle[k] = mesh.Add(x + dx * stretch, y + dy * stretch, z + dz * stretch);
      }
      mesh.Facet(t[0], middle[0], middle[2]);
      mesh.Facet(middle[0], t[1], middle[1]);
      mesh.Facet(middle[2], middle[1], t[2]);
      mesh.Facet(middle[0], middle[1], middle[2]);
    }
  }
  if (inside_out) {
    for (R_INT4& t : mesh.triangles) std::swap(t[1], t[2]);
  }
  return mesh;
}

inline Mesh Soup(std::uint64_t seed, int count, double size, double spread) {
  Mesh mesh;
  Random random(seed);
  for (int i = 0; i < count; ++i) {
    const double x = random.Between(-spread, spread), y = random.Between(-spread, spread),
                 z = random.Between(-spread, spread);
    int corner[3];
    for (int& c : corner) {
      // One after the other: the order of arguments is the compiler's.
      const double dx = random.Between(-size, size), dy = random.Between(-size, size),
                   dz = random.Between(-size, size);
      c = mesh.Add(x + dx, y + dy, z + dz);
    }
    mesh.Facet(corner[0], corner[1], corner[2]);
  }
  return mesh;
}

/// A sheet of `n` by `n` squares with hills, open at its border.
inline Mesh Hills(int n, double size, double height) {
  Mesh mesh;
  for (int i = 0; i <= n; ++i) {
    for (int j = 0; j <= n; ++j) {
      const double u = double(i % 8) / 4 - 1, v = double(j % 8) / 4 - 1;
      mesh.Add(size * i / n, size * j / n, height * (1 - u * u) * (1 - v * v));
    }
  }
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const int a = i * (n + 1) + j, b = a + n + 1;
      mesh.Facet(a, b, b + 1);
      mesh.Facet(a, b + 1, a + 1);
    }
  }
  return mesh;
}

inline std::vector<std::array<float, 2>> Rectangle(double x0, double y0, double x1, double y1,
                                                   bool hole = false) {
  const auto a = float(x0), b = float(y0), c = float(x1), d = float(y1);
  if (hole) return {{a, b}, {a, d}, {c, d}, {c, b}, {a, b}};
  return {{a, b}, {c, b}, {c, d}, {a, d}, {a, b}};
}

/// All of them. Small: every sample is compared with every facet.
inline std::list<Example> All() {
  std::list<Example> all;
  const auto add = [&](const char* name, const trqprep::ViewAxes& axes, std::size_t width = 96,
                       std::size_t height = 72) -> Example& {
    Example& example = all.emplace_back();
    example.name = name;
    example.options.axes = axes;
    example.options.width = width;
    example.options.height = height;
    example.scene.unit = "mm";
    return example;
  };
  add("block", Iso()).Add(Block(0, 0, 0, 30, 20, 10));
  add("block from above", FromAbove()).Add(Block(0, 0, 0, 30, 20, 10));
  add("block from the front", FromFront()).Add(Block(0, 0, 0, 30, 20, 10));
  add("ball", Iso()).Add(Ball(0, 0, 0, 10, 4));
  {
    Example& example = add("smooth ball", Axes(0.2, 0.1));
    example.Add(Ball(1, 2, 3, 10, 3), {214, 142, 130});
    example.options.smooth = true;
  }
  add("ball inside out", Iso()).Add(Ball(0, 0, 0, 10, 3, true));
  {
    Example& example = add("balls through each other", Axes(-0.3, 0.25));
    example.Add(Ball(0, 0, 0, 10, 3), {126, 166, 204});
    example.Add(Ball(7, 3, 2, 6, 3), {226, 180, 122});
  }
  add("soup", Iso()).Add(Soup(1, 700, 4, 10));
  add("dust", Axes(0.7, -0.2)).Add(Soup(2, 2500, 0.15, 10));
  add("needles", Axes(0.5, 0.4)).Add([] {
    Mesh mesh;
    Random random(3);
    for (int i = 0; i < 400; ++i) {
      const double x = random.Between(-10, 10), y = random.Between(-10, 10), z = random.Between(-10, 10);
      const int a = mesh.Add(x, y, z), b = mesh.Add(y, z, x), c = mesh.Add(x + 0.01, y + 0.002, z - 0.003);
      mesh.Facet(a, b, c);
    }
    return mesh;
  }());
  add("hills", Axes(0.4, 0.3)).Add(Hills(24, 50, 6));
  add("hills from below", Axes(-0.6, -0.35)).Add(Hills(24, 50, 6));
  {
    // The second and third lie in the plane of the first.
    Example& example = add("twins", FromAbove());
    example.Add(Block(0, 0, 0, 10, 10, 4), {126, 166, 204});
    example.Add(Block(0, 0, 0, 10, 10, 4), {226, 180, 122});
    example.Add(Block(5, 5, 0, 15, 15, 4), {142, 188, 152});
  }
  add("far away", Iso()).Add([] {
    Mesh mesh = Ball(0, 0, 0, 40, 3);
    for (PbVec3f& v : mesh.vertices) v = PbVec3f(v[0] + 1e6f, v[1] - 2e6f, v[2] + 5e5f);
    return mesh;
  }());
  {
    Example& example = add("inches beside millimetres", Iso(), 120, 40);
    trqprep::SceneObject& object = example.Add(Block(0, 0, 0, 1, 1, 1));
    object.factor = 25.4;
    object.move = {40, 0, 0};
    example.Add(Ball(10, 10, 10, 10, 3), {168, 156, 206});
  }
  {
    Example& example = add("no area", Iso(), 33, 97);
    Mesh mesh = Ball(0, 0, 0, 5, 2);
    mesh.Facet(0, 0, 1);
    mesh.Facet(2, 3, 3);
    mesh.Facet(7, 7, 7);
    example.Add(std::move(mesh));
    example.Add(Mesh());
  }
  {
    Example& example = add("tube of layers", Iso());
    trqprep::SceneObject& object = example.Add(Mesh(), {118, 184, 186});
    for (int i = 0; i < 12; ++i) {
      example.AddLayer(object, i, i + 1,
                       {Rectangle(0, 0, 20, 14), Rectangle(4 + 0.3 * i, 3, 16 - 0.3 * i, 11, true),
                        Rectangle(8, 5, 12, 9)});
    }
  }
  {
    Example& example = add("steps of layers from below", Axes(0.3, -0.3));
    trqprep::SceneObject& object = example.Add(Mesh(), {206, 152, 186});
    for (int i = 0; i < 10; ++i) {
      const double in = 0.7 * i;
      // Contours that overlap are one area.
      example.AddLayer(
          object, 0.5 * i, 0.5 * (i + 1),
          {Rectangle(in, in, 12, 20 - in), Rectangle(8, 5, 24 - in, 15), Rectangle(9, 7, 11, 9)});
    }
  }
  {
    Example& example = add("layers and a ball from the front", FromFront());
    trqprep::SceneObject& object = example.Add(Ball(30, 5, 6, 6, 3), {164, 176, 188});
    for (int i = 0; i < 6; ++i) {
      example.AddLayer(object, 2 * i, 2 * i + 2, {{{0, 0}, {20, float(i)}, {18, 12}, {float(i), 15}}});
    }
  }
  {
    Example& example = add("plate", Iso(), 160, 120);
    for (int i = 0; i < 3; ++i) {
      trqprep::SceneObject& object = example.Add(Ball(0, 0, 6, 6, 2), {222, 202, 132});
      object.move = {15.0 + 18 * i, 20.0 + 9 * i, 0};
    }
    example.Add(Block(40, 5, 0, 70, 20, 12)).marked = {4, 5};
    trqprep::SceneGround ground;
    ground.size = {80, 60, 100};
    ground.margin = 5;
    ground.shown = 30;
    example.scene.grounds = {ground};
    example.scene.marks = {{{55, 12, 12}, 7}, {{60, 15, 12}, 0}};
    example.scene.grid = 5;
  }
  return all;
}

}  // namespace picture_scenes
