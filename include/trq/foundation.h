/// Value types, containers, strings and byte helpers, the error object.
#pragma once

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "trq/export.h"
#include "trq/host.h"

// ---------------------------------------------------------------------------------------------------------
// Value types. Sums, products and quotients are formed in double and rounded once when stored. Dividing by
// zero gives IEEE infinities or NaN.

#ifdef _WIN32
namespace trq::detail {
/// Stands for a float of the calling thread, which a DLL cannot export itself: read and assigned as one.
/// Where a template or "..." takes its type from the argument, say float(PbVec2f::tolerance).
class TRQ_EXPORT ToleranceOfThread {
 public:
  operator float&() const;  // NOLINT: implicit, for it stands for the float
  float& operator=(float value) const { return static_cast<float&>(*this) = value; }
  float& operator*=(float factor) const { return static_cast<float&>(*this) *= factor; }
  float& operator/=(float divisor) const { return static_cast<float&>(*this) /= divisor; }
  float* operator&() const { return &static_cast<float&>(*this); }
};
}  // namespace trq::detail
#endif

/// A point or direction in the plane, x then y.
class TRQ_EXPORT PbVec2f {
 public:
  /// (0, 0).
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

  /// Bound that a component's difference must stay below for operator== to call two points equal; 1e-5 at
  /// first. Any caller may change it; every thread has its own.
#ifdef _WIN32
  static const trq::detail::ToleranceOfThread tolerance;
#else
  static thread_local float tolerance;
#endif

 private:
  float v_[2];
};

/// A point in space: the mesh's vertex. Twelve bytes.
class TRQ_EXPORT PbVec3f {
 public:
  PbVec3f() {}  // NOLINT: unset, so that large arrays cost nothing to make
  PbVec3f(float x, float y, float z) : v_{x, y, z} {}
  /// Copies v[0..2].
  PbVec3f(const float* v) : v_{v[0], v[1], v[2]} {}  // NOLINT: implicit, as in the interface

  /// Sets x, y, z to the components.
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
  /// Component i, 0 = x, 1 = y, 2 = z; no bounds check.
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
  /// Element i, 0..2; no bounds check.
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
  /// The fourth is 0, the first three are unset.
  R_INT4() { v_[3] = 0; }  // NOLINT
  /// The fourth is 0.
  R_INT4(int a, int b, int c) : v_{a, b, c, 0} {}
  /// Element i, 0..3; no bounds check.
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
  /// R = A·B: R[i][j] = sum over k of A[i][k]·B[k][j], summed in double and rounded once.
  void matmult(float R[4][4], const float A[4][4], const float B[4][4]) const;
  /// Copies S into D.
  void EquateMatrices(float D[4][4], const float S[4][4]) const;
  /// 1 on the diagonal, 0 elsewhere.
  void InitToIdentity(float M[4][4]) const;
  /// R = the upper-left 3x3 block of M.
  void ExtractRotationMatrix(float R[3][3], const float M[4][4]) const;
  /// out = M·v, summed in double and rounded once.
  void MatVecMult3x3(float out[3][1], const float M[3][3], const float v[3][1]) const;
  /// Inverse of a rigid transform x' = R·x + t: D = (Rᵀ, -Rᵀ·t). R is taken as orthonormal without a test: a
  /// scaled or sheared M gives a wrong result without complaint.
  void TransMatInverse(float D[4][4], const float M[4][4]) const;
};

/// 1 on the diagonal, 0 elsewhere; the same as MATRICES::InitToIdentity.
TRQ_EXPORT void set_unit_matrix(float M[4][4]);

/// Linear interpolation: (x - x0)·(y1 - y0)/(x1 - x0) + y0, or y0 where |x1 - x0| < 1e-6. An x outside
/// [x0, x1] extrapolates.
TRQ_EXPORT float interpolate(float x0, float y0, float x1, float y1, float x);

/// 1 when both components differ by less than PbVec2f::tolerance (a difference of just the tolerance is
/// unequal), else 0.
TRQ_EXPORT int operator==(const PbVec2f& a, const PbVec2f& b);

/// Intersection of segment a-b with segment c-d: 1 when the lines' common point lies inside both segments'
/// extents in x and in y, each widened by `tol` at both ends (ends included); else 0. Parallel lines: 0.
/// `out` takes the point; after a 0 nothing in it is to be relied on: it is untouched for parallel lines, has
/// only its x replaced when x fails, and both otherwise.
TRQ_EXPORT int nonparallel_intersection(const PbVec2f& a, const PbVec2f& b, const PbVec2f& c,
                                        const PbVec2f& d, PbVec2f& out, float tol);

