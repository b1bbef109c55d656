#include <algorithm>
#include <string_view>

#include "foundation/vector3.h"
#include "geometry/facet_file.h"
#include "geometry/mesh_access.h"
#include "geometry/mesh_output.h"
#include "trq/core/shell.h"
#include "trq/core/stl.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

using trq::core::ByteSink;

// Kept: the application picks the file up under this name.
constexpr char kFileName[] = "ChikiChikiBumBum.stl";
constexpr char kWriting[] = "STL file write";
constexpr std::string_view kStlText = trq::core::StlWriting().header;

void CopyPoint(float to[3], const float from[3]) { std::copy(from, from + 3, to); }

double SquaredDistance(const float a[3], const float b[3]) {
  const Vec difference = Widen(a) - Widen(b);
  return Dot(difference, difference);
}

/// The record at a facet index; null when the index is outside the mesh.
TheTriangle* RecordAt(TheTriangle* records, int32_t index, size_t count) {
  return index >= 0 && size_t(index) < count ? records + index : nullptr;
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

void trq::core::WriteCompensatedStl(const MeshView& mesh, float height, ByteSink& sink) {
  FacetWriter out(sink, mesh.triangles.size(), kStlText.data(), kStlText.size());
  for (size_t i = 0; i < mesh.triangles.size(); ++i) {
    float corners[3][3];
    for (int k = 0; k < 3; ++k) {
      CopyPoint(corners[k], mesh.Corner(mesh.triangles[i], k));
      // Kept: a z that is not a number faces down.
      if (FacesDown(mesh, i)) corners[k][2] += height;
    }
    out.Add(mesh.Normal(i), corners[0], corners[1], corners[2]);
  }
}

int CTL::ShiftTrianglesInZForZComp(float zcomp, int) {
  WriteOnRecord(*this, kFileName, kWriting,
                [&](ByteSink& sink) { trq::core::WriteCompensatedStl(view(), zcomp, sink); });
  return 0;
}

int CTL::DumpZCompedSTL(TheTriangle* facets, int) {
  const trq::core::MeshView mesh = view();
  const size_t count = mesh.triangles.size();
  if (!facets && count > 0) return trq::mesh_io::kFailed;
  const auto write = [&](ByteSink& sink) {
    FacetWriter out(sink, count, kStlText.data(), kStlText.size());
    for (size_t i = 0; i < count; ++i)
      out.Add(mesh.Normal(i), facets[i].corners[0], facets[i].corners[1], facets[i].corners[2]);
  };
  return WriteOnRecord(*this, kFileName, kWriting, write) ? trq::mesh_io::kDone : trq::mesh_io::kFailed;
}

int CTL::DumpTheUpBucketIntoMainBucket(int n, TheTriangle* up, TheTriangle* main) {
  if (!up || !main) return 0;
  const size_t count = UsedTriangles(*this);
  for (int i = 0; i < n; ++i) {
    TheTriangle* const record = RecordAt(main, up[i].facet_index, count);
    if (!record) continue;
    for (int k = 0; k < 3; ++k) CopyPoint(record->corners[k], up[i].corners[k]);
  }
  return 0;
}

int CTL::TrimDownfacingTriangles(int nsegments, TheTriangle* main, TheSegment* segments, float) {
  if (!main || !segments) return 0;
  const size_t count = UsedTriangles(*this);
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
