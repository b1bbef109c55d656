#include <algorithm>
#include <cmath>
#include <memory>

#include "view/canvas.h"
#include "view/facets.h"

namespace trqprep {
namespace {

using view::Canvas;
using view::NumberedObject;
using view::Place;
using view::Spot;
using view::Tint;

constexpr Tint kSky{0.972f, 0.976f, 0.982f}, kFloorOfSky{0.886f, 0.902f, 0.922f};
constexpr Tint kPlate{0.936f, 0.944f, 0.954f};
constexpr Tint kInk{0.20f, 0.25f, 0.31f};
constexpr Tint kShadow{0.16f, 0.20f, 0.27f};
constexpr Tint kInside{0.80f, 0.47f, 0.38f};
constexpr Tint kProblem{0.86f, 0.15f, 0.13f};
constexpr Tint kWhite{1, 1, 1};
constexpr std::uint32_t kNone = 0xFFFFFFFF;
// Cosines of the least angle that is an edge, and of the largest over which smooth shading goes on.
constexpr double kCrease = 0.80, kSmooth = 0.766;

struct Normal {
  float r = 0, u = 0, t = 0;
};

Normal Unit(const Spot& direction) {
  const double length = std::sqrt(Dot(direction, direction));
  if (!(length > 0)) return {0, 0, 1};
  return {float(direction.r / length), float(direction.u / length), float(direction.t / length)};
}

// What a facet looks like.
struct Look {
  std::uint32_t facet = kNone;
  std::uint32_t object = 0;
  Normal normal;         // towards whoever looks
  Tint tint;             // in its light
  Tint line;             // of its edges
  bool layered = false;  // of a stack
};

// What smooth shading needs besides: corners, and the direction of the surface there.
struct Curve {
  Tint tint;
  Spot corners[3];
  Spot normals[3];
};

// A soft light from the upper left, a weaker one from the right, and what comes from everywhere.
Tint Lit(const Tint& tint, const Normal& n) {
  const float key = std::max(0.0f, -0.349f * n.r + 0.549f * n.u + 0.759f * n.t);
  const float fill = std::max(0.0f, 0.80f * n.r + 0.10f * n.u + 0.59f * n.t);
  const float light = 0.57f + 0.42f * key + 0.12f * fill + 0.05f * n.u;
  const float gleam = key * key;
  const float shine = 0.07f * gleam * gleam * gleam * gleam;
  const auto channel = [&](float value) { return std::min(1.0f, value * light + shine); };
  return {channel(tint.red), channel(tint.green), channel(tint.blue)};
}

// Looks of facets by number.
class Looks {
 public:
  Looks(const Scene& scene, const ViewFrame& frame, const RenderOptions& options)
      : objects_(view::NumberFacets(scene, frame)), smooth_(options.smooth) {
    marked_.resize(objects_.size());
    neighbours_.resize(objects_.size());
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      marked_[i] = objects_[i].object->marked;
      std::sort(marked_[i].begin(), marked_[i].end());
      if (smooth_) neighbours_[i] = Neighbours(objects_[i].object->mesh);
    }
  }

  bool smooth() const { return smooth_; }

  // `curve` is filled for smooth shading of a mesh.
  Look Of(std::uint32_t facet, Curve& curve) const {
    Look look;
    look.facet = facet;
    look.object = ObjectOf(facet);
    const NumberedObject& numbered = objects_[look.object];
    const SceneObject& object = *numbered.object;
    const std::uint32_t number = facet - numbered.first;
    Tint tint = view::TintOf(object.colour);
    if (number < object.mesh.triangles.size()) {
      Spot corners[3];
      Spot normal = NormalOf(numbered, number, corners);
      const bool inside = normal.t < 0;
      if (inside) normal = {-normal.r, -normal.u, -normal.t};
      look.normal = Unit(normal);
      if (inside) tint = view::Mixed(tint, kInside, 0.7f);
      const std::vector<std::uint32_t>& marked = marked_[look.object];
      if (!marked.empty() && std::binary_search(marked.begin(), marked.end(), number)) tint = kProblem;
      if (smooth_) Bend(look, number, inside, corners, tint, curve);
    } else {
      const view::StackPart& part = numbered.PartOf(facet);
      Spot normal;
      if (part.contour) {
        Spot corners[4];
        view::WallCorners(numbered, part, facet - part.first, corners);
        normal = Cross(corners[1] - corners[0], corners[2] - corners[0]);
      } else {
        normal = numbered.view.At(0, 0, 1) - numbered.view.At(0, 0, 0);
      }
      if (normal.t < 0) normal = {-normal.r, -normal.u, -normal.t};
      look.normal = Unit(normal);
      look.layered = true;
    }
    look.tint = Lit(tint, look.normal);
    look.line = view::Mixed({0, 0, 0}, tint, 0.30f);
    return look;
  }

