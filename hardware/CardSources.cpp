#include "hardware/CardSources.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

namespace vurl {
namespace {

/// Names that drivers give to such controls, the most telling first, in small letters. One that begins with a blank is
/// the end of longer names, which begin with a connector's or a unit's.
constexpr std::array<std::string_view, 9> kDataNames = {
    "capture source",          "input source",    "pcm capture source", "capture route", "iec958 input connector",
    "digital input connector", "input connector", " capture source",    " input source"};
constexpr std::array<std::string_view, 11> kClockNames = {"clock source",
                                                          "sample clock source",
                                                          "clock mode",
                                                          "system clock mode",
                                                          "sync source",
                                                          "sync mode",
                                                          "clock selector",
                                                          "internal clock",
                                                          "multi track internal clock",
                                                          " clock source",
                                                          "preferred sync reference"};

/// Where the name stands among `names`, their number when it does not.
size_t rank(const std::string& name, const auto& names) {
  std::string small = name;
  std::ranges::transform(small, small.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  const auto fits = [&](std::string_view known) {
    return known.starts_with(' ') ? std::string_view(small).ends_with(known) : small == known;
  };
  return static_cast<size_t>(std::ranges::find_if(names, fits) - names.begin());
}

/// Of several, one that can be set, of the best name, and of the given number among its equals.
std::optional<CardControl> choose(const std::vector<CardControl>& all, const auto& names, uint32_t index) {
  const auto order = [&](const CardControl& control) {
    return std::tuple(!control.is_settable, rank(control.name, names), control.index != index, control.index);
  };
  std::vector<CardControl> candidates;
  std::ranges::copy_if(all, std::back_inserter(candidates), [&](const CardControl& control) {
    return !control.items.empty() && rank(control.name, names) < names.size();
  });
  const auto best = std::ranges::min_element(candidates, {}, order);
  return best == candidates.end() ? std::nullopt : std::optional(std::move(*best));
}

/// Sources count from 1, in the order of the items.
std::vector<SourceDescription> sources(const CardControl& control) {
  std::vector<SourceDescription> result;
  for (const auto& item : control.items) result.push_back({static_cast<uint32_t>(result.size() + 1), item});
  return result;
}

} // namespace

CardSources::CardSources(std::unique_ptr<CardControls> card_controls, RunLoop& run_loop, std::optional<uint32_t> number,
                         std::function<void()> on_change)
    : controls(std::move(card_controls)), nth_capture(number), changed(std::move(on_change)) {
  if (!controls) return;
  read();
  watch = run_loop.watch(controls->descriptor(), [this] { hear(); });
}

bool CardSources::wants(const std::string& name) {
  return rank(name, kDataNames) < kDataNames.size() || rank(name, kClockNames) < kClockNames.size();
}

void CardSources::read() {
  const auto all = controls->read();
  data = nth_capture ? choose(all, kDataNames, *nth_capture) : std::nullopt;
  clock = choose(all, kClockNames, 0);
}

// A card that is gone tells so without end. What it offered stays until its device is taken out.
void CardSources::hear() {
  switch (controls->takeNews()) {
  case CardControls::News::none: return;
  case CardControls::News::gone: watch.reset(); return;
  case CardControls::News::changed: read(); changed();
  }
}

void CardSources::describe(DeviceDescription& description) const {
  if (data) description.data_sources = sources(*data);
  if (data) description.data_source = data->item + 1;
  if (clock) description.clock_sources = sources(*clock);
  if (clock) description.clock_source = clock->item + 1;
}

bool CardSources::set(const std::optional<CardControl>& control, uint32_t id) {
  if (!control || !control->is_settable || id < 1 || id > control->items.size()) return false;
  const bool is_set = controls->set(control->number, id - 1);
  read();
  return is_set;
}

bool CardSources::setDataSource(uint32_t id) { return set(data, id); }

bool CardSources::setClockSource(uint32_t id) { return set(clock, id); }

} // namespace vurl
