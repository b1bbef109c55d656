/// A view of values that stand one after the other and belong to somebody else.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace trq {

/// `size()` values of type T from `data()` on. Copying copies the view, not the values; the owner keeps them
/// alive and in place. T is const where the values are only read. There are no bounds checks.
template <class T>
class Span {
 public:
  /// No values.
  constexpr Span() = default;
  constexpr Span(T* first, std::size_t count) : data_(first), size_(count) {}
  template <std::size_t N>
  constexpr Span(T (&array)[N]) : data_(array), size_(N) {}
  /// All values of a container with data() and size(): std::vector, std::array, std::string, MeshArray,
  /// another Span.
  template <class Container,
            class = std::enable_if_t<std::is_convertible_v<
                std::remove_pointer_t<decltype(std::declval<Container&>().data())> (*)[], T (*)[]>>>
  constexpr Span(Container&& all) : data_(all.data()), size_(all.size()) {}

  constexpr T* data() const { return data_; }
  constexpr std::size_t size() const { return size_; }
  constexpr bool empty() const { return size_ == 0; }
  constexpr T& operator[](std::size_t i) const { return data_[i]; }
  constexpr T* begin() const { return data_; }
  constexpr T* end() const { return data_ + size_; }
  /// The first `count` values. Requires: count <= size().
  constexpr Span First(std::size_t count) const { return Span(data_, count); }
  /// The values from number `count` on. Requires: count <= size().
  constexpr Span From(std::size_t count) const { return Span(data_ + count, size_ - count); }

 private:
  T* data_ = nullptr;
  std::size_t size_ = 0;
};

/// Bytes to read, of a file for instance.
using Bytes = Span<const unsigned char>;

}  // namespace trq
