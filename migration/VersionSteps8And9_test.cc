// Tests of the version steps for what the releases 8A to 9B wrote.
#include "testing/DocumentPath.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using testing::dataclass;
using testing::dataclasses;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class VersionSteps8And9 : public testing::MigrationTest {
 protected:
  using Step = bool (AccountsDataMigrator::*)(AccountsManager&);

  VersionSteps8And9() { AccountsManager::_setShouldSkipNotifications(true); }

  // What the step makes of these accounts.
  static PropertyList after(Step step, const Array& accounts) {
    AccountsDataMigrator migrator;
    const auto store = storeOf(accounts);
    EXPECT_TRUE((migrator.*step)(*store));
    return accountsIn(*store);
  }
  static PropertyList after8A293(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom8A293, accounts);
  }
  static PropertyList after8B117(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom8B117, accounts);
  }
  static PropertyList after8C136(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom8C136, accounts);
  }
  static PropertyList after9A182(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom9A182, accounts);
  }
  static PropertyList after9A334(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom9A334, accounts);
  }
  static PropertyList after9B176(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom9B176, accounts);
  }
  static Dictionary with(Dictionary properties, const Dictionary& more) {
    for (const auto& entry : more) properties.set(entry.key(), entry.value());
    return properties;
  }
  static Dictionary account(const char* type, const char* accountClass, const Dictionary& more) {
    return with({{"Type", type}, {"Class", accountClass}}, more);
  }
  static Dictionary cloud(const Dictionary& more) {
    return account("ZelqoAccount", "ZQAccount", with({{"Identifier", "z"}}, more));
  }
  static Dictionary enabled(std::initializer_list<std::string_view> names) {
    return {{"Enabled Dataclasses", dataclasses(names)}};
  }
};

// 8A293: notes on the small processor.

TEST_F(VersionSteps8And9, NotesStayWhereTheyAreOnOtherProcessors) {
  const Array accounts{
      account("Mail", "IMAPAccount", with({{"Identifier", "m"}}, enabled({"Notes"}))),
      account("OnMyDevice", "D", {{"Identifier", "d"}})};
  EXPECT_EQ(after8A293(accounts), PropertyList(accounts));
  for (const PropertyList& other :
       {PropertyList("armv7"), PropertyList("armv6l"), PropertyList("ARMV6"), PropertyList(6)}) {
    fake.deviceAnswers.set("CPUArchitecture", other);
    EXPECT_EQ(after8A293(accounts), PropertyList(accounts));
  }
}

TEST_F(VersionSteps8And9, OnTheSmallProcessorTheDeviceCarriesNotesEvenIfItsTypeCannot) {
  fake.deviceAnswers.set("CPUArchitecture", "armv6");
  EXPECT_EQ(after8A293({account("OnMyDevice", "D", {{"Identifier", "d"}})}),
            PropertyList(Array{
                account("OnMyDevice", "D", with({{"Identifier", "d"}}, enabled({"Notes"})))}));
}

TEST_F(VersionSteps8And9, OnTheSmallProcessorReportedNotesGoAndHiddenOnesStay) {
  fake.deviceAnswers.set("CPUArchitecture", "armv6");
  // A type of notes alone keeps them there; from any other they are hidden.
  EXPECT_EQ(after8A293({account("IMAPNotes", "N", with({{"Identifier", "n"}}, enabled({"Notes"}))),
                        account("Mail", "IMAPAccount",
                                with({{"Identifier", "m"}}, enabled({"Mail", "Notes"})))}),
            PropertyList(Array{account("IMAPNotes", "N", with({{"Identifier", "n"}}, enabled({}))),
                               account("Mail", "IMAPAccount",
                                       with({{"Identifier", "m"}}, enabled({"Mail", "Notes"})))}));
}

// 8B117: umbrellas for hosted mail accounts.

