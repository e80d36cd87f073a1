#include "platform/StyleSheet.h"

#include "platform/XmlTree.h"

#include <libxml/parser.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/variables.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

#include <mutex>
#include <utility>

namespace vurl {
namespace {

using Transform = std::unique_ptr<xsltTransformContext, decltype(&xsltFreeTransformContext)>;
using Security = std::unique_ptr<xsltSecurityPrefs, decltype(&xsltFreeSecurityPrefs)>;

/// Takes what libxslt has to say to the terminal.
void keepSilent(void* /*context*/, const char* /*format*/, ...) {}

/// For what libxslt says about no stylesheet in particular.
void silenceLibrary() {
  static std::once_flag done;
  std::call_once(done, [] { xsltSetGenericErrorFunc(nullptr, keepSilent); });
}

/// Everything that a stylesheet could reach out with is forbidden.
Security noAccess() {
  Security security(xsltNewSecurityPrefs(), &xsltFreeSecurityPrefs);
  for (const auto option : {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
                            XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
    if (security != nullptr) xsltSetSecurityPrefs(security.get(), option, xsltSecurityForbid);
  }
  return security;
}

std::string serialized(xmlDoc* result, xsltStylesheet* sheet) {
  xmlChar* bytes = nullptr;
  int size = 0;
  if (xsltSaveResultToString(&bytes, &size, result, sheet) != 0 || bytes == nullptr) return "";
  const std::unique_ptr<xmlChar, decltype(xmlFree)> owner(bytes, xmlFree);
  return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(size)};
}

} // namespace

struct StyleSheet::Parsed {
  ~Parsed() { xsltFreeStylesheet(sheet); }
  xsltStylesheet* sheet = nullptr;
};

StyleSheet::StyleSheet(std::unique_ptr<Parsed> parsed) : sheet(std::move(parsed)) {}
StyleSheet::~StyleSheet() = default;
StyleSheet::StyleSheet(StyleSheet&&) noexcept = default;
StyleSheet& StyleSheet::operator=(StyleSheet&&) noexcept = default;

std::optional<StyleSheet> StyleSheet::parse(const std::string& text, std::string& reason) {
  silenceLibrary();
  XmlTree tree = readXmlTree(text, "UTF-8", 0, reason);
  if (tree == nullptr) {
    reason = "the stylesheet is no XML document";
    return std::nullopt;
  }
  auto parsed = std::make_unique<Parsed>();
  parsed->sheet = xsltParseStylesheetDoc(tree.get());
  if (parsed->sheet == nullptr) {
    reason = "it is no stylesheet";
    return std::nullopt;
  }
  static_cast<void>(tree.release()); // the stylesheet's from now on
  return StyleSheet(std::move(parsed));
}

std::optional<std::string> StyleSheet::apply(const std::string& document,
                                             const std::map<std::string, std::string>& parameters,
                                             std::string& reason) const {
  // The caller's own reports are beyond the parser's usual limits; no document type stands in them that could grow.
  const XmlTree tree = readXmlTree(document, "UTF-8", XML_PARSE_HUGE | XML_PARSE_COMPACT, reason);
  if (tree == nullptr) {
    reason = "the document is not well-formed";
    return std::nullopt;
  }
  const Security security = noAccess();
  const Transform context(xsltNewTransformContext(sheet->sheet, tree.get()), &xsltFreeTransformContext);
  if (security == nullptr || context == nullptr || xsltSetCtxtSecurityPrefs(security.get(), context.get()) != 0) {
    reason = "the stylesheet cannot be run";
    return std::nullopt;
  }
  xsltSetTransformErrorFunc(context.get(), nullptr, keepSilent);
  for (const auto& [name, value] : parameters) {
    xsltQuoteOneUserParam(context.get(), reinterpret_cast<const xmlChar*>(name.c_str()),
                          reinterpret_cast<const xmlChar*>(value.c_str()));
  }
  const XmlTree result(xsltApplyStylesheetUser(sheet->sheet, tree.get(), nullptr, nullptr, nullptr, context.get()),
                       &xmlFreeDoc);
  if (result == nullptr || context->state != XSLT_STATE_OK) {
    reason = "the stylesheet fails on it";
    return std::nullopt;
  }
  return serialized(result.get(), sheet->sheet);
}

std::string recoveredXML(const std::string& document) {
  std::string reason;
  const XmlTree tree = readXmlTree(document, "UTF-8", XML_PARSE_RECOVER, reason);
  xmlNode* const root = tree == nullptr ? nullptr : xmlDocGetRootElement(tree.get());
  if (root == nullptr) return "";
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), &xmlBufferFree);
  if (buffer == nullptr || xmlNodeDump(buffer.get(), tree.get(), root, 0, 0) < 0) return "";
  return reinterpret_cast<const char*>(xmlBufferContent(buffer.get()));
}

} // namespace vurl
