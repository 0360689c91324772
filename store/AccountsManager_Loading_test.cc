// Tests of how a store is built from the settings file or from a list.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "account/CreatorModules.h"
#include "account/DeviceLocalAccount.h"
#include "store/AccountsManager.h"
#include "testing/ScriptedStore.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using testing::FixerRecord;
using ::testing::IsEmpty;
using testing::ScriptedStore;
using ::testing::UnorderedElementsAre;

class AccountsManagerLoading : public testing::StoreTest {};

TEST_F(AccountsManagerLoading, PathIsAppendedToTheSystemRoot) {
  EXPECT_EQ(AccountsManager::fullPathToAccountSettingsPlist(), kSettings);
  fake.directories.systemRoot = "/mnt/device";
  EXPECT_EQ(AccountsManager::fullPathToAccountSettingsPlist(),
            "/mnt/device" + std::string(kSettings));
  fake.directories.systemRoot = "/mnt/device/";
  EXPECT_EQ(AccountsManager::fullPathToAccountSettingsPlist(),
            "/mnt/device" + std::string(kSettings));
}

TEST_F(AccountsManagerLoading, ReadsVersionAndAccountsInFileOrder) {
  const auto store = loaded({account("B"), account("A")}, 9);
  EXPECT_EQ(store->dataVersion(), 9);
  EXPECT_THAT(listed(*store), ElementsAre("B", "A"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, InsideOfMigrationTakesNoLock) {
  putSettings({account("A")}, 7);
  const auto store = AccountsManager::initInsideOfMigration();
  EXPECT_EQ(store->dataVersion(), 7);
  EXPECT_THAT(listed(*store), ElementsAre("A"));
  EXPECT_THAT(fake.faults.operations("locks."), IsEmpty());
}

TEST_F(AccountsManagerLoading, MissingFileGivesAnEmptyStoreSilently) {
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 0);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, UnreadableFileGivesAnEmptyStoreSilently) {
  putSettings({account("A")});
  fake.faults.failAt("files.read");
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 0);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, FileThatIsNoPropertyListGivesAnEmptyStoreSilently) {
  fake.files.put(kSettings, "not a property list");
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 0);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, RootThatIsNoDictionaryGivesAnEmptyStoreSilently) {
  fake.files.putPropertyList(kSettings, Array{account("A")});
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 0);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, VersionCountsWithoutAccounts) {
  fake.files.putPropertyList(kSettings, Dictionary{{"Version", 5}});
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 5);
}

TEST_F(AccountsManagerLoading, AccountsThatAreNoListReadAsAbsent) {
  fake.files.putPropertyList(kSettings, Dictionary{{"Accounts", "many"}, {"Version", "11 or so"}});
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->count(), 0U);
  EXPECT_EQ(store->dataVersion(), 11);
}

TEST_F(AccountsManagerLoading, DataVersionCanBeChangedInMemory) {
  const auto store = loaded({}, 3);
  store->setDataVersion(6);
  EXPECT_EQ(store->dataVersion(), 6);
}

TEST_F(AccountsManagerLoading, ListGivesAStoreWithoutVersion) {
  const auto store = storeOf({account("A"), account("B")});
  EXPECT_EQ(store->dataVersion(), 0);
  EXPECT_THAT(listed(*store), ElementsAre("A", "B"));
  EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
}

TEST_F(AccountsManagerLoading, AccountsOfAListAreRepairedToo) {
  const auto store = storeOf(
      {mailAccount("M", "Unheard", {{"AccountPath", "Mail/POP-x"}}), mailAccount("N", "U")});
  EXPECT_THAT(listed(*store), ElementsAre("M"));
  EXPECT_EQ(store->accountWithIdentifier("M")->accountClass(), "POPAccount");
}

TEST_F(AccountsManagerLoading, EmptyAndMissingListsGiveEmptyStores) {
  EXPECT_EQ(storeOf({})->count(), 0U);
  EXPECT_EQ(storeOf({})->dataVersion(), 0);
  EXPECT_EQ(AccountsManager::initWithAccounsInfoArray(std::nullopt)->count(), 0U);
}

