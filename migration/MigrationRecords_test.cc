// Tests of what a migration leaves behind, and of the removal of the legacy files.
#include "testing/DocumentPath.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MigrationRecords : public testing::MigrationTest {
 protected:
  static std::string error(const std::string& path, int code) {
    return testing::failure(path, code).message;
  }
  std::vector<std::string> recordFiles() const { return fake.files.paths(kRecords); }
  // The one record that is there.
  Dictionary record() const {
    const auto paths = recordFiles();
    if (paths.size() != 1) return {};
    const auto value = fake.files.propertyList(paths.front());
    return value && value->dictionary() != nullptr ? *value->dictionary() : Dictionary();
  }
  Dictionary legacyMail() const {
    return {{"MailAccounts", Array{Dictionary{{"AccountType", "POPAccount"}, {"uniqueId", "p"}}}},
            {"Foreign", "key"}};
  }
  Dictionary legacyExchange() const {
    return {{"DAAccountsKey", Array{Dictionary{{"DAAccountConfigurationClass", "DA"},
                                               {"DAAccountConfigurationAccountID", "e"}}}}};
  }
  std::string removalLine(const std::string& path, int code) const {
    return "-[AccountsDataMigrator(Internal) _removeOldAccountsInfo]. Could not delete " + path +
           ". Error = " + error(path, code);
  }
};

// The settings copy.

TEST_F(MigrationRecords, SettingsAreCopiedAsideByteForByte) {
  fake.files.put(kSettings, "whatever it holds");
  AccountsDataMigrator()._copyAsideAccountsPlist();
  EXPECT_EQ(fake.files.text(kSettingsCopy), "whatever it holds");
  expectLog({});
}

TEST_F(MigrationRecords, AnOlderCopyIsReplaced) {
  fake.files.put(kSettings, "new");
  fake.files.put(kSettingsCopy, "old and longer");
  AccountsDataMigrator()._copyAsideAccountsPlist();
  EXPECT_EQ(fake.files.text(kSettingsCopy), "new");
  expectLog({});
}

TEST_F(MigrationRecords, WithoutSettingsTheOlderCopyGoesAndTheMissingFileIsMentioned) {
  fake.files.put(kSettingsCopy, "old");
  AccountsDataMigrator()._copyAsideAccountsPlist();
  EXPECT_FALSE(fake.files.has(kSettingsCopy));
  const auto lines = takeLog();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("Error trying to save an accountsettings plist copy: "));
}

TEST_F(MigrationRecords, TheCopyIsTriedEvenIfTheOlderOneCannotBeRemoved) {
  fake.files.put(kSettings, "new");
  fake.files.put(kSettingsCopy, "old");
  fake.faults.failAt("files.remove");
  AccountsDataMigrator()._copyAsideAccountsPlist();
  EXPECT_EQ(fake.faults.count("files.copy"), 1U);
  const auto lines = takeLog();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            std::string("Couldn't remove existing accountsettings copy at ") + kSettingsCopy);
  EXPECT_TRUE(lines[1].starts_with("Error trying to save an accountsettings plist copy: "));
}

TEST_F(MigrationRecords, TheCopysDirectoryIsNotMade) {
  fake.files.put(kSettings, "new");
  fake.files.erase("/var/shared/Library");
  AccountsDataMigrator()._copyAsideAccountsPlist();
  EXPECT_EQ(fake.faults.count("files.makeDirectory"), 0U);
  EXPECT_FALSE(fake.files.has(kSettingsCopy));
  EXPECT_EQ(takeLog().size(), 1U);
}

TEST_F(MigrationRecords, AMigrationGoesOnWithoutACopy) {
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  EXPECT_TRUE(migrate());
  EXPECT_NE(AccountsManager::init()->accountWithIdentifier("p"), nullptr);
}

// The switch.

TEST_F(MigrationRecords, TheSwitchIsReadOnceInAProcess) {
  EXPECT_FALSE(AccountsDataMigrator::_saveMigrationInformation());
  switchRecordsOn();
  EXPECT_FALSE(AccountsDataMigrator::_saveMigrationInformation());
  EXPECT_EQ(fake.faults.count("preferences.copyAppPreference"), 1U);
}

