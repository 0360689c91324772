// The wait for the migration lock, and what is said of it.
#include "tool/device/LockWaiting.h"

#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include "host/LinuxFiles.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// Between two looks at a lock that is not taken.
constexpr std::chrono::milliseconds kPause(20);

std::string heldBy(OpenedRoot& device) {
  const auto holder = device.lockHolder();
  return "held by " + (holder ? inWords(*holder) : "another process");
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
  if (const auto seconds = option.limit().count(); seconds > 0) {
    why +=
        ", and was for all of " + counted(static_cast<std::size_t>(seconds), "second", "seconds");
  }
  return {device.shown(std::string(kAccountMigrationLockFilename)), why,
          "nothing was changed; try again when it has ended, or wait longer with --wait",
          FailureCode::Locked};
}

HeldMigrationLock takeMigrationLock(const Output& output, OpenedRoot& device,
                                    const LockOption& option) {
  Result<HeldMigrationLock> lock = HeldMigrationLock::take(
      device.host(), device.host().platform(), {option.limit(), tellWaiting(output, device)});
  if (lock) return std::move(lock).value();
  if (lock.error().code == ETIMEDOUT) throw lockHeldFailure(device, option);
  throw device.lockFailure(lock.error().message);
}

void waitForMigration(const Output& output, OpenedRoot& device, const LockOption& option) {
  // It is looked at and never taken: whoever reads would keep others from migrating.
  if (!device.lockHolder()) return;
  const auto end = std::chrono::steady_clock::now() + option.limit();
  if (option.limit() > std::chrono::seconds()) tellWaiting(output, device)();
  while (device.lockHolder()) {
    if (std::chrono::steady_clock::now() >= end) throw lockHeldFailure(device, option);
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace accountsettings
