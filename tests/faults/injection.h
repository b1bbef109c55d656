/// Faults on purpose: memory that runs out, streams that deliver little or fail. The program is linked with
/// --wrap for malloc, calloc, free and fopen, and replaces operator new, so that library and tests pass here.
#pragma once

#include <cstdint>
#include <limits>
#include <new>

namespace faults {

/// What goes wrong while an Injected operation runs.
struct Plan {
  static constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
  int64_t allocation = kNever;      ///< this allocation fails, counted from 1
  bool small_reads = false;         ///< streams deliver 1 to 7 bytes at a time
  bool seekable = true;             ///< false: as a pipe
  int64_t bytes_to_read = kNever;   ///< then reading fails with EIO
  int64_t bytes_to_write = kNever;  ///< then writing fails with ENOSPC
  bool close_fails = false;         ///< with EIO, of streams that were written to
};

/// Returns beside those of the library.
enum Code : int { kOutOfMemory = 1000, kThrownText = 1001 };

void Begin(const Plan& plan);
/// Ends the faults; whether one happened.
bool End();

/// Allocations that were not freed, by the whole program.
int64_t LiveAllocations();
/// The lowest descriptor that is free.
int FreeDescriptor();

/// Runs the operation under the plan; std::bad_alloc and thrown texts become codes. `hit`, when not null,
/// tells whether a fault happened.
template <class Operation>
int Injected(const Plan& plan, bool* hit, Operation operation) {
  int code = 0;
  Begin(plan);
  try {
    code = operation();
  } catch (const std::bad_alloc&) {
    code = kOutOfMemory;
  } catch (const char*) {
    code = kThrownText;
  } catch (...) {
    End();
    throw;
  }
  const bool happened = End();
  if (hit) *hit = happened;
  return code;
}

}  // namespace faults
