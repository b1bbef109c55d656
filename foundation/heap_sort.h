/// The heap sort of the interface for any array and comparison.
/// Kept: its order of equal elements shows in files, so no other sort can take its place.
#pragma once

#include <cstddef>
#include <utility>

namespace trq::detail {

/// Sorts a[0..n) in place; after(x, y) returns true when x belongs after y. Not stable, but the order of
/// equal elements depends on nothing but the input's order. Arrays of fewer than 2 elements stay alone.
template <class T, class After>
void HeapSort(T* a, std::ptrdiff_t n, After after) {
  if (n < 2) return;
  const auto at = [a](std::ptrdiff_t i) -> T& { return a[i - 1]; };  // the heap counts from 1
  std::ptrdiff_t l = n / 2 + 1;
  std::ptrdiff_t ir = n;
  for (;;) {
    T t;
    if (l > 1) {
      t = std::move(at(--l));
    } else {
      t = std::move(at(ir));
      at(ir) = std::move(at(1));
      if (--ir == 1) {
        at(1) = std::move(t);
        return;
      }
    }
    std::ptrdiff_t i = l;
    std::ptrdiff_t j = 2 * l;
    while (j <= ir) {
      if (j < ir && after(at(j + 1), at(j))) ++j;
      if (!after(at(j), t)) break;
      at(i) = std::move(at(j));
      i = j;
      j *= 2;
    }
    at(i) = std::move(t);
  }
}

}  // namespace trq::detail
