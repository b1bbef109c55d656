#include "trqprep/render.h"

#include <algorithm>
#include <cmath>

#include "view/canvas.h"
#include "view/facets.h"

namespace trqprep {
namespace {

// Of the picture's sides, left free all around.
constexpr double kMargin = 0.05;

double Rounded(double component) { return std::floor(component * 1048576 + 0.5) / 1048576; }

struct Reach {
  double least = 1e300, most = -1e300;
  void Add(double value) {
    least = std::min(least, value);
    most = std::max(most, value);
  }
  bool empty() const { return !(least <= most); }
  double middle() const { return least + (most - least) / 2; }
};

struct Reaches {
  Reach r, u, t;
  void Add(const view::Spot& spot) {
    r.Add(spot.r);
    u.Add(spot.u);
    t.Add(spot.t);
  }
  void Add(const Reaches& other) {
    if (other.r.empty()) return;
    Add(view::Spot{other.r.least, other.u.least, other.t.least});
    Add(view::Spot{other.r.most, other.u.most, other.t.most});
  }
};

Reaches ReachesOf(const Scene& scene, const ViewAxes& axes, int threads) {
  Reaches all;
  for (const SceneObject& object : scene.objects) {
    const view::ObjectView view(axes, object.factor, object.move);
    std::vector<Reaches> shares(std::size_t(std::max(threads, 1)));
    const std::size_t count = object.mesh.vertex_count;
    const std::size_t share = count / shares.size() + 1;
    view::InShares(shares.size(), threads, [&](std::size_t from, std::size_t to) {
      for (std::size_t k = from; k < to; ++k) {
        Reaches reaches;
        const std::size_t end = std::min(count, (k + 1) * share);
        for (std::size_t i = k * share; i < end; ++i) reaches.Add(view.At(object.mesh.vertices[i].data()));
        shares[k] = reaches;
      }
    });
    for (const Reaches& reaches : shares) all.Add(reaches);
    for (const SceneLayer& layer : object.layers) {
      for (const trq::SlcBoundary& contour : layer.layer->boundaries()) {
        for (std::size_t i = 0; i < contour.vertex_count; ++i) {
          const double x = contour.points[2 * i], y = contour.points[2 * i + 1];
          if (!std::isfinite(x) || !std::isfinite(y)) continue;
          all.Add(view.At(x, y, layer.bottom));
          all.Add(view.At(x, y, layer.top));
        }
      }
    }
  }
  const view::ObjectView view(axes, 1, {0, 0, 0});
  for (const SceneGround& ground : scene.grounds) {
    for (int i = 0; i < 8; ++i) {
      const auto side = [&](std::size_t k) {
        return ground.corner[k] +
               (i >> k & 1 ? (k == 2 ? std::min(ground.size[2], ground.shown) : ground.size[k]) : 0);
      };
      all.Add(view.At(side(0), side(1), side(2)));
    }
  }
  return all;
}

}  // namespace

ViewFrame FrameScene(const Scene& scene, const RenderOptions& options) {
  ViewFrame frame;
  frame.width = options.width;
  frame.height = options.height;
  for (std::size_t k = 0; k < 3; ++k) {
    frame.axes.right[k] = Rounded(options.axes.right[k]);
    frame.axes.up[k] = Rounded(options.axes.up[k]);
    frame.axes.toward[k] = Rounded(options.axes.toward[k]);
  }
  Reaches reach = ReachesOf(scene, frame.axes, options.threads);
  if (reach.r.empty()) reach.Add(view::Spot{});
  const double wide = double(options.width), high = double(options.height);
  const double border = std::max(2.0, kMargin * std::min(wide, high));
  // Below the picture stands the scale bar.
  const double foot =
      options.scale_bar ? border + view::ScaleBarHeight(options.width, options.height) : border;
  const double sizes[] = {reach.r.most - reach.r.least, reach.u.most - reach.u.least,
                          reach.t.most - reach.t.least};
  // Large enough that a unit of depth and of the grid are numbers of their own, also where all is one point.
  const double far =
      std::max({std::abs(reach.r.least), std::abs(reach.r.most), std::abs(reach.u.least),
                std::abs(reach.u.most), std::abs(reach.t.least), std::abs(reach.t.most), 1e-30});
  const double least = far * 1e-9;
  frame.pixel = std::max({sizes[0] / (wide - 2 * border), sizes[1] / (high - border - foot), least});
  frame.left = reach.r.middle() - frame.pixel * wide / 2;
  frame.top = reach.u.middle() + frame.pixel * (border + (high - border - foot) / 2);
  frame.near = reach.t.most;
  frame.depth_unit = std::max(sizes[2], least) / 4294967294.0;
  return frame;
}

namespace {

// Each pixel so many times along both sides, cut off at the size.
ColourImage Enlarged(ColourImage image, std::size_t times, std::size_t width, std::size_t height) {
  if (times == 1) return image;
  ColourImage large{width, height, std::vector<std::uint8_t>(4 * width * height)};
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const std::size_t from = y / times * image.width + x / times;
      std::copy_n(&image.pixels[4 * from], 4, &large.pixels[4 * (y * width + x)]);
    }
  }
  return large;
}

}  // namespace

Rendering RenderWithFrame(const Scene& scene, const RenderOptions& options) {
  Rendering made;
  made.times = CoarsenessOf(scene, options);
  const RenderOptions coarse = view::Coarser(options, made.times);
  made.frame = FrameScene(scene, coarse);
  const SampleBuffer samples = Rasterise(scene, made.frame, options.threads);
  made.image = Enlarged(Shade(scene, made.frame, samples, coarse), made.times, options.width, options.height);
  return made;
}

ColourImage Render(const Scene& scene, const RenderOptions& options) {
  return RenderWithFrame(scene, options).image;
}

}  // namespace trqprep
