// Finds the device that a user means by a name or a part of one.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// The index of the one name in `names` that is `wanted`, or else the only one that contains it, whatever the case.
/// When there is none, or more than one, returns nothing and puts a sentence for the user into `reason`.
std::optional<size_t> findDevice(const std::vector<std::string>& names, const std::string& wanted, std::string& reason);

} // namespace vurl
