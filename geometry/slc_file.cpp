#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "foundation/block_writer.h"
#include "foundation/host_order.h"
#include "geometry/mesh_output.h"
#include "host/file_services.h"
#include "trq/core/slc.h"
#include "trq/slice_contours.h"

using namespace trq::slc_file;

namespace {

using trq::SlcBoundary;
using trq::SlcLayer;
using trq::SlcTableEntry;
using trq::core::ByteSink;
using trq::core::ByteSource;
using trq::detail::kHostIsLittle;
using trq::detail::ReverseItems;
using trq::detail::WordsToHostOrder;
using trq::detail::WriteWords;

constexpr char kHeaderEnd = 0x1A;
constexpr int kEndOrBadByte = 0xFF;        // the end of the file arrives as this byte too
constexpr size_t kStreamBuffer = 1 << 18;  // bytes

constexpr size_t kPointSize = 8;  // two floats

/// Reads the layers of a file in blocks in which the points of the boundaries then stay: nothing is copied
/// but what lies across the end of a block. From a source whose end cannot be told, nothing is read ahead and
/// memory follows the bytes.
class BlockReader {
 public:
  explicit BlockReader(ByteSource& source) : source_(source) {
    const std::optional<uint64_t> remaining = source.Remaining();
    end_known_ = remaining.has_value();
    remaining_ = remaining.value_or(0);
  }
  BlockReader(const BlockReader&) = delete;
  BlockReader& operator=(const BlockReader&) = delete;
  /// Leaves the file behind what was taken.
  ~BlockReader() {
    const std::optional<uint64_t> position = source_.Position();
    if (end_known_ && begin_ < end_ && position) source_.Seek(*position - (end_ - begin_));
  }

  /// Bytes that the file is known to hold beyond those taken.
  uint64_t remaining() const { return remaining_; }
  /// Whether the file may be that long.
  bool MayHold(uint64_t size) const { return !end_known_ || size <= remaining_; }
  /// Brings the next `size` bytes, a multiple of four, side by side into the block. False when the file ends
  /// before.
  bool Gather(size_t size) {
    if (gathered() < size) Refill(size);
    return gathered() >= size;
  }
  size_t gathered() const { return end_ - begin_; }
  /// The bytes gathered, aligned for floats.
  char* next() const { return reinterpret_cast<char*>(block_.get()) + begin_; }
  const std::shared_ptr<float[]>& block() const { return block_; }
  void Skip(size_t size) {
    begin_ += size;
    remaining_ -=
        std::min<uint64_t>(remaining_, size);  // a file that grew meanwhile holds more than was counted
  }

 private:
  // Below the size from which common allocators ask the system for every block.
  static constexpr size_t kBlock = 96 * 1024;

  /// A new block that begins with what was not taken yet.
  void Refill(size_t size) {
    size_t room = end_known_ ? std::max(size, kBlock) : std::min(size, kBlock);
    for (;; room = std::min(2 * room, size)) {
      const size_t rest = gathered();
      std::shared_ptr<float[]> block(new float[room / sizeof(float)]);
      char* const bytes = reinterpret_cast<char*>(block.get());
      if (rest > 0) std::memcpy(bytes, next(), rest);
      block_ = std::move(block);
      begin_ = 0;
      end_ = rest + source_.Read(bytes + rest, room - rest);
      if (end_ < room || room >= size) return;
    }
  }

