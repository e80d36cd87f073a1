#include "platform/XmlDocument.h"

#include "platform/XmlTree.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <string_view>
#include <utility>

namespace vurl {
namespace {

constexpr size_t kLargestText = size_t{4} * 1024 * 1024;
constexpr unsigned long kMostSteps = 5'000'000; ///< nodes that one query may look at

using PathContext = std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)>;
using PathResult = std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)>;

void keepSilent(void* /*context*/, xmlError* /*error*/) {}

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

/// An expression ".//ELEMENT/BELOW" of names and numbers alone. Where the document has one such element, and most
/// have, it is the same as "BELOW" from there, and needs no search through the document for each of many values.
struct Descent {
  std::string element;
  std::string below;
};

std::optional<Descent> descentOf(const std::string& xpath) {
  constexpr std::string_view kAnywhere = ".//";
  constexpr const char* kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_";
  const size_t slash = xpath.find('/', kAnywhere.size());
  if (!xpath.starts_with(kAnywhere) || slash == std::string::npos) return std::nullopt;
  Descent descent{xpath.substr(kAnywhere.size(), slash - kAnywhere.size()), xpath.substr(slash + 1)};
  const bool is_plain = !descent.element.empty() && descent.element.find_first_not_of(kLetters) == std::string::npos &&
                        descent.below.find_first_not_of(std::string(kLetters) + "0123456789[]/") == std::string::npos;
  const bool descends = !descent.below.starts_with('/') && descent.below.find("//") == std::string::npos;
  return is_plain && descends ? std::optional(std::move(descent)) : std::nullopt;
}

} // namespace

struct XmlDocument::Parsed {
  explicit Parsed(XmlTree read_tree) : tree(std::move(read_tree)) {}

  PathResult evaluate(const std::string& xpath, xmlNode* from);
  std::optional<std::string> firstValue(const std::string& xpath, xmlNode* from);
  xmlNode* documentNode() const { return reinterpret_cast<xmlNode*>(tree.get()); }
  xmlNode* onlyElement(const std::string& element);

  const XmlTree tree;

private:
  PathContext context{nullptr, &xmlXPathFreeContext}; ///< of all queries: it costs more than most of them
  std::string sought;                                 ///< the element that was last looked for
  xmlNode* found = nullptr;                           ///< it, where the document has one alone
};

PathResult XmlDocument::Parsed::evaluate(const std::string& xpath, xmlNode* from) {
  if (context == nullptr) context.reset(xmlXPathNewContext(tree.get()));
  if (context == nullptr) return {nullptr, &xmlXPathFreeObject};
  context->error = keepSilent;
  context->opLimit = kMostSteps;
  context->opCount = 0;
  context->node = from;
  return {xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), context.get()), &xmlXPathFreeObject};
}

std::optional<std::string> XmlDocument::Parsed::firstValue(const std::string& xpath, xmlNode* from) {
  const PathResult result = evaluate(xpath, from);
  if (result == nullptr || result->type != XPATH_NODESET || xmlXPathNodeSetIsEmpty(result->nodesetval)) {
    return std::nullopt;
  }
  const xmlNode* const first = xmlXPathNodeSetItem(result->nodesetval, 0);
  if (first->type != XML_ELEMENT_NODE) return std::nullopt;
  std::string value;
  size_t budget = kLargestText;
  return appendText(first->children, value, budget) ? std::optional(value) : std::nullopt;
}

xmlNode* XmlDocument::Parsed::onlyElement(const std::string& element) {
  if (sought == element) return found;
  const PathResult result = evaluate(".//" + element, documentNode());
  const bool is_one =
      result != nullptr && result->type == XPATH_NODESET && xmlXPathNodeSetGetLength(result->nodesetval) == 1;
  found = is_one ? xmlXPathNodeSetItem(result->nodesetval, 0) : nullptr;
  sought = element;
  return found;
}

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&&) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&&) noexcept = default;

std::optional<XmlDocument> XmlDocument::parse(const std::string& text, std::string& reason) {
  if (text.size() > kLargestText) {
    reason = "it is too large";
    return std::nullopt;
  }
  // References to entities stay in the tree, so that none outside of it is ever loaded; firstValue() expands them.
  XmlTree tree = readXmlTree(text, "UTF-8", XML_PARSE_NOCDATA, reason);
  if (tree == nullptr) return std::nullopt;
  XmlDocument document;
  document.parsed = std::make_unique<Parsed>(std::move(tree));
  return document;
}

std::optional<std::string> XmlDocument::firstValue(const std::string& xpath) const {
  if (parsed == nullptr) return std::nullopt;
  const auto path = descentOf(xpath);
  xmlNode* const only = path ? parsed->onlyElement(path->element) : nullptr;
  if (only != nullptr) return parsed->firstValue(path->below, only);
  return parsed->firstValue(xpath, parsed->documentNode());
}

} // namespace vurl
