// Tests that no text of a device, whichever file it stands in, reaches a terminal as it stands.
#include <gtest/gtest.h>

#include <filesystem>

#include "plist/Text.h"
#include "plist/Visible.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

// Escape sequences of both kinds, turns of the writing direction, line breaks.
const std::string kHostile = "\x1b]0;x\x07\u009b31m\u202egnp.\u2066\nError: x\r\t\x7f\u2028";

// The device path of the home that the hostile configuration names.
const std::string kHome = "/var/" + kHostile;

Dictionary hostileAccount(const std::string& identifier, const std::string& type) {
  return {{"Identifier", identifier},
          {"Type", type},
          {"Class", kHostile},
          {"DisplayName", kHostile},
          {"Username", kHostile},
          {"Short Type String", kHostile},
          {"Enabled Dataclasses", Array{kHostile}},
          {"Provisioned Dataclasses", Array{kHostile}},
          {kHostile, Dictionary{{kHostile, kHostile}}}};
}

Dictionary hostileSettings(std::int64_t version) {
  Dictionary parent = hostileAccount("parent" + kHostile, "IMAP");
  parent.set("ChildAccounts", Array{hostileAccount("child" + kHostile, kHostile), kHostile});
  return {{"Version", version},
          {kHostile, kHostile},
          {"Accounts", Array{parent, hostileAccount("plain", "CalDAV"),
                             hostileAccount("plain", "CalDAV"), hostileAccount(kHostile, kHostile),
                             hostileAccount("mail" + kHostile, "Mail"), kHostile}}};
}

// A root whose every string is hostile: accounts, keys, names of files, the host's configuration.
class HostileTexts : public ::testing::Test {
 protected:
  HostileTexts() {
    for (const char* each : {"/Library/Preferences", "/Library/Mail",
                             "/Library/Logs/CrashReporter/AccountMigration"}) {
      fs::create_directories(root_.at(kHome + each));
    }
    root_.put("/etc/accountsettings/host.plist",
              Dictionary{{"HomeDirectory", kHome}, {"MailDataDirectory", kHome + "/Library/Mail"}});
    root_.put(
        kHome + "/Library/Logs/CrashReporter/AccountMigration/AccountMigrationInformation-" + "x",
        Dictionary{{"OldAccountSettings", hostileSettings(3)}});
    putSettings(7);
  }

  void putSettings(std::int64_t version) {
    root_.put(kHome + "/Library/Preferences/com.zelqo.accountsettings.plist",
              hostileSettings(version));
  }

  void putLegacyFiles() {
    Dictionary description{{"uniqueId", kHostile},
                           {"AccountType", kHostile},
                           {"AccountName", kHostile},
                           {kHostile, kHostile}};
    root_.put(kHome + "/Library/Mail/Accounts.plist",
              Dictionary{{"MailAccounts", Array{description, kHostile}}, {kHostile, kHostile}});
    root_.put(
        kHome + "/Library/Preferences/com.zelqo.DataAccess.plist",
        Dictionary{{"DAAccountsKey", Array{Dictionary{{"DAAccountConfigurationAccountID", kHostile},
                                                      {"DAAccountDescription", kHostile}}}}});
  }

  // Runs the command as text and as JSON, and holds everything that it says to visible characters.
  void hold(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--root", root_.path(), "--log", "-"});
    holdResult(runTool(arguments), arguments.front());
    arguments.emplace_back("--json");
    holdResult(runTool(arguments), arguments.front() + " --json");
  }

  static void holdResult(const ToolResult& result, const std::string& what) {
    EXPECT_EQ(result.signal, 0) << what;
    EXPECT_FALSE((result.out + result.err).empty()) << what;
    holdText(result.out, what + ", standard output");
    holdText(result.err, what + ", standard error");
  }

  static void holdText(std::string_view text, const std::string& what) {
    const std::string whole(text);
    for (std::size_t at = 0; !text.empty();) {
      const detail::CodePoint first = detail::firstCodePoint(text);
      ASSERT_GT(first.length, 0U) << what << ", byte " << at << ": " << visible(whole);
      ASSERT_TRUE(first.value == '\n' || isVisible(first.value))
          << what << ", byte " << at << ": " << visible(whole);
      text.remove_prefix(first.length);
      at += first.length;
    }
  }

  ToolRoot root_;
};

TEST_F(HostileTexts, CommandsThatLook) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"show"},
        {"show", "--table"},
        {"show", "--all"},
        {"show", "--type", kHostile},
        {"check"},
        {"plan"},
        {"history"},
        {"history", kHostile},
        {"why", kHostile},
        {"why", "parent" + kHostile},
        {"why", "child" + kHostile},
        {"restore", "--list"},
        {"migrate", "--dry-run", "--verbose"},
        {"diff", root_.path(), root_.at("/tmp")},
        {"get", kHostile},
        {"plist", root_.at(kHome + "/Library/Preferences/com.zelqo.accountsettings.plist")}}) {
    hold(command);
  }
}

TEST_F(HostileTexts, LegacyFiles) {
  putLegacyFiles();
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"show", "--all"},
        {"check"},
        {"plan"},
        {"migrate", "-n", "-v"},
        {"why", kHostile},
        {"why", kHome + "/Library/Mail/Accounts.plist"}}) {
    hold(command);
  }
}

TEST_F(HostileTexts, ReportsAndTheirFiles) {
  const std::string out = root_.at("/tmp/report" + kHostile);
  hold({"report", "--out", out});
  hold({"plan", "--out", out});
  hold({"migrate", "--dry-run", "--plan", out});
}

TEST_F(HostileTexts, MigrationsAndRestores) {
  hold({"migrate", "--verbose"});
  holdResult(
      runTool({"migrate", "--verbose", "--accept-loss", "--root", root_.path(), "--log", "-"}),
      "migrate");
  hold({"history"});
  hold({"history", "mail" + kHostile});
  hold({"why", kHostile});
  hold({"restore", "--list"});
  hold({"restore", "--dry-run"});
  hold({"restore"});
}

TEST_F(HostileTexts, Edits) {
  putSettings(12);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"set", "plain", kHostile, kHostile},
        {"set", "plain", kHostile, kHostile, "--dry-run", "--accept-loss"},
        {"set", "parent" + kHostile, "DisplayName", kHostile + "2", "--accept-loss"},
        {"set", "plain", "Type", kHostile, "--accept-loss"},
        {"enable", "plain", kHostile},
        {"disable", "parent" + kHostile, "Mail", "--accept-loss"},
        {"add", kHostile, kHostile, "--accept-loss"},
        {"add", "Mail", kHostile, "--accept-loss"},
        {"get", "plain"},
        {"remove", "child" + kHostile, "--accept-loss"},
        {"remove", kHostile, "--accept-loss"}}) {
    hold(command);
  }
}

}  // namespace
}  // namespace accountsettings::testing
