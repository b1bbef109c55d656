/// The mesh: component base, CTL mesh with its files, STL in and out, transforms, Z compensation, shell.
#pragma once

#include <cstdint>
#include <cstdio>

#include "trq/core/mesh.h"
#include "trq/export.h"
#include "trq/foundation.h"
#include "trq/host.h"
#include "trq/mesh_values.h"
#include "trq/slice_contours.h"
#include "trq/slice_file.h"
#include "trq/vents_and_drains.h"

/// Results of COMPONENT::file_read and file_write, of the base's fp_read and fp_write, and of CTL::get_units.
namespace trq::component_io {
enum Result : int { kOk = 0, kFailed = -1 };
}  // namespace trq::component_io

/// Results of the mesh writers that take a path, and of Calculate_normals. What goes wrong while any of the
/// mesh's files is created, written or closed is on record in its error object (GetErrorCode,
/// GetErrorMessage) besides, and stays there after later saves that succeed, until ClearError.
namespace trq::mesh_io {
enum Result : int { kDone = 0, kFailed = 1 };
}  // namespace trq::mesh_io

/// Results of CTL::read_stl; also of CTL::LoadSTLFile, which returns mesh_io::kFailed as well.
namespace trq::stl_import {
enum Result : int {
  kOk = 0,
  kNoHeader = -1,       ///< fewer than 80 bytes, or a stream that cannot go back where it has to
  kNoCount = -2,        ///< the facet count is cut short or not positive
  kNotBuilt = -3,       ///< no two corners merged
  kFacetsMissing = -4,  ///< fewer facets than announced, and that was not accepted
};
}  // namespace trq::stl_import

/// Base of every object that can be read, written, measured and moved. Owns units, a name and the cached
/// bounding box (the extents). The geometric operations of the base print
/// "Warning: function not supported by this component type" on standard output and change nothing. Copies
/// copy every field.
class TRQ_EXPORT COMPONENT : public CErrorObject {
 public:
  /// Units inch, no name, the empty box (lower corner 1e30, upper corner -1e30), stale.
  COMPONENT();
  COMPONENT(const COMPONENT&) = default;
  COMPONENT& operator=(const COMPONENT&) = default;
  ~COMPONENT() override;

  /// Makes `min` and `max` anew from the geometry, and leaves `extents_valid` alone. The base does nothing.
  virtual void recalculate_extents();
  /// Reads the component from an open file; component_io::kFailed is failure. The base returns that at once.
  virtual int fp_read(FILE* f);
  /// The ending of the component's files, without period.
  virtual char* suffix() = 0;
  /// Writes the component to an open file. The base warns and returns component_io::kFailed.
  virtual int fp_write(FILE* f);
  /// Stores the units (units::Code); coordinates are not converted.
  virtual void SetUnits(int code);
  virtual void translate(float dx, float dy, float dz);
  /// Turns about an axis through the origin, in degrees.
  virtual void rotateX(float degrees);
  virtual void rotateY(float degrees);
  virtual void rotateZ(float degrees);
  /// Scales about the origin, a factor an axis.
  virtual void scale(float sx, float sy, float sz);

  /// The name field itself, 200 bytes, zero-terminated.
  char* name() { return name_; }
  const char* name() const { return name_; }
  /// Copies the text, cut at 199 bytes; null is the empty text.
  void name(const char* text);
  int GetUnits() const { return units; }
  /// Reads `path` through fp_read and then makes it the name. Returns component_io::kOk, or kFailed when the
  /// file cannot be opened or fp_read says so; the name stays then. Extents are stale in every case. What
  /// fp_read throws passes through. The file is closed in every case.
  int file_read(const char* path);
  /// Creates `path` and writes it through fp_write. Returns component_io::kOk or kFailed; an empty file may
  /// stay behind on failure.
  int file_write(CString path);
  /// The corner of the bounding box, made current first. A component without points returns the empty box.
  void get_min(float* x, float* y, float* z);
  void get_min(double* x, double* y, double* z);
  void get_max(float* x, float* y, float* z);
  void get_max(double* x, double* y, double* z);
  /// Converts a component in millimetres to inches through the virtual operations: scaling by 0.03937008
  /// about the lower corner of the box, which is itself converted. In inches already: nothing. Units unknown:
  /// prints "Warning, cannot convert to inch since don't know units". Makes the extents current in every
  /// case.
  void convert_to_inch();

