// Tests of migrations that are staged, judged and committed as one.
#include "staging/MigrateStaged.h"

#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

#include "host/ProcessTable.h"
#include "host/RememberedFiles.h"
#include "platform/AssertionFailure.h"
#include "platform/Directories.h"
#include "platform/PlatformWith.h"
#include "staging/Backup.h"
#include "staging/HeldMigrationLock.h"
#include "staging/StagingTest.h"
#include "store/AccountsManager.h"
#include "testing/FakeLocks.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::SizeIs;
using Kind = MigrationOutcome::Kind;
using Cause = MigrationOutcome::Cause;

class MigrateStaged : public testing::StagingTest {};

TEST_F(MigrateStaged, BringsTheSettingsUpAndTheLegacyFilesIn) {
  putSettings(11);
  putLegacyFiles();
  device.write(kMarker, "");
  const std::string before = device.read(kSettings);
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(savedIdentifiers(),
              IsSupersetOf({"calendar", "directory", "exchange", "smtp", "pop", "gm"}));
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(12));
  for (const char* gone : {kMail, kExchange, kMarker, kSentinel}) EXPECT_FALSE(has(gone)) << gone;
  EXPECT_FALSE(has(std::string(kMail) + ".original"));
  EXPECT_EQ(device.read(kCopy), before);
  const auto path = [](std::string_view file) { return "/" + std::string(file); };
  EXPECT_THAT(outcome.written, ElementsAre(path(kSettings), path(kCopy)));
  EXPECT_THAT(outcome.removed,
              ElementsAre(path(kExchange), path(kMail) + ".original", path(kMail), path(kMarker)));
  EXPECT_THAT(outcome.warnings, IsEmpty());
  EXPECT_FALSE(outcome.daemonStopped);
  ASSERT_THAT(backups(), ElementsAre(outcome.backup));
  EXPECT_EQ(device.read(std::string(kBackups) + "/" + outcome.backup +
                        "/settings-com.zelqo.accountsettings.plist"),
            before);
}

TEST_F(MigrateStaged, ASecondRunHasNothingToDoAndWritesNothing) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  fs::remove(device.path(kLock));
  notices.all.clear();
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::NothingToDo);
  EXPECT_THAT(outcome.written, IsEmpty());
  EXPECT_EQ(difference(tree(), before), "");
  EXPECT_THAT(notices.all, ElementsAre("com.zelqo.mobilemail MailAccounts"));
}

TEST_F(MigrateStaged, AFileThatHasTheRightBytesButAnotherModeIsWritten) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  ::chmod(device.path(kSettings).c_str(), 0644);
  EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  EXPECT_EQ(testing::modeOf(device.path(kSettings)), 0600U);
}

TEST_F(MigrateStaged, TheSavedFileGetsItsOwner) {
  AS_NEEDS_ROOT();
  putSettings(3);
  device.write("etc/passwd", "mobile:x:501:502::/var/mobile:/bin/sh\n");
  device.write("etc/group", "mobile:x:502:\n");
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  struct stat status {};
  ASSERT_EQ(::stat(device.path(kSettings).c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 501U);
  EXPECT_EQ(status.st_gid, 502U);
  EXPECT_EQ(testing::modeOf(device.path(kSettings)), 0600U);
}

TEST_F(MigrateStaged, WithoutABackupNothingOfTheJournalStays) {
  putSettings(3);
  putLegacyFiles();
  StagedMigrationOptions options;
  options.keepBackup = false;
  const MigrationOutcome outcome = migrate(options);
  EXPECT_EQ(outcome.kind, Kind::Done);
  EXPECT_EQ(outcome.backup, "");
  EXPECT_FALSE(has("var/mobile/Library/Logs"));
}

TEST_F(MigrateStaged, TheRecordIsWrittenWhereItIsSwitchedOn) {
  putSettings(3);
  put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
      {{"RSSaveMigrationInformation", true}});
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const fs::path records = device.path("var/mobile/Library/Logs/CrashReporter/AccountMigration");
  EXPECT_EQ(testing::modeOf(records), 0777U);
  ASSERT_EQ(std::distance(fs::directory_iterator(records), fs::directory_iterator()), 1);
  const auto record = dictionaryAt(fs::directory_iterator(records)->path());
  ASSERT_TRUE(record.has_value());
  EXPECT_TRUE(record->contains("NewAccounSettings"));
}

