// Tests of `restore` and `history`, run as processes: what a migration replaced comes back byte
// for byte, with mode and owner.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "host/LinuxFiles.h"
#include "testing/ToolRun.h"
#include "tool/commands/SampleAccounts.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBackups = "/var/mobile/Library/Logs/AccountMigrationBackups";

// What a file is to a restore: kind, mode, owner and content, or the link's target.
std::string stateOf(const std::string& path) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return "absent";
  std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + ":" +
                     std::to_string(status.st_gid) + " ";
  if (S_ISLNK(status.st_mode)) return text + fs::read_symlink(path).string();
  std::ifstream stream(path, std::ios::binary);
  return text + std::string(std::istreambuf_iterator<char>(stream), {});
}

class Restore : public ::testing::Test {
 protected:
  Restore() { fs::create_directories(root_.at("/var/shared/Library/Logs/CrashReporter")); }

  ToolResult run(const std::string& command, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {command, "--root", root_.path()});
    return runTool(std::move(options));
  }

  [[nodiscard]] std::map<std::string, std::string> states() const {
    std::map<std::string, std::string> result;
    for (const char* path : kWatched) result[path] = stateOf(root_.at(path));
    return result;
  }

  // Their names, oldest first.
  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(root_.at(kBackups))) {
      if (entry.is_directory()) names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  [[nodiscard]] std::string backup() const { return backups().back(); }

  [[nodiscard]] std::string inBackup(const std::string& name) const {
    return root_.at(kBackups) + "/" + backup() + "/" + name;
  }

  static constexpr const char* kWatched[] = {
      ToolRoot::kSettings,
      "/var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist",
      ToolRoot::kLegacyMail,
      "/var/mobile/Library/Mail/Accounts.plist.original",
      ToolRoot::kLegacyExchange,
      "/var/mobile/Library/Preferences/com.zelqo.DataAccess.plist.original",
      ToolRoot::kSentinel,
      "/var/mobile/Library/Mail/AutoFetchEnabled"};

  ToolRoot root_;
};

TEST_F(Restore, GivesBackEveryByteModeAndOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "giving files away needs root";
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  root_.putText("/var/mobile/Library/Mail/Accounts.plist.original", "older");
  root_.putText("/var/mobile/Library/Mail/AutoFetchEnabled", "");
  fs::permissions(root_.at(ToolRoot::kLegacyMail), fs::perms(0640));
  ASSERT_EQ(::chown(root_.at(ToolRoot::kLegacyExchange).c_str(), 501, 502), 0);
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  ASSERT_NE(states(), before);
  const ToolResult result = run("restore");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(states(), before);
}

TEST_F(Restore, GivesBackSettingsThatWereReplaced) {
  root_.putSettings(9, {mailAccount("A")});
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  ASSERT_EQ(run("restore", {backup()}).status, 0);
  EXPECT_EQ(states(), before);
}

TEST_F(Restore, WaitsForAProgramThatIsSaving) {
  root_.putSettings(9, {mailAccount("A")});
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  const auto migrated = states();
  const std::string folder = fs::path(root_.settingsPath()).parent_path();
  const int held = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  std::future<ToolResult> restoring =
      std::async(std::launch::async, [&] { return run("restore"); });
  EXPECT_EQ(restoring.wait_for(std::chrono::milliseconds(500)), std::future_status::timeout);
  EXPECT_EQ(states(), migrated);
  ::close(held);
  const ToolResult result = restoring.get();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(states(), before);
}

TEST_F(Restore, GivesBackALink) {
  root_.putSettings(9, {mailAccount("A")});
  fs::rename(root_.settingsPath(), root_.settingsPath() + ".real");
  fs::create_symlink("com.zelqo.accountsettings.plist.real", root_.settingsPath());
  const auto before = states();
  ASSERT_EQ(run("migrate", {"--accept-loss"}).status, 0);
  ASSERT_FALSE(fs::is_symlink(root_.settingsPath()));
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_EQ(states(), before);
}

TEST_F(Restore, ARestoreThatWasCutShortCanBeRunAgain) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  // As far as a killed restore may have come: one file is back, the others are not.
  fs::copy(inBackup("legacy-mail-Accounts.plist"), root_.at(ToolRoot::kLegacyMail));
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_EQ(states(), before);
  const std::vector<std::string> kept = backups();
  const ToolResult again = run("restore");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out.find("Nothing to put back: everything is as backup " + kept.front()), 0U)
      << again.out;
  EXPECT_NE(again.out.find("To undo that restore: accountsettings restore --root " + root_.path() +
                           " " + kept.back() + "\n"),
            std::string::npos)
      << again.out;
  EXPECT_EQ(backups(), kept) << "nothing was replaced, and nothing is to be kept";
}

TEST_F(Restore, ADryRunTouchesNothing) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  const auto before = root_.snapshot();
  const ToolResult result = run("restore", {"--dry-run"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Would put back backup " + backup() +
                            " (from version 9, 3 steps (9A182 to 9B176)) of " + root_.path() +
                            ":\n  restored  " + ToolRoot::kSettings + "\n  removed   " +
                            kWatched[1] + "\n  6 files are as they were\nNothing was touched.\n");
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Restore, RefusesABackupWhoseSumIsWrong) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  std::ofstream(inBackup("settings-com.zelqo.accountsettings.plist"), std::ios::app) << "x";
  const auto before = states();
  const ToolResult result = run("restore");
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("its sum is not the one in the manifest"), std::string::npos)
      << result.err;
  EXPECT_EQ(states(), before);
}

