// Tests of what becomes of the legacy mail file.
#include <thread>

#include "migration/GoogleMail.h"
#include "migration/LegacyDescriptions.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LegacyMailAccounts : public testing::MigrationTest {
 protected:
  static PropertyList incoming(const Dictionary& description) {
    return mailAccountProperties(description, "Mail");
  }
  static PropertyList delivery(const Dictionary& description) {
    return mailAccountProperties(description, "SMTP");
  }
  void putFile(const Array& mail, const Array& deliveryAccounts) {
    fake.files.putPropertyList(
        kLegacyMail, Dictionary{{"MailAccounts", mail}, {"DeliveryAccounts", deliveryAccounts}});
  }
  static Dictionary description(const char* accountClass, const char* identifier) {
    return {{"AccountType", accountClass}, {"uniqueId", identifier}};
  }
  // Type, identifier pairs in the store's order.
  static std::vector<std::string> contents(const AccountsManager& store) {
    std::vector<std::string> result;
    for (const auto& account : store.allBasicAccounts()) {
      result.push_back(account->type().value_or("?") + " " + account->identifier().value_or("?"));
    }
    return result;
  }
  // A store with one account of each type that conversions touch.
  static std::unique_ptr<AccountsManager> fullStore() {
    Array accounts;
    for (const char* type :
         {"Mail", "SMTP", "Gmail", "Quorra", "Yahoo", "Exchange", "KetchIMAP", "CalDAV"}) {
      accounts.append(Dictionary{
          {"Type", type}, {"Class", "IMAPAccount"}, {"Identifier", "old-" + std::string(type)}});
    }
    return storeOf(accounts);
  }
};

// From description to properties.

TEST_F(LegacyMailAccounts, OldKeysAreRenamedAndAllOthersPassThrough) {
  const Dictionary nested{{"Deep", Array{1, true, 2.5}}};
  EXPECT_EQ(incoming({{"AccountType", "POPAccount"},
                      {"AccountName", "Work"},
                      {"uniqueId", "U"},
                      {"Hostname", "pop.test"},
                      {"PortNumber", 110},
                      {"Unknown", nested}}),
            PropertyList(Dictionary{{"Class", "POPAccount"},
                                    {"DisplayName", "Work"},
                                    {"Identifier", "U"},
                                    {"Hostname", "pop.test"},
                                    {"PortNumber", 110},
                                    {"Unknown", nested},
                                    {"Type", "Mail"},
                                    {"Type String", "Account"},
                                    {"Short Type String", "Account"}}));
}

TEST_F(LegacyMailAccounts, AnOldKeyOverridesWhatStandsUnderItsNewName) {
  EXPECT_EQ(incoming({{"Class", "IMAPAccount"},
                      {"DisplayName", "new"},
                      {"Identifier", "new"},
                      {"AccountType", "POPAccount"},
                      {"AccountName", "old"},
                      {"uniqueId", "old"}}),
            PropertyList(Dictionary{{"Class", "POPAccount"},
                                    {"DisplayName", "old"},
                                    {"Identifier", "old"},
                                    {"Type", "Mail"},
                                    {"Type String", "Account"},
                                    {"Short Type String", "Account"}}));
}

TEST_F(LegacyMailAccounts, TheClassDecidesTypeAndTypeStrings) {
  struct Row {
    const char* accountClass;
    const char* type;
    const char* typeString;
  };
  const Row rows[] = {
      {"GmailAccount", "Gmail", "Gmail"},
      {"VantorAccount", "Quorra", "Quorra"},
      {"QuorraAccount", "Quorra", "Quorra"},
      {"KetchIMAPAccount", "KetchIMAP", "Halden"},
      {"YahooAccount", "Yahoo", "Yahoo!\xE2\x80\x8E"},
      {"DAMailAccount", "Exchange", "Exchange ActiveSync"},
      {"DeliveryAccount", "SMTP", "Account"},
      {"SMTPAccount", "SMTP", "Account"},
      {"IMAPAccount", "Mail", "Account"},
      {"gmailaccount", "Mail", "Account"},
      {"", "Mail", "Account"},
  };
  for (const Row& row : rows) {
    const Dictionary expected{{"Class", row.accountClass},
                              {"Type", row.type},
                              {"Type String", row.typeString},
                              {"Short Type String", row.typeString}};
    // Whichever list the description stood in.
    EXPECT_EQ(incoming({{"AccountType", row.accountClass}}), PropertyList(expected));
    EXPECT_EQ(delivery({{"AccountType", row.accountClass}}), PropertyList(expected));
    EXPECT_EQ(AccountsDataMigrator::_accountTypeForMailAccountClass(row.accountClass), row.type);
    EXPECT_EQ(AccountsDataMigrator::_accountTypeStringForMailAccountClass(row.accountClass),
              row.typeString);
    EXPECT_EQ(AccountsDataMigrator::_accountShortTypeStringForMailAccountClass(row.accountClass),
              row.typeString);
  }
}

