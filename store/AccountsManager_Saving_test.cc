// Tests of saving: what is written, what is merged with what, and what follows in which order.
#include <memory>
#include <string>
#include <vector>

#include "store/AccountsManager.h"
#include "testing/ScriptedStore.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using testing::FixerRecord;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::ScriptedStore;

class AccountsManagerSaving : public testing::StoreTest {
 protected:
  // The value of "k" in the account at `index` of the settings file, -1 where there is none.
  std::int64_t savedK(std::size_t index = 0) const {
    const Dictionary saved = savedAccount(index);
    const PropertyList* value = saved.find("k");
    return value != nullptr ? value->integerValue() : -1;
  }
  static Dictionary withK(std::string_view identifier, std::int64_t k) {
    return account(identifier, {{"k", k}});
  }
};

TEST_F(AccountsManagerSaving, WritesABinaryPropertyListOfVersionTwelveWithTwoKeys) {
  fake.files.putPropertyList(
      kSettings, Dictionary{{"Version", 3}, {"Foreign", "key"}, {"Accounts", Array{account("A")}}});
  const auto store = AccountsManager::init();
  store->setDataVersion(5);
  store->saveAllAccounts();
  EXPECT_EQ(savedRoot(), (Dictionary{{"Accounts", Array{account("A")}}, {"Version", 12}}));
  EXPECT_TRUE(fake.files.text(kSettings)->starts_with("bplist00"));
  EXPECT_EQ(store->dataVersion(), 5);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerSaving, EmptyStoreWritesAnEmptyList) {
  AccountsManager::init()->saveAllAccounts();
  EXPECT_EQ(savedRoot(), (Dictionary{{"Accounts", Array()}, {"Version", 12}}));
}

TEST_F(AccountsManagerSaving, FileBelongsToTheConfiguredOwnerAndKeepsItsMode) {
  fake.files.accounts.insert({"someone", "some"});
  fake.configuration.current.owner = "someone";
  fake.configuration.current.group = "some";
  loaded({account("A")})->saveAllAccounts();
  EXPECT_EQ(fake.files.owner(kSettings), (std::pair<std::string, std::string>("someone", "some")));
  EXPECT_EQ(fake.files.mode(kSettings), 0600U);
}

TEST_F(AccountsManagerSaving, AccountsAreWrittenInOrderWithTheirChildren) {
  const auto store = loaded({account("B"), account("A", {{"ChildAccounts", Array{account("c")}}})});
  store->insertAccount(record(account("C")));
  store->saveAllAccounts();
  EXPECT_EQ(
      savedAccounts(),
      (Array{account("B"), account("A", {{"ChildAccounts", Array{account("c")}}}), account("C")}));
}

TEST_F(AccountsManagerSaving, StoreOfAMissingFileWritesItsAccountsUnmerged) {
  const auto store = AccountsManager::init();
  store->insertAccount(record(withK("A", 1)));
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{withK("A", 1)});
}

TEST_F(AccountsManagerSaving, FileThatHasAppearedMeanwhileIsMergedWith) {
  const auto store = AccountsManager::init();
  store->insertAccount(record(withK("A", 1)));
  putSettings({account("A", {{"k", 2}, {"theirs", true}})});
  store->saveAllAccounts();
  // The new record's own values count as unchanged, so that the disk's win.
  EXPECT_EQ(savedAccounts(), Array{account("A", {{"k", 2}, {"theirs", true}})});
}

TEST_F(AccountsManagerSaving, OtherProcessesChangesSurvive) {
  const auto store = loaded({account("A", {{"mine", 1}, {"theirs", 1}, {"gone", 1}})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "mine");
  putSettings({account("A", {{"mine", 1}, {"theirs", 2}, {"new", 2}})});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccount(), account("A", {{"mine", 2}, {"theirs", 2}, {"new", 2}}));
}

TEST_F(AccountsManagerSaving, KeyRemovedInMemoryIsGoneThoughTheDiskHasANewerValue) {
  const auto store = loaded({withK("A", 1)});
  store->accountWithIdentifier("A")->removeAccountPropertyForKey("k");
  putSettings({withK("A", 2)});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccount(), account("A"));
}

