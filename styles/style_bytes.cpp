#include "styles/style_bytes.h"

#include <algorithm>
#include <vector>

#include "foundation/host_order.h"

namespace trq::detail {
namespace {
constexpr size_t kWidestText = 512;
}

size_t StyleSource::Read(void* to, size_t size) {
  if (stream_) return std::fread(to, 1, size, stream_);
  const size_t came = std::min(size, bytes_.size() - next_);
  if (came != 0) std::memcpy(to, bytes_.data() + next_, came);
  next_ += came;
  return came;
}

bool StyleSource::GoTo(int64_t position) {
  if (stream_) return core::Seek(stream_, position);
  next_ = size_t(position);
  return true;
}

bool StyleSink::Write(const void* from, size_t size) {
  if (stream_) return std::fwrite(from, 1, size, stream_) == size;
  if (bytes_) bytes_->append(static_cast<const char*>(from), size);
  return bytes_ != nullptr;
}

bool StyleSink::Words(const void* words, size_t count) {
  if constexpr (kHostIsLittle) return count == 0 || Write(words, 4 * count);
  std::vector<uint32_t> swapped(count);
  if (count != 0) std::memcpy(swapped.data(), words, 4 * count);
  WordsToHostOrder(swapped.data(), count);
  return count == 0 || Write(swapped.data(), 4 * count);
}

bool StyleSink::Padded(const char* bytes, size_t length, size_t width) {
  char field[kWidestText] = {};
  std::memcpy(field, bytes, std::min(length, width));
  return Write(field, width);
}

bool StyleSource::Text(CString& text, size_t width) {
  if (!RawText(text, width)) return false;
  text = CString(text.str().substr(0, text.str().find('\0')));
  return true;
}

bool StyleSource::RawText(CString& text, size_t width) {
  char field[kWidestText];
  if (!ReadAll(field, width)) return false;
  text = CString(std::string(field, width));
  return true;
}

bool StyleSource::Word(void* word) {
  char bytes[4];
  if (!ReadAll(bytes, sizeof bytes)) return false;
  std::memcpy(word, bytes, sizeof bytes);
  WordsToHostOrder(word, 1);
  return true;
}

}  // namespace trq::detail
