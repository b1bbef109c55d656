/// Candidate triangles and placed vents and drains of one mesh.
#pragma once

#include <cstdint>
#include <vector>

#include "trq/export.h"

/// A placed vent or drain: a point in model coordinates, seven numbers in all, and a selection flag.
struct TRQ_EXPORT VentOrDrain {
  float point[3] = {0, 0, 0};
  float second[3] = {0, 0, 0};  ///< carried unchanged by every operation
  float seventh = 0;            ///< carried unchanged by every operation
  int32_t selected = 0;
};
static_assert(sizeof(VentOrDrain) == 32, "a record of eight words");

namespace trq {
/// A facet that may take a vent or a drain.
struct TRQ_EXPORT VentCandidate {
  int32_t triangle = 0;
  int32_t selected = 0;
};
}  // namespace trq
static_assert(sizeof(trq::VentCandidate) == 8, "a record of two words");

/// The vents and drains of one mesh.
class TRQ_EXPORT CVentsAndDrains {
 public:
  CVentsAndDrains() = default;
  CVentsAndDrains(const CVentsAndDrains&) = default;
  CVentsAndDrains& operator=(const CVentsAndDrains&) = default;
  virtual ~CVentsAndDrains();
  /// Empties the placed vents and drains; the candidate lists stay.
  void ClearAll();
  void SelectedAllVents();
  void SelectedAllDrains();
  void UnselectedAllVents();
  void UnselectedAllDrains();
  void UnselectedAllVentTriangles();
  void UnselectedAllDrainTriangles();

  std::vector<trq::VentCandidate> vent_triangles;
  std::vector<VentOrDrain> vents;
  std::vector<trq::VentCandidate> drain_triangles;
  std::vector<VentOrDrain> drains;
};