 protected:
  /// Prints the warning of an operation that this type of component lacks.
  void no_good();
  /// Calls recalculate_extents when the extents are stale, then calls them current.
  void make_extents_current();

 public:
  int32_t units;          ///< units::Code
  char name_[200];        ///< zero-terminated
  int32_t extents_valid;  ///< 1: `min` and `max` are current; 0: stale
  float min[3];
  float max[3];
};

/// A facet of the Z compensation: three corners, the normal, and where the facet stands in the mesh. All zero
/// at first.
class TRQ_EXPORT TheTriangle {
 public:
  /// Sets corner k = 1, 2, 3; any other k is ignored.
  void SetCorner(int k, const float point[3]);
  /// Returns corner 1 or 2, and corner 3 for every other k.
  void GetCorner(int k, float point[3]) const;
  void SetNormal(const float n[3]);
  void GetNormal(float n[3]) const;

  float corners[3][3] = {};
  float normal[3] = {};
  int32_t word = 0;         ///< always zero
  int32_t facet_index = 0;  ///< the triangle's position in the mesh
};
static_assert(sizeof(TheTriangle) == 56, "a record of fourteen words");

/// A directed edge of a facet of the Z compensation, as found and as trimmed. All zero at first.
class TRQ_EXPORT TheSegment {
 public:
  /// Set point or trimmed point k = 1, 2; any other k is ignored.
  void SetPoint(int k, const float point[3]);
  void SetTrimmedPoint(int k, const float point[3]);
  /// Return point or trimmed point 1, and 2 for every other k.
  void GetPoint(int k, float point[3]) const;
  void GetTrimmedPoint(int k, float point[3]) const;
  /// 1 when the squared distances of point 1 from a and of point 2 from b are both below d; 2 when those of
  /// point 1 from b and of point 2 from a are; else 0. Kept: d is compared as given, not squared.
  int match(const float a[3], const float b[3], float d) const;

  float points[2][3] = {};
  float trimmed_points[2][3] = {};
  int32_t facet_index = 0;  ///< the facet's position in the mesh
  int32_t state = 0;        ///< 1: the edge's group is trimmed by CTL::TrimDownfacingTriangles
};
static_assert(sizeof(TheSegment) == 56, "a record of fourteen words");

/// The triangle mesh: shared vertices, triangles as triples of vertex indices with a facet attribute, one
/// unit normal a triangle once they were calculated.
///
/// The counts live in the header and the arrays are public, so a caller can make them disagree; every
/// operation then works on the smaller of a header count and what is allocated, reads a corner beyond the
/// vertex array as (0, 0, 0), and a missing normal as (0, 0, 0). A mesh made by the library holds zeroed room
/// for at least one vertex beyond num_vertices() and for the largest index of its triangles.
///
/// Copying is `copy(dst)`; moving leaves an empty mesh behind.
class TRQ_EXPORT CTL : public COMPONENT {
 public:
  /// No arrays, empty box, component units inch, header units unknown.
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
  /// Triangle i; no bounds check.
  R_INT4& nth(int i) { return triangles_[static_cast<std::size_t>(i)]; }
  int num_vertices() const { return header.num_vertices; }
  int num_triangles() const { return header.num_triangles; }
  /// One a triangle, or null while none were calculated. Moves and sorts do not follow up on them.
  VECTOR* normals() { return normals_.get(); }
  const VECTOR* normals() const { return normals_.get(); }
  /// The arrays as the plain functions of trq::core read them; valid until they change.
  trq::core::MeshView view() const;
  /// Takes over the header and the arrays, normals included, and the header's units; the box becomes stale.
  void adopt(trq::core::Mesh&& mesh);

