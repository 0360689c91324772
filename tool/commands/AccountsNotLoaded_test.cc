// Tests that accounts which the store does not load can be mended and taken away by the commands
// that are advised, and that no edit of another account loses or changes them.
#include <gtest/gtest.h>
#include <wordexp.h>

#include <map>
#include <regex>

#include "testing/ChangedKey.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

using testing::with;
using testing::without;

Dictionary child(std::string_view identifier) {
  return {{"Identifier", identifier}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}};
}

// Every way in which an account is not loaded, or not told apart, among two that are in order.
Array troubledAccounts() {
  const Dictionary parent = {
      {"Identifier", "P"},
      {"Type", "ZelqoAccount"},
      {"Class", "ZQAccount"},
      {"ChildAccounts", Array{child("C"), with(child("C"), "DisplayName", "again"),
                              without(child("N"), "Identifier"), with(child("T"), "Type", "CalDev"),
                              without(child("K"), "Class"), 7, child("GOOD CHILD")}}};
  return {mailAccount("GOOD"),
          with(mailAccount("TYPO"), "Type", "Mial"),
          without(mailAccount("NO TYPE"), "Type"),
          with(with(child("CALENDARS"), "Type", "Days"), "Class", "SubscribedCalendarAccount"),
          with(with(mailAccount("ODD"), "Type", "Pigeon"), "Class", "PigeonAccount"),
          without(mailAccount("NOCLASS"), "Class"),
          with(mailAccount("UNFIXABLE"), "Class", "Strange"),
          with(mailAccount("DUP"), "DisplayName", "first"),
          "odd",
          with(mailAccount("DUP"), "DisplayName", "second"),
          with(mailAccount("DUP"), "DisplayName", "third"),
          without(mailAccount("NAMELESS"), "Identifier"),
          parent};
}

// The words of a command line, as a shell reads them.
std::vector<std::string> wordsOf(const std::string& line) {
  wordexp_t read{};
  EXPECT_EQ(::wordexp(line.c_str(), &read, WRDE_NOCMD | WRDE_UNDEF), 0) << line;
  std::vector<std::string> words(read.we_wordv, read.we_wordv + read.we_wordc);
  ::wordfree(&read);
  return words;
}

// The commands that a text advises, without the program's name.
std::vector<std::vector<std::string>> commandsIn(const std::string& text) {
  static const std::regex command("'(accountsettings [^'`]*)'|`(accountsettings [^`]*)`");
  std::vector<std::vector<std::string>> commands;
  for (std::sregex_iterator at(text.begin(), text.end(), command), end; at != end; ++at) {
    std::vector<std::string> words = wordsOf((*at)[1].matched ? (*at)[1] : (*at)[2]);
    words.erase(words.begin());
    commands.push_back(std::move(words));
  }
  return commands;
}

