// Tests of what keeps a save from losing what others wrote, and of what a program learns of a save
// that failed: the lock from the second reading to the rename, refused saves, lastSave().
#include <cerrno>
#include <memory>
#include <string>
#include <thread>

#include "platform/AssertionFailure.h"
#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using testing::Call;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Outcome = LastSave::Outcome;

constexpr const char* kFailed = "Failed to save accounts to filesystem.";

class AccountsManagerLocking : public testing::StoreTest {
 protected:
  // Which operations on the file and its lock a piece of work does.
  std::vector<std::string> operationsOf(const std::function<void()>& work) {
    fake.faults.forgetCalls();
    work();
    std::vector<std::string> names;
    for (const std::string& each : fake.faults.operations()) {
      if (each.starts_with("files.") || each.starts_with("writerLocks.")) names.push_back(each);
    }
    return names;
  }
  static Error errorOf(const AccountsManager& store) {
    const Error* error = store.lastSave().error();
    return error != nullptr ? *error : Error{"none", 0};
  }
};

// MARK: The lock

TEST_F(AccountsManagerLocking, SaveHoldsTheSettingsFromTheSecondReadingToTheRename) {
  const auto store = loaded({account("A")});
  EXPECT_THAT(operationsOf([&] { store->saveAllAccounts(); }),
              ElementsAre("writerLocks.hold", "files.read", "files.makeTemporary", "files.write",
                          "files.setOwner", "files.flushAndClose", "files.rename",
                          "files.flushDirectoryOf", "writerLocks.release"));
  EXPECT_THAT(fake.faults.calls(), Contains(Call{"writerLocks.hold", kSettings}));
}

TEST_F(AccountsManagerLocking, NotifiersAreToldWhenOthersMayWriteAgain) {
  const auto store = loaded({account("A")});
  bool held = true;
  const auto registration = AccountsManager::addChangeListener(
      [&](const Array&) { held = fake.writerLocks.isHeld(kSettings); });
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_FALSE(held);
}

TEST_F(AccountsManagerLocking, LoadingAloneHoldsNothing) {
  EXPECT_THAT(operationsOf([] { (void)AccountsManager::init(); }), ElementsAre("files.read"));
}

TEST_F(AccountsManagerLocking, WorkDoneUnderTheLockIncludesItsSaves) {
  putSettings({account("A", {{"k", 1}})});
  const auto operations = operationsOf([&] {
    const Status done = AccountsManager::withSettingsLocked([&] {
      EXPECT_TRUE(fake.writerLocks.isHeld(kSettings));
      const auto store = AccountsManager::init();
      store->saveAllAccounts();
      EXPECT_TRUE(store->lastSave().saved());
      EXPECT_TRUE(AccountsManager::withSettingsLocked([] {}).ok());
      EXPECT_TRUE(fake.writerLocks.isHeld(kSettings));
    });
    EXPECT_TRUE(done.ok());
  });
  EXPECT_EQ(operations.front(), "writerLocks.hold");
  EXPECT_EQ(operations.back(), "writerLocks.release");
  EXPECT_EQ(fake.faults.count("writerLocks.hold"), 1U);
}

TEST_F(AccountsManagerLocking, TheLockIsFreedWhereTheWorkThrows) {
  EXPECT_THROW((void)AccountsManager::withSettingsLocked([] { throw std::runtime_error("work"); }),
               std::runtime_error);
  EXPECT_FALSE(fake.writerLocks.isHeld(kSettings));
  EXPECT_TRUE(AccountsManager::withSettingsLocked([] {}).ok());
}

TEST_F(AccountsManagerLocking, WorkIsNotDoneWhereAnotherProgramHoldsTheSettings) {
  fake.writerLocks.holdElsewhere(kSettings);
  bool done = false;
  const Status status = AccountsManager::withSettingsLocked([&] { done = true; });
  ASSERT_FALSE(status);
  EXPECT_EQ(status.error().code, EBUSY);
  EXPECT_FALSE(done);
}

TEST_F(AccountsManagerLocking, TheLockOfOneContextIsNotThatOfAnother) {
  testing::FakePlatform otherDevice;
  ProcessContext other(otherDevice.platform());
  EXPECT_TRUE(AccountsManager::withSettingsLocked([&] {
                const ProcessContext::Override there(other);
                EXPECT_TRUE(AccountsManager::withSettingsLocked([&] {
                              EXPECT_TRUE(otherDevice.writerLocks.isHeld(kSettings));
                            }).ok());
              }).ok());
  EXPECT_EQ(otherDevice.faults.count("writerLocks.hold"), 1U);
}

