// Tests of edits, one rule at a time.
#include <memory>
#include <string>
#include <vector>

#include "account/DeviceLocalAccount.h"
#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class AccountsManagerEdits : public testing::StoreTest {
 protected:
  static Dictionary parent(std::string_view identifier, const Array& children) {
    return account(identifier, {{"ChildAccounts", children}});
  }
  // The child's record in the store's maps, empty where there is none.
  static Account childIn(const AccountsManager& store, std::string_view identifier) {
    for (const Account& each : store.allBasicSyncableAccounts()) {
      if (each->identifier() == identifier && each->parentAccount() != nullptr) return each;
    }
    return nullptr;
  }
};

// updateAccount

TEST_F(AccountsManagerEdits, UpdatePutsTheAccountInTheOldPlace) {
  const auto store = storeOf({account("A"), parent("B", {account("c1")}), account("C")});
  const Account updated = record(parent("B", {account("c2")}));
  store->updateAccount(updated);
  EXPECT_THAT(listed(*store), ElementsAre("A", "B", "C"));
  EXPECT_EQ(store->allBasicAccounts()[1], updated);
  EXPECT_EQ(store->accountWithIdentifier("B"), updated);
  EXPECT_EQ(childIn(*store, "c1"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier("c2"), updated);
}

TEST_F(AccountsManagerEdits, UpdateOfAnUnknownAccountChangesNothing) {
  const auto store = storeOf({account("A")});
  store->updateAccount(record(parent("B", {account("c")})));
  EXPECT_THAT(listed(*store), ElementsAre("A"));
  EXPECT_EQ(store->accountWithIdentifier("B"), nullptr);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

TEST_F(AccountsManagerEdits, UpdateOfAChildChangesNothing) {
  const auto store = storeOf({parent("P", {account("c")})});
  store->updateAccount(childIn(*store, "c"));
  EXPECT_THAT(listed(*store), ElementsAre("P"));
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P"));
}

TEST_F(AccountsManagerEdits, UpdateReplacesEveryEntryWithTheIdentifier) {
  const auto store = storeOf({account("A"), account("B"), account("A")});
  const Account updated = record(account("A"));
  store->updateAccount(updated);
  EXPECT_THAT(store->allBasicAccounts(),
              ElementsAre(updated, store->accountWithIdentifier("B"), updated));
  EXPECT_EQ(store->accountWithIdentifier("A"), updated);
}

TEST_F(AccountsManagerEdits, UpdateFindsAccountsByTheIdentifierTheyReportNow) {
  const auto store = storeOf({account("A"), account("B")});
  store->updateAccount(record(account("A")));
  store->accountWithIdentifier("B")->setAccountPropertyForKey("X", "Identifier");
  store->updateAccount(record(account("B")));
  EXPECT_THAT(listed(*store), ElementsAre("A", "X"));
  const Account updated = record(account("X"));
  store->updateAccount(updated);
  EXPECT_EQ(store->allBasicAccounts()[1], updated);
  EXPECT_EQ(store->accountWithIdentifier("X"), updated);
}

TEST_F(AccountsManagerEdits, UpdateGoesByTheIdentifierThatTheAccountReports) {
  const auto store = storeOf({account("stored"), account("DeviceLocalAccount")});
  const Account untouched = store->allBasicAccounts()[0];
  const std::shared_ptr<BasicAccount> local = DeviceLocalAccount::initWithProperties(
      with(DeviceLocalAccount::basicAccountProperties(), {{"Identifier", "stored"}}));
  store->updateAccount(local);
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(untouched, local));
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), local);
}

// insertAccount

TEST_F(AccountsManagerEdits, InsertedAccountBringsTheChildrenThatItInheritsToo) {
  const auto store = storeOf({});
  const Account inserted = record(account("A"));
  inserted->setParentAccount(record(parent("P", {account("c")})));
  store->insertAccount(inserted);
  EXPECT_EQ(store->accountWithIdentifier("c"), inserted);
  EXPECT_EQ(storedChildren(inserted), std::nullopt);
}

