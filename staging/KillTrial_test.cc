// The trial of the commit: a migration is killed at every system call that changes the disk, and
// then whatever may follow follows: the next migration, a client's own, or an edit by a program
// that knows nothing of all this. No account is ever lost.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <functional>

#include "account/BasicAccount.h"
#include "staging/EarlierRuns.h"
#include "staging/PlugInMigrator.h"
#include "staging/StagingTest.h"
#include "store/AccountsManager.h"

namespace {

// The calls that change the disk, counted while `counting`; this process is killed just before the
// call of the number `killAt`. A write is half done by then.
bool counting = false;
int calls = 0;
int killAt = 0;

void willChangeDisk() {
  if (counting && ++calls == killAt) ::raise(SIGKILL);
}

}  // namespace

// These stand before the C library's in this program, for the host library too.
extern "C" {
int fsync(int) {
  willChangeDisk();
  return 0;  // what is not flushed is lost by a power cut, not by a kill
}
ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (counting && calls + 1 == killAt) ::syscall(SYS_write, descriptor, bytes, count / 2);
  willChangeDisk();
  return ::syscall(SYS_write, descriptor, bytes, count);
}
int fchmod(int descriptor, mode_t mode) {
  willChangeDisk();
  return static_cast<int>(::syscall(SYS_fchmod, descriptor, mode));
}
int fchown(int descriptor, uid_t owner, gid_t group) {
  willChangeDisk();
  return static_cast<int>(::syscall(SYS_fchown, descriptor, owner, group));
}
int openat(int directory, const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
    willChangeDisk();
  }
  return static_cast<int>(::syscall(SYS_openat, directory, path, flags, mode));
}
int renameat(int from, const char* source, int to, const char* target) noexcept {
  willChangeDisk();
  return static_cast<int>(::syscall(SYS_renameat, from, source, to, target));
}
int unlinkat(int directory, const char* path, int flags) noexcept {
  willChangeDisk();
  return static_cast<int>(::syscall(SYS_unlinkat, directory, path, flags));
}
int mkdirat(int directory, const char* path, mode_t mode) noexcept {
  willChangeDisk();
  return static_cast<int>(::syscall(SYS_mkdirat, directory, path, mode));
}
}

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::IsSupersetOf;
using Kind = MigrationOutcome::Kind;

// What stands on the device before the migration.
struct Kit {
  const char* name;
  bool settings;
  bool legacyFiles;
  bool sentinel;
  bool keepBackup = true;
  bool record = false;
};

void PrintTo(const Kit& kit, std::ostream* out) {
  *out << kit.name;
}