/// 1 when p lies nearer than `tol` to segment a-b and its foot between a and b (both included), else 0.
/// A segment without length is never touched.
TRQ_EXPORT int touches(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p, float tol);

/// Squared distance from p to the infinite line through a and b; NaN when a equals b.
TRQ_EXPORT float dist_sq(const PbVec2f& a, const PbVec2f& b, const PbVec2f& p);

/// Angle at o from ray o-a to ray o-b in radians, 0 to 2 pi: the bearing of b less the bearing of a, bearings
/// measured from +y towards +x. Pi when either ray has no length.
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

/// A growing bag of triangles in blocks that never move, so references to records stay valid until the bag is
/// destroyed. One thread at a time.
class TRQ_EXPORT TriangleBAG {
 public:
  /// Room for max_blocks blocks of block_size records, allocated one by one as the bag grows. Without room
  /// (either below 1) the first append overflows.
  TriangleBAG(int max_blocks = 1000, int block_size = 1000);  // NOLINT: implicit, as in the interface
  TriangleBAG(const TriangleBAG&) = delete;
  TriangleBAG& operator=(const TriangleBAG&) = delete;
  ~TriangleBAG();

  /// Adds a copy at the end. When all blocks are full: writes "Serious problem in TriangleBAG: MAX_BLOCKS is
  /// too small" to the error stream and throws the integer 9. The records stay; until `clear`, every further
  /// append throws again and `remove` does nothing.
  void append(const R_TRIANGLE& t);
  /// Records in the bag.
  int num() const;
  /// Record i, 0 to num() - 1; no bounds check.
  R_TRIANGLE& operator[](int i);
  const R_TRIANGLE& operator[](int i) const;
  /// The records from i (0 to num() - 1) on that lie side by side; `count` is how many.
  const R_TRIANGLE* run(int i, int& count) const;
  /// Moves the last record into slot i, so the order is not kept. An i outside the bag is not checked for:
  /// the last record is dropped. On an empty bag: nothing.
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

/// Packs small non-negative integers in place into a dense stream of bits. Item i occupies bits i·b to
/// i·b + b - 1 of the stream, b being the width of n - 1; the stream is the array's 32-bit words in order,
/// each from its most significant bit down. Works on the caller's array, which must hold the larger of the
/// item count and compressed_size(count) words.
class TRQ_EXPORT BYTE_PACKER {
 public:
  /// Items take values 0..n-1. The array is not owned.
  BYTE_PACKER(int* data, int n);
  /// Packed size of `count` items in 32-bit words: (b·count) / 32 + 1, one word beyond those that are full.
  int compressed_size(int count) const;
  /// Packs the array's first `count` values into its front.
  void pack(int count);
  /// Spreads `count` packed items over the array's first `count` words again.
  void unpack(int count);
  /// Appends one item at the current position. A value that is not below n is not masked and corrupts its
  /// neighbour.
  void add_num(int v);
  /// Item i of the packed stream; moves the current position to it.
  int get_num(int i);

  /// The width of n - 1; 0 for n of 1 and less.
  static int bits_per_item(int n);

 private:
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
  /// The first datum goes into the head, a later one directly behind it: data behind the head stand in
  /// reverse order of insertion.
  void append2(void* d);
  /// Puts d into the head; the head's datum, if any, moves directly behind it.
  void prepend2(void* d);
  /// Data in the chain; 0 when the head has none.
  int length2() const;
  /// Frees every item behind the head and empties the head.
  void clear2();
  /// The first item for which cmp(its datum, key) is nonzero; null when there is none.
  LIGHT_ITEM* find_by2(int (*cmp)(void*, void*), void* key);
  /// Puts a new item with d directly behind this one.
  void add_after(void* d);
  /// Puts d before this item, whose predecessor is `prev`; null for the head of a chain, whose datum then
  /// moves into a new item behind it.
  void add_before(LIGHT_ITEM* prev, void* d);
  /// Takes this item's datum out of the chain. With a successor: takes over the successor's datum, frees the
  /// successor and returns this item. As the last item: frees itself, ends the chain at `prev` (its
  /// predecessor) and returns null; a lone head (`prev` null) only loses its datum.
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
  /// Frees all items.
  void clear();
  /// Adds d at the end.
  void append(void* d);
  /// Number of items.
  int length() const;
  /// Moves all items of `other` to the end of this list and leaves `other` empty. Joining an empty list
  /// leaves this list's tail null; the next append finds the real end. Joining a list to itself does nothing.
  void join(LIGHT_LIST* other);
  /// The first item for which cmp(its datum, key) is nonzero; null when there is none.
  LIGHT_ITEM* find_by(int (*cmp)(void*, void*), void* key);