class AccountsNotLoaded : public ::testing::Test {
 protected:
  ToolResult run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--root", root.path()});
    return runTool(std::move(arguments));
  }

  [[nodiscard]] Array accounts() const { return *root.settings().array("Accounts"); }

  [[nodiscard]] std::vector<Dictionary> findings() const {
    std::vector<Dictionary> findings;
    const Dictionary document = documentIn(run({"check", "--json"}).out);
    for (const PropertyList& each : document.arrayOrEmpty("findings")) {
      findings.push_back(*each.dictionary());
    }
    return findings;
  }

  // How often each kind was found.
  [[nodiscard]] std::map<std::string, int> kinds() const {
    std::map<std::string, int> kinds;
    for (const Dictionary& each : findings()) ++kinds[std::string(*each.string("code"))];
    return kinds;
  }

  // Whether the lists are the same but for one member, which is another or gone.
  static bool differByOne(const Array& before, const Array& after) {
    std::size_t first = 0;
    while (first < after.size() && before[first] == after[first]) ++first;
    const std::size_t gone = before.size() - after.size();
    for (std::size_t i = first + (gone == 0 ? 1 : 0); i < after.size(); ++i) {
      if (before[i + gone] != after[i]) return false;
    }
    return gone <= 1 && first < before.size();
  }

  // The same, also where the member that differs is an account that differs by one child.
  static bool differByOneAccount(const Array& before, const Array& after) {
    if (!differByOne(before, after)) return false;
    if (before.size() != after.size() || before[12] == after[12]) return true;
    return without(*before[12].dictionary(), "ChildAccounts") ==
               without(*after[12].dictionary(), "ChildAccounts") &&
           differByOne(*before[12].dictionary()->array("ChildAccounts"),
                       *after[12].dictionary()->array("ChildAccounts"));
  }

  // Runs every command that is advised about accounts of settings of this version on the same
  // settings anew.
  void followAllAdvice(std::int64_t version) {
    const Array before = troubledAccounts();
    root.putSettings(version, before);
    const std::vector<Dictionary> found = findings();
    const std::map<std::string, int> kindsBefore = kinds();
    std::map<std::string, int> followed;
    for (const Dictionary& finding : found) {
      const std::string code(*finding.string("code"));
      for (const std::vector<std::string>& command :
           commandsIn(std::string(*finding.string("action")))) {
        root.putSettings(version, before);
        const ToolResult result = runTool(command);
        const std::string told = command[0] + " for " + std::string(*finding.string("account"));
        ASSERT_EQ(result.status, 0) << told << ": " << result.err;
        EXPECT_TRUE(differByOneAccount(before, accounts())) << told;
        EXPECT_EQ(root.settings().get("Version"), PropertyList(version));
        std::map<std::string, int> expected = kindsBefore;
        if (--expected[code] == 0) expected.erase(code);
        EXPECT_EQ(kinds(), expected) << told << " [" << code << "]";
        ++followed[code];
      }
    }
    EXPECT_EQ(followed, (std::map<std::string, int>{{"unknown-type", 7},
                                                    {"missing-class", 2},
                                                    {"unfixable-class", 2},
                                                    {"wrong-kind", 1},
                                                    {"duplicate-identifier", 4},
                                                    {"missing-identifier", 2},
                                                    {"duplicate-child-identifier", 2},
                                                    {"invalid-child", 5}}));
  }

  ToolRoot root;
};

TEST_F(AccountsNotLoaded, EveryAdvisedCommandMendsWhatItIsAdvisedForAndNothingElse) {
  followAllAdvice(12);
}

TEST_F(AccountsNotLoaded, EveryAdvisedCommandWorksBeforeTheMigrationToo) {
  followAllAdvice(9);
}

TEST_F(AccountsNotLoaded, AnAccountOfTheOldestReleaseIsNone) {
  root.putSettings(0, {with(without(mailAccount("A"), "Identifier"), "uniqueId", "A")});
  const ToolResult result = run({"remove", "#1"});
  EXPECT_NE(result.err.find("the settings have version 0, not 12"), std::string::npos)
      << result.err;
  EXPECT_EQ(accounts().size(), 1U);
}

TEST_F(AccountsNotLoaded, AnIdentifierThatAMigrationWouldGiveToTwoBlocksIt) {
  const Dictionary first = with(mailAccount("A"), "uniqueId", "SAME");
  const Dictionary calendar = child("CAL");
  const Dictionary parent = with(mailAccount("P"), "ChildAccounts", Array{child("KID")});
  for (const char* other : {"SAME", "CAL", "KID"}) {
    const Dictionary second = with(mailAccount("B"), "uniqueId", other);
    const Array before = {calendar, parent, first, second};
    root.putSettings(1, before);
    ASSERT_EQ(kinds(), (std::map<std::string, int>{{"duplicate-identifier", 1}})) << other;
    EXPECT_EQ(run({"plan", "--exit-code"}).status, 11);
    EXPECT_EQ(run({"migrate"}).status, 3);
    EXPECT_EQ(accounts(), before);
    const auto commands = commandsIn(std::string(*findings().front().string("action")));
    ASSERT_EQ(commands.size(), 2U);
    for (const std::vector<std::string>& command : commands) {
      root.putSettings(1, before);
      EXPECT_EQ(runTool(command).status, 0);
      EXPECT_TRUE(findings().empty()) << command[0];
      EXPECT_EQ(run({"migrate"}).status, 0);
    }
  }
}

