// The iXML document in the header of a take that was cut off, taken as text: it may be damaged. Stateless, any thread
// but the I/O thread. Who uses it: CutHeader.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vurl {

/// The FrameRate code. The document names most rates; of those that it has no name for, one stands in the description.
uint32_t frameRateOf(std::string_view document);

/// The reference that all files of the take share; empty when there is none.
std::string takeReferenceOf(std::string_view document);

/// Fills in the take's length, in frames and as timecode. `document` keeps its length by giving or taking blanks at the
/// end. Returns false when an element is missing, or the blanks are too few.
bool tellDuration(std::string& document, int64_t nr_frames, const std::string& duration);

/// The document of a header that came to disk in part, so that it ends elsewhere than its chunk of `size` bytes: what
/// there is of the text, and blanks behind for at least these bytes. `area` is all that it may take, from its prologue
/// on; its length stays even, as long as there is room.
std::string mendedDocument(std::string_view area, size_t size);

} // namespace vurl