TEST_F(AccountsManagerLoading, UnmakeableAccountsAreLoggedAndTheRestLoads) {
  const Dictionary unknownType = with(account("X"), {{"Type", "Pigeon"}});
  const Dictionary neither{{"Identifier", "Y"}};
  const auto store = storeOf({unknownType, account("A"), neither, "no dictionary"});
  EXPECT_THAT(listed(*store), ElementsAre("A"));
  const std::string failed =
      "[-[AccountsManager _initWithAccountsInfo:]] ERROR: Failed to create a BasicAccount from ";
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0], "[-[BasicAccount initWithProperties:]] Invalid account type: Pigeon");
  EXPECT_TRUE(lines[1].starts_with(failed + "{")) << lines[1];
  EXPECT_THAT(lines[1], ::testing::HasSubstr("Pigeon"));
  EXPECT_EQ(lines[2], "[-[BasicAccount initWithProperties:]] Invalid account type: (null)");
  EXPECT_EQ(lines[3], "[-[BasicAccount initWithProperties:]] Missing account class.");
  EXPECT_TRUE(lines[4].starts_with(failed + "{")) << lines[4];
  EXPECT_TRUE(lines[5].starts_with(failed)) << lines[5];
  EXPECT_THAT(lines[5], ::testing::HasSubstr("no dictionary"));
}

TEST_F(AccountsManagerLoading, IdentifierThatIsNoStringIsListedButNotMapped) {
  const auto store = storeOf({with(account("A"), {{"Identifier", 7}})});
  EXPECT_THAT(listed(*store), ElementsAre("-"));
  EXPECT_EQ(store->accountWithIdentifier("7"), nullptr);
  EXPECT_EQ(*store->allBasicAccounts()[0]->properties().find("Identifier"), PropertyList(7));
  EXPECT_THAT(log(), ElementsAre(store->allBasicAccounts()[0]->description() +
                                 " returned a nil identifier. Account properties may not get "
                                 "saved"));
}

TEST_F(AccountsManagerLoading, EmptyIdentifierIsAnIdentifier) {
  const auto store = storeOf({account("")});
  EXPECT_EQ(store->accountWithIdentifier(""), store->allBasicAccounts()[0]);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, RepeatedIdentifierListsBothAndMapsTheLater) {
  const Dictionary first =
      account("A", {{"n", 1}, {"ChildAccounts", Array{account("c1"), account("c2")}}});
  const Dictionary second = account("A", {{"n", 2}, {"ChildAccounts", Array{account("c3")}}});
  const auto store = storeOf({first, second});
  ASSERT_THAT(listed(*store), ElementsAre("A", "A"));
  EXPECT_EQ(store->accountWithIdentifier("A"), store->allBasicAccounts()[1]);
  EXPECT_EQ(store->accountWithIdentifier("c1"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier("c3"), store->allBasicAccounts()[1]);
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("A", "A", "c3"));
}

// Children.

TEST_F(AccountsManagerLoading, ChildrenAreMappedToTheirParent) {
  const auto store =
      storeOf({account("P", {{"ChildAccounts", Array{account("c1"), account("c2")}}})});
  const Account parent = store->accountWithIdentifier("P");
  EXPECT_EQ(store->accountWithIdentifier("c1"), parent);
  EXPECT_EQ(store->accountWithIdentifier("c2"), parent);
  const AccountList all = store->allBasicSyncableAccounts();
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[1]->parentAccount(), parent);
  EXPECT_EQ(all[2]->parentAccount(), parent);
}

TEST_F(AccountsManagerLoading, ChildWithoutIdentifierIsIgnoredAndStaysInTheFile) {
  const Dictionary nameless = without(account("x"), "Identifier");
  const Array children{account("c1"), nameless, account("c2")};
  const auto store = loaded({account("P", {{"ChildAccounts", children}})});
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()),
              UnorderedElementsAre("P", "c1", "c2"));
  EXPECT_EQ(store->accountWithIdentifier("c1"), store->accountWithIdentifier("P"));
  EXPECT_EQ(store->accountWithIdentifier("c2"), store->accountWithIdentifier("P"));
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("Ignoring unknown child account with properties {"));
  EXPECT_THAT(lines[0], ::testing::HasSubstr("MobileCalDAVAccount"));

  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("ChildAccounts"), PropertyList(children));
}

TEST_F(AccountsManagerLoading, ChildWithAnEmptyIdentifierIsKept) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("")}}})});
  EXPECT_EQ(store->accountWithIdentifier(""), store->accountWithIdentifier("P"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, InvalidChildrenAreIgnoredWithTheirOwnLines) {
  const Array children{with(account("c1"), {{"Type", "Pigeon"}}), without(account("c2"), "Type"),
                       with(account("c3"), {{"Identifier", 3}}), 42};
  const auto store = storeOf({account("P", {{"ChildAccounts", children}})});
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("P"));
  EXPECT_EQ(*store->accountWithIdentifier("P")->properties().find("ChildAccounts"),
            PropertyList(children));
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0], "[-[BasicAccount initWithProperties:]] Invalid account type: Pigeon");
  EXPECT_EQ(lines[2], "[-[BasicAccount initWithProperties:]] Invalid account type: (null)");
  for (const std::size_t ignoring : {1U, 3U, 4U, 5U}) {
    EXPECT_TRUE(lines[ignoring].starts_with("Ignoring unknown child account with properties "))
        << lines[ignoring];
  }
  EXPECT_EQ(lines[5], "Ignoring unknown child account with properties 42");
}

