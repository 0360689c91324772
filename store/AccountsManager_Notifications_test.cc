// Tests of what notifier classes are told: after saves, directly, and not at all.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/AssertionFailure.h"
#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// Notifier keeps what it is told.
struct Notifier : ClassObject,
                  NoteAccountChangesCapability,
                  AccountWillChangeCapability,
                  AccountDidChangeCapability {
  void noteAccountChanges(const Array& changes) override { calls.push_back(changes); }
  void accountWillChangeForDataclass(std::string_view identifier,
                                     std::string_view dataclass) override {
    direct.push_back("will " + std::string(identifier) + " " + std::string(dataclass));
  }
  void accountDidChangeForDataclass(std::string_view identifier,
                                    std::string_view dataclass) override {
    direct.push_back("did " + std::string(identifier) + " " + std::string(dataclass));
  }
  std::vector<Array> calls;
  std::vector<std::string> direct;
};

// MuteClass answers no message at all.
struct MuteClass : ClassObject {};

class AccountsManagerNotifications : public testing::StoreTest {
 protected:
  static constexpr const char* kModule = "/Modules/Notifiers";
  static constexpr std::string_view kMail = kAccountDataclassMail;
  static constexpr std::string_view kNotes = kAccountDataclassNotes;
  static constexpr std::string_view kCalendars = kAccountDataclassCalendars;
  static constexpr std::string_view kContacts = kAccountDataclassContacts;

  AccountsManagerNotifications() {
    fake.modules.put(kModule, [this](ClassRegistry& registry) {
      registry.registerClass("MailNotifier", mail);
      registry.registerClass("CalendarNotifier", calendar);
    });
    addNotifier("CalDAV", "MailNotifier", Array{kMail, kNotes});
    addNotifier("CalDAV", "CalendarNotifier", Array{kCalendars});
  }

  void addNotifier(std::string_view type, std::string_view className, const Array& dataclasses) {
    addNotifierEntry(type, Dictionary{{"Framework", kModule},
                                      {"Class", className},
                                      {"Supported Dataclasses", dataclasses}});
  }
  void addNotifierEntry(std::string_view type, const Dictionary& description) {
    addCreator(type, Dictionary{{"Type", "NotifierAccount"}, {"Description", description}});
  }

  static Dictionary enabled(std::string_view identifier, const Array& dataclasses,
                            Entries more = {}) {
    return with(with(account(identifier), {{"Enabled Dataclasses", dataclasses}}), more);
  }
  static Dictionary change(int type, std::string_view identifier, const Array& original,
                           std::string_view accountType = "CalDAV") {
    return Dictionary{{"ChangeType", type},
                      {"AccountID", identifier},
                      {"AccountType", accountType},
                      {"OriginalDataclasses", original}};
  }
  static std::vector<PropertyList> recordsIn(const Array& changes) {
    return {changes.begin(), changes.end()};
  }
  // The message of the assertion failure that `action` ends with; none where it ends well.
  static std::optional<std::string> failureOf(const std::function<void()>& action) {
    try {
      action();
      return std::nullopt;
    } catch (const AssertionFailure& failure) {
      EXPECT_EQ(failure.sourceFile(), "AccountsManager");
      EXPECT_NE(failure.method(), "");
      return failure.message();
    }
  }
  StringList namesFor(std::string_view type, std::string_view dataclass) {
    return AccountsManager::_notifierClassNamesForAccountTypeDataclass(std::string(type),
                                                                       dataclass);
  }

  std::shared_ptr<Notifier> mail = std::make_shared<Notifier>();
  std::shared_ptr<Notifier> calendar = std::make_shared<Notifier>();
};

// After a save

TEST_F(AccountsManagerNotifications, NothingChangedNothingTold) {
  const auto store = loaded({enabled("A", {kMail, kCalendars})});
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
  EXPECT_THAT(calendar->calls, IsEmpty());
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

TEST_F(AccountsManagerNotifications, AddedAccountIsToldWithoutOriginalDataclasses) {
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kCalendars})));
  store->saveAllAccounts();
  EXPECT_THAT(calendar->calls, ElementsAre(Array{change(0, "A", {})}));
  EXPECT_THAT(mail->calls, IsEmpty());
  store->saveAllAccounts();
  EXPECT_EQ(calendar->calls.size(), 1U);
}

