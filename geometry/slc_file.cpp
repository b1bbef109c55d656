#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "foundation/bounded_read.h"
#include "host/file_services.h"
#include "trq/core/slc.h"
#include "trq/slice_contours.h"

namespace {

using trq::core::ByteSource;

// Numbers lie in memory as they lie in the file.
#if defined(__BYTE_ORDER__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "SLC files are read and written without swapping");
#endif

constexpr int kHeaderEnd = 0x1A;
constexpr int kEndOrBadByte = 0xFF;             // the end of the file arrives as this byte too
constexpr std::size_t kStreamBuffer = 1 << 18;  // bytes

struct Point {
  float x;
  float y;
};
static_assert(sizeof(Point) == 8, "points are stored in files as they lie in memory");

/// Reads the layers of a file in blocks in which the points of the boundaries then stay: nothing is copied
/// but what lies across the end of a block. Only for streams that tell how many bytes they still hold.
class BlockReader {
 public:
  BlockReader(ByteSource& source, uint64_t remaining) : source_(source), remaining_(remaining) {}
  BlockReader(const BlockReader&) = delete;
  BlockReader& operator=(const BlockReader&) = delete;
  /// Leaves the file behind what was taken.
  ~BlockReader() {
    const std::optional<uint64_t> position = source_.Position();
    if (begin_ < end_ && position) source_.Seek(*position - (end_ - begin_));
  }

  /// Bytes that the file holds beyond those taken.
  uint64_t remaining() const { return remaining_; }
  /// Brings the next `size` bytes, a multiple of four, side by side into the block; returns how many there
  /// are.
  std::size_t Gather(std::size_t size) {
    if (end_ - begin_ < size) Refill(size);
    return std::min(size, end_ - begin_);
  }
  /// The bytes gathered, aligned for floats.
  char* next() const { return reinterpret_cast<char*>(block_.get()) + begin_; }
  const std::shared_ptr<float[]>& block() const { return block_; }
  void Skip(std::size_t size) {
    begin_ += size;
    remaining_ -=
        std::min<uint64_t>(remaining_, size);  // a file that grew meanwhile holds more than was counted
  }

 private:
  // Below the size from which common allocators ask the system for every block.
  static constexpr std::size_t kBlock = 96 * 1024;

  /// A new block that begins with what was not taken yet.
  void Refill(std::size_t size) {
    const std::size_t rest = end_ - begin_;
    const std::size_t wanted = std::max(size, kBlock);
    std::shared_ptr<float[]> block(new float[wanted / sizeof(float)]);
    char* const bytes = reinterpret_cast<char*>(block.get());
    if (rest > 0) std::memcpy(bytes, next(), rest);
    block_ = std::move(block);
    begin_ = 0;
    end_ = rest + source_.Read(bytes + rest, wanted - rest);
  }

  ByteSource& source_;
  uint64_t remaining_;
  std::shared_ptr<float[]> block_;
  std::size_t begin_ = 0;  // in the block, a multiple of four
  std::size_t end_ = 0;
};

/// Reads the layers of a stream whose end cannot be told: memory follows the bytes.
class PiecewiseReader {
 public:
  explicit PiecewiseReader(ByteSource& source) : source_(source) {}
  /// None that is known of.
  uint64_t remaining() const { return 0; }
  std::size_t Gather(std::size_t) { return source_.Read(word_pair_, sizeof word_pair_); }
  const char* next() const { return word_pair_; }
  void Skip(std::size_t) {}
  uint64_t ReadPoints(uint64_t count, std::vector<Point>& points) {
    return trq::detail::ReadItems(source_, count, points);
  }

