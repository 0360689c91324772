// Tests of `show`, run as a process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

Dictionary cloudAccount() {
  const Dictionary child{{"Identifier", "C1"}, {"Type", "Quorra"}, {"Class", "QuorraAccount"}};
  return {{"Identifier", "Z"},
          {"Type", "ZelqoAccount"},
          {"Class", "ZQAccount"},
          {"DisplayName", "Cloud"},
          {"Username", "anna@cloud.example"},
          {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Mail", "com.zelqo.Dataclass.Notes"}},
          {"authToken", "tell nobody"},
          {"ChildAccounts", Array{child}}};
}

Dictionary plainAccount() {
  return {{"Identifier", "A"}, {"Type", "LDAP"}, {"Class", "LDAPAccount"}, {"X", 1}};
}

TEST(Show, DrawsATreeWithChildrenUnderTheirParents) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const ToolResult result = runTool({"show", root.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "device root " + root.path() +
                            "\n\n"
                            "Settings, version 12: 2 accounts, 1 child\n"
                            "├─ ZelqoAccount \"Cloud\"  ZQAccount  Z\n"
                            "│  │  anna@cloud.example | Mail, Notes | 1 more property\n"
                            "│  └─ Quorra  QuorraAccount  C1\n"
                            "└─ LDAP  LDAPAccount  A\n"
                            "      1 more property\n");
}

TEST(Show, TellsWhyAnAccountIsNotLoaded) {
  ToolRoot root;
  root.putSettings(12, {Dictionary{{"Identifier", "M"}, {"Type", "Mail"}, {"Class", "Unheard"}},
                        Dictionary{{"Identifier", "L"}, {"Type", "LDAP"}}, plainAccount()});
  const std::string mail = "its mail class is unknown and its \"AccountPath\" does not tell it";
  EXPECT_EQ(runTool({"show", root.path()}).out, "device root " + root.path() +
                                                    "\n\n"
                                                    "Settings, version 12: 3 accounts; 2 not "
                                                    "loaded\n"
                                                    "├─ Mail  Unheard  M\n"
                                                    "│     not loaded: " +
                                                    mail +
                                                    "\n"
                                                    "├─ LDAP  L\n"
                                                    "│     not loaded: it has no class\n"
                                                    "└─ LDAP  LDAPAccount  A\n"
                                                    "      1 more property\n\n"
                                                    "Why, and what to do about it: accountsettings "
                                                    "check --root " +
                                                    root.path() + "\n");
  const ToolResult result = runTool({"show", root.path(), "--json"});
  EXPECT_EQ(schemaErrors("show.schema.json", result.out), "");
  const Dictionary document = documentIn(result.out);
  EXPECT_EQ(at(document, "settings", "accounts", 0, "notLoaded"), PropertyList(mail));
  EXPECT_FALSE(at(document, "settings", "accounts", 2).dictionary()->contains("notLoaded"));
}

TEST(Show, TellsDuplicatesChildrenAndEntriesThatAreNotLoaded) {
  ToolRoot root;
  Dictionary parent = plainAccount();
  parent.set("ChildAccounts", Array{Dictionary{{"Identifier", "C"}, {"Type", "Pigeon"}}});
  root.putSettings(12, {mailAccount("M"), parent, mailAccount("M"), 5});
  const std::string text = runTool({"show", root.path()}).out;
  EXPECT_NE(text.find("Settings, version 12: 3 accounts, 1 child; 3 not loaded\n"
                      "├─ Mail \"Mail of M\"  IMAPAccount  #1 M\n"
                      "│     user-M | Mail\n"
                      "│     not loaded: a later account has the same identifier and takes its "
                      "place\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("not loaded: its type \"Pigeon\" is unknown\n"), std::string::npos) << text;
  const Dictionary document = documentIn(runTool({"show", root.path(), "--json"}).out);
  EXPECT_EQ(at(document, "settings", "notLoaded"), PropertyList(3));
  EXPECT_FALSE(at(document, "settings", "accounts", 2).dictionary()->contains("notLoaded"));
  EXPECT_EQ(at(document, "settings", "accounts", 2).dictionary()->get("place"), PropertyList("#3"));
  EXPECT_FALSE(at(document, "settings", "accounts", 1).dictionary()->contains("place"));
}

TEST(Show, DoesNotTakeAccountsOfTheWrongKindForNone) {
  ToolRoot root;
  root.put(ToolRoot::kSettings, Dictionary{{"Version", 12}, {"Accounts", Dictionary()}});
  const ToolResult result = runTool({"show", root.path()});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.out.find("cannot be read: \"Accounts\" is a dictionary instead of an array\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.err.find("see 'accountsettings check --root "), std::string::npos) << result.err;
}

TEST(Show, NamesTheOtherKeysOfTheFile) {
  ToolRoot root;
  root.put(
      ToolRoot::kSettings,
      Dictionary{
          {"Version", 12}, {"Second", 1}, {"Accounts", Array{plainAccount()}}, {"First", Array()}});
  const std::string text = runTool({"show", root.path()}).out;
  EXPECT_NE(text.find("Settings, version 12: 1 account\n"
                      "Other keys at the root: Second, First\n"
                      "└─ LDAP  LDAPAccount  A\n"),
            std::string::npos)
      << text;
  const ToolResult result = runTool({"show", root.path(), "--json"});
  EXPECT_EQ(schemaErrors("show.schema.json", result.out), "");
  EXPECT_EQ(at(documentIn(result.out), "settings", "otherKeys"),
            PropertyList(Array{"Second", "First"}));
}

TEST(Show, DrawsATable) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const ToolResult result = runTool({"show", root.path(), "--table"});
  EXPECT_EQ(result.out,
            "device root " + root.path() +
                "\n\n"
                "Settings, version 12: 2 accounts, 1 child\n"
                "TYPE          NAME   USER                CLASS          IDENTIFIER  ENABLED\n"
                "ZelqoAccount  Cloud  anna@cloud.example  ZQAccount      Z           Mail, Notes\n"
                "  Quorra                                 QuorraAccount  C1\n"
                "LDAP                                     LDAPAccount    A\n");
}

TEST(Show, HidesSecretsUnlessAskedForThem) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount()});
  for (const char* form : {"--all", "--json"}) {
    EXPECT_EQ(runTool({"show", root.path(), form}).out.find("tell nobody"), std::string::npos);
    EXPECT_NE(runTool({"show", root.path(), form, "--reveal"}).out.find("tell nobody"),
              std::string::npos);
  }
}

