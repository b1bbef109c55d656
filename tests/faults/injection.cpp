#include "tests/faults/injection.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* p);
std::FILE* __real_fopen(const char* path, const char* mode);
}

namespace {

faults::Plan plan;
bool active = false;
bool happened = false;
int64_t allocations = 0;
std::atomic<int64_t> live{0};

bool AllocationFails() {
  if (!active || ++allocations != plan.allocation) return false;
  happened = true;
  return true;
}

void* Counted(void* p) {
  if (p) ++live;
  return p;
}

/// A stream under faults: a descriptor, and how many bytes the next read delivers.
struct Cookie {
  int descriptor;
  unsigned reads = 0;
  bool written = false;
};

ssize_t Read(void* cookie, char* bytes, size_t size) {
  Cookie& stream = *static_cast<Cookie*>(cookie);
  if (active && plan.bytes_to_read <= 0) {
    happened = true;
    errno = EIO;
    return -1;
  }
  if (active && plan.small_reads) size = std::min<size_t>(size, 1 + stream.reads++ * 5 % 7);
  if (active) size = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(size), plan.bytes_to_read));
  const ssize_t got = ::read(stream.descriptor, bytes, size);
  if (got > 0 && active && plan.bytes_to_read != faults::Plan::kNever) plan.bytes_to_read -= got;
  return got;
}

ssize_t Write(void* cookie, const char* bytes, size_t size) {
  Cookie& stream = *static_cast<Cookie*>(cookie);
  stream.written = true;
  const int64_t room = active ? plan.bytes_to_write : faults::Plan::kNever;
  const size_t fits = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(size), room));
  const ssize_t done = std::max<ssize_t>(::write(stream.descriptor, bytes, fits), 0);
  if (active && plan.bytes_to_write != faults::Plan::kNever) plan.bytes_to_write -= done;
  if (fits < size) {
    happened = true;
    errno = ENOSPC;
  }
  return done;
}

int Seek(void* cookie, off64_t* offset, int whence) {
  const off64_t at = ::lseek(static_cast<Cookie*>(cookie)->descriptor, *offset, whence);
  if (at < 0) return -1;
  *offset = at;
  return 0;
}

int Close(void* cookie) {
  Cookie* stream = static_cast<Cookie*>(cookie);
  int result = ::close(stream->descriptor);
  if (active && plan.close_fails && stream->written) {
    happened = true;
    errno = EIO;
    result = -1;
  }
  delete stream;
  return result;
}

bool TouchesStreams() {
  return plan.small_reads || !plan.seekable || plan.close_fails ||
         plan.bytes_to_read != faults::Plan::kNever || plan.bytes_to_write != faults::Plan::kNever;
}

}  // namespace

namespace faults {

void Begin(const Plan& next) {
  plan = next;
  happened = false;
  allocations = 0;
  active = true;
}

bool End() {
  active = false;
  return happened;
}

int64_t LiveAllocations() { return live; }

int FreeDescriptor() {
  const int descriptor = ::open("/dev/null", O_RDONLY);
  ::close(descriptor);
  return descriptor;
}

}  // namespace faults

extern "C" {

void* __wrap_malloc(std::size_t size) { return AllocationFails() ? nullptr : Counted(__real_malloc(size)); }

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return AllocationFails() ? nullptr : Counted(__real_calloc(count, size));
}

void __wrap_free(void* p) {
  if (p) --live;
  __real_free(p);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (!active || !TouchesStreams()) return __real_fopen(path, mode);
  std::FILE* const file = __real_fopen(path, mode);
  if (!file) return nullptr;
  Cookie* const cookie = new Cookie{::dup(::fileno(file))};
  std::fclose(file);
  return ::fopencookie(cookie, mode, {Read, Write, plan.seekable ? Seek : nullptr, Close});
}

}  // extern "C"

void* operator new(std::size_t size) {
  void* const p = AllocationFails() ? nullptr : Counted(__real_malloc(size));
  if (!p) throw std::bad_alloc();
  return p;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { __wrap_free(p); }
void operator delete[](void* p) noexcept { __wrap_free(p); }
void operator delete(void* p, std::size_t) noexcept { __wrap_free(p); }
void operator delete[](void* p, std::size_t) noexcept { __wrap_free(p); }