class KillTrial : public testing::StagingTest, public ::testing::WithParamInterface<Kit> {
 protected:
  void prepare() {
    makeDevice();
    const Kit& kit = GetParam();
    if (kit.settings) putSettings(3);
    if (kit.legacyFiles) putLegacyFiles();
    if (kit.sentinel) device.write(kSentinel, "Old Account Information Removal Sentinel");
    if (kit.record) {
      put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
          {{"RSSaveMigrationInformation", true}});
    }
    device.write(kMarker, "");
  }
  MigrationOutcome migrateKit() {
    StagedMigrationOptions options;
    options.keepBackup = GetParam().keepBackup;
    return migrate(options);
  }
  // Migrates in a child that is killed at the call; answers whether it was.
  bool dies(int call) {
    const int end = testing::inChild([&] {
      calls = 0;
      killAt = call;
      counting = true;
      const MigrationOutcome outcome = migrateKit();
      const bool isGood = outcome.kind == Kind::Done || outcome.kind == Kind::Completed ||
                          outcome.kind == Kind::NothingToDo;
      return isGood ? 0 : 1;
    });
    EXPECT_TRUE(end == 0 || end == 1000 + SIGKILL) << end;
    return end == 1000 + SIGKILL;
  }
  // What a plan says of the migration that comes next, and that it says so without a touch.
  MigrationOutcome::Kind planned() {
    const auto before = tree();
    const auto host = newHost();
    const MigrationOutcome outcome = planStaged(*host);
    EXPECT_EQ(difference(tree(), before), "");
    return outcome.kind;
  }
  bool killedAt(int call) {
    prepare();
    return dies(call);
  }
  // Runs `then` after a kill at each call; answers how many there were.
  int forEachKill(const std::function<void()>& then) {
    int call = 1;
    for (; killedAt(call); ++call) {
      SCOPED_TRACE("killed at call " + std::to_string(call));
      EXPECT_LT(call, 1000);
      then();
      if (HasFatalFailure() || HasNonfatalFailure() || call >= 1000) break;
    }
    return call - 1;
  }
  // Everything but the lock's file and the backups, whose names are times.
  [[nodiscard]] std::map<std::string, std::string> comparableTree() const {
    auto entries = tree(false);
    std::erase_if(entries, [](const auto& entry) {
      return entry.first.starts_with("var/mobile/Library/Logs/AccountMigrationBackups") ||
             entry.first == "var/mobile/Library/Logs" || entry.first == kLock;
    });
    // A record is named after its time too.
    std::map<std::string, std::string> result;
    for (auto& [path, entry] : entries) {
      const std::size_t record = path.find("AccountMigrationInformation-");
      result[record == std::string::npos ? path : path.substr(0, record)] = entry;
    }
    return result;
  }
  // The accounts in the settings, in legacy files, and in what backups keep.
  [[nodiscard]] std::set<std::string> everyIdentifierThere() const {
    std::set<std::string> all;
    for (const auto& each : fs::recursive_directory_iterator(device.root())) {
      if (each.path().string().find("CrashReporter") != std::string::npos) continue;
      if (!each.is_regular_file() || each.path().filename() == "manifest.plist") continue;
      all.merge(identifiersIn(each.path()));
    }
    return all;
  }
  [[nodiscard]] std::set<std::string> expectedIdentifiers() const {
    std::set<std::string> all;
    if (GetParam().settings) all.insert({"calendar", "directory"});
    if (GetParam().legacyFiles) all.insert({"pop", "gm", "smtp", "exchange"});
    return all;
  }
  // No temporary file, no journal without an end.
  void expectNothingLeftOpen() {
    for (const auto& [path, entry] : tree()) {
      EXPECT_EQ(path.find("/.accountsettings-"), std::string::npos) << path;
    }
    const auto host = newHost();
    ProcessContext context(host->platform());
    const ProcessContext::Override current(context);
    const EarlierRuns runs = lookAtEarlierRuns(*host, false);
    EXPECT_FALSE(runs.objection.has_value()) << runs.objection->problem;
    EXPECT_FALSE(runs.interrupted.has_value());
    for (const FoundBackup& each : runs.backups) {
      EXPECT_TRUE(each.manifest.has_value()) << each.problem;
    }
  }
};

TEST_P(KillTrial, TheNextMigrationComesToTheResultOfAnUndisturbedOne) {
  // A sentinel makes a migration of its own: the upgrade comes with the next one.
  const int runs = GetParam().sentinel ? 2 : 1;
  prepare();
  for (int i = 0; i < runs; ++i) ASSERT_EQ(migrateKit().kind, Kind::Done) << lastProblem;
  const auto reference = comparableTree();
  const int kills = forEachKill([&] {
    for (int i = 0; i < runs; ++i) {
      const Kind foretold = planned();
      const MigrationOutcome outcome = migrateKit();
      EXPECT_EQ(foretold, outcome.kind) << outcome.problem;
      EXPECT_TRUE(outcome.kind == Kind::Done || outcome.kind == Kind::Completed ||
                  outcome.kind == Kind::NothingToDo)
          << static_cast<int>(outcome.kind) << " " << outcome.problem;
    }
    EXPECT_EQ(difference(comparableTree(), reference), "");
    expectNothingLeftOpen();
    EXPECT_TRUE(GetParam().keepBackup || backups().empty());
  });
  RecordProperty("kills", kills);
  std::printf("%d kills\n", kills);
  EXPECT_GT(kills, 20);
}