TEST_F(AccountsManagerNotifications, DeletedAccountIsToldWithItsOriginalIdentifierAndType) {
  const auto store = loaded({enabled("A", {kCalendars, kMail})});
  store->deleteAccountWithIdentifier("A");
  store->saveAllAccounts();
  const Array expected{change(2, "A", {kCalendars, kMail})};
  EXPECT_THAT(calendar->calls, ElementsAre(expected));
  EXPECT_THAT(mail->calls, ElementsAre(expected));
}

TEST_F(AccountsManagerNotifications, ChangedPropertyTellsEveryEnabledDataclass) {
  const auto store = loaded({enabled("A", {kMail, kNotes, kCalendars}), enabled("B", {kMail})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey("new", "k");
  store->saveAllAccounts();
  const Array expected{change(1, "A", {kMail, kNotes, kCalendars})};
  EXPECT_THAT(calendar->calls, ElementsAre(expected));
  // One record though two of its data classes are concerned.
  EXPECT_THAT(mail->calls, ElementsAre(expected));
}

TEST_F(AccountsManagerNotifications, PropertyThatComesOrGoesIsAChange) {
  const auto store = loaded({enabled("A", {kMail}, {{"k", 1}}), enabled("B", {kMail})});
  store->accountWithIdentifier("A")->removeAccountPropertyForKey("k");
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(1, "A", {kMail})}));
  store->accountWithIdentifier("B")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_EQ(mail->calls.back(), Array{change(1, "B", {kMail})});
}

TEST_F(AccountsManagerNotifications, OrderOfPropertiesIsNoChange) {
  const auto store = loaded({enabled("A", {kMail}, {{"k", 1}, {"l", 2}})});
  const Account account = store->accountWithIdentifier("A");
  for (const char* key : {"Enabled Dataclasses", "k", "Identifier"}) {
    const auto value = account->accountPropertyForKey(key);
    account->removeAccountPropertyForKey(key);
    account->setAccountPropertyForKey(value, key);
  }
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, SwitchOfOneDataclassAndAnotherChangeTellBoth) {
  const auto store = loaded({enabled("A", {kMail, kCalendars})});
  const Account account = store->accountWithIdentifier("A");
  account->setAccountPropertyForKey(Array{kMail}, "Enabled Dataclasses");
  account->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  const Array expected{change(1, "A", {kMail, kCalendars})};
  EXPECT_THAT(mail->calls, ElementsAre(expected));
  EXPECT_THAT(calendar->calls, ElementsAre(expected));
}

TEST_F(AccountsManagerNotifications, SwitchedDataclassTellsItsOwnNotifiersOnly) {
  const auto store = loaded({enabled("A", {kMail, kCalendars})});
  const Account account = store->accountWithIdentifier("A");
  account->setAccountPropertyForKey(Array{kMail}, "Enabled Dataclasses");
  store->saveAllAccounts();
  EXPECT_THAT(calendar->calls, ElementsAre(Array{change(1, "A", {kMail, kCalendars})}));
  EXPECT_THAT(mail->calls, IsEmpty());

  account->setAccountPropertyForKey(Array{kCalendars, kMail}, "Enabled Dataclasses");
  store->saveAllAccounts();
  EXPECT_EQ(calendar->calls.back(), Array{change(1, "A", {kMail})});
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, StoredListsAreComparedNotReportedOnes) {
  // The registry supports no data class of this name, so the record never reports it.
  addNotifier("CardDAV", "MailNotifier", Array{"com.zelqo.Dataclass.Unsupported"});
  const Dictionary properties =
      with(enabled("A", {"com.zelqo.Dataclass.Unsupported"}), {{"Type", "CardDAV"}});
  const auto store = loaded({properties});
  ASSERT_THAT(store->accountWithIdentifier("A")->enabledDataclasses().value(), IsEmpty());
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_EQ(mail->calls.size(), 1U);
}

