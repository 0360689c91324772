// Tests of `report`, run as a process: what it tells, and above all what it does not tell.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

// Every one of these is personal and must not be found in a report.
const std::vector<std::string> kPersonal = {
    "anna.berg",    "home.example", "mail.server.example", "s3cr3t-word",
    "My own mail",  "Anna Berg",    "0123ABCD-1111",       "tok-77",
    "Note to self", "AUEC",         "calendar.example",    "berg7@other.example",
    "berg7"};

Dictionary personalAccount() {
  return {{"Identifier", "0123ABCD-1111-4222-8333-444455556666"},
          {"Sync Identifier", "0123ABCD-1111-4222-8333-444455556666"},
          {"Type", "Mail"},
          {"Class", "IMAPAccount"},
          {"DisplayName", "My own mail"},
          {"FullUserName", "Anna Berg"},
          {"Username", "anna.berg@home.example"},
          {"Hostname", "mail.server.example"},
          {"Password", "s3cr3t-word"},
          {"PortNumber", 993},
          {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Mail"}},
          {"EmailAddresses", Array{"anna.berg@home.example", "berg7@other.example"}},
          {"Settings", Dictionary{{"AuthToken", 77},
                                  {"Url", "https://calendar.example:8443/anna.berg"},
                                  {"Free", Array{"Note to self", "tok-77"}}}},
          {"berg7@other.example", true},
          {"X-Blob", PropertyList::data(Bytes{1, 0x41, 2})}};
}

class Report : public ::testing::Test {
 protected:
  ToolResult run(std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"report", root.path(), "--out", file()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runTool(std::move(arguments));
  }
  [[nodiscard]] std::string file() const { return directory.path() / "report.json"; }
  [[nodiscard]] std::string text() const {
    std::ifstream stream(file());
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void expectNothingPersonal(const std::string& where) {
    for (const std::string& each : kPersonal) {
      EXPECT_EQ(where.find(each), std::string::npos) << each;
    }
    EXPECT_EQ(where.find(root.path()), std::string::npos);
  }

  ToolRoot root;
  TemporaryDirectory directory;
};

TEST_F(Report, TellsTheStructureAndNothingPersonal) {
  root.putSettings(9, {personalAccount()});
  const auto before = root.snapshot();
  const ToolResult result = run();
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(root.snapshot(), before);
  expectNothingPersonal(text());
  expectNothingPersonal(result.out.substr(result.out.find('\n')));
  EXPECT_EQ(schemaErrors("report.schema.json", text()), "");

  const Dictionary report = documentIn(text());
  const Dictionary& settings = *at(report, "settings", "content").dictionary();
  EXPECT_EQ(settings.get("Version"), PropertyList(9));
  const Dictionary& account = *at(settings, "Accounts", 0).dictionary();
  EXPECT_EQ(account.size(), personalAccount().size());
  EXPECT_EQ(account.get("Type"), PropertyList("Mail"));
  EXPECT_EQ(account.get("Class"), PropertyList("IMAPAccount"));
  EXPECT_EQ(account.get("PortNumber"), PropertyList(993));
  EXPECT_EQ(account.get("Enabled Dataclasses"), PropertyList(Array{"com.zelqo.Dataclass.Mail"}));
  EXPECT_EQ(account.get("Identifier"), PropertyList("identifier-1"));
  EXPECT_EQ(account.get("Sync Identifier"), PropertyList("identifier-1"));
  EXPECT_EQ(account.get("Username"), at(account, "EmailAddresses", 0));
}

TEST_F(Report, FindingsAndPlanNameAccountsByTheSameStandIns) {
  Dictionary odd = personalAccount();
  odd.set("Class", PropertyList("OddAccount"));
  root.putSettings(9, {odd});
  ASSERT_EQ(run().status, 0);
  expectNothingPersonal(text());
  const Dictionary report = documentIn(text());
  const Dictionary& plan = *report.dictionary("plan");
  const Dictionary& finding = *at(plan, "findings", 0).dictionary();
  EXPECT_EQ(finding.get("code"), PropertyList("unfixable-class"));
  EXPECT_EQ(finding.get("account"), PropertyList("identifier-1"));
  EXPECT_EQ(finding.get("path"), PropertyList(ToolRoot::kSettings));
  EXPECT_FALSE(finding.contains("file")) << "where the device lies is nobody's business";
  EXPECT_FALSE(plan.contains("inputs"));
  const Array& dropped = *at(plan, "ledger", "entries").array();
  ASSERT_EQ(dropped.size(), 1U);
  EXPECT_EQ(dropped[0].dictionary()->get("account"), PropertyList("identifier-1"));
  for (const PropertyList& each : *plan.array("steps")) {
    EXPECT_FALSE(each.dictionary()->contains("changes"));
  }
}

TEST_F(Report, ListsWhatItReplaced) {
  root.putSettings(12, {personalAccount()});
  const ToolResult result = run({"--json"});
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(schemaErrors("report-summary.schema.json", result.out), "");
  const Dictionary summary = documentIn(result.out);
  EXPECT_EQ(summary.get("replaced"), documentIn(text()).get("replaced"));
  std::map<std::string, std::int64_t> values;
  for (const PropertyList& each : *summary.array("replaced")) {
    values[std::string(*each.dictionary()->string("kind"))] = each.dictionary()->integer("values");
  }
  EXPECT_EQ(values["identifier"], 1);
  EXPECT_EQ(values["secret"], 2);
  EXPECT_EQ(values["data"], 1);
  EXPECT_EQ(values["user"], 3);
  EXPECT_EQ(values["host"], 2);
}

TEST_F(Report, LegacyFilesAreTakenAlong) {
  root.put("/var/mobile/Library/Mail/Accounts.plist",
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "IMAPAccount"},
                                        {"AccountName", "My own mail"},
                                        {"uniqueId", "0123ABCD-1111-4222-8333-444455556666"},
                                        {"Username", "anna.berg@home.example"}}}}});
  ASSERT_EQ(run().status, 0);
  expectNothingPersonal(text());
  const Dictionary report = documentIn(text());
  EXPECT_EQ(report.get("legacyExchange"), PropertyList(Dictionary{{"present", false}}));
  EXPECT_NE(text().find("\"AccountType\": \"IMAPAccount\""), std::string::npos);
}