TEST(Show, FiltersByTypeClassDataclassAndIdentifier) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const auto found = [&](std::vector<std::string> filter) {
    filter.insert(filter.begin(), {"show", root.path(), "--json"});
    std::string identifiers;
    const ToolResult result = runTool(filter);
    const Dictionary document = documentIn(result.out);
    const Dictionary& settings = *document.dictionary("settings");
    for (const PropertyList& each : *settings.array("accounts")) {
      identifiers += std::string(*each.dictionary()->string("identifier"));
    }
    return identifiers;
  };
  EXPECT_EQ(found({}), "ZA");
  EXPECT_EQ(found({"--type", "LDAP"}), "A");
  EXPECT_EQ(found({"--type", "LDAP", "--type", "ZelqoAccount"}), "ZA");
  EXPECT_EQ(found({"--class", "ZQAccount"}), "Z");
  EXPECT_EQ(found({"--dataclass", "Notes"}), "Z");
  EXPECT_EQ(found({"--dataclass", "com.zelqo.Dataclass.Notes"}), "Z");
  EXPECT_EQ(found({"--id", "A"}), "A");
  EXPECT_EQ(found({"--type", "ldap"}), "A");
  EXPECT_EQ(found({"--dataclass", "notes"}), "Z");
  EXPECT_EQ(found({"--id", "a"}), "A");
  EXPECT_EQ(found({"--type", "Quorra"}), "Z");  // for its child's sake
  EXPECT_EQ(found({"--type", "LDAP", "--id", "Z"}), "");
}

