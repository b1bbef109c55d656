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
  const trq::core::AreaAndVolume placed = trq::core::MeasurePlaced(view(), matrix, mm_to_inch);
  R[28] = placed.area;
  R[29] = placed.volume;
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
