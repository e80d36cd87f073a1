#include "hardware/AlsaLog.h"

#include "platform/Log.h"

#include <alsa/asoundlib.h>

#include <cstdarg>
#include <cstdio>

namespace vurl {
namespace {

thread_local bool may_log = false;

void logLibrary(const char*, int, const char* function, int, const char* format, ...) {
  if (!may_log) return;
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  log("ALSA: %@: %@", function, line);
}

} // namespace

void logAlsaLibrary() { snd_lib_error_set_handler(logLibrary); }

void allowAlsaLogHere() { may_log = true; }

} // namespace vurl