TEST_F(AccountsManagerLocking, APlatformWithoutTheLockSavesAsEver) {
  Platform platform = fake.platform();
  Platform without{platform.files,
                   platform.resources,
                   platform.locks,
                   platform.processes,
                   platform.eventLoop,
                   platform.webEngineLock,
                   platform.notifications,
                   platform.preferences,
                   platform.deviceAnswers,
                   platform.deviceInfo,
                   platform.restrictions,
                   platform.externalSources,
                   platform.cloudAccountModel,
                   platform.modules,
                   platform.clock,
                   platform.identifiers,
                   platform.directories,
                   platform.systemLog,
                   platform.configuration};
  ProcessContext withoutLock(without);
  const ProcessContext::Override there(withoutLock);
  const auto store = loaded({account("A")});
  bool done = false;
  EXPECT_TRUE(AccountsManager::withSettingsLocked([&] {
                store->saveAllAccounts();
                done = true;
              }).ok());
  EXPECT_TRUE(done);
  EXPECT_TRUE(store->lastSave().saved());
  EXPECT_EQ(fake.faults.count("writerLocks.hold"), 0U);
}

// MARK: The context

TEST_F(AccountsManagerLocking, AStoreOfAnotherContextIsNotSavedInThisOne) {
  testing::FakePlatform otherDevice;
  otherDevice.files.putDirectory("/var/mobile/Library/Preferences");
  ProcessContext other(otherDevice.platform());
  const auto store = loaded({account("A")});
  const ProcessContext::Override there(other);
  try {
    store->saveAllAccounts();
    FAIL() << "the accounts of one device were saved on another";
  } catch (const AssertionFailure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("AccountsManager::init()"));
  }
  EXPECT_TRUE(otherDevice.files.exists(kSettings).isAbsent());
}

TEST_F(AccountsManagerLocking, AStoreThatOutlivesItsContextSaysWhatToDo) {
  std::unique_ptr<AccountsManager> store;
  std::unique_ptr<AccountsManager> dropped;
  {
    ProcessContext passing(fake.platform());
    const ProcessContext::Override there(passing);
    store = loaded({account("A")});
    dropped = AccountsManager::init();
  }
  dropped.reset();
  const auto saving = [&] {
    try {
      store->saveAllAccounts();
    } catch (const AssertionFailure& failure) {
      return std::string(failure.what());
    }
    return std::string("saved");
  };
  // Another context has come, and on a thread without any there is none.
  EXPECT_THAT(saving(), HasSubstr("made in another process context"));
  std::string without;
  std::thread([&] { without = saving(); }).join();
  EXPECT_THAT(without, HasSubstr("Make a LinuxProgram"));
}

// MARK: What became of a save

TEST_F(AccountsManagerLocking, AStoreThatHasNotSavedSaysSo) {
  const auto store = loaded({account("A")});
  EXPECT_EQ(store->lastSave().outcome(), Outcome::None);
  EXPECT_FALSE(store->lastSave().saved());
  EXPECT_EQ(store->lastSave().error(), nullptr);
}

TEST_F(AccountsManagerLocking, ASaveThatSucceededSaysSoAlsoAfterOneThatFailed) {
  const auto store = loaded({account("A")});
  fake.faults.failAt("files.rename", 1, EROFS);
  store->saveAllAccounts();
  EXPECT_EQ(store->lastSave().outcome(), Outcome::NotWritten);
  EXPECT_EQ(errorOf(*store).code, EROFS);
  EXPECT_FALSE(store->lastSave().refused());
  store->saveAllAccounts();
  EXPECT_TRUE(store->lastSave().saved());
  EXPECT_EQ(store->lastSave().error(), nullptr);
}

TEST_F(AccountsManagerLocking, EveryFailureToWriteSaysWhy) {
  for (const char* operation : {"files.makeTemporary", "files.write", "files.setOwner",
                                "files.flushAndClose", "files.rename"}) {
    const auto store = loaded({account("A")});
    fake.faults.failAt(operation, 1, ENOSPC);
    store->saveAllAccounts();
    EXPECT_EQ(store->lastSave().outcome(), Outcome::NotWritten) << operation;
    EXPECT_EQ(errorOf(*store).code, ENOSPC) << operation;
  }
}

TEST_F(AccountsManagerLocking, AValueThatNoFileCanHoldIsNamed) {
  const auto store = loaded({account("A")});
  PropertyList deep = 1;
  for (int depth = 0; depth < 600; ++depth) deep = Array{deep};
  store->accountWithIdentifier("A")->setAccountPropertyForKey(deep, "deep");
  store->saveAllAccounts();
  EXPECT_EQ(store->lastSave().outcome(), Outcome::NotSerialized);
  EXPECT_FALSE(errorOf(*store).message.empty());
}