// MARK: Refusals

TEST_F(MigrateStaged, ARefusalTouchesNothingAtAll) {
  putSettings(3);
  putLegacyFiles();
  const auto before = tree();
  StagedMigrationOptions options;
  int asked = 0;
  options.judge = [&](StagedMigration& staged) {
    ++asked;
    EXPECT_TRUE(has(kLock));
    EXPECT_THAT(staged.steps(), Not(IsEmpty()));
    return false;
  };
  const MigrationOutcome outcome = migrate(options);
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::None);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(difference(tree(), before), "");
  EXPECT_THAT(log.lines, IsEmpty());
  EXPECT_THAT(notices.all, IsEmpty());
}

TEST_F(MigrateStaged, AnUnknownOwnerIsKnownBeforeAnythingIsTouched) {
  putSettings(3);
  putLegacyFiles();
  device.write("etc/passwd", "root:x:0:0::/:/bin/sh\n");
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Staging);
  EXPECT_THAT(outcome.problem, HasSubstr("there is no account \"mobile\""));
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(MigrateStaged, WhatCannotBeReadIsNotTakenForAbsent) {
  putSettings(3);
  fs::create_symlink("Accounts.plist", device.path(kMail));  // leads to itself
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.cause, Cause::Staging);
  EXPECT_THAT(outcome.problem, HasSubstr("Accounts.plist"));
  EXPECT_THAT(outcome.problem, HasSubstr("Too many levels of symbolic links"));
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(MigrateStaged, AFullDiskRefusesAndLeavesNothingBehind) {
  putSettings(3);
  putLegacyFiles();
  // Grows beyond the limit when it is rewritten: version 12 adds keys to each account.
  const auto before = tree();
  const int end = testing::inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit {};
    limit.rlim_cur = limit.rlim_max = 300;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const MigrationOutcome outcome = migrate();
    if (outcome.kind != Kind::Refused) return 1;
    return outcome.cause == Cause::Backup || outcome.cause == Cause::Settings ? 0 : 2;
  });
  EXPECT_EQ(end, 0);
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(MigrateStaged, ABackupThatCannotBeKeptRefuses) {
  putSettings(3);
  device.write("var/mobile/Library/Logs", "no directory");
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Backup);
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(MigrateStaged, ALockThatCannotBeHadRefuses) {
  putSettings(3);
  fs::create_directories(device.path(kLock));
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.cause, Cause::Lock);
  EXPECT_EQ(difference(tree(), before), "");
}

// MARK: A device that changes meanwhile

TEST_F(MigrateStaged, WhereAnInputChangesItIsStagedAgain) {
  putSettings(3);
  StagedMigrationOptions options;
  int asked = 0;
  options.judge = [&](StagedMigration&) {
    if (++asked == 1) {
      put(kSettings,
          {{"Version", 3}, {"Accounts", Array{account("CalDAV", "MobileCalDAVAccount", "other")}}});
    }
    return true;
  };
  EXPECT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
  EXPECT_EQ(asked, 2);
  EXPECT_THAT(savedIdentifiers(), Contains("other"));
  EXPECT_THAT(savedIdentifiers(), Not(Contains("calendar")));
  EXPECT_THAT(backups(), SizeIs(1));
}