TEST_F(AccountsManagerEdits, InsertAppendsTheAccountAndLoadsItsChildren) {
  const auto store = storeOf({account("A")});
  const Account inserted = record(parent("B", {account("c")}));
  store->insertAccount(inserted);
  EXPECT_THAT(listed(*store), ElementsAre("A", "B"));
  EXPECT_EQ(store->accountWithIdentifier("c"), inserted);
}

TEST_F(AccountsManagerEdits, InsertTwiceLeavesOneEntry) {
  const auto store = storeOf({});
  const Account first = record(account("A"));
  store->insertAccount(first);
  store->insertAccount(record(account("A")));
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(first));
}

TEST_F(AccountsManagerEdits, InsertAfterReplaceAddsASecondEntry) {
  const auto store = storeOf({account("A")});
  const Account replacement = record(account("A"));
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), replacement);
  store->insertAccount(replacement);
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(replacement, replacement));
  EXPECT_EQ(store->accountWithIdentifier("A"), replacement);
}

TEST_F(AccountsManagerEdits, InsertIgnoresAnAccountWithoutIdentifier) {
  const auto store = storeOf({});
  const Account nameless = record(account("A"));
  nameless->removeAccountPropertyForKey("Identifier");
  store->insertAccount(nameless);
  EXPECT_EQ(store->count(), 0U);
}

// deleteAccount

TEST_F(AccountsManagerEdits, DeleteRemovesAccountAndChildren) {
  const auto store = storeOf({account("A"), parent("B", {account("c")}), account("C")});
  store->deleteAccount(store->accountWithIdentifier("B"));
  EXPECT_THAT(listed(*store), ElementsAre("A", "C"));
  EXPECT_EQ(store->count(), 2U);
  EXPECT_EQ(store->accountWithIdentifier("B"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier("c"), nullptr);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

TEST_F(AccountsManagerEdits, DeleteGoesByIdentifierNotByRecord) {
  const auto store = storeOf({account("A")});
  store->deleteAccount(record(account("A")));
  EXPECT_EQ(store->count(), 0U);
}

TEST_F(AccountsManagerEdits, DeleteRemovesTheLastEntryOfARepeatedIdentifier) {
  const auto store = storeOf({account("A", {{"n", 1}}), account("B"), account("A", {{"n", 2}})});
  const Account first = store->allBasicAccounts()[0];
  store->deleteAccount(first);
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(first, store->accountWithIdentifier("B")));
  EXPECT_EQ(store->accountWithIdentifier("A"), nullptr);
}

TEST_F(AccountsManagerEdits, DeleteRemovesEveryEntryOfTheRecordItFinds) {
  const auto store = storeOf({account("A"), account("B"), account("A")});
  store->updateAccount(record(account("A")));
  store->deleteAccountWithIdentifier("A");
  EXPECT_THAT(listed(*store), ElementsAre("B"));
}

TEST_F(AccountsManagerEdits, DeleteRemovesMapEntryAndChildrenWithoutAMatchInTheList) {
  const auto store = storeOf({parent("A", {account("c")})});
  const Account renamed = store->accountWithIdentifier("A");
  renamed->setAccountPropertyForKey("X", "Identifier");
  store->deleteAccount(record(account("A")));
  EXPECT_THAT(listed(*store), ElementsAre("X"));
  EXPECT_EQ(store->accountWithIdentifier("A"), nullptr);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

TEST_F(AccountsManagerEdits, DeleteByIdentifierConcernsTopLevelAccountsOnly) {
  const auto store = storeOf({parent("P", {account("c")})});
  store->deleteAccountWithIdentifier("c");
  store->deleteAccountWithIdentifier("unknown");
  EXPECT_THAT(listed(*store), ElementsAre("P"));
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P"));
  store->deleteAccountWithIdentifier("P");
  EXPECT_EQ(store->count(), 0U);
}

// replaceAccountWithAccount

TEST_F(AccountsManagerEdits, ReplacementIsListedButNotMapped) {
  const auto store = storeOf({account("A"), parent("O", {account("c1")}), account("B")});
  const Account replacement = record(parent("N", {account("c2")}));
  store->replaceAccountWithAccount(store->accountWithIdentifier("O"), replacement);
  EXPECT_THAT(listed(*store), ElementsAre("A", "N", "B"));
  EXPECT_EQ(store->count(), 3U);
  EXPECT_EQ(store->accountWithIdentifier("N"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier("O"), nullptr);
  EXPECT_EQ(childIn(*store, "c1"), nullptr);
  EXPECT_EQ(childIn(*store, "c2")->parentAccount(), replacement);
  EXPECT_THAT(identifiersOf(store->basicAccountsWithTypes({"CalDAV"})), ElementsAre("A", "N", "B"));

  store->updateAccount(replacement);
  EXPECT_EQ(store->accountWithIdentifier("N"), replacement);
}

TEST_F(AccountsManagerEdits, ReplacementOfTheSameIdentifierIsNotMappedEither) {
  const auto store = storeOf({account("A")});
  const Account replacement = record(account("A"));
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), replacement);
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(replacement));
  EXPECT_EQ(store->accountWithIdentifier("A"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacingAnAccountThatIsNotListedDoesNothing) {
  const auto store = storeOf({parent("A", {account("c")})});
  const Account listedAccount = store->accountWithIdentifier("A");
  store->replaceAccountWithAccount(record(account("A")), record(parent("N", {account("d")})));
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(listedAccount));
  EXPECT_EQ(store->accountWithIdentifier("c"), listedAccount);
  EXPECT_EQ(childIn(*store, "d"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacementTakesTheFirstOfTwoEntries) {
  const auto store = storeOf({account("A"), account("B"), account("A")});
  store->updateAccount(record(account("A")));
  const Account twice = store->accountWithIdentifier("A");
  store->replaceAccountWithAccount(twice, record(account("N")));
  EXPECT_THAT(listed(*store), ElementsAre("N", "B", "A"));
}

// replaceAccountsWithTypesWithAccounts

TEST_F(AccountsManagerEdits, NewAccountOfATypeGoesToTheEnd) {
  const auto store = storeOf({mailAccount("M", "IMAPAccount")});
  const Account local = record(DeviceLocalAccount::basicAccountProperties());
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {local});
  EXPECT_THAT(listed(*store), ElementsAre("M", "DeviceLocalAccount"));
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), local);
}