TEST_F(LegacyMailAccounts, ADeliveryAccountWithoutAClassIsAnSMTPAccount) {
  EXPECT_EQ(delivery({{"Hostname", "smtp.test"}}),
            PropertyList(Dictionary{{"Hostname", "smtp.test"},
                                    {"Type", "SMTP"},
                                    {"Class", "SMTPAccount"},
                                    {"Type String", "Account"},
                                    {"Short Type String", "Account"}}));
}

TEST_F(LegacyMailAccounts, AnIncomingAccountWithoutAClassGetsNoTypeStrings) {
  EXPECT_EQ(incoming({{"Hostname", "imap.test"}}),
            PropertyList(Dictionary{{"Hostname", "imap.test"}, {"Type", "Mail"}}));
}

TEST_F(LegacyMailAccounts, TheHostedServiceKnowsItsUsersWithoutTheirDomain) {
  const auto username = [](const char* accountClass, const PropertyList& name) {
    return *mailAccountProperties({{"AccountType", accountClass}, {"Username", name}}, "Mail")
                .find("Username");
  };
  EXPECT_EQ(username("VantorAccount", "name@vantor.test"), PropertyList("name"));
  EXPECT_EQ(username("QuorraAccount", "name@sub@quorra.test"), PropertyList("name"));
  EXPECT_EQ(username("QuorraAccount", "@quorra.test"), PropertyList(""));
  EXPECT_EQ(username("VantorAccount", "name"), PropertyList("name"));
  EXPECT_EQ(username("VantorAccount", 7), PropertyList(7));
  EXPECT_EQ(username("GmailAccount", "name@gmail.test"), PropertyList("name@gmail.test"));
  EXPECT_EQ(username("IMAPAccount", "name@imap.test"), PropertyList("name@imap.test"));
}

TEST_F(LegacyMailAccounts, WhereTheRegionSaysSoGmailIsGoogleMail) {
  fake.deviceAnswers.set("RegionalBehaviorGoogleMail", true);
  const PropertyList properties = incoming({{"AccountType", "GmailAccount"}});
  EXPECT_EQ(properties.dictionary()->get("Type String"), PropertyList("Google Mail"));
  EXPECT_EQ(properties.dictionary()->get("Short Type String"), PropertyList("Google Mail"));
}

TEST_F(LegacyMailAccounts, TheRegionIsAskedOncePerProcessAlsoByManyThreads) {
  fake.deviceAnswers.set("RegionalBehaviorGoogleMail", "YES");
  std::vector<std::thread> threads;
  for (int each = 0; each < 4; ++each) {
    threads.emplace_back([this] {
      const ProcessContext::Override onThisThread(context);
      EXPECT_TRUE(_UseGoogleMail());
    });
  }
  for (auto& thread : threads) thread.join();
  fake.deviceAnswers.set("RegionalBehaviorGoogleMail", false);
  EXPECT_TRUE(_UseGoogleMail());
  EXPECT_EQ(fake.faults.count("deviceAnswers.copyDeviceAnswer"), 1U);
}

TEST_F(LegacyMailAccounts, ARegionMayAnswerThatItDoesNotSayGoogleMail) {
  fake.deviceAnswers.set("RegionalBehaviorGoogleMail", false);
  EXPECT_FALSE(_UseGoogleMail());
}

TEST_F(LegacyMailAccounts, WithoutAnAnswerTheRegionDoesNotSayGoogleMail) {
  EXPECT_FALSE(_UseGoogleMail());
  EXPECT_EQ(fake.faults.calls().back(),
            (testing::Call{"deviceAnswers.copyDeviceAnswer", "RegionalBehaviorGoogleMail"}));
}

// From properties to a record.

