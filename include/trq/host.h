/// What the library takes from the host system: its text class, its message boxes and its random numbers.
#pragma once

#include <cstddef>
#include <cstdint>
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
  void Format(const char* format, ...)
#if defined(__MINGW32__)
      __attribute__((format(gnu_printf, 2, 3)))  // as std::printf is there
#elif defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
      ;

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

/// Returns the next random number, from 0 on; `user` as given at installation.
using RandomSource = int (*)(void* user);

/// Installs where placement on the calling thread draws its random numbers from; null restores the default,
/// std::rand, whose sequence after std::srand differs from system to system.
TRQ_EXPORT void SetRandomSource(int (*source)(void* user), void* user);

/// Random numbers that are the same on every system: those of the GNU C library's rand() after srand(seed).
/// Its additive generator r[i] = r[i-3] + r[i-31] is described with it as random(3) of type 3.
///   trq::SeededRandom random(7);
///   trq::SetRandomSource(trq::SeededRandom::Draw, &random);  // restore the default before `random` ends
class TRQ_EXPORT SeededRandom {
 public:
  explicit SeededRandom(unsigned seed);
  /// From 0 to 2147483647.
  int Next();
  /// A RandomSource; `self` is the SeededRandom.
  static int Draw(void* self) { return static_cast<SeededRandom*>(self)->Next(); }

 private:
  static constexpr int kLag = 31;
  std::uint32_t last_[kLag];  // the last numbers, the oldest at oldest_
  int oldest_ = 3;
};
}  // namespace trq

/// Shows a message box through the installed handler and returns its answer.
TRQ_EXPORT int AfxMessageBox(const char* text, unsigned buttons = trq::message_box::kOkButton);

/// Returns of UTILITY::GetDriveInfo.
namespace trq::drive {
enum Kind : int { kUnknown = 0, kNoSuchRoot = 1, kRemovable = 2, kFixed = 3, kRemote = 4, kCd = 5, kRam = 6 };
}  // namespace trq::drive