TEST_F(AccountsManagerEdits, NewAccountOfATypeBringsItsChildren) {
  const auto store = storeOf({account("A")});
  const Account given = record(parent("B", {account("c")}));
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {given});
  EXPECT_EQ(store->accountWithIdentifier("c"), given);
}

TEST_F(AccountsManagerEdits, OfTwoReplacementsWithOneIdentifierTheLaterTakesThePlace) {
  const auto store = storeOf({account("A"), account("B")});
  const AccountList given{record(account("A", {{"n", 1}})), record(account("A", {{"n", 2}}))};
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, given);
  const Account untouched = store->accountWithIdentifier("B");
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(given[1], untouched, given[0]));
  EXPECT_EQ(store->accountWithIdentifier("A"), given[0]);
}

TEST_F(AccountsManagerEdits, AccountsOfTheTypesThatAreNotMentionedGo) {
  const auto store = storeOf(
      {account("A"), mailAccount("M1", "IMAPAccount", {{"ChildAccounts", Array{account("c")}}}),
       account("B"), mailAccount("M2", "POPAccount"), account("C")});
  store->replaceAccountsWithTypesWithAccounts({"Mail"}, {});
  EXPECT_THAT(listed(*store), ElementsAre("A", "B", "C"));
  EXPECT_EQ(store->accountWithIdentifier("M1"), nullptr);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacementKeepsThePlaceAndNewAccountsFollowInOrder) {
  const auto store = storeOf({mailAccount("M1", "IMAPAccount"), account("A"),
                              mailAccount("M2", "IMAPAccount"), account("B")});
  const Account replacement = record(mailAccount("M2", "POPAccount"));
  const AccountList given{record(mailAccount("N2", "POPAccount")), replacement,
                          record(mailAccount("N1", "POPAccount"))};
  store->replaceAccountsWithTypesWithAccounts({"Mail"}, given);
  EXPECT_THAT(listed(*store), ElementsAre("A", "M2", "B", "N2", "N1"));
  EXPECT_EQ(store->accountWithIdentifier("M2"), replacement);
  EXPECT_EQ(store->accountWithIdentifier("N1"), given[2]);
}

