/// Counts the threads that a program starts: loaded before its libraries, it adds a byte to the file that
/// TRQ_THREADS names for each. No part of any product: threads_test.py preloads it.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*begin)(void*), void* argument) {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const Create create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (const char* path = std::getenv("TRQ_THREADS")) {
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file >= 0) {
      if (write(file, "t", 1) != 1) std::abort();
      close(file);
    }
  }
  return create(thread, attributes, begin, argument);
}
