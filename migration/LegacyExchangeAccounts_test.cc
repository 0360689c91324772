// Tests of what becomes of the legacy Exchange file.
#include "migration/LegacyDescriptions.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using testing::dataclass;
using testing::dataclasses;
using ::testing::ElementsAre;

class LegacyExchangeAccounts : public testing::MigrationTest {
 protected:
  static Dictionary description(const char* identifier) {
    return {{"DAAccountConfigurationClass", "DAExchange"},
            {"DAAccountConfigurationAccountID", identifier}};
  }
  void putFile(const Array& accounts) {
    fake.files.putPropertyList(kLegacyExchange, Dictionary{{"DAAccountsKey", accounts}});
  }
  static PropertyList enabled(const Dictionary& flags) {
    return *exchangeAccountProperties(flags).find("Enabled Dataclasses");
  }
};

// From description to properties.

TEST_F(LegacyExchangeAccounts, OldKeysAreRenamedAndAllOthersPassThrough) {
  EXPECT_EQ(exchangeAccountProperties({{"DAAccountConfigurationClass", "DAExchange"},
                                       {"DAAccountDescription", "Work"},
                                       {"DAAccountConfigurationAccountID", "E"},
                                       {"DAAccountHost", "exchange.test"},
                                       {"Unknown", Array{1, 2}}}),
            (Dictionary{{"Class", "DAExchange"},
                        {"DisplayName", "Work"},
                        {"Identifier", "E"},
                        {"DAAccountHost", "exchange.test"},
                        {"Unknown", Array{1, 2}},
                        {"Type", "Exchange"},
                        {"Type String", "Exchange"},
                        {"Short Type String", "Exchange"},
                        {"Enabled Dataclasses",
                         dataclasses({"Calendars", "Contacts", "Mail", "ContactsSearch"})}}));
}

TEST_F(LegacyExchangeAccounts, AnOldKeyOverridesWhatStandsUnderItsNewName) {
  const Dictionary properties = exchangeAccountProperties(
      {{"Class", "new"}, {"DAAccountConfigurationClass", "old"}, {"Type", "Mail"}});
  EXPECT_EQ(properties.get("Class"), PropertyList("old"));
  EXPECT_EQ(properties.get("Type"), PropertyList("Exchange"));
}

TEST_F(LegacyExchangeAccounts, AbsentFlagsMeanEnabledAndNoFlagRemains) {
  EXPECT_EQ(enabled({}),
            PropertyList(dataclasses({"Calendars", "Contacts", "Mail", "ContactsSearch"})));
  const Dictionary properties = exchangeAccountProperties({{"DAAccountEnabledForEmail", false}});
  EXPECT_EQ(properties.get("Enabled Dataclasses"),
            PropertyList(dataclasses({"Calendars", "Contacts", "ContactsSearch"})));
  EXPECT_FALSE(properties.contains("DAAccountEnabledForEmail"));
}

TEST_F(LegacyExchangeAccounts, EachFlagDecidesItsOwnDataClass) {
  EXPECT_EQ(enabled({{"DAAccountEnabledForCalendar", false}}),
            PropertyList(dataclasses({"Contacts", "Mail", "ContactsSearch"})));
  EXPECT_EQ(enabled({{"DAAccountEnabledForContacts", 0}}),
            PropertyList(dataclasses({"Calendars", "Mail", "ContactsSearch"})));
  EXPECT_EQ(enabled({{"DAAccountEnabledForContactsSearch", "NO"}}),
            PropertyList(dataclasses({"Calendars", "Contacts", "Mail"})));
  EXPECT_EQ(enabled({{"DAAccountEnabledForEmail", 1}}),
            PropertyList(dataclasses({"Calendars", "Contacts", "Mail", "ContactsSearch"})));
}

TEST_F(LegacyExchangeAccounts, WithEveryFlagOffAnEmptyListIsStored) {
  EXPECT_EQ(enabled({{"DAAccountEnabledForCalendar", false},
                     {"DAAccountEnabledForContacts", false},
                     {"DAAccountEnabledForEmail", false},
                     {"DAAccountEnabledForContactsSearch", false}}),
            PropertyList(Array()));
}