TEST_F(AccountsManagerEdits, MatchingIdentifierReplacesWhateverTheType) {
  const auto store = storeOf({account("A"), with(account("B"), {{"Type", "CardDAV"}})});
  const Account replacement = record(mailAccount("B", "POPAccount"));
  store->replaceAccountsWithTypesWithAccounts({"Mail"}, {replacement});
  EXPECT_THAT(listed(*store), ElementsAre("A", "B"));
  EXPECT_EQ(store->allBasicAccounts()[1], replacement);
}

TEST_F(AccountsManagerEdits, ReplacementsReadTheStoredIdentifier) {
  const auto store = storeOf({account("stored")});
  const std::shared_ptr<BasicAccount> local = DeviceLocalAccount::initWithProperties(
      with(DeviceLocalAccount::basicAccountProperties(), {{"Identifier", "stored"}}));
  ASSERT_EQ(local->identifier(), "DeviceLocalAccount");
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {local});
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(local));
  EXPECT_EQ(store->accountWithIdentifier("stored"), local);
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacementsEnterEveryListedAccountIntoTheMap) {
  const auto store = storeOf({account("A"), account("B")});
  const Account replacement = record(account("N"));
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), replacement);
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {});
  EXPECT_EQ(store->accountWithIdentifier("N"), replacement);
}

TEST_F(AccountsManagerEdits, ReplacementsMapTheFirstOfRepeatedIdentifiers) {
  const auto store = storeOf({account("A", {{"n", 1}}), account("A", {{"n", 2}})});
  EXPECT_EQ(store->accountWithIdentifier("A"), store->allBasicAccounts()[1]);
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {});
  EXPECT_EQ(store->accountWithIdentifier("A"), store->allBasicAccounts()[0]);
}

TEST_F(AccountsManagerEdits, ReplacementsMapAccountsUnderTheirPresentIdentifiers) {
  const auto store = storeOf({parent("A", {account("c")})});
  const Account renamed = store->accountWithIdentifier("A");
  renamed->setAccountPropertyForKey("X", "Identifier");
  EXPECT_EQ(store->accountWithIdentifier("A"), renamed);
  store->replaceAccountsWithTypesWithAccounts({"CalDAV"}, {renamed});
  EXPECT_EQ(store->accountWithIdentifier("A"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier("X"), renamed);
  EXPECT_EQ(store->accountWithIdentifier("c"), renamed);
}

TEST_F(AccountsManagerEdits, ChildGivenToItsOwnParentIsThereOnceAndLast) {
  const auto store = storeOf({parent("P", {account("c1"), account("c2")})});
  const Account child = record(account("c1", {{"n", 1}}));
  const Account holder = store->accountWithIdentifier("P");
  child->setParentAccount(holder);
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {child});
  EXPECT_THAT(storedChildren(holder), Optional(ElementsAre("c2", "c1")));
  EXPECT_EQ(*childIn(*store, "c1")->properties().find("n"), PropertyList(1));
  EXPECT_THAT(listed(*store), ElementsAre("P"));
}

TEST_F(AccountsManagerEdits, NewChildGoesToItsParentOnce) {
  const auto store = storeOf({account("P")});
  const Account child = record(account("c"));
  child->setParentAccount(store->accountWithIdentifier("P"));
  store->replaceAccountsWithTypesWithAccounts({"CalDAV"},
                                              {store->accountWithIdentifier("P"), child});
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c")));
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P"));
}

TEST_F(AccountsManagerEdits, ChildGivenToAnotherParentLeavesTheFormerOne) {
  const auto store = storeOf({parent("P1", {account("c")}), account("P2")});
  const Account child = record(account("c"));
  child->setParentAccount(store->accountWithIdentifier("P2"));
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {child});
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P1")), Optional(IsEmpty()));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P2")), Optional(ElementsAre("c")));
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("P2"));
}