TEST(Show, AFilterLeavesNoneThatDoNotHaveWhatIsAskedFor) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const auto shown = [&](std::vector<std::string> filter) {
    filter.insert(filter.begin(), {"show", root.path()});
    const std::string out = runTool(filter).out;
    return out.substr(out.find("Settings"));
  };
  EXPECT_EQ(shown({"--dataclass", "Mail"}),
            "Settings, version 12: 1 account (of 3 in all)\n"
            "└─ ZelqoAccount \"Cloud\"  ZQAccount  Z\n"
            "      anna@cloud.example | Mail, Notes | 1 more property\n");
  EXPECT_EQ(shown({"--type", "Quorra"}),
            "Settings, version 12: 0 accounts, 1 child (of 3 in all)\n"
            "└─ ZelqoAccount \"Cloud\"  ZQAccount  Z\n"
            "   │  (shown for its children)\n"
            "   └─ Quorra  QuorraAccount  C1\n");
  EXPECT_NE(shown({"--id", "Z"}).find("QuorraAccount  C1"), std::string::npos);
  const ToolResult json = runTool({"show", root.path(), "--type", "Quorra", "--json"});
  EXPECT_EQ(schemaErrors("show.schema.json", json.out), "");
  EXPECT_EQ(at(documentIn(json.out), "settings", "accounts", 0).dictionary()->get("context"),
            PropertyList(true));
}

// The table on a terminal of this width, line by line.
std::vector<std::string> tableOf(const ToolRoot& root, unsigned short columns) {
  const std::string out =
      ToolRun({"show", root.path(), "--table", "--color", "never"}).onTerminal(columns).run().out;
  std::vector<std::string> lines;
  std::istringstream stream(out);
  for (std::string line; std::getline(stream, line);) {
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(line);
  }
  while (!lines.empty() && !lines.front().starts_with("TYPE")) lines.erase(lines.begin());
  return lines;
}

TEST(Show, ATableMarksWhatIsNotLoaded) {
  ToolRoot root;
  Dictionary odd = mailAccount("ODD");
  odd.set("Type", "Pigeon");
  root.putSettings(12, {mailAccount("A"), odd, mailAccount("B"), mailAccount("B")});
  const std::string out = runTool({"show", root.path(), "--table"}).out;
  EXPECT_NE(out.find("4 accounts; 2 not loaded\n"), std::string::npos) << out;
  EXPECT_NE(out.find("ODD         not loaded: its type \"Pigeon\" is unknown\n"), std::string::npos)
      << out;
  EXPECT_NE(out.find("#3          not loaded: a later account"), std::string::npos) << out;
  EXPECT_NE(out.find("#4          Mail\n"), std::string::npos) << out;
  EXPECT_NE(out.find("accountsettings check --root"), std::string::npos) << out;
  for (const std::string& line : tableOf(root, 60)) {
    EXPECT_EQ(line.find("Pigeon") != std::string::npos,
              line.find("ODD") != std::string::npos && line.find("not loaded") != std::string::npos)
        << line;
  }
}

TEST(Show, ATableCutsIdentifiersDownToWhatTellsThemApart) {
  ToolRoot root;
  Array accounts;
  for (const char* identifier :
       {"1111AAAA-2222-3333-4444-555555555555", "1111AAAB-2222-3333-4444-555555555555",
        "9A000000-2222-3333-4444-555555555555"}) {
    Dictionary account = mailAccount(identifier);
    account.set("DisplayName", "Mail of the office");
    accounts.append(account);
  }
  root.putSettings(12, accounts);
  const std::vector<std::string> narrow = tableOf(root, 80);
  ASSERT_GE(narrow.size(), 4U);
  for (std::size_t line = 1; line < 4; ++line) {
    EXPECT_TRUE(narrow[line].starts_with("Mail  Mail of the office  ")) << narrow[line];
  }
  EXPECT_NE(narrow[1].find("  1111AAAA"), std::string::npos) << narrow[1];
  EXPECT_NE(narrow[1].find("…"), std::string::npos) << narrow[1];
  EXPECT_NE(narrow[2].find("  1111AAAB"), std::string::npos) << narrow[2];
  // What is shown of one is enough to name it.
  const std::size_t begin = narrow[2].find("1111AAAB");
  const std::string shown = narrow[2].substr(begin, narrow[2].find("…", begin) - begin);
  EXPECT_EQ(runTool({"get", shown, "DisplayName", "--root", root.path()}).status, 0) << shown;
  EXPECT_NE(tableOf(root, 160)[1].find("1111AAAA-2222-3333-4444-555555555555"), std::string::npos);
}