TEST_F(MigrationRecords, TheSwitchStaysOnOnceRead) {
  switchRecordsOn();
  EXPECT_TRUE(AccountsDataMigrator::_saveMigrationInformation());
  fake.preferences.set("com.zelqo.accountsettings-logging", "RSSaveMigrationInformation", false);
  EXPECT_TRUE(AccountsDataMigrator::_saveMigrationInformation());
}

TEST_F(MigrationRecords, AFalseSwitchIsOff) {
  fake.preferences.set("com.zelqo.accountsettings-logging", "RSSaveMigrationInformation", 0);
  EXPECT_FALSE(AccountsDataMigrator::_saveMigrationInformation());
}

TEST_F(MigrationRecords, TheProcessesOwnDefaultsAreAnotherDomain) {
  fake.preferences.setOwnDefault("RSSaveMigrationInformation", true);
  EXPECT_FALSE(AccountsDataMigrator::_saveMigrationInformation());
}

TEST_F(MigrationRecords, WithTheSwitchOffNothingIsCollatedOrWritten) {
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  AccountsDataMigrator migrator;
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_FALSE(migrator.collatedMigrationData());
  EXPECT_EQ(fake.log.count("Saving collated migration information"), 0U);
  EXPECT_THAT(recordFiles(), IsEmpty());
}

TEST_F(MigrationRecords, AMigratorThatIsUsedAgainKeepsNothingOfTheProcessBefore) {
  switchRecordsOn();
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  AccountsDataMigrator migrator;
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_TRUE(migrator.collatedMigrationData());
  fake.preferences.set("com.zelqo.accountsettings-logging", "RSSaveMigrationInformation", false);
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  ProcessContext next(fake.platform());
  const ProcessContext::Override inNext(next);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_FALSE(migrator.collatedMigrationData());
  EXPECT_EQ(recordFiles().size(), 1U);
}

// The record.

TEST_F(MigrationRecords, TheRecordHoldsEveryFileAsReadAndTheSettingsAsSaved) {
  switchRecordsOn();
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  const Dictionary settings{{"Version", 11}, {"Accounts", Array()}, {"Foreign", true}};
  fake.files.putPropertyList(kSettings, settings);
  EXPECT_TRUE(migrate());
  const Dictionary written = record();
  EXPECT_EQ(written.size(), 4U);
  EXPECT_EQ(written.get("OldMailAccounts"), PropertyList(legacyMail()));
  EXPECT_EQ(written.get("OldExchangeAccount"), PropertyList(legacyExchange()));
  EXPECT_EQ(written.get("OldAccountSettings"), PropertyList(settings));
  EXPECT_EQ(written.get("NewAccounSettings"), fake.files.propertyList(kSettings));
  const auto bytes = fake.files.text(recordFiles().front());
  EXPECT_TRUE(bytes->starts_with("bplist00"));
}

TEST_F(MigrationRecords, FilesThatCannotBeReadAreEmptyDictionariesInTheRecord) {
  switchRecordsOn();
  fake.files.put(kLegacyMail, "no property list");
  fake.files.putPropertyList(kLegacyExchange, Array());
  fake.faults.failAlways("files.rename");  // so that there are no new settings either
  EXPECT_TRUE(migrate());
  const PropertyList none = Dictionary();
  EXPECT_EQ(record(), (Dictionary{{"OldMailAccounts", none},
                                  {"OldExchangeAccount", none},
                                  {"OldAccountSettings", none},
                                  {"NewAccounSettings", none}}));
}

TEST_F(MigrationRecords, TheRecordIsNamedAfterTheWeeksYearTheMonthTwiceAndTenthsOfASecond) {
  switchRecordsOn();
  struct Case {
    CalendarTime time;
    const char* name;
  };
  const Case cases[] = {
      // year of the week, year, month, day, hour, minute, second, millisecond
      {{2012, 2012, 6, 7, 8, 9, 10, 11}, "2012-6-7-8-6-0"},
      {{2012, 2012, 12, 30, 23, 59, 59, 999}, "2012-12-30-23-12-9"},
      // 31 December 2012 belongs to the first week of 2013, 1 January 2012 to the last of 2011.
      {{2013, 2012, 12, 31, 0, 0, 0, 100}, "2013-12-31-0-12-1"},
      {{2011, 2012, 1, 1, 5, 6, 7, 99}, "2011-1-1-5-1-0"},
  };
  for (const Case& each : cases) {
    fake.clock.wall = each.time;
    putSettings(11, {});
    EXPECT_TRUE(migrate());
    EXPECT_THAT(recordFiles(), ElementsAre(std::string(kRecords) + "/AccountMigrationInformation-" +
                                           each.name + ".txt"));
    fake.files.erase(kRecords);
  }
}