TEST_F(MigrateStaged, AnAbsenceAndAPreferenceAreInputsToo) {
  putSettings(3);
  StagedMigrationOptions options;
  int asked = 0;
  options.judge = [&](StagedMigration&) {
    if (++asked == 1) putLegacyFiles();
    if (asked == 2) {
      put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
          {{"RSSaveMigrationInformation", true}});
    }
    return true;
  };
  EXPECT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
  EXPECT_EQ(asked, 3);
  EXPECT_THAT(savedIdentifiers(), Contains("pop"));
  EXPECT_TRUE(has("var/mobile/Library/Logs/CrashReporter/AccountMigration"));
}

TEST_F(MigrateStaged, ADeviceThatKeepsChangingIsLeftAloneAfterThreeTimes) {
  putSettings(3);
  StagedMigrationOptions options;
  int asked = 0;
  options.judge = [&](StagedMigration&) {
    device.write(kMarker, std::to_string(++asked));
    put(kSettings, {{"Version", 3}, {"Accounts", Array{}}, {"Number", asked}});
    return true;
  };
  const MigrationOutcome outcome = migrate(options);
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Changing);
  EXPECT_EQ(asked, 3);
  EXPECT_THAT(outcome.problem, HasSubstr("com.zelqo.accountsettings.plist"));
  EXPECT_FALSE(has("var/mobile/Library/Logs"));
  EXPECT_FALSE(has(kLock));
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(MigrateStaged, AnotherConfigurationIsNoLongerTheHostsOwn) {
  putSettings(3);
  StagedMigrationOptions options;
  options.judge = [&](StagedMigration&) {
    device.write("etc/accountsettings/host.plist", "<plist><dict/></plist>");
    return true;
  };
  const MigrationOutcome outcome = migrate(options);
  EXPECT_EQ(outcome.cause, Cause::Changing);
  EXPECT_THAT(outcome.problem, HasSubstr("host.plist"));
}

// MARK: What fails without harm, and with it

TEST_F(MigrateStaged, ACopyARecordAndAMarkerThatFailAreWarningsAtMost) {
  putSettings(3);
  put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
      {{"RSSaveMigrationInformation", true}});
  fs::create_symlink("nowhere", device.path(kCopy));
  fs::create_directories(device.path("var/mobile/Library/Logs/CrashReporter"));
  fs::create_symlink("nowhere",
                     device.path("var/mobile/Library/Logs/CrashReporter/AccountMigration"));
  fs::create_directories(device.path(kMarker));
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(12));
}

// The file system of the logs became read-only.
TEST_F(MigrateStaged, ACopyThatCannotBeWrittenIsToldAndDoesNoHarm) {
  AS_NEEDS_ROOT();
  putSettings(3);
  const fs::path logs = fs::path(device.path(kCopy)).parent_path();
  bool isReadOnly = false;
  StagedMigrationOptions options;
  options.judge = [&](StagedMigration&) {
    const char* const at = logs.c_str();
    isReadOnly = ::mount(at, at, nullptr, MS_BIND, nullptr) == 0 &&
                 ::mount(nullptr, at, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
    return isReadOnly;
  };
  const MigrationOutcome outcome = migrate(options);
  ::umount2(logs.c_str(), MNT_DETACH);
  if (!isReadOnly) GTEST_SKIP() << "this process may mount nothing";
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(outcome.warnings, ElementsAre(AllOf(HasSubstr("not done, without harm"),
                                                  HasSubstr("Logs/CrashReporter"))));
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(12));
}

TEST_F(MigrateStaged, WhatNoBackupCanHoldIsNotRemoved) {
  putSettings(3);
  putLegacyFiles();
  fs::remove(device.path(std::string(kMail) + ".original"));
  ASSERT_EQ(::mkfifo(device.path(std::string(kMail) + ".original").c_str(), 0600), 0);
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.cause, Cause::Staging);
  EXPECT_THAT(outcome.problem, HasSubstr("Accounts.plist.original: it is no regular file"));
  EXPECT_EQ(difference(tree(), before), "");
}