TEST_F(AccountsManagerNotifications, OrderOfEnabledDataclassesIsNoChange) {
  const auto store = loaded({enabled("A", {kMail, kCalendars})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(Array{kCalendars, kMail},
                                                              "Enabled Dataclasses");
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
  EXPECT_THAT(calendar->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, ChangeOfActivityOrChildrenAloneTellsNobody) {
  const auto store = loaded({enabled("A", {kMail, kCalendars}, {{"IsActive", true}}),
                             enabled("P", {kMail}, {{"ChildAccounts", Array{account("c")}}})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(false, "IsActive");
  store->removeChildWithIdentifierFromAccount("c", store->accountWithIdentifier("P"));
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
  EXPECT_THAT(calendar->calls, IsEmpty());
  EXPECT_EQ(*savedAccount(0).find("IsActive"), PropertyList(false));
}

TEST_F(AccountsManagerNotifications, WithNothingEnabledNowOnlyTheDifferenceIsTold) {
  const auto store = loaded({enabled("A", {kMail}), enabled("B", {})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->accountWithIdentifier("A")->removeAccountPropertyForKey("Enabled Dataclasses");
  store->accountWithIdentifier("B")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(1, "A", {kMail})}));
  EXPECT_THAT(calendar->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, TwoAccountsOfOneClassAreToldInOneCall) {
  const auto store = loaded({enabled("A", {kMail}), enabled("B", {kMail})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey(1, "k");
  store->accountWithIdentifier("B")->setAccountPropertyForKey(1, "k");
  store->saveAllAccounts();
  ASSERT_EQ(mail->calls.size(), 1U);
  EXPECT_THAT(recordsIn(mail->calls[0]),
              UnorderedElementsAre(change(1, "A", {kMail}), change(1, "B", {kMail})));
}

TEST_F(AccountsManagerNotifications, RecordsComeDeletedAddedModified) {
  const auto store = loaded({enabled("M", {kMail}), enabled("D", {kMail})});
  store->accountWithIdentifier("M")->setAccountPropertyForKey(1, "k");
  store->insertAccount(record(enabled("A", {kMail})));
  store->deleteAccountWithIdentifier("D");
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(2, "D", {kMail}), change(0, "A", {}),
                                             change(1, "M", {kMail})}));
}

TEST_F(AccountsManagerNotifications, ClassNamedTwiceGetsOneRecord) {
  addNotifier("CalDAV", "MailNotifier", Array{kMail});
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kMail})));
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(0, "A", {})}));
}

TEST_F(AccountsManagerNotifications, TypeComesFromTheCurrentPropertiesAndElseTheOriginalOnes) {
  const auto store = loaded({enabled("A", {kMail}), enabled("B", {kMail})});
  addNotifier("CardDAV", "MailNotifier", Array{kMail});
  store->accountWithIdentifier("A")->_forcedSetAccountPropertyForKey("CardDAV", "Type");
  store->accountWithIdentifier("B")->removeAccountPropertyForKey("Type");
  store->saveAllAccounts();
  ASSERT_EQ(mail->calls.size(), 1U);
  EXPECT_THAT(recordsIn(mail->calls[0]), UnorderedElementsAre(change(1, "A", {kMail}, "CardDAV"),
                                                              change(1, "B", {kMail}, "CalDAV")));
}

TEST_F(AccountsManagerNotifications,
       IdentifierComesFromTheCurrentPropertiesAndElseTheOriginalOnes) {
  const auto store = loaded({enabled("A", {kMail}), enabled("B", {kMail})});
  store->accountWithIdentifier("A")->setAccountPropertyForKey("X", "Identifier");
  store->accountWithIdentifier("B")->removeAccountPropertyForKey("Identifier");
  store->saveAllAccounts();
  ASSERT_EQ(mail->calls.size(), 1U);
  EXPECT_THAT(recordsIn(mail->calls[0]),
              UnorderedElementsAre(change(1, "X", {kMail}), change(1, "B", {kMail})));
}

TEST_F(AccountsManagerNotifications, MissingTypeAndIdentifierAreLeftOutOfTheRecord) {
  const auto store = loaded({});
  NotificationSet notifications;
  const Dictionary nameless{{"Type", "CalDAV"}, {"Enabled Dataclasses", Array{kMail}}};
  store->_addNotificationToDictionaryForChangeTypeOriginalPropertiesCurrentProperties(
      notifications, AccountChangeType::Added, std::nullopt, nameless);
  EXPECT_THAT(
      notifications,
      ElementsAre(std::pair("MailNotifier", Array{Dictionary{{"ChangeType", 0},
                                                             {"AccountType", "CalDAV"},
                                                             {"OriginalDataclasses", Array()}}})));
}

