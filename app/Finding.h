// One thing that `vurl doctor` has looked at, in words for the user. A value: no thread of its own.
#pragma once

#include <string>

namespace vurl {

struct Finding {
  enum class Mark {
    fine,
    note,  ///< cannot be told, or is as the user may want it
    change ///< should change before a shoot
  };

  std::string topic; ///< what was looked at, as a word for programs
  Mark mark = Mark::fine;
  std::string text;   ///< what was found: whole sentences
  std::string advice; ///< what to do; empty for nothing
};

} // namespace vurl
