#include "trqprep/render.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/view/picture_scenes.h"
#include "tests/view/ray_caster.h"

namespace trqprep {
namespace {

using picture_scenes::Example;

// FNV-1a.
class Digest {
 public:
  void Add(std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) sum_ = (sum_ ^ (value >> 8 * i & 0xFF)) * 1099511628211u;
  }
  std::uint64_t sum() const { return sum_; }

 private:
  std::uint64_t sum_ = 14695981039346656037u;
};

std::uint64_t DigestOf(const SampleBuffer& buffer) {
  Digest digest;
  for (const std::uint64_t sample : buffer.samples) digest.Add(sample, 8);
  return digest.sum();
}

std::uint64_t DigestOf(const ColourImage& image) {
  Digest digest;
  for (const std::uint8_t byte : image.pixels) digest.Add(byte, 1);
  return digest.sum();
}

TEST(Render, SamplesAreThoseOfARayCaster) {
  std::size_t examples = 0, compared = 0, shown = 0, left_out = 0;
  for (const Example& example : picture_scenes::All()) {
    SCOPED_TRACE(example.name);
    ++examples;
    const ViewFrame frame = FrameScene(example.scene, example.options);
    const SampleBuffer buffer = Rasterise(example.scene, frame);
    const ray_caster::Caster caster(example.scene, frame);
    int wrong = 0;
    for (std::size_t y = 0; y < buffer.height; ++y) {
      for (std::size_t x = 0; x < buffer.width; ++x) {
        for (std::size_t k = 0; k < 4; ++k) {
          const ray_caster::Hit hit = caster.At(x, y, k);
          if (hit.near_edge) {
            ++left_out;
            continue;
          }
          ++compared;
          const std::uint64_t sample = buffer.at(x, y, k);
          const bool found = sample != SampleBuffer::kNothing;
          bool right = found == hit.found;
          if (found && hit.found) {
            ++shown;
            const long double depth = static_cast<long double>(sample >> 32);
            // Corners and depths are rounded to half a unit.
            right = std::abs(depth - hit.depth) <= 2 + hit.uncertain;
            const auto facet = std::uint32_t(sample);
            long double other = 0;
            // Where two facets are equally deep but for rounding, either may be seen.
            right = right && (facet == hit.facet || (caster.DepthOf(facet, x, y, k, other) &&
                                                     other - hit.depth <= 2 + hit.uncertain));
          }
          if (!right && ++wrong <= 3) {
            ADD_FAILURE() << "sample " << k << " of pixel " << x << ", " << y << ": facet "
                          << std::uint32_t(sample) << " at " << (sample >> 32) << ", the ray meets "
                          << (hit.found ? int(hit.facet) : -1) << " at " << double(hit.depth);
          }
        }
      }
    }
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_EQ(examples, 20u);
  EXPECT_GT(shown, compared / 5);
  EXPECT_LT(left_out, compared / 50);
}

TEST(Render, OfFacetsEquallyNearTheLowestNumberIsSeen) {
  for (const Example& example : picture_scenes::All()) {
    if (example.name != "twins") continue;
    const SampleBuffer buffer = Rasterise(example.scene, FrameScene(example.scene, example.options));
    std::set<std::uint32_t> seen;
    for (const std::uint64_t sample : buffer.samples) {
      if (sample != SampleBuffer::kNothing) seen.insert(std::uint32_t(sample));
    }
    // The upper sides of the first block, and of the third where the first is not.
    EXPECT_EQ(seen, (std::set<std::uint32_t>{2, 3, 26, 27}));
  }
}

// A sheet, so many times in the same place.
struct Sheets {
  explicit Sheets(std::size_t count) : triangles(count, R_INT4(0, 1, 2)) {
    scene.objects.emplace_back();
    scene.objects.back().mesh = {vertices, vertices.size(), triangles};
    options.width = 71;
    options.height = 53;
    options.axes = {{1, 0, 0}, {0, 0.6, 0.8}, {0, -0.8, 0.6}};
  }
  std::vector<PbVec3f> vertices{{0, 0, 0}, {30, 0, 0}, {0, 30, 0}};
  std::vector<R_INT4> triangles;
  Scene scene;
  RenderOptions options;
};

// A sheet covers about a quarter of 71 x 53 x 4 samples: more than 2000. 2048 of all of them are 31 million.
TEST(Render, SheetsWithoutEndAreDrawnCoarser) {
  const Sheets few(4000), many(40000);
  EXPECT_EQ(CoarsenessOf(few.scene, few.options), 1u);
  const std::size_t times = CoarsenessOf(many.scene, many.options);
  ASSERT_EQ(times, 2u);
  const ColourImage image = Render(many.scene, many.options);
  ASSERT_EQ(image.width, 71u);
  ASSERT_EQ(image.height, 53u);
  // Each pixel is that of one sheet in a picture of half the size.
  Sheets one(1);
  one.options.width = 36;
  one.options.height = 27;
  const ColourImage small = Render(one.scene, one.options);
  for (std::size_t y = 0; y < 53; ++y) {
    for (std::size_t x = 0; x < 71; ++x) {
      for (std::size_t k = 0; k < 4; ++k) {
        ASSERT_EQ(image.pixels[4 * (y * 71 + x) + k], small.pixels[4 * (y / 2 * 36 + x / 2) + k])
            << x << " " << y;
      }
    }
  }
  // What may be deeper is as fine as it was.
  RenderOptions deep = many.options;
  deep.deepest = 100000;
  EXPECT_EQ(CoarsenessOf(many.scene, deep), 1u);
  // No picture loses a part of its sides.
  RenderOptions low = many.options;
  low.height = 20;
  low.deepest = 1;
  EXPECT_EQ(CoarsenessOf(many.scene, low), 1u);
}

TEST(Render, AnyNumberOfThreadsGivesTheSame) {
  for (Example& example : picture_scenes::All()) {
    SCOPED_TRACE(example.name);
    const ViewFrame frame = FrameScene(example.scene, example.options);
    const SampleBuffer buffer = Rasterise(example.scene, frame);
    const ColourImage image = Shade(example.scene, frame, buffer, example.options);
    for (const int threads : {2, 7}) {
      example.options.threads = threads;
      const ViewFrame again = FrameScene(example.scene, example.options);
      EXPECT_EQ(again.pixel, frame.pixel);
      EXPECT_EQ(again.depth_unit, frame.depth_unit);
      EXPECT_EQ(Rasterise(example.scene, again, threads).samples, buffer.samples);
      EXPECT_EQ(Shade(example.scene, again, buffer, example.options).pixels, image.pixels);
    }
  }
}

TEST(Render, EverythingLiesInsideThePicture) {
  for (const Example& example : picture_scenes::All()) {
    SCOPED_TRACE(example.name);
    const ViewFrame frame = FrameScene(example.scene, example.options);
    for (const SceneObject& object : example.scene.objects) {
      for (std::size_t i = 0; i < object.mesh.vertex_count; ++i) {
        double at[3];
        for (std::size_t k = 0; k < 3; ++k)
          at[k] = object.factor * double(object.mesh.vertices[i][int(k)]) + object.move[k];
        const auto along = [&](const std::array<double, 3>& axis) {
          return axis[0] * at[0] + axis[1] * at[1] + axis[2] * at[2];
        };
        const double column = (along(frame.axes.right) - frame.left) / frame.pixel;
        const double row = (frame.top - along(frame.axes.up)) / frame.pixel;
        EXPECT_GT(column, 1);
        EXPECT_LT(column, double(frame.width) - 1);
        EXPECT_GT(row, 1);
        EXPECT_LT(row, double(frame.height) - 1);
      }
    }
  }
}

TEST(Render, AxesAreRoundedToAMillionth) {
  RenderOptions options;
  options.axes.right = {1.0 / 3, 0.7, -0.1};
  const ViewFrame frame = FrameScene({}, options);
  // 349525.33, 734003.2 and -104857.6 of 2^-20.
  EXPECT_EQ(frame.axes.right,
            (std::array<double, 3>{349525 / 1048576.0, 734003 / 1048576.0, -104858 / 1048576.0}));
}

TEST(Render, NothingIsDrawnOfNothing) {
  RenderOptions options;
  options.width = 20;
  options.height = 16;
  options.transparent = true;
  options.scale_bar = false;
  const ColourImage image = Render({}, options);
  EXPECT_EQ(image.pixels, std::vector<std::uint8_t>(20 * 16 * 4, 0));
}

// The colour of the pixel in the middle of a block's upper side.
std::array<int, 4> Middle(const ColourImage& image) {
  const std::uint8_t* p = &image.pixels[(image.height / 2 * image.width + image.width / 2) * 4];
  return {p[0], p[1], p[2], p[3]};
}

Example BlockFromAbove() {
  Example example;
  example.options.axes = picture_scenes::FromAbove();
  example.options.width = example.options.height = 64;
  example.Add(picture_scenes::Block(0, 0, 0, 10, 10, 10), {200, 100, 50});
  return example;
}

TEST(Render, AColourIsSeenInItsLight) {
  const Example example = BlockFromAbove();
  const auto [red, green, blue, opacity] = Middle(Render(example.scene, example.options));
  EXPECT_EQ(opacity, 255);
  EXPECT_GT(red, green);
  EXPECT_GT(green, blue);
  EXPECT_NEAR(red, 200, 40);
}

TEST(Render, InsidesAndMarkedFacetsHaveColoursOfTheirOwn) {
  Example example = BlockFromAbove();
  const auto plain = Middle(Render(example.scene, example.options));
  example.scene.objects[0].marked = {2, 3};
  const auto marked = Middle(Render(example.scene, example.options));
  EXPECT_GT(marked[0] - marked[1], plain[0] - plain[1]);
  example.scene.objects[0].marked.clear();
  for (R_INT4& t : example.meshes.front().triangles) std::swap(t[1], t[2]);
  EXPECT_NE(Middle(Render(example.scene, example.options)), plain);
}

TEST(Render, APictureWithoutBackgroundIsOpaqueWhereObjectsAre) {
  Example example = BlockFromAbove();
  example.options.transparent = true;
  example.options.scale_bar = false;
  const ColourImage image = Render(example.scene, example.options);
  EXPECT_EQ(Middle(image)[3], 255);
  EXPECT_EQ(image.pixels[3], 0);
  const std::string png = PngOf(image);
  // Its kind, behind the signature, the length and name of the first chunk, and the sides: 6 has opacity.
  EXPECT_EQ(png[25], 6);
  example.options.transparent = false;
  EXPECT_EQ(PngOf(Render(example.scene, example.options))[25], 2);
}

TEST(Render, PartsBesideEachOtherHaveALineBetween) {
  Example example;
  example.options.axes = picture_scenes::FromAbove();
  example.options.width = example.options.height = 64;
  example.Add(picture_scenes::Block(0, 0, 0, 10, 10, 10));
  const ColourImage one = Render(example.scene, example.options);
  example.meshes.clear();
  example.scene.objects.clear();
  example.Add(picture_scenes::Block(0, 0, 0, 5, 10, 10));
  example.Add(picture_scenes::Block(5, 0, 0, 10, 10, 10));
  const ColourImage two = Render(example.scene, example.options);
  int darker = 0;
  for (std::size_t x = 24; x < 40; ++x) {
    const std::size_t at = (32 * 64 + x) * 4;
    darker += two.pixels[at] < one.pixels[at] ? 1 : 0;
    EXPECT_LE(two.pixels[at], one.pixels[at]);
  }
  EXPECT_GE(darker, 1);
  EXPECT_LE(darker, 2);
}

// Frozen once the samples were those of the ray caster.
struct Golden {
  std::uint64_t samples, pixels;
};
const std::map<std::string, Golden> kGoldens = {
    {"block", {0xe0703bbd5e04e973u, 0x06f816de034bbb8eu}},
    {"block from above", {0x7992afe009e85545u, 0xa070cb02f51efe8fu}},
    {"block from the front", {0xaa99f39afe8c3074u, 0x696581d43435a7d1u}},
    {"ball", {0xb629d480c2aaa327u, 0x4a763a44ec2e6a37u}},
    {"smooth ball", {0x46e3e795cc5a2b70u, 0x1f6b7fa5b7d87229u}},
    {"ball inside out", {0xd87628bd8f9a4c0bu, 0xcb386e2a8ef9e2f4u}},
    {"balls through each other", {0x5eddc7595d18bea9u, 0x2938160bbda539e1u}},
    {"soup", {0x57ab45192a7fa96au, 0x5b77dba47f54be84u}},
    {"dust", {0xd7da0971b36cb130u, 0x980c9b6f07d3c423u}},
    {"needles", {0x8c256a9ef6282cd9u, 0x0b3a9eef4e328f3cu}},
    {"hills", {0xf7d85bf7d2dfedb5u, 0xa41b2cd8d459a853u}},
    {"hills from below", {0xf603467d767f8edcu, 0xbf8f89ff800c0e04u}},
    {"twins", {0xb6cbfaad89e46885u, 0x8c64f3dc6de5de78u}},
    {"far away", {0x865e4231fb8e567eu, 0x1c516b761e2a6203u}},
    {"inches beside millimetres", {0x42edbf45dd770e9eu, 0x8d871635fd0656a6u}},
    {"no area", {0xd04a986045c47937u, 0x4b2ceb1ae99ad606u}},
    {"tube of layers", {0xe8c6a964b492fb92u, 0xc4be0b75dccd3e7bu}},
    {"steps of layers from below", {0xd1126735083cdf51u, 0x156981929a4fc3a3u}},
    {"layers and a ball from the front", {0x5b46b518660898d3u, 0x990ecd866eb78532u}},
    {"plate", {0xc4201154bc99b32eu, 0xd6b39930cc98c6f1u}},
};

TEST(Render, SamplesAndPixelsAreThoseOfBefore) {
  for (const Example& example : picture_scenes::All()) {
    SCOPED_TRACE(example.name);
    const ViewFrame frame = FrameScene(example.scene, example.options);
    const SampleBuffer buffer = Rasterise(example.scene, frame);
    const std::string name = example.name;
    ASSERT_EQ(kGoldens.count(name), 1u);
    EXPECT_EQ(DigestOf(buffer), kGoldens.at(name).samples);
    EXPECT_EQ(DigestOf(Shade(example.scene, frame, buffer, example.options)), kGoldens.at(name).pixels);
  }
}

}  // namespace
}  // namespace trqprep
