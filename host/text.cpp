#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/system.h"
#include "trq/host.h"

char CString::GetAt(int index) const {
  return index >= 0 && index < GetLength() ? text_[size_t(index)] : '\0';
}

namespace {
int Position(std::string::size_type found) { return found == std::string::npos ? -1 : int(found); }
}  // namespace

int CString::Find(char c) const { return Position(text_.find(c)); }
int CString::Find(const char* part) const { return Position(text_.find(part ? part : "")); }
int CString::ReverseFind(char c) const { return Position(text_.rfind(c)); }

CString CString::Left(int count) const { return Mid(0, count); }
CString CString::Right(int count) const { return Mid(GetLength() - std::clamp(count, 0, GetLength())); }
CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const {
  first = std::max(first, 0);
  if (first >= GetLength() || count <= 0) return CString();
  return CString(text_.substr(size_t(first), size_t(count)));
}

int CString::Compare(const char* other) const { return std::strcmp(text_.c_str(), other ? other : ""); }

void CString::Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  text_ = trq::host::Formatted(format, arguments);
  va_end(arguments);
}

std::string trq::host::Formatted(const char* format, va_list arguments) {
  if (!format) return {};
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(size_t(std::max(length, 0)), '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}