TEST_F(Restore, RefusesABackupWithoutItsManifest) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  fs::remove(inBackup("manifest.plist"));
  const ToolResult named = run("restore", {backup()});
  EXPECT_EQ(named.status, 3);
  EXPECT_NE(named.err.find("it has no manifest: it was not finished"), std::string::npos);
  EXPECT_EQ(run("restore").status, 3);
  EXPECT_NE(run("restore", {"--list"}).out.find("unusable: it has no manifest"), std::string::npos);
}

// A manifest that somebody else wrote.
class ForeignManifest : public Restore {
 protected:
  ForeignManifest() {
    root_.putSettings(9, {mailAccount("A")});
    EXPECT_EQ(run("migrate").status, 0);
    manifest_ = *root_.get(manifestPath())->dictionary();
  }

  [[nodiscard]] std::string manifestPath() const {
    return kBackups + ("/" + backup()) + "/manifest.plist";
  }

  // Changes a value in the manifest's entry of the settings file.
  void change(std::string_view key, PropertyList value) {
    Array files = *manifest_.array("Files");
    Dictionary file = *files[0].dictionary();
    file.set(key, std::move(value));
    files.set(0, file);
    manifest_.set("Files", files);
    root_.put(manifestPath(), manifest_);
  }

  Dictionary manifest_;
};

TEST_F(ForeignManifest, LeadsToNoOtherFile) {
  change("Path", "/etc/passwd");
  const auto before = root_.snapshot();
  const ToolResult result = run("restore");
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("/etc/passwd: no migration of this device touches it"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(stateOf(root_.at("/etc/passwd")).find("absent"), std::string::npos);
  EXPECT_EQ(root_.get(manifestPath())->dictionary()->size(), manifest_.size());
}

TEST_F(ForeignManifest, ReadsNoFileOutsideTheBackup) {
  for (const char* name : {"../../../../../../etc/passwd", "/etc/passwd", ".."}) {
    change("Saved As", name);
    const ToolResult result = run("restore", {backup()});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("the manifest names a file outside the backup"), std::string::npos)
        << result.err;
  }
}

TEST_F(ForeignManifest, GivesNobodyTheRightsOfAnOwner) {
  change("Mode", 06755);
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_EQ(fs::status(root_.settingsPath()).permissions(), fs::perms(0755));
}

TEST_F(ForeignManifest, IsRefusedWhereItIsMalformed) {
  change("Role", "no such role");
  EXPECT_NE(run("restore", {backup()}).err.find("the manifest names an unknown kind of file"),
            std::string::npos);
  root_.putText(manifestPath(), "hello");
  EXPECT_NE(run("restore", {backup()}).err.find("the manifest is damaged: "), std::string::npos);
  root_.put(manifestPath(), Dictionary{{"Files", Array{}}});
  EXPECT_NE(run("restore", {backup()}).err.find("the manifest is not one of a backup"),
            std::string::npos);
}

TEST_F(Restore, TellsThatThereIsNoBackup) {
  root_.putSettings(12, {mailAccount("A")});
  const auto before = root_.snapshot();
  const ToolResult result = run("restore");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "accountsettings: " + root_.at(kBackups) +
                            ": there is no backup that could be put back; check --root; "
                            "'migrate' and the edits make backups\n");
  EXPECT_EQ(run("restore", {"2020-01-01-00-00-00"}).status, 3);
  EXPECT_EQ(run("restore", {"--list"}).status, 0);
  EXPECT_EQ(run("history").out, "Nothing is known of what was done to " + root_.path() + ".\n");
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Restore, RemovesNothingBeforeEverythingIsWritten) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(run("migrate").status, 0);
  const auto before = states();
  const ToolResult result =
      ToolRun({"restore", "--root", root_.path()}).withFileSizeLimit(64).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("what is there now cannot be kept: "), std::string::npos) << result.err;
  EXPECT_TRUE(result.err.ends_with(
      ": File too large; nothing was changed; remove the cause, or do without with --no-backup\n"))
      << result.err;
  const ToolResult without =
      ToolRun({"restore", "--no-backup", "--root", root_.path()}).withFileSizeLimit(64).run();
  EXPECT_EQ(without.status, 3);
  EXPECT_TRUE(without.err.ends_with(": File too large; nothing was changed\n")) << without.err;
  EXPECT_EQ(states(), before) << "the settings are all that holds the accounts";
  EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Restore, TellsThatTheBackupsMayNotBeRead) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  root_.putSettings(11, {});
  ASSERT_EQ(run("migrate").status, 0);
  fs::permissions(root_.path(), fs::perms(0755));
  for (const std::vector<std::string>& each :
       {std::vector<std::string>{"restore"}, {"restore", "--list"}, {"history"}}) {
    std::vector<std::string> arguments = each;
    arguments.insert(arguments.end(), {"--root", root_.path()});
    const ToolResult result = ToolRun(arguments).asUser(12345).run();
    EXPECT_EQ(result.status, 3) << each[0];
    EXPECT_EQ(result.err, "accountsettings: " + root_.at(kBackups) +
                              ": Permission denied; only the user who migrated, and root, may read "
                              "the backups\n");
  }
}

