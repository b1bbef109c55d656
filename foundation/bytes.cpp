#include "trq/core/bytes.h"

#include <algorithm>
#include <cstring>

#include "host/system.h"
#include "trq/core/file.h"

namespace trq::core {

ByteSource::~ByteSource() = default;
ByteSink::~ByteSink() = default;

size_t MemorySource::Read(void* to, size_t size) {
  size = std::min(size, bytes_.size() - next_);
  if (size > 0) std::memcpy(to, bytes_.data() + next_, size);
  next_ += size;
  return size;
}

bool MemorySource::Seek(uint64_t position) {
  if (position > bytes_.size()) return false;
  next_ = size_t(position);
  return true;
}

size_t FileSource::Read(void* to, size_t size) { return std::fread(to, 1, size, file_); }

std::optional<uint64_t> FileSource::Remaining() { return host::RemainingBytes(file_); }

std::optional<uint64_t> FileSource::Position() {
  const int64_t position = core::Position(file_);
  if (position < 0) return std::nullopt;
  return uint64_t(position);
}

bool FileSource::Seek(uint64_t position) {
  return position <= INT64_MAX && core::Seek(file_, int64_t(position));
}

bool MemorySink::Write(const void* data, size_t size) {
  const auto* const first = static_cast<const unsigned char*>(data);
  bytes.insert(bytes.end(), first, first + size);
  return true;
}

}  // namespace trq::core