TEST_F(AccountsManagerNotifications, SnapshotIsNotSharedWithTheRecords) {
  const auto store = loaded({enabled("A", {kMail}, {{"nested", Dictionary{{"k", 1}}}})});
  const Account account = store->accountWithIdentifier("A");
  Dictionary nested = *account->properties().values().dictionary("nested");
  nested.set("k", 2);
  account->setAccountPropertyForKey(nested, "nested");
  store->saveAllAccounts();
  EXPECT_EQ(mail->calls.size(), 1U);
}

TEST_F(AccountsManagerNotifications, RepairAtLoadIsSavedButNeverTold) {
  addNotifier("Mail", "MailNotifier", Array{kMail});
  const auto store =
      loaded({with(mailAccount("M", "Unheard"),
                   {{"AccountPath", "Mail/POP-x"}, {"Enabled Dataclasses", Array{kMail}}})});
  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("Class"), PropertyList("POPAccount"));
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, WhatARecordDoesNotGiveToSaveIsNotTold) {
  const auto store = loaded({});
  const auto silent =
      std::make_shared<testing::KeepingBack>(enabled("A", {kMail}), "Enabled Dataclasses");
  const auto account =
      std::make_shared<testing::KeepingBack>(enabled("B", {kMail}, {{"k", 1}}), "k");
  store->insertAccount(silent);
  store->insertAccount(account);
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(0, "B", {})}));
  account->setAccountPropertyForKey(2, "k");
  store->saveAllAccounts();
  EXPECT_EQ(mail->calls.size(), 1U);
}

TEST_F(AccountsManagerNotifications, WhatTheMergeBringsFromDiskIsNotTold) {
  const auto store = loaded({enabled("A", {kMail})});
  putSettings({enabled("A", {kMail}, {{"k", 1}})});
  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("k"), PropertyList(1));
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, ReplacedAccountIsToldDeletedAgainAndAgain) {
  const auto store = loaded({enabled("A", {kMail})});
  store->replaceAccountWithAccount(store->accountWithIdentifier("A"),
                                   record(enabled("N", {kMail})));
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(2, "A", {kMail})}));
  mail->calls.clear();
  for (int save = 0; save < 2; ++save) store->saveAllAccounts();
  const Array deleted{change(2, "N", {kMail})};
  EXPECT_THAT(mail->calls, ElementsAre(deleted, deleted));
}

TEST_F(AccountsManagerNotifications, AccountFoundUnfixableAtASaveIsToldDeleted) {
  addNotifier("Mail", "MailNotifier", Array{kMail});
  const auto store =
      loaded({with(mailAccount("M", "POPAccount"), {{"Enabled Dataclasses", Array{kMail}}})});
  store->accountWithIdentifier("M")->_forcedSetAccountPropertyForKey("Unheard", "Class");
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(2, "M", {kMail}, "Mail")}));
  EXPECT_EQ(savedAccounts().size(), 1U);
}

TEST_F(AccountsManagerNotifications, AccountThatBecomesAChildIsToldDeleted) {
  const auto store = loaded({enabled("A", {kMail}), account("P")});
  const Account account = store->accountWithIdentifier("A");
  store->deleteAccount(account);
  store->addChildToAccount(account, store->accountWithIdentifier("P"));
  ASSERT_EQ(store->accountWithIdentifier("A"), store->accountWithIdentifier("P"));
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(2, "A", {kMail})}));
}

TEST_F(AccountsManagerNotifications, OfARepeatedIdentifierTheLaterIsComparedWithItself) {
  const auto store = loaded({enabled("A", {kMail}, {{"k", 1}}), enabled("A", {kMail}, {{"k", 2}})});
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, SnapshotHoldsTheIdentifiersOfTheListedAccounts) {
  const auto store =
      loaded({enabled("A", {kMail}), enabled("A", {kMail}, {{"k", 2}}),
              enabled("B", {kMail}, {{"ChildAccounts", Array{enabled("c", {kMail})}}})});
  for (const char* identifier : {"A", "A", "B", "c"}) {
    store->deleteAccountWithIdentifier(identifier);
  }
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, ElementsAre(Array{change(2, "A", {kMail}), change(2, "B", {kMail})}));
}

// Failures

