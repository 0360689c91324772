// Whole migrations of the legacy files: which accounts are there afterwards, and that none is lost
// when the device stops at any moment.
#include "testing/DocumentPath.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LegacyMigration : public testing::MigrationTest {
 protected:
  static Array goodMail() {
    return {Dictionary{{"AccountType", "POPAccount"},
                       {"uniqueId", "pop"},
                       {"AccountName", "Work"},
                       {"Foreign", Array{1, 2.5, true, Dictionary{{"Deep", "x"}}}}},
            Dictionary{{"AccountType", "GmailAccount"}, {"uniqueId", "gmail"}}};
  }
  static Array goodDelivery() {
    return {Dictionary{{"uniqueId", "smtp"}, {"Hostname", "smtp.test"}}};
  }
  static Array goodExchange() {
    return {Dictionary{{"DAAccountConfigurationClass", "DAExchange"},
                       {"DAAccountConfigurationAccountID", "exchange"},
                       {"DAAccountEnabledForEmail", false}}};
  }
  void putMail(const Array& incoming, const Array& delivery) {
    fake.files.putPropertyList(
        kLegacyMail, Dictionary{{"MailAccounts", incoming}, {"DeliveryAccounts", delivery}});
  }
  void putExchange(const Array& accounts) {
    fake.files.putPropertyList(kLegacyExchange, Dictionary{{"DAAccountsKey", accounts}});
  }
  // The identifiers in the settings file, in order.
  std::vector<std::string> savedIdentifiers() const {
    std::vector<std::string> identifiers;
    const PropertyList accounts = savedAccounts();
    if (accounts.array() == nullptr) return identifiers;
    for (const PropertyList& each : *accounts.array()) {
      identifiers.emplace_back(each.dictionary()->string("Identifier").value_or("no identifier"));
    }
    return identifiers;
  }
  bool legacyFilesAreGone() const {
    return !fake.files.has(kLegacyMail) && !fake.files.has(kLegacyExchange) &&
           !fake.files.has(kSentinel);
  }
  // The migration of a process of its own.
  bool migrateInAProcess() {
    ProcessContext other(fake.platform());
    const ProcessContext::Override inOther(other);
    return migrate();
  }
};

