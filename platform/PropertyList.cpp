#include "platform/PropertyList.h"

#include "platform/Log.h"
#include "platform/XmlTree.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>

namespace vurl {
namespace {

constexpr size_t kLargestFile = size_t{64} * 1024 * 1024;

bool isNamed(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

const xmlNode* nextElement(const xmlNode* node) {
  while (node != nullptr && node->type != XML_ELEMENT_NODE) node = node->next;
  return node;
}

std::string content(const xmlNode* node) {
  const std::unique_ptr<xmlChar, decltype(xmlFree)> raw(xmlNodeGetContent(node), xmlFree);
  return raw == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(raw.get()));
}

template <typename Number>
std::optional<Number> parseNumber(const std::string& digits) {
  Number number{};
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<SettingValue> parseValue(const xmlNode* node) {
  if (isNamed(node, "string")) return content(node);
  if (isNamed(node, "true")) return true;
  if (isNamed(node, "false")) return false;
  if (isNamed(node, "integer")) return parseNumber<int64_t>(content(node));
  if (isNamed(node, "real")) return parseNumber<double>(content(node));
  return std::nullopt;
}

std::optional<SettingMap> parseDictionary(const xmlNode* dictionary, std::string& reason) {
  SettingMap values;
  for (const xmlNode* node = nextElement(dictionary->children); node != nullptr; node = nextElement(node->next)) {
    if (!isNamed(node, "key")) {
      reason = text("line %i: a key is missing", xmlGetLineNo(node));
      return std::nullopt;
    }
    const std::string key = content(node);
    const xmlNode* const value_node = nextElement(node->next);
    if (value_node == nullptr || isNamed(value_node, "key")) {
      reason = text("line %i: the key \"%@\" has no value", xmlGetLineNo(node), key);
      return std::nullopt;
    }
    if (const auto value = parseValue(value_node)) {
      values[key] = *value;
    } else {
      log("The setting \"%@\" is left out: a value of this kind cannot be kept.", key);
    }
    node = value_node;
  }
  return values;
}

bool isXmlCharacter(std::string_view code_point) {
  const auto first = static_cast<unsigned char>(code_point[0]);
  if (code_point.size() == 1)
    return (first >= 0x20 && first < 0x7F) || first == '\t' || first == '\n' || first == '\r' || first == 0x7F;
  const auto second = static_cast<unsigned char>(code_point[1]);
  const bool surrogate = first == 0xED && second >= 0xA0;
  const bool too_long = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool beyond = first == 0xF4 && second >= 0x90;
  const bool not_a_character = code_point == "\xEF\xBF\xBE" || code_point == "\xEF\xBF\xBF";
  return !surrogate && !too_long && !beyond && !not_a_character;
}

std::string escaped(std::string_view string) {
  std::string result;
  while (!string.empty()) {
    const std::string_view code_point = firstCodePoints(string, 1);
    string.remove_prefix(code_point.size());
    if (code_point == "&") {
      result += "&amp;";
    } else if (code_point == "<") {
      result += "&lt;";
    } else if (code_point == ">") {
      result += "&gt;";
    } else if (code_point == "\r") {
      result += "&#13;";
    } else {
      result += isXmlCharacter(code_point) ? code_point : "\xEF\xBF\xBD";
    }
  }
  return result;
}

std::string realText(double value) {
  if (!std::isfinite(value)) return "0";
  char digits[64];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
  return error == std::errc() ? std::string(digits, end) : "0";
}

struct ValueWriter {
  std::string operator()(bool value) const { return value ? "<true/>" : "<false/>"; }
  std::string operator()(int64_t value) const { return "<integer>" + std::to_string(value) + "</integer>"; }
  std::string operator()(double value) const { return "<real>" + realText(value) + "</real>"; }
  std::string operator()(const std::string& value) const { return "<string>" + escaped(value) + "</string>"; }
};

} // namespace

std::optional<SettingMap> parsePropertyList(const std::string& document, std::string& reason) {
  if (document.size() > kLargestFile) {
    reason = "it is too large";
    return std::nullopt;
  }
  const XmlTree parsed = readXmlTree(document, nullptr, XML_PARSE_NOCDATA, reason);
  if (parsed == nullptr) return std::nullopt;
  const xmlNode* const root = xmlDocGetRootElement(parsed.get());
  const xmlNode* const dictionary = root != nullptr && isNamed(root, "plist") ? nextElement(root->children) : nullptr;
  if (dictionary == nullptr || !isNamed(dictionary, "dict")) {
    reason = "it is no property list";
    return std::nullopt;
  }
  return parseDictionary(dictionary, reason);
}

std::string writePropertyList(const SettingMap& values) {
  std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
  for (const auto& [key, value] : values) {
    document += "\t<key>" + escaped(key) + "</key>\n\t" + std::visit(ValueWriter(), value) + "\n";
  }
  return document + "</dict>\n</plist>\n";
}

std::optional<std::string> readWholeFile(const std::string& path, std::string& reason, int& error_number) {
  const auto failed = [&](int number) {
    error_number = number;
    reason = systemError(number);
    return std::nullopt;
  };
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return failed(errno);
  std::string bytes;
  char block[65536];
  ssize_t count = 0;
  while (bytes.size() <= kLargestFile && (count = read(descriptor, block, sizeof block)) > 0) {
    bytes.append(block, static_cast<size_t>(count));
  }
  const int read_error = errno;
  close(descriptor);
  if (count < 0) return failed(read_error);
  if (bytes.size() > kLargestFile) return failed(EFBIG);
  return bytes;
}

} // namespace vurl
