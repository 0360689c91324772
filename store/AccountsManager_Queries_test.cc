// Tests of what a store answers about its accounts.
#include <memory>
#include <string>
#include <vector>

#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class AccountsManagerQueries : public testing::StoreTest {
 protected:
  // The identifiers of the records behind full accounts, in order.
  static Strings recordsOf(const AccountsManager::FullAccountList& accounts) {
    Strings identifiers;
    for (const auto& each : accounts) {
      const auto full = std::dynamic_pointer_cast<testing::FullAccountOf>(each);
      const Account record = full != nullptr ? full->record.lock() : nullptr;
      identifiers.push_back(record != nullptr ? record->identifier().value_or("-") : "?");
    }
    return identifiers;
  }
};

TEST_F(AccountsManagerQueries, IdentifierOfAChildAnswersItsParent) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c")}}})});
  EXPECT_EQ(store->accountWithIdentifier("P"), store->allBasicAccounts()[0]);
  EXPECT_EQ(store->accountWithIdentifier("c"), store->allBasicAccounts()[0]);
  EXPECT_EQ(store->accountWithIdentifier("unknown"), nullptr);
}

TEST_F(AccountsManagerQueries, TopLevelAccountGoesBeforeAChildOfTheSameIdentifier) {
  const auto store =
      storeOf({account("P", {{"ChildAccounts", Array{account("A")}}}), account("A")});
  EXPECT_EQ(store->accountWithIdentifier("A"), store->allBasicAccounts()[1]);
}

TEST_F(AccountsManagerQueries, ChildOfAParentThatIsNotMappedAnswersNone) {
  const auto store = storeOf({account("A")});
  const Account parent = record(account("P", {{"ChildAccounts", Array{account("c")}}}));
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), parent);
  EXPECT_EQ(store->accountWithIdentifier("c"), nullptr);
  EXPECT_THAT(identifiersOf(store->allBasicSyncableAccounts()), ElementsAre("P", "c"));
}

TEST_F(AccountsManagerQueries, SyncIdentifierFindsTopLevelAccountsBeforeChildren) {
  const Dictionary child = account("c", {{"Sync Identifier", "S"}});
  const auto store = storeOf(
      {account("P", {{"ChildAccounts", Array{child}}}), account("A", {{"Sync Identifier", "S"}})});
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S")->identifier(), "A");
  store->deleteAccountWithIdentifier("A");
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S")->identifier(), "c");
  EXPECT_EQ(store->displayAccountWithSyncIdentifier("S"), store->accountWithIdentifier("P"));
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("T"), nullptr);
  EXPECT_EQ(store->displayAccountWithSyncIdentifier("T"), nullptr);
}

TEST_F(AccountsManagerQueries, ChildThatInheritsTheSyncIdentifierNeverHidesItsParent) {
  const auto store = storeOf({account(
      "P", {{"Sync Identifier", "S"}, {"ChildAccounts", Array{account("a"), account("b")}}})});
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S"), store->accountWithIdentifier("P"));
  EXPECT_EQ(store->displayAccountWithSyncIdentifier("S"), store->accountWithIdentifier("P"));
}

TEST_F(AccountsManagerQueries, InheritedSyncIdentifierFindsTheChildOfAnUnmappedParent) {
  const auto store = storeOf({account("A")});
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S"), nullptr);
  const Account parent =
      record(account("P", {{"Sync Identifier", "S"}, {"ChildAccounts", Array{account("c")}}}));
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), parent);
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S")->identifier(), "c");
  EXPECT_EQ(store->displayAccountWithSyncIdentifier("S"), nullptr);
  parent->setAccountPropertyForKey("T", "Sync Identifier");
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S"), nullptr);
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("T")->identifier(), "c");
}

