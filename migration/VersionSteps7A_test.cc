// Tests of the version steps for what the 7A releases wrote.
#include "testing/DocumentPath.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using testing::dataclass;
using testing::dataclasses;

class VersionSteps7A : public testing::MigrationTest {
 protected:
  using Step = bool (AccountsDataMigrator::*)(AccountsManager&);

  // What the step makes of these accounts.
  static PropertyList after(Step step, const Array& accounts) {
    AccountsDataMigrator migrator;
    const auto store = storeOf(accounts);
    EXPECT_TRUE((migrator.*step)(*store));
    return accountsIn(*store);
  }
  static PropertyList after7A150(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom7A150, accounts);
  }
  static PropertyList after7A241(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom7A241, accounts);
  }
  static PropertyList after7A242(const Array& accounts) {
    return after(&AccountsDataMigrator::_migrateAccountsFrom7A242, accounts);
  }
  static Dictionary account(const char* type, const char* accountClass, const Dictionary& more) {
    Dictionary properties{{"Type", type}, {"Class", accountClass}};
    for (const auto& entry : more) properties.set(entry.key(), entry.value());
    return properties;
  }
};

TEST_F(VersionSteps7A, Step7A149ChangesTheNumberAlone) {
  const Array accounts{account("Mail", "IMAPAccount", {{"Identifier", "a"}, {"uniqueId", "b"}})};
  EXPECT_EQ(after(&AccountsDataMigrator::_migrateAccountsFrom7A149, accounts),
            PropertyList(accounts));
}

// 7A150: identifiers.

TEST_F(VersionSteps7A, TheOldIdentifierIsKeptForSyncBeforeUniqueIdReplacesIt) {
  for (const char* type : {"Quorra", "Mail", "Exchange"}) {
    EXPECT_EQ(
        after7A150({account(type, "IMAPAccount", {{"Identifier", "old"}, {"uniqueId", "unique"}})}),
        PropertyList(Array{
            account(type, "IMAPAccount", {{"Identifier", "unique"}, {"Sync Identifier", "old"}})}))
        << type;
  }
}

TEST_F(VersionSteps7A, WithoutUniqueIdTheIdentifierStaysAndSyncsUnderItself) {
  EXPECT_EQ(after7A150({account("Mail", "IMAPAccount",
                                {{"Identifier", "a"}, {"Sync Identifier", "elsewhere"}})}),
            PropertyList(Array{
                account("Mail", "IMAPAccount", {{"Identifier", "a"}, {"Sync Identifier", "a"}})}));
}

TEST_F(VersionSteps7A, AnAccountOfUniqueIdAloneWasGivenAFreshIdentifierByTheLoad) {
  EXPECT_EQ(after7A150({account("Mail", "IMAPAccount", {{"uniqueId", "u"}})}),
            PropertyList(Array{account("Mail", "IMAPAccount",
                                       {{"Identifier", "u"}, {"Sync Identifier", "new-1"}})}));
}

TEST_F(VersionSteps7A, AnEmptyIdentifierIsReplacedByAFreshOneAndNotKeptForSync) {
  for (const char* type : {"Mail", "SMTP"}) {
    EXPECT_EQ(after7A150({account(type, "IMAPAccount", {{"Identifier", ""}})}),
              PropertyList(Array{account(type, "IMAPAccount", {{"Identifier", "new-1"}})}))
        << type;
  }
}

TEST_F(VersionSteps7A, DeliveryAccountsHaveNoSyncIdentifier) {
  EXPECT_EQ(after7A150({account("SMTP", "SMTPAccount", {{"Identifier", "a"}}),
                        account("SMTP", "SMTPAccount", {{"Identifier", "b"}, {"uniqueId", "u"}})}),
            PropertyList(Array{account("SMTP", "SMTPAccount", {{"Identifier", "a"}}),
                               account("SMTP", "SMTPAccount", {{"Identifier", "u"}})}));
}

