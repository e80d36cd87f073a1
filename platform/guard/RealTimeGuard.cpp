#include "platform/guard/RealTimeGuard.h"

#include <sys/prctl.h>
#include <sys/syscall.h>

#include <dlfcn.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace vurl {
namespace {

#ifndef PR_SET_SYSCALL_USER_DISPATCH
#define PR_SET_SYSCALL_USER_DISPATCH 59
#define PR_SYS_DISPATCH_ON 1
#endif

/// What the kernel looks at before each system call of the thread.
enum Passage : char { kPasses = 0, kIsStopped = 1 };

thread_local bool is_guarded = false;
thread_local volatile Passage passage = kPasses;

[[noreturn]] void end(const char* call) noexcept {
  is_guarded = false;
  passage = kPasses;
  for (const char* part : {"not allowed on the I/O thread: ", call, "\n"})
    syscall(SYS_write, STDERR_FILENO, part, std::strlen(part));
  std::abort();
}

/// Ends the program when the calling thread is guarded.
[[maybe_unused]] void forbid(const char* call) noexcept {
  if (is_guarded) end(call);
}

/// Prints without the library, which this may have interrupted anywhere.
void endAtSystemCall(int, siginfo_t* info, void*) {
  passage = kPasses;
  std::array<char, 32> call{"system call "};
  const size_t begin = std::strlen(call.data());
  size_t at = begin;
  for (int rest = info->si_syscall; rest > 0 || at == begin; rest /= 10)
    call[at++] = static_cast<char>('0' + rest % 10);
  std::reverse(call.data() + begin, call.data() + at);
  end(call.data());
}

/// Makes the kernel ask `passage` before each system call of this thread, as long as the thread lives.
bool stopSystemCalls() noexcept {
  struct sigaction action {};
  action.sa_sigaction = endAtSystemCall;
  action.sa_flags = SA_SIGINFO;
  return sigaction(SIGSYS, &action, nullptr) == 0 &&
         prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0L, 0L, &passage) == 0;
}

} // namespace

RealTimeGuard::RealTimeGuard() noexcept : stood_before(is_guarded) {
  if (!kRealTimeGuardWorks || stood_before) return;
  if (catchesSystemCalls()) passage = kIsStopped;
  is_guarded = true;
}

RealTimeGuard::~RealTimeGuard() {
  if (!kRealTimeGuardWorks || stood_before) return;
  is_guarded = false;
  passage = kPasses;
}

bool RealTimeGuard::catchesSystemCalls() noexcept {
  static thread_local const bool does = kRealTimeGuardWorks && stopSystemCalls();
  return does;
}

} // namespace vurl

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

using vurl::forbid;

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the library's own names for what this file stands before
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
void* __libc_memalign(size_t alignment, size_t size);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(size_t size) { return forbid("malloc"), __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return forbid("calloc"), __libc_calloc(count, size); }
void* realloc(void* block, size_t size) { return forbid("realloc"), __libc_realloc(block, size); }
void free(void* block) { forbid("free"), __libc_free(block); }
void* aligned_alloc(size_t boundary, size_t size) { return forbid("aligned_alloc"), __libc_memalign(boundary, size); }
void* memalign(size_t boundary, size_t size) { return forbid("memalign"), __libc_memalign(boundary, size); }

int posix_memalign(void** block, size_t boundary, size_t size) {
  forbid("posix_memalign");
  *block = __libc_memalign(boundary, size);
  return *block == nullptr ? ENOMEM : 0;
}

/// Not under its own name, whose declaration is noexcept: libjack cancels its threads while they wait in here, and the
/// unwinding has to pass.
int lockMutex(pthread_mutex_t* mutex) asm("pthread_mutex_lock");
int lockMutex(pthread_mutex_t* mutex) {
  forbid("pthread_mutex_lock");
  static const auto next = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  return next(mutex);
}

int lockToRead(pthread_rwlock_t* lock) asm("pthread_rwlock_rdlock");
int lockToRead(pthread_rwlock_t* lock) {
  forbid("pthread_rwlock_rdlock");
  static const auto next = reinterpret_cast<int (*)(pthread_rwlock_t*)>(dlsym(RTLD_NEXT, "pthread_rwlock_rdlock"));
  return next(lock);
}

int lockToWrite(pthread_rwlock_t* lock) asm("pthread_rwlock_wrlock");
int lockToWrite(pthread_rwlock_t* lock) {
  forbid("pthread_rwlock_wrlock");
  static const auto next = reinterpret_cast<int (*)(pthread_rwlock_t*)>(dlsym(RTLD_NEXT, "pthread_rwlock_wrlock"));
  return next(lock);
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