TEST_F(AccountsManagerQueries, SyncIdentifierIsSearchedAsItIsNow) {
  const auto store = storeOf({account("A", {{"Sync Identifier", "S"}}), account("B")});
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S")->identifier(), "A");
  const Account first = store->accountWithIdentifier("A");
  first->properties().set("Sync Identifier", PropertyList("T"));
  store->accountWithIdentifier("B")->setAccountPropertyForKey("S", "Sync Identifier");
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("S")->identifier(), "B");
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("T")->identifier(), "A");
  first->removeAccountPropertyForKey("Sync Identifier");
  EXPECT_EQ(store->syncableAccountWithSyncIdentifier("T"), nullptr);
}

TEST_F(AccountsManagerQueries, ListIsTheStoresOwnAndTheOthersAreCopies) {
  const auto store = storeOf({account("A"), account("B")});
  const AccountList& live = store->allBasicAccounts();
  EXPECT_EQ(&live, &store->allBasicAccounts());
  const AccountList syncable = store->allBasicSyncableAccounts();
  const AccountList typed = store->basicAccountsWithTypes({"CalDAV"});
  store->deleteAccountWithIdentifier("A");
  EXPECT_THAT(listed(*store), ElementsAre("B"));
  EXPECT_THAT(identifiersOf(syncable), ElementsAre("A", "B"));
  EXPECT_THAT(identifiersOf(typed), ElementsAre("A", "B"));
}

TEST_F(AccountsManagerQueries, SyncableAccountsAreTheListAndThenAllChildren) {
  const auto store =
      storeOf({account("B", {{"ChildAccounts", Array{account("b1"), account("b2")}}}),
               account("A", {{"ChildAccounts", Array{account("a1")}}})});
  const Strings all = identifiersOf(store->allBasicSyncableAccounts());
  ASSERT_EQ(all.size(), 5U);
  EXPECT_THAT(Strings(all.begin(), all.begin() + 2), ElementsAre("B", "A"));
  EXPECT_THAT(Strings(all.begin() + 2, all.end()), UnorderedElementsAre("a1", "b1", "b2"));
}

TEST_F(AccountsManagerQueries, AccountsAreFoundAndCountedByType) {
  const auto store =
      storeOf({mailAccount("M1", "IMAPAccount"), account("A"), mailAccount("M2", "POPAccount"),
               with(account("D"), {{"Type", "CardDAV"}})});
  EXPECT_THAT(identifiersOf(store->basicAccountsWithTypes({"CardDAV", "Mail"})),
              ElementsAre("M1", "M2", "D"));
  EXPECT_EQ(store->countOfBasicAccountsWithTypes({"CardDAV", "Mail"}), 3U);
  EXPECT_EQ(store->countOfBasicAccountsWithTypes({}), 0U);
  EXPECT_THAT(store->basicAccountsWithTypes({"Gmail"}), IsEmpty());
  EXPECT_EQ(store->count(), 4U);
}

TEST_F(AccountsManagerQueries, FullAccountOfAChildIsTheChildsOwn) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c")}}})});
  const auto full = std::dynamic_pointer_cast<testing::FullAccountOf>(
      store->fullAccountWithIdentifierLoader("c", nullptr));
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(full->record.lock()->identifier(), "c");
  EXPECT_EQ(full->parent, store->accountWithIdentifier("P"));
  EXPECT_EQ(store->fullAccountWithIdentifierLoader("c", nullptr), full);
  EXPECT_EQ(store->fullAccountWithIdentifierLoader("", nullptr), nullptr);
  EXPECT_EQ(store->fullAccountWithIdentifierLoader("unknown", nullptr), nullptr);
}

TEST_F(AccountsManagerQueries, EmptyIdentifierHasNoFullAccount) {
  const auto store = storeOf({account("")});
  EXPECT_NE(store->accountWithIdentifier(""), nullptr);
  EXPECT_EQ(store->fullAccountWithIdentifierLoader("", nullptr), nullptr);
}