TEST_F(VersionSteps8And9, AHostedMailAccountMovesUnderAnUmbrella) {
  const Dictionary child = account("CalDAV", "MobileCalDAVAccount", {{"Identifier", "c"}});
  const Array calendars{Dictionary{{"URL", "webcal://x"}}};
  const Array subscribed{Dictionary{{"Info", 1}}};
  const Dictionary old = account("Quorra", "QuorraAccount",
                                 with({{"Identifier", "U"},
                                       {"Sync Identifier", "S"},
                                       {"Username", "name"},
                                       {"DisplayName", "Q"},
                                       {"IsActive", true},
                                       {"CalDAVEnabled", false},
                                       {"ChildAccounts", Array{child}},
                                       {"Subscribed Calendars", calendars},
                                       {"DAExoSubscribedCalendarInfos", subscribed},
                                       {"Provisioned Dataclasses", dataclasses({"Mail"})},
                                       {"Foreign", 7}},
                                      enabled({"Contacts", "Calendars"})));
  const Dictionary nowChild = account("Quorra", "QuorraAccount",
                                      {{"Identifier", "U"},
                                       {"Sync Identifier", "S"},
                                       {"Username", "name"},
                                       {"DisplayName", "Q"},
                                       {"IsActive", true},
                                       {"CalDAVEnabled", false},
                                       {"Provisioned Dataclasses", dataclasses({"Mail"})},
                                       {"Foreign", 7}});
  const PropertyList expected =
      Array{account("ZelqoAccount", "QuorraAccount",
                    with({{"Identifier", "new-1"},
                          {"Sync Identifier", "new-1"},
                          {"Username", "name@quorra.test"},
                          {"DisplayName", "Q"},
                          {"CalDAVEnabled", false},
                          // What the old type supports, whatever was provisioned of it.
                          {"Provisioned Dataclasses",
                           dataclasses({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"})},
                          // What was there before stays first.
                          {"ChildAccounts", Array{child, nowChild}},
                          {"Subscribed Calendars", calendars},
                          {"DAExoSubscribedCalendarInfos", subscribed},
                          {"Type String", "Quorra"},
                          {"Short Type String", "Quorra"}},
                         enabled({"Calendars", "Contacts", "Mail"})))};
  EXPECT_EQ(after8B117({old}), expected);
  EXPECT_EQ(savedAccounts(), expected);
}

TEST_F(VersionSteps8And9, TheDomainDependsOnTheClassAndIsAddedOnlyWhereThereIsNone) {
  const auto username = [](const char* accountClass, const Dictionary& more) {
    const PropertyList result =
        after8B117({account("Quorra", accountClass, with({{"Identifier", "a"}}, more))});
    return testing::at(result, 0).dictionary()->get("Username").value_or("absent");
  };
  EXPECT_EQ(username("QuorraAccount", {{"Username", "n"}}), PropertyList("n@quorra.test"));
  EXPECT_EQ(username("VantorAccount", {{"Username", "n"}}), PropertyList("n@vantor.test"));
  EXPECT_EQ(username("VantorAccount", {{"Username", "n@own"}}), PropertyList("n@own"));
  EXPECT_EQ(username("QuorraAccount", {{"Username", ""}}), PropertyList("@quorra.test"));
  EXPECT_EQ(username("QuorraAccount", {{"Username", 5}}), PropertyList(5));
  EXPECT_EQ(username("QuorraAccount", {}), PropertyList("absent"));
  fake.configuration.current.quorraMailDomain = std::nullopt;
  fake.configuration.current.vantorMailDomain = "";
  EXPECT_EQ(username("QuorraAccount", {{"Username", "n"}}), PropertyList("n"));
  EXPECT_EQ(username("VantorAccount", {{"Username", "n"}}), PropertyList("n"));
}

TEST_F(VersionSteps8And9, TheUmbrellaCarriesMailOnlyWhereTheAccountSaysThatItIsActive) {
  const auto carriesMail = [](const Dictionary& more) {
    const PropertyList result =
        after8B117({account("Quorra", "QuorraAccount", with({{"Identifier", "a"}}, more))});
    return testing::at(result, 0).dictionary()->get("Enabled Dataclasses") ==
           PropertyList(dataclasses({"Mail"}));
  };
  EXPECT_TRUE(carriesMail({{"IsActive", true}}));
  EXPECT_FALSE(carriesMail({{"IsActive", false}}));
  EXPECT_FALSE(carriesMail({}));
}

TEST_F(VersionSteps8And9, AnUmbrellaWhoseTypeCannotCarryMailCarriesNone) {
  fake.resources.put(
      "AccountTypesProperties",
      Dictionary{{"Quorra", Dictionary{{"Supported Dataclasses", dataclasses({"Mail"})}}},
                 {"ZelqoAccount", Dictionary{{"Supported Dataclasses", dataclasses({"Notes"})}}}});
  const PropertyList result =
      after8B117({account("Quorra", "QuorraAccount", {{"Identifier", "a"}, {"IsActive", true}})});
  EXPECT_FALSE(testing::at(result, 0).dictionary()->contains("Enabled Dataclasses"));
}

TEST_F(VersionSteps8And9, TheClassDecidesWhateverTheType) {
  const PropertyList result = after8B117({account("Mail", "VantorAccount", {{"Identifier", "a"}}),
                                          account("Quorra", "IMAPAccount", {{"Identifier", "b"}})});
  ASSERT_EQ(result.array()->size(), 2U);
  const Dictionary& umbrella = *testing::at(result, 0).dictionary();
  EXPECT_EQ(umbrella.get("Type"), PropertyList("ZelqoAccount"));
  EXPECT_EQ(umbrella.get("Class"), PropertyList("VantorAccount"));
  // Of the type Mail, not of the hosted service.
  EXPECT_EQ(umbrella.get("Provisioned Dataclasses"), PropertyList(dataclasses({"Mail", "Notes"})));
  EXPECT_EQ(testing::at(result, 1, "Type"), PropertyList("Quorra"));
}

TEST_F(VersionSteps8And9, ATypeThatCarriesNothingProvisionsNothing) {
  const PropertyList result = after8B117({account("SMTP", "QuorraAccount", {{"Identifier", "a"}})});
  EXPECT_FALSE(testing::at(result, 0).dictionary()->contains("Provisioned Dataclasses"));
}

TEST_F(VersionSteps8And9, NeitherUmbrellaNorChildIsFoundByIdentifierUntilTheNextLoad) {
  AccountsDataMigrator migrator;
  const auto store = storeOf({account("Quorra", "QuorraAccount", {{"Identifier", "a"}})});
  const auto mail = store->accountWithIdentifier("a");
  EXPECT_TRUE(migrator._migrateAccountsFrom8B117(*store));
  const auto umbrella = store->allBasicAccounts().at(0);
  // Whoever holds the old record sees its new parent.
  EXPECT_EQ(mail->parentAccount(), umbrella);
  EXPECT_EQ(store->accountWithIdentifier("a"), nullptr);
  EXPECT_EQ(store->accountWithIdentifier(*umbrella->identifier()), nullptr);
  const auto reloaded = AccountsManager::init();
  ASSERT_TRUE(reloaded->accountWithIdentifier("a"));
  EXPECT_EQ(reloaded->accountWithIdentifier("a")->identifier(), umbrella->identifier());
}

TEST_F(VersionSteps8And9, AccountsKeepTheirPlaces) {
  const PropertyList result =
      after8B117({account("CalDAV", "C", {{"Identifier", "1"}}),
                  account("Quorra", "QuorraAccount", {{"Identifier", "2"}}),
                  account("CalDAV", "C", {{"Identifier", "3"}}),
                  account("Quorra", "VantorAccount", {{"Identifier", "4"}})});
  std::vector<PropertyList> identifiers;
  for (const PropertyList& each : *result.array()) {
    identifiers.push_back(*each.dictionary()->find("Identifier"));
  }
  EXPECT_THAT(identifiers, ElementsAre(PropertyList("1"), PropertyList("new-1"), PropertyList("3"),
                                       PropertyList("new-2")));
}

TEST_F(VersionSteps8And9, WithoutTheUmbrellasTypeAccountsStayAsTheyAre) {
  fake.resources.put(
      "AccountTypesProperties",
      Dictionary{{"Quorra", Dictionary{{"Supported Dataclasses", dataclasses({"Mail"})}}}});
  const Array accounts{
      account("Quorra", "QuorraAccount",
              with({{"Identifier", "a"}, {"ChildAccounts", Array()}}, enabled({"Mail"})))};
  EXPECT_EQ(after8B117(accounts), PropertyList(accounts));
}

// 8C136: names of hosted children, mail by name.

TEST_F(VersionSteps8And9, HostedChildrenLoseTheirOwnNames) {
  const auto child = [](const char* accountClass, const Dictionary& more) {
    return account("Quorra", accountClass, more);
  };
  const Dictionary other = account("CalDAV", "C", {{"Identifier", "3"}, {"DisplayName", "C"}});
  EXPECT_EQ(
      after8C136(
          {cloud({{"ChildAccounts",
                   Array{child("QuorraAccount", {{"Identifier", "1"}, {"DisplayName", "One"}}),
                         child("VantorAccount", {{"Identifier", "2"}, {"DisplayName", "Two"}}),
                         other, child("QuorraAccount", {{"Identifier", "4"}})}}})}),
      PropertyList(
          Array{cloud({{"ChildAccounts", Array{child("QuorraAccount", {{"Identifier", "1"}}),
                                               child("VantorAccount", {{"Identifier", "2"}}), other,
                                               child("QuorraAccount", {{"Identifier", "4"}})}}})}));
}

TEST_F(VersionSteps8And9, AHostedChildsNameOfAnotherKindIsNoneAndStays) {
  const Array accounts{
      cloud({{"ChildAccounts", Array{account("Quorra", "QuorraAccount",
                                             {{"Identifier", "1"}, {"DisplayName", Array{1}}})}}})};
  EXPECT_EQ(after8C136(accounts), PropertyList(accounts));
}

TEST_F(VersionSteps8And9, EqualChildrenAreEachReplaced) {
  const Dictionary child =
      account("Quorra", "QuorraAccount", {{"Identifier", "1"}, {"DisplayName", "One"}});
  const Dictionary nameless = account("Quorra", "QuorraAccount", {{"Identifier", "1"}});
  EXPECT_EQ(after8C136({cloud({{"ChildAccounts", Array{child, child}}})}),
            PropertyList(Array{cloud({{"ChildAccounts", Array{nameless, nameless}}})}));
}

TEST_F(VersionSteps8And9, AChangedChildGetsTheIdentifiersItLackedAndAnUnchangedOneDoesNot) {
  const Dictionary changed = account("Quorra", "QuorraAccount", {{"DisplayName", "One"}});
  const Dictionary unchanged = account("Quorra", "QuorraAccount", {});
  // The parent's name is not the child's.
  const Dictionary parent = cloud({{"DisplayName", "Parent"}});
  EXPECT_EQ(after8C136({with(parent, {{"ChildAccounts", Array{changed, unchanged}}})}),
            PropertyList(Array{with(
                parent, {{"ChildAccounts",
                          Array{account("Quorra", "QuorraAccount",
                                        {{"Identifier", "new-1"}, {"Sync Identifier", "new-1"}}),
                                unchanged}}})}));
}

TEST_F(VersionSteps8And9, ChildrenThatAreNoAccountsStayAsTheyAre) {
  const Array children{"text", Dictionary{{"Class", "QuorraAccount"}, {"DisplayName", "No type"}}};
  EXPECT_EQ(after8C136({cloud({{"ChildAccounts", children}})}),
            PropertyList(Array{cloud({{"ChildAccounts", children}})}));
}

TEST_F(VersionSteps8And9, AbsentChildrenStayAbsentAndOtherClassesKeepTheirChildrensNames) {
  const Dictionary umbrella = account(
      "ZelqoAccount", "QuorraAccount",
      {{"Identifier", "u"},
       {"ChildAccounts",
        Array{account("Quorra", "QuorraAccount", {{"Identifier", "1"}, {"DisplayName", "One"}})}}});
  const Array accounts{cloud({}), umbrella,
                       with(cloud({}), {{"Identifier", "x"}, {"ChildAccounts", "text"}})};
  EXPECT_EQ(after8C136(accounts), PropertyList(accounts));
}

TEST_F(VersionSteps8And9, TheStoresChildRecordsKeepTheirNamesUntilTheyAreRebuilt) {
  AccountsDataMigrator migrator;
  const auto store = storeOf(
      {cloud({{"ChildAccounts", Array{account("Quorra", "QuorraAccount",
                                              {{"Identifier", "1"}, {"DisplayName", "One"}})}}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom8C136(*store));
  const auto accounts = store->allBasicSyncableAccounts();
  ASSERT_EQ(accounts.size(), 2U);
  EXPECT_EQ(accounts[1]->displayName(), "One");
}

TEST_F(VersionSteps8And9, ActiveMailAccountsOfFiveClassesCarryMailByName) {
  for (const char* accountClass :
       {"IMAPAccount", "GmailAccount", "YahooAccount", "AOLAccount", "POPAccount"}) {
    const Dictionary plain = account("Mail", accountClass, {{"Identifier", "m"}});
    EXPECT_EQ(after8C136({plain}), PropertyList(Array{with(plain, enabled({"Mail"}))}));
    const Dictionary active = with(plain, {{"IsActive", true}});
    EXPECT_EQ(after8C136({active}), PropertyList(Array{with(active, enabled({"Mail"}))}));
    const Dictionary inactive = with(plain, {{"IsActive", false}});
    EXPECT_EQ(after8C136({inactive}), PropertyList(Array{inactive}));
  }
  const Array others{account("Mail", "QuorraAccount", {{"Identifier", "q"}}),
                     account("Mail", "LocalAccount", {{"Identifier", "l"}})};
  EXPECT_EQ(after8C136(others), PropertyList(others));
}

// 9A182: reminders, status, the primary account.

TEST_F(VersionSteps8And9, RemindersFollowCalendarsWhereTheTypeCarriesThem) {
  const Dictionary calendar =
      account("CalDAV", "C", with({{"Identifier", "c"}}, enabled({"Calendars"})));
  const Dictionary gmail =
      account("Gmail", "GmailAccount", with({{"Identifier", "g"}}, enabled({"Calendars"})));
  const Dictionary without = account("CalDAV", "C", {{"Identifier", "w"}});
  EXPECT_EQ(
      after9A182({calendar, gmail, without}),
      PropertyList(Array{with(calendar, enabled({"Calendars", "Reminders"})), gmail, without}));
}

TEST_F(VersionSteps8And9, ACloudAccountWithoutThatStatusLosesRemindersAgain) {
  // Disabling leaves a list, even an empty one.
  EXPECT_EQ(
      after9A182(
          {cloud(enabled({"Calendars"})), with(cloud({{"status", 1}}), {{"Identifier", "y"}})}),
      PropertyList(Array{cloud(enabled({"Calendars"})),
                         with(cloud(with({{"status", 1}}, enabled({}))), {{"Identifier", "y"}})}));
}

TEST_F(VersionSteps8And9, AStandardAccountWithTheStatusGoesBackToOne) {
  const Array children{account("Quorra", "QuorraAccount", {{"Identifier", "q"}})};
  const Dictionary before =
      cloud({{"status", 2}, {"ChildAccounts", children}, {"DisplayName", "Quorra"}});
  EXPECT_EQ(after9A182({before}), PropertyList(Array{with(before, {{"status", 1}})}));
  expectLog({"Found Quorra account with status 2",
             "Standard Quorra account with status 2, reverting to status 1"});
}

TEST_F(VersionSteps8And9, AStandardAccountKeepsItsReminders) {
  const Array children{account("Quorra", "QuorraAccount", {{"Identifier", "q"}})};
  const Dictionary before =
      cloud(with({{"status", 2}, {"ChildAccounts", children}}, enabled({"Calendars"})));
  EXPECT_EQ(after9A182({before}), PropertyList(Array{with(with(before, {{"status", 1}}),
                                                          enabled({"Calendars", "Reminders"}))}));
}

TEST_F(VersionSteps8And9, ChildrenAreCountedEvenIfTheyAreNoAccounts) {
  const Dictionary before = cloud({{"status", 2}, {"ChildAccounts", Array{"text"}}});
  EXPECT_EQ(after9A182({before}), PropertyList(Array{with(before, {{"status", 1}})}));
}

TEST_F(VersionSteps8And9, AStandaloneAccountWithTheLocatorBecomesPrimary) {
  const Dictionary before =
      cloud(with({{"status", 2}, {"DisplayName", "Quorra"}}, enabled({"DeviceLocator"})));
  EXPECT_EQ(after9A182({before}),
            PropertyList(Array{cloud(with({{"status", 2},
                                           {"DisplayName", "Halden"},
                                           {"primaryAccount", true},
                                           {"Type String", "Halden"},
                                           {"Short Type String", "Halden"}},
                                          enabled({"DeviceLocator", "KeyValue", "Ubiquity"})))}));
  expectLog({"Found Quorra account with status 2"});
}

TEST_F(VersionSteps8And9, AnEmptyListOfChildrenIsNone) {
  const PropertyList result = after9A182({cloud({{"status", 2}, {"ChildAccounts", Array()}})});
  EXPECT_EQ(testing::at(result, 0, "Type String"), PropertyList("Halden"));
}

TEST_F(VersionSteps8And9, AnotherNameIsKept) {
  const PropertyList result = after9A182({cloud({{"status", 2}, {"DisplayName", "Mine"}})});
  EXPECT_EQ(testing::at(result, 0, "DisplayName"), PropertyList("Mine"));
}

TEST_F(VersionSteps8And9, SeveralAccountsWithTheLocatorAllBecomePrimary) {
  const Dictionary first = cloud(with({{"status", 2}}, enabled({"DeviceLocator"})));
  const Dictionary second = with(first, {{"Identifier", "y"}});
  const PropertyList result = after9A182({first, second});
  for (const PropertyList& each : *result.array()) {
    EXPECT_EQ(each.dictionary()->get("primaryAccount"), PropertyList(true));
  }
}

TEST_F(VersionSteps8And9, WithoutALocatorTheFirstAccountWithTheStatusBecomesPrimary) {
  const Array children{account("Quorra", "QuorraAccount", {{"Identifier", "q"}})};
  const auto named = [](Dictionary properties, const char* identifier) {
    properties.set("Identifier", identifier);
    return properties;
  };
  const Dictionary standard = named(cloud({{"status", 2}, {"ChildAccounts", children}}), "1");
  const Dictionary otherClass =
      account("ZelqoAccount", "QuorraAccount", {{"Identifier", "2"}, {"status", 2}});
  const Dictionary standalone = named(cloud({{"status", 2}}), "3");
  const Dictionary strings{{"Type String", "Halden"}, {"Short Type String", "Halden"}};
  // The first pass puts the standard account right, so that it is out of the question; the class
  // does not matter.
  EXPECT_EQ(after9A182({standard, otherClass, standalone}),
            PropertyList(Array{with(standard, {{"status", 1}}),
                               with(with(otherClass, {{"primaryAccount", true}}),
                                    enabled({"KeyValue", "Ubiquity"})),
                               with(standalone, strings)}));
}

TEST_F(VersionSteps8And9, AnAccountOfAnotherTypeIsNotLookedAtForThePrimary) {
  const PropertyList result =
      after9A182({account("CalDAV", "ZQAccount", {{"Identifier", "q"}, {"status", 2}})});
  EXPECT_FALSE(testing::at(result, 0).dictionary()->contains("primaryAccount"));
}

TEST_F(VersionSteps8And9, TheModelsOwnKeysAndNameAreUsed) {
  fake.cloudAccountModel.statusKey = "state";
  fake.cloudAccountModel.primaryKey = "first";
  fake.cloudAccountModel.typeString = "Other";
  const PropertyList result =
      after9A182({cloud(with({{"state", "2"}}, enabled({"DeviceLocator"})))});
  const Dictionary& properties = *testing::at(result, 0).dictionary();
  EXPECT_EQ(properties.get("first"), PropertyList(true));
  EXPECT_EQ(properties.get("Type String"), PropertyList("Other"));
  EXPECT_FALSE(properties.contains("primaryAccount"));
}

TEST_F(VersionSteps8And9, WhatChangesOnAChildRecordIsLost) {
  const Dictionary child =
      account("ZelqoAccount", "ZQAccount",
              with({{"Identifier", "c"}, {"status", 2}, {"ChildAccounts", Array()}},
                   enabled({"DeviceLocator", "Calendars"})));
  const Dictionary parent =
      account("CalDAV", "C", {{"Identifier", "p"}, {"ChildAccounts", Array{child}}});
  const Dictionary candidate =
      account("ZelqoAccount", "QuorraAccount", {{"Identifier", "z"}, {"status", 2}});
  // The child is found to be the primary one, so that no other is looked for.
  EXPECT_EQ(after9A182({parent, candidate}), comparable(Array{parent, candidate}));
  EXPECT_EQ(fake.log.count("Found Quorra account with status 2"), 1U);
}

TEST_F(VersionSteps8And9, AChildSeesItsParentsChildrenAndSoCountsAsStandard) {
  const Dictionary child =
      account("ZelqoAccount", "ZQAccount", {{"Identifier", "c"}, {"status", 2}});
  const Dictionary parent =
      account("CalDAV", "C", {{"Identifier", "p"}, {"ChildAccounts", Array{child}}});
  EXPECT_EQ(after9A182({parent}), PropertyList(Array{parent}));
  EXPECT_EQ(fake.log.count("Standard Quorra account with status 2, reverting to status 1"), 1U);
}

// 9A334: cloud storage of secondary accounts, hosted children.

TEST_F(VersionSteps8And9, ASecondaryAccountLosesCloudStorageIfItHasBothKinds) {
  const Dictionary both = cloud(enabled({"KeyValue", "Mail", "Ubiquity"}));
  EXPECT_EQ(after9A334({both}), PropertyList(Array{with(both, enabled({"Mail"}))}));
  expectLog({"AccountsDataMigrator: Fixing secondary account with ubiquity and keyvalue enabled"});
  for (const char* one : {"KeyValue", "Ubiquity"}) {
    const Dictionary account = cloud(enabled({one}));
    EXPECT_EQ(after9A334({account}), PropertyList(Array{account}));
  }
  const Dictionary primary = with(both, {{"primaryAccount", true}});
  EXPECT_EQ(after9A334({primary}), PropertyList(Array{primary}));
  expectLog({});
}

TEST_F(VersionSteps8And9, HiddenCloudStorageIsNotTakenAway) {
  fake.restrictions.set(RestrictionSwitch::CloudDocuments, 2);
  const Dictionary both = cloud(enabled({"KeyValue", "Ubiquity"}));
  EXPECT_EQ(after9A334({both}), PropertyList(Array{both}));
}

TEST_F(VersionSteps8And9, ThePrimaryFlagIsReadUnderItsFixedName) {
  fake.cloudAccountModel.primaryKey = "first";
  const Dictionary marked = with(cloud(enabled({"KeyValue", "Ubiquity"})), {{"first", true}});
  EXPECT_EQ(after9A334({marked}), PropertyList(Array{with(marked, enabled({}))}));
}

TEST_F(VersionSteps8And9, HostedChildrenPutTheStatusRightAndProvisionMail) {
  // The list is written as it is reported, and what is not provisioned is not added but for mail.
  const Array children{account("Quorra", "QuorraAccount", {{"Identifier", "q"}})};
  const Dictionary before =
      cloud({{"status", 2},
             {"ChildAccounts", children},
             {"Provisioned Dataclasses", dataclasses({"Notes", "Contacts", "Bogus"})}});
  EXPECT_EQ(after9A334({before}),
            PropertyList(Array{with(before, {{"status", 1},
                                             {"Provisioned Dataclasses",
                                              dataclasses({"Contacts", "Notes", "Mail"})}})}));
  expectLog({"AccountsDataMigrator: Found Quorra mail as Halden child account, setting status to 1",
             "AccountsDataMigrator: Enabling provisioning for dataclass com.zelqo.Dataclass.Mail"});
}

TEST_F(VersionSteps8And9, ACalDAVChildProvisionsCalendarsAndPutsNoStatusRight) {
  const Dictionary before = cloud({{"status", 2},
                                   {"ChildAccounts", Array{Dictionary{{"Type", "CalDAV"}}}},
                                   {"Provisioned Dataclasses", Array()}});
  EXPECT_EQ(
      after9A334({before}),
      PropertyList(Array{with(before, {{"Provisioned Dataclasses", dataclasses({"Calendars"})}})}));
}

TEST_F(VersionSteps8And9, WhatIsProvisionedAlreadyIsNotWrittenAgain) {
  // Without a list everything supported is provisioned.
  const Array children{Dictionary{{"Type", "Quorra"}}, Dictionary{{"Type", "CalDAV"}}};
  const Dictionary before = cloud({{"ChildAccounts", children}});
  EXPECT_EQ(after9A334({before}), PropertyList(Array{before}));
  const Dictionary listed =
      cloud({{"ChildAccounts", children},
             {"Provisioned Dataclasses", dataclasses({"Calendars", "Mail", "Bogus"})}});
  EXPECT_EQ(after9A334({listed}), PropertyList(Array{listed}));
}

TEST_F(VersionSteps8And9, OnlyTheCloudAccountsClassLooksAtItsChildren) {
  const Dictionary umbrella =
      account("ZelqoAccount", "QuorraAccount",
              {{"Identifier", "u"},
               {"status", 2},
               {"ChildAccounts", Array{account("Quorra", "QuorraAccount", {{"Identifier", "q"}})}},
               {"Provisioned Dataclasses", Array()}});
  EXPECT_EQ(after9A334({umbrella}), PropertyList(Array{umbrella}));
}

TEST_F(VersionSteps8And9, HostedAccountsAtTheTopAreLookedAtTooAndNoOtherType) {
  // Were their types to carry cloud storage.
  const Dictionary carrying{{"Supported Dataclasses", dataclasses({"KeyValue", "Ubiquity"})}};
  fake.resources.put("AccountTypesProperties",
                     Dictionary{{"Quorra", carrying}, {"CalDAV", carrying}});
  const Dictionary hosted = account("Quorra", "QuorraAccount",
                                    with({{"Identifier", "q"}}, enabled({"KeyValue", "Ubiquity"})));
  const Dictionary other =
      account("CalDAV", "C", with({{"Identifier", "c"}}, enabled({"KeyValue", "Ubiquity"})));
  EXPECT_EQ(after9A334({hosted, other}), PropertyList(Array{with(hosted, enabled({})), other}));
}

TEST_F(VersionSteps8And9, ChildrenAreFoundByTheirRawType) {
  const auto hasHosted = [](const PropertyList& children) {
    const auto parent = BasicAccount::initWithProperties(cloud({{"ChildAccounts", children}}));
    return AccountsDataMigrator::_accountHasChildAccountOfType(*parent, "Quorra");
  };
  EXPECT_TRUE(hasHosted(Array{Dictionary(), Dictionary{{"Type", "Quorra"}}}));
  EXPECT_FALSE(hasHosted(Array{Dictionary{{"Type", "quorra"}}, Dictionary{{"Type", 1}}, "Quorra"}));
  EXPECT_FALSE(hasHosted(Array()));
  EXPECT_FALSE(hasHosted("text"));
  EXPECT_FALSE(AccountsDataMigrator::_accountHasChildAccountOfType(
      *BasicAccount::initWithProperties(cloud({})), "Quorra"));
}

// 9B176: Quillet, cloud tabs.

TEST_F(VersionSteps8And9, APrimaryAccountGetsQuilletProvisionedAndEnabledWithUbiquity) {
  const Dictionary before =
      cloud(with({{"primaryAccount", true}, {"Provisioned Dataclasses", dataclasses({"Ubiquity"})}},
                 enabled({"Ubiquity"})));
  EXPECT_EQ(after9B176({before}),
            PropertyList(Array{with(
                with(before, {{"Provisioned Dataclasses", dataclasses({"Ubiquity", "Quillet"})}}),
                enabled({"Quillet", "Ubiquity"}))}));
  expectLog({"AccountsDataMigrator: Provisioning Quillet data class in primary account",
             "AccountsDataMigrator: Enabling Quillet data class in primary account"});
}

TEST_F(VersionSteps8And9, WithUbiquityProvisionedOnlyQuilletIsProvisionedOnly) {
  const Dictionary before = cloud(
      {{"primaryAccount", true}, {"Provisioned Dataclasses", dataclasses({"Ubiquity", "Bogus"})}});
  EXPECT_EQ(after9B176({before}),
            PropertyList(Array{with(
                before, {{"Provisioned Dataclasses", dataclasses({"Ubiquity", "Quillet"})}})}));
}

TEST_F(VersionSteps8And9, QuilletThatIsProvisionedAlreadyIsStillEnabled) {
  const Dictionary before = cloud(with(
      {{"primaryAccount", true}, {"Provisioned Dataclasses", dataclasses({"Quillet", "Ubiquity"})}},
      enabled({"Ubiquity"})));
  EXPECT_EQ(after9B176({before}),
            PropertyList(Array{with(before, enabled({"Quillet", "Ubiquity"}))}));
  expectLog({"AccountsDataMigrator: Enabling Quillet data class in primary account"});
}

TEST_F(VersionSteps8And9, OtherAccountsGetNoQuillet) {
  const Array accounts{
      cloud(enabled({"Ubiquity"})), cloud(with({{"primaryAccount", false}}, enabled({"Ubiquity"}))),
      cloud(with({{"primaryAccount", true}, {"Provisioned Dataclasses", dataclasses({"Mail"})}},
                 enabled({"Mail"})))};
  EXPECT_EQ(after9B176(accounts), PropertyList(accounts));
  expectLog({});
}

TEST_F(VersionSteps8And9, AProfileThatForbidsTheCloudForbidsQuilletToo) {
  fake.restrictions.set(RestrictionSwitch::CloudDocuments, 2);
  const Dictionary before = cloud(with({{"primaryAccount", true}}, enabled({"Ubiquity"})));
  EXPECT_EQ(after9B176({before}), PropertyList(Array{before}));
}

TEST_F(VersionSteps8And9, CloudTabsAreToldOfOncePerAccountWithBookmarks) {
  (void)after9B176(
      {cloud(with({{"primaryAccount", true}}, enabled({"Bookmarks"}))),
       with(cloud(enabled({"Bookmarks"})), {{"Identifier", "y"}}),
       account("Quorra", "QuorraAccount", with({{"Identifier", "q"}}, enabled({"Bookmarks"}))),
       account("BookmarkDAV", "B", with({{"Identifier", "b"}}, enabled({"Bookmarks"}))),
       with(cloud({}), {{"Identifier", "n"}})});
  EXPECT_THAT(fake.notifications.cloudTabsToggled, ElementsAre(true, true, true));
}

TEST_F(VersionSteps8And9, AFailedSaveIsNotLookedAt) {
  fake.faults.failAlways("files.makeTemporary");
  for (const Step step : {&AccountsDataMigrator::_migrateAccountsFrom8B117,
                          &AccountsDataMigrator::_migrateAccountsFrom8C136,
                          &AccountsDataMigrator::_migrateAccountsFrom8F191,
                          &AccountsDataMigrator::_migrateAccountsFrom9A182,
                          &AccountsDataMigrator::_migrateAccountsFrom9A334,
                          &AccountsDataMigrator::_migrateAccountsFrom9B176}) {
    (void)after(step, {cloud({})});
  }
  EXPECT_EQ(fake.log.count("Failed to save accounts to filesystem."), 6U);
  EXPECT_FALSE(fake.files.has(kSettings));
}

}  // namespace
}  // namespace accountsettings