  ByteSource& source_;
  bool end_known_;
  uint64_t remaining_;
  std::shared_ptr<float[]> block_;
  size_t begin_ = 0;  // in the block, a multiple of four
  size_t end_ = 0;
};

/// Two 32-bit words, or which of them is cut short.
int ReadWordPair(BlockReader& reader, void* first, void* second, int first_short, int second_short) {
  if (!reader.Gather(8)) return reader.gathered() < 4 ? first_short : second_short;
  std::memcpy(first, reader.next(), 4);
  std::memcpy(second, reader.next() + 4, 4);
  WordsToHostOrder(first, 1);
  WordsToHostOrder(second, 1);
  reader.Skip(8);
  return kOk;
}

/// Reads as far as the terminator.
int ReadLayers(ByteSource& source, std::vector<SlcLayer>& layers) {
  BlockReader reader(source);
  while (true) {
    float z = 0;
    uint32_t boundary_count = 0;
    int result = ReadWordPair(reader, &z, &boundary_count, kLayerZShort, kBoundaryCountShort);
    if (result != kOk) return result;
    if (boundary_count == SlcLayer::kTerminatorCount) {
      layers.push_back(SlcLayer::Terminator(z));
      return kOk;
    }
    SlcLayer layer(z);
    // A boundary takes eight bytes at least.
    layer.Reserve(size_t(std::min<uint64_t>(boundary_count, reader.remaining() / 8)));
    for (uint32_t i = 0; i < boundary_count; ++i) {
      uint32_t vertex_count = 0;
      uint32_t gap_count = 0;
      result = ReadWordPair(reader, &vertex_count, &gap_count, kVertexCountShort, kGapCountShort);
      if (result != kOk) return result;
      // The count is a claim: no memory before the file is known to be that long.
      const uint64_t claimed = uint64_t{kPointSize} * vertex_count;
      const auto size = size_t(claimed);
      constexpr uint64_t kMost = uint64_t(PTRDIFF_MAX);  // on 32-bit machines fewer than a count can say
      if (claimed > kMost || !reader.MayHold(claimed) || !reader.Gather(size)) return kVerticesShort;
      WordsToHostOrder(reader.next(), size / 4);
      layer.AddBoundary(vertex_count, gap_count, reinterpret_cast<float*>(reader.next()), reader.block());
      reader.Skip(size);
    }
    layers.push_back(std::move(layer));
  }
}

int ReadHeader(ByteSource& source, std::string& header) {
  std::string text;
  for (unsigned char byte = 0;;) {
    if (source.Read(&byte, 1) != 1 || byte == kEndOrBadByte) return kBadHeaderByte;
    if (byte == kHeaderEnd) break;
    if (text.size() == slc::kMaxHeader) return kHeaderTooLong;
    text += static_cast<char>(byte);
  }
  header = std::move(text);
  return kOk;
}

int ReadReserved(ByteSource& source, unsigned char* reserved) {
  return source.Read(reserved, slc::kReservedSize) == slc::kReservedSize ? kOk : kReservedOrCountShort;
}

int ReadTable(ByteSource& source, uint8_t& count, std::vector<SlcTableEntry>& table) {
  uint8_t read = 0;
  if (source.Read(&read, 1) != 1) return kReservedOrCountShort;
  count = read;
  if (count == 0) return kEmptyTable;
  // Kept: the count is a signed byte here, so 128 and more read no entries.
  if (count >= 128) return kOk;
  for (int i = 0; i < count; ++i) {
    SlcTableEntry entry;
    if (source.Read(&entry, sizeof entry) != sizeof entry) return kTableEntryShort;
    WordsToHostOrder(&entry, sizeof entry / 4);
    table.push_back(entry);
  }
  return kOk;
}

bool WriteHeader(ByteSink& sink, const char* text, size_t length) {
  return sink.Write(text, length) && sink.Write(&kHeaderEnd, 1);
}

bool WriteTable(ByteSink& sink, uint8_t count, const std::vector<SlcTableEntry>& table) {
  return sink.Write(&count, 1) && WriteWords(sink, table.data(), sizeof(SlcTableEntry) / 4 * table.size());
}

bool WriteLayers(ByteSink& sink, const std::vector<SlcLayer>& layers) {
  for (const SlcLayer& layer : layers) {
    const uint32_t boundary_count = layer.boundary_count();
    if (!WriteWords(sink, &layer.z, 1) || !WriteWords(sink, &boundary_count, 1)) return false;
    if (layer.is_terminator()) continue;
    for (const SlcBoundary& boundary : layer.boundaries()) {
      const uint32_t counts[2] = {boundary.vertex_count, boundary.gap_count};
      if (!WriteWords(sink, counts, 2)) return false;
      if (!WriteWords(sink, boundary.points, kPointSize / 4 * boundary.vertex_count)) return false;
    }
  }
  return true;
}

/// A step of writing, flushed; `failed` is its code.
template <class Write>
int WriteStep(FILE* file, int failed, const Write& write) {
  if (!file) return failed;
  trq::core::FileSink sink(file);
  return write(sink) && std::fflush(file) == 0 ? kOk : failed;
}

}  // namespace

trq::core::Result<void> trq::core::ReadSlc(ByteSource& source, Contours& contours) {
  int result = ReadHeader(source, contours.header);
  if (result == kOk) result = ReadReserved(source, contours.reserved.data());
  if (result == kOk) result = ReadTable(source, contours.table_count, contours.table);
  if (result == kOk) result = ReadLayers(source, contours.layers);
  if (result == kOk) return {};
  Error error;
  error.code = result == kEmptyTable      ? ErrorCode::kBadCount
               : result >= kBadHeaderByte ? ErrorCode::kUnknownFormat
                                          : ErrorCode::kCutShort;
  error.place.byte = source.Position().value_or(Place::kNowhere);
  error.place.item = uint64_t(-result);
  error.text = "no complete SLC file";
  return error;
}

