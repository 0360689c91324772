// Tests of `history ACCOUNT [KEY]`, run as processes: which run and which step changed an account,
// whatever identifiers it had, and that no secret and no endless list is kept for that.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHistory = "/var/mobile/Library/Logs/AccountMigrationBackups/history";

class AccountHistory : public ::testing::Test {
 protected:
  ToolResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--root", root_.path()});
    return runTool(std::move(arguments));
  }

  // The document about an account.
  Dictionary told(const std::string& account, const std::string& key = "") {
    std::vector<std::string> arguments{"history", account, "--json"};
    if (!key.empty()) arguments.insert(arguments.begin() + 2, key);
    const ToolResult result = run(arguments);
    EXPECT_EQ(schemaErrors("account-history.schema.json", result.out), "");
    return documentIn(result.out);
  }

  // "RUN STEP FATE key: from -> to" for each event, one line for each key; one for an event alone.
  std::string linesOf(const std::string& account, const std::string& key = "") {
    std::string lines;
    const Array events = told(account, key).arrayOrEmpty("events");
    for (const PropertyList& each : events) {
      const Dictionary& run = *each.dictionary()->dictionary("run");
      const Dictionary& change = *each.dictionary()->dictionary("change");
      const auto text = [](const Dictionary& from, const char* name) {
        return std::string(from.string(name).value_or("-"));
      };
      lines += text(run, "command") + " " + text(change, "step") + " " + text(change, "fate") +
               " " + text(change, "account") + "\n";
      for (const PropertyList& entry : change.arrayOrEmpty("keys")) {
        const Dictionary& keys = *entry.dictionary();
        lines += "  " + text(keys, "key") + ": " + text(keys, "from") + " -> " + text(keys, "to") +
                 (keys.contains("movedTo") ? ", now " + text(keys, "movedTo") : "") + "\n";
      }
    }
    return lines;
  }

  std::string keptText() {
    std::ifstream file(root_.at(kHistory));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  ToolRoot root_;
};

TEST_F(AccountHistory, AnIdentifierThatNoDescriptionHadIsCalledNew) {
  root_.put(ToolRoot::kLegacyMail,
            Dictionary{{"MailAccounts",
                        Array{Dictionary{{"AccountType", "IMAPAccount"}, {"AccountName", "New"}},
                              Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "OLD"}}}}});
  ASSERT_EQ(run({"migrate"}).status, 0);
  const Dictionary settings = root_.settings();
  std::string made;
  for (const PropertyList& each : settings.arrayOrEmpty("Accounts")) {
    if (each.dictionary()->string("DisplayName") == "New") {
      made = std::string(*each.dictionary()->string("Identifier"));
    }
  }
  ASSERT_FALSE(made.empty());
  const ToolResult shown = run({"history", made, "Identifier"});
  const std::string anew = shown.out + shown.err;
  EXPECT_NE(anew.find("+ Identifier: \"" + made +
                      "\", because the description has none, and a new one was made\n"),
            std::string::npos)
      << anew;
  EXPECT_EQ(anew.find("from \"uniqueId\""), std::string::npos) << anew;
  const std::string old = run({"history", "OLD", "Identifier"}).out;
  EXPECT_NE(old.find("+ Identifier: \"OLD\", from \"uniqueId\"\n"), std::string::npos) << old;
}

TEST_F(AccountHistory, FollowsAnAccountAcrossItsIdentifiers) {
  Dictionary account = mailAccount("FIRST");
  account.set("uniqueId", "SECOND");
  root_.putSettings(1, {account, mailAccount("OTHER")});
  ASSERT_EQ(run({"migrate", "--no-backup"}).status, 0);
  ASSERT_EQ(run({"set", "SECOND", "DisplayName", "New"}).status, 0);
  const std::string expected =
      "migrate _migrateAccountsFrom7A150: changed SECOND\n"
      "  Identifier: \"FIRST\" -> \"SECOND\"\n"
      "  uniqueId: \"SECOND\" -> -, now Identifier\n";
  EXPECT_EQ(linesOf("SECOND", "Identifier"), expected);
  EXPECT_EQ(linesOf("first", "Identifier"), expected) << "in any case, by the old identifier";
  EXPECT_NE(linesOf("FIRST", "DisplayName").find("set - changed SECOND\n  DisplayName: "),
            std::string::npos);
  EXPECT_NE(linesOf("FIRST", "DisplayName").find(" -> \"New\"\n"), std::string::npos);
  EXPECT_EQ(linesOf("SECOND").find("OTHER"), std::string::npos);
  const std::string text = run({"history", "FIRST", "Identifier"}).out;
  EXPECT_NE(text.find("7A150, give accounts their own identifiers: changed SECOND"),
            std::string::npos)
      << text;
}

