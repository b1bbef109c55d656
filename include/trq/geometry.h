/// The mesh: component base, CTL mesh with its files, STL in and out, transforms, Z compensation, shell.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "trq/export.h"
#include "trq/foundation.h"
#include "trq/host.h"
#include "trq/slice_contours.h"
#include "trq/slice_file.h"
#include "trq/vents_and_drains.h"

/// Units codes of components and CTL headers.
namespace units {
enum Code : int { kInch = 0, kMillimetre = 1, kUnknown = 2 };
}  // namespace units

/// Base of every object that can be read, written, measured and moved. Owns units, name and the cached box.
class TRQ_EXPORT COMPONENT : public CErrorObject {
 public:
  COMPONENT();
  COMPONENT(const COMPONENT&) = default;
  COMPONENT& operator=(const COMPONENT&) = default;
  ~COMPONENT() override;
  virtual void recalculate_extents();
  virtual int fp_read(FILE* f);
  virtual char* suffix() = 0;
  virtual int fp_write(FILE* f);
  virtual void SetUnits(int code);
  virtual void translate(float dx, float dy, float dz);
  virtual void rotateX(float degrees);
  virtual void rotateY(float degrees);
  virtual void rotateZ(float degrees);
  virtual void scale(float sx, float sy, float sz);

  char* name() { return name_; }
  const char* name() const { return name_; }
  /// Copies the text; cut at 199 bytes.
  void name(const char* text);
  int GetUnits() const { return units; }
  int file_read(const char* path);
  int file_write(CString path);
  void get_min(float* x, float* y, float* z);
  void get_min(double* x, double* y, double* z);
  void get_max(float* x, float* y, float* z);
  void get_max(double* x, double* y, double* z);
  void convert_to_inch();

 protected:
  void no_good();
  void make_extents_current();

 public:
  int32_t units;
  char name_[200];
  int32_t extents_valid;
  float min[3];
  float max[3];
};

/// In memory the mesh's header; on disk the first 256 bytes of a CTL file (docs/formats/ctl.md).
struct TRQ_EXPORT CTL_HEADER {
  CTL_HEADER();
  int32_t num_vertices;
  int32_t num_triangles;
  float matrix[4][4];
  int32_t units;
  int32_t sort_state;
  char stl_header[80];
  int32_t magic;
  int32_t format_word;
  uint32_t reserved[2];
  char reserved_bytes[80];
};
static_assert(sizeof(CTL_HEADER) == 256, "the head of a CTL file");

class TheTriangle;
class TheSegment;

/// The triangle mesh.
class TRQ_EXPORT CTL : public COMPONENT {
 public:
  CTL();
  CTL(const CTL&) = delete;
  CTL& operator=(const CTL&) = delete;
  CTL(CTL&& other) noexcept;
  CTL& operator=(CTL&& other) noexcept;
  ~CTL() override;

  PbVec3f* vertices() { return vertices_.get(); }
  const PbVec3f* vertices() const { return vertices_.get(); }
  R_INT4* triangles() { return triangles_.get(); }
  const R_INT4* triangles() const { return triangles_.get(); }
  R_INT4& nth(int i) { return triangles_[i]; }
  int num_vertices() const { return header.num_vertices; }
  int num_triangles() const { return header.num_triangles; }
  VECTOR* normals() { return normals_.get(); }
  const VECTOR* normals() const { return normals_.get(); }

  void recalculate_extents() override;
  int fp_read(FILE* f) override;
  char* suffix() override;
  void SetUnits(int code) override;
  void translate(float dx, float dy, float dz) override;
  void rotateX(float degrees) override;
  void rotateY(float degrees) override;
  void rotateZ(float degrees) override;
  void scale(float sx, float sy, float sz) override;

  // Files
  int get_units(FILE* f);
  int SaveCTLModel(CString path, float matrix[4][4], int mm_to_inch);
  int LoadSTLFile(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2);
  int read_stl(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2);
  int ascii_read(FILE* f, int file_units, float tolerance, int extra1, int extra2);
  int create(TriangleBAG& bag, float tolerance, int file_units, int extra);
  int SaveSTLHeader(FILE* f, int count);
  int SaveModifiedCTLDataAsSTL(FILE* f, int mm_to_inch, float matrix[4][4]);
  int SaveCTLasBinarySTL(CString path, float matrix[4][4], int mm_to_inch, int stamp_number);
  int SaveCTLasAsciiSTL(CString path, float matrix[4][4], int mm_to_inch);
  int crcSTLFile(const char* path);
  bool crcValidateSTLFile(const char* path);
  void ascii_dump(FILE* f);
  int dumpctl();

  // Whole-mesh operations
  void clear();
  int approximate(int target_triangles);
  void copy(CTL* dst);
  void combine(CTL* other);
  void applyMatrix(float* const* m);
  void mirror(CTL* dst, int axis, int mm_to_inch, float offset, COMPONENT_INFO* info,
              COMPONENT_INFO* dst_info);
  void z_sort_ascending();
  void z_sort_descending();
  void eliminate_degenerates();
  void truncateVertices();

  // Measures
  int Calculate_normals();
  VECTOR get_normal(VECTOR p1, VECTOR p2, VECTOR p3);
  float areaX2sq(int i);
  float areaX2sq(const float a[3], const float b[3], const float c[3]);
  float area();
  float volume();

  // Z compensation
  int ShiftTrianglesInZForZComp(float zcomp, int extra);
  int DumpZCompedSTL(TheTriangle* facets, int extra);
  int DumpTheUpBucketIntoMainBucket(int n, TheTriangle* up, TheTriangle* main);
  int TrimDownfacingTriangles(int nsegments, TheTriangle* main, TheSegment* segments, float zcomp);
  int CreateKnifeBucket(int a, int b, TheTriangle* facets, TheSegment* segments, float zcomp);
  int TrimUpfacingTriangles(int a, int b, TheTriangle* facets, TheSegment* segments, float zcomp);

  // Shell offset
  int offset_ctl();
  float validate_offset(int vertex, float distance, int triangle_count);
  int FindIntnsPoint(float distance, PbVec3f p, PbVec3f q, PbVec3f a, PbVec3f b, PbVec3f c);
  int PointOnTriangle(VECTOR point, PbVec3f a, PbVec3f b, PbVec3f c);
  float tetra_analysis(PbVec3f p, PbVec3f a, PbVec3f b, PbVec3f c);
  int SaveCTLandShellAsSTL();
  int SaveCTLasSTL();
  int MergeShellAndCTLintoCTL();
  int dumpshell();

  // Vents and drains
  void FindVDTriangles(float m[][4]);

  // Fields; the arrays are owned.
  std::unique_ptr<PbVec3f[]> vertices_;
  std::unique_ptr<R_INT4[]> triangles_;
  std::unique_ptr<VECTOR[]> normals_;
  std::unique_ptr<PbVec3f[]> shell_vertices_;  ///< one point per mesh vertex, made by offset_ctl
  std::unique_ptr<std::vector<VECTOR_LL>[]> adjacent_facets_;  ///< null outside offset_ctl
  std::unique_ptr<float[]> smallest_squared_edges_;            ///< null outside offset_ctl
  std::unique_ptr<VECTOR[]> push_directions_;                  ///< null outside offset_ctl
  float offset_limit = 0;                                      ///< largest inward push of offset_ctl
  int32_t validate_offsets = 0;                                ///< 1: offset_ctl checks every push
  int32_t shell_made = 0;                                      ///< 1 once offset_ctl ran
  CVentsAndDrains vents_and_drains;
  CTL_HEADER header;
};
