// Tests of `diff`, run as a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

Dictionary with(Dictionary account, std::string_view key, PropertyList value) {
  account.set(key, std::move(value));
  return account;
}

TEST(Diff, SameSettingsEndWithZero) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const ToolResult result = runTool({"diff", root.path(), root.settingsPath()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "--- device root " + root.path() + "\n+++ settings file " +
                            root.settingsPath() + "\nThe account settings are the same.\n");
}

TEST(Diff, AChildWithoutIdentifierIsNamedAfterItsParent) {
  ToolRoot before;
  ToolRoot after;
  const Dictionary child = {{"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}};
  before.putSettings(12, {mailAccount("A"), with(mailAccount("P"), "ChildAccounts", Array{child})});
  after.putSettings(12, {mailAccount("A"), with(mailAccount("P"), "ChildAccounts",
                                                Array{with(child, "Username", "x")})});
  const std::string out = runTool({"diff", before.path(), after.path()}).out;
  EXPECT_NE(out.find("~ CalDAV \"x\"  P/#1\n"), std::string::npos) << out;
}

TEST(Diff, DifferencesAreShownAccountByAccount) {
  ToolRoot before;
  ToolRoot after;
  const Dictionary child = {{"Identifier", "C"}, {"Type", "CalDAV"}, {"Class", "X"}};
  before.putSettings(9, {with(mailAccount("A"), "ChildAccounts", Array{child}), mailAccount("B")});
  Dictionary changed = mailAccount("A");
  changed.set("Enabled Dataclasses", PropertyList(Array{"com.zelqo.Dataclass.Notes"}));
  changed.set("Username", PropertyList("other"));
  changed.set("ChildAccounts", PropertyList(Array{with(child, "Port", 1)}));
  after.putSettings(12, {changed, Dictionary{{"Identifier", "N"}, {"Type", "LDAP"}}});
  const ToolResult result = runTool({"diff", before.path(), after.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "--- device root " + before.path() + "\n+++ device root " + after.path() +
                            "\n"
                            "3 accounts before, 3 after; 2 changed, 1 dropped, 1 added\n"
                            "~ Version: 9 -> 12\n"
                            "~ Mail \"Mail of A\"  A\n"
                            "    ~ Username: \"user-A\" -> \"other\"\n"
                            "    ~ Enabled Dataclasses: +Notes -Mail\n"
                            "    ~ CalDAV  C\n"
                            "        + Port: 1\n"
                            "+ LDAP  N\n"
                            "    + Identifier: \"N\"\n"
                            "    + Type: \"LDAP\"\n"
                            "- Mail \"Mail of B\"  B\n");
  const ToolResult verbose = runTool({"diff", "-v", before.path(), after.path()});
  EXPECT_EQ(verbose.out, result.out +
                             "    - Identifier: \"B\"\n"
                             "    - Type: \"Mail\"\n"
                             "    - Class: \"IMAPAccount\"\n"
                             "    - DisplayName: \"Mail of B\"\n"
                             "    - Username: \"user-B\"\n"
                             "    ~ Enabled Dataclasses: -Mail\n");
  const ToolResult json = runTool({"diff", "--json", before.path(), after.path()});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(schemaErrors("diff.schema.json", json.out), "");
  const Dictionary document = documentIn(json.out);
  EXPECT_EQ(document.get("same"), PropertyList(false));
  EXPECT_EQ(at(document, "changes", "accounts").array()->size(), 3U);
}

TEST(Diff, AValueIsCutWhereTheTerminalEnds) {
  const auto shown = [](std::size_t longer) {
    const auto letters = [&](char letter, std::size_t count) {
      return std::string(count + longer, letter);
    };
    const Dictionary account = {{"Identifier", "A"}, {"Type", "LDAP"}};
    ToolRoot before;
    ToolRoot after;
    before.putSettings(12,
                       {with(with(account, "Else", letters('b', 43)), "Gone", letters('g', 46))});
    after.putSettings(12,
                      {with(with(account, "Else", letters('a', 50)), "Came", letters('c', 46))});
    return ToolRun({"diff", "--color=never", before.path(), after.path()}).onTerminal(60).run().out;
  };
  // Each line is as long as the terminal is wide.
  const auto lines = [](const std::string& end) {
    return "~ LDAP  A\r\n"
           "    ~ Else: \"" +
           std::string(43, 'b') + end +
           " ->\r\n"
           "        \"" +
           std::string(50, 'a') + end +
           "\r\n"
           "    - Gone: \"" +
           std::string(46, 'g') + end +
           "\r\n"
           "    + Came: \"" +
           std::string(46, 'c') + end + "\r\n";
  };
  EXPECT_THAT(shown(0), EndsWith(lines("\"")));
  EXPECT_THAT(shown(1), HasSubstr(lines("…")));
}

TEST(Diff, AnAccountThatBecameAChildIsNotShownAsLost) {
  ToolRoot before;
  ToolRoot after;
  const Dictionary cloud = {{"Identifier", "P"}, {"Type", "ZelqoAccount"}, {"Class", "ZQAccount"}};
  before.putSettings(12, {cloud, mailAccount("A")});
  after.putSettings(12, {with(cloud, "ChildAccounts", Array{mailAccount("A")})});
  const ToolResult result = runTool({"diff", before.path(), after.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, EndsWith("~ Mail \"Mail of A\"  A  now a child of P\n"));
  const ToolResult json = runTool({"diff", "--json", before.path(), after.path()});
  EXPECT_EQ(schemaErrors("diff.schema.json", json.out), "");
  EXPECT_THAT(json.out, HasSubstr("\"movedTo\": \"P\""));
}

TEST(Diff, LegacyDescriptionsAreTheAccountsThatTheyBecome) {
  ToolRoot before;
  ToolRoot after;
  const Dictionary description{
      {"uniqueId", "U"}, {"AccountType", "IMAPAccount"}, {"AccountName", "Home"}};
  before.putSettings(12, {mailAccount("A")});
  before.put(ToolRoot::kLegacyMail,
             Dictionary{{"MailAccounts", Array{description, with(description, "uniqueId", "A")}}});
  after.putSettings(12, {mailAccount("A"), Dictionary{{"Identifier", "U"},
                                                      {"Type", "Mail"},
                                                      {"Class", "IMAPAccount"},
                                                      {"DisplayName", "Home"},
                                                      {"Port", 993}}});
  const ToolResult result = runTool({"diff", before.path(), after.path()});
  EXPECT_THAT(result.out, HasSubstr(before.path() + " (with its legacy files)\n"));
  EXPECT_THAT(result.out, HasSubstr("2 accounts before, 2 after; 1 kept, 1 changed\n"));
  EXPECT_THAT(result.out, HasSubstr("    + Port: 993\n"));
  EXPECT_EQ(runTool({"diff", before.path(), before.path()}).status, 0);
  before.putText(ToolRoot::kLegacyMail, "<plist><dict></plist>");
  EXPECT_EQ(runTool({"diff", before.path(), after.path()}).status, 3);
}

TEST(Diff, SecretsAreHiddenUnlessAskedFor) {
  ToolRoot before;
  ToolRoot after;
  before.putSettings(12, {with(mailAccount("A"), "Password", "old-word")});
  after.putSettings(12, {with(mailAccount("A"), "Password", "new-word")});
  const ToolResult hidden = runTool({"diff", before.path(), after.path()});
  EXPECT_EQ(hidden.status, 1);
  EXPECT_EQ(hidden.out.find("word\""), std::string::npos) << hidden.out;
  const ToolResult json = runTool({"diff", before.path(), after.path(), "--json"});
  EXPECT_EQ(json.out.find("-word"), std::string::npos) << json.out;
  const ToolResult shown = runTool({"diff", before.path(), after.path(), "--reveal"});
  EXPECT_NE(shown.out.find("\"old-word\" -> \"new-word\""), std::string::npos) << shown.out;
}

TEST(Diff, ARootWithoutSettingsCountsAsEmpty) {
  ToolRoot empty;
  ToolRoot full;
  full.putSettings(12, {mailAccount("A")});
  const ToolResult result = runTool({"diff", empty.path(), full.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.out.starts_with("--- device root " + empty.path() + " (no settings file)\n"));
}

TEST(Diff, RefusesWhatIsNoSettings) {
  ToolRoot root;
  root.putSettings(12, {});
  root.put("/odd.plist", Array{1});
  const ToolResult odd = runTool({"diff", root.path(), root.at("/odd.plist")});
  EXPECT_EQ(odd.status, 3);
  EXPECT_EQ(odd.err, "accountsettings: " + root.at("/odd.plist") +
                         ": it holds no dictionary, so these are no settings; give a settings "
                         "file, a device root or a backup\n");
  root.putText("/broken.plist", "<plist><dict></plist>");
  EXPECT_EQ(runTool({"diff", root.path(), root.at("/broken.plist")}).status, 3);
  EXPECT_EQ(runTool({"diff", root.path(), root.at("/missing")}).status, 3);
  EXPECT_EQ(runTool({"diff", root.path()}).status, 2);
}

TEST(Diff, ColourIsForTerminalsOnly) {
  ToolRoot before;
  ToolRoot after;
  before.putSettings(12, {});
  after.putSettings(12, {mailAccount("A")});
  const ToolRun diff = ToolRun({"diff", before.path(), after.path()}).withVariable("TERM", "xterm");
  EXPECT_EQ(ToolRun(diff).run().out.find('\033'), std::string::npos);
  const std::string coloured = ToolRun(diff).onTerminal().run().out;
  EXPECT_NE(coloured.find("\033[32m+ Mail \"Mail of A\"  A\033[0m"), std::string::npos) << coloured;
  const ToolResult plain = ToolRun(diff).onTerminal().withVariable("NO_COLOR", "1").run();
  EXPECT_EQ(plain.out.find('\033'), std::string::npos) << plain.out;
}

TEST(Diff, AFileIsGivenTitlesAndValuesOfSixtyColumns) {
  const auto shown = [](std::size_t title, std::size_t value) {
    const Dictionary account = {
        {"Identifier", "A"}, {"Type", "LDAP"}, {"DisplayName", std::string(title, 't')}};
    ToolRoot before;
    ToolRoot after;
    before.putSettings(12, {account});
    after.putSettings(12, {with(account, "X", std::string(value, 'x'))});
    return runTool({"diff", before.path(), after.path()}).out;
  };
  const auto lines = [](const std::string& end) {
    return "\n~ LDAP \"" + std::string(53, 't') + end + "  A\n    + X: \"" + std::string(58, 'x') +
           end + "\n";
  };
  EXPECT_THAT(shown(53, 58), EndsWith(lines("\"")));
  EXPECT_THAT(shown(54, 59), EndsWith(lines("…")));
}

TEST(Diff, NoTextOfAFileSpeaksToTheTerminal) {
  ToolRoot before;
  ToolRoot after;
  before.putSettings(12, {});
  after.putSettings(12, {with(mailAccount("A\033[2J"), "K\033]0;x", "V\xC2\x9B\033")});
  const ToolResult result = ToolRun({"diff", before.path(), after.path()}).onTerminal().run();
  EXPECT_EQ(result.out.find("\033[2J"), std::string::npos);
  EXPECT_EQ(result.out.find("\033]"), std::string::npos);
  EXPECT_EQ(result.out.find("\xC2\x9B"), std::string::npos);
}

TEST(Diff, CreatesNothing) {
  ToolRoot before;
  ToolRoot after;
  before.putSettings(12, {});
  const auto snapshots = std::pair(before.snapshot(), after.snapshot());
  static_cast<void>(runTool({"diff", before.path(), after.path()}));
  EXPECT_EQ(std::pair(before.snapshot(), after.snapshot()), snapshots);
}

}  // namespace
}  // namespace accountsettings::testing
