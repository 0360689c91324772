// Tests of the listeners that a program registers for its own saves.
#include <stdexcept>
#include <string>

#include "platform/AssertionFailure.h"
#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

Array mail() {
  return {std::string(kAccountDataclassMail)};
}

class AccountsManagerListeners : public testing::StoreTest {
 protected:
  // Each call as "type identifier, ..." in order.
  ChangeListener keeping(Strings& heard) {
    return [&heard](const Array& changes) {
      std::string text;
      for (const PropertyList& each : changes) {
        const Dictionary& change = *each.dictionary();
        text += std::to_string(change.find(kRSChangeAccountChangeTypeKey)->integerValue()) + " " +
                std::string(*change.find(kRSChangeAccountIdentifierKey)->stringValue()) + ", ";
      }
      heard.push_back(text);
    };
  }
  Strings calls;
};

TEST_F(AccountsManagerListeners, HearOfEveryAccountThatASaveAddedDeletedOrChanged) {
  const auto store = loaded({account("A"), account("B"), account("C")});
  const auto registration = AccountsManager::addChangeListener(keeping(calls));
  store->deleteAccountWithIdentifier("A");
  store->accountWithIdentifier("B")->setAccountPropertyForKey(true, "IsActive");
  store->insertAccount(record(account("D")));
  store->saveAllAccounts();
  EXPECT_THAT(calls, ElementsAre("2 A, 0 D, 1 B, "));
  store->saveAllAccounts();
  EXPECT_EQ(calls.size(), 1U);
}

TEST_F(AccountsManagerListeners, GetTheRecordsThatNotifiersGet) {
  const auto store = loaded({account("A", {{"Enabled Dataclasses", mail()}})});
  Array heard;
  const auto registration =
      AccountsManager::addChangeListener([&](const Array& changes) { heard = changes; });
  store->deleteAccountWithIdentifier("A");
  store->saveAllAccounts();
  EXPECT_EQ(heard, (Array{Dictionary{{"ChangeType", 2},
                                     {"AccountID", "A"},
                                     {"AccountType", "CalDAV"},
                                     {"OriginalDataclasses", mail()}}}));
}

TEST_F(AccountsManagerListeners, MayWantCertainDataclassesOnly) {
  const auto store = loaded({account("A", {{"Enabled Dataclasses", mail()}}), account("B")});
  Strings ofMail;
  Strings ofNotes;
  const auto first =
      AccountsManager::addChangeListener(keeping(ofMail), {std::string(kAccountDataclassMail)});
  const auto second =
      AccountsManager::addChangeListener(keeping(ofNotes), {std::string(kAccountDataclassNotes)});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->accountWithIdentifier("B")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(ofMail, ElementsAre("1 A, "));
  EXPECT_THAT(ofNotes, IsEmpty());
}

TEST_F(AccountsManagerListeners, AreCalledAfterTheListedNotifiersInTheOrderOfRegistration) {
  struct Notifier : ClassObject, NoteAccountChangesCapability {
    explicit Notifier(Strings& calls) : order(calls) {}
    void noteAccountChanges(const Array&) override { order.emplace_back("listed"); }
    Strings& order;
  };
  Strings order;
  addCreator("CalDAV", {{"Type", "NotifierAccount"},
                        {"Description", Dictionary{{"Framework", "/Modules/Notifier"},
                                                   {"Class", "Notifier"},
                                                   {"Supported Dataclasses", mail()}}}});
  fake.modules.put("/Modules/Notifier", [&order](ClassRegistry& registry) {
    registry.registerClass("Notifier", std::make_shared<Notifier>(order));
  });
  const auto store = loaded({account("A", {{"Enabled Dataclasses", mail()}})});
  const auto first =
      AccountsManager::addChangeListener([&](const Array&) { order.emplace_back("first"); });
  const auto second =
      AccountsManager::addChangeListener([&](const Array&) { order.emplace_back("second"); });
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(order, ElementsAre("listed", "first", "second"));
}

TEST_F(AccountsManagerListeners, OneThatThrowsIsLoggedAndStopsNoOther) {
  const auto store = loaded({account("A")});
  const auto first = AccountsManager::addChangeListener(
      [](const Array&) { throw std::runtime_error("no room on the screen"); });
  const auto second = AccountsManager::addChangeListener([](const Array&) { throw 1; });
  const auto third = AccountsManager::addChangeListener(keeping(calls));
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(takeLog(),
              ElementsAre("A listener to changes of accounts failed: no room on the screen",
                          "A listener to changes of accounts failed"));
  EXPECT_THAT(calls, ElementsAre("1 A, "));
  // The changes count as told.
  store->saveAllAccounts();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsManagerListeners, HearNothingOfAFailedSaveAndAllOfItLater) {
  const auto store = loaded({account("A")});
  const auto registration = AccountsManager::addChangeListener(keeping(calls));
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  fake.faults.failAt("files.rename");
  store->saveAllAccounts();
  EXPECT_THAT(calls, IsEmpty());
  store->saveAllAccounts();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsManagerListeners, HearNothingWhileNotificationsAreSkipped) {
  const auto store = loaded({account("A")});
  const auto registration = AccountsManager::addChangeListener(keeping(calls));
  AccountsManager::_setShouldSkipNotifications(true);
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(calls, IsEmpty());
  AccountsManager::_setShouldSkipNotifications(false);
  store->saveAllAccounts();
  EXPECT_THAT(calls, ElementsAre("1 A, "));
}

TEST_F(AccountsManagerListeners, HearNothingMoreOnceTheirRegistrationIsGone) {
  const auto store = loaded({account("A")});
  ListenerRegistration registration = AccountsManager::addChangeListener(keeping(calls));
  registration.reset();
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(AccountsManagerListeners, MayEndTheirOwnRegistrationAndSaveAgain) {
  const auto store = loaded({account("A")});
  ListenerRegistration registration;
  registration = AccountsManager::addChangeListener([&](const Array&) {
    registration.reset();
    store->insertAccount(record(account("B")));
    store->saveAllAccounts();
  });
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_EQ(AccountsManager::init()->count(), 2U);
}

TEST_F(AccountsManagerListeners, MaySaveAndHearOfThatToo) {
  const auto store = loaded({account("A")});
  ListenerRegistration registration = AccountsManager::addChangeListener([&](const Array& changes) {
    keeping(calls)(changes);
    if (store->count() > 3) return;
    store->insertAccount(record(account("B" + std::to_string(store->count()))));
    store->saveAllAccounts();
  });
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(calls, ElementsAre("1 A, ", "0 B1, ", "0 B2, ", "0 B3, "));
}

TEST_F(AccountsManagerListeners, BelongToTheirContext) {
  ListenerRegistration registration;
  {
    testing::FakePlatform otherDevice;
    ProcessContext other(otherDevice.platform());
    const ProcessContext::Override there(other);
    registration = AccountsManager::addChangeListener(keeping(calls));
  }
  const auto store = loaded({account("A")});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(calls, IsEmpty());
}

}  // namespace
}  // namespace accountsettings