TEST_F(AccountsManagerNotifications, UnknownTypeRaisesOnlyIfADataclassIsConcerned) {
  removeCreators("CardDAV");
  const Dictionary silent = with(account("A"), {{"Type", "CardDAV"}});
  const auto store = loaded({silent});
  const Account account = store->accountWithIdentifier("A");
  account->setAccountPropertyForKey(1, "k");
  EXPECT_EQ(failureOf([&] { store->saveAllAccounts(); }), std::nullopt);

  account->setAccountPropertyForKey(Array{kMail}, "Enabled Dataclasses");
  const std::string message =
      "Malformed AccountCreators information. Could not find the information for the type CardDAV";
  EXPECT_EQ(failureOf([&] { store->saveAllAccounts(); }), message);
  // The file is written by then; the snapshot is not retaken, so the next save fails as well.
  EXPECT_EQ(*savedAccount().find("Enabled Dataclasses"), PropertyList(Array{kMail}));
  EXPECT_EQ(failureOf([&] { store->saveAllAccounts(); }), message);
}

TEST_F(AccountsManagerNotifications, MissingCreatorsInformationRaises) {
  fake.resources.remove("AccountCreators");
  EXPECT_EQ(failureOf([&] { (void)namesFor("CalDAV", kMail); }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "CalDAV");
  EXPECT_EQ(failureOf([&] {
              (void)AccountsManager::_notifierClassNamesForAccountTypeDataclass(std::nullopt,
                                                                                kMail);
            }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "(null)");
}

TEST_F(AccountsManagerNotifications, MissingClassStopsThePassAfterEarlierCalls) {
  addNotifier("CalDAV", "Missing", Array{kMail});
  addNotifier("CalDAV", "ZNotifier", Array{kMail});
  const auto last = std::make_shared<Notifier>();
  context.classes().registerClass("ZNotifier", last);
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kMail})));
  EXPECT_EQ(failureOf([&] { store->saveAllAccounts(); }),
            "Could not find a class for class name Missing");
  EXPECT_EQ(mail->calls.size(), 1U);
  EXPECT_THAT(last->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, NoClassIsCalledIfALookUpFails) {
  addNotifierEntry("CardDAV",
                   Dictionary{{"Class", "MailNotifier"}, {"Supported Dataclasses", Array{kMail}}});
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kMail})));
  store->insertAccount(record(with(enabled("B", {kMail}), {{"Type", "CardDAV"}})));
  EXPECT_NE(failureOf([&] { store->saveAllAccounts(); }), std::nullopt);
  EXPECT_THAT(mail->calls, IsEmpty());
}

// The look-up

TEST_F(AccountsManagerNotifications, LookUpNamesTheClassesOfTheDataclassAndLoadsTheirModules) {
  EXPECT_THAT(namesFor("CalDAV", kNotes), ElementsAre("MailNotifier"));
  EXPECT_THAT(fake.modules.loads, ElementsAre(kModule));
}

TEST_F(AccountsManagerNotifications, LookUpKeepsAClassThatIsNamedTwice) {
  addNotifier("CalDAV", "MailNotifier", Array{kMail});
  EXPECT_THAT(namesFor("CalDAV", kMail), ElementsAre("MailNotifier", "MailNotifier"));
}