  LIGHT_ITEM* head = nullptr;
  LIGHT_ITEM* tail = nullptr;
};

/// A chained hash table of untyped pointers. Owns its chains, not the data. A key's bucket is its hash modulo
/// the bucket count; hash functions should not return negative values, whose buckets are brought into range.
/// Without buckets, adding does nothing and finding returns null. Within a bucket the order is that of
/// LIGHT_ITEM::append2 and prepend2. A null datum looks like an empty bucket.
class TRQ_EXPORT HASH_TABLE {
 public:
  /// Hashes addresses and compares them for identity.
  HASH_TABLE(int buckets);  // NOLINT: implicit, as in the interface
  /// compare(datum, key) returns nonzero for equal. A null function stands for the default: the low 32 bits
  /// of the address, signed, divided by 4; identity.
  HASH_TABLE(int buckets, int (*hash)(void*), int (*compare)(void*, void*));
  HASH_TABLE(const HASH_TABLE&) = delete;
  HASH_TABLE& operator=(const HASH_TABLE&) = delete;
  ~HASH_TABLE();
  /// Adds d under itself / under `key`.
  void add(void* d) { add(d, d); }
  void add(void* d, void* key);
  /// Adds d as the first of its bucket.
  void add_first(void* d, void* key);
  /// The first datum of key's bucket that equals key; null when there is none.
  void* find(void* key);
  /// As find; adds key itself when nothing equals it, and returns it.
  void* add_or_find(void* key);
  /// Head of the bucket for hash value h; null without buckets.
  LIGHT_ITEM* matches(int h);
  /// Head of the bucket whose index is key's hash as it stands, not reduced by the bucket count; null when
  /// there is no such bucket.
  LIGHT_ITEM* clashes(void* key);
  /// Writes the bucket count, the length of each chain that is not empty, and their number to standard
  /// output.
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
struct TRQ_EXPORT MyPair {
  A first;
  B second;
};

/// A growable array of `count` elements: making room for n allocates exactly n; appending to a full one grows
/// it to capacity + (int)(capacity * growth_factor) + growth_addend, or by one element where that is no more.
template <class T>
class TRQ_EXPORT DynArray {
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
    if (count >= capacity()) {
      const double room = capacity() + std::trunc(capacity() * growth_factor) + growth_addend;
      make_room(room > count && room <= INT_MAX ? static_cast<int>(room) : count + 1);
    }
    items_[static_cast<std::size_t>(count++)] = value;
  }
  /// Shared by the arrays of one element type. May be assigned; every thread has its own.
  static inline thread_local double growth_factor = 0.6666667;
  static inline thread_local int growth_addend = 10;

