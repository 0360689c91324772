/// \file
/// ExclusiveFileLock is a named lock that at most one holder on the device has at a
/// time, processes and threads alike. Destroying it releases it.
#pragma once

#include <memory>
#include <string_view>

#include "plist/Result.h"

namespace accountsettings {

/// \copydoc ExclusiveFileLock.h
class ExclusiveFileLock {
 public:
  virtual ~ExclusiveFileLock() = default;

  /// Blocks until the lock is free and then holds it. Fails where the file cannot be opened or
  /// locked, or the wait was ended.
  virtual Status acquire() = 0;
  /// Frees the lock for the next waiter; harmless when it is not held.
  virtual void release() = 0;
};

/// Locks makes the locks, one object for each holder.
class Locks {
 public:
  virtual ~Locks() = default;

  /// A lock on the file "/tmp/" + name, not yet held; fails where it cannot be opened.
  [[nodiscard]] virtual Result<std::unique_ptr<ExclusiveFileLock>> create(
      std::string_view name) = 0;
};

}  // namespace accountsettings