TEST_F(Restore, TheTenthBackupOfASecondIsNewerThanTheSecond) {
  root_.putSettings(11, {});
  ASSERT_EQ(run("migrate").status, 0);
  const std::string first = root_.at(kBackups) + "/2020-01-01-00-00-00";
  fs::rename(root_.at(kBackups) + "/" + backup(), first);
  fs::copy(first, first + "-10");
  fs::copy(first, first + "-2");
  EXPECT_TRUE(run("restore", {"--dry-run"})
                  .out.starts_with("Would put back backup 2020-01-01-00-00-00-10 ("));
}

TEST_F(Restore, AFullDiskLeavesEachFileWhole) {
  root_.putSettings(9, {});
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(run("migrate", {"--accept-loss"}).status, 0);
  const auto before = states();
  // Room for the old settings, but not for the legacy file.
  const ToolResult result =
      ToolRun({"restore", "--no-backup", "--root", root_.path()}).withFileSizeLimit(1024).run();
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.status, 4) << result.err;
  EXPECT_NE(result.err.find("run the same restore again: accountsettings restore --root " +
                            root_.path() + " " + backup()),
            std::string::npos)
      << result.err;
  EXPECT_EQ(states().at(ToolRoot::kLegacyMail), before.at(ToolRoot::kLegacyMail));
  EXPECT_EQ(run("restore").status, 0);
  EXPECT_EQ(root_.get(ToolRoot::kLegacyMail), PropertyList(sampleLegacyMail()));
}

constexpr const char* kAccount = "A";

TEST_F(Restore, KeepsWhatItReplacesSoThatItCanBeUndone) {
  root_.putSettings(9, {mailAccount(kAccount)});
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  const std::string migration = backup();
  const ToolResult edit = run("set", {kAccount, "DisplayName", "added since"});
  ASSERT_EQ(edit.status, 0) << edit.err;
  const auto edited = states();

  const ToolResult result = run("restore", {migration});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(states(), before);
  const std::string kept = backup();
  ASSERT_NE(kept, migration);
  const std::string undo = "accountsettings restore --root " + root_.path() + " " + kept;
  EXPECT_NE(result.out.find("What was there before is backup " + kept + "; undo with: " + undo),
            std::string::npos)
      << result.out;
  EXPECT_NE(run("restore", {"--list"})
                .out.find(kept + "  from version 12, undoes the restore of " + migration +
                          ", 2 files kept"),
            std::string::npos);
  ASSERT_EQ(run("restore", {kept}).status, 0);
  EXPECT_EQ(states(), edited);
}

TEST_F(Restore, WithoutANameItIsTheNewestThatAMigrationKept) {
  root_.putSettings(9, {mailAccount(kAccount)});
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_EQ(run("restore").status, 0);
  EXPECT_EQ(states(), before) << "a script that restores twice has not undone it";
}

TEST_F(Restore, KeepsNoBackupWhereNoneIsWanted) {
  root_.putSettings(9, {mailAccount(kAccount)});
  const auto before = states();
  ASSERT_EQ(run("migrate").status, 0);
  const ToolResult result = run("restore", {"--no-backup"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.find("undo with"), std::string::npos);
  EXPECT_EQ(states(), before);
  EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Restore, AMigrationAfterARestoreIsLikeTheFirst) {
  root_.putSettings(9, {mailAccount(kAccount)});
  ASSERT_EQ(run("migrate").status, 0);
  const auto migrated = states();
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_EQ(run("check").out.find("cut short"), std::string::npos);
  const ToolResult again = run("migrate");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(states(), migrated);
}

// A restore that was killed half-way, by what it leaves: its backup, which tells of no end.
class CutRestore : public Restore {
 protected:
  CutRestore() {
    root_.putSettings(9, {mailAccount(kAccount)});
    EXPECT_EQ(run("migrate").status, 0);
    migration_ = backup();
    EXPECT_EQ(run("restore").status, 0);
    const std::string manifest = kBackups + ("/" + backup()) + "/manifest.plist";
    Dictionary cut = *root_.get(manifest)->dictionary();
    Dictionary outcome = *cut.dictionary("Outcome");
    outcome.set("As Meant", false);
    cut.set("Outcome", outcome);
    root_.put(manifest, cut);
  }

  std::string migration_;
};

TEST_F(CutRestore, StandsInTheWayOfAMigrationUntilItIsEnded) {
  const auto before = states();
  const ToolResult refused = run("migrate");
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("the restore that kept the backup " + backup() +
                             " did not end as was meant; nothing was changed; put it back with: "
                             "accountsettings restore --root " +
                             root_.path() + " " + backup()),
            std::string::npos)
      << refused.err;
  EXPECT_EQ(states(), before);
  EXPECT_NE(run("restore", {"--list"}).out.find("WHICH WAS CUT SHORT"), std::string::npos);
  ASSERT_EQ(run("restore", {migration_}).status, 0);
  EXPECT_EQ(run("migrate").status, 0);
}