TEST_F(AccountsManagerEdits, ChildOfAnUnknownParentStaysWhereItIs) {
  const auto store = storeOf({parent("P", {account("c")})});
  const Account stranger = record(account("S"));
  const Account child = record(account("c"));
  child->setParentAccount(stranger);
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {child});
  EXPECT_THAT(listed(*store), ElementsAre("P"));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c")));
  EXPECT_EQ(storedChildren(stranger), std::nullopt);
}

TEST_F(AccountsManagerEdits, ChildLeavesTheOldRecordOfAFormerParentReplacedInTheSameCall) {
  const auto store = storeOf({parent("F", {account("c"), account("d")}), account("P")});
  const Account oldFormer = store->accountWithIdentifier("F");
  const Account newFormer = record(parent("F", {account("c"), account("d")}));
  const Account child = record(account("c"));
  child->setParentAccount(store->accountWithIdentifier("P"));
  store->replaceAccountsWithTypesWithAccounts({"CardDAV"}, {newFormer, child});
  EXPECT_EQ(store->accountWithIdentifier("F"), newFormer);
  EXPECT_THAT(storedChildren(oldFormer), Optional(ElementsAre("d")));
  EXPECT_THAT(storedChildren(newFormer), Optional(ElementsAre("c", "d")));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c")));
  EXPECT_EQ(childIn(*store, "d")->parentAccount(), oldFormer);
}

// Children

TEST_F(AccountsManagerEdits, AddedChildIsAppendedAndLoadedAsANewRecord) {
  const auto store = storeOf({parent("P", {account("c1")})});
  const Account holder = store->accountWithIdentifier("P");
  const Account child = record(account("c2", {{"n", 2}}));
  store->addChildToAccount(child, holder);
  EXPECT_THAT(storedChildren(holder), Optional(ElementsAre("c1", "c2")));
  const Account loadedChild = childIn(*store, "c2");
  EXPECT_NE(loadedChild, child);
  EXPECT_EQ(loadedChild->parentAccount(), holder);
  EXPECT_EQ(loadedChild->properties().values(), child->properties().values());
}

TEST_F(AccountsManagerEdits, AddingAChildDoesNotLookForARepeat) {
  const auto store = storeOf({parent("P", {account("c")})});
  store->addChildToAccount(record(account("c", {{"n", 2}})), store->accountWithIdentifier("P"));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c", "c")));
  EXPECT_EQ(*childIn(*store, "c")->properties().find("n"), PropertyList(2));
}

TEST_F(AccountsManagerEdits, FirstChildMakesTheList) {
  const auto store = storeOf({account("P")});
  store->addChildToAccount(record(account("c")), store->accountWithIdentifier("P"));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c")));
}

TEST_F(AccountsManagerEdits, RemovingTheLastChildLeavesAnEmptyList) {
  const auto store = storeOf({parent("P", {account("c")})});
  const Account holder = store->accountWithIdentifier("P");
  store->removeChildWithIdentifierFromAccount("c", holder);
  EXPECT_THAT(storedChildren(holder), Optional(IsEmpty()));
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

TEST_F(AccountsManagerEdits, RemovingAChildWhereThereIsNoListLeavesNone) {
  const auto store = storeOf({account("P"), account("Q", {{"ChildAccounts", "odd"}})});
  store->removeChildWithIdentifierFromAccount("c", store->accountWithIdentifier("P"));
  EXPECT_EQ(storedChildren(store->accountWithIdentifier("P")), std::nullopt);
  store->removeChildWithIdentifierFromAccount("c", store->accountWithIdentifier("Q"));
  EXPECT_EQ(*store->accountWithIdentifier("Q")->properties().find("ChildAccounts"),
            PropertyList("odd"));
}

TEST_F(AccountsManagerEdits, AllEqualDescriptionsOfARemovedChildGo) {
  const auto store =
      storeOf({parent("P", {account("c"), account("d"), account("c"), account("c", {{"n", 1}})})});
  const Account holder = store->accountWithIdentifier("P");
  store->removeChildWithIdentifierFromAccount("c", holder);
  EXPECT_THAT(storedChildren(holder), Optional(ElementsAre("d")));
}

TEST_F(AccountsManagerEdits, InvalidChildIsPassedOverWithItsLine) {
  const Dictionary invalid = with(account("c"), {{"Type", "Pigeon"}});
  const auto store = storeOf({parent("P", {invalid})});
  takeLog();
  store->removeChildWithIdentifierFromAccount("c", store->accountWithIdentifier("P"));
  EXPECT_THAT(storedChildren(store->accountWithIdentifier("P")), Optional(ElementsAre("c")));
  const Strings lines = takeLog();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "[-[BasicAccount initWithProperties:]] Invalid account type: Pigeon");
  EXPECT_TRUE(lines[2].starts_with("Ignoring unknown child account with properties "));
}