// A file that a mount covers can be read, but neither replaced nor removed.
TEST_F(MigrateStaged, SettingsThatCannotBeReplacedLeaveTheDeviceAsItWas) {
  AS_NEEDS_ROOT();
  for (const bool legacyFileStays : {false, true}) {
    makeDevice();
    putSettings(3);
    putLegacyFiles();
    const auto before = tree();
    std::vector<fs::path> covered{device.path(kSettings)};
    if (legacyFileStays) covered.push_back(device.path(kMail));
    StagedMigrationOptions options;
    options.judge = [&](StagedMigration&) {
      for (const fs::path& each : covered) {
        if (::mount(each.c_str(), each.c_str(), nullptr, MS_BIND, nullptr) != 0) return false;
      }
      return true;
    };
    const MigrationOutcome outcome = migrate(options);
    for (const fs::path& each : covered) ::umount2(each.c_str(), MNT_DETACH);
    if (outcome.cause == Cause::None) GTEST_SKIP() << "this process may mount nothing";
    EXPECT_EQ(outcome.kind, Kind::Refused) << lastProblem;
    EXPECT_EQ(outcome.cause, Cause::Settings);
    EXPECT_THAT(outcome.warnings, IsEmpty());
    auto after = tree();
    after.erase(kLock);  // its file stays where legacy files went and came back
    EXPECT_EQ(difference(after, before), "");
    EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  }
}

TEST_F(MigrateStaged, ALegacyFileThatStaysIsABrokenMigrationAndStopsTheNext) {
  AS_NEEDS_ROOT();
  putSettings(3);
  putLegacyFiles();
  const fs::path exchange = device.path(kExchange);
  // A file that a mount covers can be read but not removed.
  StagedMigrationOptions options;
  options.judge = [&](StagedMigration&) {
    return ::mount(exchange.c_str(), exchange.c_str(), nullptr, MS_BIND, nullptr) == 0;
  };
  const MigrationOutcome outcome = migrate(options);
  if (outcome.cause == Cause::None && outcome.kind == Kind::Refused) {
    GTEST_SKIP() << "this process may mount nothing";
  }
  ::umount2(exchange.c_str(), MNT_DETACH);
  EXPECT_EQ(outcome.kind, Kind::Broken);
  EXPECT_THAT(outcome.problem, HasSubstr("the legacy file cannot be removed"));
  EXPECT_TRUE(has(kMail));
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"calendar", "exchange", "pop"}));
  EXPECT_THAT(outcome.written, Contains("/" + std::string(kSettings)));
  EXPECT_THAT(outcome.removed, IsEmpty());

  const MigrationOutcome next = migrate();
  EXPECT_EQ(next.kind, Kind::Refused);
  EXPECT_EQ(next.cause, Cause::BrokenRun);
  EXPECT_EQ(next.backup, outcome.backup);
  StagedMigrationOptions accepted;
  accepted.acceptBrokenRun = true;
  EXPECT_EQ(migrate(accepted).kind, Kind::Done) << lastProblem;
  EXPECT_FALSE(has(kExchange));
}

TEST_F(MigrateStaged, ASentinelThatIsFoundEndsTheRemovalAndNoneIsMade) {
  putSettings(3);
  putLegacyFiles();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done);
  EXPECT_FALSE(has(kSentinel));
  EXPECT_FALSE(has(kMail));
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(3));
  EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(12));
}

// MARK: The log, the daemon and the notices

// Keeps messages with the times that they are said to have arisen.
class TimedLog : public SystemLog {
 public:
  void write(std::string_view message) override {
    writeLate(message, std::chrono::system_clock::now());
  }
  void writeLate(std::string_view message, std::chrono::system_clock::time_point arose) override {
    lines.emplace_back(arose, message);
  }
  std::vector<std::pair<std::chrono::system_clock::time_point, std::string>> lines;
};