TEST_F(AccountHistory, BeginsWithTheLegacyFileThatAnAccountCameFrom) {
  root_.put(ToolRoot::kLegacyMail,
            Dictionary{{"MailAccounts", Array{Dictionary{{"uniqueId", "L"},
                                                         {"AccountType", "IMAPAccount"},
                                                         {"AccountName", "Old name"},
                                                         {"Username", "ann"}}}}});
  ASSERT_EQ(run({"migrate"}).status, 0);
  const Array events = told("L", "DisplayName").arrayOrEmpty("events");
  ASSERT_GE(events.size(), 1U);
  const Dictionary& change = *events[0].dictionary()->dictionary("change");
  EXPECT_EQ(change.string("fate"), "added");
  EXPECT_EQ(change.string("step"), "_migrateMailAccounts:");
  EXPECT_EQ(change.string("file"), ToolRoot::kLegacyMail);
  const std::string text = run({"history", "L", "DisplayName"}).out;
  EXPECT_NE(text.find("+ DisplayName: \"Old name\", from \"AccountName\""), std::string::npos)
      << text;
}

TEST_F(AccountHistory, SaysByWhichRuleAnAccountWentAndHowToUndoItWhileThatCanBeDone) {
  Dictionary calendar{{"Identifier", "CAL"},
                      {"Type", "OnMyDevice"},
                      {"Class", "DeviceLocalAccount"},
                      {"DisplayName", "Mine"}};
  root_.putSettings(2, {mailAccount("A"), calendar});
  ASSERT_EQ(run({"migrate"}).status, 0);
  std::string text = run({"history", "CAL"}).out;
  EXPECT_NE(text.find("the on-this-device account is made anew"), std::string::npos) << text;
  EXPECT_NE(text.find("undo with: accountsettings restore --root "), std::string::npos) << text;
  ASSERT_EQ(run({"restore"}).status, 0);
  EXPECT_NE(linesOf("CAL").find("restore - "), std::string::npos) << linesOf("CAL");
  const std::string before = linesOf("CAL");
  fs::path backups = fs::path(root_.at(kHistory)).parent_path();
  for (const auto& each : fs::directory_iterator(backups)) {
    if (each.is_directory()) fs::remove_all(each.path());
  }
  EXPECT_EQ(linesOf("CAL"), before) << "the backups are not needed";
  text = run({"history", "CAL"}).out;
  EXPECT_EQ(text.find("undo with"), std::string::npos) << text;
}

TEST_F(AccountHistory, TellsEditsFromWhatToWhat) {
  root_.putSettings(12, {mailAccount("A")});
  ASSERT_EQ(run({"set", "A", "PortNumber", "143", "--type", "int"}).status, 0);
  ASSERT_EQ(run({"set", "A", "PortNumber", "993", "--type", "int"}).status, 0);
  ASSERT_EQ(run({"set", "A", "PortNumber", "--unset"}).status, 0);
  ASSERT_EQ(run({"enable", "A", "Notes"}).status, 0);
  ASSERT_EQ(run({"remove", "A"}).status, 0);
  EXPECT_EQ(linesOf("A", "PortNumber"),
            "set - changed A\n  PortNumber: - -> 143\n"
            "set - changed A\n  PortNumber: 143 -> 993\n"
            "set - changed A\n  PortNumber: 993 -> -\n"
            "remove - removed A\n");
  EXPECT_NE(linesOf("A", "Enabled Dataclasses").find(", Notes\n"), std::string::npos);
  const ToolResult mistyped = run({"history", "A", "PortNubmer"});
  EXPECT_EQ(mistyped.status, 1);
  EXPECT_NE(mistyped.out.find("No run that the history tells of changed its \"PortNubmer\"."),
            std::string::npos)
      << mistyped.out;
  // What came is green, what changed yellow, and what went red.
  const std::string coloured = run({"history", "A", "PortNumber", "--color", "always"}).out;
  const std::size_t came = coloured.find("\033[32m");
  const std::size_t changed = coloured.find("\033[33m", came);
  EXPECT_NE(coloured.find("+ PortNumber: 143", came), std::string::npos) << coloured;
  EXPECT_NE(coloured.find("~ PortNumber: 143 -> 993", changed), std::string::npos) << coloured;
  EXPECT_NE(coloured.find("- PortNumber: 993", coloured.find("\033[31m", changed)),
            std::string::npos)
      << coloured;
}