TEST_F(AccountsManagerEdits, ChangesToAChildRecordAreLostAtTheNextEditOfItsParent) {
  const auto store = storeOf({parent("P", {account("c")})});
  childIn(*store, "c")->setAccountPropertyForKey(1, "n");
  store->updateAccount(store->accountWithIdentifier("P"));
  EXPECT_EQ(childIn(*store, "c")->properties().find("n"), nullptr);
}

// Missing arguments

TEST_F(AccountsManagerEdits, MissingAccountsChangeNothing) {
  const auto store = storeOf({parent("P", {account("c")})});
  const Account holder = store->accountWithIdentifier("P");
  store->updateAccount(nullptr);
  store->insertAccount(nullptr);
  store->deleteAccount(nullptr);
  store->replaceAccountWithAccount(nullptr, record(account("N")));
  store->replaceAccountWithAccount(holder, nullptr);
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {nullptr});
  store->addChildToAccount(nullptr, holder);
  store->addChildToAccount(record(account("d")), nullptr);
  store->removeChildWithIdentifierFromAccount("c", nullptr);
  EXPECT_THAT(store->allBasicAccounts(), ElementsAre(holder));
  EXPECT_THAT(storedChildren(holder), Optional(ElementsAre("c")));
  EXPECT_EQ(store->accountWithIdentifier("c"), holder);
}

TEST_F(AccountsManagerEdits, AccountsWithoutIdentifierAreLeftAlone) {
  const auto store = storeOf({with(account("A"), {{"Identifier", 1}}), account("B")});
  const Account nameless = store->allBasicAccounts()[0];
  store->updateAccount(nameless);
  store->deleteAccount(nameless);
  EXPECT_THAT(listed(*store), ElementsAre("-", "B"));
  store->replaceAccountsWithTypesWithAccounts({"Mail"}, {nameless});
  EXPECT_THAT(listed(*store), ElementsAre("-", "B", "-"));
}

TEST_F(AccountsManagerEdits, AccountWithoutIdentifierLeavesNoChildBehind) {
  const auto store =
      storeOf({with(parent("P", {account("c"), account("d")}), {{"Identifier", 1}})});
  const Account nameless = store->allBasicAccounts()[0];
  store->removeChildWithIdentifierFromAccount("c", nameless);
  EXPECT_THAT(storedChildren(nameless), Optional(ElementsAre("d")));
  EXPECT_EQ(childIn(*store, "c"), nullptr);
  store->replaceAccountsWithTypesWithAccounts({"CalDAV"}, {});
  EXPECT_THAT(store->allBasicSyncableAccounts(), IsEmpty());
}

// Traces

TEST_F(AccountsManagerEdits, FourEditsAreTraced) {
  switchTracingOn();
  const auto store = storeOf({account("B")});
  const Account first = record({{"Identifier", "A"}, {"Type", "CalDAV"}, {"Class", "C"}});
  store->insertAccount(first);
  store->updateAccount(first);
  store->deleteAccount(first);
  store->replaceAccountsWithTypesWithAccounts({}, {});
  expectLog({"Inserting account:", "Updating account:{ Identifier = A; Type = CalDAV; Class = C; }",
             "Deleting account:", "Replacing accounts"});
}

