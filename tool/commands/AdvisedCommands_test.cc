// Tests that every command which a text advises works on the device that was given: it carries the
// root and the configuration.
#include <gtest/gtest.h>

#include <regex>

#include "testing/TemporaryDirectory.h"
#include "testing/ToolRun.h"
#include "tool/commands/Commands.h"
#include "tool/frame/Command.h"
#include "tool/inspection/FindingKinds.h"

namespace accountsettings::testing {
namespace {

class AdvisedCommands : public ::testing::Test {
 protected:
  AdvisedCommands() {
    root_.put("/host.plist", Dictionary());
    std::string names;
    for (const CommandEntry& each : allCommands()) {
      names += (names.empty() ? "" : "|") + std::string(each.name);
    }
    command_ = "accountsettings (" + names + ")(?![a-z.])(?! --help)";
  }

  // Runs the command and holds all commands that it advises to the device, of which there must be
  // one at least.
  void hold(std::vector<std::string> arguments) {
    const std::string given = " --root " + root_.path() + " --config " + root_.at("/host.plist");
    arguments.insert(arguments.end(),
                     {"--root", root_.path(), "--config", root_.at("/host.plist")});
    const ToolResult result = runTool(arguments);
    const std::string text = result.out + result.err;
    EXPECT_GT(commandsWith(given, text), 0U) << arguments.front() << "\n" << text;
  }

  // The number of commands in the text, after each of which `given` must stand.
  [[nodiscard]] std::size_t commandsWith(const std::string& given, const std::string& text) const {
    std::size_t advised = 0;
    for (std::sregex_iterator at(text.begin(), text.end(), command_), end; at != end; ++at) {
      ++advised;
      EXPECT_TRUE(at->suffix().str().starts_with(given)) << at->str() << "\n" << text;
    }
    return advised;
  }

  ToolRoot root_;
  std::regex command_;
};

TEST_F(AdvisedCommands, WithoutSettings) {
  hold({"get", "A"});
  hold({"set", "A", "DisplayName", "x"});
  hold({"restore", "none"});
}

TEST_F(AdvisedCommands, WithSettingsThatCannotBeRead) {
  root_.putText(ToolRoot::kSettings, "nonsense");
  for (const std::vector<std::string>& each : {std::vector<std::string>{"check"},
                                               {"check", "--json"},
                                               {"show"},
                                               {"plan"},
                                               {"get", "A"},
                                               {"migrate"},
                                               {"diff", root_.path(), root_.path()},
                                               {"remove", "A"}}) {
    hold(each);
  }
}

TEST_F(AdvisedCommands, WithSettingsOfAnotherVersion) {
  root_.putSettings(3, {mailAccount("A")});
  hold({"get", "A"});
  hold({"enable", "A", "Mail"});
  hold({"migrate"});
}

TEST_F(AdvisedCommands, WithSettingsThatASaveWouldDamage) {
  root_.put(ToolRoot::kSettings, Dictionary{{"Version", 12}, {"Accounts", "A"}});
  hold({"set", "A", "DisplayName", "x"});
}

TEST_F(AdvisedCommands, ForAccountsAndValuesThatAreNotThere) {
  root_.putSettings(12, {mailAccount("A")});
  hold({"get", "B"});
  hold({"history", "B"});
  hold({"why", "B"});
  hold({"why", root_.at("/nothing")});
  hold({"get", "A", "Nope"});
  hold({"remove", "B"});
  hold({"add", "Pigeon", "PigeonAccount"});
}

TEST_F(AdvisedCommands, AfterAnInterruptedRemoval) {
  root_.putSettings(9, {mailAccount("A")});
  root_.putText(ToolRoot::kSentinel, "x");
  hold({"check"});
  hold({"plan"});
}

TEST_F(AdvisedCommands, OfEveryKindOfFinding) {
  CommonOptions options;
  options.root = "/d";
  options.config = "/c";
  std::size_t advised = 0;
  for (const FindingKind& each : kFindingKinds) {
    advised += commandsWith(" --root /d --config /c", adviceWithRoot(options, each.action));
  }
  EXPECT_GE(advised, 4U);
}

TEST_F(AdvisedCommands, CarryARootThatWasGivenAsAnArgument) {
  root_.putText(ToolRoot::kSettings, "nonsense");
  for (const char* command : {"check", "show", "plan"}) {
    const ToolResult result = runTool({command, root_.path()});
    EXPECT_NE((result.out + result.err).find(" --root " + root_.path()), std::string::npos)
        << command << "\n"
        << result.out << result.err;
  }
}

TEST(AdviceWithRoot, SetsACommandWithQuotesOffByOthers) {
  CommonOptions options;
  EXPECT_EQ(adviceWithRoot(options, "see 'accountsettings check', or 'x'"),
            "see 'accountsettings check', or 'x'");
  options.root = "/a b";
  EXPECT_EQ(
      adviceWithRoot(options, "run 'accountsettings restore --list' and 'accountsettings check'"),
      "run `accountsettings restore --root '/a b' --list` and "
      "`accountsettings check --root '/a b'`");
}

}  // namespace
}  // namespace accountsettings::testing