TEST_F(Restore, TheFileThatAKilledRestoreWroteIsToldAndGoesWithTheNext) {
  root_.putSettings(9, {mailAccount(kAccount)});
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(run("migrate", {"--accept-loss"}).status, 0);
  // The place in which the bytes lie until they take their name.
  const auto manifest = root_.get(kBackups + ("/" + backup()) + "/manifest.plist");
  std::vector<std::string> halfWritten;
  for (const PropertyList& each : manifest->dictionary()->arrayOrEmpty("Files")) {
    const auto sum = each.dictionary()->string("SHA-256");
    if (!sum) continue;
    const fs::path place = std::string(*each.dictionary()->string("Path"));
    halfWritten.push_back(place.parent_path() / LinuxFiles::temporaryNameFor(*sum));
    root_.putText(halfWritten.back(), "half of it");
  }
  ASSERT_EQ(halfWritten.size(), 2U);
  const std::string found = run("check").out;
  for (const std::string& each : halfWritten) {
    EXPECT_NE(found.find(each), std::string::npos) << each << "\n" << found;
  }
  ASSERT_EQ(run("restore").status, 0);
  for (const std::string& each : halfWritten) EXPECT_FALSE(fs::exists(root_.at(each))) << each;
}

TEST_F(Restore, TheTemporaryFilesOfAnotherBackupsRestoreGoToo) {
  root_.putSettings(9, {mailAccount(kAccount)});
  ASSERT_EQ(run("migrate").status, 0);
  const std::string first = backup();
  root_.putSettings(10, {mailAccount("B")});
  ASSERT_EQ(run("migrate").status, 0);
  const auto manifest = root_.get(kBackups + ("/" + first) + "/manifest.plist");
  const Dictionary settings = *(*manifest->dictionary()->array("Files"))[0].dictionary();
  const std::string half = fs::path(ToolRoot::kSettings).parent_path() /
                           LinuxFiles::temporaryNameFor(*settings.string("SHA-256"));
  root_.putText(half, "half of it");
  ASSERT_EQ(run("restore").status, 0);
  EXPECT_FALSE(fs::exists(root_.at(half)));
}

