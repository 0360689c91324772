// Tests of the migration's entry and of the order in which its parts run.
#include "platform/AssertionFailure.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using testing::ExitsUpon;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr const char* kMigrating = "Migrating accounts";
constexpr const char* kEarlyReturn =
    "Detected that a removal old accounts info was in progress. Early return!.";

// A migrator whose version steps a test may replace.
class SteeredMigrator : public AccountsDataMigrator {
 public:
  std::function<bool()> at7A149 = [] { return true; };
  std::function<bool()> at9B176 = [] { return true; };
  bool _migrateAccountsFrom7A149(AccountsManager& store) override {
    return AccountsDataMigrator::_migrateAccountsFrom7A149(store) && at7A149();
  }
  bool _migrateAccountsFrom9B176(AccountsManager& store) override {
    return AccountsDataMigrator::_migrateAccountsFrom9B176(store) && at9B176();
  }
};

// What an observer heard, as "will STEP", "did STEP 1".
class Recorder : public MigrationObserver {
 public:
  bool migrationMayBegin() override {
    heard.emplace_back("may begin");
    if (asked) asked();
    return allow;
  }
  void willRunStep(std::string_view step, const Array& accounts) override {
    heard.push_back("will " + std::string(step));
    before.push_back(accounts);
  }
  void didRunStep(std::string_view step, const Array& accounts, bool result) override {
    heard.push_back("did " + std::string(step) + (result ? " 1" : " 0"));
    after.push_back(accounts);
  }

  bool allow = true;
  std::function<void()> asked;
  std::vector<std::string> heard;
  std::vector<Array> before;
  std::vector<Array> after;
};

// Whether a save would send notifications now.
bool notificationsAreSent(testing::FakePlatform& fake) {
  const auto store = AccountsManager::initWithAccounsInfoArray(std::nullopt);
  store->insertAccount(BasicAccount::initWithProperties(
      Dictionary{{"Type", "CalDAV"},
                 {"Class", "C"},
                 {"Identifier", "probe"},
                 {"Enabled Dataclasses", testing::dataclasses({"Calendars"})}}));
  // Without any creators information, a save that sends notifications is an assertion failure.
  fake.resources.put("AccountCreators", Dictionary());
  try {
    store->saveAllAccounts();
  } catch (const AssertionFailure&) {
    return true;
  }
  return false;
}

