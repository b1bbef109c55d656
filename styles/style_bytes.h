/// Where the bytes of styles come from and go to, and the pieces that style files are made of.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "trq/core/file.h"
#include "trq/core/span.h"
#include "trq/styles.h"

namespace trq::detail {

/// A stream, or bytes in memory, to read from, and the reading of the pieces of a layout. Without a stream
/// nothing comes. A piece whose bytes did not all come keeps what it held (records: see ReadRecord).
class StyleSource {
 public:
  explicit StyleSource(std::FILE* stream) : stream_(stream) {}
  explicit StyleSource(Bytes bytes) : bytes_(bytes) {}
  /// Returns how many of the bytes came.
  size_t Read(void* to, size_t size);
  bool ReadAll(void* to, size_t size) { return Read(to, size) == size; }
  /// -1 when the stream cannot tell.
  int64_t Position() const { return stream_ ? core::Position(stream_) : int64_t(next_); }
  bool GoTo(int64_t position);

  template <class T>
  bool Record(StyleParameterRecord<T>& record, T* stored_maximum = nullptr) {
    return record.ReadFrom(*this, stored_maximum) == style_file::kOk;
  }
  /// The bytes up to the first NUL, or all of them.
  bool Text(CString& text, size_t width);
  bool RawText(CString& text, size_t width);
  bool Word(void* word);  ///< a number of four bytes

  float version = 0;             ///< records are read in the form of that file version
  int32_t sweep_counts[3] = {};  ///< as they stand in the file

 private:
  std::FILE* stream_ = nullptr;
  Bytes bytes_;
  size_t next_ = 0;
};

/// A stream, or a text in memory, to write to, and the writing of the pieces of a layout. Without a stream
/// writing fails. Each returns false when it could not.
class StyleSink {
 public:
  explicit StyleSink(std::FILE* stream) : stream_(stream) {}
  explicit StyleSink(std::string& bytes) : bytes_(&bytes) {}
  bool Write(const void* from, size_t size);
  /// False when what was written does not reach the file.
  bool Flush() { return !stream_ || std::fflush(stream_) == 0; }

  template <class T>
  bool Record(const StyleParameterRecord<T>& record) {
    return record.WriteTo(*this) == style_file::kOk;
  }
  /// The text up to its NUL, cut so that a NUL fits, and zeros.
  bool Text(const CString& text, size_t width) {
    return Padded(text, std::min(std::strlen(text), width - 1), width);
  }
  /// `width` bytes as they are, zeros where the text is shorter.
  bool RawText(const CString& text, size_t width) { return Padded(text, text.str().size(), width); }
  bool Word(const void* word) { return Words(word, 1); }
  bool Words(const void* words, size_t count);

 private:
  bool Padded(const char* bytes, size_t length, size_t width);

  std::FILE* stream_ = nullptr;
  std::string* bytes_ = nullptr;
};

}  // namespace trq::detail
