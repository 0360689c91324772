// Tests of the decision whether to migrate.
#include "platform/AssertionFailure.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Flags {
  bool mail = false;
  bool exchange = false;
  bool settings = false;

  friend bool operator==(const Flags&, const Flags&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Flags& flags) {
    return out << flags.mail << ", " << flags.exchange << ", " << flags.settings;
  }
};

Flags decide() {
  Flags flags{true, true, true};  // none of them may stay by chance
  AccountsManager::shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(
      &flags.mail, &flags.exchange, &flags.settings);
  return flags;
}

class MigrationDecision : public testing::MigrationTest {
 protected:
  void putLegacy(const char* path) { fake.files.putPropertyList(path, Dictionary()); }
  static std::string decisionLine(std::string_view flags) {
    const std::string f(flags);
    return "Accounts settings needs migration! oldMailAccountsPresent=" + f.substr(0, 1) +
           ", oldDAAccountsPresent=" + f.substr(1, 1) +
           ", migrateNewAccountsInfo=" + f.substr(2, 1);
  }
};

TEST_F(MigrationDecision, CurrentSettingsWithoutLegacyFilesNeedNothingAndSaySo) {
  putSettings(12, {});
  EXPECT_EQ(decide(), (Flags{false, false, false}));
  expectLog({});
}

TEST_F(MigrationDecision, OutdatedSettingsAreUpgraded) {
  putSettings(11, {});
  EXPECT_EQ(decide(), (Flags{false, false, true}));
  expectLog({"Account Settings Version out of date: savedVersion=11, currentVersion=12",
             decisionLine("001")});
}

TEST_F(MigrationDecision, ALegacyMailFileWinsAndTheSettingsAreNotEvenRead) {
  putSettings(11, {});
  putLegacy(kLegacyMail);
  EXPECT_EQ(decide(), (Flags{true, false, false}));
  expectLog({decisionLine("100")});
  EXPECT_THAT(fake.faults.operations("files.read"), IsEmpty());
}

TEST_F(MigrationDecision, ALegacyExchangeFileWinsToo) {
  putSettings(11, {});
  putLegacy(kLegacyExchange);
  EXPECT_EQ(decide(), (Flags{false, true, false}));
  expectLog({decisionLine("010")});
}

TEST_F(MigrationDecision, BothLegacyFilesAreFoundByTheirExistenceAlone) {
  fake.files.put(kLegacyMail, "no property list");
  fake.files.put(kLegacyExchange, "no property list");
  EXPECT_EQ(decide(), (Flags{true, true, false}));
  expectLog({decisionLine("110")});
  EXPECT_THAT(fake.faults.operations("files.read"), IsEmpty());
}

TEST_F(MigrationDecision, NoFilesAtAllNeedNothing) {
  EXPECT_EQ(decide(), Flags());
  expectLog({});
}

TEST_F(MigrationDecision, ReferencesAreRequiredInTheirOrderAndBeforeAnythingIsLookedAt) {
  bool given = false;
  const auto complaintAbout = [](bool* mail, bool* exchange, bool* settings) -> std::string {
    try {
      AccountsManager::shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(mail, exchange,
                                                                                   settings);
    } catch (const AssertionFailure& failure) {
      EXPECT_EQ(failure.sourceFile(), "AccountsManager");
      return failure.message();
    }
    return "none";
  };
  EXPECT_EQ(complaintAbout(nullptr, nullptr, nullptr), "migrateOldMailAccounts cannot be nil");
  EXPECT_EQ(complaintAbout(&given, nullptr, nullptr), "migrateOldDAAccounts cannot be nil");
  EXPECT_EQ(complaintAbout(&given, &given, nullptr), "migrateNewAccounts cannot be nil");
  EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
}

TEST_F(MigrationDecision, UnreadableSettingsNeedNoUpgradeSilently) {
  for (const char* text : {"", "no property list", "<plist><array/></plist>"}) {
    fake.files.put(kSettings, text);
    EXPECT_FALSE(AccountsManager::accountSettingsNeedsToBeMigrated()) << text;
  }
  fake.files.erase(kSettings);
  EXPECT_FALSE(AccountsManager::accountSettingsNeedsToBeMigrated());
  expectLog({});
}

TEST_F(MigrationDecision, SettingsWithoutAVersionNeedNoUpgradeButAreMentioned) {
  fake.files.putPropertyList(kSettings, Dictionary{{"Accounts", Array()}});
  EXPECT_FALSE(AccountsManager::accountSettingsNeedsToBeMigrated());
  expectLog({"Account Settings plist is missing a version number, returning NO for migration"});
}

