// Tests of `why`, run as processes: why an account is not loaded or where it went, and why a legacy
// file is not or was not converted.
#include <gtest/gtest.h>

#include <fstream>

#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

class Why : public ::testing::Test {
 protected:
  ToolResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--root", root_.path()});
    return runTool(std::move(arguments));
  }

  // The status and the document about an account or a file.
  void ask(const std::string& subject) {
    const ToolResult result = run({"why", subject, "--json"});
    EXPECT_EQ(schemaErrors("why.schema.json", result.out), "") << result.err;
    answer_ = documentIn(result.out);
    status_ = result.status;
  }

  // The codes of the findings in the answer.
  [[nodiscard]] std::string codes() const {
    std::string codes;
    for (const PropertyList& each : answer_.arrayOrEmpty("findings")) {
      codes += std::string(each.dictionary()->string("code").value_or("?")) + " ";
    }
    return codes;
  }

  void putLegacyMail(const Array& descriptions) {
    root_.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", descriptions}});
  }

  ToolRoot root_;
  Dictionary answer_;
  int status_ = -1;
};

const Dictionary kGoodDescription{
    {"uniqueId", "GOOD"}, {"AccountType", "IMAPAccount"}, {"AccountName", "The Good One"}};
const Dictionary kBadDescription{{"uniqueId", "BAD"}, {"AccountName", "No class"}};

