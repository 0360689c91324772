// Tests of the lock that keeps migrations apart.
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

class MigrationLock : public testing::MigrationTest {};

TEST_F(MigrationLock, IsHeldFromCreationUntilRelease) {
  auto lock = AccountsManager::createAndLockMigrationLock();
  ASSERT_TRUE(lock);
  EXPECT_TRUE(fake.locks.isHeld(kLock));
  AccountsManager::releaseMigrationLock(std::move(lock));
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(MigrationLock, WaitsForTheProcessThatHoldsIt) {
  fake.locks.holdElsewhere(kLock);
  bool waited = false;
  fake.locks.whenBlocked = [&](std::string_view name) {
    waited = true;
    fake.locks.releaseElsewhere(name);
  };
  const auto lock = AccountsManager::createAndLockMigrationLock();
  EXPECT_TRUE(lock);
  EXPECT_TRUE(waited);
}

TEST_F(MigrationLock, IsNoneWhereItCannotBeCreatedOrAcquired) {
  fake.faults.failAt("locks.create");
  EXPECT_FALSE(AccountsManager::createAndLockMigrationLock());
  fake.faults.failAt("locks.acquire");
  EXPECT_FALSE(AccountsManager::createAndLockMigrationLock());
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  const std::string reason = testing::failure(kLock, EIO).message;
  expectLog({"Could not create the migration lock: " + reason,
             "Could not acquire the migration lock: " + reason});
}

TEST_F(MigrationLock, ReleasingNoneDoesNothing) {
  AccountsManager::releaseMigrationLock(nullptr);
  EXPECT_EQ(fake.faults.count("locks.release"), 0U);
}

TEST_F(MigrationLock, WaitingForAMigrationTakesTheLockAndLeavesItFree) {
  fake.locks.holdElsewhere(kLock);
  fake.locks.whenBlocked = [&](std::string_view name) { fake.locks.releaseElsewhere(name); };
  AccountsManager::waitForMigrationToFinish();
  EXPECT_EQ(fake.locks.acquired(kLock), 1);
  EXPECT_EQ(fake.locks.blocked(kLock), 1);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(MigrationLock, IsNamedAfterItsFile) {
  EXPECT_EQ("/tmp/" + std::string(kLock), kAccountMigrationLockFilename);
}

}  // namespace
}  // namespace accountsettings