TEST_F(AccountsManagerNotifications, LookUpFindsNothingForOtherTypesKindsAndDataclasses) {
  for (const char* kind : {"SyncAccount", "FullAccount"}) {
    addCreator("CardDAV", {{"Type", kind},
                           {"Description", Dictionary{{"Framework", kModule},
                                                      {"Class", "MailNotifier"},
                                                      {"Supported Dataclasses", Array{kMail}}}}});
  }
  EXPECT_THAT(namesFor("CardDAV", kMail), IsEmpty());
  EXPECT_THAT(namesFor("CalDAV", kContacts), IsEmpty());
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

TEST_F(AccountsManagerNotifications, EntryWithoutDescriptionIsNoMatch) {
  addCreator("CardDAV", {{"Type", "NotifierAccount"}});
  addCreator("CardDAV", {{"Type", "NotifierAccount"}, {"Description", "text"}});
  addNotifierEntry("CardDAV", Dictionary{{"Framework", kModule}, {"Class", "MailNotifier"}});
  EXPECT_THAT(namesFor("CardDAV", kMail), IsEmpty());
}

TEST_F(AccountsManagerNotifications, FrameworkIsRequiredThoughTheClassIsThere) {
  context.classes().registerClass("MailNotifier", mail);
  addNotifierEntry("CardDAV",
                   Dictionary{{"Class", "MailNotifier"}, {"Supported Dataclasses", Array{kMail}}});
  EXPECT_EQ(failureOf([&] { (void)namesFor("CardDAV", kMail); }),
            "Malformed AccountCreators information. Could not find the path to the framework for "
            "the notifier with type CardDAV");
}

TEST_F(AccountsManagerNotifications, FrameworkIsLoadedThoughTheClassIsThere) {
  context.classes().registerClass("MailNotifier", mail);
  EXPECT_THAT(namesFor("CalDAV", kMail), ElementsAre("MailNotifier"));
  EXPECT_THAT(fake.modules.loads, ElementsAre(kModule));
}

TEST_F(AccountsManagerNotifications, FrameworkThatCannotBeLoadedRaisesWithTheLoadersText) {
  fake.directories.systemRoot = "/root";
  fake.modules.fail("/root/Modules/Notifiers", "undefined symbol: x");
  EXPECT_EQ(failureOf([&] { (void)namesFor("CalDAV", kMail); }),
            "Could not load the account creator framework /root/Modules/Notifiers. Error "
            "undefined symbol: x");
}

TEST_F(AccountsManagerNotifications, MissingOrEmptyClassNameRaisesAfterTheModuleIsLoaded) {
  for (const Dictionary& description :
       {Dictionary{{"Framework", kModule}, {"Supported Dataclasses", Array{kMail}}},
        Dictionary{
            {"Framework", kModule}, {"Class", ""}, {"Supported Dataclasses", Array{kMail}}}}) {
    removeCreators("CardDAV");
    addNotifierEntry("CardDAV", description);
    ProcessContext fresh(fake.platform());
    const ProcessContext::Override overriding(fresh);
    fake.modules.loads.clear();
    EXPECT_EQ(failureOf([&] { (void)namesFor("CardDAV", kMail); }),
              "Malformed AccountCreators information. Could not find the name of the class for "
              "notificatinos with the type CardDAV");
    EXPECT_THAT(fake.modules.loads, ElementsAre(kModule));
  }
}

// Direct calls and the switch

TEST_F(AccountsManagerNotifications, DirectCallsReachTheNotifiersOfTypeAndDataclass) {
  const Account account = record(enabled("A", {}));
  AccountsManager::accountWillChangeForDataclass(*account, kMail);
  AccountsManager::accountDidChangeForDataclass(*account, kCalendars);
  EXPECT_THAT(mail->direct, ElementsAre("will A com.zelqo.Dataclass.Mail"));
  EXPECT_THAT(calendar->direct, ElementsAre("did A com.zelqo.Dataclass.Calendars"));
  EXPECT_THAT(mail->calls, IsEmpty());
}

TEST_F(AccountsManagerNotifications, DirectCallsPassOverClassesThatDoNotAnswer) {
  addNotifier("CardDAV", "Mute", Array{kMail});
  context.classes().registerClass("Mute", std::make_shared<MuteClass>());
  const Account account = record(with(enabled("A", {}), {{"Type", "CardDAV"}}));
  AccountsManager::accountWillChangeForDataclass(*account, kMail);
  AccountsManager::accountDidChangeForDataclass(*account, kMail);
  EXPECT_THAT(mail->direct, IsEmpty());
}

TEST_F(AccountsManagerNotifications, DirectCallsRaiseForAMissingClass) {
  addNotifier("CardDAV", "Missing", Array{kMail});
  const Account account = record(with(enabled("A", {}), {{"Type", "CardDAV"}}));
  const std::string message = "Could not find a class for class name Missing";
  EXPECT_EQ(failureOf([&] { AccountsManager::accountWillChangeForDataclass(*account, kMail); }),
            message);
  EXPECT_EQ(failureOf([&] { AccountsManager::accountDidChangeForDataclass(*account, kMail); }),
            message);
}

TEST_F(AccountsManagerNotifications, DirectCallsStopAtTheMissingClassAfterEarlierOnes) {
  addNotifier("CardDAV", "MailNotifier", Array{kMail});
  addNotifier("CardDAV", "Missing", Array{kMail});
  addNotifier("CardDAV", "CalendarNotifier", Array{kMail});
  const Account account = record(with(enabled("A", {}), {{"Type", "CardDAV"}}));
  EXPECT_NE(failureOf([&] { AccountsManager::accountWillChangeForDataclass(*account, kMail); }),
            std::nullopt);
  EXPECT_EQ(mail->direct.size(), 1U);
  EXPECT_THAT(calendar->direct, IsEmpty());
}

TEST_F(AccountsManagerNotifications, ClassNamedTwiceIsCalledTwiceDirectly) {
  addNotifier("CalDAV", "MailNotifier", Array{kMail});
  AccountsManager::accountDidChangeForDataclass(*record(enabled("A", {})), kMail);
  EXPECT_EQ(mail->direct.size(), 2U);
}

TEST_F(AccountsManagerNotifications, FailuresNameTheOperation) {
  addNotifier("CardDAV", "Missing", Array{kMail});
  const auto methodOf = [](const std::function<void()>& action) -> std::string {
    try {
      action();
      return "nothing was thrown";
    } catch (const AssertionFailure& failure) {
      return failure.method();
    }
  };
  const Account account = record(with(enabled("A", {kMail}), {{"Type", "CardDAV"}}));
  EXPECT_EQ(methodOf([&] { (void)namesFor("Unknown", kMail); }),
            "+[AccountsManager _notifierClassNamesForAccountType:dataclass:]");
  EXPECT_EQ(methodOf([&] { AccountsManager::accountWillChangeForDataclass(*account, kMail); }),
            "+[AccountsManager accountWillChange:forDataclass:]");
  EXPECT_EQ(methodOf([&] { AccountsManager::accountDidChangeForDataclass(*account, kMail); }),
            "+[AccountsManager accountDidChange:forDataclass:]");
  const auto store = loaded({});
  store->insertAccount(account);
  EXPECT_EQ(methodOf([&] { store->saveAllAccounts(); }),
            "-[AccountsManager _sendNotificationsForChangedAccounts]");
}

TEST_F(AccountsManagerNotifications, SwitchStopsThePassButNotDirectCalls) {
  AccountsManager::_setShouldSkipNotifications(true);
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kMail})));
  store->saveAllAccounts();
  EXPECT_THAT(mail->calls, IsEmpty());
  AccountsManager::accountDidChangeForDataclass(*store->accountWithIdentifier("A"), kMail);
  EXPECT_EQ(mail->direct.size(), 1U);
}