  /// The box of the first num_vertices() vertices; NaN coordinates are passed over; without vertices the
  /// empty box. Leaves `extents_valid` alone.
  void recalculate_extents() override;
  /// Reads a CTL file (docs/formats/ctl.md), in either byte order, into a fresh or cleared mesh. Returns the
  /// number of triangles. On failure writes the message and a line end to the error stream and throws the
  /// message as a `char*` (valid until the thread's next failure):
  ///   "Invalid CTL file - No header" (also for a null stream), "Invalid CTL file - Invalid Magic Number",
  ///   "Invalid CTL file - - Wrong number of facets." (written with a single dash),
  ///   "Invalid CTL file - Cannot read vertex_array", "Invalid CTL file - Read past end of file",
  ///   "Invalid CTL file - Cannot read trangles_array";
  /// or, when the stream reports an error while the triangles are read, the system's text, thrown unwritten.
  /// The mesh is then partly filled and is to be cleared or destroyed. Memory asked for is bounded by what
  /// the file holds. Leaves `extents_valid` and the normals alone.
  int fp_read(FILE* f) override;
  /// "ctl".
  char* suffix() override;
  /// Sets the units of the component and of the header.
  void SetUnits(int code) override;
  /// Moves the vertices, and the box with them; `extents_valid` stays.
  void translate(float dx, float dy, float dz) override;
  /// Turns the vertices; the box becomes stale and the mesh unsorted.
  void rotateX(float degrees) override;
  /// As rotateX. Kept: also mirrors z, so that a turn by 0 degrees negates every z.
  void rotateY(float degrees) override;
  void rotateZ(float degrees) override;
  /// Scales the vertices, and the box with them; `extents_valid` stays. Kept: a negative factor does not swap
  /// the box's corners.
  void scale(float sx, float sy, float sz) override;

  // Files

  /// Reads the header of a CTL file in the machine's byte order, rewinds, and returns its units, which become
  /// the component's. The whole header is replaced, counts included. A null stream or a file shorter than a
  /// header: component_io::kFailed, nothing changed, not rewound.
  int get_units(FILE* f);
  /// Writes the mesh as a CTL file (docs/formats/ctl.md). The written vertices are transformed by `matrix`
  /// (row-major, column vectors; with `mm_to_inch` 1 it is meant for inches while mesh and file are in
  /// millimetres). Kept: the mesh's own vertices are snapped by truncateVertices() afterwards, and its
  /// attributes outside 0..2 become 0. Kept: triangle words that do not fit the packed width corrupt their
  /// neighbours, in the mesh as in the file.
  /// Returns mesh_io::kDone, or kFailed for a null `matrix` (nothing is done then), when the file cannot be
  /// created or written to its end, or when the mesh has no triangles; in that case an empty file stays
  /// behind. Requires: num_vertices() >= 3, so that attributes fit the packed width.
  int SaveCTLModel(CString path, float matrix[4][4], int mm_to_inch);
  /// Reads every solid of an STL file (docs/formats/stl.md), ASCII or binary, into this mesh and calculates
  /// the normals. `file_units` becomes the header's units. `accept_partial`, which may be null, tells on
  /// input whether (nonzero) a binary solid with fewer facets than it announces is taken as far as it goes;
  /// it is 0 after an ASCII file. The other arguments are ignored: corners merge within 1e-4. Returns the
  /// code of the first solid when that fails (stl_import::Result), else the result of Calculate_normals; how
  /// the last solid ended is not told, but kFacetsMissing when the stream reports an error. Missing facets
  /// show the message box "Warning: <n> triangles are missing in the STL file.". More than 26 000 000 facets
  /// in a solid: throws the integer 9 after a line on the error stream. On failure the mesh is to be cleared
  /// or destroyed.
  /// Only the header gets the units: the component's own stay (inch in a new mesh) until SetUnits, and
  /// convert_to_inch goes by those.
  int LoadSTLFile(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2);
  /// Reads one solid. At the start of the stream ASCII is tried first, as ascii_read does, to the stream's
  /// end; anywhere else, and on streams that cannot tell their position, it is a binary solid.
  /// Returns stl_import::Result. `extra1` and `extra2` are ignored.
  int read_stl(FILE* f, int file_units, int* accept_partial, int extra1, float tolerance, int extra2);
  /// Reads ASCII STL from the stream's position to its end. Returns 0; -1 when the text is not ASCII STL, a
  /// facet lacks a number, or no two corners merged. Throws 9 as LoadSTLFile.
  int ascii_read(FILE* f, int file_units, float tolerance, int extra1, int extra2);
  /// Makes the mesh out of the facets: corners closer than `tolerance` on every axis become one vertex, as
  /// far as the merge table brings them together (docs/formats/stl.md). Sets the counts, the header's units
  /// and the unit matrix; the box, the normals and the sort state stay. Degenerate facets stay in. Returns 0;
  /// -1 when no two corners merged (kept: a single facet is refused); only the units are set then.
  int create(TriangleBAG& bag, float tolerance, int file_units, int extra);
  /// Writes the fixed 80-byte header of a binary STL file and `count`. Returns 1. A null stream: nothing.
  int SaveSTLHeader(FILE* f, int count);
  /// Writes the facet records of a binary STL file: the stored normals unchanged, the corners placed by
  /// `matrix` (row-major, column vectors; with `mm_to_inch` 1 it is meant for inches while mesh and file are
  /// in millimetres), the low 16 bits of the attributes. Returns 1; 0 for a null stream or matrix. Write
  /// errors stay on record in the stream.
  int SaveModifiedCTLDataAsSTL(FILE* f, int mm_to_inch, float matrix[4][4]);
  /// Writes the mesh as a binary STL file with a stamp in its header (docs/formats/stl.md): computer, login
  /// name, `stamp_number` and room for the checksum of crcSTLFile. Normals are placed as directions and
  /// brought to length 1; attributes that are negative as 16 bits become 0.
  /// Returns mesh_io::kDone; kFailed after a message box for a null `matrix` or when the file cannot be
  /// created. Kept: a failed
  /// write or close changes neither; the error object records it. A mesh without triangles makes a file of no
  /// facets.
  int SaveCTLasBinarySTL(CString path, float matrix[4][4], int mm_to_inch, int stamp_number);
  /// Writes the mesh as an ASCII STL file with seven digits a number; otherwise as SaveCTLasBinarySTL.
  int SaveCTLasAsciiSTL(CString path, float matrix[4][4], int mm_to_inch);
  /// Appends the decimal checksum of the facet records (CCRC::calcCRC) to the header text of a binary STL
  /// file, when that contains "CRC", as far as the 80 bytes go; what follows the records is cut off. Returns
  /// 0, always. A file that cannot be read, or is shorter than its count says, is left alone.
  int crcSTLFile(const char* path);
  /// Whether the number after "CRC" in the header text (0 when there is none) is the checksum of the facet
  /// records. False for a file that cannot be read or is shorter than its count says.
  bool crcValidateSTLFile(const char* path);
  /// Writes the 80 bytes of the STL header text as they are, then an ASCII facet a triangle with two
  /// decimals; no solid lines, the normal is the constant text "1 1 1". A null file: nothing.
  void ascii_dump(FILE* f);
  /// Writes the text report "ctldmp.txt" in the current directory: counts, volume, area, every triangle with
  /// its normal, every vertex. Always returns 1, also when the file cannot be created.
  /// Kept: header units 2 are labelled IN and 0 UNKNOWN.
  int dumpctl();