TEST_F(ForeignManifest, SaysWhereWhatWasPutBackCannotBeRead) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  constexpr unsigned kUser = 12345;
  change("Mode", 0);
  change("Owner", kUser);
  change("Group", kUser);
  for (const auto& entry : fs::recursive_directory_iterator(root_.path())) {
    ASSERT_EQ(::lchown(entry.path().c_str(), kUser, kUser), 0);
  }
  ASSERT_EQ(::lchown(root_.path().c_str(), kUser, kUser), 0);
  const ToolResult result = ToolRun({"restore", "--root", root_.path()}).asUser(kUser).run();
  EXPECT_EQ(result.status, 4) << result.err;
  EXPECT_NE(result.err.find("everything was put back, but cannot be read to see whether it is "
                            "there: " +
                            root_.settingsPath() + ": Permission denied"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(result.err.find("nothing was changed"), std::string::npos);
  EXPECT_EQ(fs::status(root_.settingsPath()).permissions(), fs::perms::none);
}

TEST_F(Restore, ShowsWhetherABackupIsWhole) {
  root_.putSettings(9, {mailAccount(kAccount)});
  ASSERT_EQ(run("migrate").status, 0);
  const auto before = root_.snapshot();
  const ToolResult whole = run("restore", {"--show"});
  EXPECT_EQ(whole.status, 0);
  EXPECT_EQ(whole.out.find("Backup " + backup() + " of " + root_.path() + ":\n  whole     " +
                           ToolRoot::kSettings + "\n"),
            0U)
      << whole.out;
  EXPECT_NE(whole.out.find(std::string("  absent    ") + kWatched[1] + "\n"), std::string::npos);
  EXPECT_EQ(schemaErrors("backup.schema.json", run("restore", {"--show", "--json"}).out), "");
  EXPECT_EQ(root_.snapshot(), before);
  const std::string directory = root_.at(kBackups) + "/" + backup();
  EXPECT_EQ(runTool({"check", directory}).status, 0);

  std::ofstream(inBackup("settings-com.zelqo.accountsettings.plist"), std::ios::app) << "x";
  const ToolResult damaged = run("restore", {"--show"});
  EXPECT_EQ(damaged.status, 1);
  EXPECT_NE(damaged.out.find(std::string("  DAMAGED   ") + ToolRoot::kSettings + "\n"),
            std::string::npos);
  EXPECT_NE(damaged.out.find("1 file is damaged: it cannot be put back."), std::string::npos);
  EXPECT_EQ(schemaErrors("backup.schema.json", run("restore", {"--show", "--json"}).out), "");
  const ToolResult check = runTool({"check", directory});
  EXPECT_EQ(check.status, 3);
  EXPECT_NE(check.out.find("its sum is not the one in the manifest"), std::string::npos)
      << check.out;
}

TEST_F(Restore, CheckVerifiesTheOtherFilesOfABackupToo) {
  root_.putSettings(12, {mailAccount(kAccount)});
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.putText("/var/mobile/Library/Mail/Accounts.plist.original", "older");
  ASSERT_EQ(run("migrate", {"--accept-loss"}).status, 0);
  const std::string directory = root_.at(kBackups) + "/" + backup();
  fs::remove(inBackup("legacy-mail-original-Accounts.plist.original"));
  const ToolResult check = runTool({"check", directory});
  EXPECT_EQ(check.status, 3);
  EXPECT_NE(check.out.find("The kept file cannot be put back: "), std::string::npos) << check.out;
}

// MARK: History

class History : public Restore {
 protected:
  [[nodiscard]] std::string path() const { return kBackups + std::string("/history"); }

  // The entries, oldest first.
  [[nodiscard]] Array entries() {
    const ToolResult result = run("history", {"--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(schemaErrors("history.schema.json", result.out), "");
    return documentIn(result.out).arrayOrEmpty("entries");
  }
};

TEST_F(History, TellsWhatWasDoneByWhomAndHowToUndoIt) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  const std::string migration = backup();
  ASSERT_EQ(run("set", {"A", "Password", "hidden-from-everybody"}).status, 0);
  const std::string edit = backup();
  ASSERT_EQ(run("restore", {migration}).status, 0);
  const std::string restored = backup();
  ASSERT_EQ(run("restore", {"--prune", migration}).status, 0);

  const Array all = entries();
  ASSERT_EQ(all.size(), 4U);
  const auto at = [&](std::size_t i) { return *all[i].dictionary(); };
  for (const PropertyList& each : all) {
    EXPECT_EQ(each.dictionary()->integer("uid"), ::geteuid());
    EXPECT_EQ(each.dictionary()->get("toolVersion"), PropertyList(AS_VERSION));
    EXPECT_TRUE(each.dictionary()->find("time")->dateSeconds().has_value());
  }
  EXPECT_EQ(at(0).get("command"), PropertyList("migrate"));
  EXPECT_EQ(at(0).get("fromVersion"), PropertyList(9));
  EXPECT_EQ(at(0).get("toVersion"), PropertyList(12));
  EXPECT_EQ(at(0).get("backup"), PropertyList(migration));
  EXPECT_EQ(at(0).get("outcome"), PropertyList("done"));
  EXPECT_EQ(at(1).get("command"), PropertyList("set"));
  EXPECT_EQ(at(1).get("account"), PropertyList("A"));
  EXPECT_EQ(at(1).get("keys"), PropertyList(Array{"Password"}));
  EXPECT_EQ(at(1).get("backup"), PropertyList(edit));
  EXPECT_EQ(at(2).get("restored"), PropertyList(migration));
  EXPECT_EQ(at(2).get("backup"), PropertyList(restored));
  EXPECT_EQ(at(3).get("pruned"), PropertyList(Array{migration}));
  EXPECT_EQ(stateOf(root_.at(path())).find("hidden-from-everybody"), std::string::npos);

  const std::string out = run("history").out;
  EXPECT_EQ(out.find("What was done to " + root_.path() + ":\n"), 0U) << out;
  EXPECT_NE(out.find("Z  by "), std::string::npos) << out;
  EXPECT_NE(out.find("  migrate from version 9 to 12, 3 steps, done\n"), std::string::npos) << out;
  EXPECT_NE(out.find("  set A: Password\n"), std::string::npos) << out;
  EXPECT_NE(out.find("undo with: accountsettings restore --root " + root_.path() + " " + restored),
            std::string::npos);
  EXPECT_EQ(out.find("undo with: accountsettings restore --root " + root_.path() + " " + migration +
                     "\n"),
            std::string::npos)
      << "that backup is gone";
}

TEST_F(History, OfARemovedAccountNamesTheKeysWhenAsked) {
  root_.putSettings(12, {mailAccount("A"), mailAccount("B")});
  ASSERT_EQ(run("remove", {"A"}).status, 0);
  const auto keys = std::to_string(mailAccount("A").size()) + " keys";
  EXPECT_NE(run("history").out.find("  remove A: " + keys + "\n"), std::string::npos)
      << run("history").out;
  const std::string all = run("history", {"-v"}).out;
  EXPECT_NE(all.find("  remove A: "), std::string::npos);
  EXPECT_NE(all.find("Username"), std::string::npos) << all;

  const std::string folded = run("history", {"A"}).out;
  EXPECT_NE(folded.find("    " + keys + " went with it; see accountsettings history --root " +
                        root_.path() + " A -v\n"),
            std::string::npos)
      << folded;
  EXPECT_NE(run("history", {"A", "-v"}).out.find("    - Username: \"user-A\"\n"), std::string::npos)
      << run("history", {"A", "-v"}).out;
  EXPECT_NE(run("history", {"A", "Username"}).out.find("    - Username: \"user-A\"\n"),
            std::string::npos);
}

TEST_F(History, TellsNothingOfWhatChangedNothing) {
  root_.putSettings(12, {mailAccount("A")});
  ASSERT_EQ(run("set", {"A", "X", "1"}).status, 0);
  const auto before = root_.snapshot();
  ASSERT_EQ(run("set", {"A", "X", "1"}).status, 0);
  ASSERT_EQ(run("set", {"A", "X", "2", "--dry-run"}).status, 0);
  ASSERT_EQ(run("migrate").status, 0);
  ASSERT_EQ(run("migrate", {"--dry-run"}).status, 0);
  ASSERT_EQ(run("restore", {"--prune"}).status, 0);
  EXPECT_EQ(run("restore", {"2020-01-01-00-00-00"}).status, 3);
  EXPECT_EQ(entries().size(), 1U);
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(History, ATornLineIsToldAndNothingAfterItIsLost) {
  root_.putSettings(12, {mailAccount("A")});
  ASSERT_EQ(run("set", {"A", "X", "1"}).status, 0);
  std::ofstream(root_.at(path()), std::ios::app) << "{\"command\":\"se";
  ASSERT_EQ(run("set", {"A", "X", "2"}).status, 0);
  EXPECT_EQ(entries().size(), 2U);
  EXPECT_NE(run("history").out.find("1 line of " + root_.at(path()) + " cannot be read."),
            std::string::npos);
}

TEST_F(History, OfMuchTheOldestGoes) {
  root_.putSettings(12, {mailAccount("A")});
  ASSERT_EQ(run("set", {"A", "X", "1"}).status, 0);
  std::ofstream stream(root_.at(path()), std::ios::app);
  for (int i = 0; i < 30'000; ++i) stream << "{\"command\":\"set\",\"toolVersion\":\"0\"}\n";
  stream.close();
  ASSERT_EQ(run("set", {"A", "X", "2"}).status, 0);
  EXPECT_LE(fs::file_size(root_.at(path())), 1U << 20);
  EXPECT_GT(fs::file_size(root_.at(path())), (1U << 20) - 1000);
  const Array all = documentIn(run("history", {"--json"}).out).arrayOrEmpty("entries");
  const Dictionary last = *all[all.size() - 1].dictionary();
  EXPECT_EQ(last.get("toolVersion"), PropertyList(AS_VERSION));
}

TEST_F(History, NoTextInItDrivesATerminal) {
  const std::string hostile = "\x1b[31m\u202e\n";
  root_.putSettings(12, {mailAccount("A" + hostile)});
  ASSERT_EQ(run("set", {"A" + hostile, "Key" + hostile, "1"}).status, 0);
  for (const std::string& text :
       {run("history").out, run("history", {"--json"}).out, stateOf(root_.at(path()))}) {
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
    EXPECT_EQ(text.find("\u202e"), std::string::npos) << text;
  }
  EXPECT_EQ(entries()[0].dictionary()->get("account"), PropertyList("A" + hostile));
}

TEST_F(History, ALinkInItsPlaceIsNotFollowed) {
  root_.putSettings(12, {mailAccount("A")});
  fs::create_directories(root_.at("/var/mobile/Library/Logs"));
  fs::create_directories(root_.at("/elsewhere"));
  fs::create_symlink("/elsewhere", root_.at(kBackups));
  EXPECT_EQ(run("set", {"A", "X", "1"}).status, 3) << "what is replaced cannot be kept";
  const ToolResult result = run("set", {"A", "X", "1", "--no-backup"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("the history does not tell of this: "), std::string::npos)
      << result.err;
  EXPECT_TRUE(fs::is_empty(root_.at("/elsewhere")));
}

// MARK: Pruning

TEST_F(Restore, TheLogTellsWhoBeganWhatAndHowItEnded) {
  root_.putSettings(9, {mailAccount("A")});
  const std::string log = root_.at("/log");
  const auto lines = [&] {
    std::ifstream file(log);
    std::vector<std::string> told;
    for (std::string line; std::getline(file, line);) {
      // Those of the host and the command.
      const std::string level = " host [" + fs::canonical(root_.path()).string() + "] ";
      const std::size_t at = line.find(level);
      if (at != std::string::npos) told.push_back(line.substr(at + level.size()));
    }
    fs::remove(log);
    return told;
  };
  const std::string who = " (" + std::to_string(::geteuid()) + ")";
  ASSERT_EQ(run("migrate", {"--log", log}).status, 0);
  std::vector<std::string> told = lines();
  ASSERT_GE(told.size(), 2U);
  EXPECT_TRUE(told.front().starts_with("migrate: begun by ")) << told.front();
  EXPECT_TRUE(told.front().ends_with(who)) << told.front();
  EXPECT_EQ(told.back(),
            "migrate: ended: done, from version 9 to 12; what was there is backup " + backup());

  const std::string migration = backup();
  ASSERT_EQ(run("restore", {"--log", log}).status, 0);
  told = lines();
  ASSERT_GE(told.size(), 2U);
  EXPECT_TRUE(told.front().starts_with("restore: begun by ")) << told.front();
  EXPECT_EQ(told.back(), "restore: ended: 2 files of backup " + migration +
                             " put back; what was there is backup " + backup());

  root_.putText(ToolRoot::kSettings, "damaged");
  ASSERT_EQ(run("migrate", {"--log", log}).status, 3);
  EXPECT_TRUE(lines().back().starts_with("migrate: ended: refused, "));
  ASSERT_EQ(run("migrate", {"--dry-run", "--log", log}).status, 3);
  for (const std::string& each : lines()) EXPECT_FALSE(each.starts_with("migrate:")) << each;
}

class Prune : public Restore {
 protected:
  // Migrations that kept backups: one of version 9, and `count` of version 10.
  void migrateOverAndOver(int count) {
    root_.putSettings(9, {mailAccount(kAccount)});
    ASSERT_EQ(run("migrate").status, 0);
    for (int i = 0; i < count; ++i) {
      root_.putSettings(10, {mailAccount("A" + std::to_string(i))});
      ASSERT_EQ(run("migrate", {"--keep", "100"}).status, 0);
    }
  }
};

TEST_F(Prune, LeavesTheNewestAndTheOldestOfEachVersion) {
  migrateOverAndOver(5);
  const std::vector<std::string> all = backups();
  ASSERT_EQ(all.size(), 6U);
  const auto before = root_.snapshot();
  const ToolResult rehearsal = run("restore", {"--prune", "--keep", "2", "--dry-run"});
  EXPECT_EQ(rehearsal.status, 0);
  EXPECT_EQ(rehearsal.out,
            "Would remove backup " + all[3] + "\nWould remove backup " + all[2] + "\n");
  EXPECT_EQ(root_.snapshot(), before);
  // The lock's file stays where something was done, as the system leaves it, and else goes.
  fs::remove(root_.at(ToolRoot::kLock));
  const ToolResult result = run("restore", {"--prune", "--keep", "2"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(fs::remove(root_.at(ToolRoot::kLock)));
  EXPECT_EQ(result.out, "Removed backup " + all[3] + "\nRemoved backup " + all[2] + "\n");
  EXPECT_EQ(backups(), (std::vector<std::string>{all[0], all[1], all[4], all[5]}));
  EXPECT_EQ(run("restore", {"--prune", "--keep", "2"}).out, "There is no backup to remove.\n");
  EXPECT_FALSE(fs::exists(root_.at(ToolRoot::kLock)));
  EXPECT_NE(run("restore", {"--list"})
                .out.find(all[0] +
                          "  from version 9, 3 steps (9A182 to 9B176), 1 file kept; stays as the "
                          "oldest of its version\n"),
            std::string::npos);
}

TEST_F(Prune, WhereNothingIsToBePutBackTheBackupBeforeItIsTheWayFurtherBack) {
  migrateOverAndOver(2);
  const std::vector<std::string> all = backups();
  const auto secondRestoreOf = [&](const std::string& name) {
    EXPECT_EQ(run("restore", {name}).status, 0);
    return run("restore", {name}).out;
  };
  const auto wayTo = [&](const std::string& name) {
    return "accountsettings restore --root " + root_.path() + " " + name + "\n";
  };
  const std::string text = secondRestoreOf(all[2]);
  EXPECT_NE(text.find("To go further back"), std::string::npos) << text;
  EXPECT_NE(text.find(wayTo(all[1])), std::string::npos) << text;
  EXPECT_EQ(secondRestoreOf(all[0]).find("To go further back"), std::string::npos);
}

TEST_F(Prune, WaitsForAMigrationUnderWayUnlessItOnlyRehearses) {
  migrateOverAndOver(3);
  const std::size_t all = backups().size();
  root_.putText(ToolRoot::kLock, "");
  const int lock = ::open(root_.at(ToolRoot::kLock).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  EXPECT_EQ(run("restore", {"--prune", "--keep", "1", "--dry-run"}).status, 0);
  auto pruning = std::async(std::launch::async, [&] {
    return run("restore", {"--prune", "--keep", "1"});
  });
  EXPECT_EQ(pruning.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  EXPECT_EQ(backups().size(), all);
  ::close(lock);
  EXPECT_EQ(pruning.get().status, 0);
  EXPECT_LT(backups().size(), all);
}

TEST_F(Prune, RemovesANamedBackupWhateverItIs) {
  migrateOverAndOver(1);
  const std::vector<std::string> all = backups();
  EXPECT_EQ(run("restore", {"--prune", all[0]}).out, "Removed backup " + all[0] + "\n");
  EXPECT_EQ(backups(), (std::vector<std::string>{all[1]}));
  const ToolResult gone = run("restore", {"--prune", all[0]});
  EXPECT_EQ(gone.status, 3);
  EXPECT_NE(gone.err.find("there is no such backup any more: it was pruned by "), std::string::npos)
      << gone.err;
}

TEST_F(Prune, NamesOnThisMachineWhatStandsAgainstIt) {
  migrateOverAndOver(0);
  const std::string foreign = kBackups + ("/" + backups().front()) + "/foreign";
  root_.putText(foreign, "x");
  const ToolResult refused = run("restore", {"--prune", backups().front()});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find(root_.at(foreign) + ": it is none of a backup's files"),
            std::string::npos)
      << refused.err;
  fs::remove_all(root_.at(kBackups));
  fs::create_directory_symlink(root_.at("/tmp"), root_.at(kBackups));
  const ToolResult link = run("restore", {"--list"});
  EXPECT_EQ(link.status, 3);
  EXPECT_NE(link.err.find(root_.at(kBackups) + ": it must be a directory, and no link to one"),
            std::string::npos)
      << link.err;
}

TEST_F(CutRestore, ItsBackupIsTheWayBackAndIsNotPruned) {
  const std::vector<std::string> all = backups();
  const ToolResult named = run("restore", {"--prune", backup()});
  EXPECT_EQ(named.status, 3);
  EXPECT_NE(named.err.find("the run that kept it did not come to a good end; nothing was removed"),
            std::string::npos)
      << named.err;
  EXPECT_EQ(run("restore", {"--prune", "--keep", "1"}).status, 0);
  EXPECT_EQ(backups(), all);
}

TEST_F(Prune, OneThatFailsHalfWayIsInTheHistory) {
  migrateOverAndOver(4);
  const std::vector<std::string> all = backups();
  // Of those that go the newest goes first.
  root_.putText(kBackups + ("/" + all[2]) + "/foreign", "not a backup's");
  const ToolResult result = run("restore", {"--prune", "--keep", "1"});
  EXPECT_EQ(result.status, 4);
  const Array told = documentIn(run("history", {"--json"}).out).arrayOrEmpty("entries");
  EXPECT_EQ(told[told.size() - 1].dictionary()->get("pruned"), PropertyList(Array{all[3]}));
}

TEST_F(Prune, OfANamedBackupRemovesNoOther) {
  migrateOverAndOver(1);
  const std::string halfMade = kBackups + std::string("/2020-01-01-00-00-00");
  fs::create_directory(root_.at(halfMade));
  ASSERT_EQ(run("restore", {"--prune", backups().back()}).status, 0);
  EXPECT_TRUE(fs::exists(root_.at(halfMade)));
  EXPECT_EQ(run("restore", {"--prune"}).out, "Removed backup 2020-01-01-00-00-00\n");
}

TEST_F(Restore, DoesOneThingAtATime) {
  for (const std::vector<std::string>& each : {std::vector<std::string>{"--list", "--prune"},
                                               {"--show", "--prune"},
                                               {"--list", "--show"}}) {
    const ToolResult result = run("restore", each);
    EXPECT_EQ(result.status, 2) << each[0];
    EXPECT_NE(result.err.find("of --list, --show and --prune one alone is possible"),
              std::string::npos);
  }
}

TEST_F(Restore, OneThatWasCutShortIsInTheHistory) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  ASSERT_EQ(run("migrate").status, 0);
  fs::create_directories(root_.at(ToolRoot::kLegacyExchange) + "/in the way");
  ASSERT_EQ(run("restore").status, 4);
  const Array told = documentIn(run("history", {"--json"}).out).arrayOrEmpty("entries");
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[1].dictionary()->get("command"), PropertyList("restore"));
  EXPECT_EQ(told[1].dictionary()->get("outcome"), PropertyList("broken"));
  EXPECT_EQ(told[1].dictionary()->get("backup"), PropertyList(backup()));
}

TEST_F(Restore, PutsTheNewestBackWhenItsTurnComes) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  const std::string first = backup();
  const int lock = ::open(root_.at(ToolRoot::kLock).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  auto restored = std::async(std::launch::async, [&] { return run("restore"); });
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  // Whoever holds the lock keeps another.
  const std::string later = "2999-01-01-00-00-00";
  fs::copy(root_.at(kBackups) + "/" + first, root_.at(kBackups) + "/" + later);
  ::close(lock);
  const ToolResult result = restored.get();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("Put back backup " + later), 0U) << result.out;
}

TEST_F(Restore, HistoryTellsVersionsAndSteps) {
  root_.putSettings(9, {mailAccount("A")});
  root_.put("/var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
            Dictionary{{"RSSaveMigrationInformation", true}});
  ASSERT_EQ(run("migrate").status, 0);
  const ToolResult result = run("history");
  EXPECT_NE(result.out.find("Backups, and what was done when each was kept:\n  " + backup() +
                            "  from version 9, 3 steps (9A182 to 9B176), 1 file kept\nRecords in "),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("  from version 9, by the migration of backup " + backup() + "\n"),
            std::string::npos)
      << result.out;
  const ToolResult scripts = run("history", {"--json"});
  EXPECT_EQ(schemaErrors("history.schema.json", scripts.out), "");
  const Array records = documentIn(scripts.out).arrayOrEmpty("records");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].dictionary()->get("backup"), PropertyList(backup()));
}

TEST_F(Restore, TheJsonFollowsTheSchemas) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  fs::create_directory(root_.at(kBackups) + "/2020-01-01-00-00-00");
  EXPECT_EQ(schemaErrors("history.schema.json", run("history", {"--json"}).out), "");
  EXPECT_EQ(schemaErrors("backups.schema.json", run("restore", {"--list", "--json"}).out), "");
  EXPECT_EQ(schemaErrors("restore.schema.json", run("restore", {"--json"}).out), "");
  EXPECT_EQ(schemaErrors("backups.schema.json", run("restore", {"--list", "--json"}).out), "");
  EXPECT_EQ(schemaErrors("prune.schema.json", run("restore", {"--prune", "--json"}).out), "");
}

}  // namespace
}  // namespace accountsettings::testing
