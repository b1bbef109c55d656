/// Where the points of a scene lie in its picture, and how its facets are numbered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "trqprep/render.h"

namespace trqprep::view {

/// Right, up, and towards whoever looks, in the scene's unit.
struct Spot {
  double r = 0, u = 0, t = 0;
};

inline Spot operator-(const Spot& a, const Spot& b) { return {a.r - b.r, a.u - b.u, a.t - b.t}; }
inline Spot Cross(const Spot& a, const Spot& b) {
  return {a.u * b.t - a.t * b.u, a.t * b.r - a.r * b.t, a.r * b.u - a.u * b.r};
}
inline double Dot(const Spot& a, const Spot& b) { return a.r * b.r + a.u * b.u + a.t * b.t; }

/// From an object's coordinates to the picture's.
class ObjectView {
 public:
  ObjectView() = default;
  ObjectView(const ViewAxes& axes, double factor, const std::array<double, 3>& move) {
    const std::array<double, 3>* rows[] = {&axes.right, &axes.up, &axes.toward};
    for (std::size_t i = 0; i < 3; ++i) {
      const std::array<double, 3>& row = *rows[i];
      for (std::size_t k = 0; k < 3; ++k) m_[i][k] = row[k] * factor;
      m_[i][3] = row[0] * move[0] + row[1] * move[1] + row[2] * move[2];
    }
  }
  Spot At(double x, double y, double z) const {
    return {m_[0][0] * x + m_[0][1] * y + m_[0][2] * z + m_[0][3],
            m_[1][0] * x + m_[1][1] * y + m_[1][2] * z + m_[1][3],
            m_[2][0] * x + m_[2][1] * y + m_[2][2] * z + m_[2][3]};
  }
  Spot At(const float* p) const { return At(double(p[0]), double(p[1]), double(p[2])); }

 private:
  double m_[3][4] = {};
};

/// A contour of a stack, or the face of a layer, with the number of its first facet.
struct StackPart {
  std::uint32_t first = 0;
  std::uint32_t layer = 0;                    ///< index among the object's layers
  const trq::SlcBoundary* contour = nullptr;  ///< null: the face
};

/// An object with the numbers of its facets.
struct NumberedObject {
  const SceneObject* object = nullptr;
  ObjectView view;
  std::uint32_t first = 0;
  std::uint32_t count = 0;
  std::vector<StackPart> parts;  ///< of a stack, by `first`

  /// The part that a facet of this object belongs to.
  const StackPart& PartOf(std::uint32_t facet) const;
};

std::vector<NumberedObject> NumberFacets(const Scene& scene, const ViewFrame& frame);

/// Corners of the wall along edge `i` of a contour: the lower two, then the upper two, counter-clockwise seen
/// from outside of a contour that runs counter-clockwise.
void WallCorners(const NumberedObject& object, const StackPart& part, std::size_t i, Spot (&corners)[4]);

/// How the depth of points at one height changes to the right and upwards; false where heights are seen from
/// the side.
bool SlopeOfHeights(const ViewAxes& axes, double& along_right, double& along_up);

/// Options for a picture of which each pixel stands for so many times as many along both sides. Sides have 16
/// pixels at least: a whole picture then only of one that has 16 times as many.
RenderOptions Coarser(RenderOptions options, std::size_t times);

/// Does work(from, to) of 0..count on so many threads, each a share.
void InShares(std::size_t count, int threads, const std::function<void(std::size_t, std::size_t)>& work);

}  // namespace trqprep::view