TEST(Show, ATableLeavesColumnsOutRatherThanCutWhatIsReadFirst) {
  ToolRoot root;
  Array accounts;
  for (const char* end : {"1", "2"}) {
    Dictionary account = mailAccount("5A0DE000-0001-4000-8000-00000000000" + std::string(end));
    account.set("DisplayName", "Mail of the office");
    accounts.append(account);
  }
  root.putSettings(12, accounts);
  const std::vector<std::string> lines = tableOf(root, 70);
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[1], "Mail  Mail of the office  5A0DE000-0001-4000-8000-000000000001");
  EXPECT_EQ(lines[3], "Columns are left out that do not fit.");
}

TEST(Show, AFilterWithoutAMatchTellsWhatThereIs) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const auto refusal = [&](std::vector<std::string> filter) {
    filter.insert(filter.begin(), {"show", root.path()});
    const ToolResult result = runTool(filter);
    EXPECT_EQ(result.status, 1);
    return result.err;
  };
  EXPECT_EQ(refusal({"--type", "LDPA"}),
            "accountsettings: --type 'LDPA': no account has it; did you mean 'LDAP'? there are: "
            "LDAP, Quorra, ZelqoAccount\n");
  EXPECT_EQ(refusal({"--type", "LDAP", "--dataclass", "Pigeons"}),
            "accountsettings: --dataclass 'Pigeons': no account has it; there are: Mail, Notes\n");
  EXPECT_EQ(refusal({"--type", "LDAP", "--type", "Pigeon"}),
            "accountsettings: --type 'Pigeon': no account has it; there are: LDAP, Quorra, "
            "ZelqoAccount\n");
  EXPECT_EQ(refusal({"--type", "LDAP", "--id", "Z"}),
            "accountsettings: no account has all that was asked for; leave one of the filters "
            "out\n");
}

TEST(Show, SaysWhatItWasGiven) {
  ToolRoot root;
  root.putSettings(11, {plainAccount()});
  EXPECT_EQ(runTool({"show", root.settingsPath()}).out.substr(0, 14), "settings file ");
  ASSERT_EQ(runTool({"migrate", "--root", root.path()}).status, 0);
  const std::filesystem::path backups = root.at("/var/mobile/Library/Logs/AccountMigrationBackups");
  const auto isBackup = [](const auto& each) { return each.is_directory(); };
  const std::string backup = std::find_if(std::filesystem::directory_iterator(backups),
                                          std::filesystem::directory_iterator(), isBackup)
                                 ->path();
  const ToolResult result = runTool({"show", backup});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.substr(0, 7), "backup ");
  EXPECT_NE(result.out.find("LDAPAccount  A"), std::string::npos);
}