TEST_F(AccountsManagerSaving, AccountThatAnotherProcessAddedIsGone) {
  const auto store = loaded({account("A")});
  putSettings({account("A"), account("B")});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{account("A")});
}

TEST_F(AccountsManagerSaving, AccountThatAnotherProcessRemovedIsWrittenAgain) {
  const auto store = loaded({withK("A", 1), account("B")});
  putSettings({account("B")});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), (Array{withK("A", 1), account("B")}));
}

TEST_F(AccountsManagerSaving, BaselineIsTheMemoryNotTheMergedResult) {
  const auto store = loaded({withK("A", 1)});
  putSettings({withK("A", 2)});
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 2);
  EXPECT_EQ(*store->accountWithIdentifier("A")->properties().find("k"), PropertyList(1));
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 2);
  putSettings({withK("A", 3)});
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 3);
}

TEST_F(AccountsManagerSaving, ChangeThatWasSavedCountsAsUnchangedFromThenOn) {
  const auto store = loaded({withK("A", 1)});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 2);
  putSettings({withK("A", 7)});
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 7);
}

TEST_F(AccountsManagerSaving, SavingAgainWithoutAChangeLeavesWhatWasSaved) {
  const auto store = loaded({withK("A", 1)});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
  store->insertAccount(record(withK("B", 1)));
  store->saveAllAccounts();
  const Array written{withK("A", 2), withK("B", 1)};
  EXPECT_EQ(savedAccounts(), written);
  for (int save = 0; save < 2; ++save) {
    store->saveAllAccounts();
    EXPECT_EQ(savedAccounts(), written);
  }
}

TEST_F(AccountsManagerSaving, FileThatAnotherProcessPutBackIsReadAsItIs) {
  const auto store = loaded({withK("A", 1)});
  const Bytes before = *fake.files.bytes(kSettings);
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
  store->saveAllAccounts();
  fake.files.put(kSettings, before);
  store->saveAllAccounts();
  EXPECT_EQ(savedK(), 1);
}

TEST_F(AccountsManagerSaving, ManySavesFollowWhatIsReallyInTheFile) {
  const auto store = loaded({withK("A", 0), withK("B", 0)});
  for (int i = 1; i < 6; ++i) {
    store->accountWithIdentifier("A")->setAccountPropertyForKey(i, "k");
    store->saveAllAccounts();
    EXPECT_EQ(savedK(0), i);
    if (i % 2 == 0) putSettings({withK("A", i), withK("B", i)});
    store->saveAllAccounts();
    EXPECT_EQ(savedK(0), i);
    EXPECT_EQ(savedK(1), i / 2 * 2);
  }
}

TEST_F(AccountsManagerSaving, AccountWithoutIdentifierIsWrittenUnmerged) {
  const Dictionary nameless = with(withK("A", 1), {{"Identifier", 5}});
  const auto store = loaded({nameless});
  putSettings({with(withK("A", 2), {{"Identifier", 5}})});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{nameless});
}

TEST_F(AccountsManagerSaving, AccountWithoutIdentifierIsNotTheOneWhoseIdentifierIsEmpty) {
  const Dictionary nameless = with(withK("A", 1), {{"Identifier", 5}});
  const auto store = loaded({nameless});
  putSettings({withK("", 2)});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{nameless});
}

TEST_F(AccountsManagerSaving, RepeatedIdentifiersBecomeCopiesOfTheLaterAccount) {
  const auto store = loaded({withK("A", 1), withK("A", 2)});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), (Array{withK("A", 2), withK("A", 2)}));
}

TEST_F(AccountsManagerSaving, AccountThatHasBecomeAChildOnDiskMergesWithItsParentThere) {
  const auto store = loaded({withK("A", 1)});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(2, "k");
  const Dictionary parent = account("P", {{"ChildAccounts", Array{withK("A", 1)}}});
  putSettings({parent});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{with(parent, {{"k", 2}})});
}

TEST_F(AccountsManagerSaving, WhatARecordGivesToSaveIsWrittenAndBecomesItsBaseline) {
  const auto store = loaded({});
  const auto keeping = std::make_shared<testing::KeepingBack>(
      account("A", {{"k", 1}, {"private", true}}), "private");
  store->insertAccount(keeping);
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{withK("A", 1)});
  EXPECT_EQ(keeping->originalProperties(), withK("A", 1));
}

