// JSON as the terminal program prints it. Main thread.
#pragma once

#include <nlohmann/json.hpp>

namespace vurl {

using Json = nlohmann::ordered_json; ///< keys stand in the order in which they were set

enum class JsonCharacters { all, ascii }; ///< what stands as it is; ASCII keeps every control character escaped

/// Prints `json` on standard output, indented by two, with a line's end behind. Broken UTF-8 becomes U+FFFD.
void printJson(const Json& json, JsonCharacters characters = JsonCharacters::all);

} // namespace vurl