  // The tint at a place of a facet whose surface goes on smoothly.
  static Tint TintAt(const Look& look, const Curve& curve, double r, double u) {
    const auto twice = [](const Spot& a, const Spot& b, double x, double y) {
      return (b.r - a.r) * (y - a.u) - (b.u - a.u) * (x - a.r);
    };
    const double area = twice(curve.corners[0], curve.corners[1], curve.corners[2].r, curve.corners[2].u);
    if (look.layered || area == 0) return look.tint;
    Spot sum;
    for (int k = 0; k < 3; ++k) {
      const double share = twice(curve.corners[(k + 1) % 3], curve.corners[(k + 2) % 3], r, u) / area;
      const Spot& normal = curve.normals[k];
      sum = {sum.r + share * normal.r, sum.u + share * normal.u, sum.t + share * normal.t};
    }
    return Lit(curve.tint, Unit(sum));
  }

 private:
  // The facets around each vertex, one vertex after the other.
  struct Around {
    std::vector<std::uint32_t> first, facets;
  };

  static Around Neighbours(const trq::core::MeshView& mesh) {
    Around around;
    around.first.assign(mesh.vertex_count + 2, 0);
    const auto each = [&](const auto& use) {
      for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        for (int k = 0; k < 3; ++k) {
          const auto vertex = std::uint32_t(mesh.triangles[i][k]);
          if (vertex < mesh.vertex_count) use(vertex, std::uint32_t(i));
        }
      }
    };
    each([&](std::uint32_t vertex, std::uint32_t) { ++around.first[vertex + 2]; });
    for (std::size_t i = 2; i < around.first.size(); ++i) around.first[i] += around.first[i - 1];
    around.facets.resize(around.first.back());
    each([&](std::uint32_t vertex, std::uint32_t facet) {
      around.facets[around.first[vertex + 1]++] = facet;
    });
    return around;
  }

  std::uint32_t ObjectOf(std::uint32_t facet) const {
    const auto behind = std::upper_bound(
        objects_.begin(), objects_.end(), facet,
        [](std::uint32_t number, const NumberedObject& object) { return number < object.first; });
    // Objects without facets begin where the next one does.
    return std::uint32_t(behind - objects_.begin()) - 1;
  }

  // As long as twice the area.
  static Spot NormalOf(const NumberedObject& numbered, std::uint32_t number, Spot (&corners)[3]) {
    const trq::core::MeshView& mesh = numbered.object->mesh;
    const R_INT4& triangle = mesh.triangles[number];
    for (int k = 0; k < 3; ++k) corners[k] = numbered.view.At(mesh.Corner(triangle, k));
    return Cross(corners[1] - corners[0], corners[2] - corners[0]);
  }

  // At each corner the sum of the normals of the facets there that go on smoothly.
  void Bend(const Look& look, std::uint32_t number, bool inside, const Spot (&corners)[3], const Tint& tint,
            Curve& curve) const {
    const NumberedObject& numbered = objects_[look.object];
    const Around& around = neighbours_[look.object];
    const double sign = inside ? -1 : 1;
    const Spot own{double(look.normal.r), double(look.normal.u), double(look.normal.t)};
    curve.tint = tint;
    for (int k = 0; k < 3; ++k) {
      curve.corners[k] = corners[k];
      const auto vertex = std::uint32_t(numbered.object->mesh.triangles[number][k]);
      Spot sum;
      if (vertex + 1 < around.first.size()) {
        for (std::uint32_t i = around.first[vertex]; i < around.first[vertex + 1]; ++i) {
          Spot others[3];
          Spot normal = NormalOf(numbered, around.facets[i], others);
          normal = {sign * normal.r, sign * normal.u, sign * normal.t};
          const double length = std::sqrt(Dot(normal, normal));
          if (!(Dot(normal, own) > kSmooth * length)) continue;
          sum = {sum.r + normal.r, sum.u + normal.u, sum.t + normal.t};
        }
      }
      const double length = std::sqrt(Dot(sum, sum));
      curve.normals[k] = length > 0 ? Spot{sum.r / length, sum.u / length, sum.t / length} : own;
    }
  }

