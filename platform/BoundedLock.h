/// \file
/// BoundedLock is what an ExclusiveFileLock may offer beside: to be waited for no longer than a
/// given time.
#pragma once

#include <chrono>

#include "plist/Result.h"

namespace accountsettings {

/// \copydoc BoundedLock.h
class BoundedLock {
 public:
  virtual ~BoundedLock() = default;

  /// Holds the lock where it is free or becomes so within `limit`; 0 tries once. False where
  /// somebody else held it all the time. Fails as ExclusiveFileLock::acquire().
  [[nodiscard]] virtual Result<bool> acquireWithin(std::chrono::milliseconds limit) = 0;
};

}  // namespace accountsettings