  // Whole-mesh operations

  /// Frees the arrays, sets both counts to 0, makes the extents stale. The rest of the header, the
  /// name, and the vents and drains stay.
  void clear();
  /// Coarsens the mesh to about `target_triangles`: vertices closer than sqrt(area() / target_triangles) are
  /// merged as by create, each into the earliest of its neighbourhood, and triangles that lose a corner are
  /// dropped. Returns 1; 0, and nothing done, when the mesh has no more triangles than that. The box and the
  /// normals stay as they were.
  int approximate(int target_triangles);
  /// Makes `dst` hold copies of this mesh's vertices, triangles and normals (none when this mesh has none),
  /// its counts and header units. The box, the name and the rest of the header, its matrix too, stay. Onto
  /// itself, null: nothing.
  void copy(CTL* dst);
  /// Appends the other mesh's vertices and triangles, and takes its header units; the box becomes stale. The
  /// normals are not extended. `other` is unchanged; it may be this mesh. Null: nothing.
  /// Throws std::bad_alloc when the counts would leave the range of an int.
  void combine(CTL* other);
  /// Transforms the vertices by four rows of three floats, row 3 the translation: coordinate j becomes
  /// m[0][j]*x + m[1][j]*y + m[2][j]*z + m[3][j]. Kept: in place, so that y is made from the new x, and z
  /// from the new x and y. The box becomes stale; normals and sort state stay.
  void applyMatrix(float* const* m);
  /// Makes `dst` a copy of this mesh as `info` places it, mirrored beside it along the chosen axis (0 mirrors
  /// z, 1 y, 2 x) with the distance `offset` plus the record's spacing, and fills parts of `dst_info` (words
  /// 2..6, the three points, spacing, area, volume). With `mm_to_inch` 1 the placement matrix is meant for
  /// inches while the meshes are in millimetres. Winding is reversed in the first word-2 triangles, at most
  /// all; normals are calculated anew. Any other axis: vertices and points are copied unchanged. A null `dst`
  /// or record: nothing. `dst` may be this mesh, `dst_info` may be `info`.
  void mirror(CTL* dst, int axis, int mm_to_inch, float offset, COMPONENT_INFO* info,
              COMPONENT_INFO* dst_info);
  /// Turns every triangle's corners (winding preserved) so that the lowest comes first, and orders the
  /// triangles by that corner's z with the heap sort of UTL_heap_sort, whose order of equal heights is part
  /// of the result. Nothing when already sorted so. Kept: normals stay in the old order.
  void z_sort_ascending();
  /// As z_sort_ascending with the highest corner first and descending order.
  void z_sort_descending();
  /// Drops the triangles that name a vertex twice, moving the last triangle into the gap; the order is not
  /// kept. Vertices and normals are not touched.
  void eliminate_degenerates();
  /// Snaps the coordinates c of every vertex that a triangle uses to trunc(c * 10000 + 0.5) * 0.0001, once a
  /// use. Kept: negative coordinates move toward zero with every use.
  void truncateVertices();

