#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/canonical_nan.h"
#include "geometry/placed_points.h"
#include "trq/core/slc.h"

using namespace trq::detail;

namespace {

constexpr size_t kFirstBlock = 64;       // floats
constexpr size_t kLargestBlock = 16384;  // floats; longer boundaries get a block of their own

}  // namespace

namespace trq {

SlcLayer SlcLayer::Terminator(float z) {
  SlcLayer layer(z);
  layer.terminator_ = true;
  return layer;
}

SlcLayer::SlcLayer(const SlcLayer& other) : z(other.z), terminator_(other.terminator_) {
  size_t total = 0;
  for (const SlcBoundary& boundary : other.boundaries_) total += size_t{2} * boundary.vertex_count;
  if (total > 0) points().MakeBlock(total);
  boundaries_.reserve(other.boundaries_.size());
  for (const SlcBoundary& boundary : other.boundaries_) {
    float* const points = AddBoundary(boundary.vertex_count, boundary.gap_count);
    if (points) std::memcpy(points, boundary.points, size_t{8} * boundary.vertex_count);
  }
}

SlcLayer& SlcLayer::operator=(const SlcLayer& other) {
  if (this != &other) *this = SlcLayer(other);
  return *this;
}

SlcLayer::SlcLayer(SlcLayer&& other) noexcept = default;
SlcLayer& SlcLayer::operator=(SlcLayer&& other) noexcept = default;
SlcLayer::~SlcLayer() = default;

SlcLayer::Points& SlcLayer::points() {
  if (!points_) points_ = std::make_unique<Points>();
  return *points_;
}

float* SlcLayer::AddBoundary(uint32_t vertex_count, uint32_t gap_count) {
  const size_t needed = size_t{2} * vertex_count;
  float* added = nullptr;
  if (needed > 0) {
    Points& from = points();
    if (from.free_size < needed) {
      const size_t grown = std::clamp(2 * from.block_size, kFirstBlock, kLargestBlock);
      from.MakeBlock(std::max(needed, grown));
    }
    added = from.free_points;
    from.free_points += needed;
    from.free_size -= needed;
  }
  boundaries_.push_back({vertex_count, gap_count, added});
  return added;
}

void SlcLayer::AddBoundary(uint32_t vertex_count, uint32_t gap_count, float* own_points,
                           const std::shared_ptr<float[]>& block) {
  if (vertex_count > 0 && (!points_ || points_->blocks.empty() || points_->blocks.back() != block))
    points().blocks.push_back(block);
  boundaries_.push_back({vertex_count, gap_count, vertex_count > 0 ? own_points : nullptr});
}

void SlcLayer::Points::MakeBlock(size_t size) {
  std::shared_ptr<float[]> block(new float[size]);  // owned before the list grows, which may fail
  blocks.push_back(std::move(block));
  free_points = blocks.back().get();
  free_size = block_size = size;
}

}  // namespace trq

void trq::core::MirrorLayers(Span<SlcLayer> layers, const float (*matrix)[4], int mm_to_inch, int coordinate,
                             double sum) {
  const PlacedPoints placed(matrix, mm_to_inch);
  for (SlcLayer& layer : layers) {
    const float height = layer.z;  // read before the first vertex sets it
    const auto reflected = [&](float x, float y) {
      PbVec3f point = placed.Point(PbVec3f(x, y, height));
      point[coordinate] = CanonicalNan(float(sum - point[coordinate]));
      return point;
    };
    bool z_is_set = false;
    for (const SlcBoundary& boundary : layer.boundaries()) {
      for (size_t i = 0; i < boundary.vertex_count; ++i) {
        float* const xy = boundary.points + 2 * i;
        const PbVec3f point = reflected(xy[0], xy[1]);
        xy[0] = point[0];
        xy[1] = point[1];
        if (!z_is_set) layer.z = point[2];
        z_is_set = true;
      }
    }
    if (!z_is_set) layer.z = reflected(0, 0)[2];
  }
}

void slc::copy(slc* dst) {
  if (!dst) return;
  // The counts are taken first: onto itself the lists grow while they are read.
  const size_t entry_count = table.size();
  const size_t layer_count = layers.size();
  if (dst != this) {
    dst->header_length = header_length;
    std::memcpy(dst->header_text, header_text, sizeof header_text);
    std::memcpy(dst->reserved, reserved, sizeof reserved);
    dst->table_count = table_count;
  }
  // With the room made beforehand, appending an element of the same list is safe.
  dst->table.reserve(dst->table.size() + entry_count);
  dst->layers.reserve(dst->layers.size() + layer_count);
  for (size_t i = 0; i < entry_count; ++i) dst->table.push_back(table[i]);
  for (size_t i = 0; i < layer_count; ++i) dst->layers.push_back(layers[i]);
}

void slc::mirror(slc* target, int axis, int unit, float offset, COMPONENT_INFO* source,
                 COMPONENT_INFO* target_component) {
  if (!target || !source || !target_component) return;
  copy(target);

  const COMPONENT_INFO from = *source;  // the two records may be one
  trq::PlacementRecord placement;
  for (int k = 2; k <= 5; ++k) target_component->word(k) = from.word(k);
  target_component->word(6) = 0;
  std::copy(from.placement() + 16, from.placement() + 30, placement.R.begin() + 16);

  if (axis >= 0 && axis <= 2) {
    const int a = 2 - axis;
    const double shift = double(offset) + from.placement()[25 + a];
    for (int first = 16; first <= 22; first += 3) {
      placement.R[first + a] = float(shift + from.placement()[first + a]);
    }
    float matrix[4][4];
    std::memcpy(matrix, from.placement(), sizeof matrix);
    trq::core::MirrorLayers(target->layers, matrix, unit, a, 2.0 * from.placement()[22 + a] + shift);
  }
  target_component->record = placement;
}

void slc::MatVecMult(float out[4][1], const float m[4][4], const float v[4][1]) {
  for (int row = 0; row < 4; ++row) {
    double sum = 0.0;
    for (int k = 0; k < 4; ++k) sum += double(m[row][k]) * v[k][0];
    out[row][0] = float(sum);
  }
}
