// Tests of the watcher that tells a program of the edits of other processes.
#include "store/AccountsWatcher.h"

#include <cerrno>
#include <memory>
#include <string>

#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AccountsWatcherTest : public testing::StoreTest {
 protected:
  void start(StringList dataclasses = {}) {
    auto started = AccountsWatcher::start(
        [this](const Array& changes) {
          std::string text;
          for (const PropertyList& each : changes) {
            const Dictionary& change = *each.dictionary();
            text += std::to_string(change.find(kRSChangeAccountChangeTypeKey)->integerValue()) +
                    " " + std::string(*change.find(kRSChangeAccountIdentifierKey)->stringValue()) +
                    ", ";
          }
          calls.push_back(text);
          last = changes;
        },
        std::move(dataclasses));
    ASSERT_TRUE(started.ok()) << started.error().message;
    watcher = std::move(*started);
  }
  // Another process writes these accounts.
  void elsewhere(const Array& accounts) {
    putSettings(accounts);
    fake.fileWatches.announce(kSettings);
  }
  // A store of this process saves, which the platform announces too.
  void save(AccountsManager& store) {
    store.saveAllAccounts();
    fake.fileWatches.announce(kSettings);
  }
  void tell() { EXPECT_TRUE(watcher->tellChanges().ok()); }

  std::unique_ptr<AccountsWatcher> watcher;
  Strings calls;
  Array last;
};

TEST_F(AccountsWatcherTest, TellsWhatOthersAddedDeletedAndChanged) {
  putSettings({account("A"), account("B"), account("C")});
  start();
  elsewhere({account("B", {{"k", 1}}), account("C"), account("D")});
  tell();
  EXPECT_THAT(calls, ElementsAre("2 A, 0 D, 1 B, "));
  tell();
  EXPECT_EQ(calls.size(), 1U);
}

TEST_F(AccountsWatcherTest, TellsItInChangeRecords) {
  const Array mail{std::string(kAccountDataclassMail)};
  putSettings({account("A", {{"Enabled Dataclasses", mail}})});
  start();
  elsewhere({account("A", {{"Enabled Dataclasses", Array()}})});
  tell();
  EXPECT_EQ(last, (Array{Dictionary{{"ChangeType", 1},
                                    {"AccountID", "A"},
                                    {"AccountType", "CalDAV"},
                                    {"OriginalDataclasses", mail}}}));
}

TEST_F(AccountsWatcherTest, ManyEditsAreToldAsOne) {
  putSettings({account("A")});
  start();
  elsewhere({account("A", {{"k", 1}})});
  elsewhere({account("A", {{"k", 2}}), account("B")});
  elsewhere({account("A", {{"k", 3}})});
  tell();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsWatcherTest, AnEditThatIsTakenBackIsNotTold) {
  putSettings({account("A")});
  start();
  elsewhere({account("A", {{"k", 1}})});
  elsewhere({account("A")});
  tell();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(AccountsWatcherTest, WantsCertainDataclassesOnly) {
  const Array mail{std::string(kAccountDataclassMail)};
  putSettings({account("A", {{"Enabled Dataclasses", mail}}), account("B")});
  start({std::string(kAccountDataclassMail)});
  elsewhere({account("A", {{"Enabled Dataclasses", mail}}), account("B", {{"k", 1}})});
  tell();
  EXPECT_THAT(calls, IsEmpty());
  elsewhere({account("B")});
  tell();
  EXPECT_THAT(calls, ElementsAre("2 A, "));
}

TEST_F(AccountsWatcherTest, OwnSavesAreNoNews) {
  const auto store = loaded({account("A")});
  start();
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->insertAccount(record(account("B")));
  save(*store);
  tell();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(AccountsWatcherTest, WhatAnOwnSaveMergedWithIsNews) {
  const auto store = loaded({account("A"), account("B")});
  start();
  elsewhere({account("A", {{"theirs", 1}}), account("B")});
  store->accountWithIdentifier("B")->setAccountPropertyForKey(1, "ours");
  save(*store);
  tell();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsWatcherTest, WhatFollowsAnOwnSaveIsNews) {
  const auto store = loaded({account("A")});
  start();
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "ours");
  save(*store);
  elsewhere({account("A", {{"ours", 2}})});
  tell();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsWatcherTest, AFailedSaveIsNotTakenForAnOwnOne) {
  const auto store = loaded({account("A")});
  start();
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  fake.faults.failAt("files.rename");
  save(*store);
  elsewhere({account("A", {{"k", 1}})});
  tell();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsWatcherTest, ARemovedFileHoldsNoAccounts) {
  putSettings({account("A")});
  start();
  fake.files.erase(kSettings);
  fake.fileWatches.announce(kSettings);
  tell();
  EXPECT_THAT(calls, ElementsAre("2 A, "));
  elsewhere({account("A")});
  tell();
  EXPECT_THAT(calls, ElementsAre("2 A, ", "0 A, "));
}

TEST_F(AccountsWatcherTest, ADamagedOrUnreadableFileTellsNothingUntilItIsWhole) {
  putSettings({account("A")});
  start();
  fake.files.put(kSettings, "half of it");
  fake.fileWatches.announce(kSettings);
  const Status damaged = watcher->tellChanges();
  ASSERT_FALSE(damaged);
  EXPECT_EQ(damaged.error().message, std::string(kSettings) + ": holds no account settings");
  putSettings({account("A"), account("B")});
  fake.faults.failAt("files.read", 1, EIO);
  EXPECT_EQ(watcher->tellChanges().error().code, EIO);
  EXPECT_THAT(calls, IsEmpty());
  tell();
  EXPECT_THAT(calls, ElementsAre("0 B, "));
}

TEST_F(AccountsWatcherTest, ReadsOnlyWhatMayHaveChanged) {
  putSettings({account("A")});
  start();
  fake.faults.forgetCalls();
  tell();
  EXPECT_EQ(fake.faults.count("files.read"), 0U);
}

TEST_F(AccountsWatcherTest, DoesNotStartWhereNobodyWatchesOrReads) {
  putSettings({account("A")});
  fake.faults.failAt("fileWatches.watch", 1, ENOSPC);
  EXPECT_EQ(AccountsWatcher::start([](const Array&) {}).error().code, ENOSPC);
  fake.faults.failAt("files.read", 1, EIO);
  EXPECT_EQ(AccountsWatcher::start([](const Array&) {}).error().code, EIO);
}

TEST_F(AccountsWatcherTest, AFailedWatchIsTold) {
  putSettings({account("A")});
  start();
  fake.faults.failAt("fileWatches.takeChange", 1, EIO);
  EXPECT_EQ(watcher->tellChanges().error().code, EIO);
}

TEST_F(AccountsWatcherTest, WaitsForTheNextChange) {
  putSettings({account("A")});
  start();
  elsewhere({});
  EXPECT_TRUE(watcher->waitAndTellChanges(std::chrono::milliseconds(1)).ok());
  EXPECT_THAT(calls, ElementsAre("2 A, "));
}

}  // namespace
}  // namespace accountsettings
