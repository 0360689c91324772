// What a commit makes of a disk that fails it, or of another program, right after the settings are
// in place.
#include <gmock/gmock.h>

#include <cerrno>
#include <functional>
#include <string>

#include "staging/StagingTest.h"
#include "testing/DiskCalls.h"

namespace accountsettings {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Effect = testing::DiskPlan::Effect;
using Kind = MigrationOutcome::Kind;

class FailingDisk : public testing::StagingTest {
 protected:
  MigrationOutcome migrateWith(testing::DiskPlan plan) {
    makeDevice();
    putSettings(3);
    testing::planDiskCalls(std::move(plan));
    MigrationOutcome outcome = migrate();
    testing::leaveDiskCalls();
    return outcome;
  }
  // The first change of the disk that finds the migrated settings in place.
  int callAfterTheSettings() {
    bool isThere = false;
    int call = 0;
    do {
      const auto look = [&] {
        isThere = dictionaryAt(device.path(kSettings))->integer("Version") == 12;
      };
      (void)migrateWith({Effect::Act, testing::DiskPlan::Calls::Changes, ++call, 0, look});
    } while (!isThere && testing::diskPlanCameAbout());
    EXPECT_TRUE(isThere);
    return call;
  }
  MigrationOutcome migrateWhile(const std::function<void()>& act) {
    return migrateWith(
        {Effect::Act, testing::DiskPlan::Calls::Changes, callAfterTheSettings(), 0, act});
  }
};

TEST_F(FailingDisk, AnUnflushedDirectoryLeavesTheJournalForTheNextRun) {
  const MigrationOutcome outcome =
      migrateWith({Effect::Fail, testing::DiskPlan::Calls::Changes, callAfterTheSettings(), EIO});
  EXPECT_THAT(testing::diskCallOfPlan(), HasSubstr("sync"));
  EXPECT_EQ(outcome.kind, Kind::Done);
  EXPECT_THAT(outcome.warnings, Contains(HasSubstr("the settings' directory cannot be flushed")));
  // The power may go, and the old settings be there again: only a journal that is open tells of it.
  EXPECT_EQ(migrate().kind, Kind::Completed);
  EXPECT_EQ(migrate().kind, Kind::NothingToDo);
}

TEST_F(FailingDisk, SettingsThatDoNotHoldWhatWasMeantAreToldAsBroken) {
  const MigrationOutcome outcome = migrateWhile([&] { device.write(kSettings, "damaged"); });
  EXPECT_EQ(outcome.kind, Kind::Broken);
  EXPECT_THAT(outcome.problem, HasSubstr("it does not hold what was meant"));
}

TEST_F(FailingDisk, SettingsThatAnotherProgramReplacedAreItsOwnDoing) {
  const MigrationOutcome outcome = migrateWhile([&] {
    put("tmp/another", {{"Version", 12}, {"Accounts", Array{}}});
    std::filesystem::rename(device.path("tmp/another"), device.path(kSettings));
  });
  EXPECT_EQ(outcome.kind, Kind::Done);
  EXPECT_THAT(outcome.problem, IsEmpty());
  EXPECT_THAT(outcome.warnings,
              Contains(HasSubstr("another program has changed the settings since")));
}

}  // namespace
}  // namespace accountsettings