TEST_F(AccountsManagerLoading, ChildAccountsThatAreNoListReadAsAbsentAndAreKept) {
  const auto store = loaded({account("P", {{"ChildAccounts", "none"}})});
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("P"));
  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("ChildAccounts"), PropertyList("none"));
}

TEST_F(AccountsManagerLoading, ChildOfTwoParentsBelongsToTheLater) {
  const Dictionary first = account("P1", {{"ChildAccounts", Array{account("c")}}});
  const Dictionary second = account("P2", {{"ChildAccounts", Array{account("c")}}});
  const auto store = storeOf({first, second});
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P2"));
  store->_removeChildrenForAccountWithIdentifier("P1");
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P2"));
  store->_removeChildrenForAccountWithIdentifier("P2");
  EXPECT_EQ(store->accountWithIdentifier("c"), nullptr);
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("P1", "P2"));
}

TEST_F(AccountsManagerLoading, ForgottenChildStaysWithWhoeverHoldsIt) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c")}}})});
  const Account child = store->allBasicSyncableAccounts()[1];
  store->_removeChildrenForAccountWithIdentifier("P");
  EXPECT_EQ(child->identifier(), "c");
  EXPECT_EQ(child->parentAccountIdentifier(), "P");
}

TEST_F(AccountsManagerLoading, LoadingChildrenAgainForgetsTheFormerOnes) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c1")}}})});
  const Account parent = store->accountWithIdentifier("P");
  parent->setAccountPropertyForKey(Array{account("c2")}, "ChildAccounts");
  store->_loadChildrenFromAccount(parent);
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("P", "c2"));
  EXPECT_EQ(store->accountWithIdentifier("c2"), parent);
}

// Runtime fixers.

TEST_F(AccountsManagerLoading, FixersSeeTopLevelAccountsInOrder) {
  FixerRecord fixer;
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(
      Array{account("A", {{"ChildAccounts", Array{account("c")}}}), account("B")});
  EXPECT_THAT(fixer.asked, ElementsAre("A loading accounts", "B loading accounts"));
  EXPECT_THAT(fixer.told, IsEmpty());
}

TEST_F(AccountsManagerLoading, FixedAccountIsKeptAndFixersAreToldOnceThatNothingWasSaved) {
  FixerRecord fixer;
  fixer.answers = {{"A", FixResult::Fixed}, {"B", FixResult::Fixed}};
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(Array{account("A"), account("B"), account("C")});
  EXPECT_THAT(listed(store), ElementsAre("A", "B", "C"));
  EXPECT_THAT(fixer.told, ElementsAre(false));
  EXPECT_FALSE(fake.files.has(kSettings));
}

TEST_F(AccountsManagerLoading, UnfixableAccountIsLeftOutWithItsChildren) {
  FixerRecord fixer;
  fixer.answers = {{"A", FixResult::Unfixable}};
  ScriptedStore store(fixer);
  store._initWithAccountsInfo(
      Array{account("A", {{"ChildAccounts", Array{account("c")}}}), account("B")});
  EXPECT_THAT(listed(store), ElementsAre("B"));
  EXPECT_EQ(store.accountWithIdentifier("A"), nullptr);
  EXPECT_EQ(store.accountWithIdentifier("c"), nullptr);
  EXPECT_THAT(identifiersOf(store.allBasicSyncableAccounts()), ElementsAre("B"));
  EXPECT_THAT(fixer.told, ElementsAre(false));
}

TEST_F(AccountsManagerLoading, FixersHearNothingOfEmptyAndMissingLists) {
  for (const auto& accounts : {std::optional<Array>(Array()), std::optional<Array>()}) {
    FixerRecord fixer;
    ScriptedStore store(fixer);
    store._initWithAccountsInfo(accounts);
    EXPECT_THAT(fixer.asked, IsEmpty());
    EXPECT_THAT(fixer.told, IsEmpty());
  }
}

TEST_F(AccountsManagerLoading, EachFixerThatDoesNotRefuseAnAccountEntersIt) {
  FixerRecord first;
  FixerRecord second;
  second.answers = {{"B", FixResult::Unfixable}};
  ScriptedStore store({&first, &second});
  store._initWithAccountsInfo(Array{account("A"), account("B")});
  ASSERT_THAT(listed(store), ElementsAre("A", "A", "B"));
  EXPECT_EQ(store.allBasicAccounts()[0], store.allBasicAccounts()[1]);
  EXPECT_THAT(second.asked, ElementsAre("A loading accounts", "B loading accounts"));
  // Both hear of the fix, whichever made it.
  EXPECT_THAT(first.told, ElementsAre(false));
  EXPECT_THAT(second.told, ElementsAre(false));

  ScriptedStore withoutFixers({});
  withoutFixers._initWithAccountsInfo(Array{account("A")});
  EXPECT_EQ(withoutFixers.count(), 0U);
}

