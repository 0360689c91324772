// Tests of which version steps run.
#include "migration/MigrationSteps.h"
#include "testing/DocumentPath.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A migrator whose steps only say that they ran, and may fail.
class RecordingMigrator : public AccountsDataMigrator {
 public:
  std::vector<std::string> ran;
  std::string failing;

  bool _migrateAccountsFrom7A149(AccountsManager&) override { return step("7A149"); }
  bool _migrateAccountsFrom7A150(AccountsManager&) override { return step("7A150"); }
  bool _migrateAccountsFrom7A153(AccountsManager&) override { return step("7A153"); }
  bool _migrateAccountsFrom7A241(AccountsManager&) override { return step("7A241"); }
  bool _migrateAccountsFrom7A242(AccountsManager&) override { return step("7A242"); }
  bool _migrateAccountsFrom8A293(AccountsManager&) override { return step("8A293"); }
  bool _migrateAccountsFrom8B117(AccountsManager&) override { return step("8B117"); }
  bool _migrateAccountsFrom8C136(AccountsManager&) override { return step("8C136"); }
  bool _migrateAccountsFrom8F191(AccountsManager&) override { return step("8F191"); }
  bool _migrateAccountsFrom9A182(AccountsManager&) override { return step("9A182"); }
  bool _migrateAccountsFrom9A334(AccountsManager&) override { return step("9A334"); }
  bool _migrateAccountsFrom9B176(AccountsManager&) override { return step("9B176"); }

 private:
  bool step(const char* build) {
    ran.emplace_back(build);
    return failing != build;
  }
};

// The names of the steps that settings of this version need, by the table.
std::vector<std::string> stepsFrom(std::int64_t version) {
  std::vector<std::string> names;
  for (const VersionStep& each : kVersionSteps) {
    if (each.before >= version) names.emplace_back(each.step.name);
  }
  return names;
}

class VersionSteps : public testing::MigrationTest {
 protected:
  // The steps that run for the settings as they are.
  std::vector<std::string> steps() {
    RecordingMigrator migrator;
    const auto store = storeOf({});
    EXPECT_TRUE(migrator._migrateNewAccountsInfo(*store));
    return migrator.ran;
  }
  std::vector<std::string> stepsFor(const PropertyList& version) {
    fake.files.putPropertyList(kSettings, Dictionary{{"Version", version}});
    return steps();
  }
};

TEST_F(VersionSteps, AVersionRunsItsOwnStepAndAllLaterOnes) {
  for (std::int64_t version = 0; version <= AccountsManager::currentVersion(); ++version) {
    EXPECT_EQ(stepsFor(version), stepsFrom(version)) << version;
  }
  EXPECT_THAT(stepsFor(9), ElementsAre("9A182", "9A334", "9B176"));
}

TEST_F(VersionSteps, AreKnownByTheBuildWhoseDataTheyTake) {
  for (const VersionStep& each : kVersionSteps) {
    EXPECT_EQ(each.step.selector, "_migrateAccountsFrom" + std::string(each.step.name) + ":");
    EXPECT_EQ(nameOfStep(each.step.selector), each.step.name);
    EXPECT_EQ(meaningOfStep(each.step.selector), each.step.meaning);
  }
  EXPECT_EQ(nameOfStep("_migrateMailAccounts:"), "legacy mail");
  EXPECT_EQ(meaningOfStep("_migrateDAAccounts:"), "take over the legacy Exchange file");
  EXPECT_EQ(nameOfStep("_unheardOf:"), "_unheardOf:");
  EXPECT_EQ(meaningOfStep("_unheardOf:"), "_unheardOf:");
}

TEST_F(VersionSteps, NoVersionReadsAsTheOldest) {
  EXPECT_EQ(steps(), stepsFrom(0));  // no file
  fake.files.put(kSettings, "no property list");
  EXPECT_EQ(steps(), stepsFrom(0));
  fake.files.putPropertyList(kSettings, Dictionary{{"Accounts", Array()}});
  EXPECT_EQ(steps(), stepsFrom(0));
  EXPECT_EQ(stepsFor("no number"), stepsFrom(0));
}

TEST_F(VersionSteps, VersionsFromTheFutureAndNegativeOnesRunNothing) {
  EXPECT_THAT(stepsFor(13), IsEmpty());
  EXPECT_THAT(stepsFor(-1), IsEmpty());
  EXPECT_THAT(stepsFor(std::uint64_t{1} << 63), IsEmpty());
}