TEST_F(AccountsManagerSaving, ReplacedAccountIsWritten) {
  const auto store = loaded({account("A")});
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), record(account("N")));
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{account("N")});
}

// Fixers

TEST_F(AccountsManagerSaving, FixersSeeTheListFromTheEndBeforeTheFileIsRead) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(
      Array{account("A", {{"ChildAccounts", Array{account("c")}}}), account("B")});
  fixer.asked.clear();
  Strings askedWhenRead;
  fake.faults.doAt("files.read", 1, [&] { askedWhenRead = fixer.asked; });
  store.saveAllAccounts();
  EXPECT_THAT(askedWhenRead, ElementsAre("B saving accounts", "A saving accounts"));
  EXPECT_THAT(fixer.asked, ElementsAre("B saving accounts", "A saving accounts"));
  EXPECT_THAT(fixer.told, IsEmpty());
}

TEST_F(AccountsManagerSaving, UnfixableAccountIsUnmappedButListedAndWritten) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(
      Array{account("A", {{"ChildAccounts", Array{account("c")}}}), account("B")});
  fixer.answers = {{"A", FixResult::Unfixable}};
  store.saveAllAccounts();
  EXPECT_EQ(store.accountWithIdentifier("A"), nullptr);
  EXPECT_EQ(store.accountWithIdentifier("c"), nullptr);
  EXPECT_THAT(listed(store), ElementsAre("A", "B"));
  EXPECT_THAT(identifiersOf(store.allBasicSyncableAccounts()), ElementsAre("A", "B"));
  EXPECT_EQ(savedAccount(0), account("A", {{"ChildAccounts", Array{account("c")}}}));
  EXPECT_THAT(fixer.told, ElementsAre(true));
}

TEST_F(AccountsManagerSaving, FixersAreToldOfAFixEvenIfTheSaveFailed) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{account("A")});
  fixer.answers = {{"A", FixResult::Fixed}};
  fake.faults.failAt("files.rename");
  store.saveAllAccounts();
  EXPECT_THAT(fixer.told, ElementsAre(true));
  expectLog({"Failed to save accounts to filesystem."});
}

TEST_F(AccountsManagerSaving, WhatAFixerDidStaysThoughTheSaveFailed) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{account("A", {{"ChildAccounts", Array{account("c")}}})});
  fixer.answers = {{"A", FixResult::Unfixable}};
  fake.faults.failAt("files.rename");
  store.saveAllAccounts();
  EXPECT_EQ(store.accountWithIdentifier("A"), nullptr);
  EXPECT_THAT(identifiersOf(store.allBasicSyncableAccounts()), ElementsAre("A"));
}

TEST_F(AccountsManagerSaving, DiskIsSeenAfterItsOwnRepair) {
  const auto store = loaded({mailAccount("M", "IMAPAccount", {{"AccountPath", "Mail/POP-x"}})});
  putSettings({mailAccount("M", "Unheard", {{"AccountPath", "Mail/POP-x"}, {"k", 1}})});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccount(),
            mailAccount("M", "POPAccount", {{"AccountPath", "Mail/POP-x"}, {"k", 1}}));
}

TEST_F(AccountsManagerSaving, AccountThatIsUnfixableOnDiskCountsAsAbsentThere) {
  const auto store = loaded({mailAccount("M", "IMAPAccount", {{"k", 1}})});
  putSettings({mailAccount("M", "Unheard", {{"k", 2}})});
  takeLog();
  store->saveAllAccounts();
  EXPECT_EQ(savedAccount(), mailAccount("M", "IMAPAccount", {{"k", 1}}));
  EXPECT_TRUE(fake.log.contains("Could not fix the class of the mail account: "));
}

TEST_F(AccountsManagerSaving, SecondStoreSaysWhatItMissesAtEverySave) {
  const Dictionary invalid = with(account("c"), {{"Type", "Pigeon"}});
  const auto store = loaded({account("P", {{"ChildAccounts", Array{invalid}}})});
  for (int save = 0; save < 3; ++save) {
    takeLog();
    store->saveAllAccounts();
    const Strings lines = takeLog();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "[-[BasicAccount initWithProperties:]] Invalid account type: Pigeon");
    EXPECT_TRUE(lines[1].starts_with("Ignoring unknown child account with properties "));
  }
  EXPECT_EQ(savedAccount(), account("P", {{"ChildAccounts", Array{invalid}}}));
}

