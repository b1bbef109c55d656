#include "trqprep/layer_picture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace trqprep {
namespace {

// An edge in pixels, from the upper end downwards.
struct Edge {
  double x0, y0, x1, y1;
  double sign;

  double XAt(double y) const {
    if (y <= y0) return x0;
    return y >= y1 ? x1 : x0 + (y - y0) / (y1 - y0) * (x1 - x0);
  }
};

// What lies to the right of a part of an edge within a row, as differences from pixel to pixel.
class Row {
 public:
  explicit Row(std::size_t width) : width_(width), steps_(width + 2, 0.0) {}

  void Add(double x0, double x1, double height) {
    if (x0 > x1) std::swap(x0, x1);
    const auto right = double(width_);
    if (x1 <= 0) return AddIn(0, 0, 0, height);
    if (x0 >= right) return;
    if (x0 < 0) {
      const double share = -x0 / (x1 - x0);
      AddIn(0, 0, 0, height * share);
      height -= height * share;
      x0 = 0;
    }
    if (x1 > right) {
      height *= (right - x0) / (x1 - x0);
      x1 = right;
    }
    auto column = std::min(std::size_t(x0), width_ - 1);
    const double whole = x1 - x0;
    if (x1 <= double(column + 1)) return AddIn(column, x0, x1, height);
    for (double from = x0; from < x1; ++column) {
      const double to = std::min(x1, double(column + 1));
      AddIn(column, from, to, height * ((to - from) / whole));
      from = to;
    }
  }

  void Take(std::uint8_t* pixels) {
    double inside = 0;
    for (std::size_t x = 0; x < width_; ++x) {
      inside += steps_[x];
      pixels[x] = static_cast<std::uint8_t>(std::round(255 * std::min(1.0, std::abs(inside))));
    }
    std::fill(steps_.begin(), steps_.end(), 0.0);
  }

 private:
  // Of a part that lies in one column.
  void AddIn(std::size_t column, double x0, double x1, double height) {
    const double left = 0.5 * (x0 + x1) - double(column);
    steps_[column] += height * (1 - left);
    steps_[column + 1] += height * left;
  }

  std::size_t width_;
  std::vector<double> steps_;
};

std::vector<Edge> EdgesOf(const trq::SlcLayer& layer, const PictureFrame& frame) {
  std::vector<Edge> edges;
  const auto bottom = double(frame.height);
  for (const trq::SlcBoundary& boundary : layer.boundaries()) {
    const std::size_t count = boundary.vertex_count;
    const float* p = boundary.points;
    if (!std::all_of(p, p + 2 * count, [](float c) { return std::isfinite(c); })) continue;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t next = i + 1 < count ? i + 1 : 0;
      const double ax = (double(p[2 * i]) - frame.left) / frame.pixel;
      const double ay = (frame.top - double(p[2 * i + 1])) / frame.pixel;
      const double bx = (double(p[2 * next]) - frame.left) / frame.pixel;
      const double by = (frame.top - double(p[2 * next + 1])) / frame.pixel;
      if (ay == by || std::max(ay, by) <= 0 || std::min(ay, by) >= bottom) continue;
      edges.push_back(ay < by ? Edge{ax, ay, bx, by, 1.0} : Edge{bx, by, ax, ay, -1.0});
    }
  }
  return edges;
}

// Three bits a row, five rows, from the top: 0 to 9, then point, minus, z, m, i, n.
constexpr char kCharacters[] = "0123456789.-zmin";
constexpr std::uint16_t kLetters[] = {
    0b111'101'101'101'111, 0b010'110'010'010'111, 0b111'001'111'100'111, 0b111'001'111'001'111,
    0b101'101'111'001'001, 0b111'100'111'001'111, 0b111'100'111'101'111, 0b111'001'010'010'010,
    0b111'101'111'101'111, 0b111'101'111'001'111, 0b000'000'000'000'010, 0b000'000'111'000'000,
    0b000'111'001'010'111, 0b000'111'111'101'101, 0b010'000'010'010'010, 0b000'111'101'101'101,
};

}  // namespace

GreyImage DrawLayer(const trq::SlcLayer& layer, const PictureFrame& frame) {
  GreyImage image(frame.width, frame.height);
  if (image.pixels.empty()) return image;
  std::vector<Edge> edges = EdgesOf(layer, frame);
  std::stable_sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.y0 < b.y0; });
  Row row(frame.width);
  std::vector<std::size_t> active;
  std::size_t next = 0;
  for (std::size_t y = 0; y < frame.height; ++y) {
    const auto top = double(y), bottom = double(y + 1);
    while (next < edges.size() && edges[next].y0 < bottom) active.push_back(next++);
    active.erase(
        std::remove_if(active.begin(), active.end(), [&](std::size_t i) { return edges[i].y1 <= top; }),
        active.end());
    if (active.empty()) continue;
    for (const std::size_t i : active) {
      const Edge& edge = edges[i];
      const double from = std::max(edge.y0, top), to = std::min(edge.y1, bottom);
      row.Add(edge.XAt(from), edge.XAt(to), edge.sign * (to - from));
    }
    row.Take(&image.at(0, y));
  }
  return image;
}

void GreyImage::Put(const GreyImage& other, std::size_t x, std::size_t y) {
  if (x >= width || y >= height) return;
  const std::size_t columns = std::min(other.width, width - x), rows = std::min(other.height, height - y);
  for (std::size_t row = 0; row < rows; ++row) {
    std::copy_n(other.pixels.begin() + std::ptrdiff_t(row * other.width), columns,
                pixels.begin() + std::ptrdiff_t((y + row) * width + x));
  }
}

void GreyImage::Write(const std::string& text, std::size_t x, std::size_t y, std::size_t scale,
                      std::uint8_t grey) {
  for (const char c : text) {
    const char* found = c == '\0' ? nullptr : std::strchr(kCharacters, c);
    const std::uint16_t letter = found ? kLetters[found - kCharacters] : std::uint16_t{0};
    for (std::size_t k = 0; k < 15; ++k) {
      if (!(letter >> (14 - k) & 1)) continue;
      GreyImage dot(scale, scale);
      std::fill(dot.pixels.begin(), dot.pixels.end(), grey);
      Put(dot, x + k % 3 * scale, y + k / 3 * scale);
    }
    x += kLetterWidth * scale;
  }
}

}  // namespace trqprep