TEST_F(MigrationRecords, ALaterRecordOfTheSameNameReplacesTheEarlier) {
  switchRecordsOn();
  putSettings(10, {});
  EXPECT_TRUE(migrate());
  fake.clock.wall.minute = 30;
  putSettings(11, {});
  EXPECT_TRUE(migrate());
  ASSERT_EQ(recordFiles().size(), 1U);
  EXPECT_EQ(testing::at(record(), "OldAccountSettings", "Version"), PropertyList(11));
}

TEST_F(MigrationRecords, TheRecordsDirectoryIsOpenToEverybody) {
  switchRecordsOn();
  putSettings(11, {});
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.files.mode(kRecords), 0777U);
}

TEST_F(MigrationRecords, ARunWithNothingToDoMakesTheDirectoryAndNoRecord) {
  switchRecordsOn();
  putSettings(12, {});
  EXPECT_TRUE(migrate());
  expectLog({"Saving collated migration information"});
  EXPECT_TRUE(fake.files.isDirectory(kRecords).isThere());
  EXPECT_THAT(recordFiles(), IsEmpty());
}

TEST_F(MigrationRecords, AFileInTheDirectorysPlaceIsMentionedAndChangesNoResult) {
  switchRecordsOn();
  putSettings(11, {});
  fake.files.put(kRecords, "in the way");
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.log.count(std::string("Ferrant warning: ") + kRecords +
                           " already exists and is not a directory"),
            1U);
  EXPECT_EQ(fake.files.text(kRecords), "in the way");
}

TEST_F(MigrationRecords, ADirectoryThatCannotBeMadeIsMentioned) {
  switchRecordsOn();
  putSettings(11, {});
  fake.faults.failAt("files.makeDirectory", 1, EACCES);
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.log.count("AccountMigration warning: Could not create the directory to store "
                           "migration information at " +
                           std::string(kRecords) + " [Error = " + error(kRecords, EACCES) + "]"),
            1U);
  EXPECT_EQ(fake.faults.count("files.writeAtomically"), 0U);
}

TEST_F(MigrationRecords, ARecordThatCannotBeWrittenIsNotMentioned) {
  switchRecordsOn();
  putSettings(11, {});
  fake.faults.failAt("files.writeAtomically");
  EXPECT_TRUE(migrate());
  EXPECT_EQ(takeLog().back(), "Saving collated migration information");
  EXPECT_THAT(recordFiles(), IsEmpty());
}

TEST_F(MigrationRecords, ARecordThatCannotBeSerialisedIsNotMentionedEither) {
  switchRecordsOn();
  // As deep as a file may be, and so too deep inside another one.
  PropertyList deep = Array();
  for (int level = 2; level < 512; ++level) deep = Array{deep};
  fake.files.putPropertyList(kLegacyMail, Dictionary{{"Foreign", deep}});
  EXPECT_TRUE(migrate());
  EXPECT_EQ(takeLog().back(), "Saving collated migration information");
  EXPECT_EQ(fake.faults.count("files.writeAtomically"), 0U);
  EXPECT_FALSE(fake.files.has(kLegacyMail));
}

// The removal of the legacy files.

TEST_F(MigrationRecords, TheSentinelLiesInThePreferencesAndIsThereWhileFilesAreRemoved) {
  EXPECT_EQ(AccountsDataMigrator::_absolutePathToOldAccountsInfoRemovalSentinel(), kSentinel);
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  std::optional<std::string> during;
  fake.faults.doAt("files.remove", 1, [&] { during = fake.files.text(kSentinel); });
  AccountsDataMigrator migrator;
  EXPECT_FALSE(migrator._failedToRemoveOldAccountsInfo());
  EXPECT_TRUE(migrator._removeOldAccountsInfo());
  EXPECT_EQ(during, "Old Account Information Removal Sentinel");
  EXPECT_EQ(during->size(), 40U);
  EXPECT_THAT(fake.files.paths("/var/mobile"), IsEmpty());
  expectLog({});
}