 private:
  std::vector<T> items_;
};

// ---------------------------------------------------------------------------------------------------------
// Strings and byte order

/// fread, then reverses the bytes of each of the n items (of all n, also when fewer were read). Returns what
/// fread returned.
TRQ_EXPORT std::size_t fread_(void* buffer, std::size_t size, std::size_t n, FILE* f);

/// Writes n items with the bytes of each reversed; the buffer is not changed. Returns what fwrite returned.
/// More than 1000 bytes in one call end the process with status 4.
TRQ_EXPORT std::size_t _fwrite(const void* buffer, std::size_t size, std::size_t n, FILE* f);

/// Reverses the bytes of each of n items in place. Items of more than 1000 bytes end the process with status
/// 0.
TRQ_EXPORT void byte_swap(void* buffer, std::size_t size, std::size_t n);

/// Splits `path` at its last period, in a directory name or not: what stands before it goes to `base`, what
/// stands behind it to `ext`. Without a period `base` takes the whole path and `ext` stays as it is. Both
/// must have room for the path and its NUL.
TRQ_EXPORT void snap_name(const char* path, char* base, char* ext);

/// Writes the sixteen bits of v to standard output, most significant first, and a line end.
TRQ_EXPORT void binary_print(unsigned short v);

/// Compares two texts: 0 equal, -1, 1. Characters 32 apart count as equal, letters or not, and where one text
/// ends before the other the result is 1, for both orders. Null is the empty text.
TRQ_EXPORT int strcasecmp_j(const char* a, const char* b);

/// Units per metre: 1000, for the library works in millimetres.
TRQ_EXPORT float conversion_factor();

/// A new-handler's message: "Unable to allocate memory" and a line end to the error stream.
TRQ_EXPORT void my_new_handler();

/// A text with 64 bytes of headroom and a scratch buffer for the results of Left and Mid. Null texts read as
/// empty ones, and as "(null)" where Format takes one.
class TRQ_EXPORT CString2 {
 public:
  CString2();
  CString2(const char* text);  // NOLINT: implicit, as in the interface
  /// Shares both buffers: a change that fits the buffer shows in both, a longer text parts them.
  CString2(const CString2& other);
  virtual ~CString2();
  /// Copies the text.
  CString2& operator=(const CString2& other);
  CString2& operator=(const char* text);
  void Empty();
  /// The text; valid until the next change.
  operator const char*() const;  // NOLINT: implicit, as in the interface
  /// 1 when the text is empty, else 0.
  int IsEmpty() const;
  /// Replaces the text by printf-formatted text of any length. The conversions of `fmt` must be those of the
  /// arguments; numbers follow the host program's numeric locale. A null `fmt` gives the empty text.
  void Format(const char* fmt);
  void Format(const char* fmt, const char* a);
  void Format(const char* fmt, int a, int b);
  void Format(const char* fmt, float a, float b, float c, float d, float e, float f);
  void Format(const char* fmt, const char* a, const char* b);
  /// Index of the last `c`, or -1.
  int ReverseFind(char c) const;
  /// The first n characters, n brought into 0 to the length. Valid until the next Left or Mid.
  const char* Left(int n);
  /// `count` characters from `first`, or as many as there are. Valid until the next Left or Mid.
  const char* Mid(int first, int count);
  const char* Mid(int first);
  /// -1, 0 or 1 by bytes taken as unsigned.
  int Compare(const char* s) const;
  /// -1, 0 or 1 by the first length(s) characters, letters of either case equal: a text that begins with `s`
  /// compares equal to it.
  int CompareNoCase(const char* s) const;

 private:
  void StoreFormatted(const std::vector<char>& formatted, int32_t needed);
  const char* CopyToScratch(int first, int count);
  std::shared_ptr<std::vector<char>> text_;
  int32_t capacity_ = 64;
  std::shared_ptr<std::vector<char>> scratch_;
  int32_t scratch_capacity_ = 64;
};

// ---------------------------------------------------------------------------------------------------------
// Error object

/// One error code (0 = none) and one message; the first failure wins. Base of the working classes. Copies are
/// deep.
/// A failure stays until ClearError, also when later operations of the same object succeed: who wants to know
/// how the next save ends clears the error before it.
class TRQ_EXPORT CErrorObject {
 public:
  CErrorObject();
  CErrorObject(const CErrorObject& other);
  CErrorObject& operator=(const CErrorObject& other);
  virtual ~CErrorObject();
  int GetErrorCode() const { return error_code_; }
  /// The message; empty when there is none. Valid until the next change.
  const char* GetErrorMessage() const { return error_message_; }
  /// Code 0, no message; the auxiliary text stays.
  void ClearError();
  /// Stores `code` unless a code is stored, and `text` unless a message is: each by itself.
  void SetError(int code, const char* text);
  /// Records the system's last error (errno) as code, and as message " <what> error: <system text>", or the
  /// system text alone when `what` is null. Without a system error: code 1 and " Unknown <what> error". Does
  /// nothing when a code is stored; a message without a code is overwritten. A code that the system has no
  /// text for reads "Unknown error.".
  void UpdateErrorCode(const char* what);
  /// Text of a status code of the command protocol (125-135), the connection (200-209) or sockets
  /// (10004-11004); otherwise the system's text, or "Unknown error.". At most 255 bytes, in a buffer of the
  /// calling thread that the next call overwrites.
  static const char* MsdStrerror(int code);
  /// Directory of the running executable up to and including its last '/'; empty when the system
  /// does not say. Valid until the program ends.
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

// ---------------------------------------------------------------------------------------------------------
// Names and files

/// Names of the files that accompany a model, questions about files, free space, display numbers. Stateless.
///
/// Name functions take names whose extension has three letters; counts of leading bytes clamp at 0 for
/// shorter names. A directory ends at the last backslash or, in a name that holds none, at the last slash.
class TRQ_EXPORT UTILITY {
 public:
  UTILITY() = default;
  UTILITY(const UTILITY&) = default;
  UTILITY& operator=(const UTILITY&) { return *this; }  // NOLINT: there is nothing to assign

