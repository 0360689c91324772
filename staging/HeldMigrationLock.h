// HeldMigrationLock is the migration lock, held from its making to its end.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "platform/ExclusiveFileLock.h"
#include "plist/Result.h"

namespace accountsettings {

class LinuxHost;
struct Platform;

// How to wait for the lock.
struct LockWait {
  // None: until it is free. A lock that offers no bounded wait is waited for like that too.
  std::optional<std::chrono::milliseconds> limit;
  // Told where another holds it and the wait begins.
  std::function<void()> begins;
};

class HeldMigrationLock {
 public:
  // Takes it as the system does, its log lines included. Fails where it cannot be had; with
  // ETIMEDOUT where another held it for all of the time.
  [[nodiscard]] static Result<HeldMigrationLock> take(LinuxHost& host, const Platform& platform,
                                                      const LockWait& wait = {});
  ~HeldMigrationLock();
  HeldMigrationLock(HeldMigrationLock&&) noexcept = default;
  HeldMigrationLock& operator=(HeldMigrationLock&&) = delete;

  // To be told where something was written: the lock's file then stays, as the system leaves it.
  // Else one that was made for this lock goes with it.
  void keepFile() noexcept { fileWasThere_ = true; }

 private:
  HeldMigrationLock(LinuxHost& host, bool fileWasThere);

  LinuxHost* host_;
  bool fileWasThere_;
  std::unique_ptr<ExclusiveFileLock> lock_;
};

}  // namespace accountsettings