TEST_F(VersionSteps, TheVersionIsTheFilesAndNotTheStores) {
  putSettings(11, {});
  RecordingMigrator migrator;
  const auto store = storeOf({});
  store->setDataVersion(3);
  EXPECT_TRUE(migrator._migrateNewAccountsInfo(*store));
  EXPECT_THAT(migrator.ran, ElementsAre("9B176"));
}

TEST_F(VersionSteps, AStepThatFailsEndsTheChain) {
  putSettings(4, {});
  for (const char* failing : {"7A242", "8C136", "9B176"}) {
    RecordingMigrator migrator;
    migrator.failing = failing;
    const auto store = storeOf({});
    EXPECT_FALSE(migrator._migrateNewAccountsInfo(*store));
    EXPECT_EQ(migrator.ran.back(), failing);
  }
}

TEST_F(VersionSteps, EachStepRecordsItsVersionExceptTwo) {
  struct Row {
    bool (AccountsDataMigrator::*step)(AccountsManager&);
    std::int64_t version;
  };
  const Row rows[] = {
      {&AccountsDataMigrator::_migrateAccountsFrom7A149, 1},
      {&AccountsDataMigrator::_migrateAccountsFrom7A150, 2},
      {&AccountsDataMigrator::_migrateAccountsFrom7A153, 3},
      {&AccountsDataMigrator::_migrateAccountsFrom7A241, 4},
      {&AccountsDataMigrator::_migrateAccountsFrom7A242, 5},
      {&AccountsDataMigrator::_migrateAccountsFrom8A293, 6},
      {&AccountsDataMigrator::_migrateAccountsFrom8B117, 77},
      {&AccountsDataMigrator::_migrateAccountsFrom8C136, 77},
      {&AccountsDataMigrator::_migrateAccountsFrom8F191, 9},
      {&AccountsDataMigrator::_migrateAccountsFrom9A182, 10},
      {&AccountsDataMigrator::_migrateAccountsFrom9A334, 11},
      {&AccountsDataMigrator::_migrateAccountsFrom9B176, 12},
  };
  AccountsManager::_setShouldSkipNotifications(true);
  for (const Row& row : rows) {
    AccountsDataMigrator migrator;
    const auto store = storeOf({});
    store->setDataVersion(77);
    const std::size_t savesBefore = fake.faults.count("files.rename");
    EXPECT_TRUE((migrator.*row.step)(*store));
    EXPECT_EQ(store->dataVersion(), row.version);
    // From 8B117 on each step saves.
    const bool saves = &row - rows >= 6;
    EXPECT_EQ(fake.faults.count("files.rename") - savesBefore, saves ? 1U : 0U) << row.version;
  }
}

TEST_F(VersionSteps, AChainFromVersionSevenKeepsThatNumberUntil8F191) {
  putSettings(7, {});
  class Watcher : public MigrationObserver {
   public:
    void willRunStep(std::string_view, const Array&) override {}
    void didRunStep(std::string_view step, const Array&, bool) override {
      if (step == "_migrateAccountsFrom8C136:") version = store->dataVersion();
    }
    AccountsManager* store = nullptr;
    std::int64_t version = 0;
  } watcher;
  AccountsManager::_setShouldSkipNotifications(true);
  const auto store = AccountsManager::initInsideOfMigration();
  watcher.store = store.get();
  AccountsDataMigrator migrator;
  migrator.setObserver(&watcher);
  EXPECT_TRUE(migrator._migrateNewAccountsInfo(*store));
  EXPECT_EQ(watcher.version, 7);
  EXPECT_EQ(store->dataVersion(), 12);
}

TEST_F(VersionSteps, TheSettingsAreCollatedEvenIfNoStepRuns) {
  switchRecordsOn();
  fake.files.putPropertyList(kSettings, Dictionary{{"Version", -5}, {"Accounts", Array()}});
  AccountsDataMigrator migrator;
  EXPECT_TRUE(migrator.performMigration());
  ASSERT_TRUE(migrator.collatedMigrationData());
  EXPECT_EQ(testing::at(*migrator.collatedMigrationData(), "OldAccountSettings", "Version"),
            PropertyList(-5));
}

}  // namespace
}  // namespace accountsettings
