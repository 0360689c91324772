// LockWaiting is how commands wait for the migration lock: for a bounded time, and not in silence.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "staging/HeldMigrationLock.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Options.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// The option --wait.
struct LockOption {
  std::optional<int> given;
  int otherwise = 60;

  void describe(OptionSet& options);
  [[nodiscard]] std::chrono::seconds limit() const {
    return std::chrono::seconds(given.value_or(otherwise));
  }
};

// Says that the wait begins, and who holds the lock. Both must outlive what is answered.
[[nodiscard]] std::function<void()> tellWaiting(const Output& output, OpenedRoot& device);
// To be thrown where another process held the lock all the time.
[[nodiscard]] Prevented lockHeldFailure(OpenedRoot& device, const LockOption& option);

// Takes the lock. Throws Prevented where it cannot be had.
[[nodiscard]] HeldMigrationLock takeMigrationLock(const Output& output, OpenedRoot& device,
                                                  const LockOption& option);
// Waits until no migration is under way; where it cannot be told, there is none.
void waitForMigration(const Output& output, OpenedRoot& device, const LockOption& option);

}  // namespace accountsettings