 private:
  ByteSource& source_;
  char word_pair_[8];
};

int ReadPoints(BlockReader& reader, uint32_t vertex_count, uint32_t gap_count, trq::SlcLayer& layer) {
  // The count is a claim: no memory before the file is known to be that long.
  const uint64_t size = sizeof(Point) * uint64_t{vertex_count};
  if (size > reader.remaining() || reader.Gather(size) < size) return trq::slc_file::kVerticesShort;
  layer.AddBoundary(vertex_count, gap_count, reinterpret_cast<float*>(reader.next()), reader.block());
  reader.Skip(size);
  return trq::slc_file::kOk;
}

int ReadPoints(PiecewiseReader& reader, uint32_t vertex_count, uint32_t gap_count, trq::SlcLayer& layer) {
  std::vector<Point> points;
  if (reader.ReadPoints(vertex_count, points) != vertex_count) return trq::slc_file::kVerticesShort;
  float* const stored = layer.AddBoundary(vertex_count, gap_count);
  if (stored) std::memcpy(stored, points.data(), sizeof(Point) * points.size());
  return trq::slc_file::kOk;
}

/// Two 32-bit words, or which of them is cut short.
template <class Reader>
int ReadWordPair(Reader& reader, void* first, void* second, int first_short, int second_short) {
  const std::size_t got = reader.Gather(8);
  if (got < 4) return first_short;
  if (got < 8) return second_short;
  std::memcpy(first, reader.next(), 4);
  std::memcpy(second, reader.next() + 4, 4);
  reader.Skip(8);
  return trq::slc_file::kOk;
}

/// Reads as far as the terminator.
template <class Reader>
int ReadLayers(Reader& reader, std::vector<trq::SlcLayer>& layers) {
  while (true) {
    float z = 0;
    uint32_t boundary_count = 0;
    int result = ReadWordPair(reader, &z, &boundary_count, trq::slc_file::kLayerZShort,
                              trq::slc_file::kBoundaryCountShort);
    if (result != trq::slc_file::kOk) return result;
    if (boundary_count == trq::SlcLayer::kTerminatorCount) {
      layers.push_back(trq::SlcLayer::Terminator(z));
      return trq::slc_file::kOk;
    }
    trq::SlcLayer layer(z);
    // A boundary takes eight bytes at least.
    layer.Reserve(static_cast<std::size_t>(std::min<uint64_t>(boundary_count, reader.remaining() / 8)));
    for (uint32_t i = 0; i < boundary_count; ++i) {
      uint32_t vertex_count = 0;
      uint32_t gap_count = 0;
      result = ReadWordPair(reader, &vertex_count, &gap_count, trq::slc_file::kVertexCountShort,
                            trq::slc_file::kGapCountShort);
      if (result == trq::slc_file::kOk) result = ReadPoints(reader, vertex_count, gap_count, layer);
      if (result != trq::slc_file::kOk) return result;
    }
    layers.push_back(std::move(layer));
  }
}

/// As far as the terminator, whether or not the source tells how much it still holds.
int ReadAllLayers(ByteSource& source, std::vector<trq::SlcLayer>& layers) {
  if (const std::optional<uint64_t> remaining = source.Remaining()) {
    BlockReader reader(source, *remaining);
    return ReadLayers(reader, layers);
  }
  PiecewiseReader reader(source);
  return ReadLayers(reader, layers);
}

int ReadHeader(ByteSource& source, std::string& header) {
  std::string text;
  for (unsigned char byte = 0;;) {
    if (source.Read(&byte, 1) != 1 || byte == kEndOrBadByte) return trq::slc_file::kBadHeaderByte;
    if (byte == kHeaderEnd) break;
    if (text.size() == slc::kMaxHeader) return trq::slc_file::kHeaderTooLong;
    text += static_cast<char>(byte);
  }
  header = std::move(text);
  return trq::slc_file::kOk;
}

int ReadReserved(ByteSource& source, unsigned char* reserved) {
  return source.Read(reserved, slc::kReservedSize) == slc::kReservedSize
             ? trq::slc_file::kOk
             : trq::slc_file::kReservedOrCountShort;
}

int ReadTable(ByteSource& source, uint8_t& count, std::vector<trq::SlcTableEntry>& table) {
  uint8_t read = 0;
  if (source.Read(&read, 1) != 1) return trq::slc_file::kReservedOrCountShort;
  count = read;
  if (count == 0) return trq::slc_file::kEmptyTable;
  // Kept: the count is a signed byte here, so 128 and more read no entries.
  if (count >= 128) return trq::slc_file::kOk;
  for (int i = 0; i < count; ++i) {
    trq::SlcTableEntry entry;
    if (source.Read(&entry, sizeof entry) != sizeof entry) return trq::slc_file::kTableEntryShort;
    table.push_back(entry);
  }
  return trq::slc_file::kOk;
}

bool WriteLayer(FILE* file, const trq::SlcLayer& layer) {
  const uint32_t boundary_count = layer.boundary_count();
  if (std::fwrite(&layer.z, sizeof layer.z, 1, file) != 1) return false;
  if (std::fwrite(&boundary_count, sizeof boundary_count, 1, file) != 1) return false;
  if (layer.is_terminator()) return true;
  for (const trq::SlcBoundary& boundary : layer.boundaries()) {
    const uint32_t counts[2] = {boundary.vertex_count, boundary.gap_count};
    if (std::fwrite(counts, sizeof counts, 1, file) != 1) return false;
    if (boundary.vertex_count > 0 &&
        std::fwrite(boundary.points, sizeof(Point), boundary.vertex_count, file) != boundary.vertex_count) {
      return false;
    }
  }
  return true;
}

void ReverseItems(char* buffer, std::size_t size, std::size_t count) {
  if (size < 2) return;
  for (std::size_t i = 0; i < count; ++i) std::reverse(buffer + i * size, buffer + (i + 1) * size);
}

}  // namespace