TEST_F(MigrationRecords, ASentinelThatIsThereIsNotWrittenAgain) {
  fake.files.put(kSentinel, "older");
  AccountsDataMigrator migrator;
  EXPECT_TRUE(migrator._failedToRemoveOldAccountsInfo());
  migrator._removeOldAccountsInfo();
  EXPECT_EQ(fake.faults.count("files.create"), 0U);
  EXPECT_FALSE(fake.files.has(kSentinel));
}

TEST_F(MigrationRecords, TheAnswerIsAboutTheExchangeFileAlone) {
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  EXPECT_FALSE(AccountsDataMigrator()._removeOldAccountsInfo());  // there was none
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  EXPECT_TRUE(AccountsDataMigrator()._removeOldAccountsInfo());  // though there was no mail file
  expectLog({});
}

TEST_F(MigrationRecords, AConvertedMailFileIsRemovedSilentlyWithoutAnExchangeFile) {
  putSettings(12, {});
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  EXPECT_TRUE(migrate());
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  EXPECT_FALSE(fake.log.contains("Could not delete"));
}

TEST_F(MigrationRecords, AnExchangeFileWithAccountsThatStaysKeepsTheMailFileForTheNextRun) {
  putSettings(12, {});
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  // The removals before it: the copies that old releases left, which are missing, and the file.
  fake.faults.doAt("files.create", 1, [&] { fake.faults.failAt("files.remove", 1, EROFS); });
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.log.count(removalLine(kLegacyExchange, EROFS)), 1U);
  EXPECT_TRUE(fake.files.has(kLegacyExchange));
  EXPECT_TRUE(fake.files.has(kLegacyMail));
  EXPECT_FALSE(fake.files.has(kSentinel));
  // The next run converts both once more.
  EXPECT_TRUE(migrate());
  EXPECT_FALSE(fake.files.has(kLegacyExchange));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  EXPECT_EQ(AccountsManager::init()->count(), 2U);
}

TEST_F(MigrationRecords, AnEmptyExchangeFileThatStaysDoesNotHoldTheMailFileBack) {
  putSettings(12, {});
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, Dictionary());
  fake.faults.doAt("files.create", 1, [&] { fake.faults.failAt("files.remove", 1, EROFS); });
  EXPECT_TRUE(migrate());
  EXPECT_FALSE(fake.log.contains("Could not delete"));
  EXPECT_TRUE(fake.files.has(kLegacyExchange));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
}

TEST_F(MigrationRecords, AMailFileWithAccountsThatStaysIsMentioned) {
  putSettings(12, {});
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  fake.faults.doAt("files.create", 1, [&] { fake.faults.failAt("files.remove", 2, EROFS); });
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.log.count(removalLine(kLegacyMail, EROFS)), 1U);
  EXPECT_FALSE(fake.files.has(kLegacyExchange));
  EXPECT_TRUE(fake.files.has(kLegacyMail));
}

TEST_F(MigrationRecords, ASentinelThatStaysIsMentioned) {
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  fake.faults.failAt("files.remove", 3, EROFS);
  EXPECT_TRUE(AccountsDataMigrator()._removeOldAccountsInfo());
  expectLog({removalLine(kSentinel, EROFS)});
}

TEST_F(MigrationRecords, AfterAnInterruptionFailuresAreSilentAndTheMailFileGoesAnyway) {
  putSettings(12, {});
  fake.files.put(kSentinel, "");
  fake.files.putPropertyList(kLegacyMail, legacyMail());
  fake.files.putPropertyList(kLegacyExchange, legacyExchange());
  fake.faults.failAt("files.remove", 1, EROFS);
  EXPECT_TRUE(migrate());
  EXPECT_FALSE(fake.log.contains("Could not delete"));
  EXPECT_TRUE(fake.files.has(kLegacyExchange));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  EXPECT_FALSE(fake.files.has(kSentinel));
}

TEST_F(MigrationRecords, TheSettingsPresenceIsATestOfExistenceAlone) {
  AccountsDataMigrator migrator;
  EXPECT_FALSE(migrator._newAccountsInformationPresent());
  fake.files.put(kSettings, "no property list");
  EXPECT_TRUE(migrator._newAccountsInformationPresent());
}

}  // namespace
}  // namespace accountsettings
