// How the lock is taken and waited for, and how its file goes where nothing was written.
#include "staging/HeldMigrationLock.h"

#include <cerrno>
#include <string>
#include <utility>

#include "host/LinuxFiles.h"
#include "host/LinuxHost.h"
#include "platform/BoundedLock.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// What the wait comes to, kept beside the locks that wait.
struct Waiting {
  LockWait wait;
  std::optional<Error> failure;
};

// WaitingLock is a lock whose acquire() waits as it is told.
class WaitingLock : public ExclusiveFileLock {
 public:
  WaitingLock(std::unique_ptr<ExclusiveFileLock> lock, std::shared_ptr<Waiting> waiting)
      : lock_(std::move(lock)), waiting_(std::move(waiting)) {}

  Status acquire() override {
    Status acquired = waitFor();
    if (!acquired) waiting_->failure = acquired.error();
    return acquired;
  }
  void release() override { lock_->release(); }

 private:
  Status waitFor() {
    const LockWait& wait = waiting_->wait;
    auto* const bounded = dynamic_cast<BoundedLock*>(lock_.get());
    if (bounded == nullptr) return lock_->acquire();
    Result<bool> taken = bounded->acquireWithin({});
    if (taken && !*taken && wait.limit != std::chrono::milliseconds()) {
      if (wait.begins) wait.begins();
      if (!wait.limit) return lock_->acquire();
      taken = bounded->acquireWithin(*wait.limit);
    }
    if (!taken) return taken.error();
    return *taken ? Status() : Error{"another process holds it", ETIMEDOUT};
  }

  std::unique_ptr<ExclusiveFileLock> lock_;
  std::shared_ptr<Waiting> waiting_;
};

class WaitingLocks : public Locks {
 public:
  WaitingLocks(Locks& locks, const LockWait& wait)
      : locks_(locks), waiting_(std::make_shared<Waiting>(Waiting{wait, {}})) {}

  [[nodiscard]] Result<std::unique_ptr<ExclusiveFileLock>> create(std::string_view name) override {
    auto lock = locks_.create(name);
    if (!lock) {
      waiting_->failure = lock.error();
      return lock;
    }
    return std::unique_ptr<ExclusiveFileLock>(
        std::make_unique<WaitingLock>(std::move(*lock), waiting_));
  }
  // Why the last lock could not be had.
  [[nodiscard]] const Error& failure() const { return waiting_->failure.value(); }

 private:
  Locks& locks_;
  std::shared_ptr<Waiting> waiting_;
};

}  // namespace

HeldMigrationLock::HeldMigrationLock(LinuxHost& host, bool fileWasThere)
    : host_(&host), fileWasThere_(fileWasThere) {}

Result<HeldMigrationLock> HeldMigrationLock::take(LinuxHost& host, const Platform& platform,
                                                  const LockWait& wait) {
  const std::string path(kAccountMigrationLockFilename);
  const Result<FileAttributes> there = host.files().attributes(path);
  HeldMigrationLock held(host, there.ok() || there.error().code != ENOENT);
  WaitingLocks locks(platform.locks, wait);
  ProcessContext context(platformWith(platform, {.locks = &locks}));
  const ProcessContext::Override current(context);
  held.lock_ = AccountsManager::createAndLockMigrationLock();
  if (!held.lock_) return locks.failure();
  return held;
}

HeldMigrationLock::~HeldMigrationLock() {
  if (!lock_) return;
  // While it is held: whoever waits for it sees that its file is not the lock's any more.
  if (!fileWasThere_) (void)host_->files().remove(std::string(kAccountMigrationLockFilename));
  AccountsManager::releaseMigrationLock(std::move(lock_));
}

}  // namespace accountsettings