trq::core::Result<void> trq::core::ReadSlc(ByteSource& source, Contours& contours) {
  int result = ReadHeader(source, contours.header);
  if (result == slc_file::kOk) result = ReadReserved(source, contours.reserved.data());
  if (result == slc_file::kOk) result = ReadTable(source, contours.table_count, contours.table);
  if (result == slc_file::kOk) result = ReadAllLayers(source, contours.layers);
  if (result == slc_file::kOk) return {};
  Error error;
  error.code = result == slc_file::kEmptyTable      ? ErrorCode::kBadCount
               : result >= slc_file::kBadHeaderByte ? ErrorCode::kUnknownFormat
                                                    : ErrorCode::kCutShort;
  error.place.byte = source.Position().value_or(Place::kNowhere);
  error.place.item = static_cast<uint64_t>(-result);
  error.text = "no complete SLC file";
  return error;
}

slc::slc(const char* file_path) { SetPath(file_path); }

slc::~slc() { CloseFile(); }

void slc::SetPath(const char* text) {
  std::memset(path, 0, sizeof path);
  if (text) std::memcpy(path, text, std::min(std::strlen(text), static_cast<std::size_t>(kMaxPath)));
}

bool slc::CloseFile() {
  bool done = true;
  if (file) done = std::fclose(file) == 0;
  file = nullptr;
  stream_buffer_.reset();
  return done;
}

int slc::openSLCFile(SLC_OPEN_MODE mode) {
  CloseFile();
  if (mode != trq::slc_file::kRead && mode != trq::slc_file::kWrite) return trq::slc_file::kCannotOpen;
  file = trq::host::OpenFile(path, mode == trq::slc_file::kRead ? "rb" : "wb").release();
  if (!file) return trq::slc_file::kCannotOpen;
  stream_buffer_.reset(new char[kStreamBuffer]);
  std::setvbuf(file, stream_buffer_.get(), _IOFBF, kStreamBuffer);
  return trq::slc_file::kOk;
}

int slc::loadSlc() {
  // Closes also when memory runs out.
  struct Closer {
    ~Closer() { model.CloseFile(); }
    slc& model;
  } closer{*this};
  int result = openSLCFile(trq::slc_file::kRead);
  if (result == trq::slc_file::kOk) result = readSlcHeader();
  if (result == trq::slc_file::kOk) result = readReservedSection();
  if (result == trq::slc_file::kOk) result = readTableEntry();
  if (result == trq::slc_file::kOk) result = processContourLayers();
  return result;
}

int slc::writeSlc() {
  int result = openSLCFile(trq::slc_file::kWrite);
  if (result == trq::slc_file::kOk) result = writeSlcHeader();
  if (result == trq::slc_file::kOk) result = writeReservedSection();
  if (result == trq::slc_file::kOk) result = writeTableEntry();
  if (result == trq::slc_file::kOk) result = writeContourLayers();
  const bool closed = CloseFile();
  return result == trq::slc_file::kOk && !closed ? trq::slc_file::kContourWriteFailed : result;
}

