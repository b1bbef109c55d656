/// Pictures of meshes and stacks of layers, seen from any side without perspective.
///
/// A picture is made in two steps: Rasterise finds for four samples a pixel which facet is seen and how deep
/// it lies, Shade gives them colours. Both are the same bit by bit on every machine and with any number of
/// threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trq/core/mesh.h"
#include "trq/slice_contours.h"

namespace trqprep {

struct Colour {
  std::uint8_t red = 0, green = 0, blue = 0;
};

/// Rows from the top downwards, four bytes a pixel: red, green, blue, opacity.
struct ColourImage {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> pixels;
};

/// Three directions in space at right angles to each other: of the picture's right and upper side, and
/// towards whoever looks.
struct ViewAxes {
  std::array<double, 3> right{1, 0, 0};
  std::array<double, 3> up{0, 1, 0};
  std::array<double, 3> toward{0, 0, 1};
};

/// One layer of a stack: it reaches from `bottom` to `top`, and what its contours wind round is solid.
/// Contours with a point that is not finite are left out.
struct SceneLayer {
  double bottom = 0;
  double top = 0;
  const trq::SlcLayer* layer = nullptr;
};

/// A mesh or a stack, whose arrays belong to somebody else. A point p of it stands at factor p + move.
/// Coordinates must be finite.
struct SceneObject {
  trq::core::MeshView mesh;
  std::vector<SceneLayer> layers;
  double factor = 1;
  std::array<double, 3> move{0, 0, 0};
  Colour colour{122, 160, 196};
  std::vector<std::uint32_t> marked;  ///< facets of the mesh that are painted red
};

/// The plate that objects stand on, and the vat over it.
struct SceneGround {
  std::array<double, 3> corner{0, 0, 0};  ///< the lower left one
  std::array<double, 3> size{1, 1, 1};
  double margin = 0;  ///< a line so far from the walls; 0: none
  double shown = 1;   ///< so much of the height is in the picture for sure
};

/// A place that is marked in front of everything: a dot, a ring where something lies before it, with the
/// number beside it unless that is 0.
struct SceneMark {
  std::array<double, 3> at{0, 0, 0};
  int number = 0;
};

struct Scene {
  std::vector<SceneObject> objects;
  std::vector<SceneGround> grounds;
  std::vector<SceneMark> marks;
  double grid = 10;  ///< distance of the lines on grounds
  std::string unit;  ///< of lengths, for the scale bar
};

struct RenderOptions {
  std::size_t width = 800;   ///< 16 to 4096
  std::size_t height = 600;  ///< 16 to 4096
  ViewAxes axes;
  bool smooth = false;       ///< facets that meet at less than 40 degrees are shaded as one surface
  bool transparent = false;  ///< nothing behind the objects
  bool scale_bar = true;
  int threads = 1;
  std::size_t deepest = 2048;  ///< so many facets may cover each sample before CoarsenessOf is above 1
};

/// How space lies in the picture. Of a point p with axes . p = (r, u, t), the column is (r - left) / pixel,
/// the row (top - u) / pixel, from the upper left corner of the picture, and the depth (near - t) /
/// depth_unit.
struct ViewFrame {
  ViewAxes axes;  ///< each component rounded to a multiple of 2^-20
  double left = 0;
  double top = 0;
  double pixel = 1;
  double near = 0;
  double depth_unit = 1;
  std::size_t width = 0;
  std::size_t height = 0;
};

/// The facets seen. Sample k = 0..3 of a pixel lies (3, 7, 1, 5)[k] eighths of a pixel right of its left side
/// and (1, 3, 5, 7)[k] eighths below its upper one.
struct SampleBuffer {
  static constexpr std::uint64_t kNothing = ~std::uint64_t{0};
  std::size_t width = 0;
  std::size_t height = 0;
  /// Four a pixel, in rows from the top: the depth, a whole number of depth units, in the upper half, the
  /// number of the facet in the lower.
  std::vector<std::uint64_t> samples;

  std::uint64_t at(std::size_t x, std::size_t y, std::size_t k) const {
    return samples[(y * width + x) * 4 + k];
  }
};

/// A frame in which all of the scene lies inside the picture.
ViewFrame FrameScene(const Scene& scene, const RenderOptions& options);

/// Finds the facet nearest to whoever looks at every sample; of facets equally near, that of the lowest
/// number. Facets are numbered through all objects: those of a mesh as they come; of a stack, layer by layer,
/// the walls along each contour's edges (that of the last point to the first too), then the layer's face.
/// Corners are first put on a grid of 2^-20 of a pixel (coarser in pictures larger than 1024 pixels: 2^-30 of
/// the next power of two); a sample on an edge belongs to one of its facets. Both sides of facets are seen.
/// Of the faces of one stack that lie within a depth unit of each other, one is seen. At most 2^32 - 2
/// facets. Time in proportion to the facets and the samples they cover, but of a stack's faces only to those
/// seen and the rows of all; memory 32 bytes a pixel (40 with stacks) and 12 a vertex. Throws std::bad_alloc.
SampleBuffer Rasterise(const Scene& scene, const ViewFrame& frame, int threads = 1);

/// The picture of samples: soft light, dark lines where depth or direction jumps, the grounds with grid,
/// shadow and vat, marks and the scale bar.
ColourImage Shade(const Scene& scene, const ViewFrame& frame, const SampleBuffer& samples,
                  const RenderOptions& options);

/// How many times coarser than asked for a scene is drawn along both sides: 1, or 2, 4, ... where facets lie
/// over each other so deep that filling all of them would take minutes. They may cover the picture as many
/// times as `deepest` says, and 2000 samples a facet besides; this library's own rule.
std::size_t CoarsenessOf(const Scene& scene, const RenderOptions& options);

/// A picture of the size asked for, and how space lies in it.
struct Rendering {
  ColourImage image;
  std::size_t times = 1;  ///< CoarsenessOf: squares of so many pixels have one colour
  ViewFrame frame;        ///< whose pixels are such squares
};

/// All of it. Throws std::bad_alloc.
Rendering RenderWithFrame(const Scene& scene, const RenderOptions& options);
/// The picture alone.
ColourImage Render(const Scene& scene, const RenderOptions& options);

/// The PNG file of a picture, 8 bit, with opacity when a pixel is not opaque. The same bytes with the same
/// libpng and zlib. Throws std::bad_alloc.
std::string PngOf(const ColourImage& image);

}  // namespace trqprep
