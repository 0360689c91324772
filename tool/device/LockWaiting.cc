// The wait for the migration lock, and what is said of it.
#include "tool/device/LockWaiting.h"

#include <cerrno>
#include <string>
#include <utility>

#include "host/LinuxFiles.h"
#include "store/AccountsManager.h"
#include "tool/frame/KnownPresence.h"

namespace accountsettings {

namespace {

std::string heldBy(OpenedRoot& device) {
  const auto holder = device.lockHolder();
  return "held by " + (holder ? inWords(*holder) : "another process");
}

Result<HeldMigrationLock> take(const Output& output, OpenedRoot& device, const LockOption& option) {
  return HeldMigrationLock::take(device.host(), device.host().platform(),
                                 {option.limit(), tellWaiting(output, device)});
}

}  // namespace

void LockOption::describe(OptionSet& options) {
  options.number("--wait", given, 0, 86400, "SECONDS", std::to_string(otherwise),
                 "How long to wait for the migration lock; 0 refuses at once");
}

std::function<void()> tellWaiting(const Output& output, OpenedRoot& device) {
  return [&] { output.note("waiting for the lock, " + heldBy(device)); };
}

Prevented lockHeldFailure(OpenedRoot& device, const LockOption& option) {
  std::string why = "the migration lock is " + heldBy(device);
  if (const auto seconds = option.seconds().count(); seconds > 0) {
    why +=
        ", and was for all of " + counted(static_cast<std::size_t>(seconds), "second", "seconds");
  }
  return {device.shown(std::string(kAccountMigrationLockFilename)), why,
          "nothing was changed; try again when it has ended, or wait longer with --wait"};
}

HeldMigrationLock takeMigrationLock(const Output& output, OpenedRoot& device,
                                    const LockOption& option) {
  Result<HeldMigrationLock> lock = take(output, device, option);
  if (lock) return std::move(lock).value();
  if (lock.error().code == ETIMEDOUT) throw lockHeldFailure(device, option);
  throw device.lockFailure();
}

void waitForMigration(const Output& output, OpenedRoot& device, const LockOption& option) {
  // Reading creates nothing, so only a lock file that is there already is waited for.
  if (!isThere(device.files(), std::string(kAccountMigrationLockFilename))) return;
  const Result<HeldMigrationLock> lock = take(output, device, option);
  if (!lock && lock.error().code == ETIMEDOUT) throw lockHeldFailure(device, option);
}

}  // namespace accountsettings