  std::vector<NumberedObject> objects_;
  std::vector<std::vector<std::uint32_t>> marked_;
  std::vector<Around> neighbours_;
  bool smooth_;
};

// Space in the picture.
struct Projection {
  explicit Projection(const ViewFrame& view_frame) : frame(view_frame), axes(frame.axes, 1, {0, 0, 0}) {}
  Place Of(const std::array<double, 3>& p) const {
    const Spot spot = axes.At(p[0], p[1], p[2]);
    return {(spot.r - frame.left) / frame.pixel, (frame.top - spot.u) / frame.pixel};
  }
  double DepthOf(const std::array<double, 3>& p) const { return frame.near - axes.At(p[0], p[1], p[2]).t; }
  const ViewFrame& frame;
  view::ObjectView axes;
};

// How much of the light from above does not reach the ground.
class Shadow {
 public:
  Shadow(const Scene& scene, int threads) {
    Scene objects;
    for (const SceneObject& object : scene.objects) {
      objects.objects.push_back({object.mesh, object.layers, object.factor, object.move, {}, {}});
    }
    double lowest = 1e300, size = 0;
    for (const SceneGround& ground : scene.grounds) {
      lowest = std::min(lowest, ground.corner[2]);
      size = std::max({size, ground.size[0], ground.size[1]});
    }
    RenderOptions options;
    options.width = std::min<std::size_t>(1024, 256 * scene.grounds.size());
    options.height = 256;
    options.axes = {{1, 0, 0}, {0, -1, 0}, {0, 0, -1}};  // seen from below
    options.scale_bar = false;
    options.threads = threads;
    options = view::Coarser(options, CoarsenessOf(objects, options));
    frame_ = FrameScene(objects, options);
    // Room for what is soft.
    frame_.pixel *= 1.2;
    frame_.left -= frame_.pixel * double(frame_.width) / 12;
    frame_.top += frame_.pixel * double(frame_.height) / 12;
    const SampleBuffer samples = Rasterise(objects, frame_, threads);
    cover_.assign(frame_.width * frame_.height, 0);
    for (std::size_t i = 0; i < samples.samples.size(); ++i) {
      const std::uint64_t sample = samples.samples[i];
      if (sample == SampleBuffer::kNothing) continue;
      const double height = -(frame_.near - double(sample >> 32) * frame_.depth_unit) - lowest;
      cover_[i / 4] += float(0.25 / (1 + std::max(0.0, height) * 12 / size));
    }
    const auto reach = std::size_t(std::max(1.0, size * 0.012 / frame_.pixel));
    for (int i = 0; i < 3; ++i) {
      for (std::size_t y = 0; y < frame_.height; ++y) Blur(&cover_[y * frame_.width], frame_.width, 1, reach);
      for (std::size_t x = 0; x < frame_.width; ++x) Blur(&cover_[x], frame_.height, frame_.width, reach);
    }
  }

  float At(double x, double y) const {
    const double column = (x - frame_.left) / frame_.pixel - 0.5, row = (frame_.top + y) / frame_.pixel - 0.5;
    if (!(column >= 0 && row >= 0 && column < double(frame_.width - 1) && row < double(frame_.height - 1)))
      return 0;
    const auto i = std::size_t(column), j = std::size_t(row);
    const auto a = float(column - double(i)), b = float(row - double(j));
    const float* p = &cover_[j * frame_.width + i];
    return (p[0] * (1 - a) + p[1] * a) * (1 - b) + (p[frame_.width] * (1 - a) + p[frame_.width + 1] * a) * b;
  }

