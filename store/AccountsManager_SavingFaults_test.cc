// Tests of saves that fail or are cut short at any call: the settings file is the old one or the
// new one, whole, and nothing else stays behind.
#include <memory>
#include <string>
#include <vector>

#include "store/AccountsManager.h"
#include "store/ShortCuts.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;

constexpr const char* kFailed = "Failed to save accounts to filesystem.";

class AccountsManagerSavingFaults : public testing::StoreTest {
 protected:
  // A store of the old file with a change to save; tells the bytes of the old and the new file.
  void begin() {
    store = loaded({account("A", {{"k", 1}}), account("B")}, 11);
    oldBytes = *fake.files.bytes(kSettings);
    store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
    takeLog();
    fake.faults.forgetCalls();
  }
  AccountsManagerSavingFaults() {
    begin();
    store->saveAllAccounts();
    newBytes = *fake.files.bytes(kSettings);
    calls = static_cast<int>(fake.faults.operations("files.").size());
    begin();
  }
  void expectOldFile() {
    EXPECT_EQ(*fake.files.bytes(kSettings), oldBytes);
    EXPECT_THAT(fake.files.temporaryFilesLeft(), IsEmpty());
    EXPECT_EQ(fake.files.openFiles(), 0);
    const Account account = store->accountWithIdentifier("A");
    EXPECT_EQ(*account->properties().find("k"), PropertyList(2));
    EXPECT_EQ(*account->originalProperties().find("k"), PropertyList(1));
  }
  void expectNewFile() {
    EXPECT_EQ(*fake.files.bytes(kSettings), newBytes);
    EXPECT_THAT(fake.files.temporaryFilesLeft(), IsEmpty());
    EXPECT_EQ(fake.files.openFiles(), 0);
  }

  std::unique_ptr<AccountsManager> store;
  Bytes oldBytes;
  Bytes newBytes;
  // How many calls a save makes.
  int calls = 0;
};

TEST_F(AccountsManagerSavingFaults, CallsComeInThisOrder) {
  store->saveAllAccounts();
  EXPECT_THAT(fake.faults.operations("files."),
              ElementsAre("files.read", "files.makeTemporary", "files.write", "files.setOwner",
                          "files.flushAndClose", "files.rename", "files.flushDirectoryOf"));
  expectNewFile();
}

TEST_F(AccountsManagerSavingFaults, FileThatCannotBeReadAgainIsNotReplaced) {
  fake.faults.failAt("files.read");
  store->saveAllAccounts();
  EXPECT_THAT(takeLog(), ElementsAre(::testing::HasSubstr("could not be read again"), kFailed));
  expectOldFile();
}

TEST_F(AccountsManagerSavingFaults, NoTemporaryFile) {
  fake.faults.failAt("files.makeTemporary");
  store->saveAllAccounts();
  expectLog({kFailed});
  expectOldFile();
  // There is nothing to remove.
  EXPECT_EQ(fake.faults.count("files.remove"), 0U);
}

TEST_F(AccountsManagerSavingFaults, FailedWrite) {
  fake.faults.failAt("files.write", 1, ENOSPC);
  store->saveAllAccounts();
  expectLog({kFailed});
  expectOldFile();
}

TEST_F(AccountsManagerSavingFaults, TheSaveAfterAFailedOneMergesWithWhatTheFileHolds) {
  for (const bool shortCuts : {true, false}) {
    takeShortCuts(shortCuts);
    begin();
    fake.faults.failAt("files.rename");
    store->saveAllAccounts();
    expectOldFile();
    // What was known of the file is gone with the save; a foreign edit and this store's own count.
    putSettings({account("A", {{"k", 1}, {"foreign", true}}), account("B")}, 11);
    takeLog();
    store->saveAllAccounts();
    EXPECT_TRUE(store->lastSave().saved());
    expectLog({});
    const auto saved = AccountsManager::initInsideOfMigration();
    const Account account = saved->accountWithIdentifier("A");
    EXPECT_EQ(account->properties().values().integer("k"), 2);
    EXPECT_TRUE(account->properties().values().boolean("foreign"));
    EXPECT_EQ(saved->count(), 2U);
  }
}

TEST_F(AccountsManagerSavingFaults, OwnerThatCannotBeSetIsNamedFirst) {
  fake.faults.failAt("files.setOwner", 1, EPERM);
  store->saveAllAccounts();
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(
      lines[0].starts_with("Could not set attributes on the temporary account settings plist. "));
  EXPECT_GT(
      lines[0].size(),
      std::string("Could not set attributes on the temporary account settings plist. ").size());
  EXPECT_EQ(lines[1], kFailed);
  expectOldFile();
}