TEST_F(LegacyMailAccounts, TheIdentifierBecomesTheSyncIdentifierToo) {
  const auto account = AccountsDataMigrator()._convertMailAccountDescriptionType(
      {{"AccountType", "IMAPAccount"}, {"uniqueId", "X"}, {"Sync Identifier", "other"}}, "Mail");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->identifier(), "X");
  EXPECT_EQ(account->syncStoreIdentifier(), "X");
  EXPECT_EQ(account->accountPropertyForKey("uniqueId"), std::nullopt);
  EXPECT_FALSE(account->originalProperties().contains("uniqueId"));
}

TEST_F(LegacyMailAccounts, WithoutAnIdentifierTheRecordGetsTwoDifferentOnes) {
  const auto account = AccountsDataMigrator()._convertMailAccountDescriptionType(
      {{"AccountType", "IMAPAccount"}}, "Mail");
  ASSERT_TRUE(account);
  ASSERT_TRUE(account->identifier());
  ASSERT_TRUE(account->syncStoreIdentifier());
  EXPECT_NE(account->identifier(), account->syncStoreIdentifier());
  EXPECT_EQ(fake.identifiers.made(), 2);
  EXPECT_FALSE(account->originalProperties().contains("Identifier"));
}

TEST_F(LegacyMailAccounts, WhereNoIdentifierCanBeMadeTheSyncIdentifierStaysUnset) {
  fake.faults.failAlways("identifiers.makeUUID");
  const auto account = AccountsDataMigrator()._convertMailAccountDescriptionType(
      {{"AccountType", "IMAPAccount"}}, "Mail");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->syncStoreIdentifier(), std::nullopt);
}

TEST_F(LegacyMailAccounts, AnIdentifierOfAnotherKindIsCarriedOverAsItIs) {
  const auto account = AccountsDataMigrator()._convertMailAccountDescriptionType(
      {{"AccountType", "IMAPAccount"}, {"uniqueId", 7}}, "Mail");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->accountPropertyForKey("Identifier"), PropertyList(7));
  EXPECT_EQ(account->accountPropertyForKey("Sync Identifier"), PropertyList(7));
}

TEST_F(LegacyMailAccounts, NoRecordCanBeMadeWithoutAClass) {
  const AccountsDataMigrator migrator;
  EXPECT_FALSE(migrator._convertMailAccountDescriptionType({{"uniqueId", "X"}}, "Mail"));
  EXPECT_FALSE(migrator._convertMailAccountDescriptionType({{"AccountType", ""}}, "SMTP"));
  // A class under its new name will do.
  EXPECT_TRUE(migrator._convertMailAccountDescriptionType({{"Class", "IMAPAccount"}}, "Mail"));
}

TEST_F(LegacyMailAccounts, TheGenericClassConvertsLikeAnyOther) {
  const auto account = AccountsDataMigrator()._convertMailAccountDescriptionType(
      description("MailAccount", "X"), "Mail");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->type(), "Mail");
  expectLog({});
}

// The whole file.

TEST_F(LegacyMailAccounts, ConvertedAccountsReplaceMailAndSMTPAccountsOnly) {
  putFile({description("GmailAccount", "g"), description("POPAccount", "p")},
          {description("DeliveryAccount", "d")});
  const auto store = fullStore();
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_THAT(contents(*store),
              ElementsAre("Gmail old-Gmail", "Quorra old-Quorra", "Yahoo old-Yahoo",
                          "Exchange old-Exchange", "KetchIMAP old-KetchIMAP", "CalDAV old-CalDAV",
                          "SMTP d", "Gmail g", "Mail p"));
}

TEST_F(LegacyMailAccounts, AnAccountOfTheSameIdentifierIsReplacedInItsPlaceWhateverItsType) {
  putFile({description("DAMailAccount", "old-CalDAV")}, {});
  const auto store = fullStore();
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(contents(*store).back(), "Exchange old-CalDAV");
}

TEST_F(LegacyMailAccounts, ADeliveryDescriptionOfAnIncomingClassBecomesAMailAccountAndIsLost) {
  // The second replacement, of the type Mail, does not know it.
  putFile({description("POPAccount", "p")}, {description("IMAPAccount", "i")});
  const auto store = storeOf({});
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_THAT(contents(*store), ElementsAre("Mail p"));
}

TEST_F(LegacyMailAccounts, AnEmptyFileReplacesByNothing) {
  fake.files.putPropertyList(kLegacyMail, Dictionary());
  const auto store = fullStore();
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(store->countOfBasicAccountsWithTypes({"Mail", "SMTP"}), 0U);
  EXPECT_EQ(store->count(), 6U);
}