TEST_F(Why, AnAccountIsNotLoaded) {
  Dictionary classless = mailAccount("CLASSLESS");
  classless.remove("Class");
  Dictionary parent = mailAccount("PARENT");
  parent.set("ChildAccounts", Array{Dictionary{{"Identifier", "CHILD"}, {"Type", "Pigeon"}}});
  root_.putSettings(12, {classless, parent, mailAccount("TWICE"), mailAccount("TWICE")});
  ask("class");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(answer_.string("state"), "not-loaded");
  EXPECT_EQ(answer_.string("reason"), "it has no class");
  EXPECT_EQ(codes(), "missing-class ");
  ask("CHILD");
  EXPECT_EQ(answer_.string("state"), "not-loaded");
  EXPECT_EQ(codes(), "invalid-child ");
  ask("TWICE");
  EXPECT_EQ(answer_.string("state"), "not-loaded");
  EXPECT_EQ(codes(), "duplicate-identifier ");
  ask("#3");
  EXPECT_EQ(answer_.string("state"), "not-loaded");
  EXPECT_EQ(codes(), "duplicate-identifier ");
  ask("#4");
  EXPECT_EQ(answer_.string("state"), "loaded");
  ask("#2");
  EXPECT_EQ(answer_.string("answer"), "Account PARENT (Mail \"Mail of PARENT\") is loaded.");
  ask("PARENT");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(answer_.string("state"), "loaded");
  const ToolResult text = run({"why", "CLASSLESS"});
  EXPECT_EQ(text.out.find("Account CLASSLESS (Mail"), 0U) << text.out;
  EXPECT_NE(text.out.find(" is not loaded: it has no class.\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find(" CLASSLESS Class IMAPAccount'"), std::string::npos);
}

TEST_F(Why, AnAccountIsGone) {
  root_.putSettings(
      2, {mailAccount("A"),
          Dictionary{{"Identifier", "PIGEON"}, {"Type", "Pigeon"}, {"Class", "Pigeon"}}});
  ASSERT_EQ(run({"migrate", "--accept-loss"}).status, 0);
  ask("PIGEON");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(answer_.string("state"), "gone");
  EXPECT_NE(std::string(answer_.string("reason").value_or("")).find("type"), std::string::npos);
  EXPECT_EQ(answer_.arrayOrEmpty("events").size(), 1U);
  EXPECT_EQ(answer_.get("alsoUndone"), PropertyList(0));
  ASSERT_EQ(run({"remove", "A"}).status, 0);
  ask("PIGEON");
  EXPECT_EQ(answer_.get("alsoUndone"), PropertyList(1)) << "the removal of A";
  ask("A");
  EXPECT_EQ(answer_.string("state"), "gone");
  const std::string text = run({"why", "A"}).out;
  EXPECT_NE(text.find("  remove A"), std::string::npos) << text;
}

TEST_F(Why, AnAccountThatIsGoneComesBackByTheCommandThatIsTold) {
  root_.putSettings(12, {mailAccount("A"), mailAccount("B")});
  ASSERT_EQ(run({"remove", "A"}).status, 0);
  ASSERT_EQ(run({"set", "B", "DisplayName", "Other"}).status, 0);
  ask("A");
  const std::string told(answer_.string("answer").value_or(""));
  EXPECT_EQ(told.find("Account A is not on the device any more: the command 'remove' took it away, "
                      "run by "),
            0U)
      << told;
  EXPECT_NE(told.find("Z."), std::string::npos) << "when: " << told;
  const std::string undo(answer_.string("undo").value_or(""));
  const std::string text = run({"why", "A"}).out;
  EXPECT_NE(text.find("Bring it back with: " + undo + "\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("that also undoes 1 later run; with"), std::string::npos) << text;
  EXPECT_EQ(answer_.get("alsoUndone"), PropertyList(0));
  ask("USER-a");
  EXPECT_EQ(answer_.string("answer"), told) << "by the user name that it had";
  const std::string begin = "accountsettings restore --root " + root_.path() + " ";
  ASSERT_EQ(undo.find(begin), 0U) << undo;
  const std::string end = " --account A";
  ASSERT_TRUE(undo.ends_with(end)) << undo;
  const std::string backup = undo.substr(begin.size(), undo.size() - begin.size() - end.size());
  EXPECT_NE(text.find("undo with: " + begin + backup + " (that also undoes 1 later run)\n"),
            std::string::npos)
      << text;
  ASSERT_EQ(run({"restore", backup}).status, 0);
  ask("A");
  EXPECT_EQ(answer_.string("state"), "loaded");

  ASSERT_EQ(run({"restore", "--prune", backup}).status, 0);
  root_.putSettings(12, {mailAccount("B")});  // by a program
  ask("A");
  EXPECT_EQ(answer_.string("answer"), "Account A is not on the device any more.");
  EXPECT_FALSE(answer_.contains("undo")) << "that run did not take it away this time";
}

TEST_F(Why, TheRuleIsToldAgainWhereTheUndoingOfAMigrationIsUndone) {
  root_.putSettings(
      2, {mailAccount("A"),
          Dictionary{{"Identifier", "PIGEON"}, {"Type", "Pigeon"}, {"Class", "Pigeon"}}});
  ASSERT_EQ(run({"migrate", "--accept-loss"}).status, 0);
  ask("PIGEON");
  const auto reason = answer_.get("reason");
  const Dictionary undone = documentIn(run({"restore", "--json"}).out);
  ask("PIGEON");
  EXPECT_NE(answer_.string("state"), "gone");
  const std::string again(undone.string("kept").value_or(""));
  ASSERT_EQ(run({"restore", again}).status, 0);
  ask("PIGEON");
  EXPECT_EQ(answer_.string("state"), "gone");
  EXPECT_EQ(answer_.get("reason"), reason);
  EXPECT_NE(std::string(answer_.string("answer").value_or(""))
                .find("backup " + again + ", which lacks it, was put back by "),
            std::string::npos);
}

TEST_F(Why, ALegacyFileIsNotConvertedAndWasNot) {
  putLegacyMail({kGoodDescription, kBadDescription});
  const std::string reason =
      "its description BAD under \"MailAccounts\" tells no account class, and where one cannot be "
      "converted, none is";
  ask(ToolRoot::kLegacyMail);
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(answer_.string("state"), "will-not-convert");
  EXPECT_EQ(answer_.string("reason"), reason);
  EXPECT_EQ(codes(), "legacy-not-convertible ");
  ask("GOOD");
  EXPECT_EQ(answer_.string("state"), "in-legacy-file");
  EXPECT_EQ(answer_.string("reason"), reason);
  const std::string answer(answer_.string("answer").value_or(""));
  ask("the good one");  // as it is called, in any case
  EXPECT_EQ(answer_.string("answer"), answer);
  (void)run({"migrate", "--accept-loss"});
  ASSERT_FALSE(root_.get(ToolRoot::kLegacyMail).has_value());
  ask(root_.at(ToolRoot::kLegacyMail));
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(answer_.string("state"), "not-converted");
  EXPECT_EQ(answer_.string("reason"), reason);
}

TEST_F(Why, OfALongReasonTheHistoryKeepsTheBeginning) {
  putLegacyMail({Dictionary{{"uniqueId", std::string(400, 'B')}}});
  ask(ToolRoot::kLegacyMail);
  const std::string reason(answer_.string("reason").value_or(""));
  (void)run({"migrate", "--accept-loss"});
  ask(ToolRoot::kLegacyMail);
  EXPECT_EQ(answer_.string("state"), "not-converted");
  EXPECT_EQ(answer_.string("reason"), reason.substr(0, 299) + "…");
}

TEST_F(Why, ALegacyFileWillBeAndWasConverted) {
  putLegacyMail({kGoodDescription});
  ask(ToolRoot::kLegacyMail);
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(answer_.string("state"), "will-convert");
  ASSERT_EQ(run({"migrate"}).status, 0);
  // The place of the file tells which device is meant.
  const ToolResult result = runTool({"why", root_.at(ToolRoot::kLegacyMail)});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("was converted: a migration took over 1 account of it."),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("added GOOD"), std::string::npos) << result.out;
}

TEST_F(Why, ManyAccountsOutOfALegacyFileAreAllCounted) {
  Array descriptions;
  for (int i = 0; i < 27; ++i) {
    Dictionary description = kGoodDescription;
    description.set("uniqueId", "L" + std::to_string(i));
    description.set("Username", std::string(60, 'u') + std::to_string(i));
    description.set("Hostname", std::string(90, 'h'));
    descriptions.append(description);
  }
  root_.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", descriptions}});
  ASSERT_EQ(runTool({"migrate", "--root", root_.path()}).status, 0);
  const std::string file = root_.at(ToolRoot::kLegacyMail);
  const std::string answer = runTool({"why", file, "--root", root_.path()}).out;
  EXPECT_NE(answer.find("a migration took over 27 accounts of it."), std::string::npos) << answer;
}

TEST_F(Why, AnAccountIsFoundByItsNameToo) {
  Dictionary calendar{{"Identifier", "CAL"},
                      {"Type", "OnMyDevice"},
                      {"Class", "DeviceLocalAccount"},
                      {"DisplayName", "Mine"}};
  root_.putSettings(2, {mailAccount("A"), mailAccount("B"), calendar});
  ASSERT_EQ(runTool({"migrate", "--root", root_.path()}).status, 0);
  for (const char* name : {"Mine", "mine"}) {
    const ToolResult found = runTool({"why", name, "--root", root_.path()});
    EXPECT_NE(found.out.find("Account CAL"), std::string::npos) << found.out << found.err;
  }
  EXPECT_EQ(runTool({"why", "", "--root", root_.path()}).status, 3);
}

TEST_F(Why, TheHistoryKnowsAnAccountByItsNameInAnyCaseButNoPlace) {
  Dictionary nameless{{"Type", "Pigeon"}, {"Class", "Pigeon"}, {"DisplayName", "Nameless"}};
  root_.putSettings(2, {mailAccount("A"), nameless});
  ASSERT_EQ(run({"migrate", "--accept-loss"}).status, 0);
  ASSERT_EQ(run({"remove", "A"}).status, 0);
  ask("mail OF a");
  EXPECT_EQ(std::string(answer_.string("answer").value_or("")).find("Account A is not"), 0U);
  EXPECT_EQ(run({"why", "Nameless"}).status, 3) << "another may stand in its place";
}

TEST_F(Why, AnInterruptedRemovalKeepsAFileFromBeingConverted) {
  putLegacyMail({kGoodDescription});
  root_.putText(ToolRoot::kSentinel, "");
  ask(ToolRoot::kLegacyMail);
  EXPECT_EQ(answer_.string("state"), "will-not-convert");
  EXPECT_EQ(codes(), "sentinel-deletes-legacy ");
}

TEST_F(Why, NothingIsKnownOfAFileThatWasNeverThere) {
  ask(ToolRoot::kLegacyExchange);
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(answer_.string("state"), "absent");
  const ToolResult other = run({"why", root_.settingsPath()});
  EXPECT_EQ(other.status, 3);
  EXPECT_NE(other.err.find("it is no legacy file of this device"), std::string::npos) << other.err;
}

}  // namespace
}  // namespace accountsettings::testing