TEST_F(MigrationDecision, TheVersionIsComparedWithItsSign) {
  struct Case {
    PropertyList version;
    bool outdated;
    const char* shown;
  };
  const Case cases[] = {
      {0, true, "0"},
      {-1, true, "-1"},
      {11, true, "11"},
      {12, false, ""},
      {13, false, ""},
      {11.9, true, "11"},
      {12.9, false, ""},
      {true, true, "1"},
      {"11 and more", true, "11"},
      {"no number", true, "0"},
      {std::uint64_t{1} << 63, false, ""},
      {Array(), true, "0"},
  };
  for (const Case& each : cases) {
    fake.files.putPropertyList(kSettings, Dictionary{{"Version", each.version}});
    EXPECT_EQ(AccountsManager::accountSettingsNeedsToBeMigrated(), each.outdated) << each.shown;
    if (each.outdated) {
      expectLog({std::string("Account Settings Version out of date: savedVersion=") + each.shown +
                 ", currentVersion=12"});
    } else {
      expectLog({});
    }
  }
}

TEST_F(MigrationDecision, PathsLieInTheHomeDirectory) {
  EXPECT_EQ(mailAccountsPath(), kLegacyMail);
  EXPECT_EQ(daAccountPath(), kLegacyExchange);
  EXPECT_EQ(accountSettingsAccountsPath(), kSettings);
  fake.directories.home = "/private/home/";
  EXPECT_EQ(mailAccountsPath(), "/private/home/Library/Mail/Accounts.plist");
  EXPECT_EQ(daAccountPath(), "/private/home/Library/Preferences/com.zelqo.DataAccess.plist");
  EXPECT_EQ(accountSettingsAccountsPath(), kSettings);
}

TEST_F(MigrationDecision, NothingIsToBeMigratedWhereNobodyCanTellWhatIsThere) {
  putSettings(11, {});
  putLegacy(kLegacyExchange);
  for (const int look : {1, 2}) {
    const std::string path = look == 1 ? kLegacyMail : kLegacyExchange;
    fake.faults.failAt("files.exists", look, EMFILE);
    EXPECT_EQ(decide(), (Flags{false, false, false})) << path;
    expectLog(
        {"+[AccountsManager(MigrationSupport) "
         "shouldMigrateOldMailAccounts:oldDAAccounts:newAccountSettings:]. Could not find "
         "out what is to be migrated. Error = " +
         path + ": Too many open files"});
    fake.faults.failAt("files.exists", look, EMFILE);
    const Result<MigrationNeeds> needs = AccountsManager::migrationNeeds();
    ASSERT_FALSE(needs);
    EXPECT_EQ(needs.error().code, EMFILE);
    expectLog({});
  }
}

TEST_F(MigrationDecision, SettingsThatNobodyCanLookAtAreNotRemoved) {
  putSettings(12, {});
  fake.faults.failAt("files.exists", 1, EACCES);
  AccountsManager::removeNewAccountSettingsToMigrateOldAccountInformation();
  EXPECT_TRUE(fake.files.has(kSettings));
}

TEST_F(MigrationDecision, ClearingTheWayForAConversionRemovesTheSettings) {
  putSettings(12, {});
  AccountsManager::removeNewAccountSettingsToMigrateOldAccountInformation();
  EXPECT_FALSE(fake.files.has(kSettings));
  expectLog({});
}

TEST_F(MigrationDecision, ClearingTheWayIsSilentWithoutSettings) {
  AccountsManager::removeNewAccountSettingsToMigrateOldAccountInformation();
  expectLog({});
  EXPECT_THAT(fake.faults.operations("files."), ElementsAre("files.exists"));
}

TEST_F(MigrationDecision, SettingsThatCannotBeRemovedAreMentioned) {
  putSettings(12, {});
  fake.faults.failAt("files.remove");
  AccountsManager::removeNewAccountSettingsToMigrateOldAccountInformation();
  EXPECT_TRUE(fake.files.has(kSettings));
  expectLog({std::string("[+[AccountsManager(MigrationSupport) "
                         "removeNewAccountSettingsToMigrateOldAccountInformation]] Could not "
                         "remove ") +
             kSettings + ". Error " + testing::failure(kSettings, EIO).message});
}

TEST_F(MigrationDecision, TheDataVersionIsChangedInMemoryOnly) {
  putSettings(7, {});
  const auto store = AccountsManager::initInsideOfMigration();
  EXPECT_EQ(store->dataVersion(), 7);
  store->setDataVersion(3);
  EXPECT_EQ(store->dataVersion(), 3);
  EXPECT_EQ(savedVersion(), PropertyList(7));
}

}  // namespace
}  // namespace accountsettings
