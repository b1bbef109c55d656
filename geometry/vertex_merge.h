/// Merging of points that lie closer together than a tolerance: how corners become shared vertices.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "trq/geometry.h"

namespace trq::detail {

/// The hash by which the merge table chooses a point's bucket: cell indices trunc(c / t), then
/// |trunc(iz*t*68.265 + iy*t*24343.0 + ix*t*31.3)|, all in double.
int32_t VertexHash(const PbVec3f& p, float tolerance);

/// Whether two points are the same vertex for the merge table: closer than the tolerance on every axis.
/// Differences are taken in double; NaN and infinite coordinates are the same as nothing.
bool SameVertex(const PbVec3f& a, const PbVec3f& b, float tolerance);

/// Merges points, taken in order, into vertices. Two points match when they are the SameVertex and their
/// hashes fall into the same of `bucket_count` buckets.
///
/// A point becomes a vertex when no earlier vertex matches it. Once all points are there, each point stands
/// for the vertex that a look-up in the complete table returns: the first vertex of the point's bucket when
/// it matches, else the matching vertex with the highest number. A point that nothing matches, not even
/// itself (NaN, infinity, a tolerance of 0 or less or NaN), stands for the vertex made for it.
class VertexMerger {
 public:
  /// `vertices` is filled from the front; it needs room for every point that will be added and stays the
  /// caller's. bucket_count is at least 1.
  VertexMerger(float tolerance, int32_t bucket_count, PbVec3f* vertices);

  /// Adds points. returns[i] is the number of the point's vertex, or negative when only Finish can tell.
  void Add(const PbVec3f* points, size_t count, int32_t* answers);
  /// To be called after the last Add: settles the negative returns.
  void Finish();
  /// Whether negative returns were given at all.
  bool has_late_answers() const { return late_count_ > 0; }
  /// After Finish: the vertex that an answer of Add means.
  int32_t VertexOf(int32_t answer) const { return answer >= 0 ? answer : Late(~answer).vertex; }
  int32_t vertex_count() const { return vertex_count_; }
  /// Slots and vertices that searches have looked at so far.
  size_t steps() const { return steps_; }

 private:
  /// A point that merged into an unequal vertex.
  struct LatePoint {
    PbVec3f point;
    int32_t vertex;
  };
  static constexpr int32_t kLateBlock = 4096;
  using Cell = std::array<uint64_t, 3>;

  void AddBatch(const PbVec3f* points, size_t count, int32_t* answers);
  int32_t AddOne(const PbVec3f& p, uint64_t hash);
  int32_t Append(const PbVec3f& p);
  int32_t AppendLate(const PbVec3f& p, int32_t vertex);
  LatePoint& Late(int32_t i) { return late_[size_t(i / kLateBlock)][i % kLateBlock]; }
  const LatePoint& Late(int32_t i) const { return late_[size_t(i / kLateBlock)][i % kLateBlock]; }
  int32_t LookUp(const PbVec3f& p);
  bool IsAlone(int32_t vertex);

  uint64_t CellOf(double coordinate) const;
  Cell CellOf(const PbVec3f& p) const;
  const Cell& CellOf(const Cell& cell) const { return cell; }
  template <class PointOrCell>
  uint64_t HashOf(const PointOrCell& p) const;
  void Store(int32_t vertex, uint64_t hash, size_t slot);
  size_t SlotOf(uint64_t hash) const;
  size_t NextSlot(size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }
  bool NearCellBorder(const PbVec3f& p) const;
  template <class PointOrCell, class Visit>
  size_t ForEachInCell(const PointOrCell& p, uint64_t hash, Visit visit);
  template <class Visit>
  void ForEachNear(const PbVec3f& p, double reach, Visit visit);
  int32_t FindMatch(const PbVec3f& p);
  bool Matches(const PbVec3f& p, int32_t vertex) const;
  bool SameBucket(const PbVec3f& a, const PbVec3f& b) const;
  bool InSameHashCell(float a, float b) const;
  int32_t BucketOf(const PbVec3f& p) const { return VertexHash(p, tolerance_) % bucket_count_; }
  void FindBucketStarts();
  void SetCellWidth(double in_tolerances);
  void Adapt(size_t points_to_come);
  void NarrowCrowdedCells(size_t points);
  void MakeHash();
  void RebuildTable(size_t slot_count);

  const float tolerance_;
  const int32_t bucket_count_;
  PbVec3f* const vertices_;
  int32_t vertex_count_ = 0;

  double reach_ = 0;  // the tolerance, finite
  double per_tolerance_ = 0;
  double width_ = 0;  // of a cell, in tolerances
  double cells_per_unit_ = 0;
  trq::MeshArray<uint64_t>
      slots_;  // 0: free; else the low half of a cell's hash, then a vertex number plus 1
  size_t slots_used_ = 0;
  std::array<uint64_t, 3> factors_{0x9E3779B97F4A7C15u, 0xC2B2AE3D27D4EB4Fu,
                                   0x165667B19E3779F9u};  // odd ones
  std::multimap<Cell, int32_t> crowded_out_;              // vertices that found no slot
  size_t most_crowded_out_ = 0;                           // more make another hash
  int hashes_ = 1;
  size_t steps_ = 0;
  size_t recent_points_ = 0;
  size_t recent_visits_ = 0;

  std::vector<std::unique_ptr<LatePoint[]>> late_;
  int32_t late_count_ = 0;
  std::vector<int32_t> bucket_starts_;
};

}  // namespace trq::detail