  // --- Names -------------------------------------------------------------------------------------------
  /// The name up to its last period (the whole name when it has none), then "." and `ext`.
  static CString SetFileExtension(CString name, CString ext);
  /// The extension from its period on; empty when the name has no period.
  static CString DetermineFileType(CString name);
  /// The file name without its directory and its last four bytes.
  static CString StripDirectoryName(CString name);
  /// The file name without its directory.
  static CString StripDirectoryNameLeaveExt(CString name);
  /// The directory with its separator; empty without one. Both names return the same.
  static CString ExtractDirectoryName(CString name);
  static CString GetDirName(CString name);
  /// First n - 4 bytes + "_s.stl".
  static CString GetNewNameForSupports(CString name);
  /// First n - 4 bytes + "_v.stl".
  static CString GetNewNameForVerifiedModel(CString name);
  /// First n - 3 bytes + "ctl" / "odf".
  static CString GetCTLName(CString name);
  static CString GetODFName(CString name);
  /// First n - 4 bytes + "_s." + the last three bytes.
  static CString GetSUPPORTSName(CString name);
  /// First n - 6 bytes + ".stl".
  static CString GetPartNameFromSupports(CString name);
  /// First n - 4 bytes + "Fixed.stl".
  static CString GetVerifyOutputFileName(CString name);
  /// True when the two bytes at n - 6 are "_s" or "_S".
  static bool CheckIfSupportsFileName(CString name);
  /// The name itself when it is a supports name; else GetNewNameForSupports, after an OK message box with
  /// the new name.
  static CString CheckIfValidSupportName(CString name);
  /// `root`, the style directory of the machine and units (0 inch, 1 millimetre; nothing for machines and
  /// units without one), then `file`. No separator is inserted.
  static CString AddFullPath(const char* root, int machine, CString file, int units);

  // --- Files -------------------------------------------------------------------------------------------
  // A name is used as it is when it holds no backslash or exists so; else with slashes when that exists or
  // its parent does; else as it is. This holds for every name that the library is given.

  /// Makes a read-only file (no write bit set) writable by its owner; a message box tells when that fails.
  /// Files that do not exist are left alone.
  static void ConfirmFilePermission(CString path);
  /// 6 (Yes) when the file does not exist; else the user's answer, 6 or 7 (No).
  static int CheckIfOverWriting(CString path);
  /// 1 when the file exists, else 101 when path + ".pla" exists, else 0.
  static int CheckIfFileExists(CString path);
  /// Kind of the drive that holds the path, or its nearest existing parent: drive::Kind. An empty path and
  /// paths that begin with a drive letter and a colon have no such root here.
  static int GetDriveInfo(CString path);
  /// Kilobytes available to the caller where the path's directory lies; -1 when they cannot be read.
  static int64_t GetDiskSpaceInKB(CString path);
  /// 0 when the file does not exist, or when mode is 0, 1 or 2 and the free kilobytes are at least
  /// (5 * file size) / 1024; else 1.
  static int CheckDiskSpace(CString path, int mode);

  // --- Numbers -----------------------------------------------------------------------------------------
  /// (int)(v * 1000 + 0.5) * 0.001 when coarse is not 0, else with four decimals. Truncates toward zero, so
  /// negative values round toward zero from half a unit off.
  static float RoundFloat(float v, int coarse);
  /// n = (a - c) x (b - c), normalised; a zero-length result is divided by 1.
  static void get_normal(const float a[3], const float b[3], const float c[3], float n[3]);
  /// Colour slot 0..4 of k: congruent 1, 2, 3, 4, 0 modulo 5 give 0, 1, 2, 3, 4 (negative k too).
  static int FindColorCtr(int k);
  /// With i the highest index in 1..1023 whose byte in `src` is nonzero: copies src[0..i-1] and ends dst with
  /// a NUL at i (the byte at i is not copied). Without such an index: all 1024 bytes, and a NUL behind them.
  /// Requires: src has 1024 bytes, dst has room for 1025.
  static void ClearSpacesInName(const char* src, char* dst);
};