TEST_F(AccountsManagerSavingFaults, UnknownOwnerFailsTheSave) {
  fake.files.accounts.erase("mobile");
  store->saveAllAccounts();
  EXPECT_THAT(log(), ElementsAre(::testing::HasSubstr("mobile"), kFailed));
  expectOldFile();
}

TEST_F(AccountsManagerSavingFaults, FailedFlushIsAFailedWrite) {
  fake.faults.failAt("files.flushAndClose");
  store->saveAllAccounts();
  expectLog({kFailed});
  expectOldFile();
}

TEST_F(AccountsManagerSavingFaults, FailedRenameIsNotMadeGoodByACopy) {
  fake.faults.failAt("files.rename", 1, EXDEV);
  store->saveAllAccounts();
  expectLog({kFailed});
  expectOldFile();
  EXPECT_EQ(fake.faults.count("files.rename"), 1U);
  EXPECT_EQ(fake.faults.count("files.copy"), 0U);
}

TEST_F(AccountsManagerSavingFaults, MissingDirectoryIsNotMade) {
  fake.files.erase("/var/mobile/Library/Preferences");
  store->saveAllAccounts();
  expectLog({kFailed});
  EXPECT_FALSE(fake.files.has("/var/mobile/Library/Preferences"));
}

TEST_F(AccountsManagerSavingFaults, FailedFlushOfTheDirectoryIsLoggedAndTheSaveCounts) {
  fake.faults.failAt("files.flushDirectoryOf");
  store->saveAllAccounts();
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("Could not flush the directory of the account settings. "));
  expectNewFile();
  EXPECT_EQ(*store->accountWithIdentifier("A")->originalProperties().find("k"), PropertyList(2));
}

TEST_F(AccountsManagerSavingFaults, TemporaryFileThatCannotBeRemovedIsNoFurtherFailure) {
  fake.faults.failAt("files.rename");
  fake.faults.failAt("files.remove");
  store->saveAllAccounts();
  expectLog({kFailed});
  EXPECT_EQ(*fake.files.bytes(kSettings), oldBytes);
}

TEST_F(AccountsManagerSavingFaults, SettingsAreInTheConfiguredTemporaryDirectoryFirst) {
  fake.files.temporaryDirectory = "/tmp";
  std::string made;
  fake.faults.doAt("files.rename", 1, [&] {
    const Strings inTmp = fake.files.paths("/tmp/");
    if (inTmp.size() == 1) made = inTmp[0];
  });
  store->saveAllAccounts();
  EXPECT_NE(made, "");
  expectNewFile();
}

TEST_F(AccountsManagerSavingFaults, EveryFailingCallLeavesTheOldFileOrTheNewOne) {
  int saves = 0;
  int failures = 0;
  for (int nth = 1; nth <= calls; ++nth) {
    SCOPED_TRACE("call " + std::to_string(nth));
    begin();
    fake.faults.failNth(nth, "files.");
    store->saveAllAccounts();
    fake.faults.clear();
    if (fake.log.contains(kFailed)) {
      ++failures;
      expectOldFile();
      // The same store saves at the next try.
      store->saveAllAccounts();
    } else {
      ++saves;
    }
    expectNewFile();
  }
  // A directory that cannot be flushed does not stop a save.
  EXPECT_EQ(failures, 6);
  EXPECT_EQ(saves, 1);
}

TEST_F(AccountsManagerSavingFaults, EveryPowerCutLeavesTheOldFileOrTheNewOne) {
  int cuts = 0;
  for (const testing::CrashOutcome& outcome : testing::allCrashOutcomes()) {
    for (int nth = 1;; ++nth) {
      SCOPED_TRACE("call " + std::to_string(nth));
      ASSERT_LT(nth, 100);
      fake.files.erase("/var/mobile/Library/Preferences");
      fake.files.putDirectory("/var/mobile/Library/Preferences");
      begin();
      fake.faults.cutPowerNth(nth, "files.");
      bool cut = false;
      try {
        store->saveAllAccounts();
      } catch (const testing::PowerCut&) {
        cut = true;
      }
      fake.files.crash(outcome);
      EXPECT_THAT(*fake.files.bytes(kSettings), AnyOf(Eq(oldBytes), Eq(newBytes)));
      if (!cut) {
        // A save that has come to its end stays, whatever happens then.
        EXPECT_EQ(*fake.files.bytes(kSettings), newBytes);
        break;
      }
      ++cuts;
      const auto again = AccountsManager::init();
      EXPECT_THAT(listed(*again), ElementsAre("A", "B"));
    }
  }
  EXPECT_EQ(cuts, calls * static_cast<int>(testing::allCrashOutcomes().size()));
}

}  // namespace
}  // namespace accountsettings
