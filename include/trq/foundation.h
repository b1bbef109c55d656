/// Value types, containers, strings and byte helpers, the error object.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "trq/export.h"
#include "trq/host.h"

// ---------------------------------------------------------------------------------------------------------
// Value types. Sums, products and quotients are formed in double and rounded once when stored.

/// A point or direction in the plane, x then y.
class TRQ_EXPORT PbVec2f {
 public:
  PbVec2f() : v_{0, 0} {}
  PbVec2f(float x, float y) : v_{x, y} {}
  PbVec2f(const PbVec2f&) = default;
  PbVec2f& operator=(const PbVec2f&) = default;

  /// Component i, 0 = x, 1 = y; no bounds check.
  float operator[](int i) const { return v_[i]; }
  PbVec2f& operator+=(PbVec2f other);
  PbVec2f& operator-=(PbVec2f other);
  /// Componentwise product.
  PbVec2f& operator*=(PbVec2f other);
  PbVec2f& operator*=(float s);
  /// Multiplies by the reciprocal 1/s, held as a float (PbVec3f divides each component instead).
  PbVec2f& operator/=(float s);

  /// Largest difference, exclusive, that operator== takes as equal; 1e-5 at first. One value a thread.
  static thread_local float tolerance;

 private:
  float v_[2];
};

/// A point in space: the mesh's vertex. Twelve bytes.
class TRQ_EXPORT PbVec3f {
 public:
  PbVec3f() {}  // NOLINT: unset, so that large arrays cost nothing to make
  PbVec3f(float x, float y, float z) : v_{x, y, z} {}
  explicit PbVec3f(const float* v) : v_{v[0], v[1], v[2]} {}

  void getValue(float& x, float& y, float& z) const {
    x = v_[0];
    y = v_[1];
    z = v_[2];
  }
  void getValue(double& x, double& y, double& z) const {
    x = v_[0];
    y = v_[1];
    z = v_[2];
  }
  /// The three floats; no bounds check on use.
  const float* data() const { return v_; }
  float* data() { return v_; }
  float operator[](int i) const { return v_[i]; }
  float& operator[](int i) { return v_[i]; }

  PbVec3f& operator+=(PbVec3f other);
  PbVec3f& operator-=(PbVec3f other);
  /// Componentwise product.
  PbVec3f& operator*=(PbVec3f other);
  PbVec3f& operator*=(float s);
  /// Divides each component by s (PbVec2f multiplies by the reciprocal instead).
  PbVec3f& operator/=(float s);

 private:
  float v_[3];
};
static_assert(sizeof(PbVec3f) == 12, "vertices are stored in files as they lie in memory");

/// Three integers.
class TRQ_EXPORT R_INT3 {
 public:
  R_INT3() {}  // NOLINT: unset
  R_INT3(int a, int b, int c) : v_{a, b, c} {}
  int& operator[](int i) { return v_[i]; }
  int operator[](int i) const { return v_[i]; }
  /// 1 when all three are equal, else 0.
  int operator==(const R_INT3& other) const {
    return v_[0] == other.v_[0] && v_[1] == other.v_[1] && v_[2] == other.v_[2];
  }

 private:
  int32_t v_[3];
};
static_assert(sizeof(R_INT3) == 12, "part of the 40-byte triangle record");

/// Four integers: the mesh's triangle, three vertex indices and the facet attribute.
class TRQ_EXPORT R_INT4 {
 public:
  R_INT4() { v_[3] = 0; }  // NOLINT: the first three unset
  R_INT4(int a, int b, int c) : v_{a, b, c, 0} {}
  int& operator[](int i) { return v_[i]; }
  int operator[](int i) const { return v_[i]; }
  /// Copies the three, sets the fourth to 0.
  R_INT4& operator=(const R_INT3& other) {
    for (int i = 0; i < 3; ++i) v_[i] = other[i];
    v_[3] = 0;
    return *this;
  }
  R_INT4(const R_INT4&) = default;
  R_INT4& operator=(const R_INT4&) = default;

