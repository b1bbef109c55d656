// The idea: space is cut into cubic cells some tolerances wide, and a hash table finds the vertices of a
// cell. Nearly every corner of a mesh repeats an earlier one exactly, and that one lies in the same cell: one
// probe answers it. Only a point not seen before needs the tolerant search, and that ends after the same
// probe unless the point has company in its cell or lies within a tolerance of the cell's border.
//
// Invariants that make this the same as walking the bucket chains of the merge table:
// - Vertices never match each other: a point that an earlier vertex matches does not become one, and matching
//   is symmetric. So a point equal to a vertex stands for that vertex, whatever comes later; only points that
//   merged into an unequal vertex ("late") wait for the complete table.
// - A cell index is a non-decreasing function of the coordinate. What lies within the reach of a point lies
//   in a cell between those of (c - reach) and (c + reach), and cells are wide enough that these are the same
//   or neighbours.
// - The cells choose candidates only; whether a candidate matches is decided by its coordinates and bucket.
// - Non-finite points match nothing and are kept out of the table.
#include "geometry/vertex_merge.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/checked_conversions.h"

namespace trq::detail {
namespace {

// Adding this to a double of magnitude below 2^51 rounds it to an integer in the low bits.
constexpr double kRoundToInteger = 6755399441055744.0;  // 1.5 * 2^52
// Beyond this many cells from the origin neighbouring floats are more than a tolerance apart.
constexpr double kFarCell = 35184372088832.0;  // 2^45

// Wide cells seldom have a border near a point, narrow ones hold few vertices. Not a round number, so that
// the coordinates that designers like do not all lie on borders.
constexpr double kWidestCell = 61.8;
constexpr double kNarrowestCell = 2.6;  // above 2, so that a reach never spans three cells
constexpr std::size_t kCrowdedCell = 8;
constexpr std::size_t kCrowdWindow = 4096;

constexpr std::size_t kBatch = 128;

// Larger than any difference of two floats.
constexpr double kUnboundedReach = 1e39;

bool Finite(const PbVec3f& p) { return p[0] * 0 + p[1] * 0 + p[2] * 0 == 0; }

bool Equal(const PbVec3f& a, const PbVec3f& b) { return a[0] == b[0] && a[1] == b[1] && a[2] == b[2]; }

double Distance(float a, float b) { return std::fabs(static_cast<double>(a) - b); }

uint64_t MixCells(uint64_t x, uint64_t y, uint64_t z) {
  uint64_t h = x * 0x9E3779B97F4A7C15u + y * 0xC2B2AE3D27D4EB4Fu + z * 0x165667B19E3779F9u;
  h ^= h >> 32;
  return h * 0xD6E8FEB86659FD93u;
}

uint32_t TagOf(uint64_t hash) { return static_cast<uint32_t>(hash); }

}  // namespace

int32_t VertexHash(const PbVec3f& p, float tolerance) {
  const double t = tolerance;
  const int32_t ix = ToHashWord(p[0] / t);
  const int32_t iy = ToHashWord(p[1] / t);
  const int32_t iz = ToHashWord(p[2] / t);
  return AbsoluteHashWord(ToHashWord(iz * t * 68.265 + iy * t * 24343.0 + ix * t * 31.3));
}

bool SameVertex(const PbVec3f& a, const PbVec3f& b, float tolerance) {
  const double t = tolerance;
  return Distance(a[0], b[0]) < t && Distance(a[1], b[1]) < t && Distance(a[2], b[2]) < t;
}

VertexMerger::VertexMerger(float tolerance, int32_t bucket_count, PbVec3f* vertices)
    : tolerance_(tolerance), bucket_count_(std::max(bucket_count, 1)), vertices_(vertices) {
  if (!(tolerance > 0)) return;  // nothing matches anything, and no table is needed
  reach_ = std::min(static_cast<double>(tolerance), kUnboundedReach);
  SetCellWidth(kWidestCell);
  // A closed mesh has half as many vertices as facets.
  RebuildTable(static_cast<std::size_t>(bucket_count_) + 64);
}

void VertexMerger::SetCellWidth(double in_tolerances) {
  width_ = in_tolerances;
  cells_per_unit_ = 1 / (reach_ * in_tolerances);
}

uint64_t VertexMerger::CellOf(double coordinate) const {
  const double index = coordinate * cells_per_unit_ + kRoundToInteger;
  uint64_t bits;
  std::memcpy(&bits, &index, sizeof bits);
  return bits;
}

uint64_t VertexMerger::HashOf(const PbVec3f& p) const {
  return MixCells(CellOf(p[0]), CellOf(p[1]), CellOf(p[2]));
}

std::size_t VertexMerger::SlotOf(uint64_t hash) const {
  return static_cast<std::size_t>(((hash >> 32) * slots_.size()) >> 32);
}

bool VertexMerger::NearCellBorder(const PbVec3f& p) const {
  bool near = false;
  for (int k = 0; k < 3; ++k) near |= CellOf(p[k] - reach_) != CellOf(p[k] + reach_);
  return near;
}

void VertexMerger::Add(const PbVec3f* points, std::size_t count, int32_t* answers) {
  if (reach_ == 0) {
    for (std::size_t i = 0; i < count; ++i) answers[i] = Append(points[i]);
    return;
  }
  uint64_t hashes[kBatch];
  while (count > 0) {
    const std::size_t batch = std::min(count, kBatch);
    Adapt(batch);
    // The table is larger than the caches: all probes of a batch are under way before the first is needed.
    for (std::size_t i = 0; i < batch; ++i) {
      hashes[i] = HashOf(points[i]);
      __builtin_prefetch(slots_.get() + SlotOf(hashes[i]));
    }
    for (std::size_t i = 0; i < batch; ++i) answers[i] = AddOne(points[i], hashes[i]);
    points += batch;
    answers += batch;
    count -= batch;
  }
}

int32_t VertexMerger::AddOne(const PbVec3f& p, uint64_t hash) {
  if (!Finite(p)) return Append(p);
  bool company = false;
  std::size_t slot = SlotOf(hash);
  for (; slots_[slot] != 0; slot = NextSlot(slot)) {
    if (slots_[slot] >> 32 != TagOf(hash)) continue;
    const int32_t vertex = static_cast<int32_t>(slots_[slot] & 0xFFFFFFFFu) - 1;
    if (Equal(vertices_[vertex], p)) return vertex;
    company = true;
    ++recent_strangers_;
  }
  if ((company || NearCellBorder(p)) && HasMatch(p)) {
    late_points_.push_back(p);
    return ~static_cast<int32_t>(late_points_.size() - 1);
  }
  const int32_t vertex = Append(p);
  slots_[slot] = uint64_t{TagOf(hash)} << 32 | static_cast<uint32_t>(vertex + 1);
  ++slots_used_;
  return vertex;
}

int32_t VertexMerger::Append(const PbVec3f& p) {
  vertices_[vertex_count_] = p;
  return vertex_count_++;
}

template <class Visit>
void VertexMerger::ForEachMatch(const PbVec3f& p, Visit visit) const {
  uint64_t cells[3][2];
  int cell_count[3];
  for (int k = 0; k < 3; ++k) {
    const double c = p[k];
    cells[k][0] = CellOf(c);
    cell_count[k] = 1;
    if (std::fabs(c * cells_per_unit_) >= kFarCell) continue;
    const uint64_t low = CellOf(c - reach_);
    const uint64_t high = CellOf(c + reach_);
    if (low != high) cells[k][cell_count[k]++] = low == cells[k][0] ? high : low;
  }
  int32_t bucket = -1;
  for (int x = 0; x < cell_count[0]; ++x) {
    for (int y = 0; y < cell_count[1]; ++y) {
      for (int z = 0; z < cell_count[2]; ++z) {
        const uint64_t hash = MixCells(cells[0][x], cells[1][y], cells[2][z]);
        for (std::size_t slot = SlotOf(hash); slots_[slot] != 0; slot = NextSlot(slot)) {
          if (slots_[slot] >> 32 != TagOf(hash)) continue;
          const int32_t vertex = static_cast<int32_t>(slots_[slot] & 0xFFFFFFFFu) - 1;
          if (!SameVertex(vertices_[vertex], p, tolerance_)) continue;
          if (bucket < 0) bucket = BucketOf(p);
          if (BucketOf(vertices_[vertex]) == bucket && !visit(vertex)) return;
        }
      }
    }
  }
}

bool VertexMerger::HasMatch(const PbVec3f& p) const {
  bool found = false;
  ForEachMatch(p, [&found](int32_t) {
    found = true;
    return false;
  });
  return found;
}

void VertexMerger::Finish() {
  late_vertices_.resize(late_points_.size());
  for (std::size_t i = 0; i < late_points_.size(); ++i) {
    const PbVec3f& p = late_points_[i];
    int32_t lowest = INT32_MAX;
    int32_t highest = -1;
    ForEachMatch(p, [&](int32_t vertex) {
      lowest = std::min(lowest, vertex);
      highest = std::max(highest, vertex);
      return true;
    });
    // A bucket's first vertex has the lowest number in it, so when it matches, it is the lowest match.
    if (lowest != highest) {
      if (bucket_starts_.empty()) FindBucketStarts();
      if (bucket_starts_[static_cast<std::size_t>(BucketOf(p))] == lowest) highest = lowest;
    }
    late_vertices_[i] = highest;
  }
}

void VertexMerger::FindBucketStarts() {
  bucket_starts_.assign(static_cast<std::size_t>(bucket_count_), -1);
  for (int32_t vertex = vertex_count_; vertex-- > 0;)
    bucket_starts_[static_cast<std::size_t>(BucketOf(vertices_[vertex]))] = vertex;
}

void VertexMerger::Adapt(std::size_t points_to_come) {
  recent_points_ += points_to_come;
  if (recent_points_ >= kCrowdWindow) {
    if (recent_strangers_ > kCrowdedCell * recent_points_ && width_ > kNarrowestCell) {
      SetCellWidth(std::max(width_ / 4, kNarrowestCell));
      RebuildTable(slots_.size());
    }
    recent_points_ = 0;
    recent_strangers_ = 0;
  }
  if (slots_used_ + points_to_come > slots_.size() / 4 * 3)
    RebuildTable(std::max(2 * slots_.size(), 2 * (slots_used_ + points_to_come)));
}

void VertexMerger::RebuildTable(std::size_t slot_count) {
  slots_.reset(slot_count);
  slots_used_ = 0;
  for (int32_t vertex = 0; vertex < vertex_count_; ++vertex) {
    if (!Finite(vertices_[vertex])) continue;
    const uint64_t hash = HashOf(vertices_[vertex]);
    std::size_t slot = SlotOf(hash);
    while (slots_[slot] != 0) slot = NextSlot(slot);
    slots_[slot] = uint64_t{TagOf(hash)} << 32 | static_cast<uint32_t>(vertex + 1);
    ++slots_used_;
  }
}

}  // namespace trq::detail
