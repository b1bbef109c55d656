/// Stands before the system's allocator (LD_PRELOAD) and lets the n-th allocation fail: TRQ_FAIL_AT=n, with
/// TRQ_FAIL_ON=1 all later ones too. TRQ_COUNT_TO=FILE writes how many there were. Counting begins with the
/// program's own static initialisers.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<bool> armed{false};
std::atomic<long> made{0};
long fail_at = 0;
bool fail_on = false;
const char* count_to = nullptr;

__attribute__((constructor)) void Arm() {
  const char* at = std::getenv("TRQ_FAIL_AT");
  fail_at = at ? std::atol(at) : 0;
  fail_on = std::getenv("TRQ_FAIL_ON") != nullptr;
  count_to = std::getenv("TRQ_COUNT_TO");
  armed = true;
}

__attribute__((destructor)) void Report() {
  armed = false;
  if (!count_to) return;
  char digits[24];
  int at = sizeof digits;
  for (long rest = made; rest > 0 || at == sizeof digits; rest /= 10)
    digits[--at] = static_cast<char>('0' + rest % 10);
  const int file = open(count_to, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file < 0 || write(file, digits + at, sizeof digits - static_cast<std::size_t>(at)) < 0) _exit(99);
  close(file);
}

bool Fails() {
  if (!armed) return false;
  const long number = ++made;
  if (fail_at == 0 || number < fail_at || (number > fail_at && !fail_on)) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  return Fails() ? nullptr : __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* old, std::size_t size) {
  return Fails() ? nullptr : __libc_realloc(old, size);
}

__attribute__((visibility("default"))) void* memalign(std::size_t alignment, std::size_t size) {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}

}  // extern "C"