TEST_F(LegacyMailAccounts, AMissingOrUnreadableFileReplacesByNothingToo) {
  for (const char* text : {"", "no property list", "<plist><array/></plist>"}) {
    fake.files.put(kLegacyMail, text);
    const auto store = fullStore();
    EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
    EXPECT_EQ(store->count(), 6U);
  }
  fake.files.erase(kLegacyMail);
  const auto store = fullStore();
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(store->count(), 6U);
}

TEST_F(LegacyMailAccounts, ListsOfAnotherKindReadAsAbsent) {
  fake.files.putPropertyList(kLegacyMail,
                             Dictionary{{"MailAccounts", "text"}, {"DeliveryAccounts", 5}});
  const auto store = fullStore();
  EXPECT_TRUE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(store->count(), 6U);
}

TEST_F(LegacyMailAccounts, OneIncomingDescriptionThatDoesNotConvertKeepsEverythingOut) {
  putFile({description("POPAccount", "p"), Dictionary{{"uniqueId", "bad"}}},
          {description("DeliveryAccount", "d")});
  const auto store = fullStore();
  const auto before = contents(*store);
  fake.log.clear();
  EXPECT_FALSE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(contents(*store), before);
  expectLog({"[-[BasicAccount initWithProperties:]] Missing account class.",
             "-[AccountsDataMigrator(Internal) _migrateMailAccounts:]. Could not convert the "
             "description for the incoming account { uniqueId = bad; }"});
}

TEST_F(LegacyMailAccounts, AfterADeliveryFailureNoIncomingDescriptionIsTried) {
  putFile({Dictionary{{"uniqueId", "also bad"}}},
          {Dictionary{{"AccountType", ""}}, Dictionary{{"AccountType", ""}}});
  const auto store = fullStore();
  const auto before = contents(*store);
  fake.log.clear();
  EXPECT_FALSE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(contents(*store), before);
  expectLog({"[-[BasicAccount initWithProperties:]] Missing account class.",
             "-[AccountsDataMigrator(Internal) _migrateMailAccounts:]. Could not convert the "
             "description for the delivery account { AccountType = \"\"; }"});
}

TEST_F(LegacyMailAccounts, ADescriptionThatIsNoDictionaryDoesNotConvert) {
  putFile({description("POPAccount", "p"), "text"}, {});
  const auto store = storeOf({});
  EXPECT_FALSE(AccountsDataMigrator()._migrateMailAccounts(*store));
  EXPECT_EQ(store->count(), 0U);
  EXPECT_TRUE(fake.log.contains("Could not convert the description for the incoming account text"));
}

TEST_F(LegacyMailAccounts, TheOriginalBesideTheFileGoesAfterEveryAttempt) {
  const std::string original = std::string(kLegacyMail) + ".original";
  for (const Array& mail : {Array{description("POPAccount", "p")}, Array{Dictionary()}}) {
    putFile(mail, {});
    fake.files.put(original, "x");
    const auto store = storeOf({});
    (void)AccountsDataMigrator()._migrateMailAccounts(*store);
    EXPECT_FALSE(fake.files.has(original));
    EXPECT_TRUE(fake.files.has(kLegacyMail));
  }
}

TEST_F(LegacyMailAccounts, AnyTopLevelKeyCountsAsFound) {
  // Found means: a removal that fails is mentioned.
  const auto removalIsMentioned = [&] {
    const auto store = storeOf({});
    AccountsDataMigrator migrator;
    (void)migrator._migrateMailAccounts(*store);
    fake.log.clear();
    fake.faults.failAt("files.remove", 2);
    (void)migrator._removeOldAccountsInfo();
    fake.faults.clear();
    return fake.log.contains(std::string("Could not delete ") + kLegacyMail);
  };
  putFile({}, {});
  EXPECT_TRUE(removalIsMentioned());
  fake.files.putPropertyList(kLegacyMail, Dictionary{{"Foreign", 1}});
  EXPECT_TRUE(removalIsMentioned());
  fake.files.putPropertyList(kLegacyMail, Dictionary());
  EXPECT_FALSE(removalIsMentioned());
  fake.files.put(kLegacyMail, "no property list");
  EXPECT_FALSE(removalIsMentioned());
}

}  // namespace
}  // namespace accountsettings
