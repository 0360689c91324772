// HeldMigrationLock is the migration lock, held from its making to its end.
#pragma once

#include <memory>

#include "platform/ExclusiveFileLock.h"
#include "plist/Result.h"

namespace accountsettings {

class LinuxHost;

class HeldMigrationLock {
 public:
  // Blocks until the lock is free. Fails where it cannot be had.
  [[nodiscard]] static Result<HeldMigrationLock> take(LinuxHost& host);
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
