// MigrationLock keeps two migrations apart, and lets other processes wait until a migration is
// over. The lock is the whole exclusion: everything between taking and releasing it belongs to one
// process on the device.
#include <utility>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

std::unique_ptr<ExclusiveFileLock> AccountsManager::createAndLockMigrationLock() {
  // The name of the lock; its file is kAccountMigrationLockFilename.
  auto created = ProcessContext::current().platform().locks.create("AccountMigrationInProgress");
  if (!created) {
    systemLog("Could not create the migration lock: %@", created.error());
    return nullptr;
  }
  std::unique_ptr<ExclusiveFileLock> lock = std::move(created).value();
  if (const Status acquired = lock->acquire(); !acquired) {
    systemLog("Could not acquire the migration lock: %@", acquired.error());
    return nullptr;
  }
  return lock;
}

void AccountsManager::releaseMigrationLock(std::unique_ptr<ExclusiveFileLock> lock) {
  if (lock) lock->release();
}

void AccountsManager::waitForMigrationToFinish() {
  releaseMigrationLock(createAndLockMigrationLock());
}

}  // namespace accountsettings
