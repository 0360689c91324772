// How the lock is taken, and how its file goes where nothing was written.
#include "staging/HeldMigrationLock.h"

#include <cerrno>
#include <string>
#include <utility>

#include "host/LinuxFiles.h"
#include "host/LinuxHost.h"
#include "store/AccountsManager.h"

namespace accountsettings {

HeldMigrationLock::HeldMigrationLock(LinuxHost& host, bool fileWasThere)
    : host_(&host), fileWasThere_(fileWasThere) {}

Result<HeldMigrationLock> HeldMigrationLock::take(LinuxHost& host) {
  const std::string path(kAccountMigrationLockFilename);
  const Result<FileAttributes> there = host.files().attributes(path);
  HeldMigrationLock held(host, there.ok() || there.error().code != ENOENT);
  auto created = host.platform().locks.create(path.substr(path.rfind('/') + 1));
  if (!created) return created.error();
  std::unique_ptr<ExclusiveFileLock> lock = std::move(created).value();
  if (const Status acquired = lock->acquire(); !acquired) return acquired.error();
  held.lock_ = std::move(lock);
  return held;
}

HeldMigrationLock::~HeldMigrationLock() {
  if (!lock_) return;
  // While it is held: whoever waits for it sees that its file is not the lock's any more.
  if (!fileWasThere_) (void)host_->files().remove(std::string(kAccountMigrationLockFilename));
  lock_->release();
}

}  // namespace accountsettings