TEST_F(LegacyExchangeAccounts, WithoutAClassThePropertiesHaveNoneAndNoRecordCanBeMade) {
  const Dictionary properties = exchangeAccountProperties({{"DAAccountHost", "h"}});
  EXPECT_FALSE(properties.contains("Class"));
  EXPECT_EQ(properties.get("Type"), PropertyList("Exchange"));
  EXPECT_FALSE(AccountsDataMigrator()._convertExchangeAccountDescription({{"DAAccountHost", "h"}}));
}

TEST_F(LegacyExchangeAccounts, WithoutAnIdentifierThePropertiesHaveNoneAndTheRecordOne) {
  const Dictionary anonymous{{"DAAccountConfigurationClass", "DAExchange"}};
  const Dictionary properties = exchangeAccountProperties(anonymous);
  EXPECT_FALSE(properties.contains("Identifier"));
  EXPECT_FALSE(properties.contains("Sync Identifier"));
  const auto account = AccountsDataMigrator()._convertExchangeAccountDescription(anonymous);
  ASSERT_TRUE(account);
  EXPECT_FALSE(account->originalProperties().contains("Identifier"));
  EXPECT_FALSE(account->originalProperties().contains("Sync Identifier"));
  EXPECT_TRUE(account->identifier());
  EXPECT_EQ(account->identifier(), account->syncStoreIdentifier());
  EXPECT_EQ(fake.identifiers.made(), 1);
}

TEST_F(LegacyExchangeAccounts, WithoutAnIdentifierADescriptionKeepsItsOwnSyncIdentifier) {
  const auto account = AccountsDataMigrator()._convertExchangeAccountDescription(
      {{"DAAccountConfigurationClass", "DAExchange"}, {"Sync Identifier", "its own"}});
  ASSERT_TRUE(account);
  EXPECT_TRUE(account->identifier());
  EXPECT_EQ(account->syncStoreIdentifier(), "its own");
}

TEST_F(LegacyExchangeAccounts, TheIdentifierBecomesTheSyncIdentifierToo) {
  const auto account = AccountsDataMigrator()._convertExchangeAccountDescription(description("E"));
  ASSERT_TRUE(account);
  EXPECT_EQ(account->syncStoreIdentifier(), "E");
  EXPECT_EQ(account->accountClass(), "DAExchange");
  EXPECT_EQ(account->typeString(), "Exchange");
}

TEST_F(LegacyExchangeAccounts, EnabledDataClassesAreStoredInTheirOldOrderAndReportedInTheUsualOne) {
  const auto account = AccountsDataMigrator()._convertExchangeAccountDescription(description("E"));
  ASSERT_TRUE(account);
  EXPECT_EQ(account->accountPropertyForKey("Enabled Dataclasses"),
            PropertyList(dataclasses({"Calendars", "Contacts", "Mail", "ContactsSearch"})));
  EXPECT_EQ(account->enabledDataclasses(),
            (StringList{dataclass("Mail"), dataclass("Contacts"), dataclass("Calendars"),
                        dataclass("ContactsSearch")}));
}

// The whole file.