TEST_F(VersionSteps7A, OtherTypesKeepTheirUniqueId) {
  const Array accounts{
      account("Gmail", "GmailAccount", {{"Identifier", "g"}, {"uniqueId", "1"}}),
      account("Yahoo", "YahooAccount", {{"Identifier", "y"}, {"uniqueId", "2"}}),
      account("CalDAV", "MobileCalDAVAccount", {{"Identifier", "c"}, {"uniqueId", "3"}})};
  EXPECT_EQ(after7A150(accounts), PropertyList(accounts));
}

TEST_F(VersionSteps7A, AUniqueIdThatIsEmptyOrNoStringIsNone) {
  EXPECT_EQ(after7A150({account("Mail", "IMAPAccount", {{"Identifier", "a"}, {"uniqueId", ""}}),
                        account("Mail", "IMAPAccount", {{"Identifier", "b"}, {"uniqueId", 7}})}),
            PropertyList(
                Array{account("Mail", "IMAPAccount",
                              {{"Identifier", "a"}, {"uniqueId", ""}, {"Sync Identifier", "a"}}),
                      account("Mail", "IMAPAccount",
                              {{"Identifier", "b"}, {"uniqueId", 7}, {"Sync Identifier", "b"}})}));
}

TEST_F(VersionSteps7A, AnIdentifierOfAnotherKindIsLeftAsItIs) {
  EXPECT_EQ(after7A150({account("Mail", "IMAPAccount", {{"Identifier", 7}})}),
            PropertyList(Array{account("Mail", "IMAPAccount", {{"Identifier", 7}})}));
}

