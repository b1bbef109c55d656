/// Lines, discs and letters over a picture in the making.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "trqprep/render.h"

namespace trqprep::view {

/// Red, green and blue from 0 to 1.
struct Tint {
  float red = 0, green = 0, blue = 0;
};

constexpr Tint TintOf(const Colour& colour) {
  return {float(colour.red) / 255, float(colour.green) / 255, float(colour.blue) / 255};
}
constexpr Tint Mixed(const Tint& a, const Tint& b, float share) {
  return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
          a.blue + (b.blue - a.blue) * share};
}

/// Places are in pixels from the upper left corner.
struct Place {
  double x = 0, y = 0;
};

/// The side of a dot of letters: letters are 5 dots wide and 7 high, a dot apart, and lowercase ones reach
/// two dots lower.
std::size_t LetterScale(std::size_t width, std::size_t height);
/// The height of the scale bar with its words, with the space above it.
double ScaleBarHeight(std::size_t width, std::size_t height);
/// The rows of a letter from the top, five bits each, of which the highest is the left one; rows 8 and 9 lie
/// below the line. Characters without a letter are a box.
const unsigned char (&LetterOf(char character))[9];

/// What is behind is covered as far as what is laid over it is opaque.
class Canvas {
 public:
  Canvas(std::size_t width, std::size_t height) : width_(width), height_(height), pixels_(width * height) {}
  std::size_t width() const { return width_; }
  std::size_t height() const { return height_; }

  void Lay(std::size_t x, std::size_t y, const Tint& tint, float opacity);
  /// How much of a line is seen in a pixel at a share 0..1 of its length.
  using Seen = std::function<float(std::size_t x, std::size_t y, double share)>;
  void Line(const Place& from, const Place& to, double thickness, const Tint& tint, float opacity,
            const Seen& seen = nullptr);
  void Disc(const Place& middle, double radius, const Tint& tint, float opacity);
  void Rectangle(double x, double y, double width, double height, const Tint& tint, float opacity);
  /// With the upper left corner of the first letter there.
  void Write(const std::string& text, double x, double y, std::size_t scale, const Tint& tint,
             float opacity = 1);
  static double WidthOf(const std::string& text, std::size_t scale) {
    return text.empty() ? 0 : double((6 * text.size() - 1) * scale);
  }

  ColourImage Picture() const;

 private:
  // Red, green and blue times the opacity.
  struct Pixel {
    float red = 0, green = 0, blue = 0, opacity = 0;
  };
  std::size_t width_, height_;
  std::vector<Pixel> pixels_;
};

}  // namespace trqprep::view