TEST_F(AccountsManagerSaving, UnmakeableAccountsOnDiskAreReportedAndGo) {
  const auto store = loaded({account("A")});
  putSettings({account("A"), with(account("X"), {{"Type", "Pigeon"}})});
  store->saveAllAccounts();
  EXPECT_EQ(savedAccounts(), Array{account("A")});
  EXPECT_TRUE(fake.log.contains("ERROR: Failed to create a BasicAccount from "));
}

// The serialiser

TEST_F(AccountsManagerSaving, SerialiserWithoutDataFailsTheSave) {
  putSettings({withK("A", 1)});
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{withK("A", 2)});
  store.serialized = {false, "out of ink"};
  fake.faults.forgetCalls();
  store.saveAllAccounts();
  expectLog({"Failed to serialize account settings data: out of ink",
             "Failed to save accounts to filesystem."});
  EXPECT_EQ(savedK(), 1);
  // The temporary name is asked for before anybody looks whether there is data.
  EXPECT_THAT(fake.faults.operations("files."),
              ElementsAre("files.read", "files.makeTemporary", "files.remove"));
  EXPECT_THAT(fake.files.temporaryFilesLeft(), IsEmpty());
}

TEST_F(AccountsManagerSaving, SerialiserWithoutDataAndTextSaysNull) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{});
  store.serialized = {false, std::nullopt};
  store.saveAllAccounts();
  expectLog({"Failed to serialize account settings data: (null)",
             "Failed to save accounts to filesystem."});
  EXPECT_FALSE(fake.files.has(kSettings));
}

TEST_F(AccountsManagerSaving, ErrorTextWithDataIsLoggedAndTheSaveGoesOn) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{withK("A", 2)});
  store.serialized = {true, "ink is low"};
  store.saveAllAccounts();
  expectLog({"Failed to serialize account settings data: ink is low"});
  EXPECT_EQ(savedK(), 2);
}

TEST_F(AccountsManagerSaving, ValueThatNoFileCanHoldFailsTheSave) {
  const auto store = loaded({account("A")});
  store->accountWithIdentifier("A")->setAccountPropertyForKey("\xFF", "k");
  store->saveAllAccounts();
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("Failed to serialize account settings data: ")) << lines[0];
  EXPECT_EQ(lines[1], "Failed to save accounts to filesystem.");
  EXPECT_EQ(savedAccount(), account("A"));
}

// What follows a save

// RecordingNotifier notes when it is called, and what the account's baseline is then.
struct RecordingNotifier : ClassObject, NoteAccountChangesCapability {
  explicit RecordingNotifier(std::vector<std::string>& list) : events(list) {}
  void noteAccountChanges(const Array& changes) override {
    std::string event = "noted " + std::to_string(changes.size());
    if (baselineOf != nullptr) {
      const PropertyList* k = baselineOf->originalProperties().find("k");
      event += k != nullptr ? " baseline " + std::to_string(k->integerValue()) : " no baseline";
    }
    events.push_back(event);
  }
  std::vector<std::string>& events;
  std::shared_ptr<BasicAccount> baselineOf;
};

class AccountsManagerAfterSaving : public AccountsManagerSaving {
 protected:
  AccountsManagerAfterSaving() {
    addCreator("CalDAV", {{"Type", "NotifierAccount"},
                          {"Description", Dictionary{{"Framework", kFullModule},
                                                     {"Class", "Notifier"},
                                                     {"Supported Dataclasses",
                                                      Array{kAccountDataclassCalendars}}}}});
    context.classes().registerClass("Notifier", notifier);
    store._initWithAccountsInfo(Array{
        account("A", {{"k", 1}, {"Enabled Dataclasses", Array{kAccountDataclassCalendars}}})});
    notifier->baselineOf = store.accountWithIdentifier("A");
    change(2);
  }
  void change(int k) { store.accountWithIdentifier("A")->setAccountPropertyForKey(k, "k"); }

