#include "styles/style_file.h"

#include <algorithm>
#include <utility>

#include "foundation/crc32.h"

trq::StyleStream& trq::StyleStream::operator=(const trq::StyleStream& other) {
  if (this != &other) Release();
  return *this;
}

bool trq::StyleStream::Open(const CString& path, const char* mode) {
  Release();
  stream_ = trq::host::OpenFile(path, mode).release();
  opened_here_ = stream_ != nullptr;
  return opened_here_;
}

void trq::StyleStream::Set(FILE* stream) {
  if (stream == stream_) return;
  Release();
  stream_ = stream;
}

int trq::StyleStream::Close() {
  FILE* stream = stream_;
  stream_ = nullptr;
  opened_here_ = false;
  return stream && std::fclose(stream) != 0 ? trq::style_file::kWriteFailed : trq::style_file::kOk;
}

void trq::StyleStream::Release() {
  if (opened_here_) std::fclose(stream_);
  stream_ = nullptr;
  opened_here_ = false;
}

namespace trq::detail {
namespace {

constexpr int kCrcBytes = 4;
constexpr uint32_t kCrcOfNothing = 0xFFFFFFFFu;

/// The CRC of the file without its last `all_but` bytes (of no bytes when it is shorter). Returns kOk,
/// kCannotOpen or kReadFailed.
int FileCrc(const host::SystemPath& path, int64_t all_but, uint32_t& crc) {
  const FileHandle stream = OpenFile(path, "rb");
  if (!stream) return trq::style_file::kCannotOpen;
  if (!Seek(stream.get(), 0, SEEK_END)) return trq::style_file::kReadFailed;
  const int64_t length = Position(stream.get());
  if (length < 0 || !Seek(stream.get(), 0)) return trq::style_file::kReadFailed;
  uint32_t sum = kCrcOfNothing;
  char bytes[1 << 14];
  for (int64_t left = length - all_but; left > 0;) {
    const size_t piece = size_t(std::min<int64_t>(left, sizeof bytes));
    if (std::fread(bytes, 1, piece, stream.get()) != piece) return trq::style_file::kReadFailed;
    sum = Crc32Register(bytes, piece, sum);
    left -= int64_t(piece);
  }
  crc = sum;
  return trq::style_file::kOk;
}

}  // namespace

int ProbeFile(const CString& path) {
  const FileHandle stream = OpenFile(path, "rb");
  if (!stream) return trq::style_file::kCannotOpen;
  char bytes[4];
  return std::fread(bytes, 1, sizeof bytes, stream.get()) == sizeof bytes ? trq::style_file::kOk
                                                                          : trq::style_file::kReadFailed;
}

core::Result<size_t> ReadingOf(int result, const StyleSource& source) {
  const auto position = size_t(source.Position());
  if (result == style_file::kOk) return position;
  core::Error error;
  error.code =
      result == style_file::kUnknownLayout ? core::ErrorCode::kUnknownVersion : core::ErrorCode::kCutShort;
  error.place.byte = position;
  return error;
}

}  // namespace trq::detail

using namespace trq::detail;

uint32_t trq::core::StyleChecksum(Bytes bytes) { return Crc32Register(bytes.data(), bytes.size()); }

int trq::StyleWithFile::writeCrcValue(CString path) {
  uint32_t crc = 0;
  const int result = FileCrc(path, 0, crc);
  if (result != trq::style_file::kOk) return result;
  FileHandle stream = OpenFile(path, "rb+");
  if (!stream) return trq::style_file::kCannotOpen;
  const bool written = Seek(stream.get(), 0, SEEK_END) && StyleSink(stream.get()).Word(&crc);
  const bool closed = CloseChecked(std::move(stream));  // flushes first
  return written && closed ? trq::style_file::kOk : trq::style_file::kWriteFailed;
}

int trq::StyleWithFile::CompareCRC(unsigned long expected, CString path) {
  uint32_t crc = 0;
  const int result = FileCrc(path, kCrcBytes, crc);
  if (result != trq::style_file::kOk) return result;
  return crc == uint32_t(expected) ? trq::style_file::kOk : trq::style_file::kReadFailed;
}

uint32_t trq::StyleWithFile::calcCRC(const char* bytes, int length) {
  return bytes && length > 0 ? Crc32Register(bytes, size_t(length)) : kCrcOfNothing;
}

int trq::StyleWithFile::closeBuildStyleFile() { return file.Close(); }

int trq::StyleWithFile::setStyleFilePtr(FILE* stream) {
  file.Set(stream);
  return trq::style_file::kOk;
}
