/// Records of the slice-file library that meshes, contours and styles exchange with it.
#pragma once

#include <array>
#include <cstdint>

#include "trq/export.h"
#include "trq/host.h"

namespace trq {
/// The placement record of a component: floats R[0..29] and the matrix before the latest move.
/// R[0..15] current 4x4 matrix (row-major, column vectors); R[16..18], R[19..21], R[22..24] three points;
/// R[25..27] spacing; R[28] area; R[29] volume.
struct TRQ_EXPORT PlacementRecord {
  std::array<float, 30> R;
  std::array<float, 16> previous_matrix;  ///< the 4x4 matrix before the latest move
  /// Both matrices unit, all else zero.
  PlacementRecord();
};
}  // namespace trq

/// The component record of the slice-file library. A plain value: copying copies the placement record too,
/// so two records never share one.
class TRQ_EXPORT COMPONENT_INFO {
 public:
  COMPONENT_INFO() = default;

  /// Word k of the first six 32-bit words, k = 1..6, as raw bits (word 2 is the triangle count). Other k: a
  /// word of its own that nothing reads.
  int32_t& word(int k);
  int32_t word(int k) const;
  /// The floats R[0..29] of the placement record.
  float* placement() { return record.R.data(); }
  const float* placement() const { return record.R.data(); }

  CString text;
  std::array<int32_t, 6> words{};
  std::array<int32_t, 4> words_of_four{};
  std::array<int32_t, 24> words_of_twenty_four{};
  std::array<int32_t, 4> last_words{};
  trq::PlacementRecord record;
};