TEST(Show, ShowsLegacyFilesToo) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts", Array{Dictionary{{"AccountType", "IMAPAccount"},
                                                        {"AccountName", "Old"},
                                                        {"uniqueId", "U"}}}}});
  root.put(ToolRoot::kLegacyExchange, Dictionary{{"DAAccountsKey", Array{Dictionary{}}}});
  const ToolResult result = runTool({"show", root.path()});
  EXPECT_NE(result.out.find("Legacy mail file: 1 account\n└─ Mail \"Old\"  IMAPAccount  U\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("Legacy Exchange file: 1 account\n└─ Exchange  #1 (no identifier)\n"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(schemaErrors("show.schema.json", runTool({"show", root.path(), "--json"}).out), "");
}

TEST(Show, ItsJsonFollowsTheSchema) {
  ToolRoot root;
  root.put(ToolRoot::kSettings,
           Dictionary{{"Accounts", Array{cloudAccount(), 5}}, {"Version", 12}, {"Extra", true}});
  const ToolResult result = runTool({"show", root.path(), "--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(schemaErrors("show.schema.json", result.out), "");
}

TEST(Show, CreatesNothing) {
  ToolRoot root;
  root.putSettings(9, {plainAccount()});
  const auto before = root.snapshot();
  EXPECT_EQ(runTool({"show", root.path()}).status, 0);
  EXPECT_EQ(root.snapshot(), before);
}

TEST(Show, TellsAnEmptyRoot) {
  ToolRoot root;
  const ToolResult result = runTool({"show", root.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "device root " + root.path() +
                            "\nThere are no account settings and no legacy files here.\n");
}

TEST(Show, TellsADamagedSettingsFileAndEndsWith3) {
  ToolRoot root;
  root.putText(ToolRoot::kSettings, "bplist00 and nothing else");
  const ToolResult ofRoot = runTool({"show", root.path()});
  EXPECT_EQ(ofRoot.status, 3);
  EXPECT_NE(ofRoot.out.find("Settings: cannot be read: it is probably cut off, byte "),
            std::string::npos)
      << ofRoot.out;
  EXPECT_NE(ofRoot.err.find("; see 'accountsettings check --root " + root.path() + "'"),
            std::string::npos)
      << ofRoot.err;
  EXPECT_EQ(schemaErrors("show.schema.json", runTool({"show", root.path(), "--json"}).out), "");
  const ToolResult ofFile = runTool({"show", root.settingsPath()});
  EXPECT_EQ(ofFile.status, 3);
  EXPECT_EQ(ofFile.out, "");
  EXPECT_NE(ofFile.err.find(root.settingsPath() + ": it is probably cut off, byte "),
            std::string::npos)
      << ofFile.err;
}

TEST(Show, TellsAFileThatIsMissing) {
  const ToolResult result = runTool({"show", "/nonexistent.plist"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err,
            "accountsettings: /nonexistent.plist: No such file or directory; check the path\n");
}

TEST(Show, TellsAFileThatMayNotBeRead) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  ToolRoot root;
  root.putSettings(12, {plainAccount()});
  std::filesystem::permissions(root.path(), std::filesystem::perms(0755));
  const ToolResult result = ToolRun({"show", root.settingsPath()}).asUser(12345).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("Permission denied; run as a user who may"), std::string::npos)
      << result.err;
}

TEST(Show, SaysOfHowManyAFilterLeftThese) {
  ToolRoot root;
  root.putSettings(12, {cloudAccount(), plainAccount()});
  const auto summary = [&](const char* type) {
    const std::string out = runTool({"show", root.path(), "--type", type}).out;
    return out.find(", version 12: ") == std::string::npos
               ? out
               : out.substr(out.find(": ") + 2,
                            out.find('\n', out.find(": ")) - out.find(": ") - 2);
  };
  EXPECT_EQ(summary("LDAP"), "1 account (of 3 in all)");
  EXPECT_EQ(summary("Nope"), "0 accounts (of 3 in all)");
}

TEST(Show, AnOverlongNameDoesNotPushTheRestAway) {
  ToolRoot root;
  Dictionary account = plainAccount();
  std::string name;
  for (int i = 0; i < 1000; ++i) name += "é";
  const std::string cut = name.substr(0, 59 * std::string("é").size()) + "…";
  account.set("DisplayName", name);
  root.putSettings(12, {account});
  for (const char* form : {"--table", "--all"}) {
    const std::string out = runTool({"show", root.path(), form}).out;
    EXPECT_NE(out.find(cut), std::string::npos) << form;
    EXPECT_EQ(out.find("é" + cut), std::string::npos) << form;
    EXPECT_LT(out.size(), 700U) << form;
  }
}

TEST(Show, CutsListsAndValuesOfMoreThanTheirColumns) {
  const auto shown = [](std::size_t enabled, std::size_t value) {
    ToolRoot root;
    Dictionary account = plainAccount();
    account.set("Enabled Dataclasses", Array{std::string(enabled, 'e')});
    account.set("X", std::string(value, 'x'));
    root.putSettings(12, {account});
    const std::string out = runTool({"show", root.path(), "--all"}).out;
    return out.substr(out.find("└─"));
  };
  const auto lines = [](std::size_t enabled, std::size_t value, const std::string& end) {
    return "└─ LDAP  LDAPAccount  A\n      " + std::string(enabled, 'e') + end + "\n      X: \"" +
           std::string(value, 'x') + (end.empty() ? "\"" : end) + "\n";
  };
  EXPECT_EQ(shown(300, 70), lines(300, 70, ""));
  EXPECT_EQ(shown(301, 71), lines(299, 70, "…"));
}

TEST(Show, ColumnsAreAsWideAsTheirCharacters) {
  ToolRoot root;
  Dictionary account = plainAccount();
  account.set("DisplayName", "éééééé");
  root.putSettings(12, {account});
  const std::string out = runTool({"show", root.path(), "--table"}).out;
  EXPECT_NE(out.find("\nTYPE  NAME    USER  CLASS"), std::string::npos) << out;
  EXPECT_NE(out.find("\nLDAP  éééééé        LDAPAccount"), std::string::npos) << out;
}

TEST(Show, ItsJsonShowsATerminalNoControlCharacters) {
  ToolRoot root;
  Dictionary account = plainAccount();
  account.set("DisplayName", "\033[31m\xC2\x9B\x7F");
  root.putSettings(12, {account});
  const std::string out = runTool({"show", root.path(), "--json"}).out;
  EXPECT_EQ(out.find_first_of("\033\x7F"), std::string::npos);
  EXPECT_EQ(out.find("\xC2\x9B"), std::string::npos);
  EXPECT_NE(out.find("\\u009b\\u007f\""), std::string::npos) << out;
  const Dictionary document = documentIn(out);
  const PropertyList* accounts = document.dictionary("settings")->find("accounts");
  EXPECT_EQ(at(*accounts, 0, "name"), account.get("DisplayName"));
}

TEST(Show, TextsThatAreNotUnicodeFollowTheSchemaToo) {
  ToolRoot root;
  const std::string lone = "\xED\xA0\x80";
  root.put(ToolRoot::kSettings,
           Dictionary{{"Version", 12},
                      {lone, 1},
                      {"Accounts", Array{Dictionary{{"Identifier", lone},
                                                    {"Type", "Mail"},
                                                    {"Class", lone},
                                                    {"DisplayName", lone},
                                                    {"Username", lone},
                                                    {"Enabled Dataclasses", Array{lone}},
                                                    {lone, lone}}}}});
  const ToolRoot empty;
  EXPECT_EQ(schemaErrors("show.schema.json", runTool({"show", root.path(), "--json"}).out), "");
  EXPECT_EQ(schemaErrors("check.schema.json", runTool({"check", root.path(), "--json"}).out), "");
  EXPECT_EQ(schemaErrors("migration.schema.json", runTool({"plan", root.path(), "--json"}).out),
            "");
  EXPECT_EQ(
      schemaErrors("diff.schema.json", runTool({"diff", empty.path(), root.path(), "--json"}).out),
      "");
}

TEST(Show, ControlCharactersOfAFileDoNotReachTheTerminal) {
  ToolRoot root;
  Dictionary account = plainAccount();
  account.set("DisplayName", "\033[31mred\x07\xC2\x9B");
  root.putSettings(12, {account});
  const std::string out = runTool({"show", root.path()}).out;
  EXPECT_EQ(out.find_first_of("\033\x07"), std::string::npos);
  EXPECT_NE(out.find("\"\\x1b[31mred\\x07\\x9b\""), std::string::npos) << out;
}

}  // namespace
}  // namespace accountsettings::testing