TEST_F(LegacyMigration, MailAlone) {
  putMail(goodMail(), goodDelivery());
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("smtp", "pop", "gmail", "DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
  const Dictionary pop = *testing::at(savedAccounts(), 1).dictionary();
  EXPECT_EQ(pop, (Dictionary{{"Class", "POPAccount"},
                             {"DisplayName", "Work"},
                             {"Identifier", "pop"},
                             {"Sync Identifier", "pop"},
                             {"Type", "Mail"},
                             {"Type String", "Account"},
                             {"Short Type String", "Account"},
                             {"Foreign", Array{1, 2.5, true, Dictionary{{"Deep", "x"}}}},
                             {"Enabled Dataclasses", testing::dataclasses({"Mail"})}}));
}

TEST_F(LegacyMigration, ExchangeAlone) {
  putExchange(goodExchange());
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("exchange", "DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
}

TEST_F(LegacyMigration, Both) {
  putMail(goodMail(), goodDelivery());
  putExchange(goodExchange());
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(),
              ElementsAre("exchange", "smtp", "pop", "gmail", "DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
}

TEST_F(LegacyMigration, AMailFileThatConvertsInPartIsLostWhole) {
  putMail({goodMail()[0], Dictionary{{"uniqueId", "no class"}}}, goodDelivery());
  putExchange(goodExchange());
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("exchange", "DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
}

TEST_F(LegacyMigration, AnExchangeFileThatConvertsInPartIsLostWhole) {
  putMail(goodMail(), goodDelivery());
  putExchange({goodExchange()[0], Dictionary()});
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("smtp", "pop", "gmail", "DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
}

TEST_F(LegacyMigration, MalformedFilesConvertToNothingAndAreRemoved) {
  fake.files.put(kLegacyMail, "bplist00 and then nothing");
  fake.files.put(kLegacyExchange, "<plist><dict>");
  EXPECT_TRUE(migrate());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("DeviceLocalAccount"));
  EXPECT_TRUE(legacyFilesAreGone());
}

TEST_F(LegacyMigration, OnTheHostsWayTheSettingsValuesWinForAnIdentifierThatIsThereAlready) {
  // What the conversion gives counts as unchanged in memory, the sync identifier aside.
  putSettings(12, {Dictionary{{"Type", "Mail"},
                              {"Class", "IMAPAccount"},
                              {"Identifier", "pop"},
                              {"DisplayName", "Newer"}}});
  putMail({goodMail()[0]}, {});
  EXPECT_TRUE(migrate());
  EXPECT_EQ(savedAccounts(), PropertyList(Array{Dictionary{{"Type", "Mail"},
                                                           {"Class", "IMAPAccount"},
                                                           {"Identifier", "pop"},
                                                           {"Sync Identifier", "pop"},
                                                           {"DisplayName", "Newer"}}}));
}

TEST_F(LegacyMigration, AGenericMailAccountIsRepairedAtTheFirstSave) {
  putMail({Dictionary{{"AccountType", "MailAccount"},
                      {"uniqueId", "generic"},
                      {"AccountPath", "/var/mobile/Library/Mail/POP-me@pop.test"}}},
          {});
  EXPECT_TRUE(migrate());
  const auto account = AccountsManager::init()->accountWithIdentifier("generic");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->accountClass(), "POPAccount");
}

TEST_F(LegacyMigration, AGenericMailAccountBeyondRepairIsWrittenOnceMoreAndThenGone) {
  putSettings(8, {});
  putMail({Dictionary{{"AccountType", "MailAccount"}, {"uniqueId", "generic"}}}, {});
  EXPECT_TRUE(migrateInAProcess());
  EXPECT_THAT(savedIdentifiers(), ElementsAre("generic"));
  // The mail application is told at each save, of the four steps and the last one, and in the end.
  EXPECT_EQ(fake.notifications.preferencesChanged.size(), 4U + 1U + 1U);
  EXPECT_EQ(AccountsManager::init()->count(), 0U);
  EXPECT_TRUE(migrateInAProcess());
  EXPECT_THAT(savedIdentifiers(), IsEmpty());
}

TEST_F(LegacyMigration, AfterWhateverCrashTheNextRunEndsItAndNoAccountIsLost) {
  const std::vector<std::string> all = {"exchange", "smtp", "pop", "gmail"};
  int crashes = 0;
  for (const testing::CrashOutcome& outcome : testing::allCrashOutcomes()) {
    for (int call = 1;; ++call) {
      for (const char* path : {kSettings, kSentinel, kSettingsCopy}) fake.files.erase(path);
      putMail(goodMail(), goodDelivery());
      putExchange(goodExchange());
      fake.faults.cutPowerNth(call, "files.");
      bool cut = false;
      try {
        migrateInAProcess();
      } catch (const testing::PowerCut&) {
        cut = true;
      }
      if (!cut) break;
      ++crashes;
      fake.files.crash(outcome);
      EXPECT_TRUE(migrateInAProcess());
      EXPECT_TRUE(legacyFilesAreGone()) << call;
      const auto saved = savedIdentifiers();
      for (const std::string& identifier : all) EXPECT_THAT(saved, Contains(identifier)) << call;
      fake.faults.clear();
    }
  }
  EXPECT_GT(crashes, 100);
}

TEST_F(LegacyMigration, FailuresOfTheRemovalNeverCostAnAccount) {
  const std::vector<std::string> all = {"exchange", "smtp", "pop", "gmail"};
  for (const char* operation : {"files.remove", "files.create", "files.copy"}) {
    for (int call = 1;; ++call) {
      ASSERT_LT(call, 1000) << operation;
      fake.files.erase(kSettings);
      fake.files.erase(kSentinel);
      putMail(goodMail(), goodDelivery());
      putExchange(goodExchange());
      fake.faults.failAt(operation, call);
      migrateInAProcess();
      const bool failed = fake.faults.fired();
      fake.faults.clear();
      migrateInAProcess();
      migrateInAProcess();
      EXPECT_TRUE(legacyFilesAreGone()) << operation << call;
      const auto saved = savedIdentifiers();
      for (const std::string& identifier : all) {
        EXPECT_THAT(saved, Contains(identifier)) << operation << call;
      }
      if (!failed) break;
    }
  }
}

}  // namespace
}  // namespace accountsettings
