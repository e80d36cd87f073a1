// The sound report for people: "soundreport.html", made of the "soundreport.xml" beside it and of what the history
// knows beyond (the names of the other files and tracks). One page that needs nothing beside it. Any thread; rendering
// thousands of takes takes seconds.
#pragma once

#include "app/TakeList.h"

#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// The full path of the XML report in `folder`, and of the page.
std::string soundReportXML(const std::string& folder);
std::string soundReportPage(const std::string& folder);

/// Renders the report in `folder`, a full path, and returns the path of the page; nothing, with a `reason`, when there
/// is no report or it cannot be rendered.
std::optional<std::string> renderSoundReport(const std::string& folder, const std::vector<TakePointer>& takes,
                                             std::string& reason);

/// The report in `xml` as well-formed XML that the stylesheet reads: each take's document, put right where the user's
/// texts have broken it, with the state that it was found in and what `takes` add to it.
std::string soundReportInput(const std::string& xml, const std::vector<TakePointer>& takes);

} // namespace vurl
