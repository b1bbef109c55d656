#include "styles/style_layout.h"

#include <algorithm>
#include <cstring>

namespace trq::detail {
namespace {
constexpr std::size_t kWidestText = 512;
}

bool StyleWriter::Padded(const char* bytes, std::size_t length, int width) {
  char field[kWidestText] = {};
  const std::size_t size = static_cast<std::size_t>(width);
  std::memcpy(field, bytes, std::min(length, size));
  return std::fwrite(field, 1, size, stream_) == size;
}

bool StyleWriter::Text(const CString& text, int width) {
  const std::size_t room = static_cast<std::size_t>(width) - 1;
  return Padded(text, std::min(std::strlen(text), room), width);
}

bool StyleWriter::RawText(const CString& text, int width) { return Padded(text, text.str().size(), width); }

bool StyleReader::Text(CString& text, int width) {
  char field[kWidestText];
  if (!Bytes(field, width)) return false;
  text = CString(std::string(field, std::find(field, field + width, '\0')));
  return true;
}

bool StyleReader::RawText(CString& text, int width) {
  char field[kWidestText];
  if (!Bytes(field, width)) return false;
  text = CString(std::string(field, field + width));
  return true;
}

bool StyleReader::Word(void* word) {
  char bytes[4];
  if (!Bytes(bytes, sizeof bytes)) return false;
  std::memcpy(word, bytes, sizeof bytes);
  return true;
}

}  // namespace trq::detail