  // Measures

  /// Makes the normals array anew, one a triangle. Returns mesh_io::kDone; kFailed when memory runs out, or
  /// at the first triangle with an index outside 0..num_vertices() (kept: an index equal to it passes) or
  /// with a NaN coordinate; the normals before it stay, the others are zero.
  int Calculate_normals();
  /// (p1 - p3) x (p2 - p3), normalised; three equal points give (0, 0, 0). Products and differences are
  /// rounded to float as they are formed, the length is a double.
  VECTOR get_normal(VECTOR p1, VECTOR p2, VECTOR p3);
  /// (2 * area)^2 of triangle i: squared height times squared base, the base the longest edge. An index
  /// outside the triangles returns 0. NaN when all three corners are one point.
  float areaX2sq(int i);
  float areaX2sq(const float a[3], const float b[3], const float c[3]);
  /// Surface area, in the square of the mesh's units; added up in a float, in triangle order.
  float area();
  /// Enclosed volume, positive for a closed mesh whose facets wind counter-clockwise seen from outside.
  float volume();

  // Z compensation: the facets that face down are built higher by a fixed height. The mesh never changes.

  /// Writes "ChikiChikiBumBum.stl" in the current directory (binary STL): every facet, in order, with the
  /// corners of those whose normal's z is not >= 0 (negative, or not a number) raised by `zcomp` in z.
  /// Corners that such a facet shares with others stay where they are in the others. Requires normals;
  /// missing ones read as (0, 0, 0), which is up. `extra` is ignored. Always returns 0, also when the file
  /// cannot be created.
  int ShiftTrianglesInZForZComp(float zcomp, int extra);
  /// Writes num_triangles() facet records to "ChikiChikiBumBum.stl" in the current directory, with the
  /// normals of the mesh (not of the records) and attributes 0. `extra` is ignored. Returns 0, or 1 when the
  /// file cannot be created or `facets` is null.
  int DumpZCompedSTL(TheTriangle* facets, int extra);
  /// Copies the corners of the first n records of `up` into the records of `main` at their facet indexes;
  /// indexes outside the mesh are passed over. Returns 0.
  int DumpTheUpBucketIntoMainBucket(int n, TheTriangle* up, TheTriangle* main);
  /// Takes the edges in groups of three. For each group whose first edge's state is 1, the record of `main`
  /// at the first edge's facet index gets the first edge's trimmed points 1 and 2 and the second edge's
  /// trimmed point 1 as corners. A last group of a single edge and indexes outside the mesh are passed over.
  /// `zcomp` has no effect. Returns 0.
  int TrimDownfacingTriangles(int nsegments, TheTriangle* main, TheSegment* segments, float zcomp);
  /// Part of the interface without an effect: returns 0 and changes nothing.
  int CreateKnifeBucket(int a, int b, TheTriangle* facets, TheSegment* segments, float zcomp);
  /// Part of the interface without an effect: returns 0 and changes nothing.
  int TrimUpfacingTriangles(int a, int b, TheTriangle* facets, TheSegment* segments, float zcomp);

