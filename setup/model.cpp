#include <algorithm>
#include <cmath>

#include "geometry/mesh_access.h"
#include "geometry/mesh_measure.h"
#include "geometry/placed_points.h"
#include "trq/setup.h"

using namespace trq::detail;

MODEL::~MODEL() = default;

void MODEL::CalculateCurrentVolumeAndArea(int mm_to_inch) {
  if (StateWord != 0 && StateWord != 1) return;
  float* R = ComponentInfo.placement();
  float matrix[4][4];
  std::copy(R, R + 16, &matrix[0][0]);
  PlacedPoints placed(matrix, mm_to_inch);
  double area = 0;
  double volume = 0;
  const std::size_t count = UsedTriangles(*this);
  for (std::size_t i = 0; i < count; ++i) {
    PbVec3f p[3];
    for (int k = 0; k < 3; ++k) p[k] = placed.Point(Corner(*this, triangles_[i], k));
    const double ax = p[0][0], ay = p[0][1], az = p[0][2];
    const double bx = p[1][0], by = p[1][1], bz = p[1][2];
    const double cx = p[2][0], cy = p[2][1], cz = p[2][2];
    volume += ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
    const float doubled_squared = DoubledAreaSquared(p[0].data(), p[1].data(), p[2].data());
    if (doubled_squared > 0) area += std::sqrt(static_cast<double>(doubled_squared));
  }
  R[28] = static_cast<float>(area * 0.5);
  R[29] = static_cast<float>(volume * 0.16666667);
}

void MODEL::SetCTLExtents(float min_x, float min_y, float min_z, float max_x, float max_y, float max_z) {
  min[0] = min_x;
  min[1] = min_y;
  min[2] = min_z;
  max[0] = max_x;
  max[1] = max_y;
  max[2] = max_z;
}

void MODEL::setModelModifiedState(bool modified, bool second) {
  Modified = modified;
  if (modified) SecondFlag = second;
}
