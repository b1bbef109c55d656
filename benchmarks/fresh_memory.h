/// For benchmarks of reading files.
#pragma once

#include <malloc.h>

namespace bench {

/// Large arrays are asked of the system each time from now on, as in a process that has just begun. Otherwise
/// what ran before decides who gets memory that is at hand already.
inline bool UseFreshMemory() { return mallopt(M_MMAP_THRESHOLD, 128 * 1024) == 1; }

}  // namespace bench
