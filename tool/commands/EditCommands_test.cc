// Tests of the commands that read and edit accounts, run as processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <thread>

#include "plist/XmlWriter.h"
#include "testing/ChangedKey.h"
#include "testing/ToolRun.h"
#include "tool/frame/Options.h"

namespace accountsettings::testing {
namespace {

using testing::with;

using namespace std::chrono_literals;

Dictionary child(std::string_view identifier) {
  return {{"Identifier", identifier},
          {"Sync Identifier", identifier},
          {"Type", "CalDAV"},
          {"Class", "MobileCalDAVAccount"},
          {"X-Blob", PropertyList::data(Bytes{0, 1, 0xFE})}};
}

// Settings of version 12: two mail accounts and a cloud account P with the children C and D.
class Edit : public ::testing::Test {
 protected:
  Edit() {
    Dictionary cloud = {{"Identifier", "P"},
                        {"Type", "ZelqoAccount"},
                        {"Class", "ZQAccount"},
                        {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Calendars"}},
                        {"ChildAccounts", Array{child("C"), child("D")}},
                        {"X-Real", 0.1}};
    root.putSettings(12, {mailAccount("A"), mailAccount("B"), cloud});
  }

  ToolResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--root", root.path()});
    return runTool(std::move(arguments));
  }

  // The command refuses with this status and message, the commands in which are those for the root,
  // and nothing was touched.
  void expectRefused(std::vector<std::string> arguments, int status, const std::string& message) {
    const auto before = root.snapshot();
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, status) << result.out;
    CommonOptions options;
    options.root = root.path();
    EXPECT_EQ(result.err, "accountsettings: " + adviceWithRoot(options, message) + "\n");
    EXPECT_EQ(root.snapshot(), before);
  }

  // The names of the backups, oldest first.
  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    if (!std::filesystem::exists(root.at(kBackups))) return names;
    for (const auto& each : std::filesystem::directory_iterator(root.at(kBackups))) {
      if (each.is_directory()) names.push_back(each.path().filename());
    }
    // The tenth of a second has a longer name than the second one.
    constexpr std::size_t kDate = 19;
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
      const int order = left.compare(0, kDate, right, 0, kDate);
      return order != 0 ? order < 0 : std::pair(left.size(), left) < std::pair(right.size(), right);
    });
    return names;
  }
  static constexpr const char* kBackups = "/var/mobile/Library/Logs/AccountMigrationBackups";

  [[nodiscard]] Array accounts() const { return *root.settings().array("Accounts"); }
  [[nodiscard]] Array children() const { return *root.account(2).array("ChildAccounts"); }

  ToolRoot root;
};