TEST_F(AccountsManagerEdits, TheOtherEditsAreNotTraced) {
  switchTracingOn();
  const auto store = storeOf({account("B"), parent("P", {account("c")})});
  store->replaceAccountWithAccount(store->accountWithIdentifier("B"), record(account("N")));
  store->addChildToAccount(record(account("d")), store->accountWithIdentifier("P"));
  store->removeChildWithIdentifierFromAccount("d", store->accountWithIdentifier("P"));
  store->_removeChildrenForAccountWithIdentifier("P");
  store->deleteAccountWithIdentifier("unknown");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AccountsManagerEdits, NothingIsTracedWhenTracingIsOff) {
  const auto store = storeOf({account("B")});
  store->insertAccount(record(account("A")));
  store->updateAccount(record(account("A")));
  store->deleteAccountWithIdentifier("A");
  store->replaceAccountsWithTypesWithAccounts({}, {});
  EXPECT_THAT(log(), IsEmpty());
}

// The identifier that a record stores, where it reports another.

// Reports "DeviceLocalAccount" whatever it stores.
std::shared_ptr<BasicAccount> reportingAnother(std::string_view stored) {
  return DeviceLocalAccount::accountWithProperties(
      {{"Type", "OnMyDevice"}, {"Class", "DeviceLocalAccount"}, {"Identifier", stored}});
}

TEST_F(AccountsManagerEdits, ReplacingKeepsAnAccountUnderTheIdentifierThatItStores) {
  const auto store = storeOf({account("A")});
  const Account kept = reportingAnother("stored");
  store->insertAccount(kept);
  ASSERT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), kept);
  store->replaceAccountsWithTypesWithAccounts({"Mail"}, {});
  EXPECT_EQ(store->accountWithIdentifier("stored"), kept);
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacingAppendsAnAccountUnderTheIdentifierThatItStores) {
  const auto store = storeOf({account("A")});
  const Account appended = reportingAnother("stored");
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {appended});
  EXPECT_EQ(store->allBasicAccounts().back(), appended);
  EXPECT_EQ(store->accountWithIdentifier("stored"), appended);
  EXPECT_EQ(store->accountWithIdentifier("DeviceLocalAccount"), nullptr);
}

TEST_F(AccountsManagerEdits, ReplacingTakesThePlaceOfTheAccountThatStoresTheIdentifier) {
  const auto store = storeOf({account("stored"), account("DeviceLocalAccount")});
  const Account replacement = reportingAnother("stored");
  store->replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {replacement});
  ASSERT_EQ(store->count(), 2U);
  EXPECT_EQ(store->allBasicAccounts()[0], replacement);
}

TEST_F(AccountsManagerEdits, EveryEditGivesAChildTheVeryRecordThatHoldsItAsItsParent) {
  const auto store = storeOf({parent("P", {account("c")}), account("Q")});
  const auto parentOf = [&](std::string_view child) {
    const Account found = childIn(*store, child);
    return found != nullptr ? found->parentAccount() : nullptr;
  };
  const Account updated = record(parent("P", {account("c")}));
  store->updateAccount(updated);
  EXPECT_EQ(parentOf("c"), updated);
  const Account q = store->accountWithIdentifier("Q");
  store->addChildToAccount(record(account("d")), q);
  EXPECT_EQ(parentOf("d"), q);
  const Account moved = record(account("d"));
  moved->setParentAccount(updated);
  store->replaceAccountsWithTypesWithAccounts({}, {moved});
  EXPECT_EQ(parentOf("d"), updated);
  EXPECT_EQ(store->accountWithIdentifier("d"), updated);
  const Account replacement = record(parent("R", {account("e")}));
  store->replaceAccountWithAccount(q, replacement);
  EXPECT_EQ(parentOf("e"), replacement);
  const Account inserted = record(parent("I", {account("f")}));
  store->insertAccount(inserted);
  EXPECT_EQ(parentOf("f"), inserted);
}

// Accounts that are handed in by the store's own references, which an edit moves or frees. What
// would be read after it was freed shows under AddressSanitizer.