// A child process that is called as the sync daemon, and dies of the first signal.
class Daemon {
 public:
  Daemon() {
    int ready[2];
    if (::pipe(ready) != 0) std::abort();
    process = ::fork();
    if (process == 0) {
      ::prctl(PR_SET_NAME, "dataaccessd");
      if (::write(ready[1], "!", 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    char byte = 0;
    if (::read(ready[0], &byte, 1) != 1) std::abort();
    ::close(ready[0]);
    ::close(ready[1]);
  }
  ~Daemon() {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
  }
  pid_t process = 0;
};

// Ends the daemon when it is asked to leave.
class AskingNotices : public testing::NotedNotices {
 public:
  explicit AskingNotices(pid_t process) : process_(process) {}
  void postSystemNotification(std::string_view name) override {
    NotedNotices::postSystemNotification(name);
    ::kill(process_, SIGKILL);
  }

 private:
  pid_t process_;
};

TEST_F(MigrateStaged, TheDaemonsLinesComeFirstAndTheOthersKeepTheirTimes) {
  putSettings(3);
  const Daemon daemon;
  ProcessTable processes(true, [&](int each) { return each == daemon.process; });
  AskingNotices asking(daemon.process);
  TimedLog timed;
  const auto host = newHost();
  const MigrationOutcome outcome = migrateStaged(
      *host,
      platformWith(host->platform(),
                   {.processes = &processes, .notifications = &asking, .systemLog = &timed}),
      {});
  EXPECT_EQ(outcome.kind, Kind::Done);
  EXPECT_TRUE(outcome.daemonStopped);
  ASSERT_GE(timed.lines.size(), 3U);
  EXPECT_EQ(timed.lines[0].second, "Performing account migration. Asking dataaccessd to exit");
  EXPECT_THAT(timed.lines[1].second, HasSubstr("Version out of date"));
  EXPECT_GT(timed.lines[0].first, timed.lines[1].first) << "the daemon was asked later";
  EXPECT_THAT(asking.all, ElementsAre("com.zelqo.MobileSync.BackupAgent.WillStart",
                                      "com.zelqo.mobilemail MailAccounts"));
}

TEST_F(MigrateStaged, ARunThatChangesNothingLeavesTheDaemonAlone) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const Daemon daemon;
  ProcessTable processes(true, [&](int each) { return each == daemon.process; });
  const auto host = newHost();
  const MigrationOutcome outcome =
      migrateStaged(*host, platformWith(host->platform(), {.processes = &processes}), {});
  EXPECT_EQ(outcome.kind, Kind::NothingToDo);
  EXPECT_FALSE(outcome.daemonStopped);
  EXPECT_EQ(::kill(daemon.process, 0), 0);
}

TEST_F(MigrateStaged, AStoppedDaemonIsToldOfWhereTheRunIsRefusedAfterwards) {
  putSettings(3);
  const Daemon daemon;
  ProcessTable processes(true, [&](int each) { return each == daemon.process; });
  AskingNotices asking(daemon.process);
  const auto host = newHost();
  StagedMigrationOptions options;
  int asked = 0;
  options.judge = [&](StagedMigration&) {
    put(kSettings, {{"Version", 3}, {"Accounts", Array{}}, {"Number", ++asked}});
    return true;
  };
  const MigrationOutcome outcome = migrateStaged(
      *host, platformWith(host->platform(), {.processes = &processes, .notifications = &asking}),
      options);
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_TRUE(outcome.daemonStopped);
  EXPECT_THAT(log.lines, IsEmpty());
}

// Else the on-this-device account would be saved with the name of a text in place of the text.
TEST_F(MigrateStaged, TextsOfTheBundleThatCannotBeReadRefuse) {
  putSettings(2);
  const testing::TemporaryDirectory elsewhere;
  const fs::path plugIns = elsewhere.path() / "plug-ins";
  fs::create_directory(plugIns);
  fs::copy(newHost()->platform().directories.plugInDirectory() + "/Ferrant.migrator",
           plugIns / "Ferrant.migrator", fs::copy_options::recursive);
  std::vector<fs::path> tables;
  for (const auto& each : fs::recursive_directory_iterator(plugIns)) {
    if (each.path().filename() == "DeviceLocalAccount.plist") tables.push_back(each.path());
  }
  ASSERT_THAT(tables, Not(IsEmpty()));
  const std::string config = elsewhere.path() / "host.plist";
  testing::DeviceRoot::writeFile(
      config,
      testing::textOf(writeBinary(Dictionary{{"PlugInDirectory", plugIns.string()}}).value()));
  const auto migrateWithThem = [&] {
    HostOptions options;
    options.root = device.root();
    options.configFile = config;
    options.systemLog = &log;
    const auto host = std::move(LinuxHost::create(options)).value();
    MigrationOutcome outcome = migrateStaged(*host);
    outcome.staged.reset();
    return outcome;
  };
  for (const fs::path& each : tables) {
    fs::rename(each, each.string() + ".away");
    fs::create_directory(each);
  }
  const auto before = tree();
  const MigrationOutcome refused = migrateWithThem();
  EXPECT_EQ(refused.kind, Kind::Refused);
  EXPECT_EQ(refused.cause, Cause::Staging);
  EXPECT_THAT(refused.problem, HasSubstr("DeviceLocalAccount.plist"));
  EXPECT_EQ(difference(tree(), before), "");
  for (const fs::path& each : tables) {
    fs::remove(each);
    fs::rename(each.string() + ".away", each);
  }
  const MigrationOutcome outcome = migrateWithThem();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
}

// MARK: The lock

TEST_F(MigrateStaged, ALockThatIsHeldRefusesAfterTheTimeThatWasGiven) {
  putSettings(3);
  const auto holding = newHost();
  const auto held = HeldMigrationLock::take(*holding, holding->platform());
  ASSERT_TRUE(held.ok());
  const auto before = tree();
  StagedMigrationOptions options;
  int waits = 0;
  options.willWait = [&] { ++waits; };
  for (const int limit : {0, 40}) {
    options.lockLimit = std::chrono::milliseconds(limit);
    const MigrationOutcome outcome = migrate(options);
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.cause, Cause::LockHeld);
    EXPECT_EQ(waits, limit == 0 ? 0 : 1);
  }
  EXPECT_EQ(difference(tree(), before), "");
  EXPECT_THAT(log.lines, Each(HasSubstr("Could not acquire the migration lock: ")));
  EXPECT_THAT(log.lines, SizeIs(2));
}

TEST_F(MigrateStaged, ALockThatBecomesFreeIsTaken) {
  putSettings(3);
  const auto holding = newHost();
  std::optional<HeldMigrationLock> held;
  held.emplace(std::move(HeldMigrationLock::take(*holding, holding->platform())).value());
  StagedMigrationOptions options;
  options.willWait = [&] { held.reset(); };
  EXPECT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
}

// The locks are those of the platform that is given.
TEST_F(MigrateStaged, AnotherPlatformsLockIsTaken) {
  putSettings(3);
  testing::Faults faults;
  testing::FakeLocks locks(faults);
  const auto host = newHost();
  const MigrationOutcome outcome =
      migrateStaged(*host, platformWith(host->platform(), {.locks = &locks}), {});
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_EQ(locks.acquired("AccountMigrationInProgress"), 1);
  EXPECT_FALSE(locks.isHeld("AccountMigrationInProgress"));
  EXPECT_FALSE(has(kLock));
}

TEST_F(MigrateStaged, AProgramThatHoldsTheSettingsIsToldAsThat) {
  putSettings(3);
  HostOptions hurried;
  hurried.root = device.root();
  hurried.systemLog = &log;
  hurried.writerLockLimit = std::chrono::milliseconds(30);
  const auto other = newHost();
  const auto writer = other->platform().writerLocks.hold("/" + std::string(kSettings));
  ASSERT_TRUE(writer.ok());
  const auto before = tree();
  const auto host = std::move(LinuxHost::create(hurried)).value();
  const MigrationOutcome outcome = migrateStaged(*host);
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Writer);
  EXPECT_EQ(difference(tree(), before), "");
}

