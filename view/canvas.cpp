#include "view/canvas.h"

#include <algorithm>
#include <cmath>

namespace trqprep::view {
namespace {

// Of a distance to the border of a shape, above 0 inside.
float Cover(double inside) { return float(std::min(std::max(inside + 0.5, 0.0), 1.0)); }

// The pixels from one that holds `low` to one that holds `high`.
std::pair<std::size_t, std::size_t> PixelsOf(double low, double high, std::size_t count) {
  const double from = std::min(std::max(std::floor(low), 0.0), double(count));
  const double end = std::min(std::max(std::floor(high) + 1, from), double(count));
  return {std::size_t(from), std::size_t(end)};
}

}  // namespace

std::size_t LetterScale(std::size_t width, std::size_t height) {
  return std::max<std::size_t>(1, std::min(width, height) / 300);
}

double ScaleBarHeight(std::size_t width, std::size_t height) {
  return 18 * double(LetterScale(width, height));
}

void Canvas::Lay(std::size_t x, std::size_t y, const Tint& tint, float opacity) {
  Pixel& pixel = pixels_[y * width_ + x];
  const float rest = 1 - opacity;
  pixel.red = tint.red * opacity + pixel.red * rest;
  pixel.green = tint.green * opacity + pixel.green * rest;
  pixel.blue = tint.blue * opacity + pixel.blue * rest;
  pixel.opacity = opacity + pixel.opacity * rest;
}

void Canvas::Line(const Place& from, const Place& to, double thickness, const Tint& tint, float opacity,
                  const Seen& seen) {
  const double dx = to.x - from.x, dy = to.y - from.y;
  const double length = std::sqrt(dx * dx + dy * dy);
  if (!(length > 1e-9)) return;
  const double reach = thickness / 2 + 1;
  const auto [top, bottom] =
      PixelsOf(std::min(from.y, to.y) - reach, std::max(from.y, to.y) + reach, height_);
  for (std::size_t y = top; y < bottom; ++y) {
    // Where the line passes through the row.
    double low = std::min(from.x, to.x), high = std::max(from.x, to.x);
    if (std::abs(dy) > 1e-9) {
      const double a = from.x + (double(y) - reach - from.y) / dy * dx;
      const double b = from.x + (double(y) + 1 + reach - from.y) / dy * dx;
      low = std::max(low, std::min(a, b));
      high = std::min(high, std::max(a, b));
    }
    const auto [left, right] = PixelsOf(low - reach, high + reach, width_);
    for (std::size_t x = left; x < right; ++x) {
      const double px = double(x) + 0.5 - from.x, py = double(y) + 0.5 - from.y;
      const double along = (px * dx + py * dy) / length;
      const double aside = std::abs(px * dy - py * dx) / length;
      float cover = Cover(thickness / 2 - aside) * Cover(std::min(along, length - along));
      if (cover <= 0) continue;
      if (seen) cover *= seen(x, y, std::min(std::max(along / length, 0.0), 1.0));
      if (cover > 0) Lay(x, y, tint, opacity * cover);
    }
  }
}

void Canvas::Disc(const Place& middle, double radius, const Tint& tint, float opacity) {
  const auto [left, right] = PixelsOf(middle.x - radius - 1, middle.x + radius + 1, width_);
  const auto [top, bottom] = PixelsOf(middle.y - radius - 1, middle.y + radius + 1, height_);
  for (std::size_t y = top; y < bottom; ++y) {
    for (std::size_t x = left; x < right; ++x) {
      const double dx = double(x) + 0.5 - middle.x, dy = double(y) + 0.5 - middle.y;
      const float cover = Cover(radius - std::sqrt(dx * dx + dy * dy));
      if (cover > 0) Lay(x, y, tint, opacity * cover);
    }
  }
}

void Canvas::Rectangle(double x0, double y0, double width, double height, const Tint& tint, float opacity) {
  const auto [left, right] = PixelsOf(x0, x0 + width, width_);
  const auto [top, bottom] = PixelsOf(y0, y0 + height, height_);
  const auto part = [](double low, double high, std::size_t pixel) {
    return std::max(0.0, std::min(high, double(pixel) + 1) - std::max(low, double(pixel)));
  };
  for (std::size_t y = top; y < bottom; ++y) {
    for (std::size_t x = left; x < right; ++x) {
      const double cover = part(x0, x0 + width, x) * part(y0, y0 + height, y);
      if (cover > 0) Lay(x, y, tint, opacity * float(cover));
    }
  }
}

void Canvas::Write(const std::string& text, double x, double y, std::size_t scale, const Tint& tint,
                   float opacity) {
  const double dot = double(scale);
  // On whole pixels, so that all dots are alike.
  x = std::floor(x + 0.5);
  y = std::floor(y + 0.5);
  for (const char character : text) {
    const unsigned char(&rows)[9] = LetterOf(character);
    for (std::size_t row = 0; row < 9; ++row) {
      for (std::size_t column = 0; column < 5; ++column) {
        if (rows[row] >> (4 - column) & 1)
          Rectangle(x + dot * double(column), y + dot * double(row), dot, dot, tint, opacity);
      }
    }
    x += 6 * dot;
  }
}

ColourImage Canvas::Picture() const {
  ColourImage image;
  image.width = width_;
  image.height = height_;
  image.pixels.resize(4 * pixels_.size());
  const auto byte = [](float value) {
    return std::uint8_t(std::min(std::max(value, 0.0f), 1.0f) * 255 + 0.5f);
  };
  std::uint8_t* to = image.pixels.data();
  for (const Pixel& pixel : pixels_) {
    const float whole = pixel.opacity > 0 ? 1 / pixel.opacity : 0;
    *to++ = byte(pixel.red * whole);
    *to++ = byte(pixel.green * whole);
    *to++ = byte(pixel.blue * whole);
    *to++ = byte(pixel.opacity);
  }
  return image;
}

}  // namespace trqprep::view
