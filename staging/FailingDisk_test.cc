// What a commit makes of a disk that fails it, or of another program, right after the settings are
// in place.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/LinuxFiles.h"
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
  // A device whose migration was killed when all was ready and the settings were not yet replaced;
  // answers the path of the prepared file.
  std::string killBeforeTheSettings(int call) {
    makeDevice();
    putSettings(3);
    const pid_t child = ::fork();
    if (child == 0) {
      testing::planDiskCalls({Effect::Kill, testing::DiskPlan::Calls::Changes, call});
      (void)migrate();
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    for (const auto& each : std::filesystem::directory_iterator(device.path(kPreferences))) {
      if (LinuxFiles::isTemporaryName(each.path().filename().string())) return each.path();
    }
    ADD_FAILURE() << "nothing was prepared";
    return "";
  }
  std::vector<testing::DiskChange> changesOfMigrating() {
    std::FILE* const file = std::tmpfile();
    testing::recordDiskChanges(::fileno(file));
    (void)migrate();
    testing::recordDiskChanges(-1);
    std::vector<testing::DiskChange> changes = testing::diskChangesIn(::fileno(file));
    (void)std::fclose(file);
    return changes;
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

// A power cut could bring it back beside settings that hold its accounts already.
TEST_F(FailingDisk, ALegacyFileWhoseGoingCannotBeFlushedStays) {
  MigrationOutcome outcome;
  std::map<std::string, std::string> before;
  int call = 0;
  do {
    makeDevice();
    putSettings(3);
    putLegacyFiles();
    before = tree();
    testing::planDiskCalls({Effect::Fail, testing::DiskPlan::Calls::Changes, ++call, EIO});
    outcome = migrate();
    testing::leaveDiskCalls();
    ASSERT_TRUE(testing::diskPlanCameAbout());
  } while (!testing::diskCallOfPlan().starts_with("fsync") ||
           !testing::diskCallOfPlan().ends_with("var/mobile/Library/Mail"));
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_THAT(outcome.problem, HasSubstr("Library/Mail"));
  EXPECT_EQ(difference(tree(), before), "") << "the lock's file is not there either";
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

TEST_F(FailingDisk, WhatAKilledRunPreparedIsGoneForGoodBeforeTheJournalThatNamesIt) {
  const std::string prepared = killBeforeTheSettings(callAfterTheSettings() - 1);
  const std::string journal = device.path(kBackups) / backups().front();
  const std::vector<testing::DiskChange> changes = changesOfMigrating();
  using Change = testing::DiskChange::Kind;
  const auto at = [&](Change kind, const std::string& path, std::size_t from) {
    while (from < changes.size() && (changes[from].kind != kind || changes[from].path != path))
      ++from;
    return from;
  };
  const std::size_t gone = at(Change::Unlink, prepared, 0);
  const std::size_t flushed = at(Change::FlushDirectory, device.path(kPreferences), gone);
  EXPECT_LT(flushed, at(Change::Unlink, journal + "/manifest.plist", gone));
  EXPECT_LT(flushed, at(Change::RemoveDirectory, journal, 0));
  EXPECT_LT(at(Change::RemoveDirectory, journal, 0), changes.size());
}

TEST_F(FailingDisk, APreparedFileThatStaysAtFirstIsTakenAwayByItsJournal) {
  const int rename = callAfterTheSettings() - 1;
  MigrationOutcome outcome;
  std::string prepared;
  int call = 0;
  do {
    prepared = killBeforeTheSettings(rename);
    testing::planDiskCalls({Effect::Fail, testing::DiskPlan::Calls::Changes, ++call, EIO});
    outcome = migrate();
    testing::leaveDiskCalls();
    ASSERT_TRUE(testing::diskPlanCameAbout()) << "nothing took it away";
  } while (testing::diskCallOfPlan() != "unlink " + prepared);
  EXPECT_THAT(outcome.warnings, Contains(HasSubstr(prepared)));
  EXPECT_FALSE(std::filesystem::exists(prepared));
}

}  // namespace
}  // namespace accountsettings
