// The texts of the next take as others than its fields write them: a script over the session bus, the command line.
// Thread: main.
#pragma once

#include "platform/UserDefaults.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vurl {

/// Texts by the keys of their settings: "project", "scene", "slate", "take", "roll", "note", "count", which is a whole
/// number in decimal, "contact_info", "session_note"; in any order.
using TakeTexts = std::vector<std::pair<std::string, std::string>>;

/// Whether `key` is one of them.
bool isTakeText(std::string_view key);

/// All of them, as the settings hold them.
TakeTexts takeTexts(const UserDefaults& defaults);

/// Why `texts`, which may come from anywhere, must not be stored, as a sentence that names the key; empty when nothing
/// speaks against it. A key that is none or comes twice, more than 1024 bytes, bytes that are no UTF-8, characters that
/// control rather than say something, a count that is no number from 0 to 1,000,000,000, and what would make names of
/// files too long. What is told of the texts is fit for a terminal, and short.
std::string takeTextsFault(const TakeTexts& texts, const UserDefaults& defaults);

/// Stores what takeTextsFault() has nothing against as if it had been typed into the fields: another scene or slate
/// may begin with take 1, which is what `scene_changed` does, unless `texts` say which take.
void storeTakeTexts(const TakeTexts& texts, UserDefaults& defaults, const std::function<void()>& scene_changed);

} // namespace vurl