 private:
  // The mean of each value and as many before and behind it.
  static void Blur(float* values, std::size_t count, std::size_t step, std::size_t reach) {
    std::vector<float> old(count + 2 * reach + 1, 0);
    for (std::size_t i = 0; i < count; ++i) old[i + reach] = values[i * step];
    double sum = 0;
    for (std::size_t i = 0; i < 2 * reach; ++i) sum += double(old[i]);
    for (std::size_t i = 0; i < count; ++i) {
      sum += double(old[i + 2 * reach]);
      values[i * step] = float(sum / double(2 * reach + 1));
      sum -= double(old[i]);
    }
  }

  ViewFrame frame_;
  std::vector<float> cover_;
};

float Smooth(double inside) { return float(std::min(std::max(inside + 0.5, 0.0), 1.0)); }

// The grounds as they are seen from above: plate, shadow, lines.
class Grounds {
 public:
  Grounds(const Scene& scene, const ViewFrame& frame, const RenderOptions& options)
      : scene_(scene), frame_(frame) {
    const auto &r = frame.axes.right, &u = frame.axes.up;
    const double det = r[0] * u[1] - r[1] * u[0];
    seen_ = !scene.grounds.empty() && frame.axes.toward[2] > 0 && std::abs(det) > 1e-3;
    if (!seen_) return;
    // x and y of space by right and up of the picture.
    x_ = {u[1] / det, -r[1] / det};
    y_ = {-u[0] / det, r[0] / det};
    along_x_ = frame.pixel * std::sqrt(x_[0] * x_[0] + x_[1] * x_[1]);
    along_y_ = frame.pixel * std::sqrt(y_[0] * y_[0] + y_[1] * y_[1]);
    shadow_ = std::make_unique<Shadow>(scene, options.threads);
  }

  void Draw(Canvas& canvas, std::size_t column, std::size_t row) const {
    if (!seen_) return;
    const double right = frame_.left + (double(column) + 0.5) * frame_.pixel;
    const double up = frame_.top - (double(row) + 0.5) * frame_.pixel;
    for (const SceneGround& ground : scene_.grounds) {
      const double r = right - frame_.axes.right[2] * ground.corner[2];
      const double u = up - frame_.axes.up[2] * ground.corner[2];
      const double wx = x_[0] * r + x_[1] * u, wy = y_[0] * r + y_[1] * u;
      const double x = wx - ground.corner[0], y = wy - ground.corner[1];
      // How far inside of the walls, in pixels.
      const double to_x = std::min(x, ground.size[0] - x) / along_x_,
                   to_y = std::min(y, ground.size[1] - y) / along_y_;
      const float inside = Smooth(std::min(to_x, to_y));
      if (inside <= 0) continue;
      canvas.Lay(column, row, kPlate, inside);
      const float lines = std::max(Lines(x, along_x_), Lines(y, along_y_));
      if (lines > 0) canvas.Lay(column, row, kInk, inside * lines);
      if (ground.margin > 0) {
        const double mx = to_x - ground.margin / along_x_, my = to_y - ground.margin / along_y_;
        const float line = Smooth(std::min(mx, my)) - Smooth(std::min(mx, my) - 1.2);
        if (line > 0) canvas.Lay(column, row, {0.20f, 0.42f, 0.70f}, 0.45f * line);
      }
      const float border = inside - Smooth(std::min(to_x, to_y) - 1.3);
      if (border > 0) canvas.Lay(column, row, kInk, 0.55f * border);
      const float shadow = shadow_->At(wx, wy);
      if (shadow > 0) canvas.Lay(column, row, kShadow, 0.60f * inside * shadow);
    }
  }

 private:
  // Of lines across one direction, every fifth heavier.
  float Lines(double at, double along) const {
    float found = 0;
    for (const double distance : {scene_.grid, 5 * scene_.grid}) {
      if (distance / along < 5) continue;
      const double nearest = std::abs(at - distance * std::floor(at / distance + 0.5)) / along;
      found = std::max(found, (distance > scene_.grid ? 0.16f : 0.075f) * Smooth(0.5 - nearest));
    }
    return found;
  }

  const Scene& scene_;
  const ViewFrame& frame_;
  bool seen_ = false;
  std::array<double, 2> x_{}, y_{};
  double along_x_ = 1, along_y_ = 1;  // of space in a pixel
  std::unique_ptr<Shadow> shadow_;
};