  FixerRecord fixer;
  std::shared_ptr<RecordingNotifier> notifier = std::make_shared<RecordingNotifier>(fixer.events);
  ScriptedStore store{fixer};
};

TEST_F(AccountsManagerAfterSaving, BaselinesMoveThenFixersThenNotifiersThenTheSnapshot) {
  fixer.answers = {{"A", FixResult::Fixed}};
  fixer.whenTold = [this] {
    EXPECT_EQ(*notifier->baselineOf->originalProperties().find("k"), PropertyList(2));
  };
  store.saveAllAccounts();
  EXPECT_THAT(fixer.events, ElementsAre("fixer told", "noted 1 baseline 2"));
  fixer.events.clear();
  fixer.answers.clear();
  // The snapshot was retaken: nothing has changed since.
  store.saveAllAccounts();
  EXPECT_THAT(fixer.events, IsEmpty());
}

TEST_F(AccountsManagerAfterSaving, SkippedNotificationsAccumulate) {
  AccountsManager::_setShouldSkipNotifications(true);
  store.saveAllAccounts();
  EXPECT_EQ(savedK(), 2);
  EXPECT_THAT(fixer.events, IsEmpty());
  EXPECT_EQ(*store.accountWithIdentifier("A")->originalProperties().find("k"), PropertyList(2));
  // The snapshot still holds the first state, so the next notifying save tells.
  AccountsManager::_setShouldSkipNotifications(false);
  store.saveAllAccounts();
  EXPECT_THAT(fixer.events, ElementsAre("noted 1 baseline 2"));
}

TEST_F(AccountsManagerAfterSaving, FixersAreToldThoughNotificationsAreSkipped) {
  fixer.answers = {{"A", FixResult::Fixed}};
  AccountsManager::_setShouldSkipNotifications(true);
  store.saveAllAccounts();
  EXPECT_THAT(fixer.told, ElementsAre(true));
  EXPECT_THAT(fixer.events, ElementsAre("fixer told"));
}

TEST_F(AccountsManagerAfterSaving, FailedSaveNotifiesNobodyAndMovesNothing) {
  fake.faults.failAt("files.rename");
  store.saveAllAccounts();
  EXPECT_THAT(fixer.events, IsEmpty());
  EXPECT_EQ(*store.accountWithIdentifier("A")->originalProperties().find("k"), PropertyList(1));
  EXPECT_EQ(*store.accountWithIdentifier("A")->properties().find("k"), PropertyList(2));
  store.saveAllAccounts();
  EXPECT_THAT(fixer.events, ElementsAre("noted 1 baseline 2"));
  EXPECT_EQ(savedK(), 2);
}

TEST_F(AccountsManagerSaving, AccountThatLosesItsIdentifierIsNamedAtTheSnapshot) {
  const auto store = loaded({account("A")});
  const Account nameless = store->accountWithIdentifier("A");
  nameless->removeAccountPropertyForKey("Identifier");
  store->saveAllAccounts();
  expectLog({nameless->description() +
             " returned a nil identifier. Account properties may not get saved"});
}

TEST_F(AccountsManagerSaving, TheTraceShowsWhatIsWrittenNotTheMemory) {
  switchTracingOn();
  const auto store = loaded({account("A")});
  putSettings({account("A", {{"theirs", 1}})});
  takeLog();
  store->saveAllAccounts();
  const Strings lines = takeLog();
  ASSERT_FALSE(lines.empty());
  EXPECT_TRUE(lines.back().starts_with("CalDAV:{"));
  EXPECT_THAT(lines.back(), HasSubstr("theirs = 1;"));
}

TEST_F(AccountsManagerSaving, SavesAreTraced) {
  switchTracingOn();
  const auto store = loaded({with(Dictionary(), {{"Identifier", "A"},
                                                 {"Type", "CalDAV"},
                                                 {"Class", "C"},
                                                 {"Enabled Dataclasses", Array()}})});
  store->saveAllAccounts();
  const std::string shown =
      R"({ Identifier = A; Type = CalDAV; Class = C; "Enabled Dataclasses" = ( ); })";
  expectLog({"Saving all accounts",
             "Merging inmem " + shown + " orig " + shown + " onDisk " + shown, "merged to " + shown,
             "CalDAV:" + shown});
}

}  // namespace
}  // namespace accountsettings
