// How every XML text from outside is read: strictly, with libxml2, without a word on the terminal and without reaching
// for files or the network; and refused when the parser would take time or memory out of all proportion to its length.
// Any thread.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>

namespace vurl {

using XmlTree = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

/// Reads `text` with libxml2's parser `options` beside those of above. `encoding` is what it is in, whatever its
/// prologue claims; null takes the prologue's word, and nothing is refused of what is no ASCII there. With
/// XML_PARSE_HUGE among the options nothing is refused: for texts of this program's own. Null, with the parser's words
/// and the line in `reason`, for what is no XML.
XmlTree readXmlTree(const std::string& text, const char* encoding, int options, std::string& reason);

} // namespace vurl