TEST_F(AccountsManagerLocking, ASaveFailsWhereAnotherProgramHoldsTheSettings) {
  const auto store = loaded({account("A", {{"k", 1}})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
  const auto before = fake.files.bytes(kSettings);
  fake.writerLocks.holdElsewhere(kSettings);
  EXPECT_THAT(operationsOf([&] { store->saveAllAccounts(); }), ElementsAre("writerLocks.hold"));
  EXPECT_EQ(store->lastSave().outcome(), Outcome::NotLocked);
  EXPECT_TRUE(store->lastSave().refused());
  EXPECT_THAT(takeLog(),
              ElementsAre(HasSubstr("The account settings could not be locked. "), kFailed));
  EXPECT_EQ(fake.files.bytes(kSettings), before);
  fake.writerLocks.releaseElsewhere(kSettings);
  store->saveAllAccounts();
  EXPECT_TRUE(store->lastSave().saved());
  EXPECT_NE(fake.files.bytes(kSettings), before);
}

// MARK: Files that cannot be read

TEST_F(AccountsManagerLocking, AStoreThatCouldNotReadNeverSaves) {
  for (const int code : {EIO, EMFILE, ENFILE, ENOMEM, EACCES, ELOOP}) {
    putSettings({account("A"), account("B")});
    const auto before = fake.files.bytes(kSettings);
    fake.faults.failAt("files.read", 1, code);
    const auto store = AccountsManager::init();
    EXPECT_EQ(store->count(), 0U);
    EXPECT_EQ(store->dataVersion(), 0);
    expectLog({});
    ASSERT_NE(store->loadError(), nullptr);
    EXPECT_EQ(store->loadError()->code, code);
    store->insertAccount(record(account("C")));
    for (int turn = 0; turn < 2; ++turn) {
      store->saveAllAccounts();
      EXPECT_EQ(store->lastSave().outcome(), Outcome::NeverLoaded) << code;
      EXPECT_TRUE(store->lastSave().refused());
      EXPECT_EQ(errorOf(*store).code, code);
      EXPECT_THAT(takeLog(),
                  ElementsAre(HasSubstr("could not be read when they were loaded. "), kFailed));
      EXPECT_EQ(fake.files.bytes(kSettings), before);
    }
    EXPECT_NE(store->accountWithIdentifier("C"), nullptr);
    // A store that is loaded now may.
    const auto again = AccountsManager::init();
    EXPECT_EQ(again->loadError(), nullptr);
    again->saveAllAccounts();
    EXPECT_TRUE(again->lastSave().saved());
  }
}

TEST_F(AccountsManagerLocking, AMissingFileIsNoFailureToRead) {
  for (const int code : {ENOENT, ENOTDIR}) {
    putSettings({account("A")});
    fake.faults.failAt("files.read", 1, code);
    const auto store = AccountsManager::init();
    EXPECT_EQ(store->loadError(), nullptr) << code;
    store->saveAllAccounts();
    EXPECT_TRUE(store->lastSave().saved()) << code;
  }
}

TEST_F(AccountsManagerLocking, BadContentIsNoFailureToRead) {
  fake.files.put(kSettings, "no property list");
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->loadError(), nullptr);
  fake.files.putPropertyList(kSettings, Array{1});
  store->insertAccount(record(account("A")));
  store->saveAllAccounts();
  EXPECT_TRUE(store->lastSave().saved());
  EXPECT_EQ(AccountsManager::init()->count(), 1U);
}

TEST_F(AccountsManagerLocking, ASaveFailsWhereTheFileCannotBeReadAgain) {
  for (const int code : {EIO, EMFILE, ENFILE, ENOMEM, EACCES, ELOOP}) {
    const auto store = loaded({account("A", {{"k", 1}})});
    store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
    putSettings({account("A", {{"theirs", true}})});
    const auto before = fake.files.bytes(kSettings);
    fake.faults.failAt("files.read", 1, code);
    store->saveAllAccounts();
    EXPECT_EQ(store->lastSave().outcome(), Outcome::NotReadAgain) << code;
    EXPECT_TRUE(store->lastSave().refused());
    EXPECT_EQ(errorOf(*store).code, code);
    EXPECT_THAT(takeLog(),
                ElementsAre(HasSubstr("could not be read again to be merged with. "), kFailed));
    EXPECT_EQ(fake.files.bytes(kSettings), before);
    EXPECT_FALSE(fake.writerLocks.isHeld(kSettings));
    // Memory and baselines are as they were: the next save merges.
    store->saveAllAccounts();
    EXPECT_TRUE(store->lastSave().saved());
    const auto merged = AccountsManager::init()->accountWithIdentifier("A");
    EXPECT_EQ(merged->accountPropertyForKey("k"), PropertyList(2));
    EXPECT_EQ(merged->accountPropertyForKey("theirs"), PropertyList(true));
  }
}

TEST_F(AccountsManagerLocking, AFailureBetweenLoadingAndSavingIsForgotten) {
  const auto store = loaded({account("A")});
  fake.faults.failAt("files.read", 1, EIO);
  EXPECT_FALSE(fake.files.read(kSettings).ok());
  store->saveAllAccounts();
  EXPECT_TRUE(store->lastSave().saved());
}

TEST_F(AccountsManagerLocking, AStoreOfAListHasNoFileThatCouldFail) {
  fake.faults.failAlways("files.read");
  const auto store = AccountsManager::initWithAccounsInfoArray(Array{account("A")});
  EXPECT_EQ(store->loadError(), nullptr);
}

}  // namespace
}  // namespace accountsettings