// Which calls of the second run are tried goes on with those of the first, so that all come about.
TEST_P(KillTrial, ARunThatIsKilledWhileItEndsAnotherIsEndedToo) {
  constexpr int kCallsOfARun = 80;
  const int runs = GetParam().sentinel ? 2 : 1;
  prepare();
  for (int i = 0; i < runs; ++i) ASSERT_EQ(migrateKit().kind, Kind::Done) << lastProblem;
  const auto reference = comparableTree();
  int first = 0;
  int killedTwice = 0;
  forEachKill([&] {
    const int second = ++first * 7 % kCallsOfARun + 1;
    SCOPED_TRACE("then killed at call " + std::to_string(second));
    if (dies(second)) ++killedTwice;
    for (int i = 0; i < runs; ++i) {
      const Kind kind = migrateKit().kind;
      EXPECT_TRUE(kind == Kind::Done || kind == Kind::Completed || kind == Kind::NothingToDo)
          << lastProblem;
    }
    EXPECT_EQ(difference(comparableTree(), reference), "");
    expectNothingLeftOpen();
  });
  EXPECT_GT(killedTwice, 15);
}

TEST_P(KillTrial, AClientThatMigratesForItselfLosesNoAccount) {
  forEachKill([&] {
    std::set<std::string> expected =
        GetParam().sentinel ? std::set<std::string>() : expectedIdentifiers();
    // As it is ruled, a client that finds legacy files removes the settings before it converts
    // them.
    if (has(kMail) || has(kExchange)) {
      expected.erase("calendar");
      expected.erase("directory");
    }
    {
      const auto host = newHost();
      ProcessContext context(host->platform());
      const ProcessContext::Override current(context);
      AccountsManager::_migrateAccountsIfNeeded();
    }
    EXPECT_THAT(everyIdentifierThere(), IsSupersetOf(expected));
    const MigrationOutcome outcome = migrateKit();
    EXPECT_NE(outcome.kind, Kind::Refused) << outcome.problem;
    EXPECT_NE(outcome.kind, Kind::Broken) << outcome.problem;
    EXPECT_THAT(everyIdentifierThere(), IsSupersetOf(expected));
    // What the client did not find any more comes back in the settings, not in a backup alone.
    expected.erase("calendar");
    expected.erase("directory");
    EXPECT_THAT(savedIdentifiers(), IsSupersetOf(expected));
    expectNothingLeftOpen();
  });
}

TEST_P(KillTrial, TheLibrarysOwnMigrationLosesNoAccount) {
  forEachKill([&] {
    {
      const auto host = newHost();
      ProcessContext context(host->platform());
      const ProcessContext::Override current(context);
      EXPECT_TRUE((*makePlugInMigrator())->performMigration());
    }
    const MigrationOutcome outcome = migrateKit();
    EXPECT_NE(outcome.kind, Kind::Refused) << outcome.problem;
    EXPECT_NE(outcome.kind, Kind::Broken) << outcome.problem;
    if (!GetParam().sentinel) {
      EXPECT_THAT(savedIdentifiers(), IsSupersetOf(expectedIdentifiers()));
    }
    expectNothingLeftOpen();
  });
}

TEST_P(KillTrial, AnEditByAProgramIsKeptAndLosesNoAccount) {
  forEachKill([&] {
    {
      const auto host = newHost();
      ProcessContext context(host->platform());
      const ProcessContext::Override current(context);
      const auto store = AccountsManager::init();
      store->insertAccount(
          BasicAccount::accountWithProperties(account("CalDAV", "MobileCalDAVAccount", "edited")));
      store->saveAllAccounts();
    }
    const MigrationOutcome outcome = migrateKit();
    EXPECT_NE(outcome.kind, Kind::Refused) << outcome.problem;
    EXPECT_NE(outcome.kind, Kind::Broken) << outcome.problem;
    std::set<std::string> expected = {"edited"};
    if (!GetParam().sentinel) expected.merge(expectedIdentifiers());
    EXPECT_THAT(savedIdentifiers(), IsSupersetOf(expected));
    expectNothingLeftOpen();
  });
}

INSTANTIATE_TEST_SUITE_P(Devices, KillTrial,
                         ::testing::Values(Kit{"Settings", true, false, false},
                                           Kit{"LegacyFiles", false, true, false},
                                           Kit{"Both", true, true, false},
                                           Kit{"BothWithoutBackup", true, true, false, false},
                                           Kit{"BothWithRecord", true, true, false, true, true},
                                           Kit{"Sentinel", true, true, true}),
                         [](const auto& kit) { return std::string(kit.param.name); });

}  // namespace
}  // namespace accountsettings
