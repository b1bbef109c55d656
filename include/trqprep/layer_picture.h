/// Grey pictures of layers, and PNG files of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trq/slice_contours.h"

namespace trqprep {

/// Rows from the top downwards, a byte a pixel: 0 is empty, 255 is full.
struct GreyImage {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> pixels;

  GreyImage() = default;
  GreyImage(std::size_t columns, std::size_t rows) : width(columns), height(rows), pixels(columns * rows) {}
  std::uint8_t& at(std::size_t x, std::size_t y) { return pixels[y * width + x]; }
  /// Puts another picture in with its upper left corner there; what does not fit is cut off.
  void Put(const GreyImage& other, std::size_t x, std::size_t y);
  static constexpr std::size_t kLetterWidth = 4;  ///< with the blank behind it
  /// Writes figures, points, minus signs, blanks and the letters z, m, i and n, 5 pixels high times `scale`,
  /// with its upper left corner there; anything else leaves a blank.
  void Write(const std::string& text, std::size_t x, std::size_t y, std::size_t scale, std::uint8_t grey);
};

/// Where a picture lies in the plane: `left` and `top` are those of its first pixel, lengths are the file's.
struct PictureFrame {
  double left = 0;
  double top = 0;
  double pixel = 1;  ///< side of one
  std::size_t width = 0;
  std::size_t height = 0;
};

/// The share of each pixel that lies inside the layer, exactly, rounded to the nearest of 255. Inside is what
/// the contours wind round; boundaries with a vertex that is not finite are left out. Takes time in
/// proportion to pixels and to the pixels that edges pass, memory for a row and the edges. (Signed areas to
/// the right of every edge, summed along the row: the usual way of exact coverage.)
GreyImage DrawLayer(const trq::SlcLayer& layer, const PictureFrame& frame);

/// The PNG file of a picture, 8 bit grey; `pixels_per_metre` above 0 is stated in it. The same bytes with the
/// same libpng and zlib. Throws std::bad_alloc.
std::string PngOf(const GreyImage& image, std::uint32_t pixels_per_metre = 0);

}  // namespace trqprep
