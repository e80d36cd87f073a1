#include "tests/support/RealTimeGuard.h"

#include <sys/syscall.h>

#include <dlfcn.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

/// Ends the program when the calling thread is guarded.
static void forbid(const char* call) noexcept {
  if (!vurl::is_guarded) return;
  vurl::is_guarded = false;
  for (const char* part : {"not allowed on the I/O thread: ", call, "\n"})
    syscall(SYS_write, STDERR_FILENO, part, std::strlen(part));
  std::abort();
}

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) { return forbid("malloc"), __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return forbid("calloc"), __libc_calloc(count, size); }
void* realloc(void* block, size_t size) { return forbid("realloc"), __libc_realloc(block, size); }
void free(void* block) { forbid("free"), __libc_free(block); }
void* aligned_alloc(size_t boundary, size_t size) { return forbid("aligned_alloc"), __libc_memalign(boundary, size); }

/// Not under its own name, whose declaration is noexcept: libjack cancels its threads while they wait in here, and the
/// unwinding has to pass.
int lockMutex(pthread_mutex_t* mutex) asm("pthread_mutex_lock");
int lockMutex(pthread_mutex_t* mutex) {
  forbid("pthread_mutex_lock");
  static const auto next = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  return next(mutex);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return forbid("write"), syscall(SYS_write, descriptor, bytes, size);
}

void syslog(int priority, const char* format, ...) {
  forbid("syslog");
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

} // extern "C"

#endif