// Draws rows of pixels; each thread has rows of its own.
class Painter {
 public:
  Painter(Canvas& canvas, const Looks& looks, const Grounds& grounds, const ViewFrame& frame,
          const SampleBuffer& samples, const RenderOptions& options)
      : canvas_(canvas),
        looks_(looks),
        grounds_(grounds),
        frame_(frame),
        samples_(samples),
        options_(options),
        depth_unit_(float(frame.depth_unit / frame.pixel)),
        here_(4 * frame.width),
        below_(4 * frame.width),
        dark_here_(frame.width),
        dark_below_(frame.width),
        curves_(looks.smooth() ? kKnown : 1) {}

  void Draw(std::size_t from, std::size_t to) {
    const std::size_t first = from > 0 ? from - 1 : 0;
    Look_(first, here_);
    for (std::size_t y = first; y < to; ++y) {
      const bool last = y + 1 == frame_.height;
      if (!last) Look_(y + 1, below_);
      for (std::size_t x = 0; x < frame_.width; ++x) {
        for (std::size_t k = 0; k < 4; ++k) {
          const Seen& seen = here_[4 * x + k];
          if (x + 1 < frame_.width)
            Compare(seen, here_[4 * x + 4 + k], true, dark_here_[x], dark_here_[x + 1]);
          if (!last) Compare(seen, below_[4 * x + k], false, dark_here_[x], dark_below_[x]);
        }
      }
      if (y >= from) {
        for (std::size_t x = 0; x < frame_.width; ++x) Paint(x, y);
      }
      here_.swap(below_);
      dark_here_.swap(dark_below_);
      std::fill(dark_below_.begin(), dark_below_.end(), 0.0f);
    }
  }

 private:
  // What a sample shows; depth in pixels.
  struct Seen {
    Look look;
    float depth = 0;
  };

  void Look_(std::size_t y, std::vector<Seen>& row) {
    constexpr double kAcross[4] = {0.375, 0.875, 0.125, 0.625};
    for (std::size_t x = 0; x < frame_.width; ++x) {
      for (std::size_t k = 0; k < 4; ++k) {
        Seen& seen = row[4 * x + k];
        const std::uint64_t sample = samples_.at(x, y, k);
        if (sample == SampleBuffer::kNothing) {
          seen.look.facet = kNone;
          continue;
        }
        const auto facet = std::uint32_t(sample);
        Look& known = known_[facet % kKnown];
        Curve& curve = curves_[looks_.smooth() ? facet % kKnown : 0];
        if (known.facet != facet) known = looks_.Of(facet, curve);
        seen.look = known;
        if (looks_.smooth()) {
          seen.look.tint = Looks::TintAt(known, curve, frame_.left + (double(x) + kAcross[k]) * frame_.pixel,
                                         frame_.top - (double(y) + 0.125 + 0.25 * double(k)) * frame_.pixel);
        }
        seen.depth = float(sample >> 32) * depth_unit_;
      }
    }
  }

  // Makes the nearer one of two neighbours darker where an edge lies between them.
  void Compare(const Seen& a, const Seen& b, bool across, float& dark_a, float& dark_b) const {
    if (a.look.facet == b.look.facet) return;
    if (a.look.facet == kNone || b.look.facet == kNone) {
      (a.look.facet == kNone ? dark_b : dark_a) += 0.25f;
      return;
    }
    const Normal &m = a.look.normal, &n = b.look.normal;
    const float slope_a = (across ? std::abs(m.r) : std::abs(m.u)) / std::max(m.t, 0.04f);
    const float slope_b = (across ? std::abs(n.r) : std::abs(n.u)) / std::max(n.t, 0.04f);
    const float jump = b.depth - a.depth;
    if (std::abs(jump) > 2.0f + 1.5f * std::max(slope_a, slope_b)) {
      (jump > 0 ? dark_a : dark_b) += 0.25f;
    } else if (a.look.object != b.look.object) {
      (jump > 0 ? dark_a : dark_b) += 0.2f;
    } else if (!a.look.layered && m.r * n.r + m.u * n.u + m.t * n.t < float(kCrease)) {
      // The steps of a stack are told apart by their light alone.
      (jump > 0 ? dark_a : dark_b) += 0.125f;
    }
  }

