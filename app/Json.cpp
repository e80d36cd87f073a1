#include "app/Json.h"

#include <cstdio>

namespace vurl {

void printJson(const Json& json, JsonCharacters characters) {
  const bool is_ascii = characters == JsonCharacters::ascii;
  std::printf("%s\n", json.dump(2, ' ', is_ascii, Json::error_handler_t::replace).c_str());
}

} // namespace vurl