TEST_F(AccountsManagerQueries, FullAccountsOfTypesFollowTheirParents) {
  const auto cardDAV = [](std::string_view identifier) {
    return with(account(identifier), {{"Type", "CardDAV"}});
  };
  const auto store =
      storeOf({account("P1", {{"ChildAccounts", Array{cardDAV("c1"), account("c2")}}}),
               cardDAV("A"), account("P2", {{"ChildAccounts", Array{cardDAV("c3")}}})});
  EXPECT_THAT(recordsOf(store->accountsWithTypes({"CardDAV"})), ElementsAre("c1", "A", "c3"));
  const Strings all = recordsOf(store->accountsWithTypes({"CardDAV", "CalDAV"}));
  ASSERT_EQ(all.size(), 6U);
  EXPECT_EQ(all[0], "P1");
  EXPECT_THAT(Strings(all.begin() + 1, all.begin() + 3), UnorderedElementsAre("c1", "c2"));
  EXPECT_THAT(Strings(all.begin() + 3, all.end()), ElementsAre("A", "P2", "c3"));
}

TEST_F(AccountsManagerQueries, ChildWithoutATypeIsOfItsParentsType) {
  const Dictionary child = with(account("c"), {{"Type", "CardDAV"}});
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{child}}})});
  const Account loadedChild = store->allBasicSyncableAccounts()[1];
  EXPECT_THAT(recordsOf(store->accountsWithTypes({"CalDAV"})), ElementsAre("P"));
  loadedChild->removeAccountPropertyForKey("Type");
  EXPECT_THAT(recordsOf(store->accountsWithTypes({"CalDAV"})), ElementsAre("P", "c"));
}

TEST_F(AccountsManagerQueries,
       ChildrenFollowOnlyThatOneOfTwoParentsWithOneIdentifierThatHoldsThem) {
  const Dictionary child = mailAccount("c", "IMAPAccount");
  const auto store =
      storeOf({account("P"), account("Q"), account("P", {{"ChildAccounts", Array{child}}})});
  EXPECT_EQ(store->accountsWithTypes({"Mail"}).size(), 1U);
}

TEST_F(AccountsManagerQueries, ChildrenBelongToTheRecordTheyWereLoadedFrom) {
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c")}}})});
  // A record of the same identifier takes the parent's name, not its children.
  store->insertAccount(record(account("Q")));
  store->accountWithIdentifier("Q")->setAccountPropertyForKey("P", "Identifier");
  EXPECT_THAT(recordsOf(store->accountsWithTypes({"CalDAV"})), ElementsAre("P", "c", "P"));
}

TEST_F(AccountsManagerQueries, ListEntryThatTheMapLacksHasNoFullAccount) {
  const auto store = storeOf({account("A"), account("B")});
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"), record(account("N")));
  EXPECT_THAT(recordsOf(store->accountsWithTypes({"CalDAV"})), ElementsAre("B"));
}

TEST_F(AccountsManagerQueries, MailAccountsAreOfFourTypes) {
  const auto typed = [](std::string_view identifier, std::string_view type) {
    return with(account(identifier), {{"Type", type}, {"Class", "IMAPAccount"}});
  };
  const auto store =
      storeOf({typed("Y", "Yahoo"), typed("E", "Exchange"), typed("M", "Mail"), typed("S", "SMTP"),
               typed("Q", "Quorra"), typed("G", "Gmail"), account("A")});
  EXPECT_THAT(recordsOf(store->allMailAccounts()), ElementsAre("Y", "M", "Q", "G"));
}

// LoaderOf answers whether it made the class available, and counts how often it was asked.
struct LoaderOf : AccountLoader {
  bool loadBundleForAccountWithProperties(LiveProperties&) override {
    ++asked;
    return true;
  }
  int asked = 0;
};

TEST_F(AccountsManagerQueries, LoaderIsPassedOn) {
  context.classes().registerClass("FullAccountCreator",
                                  std::make_shared<testing::FullAccountCreator>());
  const auto loader = std::make_shared<LoaderOf>();
  const auto store = storeOf({account("P", {{"ChildAccounts", Array{account("c")}}})});
  EXPECT_THAT(recordsOf(store->accountsWithTypesWithLoader({"CalDAV"}, loader)),
              ElementsAre("P", "c"));
  EXPECT_EQ(loader->asked, 2);
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

}  // namespace
}  // namespace accountsettings
