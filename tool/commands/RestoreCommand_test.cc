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

  [[nodiscard]] std::string backup() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(root_.at(kBackups))) {
      names.push_back(entry.path().filename());
    }
    return *std::max_element(names.begin(), names.end());
  }

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
  const ToolResult again = run("restore");
  EXPECT_EQ(again.status, 0);
  EXPECT_NE(again.out.find("8 files are as they were"), std::string::npos) << again.out;
}

TEST_F(Restore, ADryRunTouchesNothing) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  const auto before = root_.snapshot();
  const ToolResult result = run("restore", {"--dry-run"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Would put back backup " + backup() + ":\n  restored  " +
                            root_.settingsPath() + "\n  removed   " + root_.at(kWatched[1]) +
                            "\n  6 files are as they were\nNothing was touched.\n");
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

  // The manifest with a changed value in its entry of the settings file.
  void change(std::string_view key, PropertyList value) {
    Array files = *manifest_.array("Files");
    Dictionary file = *files[0].dictionary();
    file.set(key, std::move(value));
    files.set(0, file);
    Dictionary changed = manifest_;
    changed.set("Files", files);
    root_.put(manifestPath(), changed);
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
                            ": there is no backup that could be put back; check --root; only "
                            "'migrate' makes backups\n");
  EXPECT_EQ(run("restore", {"2020-01-01-00-00-00"}).status, 3);
  EXPECT_EQ(run("restore", {"--list"}).status, 0);
  EXPECT_EQ(run("history").out,
            "No migration of " + root_.path() + " left a backup or a record.\n");
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Restore, RemovesNothingBeforeEverythingIsWritten) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(run("migrate").status, 0);
  const auto before = states();
  const ToolResult result =
      ToolRun({"restore", "--root", root_.path()}).withFileSizeLimit(64).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_TRUE(result.err.ends_with(": File too large; nothing was changed\n")) << result.err;
  EXPECT_EQ(states(), before) << "the settings are all that holds the accounts";
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
                  .out.starts_with("Would put back backup 2020-01-01-00-00-00-10:\n"));
}

TEST_F(Restore, AFullDiskLeavesEachFileWhole) {
  root_.putSettings(9, {});
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(run("migrate", {"--accept-loss"}).status, 0);
  const auto before = states();
  // Room for the old settings, but not for the legacy file.
  const ToolResult result =
      ToolRun({"restore", "--root", root_.path()}).withFileSizeLimit(1024).run();
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.status, 4) << result.err;
  EXPECT_NE(result.err.find("run the same restore again"), std::string::npos) << result.err;
  EXPECT_EQ(states().at(ToolRoot::kLegacyMail), before.at(ToolRoot::kLegacyMail));
  EXPECT_EQ(run("restore").status, 0);
  EXPECT_EQ(root_.get(ToolRoot::kLegacyMail), PropertyList(sampleLegacyMail()));
}

TEST_F(Restore, HistoryTellsVersionsAndSteps) {
  root_.putSettings(9, {mailAccount("A")});
  root_.put("/var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
            Dictionary{{"RSSaveMigrationInformation", true}});
  ASSERT_EQ(run("migrate").status, 0);
  const ToolResult result = run("history");
  EXPECT_EQ(result.out.find("Migrations, from their backups:\n  " + backup() +
                            "  from version 9, 3 steps (9A182 to 9B176), 1 file kept\nRecords in "),
            0U)
      << result.out;
  EXPECT_NE(result.out.find("  from version 9\n"), std::string::npos) << result.out;
}

TEST_F(Restore, TheJsonFollowsTheSchemas) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run("migrate").status, 0);
  fs::create_directory(root_.at(kBackups) + "/2020-01-01-00-00-00");
  EXPECT_EQ(schemaErrors("history.schema.json", run("history", {"--json"}).out), "");
  EXPECT_EQ(schemaErrors("backups.schema.json", run("restore", {"--list", "--json"}).out), "");
  EXPECT_EQ(schemaErrors("restore.schema.json", run("restore", {"--json"}).out), "");
}

}  // namespace
}  // namespace accountsettings::testing
