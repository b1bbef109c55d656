#include <algorithm>
#include <cstdio>
#include <vector>

#include "geometry/facet_file.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "trq/geometry.h"

namespace {

// Kept: the application picks the file up under this name.
constexpr char kFileName[] = "ChikiChikiBumBum.stl";
constexpr char kWriting[] = "STL file write";

void CopyPoint(float to[3], const float from[3]) { std::copy(from, from + 3, to); }

double SquaredDistance(const float a[3], const float b[3]) {
  const double x = static_cast<double>(a[0]) - b[0];
  const double y = static_cast<double>(a[1]) - b[1];
  const double z = static_cast<double>(a[2]) - b[2];
  return x * x + y * y + z * z;
}

/// The record at a facet index; null when the index is outside the mesh.
TheTriangle* RecordAt(TheTriangle* records, int32_t index, std::size_t count) {
  return index >= 0 && static_cast<std::size_t>(index) < count ? records + index : nullptr;
}

}  // namespace

void TheTriangle::SetCorner(int k, const float point[3]) {
  if (k >= 1 && k <= 3) CopyPoint(corners[k - 1], point);
}

void TheTriangle::GetCorner(int k, float point[3]) const {
  CopyPoint(point, corners[k == 1 || k == 2 ? k - 1 : 2]);
}

void TheTriangle::SetNormal(const float n[3]) { CopyPoint(normal, n); }
void TheTriangle::GetNormal(float n[3]) const { CopyPoint(n, normal); }

void TheSegment::SetPoint(int k, const float point[3]) {
  if (k == 1 || k == 2) CopyPoint(points[k - 1], point);
}

void TheSegment::SetTrimmedPoint(int k, const float point[3]) {
  if (k == 1 || k == 2) CopyPoint(trimmed_points[k - 1], point);
}

void TheSegment::GetPoint(int k, float point[3]) const { CopyPoint(point, points[k == 1 ? 0 : 1]); }

void TheSegment::GetTrimmedPoint(int k, float point[3]) const {
  CopyPoint(point, trimmed_points[k == 1 ? 0 : 1]);
}

int TheSegment::match(const float a[3], const float b[3], float d) const {
  if (SquaredDistance(points[0], a) < d && SquaredDistance(points[1], b) < d) return 1;
  if (SquaredDistance(points[0], b) < d && SquaredDistance(points[1], a) < d) return 2;
  return 0;
}

int CTL::ShiftTrianglesInZForZComp(float zcomp, int extra) {
  const std::size_t count = trq::detail::UsedTriangles(*this);
  std::vector<TheTriangle> bucket(count);
  for (std::size_t i = 0; i < count; ++i) {
    TheTriangle& record = bucket[i];
    const VECTOR n = trq::detail::NormalAt(*this, i);
    for (int k = 0; k < 3; ++k) {
      CopyPoint(record.corners[k], trq::detail::Corner(*this, triangles_[i], k).data());
    }
    record.normal[0] = n.x;
    record.normal[1] = n.y;
    record.normal[2] = n.z;
    record.facet_index = static_cast<int32_t>(i);
    // Kept: a z that is not a number faces down.
    if (!(n.z >= 0)) {
      for (float* const corner : record.corners) corner[2] += zcomp;
    }
  }
  DumpZCompedSTL(bucket.data(), extra);
  return 0;
}

int CTL::DumpZCompedSTL(TheTriangle* facets, int) {
  const std::size_t count = trq::detail::UsedTriangles(*this);
  if (!facets && count > 0) return trq::mesh_io::kFailed;
  trq::detail::FileHandle file = trq::detail::CreateOnRecord(*this, kFileName, "wb", kWriting);
  if (!file) return trq::mesh_io::kFailed;
  SaveSTLHeader(file.get(), static_cast<int>(count));
  trq::detail::FacetWriter writer(file.get(), count);
  for (std::size_t i = 0; i < count; ++i) {
    const VECTOR n = trq::detail::NormalAt(*this, i);
    const float normal[3] = {n.x, n.y, n.z};
    writer.Add(normal, facets[i].corners[0], facets[i].corners[1], facets[i].corners[2]);
  }
  writer.Flush();
  trq::detail::CloseOnRecord(*this, std::move(file), kWriting);
  return trq::mesh_io::kDone;
}

int CTL::DumpTheUpBucketIntoMainBucket(int n, TheTriangle* up, TheTriangle* main) {
  if (!up || !main) return 0;
  const std::size_t count = trq::detail::UsedTriangles(*this);
  for (int i = 0; i < n; ++i) {
    TheTriangle* const record = RecordAt(main, up[i].facet_index, count);
    if (!record) continue;
    for (int k = 0; k < 3; ++k) CopyPoint(record->corners[k], up[i].corners[k]);
  }
  return 0;
}

int CTL::TrimDownfacingTriangles(int nsegments, TheTriangle* main, TheSegment* segments, float) {
  if (!main || !segments) return 0;
  const std::size_t count = trq::detail::UsedTriangles(*this);
  // A group needs its second edge: a last group of a single edge is not there.
  for (int i = 0; i < nsegments - 1; i += 3) {
    const TheSegment& first = segments[i];
    if (first.state != 1) continue;
    TheTriangle* const record = RecordAt(main, first.facet_index, count);
    if (!record) continue;
    CopyPoint(record->corners[0], first.trimmed_points[0]);
    CopyPoint(record->corners[1], first.trimmed_points[1]);
    CopyPoint(record->corners[2], segments[i + 1].trimmed_points[0]);
  }
  return 0;
}

int CTL::CreateKnifeBucket(int, int, TheTriangle*, TheSegment*, float) { return 0; }

int CTL::TrimUpfacingTriangles(int, int, TheTriangle*, TheSegment*, float) { return 0; }