  void Paint(std::size_t x, std::size_t y) {
    const Seen* seen = &here_[4 * x];
    Tint sum, line;
    float count = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const Look& look = seen[k].look;
      if (look.facet == kNone) continue;
      sum = {sum.red + look.tint.red, sum.green + look.tint.green, sum.blue + look.tint.blue};
      line = look.line;
      ++count;
    }
    if (count < 4) {
      if (!options_.transparent) {
        const float down = (float(y) + 0.5f) / float(frame_.height);
        canvas_.Lay(x, y, view::Mixed(kSky, kFloorOfSky, down * down), 1);
      }
      grounds_.Draw(canvas_, x, y);
    }
    if (count == 0) return;
    const Tint mean{sum.red / count, sum.green / count, sum.blue / count};
    const float dark = std::min(1.0f, dark_here_[x]) * 0.72f;
    canvas_.Lay(x, y, dark > 0 ? view::Mixed(mean, line, dark) : mean, count / 4);
  }

  static constexpr std::uint32_t kKnown = 256;
  Canvas& canvas_;
  const Looks& looks_;
  const Grounds& grounds_;
  const ViewFrame& frame_;
  const SampleBuffer& samples_;
  const RenderOptions& options_;
  float depth_unit_;
  std::vector<Seen> here_, below_;
  std::vector<float> dark_here_, dark_below_;
  Look known_[kKnown];
  std::vector<Curve> curves_;
};

// The edges of the vats, behind what stands before them.
void DrawVats(Canvas& canvas, const Scene& scene, const ViewFrame& frame, const SampleBuffer& samples) {
  const Projection projection(frame);
  const bool from_above = frame.axes.toward[2] > 0;
  for (const SceneGround& ground : scene.grounds) {
    const auto corner = [&](int i) {
      std::array<double, 3> p{};
      for (std::size_t k = 0; k < 3; ++k) p[k] = ground.corner[k] + (i >> k & 1 ? ground.size[k] : 0);
      return p;
    };
    // Those of the corner in front would lie over everything.
    int front = 0;
    for (int i = 1; i < 8; ++i) {
      if (projection.DepthOf(corner(i)) < projection.DepthOf(corner(front))) front = i;
    }
    for (int i = 0; i < 8; ++i) {
      for (int k = 0; k < 3; ++k) {
        if (i >> k & 1 || i == front || (i | 1 << k) == front) continue;
        const auto a = corner(i), b = corner(i | 1 << k);
        const bool of_plate = k != 2 && (i & 4) == 0;
        const double deep_a = projection.DepthOf(a), deep_b = projection.DepthOf(b);
        const auto seen = [&](std::size_t x, std::size_t y, double share) {
          const double depth = (deep_a + (deep_b - deep_a) * share) / frame.depth_unit;
          int count = 0;
          for (std::size_t j = 0; j < 4; ++j) count += double(samples.at(x, y, j) >> 32) >= depth ? 1 : 0;
          return float(count) / 4;
        };
        if (of_plate && from_above) continue;  // drawn with the ground
        canvas.Line(projection.Of(a), projection.Of(b), 1, kInk, of_plate ? 0.5f : 0.16f, seen);
      }
    }
  }
}

