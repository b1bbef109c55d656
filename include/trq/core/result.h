/// What a function of trq::core gives back: a value, or the error as a value. Nothing of trq::core throws but
/// std::bad_alloc.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace trq::core {

/// What kind of thing went wrong, whatever the format.
enum class ErrorCode : int {
  kCannotOpen,      ///< the file cannot be opened or created
  kReadFailed,      ///< the system reports an error while reading
  kWriteFailed,     ///< not all that was written has reached the system
  kEmpty,           ///< there is nothing to read or to write
  kUnknownFormat,   ///< the bytes do not begin as the format does
  kUnknownVersion,  ///< of the format, but of a version or layout that is not known
  kCutShort,        ///< the bytes end before what they announce
  kBadCount,        ///< a count that no file of the format has
  kBadNumber,       ///< a number that is missing, not one, or outside what is allowed
  kBadName,         ///< a name, key or index that stands for nothing
  kBadSum,          ///< a stored checksum that differs from the computed one
  kNoSurface,       ///< facets of which no two share a corner
  kTooLarge,        ///< more than the format or the library takes
  kUnsupported,     ///< a request that does not apply to these values
};

/// Where in the input; what does not apply is kNowhere.
struct Place {
  static constexpr std::uint64_t kNowhere = ~std::uint64_t{0};
  std::uint64_t byte = kNowhere;    ///< offset from the first byte read
  std::uint64_t line = kNowhere;    ///< of a text, from 1
  std::uint64_t column = kNowhere;  ///< byte of the line, from 1
  std::uint64_t item = kNowhere;    ///< facet, layer, record or row, from 0; the header says which
};

struct Error {
  ErrorCode code = ErrorCode::kReadFailed;
  Place place;
  std::string text;      ///< for a reader, without a final period; may be empty
  int system_error = 0;  ///< errno of the system call that failed; 0 when none did
};

/// A value or an Error.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : held_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return held_.index() == 0; }
  explicit operator bool() const { return ok(); }
  /// The value. Requires: ok().
  T& value() & { return *std::get_if<0>(&held_); }
  const T& value() const& { return *std::get_if<0>(&held_); }
  T&& value() && { return std::move(*std::get_if<0>(&held_)); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  /// The error. Requires: !ok().
  const Error& error() const { return *std::get_if<1>(&held_); }

 private:
  std::variant<T, Error> held_;
};

/// Success, or an Error.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)), ok_(false) {}
  bool ok() const { return ok_; }
  explicit operator bool() const { return ok_; }
  /// The error. Requires: !ok().
  const Error& error() const { return error_; }

 private:
  Error error_;
  bool ok_ = true;
};

}  // namespace trq::core