TEST_F(VersionSteps7A, TheStoreFindsAccountsAndChildrenUnderTheNewIdentifier) {
  AccountsDataMigrator migrator;
  const auto store = storeOf(
      {account("Quorra", "QuorraAccount",
               {{"Identifier", "old"},
                {"uniqueId", "new"},
                {"ChildAccounts",
                 Array{account("CalDAV", "MobileCalDAVAccount", {{"Identifier", "c"}})}}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom7A150(*store));
  EXPECT_EQ(store->accountWithIdentifier("old"), nullptr);
  const auto found = store->accountWithIdentifier("new");
  ASSERT_TRUE(found);
  EXPECT_EQ(store->accountWithIdentifier("c"), found);
}

TEST_F(VersionSteps7A, TheStoreFindsDeliveryAccountsUnderTheNewIdentifierToo) {
  AccountsDataMigrator migrator;
  const auto store =
      storeOf({account("SMTP", "SMTPAccount", {{"Identifier", "old"}, {"uniqueId", "new"}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom7A150(*store));
  EXPECT_EQ(store->accountWithIdentifier("old"), nullptr);
  EXPECT_NE(store->accountWithIdentifier("new"), nullptr);
}

TEST_F(VersionSteps7A, ADeliveryAccountTakesThePlaceOfAnIncomingOneOfTheSameIdentifier) {
  AccountsDataMigrator migrator;
  const auto store =
      storeOf({account("Mail", "IMAPAccount", {{"Identifier", "x"}}),
               account("SMTP", "SMTPAccount", {{"Identifier", "s"}, {"uniqueId", "x"}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom7A150(*store));
  EXPECT_EQ(store->countOfBasicAccountsWithTypes({"Mail"}), 0U);
  EXPECT_GE(store->countOfBasicAccountsWithTypes({"SMTP"}), 1U);
}

TEST_F(VersionSteps7A, AnAccountWithoutAStoredIdentifierStandsInTheListOnceAfterwards) {
  for (const char* type : {"Quorra", "Mail", "Exchange", "SMTP"}) {
    AccountsDataMigrator migrator;
    const auto store = storeOf({account(type, "IMAPAccount", {{"Identifier", 5}}),
                                account("CalDAV", "MobileCalDAVAccount", {{"Identifier", "c"}})});
    EXPECT_TRUE(migrator._migrateAccountsFrom7A150(*store));
    ASSERT_EQ(store->count(), 2U) << type;
    EXPECT_EQ(store->allBasicAccounts()[0]->type(), "CalDAV");
    EXPECT_EQ(store->allBasicAccounts()[1]->type(), type);
  }
}

TEST_F(VersionSteps7A, MailAccountsAreSeenToBeforeExchangeAndDeliveryAccounts) {
  AccountsDataMigrator migrator;
  const auto store = storeOf({account("SMTP", "S", {{"Identifier", ""}}),
                              account("Exchange", "E", {{"Identifier", ""}}),
                              account("Mail", "IMAPAccount", {{"Identifier", ""}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom7A150(*store));
  const auto& accounts = store->allBasicAccounts();
  ASSERT_EQ(accounts.size(), 3U);
  // Fresh identifiers count upwards.
  EXPECT_LT(accounts[2]->identifier(), accounts[1]->identifier());
  EXPECT_LT(accounts[1]->identifier(), accounts[0]->identifier());
}

TEST_F(VersionSteps7A, AccountsKeepTheirPlacesThoughTheirIdentifiersChange) {
  EXPECT_EQ(after7A150({account("Exchange", "E", {{"Identifier", "e"}, {"uniqueId", "e2"}}),
                        account("SMTP", "S", {{"Identifier", "s"}}),
                        account("Mail", "IMAPAccount", {{"Identifier", "m"}, {"uniqueId", "m2"}}),
                        account("CalDAV", "C", {{"Identifier", "c"}})}),
            PropertyList(Array{
                account("Exchange", "E", {{"Identifier", "e2"}, {"Sync Identifier", "e"}}),
                account("SMTP", "S", {{"Identifier", "s"}}),
                account("Mail", "IMAPAccount", {{"Identifier", "m2"}, {"Sync Identifier", "m"}}),
                account("CalDAV", "C", {{"Identifier", "c"}})}));
}

// 7A153: the device's own account.

class DeviceAccountStep : public VersionSteps7A {
 protected:
  // The device's own account as the step makes it with the sources that the test has set.
  static Dictionary made() {
    const PropertyList accounts = after(&AccountsDataMigrator::_migrateAccountsFrom7A153, Array());
    return *testing::at(accounts, 0).dictionary();
  }
  static PropertyList enabled() { return made().get("Enabled Dataclasses").value_or("absent"); }
};

TEST_F(DeviceAccountStep, WithoutOtherSourcesItCarriesEverything) {
  EXPECT_EQ(made(),
            *comparable(Dictionary{{"Type", "OnMyDevice"},
                                   {"Class", "DeviceLocalAccount"},
                                   {"Type String", "On My Zumi"},
                                   {"Short Type String", "On My Zumi"},
                                   {"Identifier", "DeviceLocalAccount"},
                                   {"Enabled Dataclasses",
                                    dataclasses({"Contacts", "Calendars", "Bookmarks", "Notes"})}})
                 .dictionary());
  EXPECT_EQ(fake.externalSources.asked.size(), 4U);
}

TEST_F(DeviceAccountStep, ASingleStoreDataClassGivesWayToAnySource) {
  fake.externalSources.set(SyncDataType::Bookmarks, {"any"});
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Calendars", "Contacts", "Notes"})));
}

TEST_F(DeviceAccountStep, AMultiStoreDataClassGivesWayOnlyWhereTetheringIsDenied) {
  fake.externalSources.set(SyncDataType::Contacts, {"some", "denytethered"});
  fake.externalSources.set(SyncDataType::Calendars, {"some", "DenyTethered"});
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Bookmarks", "Contacts", "Notes"})));
}

TEST_F(DeviceAccountStep, AnEmptyListOfSourcesIsNone) {
  fake.externalSources.set(SyncDataType::Bookmarks, {});
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Bookmarks", "Calendars", "Contacts", "Notes"})));
}

TEST_F(DeviceAccountStep, AnErrorLeavesTheDataClassOutAndIsMentioned) {
  fake.externalSources.setError(SyncDataType::Notes, "no daemon");
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Bookmarks", "Calendars", "Contacts"})));
  expectLog(
      {"[-[AccountsDataMigrator(Internal) _migrateAccountsFrom7A153:]]Error while "
       "retreiving external sources for dataclass com.zelqo.Dataclass.Notes [no daemon]"});
}

TEST_F(DeviceAccountStep, AnErrorWithoutTextIsNone) {
  fake.externalSources.setError(SyncDataType::Notes, "");
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Bookmarks", "Calendars", "Contacts", "Notes"})));
  expectLog({});
}

TEST_F(DeviceAccountStep, AnErrorCountsEvenBesideSources) {
  fake.externalSources.set(SyncDataType::Contacts, {"some"});
  fake.externalSources.setError(SyncDataType::Contacts, "half an answer");
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Bookmarks", "Calendars", "Notes"})));
}

TEST_F(DeviceAccountStep, WithNothingToCarryTheListIsAbsent) {
  for (const auto type : {SyncDataType::Bookmarks, SyncDataType::Calendars, SyncDataType::Contacts,
                          SyncDataType::Notes}) {
    fake.externalSources.set(type, {"DenyTethered"});
  }
  EXPECT_EQ(enabled(), PropertyList("absent"));
}

TEST_F(DeviceAccountStep, UnsupportedDataClassesAreDropped) {
  fake.resources.put("AccountTypesProperties",
                     Dictionary{{"OnMyDevice", Dictionary{{"Supported Dataclasses",
                                                           dataclasses({"Contacts", "Notes"})}}}});
  EXPECT_EQ(enabled(), PropertyList(dataclasses({"Contacts", "Notes"})));
}

TEST_F(DeviceAccountStep, ItReplacesEveryOtherOneInPlaceWhereTheIdentifierIsTheSame) {
  const Dictionary mail = account("Mail", "IMAPAccount", {{"Identifier", "m"}});
  const auto identifiers = [](const Array& accounts) {
    const PropertyList result = after(&AccountsDataMigrator::_migrateAccountsFrom7A153, accounts);
    std::string all;
    for (const PropertyList& each : *result.array()) {
      all += std::string(*each.dictionary()->string("Identifier")) + " ";
    }
    return all;
  };
  EXPECT_EQ(identifiers({account("OnMyDevice", "X", {{"Identifier", "DeviceLocalAccount"}}), mail,
                         account("OnMyDevice", "Y", {{"Identifier", "other"}})}),
            "DeviceLocalAccount m ");
  EXPECT_EQ(identifiers({account("OnMyDevice", "Y", {{"Identifier", "other"}}), mail}),
            "m DeviceLocalAccount ");
}

TEST_F(DeviceAccountStep, WhereTheTypeIsUnknownAccountsStayAsTheyAre) {
  fake.resources.put("AccountTypesProperties", Dictionary{{"Mail", Dictionary()}});
  const Array accounts{account("Mail", "IMAPAccount", {{"Identifier", "m"}})};
  EXPECT_EQ(after(&AccountsDataMigrator::_migrateAccountsFrom7A153, accounts),
            PropertyList(accounts));
}

TEST_F(DeviceAccountStep, TetheringIsDeniedByThatVeryWord) {
  EXPECT_TRUE(AccountsDataMigrator::_tetheredDisabledInSources({"x", "DenyTethered"}));
  EXPECT_FALSE(AccountsDataMigrator::_tetheredDisabledInSources({"denytethered", "DenyTethered "}));
  EXPECT_FALSE(AccountsDataMigrator::_tetheredDisabledInSources({}));
}

// 7A241: the hosted service's notes.

TEST_F(VersionSteps7A, HostedAccountsStopCarryingNotesAndReportTheRest) {
  const auto hosted = [](const Array& enabled) {
    return account("Quorra", "QuorraAccount",
                   {{"Identifier", "q"}, {"Enabled Dataclasses", enabled}});
  };
  // What the type cannot carry goes with the notes, as the list is written as it is reported.
  EXPECT_EQ(after7A241({hosted(dataclasses({"Notes", "Mail", "Reminders", "Calendars"}))}),
            PropertyList(Array{hosted(dataclasses({"Calendars", "Mail"}))}));
  EXPECT_EQ(after7A241({hosted(dataclasses({"Mail", "Bogus"}))}),
            PropertyList(Array{hosted(dataclasses({"Mail"}))}));
  EXPECT_EQ(after7A241({hosted(dataclasses({"Notes"}))}), PropertyList(Array{hosted({})}));
}

TEST_F(VersionSteps7A, AnAbsentListStaysAbsentAndOtherTypesKeepTheirNotes) {
  const Array accounts{
      account("Quorra", "QuorraAccount", {{"Identifier", "q"}}),
      account("Quorra", "QuorraAccount", {{"Identifier", "r"}, {"Enabled Dataclasses", "text"}}),
      account("Mail", "QuorraAccount",
              {{"Identifier", "m"}, {"Enabled Dataclasses", dataclasses({"Notes"})}})};
  EXPECT_EQ(after7A241(accounts), PropertyList(accounts));
  // The next one is looked at all the same.
  const auto hosted = [](const Array& enabled) {
    return account("Quorra", "QuorraAccount",
                   {{"Identifier", "s"}, {"Enabled Dataclasses", enabled}});
  };
  EXPECT_EQ(after7A241({accounts[0], hosted(dataclasses({"Mail", "Notes"}))}),
            PropertyList(Array{accounts[0], hosted(dataclasses({"Mail"}))}));
}

TEST_F(VersionSteps7A, TheListIsWrittenInTheUsualOrder) {
  AccountsDataMigrator migrator;
  const auto store = storeOf({account(
      "Quorra", "QuorraAccount",
      {{"Identifier", "q"},
       {"Enabled Dataclasses", dataclasses({"Bookmarks", "Calendars", "Mail", "Mail"})}})});
  EXPECT_TRUE(migrator._migrateAccountsFrom7A241(*store));
  EXPECT_EQ(store->accountWithIdentifier("q")->accountPropertyForKey("Enabled Dataclasses"),
            PropertyList(dataclasses({"Mail", "Calendars", "Bookmarks"})));
}

// 7A242: mail and notes by name, Gmail and Yahoo, and their calendars.

TEST_F(VersionSteps7A, ActiveMailAccountsCarryMailAndNotes) {
  for (const char* accountClass : {"IMAPAccount", "AOLAccount", "QuorraAccount"}) {
    for (const Dictionary& activity :
         {Dictionary(), Dictionary{{"IsActive", true}}, Dictionary{{"IsActive", 1}}}) {
      Dictionary before = account("Mail", accountClass, {{"Identifier", "a"}});
      for (const auto& entry : activity) before.set(entry.key(), entry.value());
      Dictionary expected = before;
      expected.set("Enabled Dataclasses", dataclasses({"Mail", "Notes"}));
      EXPECT_EQ(after7A242({before}), PropertyList(Array{expected})) << accountClass;
    }
  }
}

TEST_F(VersionSteps7A, InactiveAccountsAndOtherClassesAreLeftAlone) {
  const Array accounts{account("Quorra", "QuorraAccount",
                               {{"Identifier", "a"},
                                {"IsActive", false},
                                {"Enabled Dataclasses", dataclasses({"Contacts"})}}),
                       account("Mail", "POPAccount", {{"Identifier", "b"}}),
                       account("Quorra", "VantorAccount", {{"Identifier", "c"}}),
                       account("Mail", "LocalAccount", {{"Identifier", "d"}})};
  EXPECT_EQ(after7A242(accounts), PropertyList(accounts));
}

TEST_F(VersionSteps7A, GmailAndYahooBecomeTypesAfterMailAndNotesWereGivenUnderTheOldOne) {
  // SMTP carries nothing, and so nothing is given under it; the type Yahoo carries no notes.
  EXPECT_EQ(
      after7A242({account("Mail", "GmailAccount", {{"Identifier", "g"}}),
                  account("Mail", "YahooAccount", {{"Identifier", "y"}}),
                  account("SMTP", "GmailAccount", {{"Identifier", "s"}})}),
      PropertyList(Array{
          account("Gmail", "GmailAccount",
                  {{"Identifier", "g"}, {"Enabled Dataclasses", dataclasses({"Mail", "Notes"})}}),
          account("Yahoo", "YahooAccount",
                  {{"Identifier", "y"}, {"Enabled Dataclasses", dataclasses({"Mail", "Notes"})}}),
          account("Gmail", "GmailAccount", {{"Identifier", "s"}})}));
}

TEST_F(VersionSteps7A, AnInactiveGmailAccountChangesItsTypeAllTheSame) {
  EXPECT_EQ(
      after7A242({account("Mail", "GmailAccount", {{"Identifier", "g"}, {"IsActive", false}})}),
      PropertyList(
          Array{account("Gmail", "GmailAccount", {{"Identifier", "g"}, {"IsActive", false}})}));
}

Dictionary calDAV(const char* identifier, const char* host, const char* login, const char* path) {
  return {{"Type", "CalDAV"},
          {"Class", "MobileCalDAVAccount"},
          {"Identifier", identifier},
          {"CalDAVPrincipalConfiguration",
           Dictionary{{"CalDAV_Server_Key", host}, {"Login_Key", login}}},
          {"CalDAVAccountConfiguration", Dictionary{{"CalDAV_PrincipalPath_Key", path}}}};
}

TEST_F(VersionSteps7A, MatchingCalDAVAccountsFoldIntoTheirMailAccount) {
  const Dictionary other = calDAV("other", "calendars.gmail.test", "you", "/calendar/dav/you/user");
  EXPECT_EQ(
      after7A242(
          {calDAV("one", "calendars.gmail.test", "me", "/calendar/dav/me%40gmail.test/user"),
           account("Mail", "GmailAccount", {{"Identifier", "g"}, {"Username", "me@gmail.test"}}),
           other, calDAV("two", "calendars.gmail.test", "me@gmail.test", "/calendar/dav/me/user"),
           account("Mail", "YahooAccount", {{"Identifier", "y"}, {"Username", "me"}})}),
      PropertyList(
          Array{account("Gmail", "GmailAccount",
                        {{"Identifier", "g"},
                         {"Username", "me@gmail.test"},
                         {"Enabled Dataclasses", dataclasses({"Calendars", "Mail", "Notes"})}}),
                other,
                account("Yahoo", "YahooAccount",
                        {{"Identifier", "y"},
                         {"Username", "me"},
                         {"Enabled Dataclasses", dataclasses({"Mail", "Notes"})}})}));
}

TEST_F(VersionSteps7A, OneCalDAVAccountMayFoldIntoSeveralMailAccounts) {
  const PropertyList result = after7A242(
      {account("Mail", "GmailAccount", {{"Identifier", "1"}, {"Username", "me"}}),
       account("Mail", "GmailAccount", {{"Identifier", "2"}, {"Username", "me@gmail.test"}}),
       calDAV("c", "calendars.gmail.test", "me", "/calendar/dav/me/user")});
  ASSERT_EQ(result.array()->size(), 2U);
  for (const PropertyList& each : *result.array()) {
    EXPECT_EQ(each.dictionary()->get("Enabled Dataclasses"),
              PropertyList(dataclasses({"Calendars", "Mail", "Notes"})));
  }
}

TEST_F(VersionSteps7A, EachMatchOfACalDAVAccountIsTracedAsADeletion) {
  switchTracingOn();
  (void)after7A242({account("Mail", "GmailAccount", {{"Identifier", "1"}, {"Username", "me"}}),
                    account("Mail", "GmailAccount", {{"Identifier", "2"}, {"Username", "me"}}),
                    account("Mail", "GmailAccount", {{"Identifier", "3"}, {"Username", "me"}}),
                    calDAV("c", "calendars.gmail.test", "me", "/calendar/dav/me/user")});
  EXPECT_EQ(fake.log.count("Deleting account:"), 3U);
}

TEST_F(VersionSteps7A, AnInactiveMailAccountStillTakesItsCalendars) {
  EXPECT_EQ(after7A242({account("Mail", "YahooAccount",
                                {{"Identifier", "y"}, {"Username", "me"}, {"IsActive", false}}),
                        calDAV("c", "calendars.yahoo.test", "me", "/principals/users/me")}),
            PropertyList(Array{account("Yahoo", "YahooAccount",
                                       {{"Identifier", "y"},
                                        {"Username", "me"},
                                        {"IsActive", false},
                                        {"Enabled Dataclasses", dataclasses({"Calendars"})}})}));
}

}  // namespace
}  // namespace accountsettings
