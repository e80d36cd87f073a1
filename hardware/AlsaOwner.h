// Who holds a PCM of a card, for the line that tells why it cannot be had. Thread: main.
#pragma once

#include <string>

namespace vurl {

/// The program that holds the PCM of a card open, as "NAME (process NUMBER)"; empty when the system does not tell.
/// `pcm` as in AlsaName; `system` is where the system's lists of cards and processes lie.
std::string alsaOwner(const std::string& pcm, bool captures, const std::string& system = "/proc");

} // namespace vurl