 private:
  int32_t v_[4];
};
static_assert(sizeof(R_INT4) == 16, "triangles are packed as runs of four integers");

/// A direction: the mesh's normal. Zero at first.
class TRQ_EXPORT VECTOR {
 public:
  VECTOR() : x(0), y(0), z(0) {}
  VECTOR(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}
  float x, y, z;
};
static_assert(sizeof(VECTOR) == 12, "normals are stored in files as they lie in memory");

/// Two directions with a link word between them; 28 bytes. The link word is opaque.
class TRQ_EXPORT VECTOR_LL {
 public:
  VECTOR_LL() : link(0) {}
  VECTOR first;
  uint32_t link;
  VECTOR second;
};
static_assert(sizeof(VECTOR_LL) == 28, "a record of seven words");

/// Operations on 4x4 and 3x3 float matrices: row-major, column vectors, translation in the fourth column.
/// The destination comes first and must not be one of the sources. Holds no data.
class TRQ_EXPORT MATRICES {
 public:
  /// R = A·B; sums over k in double, rounded once.
  void matmult(float R[4][4], const float A[4][4], const float B[4][4]) const;
  void EquateMatrices(float D[4][4], const float S[4][4]) const;
  void InitToIdentity(float M[4][4]) const;
  /// The upper-left 3x3 block.
  void ExtractRotationMatrix(float R[3][3], const float M[4][4]) const;
  void MatVecMult3x3(float out[3][1], const float M[3][3], const float v[3][1]) const;
  /// Inverse of a rigid transform: transposed rotation, rotated negative translation. A scaled or sheared M
  /// gives a wrong result without complaint.
  void TransMatInverse(float D[4][4], const float M[4][4]) const;
};

TRQ_EXPORT void set_unit_matrix(float M[4][4]);
/// y at x on the line through (x0, y0) and (x1, y1); y0 where |x1 - x0| < 1e-6. Extrapolates.
TRQ_EXPORT float interpolate(float x0, float y0, float x1, float y1, float x);
/// 1 when both components differ by less than PbVec2f::tolerance.
TRQ_EXPORT int operator==(const PbVec2f& a, const PbVec2f& b);
/// Intersection of segments a-b and c-d by their extents widened by tol; 1 when found.
/// Kept: out.x is written before the tests, out.y only when the x tests pass.
TRQ_EXPORT int nonparallel_intersection(const PbVec2f& a, const PbVec2f& b, const PbVec2f& c,
                                        const PbVec2f& d, PbVec2f& out, float tol);
/// 1 when p lies within tol of segment a-b, its foot between a and b; a zero-length segment never touches.
TRQ_EXPORT int touches(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p, float tol);
/// Squared distance from p to the infinite line through a and b; NaN when a == b.
TRQ_EXPORT float dist_sq(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p);
/// Angle at o from ray o-a to ray o-b in [0, 2 pi), bearings measured from +y towards +x.
TRQ_EXPORT float angle_between(const PbVec2f& a, const PbVec2f& o, const PbVec2f& b);

// ---------------------------------------------------------------------------------------------------------
// Containers

/// One facet as an importer hands it over: the corner words carry the bit patterns of their floats.
class TRQ_EXPORT R_TRIANGLE {
 public:
  R_INT3 corner[3];
  int32_t attribute = 0;
};
static_assert(sizeof(R_TRIANGLE) == 40, "ten words");

/// A growing bag of triangles in blocks that never move. Not thread-safe.
class TRQ_EXPORT TriangleBAG {
 public:
  explicit TriangleBAG(int max_blocks = 1000, int block_size = 1000);
  TriangleBAG(const TriangleBAG&) = delete;
  TriangleBAG& operator=(const TriangleBAG&) = delete;
  ~TriangleBAG();

  /// Adds a copy at the end. Throws the integer 9, after a line on the error stream, when all blocks are
  /// full; the bag is not usable afterwards (every further append throws again).
  void append(const R_TRIANGLE& t);
  int num() const;
  /// Record i; no bounds check.
  R_TRIANGLE& operator[](int i);
  const R_TRIANGLE& operator[](int i) const;
  /// Moves the last record into slot i; the order is not kept. On an empty bag: nothing.
  void remove(int i);
  /// Empties the bag; the blocks stay for reuse.
  void clear();

