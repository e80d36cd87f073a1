// Makes the texts of a take fit the fixed space that a file's header has for them. Stateless, any thread. Who uses it:
// the header writers, BWFUtils first.
#pragma once

#include "metadata/MetaData.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vurl {

/// What stands before the iXML document in a header, and counts against the space for it.
constexpr const char* kIXMLPrologue = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

/// Nothing when the document iXMLForFile(file) has `room` bytes or fewer. Otherwise a copy of `meta_data`, for the
/// header only, in which the user's texts are shortened between two characters until the document fits, the longest
/// always first; one log line names them. File names stay. Should the document be too long without any of those texts,
/// the copy has none of them and is too long still.
std::optional<MetaData> headerFitting(const MetaData& meta_data, int32_t file, size_t room);

} // namespace vurl