TEST_F(Report, LogLinesLoseTheirObjectsAndWhatIsPersonal) {
  root.putSettings(12, {personalAccount()});
  root.putText("/log",
               "Saving { Username = \"somebody.else\"; Deep = { Password = x; }; } done\n"
               "account 0123ABCD-1111-4222-8333-444455556666 of anna.berg@home.example\n"
               "also 99999999-AAAA-4BBB-8CCC-DDDDDDDDDDDD and unknown@elsewhere.example.\n"
               "in " +
                   root.path() + "/var: cut { Username = somebody.else\n");
  ASSERT_EQ(run({"--include-log", root.at("/log")}).status, 0);
  expectNothingPersonal(text());
  const Dictionary report = documentIn(text());
  const Array& lines = *report.array("log");
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], PropertyList("Saving { (not shown) } done"));
  EXPECT_TRUE(lines[1].stringValue()->starts_with("account identifier-1 of user-"));
  EXPECT_TRUE(lines[2].stringValue()->starts_with("also identifier-2 and user-"));
  EXPECT_TRUE(lines[2].stringValue()->ends_with("."));
  EXPECT_EQ(lines[3], PropertyList("in /var: cut { (not shown) }"));
}

TEST_F(Report, TellsWhatWasMigratedWhen) {
  root.putSettings(9, {personalAccount()});
  ASSERT_EQ(runTool({"migrate", "--root", root.path()}).status, 0);
  ASSERT_EQ(run().status, 0);
  expectNothingPersonal(text());
  EXPECT_EQ(schemaErrors("report.schema.json", text()), "");
  const Dictionary report = documentIn(text());
  const Array& backups = *report.array("backups");
  ASSERT_EQ(backups.size(), 1U);
  EXPECT_EQ(backups[0].dictionary()->get("fromVersion"), PropertyList(9));
  EXPECT_EQ(at(backups, 0, "steps").array()->size(), 3U);
}

TEST_F(Report, KnowsInALogTheAccountsThatAreNoLongerThere) {
  root.putSettings(9, {personalAccount()});
  ASSERT_EQ(runTool({"migrate", "--root", root.path()}).status, 0);
  root.putSettings(12, {});
  root.putText("/log", "the account My own mail of Anna Berg on mail.server.example\n");
  const ToolResult result = run({"--include-log", root.at("/log"), "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  expectNothingPersonal(text());
  // The summary is for whoever made the report, and names the root.
  for (const std::string& each : kPersonal) {
    EXPECT_EQ(result.out.find(each), std::string::npos) << each;
  }
}

TEST_F(Report, NothingOfAccountsThatAreBrokenIsTold) {
  Dictionary account = personalAccount();
  account.set("Class", "Möbel of Anna Berg");
  account.set("Type", "anna.berg");
  root.put(
      ToolRoot::kSettings,
      Dictionary{{"Version", 12},
                 {"mail.server.example", 1},
                 {"Accounts", Array{account, personalAccount(), personalAccount(), "Anna Berg"}}});
  ASSERT_EQ(run().status, 0);
  expectNothingPersonal(text());
  EXPECT_EQ(schemaErrors("report.schema.json", text()), "");
}

TEST_F(Report, UnreadableFilesAreToldWithTheReason) {
  root.putText("/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist", "nonsense");
  ASSERT_EQ(run().status, 0);
  expectNothingPersonal(text());
  const Dictionary report = documentIn(text());
  EXPECT_TRUE(report.dictionary("settings")->contains("problem"));
}

TEST_F(Report, RefusesBadInput) {
  EXPECT_EQ(runTool({"report", root.path()}).status, 2);
  EXPECT_EQ(runTool({"report", root.at("/nothing"), "--out", file()}).status, 3);
  EXPECT_EQ(runTool({"report", root.path(), "--out", root.path()}).status, 3);
  EXPECT_EQ(run({"--include-log", root.at("/nothing")}).status, 3);
  EXPECT_EQ(run({"--reveal"}).status, 2);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(Report, AFullDiskLeavesNoHalfReport) {
  root.putSettings(12, {personalAccount()});
  const ToolResult result =
      ToolRun({"report", root.path(), "--out", file()}).withFileSizeLimit(256).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find(file() + ": File too large"), std::string::npos) << result.err;
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

}  // namespace
}  // namespace accountsettings::testing
