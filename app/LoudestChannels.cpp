#include "app/LoudestChannels.h"

#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace vurl {

void LoudestChannels::setPeak(float peak_db, uint32_t channel) {
  channels[channel].peak = std::max(channels[channel].peak, peak_db);
}

std::string LoudestChannels::takeText() {
  std::array<size_t, 64> order{};
  std::iota(order.begin(), order.end(), size_t{0});
  const auto weight = [this](size_t i) { return channels[i].peak + (channels[i].is_listed ? kAdvantage : 0); };
  auto* const end = order.begin() + kShown;
  std::partial_sort(order.begin(), end, order.end(), [&](size_t a, size_t b) { return weight(a) > weight(b); });
  std::sort(order.begin(), end);
  for (Channel& channel : channels) channel.is_listed = false;
  std::string list;
  for (const size_t* i = order.begin(); i != end; ++i) {
    Channel& channel = channels[*i];
    channel.is_listed = channel.peak > kSilence;
    const float shown = std::round(std::min(channel.peak, 99.0F)) + 0.0F; // no "-0"
    if (channel.is_listed) list += text("%2u %3.0f  ", *i + 1, shown);
  }
  forgetPeaks();
  return list.empty() ? "silence" : list.substr(0, list.size() - 1) + "dBFS";
}

void LoudestChannels::forgetPeaks() {
  for (Channel& channel : channels) channel.peak = -std::numeric_limits<float>::infinity();
}

} // namespace vurl