void DrawMarks(Canvas& canvas, const Scene& scene, const ViewFrame& frame, const SampleBuffer& samples) {
  const Projection projection(frame);
  // Behind something by more than two pixels.
  const auto hidden = [&](const SceneMark& mark, const Place& place) {
    if (!(place.x >= 0 && place.y >= 0 && place.x < double(frame.width) && place.y < double(frame.height)))
      return false;
    const std::uint64_t sample = samples.at(std::size_t(place.x), std::size_t(place.y), 1);
    return projection.DepthOf(mark.at) > double(sample >> 32) * frame.depth_unit + 2 * frame.pixel;
  };
  const auto scale = double(view::LetterScale(frame.width, frame.height));
  const double dot = 1.6 * scale + 0.6;
  for (const SceneMark& mark : scene.marks) {
    const Place place = projection.Of(mark.at);
    canvas.Disc(place, dot + 1, kWhite, 0.9f);
    canvas.Disc(place, dot, kProblem, 1);
    if (hidden(mark, place)) canvas.Disc(place, dot - scale, kWhite, 1);
  }
  std::vector<Place> taken;
  for (const SceneMark& mark : scene.marks) {
    if (mark.number == 0) continue;
    const Place place = projection.Of(mark.at);
    const std::string text = std::to_string(mark.number);
    const double radius = std::max(6.5 * scale, Canvas::WidthOf(text, std::size_t(scale)) / 2 + 3 * scale);
    // Beside the dot, where no other number stands.
    Place best{place.x + 2.0 * radius, place.y - 2.0 * radius};
    constexpr double kAround[8][2] = {{1, -1},  {-1, -1},  {1, 1},    {-1, 1},
                                      {1.4, 0}, {-1.4, 0}, {0, -1.4}, {0, 1.4}};
    for (int ring = 0; ring < 24; ++ring) {
      const int rounds = ring / 8;
      const double far = 1.6 * radius * (1 + rounds * 0.9);
      const Place here{place.x + kAround[ring % 8][0] * far, place.y + kAround[ring % 8][1] * far};
      const bool within = here.x > radius + 1 && here.y > radius + 1 &&
                          here.x < double(frame.width) - radius - 1 &&
                          here.y < double(frame.height) - radius - 1;
      const bool free = std::none_of(taken.begin(), taken.end(), [&](const Place& other) {
        const double dx = other.x - here.x, dy = other.y - here.y;
        return dx * dx + dy * dy < 4.4 * radius * radius;
      });
      if (!within || !free) continue;
      best = here;
      break;
    }
    taken.push_back(best);
    canvas.Line(place, best, scale, kProblem, 0.9f);
    canvas.Disc(best, radius + 0.75 * scale, kWhite, 1);
    canvas.Disc(best, radius, kProblem, 1);
    canvas.Write(text, best.x - Canvas::WidthOf(text, std::size_t(scale)) / 2, best.y - 3.5 * scale,
                 std::size_t(scale), kWhite);
  }
}

// 1, 2 or 5 times a power of ten, about a fifth of the picture wide.
void DrawScaleBar(Canvas& canvas, const Scene& scene, const ViewFrame& frame) {
  const double wanted = frame.pixel * double(frame.width) * 0.22;
  double power = 1;
  int digits = 0;
  while (power * 10 <= wanted && digits < 30) power *= 10, ++digits;
  while (power > wanted && digits > -30) power /= 10, --digits;
  const int times = wanted >= 5 * power ? 5 : wanted >= 2 * power ? 2 : 1;
  const double length = power * times / frame.pixel;
  std::string text;
  if (digits >= -4 && digits <= 5) {
    text = std::to_string(times);
    if (digits >= 0) text += std::string(std::size_t(digits), '0');
    if (digits < 0) text = "0." + std::string(std::size_t(-digits - 1), '0') + text;
  } else {
    text = std::to_string(times) + "e" + std::to_string(digits);
  }
  if (!scene.unit.empty()) text += " " + scene.unit;
  const std::size_t scale = view::LetterScale(frame.width, frame.height);
  const double s = double(scale), border = std::max(4.0, 0.03 * double(std::min(frame.width, frame.height)));
  const double x = std::floor(border), y = std::floor(double(frame.height) - border - 2 * s);
  canvas.Rectangle(x, y, length, 1.5 * s, kInk, 0.9f);
  canvas.Rectangle(x, y - 2 * s, 1.5 * s, 2 * s, kInk, 0.9f);
  canvas.Rectangle(x + length - 1.5 * s, y - 2 * s, 1.5 * s, 2 * s, kInk, 0.9f);
  canvas.Write(text, x + std::max(3 * s, (length - Canvas::WidthOf(text, scale)) / 2), y - 9 * s, scale, kInk,
               0.9f);
}

}  // namespace

ColourImage Shade(const Scene& scene, const ViewFrame& frame, const SampleBuffer& samples,
                  const RenderOptions& options) {
  Canvas canvas(frame.width, frame.height);
  const Looks looks(scene, frame, options);
  const Grounds grounds(scene, frame, options);
  view::InShares(frame.height, options.threads, [&](std::size_t from, std::size_t to) {
    Painter(canvas, looks, grounds, frame, samples, options).Draw(from, to);
  });
  DrawVats(canvas, scene, frame, samples);
  DrawMarks(canvas, scene, frame, samples);
  if (options.scale_bar) DrawScaleBar(canvas, scene, frame);
  return canvas.Picture();
}

}  // namespace trqprep