TEST_F(AccountsManagerNotifications, SwitchIsOffAtStartInEachProcess) {
  AccountsManager::_setShouldSkipNotifications(true);
  ProcessContext fresh(fake.platform());
  const ProcessContext::Override overriding(fresh);
  const auto store = loaded({});
  store->insertAccount(record(enabled("A", {kMail})));
  store->saveAllAccounts();
  EXPECT_EQ(mail->calls.size(), 1U);
}

// The group's name

TEST_F(AccountsManagerNotifications, OnlySubscribedCalendarsHaveAGroupName) {
  fake.resources.putText("AccountsManager", "SUBSCRIBED_CALENDAR_GROUP_TITLE", "Subscribed");
  fake.resources.putText("AccountsManager", "SUBSCRIBED_CALENDAR_GROUP_MID_SENTENCE_TITLE",
                         "subscribed");
  const auto name = AccountsManager::displayNameForGroupOfAccountTypeForBeginningOfSentence;
  EXPECT_EQ(name("Subscribed Calendar", true), "Subscribed");
  EXPECT_EQ(name("Subscribed Calendar", false), "subscribed");
  EXPECT_EQ(name("Mail", true), std::nullopt);
  EXPECT_EQ(name("", false), std::nullopt);
}

TEST_F(AccountsManagerNotifications, MissingGroupNameAnswersItsKey) {
  fake.faults.failAlways("resources.localizedString");
  EXPECT_EQ(AccountsManager::displayNameForGroupOfAccountTypeForBeginningOfSentence(
                "Subscribed Calendar", true),
            "SUBSCRIBED_CALENDAR_GROUP_TITLE");
}

TEST_F(AccountsManagerNotifications, AnEmptyCreatorsListIsAListAndNamesNobody) {
  fake.resources.put("AccountCreators", Dictionary{{"CalDAV", Array()}});
  EXPECT_THAT(AccountsManager::_notifierClassNamesForAccountTypeDataclass("CalDAV", kMail),
              IsEmpty());
  const Account account = record(StoreTest::account("A"));
  EXPECT_EQ(
      account->_creatorClassNameForAccountTypeCreatorTypeLoader("CalDAV", "FullAccount", nullptr),
      std::nullopt);
  EXPECT_THROW((void)AccountsManager::_notifierClassNamesForAccountTypeDataclass("Mail", kMail),
               AssertionFailure);
}

}  // namespace
}  // namespace accountsettings