trq::core::Result<void> trq::core::WriteSlc(const Contours& contours, ByteSink& sink) {
  if (contours.table_count == 0) return Error{ErrorCode::kBadCount, {}, "the sampling table has no entry", 0};
  WriteHeader(sink, contours.header.data(), contours.header.size());
  sink.Write(contours.reserved.data(), contours.reserved.size());
  WriteTable(sink, contours.table_count, contours.table);
  WriteLayers(sink, contours.layers);
  return detail::Written(sink);
}

slc::slc(const char* file_path) { SetPath(file_path); }

slc::~slc() { CloseFile(); }

void slc::SetPath(const char* text) {
  std::memset(path, 0, sizeof path);
  if (text) std::memcpy(path, text, std::min(std::strlen(text), size_t(kMaxPath)));
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
  if (mode != kRead && mode != kWrite) return kCannotOpen;
  file = trq::host::OpenFile(path, mode == kRead ? "rb" : "wb").release();
  if (!file) return kCannotOpen;
  stream_buffer_.reset(new char[kStreamBuffer]);
  std::setvbuf(file, stream_buffer_.get(), _IOFBF, kStreamBuffer);
  return kOk;
}

int slc::loadSlc() {
  // Closes also when memory runs out.
  struct Closer {
    ~Closer() { model.CloseFile(); }
    slc& model;
  } closer{*this};
  int result = openSLCFile(kRead);
  for (const auto step :
       {&slc::readSlcHeader, &slc::readReservedSection, &slc::readTableEntry, &slc::processContourLayers}) {
    if (result == kOk) result = (this->*step)();
  }
  return result;
}

int slc::writeSlc() {
  int result = openSLCFile(kWrite);
  for (const auto step :
       {&slc::writeSlcHeader, &slc::writeReservedSection, &slc::writeTableEntry, &slc::writeContourLayers}) {
    if (result == kOk) result = (this->*step)();
  }
  const bool closed = CloseFile();
  return result == kOk && !closed ? kContourWriteFailed : result;
}

int slc::SaveSLCModel(CString new_path) {
  SetPath(new_path);
  return writeSlc();
}

int slc::readSlcHeader() {
  if (!file) return kBadHeaderByte;
  trq::core::FileSource source(file);
  std::string text;
  const int result = ReadHeader(source, text);
  if (result != kOk) return result;
  std::memset(header_text, 0, sizeof header_text);
  std::memcpy(header_text, text.data(), text.size());
  header_length = int32_t(text.size());
  return result;
}

int slc::readReservedSection() {
  if (!file) return kReservedOrCountShort;
  trq::core::FileSource source(file);
  // Kept: the block is dropped, so a file loaded and saved gets the block the object held.
  unsigned char dropped[kReservedSize];
  return ReadReserved(source, dropped);
}

int slc::readTableEntry() {
  if (!file) return kReservedOrCountShort;
  trq::core::FileSource source(file);
  return ReadTable(source, table_count, table);
}

int slc::processContourLayers() {
  if (!file) return kLayerZShort;
  trq::core::FileSource source(file);
  return ReadLayers(source, layers);
}

int slc::writeSlcHeader() {
  return WriteStep(file, kHeaderWriteFailed, [this](ByteSink& sink) {
    return WriteHeader(sink, header_text, size_t(std::clamp(header_length, 0, kMaxHeader)));
  });
}

int slc::writeReservedSection() {
  return WriteStep(file, kReservedWriteFailed,
                   [this](ByteSink& sink) { return sink.Write(reserved, kReservedSize); });
}

int slc::writeTableEntry() {
  if (table_count == 0) return kEmptyTable;
  return WriteStep(file, kTableWriteFailed,
                   [this](ByteSink& sink) { return WriteTable(sink, table_count, table); });
}

int slc::writeContourLayers() {
  return WriteStep(file, kContourWriteFailed, [this](ByteSink& sink) { return WriteLayers(sink, layers); });
}

int slc::readAndSwap(char* buffer, int size, int count, unsigned swap) {
  if (!file || !buffer || size < 1 || count < 1) return 0;
  const size_t item_size = size_t(size);
  const size_t item_count = size_t(count);
  const size_t got = std::fread(buffer, item_size, item_count, file);
  if ((swap != 0) == kHostIsLittle && got == item_count) ReverseItems(buffer, item_size, item_count);
  return int(got);
}

int slc::swapAndWrite(char* buffer, int size, int count, bool swap) {
  if (!file || !buffer || size < 1 || count < 1) return 0;
  const size_t item_size = size_t(size);
  const size_t item_count = size_t(count);
  if (swap == kHostIsLittle) ReverseItems(buffer, item_size, item_count);
  const size_t written = std::fwrite(buffer, item_size, item_count, file);
  if (!kHostIsLittle) ReverseItems(buffer, item_size, item_count);
  return int(written);
}