  // Shell offset: an inner skin with the mesh's triangles, for hollow parts. Requires normals, outward, on a
  // closed mesh; neither is checked. Lengths are in the mesh's units.

  /// Makes the shell: every vertex is pushed inward along the sum of its facets' normals, each weighted by
  /// the facet's angle at the vertex; while that direction is 90 degrees or more from a facet's normal, the
  /// facet that is furthest off gains 0.5 % of weight, 501 rounds at most. The push is half the shortest edge
  /// at the vertex (edges below 0.1 count as 0.1) where that edge is not above `offset_limit`, else
  /// `offset_limit`; with `validate_offsets` 1 it is then halved by validate_offset. Vertices of no triangle
  /// stay. Sets `shell_made`. Always returns 0; without a vertex array it does nothing.
  int offset_ctl();
  /// `distance` halved until the push of the vertex crosses none of the first `triangle_count` triangles,
  /// those that have a corner at the vertex left out. Kept: with every halving the tested point moves on by
  /// the new distance. Triangles are taken in order, the distance and the point carry over. Returns
  /// `distance` unchanged when no push direction is kept (outside offset_ctl) or when the vertex or the count
  /// is outside the mesh.
  float validate_offset(int vertex, float distance, int triangle_count);
  /// 1 when the segment from p to q crosses the triangle a, b, c, whose plane is at least 1e-5 and at most
  /// `distance` from p; else 0.
  int FindIntnsPoint(float distance, PbVec3f p, PbVec3f q, PbVec3f a, PbVec3f b, PbVec3f c);
  /// 1 when the point lies in the triangle or on its border, else 0: not further than 1e-4 from its plane,
  /// and either within 1e-4 of a corner, or seen from every corner between the two others, with 1e-5 of
  /// tolerance in the cosine. 0 when a coordinate is not a number, and for a triangle with an edge of no
  /// length.
  int PointOnTriangle(VECTOR point, PbVec3f a, PbVec3f b, PbVec3f c);
  /// Distance of p in front of the plane through a, b, c, on the side where they wind counter-clockwise; 0
  /// below 1e-5 and behind the plane.
  float tetra_analysis(PbVec3f p, PbVec3f a, PbVec3f b, PbVec3f c);
  /// Writes outer surface and shell (reversed) as "shellstl.stl" in the current directory, binary STL. Always
  /// returns 1 (kept: also on success). Without a shell nothing is written.
  int SaveCTLandShellAsSTL();
  /// Writes the mesh alone as "shellstl.stl" in the current directory. Always returns 1 (kept: also on
  /// success).
  int SaveCTLasSTL();
  /// Makes the shell a second, inward-facing surface of the mesh itself: vertices and triangles double, the
  /// shell is freed, the box becomes stale, the normals are not made anew. Always returns 0; without a shell
  /// nothing changes. Throws std::bad_alloc when the counts would leave the range of an int.
  int MergeShellAndCTLintoCTL();
  /// Writes the text report "ctlshell.txt" in the current directory; facets are numbered from 1. Always
  /// returns 1; without a shell nothing is written.
  int dumpshell();

  // Vents and drains

  /// Makes the candidate lists of `vents_and_drains` anew and empties the placed vents and drains. A triangle
  /// whose normal, turned by the upper-left 3 x 3 of `m`, has a cosine to +Z within 0.005 of 1 is a candidate
  /// for a vent, within 0.005 of -1 for a drain. Requires normals.
  void FindVDTriangles(float m[][4]);

  // Fields; the arrays are owned.
  trq::MeshArray<PbVec3f> vertices_;
  trq::MeshArray<R_INT4>
      triangles_;  ///< elements 0..2 vertex indices in winding order, element 3 the attribute
  trq::MeshArray<VECTOR> normals_;
  trq::MeshArray<PbVec3f> shell_vertices_;  ///< one point per mesh vertex, made by offset_ctl
  trq::MeshArray<VECTOR> push_directions_;  ///< one per mesh vertex; null outside offset_ctl
  float offset_limit = 0;                   ///< largest inward push of offset_ctl, in the mesh's units
  int32_t validate_offsets = 0;             ///< 1: offset_ctl checks every push
  int32_t shell_made = 0;                   ///< 1 once offset_ctl ran
  CVentsAndDrains vents_and_drains;
  CTL_HEADER header;

 private:
  void MoveFieldsFrom(CTL& other) noexcept;
};