TEST_F(AccountHistory, OfALongValueKeepsTheBeginning) {
  root_.putSettings(12, {mailAccount("A")});
  ASSERT_EQ(run({"set", "A", "Note", std::string(200, 'x')}).status, 0);
  ASSERT_EQ(run({"set", "A", "Note", std::string(200, 'y')}).status, 0);
  const std::string before = "\"" + std::string(118, 'x') + "…";
  const std::string after = "\"" + std::string(118, 'y') + "…";
  EXPECT_EQ(linesOf("A", "Note"), "set - changed A\n  Note: - -> " + before +
                                      "\nset - changed A\n  Note: " + before + " -> " + after +
                                      "\n");
}

TEST_F(AccountHistory, KeepsNoSecret) {
  Dictionary account = mailAccount("A");
  account.set("Password", "secret-of-the-file");
  account.set("Nested", Dictionary{{"AuthToken", "secret-of-the-file"}});
  account.set("uniqueId", "B");
  root_.putSettings(1, {account});
  ASSERT_EQ(run({"migrate"}).status, 0);
  ASSERT_EQ(run({"set", "B", "Password", "secret-of-the-edit"}).status, 0);
  ASSERT_EQ(run({"remove", "B"}).status, 0);
  EXPECT_EQ(keptText().find("secret-of"), std::string::npos);
  EXPECT_EQ(linesOf("B", "Password"),
            "set - changed B\n  Password: \"(hidden)\" -> \"(hidden)\"\n"
            "remove - removed B\n  Password: \"(hidden)\" -> -\n");
}

TEST_F(AccountHistory, OfVeryManyChangesKeepsSomeOfEachStepAndSaysThatThereWereMore) {
  Array accounts;
  for (int i = 0; i < 2'000; ++i) {
    Dictionary account = mailAccount("ACCOUNT-" + std::to_string(i));
    account.set("uniqueId", "RENAMED-" + std::to_string(i));
    account.set("IsActive", true);
    accounts.append(account);
  }
  root_.putSettings(1, accounts);
  ASSERT_EQ(run({"migrate"}).status, 0);
  EXPECT_LT(keptText().size(), 200'000U);
  const Dictionary document = told("RENAMED-0");
  EXPECT_EQ(document.integer("incompleteRuns"), 1);
  EXPECT_NE(linesOf("RENAMED-0").find("7A150"), std::string::npos) << linesOf("RENAMED-0");
  EXPECT_NE(linesOf("RENAMED-0").find("7A242"), std::string::npos) << linesOf("RENAMED-0");
  EXPECT_EQ(linesOf("RENAMED-1999"), "");
  const std::string text = run({"history", "RENAMED-1999"}).out;
  EXPECT_NE(text.find("1 run changed more than the history keeps of one"), std::string::npos)
      << text;
}

TEST_F(AccountHistory, WhatIsNoPathAtAllIsTakenForAnAccount) {
  root_.putSettings(12, {mailAccount("A")});
  const ToolResult unknown = run({"history", std::string(300, 'A')});
  EXPECT_EQ(unknown.status, 3);
  EXPECT_NE(unknown.err.find("neither the device nor its history knows it"), std::string::npos)
      << unknown.err;
}

TEST_F(AccountHistory, AnAccountThatNothingChangedAndOneThatNobodyKnows) {
  root_.putSettings(12, {mailAccount("A"), mailAccount("B")});
  ASSERT_EQ(run({"set", "A", "X", "1"}).status, 0);
  const ToolResult unchanged = run({"history", "B"});
  EXPECT_EQ(unchanged.status, 1);
  EXPECT_EQ(unchanged.out, "Account B\nNo run that the history tells of changed it.\n");
  const ToolResult otherKey = run({"history", "A", "Y"});
  EXPECT_EQ(otherKey.status, 1);
  EXPECT_NE(otherKey.out.find("changed its \"Y\".\n"), std::string::npos) << otherKey.out;
  const ToolResult changed = run({"history", "A", "X"});
  EXPECT_EQ(changed.status, 0);
  EXPECT_EQ(changed.out.find("No run"), std::string::npos) << changed.out;
  const ToolResult unknown = run({"history", "C"});
  EXPECT_EQ(unknown.status, 3);
  EXPECT_NE(unknown.err.find("account 'C': neither the device nor its history knows it"),
            std::string::npos)
      << unknown.err;
}

}  // namespace
}  // namespace accountsettings::testing
