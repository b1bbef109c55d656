#include "trq/vents_and_drains.h"

#include <cmath>

#include "foundation/vector3.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

// Largest difference, exclusive, between a facet's cosine to the vertical and 1 (vents) or -1 (drains).
constexpr double kCosineTolerance = 0.005;

template <class Record>
void SelectAll(std::vector<Record>& records, int32_t flag) {
  for (Record& record : records) record.selected = flag;
}

template <class Record>
void Empty(std::vector<Record>& records) {
  records.clear();
  records.shrink_to_fit();
}

}  // namespace

CVentsAndDrains::~CVentsAndDrains() = default;

void CVentsAndDrains::ClearAll() {
  Empty(vents);
  Empty(drains);
}

void CVentsAndDrains::SelectedAllVents() { SelectAll(vents, 1); }
void CVentsAndDrains::SelectedAllDrains() { SelectAll(drains, 1); }
void CVentsAndDrains::UnselectedAllVents() { SelectAll(vents, 0); }
void CVentsAndDrains::UnselectedAllDrains() { SelectAll(drains, 0); }
void CVentsAndDrains::UnselectedAllVentTriangles() { SelectAll(vent_triangles, 0); }
void CVentsAndDrains::UnselectedAllDrainTriangles() { SelectAll(drain_triangles, 0); }

void CTL::FindVDTriangles(float m[][4]) {
  vents_and_drains.ClearAll();
  Empty(vents_and_drains.vent_triangles);
  Empty(vents_and_drains.drain_triangles);
  if (!m) return;

  const trq::core::MeshView mesh = view();
  for (size_t i = 0; i < mesh.triangles.size(); ++i) {
    const Vec normal = Widen(mesh.Normal(i));
    const double z = float(Dot(Widen(m[2]), normal));
    const Vec turned = {Dot(Widen(m[0]), normal), Dot(Widen(m[1]), normal), z};
    // A normal of length zero gives NaN, which is in neither list.
    const double cosine = z / Length(turned);
    const int32_t triangle = int32_t(i);
    if (std::fabs(1.0 - cosine) < kCosineTolerance) {
      vents_and_drains.vent_triangles.push_back({triangle, 0});
    } else if (std::fabs(-1.0 - cosine) < kCosineTolerance) {
      vents_and_drains.drain_triangles.push_back({triangle, 0});
    }
  }
}