TEST_F(AccountsNotLoaded, EditsOfOtherAccountsKeepThem) {
  const Array before = troubledAccounts();
  Dictionary settings = {{"Accounts", before}, {"Version", 12}, {"Extra", true}};
  root.put(ToolRoot::kSettings, settings);
  ASSERT_EQ(run({"set", "GOOD", "X", "1"}).status, 0);
  Array expected = before;
  expected.set(0, with(mailAccount("GOOD"), "X", "1"));
  EXPECT_EQ(accounts(), expected);
  EXPECT_EQ(root.settings().get("Extra"), PropertyList(true));

  ASSERT_EQ(run({"set", "GOOD CHILD", "X", "1"}).status, 0);
  Array children = *root.account(12).array("ChildAccounts");
  EXPECT_EQ(children[6], PropertyList(with(child("GOOD CHILD"), "X", "1")));
  children.set(6, child("GOOD CHILD"));
  EXPECT_EQ(children, *before[12].dictionary()->array("ChildAccounts"));

  root.put(ToolRoot::kSettings, settings);
  ASSERT_EQ(run({"add", "CalDAV", "MobileCalDAVAccount"}).status, 0);
  Array added = accounts();
  ASSERT_EQ(added.size(), 14U);
  added.removeAt(13);
  EXPECT_EQ(added, before);

  root.put(ToolRoot::kSettings, settings);
  ASSERT_EQ(run({"remove", "GOOD"}).status, 0);
  expected = before;
  expected.removeAt(0);
  EXPECT_EQ(accounts(), expected);

  // The one that is loaded of those with one identifier stands behind the others.
  root.put(ToolRoot::kSettings, settings);
  ASSERT_EQ(run({"set", "#11", "X", "1"}).status, 0);
  expected = before;
  expected.set(10, with(*before[10].dictionary(), "X", "1"));
  EXPECT_EQ(accounts(), expected);
}

TEST_F(AccountsNotLoaded, AnyOfTheirKeysCanBeSetAndRead) {
  root.putSettings(12, troubledAccounts());
  ASSERT_EQ(run({"set", "typo", "DisplayName", "New"}).status, 0);
  EXPECT_EQ(root.account(1), with(with(mailAccount("TYPO"), "Type", "Mial"), "DisplayName", "New"));
  EXPECT_EQ(run({"get", "TYPO", "DisplayName"}).out, "New\n");
  ASSERT_EQ(run({"set", "#12", "Username", "--unset"}).status, 0);
  EXPECT_FALSE(root.account(11).contains("Username"));
  ASSERT_EQ(run({"set", "P/#3", "DisplayName", "Days"}).status, 0);
  EXPECT_EQ(run({"get", "P/#3", "DisplayName"}).out, "Days\n");
  const ToolResult removed = run({"remove", "#8", "--json"});
  EXPECT_EQ(documentIn(removed.out).string("account"), "#8");
  EXPECT_EQ(schemaErrors("edit.schema.json", removed.out), "");
  EXPECT_EQ(accounts().size(), 12U);
}

