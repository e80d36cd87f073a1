// An XSLT 1.0 stylesheet, run with libxslt. It reads what it is given and nothing else: no other file, no network, and
// it writes nothing. Prints nothing; reasons come back in words.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace vurl {

class StyleSheet {
public:
  /// The stylesheet in `text`; nothing, with a `reason`, when it is none.
  static std::optional<StyleSheet> parse(const std::string& text, std::string& reason);

  ~StyleSheet();
  StyleSheet(StyleSheet&&) noexcept;
  StyleSheet& operator=(StyleSheet&&) noexcept;

  /// What the stylesheet makes of `document`, which is well-formed XML, with texts for its parameters. Nothing, with a
  /// `reason`, when it fails. Any thread, one at a time.
  std::optional<std::string> apply(const std::string& document, const std::map<std::string, std::string>& parameters,
                                   std::string& reason) const;

private:
  struct Parsed;
  explicit StyleSheet(std::unique_ptr<Parsed> parsed);

  std::unique_ptr<Parsed> sheet;
};

/// What can be kept of a `document` that is not well-formed: the elements up to its faults and what the parser finds
/// behind them, as well-formed XML without a prologue. Empty when there is nothing. Any thread.
std::string recoveredXML(const std::string& document);

} // namespace vurl