class Migration : public testing::MigrationTest {
 protected:
  Array oneMailAccount() const {
    return {Dictionary{{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", "mail"}}};
  }
  void putLegacyMail() {
    fake.files.putPropertyList(
        kLegacyMail, Dictionary{{"MailAccounts", Array{Dictionary{{"AccountType", "POPAccount"},
                                                                  {"uniqueId", "old"}}}}});
  }
};

TEST_F(Migration, OwnsTheAccounts) {
  EXPECT_EQ(AccountsDataMigrator().dataClassName(), "accounts");
}

TEST_F(Migration, CurrentSettingsAreRewrittenAndTheMailApplicationIsTold) {
  putSettings(12, oneMailAccount());
  fake.files.put(kMarker, "");
  EXPECT_TRUE(migrate());
  expectLog({});
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(savedAccounts(), PropertyList(oneMailAccount()));
  EXPECT_FALSE(fake.files.has(kMarker));
  EXPECT_THAT(fake.notifications.preferencesChanged,
              ElementsAre(Pair("com.zelqo.mobilemail", "MailAccounts")));
  // The legacy files' removal is not even begun.
  EXPECT_EQ(fake.faults.count("files.create"), 0U);
  EXPECT_EQ(fake.faults.count("files.rename"), 1U);
}

TEST_F(Migration, WithoutAnyFileEmptySettingsAreWritten) {
  EXPECT_TRUE(migrate());
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(savedAccounts(), PropertyList(Array()));
  EXPECT_EQ(takeLog().size(), 1U);  // nothing to copy aside
}

TEST_F(Migration, SettingsFromTheFutureAreNotUpgradedButRewritten) {
  putSettings(13, oneMailAccount());
  EXPECT_TRUE(migrate());
  expectLog({});
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(savedAccounts(), PropertyList(oneMailAccount()));
}

TEST_F(Migration, ANegativeVersionIsMigratedWithoutAnyStep) {
  putSettings(-1, oneMailAccount());
  Recorder recorder;
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_EQ(fake.log.count(kMigrating), 1U);
  EXPECT_THAT(recorder.heard, ElementsAre("may begin"));
  EXPECT_EQ(savedVersion(), PropertyList(12));
}

TEST_F(Migration, SettingsWithoutAVersionAreNeverUpgraded) {
  fake.files.putPropertyList(kSettings, Dictionary{{"Accounts", oneMailAccount()}});
  EXPECT_TRUE(migrate());
  expectLog({"Account Settings plist is missing a version number, returning NO for migration"});
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(savedAccounts(), PropertyList(oneMailAccount()));
}

TEST_F(Migration, ForeignRootKeysAreDroppedByEveryRun) {
  fake.files.putPropertyList(
      kSettings, Dictionary{{"Version", 12}, {"Accounts", Array()}, {"Foreign", "value"}});
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.files.propertyList(kSettings)->dictionary()->size(), 2U);
}

TEST_F(Migration, LegacyMailBesideOutdatedSettingsRunsTheStepsOfTheirVersion) {
  putSettings(11, {});
  putLegacyMail();
  Recorder recorder;
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_EQ(fake.log.count("Accounts settings needs migration! oldMailAccountsPresent=1, "
                           "oldDAAccountsPresent=0, migrateNewAccountsInfo=0"),
            1U);
  EXPECT_THAT(recorder.heard,
              ElementsAre("may begin", "will _migrateMailAccounts:", "did _migrateMailAccounts: 1",
                          "will _migrateAccountsFrom9B176:", "did _migrateAccountsFrom9B176: 1"));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
}

TEST_F(Migration, LegacyMailBesideCurrentSettingsRunsNoStep) {
  putSettings(12, {});
  putLegacyMail();
  EXPECT_TRUE(migrate());
  const auto account = AccountsManager::init()->accountWithIdentifier("old");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->enabledDataclasses(), std::nullopt);
}

TEST_F(Migration, ExchangeIsConvertedBeforeMailAndItsFailureDoesNotCount) {
  putLegacyMail();
  fake.files.putPropertyList(kLegacyExchange,
                             Dictionary{{"DAAccountsKey", Array{Dictionary{{"no", "class"}}}}});
  Recorder recorder;
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_TRUE(migrator.performMigration());
  ASSERT_GE(recorder.heard.size(), 5U);
  EXPECT_EQ(recorder.heard[2], "did _migrateDAAccounts: 0");
  EXPECT_EQ(recorder.heard[4], "did _migrateMailAccounts: 1");
  // The accounts that did not convert are lost with their file.
  EXPECT_FALSE(fake.files.has(kLegacyExchange));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
}

TEST_F(Migration, TheResultIsTheUpgradesAlone) {
  putLegacyMail();
  fake.files.put(kMarker, "");
  switchRecordsOn();
  SteeredMigrator migrator;
  // The first step, so that no later one has saved.
  migrator.at7A149 = [] { return false; };
  EXPECT_FALSE(migrator.performMigration());
  // Saved all the same, with everything kept for another try, and nobody told.
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(savedAccounts().array()->size(), 1U);
  EXPECT_TRUE(fake.files.has(kLegacyMail));
  EXPECT_TRUE(fake.files.has(kMarker));
  EXPECT_THAT(fake.notifications.preferencesChanged, IsEmpty());
  EXPECT_EQ(fake.log.count("Saving collated migration information"), 0U);
  EXPECT_TRUE(migrator.collatedMigrationData());
  EXPECT_TRUE(notificationsAreSent(fake));
}

TEST_F(Migration, AfterSuccessTheOldFilesGoThenTheRecordIsMadeThenTheMailApplicationIsTold) {
  putLegacyMail();
  fake.files.put(kMarker, "");
  switchRecordsOn();
  EXPECT_TRUE(migrate());
  std::vector<std::string> order;
  for (const testing::Call& call : fake.faults.calls()) {
    const bool isRemoval = call.operation == "files.remove" &&
                           (call.subject == kLegacyMail || call.subject == kMarker);
    if (isRemoval) order.push_back(call.subject);
    if (call.operation == "files.rename" || call.operation == "files.writeAtomically" ||
        call.operation == "notifications.postAppPreferencesChanged") {
      order.push_back(call.operation);
    }
  }
  // The saves of the steps come before all that.
  ASSERT_GE(order.size(), 5U);
  order.erase(order.begin(), order.end() - 5);
  EXPECT_THAT(order, ElementsAre("files.rename", kLegacyMail, "files.writeAtomically", kMarker,
                                 "notifications.postAppPreferencesChanged"));
}

TEST_F(Migration, NotificationsAreOffDuringTheStepsAndOnAfterwards) {
  putSettings(11, {});
  bool sentDuring = true;
  SteeredMigrator migrator;
  migrator.at9B176 = [&] {
    sentDuring = notificationsAreSent(fake);
    return true;
  };
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_FALSE(sentDuring);
  EXPECT_TRUE(notificationsAreSent(fake));
}

TEST_F(Migration, AnInterruptedRemovalIsEndedAndNothingElseDone) {
  putSettings(11, oneMailAccount());
  putLegacyMail();
  fake.files.putPropertyList(kLegacyExchange, Dictionary());
  fake.files.put(kSentinel, "");
  fake.files.put(kMarker, "");
  const auto before = fake.files.bytes(kSettings);
  EXPECT_TRUE(migrate());
  // Silent about files that it did not look into.
  expectLog({kEarlyReturn});
  EXPECT_FALSE(fake.files.has(kSentinel));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  EXPECT_FALSE(fake.files.has(kLegacyExchange));
  EXPECT_EQ(fake.files.bytes(kSettings), before);
  EXPECT_EQ(fake.files.bytes(kSettingsCopy), before);
  EXPECT_TRUE(fake.files.has(kMarker));
  EXPECT_THAT(fake.notifications.preferencesChanged, IsEmpty());
  EXPECT_FALSE(notificationsAreSent(fake));
}

TEST_F(Migration, NothingIsTouchedWhereNobodyCanTellWhatIsThere) {
  // The looks at the settings copy, the sentinel, the mail file and the Exchange file, in order.
  for (const int look : {2, 3, 4}) {
    SCOPED_TRACE(look);
    putSettings(11, oneMailAccount());
    putLegacyMail();
    fake.files.putPropertyList(kLegacyExchange, Dictionary());
    fake.files.erase(kSettingsCopy);
    const auto before = fake.files.bytes(kSettings);
    fake.faults.clear();
    fake.faults.failAt("files.exists", look, EIO);
    EXPECT_FALSE(migrate());
    EXPECT_TRUE(fake.faults.fired());
    const char* path = look == 2 ? kSentinel : look == 3 ? kLegacyMail : kLegacyExchange;
    expectLog({std::string("-[AccountsDataMigrator executeMigrationSteps]. Could not find out what "
                           "is to be migrated. Error = ") +
               path + ": Input/output error"});
    EXPECT_EQ(fake.files.bytes(kSettings), before);
    EXPECT_TRUE(fake.files.has(kLegacyMail));
    EXPECT_TRUE(fake.files.has(kLegacyExchange));
    EXPECT_FALSE(fake.files.has(kSentinel));
    EXPECT_THAT(fake.notifications.preferencesChanged, IsEmpty());
    EXPECT_TRUE(notificationsAreSent(fake));
  }
}

TEST_F(Migration, LegacyFilesStayWhereTheSettingsWereNotEvenTriedToBeWritten) {
  const std::vector<std::function<void()>> obstacles = {
      [&] { fake.writerLocks.holdElsewhere(kSettings); },
      [&] { fake.faults.failAlways("files.read", EIO); },
  };
  for (const auto& obstacle : obstacles) {
    putSettings(12, oneMailAccount());
    putLegacyMail();
    const auto before = fake.files.bytes(kSettings);
    obstacle();
    EXPECT_TRUE(migrate());
    EXPECT_EQ(fake.files.bytes(kSettings), before);
    EXPECT_TRUE(fake.files.has(kLegacyMail));
    EXPECT_FALSE(fake.files.has(kSentinel));
    fake.faults.clear();
    fake.writerLocks.releaseElsewhere(kSettings);
    // The next run does what this one could not.
    EXPECT_TRUE(migrate());
    EXPECT_FALSE(fake.files.has(kLegacyMail));
    EXPECT_NE(fake.files.bytes(kSettings), before);
  }
}

TEST_F(Migration, TheSettingsCopyIsMadeBeforeTheSentinelIsLookedFor) {
  putSettings(12, {});
  EXPECT_TRUE(migrate());
  std::size_t copied = 0;
  std::size_t looked = 0;
  const auto calls = fake.faults.calls();
  for (std::size_t index = 0; index < calls.size(); ++index) {
    if (calls[index].operation == "files.copy") copied = index;
    if (calls[index].subject == kSentinel) looked = index;
  }
  EXPECT_LT(copied, looked);
}

TEST_F(Migration, WithoutTheLockNothingIsTouchedAndTheDaemonNotAsked) {
  putSettings(11, {});
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  const auto before = fake.files.bytes(kSettings);
  fake.faults.failAt("locks.acquire");
  EXPECT_FALSE(migrate());
  EXPECT_EQ(fake.files.bytes(kSettings), before);
  EXPECT_TRUE(fake.processes.isRunning(9));
  EXPECT_THAT(fake.notifications.posted, IsEmpty());
  EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
}

TEST_F(Migration, TheLockIsHeldFromBeforeTheDaemonIsAskedUntilTheEnd) {
  putSettings(11, {});
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  bool heldWhenAsked = false;
  bool heldAtTheEnd = false;
  fake.faults.doAt("notifications.postSystemNotification", 1,
                   [&] { heldWhenAsked = fake.locks.isHeld(kLock); });
  fake.faults.doAt("notifications.postAppPreferencesChanged", 1,
                   [&] { heldAtTheEnd = fake.locks.isHeld(kLock); });
  EXPECT_TRUE(migrate());
  EXPECT_TRUE(heldWhenAsked);
  EXPECT_TRUE(heldAtTheEnd);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(Migration, TheStepsAloneTakeNoLock) {
  putSettings(11, {});
  EXPECT_TRUE(AccountsDataMigrator().executeMigrationSteps());
  EXPECT_EQ(fake.faults.count("locks.create"), 0U);
  EXPECT_EQ(fake.faults.count("processes.list"), 0U);
}

TEST_F(Migration, AnAssertionFailurePassesAndTheLockIsReleased) {
  putSettings(11, oneMailAccount());
  fake.resources.remove("AccountTypesProperties");
  EXPECT_THROW(migrate(), AssertionFailure);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
}

TEST_F(Migration, AWebEngineLockThatIsNotThereEndsItBeforeAnythingIsTouched) {
  putSettings(11, oneMailAccount());
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  fake.faults.doAt("webEngineLock.isHeld", 1,
                   [] { throw AssertionFailure("no such library", "isHeld", "WebEngineLock"); });
  EXPECT_THROW(migrate(), AssertionFailure);
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
}

TEST_F(Migration, TheObserverIsAskedUnderTheLockWithTheDaemonGoneAndNothingTouched) {
  putSettings(11, {});
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  Recorder recorder;
  recorder.asked = [&] {
    EXPECT_TRUE(fake.locks.isHeld(kLock));
    EXPECT_FALSE(fake.processes.isRunning(9));
    EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
  };
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_EQ(recorder.heard.front(), "may begin");
}

TEST_F(Migration, ARefusalLeavesEverythingAsItIs) {
  putSettings(11, {});
  const auto before = fake.files.bytes(kSettings);
  Recorder recorder;
  recorder.allow = false;
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_FALSE(migrator.performMigration());
  EXPECT_THAT(recorder.heard, ElementsAre("may begin"));
  EXPECT_EQ(fake.files.bytes(kSettings), before);
  EXPECT_FALSE(fake.files.has(kSettingsCopy));
  EXPECT_THAT(fake.faults.operations("files."), IsEmpty());
  EXPECT_FALSE(fake.locks.isHeld(kLock));
  EXPECT_TRUE(notificationsAreSent(fake));
}

TEST_F(Migration, TheObserverSeesTheAccountsBeforeAndAfterEachStep) {
  putSettings(2, {Dictionary{{"Type", "Quorra"},
                             {"Class", "QuorraAccount"},
                             {"Identifier", "q"},
                             {"Enabled Dataclasses", testing::dataclasses({"Mail", "Notes"})}}});
  Recorder recorder;
  AccountsDataMigrator migrator;
  migrator.setObserver(&recorder);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_THAT(recorder.heard,
              ElementsAre("may begin",  //
                          "will _migrateAccountsFrom7A153:", "did _migrateAccountsFrom7A153: 1",
                          "will _migrateAccountsFrom7A241:", "did _migrateAccountsFrom7A241: 1",
                          "will _migrateAccountsFrom7A242:", "did _migrateAccountsFrom7A242: 1",
                          "will _migrateAccountsFrom8A293:", "did _migrateAccountsFrom8A293: 1",
                          "will _migrateAccountsFrom8B117:", "did _migrateAccountsFrom8B117: 1",
                          "will _migrateAccountsFrom8C136:", "did _migrateAccountsFrom8C136: 1",
                          "will _migrateAccountsFrom8F191:", "did _migrateAccountsFrom8F191: 1",
                          "will _migrateAccountsFrom9A182:", "did _migrateAccountsFrom9A182: 1",
                          "will _migrateAccountsFrom9A334:", "did _migrateAccountsFrom9A334: 1",
                          "will _migrateAccountsFrom9B176:", "did _migrateAccountsFrom9B176: 1"));
  ASSERT_EQ(recorder.before.size(), 10U);
  EXPECT_EQ(recorder.before[0].size(), 1U);
  EXPECT_EQ(recorder.after[0].size(), 2U);  // the device's own account came
  // 7A241 takes the notes away.
  const auto enabled = [](const Array& accounts) {
    return *accounts[0].dictionary()->find("Enabled Dataclasses");
  };
  EXPECT_EQ(enabled(recorder.before[1]), PropertyList(testing::dataclasses({"Mail", "Notes"})));
  EXPECT_EQ(enabled(recorder.after[1]), PropertyList(testing::dataclasses({"Mail"})));
  // One step ends as the next begins.
  for (std::size_t step = 1; step < recorder.before.size(); ++step) {
    EXPECT_EQ(recorder.after[step - 1], recorder.before[step]) << step;
  }
}

TEST_F(Migration, ASecondRunChangesNothingMore) {
  putSettings(0, oneMailAccount());
  EXPECT_TRUE(migrate());
  const auto first = fake.files.bytes(kSettings);
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.files.bytes(kSettings), first);
}

TEST_F(Migration, TheNewDeviceAccountTakesWhatItDoesNotChangeFromTheOldOneInTheFile) {
  // The new record counts as unchanged where it is as it was made.
  const Dictionary old{{"Type", "OnMyDevice"},
                       {"Class", "DeviceLocalAccount"},
                       {"Identifier", "DeviceLocalAccount"},
                       {"Type String", "Old"},
                       {"Foreign", 1},
                       {"Enabled Dataclasses", testing::dataclasses({"Contacts"})}};
  for (const auto type : {SyncDataType::Bookmarks, SyncDataType::Calendars, SyncDataType::Contacts,
                          SyncDataType::Notes}) {
    fake.externalSources.set(type, {"DenyTethered"});
  }
  putSettings(2, {old});
  EXPECT_TRUE(migrate());
  // With nothing to carry there is no new list either.
  EXPECT_EQ(savedAccounts(), PropertyList(Array{old}));
}

TEST_F(Migration, AFailingSaveStillCountsAndCostsTheLegacyFiles) {
  putLegacyMail();
  fake.faults.failAlways("files.rename");
  EXPECT_TRUE(migrate());
  EXPECT_FALSE(fake.files.has(kSettings));
  EXPECT_FALSE(fake.files.has(kLegacyMail));
  EXPECT_THAT(fake.files.temporaryFilesLeft(), IsEmpty());
}

}  // namespace
}  // namespace accountsettings
