#include "trq/slice_file.h"

trq::PlacementRecord::PlacementRecord() : R{}, previous_matrix{} {
  for (int i = 0; i < 4; ++i) R[5 * i] = previous_matrix[5 * i] = 1.0f;
}

int32_t& COMPONENT_INFO::word(int k) {
  static thread_local int32_t outside = 0;
  return k >= 1 && k <= 6 ? words[k - 1] : outside;
}

int32_t COMPONENT_INFO::word(int k) const { return k >= 1 && k <= 6 ? words[k - 1] : 0; }
