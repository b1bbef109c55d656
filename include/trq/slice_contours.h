/// A part as a stack of sliced contours, and its SLC file (docs/formats/slc.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "trq/export.h"
#include "trq/host.h"
#include "trq/slice_file.h"

/// How slc::openSLCFile opens the stored path: trq::slc_file::kRead or kWrite.
enum SLC_OPEN_MODE : int {};

namespace trq::slc_file {
constexpr SLC_OPEN_MODE kRead{0};   ///< "rb"
constexpr SLC_OPEN_MODE kWrite{1};  ///< "wb"

/// Results of SLC file operations. Zero is success, negative is failure.
enum Result : int {
  kOk = 0,
  kCannotOpen = -1,            ///< also: the path is a directory
  kHeaderTooLong = -3,         ///< 2049 bytes and none of them ends the header
  kBadHeaderByte = -4,         ///< a byte 0xFF or the end of the file inside the header
  kReservedOrCountShort = -6,  ///< the reserved block or the table's count byte is cut short
  kEmptyTable = -7,            ///< reading and writing: a table of no entries
  kTableEntryShort = -8,       ///< an entry of the sampling table is cut short
  kLayerZShort = -9,           ///< a layer's z is cut short, or there is no terminator
  kBoundaryCountShort = -10,   ///< a layer's boundary count is cut short
  kVertexCountShort = -11,     ///< a boundary's vertex count is cut short
  kGapCountShort = -12,        ///< a boundary's gap count is cut short
  kVerticesShort = -13,        ///< a boundary claims more vertices than the file holds
  kReservedWriteFailed = -14,
  kHeaderWriteFailed = -15,
  kTableWriteFailed = -16,
  kContourWriteFailed = -17,
};
}  // namespace trq::slc_file

namespace trq {
/// An entry of the sampling table: how the part was sliced from `min_z` upwards. 16 bytes in the file.
struct TRQ_EXPORT SlcTableEntry {
  float min_z = 0;            ///< lowest z of the range, in the file's units
  float layer_thickness = 0;  ///< distance of the layers in the range
  float line_width_compensation = 0;
  float reserved = 0;
};
}  // namespace trq
static_assert(sizeof(trq::SlcTableEntry) == 16, "an entry is stored in files as it lies in memory");

namespace trq {
/// One closed contour of a layer, which keeps the points alive.
struct TRQ_EXPORT SlcBoundary {
  uint32_t vertex_count = 0;
  uint32_t gap_count = 0;
  float* points = nullptr;  ///< vertex_count pairs x, y
};

/// One layer: its z and its boundaries. Copying copies the points too.
class TRQ_EXPORT SlcLayer {
 public:
  /// The boundary count by which the last layer of a file is known.
  static constexpr uint32_t kTerminatorCount = 0xFFFFFFFFu;

  /// A layer without boundaries.
  explicit SlcLayer(float layer_z = 0) : z(layer_z) {}
  /// The layer that ends a file.
  static SlcLayer Terminator(float z);
  SlcLayer(const SlcLayer& other);
  SlcLayer& operator=(const SlcLayer& other);
  /// The source is left without boundaries, and a terminator stays one.
  SlcLayer(SlcLayer&& other) noexcept;
  SlcLayer& operator=(SlcLayer&& other) noexcept;
  ~SlcLayer();

  bool is_terminator() const { return terminator_; }
  /// As the file stores it: kTerminatorCount for the terminator.
  uint32_t boundary_count() const {
    return terminator_ ? kTerminatorCount : static_cast<uint32_t>(boundaries_.size());
  }
  const std::vector<SlcBoundary>& boundaries() const { return boundaries_; }
  /// Makes room for boundaries that are about to be appended. Throws std::bad_alloc.
  void Reserve(std::size_t count) { boundaries_.reserve(boundaries_.size() + count); }
  /// Appends a boundary and returns its 2 * vertex_count floats, unset, for the caller to fill; they stay
  /// where they are for the layer's life. Null when vertex_count is 0. Throws std::bad_alloc. Not for a
  /// terminator, which writes no boundaries.
  float* AddBoundary(uint32_t vertex_count, uint32_t gap_count);
  /// Appends a boundary whose points lie in a block that others may share; the layer keeps the block alive.
  void AddBoundary(uint32_t vertex_count, uint32_t gap_count, float* own_points,
                   const std::shared_ptr<float[]>& block);

  float z;  ///< height of the layer, in the file's units

 private:
  // The points of many boundaries share a block: files hold millions of short boundaries.
  struct Points {
    void MakeBlock(std::size_t size);

    std::vector<std::shared_ptr<float[]>> blocks;
    float* free_points = nullptr;  // in the block that this layer made last
    std::size_t free_size = 0;     // floats left in it
    std::size_t block_size = 0;    // floats in it
  };
  Points& points();