TEST_F(AccountsManagerEdits, AListedAccountThatWasReplacedIsInsertedByItsPlace) {
  const auto store = storeOf({account("A"), account("B")});
  store->replaceAccountWithAccount(store->allBasicAccounts()[0],
                                   record(parent("N", {account("c")})));
  store->insertAccount(store->allBasicAccounts()[0]);
  EXPECT_THAT(listed(*store), ElementsAre("N", "B", "N"));
  EXPECT_EQ(store->accountWithIdentifier("c"), store->accountWithIdentifier("N"));
}

TEST_F(AccountsManagerEdits, AListedAccountWithAChangedIdentifierIsInsertedByItsPlace) {
  const auto store = storeOf({parent("A", {account("c")}), account("B")});
  store->allBasicAccounts()[0]->setAccountPropertyForKey("N", "Identifier");
  store->insertAccount(store->allBasicAccounts()[0]);
  EXPECT_THAT(listed(*store), ElementsAre("N", "B", "N"));
  EXPECT_EQ(store->accountWithIdentifier("N"), store->allBasicAccounts()[2]);
}

TEST_F(AccountsManagerEdits, AListedAccountThatASaveFoundUnfixableIsInsertedByItsPlace) {
  const auto store = storeOf({mailAccount("A", "IMAPAccount"), account("B")});
  store->allBasicAccounts()[0]->setAccountClass("no mail class");
  store->saveAllAccounts();
  ASSERT_EQ(store->accountWithIdentifier("A"), nullptr);
  store->insertAccount(store->allBasicAccounts()[0]);
  EXPECT_THAT(listed(*store), ElementsAre("A", "B", "A"));
  EXPECT_NE(store->accountWithIdentifier("A"), nullptr);
}

TEST_F(AccountsManagerEdits, EveryEditTakesTheListsOwnEntries) {
  const auto store = storeOf({parent("A", {account("c")}), account("B"), account("C")});
  store->updateAccount(store->allBasicAccounts()[0]);
  store->addChildToAccount(store->allBasicAccounts()[2], store->allBasicAccounts()[0]);
  store->removeChildWithIdentifierFromAccount("c", store->allBasicAccounts()[0]);
  store->replaceAccountWithAccount(store->allBasicAccounts()[1], store->allBasicAccounts()[2]);
  EXPECT_THAT(listed(*store), ElementsAre("A", "C", "C"));
  store->replaceAccountsWithTypesWithAccounts({"CalDAV"}, store->allBasicAccounts());
  EXPECT_THAT(listed(*store), ElementsAre("A", "C", "C"));
  store->deleteAccount(store->allBasicAccounts()[0]);
  EXPECT_THAT(listed(*store), ElementsAre("C", "C"));
}

TEST_F(AccountsManagerEdits, TheParentThatAForgottenChildKeepsIsTakenByReference) {
  const auto store = storeOf({parent("A", {account("c"), account("d")})});
  // Nobody but the store holds the child, and the child holds the reference that is handed in.
  const std::shared_ptr<BasicAccount>& kept = childIn(*store, "c")->parentAccount();
  store->removeChildWithIdentifierFromAccount("c", kept);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
  EXPECT_NE(childIn(*store, "d"), nullptr);
  const std::shared_ptr<BasicAccount>& again = childIn(*store, "d")->parentAccount();
  store->_loadChildrenFromAccount(again);
  EXPECT_NE(childIn(*store, "d"), nullptr);
  const std::shared_ptr<BasicAccount>& last = childIn(*store, "d")->parentAccount();
  store->addChildToAccount(record(account("e")), last);
  EXPECT_NE(childIn(*store, "e"), nullptr);
}

TEST_F(AccountsManagerEdits, ChildrenAreForgottenByAnIdentifierThatOneOfThemHolds) {
  Dictionary child = account("c");
  child.set("Holder", "A long identifier of the parent, kept by the child");
  const auto store =
      storeOf({parent("A long identifier of the parent, kept by the child", {child})});
  const std::string_view held = *childIn(*store, "c")->properties().find("Holder")->stringValue();
  store->accountWithIdentifier("c")->removeAccountPropertyForKey("ChildAccounts");
  store->_removeChildrenForAccountWithIdentifier(held);
  EXPECT_EQ(childIn(*store, "c"), nullptr);
}

}  // namespace
}  // namespace accountsettings
