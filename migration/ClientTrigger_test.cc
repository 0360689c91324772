// Tests of the migration that an ordinary process runs for itself.
#include "platform/AssertionFailure.h"
#include "platform/MigratorBase.h"
#include "testing/MigrationTest.h"

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry);

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using testing::dataclass;

constexpr const char* kBundle = "/plugins/Ferrant.migrator";
constexpr const char* kFailed =
    "[+[AccountsManager _migrateAccountsIfNeeded]] Accounts migration failed";
constexpr const char* kOutdated =
    "Account Settings Version out of date: savedVersion=11, currentVersion=12";
constexpr const char* kNeeded =
    "Accounts settings needs migration! oldMailAccountsPresent=0, oldDAAccountsPresent=0, "
    "migrateNewAccountsInfo=1";

// A migrator that does what a test tells it.
class ScriptedMigrator : public MigratorBase {
 public:
  explicit ScriptedMigrator(std::function<bool()> execute) : execute_(std::move(execute)) {}
  std::string dataClassName() const override { return "accounts"; }
  bool performMigration() override {
    ADD_FAILURE() << "would wait for the lock that this process holds";
    return false;
  }
  bool executeMigrationSteps() override { return execute_(); }

 private:
  std::function<bool()> execute_;
};

class ScriptedMigratorClass : public ClassObject, public MigratorClass {
 public:
  explicit ScriptedMigratorClass(std::function<bool()> execute) : execute_(std::move(execute)) {}
  std::unique_ptr<MigratorBase> makeMigrator() override {
    return std::make_unique<ScriptedMigrator>(execute_);
  }

 private:
  std::function<bool()> execute_;
};

class ClientTrigger : public testing::MigrationTest {
 protected:
  ClientTrigger() { fake.modules.putBundle(kBundle, &accountsettings_register_classes); }

  void putScriptedBundle(std::function<bool()> execute) {
    fake.modules.putBundle(kBundle, [execute](ClassRegistry& registry) {
      registry.registerClass("AccountsDataMigrator",
                             std::make_shared<ScriptedMigratorClass>(execute));
    });
  }
};

TEST_F(ClientTrigger, OutdatedSettingsAreUpgradedThroughThePlugIn) {
  putSettings(11, {});
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_THAT(fake.modules.bundleLoads, ElementsAre(kBundle));
  EXPECT_EQ(fake.locks.acquired(kLock), 1);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  // Once before the lock, once under it, and once by the migration itself.
  EXPECT_EQ(fake.log.count(kNeeded), 3U);
}

TEST_F(ClientTrigger, NothingIsLoadedAndNoLockTakenWhereNothingIsNeeded) {
  putSettings(12, {});
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_THAT(fake.modules.bundleLoads, IsEmpty());
  EXPECT_EQ(fake.faults.count("locks.create"), 0U);
}

TEST_F(ClientTrigger, ItIsTriedOnceInAProcessEvenIfTheFirstAttemptFails) {
  putSettings(11, {});
  fake.faults.failAt("locks.create");
  AccountsManager::_migrateAccountsIfNeeded();
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_EQ(savedVersion(), PropertyList(11));
  EXPECT_EQ(fake.faults.count("locks.create"), 1U);
}

TEST_F(ClientTrigger, AnAttemptThatFoundNothingToDoIsNotRepeatedEither) {
  AccountsManager::_migrateAccountsIfNeeded();
  putSettings(11, {});
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_EQ(savedVersion(), PropertyList(11));
}

TEST_F(ClientTrigger, WhatAnotherProcessMigratedMeanwhileIsLeftAlone) {
  putSettings(11, {});
  fake.locks.holdElsewhere(kLock);
  fake.locks.whenBlocked = [&](std::string_view name) {
    putSettings(12, {});
    fake.locks.releaseElsewhere(name);
  };
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_THAT(fake.modules.bundleLoads, IsEmpty());
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  EXPECT_EQ(fake.log.count(kNeeded), 1U);
}

