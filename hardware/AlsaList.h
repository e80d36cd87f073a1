// Which ALSA devices there are to choose from: the cards of this computer, and the PCMs that the user's own ALSA
// configuration marks to be shown with `hint.show on`. Thread: main. AlsaHardware publishes them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vurl {

/// A device by its names; what it can do is not known yet.
struct AlsaName {
  std::string name;     ///< for people
  std::string capture;  ///< PCM; empty when there is none
  std::string playback; ///< PCM; empty when there is none
  bool operator==(const AlsaName&) const = default;
};

/// The cards, each with its first PCM that captures and its first that plays. Looks at a few files, so it may be asked
/// often.
std::vector<AlsaName> alsaCards();

/// The PCMs marked in the user's configuration; a file with errors is told, and gives none.
std::vector<AlsaName> markedAlsaPcms();

/// PCMs listed with commas between them, spaces around the names not counted.
std::vector<AlsaName> listedAlsaPcms(std::string_view list);

/// The program that holds the PCM of a card open, as "NAME (process NUMBER)"; empty when the system does not tell.
/// `pcm` as in AlsaName; `folder` is where the system's lists of the cards begin.
std::string alsaOwner(const std::string& pcm, bool captures, const std::string& folder = "/proc/asound");

} // namespace vurl