 private:
  int32_t block_size_;
  int32_t max_blocks_;
  std::vector<std::unique_ptr<R_TRIANGLE[]>> blocks_;
  int32_t current_block_ = -1;
  int32_t count_in_block_;
};

/// Packs small non-negative integers in place into a dense stream of bits, most significant bit first.
/// Works on the caller's array, which must hold compressed_size(count) words.
class TRQ_EXPORT BYTE_PACKER {
 public:
  /// Items take values 0..n-1. The array is not owned.
  BYTE_PACKER(int* data, int n);
  /// Packed size in 32-bit words: (bits * count) / 32 + 1.
  int compressed_size(int count) const;
  void pack(int count);
  void unpack(int count);
  /// Appends one item; values are not masked.
  void add_num(int v);
  /// Item i of the packed stream; moves the current position to it.
  int get_num(int i);

 private:
  static int bits_per_item(int n);
  int32_t word_ = 0;
  int32_t bit_ = 0;
  int32_t word_width_ = 32;
  int* data_;
  int32_t bits_;
  int32_t spare_;
  uint32_t item_mask_;
  uint32_t masks_[32];
  int32_t n_;
};

/// One item of a singly linked chain; also the head of a chain whose first datum lives in the head (the
/// operations ending in 2). The data pointed to are never owned.
class TRQ_EXPORT LIGHT_ITEM {
 public:
  LIGHT_ITEM() = default;
  void append2(void* d);
  void prepend2(void* d);
  int length2() const;
  void clear2();
  LIGHT_ITEM* find_by2(int (*cmp)(void*, void*), void* key);
  void add_after(void* d);
  void add_before(LIGHT_ITEM* prev, void* d);
  LIGHT_ITEM* remove(LIGHT_ITEM* prev);

  LIGHT_ITEM* next = nullptr;
  void* data = nullptr;
};

/// A list of untyped pointers that owns its items, not the data.
class TRQ_EXPORT LIGHT_LIST {
 public:
  LIGHT_LIST() = default;
  LIGHT_LIST(const LIGHT_LIST&) = delete;
  LIGHT_LIST& operator=(const LIGHT_LIST&) = delete;
  ~LIGHT_LIST() { clear(); }
  void clear();
  void append(void* d);
  int length() const;
  void join(LIGHT_LIST* other);
  LIGHT_ITEM* find_by(int (*cmp)(void*, void*), void* key);

  LIGHT_ITEM* head = nullptr;
  LIGHT_ITEM* tail = nullptr;
};

/// A chained hash table of untyped pointers.
class TRQ_EXPORT HASH_TABLE {
 public:
  explicit HASH_TABLE(int buckets);
  HASH_TABLE(int buckets, int (*hash)(void*), int (*compare)(void*, void*));
  HASH_TABLE(const HASH_TABLE&) = delete;
  HASH_TABLE& operator=(const HASH_TABLE&) = delete;
  ~HASH_TABLE();
  void add(void* d) { add(d, d); }
  void add(void* d, void* key);
  void add_first(void* d, void* key);
  void* find(void* key);
  void* add_or_find(void* key);
  LIGHT_ITEM* matches(int h);
  LIGHT_ITEM* clashes(void* key);
  void print_distribution();

 private:
  LIGHT_ITEM* bucket(int h);
  std::vector<LIGHT_ITEM> buckets_;
  int (*hash_)(void*);
  int (*compare_)(void*, void*);
};

/// Sorts n pointers in place; cmp(x, y) nonzero means x belongs after y. Not stable.
TRQ_EXPORT void UTL_heap_sort(void** a, int n, int (*cmp)(void*, void*));

/// A pair of two values.
template <class A, class B>
struct MyPair {
  A first;
  B second;
};

