/// What the library takes from the host system: its text class and its message boxes.
#pragma once

#include <cstddef>
#include <string>

#include "trq/export.h"

/// A text of bytes, as the library's interface passes names and paths.
/// Value semantics; may hold any bytes but is read as far as its first NUL where it becomes a C string.
class TRQ_EXPORT CString {
 public:
  CString() = default;
  /// A null pointer gives the empty text.
  CString(const char* text) : text_(text ? text : "") {}  // NOLINT: implicit, as callers pass literals
  CString(const std::string& text) : text_(text) {}       // NOLINT: implicit

  operator const char*() const { return text_.c_str(); }  // NOLINT: implicit, as in the interface
  const std::string& str() const { return text_; }

  int GetLength() const { return static_cast<int>(text_.size()); }
  bool IsEmpty() const { return text_.empty(); }
  void Empty() { text_.clear(); }
  /// Byte `index`, or NUL outside the text.
  char GetAt(int index) const;
  /// Index of the first / last occurrence, or -1.
  int Find(char c) const;
  int Find(const char* part) const;
  int ReverseFind(char c) const;
  /// At most `count` bytes from the start / the end; a negative count gives the empty text.
  CString Left(int count) const;
  CString Right(int count) const;
  CString Mid(int first) const;
  CString Mid(int first, int count) const;
  /// <0, 0, >0 by bytes taken as unsigned.
  int Compare(const char* other) const;
  /// Replaces the text by printf-formatted text of any length; by the empty text for a null `format`.
  void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

  CString& operator+=(const CString& other) {
    text_ += other.text_;
    return *this;
  }
  friend CString operator+(const CString& a, const CString& b) { return CString(a.text_ + b.text_); }
  friend CString operator+(const CString& a, const char* b) { return a + CString(b); }
  friend CString operator+(const char* a, const CString& b) { return CString(a) + b; }
  friend bool operator==(const CString& a, const CString& b) { return a.text_ == b.text_; }
  friend bool operator==(const CString& a, const char* b) { return a.text_ == CString(b).text_; }
  friend bool operator==(const char* a, const CString& b) { return b == a; }
  friend bool operator!=(const CString& a, const CString& b) { return !(a == b); }
  friend bool operator!=(const CString& a, const char* b) { return !(a == b); }
  friend bool operator!=(const char* a, const CString& b) { return !(b == a); }

 private:
  std::string text_;
};

/// Buttons and answers of message boxes.
namespace trq::message_box {
enum Buttons : unsigned { kOkButton = 0, kYesNoButtons = 4 };
enum Answer : int { kOk = 1, kYes = 6, kNo = 7 };
}  // namespace trq::message_box

namespace trq {
/// Answers a message box: the text, the buttons (message_box::Buttons) and the `user` pointer given at
/// installation; returns a message_box::Answer.
using MessageBoxHandler = int (*)(const char* text, unsigned buttons, void* user);

/// Installs the handler through which the library shows its messages on the calling thread; null restores
/// the default. The default writes the text and a line end to the error stream and answers OK to OK boxes
/// and No to Yes/No boxes, so that nothing is overwritten or deleted unasked.
TRQ_EXPORT void SetMessageBoxHandler(int (*handler)(const char* text, unsigned buttons, void* user),
                                     void* user);
}  // namespace trq

/// Shows a message box through the installed handler and returns its answer.
TRQ_EXPORT int AfxMessageBox(const char* text, unsigned buttons = trq::message_box::kOkButton);

/// Returns of UTILITY::GetDriveInfo.
namespace trq::drive {
enum Kind : int { kUnknown = 0, kNoSuchRoot = 1, kRemovable = 2, kFixed = 3, kRemote = 4, kCd = 5, kRam = 6 };
}  // namespace trq::drive
