/// Values that meshes are made of: arrays, the head of a mesh and its codes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "trq/export.h"

/// Units codes of components and CTL headers.
namespace trq::units {
enum Code : int { kInch = 0, kMillimetre = 1, kUnknown = 2 };
}  // namespace trq::units

/// What CTL_HEADER::sort_state says about the order of the triangles.
namespace trq::sort_state {
enum State : int { kDescending = -1, kUnsorted = 0, kAscending = 1 };
}  // namespace trq::sort_state

namespace trq {
/// An owned array that knows how many elements it has room for. New room is zero bytes, and costs no memory
/// before it is written to. Moving leaves an empty array behind; copying is asked for by name (Clone).
template <class T>
class MeshArray {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
                "elements are moved and zeroed as bytes");

 public:
  MeshArray() = default;
  /// Room for `count` elements, all zero. Throws std::bad_alloc.
  explicit MeshArray(std::size_t count) { reset(count); }
  MeshArray(MeshArray&& other) noexcept : items_(std::move(other.items_)), size_(other.size_) {
    other.size_ = 0;
  }
  MeshArray& operator=(MeshArray&& other) noexcept {
    items_ = std::move(other.items_);
    size_ = other.size_;
    if (this != &other) other.size_ = 0;
    return *this;
  }
  MeshArray& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  T* get() { return items_.get(); }
  const T* get() const { return items_.get(); }
  T* data() { return items_.get(); }
  const T* data() const { return items_.get(); }
  /// No bounds check.
  T& operator[](std::size_t i) { return items_.get()[i]; }
  const T& operator[](std::size_t i) const { return items_.get()[i]; }
  /// Elements allocated.
  std::size_t size() const { return size_; }
  explicit operator bool() const { return items_ != nullptr; }

  /// Frees the array; get() returns null.
  void reset() noexcept {
    items_.reset();
    size_ = 0;
  }
  /// Frees the array and makes a new one of `count` zeroed elements. Throws std::bad_alloc, empty then.
  void reset(std::size_t count) {
    reset();
    items_ = Allocate([count] { return std::calloc(std::max<std::size_t>(count, 1), sizeof(T)); });
    size_ = count;
  }
  /// Room for `count` elements of any value, for a caller that writes all of them. Throws std::bad_alloc.
  static MeshArray ForOverwrite(std::size_t count) {
    MeshArray array;
    array.items_ = Allocate([count] {
      const bool fits = count <= std::size_t(-1) / sizeof(T);
      return fits ? std::malloc((std::max<std::size_t>)(count, 1) * sizeof(T)) : nullptr;
    });
    array.size_ = count;
    return array;
  }
  /// Makes room for at least `count` elements, new ones zero; those present are kept. Grows by half at least,
  /// so that appending again and again stays linear. Throws std::bad_alloc, unchanged then.
  void grow(std::size_t count) {
    if (count <= size_) return;
    MeshArray larger((std::max)(count, size_ + size_ / 2));
    if (size_ > 0) std::memcpy(static_cast<void*>(larger.get()), items_.get(), size_ * sizeof(T));
    *this = std::move(larger);
  }
  /// Room for `count` elements: copies of the first `used` ones, as far as there are that many, then zeros.
  MeshArray Clone(std::size_t used, std::size_t count) const {
    MeshArray copy = ForOverwrite(count);
    used = (std::min)({used, count, size_});
    if (used > 0) std::memcpy(static_cast<void*>(copy.get()), items_.get(), used * sizeof(T));
    if (used < count) std::memset(static_cast<void*>(copy.get() + used), 0, (count - used) * sizeof(T));
    return copy;
  }

 private:
  struct Free {
    void operator()(T* p) const { std::free(p); }
  };
  using Items = std::unique_ptr<T, Free>;

  /// Asks the program's new handler before it gives up, as operator new does.
  template <class Ask>
  static Items Allocate(Ask ask) {
    for (;;) {
      if (void* const room = ask()) return Items(static_cast<T*>(room));
      const std::new_handler handler = std::get_new_handler();
      if (!handler) throw std::bad_alloc();
      handler();
    }
  }

  Items items_;
  std::size_t size_ = 0;
};
}  // namespace trq

/// In memory the mesh's header; on disk the first 256 bytes of a CTL file (docs/formats/ctl.md).
struct TRQ_EXPORT CTL_HEADER {
  /// No vertices, no triangles, units unknown, unsorted, the two fixed words; all else zero.
  CTL_HEADER();
  int32_t num_vertices;
  int32_t num_triangles;
  float matrix[4][4];   ///< row-major, column vectors; carried along, an import sets the unit matrix
  int32_t units;        ///< units::Code
  int32_t sort_state;   ///< sort_state::State
  char stl_header[80];  ///< the header of the binary STL file the mesh came from
  int32_t magic;        ///< 121
  int32_t format_word;  ///< 12
  uint32_t reserved[2];
  char reserved_bytes[80];
};
static_assert(sizeof(CTL_HEADER) == 256, "the head of a CTL file");
static_assert(offsetof(CTL_HEADER, matrix) == 8 && offsetof(CTL_HEADER, units) == 72 &&
                  offsetof(CTL_HEADER, sort_state) == 76 && offsetof(CTL_HEADER, stl_header) == 80 &&
                  offsetof(CTL_HEADER, magic) == 160 && offsetof(CTL_HEADER, format_word) == 164 &&
                  offsetof(CTL_HEADER, reserved) == 168 && offsetof(CTL_HEADER, reserved_bytes) == 176,
              "the head of a CTL file");
