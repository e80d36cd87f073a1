// What users are told of takes that were cut off and completed. Stateless, any thread.
#pragma once

#include "files/Salvage.h"

#include <string>
#include <vector>

namespace vurl {

/// One sentence on how many takes were found, and how it went: "1 take was cut off and has been completed."
std::string salvageMessage(const std::vector<SalvagedTake>& takes);

/// One take: its first file without the folder, how many more there are, its length, what differs and what failed, for
/// example "12A_T3-f01.wav and 7 more files: 00:01:23:10 long".
std::string salvageLine(const SalvagedTake& take);

/// The lines of the first five takes and how many more there are, as sentences.
std::string salvageDetails(const std::vector<SalvagedTake>& takes);

} // namespace vurl