TEST_F(AccountsManagerLoading, MailAccountThatCannotBeRepairedIsAbsent) {
  const auto store =
      loaded({mailAccount("M", "Unheard", {{"AccountPath", "Mail/Elsewhere"}}), account("A")});
  EXPECT_THAT(listed(*store), ElementsAre("A"));
  EXPECT_EQ(store->accountWithIdentifier("M"), nullptr);
}

TEST_F(AccountsManagerLoading, RepairIsInMemoryAndNotInTheOriginalProperties) {
  const auto store = loaded({mailAccount("M", "Unheard", {{"AccountPath", "Mail/POP-x"}})});
  const Account account = store->accountWithIdentifier("M");
  EXPECT_EQ(account->accountClass(), "POPAccount");
  EXPECT_EQ(*account->originalProperties().find("Class"), PropertyList("Unheard"));
  EXPECT_EQ(*savedAccount().find("Class"), PropertyList("Unheard"));
}

// The device-local account.

TEST_F(AccountsManagerLoading, DeviceLocalAccountIsCreatedWhereItIsMissing) {
  const auto store = AccountsManager::init();
  const auto full = store->fullDeviceLocalAccount();
  ASSERT_NE(full, nullptr);
  expectLog({"DeviceLocalAccount missing. Creating..."});
  EXPECT_THAT(listed(*store), ElementsAre("DeviceLocalAccount"));
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount")->type(), "OnMyDevice");
  EXPECT_FALSE(fake.files.has(kSettings));
  EXPECT_EQ(store->fullDeviceLocalAccount(), full);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, FirstAccountOfTheTypeIsTheDeviceLocalOne) {
  const auto store = storeOf({account("A"), with(account("D1"), {{"Type", "OnMyDevice"}}),
                              with(account("DeviceLocalAccount"), {{"Type", "OnMyDevice"}})});
  const auto full =
      std::dynamic_pointer_cast<testing::FullAccountOf>(store->fullDeviceLocalAccount());
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(full->record.lock(), store->allBasicAccounts()[1]);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerLoading, TheStoreKeepsAPlainRecordOfTheDeviceLocalAccount) {
  removeCreators("OnMyDevice");
  addCreator("OnMyDevice", {{"Type", "FullAccount"},
                            {"Description", Dictionary{{"Framework", kBuiltInFramework},
                                                       {"Class", "DeviceLocalAccount"}}}});
  const auto store = AccountsManager::init();
  const auto full = std::dynamic_pointer_cast<DeviceLocalAccount>(store->fullDeviceLocalAccount());
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(full->syncStoreIdentifier(), "DeviceLocalAccount");
  const Account kept = store->accountWithIdentifier("DeviceLocalAccount");
  EXPECT_NE(kept, full);
  EXPECT_EQ(kept->syncStoreIdentifier(), std::nullopt);
  EXPECT_EQ(kept->displayName(), std::nullopt);
}

TEST_F(AccountsManagerLoading, DeviceLocalAccountThatCannotBeMadeIsNone) {
  fake.resources.put("AccountTypesProperties", Dictionary{});
  const auto store = AccountsManager::init();
  EXPECT_EQ(store->fullDeviceLocalAccount(), nullptr);
  EXPECT_EQ(store->count(), 0U);
}

// The end of a store.

// Notes in `events` when it goes.
struct Leaving : FullAccount {
  Leaving(std::string name, std::vector<std::string>& list) : who(std::move(name)), events(list) {}
  ~Leaving() override { events.push_back(who); }
  Leaving(const Leaving&) = delete;
  Leaving& operator=(const Leaving&) = delete;
  void setParentAccount(std::shared_ptr<BasicAccount>) override {}
  std::string who;
  std::vector<std::string>& events;
};

TEST_F(AccountsManagerLoading, TopLevelAccountsGoFirstThenChildrenThenFixers) {
  FixerRecord fixer;
  {
    ScriptedStore store(fixer);
    store._initWithAccountsInfo(
        Array{account("P", {{"ChildAccounts", Array{account("c")}}}), account("A")});
    for (const Account& each : store.allBasicSyncableAccounts()) {
      each->setFullAccount(std::make_shared<Leaving>(*each->identifier(), fixer.events));
    }
  }
  // A child lets go of its parent first, which nobody else holds any more.
  EXPECT_THAT(fixer.events, ElementsAre("A", "P", "c", "fixer gone"));
}

}  // namespace
}  // namespace accountsettings