// In the last moment before the commit it puts a directory in the place of what was prepared, and
// answers that the settings are held.
class OneWhoBlocksTheWayBack : public WriterLocks {
 public:
  explicit OneWhoBlocksTheWayBack(std::filesystem::path preferences)
      : preferences_(std::move(preferences)) {}

  Result<std::unique_ptr<Held>> hold(const std::string&) override {
    for (const auto& each : std::filesystem::directory_iterator(preferences_)) {
      if (!each.path().filename().string().starts_with(".accountsettings-")) continue;
      std::filesystem::remove(each.path());
      std::filesystem::create_directory(each.path());
    }
    return systemError("the settings", EAGAIN);
  }

 private:
  std::filesystem::path preferences_;
};

TEST_F(MigrateStaged, WhatWasPreparedAndCannotBeTakenAwayAgainIsTold) {
  putSettings(3);
  const std::string before = device.read(kSettings);
  OneWhoBlocksTheWayBack locks(device.path(kPreferences));
  const auto host = newHost();
  const MigrationOutcome outcome =
      migrateStaged(*host, platformWith(host->platform(), {.writerLocks = &locks}), {});
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_TRUE(outcome.preparedStays);
  EXPECT_THAT(outcome.warnings, Contains(HasSubstr("what was prepared stays")));
  EXPECT_EQ(device.read(kSettings), before);
}

