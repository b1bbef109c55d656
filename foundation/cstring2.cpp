#include <algorithm>
#include <cstring>
#include <string>

#include "host/system.h"
#include "trq/foundation.h"

namespace {

constexpr int32_t kHeadroom = 64;

using Buffer = std::vector<char>;

// One byte more than the capacity: the interface compares a length without its NUL against it.
std::shared_ptr<Buffer> NewBuffer(int32_t capacity) {
  return std::make_shared<Buffer>(size_t(capacity) + 1, '\0');
}

int32_t Length(const char* text) { return text ? int32_t(std::strlen(text)) : 0; }

// A null text reads as printf shows it.
const char* Shown(const char* text) { return text ? text : "(null)"; }

Buffer Formatted(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = trq::host::Formatted(format, arguments);
  va_end(arguments);
  return Buffer(text.c_str(), text.c_str() + text.size() + 1);
}

int Sign(int value) { return (value > 0) - (value < 0); }

// Letters of the C locale only, whatever the host program has set.
int Folded(char c) {
  const int byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
}

}  // namespace

CString2::CString2() : text_(NewBuffer(kHeadroom)), scratch_(NewBuffer(kHeadroom)) {}

CString2::CString2(const char* text) {
  if (!text) text = "";
  capacity_ = Length(text) + kHeadroom;
  text_ = NewBuffer(capacity_);
  scratch_ = NewBuffer(capacity_);
  std::strcpy(text_->data(), text);
}

// Kept: the copy shares both buffers with its source. Whoever outgrows a buffer first leaves it to the other.
CString2::CString2(const CString2& other) = default;

CString2::~CString2() = default;

CString2& CString2::operator=(const CString2& other) { return *this = other.text_->data(); }

CString2& CString2::operator=(const char* text) {
  if (!text) text = "";
  const int32_t length = Length(text);
  const std::shared_ptr<Buffer> old = text_;  // the text may lie in the very buffer that is given up
  if (length > capacity_) {
    capacity_ = length + kHeadroom;
    text_ = NewBuffer(capacity_);
  }
  std::memmove(text_->data(), text, size_t(length) + 1);
  return *this;
}

void CString2::Empty() { (*text_)[0] = '\0'; }

CString2::operator const char*() const { return text_->data(); }

int CString2::IsEmpty() const { return (*text_)[0] == '\0'; }

// Stores formatted text after replacing the buffer by one with headroom when `needed` reaches the capacity.
// Text that is longer still gets the room it takes.
void CString2::StoreFormatted(const std::vector<char>& formatted, int32_t needed) {
  if (needed >= capacity_) {
    capacity_ = needed + kHeadroom;
    text_ = NewBuffer(capacity_);
  }
  *this = formatted.data();
}

void CString2::Format(const char* fmt) { StoreFormatted(Formatted(fmt), Length(fmt) + kHeadroom); }

void CString2::Format(const char* fmt, const char* a) {
  StoreFormatted(Formatted(fmt, Shown(a)), Length(fmt) + kHeadroom);
}

void CString2::Format(const char* fmt, int a, int b) {
  StoreFormatted(Formatted(fmt, a, b), Length(fmt) + kHeadroom);
}

void CString2::Format(const char* fmt, float a, float b, float c, float d, float e, float f) {
  StoreFormatted(Formatted(fmt, a, b, c, d, e, f), Length(fmt) + kHeadroom);
}

void CString2::Format(const char* fmt, const char* a, const char* b) {
  a = Shown(a);
  b = Shown(b);
  StoreFormatted(Formatted(fmt, a, b), Length(fmt) + Length(a) + Length(b));
}

int CString2::ReverseFind(char c) const {
  const char* text = text_->data();
  const char* found = std::strrchr(text, c);
  return found ? int(found - text) : -1;
}

const char* CString2::Left(int n) { return CopyToScratch(0, std::clamp(n, 0, Length(text_->data()))); }

const char* CString2::Mid(int first, int count) {
  const int32_t length = Length(text_->data());
  first = std::max(first, 0);
  count = std::max(count, 0);
  if (int64_t(first) + count > length) count = length - first;
  if (first > length) {
    first = 0;
    count = 0;
  }
  return CopyToScratch(first, count);
}

const char* CString2::Mid(int first) {
  // From a negative start the rest is longer than the text, of which all is taken.
  const int32_t length = Length(text_->data());
  return Mid(first, length - std::max(first, 0));
}

const char* CString2::CopyToScratch(int first, int count) {
  if (count >= scratch_capacity_) {
    scratch_capacity_ = count + kHeadroom;
    scratch_ = NewBuffer(scratch_capacity_);
  }
  std::memcpy(scratch_->data(), text_->data() + first, size_t(count));
  (*scratch_)[size_t(count)] = '\0';
  return scratch_->data();
}

int CString2::Compare(const char* s) const { return Sign(std::strcmp(text_->data(), s ? s : "")); }

int CString2::CompareNoCase(const char* s) const {
  // Kept: only as many characters as `s` has are compared, so a text equals each of its beginnings.
  const char* text = text_->data();
  for (; s && *s; ++s, ++text) {
    if (const int difference = Folded(*text) - Folded(*s)) return Sign(difference);
  }
  return 0;
}