  bool terminator_ = false;
  std::vector<SlcBoundary> boundaries_;
  std::unique_ptr<Points> points_;  // null without points: files hold millions of such layers, too
};
}  // namespace trq

/// A part as a stack of sliced contours. Owns its entries, layers and points. Copying by constructor or
/// assignment is deleted; `copy` is the operation.
class TRQ_EXPORT slc {
 public:
  static constexpr int kMaxPath = 512;
  static constexpr int kMaxHeader = 2048;
  static constexpr int kReservedSize = 256;

  /// An empty model for the file `path`, of which at most 512 characters are stored; null leaves the path
  /// empty. The reserved block starts as zeros.
  slc(const char* path = nullptr);  // NOLINT: implicit, as in the interface
  slc(const slc&) = delete;
  slc& operator=(const slc&) = delete;
  /// Closes the file if it is open.
  ~slc();

  /// Opens the stored path; a file that is still open is closed first. kOk or kCannotOpen. Loading and
  /// writing as a whole, the next opening and the destructor close it; nothing else in the interface does.
  int openSLCFile(SLC_OPEN_MODE mode);
  /// Reads the file at the stored path. Entries and layers are appended to those held; the header and the
  /// table count are replaced, each when it has been read. The reserved block is read and dropped: the object
  /// keeps its own. The file is closed in every case. kOk or the first failure; on failure what was read
  /// whole before it stays, a layer cut short is dropped.
  int loadSlc();
  /// Writes the model to the stored path, which is truncated first; the file is closed in every case. kOk or
  /// the first failure. An empty table returns kEmptyTable when header and reserved block are on disk
  /// already.
  int writeSlc();
  /// Stores the path, at most 512 characters, and writes the model to it: the result of writeSlc.
  int SaveSLCModel(CString path);

  /// The four steps of loadSlc, on the open file. Without an open file each returns the code by which it
  /// reports the end of the file.
  int readSlcHeader();
  int readReservedSection();
  int readTableEntry();
  int processContourLayers();

  /// The four steps of writeSlc, on the open file, each flushed before it returns. Without an open file each
  /// returns its failure code.
  int writeSlcHeader();
  int writeReservedSection();
  int writeTableEntry();
  int writeContourLayers();

  /// Reads `count` items of `size` bytes from the open file into `buffer`. With a non-zero `swap`, when all
  /// came, each item of at least two bytes is reversed. Returns the items read whole; 0 without an open file
  /// or with a size or count below 1.
  int readAndSwap(char* buffer, int size, int count, unsigned swap);
  /// Writes `count` items of `size` bytes from `buffer`. With `swap` each item of at least two bytes is first
  /// reversed in `buffer` itself. Returns the items written; 0 without an open file or with a size or count
  /// below 1.
  int swapAndWrite(char* buffer, int size, int count, bool swap);

  /// Copies header, reserved block and table count into `dst` and appends copies of all entries and layers to
  /// those of `dst`. Onto itself everything then stands twice. Null: nothing.
  void copy(slc* dst);

  /// Copies this model into `target` (as `copy`) and carries all layers of `target` through the matrix of
  /// `source`, reflected: axis 0 mirrors z, 1 mirrors y, 2 mirrors x. With a the axis's coordinate and R the
  /// placement record of `source`, the reflected coordinate c becomes 2 R[22+a] + (offset + R[25+a]) - c.
  /// With `unit` 1 the contours are in millimetres and the matrix in inches. A layer's z is set once, from
  /// its first vertex; a layer without a vertex carries the point (0, 0, z). An axis other than 0, 1, 2 moves
  /// nothing. `target_component` gets words 2 to 5 of `source`, 0 in word 6, unit matrices, R[16..24] moved
  /// by (offset + R[25+a]) in coordinate a, and R[25..29]. A null argument: nothing at all.
  void mirror(slc* target, int axis, int unit, float offset, COMPONENT_INFO* source,
              COMPONENT_INFO* target_component);

  /// out = m v over all four rows, each sum accumulated in double and rounded once. `out` must not be `v`.
  static void MatVecMult(float out[4][1], const float m[4][4], const float v[4][1]);

  FILE* file = nullptr;                        ///< null when closed
  char path[kMaxPath + 1] = {};                ///< ends in NUL
  char header_text[kMaxHeader + 1] = {};       ///< ends in NUL; may hold NULs inside
  int32_t header_length = 0;                   ///< bytes of header_text, without the end
  unsigned char reserved[kReservedSize] = {};  ///< written to files, never read from them
  uint8_t table_count = 0;                     ///< as stored in the file: 128 and more read no entries
  std::vector<trq::SlcTableEntry> table;
  std::vector<trq::SlcLayer> layers;  ///< in file order, the terminator last

 private:
  void SetPath(const char* text);
  /// Closes the file; false when its last bytes could not be written.
  bool CloseFile();

  std::unique_ptr<char[]> stream_buffer_;
};
