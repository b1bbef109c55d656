#include "foundation/heap_sort.h"

#include "trq/foundation.h"

void UTL_heap_sort(void** a, int n, int (*cmp)(void*, void*)) {
  trq::detail::HeapSort(a, n, [cmp](void* x, void* y) { return cmp(x, y) != 0; });
}
