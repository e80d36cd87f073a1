#include "tests/support/RealTimeGuard.h"

#include <sys/syscall.h>

#include <dlfcn.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace vurl {
namespace {

thread_local int guarded = 0;

/// Ends the program when the calling thread is guarded.
[[maybe_unused]] void forbid(const char* call) noexcept {
  if (guarded == 0) return;
  guarded = 0;
  for (const char* part : {"not allowed on the I/O thread: ", call, "\n"})
    syscall(SYS_write, STDERR_FILENO, part, std::strlen(part));
  std::abort();
}

/// The function that stands behind the interposed one. Only for those that dlsym() itself does not call.
template <typename Function>
Function next(const char* name) noexcept {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

RealTimeSection::RealTimeSection() noexcept { guarded++; }
RealTimeSection::~RealTimeSection() { guarded--; }

} // namespace vurl

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
  vurl::forbid("malloc");
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  vurl::forbid("calloc");
  return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
  vurl::forbid("realloc");
  return __libc_realloc(block, size);
}

void free(void* block) {
  vurl::forbid("free");
  __libc_free(block);
}

void* aligned_alloc(size_t alignment, size_t size) {
  vurl::forbid("aligned_alloc");
  return __libc_memalign(alignment, size);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  vurl::forbid("pthread_mutex_lock");
  static const auto lock = vurl::next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  return lock(mutex);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  vurl::forbid("write");
  static const auto next_write = vurl::next<ssize_t (*)(int, const void*, size_t)>("write");
  return next_write(descriptor, bytes, size);
}

void syslog(int priority, const char* format, ...) {
  vurl::forbid("syslog");
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

} // extern "C"

#endif
