// The idea: space is cut into cubic cells some tolerances wide, and a hash table finds the vertices of a
// cell. Nearly every corner of a mesh repeats an earlier one exactly, and that one lies in the same cell: one
// probe returns it. Only a point not seen before needs the tolerant search, and that ends after the same
// probe unless the point has company in its cell or lies within a tolerance of the cell's border. The table
// is larger than the caches: points are looked up in batches, the places of a whole batch being fetched at
// once. Points can be made whose hashes lie together: what finds no slot in so many goes into a sorted tree,
// and where that grows, the hash is made anew from what is in it.
//
// Invariants that make this the same as walking the bucket chains of the merge table:
// - Vertices never match each other: a point that an earlier vertex matches does not become one, and matching
//   is symmetric. So a point equal to a vertex stands for that vertex, whatever comes later; only points that
//   merged into an unequal vertex ("late") wait for the complete table. Of these, one that merged into a
//   vertex without another of its bucket within two tolerances has no other match.
// - A cell index is a non-decreasing function of the coordinate. What lies within the reach of a point lies
//   in a cell between those of (c - reach) and (c + reach). Cells are wider than two tolerances, so these are
//   the point's own cell and its neighbours, as long as a reach is two tolerances at most.
// - The cells choose candidates only; whether a candidate matches is decided by its coordinates and bucket.
// - Non-finite points match nothing and are kept out of the table.
#include "geometry/vertex_merge.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/checked_conversions.h"
#include "host/system.h"