std::string fileAt(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(Edit, SetStoresAStringAndLeavesEverythingElseAsItWas) {
  const Array before = accounts();
  const ToolResult result = run({"set", "A", "DisplayName", "Work"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "~ Mail \"Work\"  A\n    ~ DisplayName: \"Mail of A\" -> \"Work\"\nSaved " +
                            root.settingsPath() + ".\nWhat was there before is backup " +
                            backups().back() + "; undo with: accountsettings restore --root " +
                            root.path() + " " + backups().back() + "\n");
  Array expected = before;
  expected.set(0, with(mailAccount("A"), "DisplayName", "Work"));
  EXPECT_EQ(accounts(), expected);
  EXPECT_EQ(root.settings().get("Version"), PropertyList(12));
  struct stat status {};
  ::stat(root.settingsPath().c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Edit, SetStoresEveryTypeOfValue) {
  const auto stored = [&](const std::string& value, const std::string& type) {
    const ToolResult result = run({"set", "A", "X", value, "--type", type});
    EXPECT_EQ(result.status, 0) << result.err;
    return root.account(0).get("X");
  };
  EXPECT_EQ(stored("12", "string"), PropertyList("12"));
  EXPECT_EQ(stored("-12", "int"), PropertyList(-12));
  EXPECT_EQ(stored("18446744073709551615", "int"), PropertyList(18446744073709551615U));
  for (const char* yes : {"true", "yes", "YES"}) {
    EXPECT_EQ(stored(yes, "bool"), PropertyList(true)) << yes;
  }
  for (const char* no : {"false", "no", "NO"}) {
    EXPECT_EQ(stored(no, "bool"), PropertyList(false)) << no;
  }
  EXPECT_EQ(stored("[1, {\"a\": true}]", "plist"), PropertyList(Array{1, Dictionary{{"a", true}}}));
  EXPECT_EQ(stored("<array><real>0.5</real></array>", "plist"), PropertyList(Array{0.5}));
  EXPECT_EQ(stored("<?xml version=\"1.0\"?><plist><data>AAE=</data></plist>", "plist"),
            PropertyList::data(Bytes{0, 1}));
}

TEST_F(Edit, SetUnsetsAKey) {
  EXPECT_EQ(run({"set", "A", "Username", "--unset"}).status, 0);
  EXPECT_FALSE(root.account(0).contains("Username"));
}

TEST_F(Edit, NothingIsWrittenWhereNothingChanges) {
  const auto before = root.snapshot();
  const ToolResult result = run({"set", "A", "Username", "user-A"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Nothing to change: the settings hold this already.\n");
  const ToolResult json = run({"set", "A", "Username", "user-A", "--json"});
  EXPECT_EQ(schemaErrors("edit.schema.json", json.out), "");
  EXPECT_EQ(documentIn(json.out).string("outcome"), "unchanged");
  EXPECT_EQ(documentIn(run({"set", "A", "Username", "b", "-n", "--json"}).out).string("outcome"),
            "would-be-saved");
  EXPECT_EQ(root.snapshot(), before);
  EXPECT_EQ(documentIn(run({"set", "A", "Username", "b", "--json"}).out).string("outcome"),
            "saved");
}

TEST_F(Edit, ADryRunShowsTheChangeAndTouchesNothingAtAll) {
  const auto before = root.snapshot();
  const ToolResult result = run({"set", "A", "Username", "other", "-n"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "~ Mail \"Mail of A\"  A\n    ~ Username: \"user-A\" -> \"other\"\n"
            "Nothing was written; without --dry-run this would be saved.\n");
  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"enable", "A", "Notes", "--dry-run"},
                                             {"disable", "A", "Mail", "--dry-run"},
                                             {"add", "Mail", "IMAPAccount", "--dry-run"},
                                             {"remove", "P", "--dry-run"}}) {
    EXPECT_EQ(run(arguments).status, 0);
  }
  EXPECT_EQ(root.snapshot(), before);
}

TEST_F(Edit, AChildIsEditedInsideItsParent) {
  ASSERT_EQ(run({"set", "D", "DisplayName", "Holidays"}).status, 0);
  EXPECT_EQ(children(), (Array{child("C"), with(child("D"), "DisplayName", "Holidays")}));
  EXPECT_EQ(root.account(2).get("X-Real"), PropertyList(0.1));
  EXPECT_EQ(accounts()[0], PropertyList(mailAccount("A")));
}

TEST_F(Edit, AChildIsAddedAndRemoved) {
  ASSERT_EQ(run({"add", "CardDAV", "CardDAVAccount", "--parent", "P", "--name", "People"}).status,
            0);
  ASSERT_EQ(children().size(), 3U);
  EXPECT_EQ(children()[2].dictionary()->get("DisplayName"), PropertyList("People"));
  ASSERT_EQ(run({"remove", "C"}).status, 0);
  ASSERT_EQ(children().size(), 2U);
  EXPECT_EQ(children()[0], PropertyList(child("D")));
}

TEST_F(Edit, EnableAndDisableChangeTheStoredList) {
  ASSERT_EQ(run({"enable", "A", "Notes", "com.zelqo.Dataclass.Mail"}).status, 0);
  EXPECT_TRUE(root.account(0)
                  .find("Enabled Dataclasses")
                  ->array()
                  ->contains(PropertyList("com.zelqo.Dataclass.Notes")));
  EXPECT_EQ(root.account(0).array("Enabled Dataclasses")->size(), 2U);
  ASSERT_EQ(run({"disable", "A", "Mail"}).status, 0);
  EXPECT_EQ(root.account(0).get("Enabled Dataclasses"),
            PropertyList(Array{"com.zelqo.Dataclass.Notes"}));
}

TEST_F(Edit, EnablingAChildSaysThatItReportsItsParentsList) {
  const ToolResult result = run({"disable", "C", "Calendars"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "accountsettings: Calendars is stored as disabled, but a child reports "
            "what its parent has enabled\n");
}

TEST_F(Edit, AddMakesAnAccountWithFreshIdentifiers) {
  const ToolResult result = run({"add", "Mail", "IMAPAccount", "--name", "New", "--username", "me",
                                 "--enable", "Mail", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(schemaErrors("edit.schema.json", result.out), "");
  const Dictionary added = root.account(3);
  EXPECT_EQ(added.size(), 7U);
  EXPECT_EQ(added.get("Identifier"), documentIn(result.out).get("account"));
  EXPECT_EQ(added.get("Sync Identifier"), added.get("Identifier"));
  EXPECT_EQ(added.get("Username"), PropertyList("me"));
  EXPECT_EQ(added.get("Enabled Dataclasses"), PropertyList(Array{"com.zelqo.Dataclass.Mail"}));
}

TEST_F(Edit, AddTakesMorePropertiesFromAFile) {
  root.put("/more.plist", Dictionary{{"Identifier", "N"}, {"PortNumber", 993}, {"Type", "Odd"}});
  ASSERT_EQ(run({"add", "Mail", "IMAPAccount", "--properties", root.at("/more.plist")}).status, 0);
  EXPECT_EQ(
      root.account(3),
      (Dictionary{
          {"Identifier", "N"}, {"PortNumber", 993}, {"Type", "Mail"}, {"Class", "IMAPAccount"}}));
}

TEST_F(Edit, RemoveTakesAnAccountWithItsChildren) {
  ASSERT_EQ(run({"remove", "P"}).status, 0);
  EXPECT_EQ(accounts(), (Array{mailAccount("A"), mailAccount("B")}));
}

TEST_F(Edit, GetPrintsOneValueAsItStands) {
  const auto before = root.snapshot();
  EXPECT_EQ(run({"get", "A", "Username"}).out, "user-A\n");
  EXPECT_EQ(run({"get", "A", "Enabled Dataclasses"}).out, "- \"com.zelqo.Dataclass.Mail\"\n");
  EXPECT_EQ(run({"get", "C", "Enabled Dataclasses"}).out, "- \"com.zelqo.Dataclass.Calendars\"\n");
  EXPECT_NE(run({"get", "A"}).out.find("DisplayName: \"Mail of A\"\n"), std::string::npos);
  const ToolResult json = run({"get", "A", "Username", "Nope", "--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(schemaErrors("get.schema.json", json.out), "");
  EXPECT_EQ(documentIn(json.out).get("values"), PropertyList(Dictionary{{"Username", "user-A"}}));
  EXPECT_NE(json.err.find("key 'Nope': there is no such value"), std::string::npos);
  EXPECT_EQ(documentIn(json.out).dictionary("error")->string("code"), "no-match");
  EXPECT_EQ(root.snapshot(), before);
}

TEST_F(Edit, GetShowsATerminalNothingRaw) {
  ASSERT_EQ(run({"set", "A", "DisplayName", "\033[31mred"}).status, 0);
  EXPECT_EQ(run({"get", "A", "DisplayName"}).out, "\033[31mred\n");
  EXPECT_EQ(ToolRun({"get", "A", "DisplayName", "--root", root.path()}).onTerminal().run().out,
            "\\x1b[31mred\r\n");
}

TEST_F(Edit, GetHidesSecrets) {
  ASSERT_EQ(run({"set", "A", "Password", "s3cret"}).status, 0);
  const ToolResult hidden = run({"get", "A", "Password"});
  EXPECT_EQ(hidden.out, "(hidden)\n");
  EXPECT_EQ(hidden.err, "accountsettings: secrets are hidden; --reveal shows them\n");
  EXPECT_EQ(run({"get", "A", "Password", "--reveal"}).err, "");
  EXPECT_EQ(run({"get", "A"}).out.find("s3cret"), std::string::npos);
  EXPECT_EQ(run({"get", "A", "Password", "--reveal"}).out, "s3cret\n");
}

TEST_F(Edit, RefusesWhatTheModelRefuses) {
  expectRefused({"set", "A", "Type", "Exchange"}, 3,
                "account 'A', key 'Type': an account keeps its type for life; add an account of "
                "the other type and remove this one");
  expectRefused({"set", "A", "Class", "POPAccount"}, 3,
                "account 'A', key 'Class': an account keeps its class for life; add an account of "
                "the other class and remove this one");
  expectRefused({"set", "A", "Identifier", "B"}, 3,
                "account 'A', key 'Identifier': the identifier is what everybody knows the account "
                "by; add an account of its own instead");
  expectRefused({"set", "P", "ChildAccounts", "--unset"}, 3,
                "account 'P', key 'ChildAccounts': children are edited one by one; give the "
                "child's own identifier, or use 'add --parent' and 'remove'");
  expectRefused({"set", "A", "Username", "7", "--type", "int"}, 3,
                "account 'A', key 'Username': an integer would be read as absent; the key holds a "
                "string; give a value of that kind");
  expectRefused({"set", "A", "Enabled Dataclasses", "[\"odd\"]", "--type", "plist"}, 3,
                "account 'A', key 'Enabled Dataclasses': accounts of type 'Mail' cannot carry "
                "'odd'; this type carries Mail, Notes");
  expectRefused({"enable", "A", "Bookmarks"}, 3,
                "account 'A': accounts of type 'Mail' cannot carry Bookmarks; this type carries "
                "Mail, Notes");
  expectRefused({"add", "Pigeon", "PigeonAccount"}, 3,
                "an account of type 'Pigeon': the type registry does not know this type; "
                "'accountsettings show' lists accounts with types that it knows");
  expectRefused({"add", "Mail", "OddAccount"}, 3,
                "an account of type 'Mail': the class 'OddAccount' is no mail class; give the "
                "class that handles it, for example IMAPAccount or POPAccount");
  expectRefused({"add", "Mail", "IMAPAccount", "--enable", "Bookmarks"}, 3,
                "an account of type 'Mail': accounts of type 'Mail' cannot carry Bookmarks; this "
                "type carries Mail, Notes");
  expectRefused({"add", "Mail", ""}, 3, "an account of type 'Mail': the account class is required");
  expectRefused({"add", "CalDAV", "MobileCalDAVAccount", "--parent", "C"}, 3,
                "account 'C': it is a child itself; a child has no children; give a top-level "
                "account");
}

TEST_F(Edit, RefusesPropertiesThatNobodyWouldRead) {
  const std::map<std::string, Dictionary> refusals = {
      {"key 'Identifier': an integer would be read as absent; the key holds a string; give a value "
       "of that kind",
       {{"Identifier", 5}}},
      {"key 'ChildAccounts': a string would be read as absent; the key holds an array; "
       "give a value of that kind",
       {{"ChildAccounts", "C"}}},
      {"key 'Enabled Dataclasses': accounts of type 'Mail' cannot carry 'odd'; this type carries "
       "Mail, Notes",
       {{"Enabled Dataclasses", Array{"odd"}}}}};
  for (const auto& [reason, properties] : refusals) {
    root.put("/properties.plist", properties);
    expectRefused({"add", "Mail", "IMAPAccount", "--properties", root.at("/properties.plist")}, 3,
                  "an account of type 'Mail', " + reason);
  }
}

TEST_F(Edit, RefusesAnAccountThatIsNotThere) {
  const std::string reason =
      "account 'Z': there is no such account; 'accountsettings show' lists the accounts with their "
      "identifiers";
  expectRefused({"set", "Z", "X", "1"}, 3, reason);
  expectRefused({"enable", "Z", "Mail"}, 3, reason);
  expectRefused({"remove", "Z"}, 3, reason);
  expectRefused({"get", "Z"}, 3, reason);
}

TEST(EditedIdentifier, MayBeOfAnyCaseOrTheBeginningOfOne) {
  ToolRoot root;
  Dictionary parent = mailAccount("ABC-1");
  parent.set("ChildAccounts", Array{Dictionary{{"Identifier", "XY-9"},
                                               {"Type", "CalDAV"},
                                               {"Class", "MobileCalDAVAccount"},
                                               {"DisplayName", "child"}}});
  root.putSettings(12, {parent, mailAccount("ABD-2"), mailAccount("ABC")});
  const auto get = [&](const char* identifier) {
    return runTool({"get", identifier, "DisplayName", "--root", root.path()});
  };
  EXPECT_EQ(get("abc-1").out, "Mail of ABC-1\n");
  EXPECT_EQ(get("abd").out, "Mail of ABD-2\n");
  EXPECT_EQ(get("x").out, "child\n");
  // One that is whole is no beginning.
  EXPECT_EQ(get("ABC").out, "Mail of ABC\n");
  EXPECT_EQ(get("abc").out, "Mail of ABC\n");
  const ToolResult several = get("ab");
  EXPECT_EQ(several.status, 3);
  EXPECT_EQ(several.err,
            "accountsettings: account 'ab': 3 identifiers begin so; give more of it: ABC, ABC-1, "
            "ABD-2\n");
  EXPECT_EQ(get("").status, 3);
  EXPECT_NE(get("ABD-3").err.find("did you mean 'ABD-2'? "), std::string::npos);
  const ToolResult edit =
      runTool({"set", "abd", "DisplayName", "New", "--root", root.path(), "--json"});
  EXPECT_EQ(documentIn(edit.out).string("account"), "ABD-2");
  EXPECT_EQ(get("abd").out, "New\n");
}

TEST_F(Edit, AddTakesThePropertiesAsJsonToo) {
  std::ofstream(root.at("/more.json"))
      << R"({"PortNumber": 143, "Since": {"$date": "2001-01-01T00:00:10Z"}})";
  ASSERT_EQ(run({"add", "Mail", "IMAPAccount", "--properties", root.at("/more.json")}).status, 0);
  EXPECT_EQ(root.account(3).get("PortNumber"), PropertyList(143));
  EXPECT_EQ(root.account(3).get("Since"), PropertyList::date(10));
  std::ofstream(root.at("/more.json")) << R"({"PortNumber": 1)";
  const ToolResult torn =
      run({"add", "Mail", "IMAPAccount", "--properties", root.at("/more.json")});
  EXPECT_EQ(torn.status, 3);
  EXPECT_NE(torn.err.find("give an account's properties, as a property list or as JSON"),
            std::string::npos)
      << torn.err;
}

TEST_F(Edit, RefusesASecondAccountWithTheSameIdentifier) {
  root.put("/more.plist", Dictionary{{"Identifier", "C"}});
  expectRefused({"add", "Mail", "IMAPAccount", "--properties", root.at("/more.plist")}, 3,
                "an account of type 'Mail': there is an account with the identifier 'C' already; "
                "leave \"Identifier\" out, and a fresh one is made");
}

TEST_F(Edit, RefusesWrongUsage) {
  expectRefused({"set", "A", "X"}, 2,
                "a VALUE is needed, or --unset; see accountsettings set --help");
  expectRefused({"set", "A", "X", "1", "--unset"}, 2,
                "--unset takes no VALUE; see accountsettings set --help");
  expectRefused({"set", "A", "X", "one", "--type", "int"}, 2, "VALUE: 'one' is not an integer");
  expectRefused({"set", "A", "X", "maybe", "--type", "bool"}, 2,
                "VALUE: 'maybe' is not true or false");
  EXPECT_EQ(run({"set", "A", "X", "<dict>", "--type", "plist"}).status, 2);
  EXPECT_EQ(run({"set", "A", "X", "1", "--type", "float"}).status, 2);
  EXPECT_EQ(run({"enable", "A", "Telepathy"}).status, 2);
  EXPECT_EQ(run({"enable", "A"}).status, 2);
  EXPECT_EQ(run({"remove"}).status, 2);
}

TEST_F(Edit, RefusesSettingsOfAnyOtherVersion) {
  const std::string where = root.settingsPath() + ": ";
  root.putSettings(9, {mailAccount("A")});
  const std::string old = where +
                          "the settings have version 9, not 12, and a save would keep the upgrade "
                          "steps from ever running; run 'accountsettings migrate' first";
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"set", "A", "X", "1"},
                                             {"enable", "A", "Mail"},
                                             {"disable", "A", "Mail"},
                                             {"add", "Mail", "IMAPAccount"},
                                             {"remove", "A"},
                                             {"get", "A"}}) {
    expectRefused(command, 3, old);
  }
  expectRefused({"set", "A", "X", "1", "--accept-loss"}, 3, old);
  root.putSettings(13, {mailAccount("A")});
  expectRefused({"set", "A", "X", "1"}, 3,
                where +
                    "the settings have version 13, not 12; they are newer than this program; "
                    "use the program of the newer system");
  root.put(ToolRoot::kSettings, Dictionary{{"Accounts", Array{mailAccount("A")}}});
  expectRefused({"set", "A", "X", "1"}, 3,
                where +
                    "the settings have no version, and a save would stamp them as current; see "
                    "'accountsettings check', and migrate first");
}

TEST_F(Edit, RefusesSettingsThatAreMissingOrUnreadable) {
  root.putText(ToolRoot::kSettings, "nonsense");
  EXPECT_EQ(run({"set", "A", "X", "1"}).status, 3);
  EXPECT_EQ(run({"set", "A", "X", "1", "--accept-loss"}).status, 3);
  EXPECT_EQ(::unlink(root.settingsPath().c_str()), 0);
  expectRefused(
      {"set", "A", "X", "1"}, 3,
      root.settingsPath() + ": there are no account settings; run 'accountsettings migrate' first");
  ASSERT_EQ(::mkdir(root.settingsPath().c_str(), 0755), 0);
  EXPECT_EQ(run({"set", "A", "X", "1"}).status, 3);
}

TEST_F(Edit, RefusesARootOrConfigurationThatIsNone) {
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"set", "A", "X", "1"},
                                             {"enable", "A", "Mail"},
                                             {"disable", "A", "Mail"},
                                             {"add", "Mail", "IMAPAccount"},
                                             {"remove", "A"},
                                             {"get", "A"}}) {
    const auto withMore = [&](const std::string& option, const std::string& value) {
      std::vector<std::string> arguments = command;
      arguments.insert(arguments.end(), {option, value});
      return runTool(std::move(arguments));
    };
    const ToolResult missing = withMore("--root", root.at("/nothing"));
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find(root.at("/nothing")), std::string::npos) << missing.err;
    EXPECT_EQ(withMore("--root", root.settingsPath()).status, 3);
    root.putText("/odd.plist", "nonsense");
    std::vector<std::string> configured = command;
    configured.insert(configured.end(), {"--config", root.at("/odd.plist"), "--root", root.path()});
    const ToolResult config = runTool(std::move(configured));
    EXPECT_EQ(config.status, 3);
    EXPECT_NE(config.err.find(root.at("/odd.plist")), std::string::npos) << config.err;
  }
  EXPECT_EQ(run({"add", "Mail", "IMAPAccount", "--properties", root.path()}).status, 3);
  EXPECT_EQ(run({"add", "Mail", "IMAPAccount", "--properties", root.at("/nothing")}).status, 3);
}

TEST_F(Edit, NeedsAcceptLossWhereASaveDropsSomething) {
  root.put(ToolRoot::kSettings,
           Dictionary{{"Accounts", Dictionary{{"A", mailAccount("A")}}}, {"Version", 12}});
  expectRefused({"add", "Mail", "IMAPAccount"}, 3,
                root.settingsPath() +
                    ": \"Accounts\" is a dictionary instead of an array: no account is loaded, and "
                    "a save drops them; 'accountsettings check' tells more; --accept-loss goes on "
                    "all the same");
  const ToolResult accepted = run({"add", "Mail", "IMAPAccount", "--accept-loss"});
  EXPECT_EQ(accepted.status, 0) << accepted.err;
  EXPECT_EQ(accounts().size(), 1U);
}

TEST_F(Edit, WaitsForAMigrationUnderWay) {
  root.putText(ToolRoot::kLock, "");
  const int lock = ::open(root.at(ToolRoot::kLock).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  auto edit = std::async(std::launch::async, [&] { return run({"set", "A", "X", "1"}); });
  EXPECT_EQ(edit.wait_for(300ms), std::future_status::timeout);
  EXPECT_FALSE(root.account(0).contains("X"));
  ::close(lock);
  EXPECT_EQ(edit.get().status, 0);
  EXPECT_EQ(root.account(0).get("X"), PropertyList("1"));
}

// It would look like a migration to whoever comes at that moment.
TEST_F(Edit, WhoReadsDoesNotTakeTheLock) {
  root.putText(ToolRoot::kLock, "");
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(::inotify_add_watch(watch, root.at(ToolRoot::kLock).c_str(), IN_OPEN), 0);
  char event[4096];
  EXPECT_EQ(run({"get", "A"}).status, 0);
  EXPECT_LT(::read(watch, event, sizeof(event)), 0) << "somebody opened it";
  EXPECT_EQ(run({"set", "A", "X", "1"}).status, 0);
  EXPECT_GT(::read(watch, event, sizeof(event)), 0) << "who writes takes it";
  ::close(watch);
}

TEST_F(Edit, ADryRunDoesNotWaitForAMigration) {
  root.putText(ToolRoot::kLock, "");
  const int lock = ::open(root.at(ToolRoot::kLock).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  const ToolResult result = run({"set", "A", "X", "1", "-n"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("is migrating the settings; try again when it has ended"),
            std::string::npos)
      << result.err;
  ::close(lock);
}

TEST_F(Edit, AFullDiskLeavesTheOldFileAndSaysWhy) {
  const auto before = root.snapshot();
  for (const bool keepsBackup : {false, true}) {
    std::vector<std::string> words{"set", "A", "X", std::string(4096, 'x'), "--root", root.path()};
    if (!keepsBackup) words.emplace_back("--no-backup");
    // The backup's manifest is what is too large for the smaller one.
    const ToolResult result = ToolRun(words).withFileSizeLimit(keepsBackup ? 1200 : 1024).run();
    EXPECT_EQ(result.status, 3) << result.out;
    const char* const why =
        keepsBackup ? "what is there now cannot be kept: " : "the settings could not be saved: ";
    EXPECT_NE(result.err.find(why), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("File too large"), std::string::npos) << result.err;
    auto after = root.snapshot();
    auto expected = before;
    for (const char* each : {"/var/mobile/Library/Preferences", "/var/mobile/Library"}) {
      after.erase(each);
      expected.erase(each);
    }
    EXPECT_EQ(after, expected);
  }
}

// MARK: Undoing

TEST_F(Edit, EachIsUndoneByTheCommandThatItNames) {
  for (const auto& words : std::vector<std::vector<std::string>>{{"set", "A", "Password", "1"},
                                                                 {"enable", "A", "Notes"},
                                                                 {"disable", "A", "Mail"},
                                                                 {"add", "Mail", "IMAPAccount"},
                                                                 {"remove", "P"},
                                                                 {"remove", "C"}}) {
    const std::string before = fileAt(root.settingsPath());
    std::vector<std::string> asked = words;
    asked.emplace_back("--json");
    const ToolResult result = run(asked);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(schemaErrors("edit.schema.json", result.out), "");
    const Dictionary told = documentIn(result.out);
    EXPECT_EQ(told.get("backup"), PropertyList(backups().back()));
    EXPECT_EQ(told.get("undo"), PropertyList("accountsettings restore --root " + root.path() + " " +
                                             backups().back()));
    ASSERT_NE(fileAt(root.settingsPath()), before);
    EXPECT_EQ(run({"restore", backups().back()}).status, 0);
    EXPECT_EQ(fileAt(root.settingsPath()), before) << words[0];
  }
}

TEST_F(Edit, TheLogTellsWhoBeganItAndHowItEnded) {
  const std::string log = root.at("/log");
  ASSERT_EQ(run({"remove", "A", "--log", log}).status, 0);
  const std::string told = fileAt(log);
  const std::string level =
      " host [" + std::filesystem::canonical(root.path()).string() + "] remove A: ";
  const std::size_t begin = told.find(level + "begun by ");
  ASSERT_NE(begin, std::string::npos) << told;
  const std::string who = " (" + std::to_string(::geteuid()) + ")\n";
  EXPECT_EQ(told.compare(told.find('\n', begin) - who.size() + 1, who.size(), who), 0) << told;
  EXPECT_GT(told.find(level + "ended: saved; what was there is backup " + backups().back() + "\n"),
            begin);
  EXPECT_TRUE(told.ends_with(backups().back() + "\n")) << told;

  std::filesystem::remove(log);
  ASSERT_EQ(ToolRun({"set", "B", "X", std::string(4096, 'x'), "--root", root.path(), "--log", log})
                .withFileSizeLimit(1200)
                .run()
                .status,
            3);
  EXPECT_NE(fileAt(log).find(" set B: ended with status 3: what is there now cannot be kept: "),
            std::string::npos)
      << fileAt(log);
}

TEST_F(Edit, TheBackupOfSettingsThatWaitForTheirMigrationTellsTheirVersion) {
  root.putSettings(9, {mailAccount("A"), Dictionary{{"Identifier", "X"}, {"Type", "Mail"}}});
  ASSERT_EQ(run({"remove", "X"}).status, 0);
  EXPECT_EQ(run({"restore", "--list"}).out,
            backups().back() + "  from version 9, before remove of X, 1 file kept\n");
}

TEST_F(Edit, OfManyKeysDoesNotEmptyTheHistory) {
  ASSERT_EQ(run({"set", "A", "X", "1"}).status, 0);
  Dictionary many;
  for (int i = 0; i < 20'000; ++i) many.set("Key" + std::string(60, 'x') + std::to_string(i), i);
  root.put("/many.plist", many);
  ASSERT_EQ(run({"add", "Mail", "IMAPAccount", "--properties", root.at("/many.plist")}).status, 0);
  const Array told = documentIn(run({"history", "--json"}).out).arrayOrEmpty("entries");
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[1].dictionary()->arrayOrEmpty("keys").size(), 100U);
}

TEST_F(Edit, KeepsNoBackupWhereNothingChangesOrNoneIsWanted) {
  EXPECT_EQ(run({"set", "A", "Username", "user-A"}).status, 0);
  EXPECT_EQ(run({"set", "A", "X", "1", "--dry-run"}).status, 0);
  EXPECT_EQ(run({"remove", "nobody"}).status, 3);
  const ToolResult result = run({"set", "A", "X", "1", "--no-backup"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.find("backup"), std::string::npos) << result.out;
  EXPECT_EQ(backups(), std::vector<std::string>());
}

TEST_F(Edit, RestoreWithoutANameUndoesTheLastOneAndSaysSo) {
  ASSERT_EQ(run({"set", "A", "DisplayName", "Work"}).status, 0);
  const std::string first = backups().back();
  const std::string before = fileAt(root.settingsPath());
  ASSERT_EQ(run({"remove", "P"}).status, 0);
  const std::string second = backups().back();
  const ToolResult result = run({"restore"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("Put back backup " + second + " (from version 12, before remove of P)"),
            0U)
      << result.out;
  EXPECT_EQ(fileAt(root.settingsPath()), before);
  EXPECT_EQ(
      documentIn(run({"restore", first, "--dry-run", "--json"}).out).arrayOrEmpty("undone").size(),
      2U);
  const std::string text = run({"restore", first}).out;
  EXPECT_NE(text.find("Done since then, and undone with it:\n"), std::string::npos) << text;
  EXPECT_NE(text.find("remove P"), std::string::npos) << text;
  const std::string list = run({"restore", "--list"}).out;
  EXPECT_EQ(list.find(first + "  from version 12, before set of A, 1 file kept\n"), 0U) << list;
  EXPECT_NE(list.find("undoes the restore of " + second + " from before remove of P"),
            std::string::npos)
      << list;
  const ToolResult scripts = run({"restore", "--list", "--json"});
  EXPECT_EQ(schemaErrors("backups.schema.json", scripts.out), "");
  const Array listed = documentIn(scripts.out).arrayOrEmpty("backups");
  EXPECT_EQ(listed[1].dictionary()->get("madeBy"), PropertyList("remove"));
  EXPECT_EQ(listed[2].dictionary()->get("madeBy"), PropertyList("restore"));
}

TEST_F(Edit, ARestoreTellsOfWhatOthersChangedSince) {
  ASSERT_EQ(run({"set", "A", "X", "1"}).status, 0);
  root.putSettings(12, {mailAccount("saved by a program")});
  const ToolResult rehearsal = run({"restore", "--dry-run", "--json"});
  EXPECT_EQ(schemaErrors("restore.schema.json", rehearsal.out), "");
  EXPECT_EQ(documentIn(rehearsal.out).get("changedByOthers"), PropertyList(true));
  const std::string theirs = fileAt(root.settingsPath());
  const ToolResult result = run({"restore"});
  EXPECT_NE(result.out.find("The settings were changed since that backup was made"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(run({"restore", backups().back()}).status, 0);
  EXPECT_EQ(fileAt(root.settingsPath()), theirs) << "it is kept all the same";
}

TEST_F(Edit, TheUndoingTouchesTheSettingsAlone) {
  ASSERT_EQ(run({"remove", "A"}).status, 0);
  root.putText(ToolRoot::kLegacyMail, "a legacy file that came since");
  const ToolResult result = run({"restore", "--json"});
  EXPECT_EQ(schemaErrors("restore.schema.json", result.out), "");
  const Dictionary told = documentIn(result.out);
  EXPECT_EQ(told.arrayOrEmpty("files").size(), 1U);
  EXPECT_EQ(told.get("undo"),
            PropertyList("accountsettings restore --root " + root.path() + " " + backups().back()));
  ASSERT_EQ(run({"restore", backups().back()}).status, 0);
  EXPECT_EQ(fileAt(root.at(ToolRoot::kLegacyMail)), "a legacy file that came since");
}

TEST_F(Edit, TheNewestTenBackupsStayAndThoseOfMigrationsBesideThem) {
  root.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(run({"migrate"}).status, 0);
  const std::string migration = backups().back();
  for (int i = 0; i < 10; ++i) {
    const ToolResult result = run({"set", "A", "X", std::to_string(i)});
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(result.out.find("removed"), std::string::npos) << result.out;
  }
  EXPECT_EQ(backups().size(), 11U);
  const std::string oldest = backups()[1];
  const ToolResult eleventh = run({"set", "A", "X", "10"});
  EXPECT_NE(eleventh.out.find("removed " + oldest + "."), std::string::npos) << eleventh.out;
  EXPECT_EQ(backups().size(), 11U);
  EXPECT_EQ(backups().front(), migration);
  const Array told = documentIn(run({"history", "--json"}).out).arrayOrEmpty("entries");
  EXPECT_EQ(told[told.size() - 1].dictionary()->get("pruned"), PropertyList(Array{oldest}));
  EXPECT_NE(run({"history"}).out.find("its backup was pruned at "), std::string::npos);
  const ToolResult gone = run({"restore", oldest});
  EXPECT_EQ(gone.status, 3);
  EXPECT_NE(gone.err.find("there is no such backup any more: it was pruned by "), std::string::npos)
      << gone.err;
  const ToolResult scripts = run({"set", "A", "X", "11", "--keep", "2", "--json"});
  EXPECT_EQ(schemaErrors("edit.schema.json", scripts.out), "");
  EXPECT_EQ(documentIn(scripts.out).arrayOrEmpty("pruned").size(), 9U);
  EXPECT_EQ(backups().size(), 3U);
  ASSERT_EQ(run({"restore", "--prune", "--keep", "1"}).status, 0);
  EXPECT_EQ(backups().size(), 2U);
  EXPECT_EQ(backups().front(), migration);
}

// It was killed between its backup and the settings.
TEST_F(Edit, TheBackupOfOneThatWasNeverMadeGoesWithTheNext) {
  const std::string before = fileAt(root.settingsPath());
  ASSERT_EQ(run({"set", "A", "X", "1"}).status, 0);
  const std::string cut = backups().back();
  std::ofstream(root.settingsPath(), std::ios::binary) << before;
  EXPECT_NE(run({"restore"}).out.find("Nothing to put back: everything is as backup " + cut),
            std::string::npos);
  EXPECT_EQ(run({"plan", "--exit-code"}).status, 0);
  ASSERT_EQ(run({"set", "A", "X", "2"}).status, 0);
  EXPECT_EQ(backups().size(), 1U);
  EXPECT_NE(backups().back(), cut);
}

TEST_F(Edit, AKilledSaveLeavesTheOldFileOrTheNewOneWhole) {
  const Array before = accounts();
  Array after = before;
  after.set(0, with(mailAccount("A"), "X", "1"));
  for (auto delay = 500us; delay < 40ms; delay += 500us) {
    static_cast<void>(
        ToolRun({"set", "A", "X", "1", "--root", root.path()}).killedAfter(delay).run());
    const Array now = accounts();
    EXPECT_TRUE(now == before || now == after) << delay.count();
    // What went is kept, and what is kept is whole.
    if (now == after) {
      EXPECT_GE(backups().size(), 1U);
    }
    EXPECT_NE(run({"restore", "--show"}).status, 1) << delay.count();
    EXPECT_EQ(run({"plan", "--exit-code"}).status, 0);
    root.putSettings(12, before);
  }
  // What a killed save leaves hinders nobody.
  EXPECT_EQ(run({"set", "A", "X", "1"}).status, 0);
  EXPECT_EQ(accounts(), after);
}

TEST_F(Edit, AnInterruptedEditThatSavedSaysSo) {
  const Array before = accounts();
  for (auto delay = 500us; delay < 60ms; delay += 1500us) {
    const ToolResult result =
        ToolRun({"set", "A", "X", "1", "--root", root.path()}).killedAfter(delay, SIGINT).run();
    EXPECT_EQ(result.out.find("Saved ") != std::string::npos, accounts() != before)
        << delay.count();
    root.putSettings(12, before);
  }
}

TEST_F(Edit, WithoutPermissionNothingIsTouched) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  const std::string preferences = root.at("/var/mobile/Library/Preferences");
  ::chmod(root.path().c_str(), 0755);
  ::chmod(root.at("/tmp").c_str(), 0777);
  ::chmod(root.settingsPath().c_str(), 0644);
  const auto before = root.snapshot();
  const ToolResult result =
      ToolRun({"set", "A", "X", "1", "--root", root.path()}).asUser(65534).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "accountsettings: " + root.settingsPath() +
                            ": Saving the settings would fail: " + preferences +
                            ": Permission denied; 'accountsettings check --root " + root.path() +
                            "' tells more\n");
  EXPECT_EQ(root.snapshot(), before);
  ::chmod(root.settingsPath().c_str(), 0600);
  EXPECT_EQ(ToolRun({"set", "A", "X", "1", "--root", root.path()}).asUser(65534).run().err,
            "accountsettings: " + root.settingsPath() +
                ": Permission denied; run as a user who may, or change the "
                "permissions\n");
}

TEST_F(Edit, SurvivesAClosedPipeAfterTheSave) {
  const ToolResult result =
      ToolRun({"set", "A", "X", "1", "--root", root.path()}).withClosedOutput().run();
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(root.account(0).get("X"), PropertyList("1"));
  EXPECT_NE(result.err.find("standard output: "), std::string::npos);
}

// The settings hold the change all the same, and whoever reads the output learns of it.
TEST_F(Edit, ASaveWhoseNotifierFailsIsToldAsSaved) {
  namespace fs = std::filesystem;
  const TemporaryDirectory code;
  const fs::path resources = code.path() / "Ferrant.migrator/Resources";
  fs::create_directories(resources);
  for (const char* each : {"AccountTypesProperties.plist", "DataclassesProperties.plist"}) {
    fs::copy_file(fs::path(AS_RESOURCES) / each, resources / each);
  }
  const auto write = [](const fs::path& path, const PropertyList& value) {
    const Bytes bytes = *writeXml(value);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  };
  Dictionary notifier{{"Framework", "/modules/FailingNotifier"},
                      {"Class", "FailingNotifier"},
                      {"Supported Dataclasses", Array{"com.zelqo.Dataclass.Notes"}}};
  write(resources / "AccountCreators.plist",
        Dictionary{
            {"Mail", Array{Dictionary{{"Type", "NotifierAccount"}, {"Description", notifier}}}}});
  const std::string config = code.path() / "host.plist";
  write(config, Dictionary{{"PlugInDirectory", code.path().string()},
                           {"ModuleDirectory", AS_TEST_MODULES}});

  const ToolResult result = run({"enable", "A", "Notes", "--json", "--config", config});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "accountsettings: " + root.settingsPath() +
                            ": saved, but not all who are to be told of the change were: the mail "
                            "service does not answer; see to the module that is told\n");
  EXPECT_EQ(schemaErrors("edit.schema.json", result.out), "");
  EXPECT_EQ(documentIn(result.out).get("saved"), PropertyList(true));
  EXPECT_EQ(root.account(0).get("Enabled Dataclasses"),
            PropertyList(Array{"com.zelqo.Dataclass.Mail", "com.zelqo.Dataclass.Notes"}));

  notifier.remove("Class");
  write(resources / "AccountCreators.plist",
        Dictionary{
            {"Mail", Array{Dictionary{{"Type", "NotifierAccount"}, {"Description", notifier}}}}});
  const ToolResult malformed = run({"disable", "A", "Notes", "--config", config});
  EXPECT_EQ(malformed.status, 4);
  EXPECT_NE(malformed.out.find("Saved " + root.settingsPath()), std::string::npos);
  EXPECT_TRUE(malformed.err.ends_with("; correct the creators information\n")) << malformed.err;
}

// A file that the program opens would else get the number of the stream, and what is told there.
TEST_F(Edit, WritesNothingForAClosedStreamIntoItsFiles) {
  const TemporaryDirectory elsewhere;
  const std::string log = elsewhere.path() / "log";
  const std::vector<std::string> disable = {"disable",   "C",     "Calendars", "--root",
                                            root.path(), "--log", log};
  ASSERT_EQ(ToolRun(disable).withoutStream(2).run().status, 0);
  std::ifstream stream(log);
  const std::string logged{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_EQ(logged.find("is stored as disabled"), std::string::npos) << logged;
  EXPECT_EQ(ToolRun(disable).withoutStream(1).run().err,
            "accountsettings: Calendars is stored as disabled, but a child reports what its parent "
            "has enabled\naccountsettings: standard output: Bad file descriptor; what was to be "
            "shown is incomplete: run it again where all of it can be written\n");
}

TEST_F(Edit, KeepsUnknownKeysToTheBit) {
  const Array kinds = {1.5,
                       PropertyList::date(0.25),
                       PropertyList::uid(7),
                       18446744073709551615U,
                       PropertyList::data(Bytes{0, 255}),
                       "\xED\xA0\x80",
                       Dictionary{{"", Array()}}};
  root.putSettings(12, {with(mailAccount("A"), "X-Kinds", kinds), mailAccount("B")});
  ASSERT_EQ(run({"set", "B", "X", "1"}).status, 0);
  ASSERT_EQ(run({"set", "A", "X", "1"}).status, 0);
  EXPECT_EQ(root.account(0).get("X-Kinds"), PropertyList(kinds));
}

TEST_F(Edit, ARemovedAccountComesBackAloneWithItsChildren) {
  Dictionary hosted = mailAccount("H");
  hosted.set("ChildAccounts", Array{mailAccount("C")});
  root.putSettings(12, {hosted, mailAccount("B")});
  const Array before = accounts();
  ASSERT_EQ(run({"remove", "H"}).status, 0);
  const std::string backup = backups().back();
  ASSERT_EQ(run({"set", "B", "DisplayName", "Other"}).status, 0);
  const auto untouched = root.snapshot();
  EXPECT_EQ(run({"restore", backup, "--account", "H", "--dry-run"}).status, 0);
  for (const char* other : {"C", "nobody"}) {
    EXPECT_EQ(run({"restore", backup, "--account", other}).status, 3) << other;
  }
  EXPECT_EQ(run({"restore", "--account", "H"}).status, 2);
  EXPECT_EQ(root.snapshot(), untouched);

  const ToolResult result = run({"restore", backup, "--account", "H", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(schemaErrors("edit.schema.json", result.out), "");
  EXPECT_EQ(accounts().size(), 2U);
  EXPECT_EQ(root.account(0).string("DisplayName"), "Other") << "the later edit stays";
  EXPECT_EQ(accounts()[1], before[0]);
  EXPECT_EQ(run({"restore", backup, "--account", "H"}).status, 3) << "it is there";
  // It is an edit like any other.
  EXPECT_NE(run({"history"}).out.find("restore --account H"), std::string::npos);
  ASSERT_EQ(run({"restore"}).status, 0);
  EXPECT_EQ(accounts().size(), 1U);
}

}  // namespace
}  // namespace accountsettings::testing
