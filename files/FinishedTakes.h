// Who keeps the takes that ended well.
#pragma once

#include "metadata/MetaData.h"

#include <memory>

namespace vurl {

class FinishedTakes {
public:
  virtual ~FinishedTakes() = default;

  /// A take is complete on disk. Thread: processing.
  virtual void addMetaData(const std::shared_ptr<const MetaData>& meta_data) = 0;
};

} // namespace vurl
