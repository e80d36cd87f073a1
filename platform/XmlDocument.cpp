#include "platform/XmlDocument.h"

#include "platform/Text.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <string_view>
#include <utility>

namespace vurl {
namespace {

constexpr size_t kLargestText = size_t{4} * 1024 * 1024;
constexpr unsigned long kMostSteps = 5'000'000; ///< nodes that one query may look at

using Tree = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;
using ParserContext = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;
using PathContext = std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)>;
using PathResult = std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)>;

void keepSilent(void* /*context*/, xmlError* /*error*/) {}

std::string parserReason(const xmlParserCtxt* context) {
  const xmlError& error = context->lastError;
  if (error.message == nullptr) return "it is no XML document";
  const std::string_view message = error.message; // its further lines tell of bytes
  return text("line %i: %@", error.line, message.substr(0, message.find('\n')));
}

/// Appends the text under `node` to `value`, that of internal entities included. False once more than `budget` bytes
/// and nodes have come together: entities can make a short document as long as they like.
bool appendText(const xmlNode* node, std::string& value, size_t& budget) {
  for (; node != nullptr; node = node->next) {
    const bool is_text = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    const std::string_view content =
        is_text && node->content != nullptr ? reinterpret_cast<const char*>(node->content) : "";
    if (content.size() >= budget) return false;
    budget -= content.size() + 1;
    value += content;
    const bool holds_text = node->type == XML_ELEMENT_NODE || node->type == XML_ENTITY_REF_NODE;
    const xmlNode* children = holds_text ? node->children : nullptr;
    if (node->type == XML_ENTITY_REF_NODE && children != nullptr) children = children->children; // the entity's own
    if (!appendText(children, value, budget)) return false;
  }
  return true;
}

} // namespace

struct XmlDocument::Parsed {
  Tree tree;
};

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&&) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&&) noexcept = default;

std::optional<XmlDocument> XmlDocument::parse(const std::string& text, std::string& reason) {
  const ParserContext context(xmlNewParserCtxt(), &xmlFreeParserCtxt);
  if (context == nullptr || text.size() > kLargestText) {
    reason = context == nullptr ? "there is no memory" : "it is too large";
    return std::nullopt;
  }
  // References to entities stay in the tree, so that none outside of it is ever loaded; firstValue() expands them.
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
  Tree tree(xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", kOptions),
            &xmlFreeDoc);
  if (tree == nullptr) {
    reason = parserReason(context.get());
    return std::nullopt;
  }
  XmlDocument document;
  document.parsed = std::make_unique<Parsed>(Parsed{std::move(tree)});
  return document;
}

std::optional<std::string> XmlDocument::firstValue(const std::string& xpath) const {
  if (parsed == nullptr) return std::nullopt;
  const PathContext context(xmlXPathNewContext(parsed->tree.get()), &xmlXPathFreeContext);
  if (context == nullptr) return std::nullopt;
  context->error = keepSilent;
  context->opLimit = kMostSteps;
  context->node = reinterpret_cast<xmlNode*>(parsed->tree.get());
  const PathResult result(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), context.get()),
                          &xmlXPathFreeObject);
  if (result == nullptr || result->type != XPATH_NODESET || xmlXPathNodeSetIsEmpty(result->nodesetval)) {
    return std::nullopt;
  }
  const xmlNode* const first = xmlXPathNodeSetItem(result->nodesetval, 0);
  if (first->type != XML_ELEMENT_NODE) return std::nullopt;
  std::string value;
  size_t budget = kLargestText;
  return appendText(first->children, value, budget) ? std::optional(value) : std::nullopt;
}

} // namespace vurl
