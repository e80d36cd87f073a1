// XML documents from outside, read strictly with libxml2 and asked by XPath 1.0. What is not well-formed XML 1.0 in
// UTF-8 is refused whole. Reading stays within the text that was given: no network, no files, no external entities; and
// within bounds: 4 MiB of text, those of platform/XmlTree.h, and libxml2's own for nesting (256 elements) and for
// entities within entities.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace vurl {

/// A document that was read, or one without any node. Never changes, so any thread may ask it, one at a time.
class XmlDocument {
public:
  /// A document without nodes.
  XmlDocument();
  ~XmlDocument();
  XmlDocument(XmlDocument&&) noexcept;
  XmlDocument& operator=(XmlDocument&&) noexcept;

  /// Reads `text`; an encoding that its prologue claims makes no difference. On failure returns nothing and puts the
  /// parser's words, with the line, into `reason`. Prints nothing.
  static std::optional<XmlDocument> parse(const std::string& text, std::string& reason);

  /// The string value of the first element, in document order, that `xpath` selects from the document node. Nothing
  /// when it selects none or another kind of node first, is no expression for nodes, takes more steps than any honest
  /// document needs, or when entities make the value longer than 4 MiB.
  std::optional<std::string> firstValue(const std::string& xpath) const;

private:
  struct Parsed;
  std::unique_ptr<Parsed> parsed;
};

} // namespace vurl