// MARK: Other versions

TEST_F(MigrateStaged, StructsOfAnotherVersionAreRefusedAndNothingIsTouched) {
  putSettings(3);
  const std::string before = device.read(kSettings);
  const auto host = newHost();
  const detail::MigrationSizes own;
  for (const detail::MigrationSizes& sizes :
       {detail::MigrationSizes{own.platform - 8, own.options, own.outcome},
        detail::MigrationSizes{own.platform, own.options - 8, own.outcome},
        detail::MigrationSizes{own.platform, own.options, own.outcome + 8}}) {
    MigrationOutcome outcome;
    EXPECT_THROW(detail::migrateStaged(*host, nullptr, {}, outcome, sizes), AssertionFailure);
    EXPECT_FALSE(outcome.staged);
  }
  EXPECT_THROW((void)StagedMigration::stage(*host, host->platform(), {}, own.platform - 8),
               AssertionFailure);
  EXPECT_EQ(device.read(kSettings), before);
}

// MARK: Which backups stay

TEST_F(MigrateStaged, TheOldestBackupOfEachVersionIsNeverEvicted) {
  putSettings(0);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string oldest = backups().front();
  StagedMigrationOptions options;
  options.keep = 2;
  for (int i = 0; i < 6; ++i) {
    put(kSettings, {{"Version", 12},
                    {"Accounts", Array{account("LDAP", "MobileLDAPAccount", "directory")}},
                    {"Round", i}});
    ASSERT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
  }
  // Of version 0 the only one, of version 12 the first and the two newest.
  EXPECT_THAT(backups(), SizeIs(4));
  EXPECT_THAT(backups(), Contains(oldest));
}

TEST_F(MigrateStaged, ABackupWhoseManifestCannotBeReadIsNeverRemovedAndAHalfMadeOneIs) {
  const std::string unreadable = std::string(kBackups) + "/2000-01-01-00-00-00";
  const std::string unfinished = std::string(kBackups) + "/2000-01-01-00-00-01";
  fs::create_directories(device.path(unreadable + "/manifest.plist"));
  device.write(unfinished + "/settings-com.zelqo.accountsettings.plist", "x");
  putSettings(3);
  StagedMigrationOptions options;
  options.acceptBrokenRun = true;
  options.keep = 1;
  EXPECT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
  EXPECT_TRUE(has(unreadable));
  EXPECT_FALSE(has(unfinished));
}

}  // namespace
}  // namespace accountsettings