TEST_F(ClientTrigger, AConversionOfLegacyFilesStartsFromNoSettings) {
  putSettings(12, {Dictionary{{"Type", "CalDAV"}, {"Class", "C"}, {"Identifier", "lost"}}});
  fake.files.putPropertyList(
      kLegacyMail, Dictionary{{"MailAccounts", Array{Dictionary{{"AccountType", "POPAccount"},
                                                                {"uniqueId", "pop"}}}}});
  AccountsManager::_migrateAccountsIfNeeded();
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->accountWithIdentifier("lost"), nullptr);
  ASSERT_NE(store->accountWithIdentifier("pop"), nullptr);
  // Without settings every version step ran: an active POP account carries mail.
  EXPECT_TRUE(store->accountWithIdentifier("pop")->isEnabledForDataclass(dataclass("Mail")));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
}

TEST_F(ClientTrigger, OnlyOutdatedSettingsAreKeptForTheUpgrade) {
  putSettings(11, {Dictionary{{"Type", "CalDAV"}, {"Class", "C"}, {"Identifier", "kept"}}});
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_NE(AccountsManager::init()->accountWithIdentifier("kept"), nullptr);
}

TEST_F(ClientTrigger, SettingsAreGoneEvenIfTheBundleCannotBeLoaded) {
  putSettings(12, {});
  fake.files.putPropertyList(kLegacyExchange, Dictionary());
  fake.modules.fail(kBundle, "no such bundle");
  fake.processes.add(9, "dataaccessd", testing::ExitsUpon::Notification);
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_FALSE(fake.files.has(kSettings));
  EXPECT_TRUE(fake.files.has(kLegacyExchange));
  EXPECT_TRUE(fake.processes.isRunning(9));
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  EXPECT_TRUE(fake.log.contains("Could not load the migration plug-in: no such bundle"));
  EXPECT_EQ(fake.log.count(kFailed), 0U);
}

TEST_F(ClientTrigger, TheSettingsCopyIsLostWithTheSettings) {
  putSettings(12, {});
  fake.files.put(kSettingsCopy, "of an earlier migration");
  fake.files.putPropertyList(kLegacyExchange, Dictionary());
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_FALSE(fake.files.has(kSettingsCopy));
  EXPECT_TRUE(fake.log.contains("Error trying to save an accountsettings plist copy: "));
}

TEST_F(ClientTrigger, ABundleWithoutTheClassIsAFailedMigration) {
  putSettings(11, {});
  fake.modules.putBundle(kBundle, [](ClassRegistry&) {});
  AccountsManager::_migrateAccountsIfNeeded();
  expectLog({kOutdated, kNeeded, kOutdated, kNeeded, kFailed});
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(ClientTrigger, TheDaemonIsStoppedUnderTheLockBeforeTheStepsRun) {
  putSettings(11, {});
  fake.processes.add(9, "dataaccessd", testing::ExitsUpon::Notification);
  bool ran = false;
  putScriptedBundle([&] {
    ran = true;
    EXPECT_TRUE(fake.locks.isHeld(kLock));
    EXPECT_FALSE(fake.processes.isRunning(9));
    return true;
  });
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_TRUE(ran);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  EXPECT_EQ(fake.log.count(kFailed), 0U);
}

TEST_F(ClientTrigger, AFailedMigrationIsMentioned) {
  putSettings(11, {});
  putScriptedBundle([] { return false; });
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_EQ(fake.log.count(kFailed), 1U);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(ClientTrigger, TheLockIsReleasedWhenAnAssertionFailurePasses) {
  putSettings(11, {});
  putScriptedBundle([]() -> bool { throw AssertionFailure("broken", "method", "source"); });
  EXPECT_THROW(AccountsManager::_migrateAccountsIfNeeded(), AssertionFailure);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

}  // namespace
}  // namespace accountsettings
