// Preloaded into a program, this library times every cycle of its JACK client by the clock of the cycle's own thread,
// so that the program measured is the one that is installed. It appends to the file VURL_CYCLE_CLOCK: when the first
// cycle ended (nanoseconds of CLOCK_MONOTONIC, 64 bits), how many cycles there were (64 bits), and the nanoseconds of
// each (32 bits).
#include <jack/jack.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr size_t kMostCycles = 4'000'000; // an hour and more at 64 frames; cycles beyond go unmeasured

struct Cycles {
  JackProcessCallback callback = nullptr;
  void* argument = nullptr;
  uint64_t first_end = 0;
  uint64_t count = 0; ///< written by the I/O thread; read when the program ends
  std::array<uint32_t, kMostCycles> durations;
};
Cycles cycles; // of zeros, so that it takes memory only as it fills

uint64_t now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
}

int timed(jack_nframes_t nr_frames, void*) {
  const uint64_t begin = now(CLOCK_THREAD_CPUTIME_ID);
  const int result = cycles.callback(nr_frames, cycles.argument);
  const uint64_t end = now(CLOCK_THREAD_CPUTIME_ID);
  if (cycles.first_end == 0) cycles.first_end = now(CLOCK_MONOTONIC);
  if (cycles.count < kMostCycles)
    cycles.durations[cycles.count++] = static_cast<uint32_t>(std::min<uint64_t>(end - begin, UINT32_MAX));
  return result;
}

/// At the end of the program.
struct Writer {
  ~Writer() {
    const char* const path = std::getenv("VURL_CYCLE_CLOCK");
    FILE* const file = path == nullptr || cycles.count == 0 ? nullptr : std::fopen(path, "ab");
    if (file == nullptr) return;
    std::fwrite(&cycles.first_end, sizeof cycles.first_end, 1, file);
    std::fwrite(&cycles.count, sizeof cycles.count, 1, file);
    std::fwrite(cycles.durations.data(), sizeof(uint32_t), cycles.count, file);
    std::fclose(file);
  }
} writer;

} // namespace

extern "C" int jack_set_process_callback(jack_client_t* client, JackProcessCallback callback, void* argument) {
  using Setter = int (*)(jack_client_t*, JackProcessCallback, void*);
  static const auto real = reinterpret_cast<Setter>(dlsym(RTLD_NEXT, "jack_set_process_callback"));
  cycles.callback = callback;
  cycles.argument = argument;
  return real(client, timed, argument);
}