TEST_F(LegacyExchangeAccounts, ConvertedAccountsReplaceThoseOfTheirTypeOnly) {
  putFile({description("e1"), description("e2")});
  const auto store =
      storeOf({Dictionary{{"Type", "Exchange"}, {"Class", "C"}, {"Identifier", "old"}},
               Dictionary{{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", "mail"}},
               Dictionary{{"Type", "Exchange"}, {"Class", "C"}, {"Identifier", "e2"}, {"Own", 1}}});
  EXPECT_TRUE(AccountsDataMigrator()._migrateDAAccounts(*store));
  ASSERT_EQ(store->count(), 3U);
  const auto& accounts = store->allBasicAccounts();
  EXPECT_EQ(accounts[0]->identifier(), "mail");
  EXPECT_EQ(accounts[1]->identifier(), "e2");  // in the old one's place
  EXPECT_EQ(accounts[1]->accountPropertyForKey("Own"), std::nullopt);
  EXPECT_EQ(accounts[2]->identifier(), "e1");
}

TEST_F(LegacyExchangeAccounts, OneDescriptionThatDoesNotConvertKeepsEverythingOut) {
  putFile({description("e1"), Dictionary{{"DAAccountDescription", "Bad"}}, Dictionary()});
  const auto store =
      storeOf({Dictionary{{"Type", "Exchange"}, {"Class", "C"}, {"Identifier", "old"}}});
  EXPECT_FALSE(AccountsDataMigrator()._migrateDAAccounts(*store));
  ASSERT_EQ(store->count(), 1U);
  EXPECT_EQ(store->allBasicAccounts()[0]->identifier(), "old");
  expectLog({"[-[BasicAccount initWithProperties:]] Missing account class.",
             "-[AccountsDataMigrator(Internal) _migrateDAAccounts:]. Could not convert the "
             "description for the Exchange account { DAAccountDescription = Bad; }"});
}

TEST_F(LegacyExchangeAccounts, ADescriptionThatIsNoDictionaryDoesNotConvert) {
  putFile({description("e1"), 5});
  const auto store = storeOf({});
  EXPECT_FALSE(AccountsDataMigrator()._migrateDAAccounts(*store));
  EXPECT_EQ(store->count(), 0U);
}

TEST_F(LegacyExchangeAccounts, AFileWithoutAccountsReplacesByNothing) {
  const Dictionary old{{"Type", "Exchange"}, {"Class", "C"}, {"Identifier", "old"}};
  for (const PropertyList& content :
       {PropertyList(Dictionary()), PropertyList(Dictionary{{"DAAccountsKey", Array()}}),
        PropertyList(Dictionary{{"DAAccountsKey", "text"}}), PropertyList(Array())}) {
    fake.files.putPropertyList(kLegacyExchange, content);
    const auto store = storeOf({old});
    EXPECT_TRUE(AccountsDataMigrator()._migrateDAAccounts(*store));
    EXPECT_EQ(store->count(), 0U);
  }
  fake.files.erase(kLegacyExchange);
  const auto store = storeOf({old});
  EXPECT_TRUE(AccountsDataMigrator()._migrateDAAccounts(*store));
  EXPECT_EQ(store->count(), 0U);
}

TEST_F(LegacyExchangeAccounts, TheOriginalBesideTheFileGoesAfterEveryAttempt) {
  const std::string original = std::string(kLegacyExchange) + ".original";
  for (const Array& accounts : {Array{description("e")}, Array{Dictionary()}}) {
    putFile(accounts);
    fake.files.put(original, "x");
    const auto store = storeOf({});
    (void)AccountsDataMigrator()._migrateDAAccounts(*store);
    EXPECT_FALSE(fake.files.has(original));
    EXPECT_TRUE(fake.files.has(kLegacyExchange));
  }
}

TEST_F(LegacyExchangeAccounts, AnEmptyListCountsAsFoundAndAMissingFileDoesNot) {
  // Found means: a removal that fails is mentioned.
  const auto removalIsMentioned = [&] {
    const auto store = storeOf({});
    AccountsDataMigrator migrator;
    (void)migrator._migrateDAAccounts(*store);
    fake.log.clear();
    fake.faults.failAt("files.remove", 1);
    (void)migrator._removeOldAccountsInfo();
    fake.faults.clear();
    return fake.log.contains(std::string("Could not delete ") + kLegacyExchange);
  };
  putFile({});
  EXPECT_TRUE(removalIsMentioned());
  fake.files.erase(kLegacyExchange);
  EXPECT_FALSE(removalIsMentioned());
  fake.files.putPropertyList(kLegacyExchange, Dictionary());
  EXPECT_FALSE(removalIsMentioned());
}

TEST_F(LegacyExchangeAccounts, AnyTopLevelKeyCountsAsFound) {
  fake.files.putPropertyList(kLegacyExchange, Dictionary{{"Another key", 1}});
  const auto store = storeOf({});
  AccountsDataMigrator migrator;
  (void)migrator._migrateDAAccounts(*store);
  fake.log.clear();
  fake.faults.failAt("files.remove", 1);
  (void)migrator._removeOldAccountsInfo();
  EXPECT_TRUE(fake.log.contains(std::string("Could not delete ") + kLegacyExchange));
}

}  // namespace
}  // namespace accountsettings