namespace trq::detail {
namespace {

// Adding this to a double of magnitude below 2^51 rounds it to an integer in the low bits.
constexpr double kRoundToInteger = 6755399441055744.0;  // 1.5 * 2^52
// Beyond this many cells from the origin neighbouring floats are more than two tolerances apart.
constexpr double kFarCell = 35184372088832.0;  // 2^45

// Wide cells seldom have a border near a point, narrow ones hold few vertices. Not a round number, so that
// the coordinates that designers like do not all lie on borders.
constexpr double kWidestCell = 61.8;
constexpr double kNarrowestCell = 2.6;
constexpr size_t kCrowdedCell = 8;
constexpr size_t kCrowdWindow = 4096;

constexpr size_t kBatch = 128;

// Slots that a cell's vertices may lie behind its first one. Chance alone hardly ever fills so many.
constexpr int kLongestProbe = 128;

// Below this a product with 1/t is less than 2^-23 away from the quotient by t.
constexpr double kProductIsSafe = 536870912.0;  // 2^29
constexpr double kProductError = 0x1p-20;

// Larger than any difference of two floats.
constexpr double kUnboundedReach = 1e39;

bool Finite(const PbVec3f& p) { return p[0] * 0 + p[1] * 0 + p[2] * 0 == 0; }

bool Equal(const PbVec3f& a, const PbVec3f& b) { return a[0] == b[0] && a[1] == b[1] && a[2] == b[2]; }

double Distance(float a, float b) { return std::fabs(double(a) - b); }

// Vertices in the tree at which the hash is made anew for the first time, and how many times more each time.
// A few times are enough: the factors come from the points themselves, which cannot be made for factors that
// are not there yet. Of points in one cell no hash gets rid.
constexpr size_t kCrowdedOut = 1024;
constexpr size_t kCrowdedOutGrows = 8;
constexpr int kMostHashes = 4;

uint64_t Fold(uint64_t h) {
  h ^= h >> 32;
  return h * 0xD6E8FEB86659FD93u;
}

uint32_t TagOf(uint64_t hash) { return uint32_t(hash); }

uint64_t SlotValue(uint64_t hash, int32_t vertex) {
  return uint64_t{TagOf(hash)} << 32 | uint32_t(vertex + 1);
}
int32_t VertexIn(uint64_t slot) { return int32_t(slot & 0xFFFFFFFFu) - 1; }

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
  reach_ = std::min(double(tolerance), kUnboundedReach);
  per_tolerance_ = 1 / double(tolerance);
  most_crowded_out_ = kCrowdedOut;
  SetCellWidth(kWidestCell);
  // A closed mesh has half as many vertices as facets.
  RebuildTable(size_t(bucket_count_) + 64);
}

// ---------------------------------------------------------------------------------------------------------
// Points come in

void VertexMerger::Add(const PbVec3f* points, size_t count, int32_t* answers) {
  if (reach_ == 0) {
    for (size_t i = 0; i < count; ++i) answers[i] = Append(points[i]);
    return;
  }
  for (size_t done = 0; done < count; done += kBatch) {
    const size_t batch = std::min(count - done, kBatch);
    Adapt(batch);
    AddBatch(points + done, batch, answers + done);
  }
}

void VertexMerger::AddBatch(const PbVec3f* points, size_t count, int32_t* answers) {
  const uint64_t* const slots = slots_.get();
  uint64_t hashes[kBatch];
  for (size_t i = 0; i < count; ++i) {
    hashes[i] = HashOf(points[i]);
    __builtin_prefetch(slots + SlotOf(hashes[i]));
  }
  for (size_t i = 0; i < count; ++i) {
    const uint64_t hash = hashes[i];
    const uint64_t slot = slots[SlotOf(hash)];
    const int32_t vertex = VertexIn(slot);
    // Most points end here. (Free slots have vertex -1.)
    const bool known = slot >> 32 == TagOf(hash) && vertex >= 0 && Equal(vertices_[vertex], points[i]);
    answers[i] = known ? vertex : AddOne(points[i], hash);
  }
}

int32_t VertexMerger::AddOne(const PbVec3f& p, uint64_t hash) {
  if (!Finite(p)) return Append(p);
  int32_t equal = -1, match = -1;
  size_t slot = SlotOf(hash);
  if (slots_[slot] != 0)
    slot = ForEachInCell(p, hash, [&](int32_t vertex) {
      if (Equal(vertices_[vertex], p)) {
        equal = vertex;
      } else if (Matches(p, vertex)) {
        match = vertex;  // then no vertex equals it
      }
      return equal < 0 && match < 0;
    });
  if (equal >= 0) return equal;
  if (match < 0 && NearCellBorder(p)) match = FindMatch(p);
  if (match >= 0) return AppendLate(p, match);
  const int32_t vertex = Append(p);
  Store(vertex, hash, slot);
  return vertex;
}

int32_t VertexMerger::Append(const PbVec3f& p) {
  vertices_[vertex_count_] = p;
  return vertex_count_++;
}

int32_t VertexMerger::AppendLate(const PbVec3f& p, int32_t vertex) {
  // Blocks of their own: points never move, and no old array stands beside a larger new one.
  if (late_count_ % kLateBlock == 0) {
    std::unique_ptr<LatePoint[]> block(new LatePoint[kLateBlock]);
    late_.push_back(std::move(block));
  }
  Late(late_count_) = {p, vertex};
  return ~late_count_++;
}

// ---------------------------------------------------------------------------------------------------------
// Searching

inline uint64_t VertexMerger::CellOf(double coordinate) const {
  const double index = coordinate * cells_per_unit_ + kRoundToInteger;
  uint64_t bits;
  std::memcpy(&bits, &index, sizeof bits);
  return bits;
}

inline VertexMerger::Cell VertexMerger::CellOf(const PbVec3f& p) const {
  return {CellOf(p[0]), CellOf(p[1]), CellOf(p[2])};
}

template <class PointOrCell>
inline uint64_t VertexMerger::HashOf(const PointOrCell& p) const {
  const Cell cell = CellOf(p);
  return Fold(cell[0] * factors_[0] + cell[1] * factors_[1] + cell[2] * factors_[2]);
}

inline size_t VertexMerger::SlotOf(uint64_t hash) const {
  return size_t(((hash >> 32) * slots_.size()) >> 32);
}

bool VertexMerger::NearCellBorder(const PbVec3f& p) const {
  bool near = false;
  for (int k = 0; k < 3; ++k) near |= CellOf(p[k] - reach_) != CellOf(p[k] + reach_);
  return near;
}

bool VertexMerger::Matches(const PbVec3f& p, int32_t vertex) const {
  return SameVertex(vertices_[vertex], p, tolerance_) && SameBucket(vertices_[vertex], p);
}

bool VertexMerger::SameBucket(const PbVec3f& a, const PbVec3f& b) const {
  if (InSameHashCell(a[0], b[0]) && InSameHashCell(a[1], b[1]) && InSameHashCell(a[2], b[2])) return true;
  const int32_t h = VertexHash(a, tolerance_);
  const int32_t g = VertexHash(b, tolerance_);
  return h == g || h % bucket_count_ == g % bucket_count_;
}

/// Whether trunc(a / t) and trunc(b / t) are surely the same. False proves nothing.
bool VertexMerger::InSameHashCell(float a, float b) const {
  if (a == b) return true;
  const double p = a * per_tolerance_;
  const double q = b * per_tolerance_;
  if (!(std::fabs(p) < kProductIsSafe && std::fabs(q) < kProductIsSafe)) return false;
  const int32_t cell = int32_t(p);
  if (int32_t(q) != cell) return false;
  // The product is not the quotient, but differs from it by far less than this.
  const double in = std::fabs(p - cell);
  const double jn = std::fabs(q - cell);
  return std::min(in, jn) > kProductError && std::max(in, jn) < 1 - kProductError;
}

/// Visits the vertices of the cell at `p` until `visit` returns false. Else returns the slot for its next
/// vertex: the end of the slots when all of its own are taken.
template <class PointOrCell, class Visit>
size_t VertexMerger::ForEachInCell(const PointOrCell& p, uint64_t hash, Visit visit) {
  size_t slot = SlotOf(hash);
  for (int probe = 0; probe < kLongestProbe; ++probe, slot = NextSlot(slot)) {
    const uint64_t value = slots_[slot];
    if (value != 0 && value >> 32 != TagOf(hash)) continue;
    if (value != 0) ++recent_visits_;
    if (value == 0 || !visit(VertexIn(value))) {
      steps_ += size_t(probe) + 1;
      return slot;
    }
  }
  steps_ += kLongestProbe;
  const auto range = crowded_out_.equal_range(CellOf(p));
  for (auto i = range.first; i != range.second; ++i) {
    ++steps_;
    ++recent_visits_;
    if (!visit(i->second)) break;
  }
  return slots_.size();
}

/// Visits the vertices of all cells within `reach`, two tolerances at most, until `visit` returns false; some
/// lie outside, and one may come twice.
template <class Visit>
void VertexMerger::ForEachNear(const PbVec3f& p, double reach, Visit visit) {
  uint64_t cells[3][3];
  int cell_count[3];
  for (int k = 0; k < 3; ++k) {
    const double c = p[k];
    const uint64_t own = CellOf(c);
    cells[k][0] = own;
    cell_count[k] = 1;
    if (std::fabs(c * cells_per_unit_) >= kFarCell) continue;  // only equal values are near
    const uint64_t low = CellOf(c - reach);
    const uint64_t high = CellOf(c + reach);
    if (low != own) cells[k][cell_count[k]++] = low;
    if (high != own) cells[k][cell_count[k]++] = high;
  }
  for (int x = 0; x < cell_count[0]; ++x) {
    for (int y = 0; y < cell_count[1]; ++y) {
      for (int z = 0; z < cell_count[2]; ++z) {
        const Cell cell{cells[0][x], cells[1][y], cells[2][z]};
        bool go_on = true;
        ForEachInCell(cell, HashOf(cell), [&](int32_t vertex) { return go_on = visit(vertex); });
        if (!go_on) return;
      }
    }
  }
}

int32_t VertexMerger::FindMatch(const PbVec3f& p) {
  int32_t found = -1;
  ForEachNear(p, reach_, [&](int32_t vertex) {
    if (Matches(p, vertex)) found = vertex;
    return found < 0;
  });
  return found;
}

// ---------------------------------------------------------------------------------------------------------
// The complete table

void VertexMerger::Finish() {
  if (late_count_ == 0) return;
  std::vector<char> alone(size_t(vertex_count_), 0);
  for (int32_t i = 0; i < late_count_; ++i) alone[size_t(Late(i).vertex)] = 1;
  // Only those that something merged into are of interest.
  std::vector<int32_t> asked;
  asked.reserve(kBatch);
  for (int32_t vertex = 0; vertex < vertex_count_; ++vertex) {
    if (alone[size_t(vertex)] != 0) {
      asked.push_back(vertex);
      __builtin_prefetch(slots_.get() + SlotOf(HashOf(vertices_[vertex])));
    }
    if (asked.size() < kBatch && vertex + 1 < vertex_count_) continue;
    for (const int32_t v : asked) alone[size_t(v)] = IsAlone(v);
    NarrowCrowdedCells(asked.size());
    asked.clear();
  }
  for (int32_t i = 0; i < late_count_; ++i) {
    LatePoint& late = Late(i);
    if (alone[size_t(late.vertex)] != 0) continue;
    late.vertex = LookUp(late.point);
    NarrowCrowdedCells(1);
  }
}

/// Whether what matches this vertex can match no other: none of its bucket lies within two tolerances.
bool VertexMerger::IsAlone(int32_t vertex) {
  const PbVec3f& p = vertices_[vertex];
  bool alone = true;
  ForEachNear(p, 2 * reach_, [&](int32_t other) {
    const PbVec3f& q = vertices_[other];
    alone = other == vertex || Distance(p[0], q[0]) > 2 * reach_ || Distance(p[1], q[1]) > 2 * reach_ ||
            Distance(p[2], q[2]) > 2 * reach_ || !SameBucket(p, q);
    return alone;
  });
  return alone;
}

/// What the complete table returns for a point that has a match.
int32_t VertexMerger::LookUp(const PbVec3f& p) {
  int32_t lowest = INT32_MAX;
  int32_t highest = -1;
  ForEachNear(p, reach_, [&](int32_t vertex) {
    if (Matches(p, vertex)) {
      lowest = std::min(lowest, vertex);
      highest = std::max(highest, vertex);
    }
    return true;
  });
  if (lowest == highest) return highest;
  // A bucket's first vertex has the lowest number in it, so when it matches, it is the lowest match.
  if (bucket_starts_.empty()) FindBucketStarts();
  return bucket_starts_[size_t(BucketOf(p))] == lowest ? lowest : highest;
}

void VertexMerger::FindBucketStarts() {
  bucket_starts_.assign(size_t(bucket_count_), -1);
  for (int32_t vertex = vertex_count_; vertex-- > 0;)
    bucket_starts_[size_t(BucketOf(vertices_[vertex]))] = vertex;
}

// ---------------------------------------------------------------------------------------------------------
// The table of cells

void VertexMerger::SetCellWidth(double in_tolerances) {
  width_ = in_tolerances;
  cells_per_unit_ = 1 / (reach_ * in_tolerances);
}

void VertexMerger::Adapt(size_t points_to_come) {
  NarrowCrowdedCells(points_to_come);
  if (hashes_ < kMostHashes && crowded_out_.size() > most_crowded_out_) MakeHash();
  if (slots_used_ + points_to_come > slots_.size() / 4 * 3)
    RebuildTable(std::max(2 * slots_.size(), 2 * (slots_used_ + points_to_come)));
}

/// Searches for so many points are to come, or were made.
void VertexMerger::NarrowCrowdedCells(size_t points) {
  recent_points_ += points;
  if (recent_points_ < kCrowdWindow) return;
  if (recent_visits_ > kCrowdedCell * recent_points_ && width_ > kNarrowestCell) {
    SetCellWidth(std::max(width_ / 4, kNarrowestCell));
    RebuildTable(slots_.size());
  }
  recent_points_ = 0;
  recent_visits_ = 0;
}

/// Other factors, of the cells that found no slot.
void VertexMerger::MakeHash() {
  ++hashes_;
  most_crowded_out_ *= kCrowdedOutGrows;
  uint64_t seed = 0;
  for (const auto& [cell, vertex] : crowded_out_) {
    for (const uint64_t c : cell) seed = Fold(seed + c);
  }
  for (uint64_t& factor : factors_) factor = (seed = Fold(seed + 0x9E3779B97F4A7C15u)) | 1;
  RebuildTable(slots_.size());
}

void VertexMerger::RebuildTable(size_t slot_count) {
  slots_.reset(slot_count);
  host::ExpectFilling(slots_.get(), slot_count * sizeof(uint64_t));
  slots_used_ = 0;
  crowded_out_.clear();
  for (int32_t vertex = 0; vertex < vertex_count_; ++vertex) {
    if (!Finite(vertices_[vertex])) continue;
    const uint64_t hash = HashOf(vertices_[vertex]);
    size_t slot = SlotOf(hash);
    int probe = 0;
    while (slots_[slot] != 0 && ++probe < kLongestProbe) slot = NextSlot(slot);
    Store(vertex, hash, slots_[slot] == 0 ? slot : slot_count);
  }
}

void VertexMerger::Store(int32_t vertex, uint64_t hash, size_t slot) {
  if (slot == slots_.size()) {
    crowded_out_.emplace(CellOf(vertices_[vertex]), vertex);
    return;
  }
  slots_[slot] = SlotValue(hash, vertex);
  ++slots_used_;
}

}  // namespace trq::detail