/// A growable array: making room for n allocates exactly n; appending to a full one grows it to
/// capacity + (int)(capacity * growth_factor) + growth_addend.
template <class T>
class DynArray {
 public:
  int count = 0;
  int capacity() const { return static_cast<int>(items_.size()); }
  T& operator[](int i) { return items_[static_cast<std::size_t>(i)]; }
  const T& operator[](int i) const { return items_[static_cast<std::size_t>(i)]; }
  /// Makes room for n elements; the `count` elements present are kept.
  void make_room(int n) {
    if (n > capacity()) items_.resize(static_cast<std::size_t>(n));
  }
  void append(const T& value) {
    if (count >= capacity())
      make_room(capacity() + static_cast<int>(capacity() * growth_factor) + growth_addend);
    items_[static_cast<std::size_t>(count++)] = value;
  }
  static constexpr float growth_factor = 0.6666667f;
  static constexpr int growth_addend = 10;

 private:
  std::vector<T> items_;
};

// ---------------------------------------------------------------------------------------------------------
// Strings and byte order

/// fread, then reverses the bytes of each of the n items (of all n, also when fewer were read).
TRQ_EXPORT std::size_t fread_(void* buffer, std::size_t size, std::size_t n, FILE* f);
TRQ_EXPORT std::size_t _fwrite(const void* buffer, std::size_t size, std::size_t n, FILE* f);
TRQ_EXPORT void byte_swap(void* buffer, std::size_t size, std::size_t n);
TRQ_EXPORT void snap_name(const char* path, char* base, char* ext);
TRQ_EXPORT void binary_print(unsigned short v);
TRQ_EXPORT int strcasecmp_j(const char* a, const char* b);
TRQ_EXPORT float conversion_factor();
TRQ_EXPORT void my_new_handler();

/// A text with 64 bytes of headroom and a scratch buffer for the results of Left and Mid.
class TRQ_EXPORT CString2 {
 public:
  CString2();
  CString2(const char* text);  // NOLINT: implicit, as in the interface
  CString2(const CString2& other);
  virtual ~CString2();
  CString2& operator=(const CString2& other);
  CString2& operator=(const char* text);
  void Empty();
  operator const char*() const;  // NOLINT: implicit, as in the interface
  int IsEmpty() const;
  void Format(const char* fmt);
  void Format(const char* fmt, const char* a);
  void Format(const char* fmt, int a, int b);
  void Format(const char* fmt, float a, float b, float c, float d, float e, float f);
  void Format(const char* fmt, const char* a, const char* b);
  int ReverseFind(char c) const;
  const char* Left(int n);
  const char* Mid(int first, int count);
  const char* Mid(int first);
  int Compare(const char* s) const;
  int CompareNoCase(const char* s) const;

 private:
  void StoreFormatted(const std::vector<char>& formatted, int32_t needed, int32_t replacement);
  const char* CopyToScratch(int first, int count);
  std::shared_ptr<std::vector<char>> text_;
  int32_t capacity_ = 64;
  std::shared_ptr<std::vector<char>> scratch_;
  int32_t scratch_capacity_ = 64;
};

// ---------------------------------------------------------------------------------------------------------
// Error object

/// One error code and one message; the first failure wins. Base of the working classes.
class TRQ_EXPORT CErrorObject {
 public:
  CErrorObject();
  CErrorObject(const CErrorObject& other);
  CErrorObject& operator=(const CErrorObject& other);
  virtual ~CErrorObject();
  int GetErrorCode() const { return error_code_; }
  const char* GetErrorMessage() const { return error_message_; }
  void ClearError();
  void SetError(int code, const char* text);
  void UpdateErrorCode(const char* what);
  static const char* MsdStrerror(int code);
  static const char* GetRootDirectory();

 protected:
  CString2 auxiliary_text_;
  CString2 error_message_;
  int32_t error_code_ = 0;
};

/// The checksum library's interface: the value stamped into STL headers.
class TRQ_EXPORT CCRC {
 public:
  /// The reflected CRC-32 register of 0xEDB88320 started at 0xFFFFFFFF, without final inversion.
  static uint32_t calcCRC(const void* buffer, std::size_t length);
};
