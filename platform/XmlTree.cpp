#include "platform/XmlTree.h"

#include "platform/Text.h"

#include <libxml/parser.h>

#include <algorithm>
#include <string_view>

namespace vurl {
namespace {

// Where honest texts stay far below, and the parser's time stays in proportion to a text's length. It compares each
// attribute of a tag with all others, and repeats a name or a comment with each complaint about what stands in it.
constexpr size_t kMostAttributes = 256;
constexpr size_t kMostHyphens = 16;

using ParserContext = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;

void keepSilent(void* /*context*/, xmlError* /*error*/) {}

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

size_t occurrences(std::string_view text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

/// No tag has more attributes than "=" with a quote behind stand between two "<", however broken the text is.
bool hasTooManyAttributes(std::string_view text) {
  size_t count = 0;
  char before = 0; ///< the last character that is no blank
  for (const char c : text) {
    if (c == '<') count = 0;
    if ((c == '"' || c == '\'') && before == '=' && ++count > kMostAttributes) return true;
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') before = c;
  }
  return false;
}

/// A comment is well-formed with no pair of hyphens in it. What begins like one within other markup counts as well.
bool hasTooManyHyphens(std::string_view text) {
  for (size_t begin = text.find("<!--"); begin != std::string_view::npos; begin = text.find("<!--", begin)) {
    begin += 4;
    const size_t end = std::min(text.find("-->", begin), text.size());
    if (occurrences(text.substr(begin, end - begin), "--") > kMostHyphens) return true;
    begin = end;
  }
  return false;
}

const char* excessOf(std::string_view text) {
  if (hasTooManyAttributes(text)) return "a tag has too many attributes";
  if (hasTooManyHyphens(text)) return "a comment is full of hyphens";
  // At each element the parser goes through all that the document type gives to it, each against the others.
  if (has(text, "<!ATTLIST")) return "it declares attributes";
  if (has(text, "<!ENTITY") && has(text, "&#")) return "its entities may hide markup";
  return nullptr;
}

std::string parserReason(const xmlParserCtxt* context) {
  const xmlError& error = context->lastError;
  if (error.message == nullptr) return "it is no XML document";
  const std::string_view message = error.message; // its further lines tell of bytes
  return text("line %i: %@", error.line, message.substr(0, message.find('\n')));
}

} // namespace

XmlTree readXmlTree(const std::string& text, const char* encoding, int options, std::string& reason) {
  const bool is_own = (options & XML_PARSE_HUGE) != 0;
  const char* const excess = is_own ? nullptr : excessOf(text);
  const ParserContext context(excess == nullptr ? xmlNewParserCtxt() : nullptr, &xmlFreeParserCtxt);
  if (context == nullptr) {
    reason = excess == nullptr ? "there is no memory" : excess;
    return {nullptr, &xmlFreeDoc};
  }
  context->sax->serror = keepSilent; // of what document types say wrong it would speak otherwise
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  XmlTree tree(xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()), nullptr, encoding,
                                 options | kOptions),
               &xmlFreeDoc);
  if (tree == nullptr) reason = parserReason(context.get());
  return tree;
}

} // namespace vurl