TEST_F(AccountsNotLoaded, TheOnlyOneWithoutIdentifierCanBeGivenOne) {
  root.putSettings(12, {mailAccount("A"), without(mailAccount("B"), "Identifier")});
  const ToolResult result = run({"set", "#2", "Identifier", "--fresh"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(findings().empty());
  root.putSettings(12, {mailAccount("A"), without(mailAccount("B"), "Identifier")});
  const std::string migrated = run({"migrate"}).out;
  EXPECT_NE(migrated.find("The migration gave it one."), std::string::npos) << migrated;
  EXPECT_EQ(migrated.find("--fresh"), std::string::npos) << migrated;
}

TEST_F(AccountsNotLoaded, WhichOfTwinsWentIsToldAsItWas) {
  for (const char* twin : {"Exchange", "Mail"}) {
    Dictionary later = with(mailAccount("TWIN"), "Type", twin);
    later.set("X", "1");
    root.putSettings(12, {mailAccount("TWIN"), mailAccount("B"), later});
    const ToolResult result = run({"remove", "#1"});
    EXPECT_TRUE(result.out.starts_with("- Mail \"Mail of TWIN\"  TWIN\n")) << result.out;
    EXPECT_EQ(result.out.find("~ "), result.out.find("~ Enabled Dataclasses: -Mail")) << result.out;
    EXPECT_EQ(result.out.find("X:"), std::string::npos) << result.out;
    // The places behind it change, and another twin stands there then.
    root.putSettings(12, {mailAccount("TWIN"), later, mailAccount("B")});
    EXPECT_EQ(run({"remove", "#1"}).out.find("X:"), std::string::npos);
  }
}

TEST_F(AccountsNotLoaded, WhatWouldMendNothingIsRefused) {
  root.putSettings(12, troubledAccounts());
  const auto before = root.snapshot();
  const std::map<std::vector<std::string>, std::string> refusals = {
      {{"set", "TYPO", "Type", "Mali"},
       "account 'TYPO', key 'Type': the type registry does not know this type; did you mean "
       "'Mail'? "},
      {{"set", "TYPO", "Type", "--unset"},
       "account 'TYPO', key 'Type': an account keeps its type for life"},
      {{"set", "TYPO", "Identifier", "N"}, "account 'TYPO', key 'Identifier': the identifier is "},
      {{"set", "#12", "Type", "Exchange"}, "account '#12', key 'Type': an account keeps its type"},
      {{"set", "UNFIXABLE", "Class", "Odd"},
       "account 'UNFIXABLE', key 'Class': this is no mail class"},
      {{"set", "NOCLASS", "Class", ""},
       "account 'NOCLASS', key 'Class': the account class is required"},
      {{"set", "#8", "Identifier", "GOOD"},
       "account '#8', key 'Identifier': another account has this identifier; make one with "
       "--fresh"},
      {{"set", "#8", "Identifier", ""}, "account '#8', key 'Identifier': it is empty"},
      {{"set", "#9", "X", "1"}, "account '#9': it is no dictionary, so that it has no keys"},
      {{"set", "TYPO", "ChildAccounts", "--unset"}, "key 'ChildAccounts': children are edited"},
      {{"enable", "TYPO", "Mail"},
       "account 'TYPO': it is not loaded, so that it can only be mended; 'accountsettings check"},
      {{"add", "CalDAV", "MobileCalDAVAccount", "--parent", "TYPO"}, "account 'TYPO': it is not "},
      {{"set", "DUP", "X", "1"},
       "account 'DUP': 3 accounts have this identifier; name one by its place: '#8', '#10', '#11'"},
      {{"remove", "#11"},
       "account 'DUP': of those that have this identifier it is the one that is loaded; mend or "},
      // Places change, so that a command that was advised before must not meet another account.
      {{"remove", "#1"},
       "account '#1': the account at this place is GOOD; name it by that, as places change"},
      {{"remove", "#14"}, "account '#14': there is no such account"},
      {{"set", "P/#7", "X", "1"}, "account 'P/#7': the account at this place is GOOD CHILD"},
      {{"set", "#8", "X", "--fresh"},
       "--fresh is for the keys Identifier and uniqueId, without a VALUE"}};
  for (const auto& [command, message] : refusals) {
    const ToolResult result = run(command);
    EXPECT_NE(result.status, 0) << message;
    EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
  }
  EXPECT_EQ(root.snapshot(), before);
}

TEST_F(AccountsNotLoaded, ChecksOfAFileByItselfAdviseNoEdits) {
  root.put("/copy.plist", Dictionary{{"Accounts", troubledAccounts()}, {"Version", 12}});
  EXPECT_TRUE(commandsIn(runTool({"check", root.at("/copy.plist")}).out).empty());
}

}  // namespace
}  // namespace accountsettings::testing
