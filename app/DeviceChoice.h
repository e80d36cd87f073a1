// Finds the device, or the like, that a user means by a name or a part of one. Any thread but the I/O thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// The index of the one name in `names` that is `wanted`, or else the only one that contains it, whatever the case.
/// When there is none, or more than one, returns nothing and puts a sentence for the user into `reason`, in which
/// `kind` says what it is.
std::optional<size_t> findByName(const std::vector<std::string>& names, const std::string& wanted, const char* kind,
                                 std::string& reason);

} // namespace vurl
