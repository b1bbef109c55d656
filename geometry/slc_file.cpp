#include <algorithm>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

#include "foundation/bounded_read.h"
#include "trq/slice_contours.h"

namespace {

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

/// Counts down what a file still holds; a file that grew meanwhile holds more than was counted.
void Take(uint64_t& remaining, uint64_t bytes) { remaining -= std::min(remaining, bytes); }

/// Reads a boundary's counts and points. `remaining`: the bytes left in the file, counted down; empty when
/// the end of the stream cannot be told.
int ReadBoundary(FILE* file, std::optional<uint64_t>& remaining, SlcLayer& layer) {
  uint32_t counts[2];  // vertices, gaps
  const std::size_t got = std::fread(counts, 1, sizeof counts, file);
  if (got < sizeof counts[0]) return slc_file::kVertexCountShort;
  if (got < sizeof counts) return slc_file::kGapCountShort;
  const std::size_t vertex_count = counts[0];

  if (!remaining) {
    std::vector<Point> points;
    if (trq::detail::ReadItems(file, vertex_count, points) != vertex_count) return slc_file::kVerticesShort;
    float* const stored = layer.AddBoundary(counts[0], counts[1]);
    if (stored) std::memcpy(stored, points.data(), sizeof(Point) * vertex_count);
    return slc_file::kOk;
  }
  // The count is a claim: no memory before the file is known to be that long.
  Take(*remaining, sizeof counts);
  if (vertex_count > *remaining / sizeof(Point)) return slc_file::kVerticesShort;
  float* const stored = layer.AddBoundary(counts[0], counts[1]);
  if (stored && std::fread(stored, sizeof(Point), vertex_count, file) != vertex_count) {
    return slc_file::kVerticesShort;
  }
  Take(*remaining, sizeof(Point) * vertex_count);
  return slc_file::kOk;
}

bool WriteLayer(FILE* file, const SlcLayer& layer) {
  const uint32_t boundary_count = layer.boundary_count();
  if (std::fwrite(&layer.z, sizeof layer.z, 1, file) != 1) return false;
  if (std::fwrite(&boundary_count, sizeof boundary_count, 1, file) != 1) return false;
  if (layer.is_terminator()) return true;
  for (const SlcBoundary& boundary : layer.boundaries()) {
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
  if (mode != SLC_OPEN_READ && mode != SLC_OPEN_WRITE) return slc_file::kCannotOpen;
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return slc_file::kCannotOpen;
  file = std::fopen(path, mode == SLC_OPEN_READ ? "rb" : "wb");
  if (!file) return slc_file::kCannotOpen;
  stream_buffer_.reset(new char[kStreamBuffer]);
  std::setvbuf(file, stream_buffer_.get(), _IOFBF, kStreamBuffer);
  return slc_file::kOk;
}

int slc::loadSlc() {
  int result = openSLCFile(SLC_OPEN_READ);
  if (result == slc_file::kOk) result = readSlcHeader();
  if (result == slc_file::kOk) result = readReservedSection();
  if (result == slc_file::kOk) result = readTableEntry();
  if (result == slc_file::kOk) result = processContourLayers();
  CloseFile();
  return result;
}

int slc::writeSlc() {
  int result = openSLCFile(SLC_OPEN_WRITE);
  if (result == slc_file::kOk) result = writeSlcHeader();
  if (result == slc_file::kOk) result = writeReservedSection();
  if (result == slc_file::kOk) result = writeTableEntry();
  if (result == slc_file::kOk) result = writeContourLayers();
  const bool closed = CloseFile();
  return result == slc_file::kOk && !closed ? slc_file::kContourWriteFailed : result;
}

int slc::SaveSLCModel(CString new_path) {
  SetPath(new_path);
  return writeSlc();
}

int slc::readSlcHeader() {
  if (!file) return slc_file::kBadHeaderByte;
  char text[kMaxHeader + 1] = {};
  for (int length = 0;; ++length) {
    const int byte = std::getc(file);
    if (byte == EOF || byte == kEndOrBadByte) return slc_file::kBadHeaderByte;
    if (byte == kHeaderEnd) {
      std::memcpy(header_text, text, sizeof header_text);
      header_length = length;
      return slc_file::kOk;
    }
    if (length == kMaxHeader) return slc_file::kHeaderTooLong;
    text[length] = static_cast<char>(byte);
  }
}

int slc::readReservedSection() {
  // Kept: the block is dropped, so a file loaded and saved gets the block the object held.
  char dropped[kReservedSize];
  return readAndSwap(dropped, 1, kReservedSize, 0) == kReservedSize ? slc_file::kOk
                                                                    : slc_file::kReservedOrCountShort;
}

int slc::readTableEntry() {
  char count = 0;
  if (readAndSwap(&count, 1, 1, 0) != 1) return slc_file::kReservedOrCountShort;
  table_count = static_cast<uint8_t>(count);
  if (table_count == 0) return slc_file::kEmptyTable;
  // Kept: the count is a signed byte here, so 128 and more read no entries.
  if (table_count >= 128) return slc_file::kOk;
  for (int i = 0; i < table_count; ++i) {
    SlcTableEntry entry;
    if (std::fread(&entry, sizeof entry, 1, file) != 1) return slc_file::kTableEntryShort;
    table.push_back(entry);
  }
  return slc_file::kOk;
}

int slc::processContourLayers() {
  if (!file) return slc_file::kLayerZShort;
  std::optional<uint64_t> remaining = trq::detail::BytesRemaining(file);
  while (true) {
    char head[8];  // z, boundary count
    const std::size_t got = std::fread(head, 1, sizeof head, file);
    if (got < 4) return slc_file::kLayerZShort;
    if (got < sizeof head) return slc_file::kBoundaryCountShort;
    if (remaining) Take(*remaining, sizeof head);
    float z = 0;
    uint32_t boundary_count = 0;
    std::memcpy(&z, head, sizeof z);
    std::memcpy(&boundary_count, head + 4, sizeof boundary_count);
    if (boundary_count == SlcLayer::kTerminatorCount) {
      layers.push_back(SlcLayer::Terminator(z));
      return slc_file::kOk;
    }
    SlcLayer layer(z);
    for (uint32_t i = 0; i < boundary_count; ++i) {
      const int result = ReadBoundary(file, remaining, layer);
      if (result != slc_file::kOk) return result;
    }
    layers.push_back(std::move(layer));
  }
}

int slc::writeSlcHeader() {
  if (!file) return slc_file::kHeaderWriteFailed;
  const std::size_t length = static_cast<std::size_t>(std::clamp(header_length, 0, kMaxHeader));
  const bool written = std::fwrite(header_text, 1, length, file) == length &&
                       std::putc(kHeaderEnd, file) == kHeaderEnd && std::fflush(file) == 0;
  return written ? slc_file::kOk : slc_file::kHeaderWriteFailed;
}

int slc::writeReservedSection() {
  if (!file) return slc_file::kReservedWriteFailed;
  const bool written =
      std::fwrite(reserved, 1, kReservedSize, file) == kReservedSize && std::fflush(file) == 0;
  return written ? slc_file::kOk : slc_file::kReservedWriteFailed;
}

int slc::writeTableEntry() {
  if (table_count == 0) return slc_file::kEmptyTable;
  if (!file) return slc_file::kTableWriteFailed;
  bool written = std::fwrite(&table_count, 1, 1, file) == 1;
  written = written && (table.empty() ||
                        std::fwrite(table.data(), sizeof(SlcTableEntry), table.size(), file) == table.size());
  return written && std::fflush(file) == 0 ? slc_file::kOk : slc_file::kTableWriteFailed;
}

int slc::writeContourLayers() {
  if (!file) return slc_file::kContourWriteFailed;
  for (const SlcLayer& layer : layers) {
    if (!WriteLayer(file, layer)) return slc_file::kContourWriteFailed;
  }
  return std::fflush(file) == 0 ? slc_file::kOk : slc_file::kContourWriteFailed;
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