int slc::SaveSLCModel(CString new_path) {
  SetPath(new_path);
  return writeSlc();
}

int slc::readSlcHeader() {
  if (!file) return trq::slc_file::kBadHeaderByte;
  trq::core::FileSource source(file);
  std::string text;
  const int result = ReadHeader(source, text);
  if (result != trq::slc_file::kOk) return result;
  std::memset(header_text, 0, sizeof header_text);
  std::memcpy(header_text, text.data(), text.size());
  header_length = static_cast<int32_t>(text.size());
  return result;
}

int slc::readReservedSection() {
  if (!file) return trq::slc_file::kReservedOrCountShort;
  trq::core::FileSource source(file);
  // Kept: the block is dropped, so a file loaded and saved gets the block the object held.
  unsigned char dropped[kReservedSize];
  return ReadReserved(source, dropped);
}

int slc::readTableEntry() {
  if (!file) return trq::slc_file::kReservedOrCountShort;
  trq::core::FileSource source(file);
  return ReadTable(source, table_count, table);
}

int slc::processContourLayers() {
  if (!file) return trq::slc_file::kLayerZShort;
  trq::core::FileSource source(file);
  return ReadAllLayers(source, layers);
}

int slc::writeSlcHeader() {
  if (!file) return trq::slc_file::kHeaderWriteFailed;
  const std::size_t length = static_cast<std::size_t>(std::clamp(header_length, 0, kMaxHeader));
  const bool written = std::fwrite(header_text, 1, length, file) == length &&
                       std::putc(kHeaderEnd, file) == kHeaderEnd && std::fflush(file) == 0;
  return written ? trq::slc_file::kOk : trq::slc_file::kHeaderWriteFailed;
}

int slc::writeReservedSection() {
  if (!file) return trq::slc_file::kReservedWriteFailed;
  const bool written =
      std::fwrite(reserved, 1, kReservedSize, file) == kReservedSize && std::fflush(file) == 0;
  return written ? trq::slc_file::kOk : trq::slc_file::kReservedWriteFailed;
}

int slc::writeTableEntry() {
  if (table_count == 0) return trq::slc_file::kEmptyTable;
  if (!file) return trq::slc_file::kTableWriteFailed;
  bool written = std::fwrite(&table_count, 1, 1, file) == 1;
  written = written && (table.empty() || std::fwrite(table.data(), sizeof(trq::SlcTableEntry), table.size(),
                                                     file) == table.size());
  return written && std::fflush(file) == 0 ? trq::slc_file::kOk : trq::slc_file::kTableWriteFailed;
}

int slc::writeContourLayers() {
  if (!file) return trq::slc_file::kContourWriteFailed;
  for (const trq::SlcLayer& layer : layers) {
    if (!WriteLayer(file, layer)) return trq::slc_file::kContourWriteFailed;
  }
  return std::fflush(file) == 0 ? trq::slc_file::kOk : trq::slc_file::kContourWriteFailed;
}

int slc::readAndSwap(char* buffer, int size, int count, unsigned swap) {
  if (!file || !buffer || size < 1 || count < 1) return 0;
  const std::size_t item_size = static_cast<std::size_t>(size);
  const std::size_t item_count = static_cast<std::size_t>(count);
  const std::size_t got = std::fread(buffer, item_size, item_count, file);
  if (swap != 0 && got == item_count) ReverseItems(buffer, item_size, item_count);
  return static_cast<int>(got);
}

int slc::swapAndWrite(char* buffer, int size, int count, bool swap) {
  if (!file || !buffer || size < 1 || count < 1) return 0;
  const std::size_t item_size = static_cast<std::size_t>(size);
  const std::size_t item_count = static_cast<std::size_t>(count);
  if (swap) ReverseItems(buffer, item_size, item_count);
  return static_cast<int>(std::fwrite(buffer, item_size, item_count, file));
}
