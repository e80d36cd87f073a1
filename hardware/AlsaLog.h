// What ALSA's library has to say goes to the log, from the threads that may wait for it.
#pragma once

namespace vurl {

/// Has the library's lines logged from now on, as far as they come from threads that allowed it.
void logAlsaLibrary();

/// Lets this thread's calls into the library log. Not for threads that run cycles.
void allowAlsaLogHere();

} // namespace vurl
