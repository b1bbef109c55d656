/// What a sample of a picture shows, found by looking along its ray at every facet, in extended precision and
/// from the corners as they are.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trqprep/render.h"

namespace ray_caster {

/// What lies on a ray.
struct Hit {
  bool found = false;
  std::uint32_t facet = 0;
  long double depth = 0;      ///< in depth units
  long double uncertain = 0;  ///< how much depth changes within a millionth of a pixel
  bool near_edge = false;     ///< an edge that may be the one seen is within a millionth of a pixel
};

class Caster {
 public:
  Caster(const trqprep::Scene& scene, const trqprep::ViewFrame& frame);
  Hit At(std::size_t x, std::size_t y, std::size_t sample) const;
  /// Depth on a ray of the facet of that number; false where the ray does not meet it.
  bool DepthOf(std::uint32_t facet, std::size_t x, std::size_t y, std::size_t sample,
               long double& depth) const;

 private:
  using Number = long double;
  using Vector = std::array<Number, 3>;  // column, row, depth
  struct Triangle {
    std::uint32_t facet;
    Vector corners[3];
    double box[4];  // of columns, then of rows, and somewhat larger
  };
  // The face of a layer: contours as they lie in the picture, all at one height.
  struct Face {
    std::uint32_t facet;
    std::vector<std::vector<Vector>> contours;
  };
  struct Met {
    bool inside = false, at_edge = false;
    Number depth = 0, uncertain = 0;
  };
  void Add(std::uint32_t facet, const Vector& a, const Vector& b, const Vector& c);
  Vector Place(const trqprep::SceneObject& object, Number x, Number y, Number z) const;
  static Met Meet(const Triangle& triangle, Number column, Number row);
  Met Meet(const Face& face, Number column, Number row) const;

  trqprep::ViewFrame frame_;
  std::vector<Triangle> triangles_;
  std::vector<Face> faces_;
};

}  // namespace ray_caster
